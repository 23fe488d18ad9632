// demoGallery.h - the gallery: every generator rendered into one folder, each
// picture as an OpenEXR file and a PNG preview, with the list of their pixel
// digests (digests.txt), an index page (index.html) and the colour grade used
// (sample.grade).
#ifndef VX_DEMO_GALLERY_H
#define VX_DEMO_GALLERY_H

#include <string>

// Renders the gallery at width x height into `dir` (created if missing) and
// returns the program's exit code. Interrupted, it still writes the list and
// the index of the pictures finished so far.
int renderGallery(const std::string& dir, int width, int height);

#endif
