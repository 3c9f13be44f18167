// Parsing and writing of a pack's directory bytes, kept apart from the store so that the
// fuzz target reaches the parser without touching the disk.
#include "General/Resources/Detail/PackIndex.h"

#include <cstring>

namespace vlib::detail {

bool ParsePackIndex(const unsigned char *data, size_t size, uint64_t dataEnd,
                    std::vector<TPackIndexEntry> &entries, size_t &consumed) {
    entries.clear();
    consumed = 0;
    if (size < 4)
        return false;
    const uint64_t count = GetLE(data, 4);
    size_t pos = 4;
    // Each record needs at least a terminator and its fixed fields: a count beyond that can
    // only come from damage, and must not drive a large reservation.
    if (count > (size - pos) / (kPackRecordFixedBytes + 1))
        return false;
    entries.reserve(static_cast<size_t>(count));
    for (uint64_t i = 0; i < count; ++i) {
        const void *nul = std::memchr(data + pos, 0, size - pos);
        if (nul == nullptr)
            return false;
        const size_t length =
            static_cast<size_t>(static_cast<const unsigned char *>(nul) - (data + pos));
        if (size - pos - length - 1 < kPackRecordFixedBytes)
            return false;
        TPackIndexEntry entry;
        entry.Path.assign(reinterpret_cast<const char *>(data + pos), length);
        pos += length + 1;
        entry.Size = static_cast<uint32_t>(GetLE(data + pos, 4));
        entry.Offset = static_cast<uint32_t>(GetLE(data + pos + 4, 8));
        entry.Time = GetLE(data + pos + 12, 8);
        pos += kPackRecordFixedBytes;
        // A written record's bytes lie in the data area; one never written has no bytes.
        if (entry.Offset != 0xFFFFFFFFu) {
            if (entry.Offset < 16 || uint64_t(entry.Offset) + entry.Size > dataEnd)
                return false;
        } else if (entry.Size != 0) {
            return false;
        }
        entries.push_back(std::move(entry));
    }
    consumed = pos;
    return true;
}

void WritePackIndex(const std::vector<TPackIndexEntry> &entries, std::vector<unsigned char> &out) {
    PutLE(out, entries.size(), 4);
    for (const TPackIndexEntry &entry : entries) {
        out.insert(out.end(), entry.Path.begin(), entry.Path.end());
        out.push_back(0);
        PutLE(out, entry.Size, 4);
        PutLE(out, entry.Offset, 8);
        PutLE(out, entry.Time, 8);
    }
}

} // namespace vlib::detail
