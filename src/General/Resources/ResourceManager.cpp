// The resource manager: factories, the banks in search order, imports by name or id with the
// tag and type rules, exports, and the notifications and event triggers around them.

#include "General/Resources/ResourceManager.h"

TResourceManager_I::~TResourceManager_I() = default;
