// The console reporter every benchmark program uses: it prints Google Benchmark's table and
// then, for each named pair, our time over the peer's (or the floor's) from the same run,
// in wall-clock time, processor time or both. Below 1 means ours is faster.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vlib::bench {

struct TRatioPair {
    std::string ours;  // benchmark name (with its arguments), e.g. "LibAllocator/real_time"
    std::string peer;  // the peer or floor benchmark of the same work
    std::string label; // what the line says
};

/// Which time the ratios compare.
enum class TRatioClock { Real, Cpu, RealAndCpu };

class TRatioReporter : public benchmark::ConsoleReporter {
public:
    explicit TRatioReporter(std::vector<TRatioPair> pairs, std::function<void()> epilogue = nullptr,
                            TRatioClock clock = TRatioClock::Real)
        : m_Pairs(std::move(pairs)), m_Epilogue(std::move(epilogue)), m_Clock(clock) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median")
                continue;
            m_Times[run.benchmark_name()] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        static const char *const kClockNames[] = {"", "CPU time: ", "real and CPU time: "};
        std::printf("\nratios (%sour time / peer time; below 1 = ours is faster)\n",
                    kClockNames[static_cast<int>(m_Clock)]);
        for (const TRatioPair &pair : m_Pairs) {
            const TTimes *ours = Find(pair.ours);
            const TTimes *peer = Find(pair.peer);
            if (ours == nullptr || peer == nullptr ||
                (m_Clock != TRatioClock::Cpu && peer->real <= 0) ||
                (m_Clock != TRatioClock::Real && peer->cpu <= 0))
                continue;
            const double real = ours->real / peer->real, cpu = ours->cpu / peer->cpu;
            if (m_Clock == TRatioClock::RealAndCpu)
                std::printf("  %-60s %.2f real, %.2f cpu\n", pair.label.c_str(), real, cpu);
            else
                std::printf("  %-60s %.2f\n", pair.label.c_str(),
                            m_Clock == TRatioClock::Cpu ? cpu : real);
        }
        if (m_Epilogue)
            m_Epilogue();
    }

private:
    struct TTimes {
        double real;
        double cpu;
    };

    /// The median of repeated runs when there is one, else the single run.
    const TTimes *Find(const std::string &name) const {
        auto it = m_Times.find(name + "_median");
        if (it == m_Times.end())
            it = m_Times.find(name);
        return it != m_Times.end() ? &it->second : nullptr;
    }

    std::vector<TRatioPair> m_Pairs;
    std::function<void()> m_Epilogue;
    TRatioClock m_Clock;
    std::map<std::string, TTimes> m_Times;
};

/// The body of a benchmark program's main(): runs what the command line selects and prints
/// the ratios of `pairs` on `clock`, then calls `epilogue` (when given).
inline int RunWithRatios(int argc, char **argv, std::vector<TRatioPair> pairs,
                         std::function<void()> epilogue = nullptr,
                         TRatioClock clock = TRatioClock::Real) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    TRatioReporter reporter(std::move(pairs), std::move(epilogue), clock);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

} // namespace vlib::bench
