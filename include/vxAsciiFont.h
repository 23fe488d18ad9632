// vxAsciiFont.h - the library's bitmap font: 7 x 14 pixel glyphs for the 95
// printable ASCII characters.
//
// Glyphs are one byte per pixel (0 = clear, anything else = set), 14 rows of 7
// bytes, row-major. Row 0 is the TOP row of the character cell and column 0
// its left column; the cell's lower-left corner is the glyph's origin, so a
// glyph drawn at (x, y) in window pixels (y up) covers x .. x + 6 and
// y .. y + 13. Capitals and digits are 9 rows high (rows 2 to 10) and stand
// on row 10; lower-case letters are 6 rows high (rows 5 to 10), with
// descenders down to row 13 (g, j, p, q, y) and the underscore on row 12.
//
// Nothing here needs OpenGL: the text helpers of vxTDraw.h draw through the
// host's display lists, and a program outside the compositing host builds
// those lists from these glyphs (VxStandaloneHostBuildFont in
// vxStandaloneHost.h, with VxAsciiFontBitmaps() below).
//
// The glyphs are constant data, so every call here may be made from any
// thread, including inside a processor fork.
#ifndef VX_ASCII_FONT_H
#define VX_ASCII_FONT_H

#include "vxExport.h"

// The cell of every glyph, in pixels.
constexpr int kVxGlyphWidth = 7;
constexpr int kVxGlyphHeight = 14;
// The bytes of one bitmap (kVxGlyphWidth * kVxGlyphHeight)...
constexpr int kVxGlyphBytes = 98;
// ... and of its storage: each bitmap is followed by 8 zero bytes, so that the
// one-past-the-edge reads VxGlyphI::value admits (x = 7, y = 14) stay inside
// the array and give 0.
constexpr int kVxGlyphStorage = kVxGlyphBytes + 8;
// How far the stand-alone host's font lists move the raster position per
// character: one cell. The glyphs keep their own clear columns (most letters
// use columns 1 to 5), so neighbours stay apart.
constexpr int kVxGlyphAdvance = 7;

// One glyph of a bitmap font.
class VX_API VxGlyphI {
public:
    virtual ~VxGlyphI();
    virtual int width() const = 0;   // pixels per row
    virtual int height() const = 0;  // rows
    virtual int xOrigin() const = 0; // the origin within the cell
    virtual int yOrigin() const = 0;
    // The pixel at column x, row y (row 0 at the top); 0 when clear.
    virtual unsigned char value(int x, int y) const = 0;
    // The bitmap, or null for a glyph without one.
    virtual const unsigned char* data() const = 0;
};

// A glyph of VxAsciiFont: 7 x 14 with its origin at (0, 0).
//
// value(x, y) is the byte at y * 7 + x and returns 0 only when x > 7 or
// y > 14 (or either is negative, or the glyph has no bitmap). The upper
// bounds are one past the cell on purpose, as fonts have always been read:
// value(7, y) is the pixel at column 0 of row y + 1, and value(x, 14) for
// x <= 7 reads the zero padding after the bitmap.
class VX_API VxAsciiGlyph : public VxGlyphI {
public:
    explicit VxAsciiGlyph(const unsigned char* bitmap = nullptr) : bits(bitmap) {}
    ~VxAsciiGlyph() override;
    int width() const override { return kVxGlyphWidth; }
    int height() const override { return kVxGlyphHeight; }
    int xOrigin() const override { return 0; }
    int yOrigin() const override { return 0; }
    unsigned char value(int x, int y) const override;
    const unsigned char* data() const override { return bits; }

    const unsigned char* bits; // kVxGlyphStorage bytes, or null; not owned
};

// The table of 128 glyphs: entry c - 32 is the character c for c = 32 (space)
// to 126 ('~'); entries 95 to 127 have no bitmap.
class VX_API VxAsciiFont {
public:
    VxAsciiFont();
    // False for a character below 32 (as a signed char, so bytes 128 to 255
    // fail too); otherwise g = the glyph of c (an empty one for 127) and true.
    // g stays owned by the font.
    bool getGlyph(char c, VxGlyphI*& g);

    VxAsciiGlyph glyphs[128];
};

// The default font, constructed when the library is loaded.
extern VX_API VxAsciiFont gVxAsciiFont;

// The bitmaps of the characters 0 to 127 as a table of 128 pointers (null
// for the characters without a glyph: 0 to 31 and 127), each kVxGlyphStorage
// bytes. This is the form VxStandaloneHostBuildFont takes.
VX_API const unsigned char* const* VxAsciiFontBitmaps();

// The bitmaps themselves, one per printable character: ascii65Data is 'A'.
#define VX_ASCII_GLYPH_DECL(n) extern VX_API const unsigned char ascii##n##Data[kVxGlyphStorage];
#define VX_ASCII_GLYPH_DECL10(t)                                                                   \
    VX_ASCII_GLYPH_DECL(t##0)                                                                      \
    VX_ASCII_GLYPH_DECL(t##1)                                                                      \
    VX_ASCII_GLYPH_DECL(t##2)                                                                      \
    VX_ASCII_GLYPH_DECL(t##3)                                                                      \
    VX_ASCII_GLYPH_DECL(t##4)                                                                      \
    VX_ASCII_GLYPH_DECL(t##5)                                                                      \
    VX_ASCII_GLYPH_DECL(t##6)                                                                      \
    VX_ASCII_GLYPH_DECL(t##7)                                                                      \
    VX_ASCII_GLYPH_DECL(t##8)                                                                      \
    VX_ASCII_GLYPH_DECL(t##9)
VX_ASCII_GLYPH_DECL(32)
VX_ASCII_GLYPH_DECL(33)
VX_ASCII_GLYPH_DECL(34)
VX_ASCII_GLYPH_DECL(35)
VX_ASCII_GLYPH_DECL(36)
VX_ASCII_GLYPH_DECL(37)
VX_ASCII_GLYPH_DECL(38)
VX_ASCII_GLYPH_DECL(39)
VX_ASCII_GLYPH_DECL10(4)
VX_ASCII_GLYPH_DECL10(5)
VX_ASCII_GLYPH_DECL10(6)
VX_ASCII_GLYPH_DECL10(7)
VX_ASCII_GLYPH_DECL10(8)
VX_ASCII_GLYPH_DECL10(9)
VX_ASCII_GLYPH_DECL10(10)
VX_ASCII_GLYPH_DECL10(11)
VX_ASCII_GLYPH_DECL(120)
VX_ASCII_GLYPH_DECL(121)
VX_ASCII_GLYPH_DECL(122)
VX_ASCII_GLYPH_DECL(123)
VX_ASCII_GLYPH_DECL(124)
VX_ASCII_GLYPH_DECL(125)
VX_ASCII_GLYPH_DECL(126)
#undef VX_ASCII_GLYPH_DECL10
#undef VX_ASCII_GLYPH_DECL

#endif
