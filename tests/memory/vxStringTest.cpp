// The string helpers: the C library's meaning, plus null handling.
#include "vxString.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(VxString, LengthDuplicateAndComparisons) {
    EXPECT_EQ(VxStringLength(nullptr), 0u);
    EXPECT_EQ(VxStringDuplicate(nullptr), nullptr);
    char* copy = VxStringDuplicate("label");
    EXPECT_STREQ(copy, "label");
    delete[] copy; // ASan checks that new[] made it

    EXPECT_EQ(VxStringCompare(nullptr, nullptr), 0);
    EXPECT_LT(VxStringCompare(nullptr, ""), 0);
    EXPECT_GT(VxStringCompare("", nullptr), 0);
    EXPECT_LT(VxStringCompare("ab", "abc"), 0);
    EXPECT_GT(VxStringCompare("\xe9", "z"), 0); // bytes compare unsigned

    EXPECT_EQ(VxStringCompareCaseless("Slider-1", "sLIDER-1"), 0);
    EXPECT_LT(VxStringCompareCaseless("a", "B"), 0);
    EXPECT_GT(VxStringCompareCaseless("a", "["), 0); // folds to lower case: 'a' > '['
    EXPECT_LT(VxStringCompareCaseless(nullptr, "x"), 0);
}

TEST(VxString, Copies) {
    char buf[8] = "xxxxxxx";
    EXPECT_STREQ(VxStringCopy(buf, nullptr), "xxxxxxx");
    EXPECT_EQ(VxStringCopy(nullptr, "a"), nullptr);
    EXPECT_STREQ(VxStringCopy(buf, "abc"), "abc");

    // Cut to size - 1, terminated and zero-filled; the source is read no
    // further than that, so it needs no terminator.
    const char unterminated[4] = {'w', 'x', 'y', 'z'};
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(VxStringNCopy(buf, unterminated, 4), buf);
    EXPECT_EQ(std::memcmp(buf, "wxy\0xxxx", 8), 0);
    EXPECT_EQ(std::memcmp(VxStringNCopy(buf, "ab", 6), "ab\0\0\0\0xx", 8), 0);
    VxStringNCopy(buf, "q", 0);
    VxStringNCopy(buf, nullptr, 8);
    VxStringNCopy(nullptr, "q", 8);
    EXPECT_EQ(buf[0], 'a');
}

} // namespace
