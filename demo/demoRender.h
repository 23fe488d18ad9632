// demoRender.h - rendering a picture row by row on every processor, the way
// an effect does inside the host.
//
// A RowRender is an image-processing frame (VxImgProc) whose sample() asks
// renderRow for each of its worker's rows. The picture is rendered in bands:
// one repetition of the frame per band, so that between bands the program
// draws its progress line and the frame tests for an interruption (Ctrl-C).
// An interrupted render stops at the end of the band in progress.
#ifndef VX_DEMO_RENDER_H
#define VX_DEMO_RENDER_H

#include "demoImage.h"
#include "demoSignals.h"

#include "vxImgProc.h"
#include "vxTexIndexer.h"

#include <string>

class RowRender : public VxImgProc {
public:
    // Renders every row of `image` (whose size and channels are set). False
    // when interrupted, leaving the picture incomplete. `label` names the
    // picture on the progress line.
    bool render(Image& image, const std::string& label);

protected:
    // One row: image.width * image.channels floats. Runs on every worker at
    // once, so it may only read shared state and write its own row.
    virtual void renderRow(int y, float* out) = 0;

    Image* target = nullptr;

private:
    void preThread() override;
    void sample() override;
    void postThread() override;

    VxTexIndexer geometry_;
    std::string label_;
    int bands_ = 1;
};

#endif
