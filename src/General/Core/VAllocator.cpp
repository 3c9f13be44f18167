// The heap layer over mimalloc. Live bytes are counted with the usable size of each block,
// which mimalloc reports exactly, so VTotalAlloc falls back to 0 when everything is freed.
#include "General/Core/VAllocator.h"

#include <atomic>

#include <mimalloc.h>

namespace {
std::atomic<unsigned long> gLiveBytes{0};
} // namespace

void *VMalloc(unsigned long size) {
    void *block = mi_malloc(size);
    if (block != nullptr)
        gLiveBytes.fetch_add(mi_usable_size(block), std::memory_order_relaxed);
    return block;
}

void VFree(void *block) {
    if (block == nullptr)
        return;
    gLiveBytes.fetch_sub(mi_usable_size(block), std::memory_order_relaxed);
    mi_free(block);
}

unsigned long VTotalAlloc() { return gLiveBytes.load(std::memory_order_relaxed); }

unsigned long VMemFootPrint() {
    size_t elapsed = 0, user = 0, system = 0, rss = 0, peakRss = 0, commit = 0, peakCommit = 0,
           faults = 0;
    mi_process_info(&elapsed, &user, &system, &rss, &peakRss, &commit, &peakCommit, &faults);
    return static_cast<unsigned long>(commit);
}
