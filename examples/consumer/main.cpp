// Uses the installed library as a client module would: every public header is included on
// its own, and a few calls check that the library links and runs.
#include "General/Core/DebugServices.h"
#include "General/Core/Error.h"
#include "General/Core/FaultInjection.h"
#include "General/Core/IOObject.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/RefCount.h"
#include "General/Platform/CriticalSection.h"
#include "General/Platform/DebugOutput.h"
#include "General/Platform/PlatformConfig.h"

#include <cstdio>

int main() {
    TLibVector<int> values{1, 2, 3};
    TError result(values.size() == 3 ? 0 : 0x10000);
    std::printf("VLibBase consumer: %zu values, result %s, %lu bytes live\n", values.size(),
                result ? "ok" : "failed", GetAllocatorInstance().GetTotalAlloc());
    return result ? 0 : 1;
}
