// The versioned stream header: twelve bytes, the magic "VVRH1", the version as five decimal
// digits and CR LF, in front of a stream. The filters are often opened only to write or to
// consume the header and then taken off with CloseLayer, so that the file stands at the first
// byte of data.
#pragma once

#include <cstdint>

#include "General/Streams/FileObj.h"

/// Reads a header if there is one; reads pass through to the lower file.
class VLIB_API TVersionedInFilter : public TFilter {
public:
    TVersionedInFilter() = default;
    TVersionedInFilter(const TVersionedInFilter &) = delete;
    TVersionedInFilter &operator=(const TVersionedInFilter &) = delete;

    /// Consumes the header and stores its version; data without the magic is given back
    /// untouched and has version 0. False when the file cannot take the filter, or when the
    /// bytes read in looking for the header cannot be given back.
    bool Open(TFileObj *file, unsigned long &version);

    int Read(void *buffer, int size) override;
    /// Refused: returns false.
    bool Write(const void *buffer, int size) override;

    bool HeaderFound() const { return m_HeaderFound; }
    /// The lower file's position behind the header.
    int GetDataStart() const { return m_DataStart; }

private:
    unsigned char m_Scratch[4] = {};
    uint32_t m_Reserved = 0;
    bool m_HeaderFound = false;
    int m_DataStart = 0;
};

/// Writes a header at Open; writes pass through to the lower file.
class VLIB_API TVersionedOutFilter : public TFilter {
public:
    TVersionedOutFilter() = default;
    TVersionedOutFilter(const TVersionedOutFilter &) = delete;
    TVersionedOutFilter &operator=(const TVersionedOutFilter &) = delete;

    /// Writes the header. False when the file cannot take the filter or refuses the header
    /// (the filter is then taken off again and the file left open, with Bad set).
    bool Open(TFileObj *file, unsigned long version);
    /// Writes the header straight to `file`.
    static void WriteVersionInfo(TFileObj *file, unsigned long version);

    /// Refused: returns 0.
    int Read(void *buffer, int size) override;
    bool Write(const void *buffer, int size) override;

    int GetDataStart() const { return m_DataStart; }

private:
    int m_DataStart = 0;
};
