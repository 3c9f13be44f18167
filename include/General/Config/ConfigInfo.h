// The application's settings. TConfigInfo answers typed reads of section/key pairs from a
// stack of sources (the "--cfg" arguments of the command line over an INI file over the
// defaults in the code), and while it is built it reads every setting the library itself
// needs, opens the debug log and describes the resource banks in a TResourceConfig.
#pragma once

#include <cstddef>
#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

class TDebugLogger;
class TIniFile;
class TResourceConfig;
class TVector3;

/// A source of configuration values.
class VLIB_API TConfigFile : public TBaseAllocator {
public:
    TConfigFile() = default;
    TConfigFile(const TConfigFile &) = delete;
    TConfigFile &operator=(const TConfigFile &) = delete;
    virtual ~TConfigFile();
    /// Names the source, for log headers.
    virtual TDynamicString GetName() = 0;
    /// True with the value, or false with `value` unchanged.
    virtual bool Read(const TDynamicString &section, const TDynamicString &key,
                      TDynamicString &value) = 0;
};

/// Values from an INI document, which it owns.
class VLIB_API TConfigFileIni : public TConfigFile {
public:
    /// Takes `ini` over; null answers nothing.
    explicit TConfigFileIni(TIniFile *ini) : m_Ini(ini) {}
    ~TConfigFileIni() override;
    /// The document's file name; empty when no file was read.
    TDynamicString GetName() override;
    bool Read(const TDynamicString &section, const TDynamicString &key,
              TDynamicString &value) override;

private:
    TIniFile *m_Ini; // owned
};

/// Values from the "--cfg Section Key Value" arguments of a command line.
class VLIB_API TConfigFileCommandLine : public TConfigFile {
public:
    /// Keeps the first three parameters of each "--cfg" (any case) that has at least three;
    /// other switches and shorter "--cfg" arguments are ignored.
    explicit TConfigFileCommandLine(const char *commandLine);
    /// "Command line".
    TDynamicString GetName() override;
    /// The first triple whose section and key match, ignoring case: the first given wins.
    bool Read(const TDynamicString &section, const TDynamicString &key,
              TDynamicString &value) override;

private:
    struct TTriple {
        TDynamicString section;
        TDynamicString key;
        TDynamicString value;
    };
    TLibVector<TTriple> m_Values;
};

/// Asks a list of sources in order and stops at the first that knows the key.
class VLIB_API TConfigFileLayered : public TConfigFile {
public:
    TConfigFileLayered() = default;
    /// Deletes the layers.
    ~TConfigFileLayered() override;
    /// Appends a layer below the others and takes it over; null is ignored.
    void AddLayer(TConfigFile *layer);
    /// The layers' names joined by " + ".
    TDynamicString GetName() override;
    bool Read(const TDynamicString &section, const TDynamicString &key,
              TDynamicString &value) override;

private:
    TLibVector<TConfigFile *> m_Layers; // owned
};

/// The application's settings object; the host makes exactly one at start-up, on the main
/// thread. Reads change the current section and take no lock: they belong to one thread.
class VLIB_API TConfigInfo : public TBaseAllocator {
public:
    /// Ends the process with the given code. Replaceable so that the fatal path can be tested.
    using TExitHook = void (*)(int code);

    /// The object, or null: set by every constructor and by Initialise, cleared by the
    /// destructor.
    static TConfigInfo *Config;

    /// Reads every setting from the command line's "--cfg" arguments over the INI file
    /// `iniFile` over the defaults. A missing or unreadable INI file is no error.
    TConfigInfo(const TDynamicString &iniFile, const TDynamicString &commandLine);
    TConfigInfo(const TConfigInfo &) = delete;
    TConfigInfo &operator=(const TConfigInfo &) = delete;
    /// Clears Config and deletes what the object owns; the debug log leaves the debug copies.
    virtual ~TConfigInfo();

    /// The text for the macro "{name}"; this class returns `name` itself.
    virtual TDynamicString Expand(const TDynamicString &name);

    /// An INI source on `fileName`; empty and unnamed when the file cannot be read.
    static TConfigFile *CreateIniFile(const TDynamicString &fileName);
    static TConfigFile *CreateCommandLineFile(const TDynamicString &commandLine);
    /// A layered source over the array `files`, which a null entry ends; the layers are taken
    /// over. A null array gives a source that finds nothing.
    static TConfigFile *CreateLayeredFile(TConfigFile **files);

    /// Sets the section of the reads that follow.
    void BeginSectionRead(const char *section);
    /// The key's value in the current section, or `defaultValue`, with its macros expanded.
    TDynamicString ReadString(const char *key, const char *defaultValue);
    /// True only for "true", ignoring case.
    bool ReadBool(const char *key, const char *defaultValue);
    /// atoi of the text: text that is no number reads as 0.
    int ReadInt(const char *key, const char *defaultValue);
    /// atof of the text.
    float ReadFloat(const char *key, const char *defaultValue);
    /// Three numbers separated by commas; missing ones read as 0.
    TVector3 ReadVector(const char *key, const char *defaultValue);
    /// atoi of each comma-separated field; the empty text gives an empty array.
    TLibVector<int> ReadIntArray(const char *key, const char *defaultValue);
    /// The same as a block from the library heap that the caller owns (free it with
    /// GetAllocatorInstance().Unalloc); null when the array is empty or the heap is out.
    void ReadIntArray(const char *key, const char *defaultValue, int *&array, int &count);
    void Read(const char *key, const char *defaultValue, TDynamicString &out);
    void Read(const char *key, const char *defaultValue, bool &out);
    void Read(const char *key, const char *defaultValue, int &out);
    void Read(const char *key, const char *defaultValue, float &out);
    void Read(const char *key, const char *defaultValue, TVector3 &out);

    /// The debug log, or null when "Debug output log file" was empty.
    TDebugLogger *GetDebugLogger() { return DebugLogger; }
    /// The source the settings were read from; not owned by the caller.
    TConfigFile *GetConfigFile() { return m_File; }

    /// `name` below the debug output path (or the default temporary folder when there is no
    /// Config), with its directories made.
    static TDynamicString FullTempFilename(const TDynamicString &name);
    /// The folder for temporary files when nothing else is set: "$TMPDIR/vlib/", or
    /// "/tmp/vlib/" without TMPDIR.
    static TDynamicString DefaultTempPath();
    /// The absolute path of the first of "./", "../", "../../", "../../../" under which
    /// `file` is a file. When none is, a "Fatal Error" alert is shown and the process ends
    /// with code 1 through the exit hook; should the hook return, the result is empty.
    static TDynamicString FindGameRootDirectory(const TDynamicString &file);
    static void FindGameRootDirectory(const char *dir, const char *file, TDynamicString &result);
    /// Replaces the exit of FindGameRootDirectory; null restores std::exit. Returns the old one.
    static TExitHook SetExitHook(TExitHook hook);

    // Settings, in the order they are read.
    TResourceConfig *ResourceConfig = nullptr; // owned
    TDynamicString ResourcePath;
    size_t MemoryCacheSize = 0;
    bool YieldWhenInactive = false;
    TDynamicString DebugOutputPath;
    bool DebugFlushLog = false;
    TDynamicString CrtReportFile;
    TDynamicString SaveFileForInputs;
    TDynamicString InputPlaybackFile;
    bool AllowNormalInput = true;
    bool StartFullscreen = false;
    int32_t VertexCacheSize = 0;
    TDynamicString DefaultFont;
    TVector3 *DefaultFontColour = nullptr; // owned
    int32_t TextInputCodePage = 0;
    bool MouseExclusive = true;
    TDynamicString SoundPath;
    TDynamicString SoundPropertiesFile;
    int32_t NetworkTimeout = 0;
    /// The log file actually used for the network, below DebugOutputPath; nothing in this
    /// library writes to it.
    TDynamicString NetworkLogFile;

protected:
    /// Empty settings; only sets Config. A derived class calls one of the Initialise forms.
    TConfigInfo();
    /// What the public constructor does, for a derived class.
    void Initialise(const TDynamicString &iniFile, const TDynamicString &commandLine);
    /// Reads every setting from `file`, which the caller keeps.
    void Initialise(TConfigFile *file);

private:
    void ReadDebugSettings();
    TDynamicString PlaceBelowDebugPath(const TDynamicString &file, bool onlyWithPath) const;

    TConfigFile *m_File = nullptr;       // not owned (may equal m_OwnedFile)
    TConfigFile *m_OwnedFile = nullptr;  // owned
    TDebugLogger *DebugLogger = nullptr; // owned
    TDynamicString m_Section;
};
