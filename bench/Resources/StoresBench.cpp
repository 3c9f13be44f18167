// Benchmarks of the resource stores and rule files: reading every file of a pack of 10,000
// small resources against reading the same files one by one from a directory (and from an
// uncompressed zip through PhysFS), and applying a rule file of 200 rules to 100,000 paths.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <physfs.h>

#include "General/Resources/BankStore.h"
#include "General/Resources/ResourceRuleFile.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kFiles = 10000;

std::string FileName(int i) {
    return "dir" + std::to_string(i % 50) + "/res" + std::to_string(i) + ".dat";
}

std::string FileBytes(int i) {
    return std::string(static_cast<size_t>(64 + (i * 37) % 900), static_cast<char>('a' + i % 26));
}

/// One directory tree, one pack and one stored zip of the same files, made once.
struct TData {
    std::string root;
    std::string tree;
    std::string pack;
    std::string zip;
    std::vector<std::string> names;

    TData() {
        root = (std::filesystem::temp_directory_path() / "vlib-stores-bench").string();
        std::filesystem::remove_all(root);
        tree = root + "/tree/";
        pack = root + "/pack";
        zip = root + "/files.zip";
        std::filesystem::create_directories(root);
        TBankPackedFile packed;
        (void)packed.Create(pack.c_str()); // failure shows as empty reads below
        for (int i = 0; i < kFiles; ++i) {
            names.push_back(FileName(i));
            const std::string bytes = FileBytes(i);
            std::filesystem::create_directories(tree + "dir" + std::to_string(i % 50));
            std::ofstream(tree + names.back(), std::ios::binary) << bytes;
            TFileObj *file = packed.OpenFile(TDynamicString(names.back().c_str()), 4);
            if (file != nullptr) {
                (void)file->Write(bytes.data(), static_cast<int>(bytes.size()));
                packed.CloseFile(file);
            }
        }
        (void)packed.Close();
        // A stored (uncompressed) zip of the tree, written by the system's zip tool.
        const std::string command = "cd " + tree + " && zip -q -0 -r " + zip + " .";
        if (std::system(command.c_str()) != 0)
            zip.clear();
    }
};

TData &Data() {
    static TData data;
    return data;
}

void PackReadAll(benchmark::State &state) {
    TData &data = Data();
    std::vector<char> buffer(4096);
    TBankPackedFile pack;
    if (!pack.Open(data.pack.c_str(), true)) {
        state.SkipWithError("pack did not open");
        return;
    }
    for (auto _ : state) {
        size_t total = 0;
        for (const std::string &name : data.names) {
            TFileObj *file = pack.OpenFile(TDynamicString(name.c_str()), 2);
            total += static_cast<size_t>(file->Read(buffer.data(), file->Length()));
            pack.CloseFile(file);
        }
        benchmark::DoNotOptimize(total);
    }
    (void)pack.Close();
    state.SetItemsProcessed(state.iterations() * kFiles);
}

void DirectoryReadAll(benchmark::State &state) {
    TData &data = Data();
    std::vector<char> buffer(4096);
    TBankDirectory tree;
    (void)tree.Open(data.tree.c_str(), true);
    for (auto _ : state) {
        size_t total = 0;
        for (const std::string &name : data.names) {
            TFileObj *file = tree.OpenFile(TDynamicString(name.c_str()), 2);
            total += static_cast<size_t>(file->Read(buffer.data(), file->Length()));
            tree.CloseFile(file);
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

void PhysFSZipReadAll(benchmark::State &state) {
    TData &data = Data();
    if (data.zip.empty() || PHYSFS_init(nullptr) == 0 ||
        PHYSFS_mount(data.zip.c_str(), nullptr, 0) == 0) {
        state.SkipWithError("no zip");
        return;
    }
    std::vector<char> buffer(4096);
    for (auto _ : state) {
        size_t total = 0;
        for (const std::string &name : data.names) {
            PHYSFS_File *file = PHYSFS_openRead(name.c_str());
            const PHYSFS_sint64 length = PHYSFS_fileLength(file);
            total += static_cast<size_t>(
                PHYSFS_readBytes(file, buffer.data(), static_cast<PHYSFS_uint64>(length)));
            PHYSFS_close(file);
        }
        benchmark::DoNotOptimize(total);
    }
    PHYSFS_deinit();
    state.SetItemsProcessed(state.iterations() * kFiles);
}

/// 200 rules of the kinds a game's rule file holds, over 100,000 paths.
void RuleFileQuery(benchmark::State &state) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        const std::string ext = "e" + std::to_string(i);
        switch (i % 4) {
        case 0:
            text += "PATHRULE \"...<*>." + ext + "\" :" + std::to_string(i % 3) +
                    " tag=\"$1\" type=\"T" + ext + "\"\n";
            break;
        case 1:
            text += "PATHRULE \"dir*/<*>." + ext + "\" tag=\"$1\" donotcompile=\"true\"\n";
            break;
        case 2:
            text += "PATHRULE \"\"textures/(\\w+)_" + ext + "\\.tga\"\" :5 tag=\"$1\"\n";
            break;
        default:
            text += "PATHRULE \"data/....." + ext + "\" sourcefiletype=\"TRaw\"\n";
            break;
        }
    }
    TResourceRuleFile rules("PATHRULE");
    rules.LoadText(text.data(), text.size());
    std::vector<TDynamicString> paths;
    for (int i = 0; i < 100000; ++i)
        paths.emplace_back(("data/dir" + std::to_string(i % 50) + "/file" + std::to_string(i) +
                            ".e" + std::to_string(i % 250))
                               .c_str());
    size_t matched = 0;
    for (auto _ : state) {
        for (const TDynamicString &path : paths) {
            TLibVector<TParameterList> out;
            (void)rules.Query(path, out, nullptr); // always true
            matched += out.size();
        }
    }
    benchmark::DoNotOptimize(matched);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(paths.size()));
    state.counters["paths/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * 100000.0, benchmark::Counter::kIsRate);
}

BENCHMARK(PackReadAll)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DirectoryReadAll)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(PhysFSZipReadAll)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(RuleFileQuery)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

} // namespace

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(argc, argv,
                                      {{"PackReadAll/real_time", "DirectoryReadAll/real_time",
                                        "read 10,000 files: pack / directory"},
                                       {"PackReadAll/real_time", "PhysFSZipReadAll/real_time",
                                        "read 10,000 files: pack / PhysFS stored zip"}});
}
