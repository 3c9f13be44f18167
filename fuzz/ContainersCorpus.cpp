// Writes the seed corpora of the container fuzz targets with the containers' own saves:
// ContainersCorpusTool <corpus-dir>. Its output is committed under fuzz/corpus/; run it
// again after a format change.
#include <cstdio>
#include <random>
#include <string>

#include <sys/stat.h>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Containers/RootMap.h"
#include "Support/ContainerItems.h"

namespace {

using vlib::test::TTestItem;
using vlib::test::TTestLateItem;
constexpr int kSeeds = 24;

/// A map that writes its late items last.
class TSeedMap : public TRootMap {
public:
    void SetOrderLast() { OrderLast({TTestLateItem::GetRuntimeClassStatic()}); }
};

/// Fills `store` with a number of objects and references that vary with `seed`.
void Fill(TRootContainer &store, int seed) {
    std::mt19937 rng{unsigned(seed)};
    const int count = seed % 8 == 0 ? 0 : 1 + seed * 3 % 40;
    for (int i = 0; i < count; ++i) {
        TTestItem *item = (rng() % 4 == 0) ? new TTestLateItem : new TTestItem;
        item->Value = static_cast<int>(rng() % 20001) - 10000;
        item->Weight = static_cast<float>(rng() % 1000) / 8.0f;
        item->Name = (i % 3 == 0) ? "" : (i % 3 == 1 ? "name" : "with spaces = and [brackets]");
        item->Other = i > 0 ? static_cast<int>(rng() % static_cast<unsigned>(i)) : -1;
        store.AddObject(item);
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: ContainersCorpusTool <corpus-dir>\n");
        return 2;
    }
    GetRootContainerBank();
    const char *forms[] = {"ContainerBinary", "ContainerText", "ContainerDeflate"};
    for (int format = 0; format < 3; ++format) {
        const std::string folder = std::string(argv[1]) + "/" + forms[format];
        ::mkdir(folder.c_str(), 0777);
        for (int seed = 0; seed < kSeeds; ++seed) {
            char name[32];
            std::snprintf(name, sizeof name, "/seed-%02d", seed);
            TSeedMap store;
            store.SetIdentifier(seed % 2 ? "Seeds" : "");
            if (seed % 5 == 3)
                store.SetOrderLast();
            Fill(store, seed);
            if (!store.Save((folder + name).c_str(), format, false))
                std::fprintf(stderr, "could not write %s%s\n", folder.c_str(), name);
        }
    }
    return 0;
}
