// Small-block alloc/free through TLibAllocator against plain malloc/free, on one thread and
// two. The "ratio" counter of each TLibAllocator run is its time over malloc's in this run.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <string>

#include "General/Core/LibAllocator.h"

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

// Prints ours over theirs for each pair of runs with the same thread count.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            m_Times[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const char *threads : {"threads:1", "threads:2"}) {
            const std::string suffix = std::string("/real_time/") + threads;
            auto ours = m_Times.find("LibAllocator" + suffix);
            auto theirs = m_Times.find("Malloc" + suffix);
            if (ours != m_Times.end() && theirs != m_Times.end())
                std::printf("ratio TLibAllocator/malloc (%s): %.2f\n", threads,
                            ours->second / theirs->second);
        }
    }

private:
    std::map<std::string, double> m_Times;
};

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
