// The debug log: a debug copy that writes every line of debug text to a file, each line ended
// by CR LF. The configuration makes one when "Debug output log file" is set; hosts may make
// more. A log that cannot open its file stays silent.
#pragma once

#include "General/Core/DebugServices.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/RealFile.h"

/// Writes the debug stream to a text file. It takes no lock: the debug services call it.
class VLIB_API TDebugLogger : public TFormatDebugCopy, public TBaseAllocator {
public:
    /// The two bytes that end every line.
    static const char EndLine[3];

    /// Makes the file's folders, opens it (replacing an old file unless `append`) and writes
    /// the header (MakeHeader(nullptr) when null) and whether output is flushed. The fourth
    /// argument has no effect. On failure the log stays closed and drops all output.
    TDebugLogger(const TDynamicString &filename, const TDynamicString *header, bool flushed,
                 bool unused, bool append);
    TDebugLogger(const TDebugLogger &) = delete;
    TDebugLogger &operator=(const TDebugLogger &) = delete;
    ~TDebugLogger() override;

    /// Writes `text` less one trailing line feed, then EndLine; flushes when flushed.
    void OutputFDString(const char *text) override;

    const TDynamicString &GetFilename() const { return m_Filename; }
    bool IsOpen() const { return m_Open; }
    /// "Running <executable> built at <its build time> with config <config or Unknown>".
    static TDynamicString MakeHeader(const char *config);

private:
    void WriteLine(const char *text, int length);

    bool m_Open = false;
    bool m_Flushed;
    TDynamicString m_Filename;
    TRealFile m_File;
    TAsciiOutFilter m_Output;
};

/// The build time of `module` (the running executable when null) as text, or
/// "<Buildtime Unavailable>" when its file time cannot be read.
VLIB_API TDynamicString GetBuildTimeString(const TDynamicString *module);
/// The build time of a loaded module found by name; "No build time" and false when not found.
VLIB_API bool GetModuleTimeString(const char *module, TDynamicString &out);
