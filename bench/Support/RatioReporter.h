// The console reporter every benchmark program uses: it prints Google Benchmark's table and
// then, for each named pair, our time over the peer's (or the floor's) from the same run.
// Below 1 means ours is faster.
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

class TRatioReporter : public benchmark::ConsoleReporter {
public:
    explicit TRatioReporter(std::vector<TRatioPair> pairs,
                            std::function<void()> epilogue = nullptr)
        : m_Pairs(std::move(pairs)), m_Epilogue(std::move(epilogue)) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median")
                continue;
            m_Times[run.benchmark_name()] = run.GetAdjustedRealTime();
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\nratios (our time / peer time; below 1 = ours is faster)\n");
        for (const TRatioPair &pair : m_Pairs) {
            const double *ours = Find(pair.ours);
            const double *peer = Find(pair.peer);
            if (ours != nullptr && peer != nullptr && *peer > 0)
                std::printf("  %-60s %.2f\n", pair.label.c_str(), *ours / *peer);
        }
        if (m_Epilogue)
            m_Epilogue();
    }

private:
    /// The median of repeated runs when there is one, else the single run.
    const double *Find(const std::string &name) const {
        auto it = m_Times.find(name + "_median");
        if (it == m_Times.end())
            it = m_Times.find(name);
        return it != m_Times.end() ? &it->second : nullptr;
    }

    std::vector<TRatioPair> m_Pairs;
    std::function<void()> m_Epilogue;
    std::map<std::string, double> m_Times;
};

/// The body of a benchmark program's main(): runs what the command line selects and prints
/// the ratios of `pairs`.
inline int RunWithRatios(int argc, char **argv, std::vector<TRatioPair> pairs,
                         std::function<void()> epilogue = nullptr) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    TRatioReporter reporter(std::move(pairs), std::move(epilogue));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

} // namespace vlib::bench
