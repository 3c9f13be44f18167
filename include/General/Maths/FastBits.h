// A table-driven hash of the low 16 bits of a word, used as a cheap noise source and by the
// stream checksum. The 256-entry table comes from the library's linear congruential step
// and is fixed: it is computed at compile time, so it is ready before any constructor runs.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"

namespace vlib::detail {
/// The table: with v starting at 0, each entry takes four bytes from low to high, each byte
/// from v = ((v << 12) + 150889) % 714025 and then ((v >> 8) ^ v) & 255.
struct TFastBitsTable {
    uint32_t words[256];
};
constexpr TFastBitsTable MakeFastBitsTable() {
    TFastBitsTable table{};
    uint32_t v = 0;
    for (uint32_t &entry : table.words) {
        uint32_t word = 0;
        for (int k = 0; k < 4; ++k) {
            v = ((v << 12) + 150889u) % 714025u;
            word |= (((v >> 8) ^ v) & 255u) << (8 * k);
        }
        entry = word;
    }
    return table;
}
inline constexpr TFastBitsTable kFastBitsTable = MakeFastBitsTable();
} // namespace vlib::detail

/// A counter hashed through a fixed table. A value type: copy it freely.
class TFastBits {
public:
    /// The shared table.
    static constexpr const uint32_t (&Bits)[256] = vlib::detail::kFastBitsTable.words;
    /// 2^-32, which maps a word to [0, 1).
    static constexpr float OOWord = 1.0f / 4294967296.0f;
    /// The table needs no run-time initialisation; kept for callers that test it.
    static constexpr bool Initialised = true;

    TFastBits() = default;

    void SetSeed(uint32_t seed) { m_Counter = seed; }
    /// Bits[(x >> 8) & 255] ^ Bits[x & 255]: a hash of the low 16 bits, without state.
    static uint32_t GetFastBits(uint32_t x) { return Bits[(x >> 8) & 255] ^ Bits[x & 255]; }
    /// Advances the counter and hashes it.
    uint32_t GetBits() { return GetFastBits(++m_Counter); }
    /// GetBits() % n, unsigned; n must be positive.
    int GetRandom(int n) { return static_cast<int>(GetBits() % static_cast<uint32_t>(n)); }
    /// GetBits() * 2^-32, in [0, 1).
    float GetRandom() { return static_cast<float>(GetBits()) * OOWord; }

protected:
    uint32_t m_Counter = 0;
};
