// The resource manager: the one object through which the engine asks for data by name or id.
// It keeps the banks in search order and the factories of all types, and maps names to tags
// and missing resources to substitutes through its tag and type rules.
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Resources/ResourceBank.h"

class TBankFileSystem_I;
class TFileObj;
class TResource;
class TResourceFactory;
class TResourceRuleFile;

/// Import flag: queue the load on the asynchronous importer and return at once.
constexpr unsigned long kImportAsync = 2;
/// Import flag: count no reference for the caller (a new object comes back at 0).
constexpr unsigned long kImportNoRef = 4;

/// The resource manager's interface; the operations keep this order for client modules.
class VLIB_API TResourceManager_I {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Deletes the manager's containers; banks must have been closed by Shutdown.
    virtual ~TResourceManager_I();
    /// Loads the tag and type rules, starts the importer and opens the configured banks.
    virtual void Initialise() = 0;
    /// Closes every bank, deletes the rules and stops the importer.
    virtual void Shutdown() = 0;
    /// A new object of the type, or null for an unknown type.
    virtual TResource *CreateResource(unsigned long typeId) = 0;
    /// Registers a factory (not owned); a second one of the same id is refused.
    virtual TError AddFactory(TResourceFactory *factory) = 0;
    virtual TError RemoveFactory(TResourceFactory *factory) = 0;
    virtual unsigned long GetNumFactories() = 0;
    /// The factory at `index` in id order; the index must be valid.
    virtual TResourceFactory *GetFactoryByIndex(unsigned long index) = 0;
    virtual TResourceFactory *GetFactory(unsigned long typeId) = 0;
    /// Opens a bank by its list file alone, without checking it against the store.
    virtual TResourceBank_I *OpenUncheckedBank(int kind, const TString &location,
                                               const TString &ruleFile, bool rescan,
                                               const TString &listFile) = 0;
    /// Opens a writable bank with the caller's rules.
    virtual TResourceBank_I *OpenBank(int kind, const TString &location, TResourceRuleFile *rules,
                                      bool rescan, const TString &listFile) = 0;
    virtual TResourceBank_I *OpenBank(int kind, const TString &location, const TString &ruleFile,
                                      bool rescan, const TString &listFile) = 0;
    /// Opens a read-only bank with the caller's rules.
    virtual TResourceBank_I *OpenReadOnlyBank(int kind, const TString &location,
                                              TResourceRuleFile *rules, bool rescan,
                                              const TString &listFile) = 0;
    virtual TResourceBank_I *OpenReadOnlyBank(int kind, const TString &location,
                                              const TString &ruleFile, bool rescan,
                                              const TString &listFile) = 0;
    /// Closes a bank of the list and deletes it.
    virtual void CloseBank(TResourceBank_I *bank) = 0;
    virtual void MoveBankToFront(TResourceBank_I *bank) = 0;
    virtual unsigned long GetNumBanks() = 0;
    virtual TResourceBank_I *GetBank(unsigned long index) = 0;
    /// The entry of the first bank in search order that has `id`; `bank` may be null.
    virtual TResourceBankEntry_I *FindEntry(unsigned long id, TResourceBank_I **bank,
                                            bool unused) = 0;
    /// The path inside its store of the file a load would read; empty if unknown.
    virtual TString GetResourcePath(const TString &name, TBankFileSystem_I **store) = 0;
    virtual TString GetResourcePath(unsigned long id, TBankFileSystem_I **store) = 0;
    virtual TString GetResourceFullPath(unsigned long id) = 0;
    virtual TString GetResourceFileName(unsigned long id) = 0;
    /// Where the bytes of the resource's file lie on disk.
    virtual bool GetResourceFileLocation(unsigned long id, TString &path,
                                         unsigned long long &offset, unsigned long &size) = 0;
    virtual bool ResourceExists(unsigned long id) = 0;
    /// The entry's tag, or "<unknown resource id>".
    virtual const TString &GetTag(unsigned long id) = 0;
    virtual bool IsResourceLoaded(unsigned long id) = 0;
    /// The resource of `id` (after the tag rules for `name`), loaded by the first bank that
    /// can supply it, or a substitute named by a "default" rule; null on failure.
    virtual TResource *ImportResource(unsigned long id, unsigned long flags, const char *typeName,
                                      const char *name) = 0;
    virtual TResource *ImportResource(const char *name, unsigned long flags) = 0;
    /// A window on the resource's data behind all headers; null on a directory store.
    virtual TFileObj *OpenResourceData(unsigned long id, unsigned long unused) = 0;
    virtual TFileObj *OpenResourceData(const char *name) = 0;
    /// Adds a file to the first bank whose location holds it.
    virtual bool AddFile(const TString &path, TResource *resource) = 0;
    virtual TResourceBankEntry_I *AddResourceEntry(TResourceBank_I *bank, const TString &tag,
                                                   const TString &path, const TString &type,
                                                   TResource *resource) = 0;
    /// Makes entries for a file name by the bank's rules; with a resource, ties it to one.
    virtual bool AddFileToBank(TResourceBank_I *bank, const TString &name, TResource *resource,
                               TLibVector<TResourceBankEntry_I *> *out) = 0;
    /// Gives an existing resource a place in a bank and writes its files there.
    virtual TError StoreResource(TResourceBank_I *bank, const TString &name, TResource *resource,
                                 TLibVector<TResourceBankEntry_I *> *out) = 0;
    virtual TError ExportResource(const char *name) = 0;
    virtual TError ExportResource(TResource *resource) = 0;
    virtual TError ExportResource(unsigned long id) = 0;
    virtual void ReleaseResource(TResource *resource) = 0;
    virtual bool GetStoreAutocompiledResources() = 0;
    virtual bool GetUsePrecompiledResources() = 0;
    virtual bool GetUseSourceResources() = 0;
    virtual unsigned long GetCheckDependencies() = 0;
    virtual void SetStoreAutocompiledResources(bool value) = 0;
    virtual void SetUsePrecompiledResources(bool value) = 0;
    virtual void SetUseSourceResources(bool value) = 0;
    virtual void SetCheckDependencies(unsigned long value) = 0;
};

/// The resource manager of the process, made on first use and destroyed at exit.
VLIB_API TResourceManager_I &GetResourceManager();
