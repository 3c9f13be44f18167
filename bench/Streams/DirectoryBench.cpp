// Listing a folder of 20,000 files with TDirectory against std::filesystem's
// directory_iterator, on the same folder in the same run: names only, and names with the
// directory test. Prints ours over theirs for each pair.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "General/Streams/Directory.h"
#include "General/Streams/FileSystem.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 20000;

/// The folder, made once for the whole run and removed at exit.
class TBigFolder {
public:
    TBigFolder() {
        const char *base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/vlibbench-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        m_Path = pattern;
        for (int i = 0; i < kFiles; ++i)
            std::ofstream(m_Path + "/file" + std::to_string(i) + (i % 3 ? ".dat" : ".txt"));
        for (int i = 0; i < 20; ++i)
            fs::create_directory(m_Path + "/dir" + std::to_string(i));
    }
    ~TBigFolder() {
        std::error_code ignored;
        fs::remove_all(m_Path, ignored);
    }
    const std::string &Path() const { return m_Path; }

private:
    std::string m_Path;
};

const TBigFolder &Folder() {
    static TBigFolder folder;
    return folder;
}

void TDirectoryNames(benchmark::State &state) {
    TDirectory dir(Folder().Path().c_str());
    for (auto _ : state) {
        TLibVector<TDynamicString> names;
        dir.GetFiles("*", names);
        (void)dir.EndGetFile(); // ending a search cannot fail
        benchmark::DoNotOptimize(names.data());
        if (names.size() != kFiles + 22)
            state.SkipWithError("wrong count");
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

void StdDirectoryIteratorNames(benchmark::State &state) {
    for (auto _ : state) {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(Folder().Path()))
            names.push_back(entry.path().filename().string());
        benchmark::DoNotOptimize(names.data());
        if (names.size() != kFiles + 20)
            state.SkipWithError("wrong count");
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

void TDirectoryKinds(benchmark::State &state) {
    TDirectory dir(Folder().Path().c_str());
    for (auto _ : state) {
        int directories = 0;
        for (bool more = dir.GetFirstFile("*"); more; more = dir.GetNextFile())
            directories += dir.IsADirectory();
        (void)dir.EndGetFile(); // ending a search cannot fail
        if (directories != 22)
            state.SkipWithError("wrong count");
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

void StdDirectoryIteratorKinds(benchmark::State &state) {
    for (auto _ : state) {
        int directories = 0;
        for (const fs::directory_entry &entry : fs::directory_iterator(Folder().Path()))
            directories += entry.is_directory();
        if (directories != 20)
            state.SkipWithError("wrong count");
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

// Only the ".txt" third of the folder, by pattern against a filter on the extension.
void TDirectoryPattern(benchmark::State &state) {
    TDirectory dir(Folder().Path().c_str());
    for (auto _ : state) {
        TLibVector<TDynamicString> names;
        dir.GetFiles("*.txt", names);
        (void)dir.EndGetFile(); // ending a search cannot fail
        benchmark::DoNotOptimize(names.data());
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

void StdDirectoryIteratorPattern(benchmark::State &state) {
    for (auto _ : state) {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(Folder().Path()))
            if (entry.path().extension() == ".txt")
                names.push_back(entry.path().filename().string());
        benchmark::DoNotOptimize(names.data());
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

BENCHMARK(TDirectoryNames)->Unit(benchmark::kMillisecond);
BENCHMARK(StdDirectoryIteratorNames)->Unit(benchmark::kMillisecond);
BENCHMARK(TDirectoryKinds)->Unit(benchmark::kMillisecond);
BENCHMARK(StdDirectoryIteratorKinds)->Unit(benchmark::kMillisecond);
BENCHMARK(TDirectoryPattern)->Unit(benchmark::kMillisecond);
BENCHMARK(StdDirectoryIteratorPattern)->Unit(benchmark::kMillisecond);

// Prints ours over theirs for each pair of runs.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        // With repetitions the mean stands for the pair; single runs stand for themselves.
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "mean")
                continue;
            m_Times[run.run_name.function_name] = {run.GetAdjustedRealTime(),
                                                   run.GetAdjustedCPUTime()};
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const char *what : {"Names", "Kinds", "Pattern"}) {
            auto ours = m_Times.find(std::string("TDirectory") + what);
            auto theirs = m_Times.find(std::string("StdDirectoryIterator") + what);
            if (ours != m_Times.end() && theirs != m_Times.end())
                std::printf("ratio TDirectory/directory_iterator (%s): %.2f real, %.2f cpu\n", what,
                            ours->second.first / theirs->second.first,
                            ours->second.second / theirs->second.second);
        }
    }

private:
    std::map<std::string, std::pair<double, double>> m_Times; // real and processor time
};

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    (void)Folder(); // make the folder before the clock runs
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
