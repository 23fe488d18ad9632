// The version header against the project version of the build, and the
// library's run-time answer against the header.
#include <veltrix.h> // the umbrella header brings vxVersion.h

#include <gtest/gtest.h>

#include <string>

TEST(Version, HeaderMatchesTheProjectVersion) {
    EXPECT_EQ(VELTRIX_VERSION_MAJOR, VX_PROJECT_VERSION_MAJOR);
    EXPECT_EQ(VELTRIX_VERSION_MINOR, VX_PROJECT_VERSION_MINOR);
    EXPECT_EQ(VELTRIX_VERSION_PATCH, VX_PROJECT_VERSION_PATCH);
    EXPECT_STREQ(VELTRIX_VERSION_STRING, VX_PROJECT_VERSION);
    EXPECT_EQ(kVxVersionMajor, VELTRIX_VERSION_MAJOR);
    EXPECT_EQ(kVxVersionMinor, VELTRIX_VERSION_MINOR);
    EXPECT_EQ(kVxVersionPatch, VELTRIX_VERSION_PATCH);
    EXPECT_EQ(VELTRIX_VERSION, VELTRIX_MAKE_VERSION(VELTRIX_VERSION_MAJOR, VELTRIX_VERSION_MINOR,
                                                    VELTRIX_VERSION_PATCH));
    static_assert(VELTRIX_MAKE_VERSION(0, 2, 0) > VELTRIX_MAKE_VERSION(0, 1, 99) &&
                      VELTRIX_MAKE_VERSION(1, 0, 0) > VELTRIX_MAKE_VERSION(0, 99, 99),
                  "the version number orders versions");
}

TEST(Version, LibraryReportsItsVersion) {
    int major = -1, minor = -1, patch = -1;
    VxGetVersion(&major, &minor, &patch);
    EXPECT_EQ(major, kVxVersionMajor);
    EXPECT_EQ(minor, kVxVersionMinor);
    EXPECT_EQ(patch, kVxVersionPatch);
    VxGetVersion(nullptr, &minor, nullptr); // null pointers are skipped
    EXPECT_EQ(VxVersionString(), std::string(VELTRIX_VERSION_STRING));
}
