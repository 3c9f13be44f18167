// The library's resource banks and entries. An entry record is what parsing a file name with
// the bank's rules produces and what the list file keeps; the bank turns records into entries,
// chooses between source and compiled files, and runs the loads and exports of its entries.
// The classes are exported only so that the tests can reach them; clients use the interfaces.
#pragma once

#include <atomic>

#include <cstdint>

#include "General/Components/ParameterList.h"
#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Resources/BankStore.h"
#include "General/Resources/CompiledResource.h"
#include "General/Resources/Detail/EntryIndex.h"
#include "General/Resources/ResourceBank.h"
#include "General/Streams/FileTime.h"

class TAsciiInFilter;
class TAsciiOutFilter;
class TResourceBank;
class TResourceRuleFile;

/// The part of an entry that parsing makes and the list file stores. A plain value.
struct TResourceBankEntryData {
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    static constexpr uint8_t kHasSource = 1;
    static constexpr uint8_t kHasCompiled = 2;
    static constexpr uint8_t kInSecondStore = 4;
    static constexpr uint8_t kFlagMask = 0x0F;
    static constexpr uint32_t kNoHash = 0xFFFFFFFFu;
    static constexpr uint16_t kNoParameters = 0xFFFF;

    TString Tag;
    TString SourceName;
    TString CompiledName;
    uint16_t SourceDirectory = 0;
    uint16_t CompiledDirectory = 0;
    uint32_t SourceHash = kNoHash;
    uint32_t CompiledHash = kNoHash;
    uint16_t Type = 0;
    TResourceBank *Bank = nullptr; // not owned
    uint16_t Parameters = kNoParameters;
    uint8_t Flags = 0;
};

/// One resource of a bank.
class VLIB_API TResourceBankEntry : public TResourceBankEntry_I, public TBaseAllocator {
public:
    explicit TResourceBankEntry(const TResourceBankEntryData &data) : m_Data(data) {}
    TResourceBankEntry(const TResourceBankEntry &) = delete;
    TResourceBankEntry &operator=(const TResourceBankEntry &) = delete;
    ~TResourceBankEntry() override = default;

    bool HasSource() override { return (m_Data.Flags & TResourceBankEntryData::kHasSource) != 0; }
    bool HasCompiled() override {
        return (m_Data.Flags & TResourceBankEntryData::kHasCompiled) != 0;
    }
    bool IsCompiledInSecondStore() override {
        return (m_Data.Flags & TResourceBankEntryData::kInSecondStore) != 0;
    }
    const TString &GetType() override;
    const TString &GetTag() override { return m_Data.Tag; }
    unsigned long GetID() const override;
    TString GetSourcePath(const TString **sourceType) override;
    TString GetCompiledPath(const char *typeName) override;
    const TString *GetParameter(const TString &name) override;
    bool GetBoolParameter(const TString &name, bool defaultValue) override;
    float GetFloatParameter(const TString &name, float defaultValue) override;
    int GetIntegerParameter(const TString &name, int defaultValue) override;
    void SetParameter(const TString &name, const char *value) override;
    bool IsCompiledUsable() override;
    TResource *GetResource() override { return m_Resource; }
    void SetOutOfDate(bool outOfDate) override { m_OutOfDate = outOfDate; }
    void GetDependencyIDs(TLibVector<unsigned long> &out) override;
    bool GetDependencies(TLibVector<TDependency> &out, bool recursive) override;

    TResourceBankEntryData &Data() { return m_Data; }
    const TResourceBankEntryData &Data() const { return m_Data; }
    TResourceBank *GetOwner() const { return m_Data.Bank; }
    void SetResource(TResource *resource) { m_Resource = resource; }
    bool IsOutOfDate() const { return m_OutOfDate; }
    /// The dependency check passed since the last write of any entry's file.
    bool IsChecked() const { return m_CheckedInRound == CurrentCheckRound(); }
    void SetChecked(bool checked) { m_CheckedInRound = checked ? CurrentCheckRound() : 0; }
    /// Makes every entry of every bank unchecked at once: the next round of checks begins.
    static void StartCheckRound();
    /// Stores a compiled path: interned directory, name and hash, told to both stores.
    void SetCompiledName(const TString &path);
    /// The entry's parameters; null when it has none.
    const TParameterList *GetParameters() const;
    /// The source path, the store that holds it (null: the main store) and the type in which
    /// it is read, following "convertfrom" to another entry.
    TString ResolveSource(TBankFileSystem_I **store, const TString **sourceType);
    /// The header of the compiled file, as last read or written.
    TCompiledResourceFileHeader &Header() { return m_Header; }

private:
    TResourceBankEntryData m_Data;
    TResource *m_Resource = nullptr; // not owned: no reference is held through it
    // A round number rather than a flag, so that a write that invalidates every entry's check
    // costs one increment instead of a walk over all entries of all banks.
    uint32_t m_CheckedInRound = 0; // 0: never checked
    bool m_OutOfDate = false;
    TCompiledResourceFileHeader m_Header;

    static uint32_t CurrentCheckRound() { return ms_CheckRound.load(std::memory_order_acquire); }
    static std::atomic<uint32_t> ms_CheckRound; // starts at 1; never 0
};

/// A bank over a main store and an optional second store for compiled files.
class VLIB_API TResourceBank : public TResourceBank_I, public TBaseAllocator {
public:
    /// Version of the list file; older ones are refused.
    static constexpr uint32_t kListVersion = 5;
    /// Tolerance of file time comparisons, for file systems with a coarse grain.
    static constexpr unsigned kTimeToleranceMs = 2000;

    TResourceBank();
    TResourceBank(const TResourceBank &) = delete;
    TResourceBank &operator=(const TResourceBank &) = delete;
    /// Deletes the tables, the owned rules and the entries; Close must have been called.
    ~TResourceBank() override;

    // TResourceBank_I
    const TString &GetListFile() override { return m_ListFile; }
    const TString &GetRuleFileNames() override;
    TString GetLocation() override;
    bool MakeRelative(TString &path) override;
    bool SetSecondStore(int kind, const TString &location) override;
    TBankFileSystem_I *GetStore() override { return m_Store; }
    TBankFileSystem_I *GetSecondStore() override { return m_SecondStore; }
    bool ForEachEntry(TResourceBankVisitor_I &visitor) override;
    bool Rescan() override;
    bool MatchesRules(const TString &name) override;
    unsigned long GetNumEntries() override { return m_Entries.size(); }
    TResourceBankEntry_I *FindEntry(unsigned long id) override { return FindEntryFast(id); }
    bool IsCompiledUsable(TResourceBankEntry_I *entry) override;
    bool CheckDependencies(TResourceBankEntry_I *entry) override;
    bool DeleteCompiled(TResourceBankEntry_I *entry) override;
    bool GetEntryFile(TResourceBankEntry_I *entry, TBankFileSystem_I *&store,
                      TString &path) override;
    bool GetEntryFileHash(TResourceBankEntry_I *entry, TBankFileSystem_I *&store,
                          unsigned long &hash) override;
    TFileTime GetSourceTime(TResource *resource) override;
    TFileTime GetSourceTime(TResourceBankEntry_I *entry) override;
    TError FindEntriesForFile(const TString &name,
                              TLibVector<TResourceBankEntry_I *> &out) override;
    void DetachResource(unsigned long id) override;
    void RemoveEntry(unsigned long id, bool deleteFiles) override;
    bool Save(bool exportChanged) override;
    bool CopyEntryFiles(TResourceBank_I *other, TResourceBankEntry_I *entry, bool copySource,
                        bool copyCompiled, bool replace) override;
    bool CopyEntry(TResourceBank_I *other, TResourceBankEntry_I *entry) override;
    void LoadAll() override;
    void ReleaseAll() override;
    unsigned long GetCheckMode() override;
    void SetCheckMode(unsigned long mode) override { m_CheckMode = static_cast<uint32_t>(mode); }
    void SetAcceptStoredOnly(bool accept) override { m_AcceptStoredOnly = accept; }
    bool GetAcceptStoredOnly() override { return m_AcceptStoredOnly; }

    /// Opens the store and reads the list file, or scans the store when asked to, when the
    /// list is unreadable (writable banks only) or, with `verify`, when it is stale.
    bool Open(const TString &listFile, int kind, const TString &location, bool rescan, bool verify,
              bool readOnly);
    /// Creates a new, empty store.
    bool Create(const TString &listFile, int kind, const TString &location);
    /// Closes the stores and drops the entries; false when no store was open.
    bool Close();
    void SetRules(TResourceRuleFile *rules, bool owns);
    TResourceRuleFile *GetRules() const { return m_Rules; }
    bool IsReadOnly() const { return m_ReadOnly; }
    int GetKind() const { return m_Kind; }
    /// The entry's resource, made and loaded when it has none. Flags as ImportResource's.
    TResource *GetResource(unsigned long id, unsigned long flags);
    /// Whether this bank can supply `id` under the present settings.
    bool IsAvailable(unsigned long id);
    TResourceBankEntry *FindEntryFast(unsigned long id);
    /// Loads the resource tied to one of this bank's entries; 0 or 0x10000.
    TError ImportEntry(TResource *resource);
    /// Reads one file into the resource: headers, then its text or binary load routine.
    TError LoadFromStore(TBankFileSystem_I *store, unsigned long hash, TResource *resource,
                         bool compiled, bool track);
    /// Reads past the headers of a file; `useBinary` and `version` describe what follows.
    bool ReadResourceHeaders(TFileObj *file, TResourceBankEntry *entry, bool compiled,
                             bool &useBinary, unsigned long &version);
    /// Writes the entry's source file and, where the settings allow, its compiled file.
    TError ExportEntry(unsigned long id);
    /// Writes the source (true) or compiled (false) file of an entry from its resource.
    TError WriteEntryFile(TResourceBankEntry *entry, bool source);
    /// The records the rules give for a file name; 0x10000 without rules.
    TError ParseFile(const TString &name, TLibVector<TResourceBankEntryData> &records);
    /// Makes an entry of a record, tied to `resource` if given; null on failure.
    TResourceBankEntry *InsertEntry(const TResourceBankEntryData &record, TResource *resource);

    /// The file a load of the entry reads: compiled when the settings and the dependency check
    /// allow, else the source. False when there is none.
    bool ChooseFile(TResourceBankEntry *entry, TBankFileSystem_I *&store, uint32_t &hash,
                    TString *path, bool &compiled);
    /// The list file's contents: read fails on any damage, leaving the bank without entries.
    bool ReadList(TFileObj *file);
    bool WriteList(TFileObj *file);

    /// Interned strings and parameter lists, shared by the entries.
    uint16_t InternString(const TString &text);
    const TString &GetString(uint16_t index) const;
    uint16_t InternParameters(const TParameterList &list);
    const TParameterList *GetParameterList(uint16_t index) const;
    TString MakePath(uint16_t directory, const TString &name) const;
    /// True for the bank's own list file, which scans and tree hashes pass over.
    bool IsListFile(const TString &path) const;
    /// Stores a compiled path in a record and tells both stores; empty clears it.
    void SetCompiledName(TResourceBankEntryData &record, const TString &path);

private:
    class TScanVisitor;
    class TTreeHashVisitor;

    bool ParseFileInner(const TString &name, TLibVector<TResourceBankEntryData> &records);
    bool Scan(TBankFileSystem_I *store, bool secondStore, uint32_t *treeHash);
    static bool IsListed(const TResourceBankEntryData &data);
    void ScanRecord(TResourceBankEntryData &record, bool secondStore);
    void DropEntries();
    bool ReadListFile();
    bool CopyFile(TBankFileSystem_I *from, const TString &fromPath, TBankFileSystem_I *to,
                  const TString &toPath);
    void ClearAllChecked();
    /// Reads the header of the entry's compiled file; false if it has none or it is bad.
    bool ReadCompiledHeader(TResourceBankEntry *entry, TCompiledResourceFileHeader &header);

    TString m_ListFile;
    TBankFileSystem_I *m_Store = nullptr;               // owned
    TBankFileSystem_I *m_SecondStore = nullptr;         // owned
    TLibMap<uint32_t, TResourceBankEntry *> m_Entries;  // owned; the walks go in id order
    vlib::detail::TIdIndex<TResourceBankEntry> m_Index; // the same entries, for lookups
    uint32_t m_TreeHash = 0;
    TFileTime m_RuleTime;
    TResourceRuleFile *m_Rules = nullptr; // owned when m_OwnsRules
    bool m_OwnsRules = false;
    uint32_t m_CheckMode = 3;
    bool m_AcceptStoredOnly = false;
    TLibVector<TString> m_Strings;
    TLibVector<TParameterList *> m_ParameterLists; // owned
    bool m_ReadOnly = false;
    int m_Kind = 0;
    TString m_RuleFileNames;
    bool m_ListRead = false; // scratch of ReadList
};
