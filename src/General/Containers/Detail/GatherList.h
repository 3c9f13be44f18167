// The list of objects a save gathers before its passes. A list of a large store is megabytes
// long and lives for one save only; a fresh heap block that size comes back from the system
// one page fault at a time on every save, so large lists are mapped with their pages present.
#pragma once

#include <cstddef>

#include <sys/mman.h>

#include "General/Core/LibAllocator.h"
#include "General/Core/RootObject.h"

namespace vlib::detail {

/// A fixed-capacity array of object pointers; small ones come from the library allocator,
/// large ones from a mapping populated in one call.
class TGatherList {
public:
    /// Lists of more entries than this are mapped.
    static constexpr size_t kMapAbove = 0x10000;

    TGatherList() = default;
    ~TGatherList() { Release(); }
    TGatherList(const TGatherList &) = delete;
    TGatherList &operator=(const TGatherList &) = delete;

    /// Room for `capacity` entries, the list emptied; false without memory.
    bool Reserve(size_t capacity) {
        Release();
        const size_t bytes = sizeof(TRootObject *) * (capacity > 0 ? capacity : 1);
        void *block = nullptr;
        if (capacity > kMapAbove) {
            block = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
            if (block == MAP_FAILED)
                return false;
            m_Mapped = true;
        } else {
            block = GetAllocatorInstance().Alloc(static_cast<unsigned long>(bytes));
            if (block == nullptr)
                return false;
        }
        m_Items = static_cast<TRootObject **>(block);
        m_Bytes = bytes;
        m_Capacity = capacity;
        return true;
    }
    /// Appends; false when the list is full.
    bool Add(TRootObject *object) {
        if (m_Size == m_Capacity)
            return false;
        m_Items[m_Size++] = object;
        return true;
    }
    size_t Size() const { return m_Size; }
    TRootObject *operator[](size_t i) const { return m_Items[i]; }

private:
    void Release() {
        if (m_Mapped)
            (void)::munmap(m_Items, m_Bytes);
        else
            GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(m_Items));
        m_Items = nullptr;
        m_Mapped = false;
        m_Size = m_Capacity = m_Bytes = 0;
    }

    TRootObject **m_Items = nullptr; // owned: mapped or from the allocator, as m_Mapped says
    size_t m_Size = 0;
    size_t m_Capacity = 0;
    size_t m_Bytes = 0;
    bool m_Mapped = false;
};

} // namespace vlib::detail
