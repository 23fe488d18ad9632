// Host identification is worked out once per process, so every case runs in
// a child process that first loads one of the stand-in hosts (or none).
#include "vxHost.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// In the child: optionally load a host, then report what the library found.
void identify(const char* hostLibrary, const char* variable, const char* value,
              int presetLevel = -1) {
    if (variable != nullptr)
        setenv(variable, value, 1);
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

// Prefixes decide, case-sensitively; a long name outgrows a 15-byte copy.
TEST(HostIdentity, NamedHostsMapToLevelsByCaseSensitivePrefix) {
    struct {
        std::string name;
        int level;
    } hosts[] = {
        {"burn", 1},    {"burnXYZ", 1},      {"flint", 5},           {"flare", 3}, {"flame", 8},
        {"inferno", 8}, {"fire", 6},         {"Flame", 6},           {"FLINT", 6}, {"fla", 6},
        {"", 6},        {"flame_2025.1", 8}, {"a-long-host-name", 6}};
    for (const auto& [name, level] : hosts)
        EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, "FAKE_HOST_NAME", name.c_str()),
                    testing::ExitedWithCode(0),
                    "^name=<" + name + "> level=" + std::to_string(level) + " stable=1\n$")
            << name;
}

TEST(HostIdentity, NoHostIsDiscreetUnknown) {
    EXPECT_EXIT(identify(nullptr, nullptr, nullptr), testing::ExitedWithCode(0),
                "^name=<DiscreetUnknown> level=6 stable=1\n$");
    // A host whose sparkProgramGetName answers null keeps the unknown name.
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, nullptr, nullptr), testing::ExitedWithCode(0),
                "^name=<DiscreetUnknown> level=6 stable=1\n$");
}

// The older interface: the first code picks the name, and the report shows
// the code a second call answers.
TEST(HostIdentity, OlderInterfaceCodesAndTheirReport) {
    struct {
        std::string codes, name;
        int level;
    } cases[] = {{"1", "flint", 5},   {"2", "flint", 5},   {"3,7", "flame", 8}, {"4", "flame", 8},
                 {"5", "inferno", 8}, {"6", "inferno", 8}, {"7", "fire", 6},    {"8", "fire", 6},
                 {"0", "burn", 1},    {"9", "burn", 1},    {"-1", "burn", 1}};
    for (const auto& c : cases)
        EXPECT_EXIT(identify(FAKE_HOST_CALLING_SYS_LIB, "FAKE_HOST_CODES", c.codes.c_str()),
                    testing::ExitedWithCode(0),
                    "^old API returns " + c.name + " \\[" + c.codes.substr(c.codes.rfind(',') + 1) +
                        "\\]\nname=<" + c.name + "> level=" + std::to_string(c.level))
            << c.codes;
}

TEST(HostIdentity, PresetLevelOverridesTheLookup) {
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, "FAKE_HOST_NAME", "flame", 42),
                testing::ExitedWithCode(0), "level=42");
    // The name is still worked out on request; only the level was preset.
    EXPECT_EXIT(identify(FAKE_HOST_NAME_LIB, "FAKE_HOST_NAME", "flame", 0),
                testing::ExitedWithCode(0), "^name=<flame> level=0 stable=1\n$");
}

} // namespace
