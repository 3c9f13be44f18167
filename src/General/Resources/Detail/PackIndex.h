// The directory of a packed ".vrb" file as bytes: the record count, then per record the
// zero-terminated path, the size (4 bytes), the offset (8, low 32 used) and the time (8).
// Parsing checks every count, length and range against the bytes present.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vlib::detail {

struct TPackIndexEntry {
    std::string Path;
    uint32_t Size = 0;
    uint32_t Offset = 0;
    uint64_t Time = 0;
};

/// Bytes of a record besides its path and terminator.
constexpr size_t kPackRecordFixedBytes = 20;

/// Reads a directory of `size` bytes for a pack whose data ends at `dataEnd`. False when the
/// bytes are short, a record's data lies outside the data area, or a path is unterminated.
/// `consumed` is the number of directory bytes read.
bool ParsePackIndex(const unsigned char *data, size_t size, uint64_t dataEnd,
                    std::vector<TPackIndexEntry> &entries, size_t &consumed);

/// Appends the directory's bytes for `entries` to `out`.
void WritePackIndex(const std::vector<TPackIndexEntry> &entries, std::vector<unsigned char> &out);

/// Little-endian helpers for the pack's fixed-width fields.
inline void PutLE(std::vector<unsigned char> &out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}
inline uint64_t GetLE(const unsigned char *p, int bytes) {
    uint64_t value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = (value << 8) | p[i];
    return value;
}

} // namespace vlib::detail
