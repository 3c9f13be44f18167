// The root object's class record and its deletion.
#include "General/Core/RootObject.h"

TRuntimeClass TRootObject::ClassTRootObject("TRootObject", nullptr, nullptr);

TRootObject::~TRootObject() = default;

TRuntimeClass *TRootObject::GetRuntimeClass() const { return &ClassTRootObject; }

TError TRootObject::ReadBinary(TFileObj &) { return TError(0); }
TError TRootObject::WriteBinary(TFileObj &) { return TError(0); }
TError TRootObject::ReadAscii(TAsciiInFilter &) { return TError(0); }
TError TRootObject::WriteAscii(TAsciiOutFilter &) { return TError(0); }

void TRootObject::Delete() {
    // FIXME: an object still in a container must first leave it through the container's
    // RemoveObject; containers are not built yet, and until then no object can be in one.
    delete this;
}
