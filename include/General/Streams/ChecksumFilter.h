// A sink that sums what is written to it through the fixed TFastBits table. It stands alone
// rather than on a lower file; text and deflate layers can stand on it, so a container can
// checksum its own text or compressed form.
#pragma once

#include <cstdint>

#include "General/Streams/FileObj.h"

/// Sums each write's 32-bit little-endian words (a short tail completed with zeros within
/// that write), so the same bytes written in different pieces give different sums.
class VLIB_API TChecksumFilter : public TFileObj {
public:
    TChecksumFilter() = default;
    TChecksumFilter(const TChecksumFilter &) = delete;
    TChecksumFilter &operator=(const TChecksumFilter &) = delete;

    /// On a closed object: open for writing, sum and word counter zero.
    void Open();
    uint32_t GetChecksum() const { return m_Checksum; }

    bool Close() override;
    bool Flush() override { return true; }
    /// Returns 0.
    int Read(void *buffer, int size) override;
    bool Write(const void *buffer, int size) override;
    /// Refused: returns false.
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override { return 0; }
    int Length() override { return 0; }
    int AtEOF() override { return 0; }

private:
    void AddWord(uint32_t word);

    uint32_t m_Checksum = 0;
    uint32_t m_Counter = 0;
};
