// Memory files. The fixed and managed buffers share one Seek rule: a target must lie within
// the data, so the end itself is not a valid target.
#include "General/Streams/FileBuf.h"

#include <climits>
#include <cstring>

namespace {

constexpr unsigned long kOpenRead = 2;
constexpr unsigned long kOpenWrite = 4;

/// The target of a memory file's seek; any unknown mode means `offset`.
long long SeekTarget(int offset, TFileObj::TSeekMode mode, int position, int size) {
    if (mode == TFileObj::SeekCurrent)
        return static_cast<long long>(position) + offset;
    if (mode == TFileObj::SeekEnd)
        return static_cast<long long>(size) - offset;
    return offset;
}

} // namespace

bool TFixedFileBuf::Open(unsigned char *buffer, int size, unsigned long flags) {
    if (IsOpen())
        return false;
    m_Buffer = buffer;
    m_Size = size < 0 ? 0 : size;
    m_Position = 0;
    m_Flags = FlagOpen | ((flags & kOpenRead) ? FlagReadable : FlagWriteable);
    return true;
}

bool TFixedFileBuf::Close() {
    ClearOpen();
    return true;
}

int TFixedFileBuf::Read(void *buffer, int size) {
    if (m_Position > m_Size || size <= 0)
        return 0;
    if (static_cast<long long>(m_Position) + size <= m_Size) {
        std::memcpy(buffer, m_Buffer + m_Position, static_cast<size_t>(size));
        m_Position += size;
        return size;
    }
    const int rest = m_Size - m_Position;
    if (rest > 0)
        std::memcpy(buffer, m_Buffer + m_Position, static_cast<size_t>(rest));
    m_Position = m_Size + 1;
    return rest;
}

bool TFixedFileBuf::Write(const void *buffer, int size) {
    if (size <= 0)
        return size == 0;
    const int room = m_Position < m_Size ? m_Size - m_Position : 0;
    const int fit = size < room ? size : room;
    if (fit > 0) {
        std::memcpy(m_Buffer + m_Position, buffer, static_cast<size_t>(fit));
        m_Position += fit;
    }
    return fit == size;
}

bool TFixedFileBuf::Seek(int offset, TSeekMode mode) {
    const long long target = SeekTarget(offset, mode, m_Position, m_Size);
    if (target < 0 || target >= m_Size)
        return false;
    m_Position = static_cast<int>(target);
    return true;
}

TDynamicString &TFixedFileBuf::GetFileName() {
    static TDynamicString name("FixedFileBuf");
    return name;
}

TManagedFileBuf::~TManagedFileBuf() {
    if (m_Buffer != nullptr)
        GetAllocatorInstance().Unalloc(m_Buffer);
}

bool TManagedFileBuf::Open(unsigned long flags, int size) {
    if (IsOpen())
        return false;
    m_Flags = FlagOpen;
    if (flags & kOpenRead)
        m_Flags |= FlagReadable;
    if (flags & kOpenWrite) {
        m_Flags |= FlagWriteable;
        Resize(size);
    }
    m_Position = 0;
    return true;
}

void TManagedFileBuf::Resize(int size) {
    (void)Grow(size);
}

bool TManagedFileBuf::Grow(int size) {
    if (size < 0)
        size = 0;
    if (size > m_Capacity) {
        long long capacity = m_Capacity < 2 ? 256 : m_Capacity;
        while (size > capacity)
            capacity = capacity * 3 / 2;
        if (capacity > INT_MAX)
            capacity = INT_MAX;
        unsigned char *block = GetAllocatorInstance().Alloc(static_cast<unsigned long>(capacity));
        if (block == nullptr) {
            SetBad(); // the data stays as it was
            return false;
        }
        if (m_Buffer != nullptr) {
            std::memcpy(block, m_Buffer, static_cast<size_t>(m_Size));
            GetAllocatorInstance().Unalloc(m_Buffer);
        }
        m_Buffer = block;
        m_Capacity = static_cast<int>(capacity);
    }
    m_Size = size;
    return true;
}

bool TManagedFileBuf::Close() {
    ClearOpen();
    return true;
}

int TManagedFileBuf::Read(void *buffer, int size) {
    const int rest = m_Size - m_Position;
    if (size > rest)
        size = rest;
    if (size < 1)
        return 0;
    std::memcpy(buffer, m_Buffer + m_Position, static_cast<size_t>(size));
    m_Position += size;
    return size;
}

bool TManagedFileBuf::Write(const void *buffer, int size) {
    if (size <= 0)
        return size == 0;
    if (static_cast<long long>(m_Position) + size > INT_MAX || !Grow(m_Position + size)) {
        SetBad();
        return false;
    }
    std::memcpy(m_Buffer + m_Position, buffer, static_cast<size_t>(size));
    m_Position += size;
    return true;
}

bool TManagedFileBuf::Seek(int offset, TSeekMode mode) {
    const long long target = SeekTarget(offset, mode, m_Position, m_Size);
    if (target < 0 || target >= m_Size)
        return false;
    m_Position = static_cast<int>(target);
    return true;
}

TDynamicString &TManagedFileBuf::GetFileName() {
    static TDynamicString name("ManagedFileBuf");
    return name;
}

bool TNullFile::Open() {
    if (IsOpen())
        return false;
    m_Flags = FlagOpen | FlagReadable | FlagWriteable;
    m_Position = 0;
    return true;
}

bool TNullFile::Close() {
    ClearOpen();
    return true;
}

int TNullFile::Read(void *buffer, int size) {
    (void)buffer;
    m_Position += size;
    return size;
}

bool TNullFile::Write(const void *buffer, int size) {
    (void)buffer;
    m_Position += size;
    return true;
}

bool TNullFile::Seek(int offset, TSeekMode mode) {
    (void)mode;
    m_Position = offset;
    return true;
}

TDynamicString &TNullFile::GetFileName() {
    static TDynamicString name("NullFile");
    return name;
}
