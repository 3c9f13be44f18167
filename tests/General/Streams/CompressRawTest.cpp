#include "General/Streams/CompressRaw.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Compress(const Bytes &input) {
    Bytes out(TCompressRaw::GetMaxCompSize(static_cast<int>(input.size())) + 16, 0xCD);
    unsigned char *end =
        TCompressRaw::Compress(input.data(), static_cast<int>(input.size()), out.data());
    EXPECT_NE(end, nullptr);
    out.resize(end - out.data());
    return out;
}

Bytes FromText(const char *text) {
    return Bytes(text, text + std::strlen(text));
}

/// Text with repeats at many distances and of many lengths, like level or script data.
Bytes GameLikeData(size_t size, unsigned seed) {
    static const char *const kWords[] = {"position", "rotation", "scale", " = ",
                                         "0.000000", "1.000000", "\r\n",  "\t",
                                         "Entity",   "Mesh",     "{",     "}"};
    std::mt19937 rng(seed);
    Bytes out;
    while (out.size() < size) {
        if (rng() % 4 == 0) {
            out.push_back(static_cast<unsigned char>(rng()));
        } else {
            const char *w = kWords[rng() % (sizeof(kWords) / sizeof(kWords[0]))];
            out.insert(out.end(), w, w + std::strlen(w));
        }
    }
    out.resize(size);
    return out;
}

/// The compressor written out plainly: for each position, a hash counter over the last 1,024
/// positions rules out hopeless ones, then every distance from 1 up to the window is tried
/// and a candidate replaces the best only if strictly longer.
Bytes ReferenceCompress(const Bytes &in) {
    const int size = int(in.size());
    Bytes out = {static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8),
                 static_cast<unsigned char>(size >> 16), static_cast<unsigned char>(size >> 24)};
    auto hash = [&](int p) {
        uint32_t v = in[p];
        if (p + 1 < size)
            v |= uint32_t(in[p + 1]) << 8;
        if (p + 2 < size)
            v |= uint32_t(in[p + 2]) << 16;
        return int(v % 997);
    };
    std::vector<int> counters(997, 0);
    size_t control = out.size();
    out.push_back(0);
    int items = 0;
    auto next = [&]() {
        if (++items == 8) {
            control = out.size();
            out.push_back(0);
            items = 0;
        }
    };
    for (int p = 0; p < size;) {
        const int m = std::min(size - p, 65);
        const int w = std::min(p, 1024);
        int best = 2, bestD = 0;
        if (m >= 3 && w > 0 && counters[hash(p)] != 0) {
            for (int d = 1; d <= w && best < m; ++d) {
                if (std::memcmp(&in[p - d], &in[p], best + 1) != 0)
                    continue;
                int k = best + 1;
                while (k < m && in[p - d + k] == in[p + k])
                    ++k;
                best = k;
                bestD = d;
            }
        }
        int length = 1;
        if (best > 2) {
            const unsigned word = unsigned(best - 2) << 10 | unsigned(bestD - 1);
            out.push_back(static_cast<unsigned char>(word));
            out.push_back(static_cast<unsigned char>(word >> 8));
            out[control] |= static_cast<unsigned char>(1u << items);
            length = best;
        } else {
            out.push_back(in[p]);
        }
        next();
        for (int q = p; q < p + length; ++q) {
            if (q >= 1024)
                --counters[hash(q - 1024)];
            ++counters[hash(q)];
        }
        p += length;
    }
    out[control] |= static_cast<unsigned char>(1u << items);
    out.push_back(0);
    out.push_back(0);
    return out;
}

} // namespace

TEST(CompressRaw, SameBlocksAsAScanOfEveryDistance) {
    std::mt19937 rng(99);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        const size_t size = 1 + rng() % 4000;
        Bytes input;
        switch (round % 4) {
        case 0:
            input = GameLikeData(size, unsigned(round));
            break;
        case 1: // few symbols: long chains, many equal-length candidates
            for (size_t i = 0; i < size; ++i)
                input.push_back(static_cast<unsigned char>('a' + rng() % 3));
            break;
        case 2: // repeats just inside and just outside the window
            input = GameLikeData(size, unsigned(round));
            for (size_t i = 1030; i < input.size(); ++i)
                if (rng() % 3 != 0)
                    input[i] = input[i - 1020 - rng() % 10];
            break;
        default:
            for (size_t i = 0; i < size; ++i)
                input.push_back(static_cast<unsigned char>(rng()));
            break;
        }
        EXPECT_EQ(Compress(input), ReferenceCompress(input));
    }
}

// Blocks worked out by hand from the format: size, control bytes taken from bit 0 upward,
// match words (length - 2) << 10 | (distance - 1), and the zero end marker.
TEST(CompressRaw, GoldenBlocks) {
    struct Case {
        const char *name;
        Bytes input;
        Bytes block;
    };
    const Case kCases[] = {
        {"one byte", FromText("x"), {1, 0, 0, 0, 0x02, 'x', 0, 0}},
        {"two equal bytes stay literals", FromText("xx"), {2, 0, 0, 0, 0x04, 'x', 'x', 0, 0}},
        {"repeat at distance three",
         FromText("abcabcabcabc"),
         {12, 0, 0, 0, 0x18, 'a', 'b', 'c', 0x02, 0x1C, 0, 0}},
        {"a full group of literals is followed by a control byte of 1",
         FromText("abcdefgh"),
         {8, 0, 0, 0, 0x00, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0x01, 0, 0}},
        {"100 equal bytes: one literal, then matches of 65 and 34 at distance 1",
         Bytes(100, 'x'),
         {100, 0, 0, 0, 0x0E, 'x', 0x00, 0xFC, 0x00, 0x80, 0, 0}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Compress(c.input), c.block);
        Bytes out(c.input.size() + 1, 0xEE);
        const unsigned char *end = TCompressRaw::Decompress(c.block.data(), out.data());
        ASSERT_EQ(end, c.block.data() + c.block.size());
        EXPECT_EQ(Bytes(out.begin(), out.end() - 1), c.input);
        EXPECT_EQ(out.back(), 0xEE) << "wrote past the declared size";
    }
}

TEST(CompressRaw, NearestOfEqualMatchesWins) {
    // The last "abcd" (position 13) occurs at distances 5 and 13; both give length 4, and
    // the nearer one must be chosen.
    const Bytes input = FromText("abcdXXXXabcdYabcd");
    const Bytes block = Compress(input);
    Bytes out(input.size());
    ASSERT_NE(TCompressRaw::Decompress(block.data(), out.data()), nullptr);
    EXPECT_EQ(out, input);
    // The last item before the end marker is the match for the final "abcd": distance 5.
    const size_t wordAt = block.size() - 4;
    const unsigned word = block[wordAt] | block[wordAt + 1] << 8;
    EXPECT_EQ(word, (4u - 2) << 10 | (5u - 1));
}

TEST(CompressRaw, RoundTripsAndStaysWithinTheBound) {
    std::mt19937 rng(7);
    for (size_t size :
         {1u, 2u, 3u, 7u, 8u, 9u, 64u, 65u, 66u, 1023u, 1024u, 1025u, 5000u, 70000u}) {
        for (int kind = 0; kind < 3; ++kind) {
            SCOPED_TRACE(testing::Message() << "size " << size << " kind " << kind);
            Bytes input;
            if (kind == 0) {
                input.resize(size);
                for (auto &b : input)
                    b = static_cast<unsigned char>(rng());
            } else if (kind == 1) {
                input = GameLikeData(size, static_cast<unsigned>(size));
            } else {
                input.assign(size, 0);
            }
            const Bytes block = Compress(input);
            EXPECT_LE(block.size(), size_t(TCompressRaw::GetMaxCompSize(int(size))));
            EXPECT_EQ(TCompressRaw::GetDecompSize(block.data()), int(size));
            Bytes out(size);
            const unsigned char *end = TCompressRaw::Decompress(block.data(), int(block.size()),
                                                                out.data(), int(out.size()));
            ASSERT_EQ(end, block.data() + block.size());
            EXPECT_EQ(out, input);
        }
    }
}

TEST(CompressRaw, MatchesNeverReachBeyondTheWindow) {
    // A 40-byte pattern repeated at distance 1,100 is out of reach; at 1,024 it is in reach.
    for (size_t gap : {1100u - 40u, 1024u - 40u}) {
        SCOPED_TRACE(gap);
        Bytes input = GameLikeData(40, 1);
        const Bytes pattern = input;
        std::mt19937 rng(3);
        for (size_t i = 0; i < gap; ++i)
            input.push_back(static_cast<unsigned char>('A' + rng() % 26));
        input.insert(input.end(), pattern.begin(), pattern.end());
        const Bytes block = Compress(input);
        Bytes out(input.size());
        ASSERT_NE(TCompressRaw::Decompress(block.data(), out.data()), nullptr);
        EXPECT_EQ(out, input);
        // Scan the items: no match may reach back beyond the window.
        size_t in = 4, produced = 0;
        unsigned maxDistance = 0;
        bool done = false;
        while (!done) {
            const unsigned control = block[in++];
            for (int bit = 0; bit < 8 && !done; ++bit) {
                if (control & (1u << bit)) {
                    const unsigned word = block[in] | block[in + 1] << 8;
                    in += 2;
                    if (word == 0) {
                        done = true;
                    } else {
                        maxDistance = std::max(maxDistance, (word & 0x3FF) + 1);
                        produced += (word >> 10) + 2;
                    }
                } else {
                    ++in;
                    ++produced;
                }
            }
        }
        EXPECT_EQ(produced, input.size());
        EXPECT_LE(maxDistance, 1024u);
        if (gap + 40 == 1024)
            EXPECT_EQ(maxDistance, 1024u) << "the pattern at the window's edge was not used";
    }
}

TEST(CompressRaw, TotalsCountBytesInAndOut) {
    const int in0 = TCompressRaw::CompSizeIn, out0 = TCompressRaw::CompSizeOut;
    const int dec0 = TCompressRaw::DecompSizeOut;
    const Bytes input(100, 'x');
    const Bytes block = Compress(input);
    EXPECT_EQ(TCompressRaw::CompSizeIn - in0, 100);
    EXPECT_EQ(TCompressRaw::CompSizeOut - out0, int(block.size()));
    Bytes out(100);
    ASSERT_NE(TCompressRaw::Decompress(block.data(), out.data()), nullptr);
    EXPECT_EQ(TCompressRaw::DecompSizeOut - dec0, 100);
}

TEST(CompressRaw, CheckedDecoderRejectsDamagedBlocks) {
    const Bytes input = GameLikeData(3000, 11);
    const Bytes block = Compress(input);
    Bytes out(input.size());
    // Every truncation fails: the end marker is the last thing in the block.
    for (size_t cut = 0; cut < block.size(); ++cut) {
        EXPECT_EQ(TCompressRaw::Decompress(block.data(), int(cut), out.data(), int(out.size())),
                  nullptr)
            << "cut at " << cut;
    }
    // A destination smaller than the declared size is refused up front.
    EXPECT_EQ(
        TCompressRaw::Decompress(block.data(), int(block.size()), out.data(), int(out.size()) - 1),
        nullptr);
    struct Case {
        const char *name;
        Bytes block;
    };
    const Case kCases[] = {
        {"match before the start", {4, 0, 0, 0, 0x01, 0x00, 0x04, 0x04, 0, 0}},
        {"more output than declared", {1, 0, 0, 0, 0x00, 1, 2, 3, 4, 5, 6, 7, 8, 0x01, 0, 0}},
        {"less output than declared", {9, 0, 0, 0, 0x02, 'x', 0, 0}},
        {"declared size above 2 GiB", {0, 0, 0, 0x80, 0x01, 0, 0}},
        {"match longer than what is left", {4, 0, 0, 0, 0x02, 'a', 0x00, 0x0C, 0, 0}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        Bytes target(64, 0);
        EXPECT_EQ(TCompressRaw::Decompress(c.block.data(), int(c.block.size()), target.data(),
                                           int(target.size())),
                  nullptr);
    }
}
