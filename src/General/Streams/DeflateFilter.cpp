// The zlib layers over zlib's deflate and inflate. zlib's allocators are left to zlib (null
// zalloc and zfree), as the stream state is private to each filter.
#include "General/Streams/DeflateFilter.h"

#include <zlib.h>

#include <new>

namespace {

// The version the stream format was first written with: zlib accepts any 1.x here.
constexpr const char *kZlibVersion = "1.1.3";

static_assert(sizeof(z_stream) <= sizeof(TZlibStreamStorage), "z_stream does not fit");
static_assert(alignof(z_stream) <= alignof(TZlibStreamStorage), "z_stream alignment");

z_stream &Stream(TZlibStreamStorage &storage) {
    return *std::launder(reinterpret_cast<z_stream *>(storage.bytes));
}

/// A zeroed z_stream in the storage, with null allocators.
z_stream &ResetStream(TZlibStreamStorage &storage) {
    z_stream *z = new (storage.bytes) z_stream{};
    z->zalloc = Z_NULL;
    z->zfree = Z_NULL;
    z->opaque = Z_NULL;
    return *z;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// TDeflateFilter

TDeflateFilter::~TDeflateFilter() {
    (void)CloseCommon();
}

bool TDeflateFilter::Open(TFileObj *file, TDeflateLevel level) {
    if (!WriteFilterOpenValid(file))
        return HandleOpenFailed(file);
    (void)CloseCommon(); // a reopened filter starts from a fresh stream
    z_stream &z = ResetStream(m_Stream);
    z.next_out = m_Buffer;
    z.avail_out = kBufferSize;
    z.avail_in = 0;
    if (deflateInit_(&z, static_cast<int>(level), kZlibVersion, static_cast<int>(sizeof z)) != Z_OK)
        return HandleOpenFailed(file);
    m_Live = true;
    Layer(file, FlagOpen | FlagWriteable);
    SetCompression(static_cast<int>(level));
    return true;
}

void TDeflateFilter::SetCompression(int level) {
    m_Flags = (m_Flags & 0xFFF0FFFFu) | (static_cast<uint32_t>(level & 0xF) << 16);
}

bool TDeflateFilter::CloseCommon() {
    if (!m_Live)
        return true;
    m_Live = false;
    const int r = deflateEnd(&Stream(m_Stream));
    return r == Z_OK;
}

int TDeflateFilter::Read(void *buffer, int size) {
    (void)buffer;
    (void)size;
    return 0;
}

bool TDeflateFilter::WriteOut(int size) {
    if (m_Lower == nullptr || IsBad()) {
        SetBad();
        return false;
    }
    if (!m_Lower->Write(m_Buffer, size)) {
        MarkBad();
        return false;
    }
    return true;
}

bool TDeflateFilter::Write(const void *buffer, int size) {
    if (!m_Live || IsBad() || size < 0)
        return false;
    z_stream &z = Stream(m_Stream);
    z.next_in = static_cast<Bytef *>(const_cast<void *>(buffer));
    z.avail_in = static_cast<uInt>(size);
    if (size == 0)
        return true;
    for (;;) {
        if (z.avail_out == 0) {
            if (!WriteOut(kBufferSize))
                return false;
            z.next_out = m_Buffer;
            z.avail_out = kBufferSize;
        }
        if (deflate(&z, Z_NO_FLUSH) != Z_OK) {
            SetBad();
            return false;
        }
        if (z.avail_in == 0)
            return true;
    }
}

bool TDeflateFilter::Flush() {
    if (!m_Live || IsBad())
        return false;
    z_stream &z = Stream(m_Stream);
    bool done = false;
    for (;;) {
        const int pending = kBufferSize - static_cast<int>(z.avail_out);
        if (pending != 0) {
            if (!WriteOut(pending))
                return false;
            z.next_out = m_Buffer;
            z.avail_out = kBufferSize;
        }
        if (done)
            break;
        int r = deflate(&z, Z_FINISH);
        if (pending == 0 && r == Z_BUF_ERROR)
            r = Z_OK;
        done = z.avail_out != 0 || r == Z_STREAM_END;
        if (r != Z_OK && r != Z_STREAM_END) {
            SetBad();
            return false;
        }
    }
    return TFilter::Flush();
}

bool TDeflateFilter::Seek(int offset, TSeekMode mode) {
    (void)offset;
    (void)mode;
    return false;
}

bool TDeflateFilter::Close() {
    const bool flushed = Flush();
    bool closed = false;
    if (m_Lower != nullptr && m_Lower->Close()) {
        ClearOpen();
        closed = true;
    }
    const bool ended = CloseCommon();
    return flushed && closed && ended;
}

void TDeflateFilter::CloseLayer() {
    TFileObj::CloseLayer();
    (void)CloseCommon(); // the stream has ended: a failure to end it shows in Bad above
}

// ---------------------------------------------------------------------------------------------
// TInflateFilter

TInflateFilter::~TInflateFilter() {
    CloseCommon();
}

bool TInflateFilter::Open(TFileObj *file) {
    if (!ReadFilterOpenValid(file))
        return HandleOpenFailed(file);
    CloseCommon();
    z_stream &z = ResetStream(m_Stream);
    z.next_in = m_Buffer;
    z.avail_in = 0;
    z.avail_out = kBufferSize;
    if (inflateInit_(&z, kZlibVersion, static_cast<int>(sizeof z)) != Z_OK)
        return HandleOpenFailed(file);
    m_Live = true;
    m_Ended = false;
    Layer(file, FlagOpen | FlagReadable);
    return true;
}

void TInflateFilter::CloseCommon() {
    if (!m_Live)
        return;
    m_Live = false;
    (void)inflateEnd(&Stream(m_Stream)); // it fails only on a state that was never made
}

int TInflateFilter::Read(void *buffer, int size) {
    if (!m_Live || m_Lower == nullptr || size <= 0)
        return 0;
    z_stream &z = Stream(m_Stream);
    z.next_out = static_cast<Bytef *>(buffer);
    z.avail_out = static_cast<uInt>(size);
    while (z.avail_out != 0 && !m_Ended) {
        if (z.avail_in == 0) {
            const int got = m_Lower->Read(m_Buffer, kBufferSize);
            TakeBadFromLower();
            if (got <= 0) {
                // The compressed data ran out before its end marker.
                m_Ended = true;
                MarkBad();
                break;
            }
            z.next_in = m_Buffer;
            z.avail_in = static_cast<uInt>(got);
        }
        const int r = inflate(&z, Z_NO_FLUSH);
        if (r == Z_STREAM_END) {
            m_Ended = true;
            break;
        }
        if (r != Z_OK) {
            if (r != Z_BUF_ERROR) { // a damaged stream delivers nothing more
                m_Ended = true;
                MarkBad();
            }
            break;
        }
    }
    return size - static_cast<int>(z.avail_out);
}

bool TInflateFilter::Write(const void *buffer, int size) {
    (void)buffer;
    (void)size;
    return false;
}

bool TInflateFilter::Seek(int offset, TSeekMode mode) {
    (void)offset;
    (void)mode;
    return false;
}

int TInflateFilter::AtEOF() {
    if (m_Ended || !m_Live)
        return 1;
    if (Stream(m_Stream).avail_in != 0)
        return 0;
    return TFilter::AtEOF();
}

bool TInflateFilter::Close() {
    const bool closed = TFilter::Close();
    CloseCommon();
    return closed;
}

void TInflateFilter::CloseLayer() {
    TFileObj::CloseLayer();
    CloseCommon();
}
