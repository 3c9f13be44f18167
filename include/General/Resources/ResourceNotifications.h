// The notifications of the resource system. Each is a plain structure sent through the
// notification manager on the thread that does the work; handlers run before Notify returns,
// so a handler may write into the payload (the autocompile veto relies on this).
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/StringInt.h"

class TFileObj;
class TResource;
class TResourceBank_I;
class TResourceBankEntry_I;

/// First of all in an import.
struct TNotification_OnStartImportResource {
    unsigned long id;
    TStringInt<TDynamicStringAllocationStrategy> name;
    unsigned long flags;
};

/// An import found nothing to give; `bank` is the one that held the id, or null.
struct TNotification_OnImportResourceFailed {
    unsigned long id;
    TStringInt<TDynamicStringAllocationStrategy> name;
    TResourceBank_I *bank; // not owned
};

/// Last of all in an import; `resource` is null on failure.
struct TNotification_OnEndImportResource {
    unsigned long id;
    TStringInt<TDynamicStringAllocationStrategy> name;
    TResource *resource; // not owned
};

/// Just before a resource's load routine runs.
struct TNotification_OnStartLoadResource {
    TResource *resource; // not owned
    bool isSource;
    TFileObj *file; // not owned; may be null
};

/// Just after a resource's load routine ran.
struct TNotification_OnEndLoadResource {
    TResource *resource; // not owned
    bool isSource;
    TFileObj *file; // not owned; may be null
    TError error;
};

/// After a good load from source with autocompile on; setting `veto` stops the export.
struct TNotification_OnAutocompileExport {
    TResource *resource; // not owned
    bool veto;
};

/// An export found no bank or no resource for the id.
struct TNotification_OnExportResourceFailed {
    unsigned long id;
    TResource *resource;   // not owned; may be null
    TResourceBank_I *bank; // not owned; may be null
};

/// A bank made a new entry.
struct TNotification_OnInsertResource {
    TResourceBank_I *bank;       // not owned
    TResourceBankEntry_I *entry; // not owned
};

/// A scan met a resource id that an entry already has.
struct TNotification_OnDuplicateResourceFound {
    TStringInt<TDynamicStringAllocationStrategy> scanningLocation;
    TStringInt<TDynamicStringAllocationStrategy> holdingLocation;
    TStringInt<TDynamicStringAllocationStrategy> newPath;
    TStringInt<TDynamicStringAllocationStrategy> entryPath;
    bool sameBank;
};

/// A compiled file failed its dependency check. Reasons: 0 unreadable header, 1 source time
/// changed, 2 source gone, 3 dependency gone, 4 dependency's time changed, 5 dependency
/// flagged out of date.
struct TNotification_OnDependencyOutOfDate {
    unsigned long reason;
    TResourceBankEntry_I *entry;      // not owned
    TResourceBankEntry_I *dependency; // not owned; may be null
};
