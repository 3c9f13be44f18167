// ISAAC, Bob Jenkins' generator, for 2^N words of state. The library instantiates N = 4 (16
// words, cheap to save) and N = 8 (256 words, the published size). Outputs match the published
// reference: results are taken from the top of the result array downwards.
#pragma once

#include "General/Core/Export.h"

#include <cstdint>
#include <cstring>

/// ISAAC with RANDSIZL = N.
template <int N> class VLIB_API TIsaacRand {
public:
    static constexpr uint32_t Size = 1u << N;
    /// Words of a SaveState buffer: tag, count, results, memory, a, b, c, tag.
    static constexpr int SavedWords = int(2 * Size) + 6;
    static constexpr uint32_t StateTag = 0x49534143;

    /// The unseeded reference start, randinit(false).
    TIsaacRand() { randinit(false); }

    virtual void SaveState(uint32_t *buffer) {
        uint32_t *p = buffer;
        *p++ = StateTag;
        *p++ = randcnt;
        std::memcpy(p, randrsl, sizeof randrsl);
        p += Size;
        std::memcpy(p, randmem, sizeof randmem);
        p += Size;
        *p++ = randa;
        *p++ = randb;
        *p++ = randc;
        *p = StateTag;
    }
    /// Reads the SaveState layout back; the tags are not checked.
    virtual void LoadState(const uint32_t *buffer) {
        const uint32_t *p = buffer + 1;
        randcnt = *p++;
        // A count beyond the array would index outside it.
        if (randcnt > Size)
            randcnt = Size;
        std::memcpy(randrsl, p, sizeof randrsl);
        p += Size;
        std::memcpy(randmem, p, sizeof randmem);
        p += Size;
        randa = *p++;
        randb = *p++;
        randc = *p;
    }

    /// The next word: a new block when the count, tested before it drops, is 0.
    uint32_t iRand32() {
        if (randcnt-- == 0) {
            isaac();
            randcnt = Size - 1;
        }
        return randrsl[randcnt];
    }
    /// Fills the results with the seed and reinitialises from them.
    void SetSeed(uint32_t seed) {
        for (uint32_t i = 0; i < Size; ++i)
            randrsl[i] = seed;
        randinit(true);
    }
    /// The result array, where a caller may store a longer seed before randinit runs.
    uint32_t *GetSeed() { return randrsl; }
    /// A new block; the count becomes Size - 1.
    void RecalcSeed() {
        isaac();
        randcnt = Size - 1;
    }

private:
    static void Mix(uint32_t &a, uint32_t &b, uint32_t &c, uint32_t &d, uint32_t &e, uint32_t &f,
                    uint32_t &g, uint32_t &h) {
        a ^= b << 11, d += a, b += c;
        b ^= c >> 2, e += b, c += d;
        c ^= d << 8, f += c, d += e;
        d ^= e >> 16, g += d, e += f;
        e ^= f << 10, h += e, f += g;
        f ^= g >> 4, a += f, g += h;
        g ^= h << 8, b += g, h += a;
        h ^= a >> 9, c += h, a += b;
    }

    /// The word of memory at byte offset x, masked to the array.
    uint32_t Indirect(uint32_t x) const { return randmem[(x >> 2) & (Size - 1)]; }

    void isaac() {
        uint32_t a = randa, b = randb + (++randc);
        uint32_t *m = randmem, *r = randrsl;
        const uint32_t half = Size / 2;
        auto step = [&](uint32_t mixed, uint32_t i, uint32_t i2) {
            const uint32_t x = m[i];
            a = mixed + m[i2];
            const uint32_t y = Indirect(x) + a + b;
            m[i] = y;
            b = Indirect(y >> N) + x;
            r[i] = b;
        };
        for (uint32_t i = 0; i < Size; i += 4) {
            const uint32_t j = (i + half) & (Size - 1);
            step(a ^ (a << 13), i, j);
            step(a ^ (a >> 6), i + 1, j + 1);
            step(a ^ (a << 2), i + 2, j + 2);
            step(a ^ (a >> 16), i + 3, j + 3);
        }
        randb = b;
        randa = a;
    }

    void randinit(bool useSeed) {
        randa = randb = randc = 0;
        uint32_t a, b, c, d, e, f, g, h;
        a = b = c = d = e = f = g = h = 0x9E3779B9u;
        for (int i = 0; i < 4; ++i)
            Mix(a, b, c, d, e, f, g, h);
        const int passes = useSeed ? 2 : 1;
        for (int pass = 0; pass < passes; ++pass) {
            const uint32_t *src = pass == 0 ? randrsl : randmem;
            for (uint32_t i = 0; i < Size; i += 8) {
                if (useSeed) {
                    a += src[i], b += src[i + 1], c += src[i + 2], d += src[i + 3];
                    e += src[i + 4], f += src[i + 5], g += src[i + 6], h += src[i + 7];
                }
                Mix(a, b, c, d, e, f, g, h);
                randmem[i] = a, randmem[i + 1] = b, randmem[i + 2] = c, randmem[i + 3] = d;
                randmem[i + 4] = e, randmem[i + 5] = f, randmem[i + 6] = g, randmem[i + 7] = h;
            }
        }
        isaac();
        randcnt = Size;
    }

    uint32_t randcnt;
    uint32_t randrsl[Size];
    uint32_t randmem[Size];
    uint32_t randa, randb, randc;
};

extern template class TIsaacRand<4>;
extern template class TIsaacRand<8>;
