// The load the asynchronous importer's worker runs for each queued pair. By default it is the
// bank's own import; tests of the queue put a routine of their own in its place.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Resources/ResourceBank.h"

namespace vlib::detail {

using TAsyncImportRoutine = TError (*)(TBankResourcePair &pair);

/// Installs `routine` (null restores the bank's import) and returns the one it replaces. Only
/// while no worker runs.
VLIB_API TAsyncImportRoutine SetAsyncImportRoutine(TAsyncImportRoutine routine);

} // namespace vlib::detail
