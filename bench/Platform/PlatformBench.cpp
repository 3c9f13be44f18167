// The platform layer's hot paths against what they stand on or compete with: the global clock
// against a bare clock_gettime, and uncontended lock/unlock of our locks against the standard
// ones. After the table, each pair's ratio (ours over theirs, time per call) is printed.
#include <benchmark/benchmark.h>

#include <ctime>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

#include "General/Platform/Time.h"

namespace {

void ClockGettime(benchmark::State &state) {
    timespec ts;
    for (auto _ : state) {
        clock_gettime(CLOCK_MONOTONIC, &ts);
        benchmark::DoNotOptimize(ts);
    }
}

void GlobalTime(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(GetGlobalTime().GetTime());
}

BENCHMARK(ClockGettime);
BENCHMARK(GlobalTime);

// Pairs of (ours, theirs) whose ratio is printed.
const std::pair<const char *, const char *> kPairs[] = {
    {"GlobalTime", "ClockGettime"},
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            m_Times[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const auto &[ours, theirs] : kPairs) {
            auto a = m_Times.find(ours);
            auto b = m_Times.find(theirs);
            if (a != m_Times.end() && b != m_Times.end())
                std::printf("ratio %s/%s: %.2f\n", ours, theirs, a->second / b->second);
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
