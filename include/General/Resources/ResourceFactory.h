// The maker of one resource type, which the manager knows only by its number, and the
// process-wide list of factories made by static constructors. Every resource class keeps one
// static factory; registering it beside its definition puts it in the list while the module
// loads, before the host's first call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

class TResource;

/// Makes and destroys resources of one type and describes what the type can do.
class VLIB_API TResourceFactory : public TBaseAllocator {
public:
    /// The version of a form the class does not have.
    static constexpr uint32_t kNoVersion = 0xFFFFFFFFu;

    TResourceFactory() = default;
    TResourceFactory(const TResourceFactory &) = delete;
    TResourceFactory &operator=(const TResourceFactory &) = delete;
    virtual ~TResourceFactory();

    /// A new object with one reference, or null when memory runs out.
    virtual TResource *New() = 0;
    /// Destroys the object; null is ignored.
    virtual void Delete(TResource *resource) = 0;
    /// The type id, StrToID of the type name.
    virtual uint32_t GetID() = 0;
    virtual TStringInt<TDynamicStringAllocationStrategy> GetName() = 0;
    /// The format version written in text form (true) or binary form (false); kNoVersion
    /// when the class has no such form.
    virtual uint32_t GetVersion(bool ascii) = 0;
    /// True when the text files begin with the versioned stream header.
    virtual bool HasVersionedSource() = 0;
    /// False only for a versioned source with no text version.
    virtual bool CanLoadSource() = 0;
    /// True when a compiled copy of this type may be stored.
    virtual bool CanCompile() = 0;
    /// True when a load's imports are to be recorded as the resource's dependencies.
    virtual bool HasDependencies() = 0;
};

/// The factories registered while the module loaded, in order of registration. Registration
/// belongs to static construction and the main thread; the list is not locked.
class VLIB_API TResourceFactoryRegistry {
public:
    /// Adds a factory; the same pointer twice is kept once. The factory is not owned.
    static void Register(TResourceFactory *factory);
    /// Takes a factory out; an unknown one changes nothing.
    static void Unregister(TResourceFactory *factory);
    static size_t GetCount();
    /// The factory at `index`, or null past the end.
    static TResourceFactory *GetByIndex(size_t index);
    /// The first registered factory whose type id is `id`, or null.
    static TResourceFactory *Find(uint32_t id);
};

/// Registers a static factory for as long as this object lives. Define one beside the factory,
/// after it in the same file, so the factory is built first.
class VLIB_API TResourceFactoryRegistration {
public:
    explicit TResourceFactoryRegistration(TResourceFactory *factory) : m_Factory(factory) {
        TResourceFactoryRegistry::Register(factory);
    }
    ~TResourceFactoryRegistration() { TResourceFactoryRegistry::Unregister(m_Factory); }
    TResourceFactoryRegistration(const TResourceFactoryRegistration &) = delete;
    TResourceFactoryRegistration &operator=(const TResourceFactoryRegistration &) = delete;

private:
    TResourceFactory *m_Factory; // not owned
};
