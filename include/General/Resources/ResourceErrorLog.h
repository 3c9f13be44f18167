// The resource error log. Loads nest (a component file names a container whose object names a
// texture), so the log keeps a stack of what is being loaded, writes each error with that
// stack to `<prefix>ResourceErrors.html` (a page that is complete at every moment), and tells
// the host's reporter once per finished load that went wrong. It only records: nothing here
// stops a load. One thread at a time; the state is shared by the whole process.
#pragma once

#include "General/Core/Export.h"

/// What the reporter is told about one load; the texts are valid only during the call.
struct TResourceErrorReportInfo {
    const char *summary; ///< the error count, " Errors occurred", and the load's trail
    const char *details; ///< each error text behind "* ", one per line
    const char *name;    ///< the load's name
    const char *logFile; ///< path of the HTML log
};

/// Derived by the host to hear of loads that went wrong.
class VLIB_API TResourceErrorReporter {
public:
    /// Called once at the end of each load that recorded errors; does nothing by default.
    virtual void Report(TResourceErrorReportInfo *info);
    virtual ~TResourceErrorReporter();
};

/// Starts the log: empties `<prefix>ResourceErrors.tmp` and writes the first row. An empty
/// or null prefix leaves the log off; a prefix is cut to 255 characters. The reporter is
/// not owned and may be null.
VLIB_API void InitResourceReport(TResourceErrorReporter *reporter, const char *prefix);
/// Ends the log: forgets the loads in progress unreported and deletes the tmp file. The HTML
/// page stays.
VLIB_API void ShutdownResourceReport();
/// Opens a load; a null or empty name becomes "<unknown>", a null detail the empty text.
VLIB_API void ReportResourceStartLoad(const char *name, const char *detail);
/// Closes the innermost load, reporting it if it recorded errors.
VLIB_API void ReportResourceEndLoad();
/// Records an error in the innermost load ("mcchild" errors in the outermost one). Outside
/// any load it makes a load named "<unknown>" for the error and reports it at once.
VLIB_API void ReportResourceError(const char *category, const char *text);
/// "Resource %X (%d) not found." with the id.
VLIB_API void ReportMissingResource(unsigned long id);
/// "Resource \"%s\" not found." with the name.
VLIB_API void ReportMissingResource(const char *name);
/// The "duplicate" error naming both paths.
VLIB_API void ReportDuplicateResource(const char *first, const char *second);
/// Formats into the next of eight rotating buffers; the text stays valid over the next seven
/// calls, and is never cut. Shared by all callers without a lock.
VLIB_API const char *ResourceErrorFormat(const char *format, ...)
    __attribute__((format(printf, 1, 2)));
