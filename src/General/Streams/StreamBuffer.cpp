// The growing block behind TStreamBuffer, and its transfers to and from file objects.
#include "General/Streams/StreamBuffer.h"

#include <climits>

#include "General/Streams/FileObj.h"

namespace {

/// Counts above this are read in growing pieces rather than allocated up front.
constexpr uint32_t kDirectLoadLimit = 1u << 20;

bool ReadCount(TFileObj *file, uint32_t *count) {
    unsigned char bytes[4];
    if (file->Read(bytes, 4) != 4)
        return false;
    *count = static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
             static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
    return true;
}

bool WriteCount(TFileObj *file, uint32_t count) {
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(count), static_cast<unsigned char>(count >> 8),
        static_cast<unsigned char>(count >> 16), static_cast<unsigned char>(count >> 24)};
    return file->Write(bytes, 4);
}

} // namespace

TStreamBuffer::~TStreamBuffer() {
    if (m_Start != nullptr)
        GetAllocatorInstance().Unalloc(m_Start);
}

void TStreamBuffer::ReadS(TDynamicString &out) {
    const uint32_t n = Read4();
    unsigned char *temp = GetAllocatorInstance().Alloc(static_cast<unsigned long>(n) + 1);
    if (temp == nullptr) {
        m_Cursor += n;
        out = "";
        return;
    }
    ReadN(temp, static_cast<int>(n));
    temp[n] = 0; // a count without its terminator still gives a terminated string
    out = reinterpret_cast<const char *>(temp);
    GetAllocatorInstance().Unalloc(temp);
}

void TStreamBuffer::WriteS(const TDynamicString &text) {
    const int n = text.GetLength() + 1;
    Write4(static_cast<uint32_t>(n));
    WriteN(reinterpret_cast<const unsigned char *>(text.GetData()), n);
}

unsigned char *TStreamBuffer::ReserveMore(int n) {
    if (!TrySize(GetPos() + n))
        return nullptr;
    unsigned char *old = m_Cursor;
    m_Cursor += n;
    return old;
}

void TStreamBuffer::Allocate(int n) {
    m_Start = GetAllocatorInstance().Alloc(static_cast<unsigned long>(n < 0 ? 0 : n));
    m_Cursor = m_Start;
    m_Alloced = m_Start != nullptr ? n : 0;
}

void TStreamBuffer::Unallocate() {
    if (m_Start != nullptr)
        GetAllocatorInstance().Unalloc(m_Start);
    m_Start = nullptr;
    m_Cursor = nullptr;
    m_Alloced = 0;
}

void TStreamBuffer::SetBuffer(unsigned char *block, int n) {
    m_Start = block;
    m_Cursor = block;
    m_Alloced = n;
}

void TStreamBuffer::ReallocateEnd(int n) {
    if (n < 0)
        n = 0;
    unsigned char *block = GetAllocatorInstance().Alloc(static_cast<unsigned long>(n));
    if (block == nullptr)
        return;
    const int offset = GetPos();
    const int keep = n < m_Alloced ? n : m_Alloced;
    if (m_Start != nullptr) {
        std::memcpy(block, m_Start + (m_Alloced - keep), static_cast<size_t>(keep));
        GetAllocatorInstance().Unalloc(m_Start);
    }
    m_Start = block;
    m_Cursor = block + (offset < n ? offset : n);
    m_Alloced = n;
}

void TStreamBuffer::Align(int a) {
    const int offset = GetPos();
    const int aligned = (offset + a - 1) & ~(a - 1);
    if (TrySize(aligned))
        m_Cursor = m_Start + aligned;
}

bool TStreamBuffer::Reallocate(int n) {
    long long size = n;
    if (n >= 2) {
        size = 2;
        while (size < n)
            size <<= 1;
    }
    if (size > INT_MAX || size < 0)
        return false;
    unsigned char *block = GetAllocatorInstance().Alloc(static_cast<unsigned long>(size));
    if (block == nullptr)
        return false;
    if (m_Start == nullptr) {
        m_Start = block;
        m_Cursor = block;
        m_Alloced = static_cast<int>(size);
        return true;
    }
    const int offset = GetPos();
    std::memcpy(block, m_Start, static_cast<size_t>(m_Alloced < size ? m_Alloced : size));
    GetAllocatorInstance().Unalloc(m_Start);
    m_Start = block;
    m_Cursor = block + (offset < size ? offset : size);
    m_Alloced = static_cast<int>(size);
    return true;
}

bool TStreamBuffer::LoadBytes(TFileObj *file, uint32_t n) {
    if (n > static_cast<uint32_t>(INT_MAX))
        return false;
    auto &heap = GetAllocatorInstance();
    if (n <= kDirectLoadLimit) {
        unsigned char *block = heap.Alloc(n);
        if (block == nullptr)
            return false;
        m_Start = block;
        m_Cursor = block;
        m_Alloced = static_cast<int>(n);
        return file->Read(block, static_cast<int>(n)) == static_cast<int>(n);
    }
    // A large count: read in pieces into a block that doubles, then settle on exactly n.
    uint32_t capacity = kDirectLoadLimit;
    uint32_t have = 0;
    unsigned char *block = heap.Alloc(capacity);
    if (block == nullptr)
        return false;
    bool complete = true;
    while (have < n) {
        if (have == capacity) {
            const uint32_t grown = capacity > n / 2 ? n : capacity * 2;
            unsigned char *bigger = heap.Alloc(grown);
            if (bigger == nullptr) {
                complete = false;
                break;
            }
            std::memcpy(bigger, block, have);
            heap.Unalloc(block);
            block = bigger;
            capacity = grown;
        }
        const uint32_t want = (n < capacity ? n : capacity) - have;
        const int got = file->Read(block + have, static_cast<int>(want));
        if (got <= 0) {
            complete = false;
            break;
        }
        have += static_cast<uint32_t>(got);
    }
    m_Start = block;
    m_Cursor = block;
    m_Alloced = static_cast<int>(complete ? n : have);
    return complete && capacity == n;
}

bool TStreamBuffer::Load(TFileObj *file) {
    uint32_t n = 0;
    if (!ReadCount(file, &n))
        return false;
    if (n == 0) {
        Unallocate();
        return true;
    }
    return LoadBytes(file, n);
}

bool TStreamBuffer::Save(TFileObj *file) {
    if (m_Start == nullptr)
        return WriteCount(file, 0);
    const int n = GetPos();
    return WriteCount(file, static_cast<uint32_t>(n)) && (n == 0 || file->Write(m_Start, n));
}

bool TStreamBuffer::Load(TFileObj *file, int n) {
    if (n <= 0)
        return n == 0;
    return LoadBytes(file, static_cast<uint32_t>(n));
}

bool TStreamBuffer::Save(TFileObj *file, int n) {
    if (n == 0)
        return true;
    return m_Start != nullptr && file->Write(m_Start, n);
}
