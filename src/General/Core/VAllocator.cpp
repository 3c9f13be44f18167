// The heap layer over mimalloc. Live bytes and blocks are counted per thread, without a
// locked instruction on the hot path, and summed when someone asks; a thread's figures fold
// into the process totals when it ends. Bytes are the usable size of each block, which
// mimalloc reports exactly, so the totals fall back to their start when everything is freed.
#include "General/Core/VAllocator.h"

#include <atomic>
#include <mutex>

#include <pthread.h>

#if VLIB_SYSTEM_HEAP
// Sanitizer builds use the C heap, so that AddressSanitizer sees every library block.
#include <cstdlib>
#include <malloc.h>
#define VLIB_HEAP_MALLOC std::malloc
#define VLIB_HEAP_FREE std::free
#define VLIB_HEAP_USABLE_SIZE malloc_usable_size
#else
#include <mimalloc.h>
#define VLIB_HEAP_MALLOC mi_malloc
#define VLIB_HEAP_FREE mi_free
#define VLIB_HEAP_USABLE_SIZE mi_usable_size
#endif

namespace {

struct TCounterSlot {
    std::atomic<long> bytes;
    std::atomic<long> blocks;
    TCounterSlot *next;
    TCounterSlot *prev;
    bool registered;
};

// initial-exec: a plain offset from the thread pointer, no __tls_get_addr per call.
thread_local TCounterSlot tSlot __attribute__((tls_model("initial-exec")));

struct TCounterRegistry {
    std::mutex lock;
    TCounterSlot *head = nullptr;
    std::atomic<long> foldedBytes{0};
    std::atomic<long> foldedBlocks{0};
    pthread_key_t key;

    TCounterRegistry() { pthread_key_create(&key, &TCounterRegistry::ThreadEnded); }

    static void ThreadEnded(void *data);
};

TCounterRegistry &Registry() {
    // Never destroyed: blocks are released by other statics' destructors at exit.
    static TCounterRegistry *registry = new TCounterRegistry;
    return *registry;
}

void TCounterRegistry::ThreadEnded(void *data) {
    auto *slot = static_cast<TCounterSlot *>(data);
    TCounterRegistry &registry = Registry();
    std::lock_guard<std::mutex> hold(registry.lock);
    registry.foldedBytes.fetch_add(slot->bytes.load(std::memory_order_relaxed));
    registry.foldedBlocks.fetch_add(slot->blocks.load(std::memory_order_relaxed));
    slot->bytes.store(0, std::memory_order_relaxed);
    slot->blocks.store(0, std::memory_order_relaxed);
    if (slot->prev != nullptr)
        slot->prev->next = slot->next;
    else
        registry.head = slot->next;
    if (slot->next != nullptr)
        slot->next->prev = slot->prev;
    slot->registered = false;
}

__attribute__((noinline)) void RegisterThisThread() {
    TCounterRegistry &registry = Registry();
    std::lock_guard<std::mutex> hold(registry.lock);
    tSlot.prev = nullptr;
    tSlot.next = registry.head;
    if (registry.head != nullptr)
        registry.head->prev = &tSlot;
    registry.head = &tSlot;
    tSlot.registered = true;
    pthread_setspecific(registry.key, &tSlot);
}

inline TCounterSlot &Slot() {
    if (__builtin_expect(!tSlot.registered, 0))
        RegisterThisThread();
    return tSlot;
}

// Only this thread writes its slot, so a load and a store replace a locked add.
inline void Add(std::atomic<long> &counter, long delta) {
    counter.store(counter.load(std::memory_order_relaxed) + delta, std::memory_order_relaxed);
}

template <std::atomic<long> TCounterSlot::*Field, std::atomic<long> TCounterRegistry::*Folded>
unsigned long Sum() {
    TCounterRegistry &registry = Registry();
    std::lock_guard<std::mutex> hold(registry.lock);
    long total = (registry.*Folded).load(std::memory_order_relaxed);
    for (TCounterSlot *slot = registry.head; slot != nullptr; slot = slot->next)
        total += (slot->*Field).load(std::memory_order_relaxed);
    return total > 0 ? static_cast<unsigned long>(total) : 0;
}

} // namespace

void *VMalloc(unsigned long size) {
    void *block = VLIB_HEAP_MALLOC(size);
    if (block != nullptr) {
        TCounterSlot &slot = Slot();
        Add(slot.bytes, static_cast<long>(VLIB_HEAP_USABLE_SIZE(block)));
        Add(slot.blocks, 1);
    }
    return block;
}

void VFree(void *block) {
    if (block == nullptr)
        return;
    TCounterSlot &slot = Slot();
    Add(slot.bytes, -static_cast<long>(VLIB_HEAP_USABLE_SIZE(block)));
    Add(slot.blocks, -1);
    VLIB_HEAP_FREE(block);
}

unsigned long VTotalAlloc() { return Sum<&TCounterSlot::bytes, &TCounterRegistry::foldedBytes>(); }

unsigned long VLiveBlocks() {
    return Sum<&TCounterSlot::blocks, &TCounterRegistry::foldedBlocks>();
}

unsigned long VMemFootPrint() {
#if VLIB_SYSTEM_HEAP
    // Under a sanitizer mallinfo2 may know nothing of the heap; the live bytes are then the
    // best figure there is.
    struct mallinfo2 info = mallinfo2();
    const unsigned long heap = static_cast<unsigned long>(info.arena + info.hblkhd);
    const unsigned long live = VTotalAlloc();
    return heap > live ? heap : live;
#else
    size_t elapsed = 0, user = 0, system = 0, rss = 0, peakRss = 0, commit = 0, peakCommit = 0,
           faults = 0;
    mi_process_info(&elapsed, &user, &system, &rss, &peakRss, &commit, &peakCommit, &faults);
    return static_cast<unsigned long>(commit);
#endif
}
