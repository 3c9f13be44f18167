// A look into the buffer of a lower file, so that a text filter can take characters from it
// without a virtual Read call for each one. Only the library's own memory-backed files
// qualify, and only the bytes whose one-byte reads would do nothing but move the position:
// the window stops short of every byte whose read would set a flag or load a chunk.
#pragma once

#include <cstdint>

#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"

namespace vlib::detail {

enum class TWindowKind : uint8_t { None, RealFile, FixedBuf, ManagedBuf };

/// Friend of the files it looks into.
class TFileWindow {
public:
    /// The kind of `file`, by its exact class; files of other classes get None.
    static TWindowKind Classify(TFileObj *file);
    /// The bytes [begin, end) at the file's position that one-byte reads would deliver with
    /// no effect but advancing the position; empty when the file's own Read must be used.
    static inline void Get(TFileObj *file, TWindowKind kind, const char *&begin, const char *&end);
    /// Moves the file's position past `count` bytes taken from the window.
    static inline void Advance(TFileObj *file, TWindowKind kind, int count);
};

inline void TFileWindow::Get(TFileObj *file, TWindowKind kind, const char *&begin,
                             const char *&end) {
    begin = end = nullptr;
    switch (kind) {
    case TWindowKind::RealFile: {
        auto *f = static_cast<TRealFile *>(file);
        if ((f->m_Flags & TRealFile::RealFileDirect) || f->m_EndFlag || f->m_Buffer == nullptr ||
            f->m_Position < 0)
            return;
        // Reading the last byte of the file sets the end flag: it is left to Read.
        int limit = f->m_Length - 1;
        if ((f->m_Flags & TRealFile::RealFileWhole) == 0) {
            if (f->m_ChunkBase < 0 ||
                (f->m_Position & ~(TRealFile::kChunkSize - 1)) != f->m_ChunkBase)
                return;
            const int chunkEnd = f->m_ChunkBase + TRealFile::kChunkSize;
            if (chunkEnd < limit)
                limit = chunkEnd;
            begin = reinterpret_cast<const char *>(f->m_Buffer) + (f->m_Position - f->m_ChunkBase);
        } else {
            begin = reinterpret_cast<const char *>(f->m_Buffer) + f->m_Position;
        }
        if (f->m_Position >= limit) {
            begin = nullptr;
            return;
        }
        end = begin + (limit - f->m_Position);
        return;
    }
    case TWindowKind::FixedBuf: {
        auto *f = static_cast<TFixedFileBuf *>(file);
        if (f->m_Buffer == nullptr || f->m_Position < 0 || f->m_Position >= f->m_Size)
            return;
        begin = reinterpret_cast<const char *>(f->m_Buffer) + f->m_Position;
        end = reinterpret_cast<const char *>(f->m_Buffer) + f->m_Size;
        return;
    }
    case TWindowKind::ManagedBuf: {
        auto *f = static_cast<TManagedFileBuf *>(file);
        if (f->m_Buffer == nullptr || f->m_Position < 0 || f->m_Position >= f->m_Size)
            return;
        begin = reinterpret_cast<const char *>(f->m_Buffer) + f->m_Position;
        end = reinterpret_cast<const char *>(f->m_Buffer) + f->m_Size;
        return;
    }
    case TWindowKind::None:
        return;
    }
}

inline void TFileWindow::Advance(TFileObj *file, TWindowKind kind, int count) {
    switch (kind) {
    case TWindowKind::RealFile:
        static_cast<TRealFile *>(file)->m_Position += count;
        return;
    case TWindowKind::FixedBuf:
        static_cast<TFixedFileBuf *>(file)->m_Position += count;
        return;
    case TWindowKind::ManagedBuf:
        static_cast<TManagedFileBuf *>(file)->m_Position += count;
        return;
    case TWindowKind::None:
        return;
    }
}

} // namespace vlib::detail
