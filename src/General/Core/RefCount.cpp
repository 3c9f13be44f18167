// Out-of-line anchors of the reference-count bases.
#include "General/Core/RefCount.h"

TRefCount::~TRefCount() = default;
TRefCount2::~TRefCount2() = default;

void TRefCount2::DeleteMe() { delete this; }

const char *GetUnmatchedRefs(TRefCount2Member *) { return ""; }
