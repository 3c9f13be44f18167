// The directory of containers by id and the object-to-container id look-up.
#include "General/Containers/RootContainerBank.h"

#include "General/Containers/RootContainer.h"
#include "General/Core/RootObject.h"
#include "General/Core/StrToID.h"

TRootContainerBank *TRootContainerBank::Bank = nullptr;
TRootContainer *(*TRootContainerBank::MapContainerCallback)(TRootObject *) = nullptr;

TRootContainerBank::TRootContainerBank() {
    Bank = this;
}

TRootContainerBank::~TRootContainerBank() {
    if (Bank == this)
        Bank = nullptr;
    m_Containers.clear();
    m_BankMapping.clear();
}

int TRootContainerBank::Register(TRootContainer *container, const TString &identifier) {
    if (container->GetContainerID() != TRootContainer::kUnregistered)
        m_Containers.erase(container->GetContainerID());
    const uint32_t id = StrToID(identifier.GetData());
    m_Containers[id] = container;
    container->SetContainerID(id);
    return static_cast<int>(id);
}

void TRootContainerBank::DeRegister(TRootContainer *container) {
    m_Containers.erase(container->GetContainerID());
}

void TRootContainerBank::InsertContainer(unsigned long id, TRootContainer *container) {
    m_Containers[static_cast<uint32_t>(id)] = container;
    container->SetContainerID(id);
}

TRootContainer *TRootContainerBank::GetContainer(unsigned long id, bool) {
    id = static_cast<uint32_t>(id);
    auto mapped = m_BankMapping.find(static_cast<int>(id));
    if (mapped != m_BankMapping.end())
        id = static_cast<uint32_t>(mapped->second);
    auto found = m_Containers.find(id);
    return found != m_Containers.end() ? found->second : nullptr;
}

unsigned long TRootContainerBank::ObjectToContainerID(TRootObject *object) {
    if (object == nullptr)
        return TRootContainer::kUnregistered;
    TRootContainer *container =
        MapContainerCallback != nullptr ? MapContainerCallback(object) : object->GetContainer();
    return container != nullptr ? container->GetContainerID() : TRootContainer::kUnregistered;
}

TRootContainerBank *GetRootContainerBank() {
    static TRootContainerBank bank;
    return &bank;
}
