#include <vxAsciiFont.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

TEST(VxAsciiFont, GlyphLookupAndBounds) {
    VxGlyphI* g = nullptr;
    EXPECT_FALSE(gVxAsciiFont.getGlyph(31, g));
    EXPECT_FALSE(gVxAsciiFont.getGlyph('\0', g));
    EXPECT_FALSE(gVxAsciiFont.getGlyph(static_cast<char>(200), g)); // negative as a signed char
    EXPECT_EQ(g, nullptr);
    ASSERT_TRUE(gVxAsciiFont.getGlyph(127, g)); // succeeds, with nothing in it
    EXPECT_EQ(g->data(), nullptr);
    EXPECT_EQ(g->value(3, 3), 0);

    ASSERT_TRUE(gVxAsciiFont.getGlyph('A', g));
    EXPECT_EQ(g->data(), ascii65Data);
    EXPECT_EQ(g->width(), 7);
    EXPECT_EQ(g->height(), 14);
    EXPECT_EQ(g->xOrigin(), 0);
    EXPECT_EQ(g->yOrigin(), 0);
    EXPECT_EQ(g->value(3, 2), 1); // the apex of the A
    EXPECT_EQ(g->value(1, 10), 1);
    // x = 7 and y = 14 are still read: x = 7 is column 0 of the next row, and
    // row 14 is the zero padding; beyond them, 0.
    ASSERT_TRUE(gVxAsciiFont.getGlyph('|', g));
    for (int y = 0; y < 14; ++y)
        EXPECT_EQ(g->value(7, y), g->value(0, y + 1));
    ASSERT_TRUE(gVxAsciiFont.getGlyph('_', g));
    EXPECT_EQ(g->value(0, 12), 1);
    EXPECT_EQ(g->value(7, 11), 1); // = (0, 12)
    for (int x = 0; x <= 7; ++x)
        EXPECT_EQ(g->value(x, 14), 0);
    EXPECT_EQ(g->value(8, 12), 0);
    EXPECT_EQ(g->value(0, 15), 0);
    EXPECT_EQ(g->value(-1, 12), 0);
    EXPECT_EQ(g->value(0, -1), 0);
}

TEST(VxAsciiFont, EveryPrintableCharacterHasItsOwnGlyph) {
    const unsigned char* const* table = VxAsciiFontBitmaps();
    for (int c = 0; c < 128; ++c) {
        VxGlyphI* g = nullptr;
        const bool printable = c >= 32 && c <= 126;
        if (c >= 32) {
            ASSERT_TRUE(gVxAsciiFont.getGlyph(static_cast<char>(c), g));
        }
        EXPECT_EQ(table[c], printable ? g->data() : nullptr) << c;
        if (!printable)
            continue;
        int set = 0;
        for (int i = 0; i < kVxGlyphBytes; ++i) {
            EXPECT_LE(table[c][i], 1) << c;
            set += table[c][i];
        }
        for (int i = kVxGlyphBytes; i < kVxGlyphStorage; ++i)
            EXPECT_EQ(table[c][i], 0) << c;
        EXPECT_EQ(set == 0, c == ' ') << "character " << c;
        for (int d = 32; d < c; ++d)
            EXPECT_NE(std::memcmp(table[c], table[d], kVxGlyphBytes), 0)
                << "characters " << c << " and " << d << " look the same";
    }
}

TEST(VxAsciiFont, LettersShareTheirLines) {
    // The rows a glyph uses, top and bottom.
    auto rows = [](char c, int& top, int& bottom) {
        VxGlyphI* g = nullptr;
        ASSERT_TRUE(gVxAsciiFont.getGlyph(c, g));
        top = 99;
        bottom = -1;
        for (int y = 0; y < 14; ++y)
            for (int x = 0; x < 7; ++x)
                if (g->value(x, y)) {
                    top = std::min(top, y);
                    bottom = std::max(bottom, y);
                }
    };
    int top, bottom;
    for (const char* s : {"ABCDEFGHIJKLMNOPQRSTUVWXYZ", "0123456789"})
        for (; *s; ++s) {
            rows(*s, top, bottom);
            EXPECT_EQ(top, 2) << *s;
            EXPECT_EQ(bottom, 10) << *s;
        }
    for (const char* s = "acemnorsuvwxz"; *s; ++s) {
        rows(*s, top, bottom);
        EXPECT_EQ(top, 5) << *s;
        EXPECT_EQ(bottom, 10) << *s;
    }
    for (const char* s = "gjpqy"; *s; ++s) {
        rows(*s, top, bottom);
        EXPECT_EQ(bottom, 13) << *s;
    }
    rows('_', top, bottom);
    EXPECT_EQ(top, 12);
    EXPECT_EQ(bottom, 12);
}
