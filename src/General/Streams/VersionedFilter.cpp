// The versioned header filters. The reader tolerates anything after the magic: the digits
// are not checked, and the line may end in CR LF, LF alone or the end of the file.
#include "General/Streams/VersionedFilter.h"

#include <cstdio>

namespace {

constexpr char kMagic[] = "VVRH1";

/// "VVRH1", the version as "%05d", CR LF; returns the length (12 for versions up to 99999).
int FormatHeader(char (&text)[32], unsigned long version) {
    return std::snprintf(text, sizeof text, "%s%05d\r\n", kMagic,
                         static_cast<int>(static_cast<uint32_t>(version)));
}

bool IsLineEnd(unsigned char c) {
    return c == '\r' || c == '\n';
}

} // namespace

bool TVersionedInFilter::Open(TFileObj *file, unsigned long &version) {
    if (!ReadFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagReadable);
    m_HeaderFound = false;
    m_Reserved = 0;

    const int start = GetPos();
    const int got = Read(m_Scratch, 4);
    if (got != 4 || m_Scratch[0] != 'V' || m_Scratch[1] != 'V' || m_Scratch[2] != 'R' ||
        m_Scratch[3] != 'H') {
        version = 0;
        // No header: give the bytes back by going to where the read started. A relative
        // seek would miss it on a real file whose whole-length read leaves the tracked
        // position behind, and on a file too short for four bytes.
        const bool back = Seek(start, SeekStart);
        if (!back) {
            CloseLayer();
            return false;
        }
        m_DataStart = GetPos();
        return true;
    }

    unsigned char rest[6] = {'1', '0', '0', '0', '0', '0'};
    (void)Read(rest, 6); // the fifth magic byte and the digits, not checked
    uint32_t value = 0;
    for (int i = 1; i < 6; ++i)
        value = value * 10 + static_cast<uint32_t>(rest[i] - '0');
    version = value;

    unsigned char c = 0;
    while (Read(&c, 1) == 1 && !IsLineEnd(c)) {
    }
    if (Read(&c, 1) == 1 && !IsLineEnd(c) && !Seek(-1, SeekCurrent)) {
        CloseLayer();
        return false;
    }
    m_HeaderFound = true;
    m_DataStart = GetPos();
    return true;
}

int TVersionedInFilter::Read(void *buffer, int size) {
    if (m_Lower == nullptr)
        return 0;
    const int got = m_Lower->Read(buffer, size);
    TakeBadFromLower();
    return got;
}

bool TVersionedInFilter::Write(const void *buffer, int size) {
    (void)buffer;
    (void)size;
    return false;
}

bool TVersionedOutFilter::Open(TFileObj *file, unsigned long version) {
    if (!WriteFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagWriteable);
    char text[32];
    const int length = FormatHeader(text, version);
    if (!Write(text, length)) {
        CloseLayer();
        return false;
    }
    m_DataStart = GetPos();
    return true;
}

void TVersionedOutFilter::WriteVersionInfo(TFileObj *file, unsigned long version) {
    if (file == nullptr)
        return;
    char text[32];
    const int length = FormatHeader(text, version);
    (void)file->Write(text, length); // a failure shows as the file's Bad flag
}

int TVersionedOutFilter::Read(void *buffer, int size) {
    (void)buffer;
    (void)size;
    return 0;
}

bool TVersionedOutFilter::Write(const void *buffer, int size) {
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
