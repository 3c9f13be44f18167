// The container demonstration: a small object graph of two classes with references between
// them goes through every file form and back, and a container of 50,000 objects loads under
// a text progress bar fed by the containers' tick and report callbacks.
#include "ContainerDemo.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Containers/RootMap.h"
#include "General/Containers/RootObjectRef.h"
#include "General/Core/RuntimeClass.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileObj.h"
#include "General/Streams/IOAdapter.h"

namespace {

/// A named point with a link to another point.
class TDemoPoint : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TDemoPoint)
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;
    TString Name;
    float X = 0, Y = 0;
    TRootObjectRefBase Next;

    TError ReadBinary(TFileObj &file) override {
        TIOAdapter adapter(&file, false);
        Stream(adapter);
        return Next.ReadBinary(file);
    }
    TError WriteBinary(TFileObj &file) override {
        TIOAdapter adapter(&file, true);
        Stream(adapter);
        return Next.WriteBinary(file);
    }
    TError ReadAscii(TAsciiInFilter &filter) override {
        TIOAdapter adapter(&filter);
        Stream(adapter);
        return Next.ReadAscii(filter, "Next");
    }
    TError WriteAscii(TAsciiOutFilter &filter) override {
        TIOAdapter adapter(&filter);
        Stream(adapter);
        return Next.WriteAscii(filter, "Next");
    }

    /// One line that shows every field, for comparing before and after.
    std::string Describe() {
        char line[160];
        TRootObject *next = Next.Get();
        std::snprintf(line, sizeof line, "%d %s (%.2f, %.2f) -> %d", GetID(), Name.GetData(),
                      static_cast<double>(X), static_cast<double>(Y),
                      next != nullptr ? next->GetID() : -1);
        return line;
    }

private:
    void Stream(TIOAdapter &adapter) {
        adapter.StreamString(Name, "Name");
        adapter.StreamFloat(X, "X");
        adapter.StreamFloat(Y, "Y");
    }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoPoint, TRootObject);

std::string DescribeAll(TRootContainer &container) {
    std::string text;
    for (int id = 0; id < container.Size(); ++id) {
        if (auto *point = static_cast<TDemoPoint *>(container.GetObject(id)))
            text += point->Describe() + "\n";
    }
    return text;
}

void FillPoints(TRootContainer &container, int count) {
    for (int i = 0; i < count; ++i) {
        auto *point = new TDemoPoint;
        char name[32];
        std::snprintf(name, sizeof name, "point %d", i);
        point->Name = name;
        point->X = static_cast<float>(i) * 0.5f;
        point->Y = static_cast<float>(count - i);
        container.AddObject(point);
    }
    for (int i = 0; i < count; ++i)
        static_cast<TDemoPoint *>(container.GetObject(i))
            ->Next.Set(container.GetObject((i + 1) % count));
}

int g_Ticks = 0;
int g_Total = 1;

void DrawBar() {
    if (++g_Ticks % 4000 != 0 && g_Ticks != g_Total)
        return;
    const int filled = static_cast<int>(40LL * g_Ticks / g_Total);
    std::printf("\r[%-40.*s] %3d%%", filled, "########################################",
                static_cast<int>(100LL * g_Ticks / g_Total));
    std::fflush(stdout);
}

void PrintStage(const char *format, ...) {
    va_list args;
    va_start(args, format);
    std::printf("\n  ");
    std::vprintf(format, args);
    va_end(args);
}

} // namespace

int RunContainerDemo(const char *dataDir, const char *outDir) {
    (void)dataDir;
    GetRootContainerBank();
    int failures = 0;
    const char *forms[] = {"binary", "text", "deflate"};
    for (int format = 0; format < 3; ++format) {
        const std::string path = std::string(outDir) + "/demo-points." + forms[format];
        std::string before;
        {
            TRootMap points;
            points.SetIdentifier("DemoPoints");
            points.RegisterMe(); // binary references store the container id of the bank
            FillPoints(points, 5);
            before = DescribeAll(points);
            if (!points.Save(path.c_str(), format, false))
                ++failures;
        }
        TRootMap loaded;
        const bool ok = static_cast<bool>(loaded.Load(path.c_str(), format, false));
        const bool same = ok && DescribeAll(loaded) == before;
        std::printf("%-8s %s: %s\n", forms[format], path.c_str(),
                    same ? "loaded back unchanged" : "CHANGED OR FAILED");
        failures += same ? 0 : 1;
        loaded.DeRegisterMe();
    }
    const int count = 50000;
    const std::string big = std::string(outDir) + "/demo-many.binary";
    {
        TRootHash many;
        many.SetIdentifier("DemoMany");
        many.RegisterMe();
        FillPoints(many, count);
        if (!many.Save(big.c_str(), 0, false))
            ++failures;
    }
    std::printf("Loading %d objects:", count);
    TLibVector<TRootContainer *> containers;
    TLibVector<TRootContainer::TString> files{big.c_str()};
    TRootHash many;
    containers.push_back(&many);
    g_Ticks = 0;
    g_Total = 2 * count; // headers and data
    TRootContainer::TickCallback = DrawBar;
    TRootContainer::ReportCallback = PrintStage;
    const bool loaded = static_cast<bool>(TRootContainer::MultiLoad(containers, files, 0, false));
    TRootContainer::TickCallback = nullptr;
    TRootContainer::ReportCallback = nullptr;
    std::printf("\n%d objects %s\n", many.Size(), loaded ? "loaded" : "NOT loaded");
    many.DeRegisterMe();
    return failures == 0 && loaded ? 0 : 1;
}
