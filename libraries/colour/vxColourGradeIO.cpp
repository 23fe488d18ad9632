// Colour grade text form (write / read) and hexadecimal parameter strings.
//
// Numbers go through std::to_chars / std::from_chars rather than the stdio
// formats: those follow the process's locale, and a host running with a
// comma decimal point would otherwise write grades that nobody reads back.
#include "vxColourGrade.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <system_error>

namespace {

constexpr int kMaxLine = 1024;

bool isSpace(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// One line of at most kMaxLine - 1 bytes; the rest of a longer line is
// dropped so that it cannot pose as the next one. False at end of file with
// nothing read.
bool readLine(FILE* f, std::string& line) {
    line.clear();
    int c;
    bool any = false;
    while ((c = std::getc(f)) != EOF) {
        any = true;
        if (c == '\n')
            break;
        if (line.size() < kMaxLine - 1)
            line.push_back(static_cast<char>(c));
    }
    return any;
}

// A cursor over one line, reading the fields the "%d" and "%g" conversions
// would: white space first, then an optional sign and the number.
struct Fields {
    const char* p;
    const char* end;

    void skipSpace() {
        while (p < end && isSpace(static_cast<unsigned char>(*p)))
            ++p;
    }
    bool integer(int& v) {
        skipSpace();
        const char* q = p;
        bool negative = false;
        if (q < end && (*q == '+' || *q == '-'))
            negative = *q++ == '-';
        if (q == end || *q < '0' || *q > '9')
            return false;
        long long x = 0;
        while (q < end && *q >= '0' && *q <= '9') {
            // Saturate: an absurd number is simply out of every range.
            if (x < 10000000000LL)
                x = x * 10 + (*q - '0');
            ++q;
        }
        x = negative ? -x : x;
        v = x > 2147483647LL ? 2147483647 : (x < -2147483647LL ? -2147483647 : static_cast<int>(x));
        p = q;
        return true;
    }
    bool real(float& v) {
        skipSpace();
        const char* q = p;
        if (q < end && *q == '+' && q + 1 < end && q[1] != '-')
            ++q;
        float x = 0.0f;
        const std::from_chars_result r = std::from_chars(q, end, x, std::chars_format::general);
        if (r.ec != std::errc() || r.ptr == q)
            return false;
        v = x;
        p = r.ptr;
        return true;
    }
    bool literal(const char* text) {
        const std::size_t n = std::strlen(text);
        if (static_cast<std::size_t>(end - p) < n || std::memcmp(p, text, n) != 0)
            return false;
        p += n;
        return true;
    }
};

void appendNumber(std::string& out, float v) {
    char buf[64];
    const std::to_chars_result r =
        std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 6);
    out.append(buf, r.ptr);
}

void appendNumber(std::string& out, int v) {
    char buf[16];
    const std::to_chars_result r = std::to_chars(buf, buf + sizeof buf, v);
    out.append(buf, r.ptr);
}

int hexDigit(unsigned char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// n hexadecimal digits, both cases, nothing else (no sign, space or "0x" as
// "%x" would take); -1 when any is not a digit.
int hexField(const unsigned char* s, int n) {
    int v = 0;
    for (int i = 0; i < n; ++i) {
        const int d = hexDigit(s[i]);
        if (d < 0)
            return -1;
        v = v * 16 + d;
    }
    return v;
}

const char kHexUpper[] = "0123456789ABCDEF";

void putHex(unsigned char* out, unsigned v, int n) {
    for (int i = n - 1; i >= 0; --i) {
        out[i] = static_cast<unsigned char>(kHexUpper[v & 15u]);
        v >>= 4;
    }
}

// Truncation of clamp(x * scale, 0, scale); NaN gives 0.
unsigned quantise(float x, float scale) {
    const float v = x * scale;
    return v > 0.0f ? static_cast<unsigned>(v < scale ? v : scale) : 0u;
}

std::size_t boundedLength(const unsigned char* s, std::size_t limit) {
    std::size_t n = 0;
    while (n < limit && s[n] != 0)
        ++n;
    return n;
}

constexpr std::size_t kUnbounded = static_cast<std::size_t>(-1);

std::size_t limitOf(int size) {
    return size < 0 ? 0 : static_cast<std::size_t>(size);
}

} // namespace

// ---------------------------------------------------------------------------
// Text form

int VxColourGrade::write(FILE* f) {
    if (!f) {
        std::fprintf(stderr, "VxColourGrade::write: no file\n");
        return -1;
    }
    prepare();
    std::string out = "NColours ";
    appendNumber(out, count);
    out += " hasAlpha tagged\n";
    for (int i = 0; i < count; ++i) {
        const VxColourKey& k = keys[order[i]];
        // A cyclic grade ends on its first colour.
        const VxRGBAf& c = (flags & kCyclic) && i == count - 1 ? keys[order[0]].colour : k.colour;
        appendNumber(out, i);
        for (float v : {k.position, c.r, c.g, c.b, c.a}) {
            out += ' ';
            appendNumber(out, v);
        }
        out += ' ';
        appendNumber(out, order[i]);
        out += '\n';
    }
    if (std::fwrite(out.data(), 1, out.size(), f) != out.size())
        return -1;
    return count;
}

int VxColourGrade::read(FILE* f) {
    reset();
    if (!f)
        return 0;
    std::string line;
    if (!readLine(f, line))
        return 0;
    const bool tagged = line.find("hasAlpha tagged") != std::string::npos;
    const bool alpha = tagged || line.find("hasAlpha") != std::string::npos;
    int n = 0;
    Fields header{line.data(), line.data() + line.size()};
    if (header.literal("NColours") && !header.integer(n))
        n = 0;
    int taken = 0;
    for (int i = 0; i < n && readLine(f, line); ++i) {
        Fields in{line.data(), line.data() + line.size()};
        int index = 0;
        float position = 0.0f;
        VxRGBAf c;
        int slot = -1;
        // position, red, green and blue are in every form; without them the
        // line holds no key.
        if (!in.integer(index) || !in.real(position) || !in.real(c.r) || !in.real(c.g) ||
            !in.real(c.b))
            continue;
        if (alpha && in.real(c.a) && tagged)
            in.integer(slot);
        if (tagged) {
            // The key sits at the mean of its red, green and blue, not at the
            // position written on the line: the saved form of the tagged
            // widget, kept on purpose.
            const float mean = (c.r + c.g + c.b) / 3.0f;
            taken += placeTagged(slot, c, mean);
        } else if (i == 0 || i == n - 1) {
            // The ends keep their positions and take the line's colour; keys
            // added since may have left the order unsorted.
            SortColours();
            if (goodColour(c)) {
                keys[order[i == 0 ? 0 : count - 1]].colour = c;
                ++taken;
            }
        } else if (addColour(c, position) >= 0) {
            ++taken;
        }
    }
    touch();
    prepare();
    return taken;
}

// ---------------------------------------------------------------------------
// Hexadecimal form

int VxColourGradeEncoder::encode(unsigned char* buf, int size, int start) {
    if (!buf)
        return 0;
    grade.prepare();
    const int entry = tagged ? 14 : 12;
    if (size <= 4 + entry || start < 0 || start >= grade.count) {
        if (size > 0)
            buf[0] = 0;
        return 0;
    }
    std::memcpy(buf, tagged ? "V0.1" : "V0.0", 4);
    int length = 4;
    int written = 0;
    const int n = grade.count;
    for (int i = start; i < n && length + entry < size; ++i) {
        const VxColourKey& k = grade.keys[grade.order[i]];
        const VxRGBAf& c = (grade.flags & VxColourGrade::kCyclic) && i == n - 1
                               ? grade.keys[grade.order[0]].colour
                               : k.colour;
        unsigned char* out = buf + length;
        putHex(out, quantise(k.position, 65535.0f), 4);
        for (int ch = 0; ch < 4; ++ch)
            putHex(out + 4 + 2 * ch, quantise(c[ch], 255.0f), 2);
        if (tagged)
            putHex(out + 12, static_cast<unsigned>(grade.order[i]), 2);
        length += entry;
        ++written;
    }
    buf[length] = 0;
    return written;
}

int VxColourGradeEncoder::encode(unsigned char** bufs, int size, int nbufs) {
    if (!bufs || nbufs <= 0)
        return 0;
    if (size <= (tagged ? 18 : 16)) {
        for (int k = 0; k < nbufs; ++k) {
            if (bufs[k] && size > 0)
                bufs[k][0] = 0;
        }
        return 0;
    }
    int total = 0;
    bool done = false;
    for (int k = 0; k < nbufs; ++k) {
        if (!bufs[k])
            continue;
        if (done) {
            bufs[k][0] = 0;
            continue;
        }
        const int n = encode(bufs[k], size, total);
        total += n;
        done = n == 0;
    }
    return total;
}

int VxColourGradeEncoder::decode(const unsigned char* s, int start) {
    return decodeLimited(s, start, kUnbounded);
}

int VxColourGradeEncoder::decode(const unsigned char* s, int start, int size) {
    return decodeLimited(s, start, limitOf(size));
}

int VxColourGradeEncoder::decodeLimited(const unsigned char* s, int start, std::size_t limit) {
    if (!s)
        return 0;
    const std::size_t length = boundedLength(s, limit);
    std::size_t at = 0;
    while (at < length && isSpace(s[at]))
        ++at;
    int entry = 10;
    bool hasAlpha = false, isTagged = false;
    if (at < length && s[at] == 'V') {
        if (length - at < 4)
            return 0;
        if (std::memcmp(s + at, "V0.0", 4) == 0) {
            entry = 12;
            hasAlpha = true;
        } else if (std::memcmp(s + at, "V0.1", 4) == 0) {
            entry = 14;
            hasAlpha = isTagged = true;
        } else {
            return 0;
        }
        at += 4;
    }
    VxColourGrade& g = grade;
    int index = start < 0 ? 0 : start;
    // A decoding begins at entry 0; later strings continue it.
    if (index == 0)
        std::memset(g.placed_, 0, sizeof g.placed_);
    int taken = 0;
    for (; length - at >= static_cast<std::size_t>(entry); at += entry) {
        const unsigned char* e = s + at;
        const int q = hexField(e, 4);
        int ch[4] = {0, 0, 0, 255};
        bool good = q >= 0;
        for (int i = 0; i < (hasAlpha ? 4 : 3) && good; ++i)
            good = (ch[i] = hexField(e + 4 + 2 * i, 2)) >= 0;
        const int slot = isTagged && good ? hexField(e + 12, 2) : 0;
        if (!good || slot < 0)
            continue;
        const VxRGBAf c(static_cast<float>(ch[0]) / 255.0f, static_cast<float>(ch[1]) / 255.0f,
                        static_cast<float>(ch[2]) / 255.0f, static_cast<float>(ch[3]) / 255.0f);
        const float position = static_cast<float>(q) / 65535.0f;
        int ok = 0;
        if (isTagged) {
            ok = g.placeTagged(slot, c, position);
        } else if (index == 0) {
            g.SortColours();
            g.keys[g.order[0]].colour = c;
            ok = 1;
        } else if (q == 65535) {
            g.SortColours();
            g.keys[g.order[g.count - 1]].colour = c;
            ok = 1;
        } else {
            ok = g.insertKey(c, position) >= 0;
        }
        index += ok;
        taken += ok;
    }
    g.touch();
    g.prepare();
    return taken;
}

int VxColourGradeEncoder::decode(const unsigned char** strs, int n) {
    return decodeAll(strs, n, kUnbounded);
}

int VxColourGradeEncoder::decode(const unsigned char** strs, int n, int size) {
    return decodeAll(strs, n, limitOf(size));
}

int VxColourGradeEncoder::decodeAll(const unsigned char** strs, int n, std::size_t limit) {
    grade.reset();
    if (!strs)
        return 0;
    int total = 0;
    for (int k = 0; k < n; ++k) {
        const int m = decodeLimited(strs[k], total, limit);
        if (m == 0)
            break;
        total += m;
    }
    return total;
}

int VxColourGradeEncoder::encodeTags(unsigned char* buf, int size, int start) {
    if (!buf || size < 7) {
        if (buf && size > 0)
            buf[0] = 0;
        return 0;
    }
    grade.prepare();
    if (start < 0 || start >= grade.count) {
        buf[0] = 0;
        return 0;
    }
    std::memcpy(buf, "V0.1", 4);
    int length = 4;
    int written = 0;
    // Slots from 0 on whatever start is: start only says how many keys the
    // earlier buffers took (the older plug-ins' layout, kept on purpose).
    for (int slot = 0, i = start; slot < VxColourGrade::kMaxKeys && i < grade.count; ++slot) {
        if (grade.keys[slot].orderIndex == -1)
            continue;
        if (length + 2 >= size)
            break;
        putHex(buf + length, static_cast<unsigned>(slot), 2);
        length += 2;
        ++written;
        ++i;
    }
    buf[length] = 0;
    return written;
}

int VxColourGradeEncoder::encodeTags(unsigned char** bufs, int size, int nbufs) {
    if (!bufs || nbufs <= 0)
        return 0;
    int total = 0;
    bool done = size < 7;
    for (int k = 0; k < nbufs; ++k) {
        if (!bufs[k])
            continue;
        if (done) {
            if (size > 0)
                bufs[k][0] = 0;
            continue;
        }
        const int n = encodeTags(bufs[k], size, total);
        total += n;
        done = n == 0;
    }
    return total;
}

int VxColourGradeEncoder::readTags(const unsigned char* s, std::size_t limit) {
    if (!s)
        return 0;
    const std::size_t length = boundedLength(s, limit);
    std::size_t at = 0;
    while (at < length && isSpace(s[at]))
        ++at;
    if (length - at < 4 || std::memcmp(s + at, "V0.1", 4) != 0)
        return 0;
    int n = 0;
    for (at += 4; length - at >= 2; at += 2)
        n += grade.enableTag(hexField(s + at, 2));
    return n;
}

int VxColourGradeEncoder::decodeTags(const unsigned char* s, int start) {
    return decodeTagsLimited(s, start, kUnbounded);
}

int VxColourGradeEncoder::decodeTags(const unsigned char* s, int start, int size) {
    return decodeTagsLimited(s, start, limitOf(size));
}

int VxColourGradeEncoder::decodeTagsLimited(const unsigned char* s, int start, std::size_t limit) {
    if (start <= 0)
        grade.startTagEnable();
    else
        grade.tagBatch_ = 1; // reopened: the slots named so far are still in enabled_
    const int n = readTags(s, limit);
    return grade.endTagEnable() ? n : 0;
}

int VxColourGradeEncoder::decodeTags(const unsigned char** strs, int n) {
    return decodeTagsAll(strs, n, kUnbounded);
}

int VxColourGradeEncoder::decodeTags(const unsigned char** strs, int n, int size) {
    return decodeTagsAll(strs, n, limitOf(size));
}

int VxColourGradeEncoder::decodeTagsAll(const unsigned char** strs, int n, std::size_t limit) {
    if (!strs)
        return 0;
    grade.startTagEnable();
    int total = 0;
    for (int k = 0; k < n; ++k) {
        const int m = readTags(strs[k], limit);
        if (m == 0)
            break;
        total += m;
    }
    return grade.endTagEnable() ? total : 0;
}
