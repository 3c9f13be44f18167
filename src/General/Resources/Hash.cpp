// THash: byte-wise CRC-32 over the table built at compile time, and its four-byte file form.
#include "General/Resources/Hash.h"

#include <cstring>

#include "General/Streams/FileObj.h"

const THash::THashTable THash::HashTable;

THash::THash(const char *text) : m_Value(0) {
    if (text != nullptr)
        AddCrc(text, static_cast<int>(std::strlen(text)));
}

THash &THash::AddCrc(const void *data, int size) {
    const unsigned char *bytes = static_cast<const unsigned char *>(data);
    uint32_t crc = ~m_Value;
    for (int i = 0; i < size; ++i)
        crc = HashTable.Words[(crc ^ bytes[i]) & 0xFFu] ^ (crc >> 8);
    m_Value = ~crc;
    return *this;
}

THash &THash::AddCrc(THash other) {
    const unsigned char bytes[4] = {static_cast<unsigned char>(other.m_Value),
                                    static_cast<unsigned char>(other.m_Value >> 8),
                                    static_cast<unsigned char>(other.m_Value >> 16),
                                    static_cast<unsigned char>(other.m_Value >> 24)};
    return AddCrc(bytes, 4);
}

void THash::SaveSubBinary(TFileObj *file) const {
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(m_Value), static_cast<unsigned char>(m_Value >> 8),
        static_cast<unsigned char>(m_Value >> 16), static_cast<unsigned char>(m_Value >> 24)};
    (void)file->Write(bytes, 4); // a failed write shows in the file's Bad flag
}

void THash::LoadSubBinary(TFileObj *file) {
    unsigned char bytes[4];
    if (file->Read(bytes, 4) != 4)
        return;
    m_Value = static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
              static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

THash THash::LoadSubBinaryGet(TFileObj *file) {
    THash hash(0u);
    hash.LoadSubBinary(file);
    return hash;
}
