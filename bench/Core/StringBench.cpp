// StrToID against the plain FNV-1 loop it cannot beat and against std::hash, on resource
// names; and the string template's append, find and compare against std::string. Each pair
// runs on the same data in the same run; the summary prints ours / theirs time ratios.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "General/Core/StrToID.h"
#include "General/Core/StringInt.h"
#include "Support/RatioReporter.h"

namespace {

/// Typical resource names: folders, mixed case, extensions, 20 to 60 bytes.
const std::vector<std::string> &ResourceNames() {
    static const std::vector<std::string> names = [] {
        const char *const folders[] = {"textures/characters/", "Textures/Environment/Harbour/",
                                       "meshes/props/",        "sounds/ui/",
                                       "levels/act1/",         "Animations/Hero/"};
        const char *const stems[] = {"hero_diffuse", "crate_03", "Click",      "water_normal",
                                     "door_open",    "sky_dome", "LAMP_post",  "rope_bridge",
                                     "grass_tile",   "idle_01",  "barrel_big", "fx_smoke"};
        const char *const extensions[] = {".dds", ".mesh", ".wav", ".anim"};
        std::vector<std::string> out;
        for (size_t i = 0; i < 96; ++i)
            out.push_back(std::string(folders[i % 6]) + stems[(i * 7) % 12] + extensions[i % 4]);
        return out;
    }();
    return names;
}

uint32_t PlainFnv1(const char *text) {
    uint32_t hash = 0x811C9DC5u;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p != 0; ++p)
        hash = (hash * 0x01000193u) ^ *p;
    return hash;
}

void SetNameCounters(benchmark::State &state) {
    size_t bytes = 0;
    for (const std::string &name : ResourceNames())
        bytes += name.size();
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * ResourceNames().size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void BM_HashStrToID(benchmark::State &state) {
    const auto &names = ResourceNames();
    for (auto _ : state)
        for (const std::string &name : names)
            benchmark::DoNotOptimize(StrToID(name.c_str()));
    SetNameCounters(state);
}
BENCHMARK(BM_HashStrToID);

void BM_HashPlainFnv1(benchmark::State &state) {
    const auto &names = ResourceNames();
    for (auto _ : state)
        for (const std::string &name : names)
            benchmark::DoNotOptimize(PlainFnv1(name.c_str()));
    SetNameCounters(state);
}
BENCHMARK(BM_HashPlainFnv1);

void BM_HashStdStringView(benchmark::State &state) {
    // Lengths are known here, which std::hash needs and StrToID does not get.
    const auto &names = ResourceNames();
    std::vector<std::string_view> views(names.begin(), names.end());
    const std::hash<std::string_view> hasher;
    for (auto _ : state)
        for (std::string_view name : views)
            benchmark::DoNotOptimize(hasher(name));
    SetNameCounters(state);
}
BENCHMARK(BM_HashStdStringView);

constexpr int kPieces = 64;

template <class S> void AppendPieces(benchmark::State &state) {
    const auto &names = ResourceNames();
    for (auto _ : state) {
        S text;
        for (int i = 0; i < kPieces; ++i) {
            text.Append(names[static_cast<size_t>(i)].c_str() + 14);
            text.Append(';');
        }
        benchmark::DoNotOptimize(text.GetData());
    }
}

void BM_AppendDynamicString(benchmark::State &state) {
    AppendPieces<TDynamicString>(state);
}
BENCHMARK(BM_AppendDynamicString);

void BM_AppendStatic4096(benchmark::State &state) {
    AppendPieces<TStringInt<TStaticStringAllocationStrategy<4096>>>(state);
}
BENCHMARK(BM_AppendStatic4096);

void BM_AppendStdString(benchmark::State &state) {
    const auto &names = ResourceNames();
    for (auto _ : state) {
        std::string text;
        for (int i = 0; i < kPieces; ++i) {
            text.append(names[static_cast<size_t>(i)].c_str() + 14);
            text.push_back(';');
        }
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(BM_AppendStdString);

/// A line of about 1.5 KB with the needle near its end.
std::string Haystack() {
    std::string text;
    for (const std::string &name : ResourceNames())
        text += name + ' ';
    return text + "needle/in/the/haystack.dds";
}

void BM_FindDynamicString(benchmark::State &state) {
    const TDynamicString text(Haystack().c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(text.FindSubstring("needle/in"));
}
BENCHMARK(BM_FindDynamicString);

void BM_FindStdString(benchmark::State &state) {
    const std::string text = Haystack();
    for (auto _ : state)
        benchmark::DoNotOptimize(text.find("needle/in"));
}
BENCHMARK(BM_FindStdString);

void BM_FindNoCaseDynamicString(benchmark::State &state) {
    const TDynamicString text(Haystack().c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(text.FindSubstring("NEEDLE/in", 0, false));
}
BENCHMARK(BM_FindNoCaseDynamicString);

void BM_CompareDynamicString(benchmark::State &state) {
    const auto &names = ResourceNames();
    std::vector<TDynamicString> left;
    std::vector<TDynamicString> right;
    for (const std::string &name : names) {
        left.emplace_back(name.c_str());
        right.emplace_back((name.substr(0, name.size() - 1) + "x").c_str());
    }
    for (auto _ : state)
        for (size_t i = 0; i < left.size(); ++i)
            benchmark::DoNotOptimize(left[i] == right[i]);
}
BENCHMARK(BM_CompareDynamicString);

void BM_CompareStdString(benchmark::State &state) {
    const auto &names = ResourceNames();
    std::vector<std::string> left(names.begin(), names.end());
    std::vector<std::string> right;
    for (const std::string &name : names)
        right.push_back(name.substr(0, name.size() - 1) + "x");
    for (auto _ : state)
        for (size_t i = 0; i < left.size(); ++i)
            benchmark::DoNotOptimize(left[i] == right[i]);
}
BENCHMARK(BM_CompareStdString);

void BM_CompareNoCaseDynamicString(benchmark::State &state) {
    const auto &names = ResourceNames();
    std::vector<TDynamicString> left;
    std::vector<std::string> right;
    for (const std::string &name : names) {
        left.emplace_back(name.c_str());
        TDynamicString upper(name.c_str());
        upper.UpperCase();
        right.emplace_back(upper.GetData());
    }
    for (auto _ : state)
        for (size_t i = 0; i < left.size(); ++i)
            benchmark::DoNotOptimize(left[i].Compare(right[i].c_str(), false));
}
BENCHMARK(BM_CompareNoCaseDynamicString);

} // namespace

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {
            {"BM_HashStrToID", "BM_HashPlainFnv1", "StrToID / plain FNV-1 loop"},
            {"BM_HashStrToID", "BM_HashStdStringView", "StrToID / std::hash<std::string_view>"},
            {"BM_AppendDynamicString", "BM_AppendStdString", "dynamic string append / std::string"},
            {"BM_AppendStatic4096", "BM_AppendStdString", "static string append / std::string"},
            {"BM_FindDynamicString", "BM_FindStdString", "dynamic string Find / std::string"},
            {"BM_FindNoCaseDynamicString", "BM_FindStdString",
             "dynamic string FindNoCase / std::string find"},
            {"BM_CompareDynamicString", "BM_CompareStdString", "dynamic string == / std::string"},
            {"BM_CompareNoCaseDynamicString", "BM_CompareStdString",
             "dynamic string CompareNoCase / std::string =="},
        });
}
