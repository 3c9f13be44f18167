// The hashed store: chained buckets that double at an average chain of the load constant
// times two, with growth held back while a cursor walks the table. Entries are carved from
// slabs the table owns, so a large load costs a few blocks instead of one per object.
#include "General/Containers/RootHash.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "General/Core/LibAllocator.h"

namespace {

void *AllocBuckets(uint32_t count) {
    const size_t bytes = sizeof(void *) * count;
    unsigned char *block = GetAllocatorInstance().Alloc(static_cast<unsigned long>(bytes));
    if (block != nullptr)
        std::memset(block, 0, bytes);
    return block;
}

/// Entries in the first slab; each further slab doubles, up to the largest.
constexpr uint32_t kFirstSlab = 64;
constexpr uint32_t kLargestSlab = 8192;

} // namespace

TRootHash::TRootHash() {
    m_Buckets = static_cast<TEntry **>(AllocBuckets(m_BucketCount));
    ResetCursor();
}

TRootHash::~TRootHash() {
    DeleteAll();
    ReleaseSlabs();
    GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(m_Buckets));
}

TRootHash::TEntry *TRootHash::NewEntry() {
    if (m_FreeEntries != nullptr) {
        TEntry *entry = m_FreeEntries;
        m_FreeEntries = entry->Next;
        return entry;
    }
    if (m_Slabs == nullptr || m_SlabUsed == m_Slabs->Capacity) {
        const uint32_t capacity =
            m_Slabs == nullptr ? kFirstSlab : std::min(m_Slabs->Capacity * 2, kLargestSlab);
        const size_t bytes = sizeof(TSlab) + sizeof(TEntry) * capacity;
        auto *slab = reinterpret_cast<TSlab *>(
            GetAllocatorInstance().Alloc(static_cast<unsigned long>(bytes)));
        if (slab == nullptr)
            return nullptr;
        slab->Next = m_Slabs;
        slab->Capacity = capacity;
        m_Slabs = slab;
        m_SlabUsed = 0;
    }
    return &m_Slabs->Entries()[m_SlabUsed++];
}

void TRootHash::FreeEntry(TEntry *entry) {
    entry->Object = nullptr;
    entry->Next = m_FreeEntries;
    m_FreeEntries = entry;
}

void TRootHash::ReleaseSlabs() {
    while (m_Slabs != nullptr) {
        TSlab *next = m_Slabs->Next;
        GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(m_Slabs));
        m_Slabs = next;
    }
    m_SlabUsed = 0;
    m_FreeEntries = nullptr;
}

uint32_t TRootHash::Bucket(int id) const {
    const uint32_t u = static_cast<uint32_t>(id);
    uint32_t x = (u >> 7) ^ u;
    x = (x >> 6) ^ u;
    x = (x >> 5) ^ u;
    x = (x >> 4) ^ u;
    return x & m_Mask;
}

TRootObject *TRootHash::GetObject(int id) {
    if (m_Buckets == nullptr)
        return nullptr;
    for (TEntry *entry = m_Buckets[Bucket(id)]; entry != nullptr; entry = entry->Next) {
        // Each step waits for the entry and then for its object; fetching the next entry
        // meanwhile lets the two waits overlap.
        __builtin_prefetch(entry->Next);
        if (entry->Object->GetID() == id)
            return entry->Object;
    }
    return nullptr;
}

void TRootHash::AddObject(TRootObject *object) {
    SetContainer(object, AllocateID());
    InsertObject(object);
}

void TRootHash::InsertObject(TRootObject *object) {
    const int id = object->GetID();
    if (m_Buckets == nullptr) // the constructor found no memory: try again now
        m_Buckets = static_cast<TEntry **>(AllocBuckets(m_BucketCount));
    if (m_Buckets != nullptr && GetObject(id) == nullptr) {
        TEntry *entry = NewEntry();
        if (entry != nullptr) {
            TEntry *&head = m_Buckets[Bucket(id)];
            entry->Object = object;
            entry->Next = head;
            head = entry;
            ++m_EntryCount;
            if (m_GrowthEnabled && m_EntryCount >= m_GrowThreshold)
                Grow();
        }
    }
    if (id >= m_NextID)
        m_NextID = NextAfter(id);
}

void TRootHash::Grow() {
    const uint32_t bits = m_Bits + 1;
    const uint32_t count = 1u << bits;
    auto *buckets = static_cast<TEntry **>(AllocBuckets(count));
    if (buckets == nullptr)
        return; // the old table stays usable, only its chains are longer
    const uint32_t grow = m_LoadConstant << (bits + 1);
    const uint32_t shrink = bits > m_MinimumBits ? m_LoadConstant << (bits - 1) : 0;
    std::printf("Creating hash table of size %d, num entries (%d, %d)...", static_cast<int>(count),
                static_cast<int>(shrink), static_cast<int>(grow));
    TEntry **old = m_Buckets;
    const uint32_t oldCount = m_BucketCount;
    m_Bits = bits;
    m_BucketCount = count;
    m_Mask = count - 1;
    m_Buckets = buckets;
    m_GrowThreshold = grow;
    m_ShrinkThreshold = shrink;
    for (uint32_t i = 0; i < oldCount; ++i) {
        TEntry *entry = old[i];
        while (entry != nullptr) {
            TEntry *next = entry->Next;
            TEntry *&head = m_Buckets[Bucket(entry->Object->GetID())];
            entry->Next = head;
            head = entry;
            entry = next;
        }
    }
    GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(old));
    std::printf("Done\n");
    // The cursor's pointers pointed into the old array.
    ResetCursor();
}

bool TRootHash::RemoveObject(TRootObject *object) {
    if (m_Buckets != nullptr) {
        TEntry **link = &m_Buckets[Bucket(object->GetID())];
        while (*link != nullptr && (*link)->Object != object)
            link = &(*link)->Next;
        if (*link != nullptr) {
            TEntry *gone = *link;
            if (m_Cursor.Entry == gone)
                NextCursor();
            *link = gone->Next;
            FreeEntry(gone);
            --m_EntryCount;
        }
    }
    ClearContainer(object);
    return true;
}

void TRootHash::DeleteAll() {
    ++DoNotDeleteDependencies;
    // Bucket by bucket, always the head, as an object's deletion may take others with it;
    // this needs no list of ids, so it cannot fail for want of memory.
    for (uint32_t i = 0; m_Buckets != nullptr && i < m_BucketCount; ++i) {
        while (m_Buckets[i] != nullptr) {
            TEntry *head = m_Buckets[i];
            TRootObject *object = head->Object;
            if (object->GetContainer() == this && GetObject(object->GetID()) == object) {
                object->Delete(); // leaves the table through RemoveObject
            } else {
                // An entry whose object does not find its way back here.
                m_Buckets[i] = head->Next;
                FreeEntry(head);
                --m_EntryCount;
                ClearContainer(object);
                Delete(object);
            }
        }
    }
    FreeEntries();
    m_EntryCount = 0;
    ResetCursor();
    --DoNotDeleteDependencies;
}

void TRootHash::FreeEntries() {
    // Every entry lives in a slab, so clearing the buckets and freeing the slabs frees them all.
    if (m_Buckets != nullptr)
        std::memset(m_Buckets, 0, sizeof(TEntry *) * m_BucketCount);
    ReleaseSlabs();
}

void TRootHash::ResetCursor() {
    m_Cursor.Owner = this;
    m_Cursor.Bucket = m_Buckets;
    m_Cursor.End = m_Buckets != nullptr ? m_Buckets + m_BucketCount : nullptr;
    m_Cursor.Entry = nullptr;
    while (m_Cursor.Bucket != m_Cursor.End && *m_Cursor.Bucket == nullptr)
        ++m_Cursor.Bucket;
    if (m_Cursor.Bucket != m_Cursor.End)
        m_Cursor.Entry = *m_Cursor.Bucket;
}

void TRootHash::NextCursor() {
    if (m_Cursor.Bucket == m_Cursor.End)
        return;
    m_Cursor.Entry = m_Cursor.Entry != nullptr ? m_Cursor.Entry->Next : nullptr;
    if (m_Cursor.Entry != nullptr)
        return;
    do {
        ++m_Cursor.Bucket;
    } while (m_Cursor.Bucket != m_Cursor.End && *m_Cursor.Bucket == nullptr);
    if (m_Cursor.Bucket != m_Cursor.End)
        m_Cursor.Entry = *m_Cursor.Bucket;
}

TRootObject *TRootHash::GetCursor() {
    if (m_Cursor.Bucket == m_Cursor.End || m_Cursor.Entry == nullptr)
        return nullptr;
    return m_Cursor.Entry->Object;
}

void TRootHash::PushCursor() {
    m_CursorStack.push_back(m_Cursor);
    Lock();
}

void TRootHash::PopCursor() {
    if (!m_CursorStack.empty()) {
        m_Cursor = m_CursorStack.back();
        m_CursorStack.pop_back();
    }
    Unlock();
}

void TRootHash::Lock() {
    m_GrowthEnabled = false;
    m_Locked = true;
}

void TRootHash::Unlock() {
    m_Locked = false;
    if (m_GrowthEnabled)
        return;
    m_GrowthEnabled = true;
    while (m_EntryCount >= m_GrowThreshold) {
        const uint32_t before = m_BucketCount;
        Grow();
        if (m_BucketCount == before)
            break; // no memory for a larger table
    }
}
