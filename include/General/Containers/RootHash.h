// A container for many objects: a chained hash table by id that doubles as it fills, and
// holds its growth back while a cursor walks it.
#pragma once

#include <cstdint>

#include "General/Containers/RootContainer.h"

/// Objects in a chained hash table by id; the walk follows the buckets.
class VLIB_API TRootHash : public TRootContainer {
public:
    TRootHash();
    ~TRootHash() override;

    TRootObject *GetObject(int id) override;
    void AddObject(TRootObject *object) override;
    bool RemoveObject(TRootObject *object) override;
    void DeleteAll() override;
    int Size() override { return static_cast<int>(m_EntryCount); }
    int GetType() override { return 1; }
    void Initialise() override {}
    void ResetCursor() override;
    void NextCursor() override;
    TRootObject *GetCursor() override;
    void PushCursor() override;
    void PopCursor() override;
    void Lock() override;
    void Unlock() override;
    bool IsLocked() override { return m_Locked; }
    /// The next id to be allocated.
    int GetIDCount() const { return m_NextID; }
    /// Buckets in the table, a power of two.
    uint32_t GetBucketCount() const { return m_BucketCount; }

protected:
    int AllocateID() override {
        const int id = m_NextID;
        m_NextID = NextAfter(id);
        return id;
    }
    void InsertObject(TRootObject *object) override;

private:
    struct TEntry {
        TRootObject *Object; // owned
        TEntry *Next;        // not owned: entries live in the slabs
    };
    /// A block of entries from the allocator; slabs are chained and freed with the table.
    struct TSlab {
        TSlab *Next; // owned
        uint32_t Capacity;
        TEntry *Entries() { return reinterpret_cast<TEntry *>(this + 1); }
    };
    struct TCursor {
        TEntry **Bucket = nullptr;
        TEntry *Entry = nullptr;
        TEntry **End = nullptr;
        TRootHash *Owner = nullptr;
    };
    uint32_t Bucket(int id) const;
    void Grow();
    void FreeEntries();
    /// An entry from the free list or the newest slab; null without memory for a slab.
    TEntry *NewEntry();
    /// Puts an entry back on the free list.
    void FreeEntry(TEntry *entry);
    /// Frees every slab; no entry may be in use.
    void ReleaseSlabs();

    uint32_t m_EntryCount = 0;
    uint32_t m_Bits = 6;
    uint32_t m_BucketCount = 64;
    uint32_t m_Mask = 63;
    TEntry **m_Buckets = nullptr;    // owned array
    TSlab *m_Slabs = nullptr;        // owned chain, newest first
    uint32_t m_SlabUsed = 0;         // entries handed out of the newest slab
    TEntry *m_FreeEntries = nullptr; // not owned: returned entries, linked through Next
    bool m_GrowthEnabled = true;
    uint32_t m_ShrinkThreshold = 0;
    uint32_t m_GrowThreshold = 512;
    uint32_t m_LoadConstant = 4;
    uint32_t m_MinimumBits = 6;
    TCursor m_Cursor;
    int m_NextID = 0;
    TLibVector<TCursor> m_CursorStack;
    bool m_Locked = false;
};
