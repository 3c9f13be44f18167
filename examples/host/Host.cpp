// The demo host: drives the library the way a game does. It reads its settings through
// TConfigInfo from the data folder's demo.ini, under "--cfg Section Key Value" overrides from
// its own command line, builds a small component tree in code (a clock, a spinner processed
// several times a frame, a logger that depends on the clock), runs it for a number of frames
// and reports what ran, in which order, and how long it took; then it round-trips a few
// containers through their file forms and takes a small resource tree through banks, the
// importer thread and compiled files. Every report line is sent as a
// notification; a console listener prints it.
#include "ContainerDemo.h"
#include "ResourceDemo.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "General/Components/ComponentManager.h"
#include "General/Config/CommandLine.h"
#include "General/Config/ConfigInfo.h"
#include "General/Core/LibAllocator.h"
#include "General/Diagnostics/DebugLogger.h"
#include "General/Diagnostics/Notification.h"
#include "General/Platform/Time.h"

namespace {

// One line of the demo's report, sent to whoever listens.
struct TDemoReport {
    const char *text;
};

// Prints every report it is sent.
class TDemoConsole {
public:
    void OnReport(TDemoReport &report) { std::printf("%s\n", report.text); }
};

void SendReport(const char *format, ...) __attribute__((format(printf, 1, 2)));
void SendReport(const char *format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    TDemoReport report{line};
    SendNotification(report);
}

// The demo's own settings, as read from demo.ini.
struct TDemoSettings {
    std::string title = "VLibBase demo";
    int frames = 100;
    int every = 25;
    int step = 7;
    int processCount = 3;
};

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
    int step = 7;
    int processCount = 3;

protected:
    int GetProcessCount() override { return processCount; }
    void Process() override {
        TDemoComponent::Process();
        m_Degrees = ((m_Degrees + step) % 360 + 360) % 360;
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
        if (every > 0 && GetCalls() % every == 0)
            SendReport("  frame %4d: clock at %8lld us, spinner at %3d degrees", GetCalls(),
                       clock->GetNow().GetInt64MicroSeconds(), spinner->GetDegrees());
    }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoComponent, TComponent);
VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoClock, TDemoComponent);
VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoSpinner, TDemoComponent);
VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoLogger, TDemoComponent);

// The demo's own settings; what neither demo.ini nor the command line gives keeps the value
// written here.
TDemoSettings ReadSettings(TConfigInfo &config) {
    TDemoSettings settings;
    config.BeginSectionRead("Demo");
    settings.title = config.ReadString("Title", "VLibBase demo").GetData();
    settings.frames = config.ReadInt("Frames", "100");
    config.BeginSectionRead("Logger");
    settings.every = config.ReadInt("Every", "25");
    config.BeginSectionRead("Spinner");
    settings.step = config.ReadInt("Step", "7");
    settings.processCount = config.ReadInt("ProcessCount", "3");
    return settings;
}

} // namespace

int main(int argc, char **argv) {
    const std::string data = argc > 1 ? argv[1] : "examples/data";
    TDemoConsole console;
    (void)SubscribeNotification(&console, &TDemoConsole::OnReport, 1);

    const std::string iniFile = data + "/demo.ini";
    const TDynamicString commandLine = TCommandLine::Join(argc > 2 ? argc - 2 : 0, argv + 2);
    auto *config = new TConfigInfo(TDynamicString(iniFile.c_str()), commandLine);
    const TDemoSettings settings = ReadSettings(*config);
    const int frames = settings.frames;
    SendReport("%s, sample data in %s", settings.title.c_str(), data.c_str());
    SendReport("settings from %s", config->GetConfigFile()->GetName().GetData());
    SendReport("resource path %s, debug output in %s", config->ResourcePath.GetData(),
               config->DebugOutputPath.GetData());
    if (config->GetDebugLogger() != nullptr)
        SendReport("debug log %s (%s)", config->GetDebugLogger()->GetFilename().GetData(),
                   config->GetDebugLogger()->IsOpen() ? "open" : "could not be opened");
    (void)GetTimeNow(); // the process clock lives until exit: make it before counting blocks
    const size_t blocksAtStart = GetAllocatorInstance().GetLiveBlocks();

    auto *manager = new TComponentManager;
    {
        // Definition files are not read by this build yet; the same tree is built in code.
        manager->UseDirectory((data + "/").c_str());
        std::fflush(stdout); // keep the order of our lines and the library's debugger text
        if (manager->LoadRootComponents("Main.xml")) {
            SendReport("loaded the tree from %s/Main.xml", data.c_str());
        } else {
            SendReport("no definitions read from %s: building the tree in code", data.c_str());
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
            logger->every = settings.every;
            spinner->step = settings.step;
            spinner->processCount = settings.processCount;
            if (!builder.Start()) {
                SendReport("start aborted");
                return 1;
            }
        }
    }

    SendReport("initialisation order: %s", initialisationOrder.c_str());
    SendReport("running %d frames", frames);
    TStopWatch watch;
    watch.Start();
    for (int frame = 0; frame < frames; ++frame)
        manager->ProcessRoot();
    const TTime took = watch.Stop();

    SendReport("process calls:");
    for (int i = 0; i < manager->CountComponents(); ++i) {
        auto *component = static_cast<TDemoComponent *>(manager->GetComponent(i));
        SendReport("  %-8s %5d (%.1f a frame)", component->GetName().GetData(),
                   component->GetCalls(),
                   frames > 0 ? static_cast<double>(component->GetCalls()) / frames : 0.0);
    }
    SendReport("%d frames took %.3f ms, %.2f us a frame", frames, took.GetDoubleSeconds() * 1e3,
               frames > 0 ? took.GetDoubleSeconds() * 1e6 / frames : 0.0);

    manager->UnloadRootComponents();
    delete manager;
    SendReport("destruction order: %s", destructionOrder.c_str());
    SendReport("library heap: %zu blocks live at start, %zu at the end", blocksAtStart,
               GetAllocatorInstance().GetLiveBlocks());

    // Container files go beside the debug log, out of the sample data folder.
    const std::string outDir = config->DebugOutputPath.GetData();
    SendReport("containers: saving and loading under %s", outDir.c_str());
    std::fflush(stdout);
    const int containers = RunContainerDemo(data.c_str(), outDir.c_str());
    std::fflush(stdout);
    const int resources = RunResourceDemo(data.c_str(), outDir.c_str());
    delete config;
    UnsubscribeNotification<TDemoReport>(1);
    return containers != 0 ? containers : resources;
}
