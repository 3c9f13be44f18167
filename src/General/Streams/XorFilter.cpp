// The pass-through layers.
#include "General/Streams/XorFilter.h"

namespace {

constexpr int kXorBlock = 256;

} // namespace

bool TXorFilter::Open(TFileObj *file, unsigned char key) {
    if (!FilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | (file->IsReadable() ? FlagReadable : FlagWriteable));
    m_Key = key;
    return true;
}

int TXorFilter::Read(void *buffer, int size) {
    if (m_Lower == nullptr)
        return 0;
    const int got = m_Lower->Read(buffer, size);
    TakeBadFromLower();
    auto *bytes = static_cast<unsigned char *>(buffer);
    for (int i = 0; i < got; ++i)
        bytes[i] ^= m_Key;
    return got;
}

bool TXorFilter::Write(const void *buffer, int size) {
    if (m_Lower == nullptr || IsBad()) {
        SetBad();
        return false;
    }
    const auto *in = static_cast<const unsigned char *>(buffer);
    unsigned char block[kXorBlock];
    for (int at = 0; at < size; at += kXorBlock) {
        const int n = size - at < kXorBlock ? size - at : kXorBlock;
        for (int i = 0; i < n; ++i)
            block[i] = in[at + i] ^ m_Key;
        if (!m_Lower->Write(block, n)) {
            MarkBad();
            return false;
        }
    }
    return true;
}

bool TNullFilter::Open(TFileObj *file) {
    if (!FilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | (file->IsReadable() ? FlagReadable : FlagWriteable));
    return true;
}

int TNullFilter::Read(void *buffer, int size) {
    if (m_Lower == nullptr)
        return 0;
    const int got = m_Lower->Read(buffer, size);
    TakeBadFromLower();
    return got;
}

bool TNullFilter::Write(const void *buffer, int size) {
    if (m_Lower == nullptr || IsBad()) {
        SetBad();
        return false;
    }
    if (!m_Lower->Write(buffer, size)) {
        MarkBad();
        return false;
    }
    return true;
}
