// References that name an object by its container and id, so that they survive the object's
// deletion (they turn null) and a save and load (they stream the container's id or name).
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"

class TAsciiInFilter;
class TAsciiOutFilter;
class TFileObj;
class TRootContainer;
class TRootObject;

/// A (container, id) reference; Get turns it null once the object is gone.
class VLIB_API TRootObjectPtrBase {
public:
    TRootObjectPtrBase() = default;
    explicit TRootObjectPtrBase(TRootObject *object) { Set(object); }

    /// A null object gives the null reference (null, -1).
    void Set(TRootObject *object);
    /// The object, or null; a reference to a deleted object becomes the null reference.
    TRootObject *Get() const;
    TRootContainer *GetContainer() const { return m_Container; }
    int32_t GetID() const { return m_ID; }

protected:
    mutable TRootContainer *m_Container = nullptr; // not owned
    mutable int32_t m_ID = -1;
};

/// A reference that also streams itself: container id and object id.
class VLIB_API TRootObjectRefBase : public TRootObjectPtrBase {
public:
    TRootObjectRefBase() = default;
    explicit TRootObjectRefBase(TRootObject *object) : TRootObjectPtrBase(object) {}

    TError ReadBinary(TFileObj &file);
    TError WriteBinary(TFileObj &file);
    TError ReadAscii(TAsciiInFilter &filter, const char *key);
    TError WriteAscii(TAsciiOutFilter &filter, const char *key);
};
