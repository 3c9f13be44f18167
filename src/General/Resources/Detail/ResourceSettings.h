// What banks ask of the manager beyond its interface: the default list file name and the
// hand-over of a queued load to the asynchronous importer.
#pragma once

#include "General/Core/StringInt.h"
#include "General/Resources/ResourceBank.h"

namespace vlib::detail {

/// "DefResourceListLocation" of the resource settings, or "ResourceList.vrl" without them.
TDynamicString DefaultListFile();

/// Hands a resource in state AS_Queued to the asynchronous importer.
void QueueAsyncImport(TBankResourcePair pair);

} // namespace vlib::detail
