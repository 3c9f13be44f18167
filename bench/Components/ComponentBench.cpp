// One frame of a tree of 10,000 active components through TComponentManager::ProcessRoot,
// against the floor of a flat loop that makes one virtual call per component. The summary
// prints the frame's time over the floor's; the "live" counters show what the frames kept.
#include <benchmark/benchmark.h>

#include <string>

#include "General/Components/ComponentManager.h"
#include "General/Core/LibContainers.h"
#include "Support/RatioReporter.h"

namespace {

constexpr int kGroups = 100;
constexpr int kLeavesPerGroup = 99; // with the groups and the root: 10,000 components

// A component whose processing is one counter step, the same work the floor does.
class TBenchComponent : public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TBenchComponent)

public:
    // The floor's call: one virtual call of the same Process the manager reaches.
    void Step() { Process(); }
    long long GetCount() const { return m_Count; }

protected:
    // Kept out of line so that the floor pays a real call, as the manager does.
    __attribute__((noinline)) void Process() override { ++m_Count; }

private:
    long long m_Count = 0;
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TBenchComponent, TComponent);

// A root with kGroups groups, each with its leaves, made in `builder`'s manager; `all`, if
// given, receives them in the order made.
void BuildTree(TComponentTreeBuilder &builder, TLibVector<TBenchComponent *> *all) {
    TComponent *root = builder.Make("TBenchComponent", "root");
    builder.SetRoot(root);
    if (all != nullptr)
        all->push_back(static_cast<TBenchComponent *>(root));
    for (int g = 0; g < kGroups; ++g) {
        const std::string group = "g" + std::to_string(g);
        TComponent *parent = builder.MakeChild(root, "TBenchComponent", group.c_str(), true);
        if (all != nullptr)
            all->push_back(static_cast<TBenchComponent *>(parent));
        for (int l = 0; l < kLeavesPerGroup; ++l) {
            const std::string leaf = group + "l" + std::to_string(l);
            TComponent *child = builder.MakeChild(parent, "TBenchComponent", leaf.c_str(), true);
            if (all != nullptr)
                all->push_back(static_cast<TBenchComponent *>(child));
        }
    }
}

// The tree of the frame benchmarks, built and started once for the whole run.
struct TBenchTree {
    TBenchTree() : builder(manager) {
        BuildTree(builder, &all);
        builder.Start();
    }

    TComponentManager manager;
    TComponentTreeBuilder builder;
    TLibVector<TBenchComponent *> all;
};

TBenchTree &Tree() {
    static TBenchTree tree;
    return tree;
}

void ProcessRoot(benchmark::State &state) {
    TBenchTree &tree = Tree();
    auto &allocator = GetAllocatorInstance();
    tree.manager.ProcessRoot(); // warm
    const size_t blocksBefore = allocator.GetLiveBlocks();
    const unsigned long bytesBefore = allocator.GetTotalAlloc();
    for (auto _ : state)
        tree.manager.ProcessRoot();
    // A frame keeps nothing: the live blocks and bytes of the heap are where they were.
    state.counters["components"] = static_cast<double>(tree.manager.CountComponents());
    state.counters["live blocks+"] =
        static_cast<double>(allocator.GetLiveBlocks()) - static_cast<double>(blocksBefore);
    state.counters["live bytes+"] =
        static_cast<double>(allocator.GetTotalAlloc()) - static_cast<double>(bytesBefore);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(tree.all.size()));
}

void FlatVirtualLoop(benchmark::State &state) {
    TBenchTree &tree = Tree();
    for (auto _ : state) {
        for (TBenchComponent *component : tree.all)
            component->Step();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(tree.all.size()));
}

// The life of the whole tree outside the frame: made, created, initialised, unloaded.
void StartAndUnload(benchmark::State &state) {
    for (auto _ : state) {
        TComponentManager manager;
        TComponentTreeBuilder builder(manager);
        BuildTree(builder, nullptr);
        builder.Start();
        manager.UnloadRootComponents();
    }
    state.SetItemsProcessed(state.iterations() * (1 + kGroups * (1 + kLeavesPerGroup)));
}

BENCHMARK(FlatVirtualLoop);
BENCHMARK(ProcessRoot);
BENCHMARK(StartAndUnload)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {{"ProcessRoot", "FlatVirtualLoop",
          "ProcessRoot / flat loop of one virtual call (10,000 components; goal 2)"}});
}
