// Run-time class records: a name, a parent and a creator, kept in one process-wide registry
// by the name's id, so that objects can be created and checked by class name.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

class TRootObject;

/// One class's descriptor; constructing it registers it under StrToID(name).
class VLIB_API TRuntimeClass : public TBaseAllocator {
public:
    using TCreator = TRootObject *(*)();

    /// Registers under the name's id unless the id is taken, in which case the earlier class
    /// keeps the entry and this one is not found by id.
    TRuntimeClass(const char *name, TRuntimeClass *parent, TCreator creator);
    TRuntimeClass(const TRuntimeClass &) = delete;
    TRuntimeClass &operator=(const TRuntimeClass &) = delete;
    virtual ~TRuntimeClass();

    /// A new object with id -2 and no container; null for a class without a creator.
    TRootObject *CreateObject();
    /// Exact, case-sensitive comparison of names.
    bool IsClass(const char *name) const;
    bool IsClass(const TRuntimeClass *cls) const { return cls == this; }
    /// True if this class or an ancestor has the id of `name` (case ignored).
    bool IsSubclass(const char *name) const;
    bool IsSubclass(const TRuntimeClass *cls) const;

    uint32_t GetID() const { return m_ID; }
    const TStringInt<TDynamicStringAllocationStrategy> &GetName() const { return m_Name; }
    TRuntimeClass *GetParent() const { return m_Parent; }
    TCreator GetCreator() const { return m_Creator; }

    /// Registry look-ups; null when absent.
    static TRuntimeClass *GetRuntimeClass(unsigned long id);
    static TRuntimeClass *GetRuntimeClass(const TStringInt<TDynamicStringAllocationStrategy> &name);
    static TRuntimeClass *GetRuntimeClass(const char *name);

private:
    uint32_t m_ID;
    TStringInt<TDynamicStringAllocationStrategy> m_Name;
    TRuntimeClass *m_Parent; // not owned
    TCreator m_Creator;
};

/// Makes a second name find an existing class, replacing whatever that name found before.
class VLIB_API TRuntimeClassAlternative {
public:
    TRuntimeClassAlternative(TRuntimeClass *cls, const char *alternativeName);
};

/// Declares the runtime-class members of a persistent class inside its body.
#define VLIB_DECLARE_RUNTIME_CLASS(cls)                                                          \
public:                                                                                          \
    static TRuntimeClass Class##cls;                                                             \
    static TRuntimeClass *GetRuntimeClassStatic() { return &Class##cls; }                        \
    TRuntimeClass *GetRuntimeClass() const override { return &Class##cls; }

/// Defines the descriptor of a class that cannot be created by name.
#define VLIB_IMPLEMENT_RUNTIME_CLASS(cls, parent)                                                \
    TRuntimeClass cls::Class##cls(#cls, &parent::Class##parent, nullptr)

/// Defines the descriptor of a class that is created by name through its default constructor.
#define VLIB_IMPLEMENT_CREATABLE_CLASS(cls, parent)                                              \
    TRuntimeClass cls::Class##cls(#cls, &parent::Class##parent,                                  \
                                  []() -> TRootObject * { return new cls; })
