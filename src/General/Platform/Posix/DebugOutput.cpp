// Debugger text on Linux: standard error plus the debug copies.
#include "General/Platform/DebugOutput.h"

#include <cstdio>

#include "General/Core/DebugServices.h"

void OutputDebugStringA(const char *text) {
    if (text == nullptr)
        return;
    std::fputs(text, stderr);
    GetFormatDebugCopies().Output(text);
}
