#include "demoOptions.h"

#include "demoImage.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

std::string shortText(float v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(v));
    return text;
}

bool parseSide(const std::string& t, int& v) {
    char* end = nullptr;
    errno = 0;
    const long n = std::strtol(t.c_str(), &end, 10);
    if (t.empty() || *end != '\0' || errno != 0 || n < 1 || n > kMaxSide) {
        return false;
    }
    v = static_cast<int>(n);
    return true;
}

} // namespace

bool Options::parse(const std::vector<std::string>& words, const std::vector<std::string>& known,
                    bool takesFiles, std::string& error) {
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word.compare(0, 2, "--") != 0) {
            if (!takesFiles) {
                error = "unexpected argument '" + word + "'";
                return false;
            }
            files_.push_back(word);
            continue;
        }
        const size_t equals = word.find('=');
        const std::string name = word.substr(2, equals == std::string::npos ? equals : equals - 2);
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            error = "unknown option '--" + name + "'";
            return false;
        }
        std::string value;
        if (equals != std::string::npos) {
            value = word.substr(equals + 1);
        } else if (i + 1 < words.size()) {
            value = words[++i];
        } else {
            error = "--" + name + " needs a value";
            return false;
        }
        if (has(name.c_str())) {
            error = "--" + name + " is given twice";
            return false;
        }
        values_.emplace_back(name, value);
    }
    return true;
}

bool Options::has(const char* name) const {
    for (const auto& v : values_) {
        if (v.first == name) {
            return true;
        }
    }
    return false;
}

std::string Options::text(const char* name, const std::string& fallback) const {
    for (const auto& v : values_) {
        if (v.first == name) {
            return v.second;
        }
    }
    return fallback;
}

bool Options::integer(const char* name, int lo, int hi, int& value, std::string& error) const {
    if (!has(name)) {
        return true;
    }
    const std::string s = text(name, "");
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end != '\0' || errno != 0 || v < lo || v > hi) {
        error = "--" + std::string(name) + " needs a whole number from " + std::to_string(lo) +
                " to " + std::to_string(hi) + ", not '" + s + "'";
        return false;
    }
    value = static_cast<int>(v);
    return true;
}

bool Options::number(const char* name, float lo, float hi, float& value, std::string& error) const {
    if (!has(name)) {
        return true;
    }
    const std::string s = text(name, "");
    if (!parseNumber(s, lo, hi, value)) {
        error = "--" + std::string(name) + " needs a number from " + shortText(lo) + " to " +
                shortText(hi) + ", not '" + s + "'";
        return false;
    }
    return true;
}

bool Options::size(int& width, int& height, std::string& error) const {
    if (!has("size")) {
        return true;
    }
    const std::string s = text("size", "");
    const size_t x = s.find('x');
    const bool ok = x == std::string::npos
                        ? parseSide(s, width) && parseSide(s, height)
                        : parseSide(s.substr(0, x), width) && parseSide(s.substr(x + 1), height);
    if (!ok) {
        error = "--size needs N or WxH with sides from 1 to " + std::to_string(kMaxSide) +
                ", not '" + s + "'";
    }
    return ok;
}

bool Options::parseNumber(const std::string& s, float lo, float hi, float& value) {
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (s.empty() || *end != '\0' || !(v >= lo && v <= hi)) {
        return false;
    }
    value = static_cast<float>(v);
    return true;
}

bool asksForHelp(const std::vector<std::string>& words) {
    return std::any_of(words.begin(), words.end(),
                       [](const std::string& w) { return w == "--help" || w == "-h"; });
}
