// zlib layers: TDeflateFilter compresses what is written through it, TInflateFilter
// decompresses what is read through it. Both move data in blocks of 32 KB; root containers of
// format 2 stack one of them at level 6 straight on the disk file.
#pragma once

#include <cstdint>

#include "General/Streams/FileObj.h"

/// Room for zlib's stream state, which stays out of this header so that hosts need no zlib
/// headers of their own.
struct alignas(8) TZlibStreamStorage {
    unsigned char bytes[112];
};

/// Compresses into the lower file. Seeking is refused; GetPos and Length count compressed
/// bytes. Flush ends the stream, after which the filter can only be closed.
class VLIB_API TDeflateFilter : public TFilter {
public:
    /// zlib's compression levels; the library itself always uses 6.
    enum TDeflateLevel {
        DeflateNoCompression = 0,
        DeflateBestSpeed = 1,
        DeflateDefault = 6,
        DeflateBestCompression = 9,
    };
    static constexpr int kBufferSize = 32768;

    TDeflateFilter() = default;
    /// Frees zlib's state if the filter was left open; the stack beneath is not touched.
    ~TDeflateFilter() override;
    TDeflateFilter(const TDeflateFilter &) = delete;
    TDeflateFilter &operator=(const TDeflateFilter &) = delete;

    /// Opens on a writeable file. A failed zlib start closes the file and returns false.
    bool Open(TFileObj *file, TDeflateLevel level);
    /// The level given to Open.
    int GetCompression() const { return static_cast<int>((m_Flags >> 16) & 0xF); }

    /// Refused: returns 0.
    int Read(void *buffer, int size) override;
    /// Compresses; false (with Bad set here and below) when the lower file refuses output.
    bool Write(const void *buffer, int size) override;
    /// Ends the compressed stream, writes what is left and flushes the lower file.
    bool Flush() override;
    bool Seek(int offset, TSeekMode mode) override;
    /// Ends the stream, closes the stack beneath and frees zlib's state; true only if all
    /// three worked.
    bool Close() override;
    /// Ends the stream and takes this level off, leaving the lower file open.
    void CloseLayer() override;

private:
    void SetCompression(int level);
    /// Frees zlib's state once; true if zlib reported no error.
    bool CloseCommon();
    bool WriteOut(int size);

    unsigned char m_Buffer[kBufferSize];
    TZlibStreamStorage m_Stream{};
    bool m_Live = false; // zlib's state is allocated
};

/// Decompresses from the lower file. It reads ahead: up to 32 KB behind the end of the
/// compressed data may already have left the lower file. A damaged or truncated stream ends
/// reads short and sets Bad.
class VLIB_API TInflateFilter : public TFilter {
public:
    static constexpr int kBufferSize = 32768;

    TInflateFilter() = default;
    ~TInflateFilter() override;
    TInflateFilter(const TInflateFilter &) = delete;
    TInflateFilter &operator=(const TInflateFilter &) = delete;

    /// Opens on a readable file. A failed zlib start closes the file and returns false.
    bool Open(TFileObj *file);

    int Read(void *buffer, int size) override;
    /// Refused: returns false.
    bool Write(const void *buffer, int size) override;
    bool Seek(int offset, TSeekMode mode) override;
    /// False while read-ahead input is waiting; true once the stream has ended or broken,
    /// else the lower file's answer.
    int AtEOF() override;
    bool Close() override;
    void CloseLayer() override;

private:
    void CloseCommon();

    unsigned char m_Buffer[kBufferSize];
    TZlibStreamStorage m_Stream{};
    bool m_Live = false;  // zlib's state is allocated
    bool m_Ended = false; // the stream ended, or broke, and delivers nothing more
};
