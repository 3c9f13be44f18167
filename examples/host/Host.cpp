// The demo host: drives the library the way a game does. It builds a small component tree in
// code (a clock, a spinner processed three times a frame, a logger that depends on the clock),
// runs it for a number of frames and shows what ran, in which order, and how long it took.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "General/Components/ComponentManager.h"
#include "General/Core/LibAllocator.h"
#include "General/Platform/Time.h"

namespace {

std::string initialisationOrder;
std::string destructionOrder;

void Note(std::string &list, const TComponent &component) {
    list += (list.empty() ? "" : " -> ") + std::string(component.GetName().GetData());
}

// Counts its frames and notes its initialisation and destruction.
class TDemoComponent : public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TDemoComponent)

public:
    int GetCalls() const { return m_Calls; }

protected:
    void Initialise() override {
        TComponent::Initialise();
        Note(initialisationOrder, *this);
    }
    void Destroy() override { Note(destructionOrder, *this); }
    void Process() override { ++m_Calls; }

private:
    int m_Calls = 0;
};

// The game clock: reads the process clock once a frame.
class TDemoClock : public TDemoComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TDemoClock)

public:
    TTime GetNow() const { return m_Now; }

protected:
    void Process() override {
        TDemoComponent::Process();
        m_Now = GetTimeNow();
    }

private:
    TTime m_Now;
};

// Turns by a fixed step, three times a frame.
class TDemoSpinner : public TDemoComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TDemoSpinner)

public:
    int GetDegrees() const { return m_Degrees; }

protected:
    int GetProcessCount() override { return 3; }
    void Process() override {
        TDemoComponent::Process();
        m_Degrees = (m_Degrees + 7) % 360;
    }

private:
    int m_Degrees = 0;
};

// Reports progress every so many frames; it reads the clock, so it depends on it.
class TDemoLogger : public TDemoComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TDemoLogger)

public:
    TDemoClock *clock = nullptr;     // not owned
    TDemoSpinner *spinner = nullptr; // not owned
    int every = 25;

protected:
    void Process() override {
        TDemoComponent::Process();
        if (GetCalls() % every == 0)
            std::printf("  frame %4d: clock at %8lld us, spinner at %3d degrees\n", GetCalls(),
                        clock->GetNow().GetInt64MicroSeconds(), spinner->GetDegrees());
    }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoComponent, TComponent);
VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoClock, TDemoComponent);
VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoSpinner, TDemoComponent);
VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoLogger, TDemoComponent);

} // namespace

int main(int argc, char **argv) {
    const std::string data = argc > 1 ? argv[1] : "examples/data";
    const int frames = argc > 2 ? std::atoi(argv[2]) : 100;
    std::printf("VLibBase demo host, sample data in %s\n", data.c_str());
    (void)GetTimeNow(); // the process clock lives until exit: make it before counting blocks
    const size_t blocksAtStart = GetAllocatorInstance().GetLiveBlocks();

    auto *manager = new TComponentManager;
    {
        // Definition files are not read by this build yet; the same tree is built in code.
        manager->UseDirectory((data + "/").c_str());
        std::fflush(stdout); // keep the order of our lines and the library's debugger text
        if (manager->LoadRootComponents("Main.xml")) {
            std::printf("loaded the tree from %s/Main.xml\n", data.c_str());
        } else {
            std::printf("no definitions read from %s: building the tree in code\n", data.c_str());
            TComponentTreeBuilder builder(*manager);
            TComponent *app = builder.Make("TDemoComponent", "app");
            builder.SetRoot(app);
            auto *logger =
                static_cast<TDemoLogger *>(builder.MakeChild(app, "TDemoLogger", "logger", true));
            TComponent *world = builder.MakeChild(app, "TDemoComponent", "world", true);
            auto *clock =
                static_cast<TDemoClock *>(builder.MakeChild(world, "TDemoClock", "clock", true));
            auto *spinner = static_cast<TDemoSpinner *>(
                builder.MakeChild(world, "TDemoSpinner", "spinner", true));
            // A child that is not on its parent's active list: it exists but never runs.
            builder.MakeChild(world, "TDemoSpinner", "parked", false);
            builder.AddDependency(logger, clock);
            logger->clock = clock;
            logger->spinner = spinner;
            if (!builder.Start()) {
                std::printf("start aborted\n");
                return 1;
            }
        }
    }

    std::printf("initialisation order: %s\n", initialisationOrder.c_str());
    std::printf("running %d frames\n", frames);
    TStopWatch watch;
    watch.Start();
    for (int frame = 0; frame < frames; ++frame)
        manager->ProcessRoot();
    const TTime took = watch.Stop();

    std::printf("process calls:\n");
    for (int i = 0; i < manager->CountComponents(); ++i) {
        auto *component = static_cast<TDemoComponent *>(manager->GetComponent(i));
        std::printf("  %-8s %5d (%.1f a frame)\n", component->GetName().GetData(),
                    component->GetCalls(),
                    frames > 0 ? static_cast<double>(component->GetCalls()) / frames : 0.0);
    }
    std::printf("%d frames took %.3f ms, %.2f us a frame\n", frames, took.GetDoubleSeconds() * 1e3,
                frames > 0 ? took.GetDoubleSeconds() * 1e6 / frames : 0.0);

    manager->UnloadRootComponents();
    delete manager;
    std::printf("destruction order: %s\n", destructionOrder.c_str());
    std::printf("library heap: %zu blocks live at start, %zu at the end\n", blocksAtStart,
                GetAllocatorInstance().GetLiveBlocks());
    return 0;
}
