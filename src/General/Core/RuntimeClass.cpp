// The class registry: a map from name id to descriptor, created by the first registration and
// destroyed at exit after the last descriptor that was made before it.
#include "General/Core/RuntimeClass.h"

#include <cstring>

#include "General/Core/LibContainers.h"
#include "General/Core/RootObject.h"
#include "General/Core/StrToID.h"

namespace {
using TRegistry = TLibMap<uint32_t, TRuntimeClass *>;

TRegistry &Registry() {
    static TRegistry registry;
    return registry;
}
} // namespace

TRuntimeClass::TRuntimeClass(const char *name, TRuntimeClass *parent, TCreator creator)
    : m_ID(StrToID(name)), m_Name(name), m_Parent(parent), m_Creator(creator) {
    Registry().emplace(m_ID, this); // keeps an earlier class with the same id
}

TRuntimeClass::~TRuntimeClass() {
    // Drop every name that finds this descriptor, alternatives included, so that no look-up
    // can return a dead class; another class registered under our id is left alone.
    TRegistry &registry = Registry();
    for (auto it = registry.begin(); it != registry.end();) {
        if (it->second == this)
            it = registry.erase(it);
        else
            ++it;
    }
}

TRootObject *TRuntimeClass::CreateObject() {
    return m_Creator != nullptr ? m_Creator() : nullptr;
}

bool TRuntimeClass::IsClass(const char *name) const {
    return name != nullptr && std::strcmp(m_Name.GetData(), name) == 0;
}

bool TRuntimeClass::IsSubclass(const char *name) const {
    const uint32_t id = StrToID(name);
    for (const TRuntimeClass *cls = this; cls != nullptr; cls = cls->m_Parent) {
        if (cls->m_ID == id)
            return true;
    }
    return false;
}

bool TRuntimeClass::IsSubclass(const TRuntimeClass *other) const {
    for (const TRuntimeClass *cls = this; cls != nullptr; cls = cls->m_Parent) {
        if (cls == other)
            return true;
    }
    return false;
}

TRuntimeClass *TRuntimeClass::GetRuntimeClass(unsigned long id) {
    TRegistry &registry = Registry();
    auto it = registry.find(static_cast<uint32_t>(id));
    return it != registry.end() ? it->second : nullptr;
}

TRuntimeClass *
TRuntimeClass::GetRuntimeClass(const TStringInt<TDynamicStringAllocationStrategy> &name) {
    return GetRuntimeClass(StrToID(name.GetData()));
}

TRuntimeClass *TRuntimeClass::GetRuntimeClass(const char *name) {
    return GetRuntimeClass(StrToID(name));
}

TRuntimeClassAlternative::TRuntimeClassAlternative(TRuntimeClass *cls,
                                                   const char *alternativeName) {
    Registry()[StrToID(alternativeName)] = cls;
}
