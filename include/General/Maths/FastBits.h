// A table hash of the low 16 bits of a word. The 256-entry table comes from a fixed run of the
// linear congruential generator, so it is the same in every run; checksums and pointer hashes
// are built on it as well as cheap random bits.
#pragma once

#include "General/Core/Export.h"

#include <cstdint>

/// Random bits from a counter hashed through a shared table.
class VLIB_API TFastBits {
public:
    static uint32_t Bits[256];
    /// 2^-32.
    static float OOWord;
    static bool Initialised;

    /// Counter 0; builds the shared table on first use.
    TFastBits();

    void SetSeed(uint32_t counter) { m_Counter = counter; }
    /// Bits[(x >> 8) & 255] ^ Bits[x & 255]: no state.
    static uint32_t GetFastBits(uint32_t x) { return Bits[(x >> 8) & 255] ^ Bits[x & 255]; }
    /// Advances the counter and hashes it.
    uint32_t GetBits() { return GetFastBits(++m_Counter); }
    int GetRandom(int n) { return int(GetBits() % uint32_t(n)); }
    float GetRandom() { return float(double(GetBits()) * double(OOWord)); }

private:
    uint32_t m_Counter;
};
