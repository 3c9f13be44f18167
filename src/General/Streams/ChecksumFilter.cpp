// The checksum sink. Only the low 16 bits of each word and of the word counter reach the
// table, so the sum is cheap: four table reads per word.
#include "General/Streams/ChecksumFilter.h"

#include "General/Maths/FastBits.h"

void TChecksumFilter::Open() {
    if (IsOpen())
        return;
    m_Flags = FlagOpen | FlagWriteable;
    m_Checksum = 0;
    m_Counter = 0;
}

bool TChecksumFilter::Close() {
    ClearOpen();
    return true;
}

int TChecksumFilter::Read(void *buffer, int size) {
    (void)buffer;
    (void)size;
    return 0;
}

bool TChecksumFilter::Seek(int offset, TSeekMode mode) {
    (void)offset;
    (void)mode;
    return false;
}

void TChecksumFilter::AddWord(uint32_t word) {
    const uint32_t *t = TFastBits::Bits;
    const uint32_t c = ++m_Counter;
    m_Checksum += t[(c >> 8) & 255] ^ t[(word >> 8) & 255] ^ t[c & 255] ^ t[word & 255];
}

bool TChecksumFilter::Write(const void *buffer, int size) {
    const auto *bytes = static_cast<const unsigned char *>(buffer);
    int at = 0;
    for (; at + 4 <= size; at += 4)
        AddWord(static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
                static_cast<uint32_t>(bytes[at + 2]) << 16 |
                static_cast<uint32_t>(bytes[at + 3]) << 24);
    if (at < size) {
        uint32_t word = 0;
        for (int shift = 0; at < size; ++at, shift += 8)
            word |= static_cast<uint32_t>(bytes[at]) << shift;
        AddWord(word);
    }
    return true;
}
