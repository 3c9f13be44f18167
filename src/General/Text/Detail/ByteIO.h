// Little-endian fields and zero-terminated strings for the text subsystem's binary forms. The
// reader looks straight into the buffer of the library's memory-backed files, so a load of
// many short strings does not pay a virtual Read per byte.
#pragma once

#include <cstdint>

#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Streams/Detail/FileWindow.h"
#include "General/Streams/FileObj.h"

namespace vlib::detail {

inline void WriteInt32(TFileObj *file, int32_t value) {
    const uint32_t v = static_cast<uint32_t>(value);
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
        static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
    file->Write(bytes, 4);
}

/// Reads bytes of one file; the file's position is brought up to date by Finish or the
/// destructor, and before any fall-back to the file's own Read.
class TByteReader {
public:
    explicit TByteReader(TFileObj *file) : m_File(file), m_Kind(TFileWindow::Classify(file)) {
        Refill();
    }
    ~TByteReader() { Finish(); }
    TByteReader(const TByteReader &) = delete;
    TByteReader &operator=(const TByteReader &) = delete;

    bool ReadByte(unsigned char &value) {
        if (m_Next < m_End) {
            value = static_cast<unsigned char>(*m_Next++);
            return true;
        }
        return ReadByteSlow(value);
    }

    bool ReadInt32(int32_t &value) {
        unsigned char b[4];
        for (unsigned char &byte : b)
            if (!ReadByte(byte))
                return false;
        value = static_cast<int32_t>(
            static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
            static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24);
        return true;
    }

    /// Bytes up to a zero byte, which is consumed; false (and `out` undefined) when the file
    /// ends first.
    bool ReadCString(TStringInt<TDynamicStringAllocationStrategy> &out) {
        // The common case: the whole string lies in the window.
        for (const char *p = m_Next; p < m_End; ++p)
            if (*p == '\0') {
                out = TStringInt<TDynamicStringAllocationStrategy>(
                    m_Next, static_cast<unsigned>(p - m_Next));
                m_Next = p + 1;
                return true;
            }
        return ReadCStringSlow(out);
    }

    /// The start of a string that lies whole in the window, with its length; null when it
    /// doesn't (ReadCString then does the work). Consumes the string and its zero byte.
    const char *TakeCStringInWindow(int &length) {
        for (const char *p = m_Next; p < m_End; ++p)
            if (*p == '\0') {
                const char *start = m_Next;
                length = static_cast<int>(p - start);
                m_Next = p + 1;
                return start;
            }
        return nullptr;
    }

    void Finish() {
        if (m_Start != nullptr) {
            TFileWindow::Advance(m_File, m_Kind, static_cast<int>(m_Next - m_Start));
            m_Start = m_Next = m_End = nullptr;
        }
    }

private:
    void Refill() {
        Finish();
        if (m_File == nullptr)
            return;
        TFileWindow::Get(m_File, m_Kind, m_Start, m_End);
        if (m_Start == m_End)
            m_Start = m_End = nullptr;
        m_Next = m_Start;
    }

    bool ReadByteSlow(unsigned char &value) {
        Refill();
        if (m_Next < m_End) {
            value = static_cast<unsigned char>(*m_Next++);
            return true;
        }
        char c;
        if (m_File == nullptr || m_File->Read(&c, 1) != 1)
            return false;
        value = static_cast<unsigned char>(c);
        return true;
    }

    bool ReadCStringSlow(TStringInt<TDynamicStringAllocationStrategy> &out) {
        TLibVector<char> bytes;
        unsigned char c;
        for (;;) {
            if (!ReadByte(c))
                return false;
            if (c == 0)
                break;
            bytes.push_back(static_cast<char>(c));
        }
        out = TStringInt<TDynamicStringAllocationStrategy>(bytes.data(),
                                                           static_cast<unsigned>(bytes.size()));
        return true;
    }

    TFileObj *m_File; // not owned
    TWindowKind m_Kind;
    const char *m_Start = nullptr; // not owned: the window into the file's buffer
    const char *m_Next = nullptr;
    const char *m_End = nullptr;
};

} // namespace vlib::detail
