// Resource banks: entries, scanning a store with the bank's rules, the list file, and the
// choice between an entry's source and compiled files.

#include "General/Resources/Detail/ResourceBank.h"

TResourceBankEntry_I::~TResourceBankEntry_I() = default;
TResourceBankVisitor_I::~TResourceBankVisitor_I() = default;
TResourceBank_I::~TResourceBank_I() = default;
