// Files of the operating system. TRealFile reads through 64 KB chunks (or straight through,
// or from a whole-file image) and writes straight through; TSubFile is a read-only view of a
// byte range, the form the resource banks keep a pool of. Offsets are 32 bits, as in every
// stream of the library.
#pragma once

#include <cstdint>

#include "General/Core/FaultInjection.h"
#include "General/Streams/FileObj.h"

namespace vlib::detail {
class TFileWindow;
} // namespace vlib::detail

namespace vlib {

/// Test switches of the disk file, shared by every TRealFile: each makes the N-th system
/// call of its kind fail, once or from then on. Disarmed they cost one predictable branch.
struct TFileFaults {
    TFaultCountdown Read;       ///< a read of the disk fails (EIO)
    TFaultCountdown Write;      ///< a write fails before any byte lands (ENOSPC)
    TFaultCountdown ShortWrite; ///< a write lands half its bytes, then fails (ENOSPC)
    TFaultCountdown Seek;       ///< a Seek fails
    TFaultCountdown Flush;      ///< a flush to the disk fails (EIO)

    void DisarmAll() {
        Read.Disarm();
        Write.Disarm();
        ShortWrite.Disarm();
        Seek.Disarm();
        Flush.Disarm();
    }
};

} // namespace vlib

/// A file of the operating system.
class VLIB_API TRealFile : public TFileObj {
public:
    /// Private flags, given to Open in its flags argument.
    enum TRealFileFlag : uint32_t {
        /// Reads go straight to the system: no buffer, no tracked position.
        RealFileDirect = 0x10000,
        /// Open reads the whole file into memory; reads copy from that image.
        RealFileWhole = 0x20000,
        /// The system's cache is bypassed and the buffer is aligned to the sector size;
        /// clears RealFileDirect.
        RealFileSectorAligned = 0x40000,
    };
    /// Bytes in one read chunk; chunks lie on multiples of it.
    static constexpr int kChunkSize = 0x10000;

    TRealFile() = default;
    /// Closes the file if it is still open.
    ~TRealFile() override;
    TRealFile(const TRealFile &) = delete;
    TRealFile &operator=(const TRealFile &) = delete;

    /// Opens `path` with the low flag bits 2 (read), 4 (write: create or truncate, or open
    /// or create together with read) and 0x20 (append: open or create, start at the end),
    /// plus the private flags above. False when already open or when the file cannot be
    /// opened. A path that does not exist as written is matched without regard to case,
    /// component by component.
    bool Open(const TDynamicString &path, unsigned long flags);
    /// Sets the length of the file; the position stays unless Async is set or it lies
    /// beyond the new end.
    bool SetLength(int length);

    bool Close() override;
    /// Flushes to the disk. A failure sets Bad and returns false.
    bool Flush() override;
    int Read(void *buffer, int size) override;
    /// Writes straight to the system. False, with Bad set, unless every byte landed; once
    /// Bad is set every later write is refused.
    bool Write(const void *buffer, int size) override;
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override;
    int Length() override { return m_Length; }
    int AtEOF() override { return m_EndFlag ? 1 : 0; }
    TDynamicString &GetFileName() override { return m_FileName; }

    /// The switches that make system calls fail in tests.
    static vlib::TFileFaults &Faults();

protected:
    /// The system's own file pointer, which reads and writes of the system move.
    int GetSystemPos() const { return m_SystemPos; }

private:
    // Lets a text filter take bytes straight from the buffer.
    friend class vlib::detail::TFileWindow;

    bool EnsureBuffer(unsigned long size);
    bool EnsureChunk();
    /// Loads the chunk at `base` unless it is the one in the buffer; false on a failed read,
    /// with Bad set and no chunk held.
    bool LoadChunk(int base);
    /// Copies `count` bytes from `offset` of the chunk at `base` to `out`; a whole chunk
    /// that is not loaded is read straight into `out`.
    bool CopyChunk(int base, int offset, int count, unsigned char *out);
    void FreeBuffer();
    /// Reads up to `size` bytes at the system pointer and advances it; -1 on failure.
    int SystemRead(void *buffer, int size);
    bool IsDirect() const { return (m_Flags & RealFileDirect) != 0; }

    TDynamicString m_FileName;
    int m_Handle = -1;
    int m_Length = 0;
    bool m_EndFlag = true;
    unsigned char *m_Buffer = nullptr; // owned, unless m_RawBlock holds the allocation
    int m_Position = 0;
    int m_ChunkBase = -1;
    uint32_t m_SectorSize = 0;
    unsigned char *m_RawBlock = nullptr; // owned: the allocation behind an aligned buffer
    int m_SystemPos = 0;                 // where the system's reads and writes take place
};

/// A read-only view of `size` bytes of a file from `start`.
class VLIB_API TSubFile : public TRealFile {
public:
    TSubFile() = default;

    /// Refuses write (4) and append (0x20); opens the file and seeks to `start`.
    bool Open(const TDynamicString &path, int start, int size, unsigned long flags);
    /// Moves the view on an open file; the result of the seek.
    bool SetRange(int start, int size);
    /// Makes the present position the start of the range.
    void Rebase();

    int Read(void *buffer, int size) override;
    bool Write(const void *buffer, int size) override;
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override { return m_RangePos; }
    int Length() override { return m_RangeSize; }
    int AtEOF() override { return m_RangePos == m_RangeSize ? 1 : 0; }

private:
    int m_RangeStart = 0;
    int m_RangeSize = 0;
    int m_RangePos = 0;
};
