// The one place where the platform shows through in public headers: fixed-width names that
// client code written for the original 32-bit compiler expects.
#pragma once

#include <cstddef>
#include <cstdint>

// 64-bit integers are `long long`, never `int64_t` (which is `long` here), so that overloads
// taking `long` (32 bits in every stream) and `__int64` stay distinct.
typedef long long __int64;
typedef unsigned long long VUInt64;

#define VLIB_PLATFORM_LINUX 1
