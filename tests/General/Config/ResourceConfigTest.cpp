#include "General/Config/ResourceConfig.h"

#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "General/Config/ConfigInfo.h"
#include "Support/TempDir.h"

namespace {

// Renders a bank as "Type:Location|SecondType:SecondLocation|rule|list|ro".
std::string Render(const TResourceBankConfig &bank) {
    return std::to_string(bank.Type) + ":" + bank.Location.GetData() + "|" +
           std::to_string(bank.SecondType) + ":" + bank.SecondLocation.GetData() + "|" +
           bank.RuleFile.GetData() + "|" + bank.ListFile.GetData() + "|" +
           (bank.ReadOnly ? "ro" : "rw");
}

TEST(ResourceConfig, ReadsBankLines) {
    struct Case {
        const char *line;
        bool good;
        const char *bank;
        const char *name;
    };
    constexpr Case kCases[] = {
        {"FileSystem \"a\"", true, "0:a|-1:|||rw", ""},
        {"filesystemREADONLY \"a\"", true, "0:a|-1:|||ro", ""},
        {"ReadOnly \"a\"", false, "", ""},
        {"ZipFile \"a\" FileSystem \"\"", false, "", ""},
        {"ZipFile \"a\" none \"b\"", false, "", ""},
        {"PackedFile \"p.pak\" ZipFile \"z.zip\" \"r.rre\" \"l.vrl\" \"Main\"", true,
         "1:p.pak|2:z.zip|r.rre|l.vrl|rw", "Main"},
        {"PackedFile \"p.pak\" none \"\" \"r.rre\"", true, "1:p.pak|-1:|||rw", ""},
        {"Unknown \"a\"", false, "", ""},
        {"FileSystem", false, "", ""},
        {"FileSystem \"\"", false, "", ""},
        {"", false, "", ""},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.line);
        TResourceBankConfig bank;
        TDynamicString name("stale");
        ASSERT_EQ(TResourceBankConfig::ParseLine(c.line, bank, name), c.good);
        if (c.good) {
            EXPECT_EQ(Render(bank), c.bank);
            EXPECT_STREQ(name.GetData(), c.name);
        }
    }
}

TEST(ResourceConfig, BanksGetIndicesInOrderAndBadLinesTakeNone) {
    vlib::test::TTempDir dir;
    const std::string ini = dir.File("banks.ini");
    std::ofstream(ini) << "[ResourceSystem]\n"
                          "NumberOfResourceBanks=6\n"
                          "ResourceBank0=ZipFile \"a\" ZipFile \"b\" \"r\" \"l\" \"Main\"\n"
                          "ResourceBank1=Bad \"x\"\n"
                          "ResourceBank2=FileSystem \"c\"\n"
                          "ResourceBank3=PackedFile \"d\" ZipFile \"e\" \"r\" \"l\" \"MAIN\"\n"
                          "ResourceBank4=FileSystemReadOnly \"f\"\n"
                          "ResourceBank6=FileSystem \"beyond the count\"\n";
    TConfigInfo config(TDynamicString(ini.c_str()), TDynamicString(""));
    TResourceConfig &resources = TResourceConfig::GetSingleton();
    EXPECT_EQ(&resources, config.ResourceConfig);
    // Bank 1 is bad and takes no index; bank 3 repeats the name "Main" and is skipped; bank 5
    // is absent, and bank 6 is beyond the count.
    ASSERT_EQ(resources.GetNumResourceBanks(), 3u);
    EXPECT_EQ(resources.GetResBankIndexFromName("main"), 0);
    EXPECT_EQ(resources.GetResBankIndexFromName("1"), 1);
    EXPECT_EQ(resources.GetResBankIndexFromName("2"), 2);
    EXPECT_EQ(resources.GetResBankIndexFromName("3"), -1);
    EXPECT_EQ(Render(resources.GetResBankSpecification(0)), "2:a|2:b|r|l|rw");
    EXPECT_EQ(Render(resources.GetResBankSpecification(1)), "0:c|-1:|||rw");
    EXPECT_EQ(Render(resources.GetResBankSpecification(2)), "0:f|-1:|||ro");
}

TEST(ResourceConfig, SettingsObjectLeavesNoBlockBehind) {
    vlib::test::TTempDir dir;
    const std::string ini = dir.File("banks.ini");
    std::ofstream(ini) << "[ResourceSystem]\nNumberOfResourceBanks=2\n"
                          "ResourceBank0=FileSystem \"a\" ZipFile \"b\" \"r\" \"l\" \"n\"\n"
                          "ResourceBank1=PackedFileReadOnly \"c\"\n"
                          "[Debug]\nDebug output path=" +
                              dir.Path() +
                              "\n"
                              "Debug output log file=run.log\n";
    const TDynamicString commandLine("--cfg Gui \"Default font\" {x}.fnt");
    auto build = [&] {
        TConfigInfo config(TDynamicString(ini.c_str()), commandLine);
        return config.ResourceConfig->GetNumResourceBanks() == 2 &&
               config.GetDebugLogger() != nullptr;
    };
    ASSERT_TRUE(build()); // first use makes the process-wide objects
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    ASSERT_TRUE(build());
    EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), before);
}

TEST(ResourceConfig, NegativeBankCountReadsNoBank) {
    TConfigInfo config(TDynamicString(""),
                       TDynamicString("--cfg ResourceSystem NumberOfResourceBanks -4 --cfg "
                                      "ResourceSystem ResourceBank0 FileSystem"));
    EXPECT_EQ(config.ResourceConfig->GetNumResourceBanks(), 0u);
}

} // namespace
