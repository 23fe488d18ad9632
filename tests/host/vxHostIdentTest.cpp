// Host identification is worked out once per process, so every case runs in
// a child process that first loads one of the stand-in hosts (or none).
#include "vxHost.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace {

// In the child: optionally load a host, then report what the library found.
void identify(const char* hostLibrary, const char* variable, const char* value,
              int presetLevel = -1) {
    if (variable != nullptr) {
        setenv(variable, value, 1);
    }
    if (hostLibrary != nullptr && dlopen(hostLibrary, RTLD_NOW | RTLD_GLOBAL) == nullptr) {
        std::fprintf(stderr, "cannot load %s\n", hostLibrary);
        std::exit(2);
    }
    host_level = presetLevel;
    const char* first = VxSpGetHostSystem();
    const int level = lumoraGetHostLevel();
    // Asked again, nothing is looked up twice and the answers stay.
    const bool stable = VxSpGetHostSystem() == first && lumoraGetHostLevel() == level;
    std::fprintf(stderr, "name=<%s> level=%d stable=%d\n", first, level, stable ? 1 : 0);
    std::exit(0);
}

void expectName(const char* name, int level) {
    std::string pattern =
        std::string("^name=<") + name + "> level=" + std::to_string(level) + " stable=1\n$";
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, "FAKE_HOST_NAME", name), testing::ExitedWithCode(0),
                pattern)
        << name;
}

TEST(HostIdentity, NamedHostsMapToLevelsByCaseSensitivePrefix) {
    expectName("burn", 1);
    expectName("burnXYZ", 1);
    expectName("flint", 5);
    expectName("flare", 3);
    expectName("flame", 8);
    expectName("flame_2025.1", 8);
    expectName("inferno", 8);
    expectName("fire", 6);
    expectName("Flame", 6);
    expectName("FLINT", 6);
    expectName("fla", 6);
    expectName("", 6);
    expectName("a-very-long-host-program-name", 6);
}

TEST(HostIdentity, NoHostIsDiscreetUnknown) {
    EXPECT_EXIT(identify(nullptr, nullptr, nullptr), testing::ExitedWithCode(0),
                "^name=<DiscreetUnknown> level=6 stable=1\n$");
    // A host whose sparkProgramGetName answers null keeps the unknown name.
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, nullptr, nullptr), testing::ExitedWithCode(0),
                "^name=<DiscreetUnknown> level=6 stable=1\n$");
}

TEST(HostIdentity, OlderInterfaceCodesAndTheirReport) {
    struct Case {
        const char* codes;
        const char* output;
    } cases[] = {
        {"1", "^old API returns flint \\[1\\]\nname=<flint> level=5"},
        {"2", "^old API returns flint \\[2\\]\nname=<flint> level=5"},
        {"3,7", "^old API returns flame \\[7\\]\nname=<flame> level=8"},
        {"4", "^old API returns flame \\[4\\]\nname=<flame> level=8"},
        {"5", "^old API returns inferno \\[5\\]\nname=<inferno> level=8"},
        {"6", "^old API returns inferno \\[6\\]\nname=<inferno> level=8"},
        {"7", "^old API returns fire \\[7\\]\nname=<fire> level=6"},
        {"8", "^old API returns fire \\[8\\]\nname=<fire> level=6"},
        {"0", "^old API returns burn \\[0\\]\nname=<burn> level=1"},
        {"9", "^old API returns burn \\[9\\]\nname=<burn> level=1"},
        {"-1", "^old API returns burn \\[-1\\]\nname=<burn> level=1"},
    };
    for (const Case& c : cases) {
        EXPECT_EXIT(identify(FAKE_HOST_CALLING_SYS_LIB, "FAKE_HOST_CODES", c.codes),
                    testing::ExitedWithCode(0), c.output)
            << c.codes;
    }
}

TEST(HostIdentity, PresetLevelOverridesTheLookup) {
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, "FAKE_HOST_NAME", "flame", 42),
                testing::ExitedWithCode(0), "level=42");
    // The name is still worked out on request; only the level was preset.
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, "FAKE_HOST_NAME", "flame", 0),
                testing::ExitedWithCode(0), "^name=<flame> level=0 stable=1\n$");
}

} // namespace
