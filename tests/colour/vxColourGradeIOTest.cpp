#include "vxColourGrade.h"
#include "vxColourGradeCheck.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = const unsigned char*;

Bytes bytes(const char* s) {
    return reinterpret_cast<Bytes>(s);
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

// Keys added by the editing calls: ends at 0 and 1, the form the untagged
// strings are for.
VxColourGrade editedGrade(std::mt19937& rng, int keys, bool cyclic) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    VxColourGrade g;
    g.cyclic(cyclic);
    g.changeColour(0, randomColour(rng));
    g.changeColour(1, randomColour(rng));
    for (int i = 0; i < keys; ++i)
        g.addColour(randomColour(rng), u(rng));
    return g;
}

// Keys set through tags: any slots, any positions.
VxColourGrade taggedGrade(std::mt19937& rng, int keys, bool cyclic) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    VxColourGrade g;
    g.cyclic(cyclic);
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

void expectHexRoundTrip(const VxColourGrade& src, const VxColourGrade& dst, bool tagged) {
    ASSERT_EQ(GradeInvariantError(dst), "");
    ASSERT_EQ(dst.count, src.count);
    for (int i = 0; i < src.count; ++i) {
        const VxColourKey& a = src.key(src.slotAt(i));
        const VxColourKey& b = dst.key(dst.slotAt(i));
        if (tagged) {
            EXPECT_EQ(dst.slotAt(i), src.slotAt(i)) << i;
        }
        if (tagged || (i > 0 && i < src.count - 1)) {
            EXPECT_LE(b.position, a.position) << i;
            EXPECT_GT(b.position, a.position - 1.0f / 65535.0f - 1e-7f) << i;
        } else {
            EXPECT_EQ(b.position, a.position) << i;
        }
        const VxRGBAf c = savedColour(src, i);
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_LE(b.colour[ch], c[ch] + 1e-6f) << i;
            EXPECT_GT(b.colour[ch], c[ch] - 1.0f / 255.0f - 1e-6f) << i;
        }
    }
}

} // namespace

TEST(VxColourGradeEncoder, KnownStrings) {
    VxColourGradeEncoder e;
    unsigned char buf[64];
    EXPECT_EQ(e.encode(buf, sizeof buf, 0), 2);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "V0.0"
                                               "0000000000FF"
                                               "FFFFFFFFFFFF");
    e.tagged = 1;
    EXPECT_EQ(e.encode(buf, sizeof buf, 0), 2);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "V0.1"
                                               "0000000000FF00"
                                               "FFFFFFFFFFFF01");
    e.grade.addColour(VxRGBAf(1.0f, 0.5f, 0.0f, 1.0f), 0.5f);
    EXPECT_EQ(e.encode(buf, sizeof buf, 1), 2);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "V0.1"
                                               "7FFFFF7F00FF02"
                                               "FFFFFFFFFFFF01");
    e.grade.cyclic(1);
    EXPECT_EQ(e.encode(buf, sizeof buf, 2), 1);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "V0.1"
                                               "FFFF000000FF01");
    // Too small, or nothing left: 0 and an empty string.
    EXPECT_EQ(e.encode(buf, 18, 0), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "");
    EXPECT_EQ(e.encode(buf, 19, 0), 1);
    EXPECT_EQ(e.encode(buf, sizeof buf, 3), 0);
    EXPECT_EQ(e.encode(buf, sizeof buf, -1), 0);
    unsigned char b0[20], b1[20], b2[20] = "junk";
    unsigned char* bufs[] = {b0, b1, b2};
    EXPECT_EQ(e.encode(bufs, 18, 3), 0);
    EXPECT_EQ(e.encode(bufs, 20, 3), 3);
    EXPECT_STREQ(reinterpret_cast<char*>(b2), "V0.1"
                                              "FFFF000000FF01");
    unsigned char big[64];
    unsigned char* two[] = {big, b2};
    EXPECT_EQ(e.encode(two, 64, 2), 3);
    EXPECT_STREQ(reinterpret_cast<char*>(b2), "");
}

TEST(VxColourGradeEncoder, DecodesEveryForm) {
    VxColourGradeEncoder e;
    // The oldest form: no header, no alpha (opaque), lower case accepted.
    EXPECT_EQ(e.decode(bytes("  0000ff0000"
                             "7fff00ff00"
                             "FFFF0000FF"
                             "12"),
                       0),
              3);
    EXPECT_EQ(e.grade.count, 3);
    EXPECT_EQ(e.grade.colour(0.0f), VxRGBAf(1, 0, 0, 1));
    EXPECT_EQ(e.grade.colour(32767.0f / 65535.0f), VxRGBAf(0, 1, 0, 1));
    EXPECT_EQ(e.grade.colour(1.0f), VxRGBAf(0, 0, 1, 1));
    // An untagged second entry at FFFF only recolours the last key.
    const unsigned char* two[] = {bytes("V0.0"
                                        "0000FF0000FF"
                                        "FFFF00FF0080"),
                                  bytes("V0.0"
                                        "8000FFFFFFFF")};
    EXPECT_EQ(e.decode(two, 1), 2);
    EXPECT_EQ(e.grade.count, 2);
    EXPECT_EQ(e.grade.key(1).colour, VxRGBAf(0.0f, 1.0f, 0.0f, 128.0f / 255.0f));
    EXPECT_EQ(e.decode(two, 2), 3);
    // Unknown headers read nothing; decoding many stops at the first empty one.
    EXPECT_EQ(e.decode(bytes("V0.2"
                             "0000FF0000FF"),
                       0),
              0);
    EXPECT_EQ(e.decode(bytes("V0."), 0), 0);
    const unsigned char* stop[] = {bytes("V0.0"
                                         "0000FF0000FF"),
                                   bytes("V9.9"),
                                   bytes("V0.0"
                                         "8000FFFFFFFF")};
    EXPECT_EQ(e.decode(stop, 3), 1);
    EXPECT_EQ(e.grade.count, 2);
    // Tagged: slots and order come back; bad entries are skipped.
    EXPECT_EQ(e.decode(bytes("V0.1"
                             "0000FF0000FF05"
                             "4000FF00G0FF06"
                             "8000FF0000FF07"
                             "9000FF0000FFFF"
                             "FFFFFFFFFFFF09"
                             "FFFF"),
                       0),
              3);
    EXPECT_EQ(GradeInvariantError(e.grade), "");
    EXPECT_EQ(e.grade.count, 3);
    EXPECT_EQ(e.grade.slotAt(0), 5);
    EXPECT_EQ(e.grade.slotAt(1), 7);
    EXPECT_EQ(e.grade.slotAt(2), 9);
    // A slot given twice, and a buffer without its terminating zero.
    const unsigned char raw[] = {'V', '0', '.', '1', '0', '0', '0', '0', 'F', 'F', '0',
                                 '0', '0', '0', 'F', 'F', '0', '3', '0', '0', '0', '0',
                                 'F', 'F', '0', '0', '0', '0', 'F', 'F', '0', '3', '9'};
    EXPECT_EQ(e.decode(raw, 0, static_cast<int>(sizeof raw)), 1);
    EXPECT_EQ(e.decode(raw, 0, -5), 0);
    const unsigned char* rawList[] = {raw};
    EXPECT_EQ(e.decode(rawList, 1, 18), 1);
    EXPECT_EQ(GradeInvariantError(e.grade), "");
    // One entry per buffer: keys set by earlier strings stay, even where the
    // sort after each string has put an initial key before them.
    const unsigned char* one[] = {bytes("V0.1"
                                        "3333FF0000FF01"),
                                  bytes("V0.1"
                                        "9999FF0000FF09"),
                                  bytes("V0.1"
                                        "E666FF0000FF03")};
    EXPECT_EQ(e.decode(one, 3), 3);
    EXPECT_EQ(e.grade.slotAt(0), 1);
    EXPECT_EQ(e.grade.slotAt(1), 9);
    EXPECT_EQ(e.grade.slotAt(2), 3);
}

// Every grade the encoder writes reads back to the same keys, up to the
// truncation of positions to 1/65535 and channels to 1/255: tagged and
// untagged, cyclic or not, in one buffer or spread over several.
TEST(VxColourGradeEncoder, RoundTrips) {
    std::mt19937 rng(11);
    for (int round = 0; round < 80; ++round) {
        const bool tagged = round % 2, cyclic = round % 3 == 0;
        const int keys = static_cast<int>(rng() % 140);
        VxColourGradeEncoder src(
            tagged ? taggedGrade(rng, keys, cyclic) : editedGrade(rng, keys, cyclic), tagged);
        src.grade.prepare();
        const int sizes[] = {17, 19, 20, 45, 300, 4000};
        const int size = sizes[rng() % 6];
        const int entry = tagged ? 14 : 12;
        if (size <= 4 + entry)
            continue;
        const int perBuffer = (size - 5) / entry;
        const int nbufs =
            (src.grade.count + perBuffer - 1) / perBuffer + static_cast<int>(rng() % 2);
        std::vector<std::vector<unsigned char>> store(nbufs, std::vector<unsigned char>(size, 'x'));
        std::vector<unsigned char*> bufs;
        for (auto& b : store)
            bufs.push_back(b.data());
        ASSERT_EQ(src.encode(bufs.data(), size, nbufs), src.grade.count);
        VxColourGradeEncoder dst;
        dst.grade.cyclic(cyclic);
        std::vector<const unsigned char*> strs(bufs.begin(), bufs.end());
        ASSERT_EQ(dst.decode(strs.data(), nbufs, size), src.grade.count);
        expectHexRoundTrip(src.grade, dst.grade, tagged);
        for (float t = 0.0f; t <= 1.0f; t += 0.0625f) {
            const VxRGBAf a = src.grade.colour(t), b = dst.grade.colour(t);
            // The blend is continuous; untagged grades keep their ends at 0
            // and 1, so quantisation moves it only slightly.
            if (!tagged) {
                for (int ch = 0; ch < 4; ++ch) {
                    EXPECT_NEAR(a[ch], b[ch], 0.05f) << t;
                }
            }
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
    unsigned char buf[64];
    EXPECT_EQ(e.encodeTags(buf, 6, 0), 0);
    EXPECT_EQ(e.encodeTags(buf, sizeof buf, 0), 5);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "V0.1"
                                               "000105097F");
    // The scan starts at slot 0 whatever start is, so a second buffer repeats
    // the first slots: the older plug-ins' layout.
    EXPECT_EQ(e.encodeTags(buf, sizeof buf, 3), 2);
    EXPECT_STREQ(reinterpret_cast<char*>(buf), "V0.1"
                                               "0001");
    unsigned char b0[9], b1[9], b2[9], b3[9] = "x";
    unsigned char* bufs[] = {b0, b1, b2, b3};
    EXPECT_EQ(e.encodeTags(bufs, 9, 4), 5);
    EXPECT_STREQ(reinterpret_cast<char*>(b0), "V0.1"
                                              "0001");
    EXPECT_STREQ(reinterpret_cast<char*>(b1), "V0.1"
                                              "0001");
    EXPECT_STREQ(reinterpret_cast<char*>(b2), "V0.1"
                                              "00");
    EXPECT_STREQ(reinterpret_cast<char*>(b3), "");
    // Reading tags back: one string, then a batch over several.
    VxColourGradeEncoder d;
    EXPECT_EQ(d.decodeTags(bytes("V0.1"
                                 "000105097F"),
                           0),
              5);
    EXPECT_EQ(d.grade.count, 5);
    EXPECT_EQ(d.decodeTags(bytes("V0.1"
                                 "03"),
                           5),
              1); // continues the batch
    EXPECT_EQ(d.grade.count, 6);
    EXPECT_EQ(d.decodeTags(bytes("V0.1"
                                 "03"),
                           0),
              0); // a new batch of one slot: refused
    EXPECT_EQ(d.grade.count, 6);
    const unsigned char* strs[] = {bytes(" V0.1"
                                         "0203"),
                                   bytes("V0.1"
                                         "0Z80"
                                         "04"),
                                   bytes("V0.0"
                                         "05"),
                                   bytes("V0.1"
                                         "06")};
    EXPECT_EQ(d.decodeTags(strs, 4), 3);
    EXPECT_EQ(d.grade.count, 3);
    for (int s : {2, 3, 4})
        EXPECT_GE(d.grade.key(s).orderIndex, 0);
    EXPECT_EQ(GradeInvariantError(d.grade), "");
    const unsigned char raw[] = {'V', '0', '.', '1', '0', '7', '0', '8', '0'};
    EXPECT_EQ(d.decodeTags(raw, 0, static_cast<int>(sizeof raw)), 2);
    const unsigned char* rawList[] = {raw};
    EXPECT_EQ(d.decodeTags(rawList, 1, static_cast<int>(sizeof raw)), 2);
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
    EXPECT_EQ(r.slotAt(0), 8);
    EXPECT_EQ(r.slotAt(1), 4);
    EXPECT_EQ(r.slotAt(2), 6);
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

TEST(VxColourGradeText, RoundTrips) {
    std::mt19937 rng(5);
    for (int round = 0; round < 40; ++round) {
        const bool cyclic = round % 2;
        const int keys = static_cast<int>(rng() % 130);
        VxColourGrade src =
            round % 4 < 2 ? editedGrade(rng, keys, cyclic) : taggedGrade(rng, keys, cyclic);
        const std::string text = writeText(src);
        VxColourGrade dst;
        dst.cyclic(cyclic);
        ASSERT_EQ(readText(dst, text), src.count);
        ASSERT_EQ(GradeInvariantError(dst), "");
        ASSERT_EQ(dst.count, src.count);
        // The same slots with the same colours (to the 6 digits written); each
        // at the mean of its red, green and blue.
        for (int i = 0; i < src.count; ++i) {
            const VxColourKey& b = dst.key(src.slotAt(i));
            ASSERT_GE(b.orderIndex, 0);
            const VxRGBAf c = savedColour(src, i);
            for (int ch = 0; ch < 4; ++ch) {
                EXPECT_NEAR(b.colour[ch], c[ch], 1e-5f);
            }
            EXPECT_EQ(b.position, (b.colour.r + b.colour.g + b.colour.b) / 3.0f);
        }
        // Written again, it reads back to itself exactly (a cyclic grade
        // moves its last key to the first key's colour, so it is not fixed).
        if (!cyclic) {
            VxColourGrade again;
            readText(again, writeText(dst));
            EXPECT_EQ(writeText(again), writeText(dst));
        }
    }
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
    const char* names[] = {"de_DE.UTF-8", "de_DE.utf8",  "de_DE",       "fr_FR.UTF-8",
                           "fr_FR.utf8",  "fr_FR",       "it_IT.UTF-8", "es_ES.UTF-8",
                           "nl_NL.UTF-8", "pt_BR.UTF-8", "ru_RU.UTF-8"};
    const char* comma = nullptr;
    for (const char* n : names) {
        if (std::setlocale(LC_ALL, n) && std::strcmp(std::localeconv()->decimal_point, ",") == 0) {
            comma = n;
            break;
        }
    }
    std::setlocale(LC_ALL, "C");
    if (!comma)
        GTEST_SKIP() << "no comma-decimal locale is installed";
    VxColourGrade g;
    g.addColour(VxRGBAf(0.25f, 0.5f, 0.125f, 0.75f), 0.3f);
    const std::string plain = writeText(g);
    std::setlocale(LC_ALL, comma);
    const std::string local = writeText(g);
    VxColourGrade r;
    const int n = readText(r, plain);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(local, plain);
    EXPECT_EQ(n, 3);
    EXPECT_EQ(r.key(2).colour, VxRGBAf(0.25f, 0.5f, 0.125f, 0.75f));
}
