// The resource demonstration. It follows the host's order: the container bank first, then the
// factories, then the manager's Initialise; banks are opened over the demo tree as a directory
// and as a pack built from it, resources are imported by tag (some on the importer thread,
// with a progress bar), and a second run with autocompile on reads compiled files instead.
#include "ResourceDemo.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "General/Config/IniFile.h"
#include "General/Containers/RootContainer.h"
#include "General/Containers/RootContainerBank.h"
#include "General/Core/RootObject.h"
#include "General/Core/RuntimeClass.h"
#include "General/Resources/AsyncImporter.h"
#include "General/Resources/BankStore.h"
#include "General/Resources/ResourceAdaptors.h"
#include "General/Resources/ResourceBank.h"
#include "General/Resources/ResourceManager.h"
#include "General/Streams/IOAdapter.h"
#include "General/Text/XMLFile.h"

namespace {

/// A named place on the demo map: the objects of the demo tree's container file.
class TDemoWaypoint : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TDemoWaypoint)
public:
    TStringInt<TDynamicStringAllocationStrategy> Name;
    float X = 0, Y = 0;

    TError ReadBinary(TFileObj &file) override { return Stream(TIOAdapter(&file, false)); }
    TError WriteBinary(TFileObj &file) override { return Stream(TIOAdapter(&file, true)); }
    TError ReadAscii(TAsciiInFilter &filter) override { return Stream(TIOAdapter(&filter)); }
    TError WriteAscii(TAsciiOutFilter &filter) override { return Stream(TIOAdapter(&filter)); }

private:
    TError Stream(TIOAdapter &&adapter) {
        adapter.StreamString(Name, "Name");
        adapter.StreamFloat(X, "X");
        adapter.StreamFloat(Y, "Y");
        return adapter.IsBad() ? TError::kFailure : TError::kSuccess;
    }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TDemoWaypoint, TRootObject);

using TString = TStringInt<TDynamicStringAllocationStrategy>;

/// The tags of the demo tree, one per source file.
const char *const kTags[] = {"game",   "audio",  "video", "input",     "strings", "credits",
                             "level1", "level2", "menu",  "waypoints", "palette", "heights"};
constexpr int kTagCount = sizeof kTags / sizeof kTags[0];

TResourceFactory *const kFactories[] = {&TIniFile::mFactory, &TXMLFile::mFactory,
                                        &TRootContainerImporter::mFactory,
                                        &TRootMapResource::mFactory, &TBinaryDataFile::mFactory};

/// One line about a loaded resource: its type and something of its content.
std::string Describe(TResource *resource) {
    char line[160];
    TResourceFactory *factory = resource->GetFactory();
    if (factory == &TIniFile::mFactory) {
        std::snprintf(line, sizeof line, "%d lines",
                      static_cast<TIniFile *>(resource)->GetNumLines());
    } else if (factory == &TXMLFile::mFactory) {
        TXMLTag *root = static_cast<TXMLFile *>(resource)->GetRootTag();
        std::snprintf(line, sizeof line, "<%s> with %d children",
                      root != nullptr && root->GetName() != nullptr ? root->GetName()->GetData()
                                                                    : "?",
                      root != nullptr ? root->GetNumChildren() : 0);
    } else if (factory == &TRootContainerImporter::mFactory) {
        TRootContainer *container = static_cast<TRootContainerImporter *>(resource)->Expose();
        std::snprintf(line, sizeof line, "container of %d objects",
                      container != nullptr ? container->Size() : 0);
    } else if (factory == &TBinaryDataFile::mFactory) {
        std::snprintf(line, sizeof line, "%d bytes",
                      static_cast<TBinaryDataFile *>(resource)->GetSize());
    } else {
        std::snprintf(line, sizeof line, "?");
    }
    return std::string(static_cast<const char *>(factory->GetName())) + ", " + line;
}

/// Imports every tag synchronously and prints what came. Returns the number that failed.
int ImportAll(const char *title, bool print) {
    TResourceManager_I &manager = GetResourceManager();
    std::printf("%s\n", title);
    int failed = 0;
    for (const char *tag : kTags) {
        TResource *resource = manager.ImportResource(tag, 0);
        if (resource == nullptr) {
            std::printf("  %-10s NOT loaded\n", tag);
            ++failed;
            continue;
        }
        if (print)
            std::printf("  %-10s %s\n", tag, Describe(resource).c_str());
        if (resource->GetFactory() == &TRootContainerImporter::mFactory) {
            // A container file registers its container: take it out before the next import.
            delete static_cast<TRootContainerImporter *>(resource)->Orphan();
        }
        manager.ReleaseResource(resource);
    }
    return failed;
}

/// Queues every tag on the importer thread and shows a progress bar while it works.
int ImportAsynchronously() {
    TResourceManager_I &manager = GetResourceManager();
    std::vector<TResource *> queued;
    for (const char *tag : kTags) {
        TResource *resource = manager.ImportResource(tag, kImportAsync);
        if (resource != nullptr)
            queued.push_back(resource);
    }
    const int total = static_cast<int>(queued.size());
    std::printf("Loading %d resources on the importer thread:\n", total);
    for (;;) {
        // The queue and the worker's current id are the importer's own shared state.
        const int waiting = static_cast<int>(TAsyncImporter::GetQueueLength());
        const bool busy = TAsyncImporter::GetCurrentAsyncResource() != 0;
        const int done = total - waiting - (busy ? 1 : 0);
        const int filled = total > 0 ? done * 40 / total : 40;
        std::printf("\r[%-40.*s] %d/%d", filled, "########################################", done,
                    total);
        std::fflush(stdout);
        if (waiting == 0 && !busy)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int failed = 0;
    for (TResource *resource : queued) {
        if (resource->GetAsyncState() != AS_Loaded)
            ++failed;
        if (resource->GetFactory() == &TRootContainerImporter::mFactory)
            delete static_cast<TRootContainerImporter *>(resource)->Orphan();
        manager.ReleaseResource(resource);
    }
    std::printf("\n  %d loaded, %d failed\n", total - failed, failed);
    return failed;
}

/// Copies every file of the tree into a new pack at `pack` (which ends in ".vrb").
bool PackTree(const std::string &tree, const std::string &pack) {
    std::error_code error;
    std::filesystem::remove(pack, error);
    TBankPackedFile store;
    // Create adds the extension itself.
    const std::string base = pack.substr(0, pack.size() - 4);
    if (!store.Create(TDynamicString(base.c_str())))
        return false;
    bool ok = true;
    for (const auto &item : std::filesystem::recursive_directory_iterator(tree, error)) {
        if (!item.is_regular_file())
            continue;
        // Banks name their files "./<path>" from the store's root.
        const std::string relative =
            "./" + std::filesystem::relative(item.path(), tree).generic_string();
        std::FILE *in = std::fopen(item.path().c_str(), "rb");
        TFileObj *out = store.OpenFile(TDynamicString(relative.c_str()), 4);
        if (in == nullptr || out == nullptr) {
            ok = false;
        } else {
            char block[4096];
            size_t got;
            while ((got = std::fread(block, 1, sizeof block, in)) > 0)
                ok = out->Write(block, static_cast<int>(got)) && ok;
        }
        if (in != nullptr)
            std::fclose(in);
        if (out != nullptr)
            store.CloseFile(out);
    }
    return store.Close() && ok;
}

/// Counts the demo entries of `bank` whose compiled file a load would read.
int CountCompiledUsable(TResourceBank_I *bank) {
    int count = 0;
    for (const char *tag : kTags) {
        TResourceBankEntry_I *entry = bank->FindEntry(TResource::StrToID(tag));
        if (entry != nullptr && bank->IsCompiledUsable(entry))
            ++count;
    }
    return count;
}

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

} // namespace

int RunResourceDemo(const char *dataDir, const char *outDir) {
    const std::string tree = std::string(dataDir) + "/resources";
    const TString rules = (tree + "/rules.rre").c_str();
    const std::string out = std::string(outDir) + "/resources";
    std::error_code error;
    std::filesystem::remove_all(out, error);
    std::filesystem::create_directories(out, error);
    const std::string pack = out + "/demo.vrb";
    if (!PackTree(tree, pack)) {
        std::printf("The demo tree could not be packed into %s\n", pack.c_str());
        return 1;
    }

    // The host's order: the container bank, the factories, then the manager.
    GetRootContainerBank();
    TResourceManager_I &manager = GetResourceManager();
    for (TResourceFactory *factory : kFactories)
        (void)manager.AddFactory(factory); // a factory added before is kept
    manager.SetUseSourceResources(true);
    manager.SetUsePrecompiledResources(true);
    manager.SetStoreAutocompiledResources(false);
    manager.SetCheckDependencies(1);
    manager.Initialise();

    int failed = 0;
    TResourceBank_I *directory =
        manager.OpenBank(0, tree.c_str(), rules, true, (out + "/directory.vrl").c_str());
    if (directory == nullptr) {
        std::printf("The directory bank over %s did not open\n", tree.c_str());
        manager.Shutdown();
        return 1;
    }
    std::printf("Directory bank over %s: %lu entries\n", tree.c_str(), directory->GetNumEntries());
    failed += ImportAll("Imports from the directory:", true);
    failed += ImportAsynchronously();
    manager.CloseBank(directory);

    TResourceBank_I *packed =
        manager.OpenBank(1, pack.c_str(), rules, true, (out + "/packed.vrl").c_str());
    if (packed == nullptr) {
        std::printf("The packed bank %s did not open\n", pack.c_str());
        manager.Shutdown();
        return 1;
    }
    std::printf("Packed bank %s: %lu entries\n", pack.c_str(), packed->GetNumEntries());
    failed += ImportAll("Imports from the pack:", false);
    manager.CloseBank(packed);
    manager.Shutdown();

    // Second run: autocompile writes compiled files into a second store, and a new start of
    // the manager reads them instead of the sources.
    const std::string compiled = out + "/compiled";
    std::filesystem::create_directories(compiled, error);
    manager.SetStoreAutocompiledResources(true);
    double times[2] = {};
    int usable[2] = {};
    for (int run = 0; run < 2; ++run) {
        manager.Initialise();
        TResourceBank_I *bank =
            manager.OpenBank(0, tree.c_str(), rules, true, (out + "/compiled.vrl").c_str());
        if (bank == nullptr || !bank->SetSecondStore(0, compiled.c_str())) {
            std::printf("The bank with a compiled store did not open\n");
            manager.Shutdown();
            return 1;
        }
        if (run == 1)
            (void)bank->Rescan(); // finds the compiled files of the first run
        usable[run] = CountCompiledUsable(bank);
        const auto start = std::chrono::steady_clock::now();
        failed += ImportAll(run == 0 ? "Imports that write compiled files:"
                                     : "Imports from compiled files:",
                            false);
        times[run] = Seconds(start);
        manager.CloseBank(bank);
        manager.Shutdown();
    }
    std::printf("Compiled files usable: %d before the first run, %d before the second\n", usable[0],
                usable[1]);
    std::printf("Import times: %.2f ms from sources with compiled files written, %.2f ms from "
                "compiled files\n",
                times[0] * 1000.0, times[1] * 1000.0);
    std::printf("Resource demo: %d failures\n", failed);
    return failed == 0 && usable[1] > 0 ? 0 : 1;
}
