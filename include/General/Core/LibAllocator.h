// The library heap. Every allocation of the library and of classes derived from
// TBaseAllocator goes through TLibAllocator, from any thread. The heap layer below it is
// thread-safe on its own, so the allocator's lock guards only its start and end and no
// allocation waits for another. It also carries a fault countdown and a live-block count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "General/Core/Export.h"
#include "General/Core/FaultInjection.h"

class TComponent;
class TCriticalSection;

/// The allocator singleton; reach it through GetAllocatorInstance().
class VLIB_API TLibAllocator {
public:
    TLibAllocator();
    ~TLibAllocator();
    TLibAllocator(const TLibAllocator &) = delete;
    TLibAllocator &operator=(const TLibAllocator &) = delete;

    /// A block of at least `size` bytes, or null (after the out-of-memory text) on failure.
    unsigned char *Alloc(unsigned long size);
    /// Releases a block from Alloc; null is ignored.
    void Unalloc(unsigned char *block);
    /// A block of `size` bytes aligned to `alignment` (a power of two), or null. The raw
    /// pointer is kept in the 8 bytes before the result.
    unsigned char *AllocAligned(int size, int alignment);
    void UnallocAligned(unsigned char *block);

    /// Bytes currently allocated by the heap layer.
    unsigned long GetTotalAlloc();
    /// Bytes the heap occupies, plus the footprint addition.
    unsigned long GetMemoryFootprint();
    void SetTracking(bool on) { m_Tracking = on; }
    bool GetTracking() const { return m_Tracking; }
    void SetCurrentComponent(TComponent *component) { m_CurrentComponent = component; }
    TComponent *GetCurrentComponent() const { return m_CurrentComponent; }
    bool IsValid() { return m_Valid; }

    /// Test switch: makes the N-th allocation from now fail, once or from then on.
    vlib::TFaultCountdown &Faults() { return m_Faults; }
    /// Blocks handed out and not yet released (plain and aligned), over all threads.
    size_t GetLiveBlocks() const;

private:
    unsigned char *AllocRaw(size_t size);
    void UnallocRaw(void *raw);

    bool m_Tracking;
    bool m_Valid;
    uint32_t m_FootprintAddition;
    TComponent *m_CurrentComponent; // not owned
    TCriticalSection *m_Lock;       // owned; made with the runtime's new
    vlib::TFaultCountdown m_Faults;
};

/// Tells a loader whether any allocation of the library heap failed on its thread since the
/// watch began. Strings, containers and nodes that found no memory are left short or are
/// skipped, so a load that saw a failure may have lost data and must not report success.
/// Watches nest freely: each compares against its own starting count.
class VLIB_API TAllocationFailureWatch {
public:
    TAllocationFailureWatch() noexcept;
    bool Failed() const noexcept;

private:
    unsigned long m_Start;
};

/// Holds the one allocator of the process; not inlined so every module sees this library's.
VLIB_API VLIB_NOINLINE TLibAllocator &NotInlinedSingletonTLibAllocator();

/// The allocator: one guard test and a load of the cached reference.
inline TLibAllocator &GetAllocatorInstance() {
    static TLibAllocator &rObject = NotInlinedSingletonTLibAllocator();
    return rObject;
}

/// Base of classes whose instances live in the library heap. Its `new` returns null when
/// memory is exhausted, and the new-expression then constructs nothing.
class VLIB_API TBaseAllocator {
public:
    struct TAllocateObjectWithBaseAllocator {};

    static void *operator new(std::size_t size) noexcept {
        return GetAllocatorInstance().Alloc(size);
    }
    static void *operator new[](std::size_t size) noexcept {
        return GetAllocatorInstance().Alloc(size);
    }
    static void operator delete(void *block) noexcept {
        if (block != nullptr)
            GetAllocatorInstance().Unalloc(static_cast<unsigned char *>(block));
    }
    static void operator delete[](void *block) noexcept {
        if (block != nullptr)
            GetAllocatorInstance().Unalloc(static_cast<unsigned char *>(block));
    }
    static void *operator new(std::size_t, void *where) noexcept { return where; }
    static void operator delete(void *, void *) noexcept {}

    /// The marker form of the object itself.
    operator TAllocateObjectWithBaseAllocator &() {
        return *reinterpret_cast<TAllocateObjectWithBaseAllocator *>(this);
    }
};
