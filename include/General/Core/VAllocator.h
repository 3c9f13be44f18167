// The heap under everything: a thin layer over mimalloc that also counts live bytes and
// blocks, so that statistics have real figures. Only TLibAllocator calls it. Every call is
// thread-safe.
#pragma once

#include "General/Core/Export.h"

/// A block of at least `size` bytes, or null when memory is exhausted.
VLIB_API void *VMalloc(unsigned long size);
/// Releases a block from VMalloc; null is ignored.
VLIB_API void VFree(void *block);
/// Bytes currently allocated through VMalloc.
VLIB_API unsigned long VTotalAlloc();
/// Blocks currently allocated through VMalloc and not yet released.
VLIB_API unsigned long VLiveBlocks();
/// Bytes the heap occupies (committed memory of the process heap).
VLIB_API unsigned long VMemFootPrint();
