// Streaming of strings as tokens: Write puts the text between double quotes, Read takes one
// quoted or blank-delimited token. They live with the streams because they need TFileObj;
// the rest of TStringInt is compiled with the strings.
#include <cstring>
#include <memory>
#include <new>

#include "General/Core/StringInt.h"
#include "General/Streams/FileObj.h"

namespace {

constexpr int kLocalToken = 255;
constexpr int kLongToken = 65536;

inline bool IsTokenBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// The buffer a token moves to once it outgrows the local one. One per thread, so that
/// two threads reading long tokens do not write over each other.
char *LongTokenBuffer() {
    thread_local std::unique_ptr<char[]> buffer;
    if (!buffer)
        buffer.reset(new (std::nothrow) char[kLongToken]);
    return buffer.get();
}

} // namespace

template <class S> void TStringInt<S>::Write(TFileObj &file) const {
    // Failures show as the file's Bad flag; there is no result to give.
    (void)file.Write("\"", 1);
    (void)file.Write(S::GetData(), S::GetLength());
    (void)file.Write("\"", 1);
}

template <class S> void TStringInt<S>::Read(TFileObj &file) {
    char c = 0;
    for (;;) {
        if (file.IsBad() || file.Read(&c, 1) != 1) {
            Assign("", 0);
            return;
        }
        if (!IsTokenBlank(c))
            break;
    }
    char local[kLocalToken];
    char *buffer = local;
    int capacity = kLocalToken;
    int count = 0;
    const bool quoted = c == '"';
    if (!quoted)
        local[count++] = c;
    while (file.Read(&c, 1) == 1) {
        if (quoted ? c == '"' : IsTokenBlank(c))
            break; // the closing quote or the blank is consumed and dropped
        if (count == capacity - 1) {
            if (buffer == local) {
                char *longer = LongTokenBuffer();
                if (longer != nullptr) {
                    std::memcpy(longer, local, static_cast<size_t>(count));
                    buffer = longer;
                    capacity = kLongToken;
                }
            }
            if (count == capacity - 1)
                continue; // beyond what a token may hold: read on to its end, keep nothing
        }
        buffer[count++] = c;
    }
    buffer[count] = '\0';
    Assign(buffer, count);
}

template void TStringInt<TDynamicStringAllocationStrategy>::Read(TFileObj &);
template void TStringInt<TDynamicStringAllocationStrategy>::Write(TFileObj &) const;
#define VLIB_STRING_STREAM(N)                                                                      \
    template void TStringInt<TStaticStringAllocationStrategy<N>>::Read(TFileObj &);                \
    template void TStringInt<TStaticStringAllocationStrategy<N>>::Write(TFileObj &) const;
VLIB_STRING_STREAM(16)
VLIB_STRING_STREAM(32)
VLIB_STRING_STREAM(64)
VLIB_STRING_STREAM(128)
VLIB_STRING_STREAM(256)
VLIB_STRING_STREAM(512)
VLIB_STRING_STREAM(1024)
VLIB_STRING_STREAM(2048)
VLIB_STRING_STREAM(4096)
#undef VLIB_STRING_STREAM
