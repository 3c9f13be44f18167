// The adapter's door to the string database: binary string reads pass their text through it
// when a database is set. The string database installs the function when it is built into
// the library; until then texts are taken as they stand.
#pragma once

#include "General/Core/StringInt.h"

class TStringDatabase;

namespace vlib::detail {

/// Stores in `out` what `database` makes of `text`: the entry of an id text, or the text.
using TStringLookup = void (*)(TStringDatabase *database, const char *text,
                               TStringInt<TDynamicStringAllocationStrategy> &out);

/// Null until the string database installs its lookup.
extern TStringLookup gStringLookup;

} // namespace vlib::detail
