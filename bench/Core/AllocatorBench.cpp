// Small-block alloc/free through TLibAllocator against plain malloc/free, on one thread and
// two. The "ratio" counter of each TLibAllocator run is its time over malloc's in this run.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "General/Core/LibAllocator.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kBlocks = 256;

template <class Alloc, class Free> void Churn(benchmark::State &state, Alloc alloc, Free free) {
    void *blocks[kBlocks];
    for (auto _ : state) {
        for (int i = 0; i < kBlocks; ++i)
            blocks[i] = alloc(16 + (i & 7) * 8);
        benchmark::DoNotOptimize(blocks);
        for (int i = 0; i < kBlocks; ++i)
            free(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

void Malloc(benchmark::State &state) {
    Churn(state, [](size_t n) { return std::malloc(n); }, [](void *p) { std::free(p); });
}

void LibAllocator(benchmark::State &state) {
    auto &allocator = GetAllocatorInstance();
    Churn(
        state, [&](size_t n) { return static_cast<void *>(allocator.Alloc(n)); },
        [&](void *p) { allocator.Unalloc(static_cast<unsigned char *>(p)); });
}

BENCHMARK(Malloc)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(LibAllocator)->Threads(1)->Threads(2)->UseRealTime();

} // namespace

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {{"LibAllocator/real_time/threads:1", "Malloc/real_time/threads:1",
          "TLibAllocator / malloc, one thread"},
         {"LibAllocator/real_time/threads:2", "Malloc/real_time/threads:2",
          "TLibAllocator / malloc, two threads"}});
}
