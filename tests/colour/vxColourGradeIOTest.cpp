// The saved forms of a grade: hexadecimal parameter strings (keys and tags)
// and the text form, on known strings, bad input and random round trips.
#include "vxColourGrade.h"
#include "vxColourGradeCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace {

// Hex strings are written here with '|' between header and entries; hex() drops them.
std::string hex(std::string s) {
    s.erase(std::remove(s.begin(), s.end(), '|'), s.end());
    return s;
}

// Buffers for the encoder: junk-filled, or holding hex strings, terminated or
// not (then exactly as long as the string, so that reading past it is caught).
struct Bufs {
    std::vector<std::vector<unsigned char>> b;
    std::vector<unsigned char*> p;
    Bufs(int n, int size) : b(n, std::vector<unsigned char>(size, 'x')) { point(); }
    Bufs(std::initializer_list<const char*> strs, bool terminated = true) {
        for (const char* s : strs) {
            const std::string h = hex(s);
            b.emplace_back(h.c_str(), h.c_str() + h.size() + terminated);
        }
        point();
    }
    void point() {
        for (auto& x : b)
            p.push_back(x.data());
    }
    const unsigned char** in() { return const_cast<const unsigned char**>(p.data()); }
    std::string text() const { // the strings, a space after each but the last
        std::string r;
        for (const auto& x : b) {
            const char* c = reinterpret_cast<const char*>(x.data());
            r += (&x == &b[0] ? "" : " ") + std::string(c, strnlen(c, x.size()));
        }
        return r;
    }
};

// "<returned>:<strings>" of one encode or encodeTags call: from place start
// into one buffer of size bytes, or (nbufs > 1) into all nbufs buffers.
std::string encoded(VxColourGradeEncoder& e, int nbufs, int size, int start, bool tags = false) {
    Bufs out(nbufs, size);
    int n;
    if (nbufs == 1)
        n = tags ? e.encodeTags(out.p[0], size, start) : e.encode(out.p[0], size, start);
    else
        n = tags ? e.encodeTags(out.p.data(), size, nbufs) : e.encode(out.p.data(), size, nbufs);
    return std::to_string(n) + ":" + out.text();
}

std::vector<int> slots(const VxColourGrade& g) {
    std::vector<int> s;
    for (int i = 0; i < g.count; ++i)
        s.push_back(g.slotAt(i));
    return s;
}

std::string writeText(VxColourGrade& g) {
    FILE* f = std::tmpfile();
    g.write(f);
    std::rewind(f);
    std::string s;
    for (int c; (c = std::fgetc(f)) != EOF;)
        s.push_back(static_cast<char>(c));
    std::fclose(f);
    return s;
}

int readText(VxColourGrade& g, const std::string& text) {
    FILE* f = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), f);
    std::rewind(f);
    const int n = g.read(f);
    std::fclose(f);
    return n;
}

VxRGBAf randomColour(std::mt19937& rng) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    return VxRGBAf(u(rng), u(rng), u(rng), u(rng));
}

// Random grades: keys added by editing (ends at 0 and 1, the form the untagged
// strings are for), or set through tags (any slots, any positions).
VxColourGrade randomGrade(std::mt19937& rng, int keys, bool cyclic, bool tagged) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    VxColourGrade g;
    g.cyclic(cyclic);
    if (!tagged) {
        g.changeColour(0, randomColour(rng));
        g.changeColour(1, randomColour(rng));
        for (int i = 0; i < keys; ++i)
            g.addColour(randomColour(rng), u(rng));
        return g;
    }
    g.startTagEnable();
    for (int i = 0; i < keys; ++i)
        g.enableTag(static_cast<int>(rng() % 128));
    g.enableTag(127);
    g.enableTag(static_cast<int>(rng() % 127));
    g.endTagEnable();
    g.startChanges();
    for (int s = 0; s < 128; ++s)
        g.changeTag(s, randomColour(rng), rng() % 9 == 0 ? 0.0f : u(rng));
    g.endChanges();
    return g;
}

// The colour a saved form gives the key at place i: the first key's on the
// last place of a cyclic grade.
VxRGBAf savedColour(const VxColourGrade& g, int i) {
    return g.isCyclic() && i == g.count - 1 ? g.key(g.slotAt(0)).colour : g.key(g.slotAt(i)).colour;
}

} // namespace

TEST(VxColourGradeEncoder, KnownStrings) {
    VxColourGradeEncoder e;
    EXPECT_EQ(encoded(e, 1, 64, 0), hex("2:V0.0|0000000000FF|FFFFFFFFFFFF"));
    e.tagged = 1;
    EXPECT_EQ(encoded(e, 1, 64, 0), hex("2:V0.1|0000000000FF00|FFFFFFFFFFFF01"));
    e.grade.addColour(VxRGBAf(1.0f, 0.5f, 0.0f, 1.0f), 0.5f);
    EXPECT_EQ(encoded(e, 1, 64, 1), hex("2:V0.1|7FFFFF7F00FF02|FFFFFFFFFFFF01"));
    e.grade.cyclic(1);
    EXPECT_EQ(encoded(e, 1, 64, 2), hex("1:V0.1|FFFF000000FF01"));
    // Too small, or nothing left: 0 and an empty string; leftover buffers emptied.
    EXPECT_EQ(encoded(e, 1, 18, 0), "0:");
    EXPECT_EQ(encoded(e, 1, 19, 0), hex("1:V0.1|0000000000FF00"));
    EXPECT_EQ(encoded(e, 1, 64, 3), "0:");
    EXPECT_EQ(encoded(e, 1, 64, -1), "0:");
    EXPECT_EQ(encoded(e, 3, 18, 0), "0:  ");
    EXPECT_EQ(encoded(e, 3, 20, 0),
              hex("3:V0.1|0000000000FF00 V0.1|7FFFFF7F00FF02 V0.1|FFFF000000FF01"));
    EXPECT_EQ(encoded(e, 2, 64, 0), hex("3:V0.1|0000000000FF00|7FFFFF7F00FF02|FFFF000000FF01 "));
}

TEST(VxColourGradeEncoder, DecodesEveryForm) {
    VxColourGradeEncoder e;
    // The oldest form: no header, no alpha (opaque), lower case accepted.
    EXPECT_EQ(e.decode(Bufs{"  0000ff0000|7fff00ff00|FFFF0000FF|12"}.p[0], 0), 3);
    EXPECT_EQ(e.grade.count, 3);
    EXPECT_EQ(e.grade.colour(0.0f), VxRGBAf(1, 0, 0, 1));
    EXPECT_EQ(e.grade.colour(32767.0f / 65535.0f), VxRGBAf(0, 1, 0, 1));
    EXPECT_EQ(e.grade.colour(1.0f), VxRGBAf(0, 0, 1, 1));
    // Untagged, an entry at FFFF only recolours the last key; later strings add.
    Bufs two{"V0.0|0000FF0000FF|FFFF00FF0080", "V0.0|8000FFFFFFFF"};
    EXPECT_EQ(e.decode(two.in(), 1), 2);
    EXPECT_EQ(e.grade.count, 2);
    EXPECT_EQ(e.grade.key(1).colour, VxRGBAf(0.0f, 1.0f, 0.0f, 128.0f / 255.0f));
    EXPECT_EQ(e.decode(two.in(), 2), 3);
    // Unknown headers read nothing; decoding many stops at the first empty one.
    EXPECT_EQ(e.decode(Bufs{"V0.2|0000FF0000FF"}.p[0], 0), 0);
    EXPECT_EQ(e.decode(Bufs{"V0."}.p[0], 0), 0);
    EXPECT_EQ(e.decode(Bufs{"V0.0|0000FF0000FF", "V9.9", "V0.0|8000FFFFFFFF"}.in(), 3), 1);
    EXPECT_EQ(e.grade.count, 2);
    // Tagged: slots and order come back; a non-hex digit, slot FF and a
    // truncated entry are skipped.
    Bufs tagged{"V0.1|0000FF0000FF05|4000FF00G0FF06|8000FF0000FF07|9000FF0000FFFF|"
                "FFFFFFFFFFFF09|FFFF"};
    EXPECT_EQ(e.decode(tagged.p[0], 0), 3);
    EXPECT_EQ(GradeInvariantError(e.grade), "");
    EXPECT_EQ(slots(e.grade), std::vector<int>({5, 7, 9}));
    // A slot given twice, in buffers without a terminating zero.
    Bufs raw({"V0.1|0000FF0000FF03|0000FF0000FF03|9"}, false);
    EXPECT_EQ(e.decode(raw.p[0], 0, static_cast<int>(raw.b[0].size())), 1);
    EXPECT_EQ(e.decode(raw.p[0], 0, -5), 0);
    EXPECT_EQ(e.decode(raw.in(), 1, 18), 1);
    EXPECT_EQ(GradeInvariantError(e.grade), "");
    // Regression: keys set by earlier strings stay, even where the sort after
    // each string has put an initial key before them.
    Bufs one{"V0.1|3333FF0000FF01", "V0.1|9999FF0000FF09", "V0.1|E666FF0000FF03"};
    EXPECT_EQ(e.decode(one.in(), 3), 3);
    EXPECT_EQ(slots(e.grade), std::vector<int>({1, 9, 3}));
}

// Every random grade survives both saved forms. Hex: the same keys up to the
// truncation of positions to 1/65535 and channels to 1/255, tagged and
// untagged, in one buffer or spread over several. Text: the same slots and
// colours (to the 6 digits written), each at the mean of its red, green and
// blue, and a second writing reads back to itself.
TEST(VxColourGrade, SavedFormsRoundTrip) {
    std::mt19937 rng(11);
    auto within = [](float got, float want, float step) {
        return got <= want + 1e-6f && got > want - step - 1e-6f;
    };
    for (int round = 0; round < 80; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const bool tagged = round % 2, cyclic = round % 3 == 0;
        VxColourGradeEncoder src(randomGrade(rng, static_cast<int>(rng() % 140), cyclic, tagged),
                                 tagged);
        const VxColourGrade& g = src.grade;
        src.grade.prepare();
        const int sizes[] = {17, 19, 20, 45, 300, 4000}, size = sizes[rng() % 6];
        const int perBuffer = (size - 5) / (tagged ? 14 : 12);
        const int nbufs = perBuffer ? (g.count + perBuffer - 1) / perBuffer + int(rng() % 2) : 0;
        Bufs bufs(nbufs, size);
        VxColourGradeEncoder hex;
        hex.grade.cyclic(cyclic);
        if (nbufs) {
            ASSERT_EQ(src.encode(bufs.p.data(), size, nbufs), g.count);
            ASSERT_EQ(hex.decode(bufs.in(), nbufs, size), g.count);
            ASSERT_EQ(GradeInvariantError(hex.grade), "");
        }
        VxColourGrade text;
        text.cyclic(cyclic);
        ASSERT_EQ(readText(text, writeText(src.grade)), g.count);
        ASSERT_EQ(GradeInvariantError(text), "");
        ASSERT_EQ(text.count, g.count);
        for (int i = 0; i < g.count; ++i) {
            const VxColourKey &a = g.key(g.slotAt(i)), &t = text.key(g.slotAt(i));
            const VxRGBAf c = savedColour(g, i);
            ASSERT_GE(t.orderIndex, 0) << i;
            EXPECT_EQ(t.position, (t.colour.r + t.colour.g + t.colour.b) / 3.0f) << i;
            for (int ch = 0; ch < 4; ++ch)
                EXPECT_NEAR(t.colour[ch], c[ch], 1e-5f) << i;
            if (!nbufs)
                continue;
            const VxColourKey& h = hex.grade.key(hex.grade.slotAt(i));
            EXPECT_TRUE(!tagged || hex.grade.slotAt(i) == g.slotAt(i)) << i;
            const bool end = !tagged && (i == 0 || i == g.count - 1); // exact at 0 and 1
            EXPECT_TRUE(end ? h.position == a.position
                            : within(h.position, a.position, 1.0f / 65535))
                << i;
            for (int ch = 0; ch < 4; ++ch)
                EXPECT_TRUE(within(h.colour[ch], c[ch], 1.0f / 255)) << i;
        }
        // A cyclic grade moves its last key to the first key's colour, so it is
        // not fixed by writing.
        VxColourGrade again;
        readText(again, writeText(text));
        if (!cyclic) {
            EXPECT_EQ(writeText(again), writeText(text));
        }
        if (HasFailure())
            return;
    }
}

TEST(VxColourGradeEncoder, Tags) {
    VxColourGradeEncoder e;
    e.grade.startTagEnable();
    for (int s : {0, 1, 5, 9, 127})
        e.grade.enableTag(s);
    e.grade.endTagEnable();
    EXPECT_EQ(encoded(e, 1, 6, 0, true), "0:");
    EXPECT_EQ(encoded(e, 1, 64, 0, true), hex("5:V0.1|000105097F"));
    // The scan starts at slot 0 whatever start is, so a second buffer repeats
    // the first slots: the older plug-ins' layout.
    EXPECT_EQ(encoded(e, 1, 64, 3, true), hex("2:V0.1|0001"));
    EXPECT_EQ(encoded(e, 4, 9, 0, true), hex("5:V0.1|0001 V0.1|0001 V0.1|00 "));
    // Reading tags back: one string, continuing a batch, then a batch over several.
    VxColourGradeEncoder d;
    EXPECT_EQ(d.decodeTags(Bufs{"V0.1|000105097F"}.p[0], 0), 5);
    EXPECT_EQ(d.grade.count, 5);
    EXPECT_EQ(d.decodeTags(Bufs{"V0.1|03"}.p[0], 5), 1);
    EXPECT_EQ(d.grade.count, 6);
    EXPECT_EQ(d.decodeTags(Bufs{"V0.1|03"}.p[0], 0), 0); // a new batch of one slot: refused
    EXPECT_EQ(d.grade.count, 6);
    EXPECT_EQ(d.decodeTags(Bufs{" V0.1|0203", "V0.1|0Z80|04", "V0.0|05", "V0.1|06"}.in(), 4), 3);
    EXPECT_EQ(GradeInvariantError(d.grade), "");
    EXPECT_EQ(d.grade.count, 3);
    for (int s : {2, 3, 4})
        EXPECT_GE(d.grade.key(s).orderIndex, 0);
    Bufs raw({"V0.1|07|08|0"}, false);
    EXPECT_EQ(d.decodeTags(raw.p[0], 0, static_cast<int>(raw.b[0].size())), 2);
    EXPECT_EQ(d.decodeTags(raw.in(), 1, static_cast<int>(raw.b[0].size())), 2);
}

TEST(VxColourGradeText, WritesAndReadsEveryForm) {
    VxColourGrade g;
    EXPECT_EQ(writeText(g), "NColours 2 hasAlpha tagged\n0 0 0 0 0 1 0\n1 1 1 1 1 1 1\n");
    g.addColour(VxRGBAf(0.25f, 0.5f, 0.125f, 1e-5f), 0.3f);
    g.cyclic(1);
    EXPECT_EQ(writeText(g), "NColours 3 hasAlpha tagged\n0 0 0 0 0 1 0\n"
                            "1 0.3 0.25 0.5 0.125 1e-05 2\n2 1 0 0 0 1 1\n");
    EXPECT_EQ(g.write(nullptr), -1);
    // Tagged: each key goes to its slot at the mean of its red, green and blue.
    VxColourGrade r;
    EXPECT_EQ(readText(r, "NColours 3 hasAlpha tagged\n0 0 0.3 0.3 0.3 1 4\n"
                          "1 0.1 0.9 0.6 0.3 1 6\n2 1 0 0 0.15 0.5 8\n"),
              3);
    EXPECT_EQ(GradeInvariantError(r), "");
    EXPECT_EQ(slots(r), std::vector<int>({8, 4, 6}));
    EXPECT_FLOAT_EQ(r.key(6).position, 0.6f);
    EXPECT_EQ(r.key(8).colour, VxRGBAf(0.0f, 0.0f, 0.15f, 0.5f));
    // With alpha, untagged: ends recoloured, the others added.
    EXPECT_EQ(readText(r, "NColours 3 hasAlpha\n0 0 1 0 0 1\n1 0.5 0 1 0 1\n2 1 0 0 1 1\n"), 3);
    EXPECT_EQ(r.count, 3);
    EXPECT_EQ(r.colour(0.0f), VxRGBAf(1, 0, 0, 1));
    EXPECT_EQ(r.colour(0.5f), VxRGBAf(0, 1, 0, 1));
    EXPECT_EQ(r.colour(1.0f), VxRGBAf(0, 0, 1, 1));
    // The oldest form: no alpha, which reads as 0.
    EXPECT_EQ(readText(r, "NColours 3\n0 0 1 0 0\n1 0.25 0 1 0\n2 1 0 0 1\n"), 3);
    EXPECT_EQ(r.colour(0.25f), VxRGBAf(0, 1, 0, 0));
    EXPECT_EQ(r.read(nullptr), 0);
    EXPECT_EQ(r.count, 2);
}

// Lines are bounded (the fuzz targets try every other kind of bad input):
// an over-long header still counts, and the tail of an over-long key line is
// dropped, not read as the next line.
TEST(VxColourGradeText, LongLines) {
    VxColourGrade g;
    EXPECT_EQ(readText(g, "NColours 2 hasAlpha tagged" + std::string(5000, '7') +
                              "\n0 0 1 1 1 1 3\n" + std::string(1100, ' ') + "1 0 0 0 0 1 5\n"),
              1);
    EXPECT_EQ(GradeInvariantError(g), "");
    EXPECT_EQ(g.count, 2);
    EXPECT_EQ(g.key(5).orderIndex, -1);
}

// Numbers keep a '.' whatever the process's locale: a grade written or read
// by a host running with a comma decimal point means the same.
TEST(VxColourGradeText, IgnoresTheLocale) {
    const char* comma = nullptr;
    for (const char* n :
         {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8", "fr_FR", "it_IT.UTF-8",
          "es_ES.UTF-8", "nl_NL.UTF-8", "pt_BR.UTF-8", "ru_RU.UTF-8"}) {
        if (!comma && std::setlocale(LC_ALL, n) &&
            !std::strcmp(std::localeconv()->decimal_point, ","))
            comma = n;
    }
    std::setlocale(LC_ALL, "C");
    if (!comma)
        GTEST_SKIP() << "no comma-decimal locale is installed";
    VxColourGrade g, r;
    g.addColour(VxRGBAf(0.25f, 0.5f, 0.125f, 0.75f), 0.3f);
    const std::string plain = writeText(g);
    std::setlocale(LC_ALL, comma);
    const std::string local = writeText(g);
    const int n = readText(r, plain);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(local, plain);
    EXPECT_EQ(n, 3);
    EXPECT_EQ(r.key(2).colour, VxRGBAf(0.25f, 0.5f, 0.125f, 0.75f));
}
