// The library's one name-to-number function. Resources, classes and banks are keyed by the
// 32-bit id of their name, and because the name is lower-cased first, names that differ only
// in case are one name.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"

/// FNV-1 (multiply, then XOR) over the first 255 bytes of `name` with A-Z folded to a-z.
/// The empty text and null both give the offset basis 0x811C9DC5. Allocates nothing.
VLIB_API uint32_t StrToID(const char *name);
