// Benchmarks of resource imports through the manager: 10,000 small container files in a pack,
// loaded from their text sources, from the binary compiled files that autocompile wrote into a
// second pack, and from those compiled files on the importer thread while the main thread
// polls as a frame loop would (time to the first resource and the main thread's longest stall).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "General/Containers/RootContainerBank.h"
#include "General/Core/RootObject.h"
#include "General/Core/RuntimeClass.h"
#include "General/Resources/AsyncImporter.h"
#include "General/Resources/BankStore.h"
#include "General/Resources/ResourceAdaptors.h"
#include "General/Resources/ResourceBank.h"
#include "General/Resources/ResourceManager.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/IOAdapter.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kResources = 10000;
using TClock = std::chrono::steady_clock;

/// A small game object: what the container files hold.
class TBenchProp : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TBenchProp)
public:
    TStringInt<TDynamicStringAllocationStrategy> Name;
    float X = 0, Y = 0, Z = 0;
    int Kind = 0;

    TError ReadBinary(TFileObj &file) override { return Stream(TIOAdapter(&file, false)); }
    TError WriteBinary(TFileObj &file) override { return Stream(TIOAdapter(&file, true)); }
    TError ReadAscii(TAsciiInFilter &filter) override { return Stream(TIOAdapter(&filter)); }
    TError WriteAscii(TAsciiOutFilter &filter) override { return Stream(TIOAdapter(&filter)); }

private:
    TError Stream(TIOAdapter &&adapter) {
        adapter.StreamString(Name, "Name");
        adapter.StreamFloat(X, "X");
        adapter.StreamFloat(Y, "Y");
        adapter.StreamFloat(Z, "Z");
        adapter.StreamInt(Kind, "Kind");
        return adapter.IsBad() ? TError::kFailure : TError::kSuccess;
    }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TBenchProp, TRootObject);

std::string Tag(int i) {
    return "r" + std::to_string(i);
}

/// The text form of container `i`: a few props, identified by the tag.
std::string Source(int i) {
    TRootMapResource map;
    map.SetIdentifier(Tag(i).c_str());
    for (int k = 0; k < 4 + i % 5; ++k) {
        auto *prop = new TBenchProp;
        prop->Name = ("prop" + std::to_string(k)).c_str();
        prop->X = static_cast<float>(i + k);
        prop->Y = static_cast<float>(k) * 0.5f;
        prop->Kind = i % 7;
        map.AddObject(prop);
    }
    TManagedFileBuf file;
    if (!file.Open(4, 0) || !map.SaveAscii(&file))
        return {};
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                       static_cast<size_t>(file.Length()));
}

/// The pack of sources, the rules, and a bank whose second store holds the compiled files
/// that a first import of everything wrote. Made once, closed at exit.
struct TData {
    std::string root;
    std::vector<std::string> tags;
    TResourceBank_I *bank = nullptr;
    bool ok = false;

    TData() {
        root = (std::filesystem::temp_directory_path() / "vlib-import-bench").string();
        std::filesystem::remove_all(root);
        std::filesystem::create_directories(root);
        std::ofstream(root + "/rules.rre")
            << "PATHRULE \"...<*>.rc\" tag=\"$1\" type=\"TRootContainerImporter\"\n";
        GetRootContainerBank();
        TBankPackedFile pack;
        if (!pack.Create((root + "/sources").c_str()))
            return;
        for (int i = 0; i < kResources; ++i) {
            tags.push_back(Tag(i));
            const std::string path = "./d" + std::to_string(i % 50) + "/" + Tag(i) + ".rc";
            TFileObj *file = pack.OpenFile(TDynamicString(path.c_str()), 4);
            if (file == nullptr)
                return;
            const std::string bytes = Source(i);
            if (bytes.empty())
                return;
            (void)file->Write(bytes.data(), static_cast<int>(bytes.size()));
            pack.CloseFile(file);
        }
        if (!pack.Close())
            return;
        TResourceManager_I &manager = GetResourceManager();
        (void)manager.AddFactory(&TRootContainerImporter::mFactory);
        manager.SetUseSourceResources(true);
        manager.SetUsePrecompiledResources(true);
        manager.SetCheckDependencies(0);
        manager.SetStoreAutocompiledResources(true);
        manager.Initialise();
        bank = manager.OpenBank(1, (root + "/sources.vrb").c_str(), (root + "/rules.rre").c_str(),
                                true, TDynamicString());
        if (bank == nullptr || !bank->SetSecondStore(1, (root + "/compiled.vrb").c_str()))
            return;
        ok = true;
        for (const std::string &tag : tags) {
            TResource *resource = manager.ImportResource(tag.c_str(), 0);
            ok = ok && resource != nullptr;
            if (resource != nullptr)
                manager.ReleaseResource(resource);
        }
        manager.SetStoreAutocompiledResources(false);
    }
    ~TData() {
        GetResourceManager().Shutdown();
        std::error_code error;
        std::filesystem::remove_all(root, error);
    }
};

TData &Data() {
    static TData data;
    return data;
}

/// Imports every resource synchronously and releases them; false if one failed.
bool ImportAll(const TData &data) {
    TResourceManager_I &manager = GetResourceManager();
    std::vector<TResource *> loaded;
    loaded.reserve(data.tags.size());
    bool ok = true;
    for (const std::string &tag : data.tags) {
        TResource *resource = manager.ImportResource(tag.c_str(), 0);
        ok = ok && resource != nullptr;
        if (resource != nullptr)
            loaded.push_back(resource);
    }
    for (TResource *resource : loaded)
        manager.ReleaseResource(resource);
    return ok;
}

void RunSync(benchmark::State &state, bool compiled) {
    TData &data = Data();
    if (!data.ok) {
        state.SkipWithError("the resource tree could not be made");
        return;
    }
    GetResourceManager().SetUsePrecompiledResources(compiled);
    for (auto _ : state) {
        if (!ImportAll(data)) {
            state.SkipWithError("an import failed");
            break;
        }
    }
    state.counters["resources/s"] =
        benchmark::Counter(kResources, benchmark::Counter::kIsIterationInvariantRate);
    GetResourceManager().SetUsePrecompiledResources(true);
}

void ImportFromSources(benchmark::State &state) {
    RunSync(state, false);
}

void ImportFromCompiled(benchmark::State &state) {
    RunSync(state, true);
}

/// Queues every import on the worker; the main thread goes on polling the queue as a frame
/// loop would, and the gaps between its polls are its stalls.
void ImportAsynchronously(benchmark::State &state) {
    TData &data = Data();
    if (!data.ok) {
        state.SkipWithError("the resource tree could not be made");
        return;
    }
    TResourceManager_I &manager = GetResourceManager();
    double firstMs = 0, stallMs = 0;
    for (auto _ : state) {
        std::vector<TResource *> queued;
        queued.reserve(data.tags.size());
        const TClock::time_point start = TClock::now();
        TClock::time_point last = start;
        TClock::duration longest{};
        TClock::duration first{};
        bool seenFirst = false;
        auto poll = [&] {
            const TClock::time_point now = TClock::now();
            longest = std::max(longest, now - last);
            last = now;
            const size_t waiting = TAsyncImporter::GetQueueLength();
            const bool busy = TAsyncImporter::GetCurrentAsyncResource() != 0;
            if (!seenFirst && queued.size() > waiting + (busy ? 1 : 0)) {
                seenFirst = true;
                first = now - start;
            }
            return waiting == 0 && !busy;
        };
        // A frame queues a hundred imports, then polls.
        for (size_t i = 0; i < data.tags.size(); ++i) {
            if (TResource *resource = manager.ImportResource(data.tags[i].c_str(), kImportAsync))
                queued.push_back(resource);
            if (i % 100 == 99)
                (void)poll();
        }
        while (!poll())
            std::this_thread::yield();
        for (TResource *resource : queued)
            manager.ReleaseResource(resource);
        firstMs += std::chrono::duration<double, std::milli>(first).count();
        stallMs = std::max(stallMs, std::chrono::duration<double, std::milli>(longest).count());
    }
    state.counters["resources/s"] =
        benchmark::Counter(kResources, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["first_ms"] = firstMs / static_cast<double>(state.iterations());
    state.counters["longest_stall_ms"] = stallMs;
}

} // namespace

BENCHMARK(ImportFromSources)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ImportFromCompiled)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ImportAsynchronously)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {{"ImportFromCompiled/real_time", "ImportFromSources/real_time",
          "import 10,000 container files: compiled / source"},
         {"ImportAsynchronously/real_time", "ImportFromCompiled/real_time",
          "import 10,000 container files: on the importer thread / synchronously"}});
}
