// Files over memory: TFixedFileBuf over a block the caller owns, TManagedFileBuf over a block
// it owns and grows, and TNullFile, which swallows everything and only counts (used to
// measure what an object would write).
#pragma once

#include "General/Streams/FileObj.h"

namespace vlib::detail {
class TFileWindow;
} // namespace vlib::detail

/// A file over a caller's block of fixed size.
class VLIB_API TFixedFileBuf : public TFileObj {
public:
    TFixedFileBuf() = default;
    TFixedFileBuf(const TFixedFileBuf &) = delete;
    TFixedFileBuf &operator=(const TFixedFileBuf &) = delete;

    /// Opens over `size` bytes at `buffer` (not owned): for reading if `flags` holds 2, else
    /// for writing. False when already open.
    bool Open(unsigned char *buffer, int size, unsigned long flags);

    bool Close() override;
    bool Flush() override { return true; }
    /// Reports end of file only after a read has run into the end of the block.
    int Read(void *buffer, int size) override;
    /// Copies what fits; true only if all of it did.
    bool Write(const void *buffer, int size) override;
    /// Refuses targets outside [0, size): seeking to exactly the end fails.
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override { return m_Position; }
    int Length() override { return m_Size; }
    int AtEOF() override { return m_Position == m_Size + 1 ? 1 : 0; }
    /// "FixedFileBuf".
    TDynamicString &GetFileName() override;

private:
    // Lets a text filter take bytes straight from the buffer.
    friend class vlib::detail::TFileWindow;

    unsigned char *m_Buffer = nullptr; // not owned
    int m_Position = 0;
    int m_Size = 0;
};

/// A file over a block of its own that grows by half as writes need it.
class VLIB_API TManagedFileBuf : public TFileObj {
public:
    TManagedFileBuf() = default;
    /// Frees the block.
    ~TManagedFileBuf() override;
    /// Copies share the block: only one of them may be destroyed while it holds it.
    TManagedFileBuf(const TManagedFileBuf &) = default;
    TManagedFileBuf &operator=(const TManagedFileBuf &) = default;

    /// Flags 2 add Readable, flags 4 add Writeable and make the logical length `size`.
    /// The position becomes 0; a read-only Open keeps the block and length as they are.
    /// False when already open.
    bool Open(unsigned long flags, int size);
    /// Sets the logical length, growing the block (by half, from 256 bytes) when needed;
    /// the block never shrinks. New bytes are not cleared.
    void Resize(int size);
    void Enlarge(int by) { Resize(m_Size + by); }
    unsigned char *GetBuffer() { return m_Buffer; }

    /// Clears Open; the block stays.
    bool Close() override;
    bool Flush() override { return true; }
    int Read(void *buffer, int size) override;
    /// Writes at the position; the logical length becomes the position reached, so a write
    /// into the middle cuts the data there. False (with Bad set) only when memory runs out.
    bool Write(const void *buffer, int size) override;
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override { return m_Position; }
    int Length() override { return m_Size; }
    int AtEOF() override { return m_Position == m_Size ? 1 : 0; }
    /// "ManagedFileBuf".
    TDynamicString &GetFileName() override;

private:
    // Lets a text filter take bytes straight from the buffer.
    friend class vlib::detail::TFileWindow;

    bool Grow(int size);

    unsigned char *m_Buffer = nullptr; // owned (shared with copies)
    int m_Position = 0;
    int m_Size = 0;
    int m_Capacity = 0;
};

/// A file that takes every byte, keeps none, and counts the position.
class VLIB_API TNullFile : public TFileObj {
public:
    TNullFile() = default;
    TNullFile(const TNullFile &) = delete;
    TNullFile &operator=(const TNullFile &) = delete;

    /// Opens for reading and writing; false when already open.
    bool Open();

    bool Close() override;
    bool Flush() override { return true; }
    /// Advances the position; the buffer is not touched.
    int Read(void *buffer, int size) override;
    bool Write(const void *buffer, int size) override;
    /// The position becomes `offset`, whatever the mode.
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override { return m_Position; }
    int Length() override { return 0; }
    int AtEOF() override { return 0; }
    /// "NullFile".
    TDynamicString &GetFileName() override;

private:
    TDynamicString m_FileName; // kept for layout; the name reported is fixed
    int m_Position = 0;
};
