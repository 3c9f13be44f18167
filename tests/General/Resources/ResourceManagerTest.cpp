// Tests of the resource manager: factories, tag rules and "default" substitutes (with the
// guard against rules that go round in a circle), the order of notifications and event
// triggers, queued resources, exports, and adding and storing resources in a bank.
#include "General/Resources/ResourceManager.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Config/ConfigInfo.h"
#include "General/Config/ResourceConfig.h"
#include "General/Diagnostics/EventTrigger.h"
#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/ResourceBank.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/VersionedFilter.h"
#include "ResourceTestTypes.h"
#include "Support/Eventually.h"
#include "Support/TempDir.h"

namespace {

using namespace vlib::test;

constexpr const char *kPathRules = "PATHRULE \"...<*>.txt\" tag=\"$1\" type=\"testtext\"\n";
constexpr const char *kTagRules = "TAGRULE \"nick\" tag=\"alpha\"\n"
                                  "TAGRULE \"missing*\" default=\"alpha\"\n"
                                  "TAGRULE \"self\" default=\"SELF\"\n"
                                  "TAGRULE \"ping\" default=\"pong\"\n"
                                  "TAGRULE \"pong\" default=\"ping\"\n"
                                  "TAGRULE \"far\" default=\"missingtoo\"\n";
constexpr const char *kTypeRules = "TYPERULE \"testtext\" default=\"alpha\"\n";

/// Puts the four event triggers of the manager into a signal log.
class TTriggerLog : public IEventMonitor {
public:
    explicit TTriggerLog(std::vector<std::string> &words) : m_Words(words) {
        for (const char *name : kNames)
            GetEventMonitor().AddMonitor(StrToID(name), this);
    }
    ~TTriggerLog() override {
        for (const char *name : kNames)
            GetEventMonitor().RemoveMonitor(StrToID(name), this);
    }
    int OnTrigger(uint32_t id, const void *data) override {
        for (const char *name : kNames)
            if (StrToID(name) == id)
                m_Words.push_back(std::string(name + 15) + (data == nullptr ? "(null)" : ""));
        return 0;
    }

private:
    static constexpr const char *kNames[] = {
        "ResourceManagerImportBegin", "ResourceManagerImportEnd", "ResourceManagerReleaseBegin",
        "ResourceManagerReleaseEnd"};
    std::vector<std::string> &m_Words;
};

class ResourceManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::ofstream(m_Dir.File("paths.rre")) << kPathRules;
        std::ofstream(m_Dir.File("tags.rre")) << kTagRules;
        std::ofstream(m_Dir.File("types.rre")) << kTypeRules;
        m_Config = std::make_unique<TResourceConfig>();
        m_Config->TagRuleFile = m_Dir.File("tags.rre").c_str();
        m_Config->TypeRuleFile = m_Dir.File("types.rre").c_str();
        m_Config->StoreAutocompiledResources = false;
        m_Config->DependencyMode = TResourceConfig::DependenciesAlways;
        Manager().Initialise();
        ASSERT_TRUE(Manager().AddFactory(&TTextResource::Factory));
        ASSERT_TRUE(WriteTree(0, m_Dir.File("tree"),
                              {{"./data/alpha.txt", "colour=red\n"},
                               {"./data/broken.txt", "fail\n"},
                               {"./data/beta.txt", "import=nick\n"}}));
        m_Bank = Manager().OpenBank(0, m_Dir.File("tree").c_str(), m_Dir.File("paths.rre").c_str(),
                                    false, TDynamicString());
        ASSERT_NE(m_Bank, nullptr);
    }
    void TearDown() override {
        Manager().Shutdown();
        (void)Manager().RemoveFactory(&TTextResource::Factory);
        m_Config.reset();
    }
    static TResourceManager_I &Manager() { return GetResourceManager(); }

    TTempDir m_Dir;
    std::unique_ptr<TResourceConfig> m_Config;
    TResourceBank_I *m_Bank = nullptr;
};

TEST_F(ResourceManagerTest, FactoriesAndUnknownIds) {
    EXPECT_FALSE(Manager().AddFactory(&TTextResource::Factory)); // the first one stays
    EXPECT_EQ(Manager().GetFactory(StrToID("testtext")), &TTextResource::Factory);
    EXPECT_FALSE(Manager().RemoveFactory(&TBlobResource::Factory));
    ASSERT_TRUE(Manager().AddFactory(&TBlobResource::Factory));
    ASSERT_EQ(Manager().GetNumFactories(), 2u);
    EXPECT_LT(Manager().GetFactoryByIndex(0)->GetID(), Manager().GetFactoryByIndex(1)->GetID());
    EXPECT_TRUE(Manager().RemoveFactory(&TBlobResource::Factory));
    EXPECT_EQ(Manager().CreateResource(StrToID("testblob")), nullptr);

    EXPECT_STREQ(Manager().GetTag(StrToID("nowhere")).GetData(), "<unknown resource id>");
    EXPECT_FALSE(Manager().ResourceExists(StrToID("nowhere")));
    EXPECT_TRUE(Manager().ResourceExists(StrToID("alpha")));
    EXPECT_STREQ(Manager().GetTag(StrToID("alpha")).GetData(), "alpha");
    EXPECT_EQ(Manager().GetResourceFullPath(StrToID("alpha")),
              TDynamicString((m_Dir.File("tree") + "/data/alpha.txt").c_str()));
    EXPECT_STREQ(Manager().GetResourceFileName(StrToID("alpha")).GetData(), "alpha.txt");
    // A directory store has no windows on its files.
    EXPECT_EQ(Manager().OpenResourceData("alpha"), nullptr);
}

TEST_F(ResourceManagerTest, ResourceDataOfAReadOnlyPackStartsBehindTheHeaders) {
    // A text source behind a versioned header, in a pack opened read-only.
    TManagedFileBuf header;
    ASSERT_TRUE(header.Open(6, 0));
    TVersionedOutFilter::WriteVersionInfo(&header, 3);
    const std::string bytes =
        std::string(reinterpret_cast<const char *>(header.GetBuffer()), header.Length()) +
        "shade=blue\n";
    const std::string pack = m_Dir.File("data.vrb");
    ASSERT_TRUE(WriteTree(1, pack, {{"./packed/gamma.txt", bytes}}));
    ASSERT_NE(Manager().OpenBank(1, pack.c_str(), m_Dir.File("paths.rre").c_str(), false,
                                 TDynamicString()),
              nullptr);
    Manager().CloseBank(Manager().GetBank(1));
    ASSERT_NE(Manager().OpenReadOnlyBank(1, pack.c_str(), m_Dir.File("paths.rre").c_str(), false,
                                         TDynamicString()),
              nullptr);
    TFileObj *data = Manager().OpenResourceData("gamma");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->GetPos(), 0);
    EXPECT_EQ(ReadRest(data), "shade=blue\n");
    Manager().GetBank(1)->GetStore()->CloseFile(data);

    TDynamicString path;
    unsigned long long offset = 0;
    unsigned long size = 0;
    ASSERT_TRUE(Manager().GetResourceFileLocation(StrToID("gamma"), path, offset, size));
    EXPECT_EQ(size, bytes.size());
    EXPECT_GT(offset, 0u);
}

TEST_F(ResourceManagerTest, TagRulesAndDefaultSubstitutes) {
    struct Case {
        const char *name; // null: import by id and type name
        const char *typeName;
        bool found;          // alpha comes back
        bool failedWithBank; // the failure names the bank that held the id
    };
    const Case kCases[] = {
        {"alpha", nullptr, true, false},        {"nick", nullptr, true, false}, // a tag rule
        {"missingthing", nullptr, true, false},                                 // a default rule
        {"self", nullptr, false, false},    // a default naming itself, any case
        {"ping", nullptr, false, false},    // defaults in a circle stop
        {"far", nullptr, false, false},     // a default to a name with a default of its own
        {nullptr, "testtext", true, false}, // the type rules
        {nullptr, "other", false, false},       {nullptr, nullptr, false, false},
        {"broken", nullptr, false, true}, // a failed load does not go on to defaults
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name != nullptr ? c.name : (c.typeName != nullptr ? c.typeName : "id"));
        TSignalLog log;
        TResource *resource = c.name != nullptr ? Manager().ImportResource(c.name, 0)
                                                : Manager().ImportResource(StrToID("nowhere"), 0,
                                                                           c.typeName, nullptr);
        EXPECT_EQ(resource != nullptr, c.found);
        if (resource != nullptr) {
            EXPECT_EQ(static_cast<TTextResource *>(resource)->Value("colour"), "red");
            Manager().ReleaseResource(resource);
        } else {
            EXPECT_EQ(log.FailedBank, c.failedWithBank ? m_Bank : nullptr);
        }
    }
    EXPECT_FALSE(Manager().IsResourceLoaded(StrToID("alpha")));

    // A name and its tag give one object, counted once for each import.
    TResource *byTag = Manager().ImportResource("alpha", 0);
    TResource *byName = Manager().ImportResource("nick", 0);
    ASSERT_NE(byTag, nullptr);
    EXPECT_EQ(byName, byTag);
    EXPECT_EQ(byTag->GetRefCount(), 2u);
    EXPECT_TRUE(Manager().IsResourceLoaded(StrToID("alpha")));
    Manager().ReleaseResource(byName);
    Manager().ReleaseResource(byTag);
}

TEST_F(ResourceManagerTest, SignalOrderOfGoodAndFailedImports) {
    struct Case {
        const char *name;
        std::vector<std::string> words;
    };
    const Case kCases[] = {
        {"alpha",
         {"StartImport", "ImportBegin", "StartLoad(source)", "EndLoad", "Autocompile", "EndImport",
          "ImportEnd"}},
        {"broken",
         {"StartImport", "ImportBegin", "StartLoad(source)", "EndLoad", "Failed", "EndImport(null)",
          "ImportEnd(null)"}},
        // An import made inside a load nests inside the outer load's signals; alpha now
        // comes from the compiled file written by the first case.
        {"beta",
         {"StartImport", "ImportBegin", "StartLoad(source)", "StartImport", "ImportBegin",
          "StartLoad(compiled)", "EndLoad", "EndImport", "ImportEnd", "EndLoad", "Autocompile",
          "EndImport", "ImportEnd"}},
    };
    Manager().SetStoreAutocompiledResources(true);
    ASSERT_TRUE(m_Bank->SetSecondStore(0, m_Dir.File("compiled").c_str()));
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TSignalLog log;
        TResource *resource = nullptr;
        {
            TTriggerLog triggers(log.Words);
            resource = Manager().ImportResource(c.name, 0);
        }
        EXPECT_EQ(log.Words, c.words);
        if (resource != nullptr)
            Manager().ReleaseResource(resource);
    }
    EXPECT_TRUE(m_Bank->GetSecondStore()->Exists("./data/beta.txt.testtext.bin"));
}

TEST_F(ResourceManagerTest, QueuedResourcesAndReferenceFlags) {
    TResource *alpha = Manager().ImportResource("alpha", kImportNoRef);
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->GetRefCount(), 0u); // a new object with no count for the caller
    alpha->AcquireRef();
    vlib::detail::TResourceAccess::SetAsyncState(*alpha, AS_Queued);
    EXPECT_EQ(Manager().ImportResource("alpha", 0), nullptr); // still on the worker
    EXPECT_EQ(Manager().ImportResource("alpha", kImportAsync | kImportNoRef), alpha);
    EXPECT_EQ(alpha->GetRefCount(), 1u);
    vlib::detail::TResourceAccess::SetAsyncState(*alpha, AS_Loaded);
    Manager().ReleaseResource(alpha);
}

TEST_F(ResourceManagerTest, AsynchronousImportLoadsOnTheWorker) {
    TResource *beta = Manager().ImportResource("beta", kImportAsync);
    ASSERT_NE(beta, nullptr);
    // The import has returned at once; the load (and its nested import) runs on the worker.
    EXPECT_NE(beta->GetAsyncState(), AS_Idle);
    ASSERT_TRUE(Eventually([&] { return beta->GetAsyncState() == AS_Loaded; },
                           std::chrono::milliseconds(20000)));
    auto *text = static_cast<TTextResource *>(beta);
    ASSERT_EQ(text->Imports.size(), 1u);
    EXPECT_EQ(static_cast<TTextResource *>(text->Imports[0])->Value("colour"), "red");
    // Once loaded, a synchronous import hands out the same object.
    TResource *again = Manager().ImportResource("beta", 0);
    EXPECT_EQ(again, beta);
    Manager().ReleaseResource(again);
    Manager().ReleaseResource(beta);
}

TEST_F(ResourceManagerTest, ExportsAndStoringResources) {
    TSignalLog log;
    EXPECT_FALSE(Manager().ExportResource("nowhere"));
    EXPECT_FALSE(Manager().ExportResource(static_cast<TResource *>(nullptr)));

    // Storing a new object writes its source file and gives it an entry.
    TTextResource *fresh = static_cast<TTextResource *>(TTextResource::Factory.New());
    ASSERT_NE(fresh, nullptr);
    fresh->Pairs.emplace_back("made", "here");
    TLibVector<TResourceBankEntry_I *> entries;
    ASSERT_TRUE(Manager().StoreResource(m_Bank, "data/fresh.txt", fresh, &entries));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(fresh->GetBank(), m_Bank);
    EXPECT_TRUE(entries[0]->HasSource());
    std::ifstream in(m_Dir.File("tree/data/fresh.txt"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "made=here\n");

    // A resource with a bank cannot be added again; an unknown file name adds nothing.
    EXPECT_FALSE(Manager().AddFileToBank(m_Bank, "data/fresh2.txt", fresh, nullptr));
    EXPECT_TRUE(Manager().AddFileToBank(m_Bank, "data/other.dat", nullptr, nullptr));

    // A change is exported through the manager; the saved list knows the new entry.
    fresh->Pairs[0].second = "again";
    EXPECT_TRUE(Manager().ExportResource(fresh));
    std::ifstream again(m_Dir.File("tree/data/fresh.txt"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(again), {}), "made=again\n");
    EXPECT_TRUE(m_Bank->Save(false));
    Manager().ReleaseResource(fresh);
    Manager().CloseBank(m_Bank);
    TResourceBank_I *reopened = Manager().OpenReadOnlyBank(
        0, m_Dir.File("tree").c_str(), m_Dir.File("paths.rre").c_str(), false, TDynamicString());
    ASSERT_NE(reopened, nullptr);
    EXPECT_NE(reopened->FindEntry(StrToID("fresh")), nullptr);
}

TEST(ResourceManagerSettings, InitialiseOpensTheConfiguredBanksInIndexOrder) {
    TTempDir dir;
    std::ofstream(dir.File("paths.rre")) << kPathRules;
    ASSERT_TRUE(WriteTree(0, dir.File("first"), {{"./a/shared.txt", "from=first\n"}}));
    ASSERT_TRUE(WriteTree(0, dir.File("second"),
                          {{"./b/shared.txt", "from=second\n"}, {"./b/own.txt", "k=1\n"}}));
    std::filesystem::create_directories(dir.File("compiled"));
    // Bank 1 is a read-only pack that does not exist: it is left out without a word.
    const std::string rules = dir.File("paths.rre");
    std::ofstream(dir.File("game.ini"))
        << "[ResourceSystem]\nNumberOfResourceBanks=3\n"
        << "ResourceBank0=FileSystem \"" << dir.File("second") << "\" FileSystem \""
        << dir.File("compiled") << "\" \"" << rules << "\" \"list.vrl\" \"main\"\n"
        << "ResourceBank1=PackedFileReadOnly \"" << dir.File("absent") << "\"\n"
        << "ResourceBank2=FileSystem \"" << dir.File("first") << "\" FileSystem \""
        << dir.File("compiled2") << "\" \"" << rules << "\" \"list.vrl\" \"extra\"\n";
    TConfigInfo config(TDynamicString(dir.File("game.ini").c_str()), TDynamicString(""));
    TResourceManager_I &manager = GetResourceManager();
    ASSERT_TRUE(manager.AddFactory(&TTextResource::Factory));
    manager.Initialise();
    ASSERT_EQ(manager.GetNumBanks(), 2u);
    EXPECT_EQ(std::string(manager.GetBank(0)->GetLocation().GetData()), dir.File("second") + "/");
    EXPECT_EQ(std::string(manager.GetBank(1)->GetLocation().GetData()), dir.File("first") + "/");
    EXPECT_NE(manager.GetBank(0)->GetSecondStore(), nullptr);
    EXPECT_NE(manager.GetBank(1)->GetSecondStore(), nullptr);
    // The bank of index 0 is searched first.
    auto *shared = dynamic_cast<TTextResource *>(manager.ImportResource("shared", 0));
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(shared->Value("from"), "second");
    manager.ReleaseResource(shared);
    manager.Shutdown();
    EXPECT_EQ(manager.GetNumBanks(), 0u);
    (void)manager.RemoveFactory(&TTextResource::Factory);
}

} // namespace
