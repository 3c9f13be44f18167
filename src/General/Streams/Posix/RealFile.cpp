// The disk file over POSIX calls. The system's file pointer of the original design is kept
// as a field, and every transfer is a pread or pwrite at it, so reads and writes behave as
// they would through one shared pointer without a seek call before each of them.
#include "General/Streams/RealFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "General/Streams/Detail/PathCase.h"

namespace {

constexpr unsigned long kOpenRead = 2;
constexpr unsigned long kOpenWrite = 4;
constexpr unsigned long kOpenAppend = 0x20;
constexpr int kChunkMask = TRealFile::kChunkSize - 1;

// Constant-initialised, so it is armed-or-not before any static constructor runs.
vlib::TFileFaults g_Faults;

struct TTransfer {
    size_t count = 0;    // bytes moved
    bool failed = false; // the system reported an error (or a fault was injected)
};

/// Uncached access needs aligned buffers, offsets and sizes. When a transfer does not meet
/// that, the file falls back to cached access instead of failing.
bool DropUncachedAccess(int handle) {
    const int status = ::fcntl(handle, F_GETFL);
    if (status < 0 || (status & O_DIRECT) == 0)
        return false;
    return ::fcntl(handle, F_SETFL, status & ~O_DIRECT) == 0;
}

TTransfer ReadAt(int handle, void *buffer, size_t size, off_t offset) {
    TTransfer result;
    if (g_Faults.Read.ShouldFail()) {
        result.failed = true;
        return result;
    }
    auto *out = static_cast<unsigned char *>(buffer);
    while (result.count < size) {
        const ssize_t r = ::pread(handle, out + result.count, size - result.count,
                                  offset + static_cast<off_t>(result.count));
        if (r > 0) {
            result.count += static_cast<size_t>(r);
        } else if (r == 0) {
            break;
        } else if (errno != EINTR && !(errno == EINVAL && DropUncachedAccess(handle))) {
            result.failed = true;
            break;
        }
    }
    return result;
}

TTransfer WriteAt(int handle, const void *buffer, size_t size, off_t offset) {
    TTransfer result;
    if (g_Faults.Write.ShouldFail()) {
        result.failed = true;
        return result;
    }
    size_t limit = size;
    if (g_Faults.ShortWrite.ShouldFail()) {
        limit = size / 2;
        result.failed = true; // the device takes half, then reports that it is full
    }
    const auto *in = static_cast<const unsigned char *>(buffer);
    while (result.count < limit) {
        const ssize_t r = ::pwrite(handle, in + result.count, limit - result.count,
                                   offset + static_cast<off_t>(result.count));
        if (r > 0) {
            result.count += static_cast<size_t>(r);
        } else if (r == 0 || (errno != EINTR && !(errno == EINVAL && DropUncachedAccess(handle)))) {
            result.failed = true;
            break;
        }
    }
    return result;
}

int ClampToInt(long long value) {
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

} // namespace

vlib::TFileFaults &TRealFile::Faults() {
    return g_Faults;
}

TRealFile::~TRealFile() {
    if (m_Handle >= 0)
        (void)Close();
    FreeBuffer();
}

bool TRealFile::Open(const TDynamicString &path, unsigned long flags) {
    if (IsOpen())
        return false;
    m_Flags = static_cast<uint32_t>(flags) & 0xFFFF0000u;
    if (m_Flags & RealFileSectorAligned)
        m_Flags &= ~static_cast<uint32_t>(RealFileDirect);

    const bool read = (flags & kOpenRead) != 0;
    const bool write = (flags & kOpenWrite) != 0;
    const bool append = (flags & kOpenAppend) != 0;
    if (!read && !write && !append) {
        m_Flags = 0;
        return false;
    }
    int access = read && write ? O_RDWR : (write ? O_WRONLY : O_RDONLY);
    int disposition = 0; // open an existing file
    if (read)
        m_Flags |= FlagReadable;
    if (write) {
        m_Flags |= FlagWriteable;
        disposition = read ? O_CREAT : (O_CREAT | O_TRUNC);
    }
    if (append) {
        m_Flags |= FlagAppend;
        disposition = O_CREAT;
    }

    const std::string resolved =
        vlib::detail::ResolvePathCase(path.GetData(), (disposition & O_CREAT) != 0);
    const bool uncached = (m_Flags & RealFileSectorAligned) != 0;
    const int common = access | disposition | O_CLOEXEC;
    int handle = ::open(resolved.c_str(), common | (uncached ? O_DIRECT : 0), 0666);
    if (handle < 0 && uncached && errno == EINVAL)
        handle = ::open(resolved.c_str(), common, 0666); // the file system cannot bypass
    if (handle < 0) {
        m_Flags = 0;
        return false;
    }

    m_SectorSize = 0;
    if (uncached) {
        struct statvfs volume;
        if (::fstatvfs(handle, &volume) == 0 && volume.f_bsize > 0 &&
            (volume.f_bsize & (volume.f_bsize - 1)) == 0 && volume.f_bsize <= 65536)
            m_SectorSize = static_cast<uint32_t>(volume.f_bsize);
    } else {
        (void)::posix_fadvise(handle, 0, 0, POSIX_FADV_SEQUENTIAL); // a hint only
    }

    struct stat st;
    m_Handle = handle;
    m_Length = ::fstat(handle, &st) == 0 ? ClampToInt(st.st_size) : 0;
    FreeBuffer();
    m_Position = 0;
    m_ChunkBase = -1;
    m_SystemPos = 0;

    if (read && (flags & RealFileDirect) == 0 && (flags & RealFileWhole) != 0 &&
        EnsureBuffer(static_cast<unsigned long>(m_Length))) {
        // One read of the whole file. A short read leaves the rest of the image unset, as
        // the caller asked for speed, not for a check.
        const TTransfer r = ReadAt(m_Handle, m_Buffer, static_cast<size_t>(m_Length), 0);
        m_SystemPos = static_cast<int>(r.count);
    }
    m_SystemPos = (m_Flags & FlagAppend) ? m_Length : 0;

    m_FileName = path;
    if (m_FileName.GetLength() != path.GetLength()) {
        // The heap ran out copying the name: a file that cannot say what it is stays shut.
        FreeBuffer();
        ::close(m_Handle);
        m_Handle = -1;
        return false;
    }
    m_Flags |= FlagOpen;
    m_EndFlag = false;
    return true;
}

bool TRealFile::Close() {
    FreeBuffer();
    bool ok = true;
    if (m_Handle >= 0) {
        ok = ::close(m_Handle) == 0 || errno == EINTR;
        m_Handle = -1;
    }
    if (!ok)
        SetBad();
    ClearOpen();
    m_EndFlag = true;
    return ok;
}

bool TRealFile::Flush() {
    if (g_Faults.Flush.ShouldFail() || ::fsync(m_Handle) != 0) {
        SetBad();
        return false;
    }
    return true;
}

int TRealFile::SystemRead(void *buffer, int size) {
    const TTransfer r = ReadAt(m_Handle, buffer, static_cast<size_t>(size), m_SystemPos);
    m_SystemPos += static_cast<int>(r.count);
    return r.failed ? -1 : static_cast<int>(r.count);
}

int TRealFile::Read(void *buffer, int size) {
    if (size <= 0)
        return 0;
    auto *out = static_cast<unsigned char *>(buffer);

    // Straight to the system; a read of the whole file from its start skips the buffer.
    if (IsDirect() || (size == m_Length && m_Position == 0)) {
        const int before = m_SystemPos;
        const int got = SystemRead(out, size);
        if (got < 0) {
            SetBad();
            return m_SystemPos - before;
        }
        if (got < size) {
            m_EndFlag = true;
            return got;
        }
        m_EndFlag = m_SystemPos == m_Length;
        return got;
    }

    // From the image read at Open.
    if (m_Flags & RealFileWhole) {
        if (m_Position < 0 || (m_Buffer == nullptr && m_Length > 0))
            return 0;
        if (static_cast<long long>(m_Position) + size < m_Length) {
            std::memcpy(out, m_Buffer + m_Position, static_cast<size_t>(size));
            m_Position += size;
            return size;
        }
        const int rest = m_Length - m_Position;
        if (rest > 0) {
            std::memcpy(out, m_Buffer + m_Position, static_cast<size_t>(rest));
            m_Position = m_Length;
        }
        m_EndFlag = true;
        return rest > 0 ? rest : 0;
    }

    // Through 64 KB chunks.
    if (m_Buffer == nullptr) {
        if (!EnsureBuffer(kChunkSize)) {
            SetBad();
            return 0;
        }
        m_ChunkBase = -1;
    }
    if (m_Position > m_Length || m_Position < 0)
        return 0;
    int end;
    if (static_cast<long long>(m_Position) + size >= m_Length) {
        end = m_Length;
        m_EndFlag = true;
        size = m_Length - m_Position;
        if (size == 0)
            return 0;
    } else {
        end = m_Position + size;
    }
    if ((m_Position & ~kChunkMask) == (end & ~kChunkMask)) {
        if (!EnsureChunk())
            return 0;
        std::memcpy(out, m_Buffer + (m_Position & kChunkMask), static_cast<size_t>(size));
        m_Position = end;
        return size;
    }
    const int head = kChunkSize - (m_Position & kChunkMask);
    if (!CopyChunk(m_Position & ~kChunkMask, m_Position & kChunkMask, head, out))
        return 0;
    out += head;
    m_Position += head;
    while ((m_Position & ~kChunkMask) != (end & ~kChunkMask)) {
        if (!CopyChunk(m_Position, 0, kChunkSize, out))
            return 0;
        out += kChunkSize;
        m_Position += kChunkSize;
    }
    if (end > m_Position) {
        if (!EnsureChunk())
            return 0;
        std::memcpy(out, m_Buffer, static_cast<size_t>(end - m_Position));
        m_Position = end;
    }
    return size;
}

bool TRealFile::CopyChunk(int base, int offset, int count, unsigned char *out) {
    if (offset != 0 || count != kChunkSize || base == m_ChunkBase) {
        if (!LoadChunk(base))
            return false;
        std::memcpy(out, m_Buffer + offset, static_cast<size_t>(count));
        return true;
    }
    // A whole chunk goes straight into the caller's memory: the same bytes without a second
    // copy. The chunk buffer keeps the chunk it holds.
    m_SystemPos = base;
    const int got = SystemRead(out, kChunkSize);
    if (got < 0) {
        SetBad();
        m_ChunkBase = -1;
        return false;
    }
    if (got < kChunkSize)
        std::memset(out + got, 0, static_cast<size_t>(kChunkSize - got));
    return true;
}

bool TRealFile::Write(const void *buffer, int size) {
    if (IsBad())
        return false; // data behind a failed write would land beside a hole
    if (size <= 0)
        return size == 0;
    const TTransfer r = WriteAt(m_Handle, buffer, static_cast<size_t>(size), m_SystemPos);
    const int written = static_cast<int>(r.count);
    m_SystemPos += written;
    if (!IsDirect()) {
        m_Position += written;
        if (m_Position > m_Length)
            m_Length = m_Position;
        m_ChunkBase = -1;
    }
    if (r.failed || written != size) {
        SetBad();
        return false;
    }
    return true;
}

bool TRealFile::Seek(int offset, TSeekMode mode) {
    if (g_Faults.Seek.ShouldFail()) {
        SetBad();
        return false;
    }
    if (!IsDirect() && IsReadable()) {
        if (mode == SeekStart)
            m_Position = offset;
        else if (mode == SeekCurrent)
            m_Position += offset;
        else if (mode == SeekEnd)
            m_Position = m_Length - offset;
    }
    long long target;
    if (mode == SeekStart) {
        target = offset;
    } else if (mode == SeekCurrent) {
        target = static_cast<long long>(m_SystemPos) + offset;
    } else if (mode == SeekEnd) {
        struct stat st;
        const long long size = ::fstat(m_Handle, &st) == 0 ? st.st_size : m_Length;
        target = size - offset;
    } else {
        return true; // the system refuses an unknown mode and the pointer stays
    }
    // A target before the start is refused by the system and leaves the pointer; the
    // result stays true, as callers of this class have always seen it.
    if (target >= 0)
        m_SystemPos = ClampToInt(target);
    // A seek back from the end makes the bytes readable again; a reader that trusts AtEOF
    // (the text filter does) would otherwise stop at once on a file read to its end before.
    if (IsReadable())
        m_EndFlag = (!IsDirect() ? m_Position : m_SystemPos) >= m_Length;
    return true;
}

int TRealFile::GetPos() {
    return !IsDirect() && m_Buffer != nullptr ? m_Position : m_SystemPos;
}

bool TRealFile::SetLength(int length) {
    int remembered = 0;
    const bool async = IsAsync() != 0;
    if (!async)
        remembered = GetPos();
    m_SystemPos = length;
    (void)::ftruncate(m_Handle, length); // as before, a failure here goes unreported
    if (!async && remembered <= length)
        m_SystemPos = remembered;
    m_Length = length;
    return true;
}

bool TRealFile::EnsureBuffer(unsigned long size) {
    if (m_Buffer != nullptr)
        return false;
    if (m_SectorSize != 0) {
        m_RawBlock = GetAllocatorInstance().Alloc(size + m_SectorSize);
        if (m_RawBlock == nullptr)
            return false;
        const uintptr_t raw = reinterpret_cast<uintptr_t>(m_RawBlock);
        const uintptr_t aligned = (raw + m_SectorSize - 1) & ~uintptr_t(m_SectorSize - 1);
        m_Buffer = m_RawBlock + (aligned - raw);
    } else {
        m_Buffer = GetAllocatorInstance().Alloc(size);
    }
    return m_Buffer != nullptr;
}

bool TRealFile::EnsureChunk() {
    return LoadChunk(m_Position & ~kChunkMask);
}

bool TRealFile::LoadChunk(int base) {
    if (base == m_ChunkBase)
        return true;
    m_SystemPos = base;
    const int got = SystemRead(m_Buffer, kChunkSize);
    if (got < 0) {
        SetBad();
        m_ChunkBase = -1;
        return false;
    }
    if (got < kChunkSize) // the file shrank beneath us: no stale bytes from the last chunk
        std::memset(m_Buffer + got, 0, static_cast<size_t>(kChunkSize - got));
    m_ChunkBase = base;
    return true;
}

void TRealFile::FreeBuffer() {
    if (m_RawBlock != nullptr)
        GetAllocatorInstance().Unalloc(m_RawBlock);
    else if (m_Buffer != nullptr)
        GetAllocatorInstance().Unalloc(m_Buffer);
    m_RawBlock = nullptr;
    m_Buffer = nullptr;
    m_ChunkBase = -1;
}

bool TSubFile::Open(const TDynamicString &path, int start, int size, unsigned long flags) {
    if (flags & (kOpenWrite | kOpenAppend))
        return false;
    m_RangeStart = start;
    m_RangeSize = size;
    m_RangePos = 0;
    if (!TRealFile::Open(path, flags))
        return false;
    (void)TRealFile::Seek(start, SeekStart); // a real file's seek does not fail
    return true;
}

bool TSubFile::SetRange(int start, int size) {
    m_RangeStart = start;
    m_RangeSize = size;
    m_RangePos = 0;
    return TRealFile::Seek(start, SeekStart);
}

void TSubFile::Rebase() {
    m_RangeStart += m_RangePos;
    m_RangeSize -= m_RangePos;
    m_RangePos = 0;
}

int TSubFile::Read(void *buffer, int size) {
    const int left = m_RangeSize - m_RangePos;
    if (size > left)
        size = left;
    if (size <= 0)
        return 0;
    const int got = TRealFile::Read(buffer, size);
    m_RangePos += got;
    return got;
}

bool TSubFile::Write(const void *buffer, int size) {
    (void)buffer;
    (void)size;
    return false;
}

bool TSubFile::Seek(int offset, TSeekMode mode) {
    long long target;
    if (mode == SeekCurrent)
        target = static_cast<long long>(m_RangePos) + offset;
    else if (mode == SeekEnd)
        target = static_cast<long long>(m_RangeSize) - offset;
    else
        target = offset;
    if (target < 0 || target > m_RangeSize)
        return false;
    m_RangePos = static_cast<int>(target);
    return TRealFile::Seek(m_RangeStart + m_RangePos, SeekStart);
}
