// The memory file in which objects are copied through their persistent form: one for the
// process, kept between copies so that a copy of many objects does not allocate for each.
#pragma once

class TManagedFileBuf;

namespace vlib::detail {

/// The process-wide copy buffer, made on first use and destroyed at exit. Not re-entrant:
/// an object's stream operations must not start another copy.
TManagedFileBuf &SharedCopyBuffer();

} // namespace vlib::detail
