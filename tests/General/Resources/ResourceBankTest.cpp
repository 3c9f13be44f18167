// Tests of resource banks on real trees in both store kinds: parsing file names with rules,
// the four settings modes, the list file's round trip and its corruptions, duplicates, the
// dependency check of compiled files, and loads under failing allocations.
#include "General/Resources/Detail/ResourceBank.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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
        for (int i = 0; i < list->GetParameterCount(); ++i)
            text += std::string("|") + name.GetData() + "=" +
                    list->GetParameter(i, name)->GetData() + "/" + name.GetData();
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

} // namespace
