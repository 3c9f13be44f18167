// The root object's class record and its deletion.
#include "General/Core/RootObject.h"

#include "General/Containers/RootContainer.h"

TRuntimeClass TRootObject::ClassTRootObject("TRootObject", nullptr, nullptr);

TRootObject::~TRootObject() = default;

TRuntimeClass *TRootObject::GetRuntimeClass() const {
    return &ClassTRootObject;
}

TError TRootObject::ReadBinary(TFileObj &) {
    return TError(0);
}
TError TRootObject::WriteBinary(TFileObj &) {
    return TError(0);
}
TError TRootObject::ReadAscii(TAsciiInFilter &) {
    return TError(0);
}
TError TRootObject::WriteAscii(TAsciiOutFilter &) {
    return TError(0);
}

void TRootObject::Delete() {
    // An object still in a container leaves it first, so the store keeps no dangling entry.
    if (m_Container != nullptr)
        m_Container->RemoveObject(this);
    delete this;
}
