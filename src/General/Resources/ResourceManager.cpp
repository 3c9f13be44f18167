// The resource manager: factories, the banks in search order, imports by name or id with the
// tag and type rules, exports, and the notifications and event triggers around them. The
// manager opens no files itself; it picks the bank and asks it.

#include "General/Resources/ResourceManager.h"

#include <new>

#include "General/Config/ResourceConfig.h"
#include "General/Core/Detail/NoThrow.h"
#include "General/Core/StrToID.h"
#include "General/Diagnostics/EventTrigger.h"
#include "General/Diagnostics/Notification.h"
#include "General/Resources/AsyncImporter.h"
#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/Detail/ResourceBank.h"
#include "General/Resources/Detail/ResourceSettings.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Resources/ResourceNotifications.h"
#include "General/Resources/ResourceRuleFile.h"
#include "General/Streams/RealFile.h"

using TString = TStringInt<TDynamicStringAllocationStrategy>;
using vlib::detail::CallNoThrow;

TResourceManager_I::~TResourceManager_I() = default;

namespace {

TEventTrigger g_ImportBegin("ResourceManagerImportBegin");
TEventTrigger g_ImportEnd("ResourceManagerImportEnd");
TEventTrigger g_ReleaseBegin("ResourceManagerReleaseBegin");
TEventTrigger g_ReleaseEnd("ResourceManagerReleaseEnd");

/// Settings used while no TResourceConfig exists (tools and tests without a configuration).
struct TFallbackSettings {
    bool StoreAutocompiled = true;
    bool UsePrecompiled = true;
    bool UseSource = true;
    unsigned long CheckMode = TResourceConfig::DependenciesCached;
};

/// The names followed through "default" rules by the imports running on this thread.
thread_local TLibVector<uint32_t> *t_DefaultChain = nullptr;

const TString *FindValue(const TParameterList &list, const char *name) {
    TString key;
    for (int i = 0; i < list.GetParameterCount(); ++i) {
        const TString *value = list.GetParameter(i, key);
        if (key.Compare(name, false) == 0)
            return value;
    }
    return nullptr;
}

/// The first result's value of `key` for `text`, or empty.
TString QueryFirst(const TResourceRuleFile *rules, const TString &text, const char *key) {
    if (rules == nullptr)
        return {};
    TString value;
    (void)CallNoThrow([&] {
        TLibVector<TParameterList> results;
        (void)rules->Query(text, results, key);
        if (!results.empty())
            if (const TString *found = FindValue(results.front(), key))
                value = *found;
    });
    return value;
}

TString TrimmedLocation(TString location) {
    location.Replace('\\', '/');
    while (location.GetLength() > 1 && location.GetCharacter(location.GetLength() - 1) == '/')
        location = location.Left(location.GetLength() - 1);
    return location;
}

TResourceBank *Concrete(TResourceBank_I *bank) {
    return static_cast<TResourceBank *>(bank);
}

/// What resources ask of their banks, answered by the bank classes and the manager.
class TBankLink : public vlib::detail::TResourceBankLink {
public:
    TResourceBank_I *GetBank(TResourceBankEntry_I *entry) override {
        return entry != nullptr ? static_cast<TResourceBankEntry *>(entry)->GetOwner() : nullptr;
    }
    const TString &GetTag(TResourceBankEntry_I *entry) override { return entry->GetTag(); }
    TString GetSourcePath(TResourceBankEntry_I *entry) override {
        return entry->GetSourcePath(nullptr);
    }
    bool HasEntry(TResourceBank_I *bank, uint32_t id) override {
        return Concrete(bank)->FindEntryFast(id) != nullptr;
    }
    void DetachResource(TResourceBank_I *bank, uint32_t id) override { bank->DetachResource(id); }
    const TString &GetManagerTag(uint32_t id) override { return GetResourceManager().GetTag(id); }
    TResourceBankEntry_I *FindManagerEntry(uint32_t id) override {
        return GetResourceManager().FindEntry(id, nullptr, false);
    }
};

/// The one manager of the process.
class TResourceManager : public TResourceManager_I {
public:
    TResourceManager() { vlib::detail::TResourceAccess::SetBankLink(&m_Link); }
    ~TResourceManager() override {
        if (vlib::detail::TResourceAccess::GetBankLink() == &m_Link)
            vlib::detail::TResourceAccess::SetBankLink(nullptr);
        delete m_TagRules;
        delete m_TypeRules;
    }
    TResourceManager(const TResourceManager &) = delete;
    TResourceManager &operator=(const TResourceManager &) = delete;

    void Initialise() override;
    void Shutdown() override;

    TResource *CreateResource(unsigned long typeId) override {
        TResourceFactory *factory = GetFactory(typeId);
        return factory != nullptr ? factory->New() : nullptr;
    }
    TError AddFactory(TResourceFactory *factory) override {
        if (factory == nullptr)
            return TError(TError::kFailure);
        const bool added = CallNoThrow(
            [&] { return m_Factories.emplace(factory->GetID(), factory).second; }, false);
        return TError(added ? TError::kSuccess : TError::kFailure);
    }
    TError RemoveFactory(TResourceFactory *factory) override {
        if (factory == nullptr || m_Factories.erase(factory->GetID()) == 0)
            return TError(TError::kFailure);
        return TError(TError::kSuccess);
    }
    unsigned long GetNumFactories() override { return m_Factories.size(); }
    TResourceFactory *GetFactoryByIndex(unsigned long index) override {
        auto it = m_Factories.begin();
        std::advance(it, static_cast<long>(index));
        return it->second;
    }
    TResourceFactory *GetFactory(unsigned long typeId) override {
        auto found = m_Factories.find(static_cast<uint32_t>(typeId));
        return found != m_Factories.end() ? found->second : nullptr;
    }

    TResourceBank_I *OpenUncheckedBank(int kind, const TString &location, const TString &ruleFile,
                                       bool rescan, const TString &listFile) override {
        return OpenByPath(kind, location, false, rescan, false, listFile, ruleFile);
    }
    TResourceBank_I *OpenBank(int kind, const TString &location, TResourceRuleFile *rules,
                              bool rescan, const TString &listFile) override {
        return OpenCommon(kind, location, false, rescan, true, listFile, rules, false);
    }
    TResourceBank_I *OpenBank(int kind, const TString &location, const TString &ruleFile,
                              bool rescan, const TString &listFile) override {
        return OpenByPath(kind, location, false, rescan, true, listFile, ruleFile);
    }
    TResourceBank_I *OpenReadOnlyBank(int kind, const TString &location, TResourceRuleFile *rules,
                                      bool rescan, const TString &listFile) override {
        return OpenCommon(kind, location, true, rescan, false, listFile, rules, false);
    }
    TResourceBank_I *OpenReadOnlyBank(int kind, const TString &location, const TString &ruleFile,
                                      bool rescan, const TString &listFile) override {
        return OpenByPath(kind, location, true, rescan, false, listFile, ruleFile);
    }
    void CloseBank(TResourceBank_I *bank) override {
        for (auto it = m_Banks.begin(); it != m_Banks.end(); ++it) {
            if (*it != bank)
                continue;
            m_Banks.erase(it);
            (void)Concrete(bank)->Close();
            delete Concrete(bank);
            return;
        }
    }
    void MoveBankToFront(TResourceBank_I *bank) override {
        for (auto it = m_Banks.begin(); it != m_Banks.end(); ++it) {
            if (*it != bank)
                continue;
            m_Banks.erase(it);
            m_Banks.insert(m_Banks.begin(), Concrete(bank)); // capacity is there: no throw
            return;
        }
    }
    unsigned long GetNumBanks() override { return m_Banks.size(); }
    TResourceBank_I *GetBank(unsigned long index) override {
        return index < m_Banks.size() ? m_Banks[index] : nullptr;
    }
    TResourceBankEntry_I *FindEntry(unsigned long id, TResourceBank_I **bank,
                                    bool unused) override {
        (void)unused;
        for (TResourceBank *candidate : m_Banks) {
            if (TResourceBankEntry *entry = candidate->FindEntryFast(id)) {
                if (bank != nullptr)
                    *bank = candidate;
                return entry;
            }
        }
        if (bank != nullptr)
            *bank = nullptr;
        return nullptr;
    }

    TString GetResourcePath(const TString &name, TBankFileSystem_I **store) override {
        return GetResourcePath(StrToID(name.GetData()), store);
    }
    TString GetResourcePath(unsigned long id, TBankFileSystem_I **store) override {
        if (store != nullptr)
            *store = nullptr;
        TResourceBank_I *bank = nullptr;
        TResourceBankEntry_I *entry = FindEntry(id, &bank, false);
        TBankFileSystem_I *found = nullptr;
        TString path;
        if (entry == nullptr || !bank->GetEntryFile(entry, found, path))
            return {};
        if (store != nullptr)
            *store = found;
        return path;
    }
    TString GetResourceFullPath(unsigned long id) override {
        TBankFileSystem_I *store = nullptr;
        TString path = GetResourcePath(id, &store);
        if (store == nullptr || store->GetType() != 0)
            return {};
        if (path.Compare("./", true, 2) == 0)
            path = path.From(2);
        TString root = store->GetRoot();
        if (!root.IsEmpty() && root.GetCharacter(root.GetLength() - 1) != '/')
            root.Append("/");
        return root + path;
    }
    TString GetResourceFileName(unsigned long id) override {
        TBankFileSystem_I *store = nullptr;
        TString path = GetResourcePath(id, &store);
        if (store == nullptr || (store->GetType() != 0 && store->GetType() != 1))
            return {};
        return path.From(path.FindLastOccurence('/') + 1);
    }
    bool GetResourceFileLocation(unsigned long id, TString &path, unsigned long long &offset,
                                 unsigned long &size) override {
        TBankFileSystem_I *store = nullptr;
        TString inner = GetResourcePath(id, &store);
        return store != nullptr && store->GetFileLocation(inner, path, offset, size);
    }
    bool ResourceExists(unsigned long id) override { return FindEntry(id, nullptr, false); }
    const TString &GetTag(unsigned long id) override {
        static const TString unknown("<unknown resource id>");
        TResourceBankEntry_I *entry = FindEntry(id, nullptr, false);
        return entry != nullptr ? entry->GetTag() : unknown;
    }
    bool IsResourceLoaded(unsigned long id) override {
        for (TResourceBank *bank : m_Banks)
            if (bank->IsAvailable(id))
                return bank->FindEntryFast(id)->GetResource() != nullptr;
        return false;
    }

    TResource *ImportResource(unsigned long id, unsigned long flags, const char *typeName,
                              const char *name) override;
    TResource *ImportResource(const char *name, unsigned long flags) override {
        return ImportResource(StrToID(name), flags, nullptr, name);
    }
    TFileObj *OpenResourceData(unsigned long id, unsigned long unused) override;
    TFileObj *OpenResourceData(const char *name) override {
        return OpenResourceData(StrToID(name), 0);
    }
    bool AddFile(const TString &path, TResource *resource) override;
    TResourceBankEntry_I *AddResourceEntry(TResourceBank_I *bank, const TString &tag,
                                           const TString &path, const TString &type,
                                           TResource *resource) override;
    bool AddFileToBank(TResourceBank_I *bank, const TString &name, TResource *resource,
                       TLibVector<TResourceBankEntry_I *> *out) override;
    TError StoreResource(TResourceBank_I *bank, const TString &name, TResource *resource,
                         TLibVector<TResourceBankEntry_I *> *out) override;
    TError ExportResource(const char *name) override {
        return ExportResource(static_cast<unsigned long>(StrToID(name)));
    }
    TError ExportResource(TResource *resource) override {
        if (resource == nullptr)
            return TError(TError::kFailure);
        return ExportResource(static_cast<unsigned long>(StrToID(resource->GetTag().GetData())));
    }
    TError ExportResource(unsigned long id) override;
    void ReleaseResource(TResource *resource) override {
        g_ReleaseBegin.Trigger(resource);
        if (resource != nullptr)
            resource->ReleaseRef();
        g_ReleaseEnd.Trigger(nullptr);
    }

    bool GetStoreAutocompiledResources() override {
        TResourceConfig *config = TResourceConfig::GetSingletonPtr();
        return config != nullptr ? config->StoreAutocompiledResources
                                 : m_Fallback.StoreAutocompiled;
    }
    bool GetUsePrecompiledResources() override {
        TResourceConfig *config = TResourceConfig::GetSingletonPtr();
        return config != nullptr ? config->UsePrecompiledResources : m_Fallback.UsePrecompiled;
    }
    bool GetUseSourceResources() override {
        TResourceConfig *config = TResourceConfig::GetSingletonPtr();
        return config != nullptr ? config->UseSourceResources : m_Fallback.UseSource;
    }
    unsigned long GetCheckDependencies() override {
        TResourceConfig *config = TResourceConfig::GetSingletonPtr();
        return config != nullptr ? static_cast<unsigned long>(config->DependencyMode)
                                 : m_Fallback.CheckMode;
    }
    void SetStoreAutocompiledResources(bool value) override {
        if (TResourceConfig *config = TResourceConfig::GetSingletonPtr())
            config->StoreAutocompiledResources = value;
        else
            m_Fallback.StoreAutocompiled = value;
    }
    void SetUsePrecompiledResources(bool value) override {
        if (TResourceConfig *config = TResourceConfig::GetSingletonPtr())
            config->UsePrecompiledResources = value;
        else
            m_Fallback.UsePrecompiled = value;
    }
    void SetUseSourceResources(bool value) override {
        if (TResourceConfig *config = TResourceConfig::GetSingletonPtr())
            config->UseSourceResources = value;
        else
            m_Fallback.UseSource = value;
    }
    void SetCheckDependencies(unsigned long value) override {
        if (TResourceConfig *config = TResourceConfig::GetSingletonPtr())
            config->DependencyMode = static_cast<int>(value);
        else
            m_Fallback.CheckMode = value;
    }

private:
    TResourceBank_I *OpenByPath(int kind, const TString &location, bool readOnly, bool rescan,
                                bool verify, const TString &listFile, const TString &ruleFile);
    TResourceBank_I *OpenCommon(int kind, const TString &location, bool readOnly, bool rescan,
                                bool verify, const TString &listFile, TResourceRuleFile *rules,
                                bool ownsRules);
    /// The substitute a "default" rule names for `text`; null when there is none, when it
    /// names the text itself, or when it leads back to a name this chain already followed.
    TResource *ImportDefault(const TResourceRuleFile *rules, const TString &text,
                             unsigned long flags);

    TLibMap<uint32_t, TResourceFactory *> m_Factories; // not owned
    TLibVector<TResourceBank *> m_Banks;               // owned
    int m_Initialised = 0;
    TResourceRuleFile *m_TagRules = nullptr;  // owned
    TResourceRuleFile *m_TypeRules = nullptr; // owned
    TFallbackSettings m_Fallback;
    TBankLink m_Link;
};

TResourceBank_I *TResourceManager::OpenByPath(int kind, const TString &location, bool readOnly,
                                              bool rescan, bool verify, const TString &listFile,
                                              const TString &ruleFile) {
    TString path = ruleFile;
    if (path.IsEmpty())
        if (TResourceConfig *config = TResourceConfig::GetSingletonPtr())
            path = config->DefaultRuleFilePath;
    TResourceRuleFile *rules = new (std::nothrow) TResourceRuleFile("PATHRULE");
    if (rules == nullptr)
        return nullptr;
    if (!rules->Load(path)) {
        delete rules;
        return nullptr;
    }
    return OpenCommon(kind, location, readOnly, rescan, verify, listFile, rules, true);
}

TResourceBank_I *TResourceManager::OpenCommon(int kind, const TString &location, bool readOnly,
                                              bool rescan, bool verify, const TString &listFile,
                                              TResourceRuleFile *rules, bool ownsRules) {
    TResourceBank *bank = new TResourceBank;
    if (bank == nullptr) {
        if (ownsRules)
            delete rules;
        return nullptr;
    }
    bank->SetRules(rules, ownsRules);
    const TString wanted = TrimmedLocation(location);
    for (TResourceBank *open : m_Banks) {
        if (open->GetKind() == kind &&
            TrimmedLocation(open->GetLocation()).Compare(wanted.GetData(), false) == 0) {
            delete bank;
            return nullptr;
        }
    }
    if (!bank->Open(listFile, kind, location, rescan, verify, readOnly) &&
        (readOnly || !bank->Create(listFile, kind, location))) {
        delete bank;
        return nullptr;
    }
    if (!CallNoThrow([&] { m_Banks.push_back(bank); })) {
        (void)bank->Close();
        delete bank;
        return nullptr;
    }
    return bank;
}

TResource *TResourceManager::ImportDefault(const TResourceRuleFile *rules, const TString &text,
                                           unsigned long flags) {
    const TString value = QueryFirst(rules, text, "default");
    if (value.IsEmpty() || value.Compare(text.GetData(), false) == 0)
        return nullptr;
    TLibVector<uint32_t> chain;
    TLibVector<uint32_t> *outer = t_DefaultChain;
    TLibVector<uint32_t> &names = outer != nullptr ? *outer : chain;
    const uint32_t textId = StrToID(text.GetData());
    const uint32_t valueId = StrToID(value.GetData());
    for (uint32_t followed : names)
        if (followed == valueId || followed == textId)
            return nullptr; // the rules go round in a circle
    const size_t depth = names.size();
    if (!CallNoThrow([&] {
            names.push_back(textId);
            names.push_back(valueId);
        }))
        return nullptr;
    t_DefaultChain = &names;
    TResource *resource = ImportResource(value.GetData(), flags);
    names.resize(depth);
    t_DefaultChain = outer;
    return resource;
}

TResource *TResourceManager::ImportResource(unsigned long id, unsigned long flags,
                                            const char *typeName, const char *name) {
    TString text(name != nullptr ? name : "");
    {
        TNotification_OnStartImportResource start{id, text, flags};
        SendNotification(start);
    }
    g_ImportBegin.Trigger(name);
    if (name != nullptr) {
        const TString tag = QueryFirst(m_TagRules, text, "tag");
        if (!tag.IsEmpty()) {
            text = tag;
            id = StrToID(tag.GetData());
        }
    }

    TResource *resource = nullptr;
    TResourceBank *holder = nullptr;
    for (TResourceBank *bank : m_Banks) {
        if (bank->IsAvailable(id)) {
            holder = bank;
            resource = bank->GetResource(id, flags);
            break;
        }
    }
    if (holder == nullptr) {
        if (name != nullptr)
            resource = ImportDefault(m_TagRules, text, flags);
        else if (typeName != nullptr)
            resource = ImportDefault(m_TypeRules, TString(typeName), flags);
    }
    if (resource == nullptr) {
        TNotification_OnImportResourceFailed failed{id, text, holder};
        SendNotification(failed);
    }
    TNotification_OnEndImportResource end{id, text, resource};
    SendNotification(end);
    g_ImportEnd.Trigger(resource);
    return resource;
}

TFileObj *TResourceManager::OpenResourceData(unsigned long id, unsigned long unused) {
    (void)unused;
    TResourceBank_I *bankInterface = nullptr;
    TResourceBankEntry_I *entry = FindEntry(id, &bankInterface, false);
    if (entry == nullptr)
        return nullptr;
    TResourceBank *bank = Concrete(bankInterface);
    TBankFileSystem_I *store = nullptr;
    TString path;
    bool compiled = false;
    uint32_t hash = 0;
    if (!bank->ChooseFile(static_cast<TResourceBankEntry *>(entry), store, hash, &path, compiled))
        return nullptr;
    TFileObj *file = store->OpenFile(path, 2);
    if (file == nullptr)
        return nullptr;
    bool useBinary = false;
    unsigned long version = 0;
    int position = -1;
    if (file->IsOpen() != 0 &&
        bank->ReadResourceHeaders(file, static_cast<TResourceBankEntry *>(entry), compiled,
                                  useBinary, version))
        position = file->GetPos();
    store->CloseFile(file);
    if (position < 0)
        return nullptr;
    TFileObj *window = store->OpenWindow(path, 2);
    if (window == nullptr)
        return nullptr;
    TSubFile *view = dynamic_cast<TSubFile *>(window);
    if (view == nullptr || !view->Seek(position, TFileObj::SeekStart)) {
        store->CloseFile(window);
        return nullptr;
    }
    view->Rebase();
    return window;
}

bool TResourceManager::AddFile(const TString &path, TResource *resource) {
    TString converted = path;
    converted.Replace('\\', '/');
    const TString directory = converted.Left(converted.FindLastOccurence('/') + 1);
    for (TResourceBank *bank : m_Banks) {
        TString location = TrimmedLocation(bank->GetLocation());
        const int length = location.GetLength();
        if (length == 0 || directory.Compare(location.GetData(), false, length) != 0)
            continue;
        if (directory.GetLength() > length && directory.GetCharacter(length) != '/')
            continue;
        TString rest = converted.From(length);
        if (!rest.IsEmpty() && rest.GetCharacter(0) == '/')
            rest = rest.From(1);
        return AddFileToBank(bank, rest, resource, nullptr);
    }
    return false;
}

TResourceBankEntry_I *TResourceManager::AddResourceEntry(TResourceBank_I *bankInterface,
                                                         const TString &tag, const TString &path,
                                                         const TString &type, TResource *resource) {
    if (bankInterface == nullptr)
        return nullptr;
    TResourceBank *bank = Concrete(bankInterface);
    TResourceBankEntry *entry = nullptr;
    (void)CallNoThrow([&] {
        TString converted = path;
        converted.Replace('\\', '/');
        TResourceBankEntryData record;
        record.Bank = bank;
        record.Tag = tag;
        const int slash = converted.FindLastOccurence('/');
        record.SourceDirectory = bank->InternString(converted.Left(slash + 1));
        record.SourceName = converted.From(slash + 1);
        record.CompiledDirectory = bank->InternString(TString());
        if (!converted.IsEmpty()) {
            record.SourceHash = HashPathName(converted.GetData());
            record.Flags = TResourceBankEntryData::kHasSource;
            if (bank->GetStore() != nullptr)
                bank->GetStore()->AddFile(converted);
        }
        record.Type = bank->InternString(type);
        entry = bank->InsertEntry(record, resource);
    });
    return entry;
}

namespace {

bool SameType(TResourceBank *bank, const TResourceBankEntryData &record, TResource *resource) {
    return bank->GetString(record.Type)
               .Compare(resource->GetFactory()->GetName().GetData(), false) == 0;
}

} // namespace

bool TResourceManager::AddFileToBank(TResourceBank_I *bankInterface, const TString &name,
                                     TResource *resource, TLibVector<TResourceBankEntry_I *> *out) {
    if (bankInterface == nullptr)
        return false;
    if (resource != nullptr && (resource->GetBank() != nullptr || resource->GetBankEntry()))
        return false;
    TResourceBank *bank = Concrete(bankInterface);
    TLibVector<TResourceBankEntryData> records;
    if (!bank->ParseFile(name, records))
        return false;
    TLibVector<uint32_t> added;
    bool complete = CallNoThrow([&] {
        added.reserve(records.size());
        if (out != nullptr)
            out->reserve(out->size() + records.size());
    });
    for (size_t i = 0; complete && i < records.size(); ++i) {
        TResource *tie = nullptr;
        if (resource != nullptr && SameType(bank, records[i], resource)) {
            if (resource->GetBankEntry() != nullptr) {
                complete = false;
                break;
            }
            tie = resource;
        }
        TResourceBankEntry *entry = bank->InsertEntry(records[i], tie);
        if (entry == nullptr) {
            complete = false;
            break;
        }
        added.push_back(static_cast<uint32_t>(entry->GetID()));
        if (out != nullptr)
            out->push_back(entry);
    }
    if (complete)
        return true;
    for (uint32_t id : added)
        bank->RemoveEntry(id, true);
    if (out != nullptr)
        out->clear();
    return false;
}

TError TResourceManager::StoreResource(TResourceBank_I *bankInterface, const TString &name,
                                       TResource *resource,
                                       TLibVector<TResourceBankEntry_I *> *out) {
    if (bankInterface == nullptr)
        return TError(TError::kFailure);
    TResourceBank *bank = Concrete(bankInterface);
    if (resource != nullptr && resource->GetBank() != nullptr)
        resource->GetBank()->DetachResource(resource->GetID());
    TLibVector<TResourceBankEntryData> records;
    if (!bank->ParseFile(name, records))
        return TError(TError::kFailure);
    TLibVector<TResourceBankEntry_I *> result;
    bool complete = CallNoThrow([&] { result.reserve(records.size()); });
    for (size_t i = 0; complete && i < records.size(); ++i) {
        TResourceBankEntryData &record = records[i];
        record.Flags &= static_cast<uint8_t>(~(TResourceBankEntryData::kHasSource |
                                               TResourceBankEntryData::kHasCompiled |
                                               TResourceBankEntryData::kInSecondStore));
        const bool sameType = resource != nullptr && SameType(bank, record, resource);
        TResourceBankEntry *entry = bank->FindEntryFast(StrToID(record.Tag.GetData()));
        if (entry == nullptr) {
            entry = bank->InsertEntry(record, sameType ? resource : nullptr);
            if (entry == nullptr) {
                complete = false;
                break;
            }
        } else if (entry->GetResource() != nullptr && entry->GetResource() != resource) {
            complete = false;
            break;
        } else if (entry->GetResource() == nullptr && sameType) {
            vlib::detail::TResourceAccess::Attach(*resource, static_cast<uint32_t>(entry->GetID()),
                                                  entry);
            entry->SetResource(resource);
        }
        if (resource != nullptr && entry->GetResource() == resource &&
            !bank->ExportEntry(entry->GetID())) {
            result.push_back(entry);
            complete = false;
            break;
        }
        result.push_back(entry);
    }
    if (complete && resource != nullptr) {
        const uint32_t resourceId = resource->GetID();
        const uint32_t factoryId = resource->GetFactory()->GetID();
        for (TResourceBankEntry_I *item : result) {
            const TString *convertFrom = item->GetParameter("convertfrom");
            const TString *fileType = item->GetParameter("sourcefiletype");
            if ((convertFrom != nullptr && StrToID(convertFrom->GetData()) == resourceId) ||
                (fileType != nullptr && StrToID(fileType->GetData()) == factoryId))
                static_cast<TResourceBankEntry *>(item)->Data().Flags |=
                    TResourceBankEntryData::kHasSource;
        }
    }
    if (!complete) {
        for (TResourceBankEntry_I *item : result)
            bank->RemoveEntry(item->GetID(), true);
        return TError(TError::kFailure);
    }
    if (out != nullptr)
        out->swap(result);
    return TError(TError::kSuccess);
}

TError TResourceManager::ExportResource(unsigned long id) {
    TResourceBank *holder = nullptr;
    TResource *resource = nullptr;
    for (TResourceBank *bank : m_Banks) {
        if (bank->IsAvailable(id)) {
            holder = bank;
            resource = bank->FindEntryFast(id)->GetResource();
            break;
        }
    }
    if (resource != nullptr)
        return holder->ExportEntry(id) ? TError(TError::kSuccess) : TError(TError::kFailure);
    TNotification_OnExportResourceFailed failed{id, resource, holder};
    SendNotification(failed);
    return TError(TError::kFailure);
}

void TResourceManager::Initialise() {
    if (m_Initialised != 0)
        return;
    TResourceConfig *config = TResourceConfig::GetSingletonPtr();
    delete m_TagRules;
    delete m_TypeRules;
    m_TagRules = new (std::nothrow) TResourceRuleFile("TAGRULE");
    if (m_TagRules != nullptr && config != nullptr && !config->TagRuleFile.IsEmpty())
        (void)m_TagRules->Load(config->TagRuleFile);
    m_TypeRules = new (std::nothrow) TResourceRuleFile("TYPERULE");
    if (m_TypeRules != nullptr && config != nullptr && !config->TypeRuleFile.IsEmpty())
        (void)m_TypeRules->Load(config->TypeRuleFile);
    m_Initialised = 1;
    TAsyncImporter::StartUp();
    if (config == nullptr)
        return;
    for (unsigned index = 0; index < config->GetNumResourceBanks(); ++index) {
        const TResourceBankConfig &bank = config->GetResBankSpecification(index);
        TResourceBank_I *opened =
            bank.ReadOnly
                ? OpenReadOnlyBank(bank.Type, bank.Location, bank.RuleFile, false, bank.ListFile)
                : OpenBank(bank.Type, bank.Location, bank.RuleFile, false, bank.ListFile);
        if (opened != nullptr && bank.SecondType != TResourceBankConfig::kNone)
            (void)opened->SetSecondStore(bank.SecondType, bank.SecondLocation);
    }
}

void TResourceManager::Shutdown() {
    if (m_Initialised == 0)
        return;
    m_Initialised = 0;
    // The worker may be loading into a bank: it stops before any bank goes.
    TAsyncImporter::ShutDown();
    for (TResourceBank *bank : m_Banks) {
        (void)bank->Close();
        delete bank;
    }
    m_Banks.clear();
    delete m_TagRules;
    delete m_TypeRules;
    m_TagRules = nullptr;
    m_TypeRules = nullptr;
}

} // namespace

TResourceManager_I &GetResourceManager() {
    static TResourceManager manager;
    return manager;
}

TDynamicString vlib::detail::DefaultListFile() {
    TResourceConfig *config = TResourceConfig::GetSingletonPtr();
    if (config != nullptr && !config->DefResourceListLocation.IsEmpty())
        return config->DefResourceListLocation;
    return "ResourceList.vrl";
}

void vlib::detail::QueueAsyncImport(TBankResourcePair pair) {
    TAsyncImporter::AddToQueue(pair);
}
