// The fatal-signal report that the configuration arms when "No unhandled exceptions" is set:
// each crash signal is named after the processor exception it stands for, written to the
// debug log and standard error, and then raised again with the default action.
#pragma once

#include <cstddef>

namespace vlib::detail {

/// The exception name and its explanation, which ends with one blank.
struct TExceptionText {
    const char *name;
    const char *text;
};

/// The exception a signal with the given si_code stands for; "UNKNOWN_EXCEPTION" with empty
/// text for any other.
TExceptionText NameSignal(int signal, int code);
/// "Fatal exception: <name>: <text>\n", cut to `size` bytes.
void FormatFatalException(int signal, int code, char *out, size_t size);
/// Installs the handlers on an alternate stack, once per process.
void InstallExceptionFilter();

} // namespace vlib::detail
