// The base of every persistent object: an id within its container and the container that
// owns it. Containers create, number, stream and delete these objects.
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/RuntimeClass.h"

class TFileObj;
class TAsciiInFilter;
class TAsciiOutFilter;
class TRootContainer;

/// A persistent object; see the special ids below.
class VLIB_API TRootObject : public TBaseAllocator {
public:
    /// The id of no object: a null reference, and the null object in every stream.
    static constexpr int32_t kNullID = -1;
    /// A constructed object that has never been in a container.
    static constexpr int32_t kNewID = -2;
    /// An object that was removed from its container.
    static constexpr int32_t kRemovedID = -3;

    static TRuntimeClass ClassTRootObject;
    static TRuntimeClass *GetRuntimeClassStatic() { return &ClassTRootObject; }

    TRootObject() = default;
    TRootObject(const TRootObject &) = default;
    TRootObject &operator=(const TRootObject &) = default;

    virtual TRuntimeClass *GetRuntimeClass() const;
    virtual TError ReadBinary(TFileObj &file) = 0;
    virtual TError WriteBinary(TFileObj &file) = 0;
    virtual TError ReadAscii(TAsciiInFilter &filter) = 0;
    virtual TError WriteAscii(TAsciiOutFilter &filter) = 0;
    virtual void Initialise() {}
    virtual void InitialiseAfterLoad() {}
    virtual void UpdateContainer(TRootContainer *previous) { (void)previous; }

    int32_t GetID() const { return m_ID; }
    TRootContainer *GetContainer() const { return m_Container; }

    /// Takes the object out of its container, if any, and destroys it.
    void Delete();
    /// A new object of the source's class, filled by reading back what the source writes in
    /// binary; id -2 and no container. Uses one shared buffer: one thread at a time.
    static TRootObject *MakeCopy(TRootObject *source);
    /// The same for a pointer that may be null.
    static void Delete(TRootObject *object) {
        if (object != nullptr)
            object->Delete();
    }

protected:
    virtual ~TRootObject();

private:
    friend class TRootContainer;
    void SetID(int32_t id) { m_ID = id; }
    void SetContainer(TRootContainer *container) { m_Container = container; }

    int32_t m_ID = kNewID;
    TRootContainer *m_Container = nullptr; // not owned: the container owns this object
};
