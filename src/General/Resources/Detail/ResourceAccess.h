// The resource system's private access to a resource: the bank ties a resource to its entry
// and records the loaded version, the loaders move its state, and the bank system installs the
// link through which resources reach their banks. Nothing outside the resource system (and its
// tests) includes this header.
#pragma once

#include <cstdint>

#include "General/Resources/Detail/ResourceBankLink.h"
#include "General/Resources/Resource.h"

namespace vlib::detail {

/// Static doors into the private side of TResource.
class TResourceAccess {
public:
    /// Ties the resource to a bank entry under `id`.
    static void Attach(TResource &resource, uint32_t id, TResourceBankEntry_I *entry) {
        resource.m_ID = id;
        resource.m_Entry = entry;
    }
    /// Keeps the version as one byte, as the header carried it.
    static void SetLoadedVersion(TResource &resource, uint32_t version) {
        resource.m_LoadedVersion = static_cast<uint8_t>(version);
    }
    /// An import that counts no reference for its caller hands out a new object at 0.
    static void SetRefCount(TResource &resource, uint16_t count) {
        resource.m_RefCount.store(count, std::memory_order_release);
    }
    static void SetAsyncState(TResource &resource, TAsyncStateFlags state) {
        resource.SetAsyncState(state);
    }
    static void SetBankLink(TResourceBankLink *link) { TResource::ms_BankLink = link; }
    static TResourceBankLink *GetBankLink() { return TResource::ms_BankLink; }

    static uint32_t VarnelHash(const char *name) { return TResource::VarnelHash(name); }
    static uint32_t HashFNV32(const char *name) { return TResource::HashFNV32(name); }
    static unsigned long long HashFNV64(const char *name) { return TResource::HashFNV64(name); }
};

} // namespace vlib::detail
