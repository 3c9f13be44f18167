// The debug log file and the build-time texts of its header.
#include "General/Diagnostics/DebugLogger.h"

#include <cstring>
#include <link.h>
#include <unistd.h>

#include "General/Streams/FileSystem.h"
#include "General/Streams/FileTime.h"

const char TDebugLogger::EndLine[3] = "\r\n";

namespace {

// The running executable's path; empty when the system does not tell.
TDynamicString ExecutablePath() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0)
        return TDynamicString();
    path[length] = '\0';
    return TDynamicString(path);
}

bool FileBuildTime(const TDynamicString &path, TDynamicString &out) {
    TFileTime time;
    return !path.IsEmpty() && vlfs::FileTime(path, time, vlfs::LastWrite) &&
           time.GetBuildTimeAsciiString(out);
}

} // namespace

TDynamicString GetBuildTimeString(const TDynamicString *module) {
    TDynamicString text;
    if (FileBuildTime(module != nullptr ? *module : ExecutablePath(), text))
        return text;
    return TDynamicString("<Buildtime Unavailable>");
}

bool GetModuleTimeString(const char *module, TDynamicString &out) {
    out = "No build time";
    if (module == nullptr)
        return false;
    // A loaded module is one whose file name is the given name, or that name followed by a
    // version suffix ("libX.so" finds "libX.so.0").
    struct TSearch {
        const char *name;
        TDynamicString path;
    } search{module, TDynamicString()};
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *data) -> int {
            auto *s = static_cast<TSearch *>(data);
            if (info->dlpi_name == nullptr || s->name[0] == '\0')
                return 0;
            const char *slash = std::strrchr(info->dlpi_name, '/');
            const char *file = slash != nullptr ? slash + 1 : info->dlpi_name;
            const size_t wanted = std::strlen(s->name);
            if (std::strncmp(file, s->name, wanted) != 0 ||
                (file[wanted] != '\0' && file[wanted] != '.'))
                return 0;
            s->path = info->dlpi_name;
            return 1;
        },
        &search);
    TDynamicString text;
    if (!FileBuildTime(search.path, text))
        return false;
    out = text;
    return true;
}

TDynamicString TDebugLogger::MakeHeader(const char *config) {
    const TDynamicString executable = ExecutablePath();
    const TDynamicString built = GetBuildTimeString(&executable);
    TDynamicString header;
    header.CreateFormattedString("Running %s built at %s with config %s", executable.GetData(),
                                 built.GetData(), config != nullptr ? config : "Unknown");
    return header;
}

TDebugLogger::TDebugLogger(const TDynamicString &filename, const TDynamicString *header,
                           bool flushed, bool /*unused*/, bool append)
    : m_Flushed(flushed), m_Filename(filename) {
    const TDynamicString folder = filename.ExtractFilePath();
    if (!folder.IsEmpty())
        (void)vlfs::CreatePath(folder); // an open that still fails leaves the log closed
    const unsigned long flags =
        TFileObj::FlagWriteable | (append ? static_cast<unsigned long>(TFileObj::FlagAppend) : 0);
    if (!m_File.Open(filename, flags))
        return;
    if (!m_Output.Open(&m_File)) {
        m_File.Close();
        return;
    }
    const TDynamicString text = header != nullptr ? *header : MakeHeader(nullptr);
    WriteLine(text.GetData(), text.GetLength());
    const char *state = flushed ? "Output is  flushed." : "Output is NOT flushed.";
    WriteLine(state, static_cast<int>(std::strlen(state)));
    m_Output.Flush();
    m_Open = true;
}

TDebugLogger::~TDebugLogger() {
    if (m_Output.IsOpen() != 0)
        m_Output.Close();
    else if (m_File.IsOpen() != 0)
        m_File.Close();
}

void TDebugLogger::WriteLine(const char *text, int length) {
    (void)m_Output.Write(text, length); // a full disk only loses log lines
    (void)m_Output.Write(EndLine, 2);
}

void TDebugLogger::OutputFDString(const char *text) {
    if (!m_Open || m_File.IsOpen() == 0 || text == nullptr)
        return;
    int length = static_cast<int>(std::strlen(text));
    if (length > 0 && text[length - 1] == '\n')
        --length;
    WriteLine(text, length);
    if (m_Flushed)
        m_Output.Flush();
}
