// Saves and loads one object graph (small objects of two classes: ints, floats, strings and
// references by id) in binary form with our containers, cereal's binary archive and
// Boost.Serialization's binary archive, and in text form against cereal's JSON archive.
// Reports time per run, file size and peak resident memory, and our time over each peer's.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/archives/json.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Core/RuntimeClass.h"
#include "General/Streams/IOAdapter.h"
#include "Support/ContainerItems.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kObjects = 1000000;

/// The plain record of the peers: the same fields as our objects.
struct TPlain {
    int Kind = 0;
    int Count = 0;
    float Weight = 0;
    std::string Name;
    int Other = -1;

    template <class A> void serialize(A &archive) { archive(Kind, Count, Weight, Name, Other); }
};

} // namespace

namespace boost::serialization {
template <class A> void serialize(A &archive, TPlain &p, unsigned) {
    archive &p.Kind &p.Count &p.Weight &p.Name &p.Other;
}
} // namespace boost::serialization

namespace {

using vlib::test::TTestItem;
using vlib::test::TTestLateItem;

std::vector<TPlain> MakePlain() {
    std::vector<TPlain> plain(kObjects);
    for (int i = 0; i < kObjects; ++i) {
        plain[i].Kind = i % 3;
        plain[i].Count = i * 7;
        plain[i].Weight = static_cast<float>(i) * 0.25f;
        plain[i].Name = "object " + std::to_string(i % 1000);
        plain[i].Other = (i * 31 + 7) % kObjects;
    }
    return plain;
}

const std::vector<TPlain> &Plain() {
    static const std::vector<TPlain> plain = MakePlain();
    return plain;
}

void FillOurs(TRootContainer &store) {
    for (const TPlain &p : Plain()) {
        // Our objects carry the kind as their class: the first kind one, the others another.
        TTestItem *item = p.Kind == 0 ? new TTestItem : new TTestLateItem;
        item->Value = p.Count;
        item->Weight = p.Weight;
        item->Name = p.Name.c_str();
        item->Other = p.Other;
        store.AddObject(item);
    }
}

std::string TempPath(const char *name) {
    return "/tmp/vlib-containerbench-" + std::to_string(::getpid()) + "-" + name;
}

long FileSize(const std::string &path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return static_cast<long>(in.tellg());
}

double PeakMB() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void Finish(benchmark::State &state, const std::string &path) {
    state.counters["objects"] = kObjects;
    state.counters["file_MB"] = static_cast<double>(FileSize(path)) / 1e6;
    state.counters["peak_rss_MB"] = PeakMB();
}

void OursSave(benchmark::State &state, int format, const char *name) {
    GetRootContainerBank();
    TRootHash store;
    FillOurs(store);
    const std::string path = TempPath(name);
    for (auto _ : state) {
        if (!store.Save(path.c_str(), format, false))
            state.SkipWithError("save failed");
    }
    Finish(state, path);
}

void OursLoad(benchmark::State &state, int format, const char *name) {
    GetRootContainerBank();
    const std::string path = TempPath(name);
    {
        TRootHash store;
        FillOurs(store);
        (void)store.Save(path.c_str(), format, false);
    }
    for (auto _ : state) {
        TRootHash store;
        if (!store.Load(path.c_str(), format, true) || store.Size() != kObjects)
            state.SkipWithError("load failed");
        state.PauseTiming();
        store.DeleteAll();
        state.ResumeTiming();
    }
    Finish(state, path);
}

template <class Out> void PeerSave(benchmark::State &state, const char *name) {
    const std::string path = TempPath(name);
    for (auto _ : state) {
        std::ofstream file(path, std::ios::binary);
        Out archive(file);
        archive(Plain());
    }
    Finish(state, path);
}

template <class Out, class In> void PeerLoad(benchmark::State &state, const char *name) {
    const std::string path = TempPath(name);
    {
        std::ofstream file(path, std::ios::binary);
        Out archive(file);
        archive(Plain());
    }
    for (auto _ : state) {
        std::vector<TPlain> loaded;
        {
            std::ifstream file(path, std::ios::binary);
            In archive(file);
            archive(loaded);
        }
        if (loaded.size() != static_cast<size_t>(kObjects))
            state.SkipWithError("load failed");
    }
    Finish(state, path);
}

void BoostSave(benchmark::State &state) {
    const std::string path = TempPath("boost");
    for (auto _ : state) {
        std::ofstream file(path, std::ios::binary);
        boost::archive::binary_oarchive archive(file);
        archive << Plain();
    }
    Finish(state, path);
}

void BoostLoad(benchmark::State &state) {
    const std::string path = TempPath("boost");
    {
        std::ofstream file(path, std::ios::binary);
        boost::archive::binary_oarchive archive(file);
        archive << Plain();
    }
    for (auto _ : state) {
        std::vector<TPlain> loaded;
        std::ifstream file(path, std::ios::binary);
        boost::archive::binary_iarchive archive(file);
        archive >> loaded;
    }
    Finish(state, path);
}

void CerealBinarySave(benchmark::State &state) {
    PeerSave<cereal::BinaryOutputArchive>(state, "cereal.bin");
}
void CerealBinaryLoad(benchmark::State &state) {
    PeerLoad<cereal::BinaryOutputArchive, cereal::BinaryInputArchive>(state, "cereal.bin");
}
void CerealJsonSave(benchmark::State &state) {
    PeerSave<cereal::JSONOutputArchive>(state, "cereal.json");
}
void CerealJsonLoad(benchmark::State &state) {
    PeerLoad<cereal::JSONOutputArchive, cereal::JSONInputArchive>(state, "cereal.json");
}
void OursBinarySave(benchmark::State &state) {
    OursSave(state, 0, "ours.bin");
}
void OursBinaryLoad(benchmark::State &state) {
    OursLoad(state, 0, "ours.bin");
}
void OursTextSave(benchmark::State &state) {
    OursSave(state, 1, "ours.txt");
}
void OursTextLoad(benchmark::State &state) {
    OursLoad(state, 1, "ours.txt");
}

} // namespace

// Each runs a fixed number of times: one run handles a million objects.
BENCHMARK(OursBinarySave)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(CerealBinarySave)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BoostSave)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(OursBinaryLoad)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(CerealBinaryLoad)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BoostLoad)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(OursTextSave)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(CerealJsonSave)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(OursTextLoad)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(CerealJsonLoad)->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {{"OursBinarySave/iterations:2", "CerealBinarySave/iterations:2", "binary save vs cereal"},
         {"OursBinaryLoad/iterations:2", "CerealBinaryLoad/iterations:2", "binary load vs cereal"},
         {"OursBinarySave/iterations:2", "BoostSave/iterations:2", "binary save vs Boost"},
         {"OursBinaryLoad/iterations:2", "BoostLoad/iterations:2", "binary load vs Boost"},
         {"OursTextSave/iterations:1", "CerealJsonSave/iterations:1", "text save vs cereal JSON"},
         {"OursTextLoad/iterations:1", "CerealJsonLoad/iterations:1", "text load vs cereal JSON"}});
}
