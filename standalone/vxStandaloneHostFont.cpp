// The host's font display lists, built from bitmaps the caller hands over.
#include "vxStandaloneHost.h"

#include <GL/gl.h>

#include <cstddef>
#include <vector>

int VxStandaloneHostBuildFont(const unsigned char* const* glyphs, int width, int height,
                              int advance) {
    if (!glyphs || width <= 0 || height <= 0 || width > 64 || height > 64)
        return 0;
    // glBitmap wants rows bottom to top, eight pixels to a byte, most
    // significant bit first; with an unpack alignment of 1 a row takes
    // (width + 7) / 8 bytes. The glyphs come top row first, a byte per pixel.
    const int rowBytes = (width + 7) / 8;
    std::vector<GLubyte> packed(static_cast<std::size_t>(rowBytes) * height);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
    glPixelStorei(GL_UNPACK_LSB_FIRST, GL_FALSE);
    int built = 0;
    for (int c = 0; c < kVxHostFontLists; ++c) {
        const unsigned char* g = glyphs[c];
        if (!g)
            continue;
        for (auto& b : packed)
            b = 0;
        for (int y = 0; y < height; ++y) {
            GLubyte* row = &packed[static_cast<std::size_t>(height - 1 - y) * rowBytes];
            for (int x = 0; x < width; ++x)
                if (g[y * width + x])
                    row[x / 8] = static_cast<GLubyte>(row[x / 8] | (0x80 >> (x % 8)));
        }
        glNewList(static_cast<GLuint>(kVxHostFontBase + c), GL_COMPILE);
        glBitmap(width, height, 0.0f, 0.0f, static_cast<GLfloat>(advance), 0.0f, packed.data());
        glEndList();
        ++built;
    }
    glPopClientAttrib();
    return built;
}
