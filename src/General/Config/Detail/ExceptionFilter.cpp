// Crash signals reported with the names and texts of the processor exceptions they stand for.
#include "General/Config/Detail/ExceptionFilter.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "General/Config/ConfigInfo.h"
#include "General/Diagnostics/DebugLogger.h"

namespace vlib::detail {
namespace {

constexpr TExceptionText kAccessViolation = {
    "EXCEPTION_ACCESS_VIOLATION", "The thread tried to read from or write to a virtual address "
                                  "for which it does not have the appropriate access. "};
constexpr TExceptionText kArrayBounds = {"EXCEPTION_ARRAY_BOUNDS_EXCEEDED",
                                         "The thread tried to access an array element that is out "
                                         "of bounds and the underlying hardware supports bounds "
                                         "checking. "};
constexpr TExceptionText kBreakpoint = {"EXCEPTION_BREAKPOINT", "A breakpoint was encountered. "};
constexpr TExceptionText kMisalignment = {
    "EXCEPTION_DATATYPE_MISALIGNMENT",
    "The thread tried to read or write data that is misaligned on hardware that does not "
    "provide alignment. For example, 16-bit values must be aligned on 2-byte boundaries; 32-bit "
    "values on 4-byte boundaries, and so on. "};
constexpr TExceptionText kFltDivide = {
    "EXCEPTION_FLT_DIVIDE_BY_ZERO",
    "The thread tried to divide a floating-point value by a floating-point divisor of zero. "};
constexpr TExceptionText kFltInexact = {"EXCEPTION_FLT_INEXACT_RESULT",
                                        "The result of a floating-point operation cannot be "
                                        "represented exactly as a decimal fraction. "};
constexpr TExceptionText kFltInvalid = {
    "EXCEPTION_FLT_INVALID_OPERATION",
    "This exception represents any floating-point exception not included in this list. "};
constexpr TExceptionText kFltOverflow = {
    "EXCEPTION_FLT_OVERFLOW", "The exponent of a floating-point operation is greater than the "
                              "magnitude allowed by the corresponding type. "};
constexpr TExceptionText kFltUnderflow = {
    "EXCEPTION_FLT_UNDERFLOW", "The exponent of a floating-point operation is less than the "
                               "magnitude allowed by the corresponding type. "};
constexpr TExceptionText kIllegal = {"EXCEPTION_ILLEGAL_INSTRUCTION",
                                     "The thread tried to execute an invalid instruction. "};
constexpr TExceptionText kInPage = {
    "EXCEPTION_IN_PAGE_ERROR",
    "The thread tried to access a page that was not present, and the system was unable to load "
    "the page. For example, this exception might occur if a network connection is lost while "
    "running a program over the network. "};
constexpr TExceptionText kIntDivide = {
    "EXCEPTION_INT_DIVIDE_BY_ZERO",
    "The thread tried to divide an integer value by an integer divisor of zero. "};
constexpr TExceptionText kIntOverflow = {
    "EXCEPTION_INT_OVERFLOW", "The result of an integer operation caused a carry out of the most "
                              "significant bit of the result. "};
constexpr TExceptionText kPrivileged = {
    "EXCEPTION_PRIV_INSTRUCTION", "The thread tried to execute an instruction whose operation is "
                                  "not allowed in the current machine mode. "};
constexpr TExceptionText kSingleStep = {
    "EXCEPTION_SINGLE_STEP", "A trace trap or other single-instruction mechanism signaled that "
                             "one instruction has been executed. "};
constexpr TExceptionText kUnknown = {"UNKNOWN_EXCEPTION", ""};

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};

// Big enough for the formatting below even when the main stack has overflowed.
alignas(16) char gAltStack[64 * 1024];

void OnFatalSignal(int signal, siginfo_t *info, void * /*context*/) {
    char text[512];
    FormatFatalException(signal, info != nullptr ? info->si_code : 0, text, sizeof text);
    if (TConfigInfo::Config != nullptr && TConfigInfo::Config->GetDebugLogger() != nullptr)
        TConfigInfo::Config->GetDebugLogger()->OutputFDString(text);
    // Straight to standard error: the debug copies would give the log the line twice.
    (void)!write(STDERR_FILENO, text, std::strlen(text));
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

} // namespace

TExceptionText NameSignal(int signal, int code) {
    switch (signal) {
    case SIGSEGV:
        return kAccessViolation;
    case SIGBUS:
        return code == BUS_ADRALN ? kMisalignment : kInPage;
    case SIGILL:
        return code == ILL_PRVOPC || code == ILL_PRVREG ? kPrivileged : kIllegal;
    case SIGTRAP:
        return code == TRAP_TRACE ? kSingleStep : kBreakpoint;
    case SIGFPE:
        switch (code) {
        case FPE_INTDIV:
            return kIntDivide;
        case FPE_INTOVF:
            return kIntOverflow;
        case FPE_FLTDIV:
            return kFltDivide;
        case FPE_FLTOVF:
            return kFltOverflow;
        case FPE_FLTUND:
            return kFltUnderflow;
        case FPE_FLTRES:
            return kFltInexact;
        case FPE_FLTSUB:
            return kArrayBounds;
        case FPE_FLTINV:
            return kFltInvalid;
        default:
            return kUnknown;
        }
    default:
        return kUnknown;
    }
}

void FormatFatalException(int signal, int code, char *out, size_t size) {
    const TExceptionText text = NameSignal(signal, code);
    std::snprintf(out, size, "Fatal exception: %s: %s\n", text.name, text.text);
}

void InstallExceptionFilter() {
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    stack_t stack{};
    stack.ss_sp = gAltStack;
    stack.ss_size = sizeof gAltStack;
    (void)sigaltstack(&stack, nullptr); // without it the handlers still run on the main stack
    struct sigaction action {};
    action.sa_sigaction = OnFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : kSignals)
        (void)sigaction(signal, &action, nullptr);
}

} // namespace vlib::detail
