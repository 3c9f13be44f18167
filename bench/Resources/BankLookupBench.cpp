// Lookup of 100,000 resource ids in a bank's entry map against std::unordered_map holding the
// same ids, both probed in one shuffled order. The bank keeps its entries in an id-ordered
// map because ForEachEntry walks them in that order.
#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "General/Core/StrToID.h"
#include "General/Resources/Detail/ResourceBank.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kCount = 100000;

/// The bank and the ids, made once before any clock starts.
struct TLookupData {
    TLookupData() {
        for (int i = 0; i < kCount; ++i) {
            TResourceBankEntryData record;
            record.Bank = &Bank;
            record.Tag =
                ("textures/set" + std::to_string(i % 97) + "/item" + std::to_string(i)).c_str();
            record.Type = Bank.InternString("TTexture");
            record.Flags = TResourceBankEntryData::kHasSource;
            if (TResourceBankEntry *entry = Bank.InsertEntry(record, nullptr)) {
                const uint32_t id = static_cast<uint32_t>(entry->GetID());
                Ids.push_back(id);
                Peer.emplace(id, entry);
            }
        }
        std::shuffle(Ids.begin(), Ids.end(), std::mt19937(12345));
    }
    TResourceBank Bank;
    std::vector<uint32_t> Ids;
    std::unordered_map<uint32_t, TResourceBankEntry_I *> Peer;
};

TLookupData &Data() {
    static TLookupData data;
    return data;
}

void BankFindEntry(benchmark::State &state) {
    TLookupData &data = Data();
    for (auto _ : state) {
        size_t found = 0;
        for (uint32_t id : data.Ids)
            found += data.Bank.FindEntry(id) != nullptr;
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(data.Ids.size()));
}
BENCHMARK(BankFindEntry)->UseRealTime()->Unit(benchmark::kMillisecond);

void UnorderedMapFind(benchmark::State &state) {
    TLookupData &data = Data();
    for (auto _ : state) {
        size_t found = 0;
        for (uint32_t id : data.Ids)
            found += data.Peer.find(id) != data.Peer.end();
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(data.Ids.size()));
}
BENCHMARK(UnorderedMapFind)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv) {
    (void)Data(); // the data is made before the first clock starts
    return vlib::bench::RunWithRatios(argc, argv,
                                      {{"BankFindEntry/real_time", "UnorderedMapFind/real_time",
                                        "find 100,000 ids: bank / std::unordered_map"}});
}
