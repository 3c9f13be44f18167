// The base of everything the resource system loads by name. A resource knows its id, the bank
// entry it came from, how many holders it has and how far its load has got; finding and
// opening its files is the business of the manager and the banks. Also the name hashes that
// key the resource system.
#pragma once

#include <atomic>
#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

class TFileObj;
class TResourceBank_I;
class TResourceBankEntry_I;
class TResourceFactory;

namespace vlib::detail {
class TResourceAccess;
class TResourceBankLink;
} // namespace vlib::detail

/// The four stages of a resource's load; kept in the low four bits of its state byte.
enum TAsyncStateFlags : uint8_t {
    AS_Idle = 0,    ///< nothing loaded: a new object, or one whose load failed
    AS_Queued = 1,  ///< waiting for the asynchronous importer
    AS_Loading = 2, ///< its load routine is running
    AS_Loaded = 3,  ///< loaded and usable
};

/// One thing a resource depends on.
struct TDependency {
    /// The kind that compiled files record: another resource.
    static constexpr uint32_t kResource = 1;

    uint32_t id;
    uint32_t kind;

    bool operator==(const TDependency &other) const { return id == other.id && kind == other.kind; }
};

/// Base of every resource class. A new object has one reference, the creator's; the last
/// ReleaseRef detaches it from its bank and hands it to its factory to be deleted.
class VLIB_API TResource : public TBaseAllocator {
public:
    TResource() = default;
    /// Copies every field as it stands, the reference count included.
    TResource(const TResource &other) { CopyFields(other); }
    TResource &operator=(const TResource &other) {
        if (this != &other)
            CopyFields(other);
        return *this;
    }
    /// Detaches the object from its bank if it still has holders or an entry.
    virtual ~TResource();

    /// Reads the text form. The file stands behind any headers of the resource system, or is
    /// null for an entry that fetches its own data.
    virtual TError LoadAscii(TFileObj *file) = 0;
    /// Writes the text form; the general failure unless a class has one.
    virtual TError SaveAscii(TFileObj *file);
    virtual TError LoadBinary(TFileObj *file) = 0;
    virtual TError SaveBinary(TFileObj *file) = 0;
    /// Fills this resource from a loaded resource of another type; the general failure unless
    /// a class can convert.
    virtual TError ConvertFrom(TResource *source);
    /// Whether a file of `version` in the given form can be loaded.
    virtual bool IsValidVersion(uint32_t version, bool ascii) = 0;
    virtual TResourceFactory *GetFactory() = 0;
    /// Appends what this resource depends on; by default nothing.
    virtual void GetDependencies(TLibVector<TDependency> &out);

    uint32_t GetID() const { return m_ID; }
    /// Adds a holder and returns this object. `who` names the holder for debugging only.
    TResource *AcquireRef(const char *who = nullptr);
    /// Drops a holder. Returns this object while holders remain; the last one detaches it
    /// from its bank, deletes it through its factory and returns null.
    TResource *ReleaseRef(const char *who = nullptr);
    uint32_t GetRefCount() const { return m_RefCount.load(std::memory_order_acquire); }
    /// The format version of the file it was loaded from; 0 when the file had none.
    uint32_t GetLoadedVersion() const { return m_LoadedVersion; }
    /// Forgets id and entry: the object lives on, but no bank knows it any more.
    void Orphan() {
        m_ID = 0;
        m_Entry = nullptr;
    }

    bool HasChanged() const { return (m_State.load(std::memory_order_acquire) & kChangedBit) != 0; }
    void SetChanged(bool changed) {
        if (changed)
            m_State.fetch_or(kChangedBit, std::memory_order_acq_rel);
        else
            m_State.fetch_and(static_cast<uint8_t>(~kChangedBit), std::memory_order_acq_rel);
    }
    /// Safe to poll from any thread while the importer thread loads the resource.
    TAsyncStateFlags GetAsyncState() const {
        return static_cast<TAsyncStateFlags>(m_State.load(std::memory_order_acquire) & kStateMask);
    }

    TResourceBankEntry_I *GetBankEntry() const { return m_Entry; }
    TResourceBankEntry_I *GetResourceListEntry() const { return m_Entry; }
    /// The entry's bank; null without an entry.
    TResourceBank_I *GetBank() const;
    /// The entry's tag; without an entry, the manager's tag for the id.
    const TStringInt<TDynamicStringAllocationStrategy> &GetTag() const;
    /// The source path of the entry, or of the entry the manager finds for the id; empty when
    /// there is none.
    TStringInt<TDynamicStringAllocationStrategy> GetResourceLocation() const;

    /// The id of a name: FNV-1 over its first 255 characters, case folded. Allocates nothing.
    static uint32_t StrToID(const char *name);

private:
    friend class vlib::detail::TResourceAccess;

    static constexpr uint8_t kStateMask = 0x0F;
    static constexpr uint8_t kChangedBit = 0x10;

    /// Stores the whole state byte, so a change of state also clears the changed flag.
    void SetAsyncState(TAsyncStateFlags state) {
        m_State.store(static_cast<uint8_t>(state), std::memory_order_release);
    }
    void CopyFields(const TResource &other) {
        m_ID = other.m_ID;
        m_Entry = other.m_Entry;
        m_RefCount.store(other.m_RefCount.load(std::memory_order_relaxed),
                         std::memory_order_relaxed);
        m_LoadedVersion = other.m_LoadedVersion;
        m_State.store(other.m_State.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }

    /// A hash drawn from the Mersenne Twister, reseeded for every pair of characters.
    static uint32_t VarnelHash(const char *name);
    /// FNV-1 in 32 bits over the bytes as they stand; null gives 0.
    static uint32_t HashFNV32(const char *name);
    /// FNV-1 in 64 bits over the bytes as they stand; null gives 0.
    static unsigned long long HashFNV64(const char *name);

    uint32_t m_ID = 0;
    TResourceBankEntry_I *m_Entry = nullptr; // not owned; the entry points back without a ref
    // The count and the state are shared with the importer thread: it drops the queue's
    // reference and moves the state while the main thread holds and polls the object.
    std::atomic<uint16_t> m_RefCount{1};
    uint8_t m_LoadedVersion = 0;
    std::atomic<uint8_t> m_State{0};

    /// How resources reach the bank system; null until the bank system installs itself.
    static vlib::detail::TResourceBankLink *ms_BankLink; // not owned
};

/// The hash of file names inside banks: like StrToID, but of any length and with each byte
/// sign-extended, so it differs from a resource id on bytes from 0x80. Never compare the two.
VLIB_API uint32_t HashPathName(const char *name);
