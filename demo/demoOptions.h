// demoOptions.h - the demonstration program's command-line options.
//
// After the command word come options, "--name value" or "--name=value", each
// name given at most once and only those the command knows, and, for the
// commands that take them, file names.
#ifndef VX_DEMO_OPTIONS_H
#define VX_DEMO_OPTIONS_H

#include <string>
#include <vector>

class Options {
public:
    // False with the reason in `error` for an unknown or repeated option, an
    // option without its value, or a file name where none is taken.
    bool parse(const std::vector<std::string>& words, const std::vector<std::string>& known,
               bool takesFiles, std::string& error);

    bool has(const char* name) const;
    std::string text(const char* name, const std::string& fallback) const;
    const std::vector<std::string>& files() const { return files_; }

    // Each leaves `value` alone when the option is absent; false with the
    // reason in `error` when it is given but is not a number from lo to hi.
    bool integer(const char* name, int lo, int hi, int& value, std::string& error) const;
    bool number(const char* name, float lo, float hi, float& value, std::string& error) const;
    // --size N or WxH, each side from 1 to kMaxSide.
    bool size(int& width, int& height, std::string& error) const;

    static bool parseNumber(const std::string& s, float lo, float hi, float& value);

private:
    std::vector<std::pair<std::string, std::string>> values_;
    std::vector<std::string> files_;
};

// True when any word asks for the help text: "--help" or "-h" (the help
// command itself is in the command table).
bool asksForHelp(const std::vector<std::string>& words);

#endif
