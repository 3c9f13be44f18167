#include "General/Config/ConfigInfo.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "General/Config/ResourceConfig.h"
#include "General/Core/DebugServices.h"
#include "General/Diagnostics/DebugLogger.h"
#include "General/Maths/Vector.h"
#include "Support/TempDir.h"

using vlib::test::TTempDir;

namespace {

void WriteFile(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string Str(const TDynamicString &text) {
    return text.GetData();
}

std::string Colour(const TVector3 &c) {
    char text[64];
    std::snprintf(text, sizeof text, "%g %g %g", static_cast<double>(c.x), static_cast<double>(c.y),
                  static_cast<double>(c.z));
    return text;
}

// One setting seen through the three layers: what the code's default gives, what an INI
// value gives, and what a "--cfg" value on top of that INI value gives.
struct Case {
    const char *section;
    const char *key;
    const char *iniValue;
    const char *commandValue;
    std::string (*get)(const TConfigInfo &);
    const char *byDefault;
    const char *byIni;
    const char *byCommand;
};

// clang-format off
constexpr Case kCases[] = {
    {"ResourceSystem", "StoreAutocompiledResources", "false", "TRUE",
     [](const TConfigInfo &c) { return std::to_string(c.ResourceConfig->StoreAutocompiledResources); },
     "1", "0", "1"},
    {"ResourceSystem", "UsePrecompiledResources", "yes", "True",
     [](const TConfigInfo &c) { return std::to_string(c.ResourceConfig->UsePrecompiledResources); },
     "1", "0", "1"},
    {"ResourceSystem", "UseSourceResources", "False", "true",
     [](const TConfigInfo &c) { return std::to_string(c.ResourceConfig->UseSourceResources); },
     "1", "0", "1"},
    {"ResourceSystem", "CheckDependencies", "ALWAYS", "false",
     [](const TConfigInfo &c) { return std::to_string(c.ResourceConfig->DependencyMode); },
     "1", "2", "0"},
    {"ResourceSystem", "DefaultRuleFilePath", "rules/a.rre", "b.rre",
     [](const TConfigInfo &c) { return Str(c.ResourceConfig->DefaultRuleFilePath); },
     "../resource/prog/config/library_resources.rre", "rules/a.rre", "b.rre"},
    {"ResourceSystem", "DefResourceListLocation", "a.vrl", "b.vrl",
     [](const TConfigInfo &c) { return Str(c.ResourceConfig->DefResourceListLocation); },
     "ResourceList.vrl", "a.vrl", "b.vrl"},
    {"ResourceSystem", "TagRuleFile", "tag.rre", "tag2.rre",
     [](const TConfigInfo &c) { return Str(c.ResourceConfig->TagRuleFile) + "," + Str(c.ResourceConfig->TypeRuleFile); },
     ",", "tag.rre,tag.rre", "tag2.rre,tag2.rre"},
    {"ResourceSystem", "MemoryCacheSize", "3", "many",
     [](const TConfigInfo &c) { return std::to_string(c.MemoryCacheSize); },
     "0", "3145728", "0"},
    {"Resources", "Resource path", "data", "/opt/game/res/",
     [](const TConfigInfo &c) { return Str(c.ResourcePath) + "," + Str(c.SoundPath); },
     "../Resource/,../Resource/Sound/", "data,data/Sound/", "/opt/game/res/,/opt/game/res/Sound/"},
    {"Debug", "Debug output path", "/x/logs", "D:\\logs\\",
     [](const TConfigInfo &c) { return Str(c.DebugOutputPath); },
     nullptr, "/x/logs/", "D:\\logs\\"},
    {"Debug", "DebugFlushLog", "TRUE", "no",
     [](const TConfigInfo &c) { return std::to_string(c.DebugFlushLog); },
     "0", "1", "0"},
    {"Debug", "Save file for inputs", "in/a.sav", "/abs/b.sav",
     [](const TConfigInfo &c) { return Str(c.SaveFileForInputs); },
     "", "in/a.sav", "/abs/b.sav"},
    {"Debug", "Input playback file", "in\\a.rec", "/abs/b.rec",
     [](const TConfigInfo &c) { return Str(c.InputPlaybackFile); },
     "", "in\\a.rec", "/abs/b.rec"},
    {"Debug", "Allow normal input", "false", "true",
     [](const TConfigInfo &c) { return std::to_string(c.AllowNormalInput); },
     "1", "0", "1"},
    {"Debug", "Print filter", "Render*", "Sound*",
     [](const TConfigInfo &) { return std::string(GetDbgMsgSelector().GetFilter()) + "," + GetAssertMsgSelector().GetFilter(); },
     ",", "Render*,Render*", "Sound*,Sound*"},
    {"Debug", "CRT Report File", "crt.txt", "crt2.txt",
     [](const TConfigInfo &c) { return Str(c.CrtReportFile); },
     "", "crt.txt", "crt2.txt"},
    {"Debug", "View Culprits", "true", "false",
     [](const TConfigInfo &) { return std::to_string(TDebugServices::GetViewCulprits()); },
     "0", "1", "0"},
    {"Debug", "View Assert Culprits", "true", "false",
     [](const TConfigInfo &) { return std::to_string(TDebugServices::GetViewAssertCulprits()); },
     "0", "1", "0"},
    {"Debug", "Ignore duplicate asserts", "true", "false",
     [](const TConfigInfo &) { return std::to_string(TDebugServices::GetIgnoreDuplicateAsserts()); },
     "0", "1", "0"},
    {"Debug", "DebugViewAlerts", "7", "2",
     [](const TConfigInfo &) { return std::to_string(TDebugServices::GetViewAlerts()); },
     "1", "1", "2"},
    {"Debug", "Yield When Inactive", "true", "0",
     [](const TConfigInfo &c) { return std::to_string(c.YieldWhenInactive); },
     "0", "1", "0"},
    {"Graphics", "Start Fullscreen", "true", "false",
     [](const TConfigInfo &c) { return std::to_string(c.StartFullscreen); },
     "0", "1", "0"},
    {"Graphics", "VertexCacheSize", "abc", "32",
     [](const TConfigInfo &c) { return std::to_string(c.VertexCacheSize); },
     "16", "0", "32"},
    {"Gui", "Default font", "Arial.fnt", "Mono.fnt",
     [](const TConfigInfo &c) { return Str(c.DefaultFont); },
     "Book20.fnt", "Arial.fnt", "Mono.fnt"},
    {"Gui", "Default font colour", "1, 0.5, 0.75", "0.5",
     [](const TConfigInfo &c) { return Colour(*c.DefaultFontColour); },
     "0.25 0.125 0", "1 0.5 0.75", "0.5 1 1"},
    {"Mouse", "Mouse exclusive", "false", "true",
     [](const TConfigInfo &c) { return std::to_string(c.MouseExclusive); },
     "1", "0", "1"},
    {"Keyboard", "Text Input Code Page", "1252", "437",
     [](const TConfigInfo &c) { return std::to_string(c.TextInputCodePage); },
     "0", "1252", "437"},
    {"Sound", "subdirectory", "Sfx", "Audio/",
     [](const TConfigInfo &c) { return Str(c.SoundPath); },
     "../Resource/Sound/", "../Resource/Sfx/", "../Resource/Audio/"},
    {"Sound", "properties file", "a.spb", "b.spb",
     [](const TConfigInfo &c) { return Str(c.SoundPropertiesFile); },
     "Effects.spb", "a.spb", "b.spb"},
    {"Network", "Timeout", "100", "2000",
     [](const TConfigInfo &c) { return std::to_string(c.NetworkTimeout); },
     "36000", "100", "2000"},
};
// clang-format on

TEST(ConfigInfo, EverySettingThroughEachLayer) {
    TTempDir dir;
    const std::string ini = dir.File("settings.ini");
    const std::string missing = dir.File("missing.ini");
    for (const Case &c : kCases) {
        SCOPED_TRACE(std::string(c.section) + "/" + c.key);
        WriteFile(ini, std::string("[") + c.section + "]\n" + c.key + "=" + c.iniValue + "\n");
        const std::string commandLine = std::string("-x 1 --cfg \"") + c.section + "\" \"" + c.key +
                                        "\" \"" + c.commandValue + "\"";
        {
            TConfigInfo config(TDynamicString(missing.c_str()), TDynamicString(""));
            const std::string expected =
                c.byDefault != nullptr ? c.byDefault : Str(TConfigInfo::DefaultTempPath());
            EXPECT_EQ(c.get(config), expected) << "default";
        }
        {
            TConfigInfo config(TDynamicString(ini.c_str()), TDynamicString("-x 1"));
            EXPECT_EQ(c.get(config), c.byIni) << "INI file";
        }
        {
            TConfigInfo config(TDynamicString(ini.c_str()), TDynamicString(commandLine.c_str()));
            EXPECT_EQ(c.get(config), c.byCommand) << "command line";
        }
    }
}

TEST(ConfigInfo, CommandLineOverridesOnlyWithThreeParameters) {
    TTempDir dir;
    const std::string ini = dir.File("a.ini");
    WriteFile(ini, "[Debug]\nDebugFlushLog=false\n[Gui]\nDefault font=\n");
    struct Line {
        const char *text;
        bool flush;
    };
    constexpr Line kLines[] = {
        {"--cfg Debug DebugFlushLog true", true},
        {"--CFG debug debugflushlog TRUE extra", true},
        {"--cfg Debug DebugFlushLog", false}, // two parameters: ignored
        {"--cfg Debug DebugFlushLog false --cfg Debug DebugFlushLog true", false}, // first wins
        {"-cfg Debug DebugFlushLog true", false},
        {"--cfg Debug x --unknown a b c", false},
    };
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.text);
        TConfigInfo config(TDynamicString(ini.c_str()), TDynamicString(line.text));
        EXPECT_EQ(config.DebugFlushLog, line.flush);
        // "key=" is found in the file and is not replaced by the default.
        EXPECT_EQ(Str(config.DefaultFont), "");
    }
}

TEST(ConfigInfo, SourcesAreNamedAndAMissingFileIsEmpty) {
    TTempDir dir;
    const std::string ini = dir.File("named.ini");
    WriteFile(ini, "[Network]\nTimeout=5\n");
    {
        TConfigInfo config(TDynamicString(ini.c_str()), TDynamicString(""));
        EXPECT_EQ(Str(config.GetConfigFile()->GetName()), "Command line + " + ini);
        EXPECT_EQ(TConfigInfo::Config, &config);
    }
    EXPECT_EQ(TConfigInfo::Config, nullptr);
    TConfigInfo config(TDynamicString(dir.Path().c_str()), TDynamicString("")); // a folder
    EXPECT_EQ(Str(config.GetConfigFile()->GetName()), "Command line + ");
    EXPECT_EQ(config.NetworkTimeout, 36000);

    TConfigFile *none[] = {nullptr};
    TConfigFile *empty = TConfigInfo::CreateLayeredFile(none);
    TDynamicString value("kept");
    EXPECT_FALSE(empty->Read(TDynamicString("a"), TDynamicString("b"), value));
    EXPECT_EQ(Str(value), "kept");
    delete empty;
}

// Gives "{root}" a meaning, as a host's settings class does.
class TMacroConfig : public TConfigInfo {
public:
    explicit TMacroConfig(const char *commandLine) {
        Initialise(TDynamicString(""), TDynamicString(commandLine));
    }
    TDynamicString Expand(const TDynamicString &name) override {
        return name == "root" ? TDynamicString("/game") : name;
    }
};

TEST(ConfigInfo, ReadsExpandMacrosAndConvertTypes) {
    TMacroConfig config("--cfg S Path {root}/{root}/x --cfg S Open a{b --cfg S Nest {{a}}b");
    config.BeginSectionRead("s");
    struct Read {
        const char *key;
        const char *defaultValue;
        const char *expected;
    };
    constexpr Read kReads[] = {
        {"Path", "", "/game//game/x"},    {"Open", "", "a{b"},      {"Nest", "", "ab"},
        {"Absent", "{abc}def", "abcdef"}, {"Absent", "x}{", "x}{"}, {"Absent", "{}", ""},
    };
    for (const Read &read : kReads) {
        SCOPED_TRACE(read.key);
        EXPECT_EQ(Str(config.ReadString(read.key, read.defaultValue)), read.expected);
    }

    EXPECT_EQ(config.ReadInt("Absent", "12abc"), 12);
    EXPECT_EQ(config.ReadInt("Absent", "abc"), 0);
    EXPECT_FLOAT_EQ(config.ReadFloat("Absent", "2.5"), 2.5f);
    EXPECT_EQ(Colour(config.ReadVector("Absent", "1,2,3,4")), "1 2 3");
    EXPECT_EQ(Colour(config.ReadVector("Absent", "7")), "7 0 0");
    EXPECT_EQ(config.ReadIntArray("Absent", "1, 2,,x,5"), (TLibVector<int>{1, 2, 0, 0, 5}));
    EXPECT_TRUE(config.ReadIntArray("Absent", "").empty());

    int *array = nullptr;
    int count = -1;
    config.ReadIntArray("Absent", "4,5", array, count);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(array[0] + array[1], 9);
    GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(array));
    config.ReadIntArray("Absent", "", array, count);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(count, 0);
}

TEST(ConfigInfo, AssertFilterFollowsPrintFilterWhenUndefined) {
    struct Filter {
        const char *commandLine;
        const char *assertFilter;
    };
    constexpr Filter kFilters[] = {
        {"--cfg Debug \"Print filter\" P", "P"},
        {"--cfg Debug \"Print filter\" P --cfg Debug \"Assert filter\" UNDEFINED", "P"},
        {"--cfg Debug \"Print filter\" P --cfg Debug \"Assert filter\" A", "A"},
        {"--cfg Debug \"Assert filter\" \"\"", ""},
    };
    for (const Filter &f : kFilters) {
        SCOPED_TRACE(f.commandLine);
        TConfigInfo config(TDynamicString(""), TDynamicString(f.commandLine));
        EXPECT_STREQ(GetAssertMsgSelector().GetFilter(), f.assertFilter);
    }
}

TEST(ConfigInfo, DebugFilesArePlacedBelowTheOutputPath) {
    TTempDir dir;
    const std::string out = dir.File("out/deeper");
    const std::string commandLine = "--cfg Debug \"Debug output path\" " + out +
                                    " --cfg Debug \"Debug output log file\" run.log"
                                    " --cfg Debug \"Network log file\" net.log"
                                    " --cfg Debug \"Save file for inputs\" in.sav"
                                    " --cfg Debug \"Input playback file\" sub/in.rec";
    {
        TConfigInfo config(TDynamicString(""), TDynamicString(commandLine.c_str()));
        EXPECT_EQ(Str(config.NetworkLogFile), out + "/net.log");
        EXPECT_EQ(Str(config.SaveFileForInputs), out + "/in.sav");
        EXPECT_EQ(Str(config.InputPlaybackFile), "sub/in.rec");
        ASSERT_NE(config.GetDebugLogger(), nullptr);
        EXPECT_EQ(Str(config.GetDebugLogger()->GetFilename()), out + "/run.log");
        EXPECT_EQ(Str(TConfigInfo::FullTempFilename(TDynamicString("t/x.tmp"))), out + "/t/x.tmp");
        EXPECT_EQ(access((out + "/t").c_str(), F_OK), 0);
        GetFormatDebugCopies().Output("after start-up\n");
    }
    const std::string log = ReadFile(out + "/run.log");
    EXPECT_EQ(log.rfind("Running ", 0), 0u) << log;
    EXPECT_NE(log.find("with config Command line + \r\n"), std::string::npos) << log;
    EXPECT_NE(log.find("after start-up\r\n"), std::string::npos) << log;
    // The log left the debug copies with the object.
    GetFormatDebugCopies().Output("after the end\n");
    EXPECT_EQ(ReadFile(out + "/run.log"), log);
}

// Records the code instead of ending the test process.
int gExitCode = -1;
void RecordExit(int code) {
    gExitCode = code;
}

// Collects the debug text, to see the alert.
class TCollector : public TFormatDebugCopy {
public:
    void OutputFDString(const char *text) override { lines += text; }
    std::string lines;
};

TEST(ConfigInfo, FindGameRootDirectoryLooksUpToThreeLevelsUp) {
    TTempDir dir;
    WriteFile(dir.File("game.marker"), "");
    const std::string deep = dir.File("a/b/c");
    ASSERT_EQ(std::system(("mkdir -p '" + deep + "/d'").c_str()), 0);
    WriteFile(dir.File("a/other.marker"), "");
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    char real[4096];
    ASSERT_NE(realpath(dir.Path().c_str(), real), nullptr);

    ASSERT_EQ(chdir(deep.c_str()), 0);
    EXPECT_EQ(Str(TConfigInfo::FindGameRootDirectory(TDynamicString("game.marker"))),
              std::string(real) + "/");
    TDynamicString viaDir;
    TConfigInfo::FindGameRootDirectory("..", "other.marker", viaDir); // found by "../"
    EXPECT_EQ(Str(viaDir), std::string(real) + "/a/b/");

    ASSERT_EQ(chdir("d"), 0); // four levels below: out of reach
    TCollector collector;
    GetFormatDebugCopies().AddCopy(&collector);
    const TConfigInfo::TExitHook old = TConfigInfo::SetExitHook(RecordExit);
    gExitCode = -1;
    const TDynamicString none = TConfigInfo::FindGameRootDirectory(TDynamicString("game.marker"));
    TConfigInfo::SetExitHook(old);
    GetFormatDebugCopies().RemoveCopy(&collector);
    ASSERT_EQ(chdir(previous), 0);

    EXPECT_EQ(gExitCode, 1);
    EXPECT_TRUE(none.IsEmpty());
    EXPECT_NE(collector.lines.find("Fatal Error: Bad install: game.marker not found"),
              std::string::npos)
        << collector.lines;
}

// A real division, so the signal carries the processor's reason; the undefined-behaviour
// sanitizer would report it first.
__attribute__((no_sanitize("undefined"))) void DivideByZero() {
    volatile int zero = 0;
    volatile int numerator = 7;
    volatile int result = numerator / zero;
    (void)result;
}

TEST(ConfigInfoDeathTest, ArmedFilterNamesTheCrash) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Crash {
        void (*crash)();
        const char *report;
    };
    const Crash kCrashes[] = {
        {[] { std::raise(SIGSEGV); },
         "Fatal exception: EXCEPTION_ACCESS_VIOLATION: The thread tried to read from"},
        {DivideByZero,
         "Fatal exception: EXCEPTION_INT_DIVIDE_BY_ZERO: The thread tried to divide an integer"},
        {[] { std::raise(SIGTRAP); }, "Fatal exception: EXCEPTION_BREAKPOINT: A breakpoint"},
    };
    for (const Crash &c : kCrashes) {
        SCOPED_TRACE(c.report);
        EXPECT_DEATH(
            {
                TConfigInfo config(TDynamicString(""),
                                   TDynamicString("--cfg Debug \"No unhandled exceptions\" TRUE"));
                c.crash();
            },
            c.report);
    }
}

} // namespace
