// TLibAllocator over the heap layer, with its lock, the out-of-memory text and the test
// switches.
#include "General/Core/LibAllocator.h"

#include <cstring>

#include "General/Core/DebugServices.h"
#include "General/Core/VAllocator.h"
#include "General/Platform/CriticalSection.h"
#include "General/Platform/DebugOutput.h"

namespace {
constexpr const char *kOutOfMemory = "*****************************\nGame over man! Out of "
                                     "memory!\n*****************************\n";

// Allocations that failed on this thread; read by TAllocationFailureWatch.
thread_local unsigned long t_Failures = 0;
} // namespace

TAllocationFailureWatch::TAllocationFailureWatch() noexcept : m_Start(t_Failures) {}

bool TAllocationFailureWatch::Failed() const noexcept {
    return t_Failures != m_Start;
}

TLibAllocator::TLibAllocator()
    : m_Tracking(false), m_Valid(false), m_FootprintAddition(0), m_CurrentComponent(nullptr),
      m_Lock(nullptr) {
    (void)_VarnelExpandMsg("%s", ""); // the debug services start with the heap
    m_Lock = new TCriticalSection;
    (void)m_Lock->Lock();
    (void)TViewStack::Initialise(); // the result is of no use here
    m_Valid = true;
    (void)m_Lock->Release();
}

TLibAllocator::~TLibAllocator() {
    (void)m_Lock->Lock();
    TViewStack::ShutDown();
    m_Valid = false;
    (void)m_Lock->Release();
    delete m_Lock;
    m_Lock = nullptr;
}

unsigned char *TLibAllocator::AllocRaw(size_t size) {
    // The heap layer is thread-safe and outlives this object, so blocks released by statics
    // destroyed after the allocator at exit still reach it.
    auto *block = m_Faults.ShouldFail() ? nullptr : static_cast<unsigned char *>(VMalloc(size));
    if (block == nullptr)
        ++t_Failures;
    return block;
}

void TLibAllocator::UnallocRaw(void *raw) {
    VFree(raw);
}

size_t TLibAllocator::GetLiveBlocks() const {
    return VLiveBlocks();
}

unsigned char *TLibAllocator::Alloc(unsigned long size) {
    unsigned char *block = AllocRaw(size);
    if (block == nullptr)
        OutputDebugStringA(kOutOfMemory);
    return block;
}

void TLibAllocator::Unalloc(unsigned char *block) {
    if (block != nullptr)
        UnallocRaw(block);
}

unsigned char *TLibAllocator::AllocAligned(int size, int alignment) {
    constexpr size_t kBack = sizeof(unsigned char *);
    if (size < 0 || alignment <= 0 || (alignment & (alignment - 1)) != 0)
        return nullptr;
    unsigned char *raw = AllocRaw(static_cast<size_t>(size) + alignment + kBack);
    if (raw == nullptr) {
        OutputDebugStringA(kOutOfMemory);
        return nullptr;
    }
    // Always pad by a whole `alignment`, even when raw + kBack is already aligned, so the
    // back pointer always fits in front of the result.
    uintptr_t base = reinterpret_cast<uintptr_t>(raw) + kBack;
    uintptr_t result = base - (base & static_cast<uintptr_t>(alignment - 1)) + alignment;
    auto *out = reinterpret_cast<unsigned char *>(result);
    std::memcpy(out - kBack, &raw, kBack);
    return out;
}

void TLibAllocator::UnallocAligned(unsigned char *block) {
    if (block == nullptr)
        return;
    unsigned char *raw = nullptr;
    std::memcpy(&raw, block - sizeof(unsigned char *), sizeof(unsigned char *));
    UnallocRaw(raw);
}

unsigned long TLibAllocator::GetTotalAlloc() {
    return VTotalAlloc();
}

unsigned long TLibAllocator::GetMemoryFootprint() {
    return VMemFootPrint() + m_FootprintAddition;
}

TLibAllocator &NotInlinedSingletonTLibAllocator() {
    static TLibAllocator allocator;
    return allocator;
}
