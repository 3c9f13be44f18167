// The INI document against inih on the same generated file of 10,000 sections, parsed from
// memory and from disk; and key look-ups in a loaded document against the same pairs in a
// std::unordered_map. The summary prints ours / theirs time ratios.
#include <benchmark/benchmark.h>

#include <ini.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "General/Config/IniFile.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kSections = 10000;
constexpr int kKeysPerSection = 8;

/// A settings file of many sections with a few keys each, blank lines between sections.
const std::string &GeneratedText() {
    static const std::string text = [] {
        std::string out = "; generated for the benchmark\n";
        char line[128];
        for (int s = 0; s < kSections; ++s) {
            std::snprintf(line, sizeof line, "\n[Object%05d]\n", s);
            out += line;
            for (int k = 0; k < kKeysPerSection; ++k) {
                std::snprintf(line, sizeof line, "Property%d=%d.%03d,%s\n", k, s * 31 + k,
                              (s * 7 + k) % 1000, k % 2 ? "enabled" : "textures/default.dds");
                out += line;
            }
        }
        return out;
    }();
    return text;
}

/// The same text in a file, written once.
const std::string &GeneratedPath() {
    static const std::string path = [] {
        const char *base = std::getenv("TMPDIR");
        std::string file = std::string(base && *base ? base : "/tmp") + "/vlib_ini_bench.ini";
        FILE *out = std::fopen(file.c_str(), "wb");
        if (out != nullptr) {
            std::fwrite(GeneratedText().data(), 1, GeneratedText().size(), out);
            std::fclose(out);
        }
        return file;
    }();
    return path;
}

int CountingHandler(void *user, const char *, const char *, const char *) {
    ++*static_cast<long *>(user);
    return 1;
}

void SetCounters(benchmark::State &state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * GeneratedText().size()));
}

void BM_ParseMemoryIniFile(benchmark::State &state) {
    const std::string &text = GeneratedText();
    for (auto _ : state) {
        TFixedFileBuf file;
        file.Open(reinterpret_cast<unsigned char *>(const_cast<char *>(text.data())),
                  static_cast<int>(text.size()), 2);
        TIniFile ini;
        benchmark::DoNotOptimize(ini.LoadAscii(&file).GetCode());
        benchmark::DoNotOptimize(ini.GetNumLines());
    }
    SetCounters(state);
}
BENCHMARK(BM_ParseMemoryIniFile)->Unit(benchmark::kMillisecond);

void BM_ParseMemoryInih(benchmark::State &state) {
    const std::string &text = GeneratedText();
    for (auto _ : state) {
        long entries = 0;
        benchmark::DoNotOptimize(ini_parse_string(text.c_str(), CountingHandler, &entries));
        benchmark::DoNotOptimize(entries);
    }
    SetCounters(state);
}
BENCHMARK(BM_ParseMemoryInih)->Unit(benchmark::kMillisecond);

void BM_ParseDiskIniFile(benchmark::State &state) {
    const TIniFile::TString path(GeneratedPath().c_str());
    for (auto _ : state) {
        TRealFile file;
        if (!file.Open(path, 2)) {
            state.SkipWithError("cannot open the generated file");
            break;
        }
        TIniFile ini;
        benchmark::DoNotOptimize(ini.LoadAscii(&file).GetCode());
        (void)file.Close();
    }
    SetCounters(state);
}
BENCHMARK(BM_ParseDiskIniFile)->Unit(benchmark::kMillisecond);

void BM_ParseDiskInih(benchmark::State &state) {
    const std::string &path = GeneratedPath();
    for (auto _ : state) {
        long entries = 0;
        benchmark::DoNotOptimize(ini_parse(path.c_str(), CountingHandler, &entries));
    }
    SetCounters(state);
}
BENCHMARK(BM_ParseDiskInih)->Unit(benchmark::kMillisecond);

/// Section and key names of a fixed pseudo-random walk over the file, lower case as callers
/// write them when the file has capitals. With `runs`, four reads in one section at a time,
/// as a settings reader makes them; without, every read in another section.
struct TQuery {
    std::string section;
    std::string key;
};
const std::vector<TQuery> &Queries(bool runs) {
    static const auto make = [](bool inRuns) {
        std::vector<TQuery> out;
        unsigned state = 12345;
        char section[32];
        for (int i = 0; i < 16384; ++i) {
            if (!inRuns || i % 4 == 0)
                state = state * 1103515245u + 12345u;
            const int s = static_cast<int>((state >> 8) % kSections);
            std::snprintf(section, sizeof section, "object%05d", s);
            out.push_back({section, "property" + std::to_string((i * 3) % kKeysPerSection)});
        }
        return out;
    };
    static const std::vector<TQuery> inRuns = make(true);
    static const std::vector<TQuery> scattered = make(false);
    return runs ? inRuns : scattered;
}

void BM_LookupIniFile(benchmark::State &state) {
    TFixedFileBuf file;
    const std::string &text = GeneratedText();
    file.Open(reinterpret_cast<unsigned char *>(const_cast<char *>(text.data())),
              static_cast<int>(text.size()), 2);
    TIniFile ini;
    (void)ini.LoadAscii(&file);
    TIniFile::TString value;
    const std::vector<TQuery> &queries = Queries(state.range(0) != 0);
    for (auto _ : state)
        for (const TQuery &q : queries)
            benchmark::DoNotOptimize(ini.GetIniString(q.section.c_str(), q.key.c_str(), value));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * queries.size()));
}
BENCHMARK(BM_LookupIniFile)->ArgName("runs")->Arg(1)->Arg(0);

void BM_LookupUnorderedMap(benchmark::State &state) {
    // The same pairs, keyed by lower-cased "section/key" as a case-blind reader would store
    // them; the query is folded the same way on every look-up, and the value copied out.
    std::unordered_map<std::string, std::string> map;
    char section[32];
    for (int s = 0; s < kSections; ++s)
        for (int k = 0; k < kKeysPerSection; ++k) {
            std::snprintf(section, sizeof section, "Object%05d", s);
            std::string key = std::string(section) + "/Property" + std::to_string(k);
            for (char &c : key)
                if (c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c + 32);
            map[key] = "value";
        }
    std::string key;
    std::string value;
    const std::vector<TQuery> &queries = Queries(state.range(0) != 0);
    for (auto _ : state)
        for (const TQuery &q : queries) {
            key.assign(q.section);
            key += '/';
            key += q.key;
            for (char &c : key)
                if (c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c + 32);
            const auto it = map.find(key);
            if (it != map.end())
                value = it->second;
            benchmark::DoNotOptimize(value);
        }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * queries.size()));
}
BENCHMARK(BM_LookupUnorderedMap)->ArgName("runs")->Arg(1)->Arg(0);

} // namespace

int main(int argc, char **argv) {
    const int result = vlib::bench::RunWithRatios(
        argc, argv,
        {{"BM_ParseMemoryIniFile", "BM_ParseMemoryInih", "INI parse, 10,000 sections, memory"},
         {"BM_ParseDiskIniFile", "BM_ParseDiskInih", "INI parse, 10,000 sections, disk file"},
         {"BM_LookupIniFile/runs:1", "BM_LookupUnorderedMap/runs:1",
          "key look-up, runs of 4 in a section, against std::unordered_map"},
         {"BM_LookupIniFile/runs:0", "BM_LookupUnorderedMap/runs:0",
          "key look-up, every read in another section, against unordered_map"}});
    std::remove(GeneratedPath().c_str());
    return result;
}
