// A raw cursor over a growing block of memory, for loaders that pack and unpack records by
// hand. It is not a file object: the accessors are inline and unchecked so that they cost no
// more than pointer arithmetic, and growth goes by powers of two.
#pragma once

#include <cstdint>
#include <cstring>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

class TFileObj;

/// A block from the library heap with a cursor. Multi-byte values are little-endian. Copying
/// copies the three fields, so copies share the block.
class VLIB_API TStreamBuffer : public TBaseAllocator {
public:
    TStreamBuffer() = default;
    /// Frees whatever block is held, also one adopted through SetBuffer.
    ~TStreamBuffer();
    TStreamBuffer(const TStreamBuffer &) = default;
    TStreamBuffer &operator=(const TStreamBuffer &) = default;

    bool HasBuffer() const { return m_Start != nullptr; }
    unsigned char *GetBuffer() const { return m_Start; }
    unsigned char *GetCursor() const { return m_Cursor; }
    int GetAlloced() const { return m_Alloced; }
    int GetPos() const { return static_cast<int>(m_Cursor - m_Start); }
    /// No bounds check.
    void SetPos(int n) { m_Cursor = m_Start + n; }
    void SetPosRel(int n) { m_Cursor += n; }

    // Reads at the cursor; no bounds checks.
    unsigned char Read1() { return *m_Cursor++; }
    uint16_t Read2() { return ReadAs<uint16_t>(); }
    uint32_t Read4() { return ReadAs<uint32_t>(); }
    float ReadF() { return ReadAs<float>(); }
    void ReadN(unsigned char *out, int n) {
        std::memcpy(out, m_Cursor, static_cast<size_t>(n));
        m_Cursor += n;
    }
    /// A 32-bit count n, then n bytes taken as a terminated string.
    void ReadS(TDynamicString &out);

    // Writes at the cursor, growing the block as needed. When memory runs out nothing is
    // stored and the cursor stays.
    void Write1(unsigned char v) { WriteAs(v); }
    void Write2(uint16_t v) { WriteAs(v); }
    void Write4(uint32_t v) { WriteAs(v); }
    void WriteF(float v) { WriteAs(v); }
    void WriteN(const unsigned char *in, int n) {
        if (TrySize(GetPos() + n)) {
            std::memcpy(m_Cursor, in, static_cast<size_t>(n));
            m_Cursor += n;
        }
    }
    /// A 32-bit count of length + 1, the characters and the terminating zero.
    void WriteS(const TDynamicString &text);
    /// Makes room for `n` bytes and returns where they go (null when memory runs out).
    unsigned char *ReserveMore(int n);

    /// A new block of exactly `n` bytes, cursor at its start. A block already held is not
    /// freed: the caller keeps it.
    void Allocate(int n);
    /// Frees the block, if any, and zeroes the fields.
    void Unallocate();
    /// Adopts `block` of `n` bytes; a block already held is not freed. SetBuffer(null, 0)
    /// detaches a foreign block before destruction.
    void SetBuffer(unsigned char *block, int n);
    /// Keeps the last `n` allocated bytes in a new block of exactly `n` bytes.
    void ReallocateEnd(int n);
    /// Rounds the cursor offset up to a multiple of `a` (a power of two); the gap is not
    /// written.
    void Align(int a);

    /// Reads a 32-bit count and that many bytes into a new block, cursor at its start; a
    /// count of 0 frees the block. False when the file ends early or memory runs out; the
    /// block then holds what arrived.
    bool Load(TFileObj *file);
    /// Writes the cursor offset as 32 bits and that many bytes; with no block a 32-bit zero.
    bool Save(TFileObj *file);
    /// Load without the count: `n` bytes given by the caller.
    bool Load(TFileObj *file, int n);
    /// Writes the first `n` bytes, if `n` is not 0; no count.
    bool Save(TFileObj *file, int n);

private:
    template <class T> T ReadAs() {
        T v;
        std::memcpy(&v, m_Cursor, sizeof(T));
        m_Cursor += sizeof(T);
        return v;
    }
    template <class T> void WriteAs(T v) {
        if (TrySize(GetPos() + static_cast<int>(sizeof(T)))) {
            std::memcpy(m_Cursor, &v, sizeof(T));
            m_Cursor += sizeof(T);
        }
    }
    /// Grows to hold `n` bytes; false when memory ran out.
    bool TrySize(int n) { return n <= m_Alloced || Reallocate(n); }
    /// Moves to a block of `n` rounded up to a power of two.
    bool Reallocate(int n);
    /// Reads `n` bytes from `file` into a fresh block, growing it only as data arrives, so
    /// that a hostile count costs no more memory than the data behind it.
    bool LoadBytes(TFileObj *file, uint32_t n);

    unsigned char *m_Start = nullptr;  // owned
    unsigned char *m_Cursor = nullptr; // into m_Start's block
    int m_Alloced = 0;
};
