// The faces of resource banks and their entries. A bank is one directory tree or packed file
// with the rules that name its resources; it holds one entry per resource id. Clients see
// banks and entries only through these interfaces; the concrete classes live in the library.
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Resources/Resource.h"
#include "General/Streams/FileTime.h"

class TBankFileSystem_I;
class TResourceBank_I;

/// One resource of a bank: its tag, type, parameters and files, and the loaded object if any.
class VLIB_API TResourceBankEntry_I {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    virtual ~TResourceBankEntry_I();
    virtual bool HasSource() = 0;
    virtual bool HasCompiled() = 0;
    virtual bool IsCompiledInSecondStore() = 0;
    virtual const TString &GetType() = 0;
    virtual const TString &GetTag() = 0;
    virtual unsigned long GetID() const = 0;
    /// Directory and name of the source file; `sourceType`, if not null, receives the type in
    /// which that file is read (another type for a conversion).
    virtual TString GetSourcePath(const TString **sourceType) = 0;
    /// Directory and name of the compiled file, made from the source's when there is none.
    virtual TString GetCompiledPath(const char *typeName) = 0;
    virtual const TString *GetParameter(const TString &name) = 0;
    virtual bool GetBoolParameter(const TString &name, bool defaultValue) = 0;
    virtual float GetFloatParameter(const TString &name, float defaultValue) = 0;
    virtual int GetIntegerParameter(const TString &name, int defaultValue) = 0;
    /// Replaces or adds one parameter of this entry only.
    virtual void SetParameter(const TString &name, const char *value) = 0;
    virtual bool IsCompiledUsable() = 0;
    virtual TResource *GetResource() = 0;
    virtual void SetOutOfDate(bool outOfDate) = 0;
    /// The ids recorded in the compiled header's dependency list.
    virtual void GetDependencyIDs(TLibVector<unsigned long> &out) = 0;
    /// The resource's dependencies sorted by id, each once; with `recursive`, theirs too.
    virtual bool GetDependencies(TLibVector<TDependency> &out, bool recursive) = 0;
};

/// Called by TResourceBank_I::ForEachEntry with each entry in id order; false stops the walk.
class VLIB_API TResourceBankVisitor_I {
public:
    virtual ~TResourceBankVisitor_I();
    virtual bool operator()(TResourceBank_I *bank, TResourceBankEntry_I *entry,
                            TResource *resource) = 0;
};

/// One place where resources live: a store, its rules and the list of entries they give.
class VLIB_API TResourceBank_I {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    virtual ~TResourceBank_I();
    virtual const TString &GetListFile() = 0;
    /// The rule files' paths, joined with ", ".
    virtual const TString &GetRuleFileNames() = 0;
    virtual TString GetLocation() = 0;
    /// Makes `path` relative to the bank's location; false when it has no relative form.
    virtual bool MakeRelative(TString &path) = 0;
    /// Opens (or creates) a second store for compiled files and scans it.
    virtual bool SetSecondStore(int kind, const TString &location) = 0;
    virtual TBankFileSystem_I *GetStore() = 0;
    virtual TBankFileSystem_I *GetSecondStore() = 0;
    /// Visits the entries in id order; true when the visitor never stopped the walk.
    virtual bool ForEachEntry(TResourceBankVisitor_I &visitor) = 0;
    /// Drops all entries and scans the stores again.
    virtual bool Rescan() = 0;
    /// True when the rules give at least one resource for the file name.
    virtual bool MatchesRules(const TString &name) = 0;
    virtual unsigned long GetNumEntries() = 0;
    virtual TResourceBankEntry_I *FindEntry(unsigned long id) = 0;
    /// True when a load of the entry would read its compiled file.
    virtual bool IsCompiledUsable(TResourceBankEntry_I *entry) = 0;
    /// True when the entry's compiled file may be trusted.
    virtual bool CheckDependencies(TResourceBankEntry_I *entry) = 0;
    virtual bool DeleteCompiled(TResourceBankEntry_I *entry) = 0;
    /// The store and path of the file a load of the entry would read; false if none.
    virtual bool GetEntryFile(TResourceBankEntry_I *entry, TBankFileSystem_I *&store,
                              TString &path) = 0;
    virtual bool GetEntryFileHash(TResourceBankEntry_I *entry, TBankFileSystem_I *&store,
                                  unsigned long &hash) = 0;
    virtual TFileTime GetSourceTime(TResource *resource) = 0;
    virtual TFileTime GetSourceTime(TResourceBankEntry_I *entry) = 0;
    /// The entries that the rules give for a file name.
    virtual TError FindEntriesForFile(const TString &name,
                                      TLibVector<TResourceBankEntry_I *> &out) = 0;
    /// Cuts the tie between the entry of `id` and its resource.
    virtual void DetachResource(unsigned long id) = 0;
    /// Deletes the entry of `id`, and with `deleteFiles` its files.
    virtual void RemoveEntry(unsigned long id, bool deleteFiles) = 0;
    /// Writes the list file (and with `exportChanged` every changed resource) and flushes.
    virtual bool Save(bool exportChanged) = 0;
    /// Copies the files of another bank's entry into this bank and adds the entry here.
    virtual bool CopyEntryFiles(TResourceBank_I *other, TResourceBankEntry_I *entry,
                                bool copySource, bool copyCompiled, bool replace) = 0;
    virtual bool CopyEntry(TResourceBank_I *other, TResourceBankEntry_I *entry) = 0;
    virtual void LoadAll() = 0;
    virtual void ReleaseAll() = 0;
    /// 0 never, 1 cached, 2 always; the manager's setting while the bank's mode is 3.
    virtual unsigned long GetCheckMode() = 0;
    virtual void SetCheckMode(unsigned long mode) = 0;
    virtual void SetAcceptStoredOnly(bool accept) = 0;
    virtual bool GetAcceptStoredOnly() = 0;
};

/// A resource and the bank that loads it, as queued for the asynchronous importer.
struct TBankResourcePair {
    TResourceBank_I *bank; // not owned
    TResource *resource;   // not owned
};
