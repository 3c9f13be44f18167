// Two pass-through layers: TXorFilter scrambles every byte with a one-byte key, TNullFilter
// passes bytes unchanged. Both work in the direction their lower file allows, reading if it
// is readable, else writing.
#pragma once

#include "General/Streams/FileObj.h"

/// Exclusive-ors every byte with the key given at Open; the caller's data stays unchanged.
class VLIB_API TXorFilter : public TFilter {
public:
    TXorFilter() = default;
    TXorFilter(const TXorFilter &) = delete;
    TXorFilter &operator=(const TXorFilter &) = delete;

    bool Open(TFileObj *file, unsigned char key);

    int Read(void *buffer, int size) override;
    /// Scrambles through a 256-byte local buffer; false (with Bad set here and below) when
    /// the lower file refuses a block.
    bool Write(const void *buffer, int size) override;

private:
    unsigned char m_Key = 0;
};

/// Passes bytes through unchanged.
class VLIB_API TNullFilter : public TFilter {
public:
    TNullFilter() = default;
    TNullFilter(const TNullFilter &) = delete;
    TNullFilter &operator=(const TNullFilter &) = delete;

    bool Open(TFileObj *file);

    int Read(void *buffer, int size) override;
    bool Write(const void *buffer, int size) override;
};
