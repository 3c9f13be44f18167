// Resource banks: entries, scanning a store with the bank's rules, the list file, and the
// choice between an entry's source and compiled files. Loading and writing the files of an
// entry live in ResourceBankLoad.cpp.

#include "General/Resources/Detail/ResourceBank.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <string>

#include "General/Core/Detail/NoThrow.h"
#include "General/Core/StrToID.h"
#include "General/Diagnostics/Notification.h"
#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/Detail/ResourceSettings.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Resources/ResourceManager.h"
#include "General/Resources/ResourceNotifications.h"
#include "General/Resources/ResourceRuleFile.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/IOAdapter.h"

using TString = TStringInt<TDynamicStringAllocationStrategy>;
using vlib::detail::CallNoThrow;
using vlib::detail::TResourceAccess;

TResourceBankEntry_I::~TResourceBankEntry_I() = default;
TResourceBankVisitor_I::~TResourceBankVisitor_I() = default;
TResourceBank_I::~TResourceBank_I() = default;

namespace {

bool EndsWithNoCase(const TString &text, const char *ending) {
    const int length = text.GetLength();
    const int endLength = static_cast<int>(std::strlen(ending));
    return length >= endLength && text.From(length - endLength).Compare(ending, false) == 0;
}

bool EqualNoCase(const TString &a, const TString &b) {
    return a.Compare(b.GetData(), false) == 0;
}

/// The value of the first parameter of that name, ignoring case; null if none.
const TString *FindParameter(const TParameterList *list, const char *name) {
    if (list == nullptr)
        return nullptr;
    TString key;
    for (int i = 0; i < list->GetParameterCount(); ++i) {
        const TString *value = list->GetParameter(i, key);
        if (key.Compare(name, false) == 0)
            return value;
    }
    return nullptr;
}

TResourceFactory *FactoryOfType(const TString &typeName) {
    return GetResourceManager().GetFactory(StrToID(typeName.GetData()));
}

/// The concrete bank behind an interface pointer; every bank of the library is one.
TResourceBank *Concrete(TResourceBank_I *bank) {
    return static_cast<TResourceBank *>(bank);
}
TResourceBankEntry *Concrete(TResourceBankEntry_I *entry) {
    return static_cast<TResourceBankEntry *>(entry);
}

/// The list file's name: the bank's own, else the configured default.
TString ListFileName(const TString &own) {
    if (!own.IsEmpty())
        return own;
    return vlib::detail::DefaultListFile();
}

/// True when a pack file with contents lies at `location` (with or without ".vrb"). A bank
/// whose Open failed on such a pack (a heap that ran out, say) must not Create over it.
bool PackHoldsData(const TString &location) {
    std::error_code error;
    const std::string path(location.GetData());
    for (const std::string &candidate : {path, path + ".vrb"}) {
        const auto size = std::filesystem::file_size(candidate, error);
        if (!error && size > 0)
            return true;
    }
    return false;
}

/// Whether two times agree within the tolerance of coarse file systems.
bool SameTime(const TFileTime &a, const TFileTime &b) {
    return a.IsEqual(b, TResourceBank::kTimeToleranceMs);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Entries

const TString &TResourceBankEntry::GetType() {
    return m_Data.Bank->GetString(m_Data.Type);
}

unsigned long TResourceBankEntry::GetID() const {
    return StrToID(m_Data.Tag.GetData());
}

const TParameterList *TResourceBankEntry::GetParameters() const {
    return m_Data.Bank->GetParameterList(m_Data.Parameters);
}

TString TResourceBankEntry::ResolveSource(TBankFileSystem_I **store, const TString **sourceType) {
    const TParameterList *parameters = GetParameters();
    if (sourceType != nullptr) {
        const TString *fileType = FindParameter(parameters, "sourcefiletype");
        *sourceType = fileType != nullptr ? fileType : &GetType();
    }
    if (store != nullptr)
        *store = nullptr;
    const TString *convertFrom = FindParameter(parameters, "convertfrom");
    if (convertFrom == nullptr)
        return m_Data.Bank->MakePath(m_Data.SourceDirectory, m_Data.SourceName);
    TResourceBank_I *bank = nullptr;
    TResourceBankEntry_I *other =
        GetResourceManager().FindEntry(StrToID(convertFrom->GetData()), &bank, false);
    TBankFileSystem_I *otherStore = nullptr;
    TString path;
    if (other == nullptr || bank == nullptr || !bank->GetEntryFile(other, otherStore, path))
        return {};
    if (store != nullptr)
        *store = otherStore;
    return path;
}

TString TResourceBankEntry::GetSourcePath(const TString **sourceType) {
    return ResolveSource(nullptr, sourceType);
}

TString TResourceBankEntry::GetCompiledPath(const char *typeName) {
    if (!m_Data.CompiledName.IsEmpty())
        return m_Data.Bank->MakePath(m_Data.CompiledDirectory, m_Data.CompiledName);
    TString path = m_Data.Bank->MakePath(m_Data.SourceDirectory, m_Data.SourceName);
    path.Append(".");
    path.Append(typeName != nullptr ? typeName : GetType().GetData());
    path.Append(".bin");
    SetCompiledName(path);
    return path;
}

void TResourceBankEntry::SetCompiledName(const TString &path) {
    m_Data.Bank->SetCompiledName(m_Data, path);
}

const TString *TResourceBankEntry::GetParameter(const TString &name) {
    return FindParameter(GetParameters(), name.GetData());
}

bool TResourceBankEntry::GetBoolParameter(const TString &name, bool defaultValue) {
    const TParameterList *list = GetParameters();
    return list != nullptr ? list->GetBoolParameter(name.GetData(), defaultValue) : defaultValue;
}

float TResourceBankEntry::GetFloatParameter(const TString &name, float defaultValue) {
    const TParameterList *list = GetParameters();
    return list != nullptr ? list->GetFloatParameter(name.GetData(), defaultValue) : defaultValue;
}

int TResourceBankEntry::GetIntegerParameter(const TString &name, int defaultValue) {
    const TParameterList *list = GetParameters();
    return list != nullptr ? list->GetIntegerParameter(name.GetData(), defaultValue) : defaultValue;
}

void TResourceBankEntry::SetParameter(const TString &name, const char *value) {
    (void)CallNoThrow([&] {
        TParameterList list;
        if (const TParameterList *old = GetParameters())
            list = *old;
        TString key;
        for (int i = 0; i < list.GetParameterCount(); ++i) {
            (void)list.GetParameter(i, key);
            if (key.Compare(name.GetData(), false) == 0) {
                (void)list.RemoveParameter(key);
                break;
            }
        }
        list.AddParameter(name, value != nullptr ? value : "", nullptr);
        const uint16_t index = m_Data.Bank->InternParameters(list);
        if (index != TResourceBankEntryData::kNoParameters)
            m_Data.Parameters = index;
    });
}

bool TResourceBankEntry::IsCompiledUsable() {
    TResourceBank_I *bank = nullptr;
    TResourceBankEntry_I *entry = GetResourceManager().FindEntry(GetID(), &bank, false);
    return entry != nullptr && bank != nullptr && bank->IsCompiledUsable(entry);
}

void TResourceBankEntry::GetDependencyIDs(TLibVector<unsigned long> &out) {
    (void)CallNoThrow([&] {
        for (const TCompiledDependency &dependency : m_Header.GetDependencies())
            out.push_back(dependency.id);
    });
}

namespace {

bool DependencyLess(const TDependency &a, const TDependency &b) {
    return a.id < b.id || (a.id == b.id && a.kind < b.kind);
}
bool SameDependencyId(const TDependency &a, const TDependency &b) {
    return a.id == b.id;
}

/// The sorted, unique dependencies (other than kind 1) that a load of the entry reports.
bool CollectOwnDependencies(TResourceBankEntry_I *entry, TLibVector<TDependency> &out) {
    TResourceFactory *factory = FactoryOfType(entry->GetType());
    if (factory == nullptr || !factory->HasDependencies())
        return false;
    TResource *resource = GetResourceManager().ImportResource(
        static_cast<unsigned long>(entry->GetID()), 0, nullptr, nullptr);
    if (resource == nullptr)
        return false;
    TLibVector<TDependency> all;
    const bool ok = CallNoThrow([&] {
        resource->GetDependencies(all);
        for (const TDependency &item : all)
            if (item.kind != TDependency::kResource)
                out.push_back(item);
        std::sort(out.begin(), out.end(), DependencyLess);
        out.erase(std::unique(out.begin(), out.end(), SameDependencyId), out.end());
    });
    GetResourceManager().ReleaseResource(resource);
    return ok;
}

} // namespace

bool TResourceBankEntry::GetDependencies(TLibVector<TDependency> &out, bool recursive) {
    if (!CollectOwnDependencies(this, out))
        return false;
    if (!recursive)
        return true;
    bool result = true;
    const bool ok = CallNoThrow([&] {
        for (size_t i = 0; i < out.size(); ++i) {
            TResourceBankEntry_I *entry = GetResourceManager().FindEntry(out[i].id, nullptr, false);
            TLibVector<TDependency> theirs;
            if (entry == nullptr || !CollectOwnDependencies(entry, theirs)) {
                if (entry == nullptr)
                    result = false;
                continue;
            }
            TLibVector<TDependency> merged;
            std::merge(out.begin(), out.end(), theirs.begin(), theirs.end(),
                       std::back_inserter(merged), DependencyLess);
            merged.erase(std::unique(merged.begin(), merged.end(), SameDependencyId), merged.end());
            out.swap(merged);
        }
    });
    return ok && result;
}

// ---------------------------------------------------------------------------------------------
// Bank: tables

TResourceBank::TResourceBank() = default;

TResourceBank::~TResourceBank() {
    DropEntries();
    for (TParameterList *list : m_ParameterLists)
        delete list;
    if (m_OwnsRules)
        delete m_Rules;
}

uint16_t TResourceBank::InternString(const TString &text) {
    for (size_t i = 0; i < m_Strings.size(); ++i)
        if (m_Strings[i] == text)
            return static_cast<uint16_t>(i);
    if (m_Strings.size() >= 0xFFFF)
        throw std::bad_alloc(); // the 16-bit index is exhausted
    m_Strings.push_back(text);
    if (m_Strings.back().GetLength() != text.GetLength()) {
        m_Strings.pop_back();
        throw std::bad_alloc();
    }
    return static_cast<uint16_t>(m_Strings.size() - 1);
}

const TString &TResourceBank::GetString(uint16_t index) const {
    static const TString empty;
    return index < m_Strings.size() ? m_Strings[index] : empty;
}

uint16_t TResourceBank::InternParameters(const TParameterList &list) {
    const uint32_t hash = list.GetHash();
    for (size_t i = 0; i < m_ParameterLists.size(); ++i)
        if (m_ParameterLists[i]->GetHash() == hash && *m_ParameterLists[i] == list)
            return static_cast<uint16_t>(i);
    if (m_ParameterLists.size() >= TResourceBankEntryData::kNoParameters)
        throw std::bad_alloc();
    m_ParameterLists.reserve(m_ParameterLists.size() + 1);
    TParameterList *copy = new (std::nothrow) TParameterList;
    if (copy == nullptr)
        throw std::bad_alloc();
    if (!CallNoThrow([&] { *copy = list; })) {
        delete copy;
        throw std::bad_alloc();
    }
    m_ParameterLists.push_back(copy);
    return static_cast<uint16_t>(m_ParameterLists.size() - 1);
}

const TParameterList *TResourceBank::GetParameterList(uint16_t index) const {
    return index < m_ParameterLists.size() ? m_ParameterLists[index] : nullptr;
}

TString TResourceBank::MakePath(uint16_t directory, const TString &name) const {
    return GetString(directory) + name;
}

void TResourceBank::SetCompiledName(TResourceBankEntryData &record, const TString &path) {
    if (path.IsEmpty()) {
        record.CompiledName = "";
        record.CompiledDirectory = InternString(TString());
        record.CompiledHash = TResourceBankEntryData::kNoHash;
        return;
    }
    const int slash = path.FindLastOccurence('/');
    record.CompiledDirectory = InternString(path.Left(slash + 1));
    record.CompiledName = path.From(slash + 1);
    record.CompiledHash = HashPathName(path.GetData());
    if (m_Store != nullptr)
        m_Store->AddFile(path);
    if (m_SecondStore != nullptr)
        m_SecondStore->AddFile(path);
}

void TResourceBank::SetRules(TResourceRuleFile *rules, bool owns) {
    if (m_OwnsRules && m_Rules != rules)
        delete m_Rules;
    m_Rules = rules;
    m_OwnsRules = owns;
}

const TString &TResourceBank::GetRuleFileNames() {
    m_RuleFileNames = m_Rules != nullptr ? m_Rules->GetFileNames() : TString();
    return m_RuleFileNames;
}

TString TResourceBank::GetLocation() {
    return m_Store != nullptr ? m_Store->GetRoot() : TString();
}

bool TResourceBank::MakeRelative(TString &path) {
    TString location = GetLocation();
    TString full = path;
    location.Replace('\\', '/');
    full.Replace('\\', '/');
    while (location.GetLength() > 1 && location.GetCharacter(location.GetLength() - 1) == '/')
        location = location.Left(location.GetLength() - 1);
    const int length = location.GetLength();
    if (length == 0 || full.Compare(location.GetData(), true, length) != 0)
        return false;
    if (full.GetLength() > length && full.GetCharacter(length) != '/')
        return false; // a sibling whose name begins with the location's
    TString rest = full.From(length);
    if (!rest.IsEmpty() && rest.GetCharacter(0) == '/')
        rest = rest.From(1); // the leading separator is cut
    if (!rest.IsEmpty() && rest.GetCharacter(0) == '/')
        return false; // still looks absolute
    path = rest;
    return true;
}

// ---------------------------------------------------------------------------------------------
// Parsing

TError TResourceBank::ParseFile(const TString &name, TLibVector<TResourceBankEntryData> &records) {
    if (m_Rules == nullptr)
        return TError(TError::kFailure);
    bool parsed = false;
    const bool ok = CallNoThrow([&] {
        TString path = name;
        path.Replace('\\', '/');
        if (path.IsEmpty() || path.GetCharacter(0) != '.')
            path = TString("./") + path;
        parsed = ParseFileInner(path, records);
    });
    return TError(ok && parsed ? TError::kSuccess : TError::kFailure);
}

bool TResourceBank::ParseFileInner(const TString &name,
                                   TLibVector<TResourceBankEntryData> &records) {
    TString base = name;
    TString compiledType;
    bool compiled = false;
    if (EndsWithNoCase(base, ".bin")) {
        base = base.Left(base.GetLength() - 4);
        const int dot = base.FindLastOccurence('.');
        if (dot >= 1) {
            compiledType = base.From(dot + 1);
            if (FactoryOfType(compiledType) == nullptr)
                return false;
            base = base.Left(dot);
        }
        compiled = true;
    }
    base.Replace('\\', '/');
    TLibVector<TParameterList> lists;
    if (!m_Rules->Query(base, lists, nullptr))
        return false;
    if (lists.empty())
        return true;

    TLibVector<TResourceBankEntryData> local;
    TString plainType;
    const int slash = base.FindLastOccurence('/');
    for (const TParameterList &list : lists) {
        TResourceBankEntryData record;
        record.Bank = this;
        record.SourceDirectory = InternString(base.Left(slash + 1));
        record.SourceName = base.From(slash + 1);
        record.CompiledDirectory = InternString(TString());
        if (base.IsEmpty()) {
            record.SourceHash = TResourceBankEntryData::kNoHash;
        } else {
            record.SourceHash = HashPathName(base.GetData());
            if (m_Store != nullptr)
                m_Store->AddFile(base);
        }
        TParameterList own;
        TString typeName;
        TString key;
        for (int i = 0; i < list.GetParameterCount(); ++i) {
            const TString *value = list.GetParameter(i, key);
            if (value == nullptr)
                continue;
            if (key.Compare("Tag", false) == 0)
                record.Tag = *value;
            else if (key.Compare("Type", false) == 0)
                typeName = *value;
            else
                own.AddParameter(key, *value, nullptr);
        }
        if (typeName.IsEmpty())
            return false;
        record.Type = InternString(typeName);
        record.Flags =
            compiled ? TResourceBankEntryData::kHasCompiled : TResourceBankEntryData::kHasSource;
        if (own.GetParameterCount() > 0)
            record.Parameters = InternParameters(own);
        if (FindParameter(&own, "convertfrom") == nullptr &&
            FindParameter(&own, "sourcefiletype") == nullptr)
            plainType = typeName;
        local.push_back(record);
    }

    for (TResourceBankEntryData &record : local) {
        if (!compiled) {
            records.push_back(record);
            continue;
        }
        const TString &typeName = GetString(record.Type);
        if (EqualNoCase(typeName, compiledType)) {
            SetCompiledName(record, name);
            records.push_back(record);
            continue;
        }
        if (compiledType.IsEmpty())
            continue;
        // A compiled file of another class can be the source of a converting entry.
        const TParameterList *parameters = GetParameterList(record.Parameters);
        const TString *fileType = FindParameter(parameters, "sourcefiletype");
        if ((EqualNoCase(compiledType, plainType) &&
             FindParameter(parameters, "convertfrom") != nullptr) ||
            (fileType != nullptr && EqualNoCase(*fileType, compiledType))) {
            record.Flags = TResourceBankEntryData::kHasSource;
            records.push_back(record);
        }
    }
    return true;
}

bool TResourceBank::MatchesRules(const TString &name) {
    TLibVector<TResourceBankEntryData> records;
    return ParseFile(name, records) && !records.empty();
}

TError TResourceBank::FindEntriesForFile(const TString &name,
                                         TLibVector<TResourceBankEntry_I *> &out) {
    TLibVector<TResourceBankEntryData> records;
    if (!ParseFile(name, records))
        return TError(TError::kFailure);
    const bool ok = CallNoThrow([&] {
        for (const TResourceBankEntryData &record : records)
            if (TResourceBankEntry *entry = FindEntryFast(StrToID(record.Tag.GetData())))
                out.push_back(entry);
    });
    return TError(ok ? TError::kSuccess : TError::kFailure);
}

TResourceBankEntry *TResourceBank::InsertEntry(const TResourceBankEntryData &record,
                                               TResource *resource) {
    const uint32_t id = StrToID(record.Tag.GetData());
    if (m_Entries.count(id) != 0)
        return nullptr;
    TResourceBankEntry *entry = new TResourceBankEntry(record);
    if (entry == nullptr)
        return nullptr;
    entry->Data().Bank = this;
    bool indexed = false;
    if (entry->Data().Tag.GetLength() != record.Tag.GetLength() || !CallNoThrow([&] {
            m_Index.Insert(id, entry);
            indexed = true;
            m_Entries.emplace(id, entry);
        })) {
        if (indexed)
            m_Index.Erase(id);
        delete entry;
        return nullptr;
    }
    if (resource != nullptr) {
        entry->SetResource(resource);
        TResourceAccess::Attach(*resource, id, entry);
    }
    TNotification_OnInsertResource notification{this, entry};
    SendNotification(notification);
    return entry;
}

TResourceBankEntry *TResourceBank::FindEntryFast(unsigned long id) {
    return m_Index.Find(static_cast<uint32_t>(id));
}

// ---------------------------------------------------------------------------------------------
// Scanning

/// Feeds every file of a store through the bank's rules.
class TResourceBank::TScanVisitor : public TBankFileVisitor_I {
public:
    TScanVisitor(TResourceBank &bank, bool secondStore)
        : m_Bank(bank), m_SecondStore(secondStore) {}
    bool operator()(TBankFileSystem_I &store, const TDynamicString &path) override {
        (void)store;
        if (m_Bank.IsListFile(path))
            return true;
        m_TreeHash ^= StrToID(path.GetData());
        m_Records.clear();
        if (!m_Bank.ParseFile(path, m_Records))
            return true; // a file that fits no rule, or a bad one: go on
        for (TResourceBankEntryData &record : m_Records)
            if (!CallNoThrow([&] { m_Bank.ScanRecord(record, m_SecondStore); }))
                m_Failed = true;
        return true;
    }
    uint32_t GetTreeHash() const { return m_TreeHash; }
    bool GetFailed() const { return m_Failed; }

private:
    TResourceBank &m_Bank;
    bool m_SecondStore;
    uint32_t m_TreeHash = 0;
    bool m_Failed = false;
    TLibVector<TResourceBankEntryData> m_Records;
};

/// Computes the tree hash of a store without parsing anything.
class TResourceBank::TTreeHashVisitor : public TBankFileVisitor_I {
public:
    explicit TTreeHashVisitor(TResourceBank &bank) : m_Bank(bank) {}
    bool operator()(TBankFileSystem_I &store, const TDynamicString &path) override {
        (void)store;
        if (m_Bank.IsListFile(path))
            return true;
        m_TreeHash ^= StrToID(path.GetData());
        return true;
    }
    uint32_t GetTreeHash() const { return m_TreeHash; }

private:
    TResourceBank &m_Bank;
    uint32_t m_TreeHash = 0;
};

bool TResourceBank::IsListFile(const TString &path) const {
    // The list is written after the walk that it records: it stays out of the tree hash, or
    // every verified open would find the tree changed by the list itself.
    const char *text = path.GetData();
    if (text[0] == '.' && text[1] == '/')
        text += 2;
    const char *list = m_ListFile.GetData();
    if (list[0] == '.' && list[1] == '/')
        list += 2;
    return TString(text).Compare(list, false) == 0;
}

void TResourceBank::ScanRecord(TResourceBankEntryData &record, bool secondStore) {
    TResourceFactory *factory = FactoryOfType(GetString(record.Type));
    if (factory == nullptr)
        return;
    if ((record.Flags & TResourceBankEntryData::kHasSource) != 0 && !factory->CanLoadSource())
        return;
    if (secondStore) {
        if ((record.Flags & TResourceBankEntryData::kHasSource) != 0)
            return;
        record.Flags |= TResourceBankEntryData::kInSecondStore;
    }
    const uint32_t id = StrToID(record.Tag.GetData());
    TResourceBankEntry *entry = FindEntryFast(id);
    if (entry == nullptr) {
        if (secondStore && !GetAcceptStoredOnly())
            return;
        entry = Concrete(GetResourceManager().FindEntry(id, nullptr, false));
    }
    if (entry == nullptr) {
        (void)InsertEntry(record, nullptr);
        return;
    }
    TResourceBankEntryData &data = entry->Data();
    const TString recordPath = MakePath(record.SourceDirectory, record.SourceName);
    if (entry->GetOwner() != this) {
        TNotification_OnDuplicateResourceFound notification{
            GetLocation(), entry->GetOwner()->GetLocation(), recordPath,
            entry->GetOwner()->MakePath(data.SourceDirectory, data.SourceName), false};
        SendNotification(notification);
        (void)InsertEntry(record, nullptr);
        return;
    }
    const uint8_t both = record.Flags & data.Flags;
    if ((both & (TResourceBankEntryData::kHasSource | TResourceBankEntryData::kHasCompiled)) != 0) {
        TNotification_OnDuplicateResourceFound notification{
            GetLocation(), GetLocation(), recordPath,
            MakePath(data.SourceDirectory, data.SourceName), true};
        SendNotification(notification);
        return;
    }
    if ((record.Flags & TResourceBankEntryData::kHasSource) != 0) {
        data.SourceDirectory = record.SourceDirectory;
        data.SourceName = record.SourceName;
        data.SourceHash = record.SourceHash;
    }
    if ((data.Flags & TResourceBankEntryData::kHasCompiled) == 0 ||
        (record.Flags & TResourceBankEntryData::kInSecondStore) != 0)
        SetCompiledName(data, MakePath(record.CompiledDirectory, record.CompiledName));
    const uint8_t files = (record.Flags | data.Flags) & (TResourceBankEntryData::kHasSource |
                                                         TResourceBankEntryData::kHasCompiled);
    data.Flags =
        static_cast<uint8_t>(files | (record.Flags & TResourceBankEntryData::kInSecondStore));
}

bool TResourceBank::Scan(TBankFileSystem_I *store, bool secondStore, uint32_t *treeHash) {
    TScanVisitor visitor(*this, secondStore);
    if (!store->Enumerate(visitor) || visitor.GetFailed())
        return false;
    if (treeHash != nullptr)
        *treeHash = visitor.GetTreeHash();
    return true;
}

void TResourceBank::DropEntries() {
    for (auto &[id, entry] : m_Entries) {
        if (TResource *resource = entry->GetResource())
            resource->Orphan(); // the object outlives the bank
        delete entry;
    }
    m_Entries.clear();
    m_Index.Clear();
}

// ---------------------------------------------------------------------------------------------
// Opening and closing

bool TResourceBank::Open(const TString &listFile, int kind, const TString &location, bool rescan,
                         bool verify, bool readOnly) {
    if (m_Store != nullptr)
        return false;
    TBankFileSystem_I *store = MakeBankStore(kind);
    if (store == nullptr)
        return false;
    if (!store->Open(location, readOnly)) {
        delete store;
        return false;
    }
    m_Store = store;
    m_Kind = kind;
    m_ReadOnly = readOnly;
    m_ListFile = ListFileName(listFile);

    if (!rescan) {
        if (ReadListFile()) {
            if (!verify || kind == 1)
                return true;
            TTreeHashVisitor visitor(*this);
            bool stale = false;
            if (store->Enumerate(visitor)) {
                if (visitor.GetTreeHash() != m_TreeHash)
                    stale = true;
                else if (m_Rules != nullptr && !SameTime(m_Rules->GetNewestTime(), m_RuleTime))
                    stale = true;
            }
            if (!stale)
                return true;
            DropEntries();
        } else if (readOnly) {
            m_Store = nullptr;
            store->Close();
            delete store;
            return false;
        }
    }

    uint32_t treeHash = 0;
    if (!Scan(store, false, &treeHash)) {
        DropEntries();
        m_Store = nullptr;
        store->Close();
        delete store;
        return false;
    }
    m_TreeHash = treeHash;
    m_RuleTime = m_Rules != nullptr ? m_Rules->GetNewestTime() : TFileTime();
    if (verify && !rescan)
        (void)Save(false);
    return true;
}

bool TResourceBank::Create(const TString &listFile, int kind, const TString &location) {
    if (m_Store != nullptr)
        return false;
    if (kind == 1 && PackHoldsData(location))
        return false; // making a pack anew would throw its resources away
    TBankFileSystem_I *store = MakeBankStore(kind);
    if (store == nullptr)
        return false;
    m_ListFile = ListFileName(listFile);
    if (!store->Create(location)) {
        delete store;
        return false;
    }
    m_Store = store;
    m_Kind = kind;
    m_ReadOnly = false;
    return true;
}

bool TResourceBank::Close() {
    if (m_SecondStore != nullptr) {
        (void)m_SecondStore->Close();
        delete m_SecondStore;
        m_SecondStore = nullptr;
    }
    if (m_Store == nullptr)
        return false;
    (void)m_Store->Close();
    delete m_Store;
    m_Store = nullptr;
    DropEntries();
    return true;
}

bool TResourceBank::Rescan() {
    if (m_Store == nullptr)
        return false;
    DropEntries();
    uint32_t treeHash = 0;
    if (!Scan(m_Store, false, &treeHash))
        return false;
    m_TreeHash = treeHash;
    m_RuleTime = m_Rules != nullptr ? m_Rules->GetNewestTime() : TFileTime();
    if (m_SecondStore != nullptr)
        return Scan(m_SecondStore, true, nullptr);
    return true;
}

bool TResourceBank::SetSecondStore(int kind, const TString &location) {
    if (m_Store == nullptr || m_SecondStore != nullptr)
        return false;
    TBankFileSystem_I *store = MakeBankStore(kind);
    if (store == nullptr)
        return false;
    if (!store->Open(location, false) && !store->Create(location)) {
        delete store;
        return false;
    }
    m_SecondStore = store;
    return Scan(store, true, nullptr);
}

// ---------------------------------------------------------------------------------------------
// The list file

bool TResourceBank::ReadListFile() {
    TFileObj *file = m_Store->OpenFile(m_ListFile, 2);
    if (file == nullptr)
        return false;
    const bool ok = file->IsOpen() != 0 && ReadList(file);
    m_Store->CloseFile(file);
    if (!ok)
        DropEntries();
    return ok;
}

namespace {

/// Reads a parameter list in the form TParameterList::WriteAscii gives it. The count is held
/// to what the file could hold (a pair takes at least "Name=\nValue=\n"), so a damaged
/// count cannot make the reader grow the list without end.
bool ReadParameters(TIOAdapter &io, TParameterList &parameters, int fileLength) {
    constexpr unsigned kSmallestPair = 12;
    unsigned int count = 0;
    io.StreamUnsignedInt(count, "Count");
    if (io.IsBad() || fileLength < 0 || count > static_cast<unsigned>(fileLength) / kSmallestPair)
        return false;
    for (unsigned int i = 0; i < count; ++i) {
        TString name;
        TString value;
        io.StreamString(name, "Name");
        io.StreamString(value, "Value");
        if (io.IsBad() || name.IsEmpty())
            return false;
        parameters.AddParameter(name, value, nullptr);
    }
    return true;
}

} // namespace

bool TResourceBank::ReadList(TFileObj *file) {
    TAsciiInFilter in;
    if (!in.Open(file))
        return false;
    TIOAdapter io(&in);
    bool ok = CallNoThrow([&] {
        unsigned int version = 0;
        io.StreamUnsignedInt(version, "Version");
        if (io.IsBad() || version < kListVersion)
            return;
        unsigned long treeHash = 0;
        io.StreamLong(treeHash, "TreeHash");
        TFileTime ruleTime;
        ruleTime.ReadAscii(in);
        in.EatWhite(); // the time's line end, before the named values go on
        unsigned char marker1 = 0;
        unsigned char marker2 = 0;
        io.StreamByte(marker1, "Marker");
        io.StreamByte(marker2, "Marker");
        unsigned int count = 0;
        io.StreamUnsignedInt(count, "Count");
        if (io.IsBad() || marker1 != 1 || marker2 != 1)
            return;
        for (unsigned int i = 0; i < count; ++i) {
            TString tag;
            TString sourcePath;
            TString compiledPath;
            TString typeName;
            TParameterList parameters;
            int flags = 0;
            io.StreamString(tag, "Tag");
            io.StreamString(sourcePath, "Source");
            io.StreamString(compiledPath, "Compiled");
            io.StreamString(typeName, "Type");
            if (!ReadParameters(io, parameters, file->Length()))
                return;
            io.StreamInt(flags, "Flags");
            if (io.IsBad() || typeName.IsEmpty())
                return;
            TResourceBankEntryData record;
            record.Bank = this;
            record.Tag = tag;
            const int slash = sourcePath.FindLastOccurence('/');
            record.SourceDirectory = InternString(sourcePath.Left(slash + 1));
            record.SourceName = sourcePath.From(slash + 1);
            if (!sourcePath.IsEmpty()) {
                record.SourceHash = HashPathName(sourcePath.GetData());
                if (m_Store != nullptr)
                    m_Store->AddFile(sourcePath);
            }
            if (!compiledPath.IsEmpty() && compiledPath.GetCharacter(0) == ':')
                compiledPath = "";
            SetCompiledName(record, compiledPath);
            record.Type = InternString(typeName);
            if (parameters.GetParameterCount() > 0)
                record.Parameters = InternParameters(parameters);
            record.Flags = static_cast<uint8_t>(flags & TResourceBankEntryData::kFlagMask);
            const uint32_t id = StrToID(tag.GetData());
            if (m_Entries.count(id) != 0)
                return; // one id twice: this bank never writes that
            if (InsertEntry(record, nullptr) == nullptr)
                return;
        }
        m_TreeHash = static_cast<uint32_t>(treeHash);
        m_RuleTime = ruleTime;
        m_ListRead = true;
    });
    ok = ok && m_ListRead && !io.IsBad();
    m_ListRead = false;
    in.CloseLayer();
    // Every value of the list ends its line: a file cut short inside a value ends elsewhere.
    const int length = file->Length();
    char last = 0;
    ok = ok && length > 0 && file->Seek(length - 1, TFileObj::SeekStart) &&
         file->Read(&last, 1) == 1 && last == '\n';
    if (!ok)
        DropEntries(); // a list is taken whole or not at all
    return ok;
}

bool TResourceBank::WriteList(TFileObj *file) {
    TAsciiOutFilter out;
    if (!out.Open(file))
        return false;
    TIOAdapter io(&out);
    const bool ok = CallNoThrow([&] {
        unsigned int version = kListVersion;
        io.StreamUnsignedInt(version, "Version");
        unsigned long treeHash = m_TreeHash;
        io.StreamLong(treeHash, "TreeHash");
        m_RuleTime.WriteAscii(out);
        unsigned char marker = 1;
        io.StreamByte(marker, "Marker");
        io.StreamByte(marker, "Marker");
        unsigned int count = 0;
        for (const auto &[id, entry] : m_Entries)
            if (IsListed(entry->Data()))
                ++count;
        io.StreamUnsignedInt(count, "Count");
        for (const auto &[id, entry] : m_Entries) {
            const TResourceBankEntryData &data = entry->Data();
            if (!IsListed(data))
                continue;
            TString tag = data.Tag;
            TString sourcePath = MakePath(data.SourceDirectory, data.SourceName);
            TString compiledPath = data.CompiledName.IsEmpty()
                                       ? TString(":")
                                       : MakePath(data.CompiledDirectory, data.CompiledName);
            TString typeName = GetString(data.Type);
            int flags = data.Flags;
            if ((flags & TResourceBankEntryData::kInSecondStore) != 0)
                flags &= ~(TResourceBankEntryData::kHasCompiled |
                           TResourceBankEntryData::kInSecondStore);
            io.StreamString(tag, "Tag");
            io.StreamString(sourcePath, "Source");
            io.StreamString(compiledPath, "Compiled");
            io.StreamString(typeName, "Type");
            const TParameterList *parameters = GetParameterList(data.Parameters);
            if (parameters != nullptr)
                parameters->WriteAscii(out);
            else
                TParameterList().WriteAscii(out);
            io.StreamInt(flags, "Flags");
        }
    });
    out.CloseLayer();
    return ok && !io.IsBad() && file->IsBad() == 0;
}

bool TResourceBank::IsListed(const TResourceBankEntryData &data) {
    // Compiled files of the second store are found again by scanning it.
    return (data.Flags & TResourceBankEntryData::kInSecondStore) == 0 ||
           (data.Flags & TResourceBankEntryData::kHasSource) != 0;
}

bool TResourceBank::Save(bool exportChanged) {
    if (m_Store == nullptr)
        return false;
    m_ListFile = ListFileName(m_ListFile);
    TFileObj *file = m_Store->OpenFile(m_ListFile, 4);
    if (file == nullptr)
        return false;
    bool ok = file->IsOpen() != 0 && WriteList(file);
    m_Store->CloseFile(file);
    if (!ok)
        return false;
    if (exportChanged) {
        TLibVector<uint32_t> changed;
        if (!CallNoThrow([&] {
                for (const auto &[id, entry] : m_Entries)
                    if (entry->GetResource() != nullptr && entry->GetResource()->HasChanged())
                        changed.push_back(id);
            }))
            return false;
        for (uint32_t id : changed)
            (void)GetResourceManager().ExportResource(static_cast<unsigned long>(id));
    }
    if (!m_Store->Flush())
        return false;
    return m_SecondStore == nullptr || m_SecondStore->Flush();
}

// ---------------------------------------------------------------------------------------------
// Choosing and supplying

bool TResourceBank::ChooseFile(TResourceBankEntry *entry, TBankFileSystem_I *&store, uint32_t &hash,
                               TString *path, bool &compiled) {
    const TResourceBankEntryData &data = entry->Data();
    bool taken = false;
    compiled = false;
    if (entry->HasCompiled() && GetResourceManager().GetUsePrecompiledResources()) {
        store = entry->IsCompiledInSecondStore() ? m_SecondStore : m_Store;
        hash = data.CompiledHash;
        if (path != nullptr)
            *path = MakePath(data.CompiledDirectory, data.CompiledName);
        compiled = true;
        taken = store != nullptr;
    }
    if (entry->HasSource() && GetResourceManager().GetUseSourceResources()) {
        if (taken && CheckDependencies(entry))
            return true;
        store = m_Store;
        hash = data.SourceHash;
        if (path != nullptr)
            *path = MakePath(data.SourceDirectory, data.SourceName);
        compiled = false;
        taken = store != nullptr;
    }
    return taken;
}

bool TResourceBank::GetEntryFile(TResourceBankEntry_I *entry, TBankFileSystem_I *&store,
                                 TString &path) {
    if (entry == nullptr)
        return false;
    uint32_t hash = 0;
    bool compiled = false;
    return ChooseFile(Concrete(entry), store, hash, &path, compiled);
}

bool TResourceBank::GetEntryFileHash(TResourceBankEntry_I *entry, TBankFileSystem_I *&store,
                                     unsigned long &hash) {
    if (entry == nullptr)
        return false;
    uint32_t value = 0;
    bool compiled = false;
    const bool taken = ChooseFile(Concrete(entry), store, value, nullptr, compiled);
    hash = value;
    return taken;
}

bool TResourceBank::IsCompiledUsable(TResourceBankEntry_I *entry) {
    if (entry == nullptr || !entry->HasCompiled() ||
        !GetResourceManager().GetUsePrecompiledResources())
        return false;
    if (GetResourceManager().GetUseSourceResources() && entry->HasSource())
        return CheckDependencies(entry);
    return true;
}

bool TResourceBank::IsAvailable(unsigned long id) {
    TResourceBankEntry *entry = FindEntryFast(id);
    if (entry == nullptr)
        return false;
    if (entry->GetResource() != nullptr)
        return true;
    const bool source = GetResourceManager().GetUseSourceResources();
    const bool precompiled = GetResourceManager().GetUsePrecompiledResources();
    if (source && entry->HasSource())
        return true;
    if (precompiled && entry->HasCompiled())
        return true;
    return (source || precompiled) && !entry->HasSource();
}

TResource *TResourceBank::GetResource(unsigned long id, unsigned long flags) {
    TResourceBankEntry *entry = FindEntryFast(id);
    if (entry == nullptr)
        return nullptr;
    if (TResource *resource = entry->GetResource()) {
        const TAsyncStateFlags state = resource->GetAsyncState();
        if ((flags & kImportAsync) == 0 && state != AS_Idle && state != AS_Loaded)
            return nullptr;
        if ((flags & kImportNoRef) == 0)
            resource->AcquireRef();
        return resource;
    }
    TResource *resource = GetResourceManager().CreateResource(StrToID(entry->GetType().GetData()));
    if (resource == nullptr)
        return nullptr;
    TResourceAccess::Attach(*resource, static_cast<uint32_t>(id), entry);
    entry->SetResource(resource);
    resource->SetChanged(false);
    TResourceAccess::SetAsyncState(*resource, AS_Idle);
    if ((flags & kImportAsync) != 0) {
        TResourceAccess::SetAsyncState(*resource, AS_Queued);
        vlib::detail::QueueAsyncImport(TBankResourcePair{this, resource});
    } else {
        if (!ImportEntry(resource)) {
            resource->ReleaseRef();
            return nullptr;
        }
        TResourceAccess::SetAsyncState(*resource, AS_Loaded);
    }
    if ((flags & kImportNoRef) != 0)
        TResourceAccess::SetRefCount(*resource, static_cast<uint16_t>(resource->GetRefCount() - 1));
    return resource;
}

// ---------------------------------------------------------------------------------------------
// Entries coming and going

bool TResourceBank::ForEachEntry(TResourceBankVisitor_I &visitor) {
    for (const auto &[id, entry] : m_Entries)
        if (!visitor(this, entry, entry->GetResource()))
            return false;
    return true;
}

void TResourceBank::DetachResource(unsigned long id) {
    TResourceBankEntry *entry = FindEntryFast(id);
    if (entry == nullptr)
        return;
    if (TResource *resource = entry->GetResource())
        TResourceAccess::Attach(*resource, 0, nullptr);
    entry->SetResource(nullptr);
}

void TResourceBank::RemoveEntry(unsigned long id, bool deleteFiles) {
    auto found = m_Entries.find(static_cast<uint32_t>(id));
    if (found == m_Entries.end())
        return;
    TResourceBankEntry *entry = found->second;
    const TResourceBankEntryData &data = entry->Data();
    if (deleteFiles && m_Store != nullptr) {
        if (entry->HasSource())
            (void)m_Store->DeleteFile(MakePath(data.SourceDirectory, data.SourceName));
        if (entry->HasCompiled()) {
            TBankFileSystem_I *store = entry->IsCompiledInSecondStore() ? m_SecondStore : m_Store;
            if (store != nullptr)
                (void)store->DeleteFile(MakePath(data.CompiledDirectory, data.CompiledName));
        }
    }
    if (TResource *resource = entry->GetResource())
        resource->Orphan();
    m_Index.Erase(found->first);
    m_Entries.erase(found);
    delete entry;
}

bool TResourceBank::DeleteCompiled(TResourceBankEntry_I *entryInterface) {
    if (entryInterface == nullptr)
        return false;
    TResourceBankEntry *entry = Concrete(entryInterface);
    if (!entry->HasCompiled())
        return true;
    if (!entry->HasSource())
        return false;
    TResourceBankEntryData &data = entry->Data();
    TBankFileSystem_I *store = entry->IsCompiledInSecondStore() ? m_SecondStore : m_Store;
    if (store != nullptr)
        (void)store->DeleteFile(MakePath(data.CompiledDirectory, data.CompiledName));
    data.Flags &= static_cast<uint8_t>(
        ~(TResourceBankEntryData::kHasCompiled | TResourceBankEntryData::kInSecondStore));
    return true;
}

bool TResourceBank::CopyFile(TBankFileSystem_I *from, const TString &fromPath,
                             TBankFileSystem_I *to, const TString &toPath) {
    TFileTime fromTime;
    TFileTime toTime;
    if (!from->GetFileTime(fromPath, fromTime))
        return false;
    if (to->GetFileTime(toPath, toTime) && SameTime(fromTime, toTime))
        return true; // the same file already
    TFileObj *source = from->OpenFile(fromPath, 2);
    if (source == nullptr)
        return false;
    TLibVector<unsigned char> bytes;
    const int length = source->IsOpen() != 0 ? source->Length() : -1;
    bool ok = length >= 0 && CallNoThrow([&] { bytes.resize(static_cast<size_t>(length)); });
    if (ok && length > 0)
        ok = source->Read(bytes.data(), length) == length;
    from->CloseFile(source);
    if (!ok)
        return false;
    TFileObj *target = to->OpenFile(toPath, 4);
    if (target == nullptr)
        return false;
    ok = target->IsOpen() != 0 && (length == 0 || target->Write(bytes.data(), length));
    to->CloseFile(target);
    if (ok && !to->SetFileTime(toPath, fromTime))
        ok = false;
    if (!ok)
        (void)to->DeleteFile(toPath);
    return ok;
}

bool TResourceBank::CopyEntryFiles(TResourceBank_I *otherInterface,
                                   TResourceBankEntry_I *entryInterface, bool copySource,
                                   bool copyCompiled, bool replace) {
    if (otherInterface == nullptr || entryInterface == nullptr || m_Store == nullptr)
        return false;
    TResourceBank *other = Concrete(otherInterface);
    TResourceBankEntry *entry = Concrete(entryInterface);
    const uint32_t id = static_cast<uint32_t>(entry->GetID());
    if (!replace && IsAvailable(id))
        return false;
    const TResourceBankEntryData &data = entry->Data();
    const TString sourcePath = other->MakePath(data.SourceDirectory, data.SourceName);
    const TString compiledPath = other->MakePath(data.CompiledDirectory, data.CompiledName);
    bool copiedSource = false;
    bool copiedCompiled = false;
    if (!entry->GetBoolParameter("dontaddfilestobank", false)) {
        if (copySource) {
            if (!entry->HasSource() || other->GetStore() == nullptr ||
                !CopyFile(other->GetStore(), sourcePath, m_Store, sourcePath))
                return false;
            copiedSource = true;
        }
        if (copyCompiled) {
            TBankFileSystem_I *from =
                entry->IsCompiledInSecondStore() ? other->GetSecondStore() : other->GetStore();
            if (!entry->HasCompiled() || from == nullptr ||
                !CopyFile(from, compiledPath, m_Store, compiledPath)) {
                if (copiedSource)
                    (void)m_Store->DeleteFile(sourcePath);
                return false;
            }
            copiedCompiled = true;
        }
    }
    TResourceBankEntry *mine = replace ? FindEntryFast(id) : nullptr;
    if (mine == nullptr) {
        bool inserted = CallNoThrow([&] {
            TResourceBankEntryData record;
            record.Bank = this;
            record.Tag = data.Tag;
            record.SourceDirectory = InternString(other->GetString(data.SourceDirectory));
            record.SourceName = data.SourceName;
            record.SourceHash = data.SourceHash;
            record.Type = InternString(other->GetString(data.Type));
            if (const TParameterList *parameters = other->GetParameterList(data.Parameters))
                record.Parameters = InternParameters(*parameters);
            SetCompiledName(record, data.CompiledName.IsEmpty() ? TString() : compiledPath);
            mine = InsertEntry(record, nullptr);
        });
        if (!inserted || mine == nullptr) {
            if (copiedSource)
                (void)m_Store->DeleteFile(sourcePath);
            if (copiedCompiled)
                (void)m_Store->DeleteFile(compiledPath);
            return false;
        }
    }
    uint8_t flags = 0;
    if (copySource)
        flags |= TResourceBankEntryData::kHasSource;
    if (copyCompiled)
        flags |= TResourceBankEntryData::kHasCompiled;
    mine->Data().Flags = flags;
    return true;
}

bool TResourceBank::CopyEntry(TResourceBank_I *other, TResourceBankEntry_I *entry) {
    if (other == nullptr || entry == nullptr)
        return false;
    const bool compiled = other->IsCompiledUsable(entry);
    return CopyEntryFiles(other, entry, !compiled, compiled, false);
}

void TResourceBank::LoadAll() {
    TLibVector<uint32_t> ids;
    if (!CallNoThrow([&] {
            for (const auto &[id, entry] : m_Entries)
                ids.push_back(id);
        }))
        return;
    for (uint32_t id : ids)
        (void)GetResource(id, 0);
}

void TResourceBank::ReleaseAll() {
    TLibVector<TResource *> loaded;
    if (!CallNoThrow([&] {
            for (const auto &[id, entry] : m_Entries)
                if (entry->GetResource() != nullptr)
                    loaded.push_back(entry->GetResource());
        }))
        return;
    for (TResource *resource : loaded)
        resource->ReleaseRef();
}

unsigned long TResourceBank::GetCheckMode() {
    if (m_CheckMode == 3)
        return GetResourceManager().GetCheckDependencies();
    return m_CheckMode;
}

std::atomic<uint32_t> TResourceBankEntry::ms_CheckRound{1};

void TResourceBankEntry::StartCheckRound() {
    uint32_t round = ms_CheckRound.load(std::memory_order_relaxed);
    uint32_t next;
    do {
        next = round + 1 == 0 ? 1 : round + 1; // 0 stays "never checked"
    } while (!ms_CheckRound.compare_exchange_weak(round, next, std::memory_order_acq_rel));
}

void TResourceBank::ClearAllChecked() {
    TResourceBankEntry::StartCheckRound();
}
