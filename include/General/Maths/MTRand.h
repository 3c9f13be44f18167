// The MT19937 Mersenne Twister with its published seeding routines. Saved games and replays
// rely on a seed giving the same stream, so every output matches the reference generator.
#pragma once

#include "General/Core/Export.h"

#include <cstdint>

/// MT19937: 624 words of state, tempered 32-bit outputs.
class VLIB_API TMTRand {
public:
    static constexpr int StateSize = 624;
    static constexpr int Period = 397;
    /// Words of a SaveState buffer: tag, state, words left, tag.
    static constexpr int SavedWords = StateSize + 3;
    static constexpr uint32_t StateTag = 0x4D655477;

    /// Seeded with 5489, the reference default.
    TMTRand() { SetSeed(5489u); }
    TMTRand(const TMTRand &other) { *this = other; }
    TMTRand &operator=(const TMTRand &other);

    /// Writes SavedWords words: the tag, the state, the words left and the tag again.
    virtual void SaveState(uint32_t *buffer);
    /// Reads the SaveState layout back; the tags are not checked.
    virtual void LoadState(const uint32_t *buffer);

    /// The next tempered word; a new block is generated when the last one is used up.
    uint32_t iRand32() {
        if (m_Left == 0)
            MersenneTwister();
        --m_Left;
        uint32_t s = *m_Next++;
        s ^= s >> 11;
        s ^= (s << 7) & 0x9D2C5680u;
        s ^= (s << 15) & 0xEFC60000u;
        return s ^ (s >> 18);
    }

    /// The reference init_genrand, then the first block at once.
    void SetSeed(uint32_t seed);
    /// The reference init_by_array over `length` key words, then the first block.
    void SetSeed(const uint32_t *key, uint32_t length);
    /// SetSeed from the low word of the global clock, modulo 397.
    void SetRandomSeed();
    /// The 624 state words, for callers that seed by hand before RecalcSeed.
    uint32_t *GetSeed() { return m_State; }
    /// Generates the next block from the state; 624 words are left after it.
    void RecalcSeed() { MersenneTwister(); }

private:
    void Initialise(uint32_t seed);
    void MersenneTwister();

    static uint32_t hiBit(uint32_t u) { return u & 0x80000000u; }
    static uint32_t loBit(uint32_t u) { return u & 0x00000001u; }
    static uint32_t loBits(uint32_t u) { return u & 0x7FFFFFFFu; }
    static uint32_t mixBits(uint32_t u, uint32_t v) { return hiBit(u) | loBits(v); }
    static uint32_t twist(uint32_t m, uint32_t s0, uint32_t s1) {
        return m ^ (mixBits(s0, s1) >> 1) ^ (loBit(s1) ? 0x9908B0DFu : 0u);
    }

    uint32_t m_State[StateSize];
    uint32_t *m_Next; // not owned: points into m_State
    int m_Left;
};
