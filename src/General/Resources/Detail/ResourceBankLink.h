// The seam between a resource and the bank system. A resource holds only an entry pointer; what
// it needs from the bank and the manager behind that pointer (the entry's bank, tag and source
// path, detaching) goes through this interface, which the bank system installs. Until one is
// installed no resource has a bank, and the answers are those of a manager without banks.
#pragma once

#include <cstdint>

#include "General/Core/StringInt.h"

class TResourceBank_I;
class TResourceBankEntry_I;

namespace vlib::detail {

/// What a resource asks of the banks. One implementation is installed per process.
class TResourceBankLink {
public:
    virtual ~TResourceBankLink() = default;

    /// The bank that owns `entry`.
    virtual TResourceBank_I *GetBank(TResourceBankEntry_I *entry) = 0;
    virtual const TStringInt<TDynamicStringAllocationStrategy> &
    GetTag(TResourceBankEntry_I *entry) = 0;
    virtual TStringInt<TDynamicStringAllocationStrategy>
    GetSourcePath(TResourceBankEntry_I *entry) = 0;
    /// True while `bank` still has a usable entry for `id`.
    virtual bool HasEntry(TResourceBank_I *bank, uint32_t id) = 0;
    /// Cuts the tie between the bank's entry for `id` and its resource: the resource's id and
    /// entry become zero, the entry's pointer null.
    virtual void DetachResource(TResourceBank_I *bank, uint32_t id) = 0;
    /// The manager's tag for an id that no entry of the resource names.
    virtual const TStringInt<TDynamicStringAllocationStrategy> &GetManagerTag(uint32_t id) = 0;
    /// The first entry for `id` in the manager's search order, or null.
    virtual TResourceBankEntry_I *FindManagerEntry(uint32_t id) = 0;
};

} // namespace vlib::detail
