// Records which owner holds which numbered instance. Each owner has one range of indices with
// a pointer slot per index; ranges grow at either end as instances are added and keep the
// order in which owners first appeared.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"

/// The instances of one owner: slots for the indices first to last, inclusive.
struct TInstanceRange {
    uint32_t first = 0;
    uint32_t last = 0;
    TLibVector<void *> pointers; // not owned; one slot per index, null when empty
    void *owner = nullptr;       // not owned
    int32_t count = 0;           // instances added and not removed
};

/// Owners and their numbered instances. Nothing here owns the pointers it records.
class VLIB_API TInstanceManager : public TBaseAllocator {
public:
    /// Records `pointer` at `index` for `owner`, growing the owner's range as needed; a slot
    /// already taken is replaced.
    void AddInstance(void *owner, void *pointer, unsigned long index);
    /// Clears the slot and counts the instance out; the range goes when its count reaches 0.
    /// An unknown owner or an index outside its range changes nothing.
    void RemoveInstance(void *owner, unsigned long index);
    /// Moves the first pointer found at `index` to `owner`. The old range's count stays.
    void SetOwner(unsigned long index, void *owner);
    /// How many ranges have a pointer at `index`.
    int CountInstances(unsigned long index) const;
    /// The owner's pointer at `index`; null for an unknown owner or an index outside its range.
    void *GetPointer(unsigned long index, void *owner) const;
    /// The owner of the first range with a pointer at `index`, or null; the pointer goes to
    /// `*pointer` when that is not null.
    void *GetFirstOwner(unsigned long index, void **pointer) const;
    /// One past the owner's last index; 0 for an unknown owner.
    unsigned long GetNextIndex(void *owner) const;

    const TLibVector<TInstanceRange> &GetRanges() const { return m_Ranges; }

private:
    TInstanceRange *FindRange(void *owner);
    const TInstanceRange *FindRange(void *owner) const;
    /// The slot for `index` in `range`, or null when the index lies outside it.
    static void *const *Slot(const TInstanceRange &range, uint32_t index);

    TLibVector<TInstanceRange> m_Ranges;
};
