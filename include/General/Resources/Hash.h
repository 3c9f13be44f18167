// THash: the CRC-32 of IEEE 802.3 as a small value type, for checksums of resource data. The
// value is inverted before and after each step, so a hash can be continued over further data
// and equals the plain CRC of everything it has seen.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"

class TFileObj;

/// A 32-bit CRC value (reflected polynomial 0xEDB88320).
class VLIB_API THash {
public:
    /// The 256 words of the byte-wise CRC table.
    struct THashTable {
        constexpr THashTable() : Words() {
            for (uint32_t i = 0; i < 256; ++i) {
                uint32_t c = i;
                for (int bit = 0; bit < 8; ++bit)
                    c = (c & 1u) != 0 ? (c >> 1) ^ 0xEDB88320u : c >> 1;
                Words[i] = c;
            }
        }
        uint32_t Words[256];
    };
    /// Built at compile time, so it is ready for every static constructor.
    static const THashTable HashTable;

    /// Leaves the value undefined until Reset or assignment.
    THash() {}
    THash(uint32_t value) : m_Value(value) {}
    /// The CRC of the text's bytes, without the terminator, started from 0.
    THash(const char *text);
    THash(const THash &other) = default;
    THash &operator=(const THash &other) = default;

    /// Continues the CRC over `size` bytes.
    THash &AddCrc(const void *data, int size);
    /// Continues the CRC over the four bytes of `other`'s value, low byte first.
    THash &AddCrc(THash other);
    THash &XorOn(THash other) {
        m_Value ^= other.m_Value;
        return *this;
    }
    THash &Reset() {
        m_Value = 0;
        return *this;
    }
    bool IsReset() const { return m_Value == 0; }
    uint32_t GetValue() const { return m_Value; }
    static uint32_t GetMinValue() { return 0; }
    static uint32_t GetMaxValue() { return 0xFFFFFFFFu; }

    bool operator==(const THash &other) const { return m_Value == other.m_Value; }
    bool operator!=(const THash &other) const { return m_Value != other.m_Value; }
    bool operator<(const THash &other) const { return m_Value < other.m_Value; }
    bool operator>(const THash &other) const { return m_Value > other.m_Value; }

    /// Writes the value as four little-endian bytes through the file's Write.
    void SaveSubBinary(TFileObj *file) const;
    /// Reads four bytes through the file's Read; a short read leaves the value as it was.
    void LoadSubBinary(TFileObj *file);
    static THash LoadSubBinaryGet(TFileObj *file);

private:
    uint32_t m_Value;
};
