// Tests of resource banks on real trees in both store kinds: parsing file names with rules,
// the four settings modes, the list file's round trip and its corruptions, duplicates, the
// dependency check of compiled files, and loads under failing allocations.
#include "General/Resources/Detail/ResourceBank.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Resources/Detail/EntryIndex.h"
#include "General/Resources/ResourceManager.h"
#include "General/Resources/ResourceRuleFile.h"
#include "ResourceTestTypes.h"
#include "Support/TempDir.h"

namespace {

using namespace vlib::test;
using Files = std::vector<std::pair<std::string, std::string>>;

constexpr const char *kRules =
    "PATHRULE \"...<*>.txt\" tag=\"$1\" type=\"testtext\"\n"
    "PATHRULE \"...<*>.blob\" tag=\"$1\" type=\"testblob\"\n"
    "PATHRULE \"...<*>.bsrc\" tag=\"$1\" type=\"testtext\" usebinaryassource=\"true\"\n"
    "PATHRULE \"...<*>.conv\" tag=\"$1\" type=\"testtext\" sourcefiletype=\"testblob\"\n"
    "PATHRULE \"...<*>.derived\" tag=\"$1\" type=\"testtext\" convertfrom=\"alpha\"\n"
    "PATHRULE \"...<*>.nocomp\" tag=\"$1\" type=\"testtext\" donotcompile=\"true\"\n"
    "PATHRULE \"...twice.txt\" :5 tag=\"twice2\" type=\"testtext\"\n"
    "PATHRULE \"...<*>.notype\" tag=\"$1\"\n"
    "PATHRULE \"...<*>.ghost\" tag=\"$1\" type=\"nosuchtype\"\n";

const Files kTree = {
    {"./data/alpha.txt", "colour=red\n"},   {"./data/beta.txt", "import=alpha\nsize=2\n"},
    {"./data/gamma.conv", "shape=round\n"}, {"./data/delta.derived", ""},
    {"./other/blobby.blob", "raw bytes"},
};

std::string StoreLocation(const TTempDir &dir, int kind, const char *name) {
    return dir.File(kind == 1 ? std::string(name) + ".vrb" : std::string(name));
}

/// A bank-level view of an entry that a list read must reproduce.
std::string Describe(TResourceBankEntry_I *entry) {
    auto *concrete = static_cast<TResourceBankEntry *>(entry);
    std::string text = std::string(entry->GetTag().GetData()) + "|" + entry->GetType().GetData() +
                       "|" + entry->GetSourcePath(nullptr).GetData() + "|" +
                       std::to_string(concrete->Data().Flags);
    if (const TParameterList *list = concrete->GetParameters()) {
        TDynamicString name;
        for (int i = 0; i < list->GetParameterCount(); ++i) {
            const TDynamicString *value = list->GetParameter(i, name);
            text += std::string("|") + name.GetData() + "=" + value->GetData();
        }
    }
    return text;
}

std::set<std::string> Snapshot(TResourceBank_I *bank) {
    struct TVisitor : TResourceBankVisitor_I {
        bool operator()(TResourceBank_I *, TResourceBankEntry_I *entry, TResource *) override {
            Items.insert(Describe(entry));
            return true;
        }
        std::set<std::string> Items;
    } visitor;
    EXPECT_TRUE(bank->ForEachEntry(visitor));
    return visitor.Items;
}

class ResourceBankTest : public ::testing::Test {
protected:
    void SetUp() override {
        TResourceManager_I &manager = GetResourceManager();
        ASSERT_TRUE(manager.AddFactory(&TTextResource::Factory));
        ASSERT_TRUE(manager.AddFactory(&TBlobResource::Factory));
        manager.SetUseSourceResources(true);
        manager.SetUsePrecompiledResources(true);
        manager.SetStoreAutocompiledResources(false);
        manager.SetCheckDependencies(2);
        std::ofstream(m_Dir.File("rules.rre")) << kRules;
        m_RulePath = m_Dir.File("rules.rre").c_str();
    }
    void TearDown() override {
        TResourceManager_I &manager = GetResourceManager();
        while (manager.GetNumBanks() > 0)
            manager.CloseBank(manager.GetBank(0));
        (void)manager.RemoveFactory(&TTextResource::Factory);
        (void)manager.RemoveFactory(&TBlobResource::Factory);
    }

    TResourceBank *Open(int kind, const std::string &location, bool rescan = false) {
        return static_cast<TResourceBank *>(GetResourceManager().OpenBank(
            kind, location.c_str(), m_RulePath, rescan, TDynamicString()));
    }
    TResourceBank *OpenReadOnly(int kind, const std::string &location, const char *rules) {
        return static_cast<TResourceBank *>(GetResourceManager().OpenReadOnlyBank(
            kind, location.c_str(), rules, false, TDynamicString()));
    }
    void CloseAll() {
        TResourceManager_I &manager = GetResourceManager();
        while (manager.GetNumBanks() > 0)
            manager.CloseBank(manager.GetBank(0));
    }
    TTextResource *ImportText(const char *name) {
        return static_cast<TTextResource *>(GetResourceManager().ImportResource(name, 0));
    }

    TTempDir m_Dir;
    TDynamicString m_RulePath;
};

TEST_F(ResourceBankTest, ParseFileGivesOneRecordPerMatchingRule) {
    struct Case {
        const char *file;
        bool ok;
        std::vector<std::string> tags; // with "c" appended for a compiled record
    };
    const Case kCases[] = {
        {"data/alpha.txt", true, {"alpha"}},
        {"data\\alpha.txt", true, {"alpha"}},
        {"./data/alpha.txt.testtext.bin", true, {"alphac"}},
        {"data/alpha.txt.TESTTEXT.BIN", true, {"alphac"}},
        {"data/alpha.txt.testblob.bin", true, {}},     // a compiled file of another type
        {"data/alpha.txt.nosuchtype.bin", false, {}},  // no factory of that name
        {"data/twice.txt", true, {"twice", "twice2"}}, // two priorities
        {"data/nothing.dat", true, {}},                // no rule
        {"data/x.notype", false, {}},                  // a rule without a type
        {"data/gamma.conv", true, {"gamma"}},
        {"data/gamma.conv.testblob.bin", true, {"gamma"}}, // a converting source, compiled
    };
    const std::string location = StoreLocation(m_Dir, 0, "tree");
    ASSERT_TRUE(WriteTree(0, location, {}));
    TResourceBank *bank = Open(0, location);
    ASSERT_NE(bank, nullptr);
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.file);
        TLibVector<TResourceBankEntryData> records;
        EXPECT_EQ(static_cast<bool>(bank->ParseFile(c.file, records)), c.ok);
        if (!c.ok)
            continue;
        std::vector<std::string> tags;
        for (const TResourceBankEntryData &record : records)
            tags.push_back(std::string(record.Tag.GetData()) +
                           ((record.Flags & TResourceBankEntryData::kHasCompiled) ? "c" : ""));
        EXPECT_EQ(tags, c.tags);
    }
    TLibVector<TResourceBankEntryData> records;
    ASSERT_TRUE(bank->ParseFile("data/alpha.txt.testtext.bin", records));
    ASSERT_EQ(records.size(), 1u);
    EXPECT_STREQ(bank->MakePath(records[0].CompiledDirectory, records[0].CompiledName).GetData(),
                 "./data/alpha.txt.testtext.bin");
    EXPECT_EQ(records[0].CompiledHash, HashPathName("./data/alpha.txt.testtext.bin"));
    EXPECT_EQ(records[0].SourceHash, HashPathName("./data/alpha.txt"));
}

TEST_F(ResourceBankTest, SettingsModesOnRealTreesInBothStoreKinds) {
    TResourceManager_I &manager = GetResourceManager();
    for (int kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::string location = StoreLocation(m_Dir, kind, "modes");
        const std::string compiled = StoreLocation(m_Dir, kind, "modes-compiled");
        ASSERT_TRUE(WriteTree(kind, location, kTree));
        auto openBoth = [&] {
            TResourceBank *bank = Open(kind, location);
            EXPECT_NE(bank, nullptr);
            if (bank != nullptr)
                EXPECT_TRUE(bank->SetSecondStore(kind, compiled.c_str()));
            return bank;
        };
        auto loadBeta = [&](const char *expectedFirstLoad) {
            TSignalLog log;
            TTextResource *beta = ImportText("beta");
            EXPECT_NE(beta, nullptr);
            if (beta == nullptr)
                return;
            EXPECT_EQ(beta->Value("size"), "2");
            ASSERT_EQ(beta->Imports.size(), 1u);
            EXPECT_EQ(static_cast<TTextResource *>(beta->Imports[0])->Value("colour"), "red");
            EXPECT_EQ(log.Words.at(1), expectedFirstLoad);
            manager.ReleaseResource(beta);
        };

        // Autocompile: loads from source and writes both compiled files with beta's dependency.
        manager.SetStoreAutocompiledResources(true);
        TResourceBank *bank = openBoth();
        ASSERT_NE(bank, nullptr);
        loadBeta("StartLoad(source)");
        EXPECT_TRUE(bank->GetSecondStore()->Exists("./data/beta.txt.testtext.bin"));
        EXPECT_TRUE(bank->GetSecondStore()->Exists("./data/alpha.txt.testtext.bin"));
        TLibVector<unsigned long> ids;
        bank->FindEntry(StrToID("beta"))->GetDependencyIDs(ids);
        EXPECT_EQ(std::vector<unsigned long>(ids.begin(), ids.end()),
                  std::vector<unsigned long>{StrToID("alpha")});
        CloseAll();

        // Source mode reads the source although a good compiled file exists.
        manager.SetStoreAutocompiledResources(false);
        manager.SetUsePrecompiledResources(false);
        ASSERT_NE(openBoth(), nullptr);
        loadBeta("StartLoad(source)");
        CloseAll();

        // Precompiled only.
        manager.SetUsePrecompiledResources(true);
        manager.SetUseSourceResources(false);
        ASSERT_NE(openBoth(), nullptr);
        loadBeta("StartLoad(compiled)");
        CloseAll();

        // Both allowed: the compiled file wins while its dependency check passes.
        manager.SetUseSourceResources(true);
        ASSERT_NE(openBoth(), nullptr);
        loadBeta("StartLoad(compiled)");

        // Conversion from another class's file, and from another resource.
        TTextResource *gamma = ImportText("gamma");
        ASSERT_NE(gamma, nullptr);
        EXPECT_EQ(gamma->Value("shape"), "round");
        manager.ReleaseResource(gamma);
        TTextResource *delta = ImportText("delta");
        ASSERT_NE(delta, nullptr);
        EXPECT_EQ(delta->Value("colour"), "red");
        manager.ReleaseResource(delta);
        TBlobResource *blob = static_cast<TBlobResource *>(manager.ImportResource("blobby", 0));
        ASSERT_NE(blob, nullptr);
        EXPECT_EQ(blob->Bytes, "raw bytes");
        manager.ReleaseResource(blob);
        CloseAll();
    }
}

/// The bytes of a file in a store of `kind`, or "<none>".
std::string ReadStoreFile(int kind, const std::string &location, const char *path) {
    std::unique_ptr<TBankFileSystem_I> store(MakeBankStore(kind));
    if (!store->Open(location.c_str(), true))
        return "<none>";
    TFileObj *file = store->OpenFile(path, 2);
    std::string bytes = file != nullptr ? ReadRest(file) : "<none>";
    if (file != nullptr)
        store->CloseFile(file);
    store->Close();
    return bytes;
}

TEST_F(ResourceBankTest, ListFileRoundTripAndCorruptions) {
    struct Case {
        const char *name;
        std::string (*corrupt)(const std::string &);
    };
    static const auto replace = [](std::string text, const char *from, const char *to) {
        const size_t at = text.find(from);
        return at == std::string::npos ? std::string("<missing>")
                                       : text.replace(at, std::strlen(from), to);
    };
    const Case kCases[] = {
        {"empty", [](const std::string &) { return std::string(); }},
        {"half", [](const std::string &t) { return t.substr(0, t.size() / 2); }},
        {"header only", [](const std::string &t) { return t.substr(0, 40); }},
        {"one byte short", [](const std::string &t) { return t.substr(0, t.size() - 3); }},
        {"marker 2", [](const std::string &t) { return replace(t, "Marker=1", "Marker=2"); }},
        {"second marker 0",
         [](const std::string &t) {
             return replace(t, "Marker=1\nMarker=1", "Marker=1\nMarker=0");
         }},
        {"version 4", [](const std::string &t) { return replace(t, "Version=5", "Version=4"); }},
        {"count too high", [](const std::string &t) { return replace(t, "Count=5", "Count=6"); }},
        {"no type", [](const std::string &t) { return replace(t, "Type=testtext", "Type="); }},
    };
    std::ofstream(m_Dir.File("empty.rre")) << "# no rules\n";
    const TDynamicString noRules(m_Dir.File("empty.rre").c_str());
    for (int kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::string location = StoreLocation(m_Dir, kind, "list");
        ASSERT_TRUE(WriteTree(kind, location, kTree));
        TResourceBank *bank = Open(kind, location);
        ASSERT_NE(bank, nullptr);
        const std::set<std::string> expected = Snapshot(bank);
        ASSERT_EQ(expected.size(), 5u);
        CloseAll();
        const std::string list = ReadStoreFile(kind, location, "ResourceList.vrl");
        ASSERT_NE(list, "<none>");

        // A read-only bank with rules that match nothing still has every entry: the list.
        bank = OpenReadOnly(kind, location, noRules);
        ASSERT_NE(bank, nullptr);
        EXPECT_EQ(Snapshot(bank), expected);
        CloseAll();

        for (const Case &c : kCases) {
            SCOPED_TRACE(c.name);
            const std::string damaged = c.corrupt(list);
            ASSERT_NE(damaged, "<missing>");
            ASSERT_TRUE(WriteTree(kind, location, {{"ResourceList.vrl", damaged}}));
            TResourceBank *readOnly = OpenReadOnly(kind, location, noRules);
            EXPECT_EQ(readOnly, nullptr);
            CloseAll();
            bank = Open(kind, location);
            ASSERT_NE(bank, nullptr);
            EXPECT_EQ(Snapshot(bank), expected); // rebuilt from the tree, nothing lost
            CloseAll();
            ASSERT_TRUE(WriteTree(kind, location, {{"ResourceList.vrl", list}}));
        }
    }
}

TEST_F(ResourceBankTest, VerifiedOpenRebuildsWhenTreeOrRulesChange) {
    const std::string location = StoreLocation(m_Dir, 0, "verify");
    ASSERT_TRUE(WriteTree(0, location, kTree));
    ASSERT_NE(Open(0, location), nullptr);
    CloseAll();

    // A new file changes the tree hash: a verified open scans, an unchecked one keeps the list.
    ASSERT_TRUE(WriteTree(0, location, {{"./data/epsilon.txt", "e=1\n"}}));
    TResourceBank_I *bank = GetResourceManager().OpenUncheckedBank(0, location.c_str(), m_RulePath,
                                                                   false, TDynamicString());
    ASSERT_NE(bank, nullptr);
    EXPECT_EQ(bank->FindEntry(StrToID("epsilon")), nullptr);
    CloseAll();
    bank = Open(0, location);
    ASSERT_NE(bank, nullptr);
    EXPECT_NE(bank->FindEntry(StrToID("epsilon")), nullptr);
    CloseAll();

    // Same tree, newer rules: the rule time differs by more than the tolerance.
    ASSERT_TRUE(WriteTree(0, location, {{"./data/eta.dat", "e=2\n"}}));
    ASSERT_NE(Open(0, location), nullptr);
    EXPECT_FALSE(GetResourceManager().ResourceExists(StrToID("eta")));
    CloseAll();
    {
        std::ofstream rules(m_Dir.File("rules.rre"), std::ios::app);
        rules << "PATHRULE \"...<*>.dat\" tag=\"$1\" type=\"testtext\"\n";
    }
    namespace fs = std::filesystem;
    fs::last_write_time(m_Dir.File("rules.rre"),
                        fs::last_write_time(m_Dir.File("rules.rre")) + std::chrono::seconds(5));
    ASSERT_NE(Open(0, location), nullptr);
    EXPECT_TRUE(GetResourceManager().ResourceExists(StrToID("eta")));
}

TEST_F(ResourceBankTest, DuplicatesInOneBankAndAcrossBanks) {
    for (int kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::string first = StoreLocation(m_Dir, kind, "dupA");
        const std::string second = StoreLocation(m_Dir, kind, "dupB");
        ASSERT_TRUE(
            WriteTree(kind, first, {{"./x/dup.txt", "from=x\n"}, {"./y/dup.txt", "from=y\n"}}));
        ASSERT_TRUE(WriteTree(kind, second, {{"./dup.txt", "from=b\n"}}));
        TSignalLog log;
        TResourceBank *a = Open(kind, first, true);
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(log.Duplicates, std::vector<bool>{true});
        EXPECT_EQ(a->GetNumEntries(), 1u);
        TResourceBank *b = Open(kind, second, true);
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(log.Duplicates, (std::vector<bool>{true, false}));
        EXPECT_NE(b->FindEntry(StrToID("dup")), nullptr);
        TResourceBank_I *holder = nullptr;
        GetResourceManager().FindEntry(StrToID("dup"), &holder, false);
        EXPECT_EQ(holder, a); // search order: the first bank opened
        // The same location again is refused.
        EXPECT_EQ(Open(kind, first), nullptr);
        CloseAll();
    }
}

TEST_F(ResourceBankTest, CompiledOnlyFilesOfTheSecondStoreNeedAcceptStoredOnly) {
    for (int kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::string location = StoreLocation(m_Dir, kind, "main");
        const std::string compiled = StoreLocation(m_Dir, kind, "stored");
        ASSERT_TRUE(WriteTree(kind, location, kTree));
        ASSERT_TRUE(WriteTree(kind, compiled, {{"./data/lonely.txt.testtext.bin", "TXTBa=b\n"}}));
        for (bool accept : {false, true}) {
            SCOPED_TRACE(accept);
            TResourceBank *bank = Open(kind, location);
            ASSERT_NE(bank, nullptr);
            bank->SetAcceptStoredOnly(accept);
            ASSERT_TRUE(bank->SetSecondStore(kind, compiled.c_str()));
            TResourceBankEntry_I *entry = bank->FindEntry(StrToID("lonely"));
            EXPECT_EQ(entry != nullptr, accept);
            if (entry != nullptr) {
                EXPECT_TRUE(entry->IsCompiledInSecondStore());
                // No header: the data is read from the start of the file.
                TTextResource *lonely = ImportText("lonely");
                ASSERT_NE(lonely, nullptr);
                EXPECT_EQ(lonely->Value("a"), "b");
                GetResourceManager().ReleaseResource(lonely);
            }
            CloseAll();
        }
    }
}

TEST_F(ResourceBankTest, HeadersOfSourceAndBinarySourceFiles) {
    struct Case {
        const char *tag;
        bool loads;
    };
    const Case kCases[] = {
        {"one", true},    // "BSRC" where the rule says binary source
        {"two", false},   // binary source without "BSRC"
        {"three", false}, // "BSRC" in a text source
        {"four", true},   // plain text
    };
    for (int kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::string location = StoreLocation(m_Dir, kind, "headers");
        ASSERT_TRUE(WriteTree(kind, location,
                              {{"./b/one.bsrc", "BSRCTXTBk=1\n"},
                               {"./b/two.bsrc", "TXTBk=2\n"},
                               {"./b/three.txt", "BSRCk=3\n"},
                               {"./b/four.txt", "k=4\nmore=yes\n"}}));
        ASSERT_NE(Open(kind, location), nullptr);
        for (const Case &c : kCases) {
            SCOPED_TRACE(c.tag);
            TTextResource *resource = ImportText(c.tag);
            EXPECT_EQ(resource != nullptr, c.loads);
            if (resource != nullptr) {
                EXPECT_FALSE(resource->Value("k").empty());
                GetResourceManager().ReleaseResource(resource);
            }
        }
        CloseAll();
    }
}

/// Builds the compiled files of kTree's beta and alpha in a second store.
class CompiledFixture : public ResourceBankTest {
protected:
    void Build(int kind) {
        // Fresh stores each time: a compiled file left by an earlier build would be trusted
        // (its source is within the tolerance) and keep that build's source time.
        const std::string name = "dep" + std::to_string(++m_Builds);
        m_Location = StoreLocation(m_Dir, kind, name.c_str());
        m_Compiled = StoreLocation(m_Dir, kind, (name + "-compiled").c_str());
        ASSERT_TRUE(WriteTree(kind, m_Location, kTree));
        GetResourceManager().SetStoreAutocompiledResources(true);
        ASSERT_NE(OpenBoth(kind), nullptr);
        GetResourceManager().ReleaseResource(ImportText("beta"));
        CloseAll();
        GetResourceManager().SetStoreAutocompiledResources(false);
    }
    TResourceBank *OpenBoth(int kind) {
        TResourceBank *bank = Open(kind, m_Location);
        if (bank != nullptr && !bank->SetSecondStore(kind, m_Compiled.c_str()))
            return nullptr;
        return bank;
    }
    std::string m_Location;
    std::string m_Compiled;
    int m_Builds = 0;
};

TEST_F(CompiledFixture, DependencyCheckReasonsAndTolerance) {
    struct Case {
        const char *name;
        const char *file;     // whose time moves, or whose compiled flag is rewritten
        long long shiftUnits; // 100 ns units added to the source time
        uint32_t flag;        // written at offset 4 of beta's compiled file; 1 leaves it
        bool outOfDateAlpha;
        std::vector<int> reasons;
    };
    const long long second = 10000000;
    const Case kCases[] = {
        {"untouched", nullptr, 0, 1, false, {}},
        {"source one second newer", "./data/beta.txt", second, 1, false, {}},
        {"source two seconds newer", "./data/beta.txt", 2 * second, 1, false, {}},
        {"source two seconds older", "./data/beta.txt", -2 * second, 1, false, {}},
        {"source past the tolerance", "./data/beta.txt", 2 * second + 1, 1, false, {1}},
        {"source past the tolerance, older", "./data/beta.txt", -2 * second - 1, 1, false, {1}},
        {"unfinished file", nullptr, 0, 0xFFFFFFFFu, false, {0}},
        {"flag 2", nullptr, 0, 2, false, {0}},
        {"dependency newer", "./data/alpha.txt", 3 * second, 1, false, {4}},
        {"dependency out of date", nullptr, 0, 1, true, {5}},
    };
    TResourceManager_I &manager = GetResourceManager();
    for (int kind : {0, 1}) {
        for (const Case &c : kCases) {
            SCOPED_TRACE(std::string(c.name) + (kind ? " packed" : " directory"));
            Build(kind);
            TResourceBank *bank = OpenBoth(kind);
            ASSERT_NE(bank, nullptr);
            if (c.file != nullptr) {
                TFileTime time;
                ASSERT_TRUE(bank->GetStore()->GetFileTime(c.file, time));
                time.SetValue(time.GetValue() + static_cast<uint64_t>(c.shiftUnits));
                ASSERT_TRUE(bank->GetStore()->SetFileTime(c.file, time));
            }
            if (c.flag != 1) {
                TFileObj *file =
                    bank->GetSecondStore()->OpenFile("./data/beta.txt.testtext.bin", 2);
                ASSERT_NE(file, nullptr);
                std::string bytes = ReadRest(file);
                bank->GetSecondStore()->CloseFile(file);
                std::memcpy(&bytes[4], &c.flag, 4);
                file = bank->GetSecondStore()->OpenFile("./data/beta.txt.testtext.bin", 4);
                ASSERT_NE(file, nullptr);
                ASSERT_TRUE(file->Write(bytes.data(), static_cast<int>(bytes.size())));
                bank->GetSecondStore()->CloseFile(file);
            }
            if (c.outOfDateAlpha)
                bank->FindEntry(StrToID("alpha"))->SetOutOfDate(true);
            TSignalLog log;
            TResourceBankEntry_I *beta = bank->FindEntry(StrToID("beta"));
            EXPECT_EQ(bank->CheckDependencies(beta), c.reasons.empty());
            EXPECT_EQ(log.Reasons, c.reasons);
            // A failed check makes the load take the source, and it still succeeds.
            TTextResource *resource = ImportText("beta");
            ASSERT_NE(resource, nullptr);
            EXPECT_EQ(resource->Value("size"), "2");
            EXPECT_EQ(log.Words.at(1),
                      c.reasons.empty() ? "StartLoad(compiled)" : "StartLoad(source)");
            manager.ReleaseResource(resource);
            CloseAll();
        }
    }
}

TEST_F(CompiledFixture, CachedModeChecksOnceAndNeverModeTrustsTheFile) {
    Build(0);
    TResourceBank *bank = OpenBoth(0);
    ASSERT_NE(bank, nullptr);
    TResourceBankEntry_I *beta = bank->FindEntry(StrToID("beta"));
    bank->SetCheckMode(1);
    EXPECT_TRUE(bank->CheckDependencies(beta));
    // The compiled file goes; a cached check does not read it again.
    ASSERT_TRUE(bank->GetSecondStore()->DeleteFile("./data/beta.txt.testtext.bin"));
    EXPECT_TRUE(bank->CheckDependencies(beta));
    // Writing any entry's file ends every cached check: the next one reads again.
    TTextResource *alpha = ImportText("alpha");
    ASSERT_NE(alpha, nullptr);
    EXPECT_TRUE(GetResourceManager().ExportResource(alpha));
    GetResourceManager().ReleaseResource(alpha);
    EXPECT_FALSE(bank->CheckDependencies(beta));
    bank->SetCheckMode(2);
    EXPECT_FALSE(bank->CheckDependencies(beta));
    bank->SetCheckMode(0);
    EXPECT_TRUE(bank->CheckDependencies(beta));
    bank->SetCheckMode(3); // the manager's setting, 2 in this fixture
    EXPECT_EQ(bank->GetCheckMode(), 2u);
}

TEST_F(ResourceBankTest, AutocompileWritesOnlyWhenAllowed) {
    struct Case {
        const char *name;
        bool veto;
        bool canCompile;
        const char *tag;
        bool written;
    };
    const Case kCases[] = {
        {"written", false, true, "alpha", true},
        {"vetoed", true, true, "alpha", false},
        {"type cannot compile", false, false, "alpha", false},
        {"donotcompile", false, true, "nc", false},
    };
    TResourceManager_I &manager = GetResourceManager();
    manager.SetStoreAutocompiledResources(true);
    int round = 0;
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const std::string location =
            StoreLocation(m_Dir, 0, ("auto" + std::to_string(round)).c_str());
        const std::string compiled = location + "-compiled";
        ++round;
        ASSERT_TRUE(WriteTree(
            0, location, {{"./data/alpha.txt", "colour=red\n"}, {"./data/nc.nocomp", "n=1\n"}}));
        TResourceBank *bank = Open(0, location);
        ASSERT_NE(bank, nullptr);
        ASSERT_TRUE(bank->SetSecondStore(0, compiled.c_str()));
        TTextResource::Factory.Compile = c.canCompile;
        TSignalLog log;
        log.Veto = c.veto;
        TTextResource *resource = ImportText(c.tag);
        TTextResource::Factory.Compile = true;
        ASSERT_NE(resource, nullptr); // autocompile never fails an import
        manager.ReleaseResource(resource);
        const std::string path = std::string("./data/") +
                                 (c.tag[0] == 'n' ? "nc.nocomp" : "alpha.txt") + ".testtext.bin";
        EXPECT_EQ(bank->GetSecondStore()->Exists(path.c_str()), c.written);
        EXPECT_EQ(bank->FindEntry(StrToID(c.tag))->HasCompiled(), c.written);
        CloseAll();
    }
}

TEST_F(ResourceBankTest, DeleteCompiledRemoveEntryAndCopyEntryFiles) {
    const std::string location = StoreLocation(m_Dir, 0, "edit");
    const std::string other = StoreLocation(m_Dir, 0, "edit-copy");
    ASSERT_TRUE(WriteTree(0, location, kTree));
    ASSERT_TRUE(WriteTree(0, location, {{"./data/only.txt.testtext.bin", "TXTBa=1\n"}}));
    ASSERT_TRUE(WriteTree(0, other, {}));
    TResourceBank *bank = Open(0, location);
    ASSERT_NE(bank, nullptr);
    EXPECT_FALSE(bank->DeleteCompiled(nullptr));
    EXPECT_TRUE(bank->DeleteCompiled(bank->FindEntry(StrToID("alpha")))); // nothing compiled
    EXPECT_FALSE(bank->DeleteCompiled(bank->FindEntry(StrToID("only")))); // no source: kept
    EXPECT_TRUE(bank->GetStore()->Exists("./data/only.txt.testtext.bin"));

    // Copying needs the target not to supply the id already, unless replacing.
    TResourceBank *copy = Open(0, other);
    ASSERT_NE(copy, nullptr);
    TResourceBankEntry_I *alpha = bank->FindEntry(StrToID("alpha"));
    EXPECT_TRUE(copy->CopyEntryFiles(bank, alpha, true, false, false));
    EXPECT_TRUE(copy->GetStore()->Exists("./data/alpha.txt"));
    ASSERT_NE(copy->FindEntry(StrToID("alpha")), nullptr);
    EXPECT_TRUE(copy->FindEntry(StrToID("alpha"))->HasSource());
    EXPECT_FALSE(copy->CopyEntryFiles(bank, alpha, true, false, false));
    EXPECT_TRUE(copy->CopyEntryFiles(bank, alpha, true, false, true));
    EXPECT_FALSE(copy->CopyEntryFiles(bank, bank->FindEntry(StrToID("only")), true, false, false));
    EXPECT_EQ(copy->FindEntry(StrToID("only")), nullptr);

    // A parameter set on one entry changes that entry only, though lists are shared.
    TResourceBankEntry_I *beta = bank->FindEntry(StrToID("beta"));
    TResourceBankEntry_I *alphaEntry = bank->FindEntry(StrToID("alpha"));
    beta->SetParameter("DoNotCompile", "true");
    EXPECT_TRUE(beta->GetBoolParameter("donotcompile", false));
    EXPECT_FALSE(alphaEntry->GetBoolParameter("donotcompile", false));
    beta->SetParameter("donotcompile", "false");
    EXPECT_FALSE(beta->GetBoolParameter("donotcompile", true));
    EXPECT_EQ(static_cast<TResourceBankEntry *>(beta)->GetParameters()->GetParameterCount(), 1);

    TTextResource *resource = ImportText("alpha");
    ASSERT_NE(resource, nullptr);
    bank->RemoveEntry(StrToID("alpha"), true);
    EXPECT_EQ(resource->GetBankEntry(), nullptr); // the object outlives its entry
    EXPECT_FALSE(bank->GetStore()->Exists("./data/alpha.txt"));
    GetResourceManager().ReleaseResource(resource);
}

TEST_F(ResourceBankTest, LoadsUnderFailingAllocationsLeakNothing) {
    for (int kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::string location = StoreLocation(m_Dir, kind, "faults");
        ASSERT_TRUE(WriteTree(kind, location, kTree));
        auto attempt = [&] {
            TResourceBank_I *bank = GetResourceManager().OpenBank(
                kind, location.c_str(), m_RulePath, false, TDynamicString());
            if (bank == nullptr)
                return false;
            TTextResource *beta = ImportText("beta");
            const bool ok =
                beta != nullptr && beta->Value("size") == "2" && beta->Imports.size() == 1;
            if (beta != nullptr)
                GetResourceManager().ReleaseResource(beta);
            GetResourceManager().CloseBank(bank);
            return ok;
        };
        ASSERT_TRUE(attempt()); // first use makes the lasting singletons' tables
        TAllocatorFaultGuard guard;
        auto &faults = GetAllocatorInstance().Faults();
        int n = 1;
        for (; n < 100000; ++n) {
            const size_t liveBefore = GetAllocatorInstance().GetLiveBlocks();
            faults.Arm(static_cast<uint64_t>(n));
            (void)attempt(); // a fault may be survived (a rescan) or fail the load, never leak
            const bool hit = faults.GetFailures() != 0;
            faults.Disarm();
            ASSERT_EQ(GetAllocatorInstance().GetLiveBlocks(), liveBefore) << "allocation " << n;
            if (!hit)
                break;
        }
        EXPECT_GT(n, 20);
        // Nothing was written beside the store, and no pack was set aside as damaged.
        for (const auto &item : std::filesystem::directory_iterator(m_Dir.Path())) {
            const std::string name = item.path().filename().string();
            EXPECT_TRUE(name == "rules.rre" || name == "faults" || name == "faults.vrb") << name;
        }
        EXPECT_TRUE(attempt()); // and every resource is still there
    }
}

TEST(IdIndex, MatchesAnOrderedMapUnderRandomInsertsAndErases) {
    // Ids from a small range collide often, so runs form and erasing must shift them back.
    struct Case {
        uint32_t range;
        int operations;
    };
    const Case kCases[] = {{50, 2000}, {5000, 20000}, {0xFFFFFFFFu, 20000}};
    std::vector<int> values(64);
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.range);
        vlib::detail::TIdIndex<int> index;
        std::map<uint32_t, int *> reference;
        std::mt19937 random(7);
        for (int i = 0; i < c.operations; ++i) {
            const uint32_t id = static_cast<uint32_t>(random() % c.range) * 2654435761u;
            if (random() % 3 == 0) {
                index.Erase(id);
                reference.erase(id);
            } else {
                int *value = &values[random() % values.size()];
                index.Insert(id, value);
                reference[id] = value;
            }
            const uint32_t probe = static_cast<uint32_t>(random() % c.range) * 2654435761u;
            const auto found = reference.find(probe);
            ASSERT_EQ(index.Find(probe), found == reference.end() ? nullptr : found->second);
        }
        ASSERT_EQ(index.GetCount(), reference.size());
        for (const auto &[id, value] : reference)
            ASSERT_EQ(index.Find(id), value);
    }
}

} // namespace
