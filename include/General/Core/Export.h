// Export control for the shared library. The library is built with hidden visibility, so only
// what is marked VLIB_API is reachable from hosts and client modules, as a DLL exports only
// what it names.
#pragma once

#if defined(VLIB_BUILDING_LIBRARY)
#define VLIB_API __attribute__((visibility("default")))
#else
#define VLIB_API __attribute__((visibility("default")))
#endif

// Functions that must stay out of line so every module reaches the one object in this library.
#define VLIB_NOINLINE __attribute__((noinline))
