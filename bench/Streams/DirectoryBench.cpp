// Listing a folder of 20,000 files with TDirectory against std::filesystem's
// directory_iterator, on the same folder in the same run: names only, and names with the
// directory test. Prints ours over theirs for each pair.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "General/Streams/Directory.h"
#include "General/Streams/FileSystem.h"
#include "Support/RatioReporter.h"

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

} // namespace

int main(int argc, char **argv) {
    (void)Folder(); // make the folder before the clock runs
    return vlib::bench::RunWithRatios(argc, argv,
                                      {
                                          {"TDirectoryNames", "StdDirectoryIteratorNames",
                                           "TDirectory / directory_iterator (Names)"},
                                          {"TDirectoryKinds", "StdDirectoryIteratorKinds",
                                           "TDirectory / directory_iterator (Kinds)"},
                                          {"TDirectoryPattern", "StdDirectoryIteratorPattern",
                                           "TDirectory / directory_iterator (Pattern)"},
                                      },
                                      nullptr, vlib::bench::TRatioClock::RealAndCpu);
}
