// The process-wide directory of containers by container id, through which references stored
// in files find their container again. The host creates it once at start.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

class TRootContainer;
class TRootObject;

/// Containers by container id, with an optional redirection of ids.
class VLIB_API TRootContainerBank : public TBaseAllocator {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Becomes the bank in Bank.
    TRootContainerBank();
    /// Clears Bank and both maps; the containers are not touched.
    ~TRootContainerBank();
    TRootContainerBank(const TRootContainerBank &) = delete;
    TRootContainerBank &operator=(const TRootContainerBank &) = delete;

    static TRootContainerBank *GetBank() { return Bank; }
    static void SetBank(TRootContainerBank *bank) { Bank = bank; }
    const TLibMap<unsigned long, TRootContainer *> &GetContainers() const { return m_Containers; }

    /// Enters the container under StrToID(identifier), replacing any holder; returns the id.
    int Register(TRootContainer *container, const TString &identifier);
    /// Erases the entry under the container's id.
    void DeRegister(TRootContainer *container);
    /// The container under `id`, after one step of bank mapping; null if none.
    TRootContainer *GetContainer(unsigned long id, bool unused = false);
    void SetBankMapping(int from, int to) { m_BankMapping[from] = to; }
    void ClearBankMapping(int from) { m_BankMapping.erase(from); }
    /// The id of the object's container (or of MapContainerCallback's); 0xFFFFFFFF if none.
    static unsigned long ObjectToContainerID(TRootObject *object);
    void Construct() {}

    static TRootContainerBank *Bank; // not owned
    static TRootContainer *(*MapContainerCallback)(TRootObject *);

protected:
    void InsertContainer(unsigned long id, TRootContainer *container);

private:
    TLibMap<unsigned long, TRootContainer *> m_Containers; // not owned
    TLibMap<int, int> m_BankMapping;
};

/// The one bank, created on first call; the host calls this once at start.
VLIB_API TRootContainerBank *GetRootContainerBank();
