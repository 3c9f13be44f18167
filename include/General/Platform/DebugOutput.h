// Debugger text. Goes to standard error and to every registered debug copy, so a host's log
// file sees what a debugger would.
#pragma once

#include "General/Core/Export.h"

/// Writes `text` as it stands (no newline is added).
VLIB_API void OutputDebugStringA(const char *text);
