// The settings object and its three kinds of source. Every library setting is read once, in a
// fixed order, while the object is built; the debug log is opened the moment its key is read,
// so the settings after it can already write to it.
#include "General/Config/ConfigInfo.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <utility>

#include "General/Config/CommandLine.h"
#include "General/Config/Detail/ExceptionFilter.h"
#include "General/Config/IniFile.h"
#include "General/Config/ResourceConfig.h"
#include "General/Core/DebugServices.h"
#include "General/Diagnostics/DebugLogger.h"
#include "General/Maths/Vector.h"
#include "General/Streams/FileSystem.h"
#include "General/Streams/RealFile.h"
#include "General/Text/SplitString.h"

TConfigInfo *TConfigInfo::Config = nullptr;

namespace {

// A macro's expansion could itself hold braces; this many expansions end the loop.
constexpr int kMaxExpansions = 4096;

void ExitProcess(int code) {
    std::exit(code);
}

TConfigInfo::TExitHook gExitHook = ExitProcess;

bool HasSeparator(const TDynamicString &path) {
    return std::strpbrk(path.GetData(), "/\\") != nullptr;
}

} // namespace

// ---- Sources ----

TConfigFile::~TConfigFile() = default;

TConfigFileIni::~TConfigFileIni() {
    delete m_Ini;
}

TDynamicString TConfigFileIni::GetName() {
    return TDynamicString(m_Ini != nullptr ? m_Ini->GetFilename() : nullptr);
}

bool TConfigFileIni::Read(const TDynamicString &section, const TDynamicString &key,
                          TDynamicString &value) {
    return m_Ini != nullptr && m_Ini->GetIniString(section.GetData(), key.GetData(), value);
}

TConfigFileCommandLine::TConfigFileCommandLine(const char *commandLine) {
    TCommandLine parsed;
    parsed.Parse(commandLine, '-', " \t");
    for (int i = 0; i < parsed.GetNumArgs(); ++i) {
        const TCommandLineArg &arg = parsed.GetArg(i);
        if (arg.name.Compare("--cfg", false) != 0 || arg.parameters.size() < 3)
            continue;
        m_Values.push_back(TTriple{arg.parameters[0], arg.parameters[1], arg.parameters[2]});
    }
}

TDynamicString TConfigFileCommandLine::GetName() {
    return TDynamicString("Command line");
}

bool TConfigFileCommandLine::Read(const TDynamicString &section, const TDynamicString &key,
                                  TDynamicString &value) {
    for (const TTriple &triple : m_Values) {
        if (triple.section.Compare(section.GetData(), false) == 0 &&
            triple.key.Compare(key.GetData(), false) == 0) {
            value = triple.value;
            return true;
        }
    }
    return false;
}

TConfigFileLayered::~TConfigFileLayered() {
    for (TConfigFile *layer : m_Layers)
        delete layer;
}

void TConfigFileLayered::AddLayer(TConfigFile *layer) {
    if (layer != nullptr)
        m_Layers.push_back(layer);
}

TDynamicString TConfigFileLayered::GetName() {
    TDynamicString name;
    for (size_t i = 0; i < m_Layers.size(); ++i) {
        if (i > 0)
            name.Append(" + ");
        name.Append(m_Layers[i]->GetName().GetData());
    }
    return name;
}

bool TConfigFileLayered::Read(const TDynamicString &section, const TDynamicString &key,
                              TDynamicString &value) {
    for (TConfigFile *layer : m_Layers)
        if (layer->Read(section, key, value))
            return true;
    return false;
}

TConfigFile *TConfigInfo::CreateIniFile(const TDynamicString &fileName) {
    auto *ini = new TIniFile;
    TIniFile::AllowMissing = false;
    TRealFile file;
    // A folder opens for reading on Linux, but it is no INI file.
    if (!vlfs::IsDirectory(fileName) && file.Open(fileName, TFileObj::FlagReadable)) {
        if (ini->LoadAscii(&file))
            ini->SetFilename(fileName.GetData());
        file.Close();
    }
    return new TConfigFileIni(ini);
}

TConfigFile *TConfigInfo::CreateCommandLineFile(const TDynamicString &commandLine) {
    return new TConfigFileCommandLine(commandLine.GetData());
}

TConfigFile *TConfigInfo::CreateLayeredFile(TConfigFile **files) {
    auto *layered = new TConfigFileLayered;
    for (; files != nullptr && *files != nullptr; ++files)
        layered->AddLayer(*files);
    return layered;
}

// ---- The settings object ----

TConfigInfo::TConfigInfo() {
    Config = this;
}

TConfigInfo::TConfigInfo(const TDynamicString &iniFile, const TDynamicString &commandLine) {
    Config = this;
    Initialise(iniFile, commandLine);
}

TConfigInfo::~TConfigInfo() {
    if (Config == this)
        Config = nullptr;
    delete ResourceConfig;
    delete DefaultFontColour;
    if (DebugLogger != nullptr) {
        (void)GetFormatDebugCopies().RemoveCopy(DebugLogger); // false only if never added
        delete DebugLogger;
    }
    delete m_OwnedFile;
}

void TConfigInfo::Initialise(const TDynamicString &iniFile, const TDynamicString &commandLine) {
    // The command line comes first, so that it overrides the file.
    TConfigFile *files[] = {CreateCommandLineFile(commandLine), CreateIniFile(iniFile), nullptr};
    delete m_OwnedFile;
    m_OwnedFile = CreateLayeredFile(files);
    Initialise(m_OwnedFile);
}

TDynamicString TConfigInfo::Expand(const TDynamicString &name) {
    return name;
}

void TConfigInfo::BeginSectionRead(const char *section) {
    m_Section = section;
}

TDynamicString TConfigInfo::ReadString(const char *key, const char *defaultValue) {
    TDynamicString value;
    if (m_File == nullptr || !m_File->Read(m_Section, TDynamicString(key), value))
        value = defaultValue;
    for (int round = 0; round < kMaxExpansions; ++round) {
        const int open = value.FindSubstring("{");
        if (open < 0)
            break;
        const int close = value.FindSubstring("}", open);
        if (close < 0)
            break;
        const TDynamicString expanded = Expand(value.Middle(open + 1, close - open - 1));
        value = value.Left(open) + expanded + value.From(close + 1);
    }
    return value;
}

bool TConfigInfo::ReadBool(const char *key, const char *defaultValue) {
    return ReadString(key, defaultValue).Compare("true", false) == 0;
}

int TConfigInfo::ReadInt(const char *key, const char *defaultValue) {
    return std::atoi(ReadString(key, defaultValue).GetData());
}

float TConfigInfo::ReadFloat(const char *key, const char *defaultValue) {
    return static_cast<float>(std::atof(ReadString(key, defaultValue).GetData()));
}

TVector3 TConfigInfo::ReadVector(const char *key, const char *defaultValue) {
    const TDynamicString text = ReadString(key, defaultValue);
    // The text is cut at its first two commas; a missing piece reads as 0.
    float parts[3] = {0.0f, 0.0f, 0.0f};
    const char *piece = text.GetData();
    for (int i = 0; i < 3 && piece != nullptr; ++i) {
        parts[i] = static_cast<float>(std::atof(piece));
        piece = i < 2 ? std::strchr(piece, ',') : nullptr;
        if (piece != nullptr)
            ++piece;
    }
    return TVector3(parts[0], parts[1], parts[2]);
}

TLibVector<int> TConfigInfo::ReadIntArray(const char *key, const char *defaultValue) {
    TLibVector<int> result;
    const TDynamicString text = ReadString(key, defaultValue);
    if (text.IsEmpty())
        return result;
    TSplitString split(',');
    split.FillBuffer(text.GetData());
    split.Split(static_cast<int>(std::strlen(split.GetBufferPtr())));
    for (int i = 0; i < split.GetNumFields(); ++i)
        result.push_back(std::atoi(split.StrPtr(i)));
    return result;
}

void TConfigInfo::ReadIntArray(const char *key, const char *defaultValue, int *&array, int &count) {
    const TLibVector<int> values = ReadIntArray(key, defaultValue);
    array = nullptr;
    count = 0;
    if (values.empty())
        return;
    array = reinterpret_cast<int *>(
        GetAllocatorInstance().Alloc(static_cast<unsigned long>(values.size() * sizeof(int))));
    if (array == nullptr)
        return;
    std::memcpy(array, values.data(), values.size() * sizeof(int));
    count = static_cast<int>(values.size());
}

void TConfigInfo::Read(const char *key, const char *defaultValue, TDynamicString &out) {
    out = ReadString(key, defaultValue);
}

void TConfigInfo::Read(const char *key, const char *defaultValue, bool &out) {
    out = ReadBool(key, defaultValue);
}

void TConfigInfo::Read(const char *key, const char *defaultValue, int &out) {
    out = ReadInt(key, defaultValue);
}

void TConfigInfo::Read(const char *key, const char *defaultValue, float &out) {
    out = ReadFloat(key, defaultValue);
}

void TConfigInfo::Read(const char *key, const char *defaultValue, TVector3 &out) {
    out = ReadVector(key, defaultValue);
}

TDynamicString TConfigInfo::PlaceBelowDebugPath(const TDynamicString &file,
                                                bool onlyWithPath) const {
    if (file.IsEmpty() || HasSeparator(file) || (onlyWithPath && DebugOutputPath.IsEmpty()))
        return file;
    return DebugOutputPath + file;
}

void TConfigInfo::Initialise(TConfigFile *file) {
    Config = this;
    m_File = file;
    if (DefaultFontColour == nullptr)
        DefaultFontColour = new TVector3(1.0f, 1.0f, 1.0f);

    BeginSectionRead("ResourceSystem");
    delete ResourceConfig;
    ResourceConfig = new TResourceConfig;
    ResourceConfig->Initialise(this);
    MemoryCacheSize = static_cast<size_t>(static_cast<uint32_t>(ReadInt("MemoryCacheSize", "0")))
                      << 20;

    BeginSectionRead("Resources");
    ResourcePath = ReadString("Resource path", "../Resource/");

    ReadDebugSettings();

    BeginSectionRead("Graphics");
    StartFullscreen = ReadBool("Start Fullscreen", "false");
    VertexCacheSize = ReadInt("VertexCacheSize", "16");

    BeginSectionRead("Gui");
    DefaultFont = ReadString("Default font", "Book20.fnt");
    const TDynamicString colour = ReadString("Default font colour", "0.25, 0.125, 0");
    float *channels[] = {&DefaultFontColour->x, &DefaultFontColour->y, &DefaultFontColour->z};
    int position = 0;
    for (float *channel : channels) {
        int next = position;
        if (!colour.ReadNextNumber(channel, &next, position))
            break; // the channels not given keep their value
        position = next;
    }

    BeginSectionRead("Mouse");
    MouseExclusive = ReadBool("Mouse exclusive", "true");

    BeginSectionRead("Keyboard");
    TextInputCodePage = ReadInt("Text Input Code Page", "0");

    BeginSectionRead("Sound");
    SoundPath = ResourcePath.MakePath() + ReadString("subdirectory", "Sound").MakePath();
    SoundPropertiesFile = ReadString("properties file", "Effects.spb");

    BeginSectionRead("Network");
    NetworkTimeout = ReadInt("Timeout", "36000");
}

void TConfigInfo::ReadDebugSettings() {
    BeginSectionRead("Debug");
    DebugOutputPath = ReadString("Debug output path", DefaultTempPath().GetData()).MakePath();

    const TDynamicString logFile =
        PlaceBelowDebugPath(ReadString("Debug output log file", ""), false);
    if (!logFile.IsEmpty() && DebugLogger == nullptr) {
        const TDynamicString header = TDebugLogger::MakeHeader(m_File->GetName().GetData());
        DebugLogger = new TDebugLogger(logFile, &header, true, false, false);
        GetFormatDebugCopies().AddCopy(DebugLogger);
    }
    DebugFlushLog = ReadBool("DebugFlushLog", "false");
    NetworkLogFile = PlaceBelowDebugPath(ReadString("Network log file", ""), false);
    SaveFileForInputs = PlaceBelowDebugPath(ReadString("Save file for inputs", ""), true);
    InputPlaybackFile = PlaceBelowDebugPath(ReadString("Input playback file", ""), true);
    AllowNormalInput = ReadBool("Allow normal input", "true");
    if (ReadBool("No unhandled exceptions", "false"))
        vlib::detail::InstallExceptionFilter();

    const TDynamicString printFilter = ReadString("Print filter", "");
    GetDbgMsgSelector().Initialise(printFilter.GetData());
    TDynamicString assertFilter = ReadString("Assert filter", "undefined");
    if (assertFilter.Compare("undefined", false) == 0)
        assertFilter = printFilter;
    GetAssertMsgSelector().Initialise(assertFilter.GetData());

    CrtReportFile = ReadString("CRT Report File", "");
    TDebugServices::SetViewCulprits(ReadBool("View Culprits", "false"));
    TDebugServices::SetViewAssertCulprits(ReadBool("View Assert Culprits", "false"));
    TDebugServices::SetIgnoreDuplicateAsserts(ReadBool("Ignore duplicate asserts", "false"));
    int viewAlerts = ReadInt("DebugViewAlerts", "1");
    if (viewAlerts < 0 || viewAlerts > 2)
        viewAlerts = 1;
    TDebugServices::SetViewAlerts(viewAlerts);
    // FIXME: also copy this to the window system once it exists; until then it is only kept.
    YieldWhenInactive = ReadBool("Yield When Inactive", "false");
}

// ---- Paths ----

TDynamicString TConfigInfo::DefaultTempPath() {
    const char *tmp = std::getenv("TMPDIR");
    TDynamicString path(tmp != nullptr && tmp[0] != '\0' ? tmp : "/tmp");
    return vlfs::path::Join(path, TDynamicString("vlib")).MakePath();
}

TDynamicString TConfigInfo::FullTempFilename(const TDynamicString &name) {
    TDynamicString result =
        (Config != nullptr ? Config->DebugOutputPath.MakePath() : DefaultTempPath()) + name;
    const TDynamicString folder = result.ExtractFilePath();
    if (!folder.IsEmpty())
        (void)vlfs::CreatePath(folder); // the caller's open reports a folder that is missing
    return result;
}

TConfigInfo::TExitHook TConfigInfo::SetExitHook(TExitHook hook) {
    const TExitHook old = gExitHook;
    gExitHook = hook != nullptr ? hook : ExitProcess;
    return old;
}

TDynamicString TConfigInfo::FindGameRootDirectory(const TDynamicString &file) {
    static const char *const kPrefixes[] = {"./", "../", "../../", "../../../"};
    for (const char *prefix : kPrefixes) {
        TDynamicString candidate = TDynamicString(prefix) + file;
        if (vlfs::IsFile(candidate)) {
            TDynamicString root(prefix);
            return vlfs::path::MakeAbsolute(root);
        }
    }
    TDbgMsgPriority priority(8, 3, 4);
    char title[] = "Fatal Error";
    char message[600];
    std::snprintf(message, sizeof message, "Bad install: %s not found", file.GetData());
    PopupAlert(priority, title, message);
    gExitHook(1);
    return TDynamicString();
}

void TConfigInfo::FindGameRootDirectory(const char *dir, const char *file, TDynamicString &result) {
    result = FindGameRootDirectory(vlfs::path::Join(TDynamicString(dir), TDynamicString(file)));
}
