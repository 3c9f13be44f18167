// Loading and writing the files of a bank entry: the headers in front of a resource's data,
// the fallback from a compiled file to the source, autocompiled copies in the second store,
// and the dependency check that decides whether a compiled file may be trusted.

#include <atomic>
#include <cstring>

#include "General/Core/Detail/NoThrow.h"
#include "General/Core/StrToID.h"
#include "General/Diagnostics/Notification.h"
#include "General/Resources/CompiledResource.h"
#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/Detail/ResourceBank.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Resources/ResourceManager.h"
#include "General/Resources/ResourceNotifications.h"
#include "General/Streams/VersionedFilter.h"

using TString = TStringInt<TDynamicStringAllocationStrategy>;
using vlib::detail::CallNoThrow;
using vlib::detail::TResourceAccess;

namespace {

constexpr unsigned char kBinarySourceMagic[4] = {'B', 'S', 'R', 'C'};

bool UseSource() {
    return GetResourceManager().GetUseSourceResources();
}

/// Records every resource imported while one entry's load runs as a dependency of it.
class TDependencyCollector {
public:
    TDependencyCollector(TResourceBank &bank, TResourceBankEntry *entry)
        : m_Entry(entry), m_Key(NextKey()) {
        TCompiledResourceFileHeader &header = entry->Header();
        header.ClearDependencies();
        header.SetSourceTime(bank.GetSourceTime(static_cast<TResourceBankEntry_I *>(entry)));
        m_Subscribed = SubscribeNotification<TNotification_OnEndImportResource>(
                           this, &TDependencyCollector::OnEndImport, m_Key) > 0;
    }
    ~TDependencyCollector() {
        if (m_Subscribed)
            UnsubscribeNotification<TNotification_OnEndImportResource>(m_Key);
    }
    TDependencyCollector(const TDependencyCollector &) = delete;
    TDependencyCollector &operator=(const TDependencyCollector &) = delete;

    void OnEndImport(TNotification_OnEndImportResource &notification) {
        TResource *resource = notification.resource;
        if (resource == nullptr || resource->GetBankEntry() == nullptr ||
            resource->GetBankEntry() == m_Entry || resource->GetBank() == nullptr)
            return;
        (void)CallNoThrow([&] {
            m_Entry->Header().AddDependency(resource->GetBank(), resource->GetBankEntry());
        });
    }

private:
    static uint32_t NextKey() {
        static std::atomic<uint32_t> next{0x7E5C0000u};
        return next.fetch_add(1);
    }

    TResourceBankEntry *m_Entry; // not owned
    uint32_t m_Key;
    bool m_Subscribed = false;
};

/// An optional collector: present only while a load tracks its imports.
class TOptionalCollector {
public:
    TOptionalCollector(bool on, TResourceBank &bank, TResourceBankEntry *entry) {
        if (on)
            m_Collector = new (m_Space) TDependencyCollector(bank, entry);
    }
    ~TOptionalCollector() { Stop(); }
    void Stop() {
        if (m_Collector != nullptr)
            m_Collector->~TDependencyCollector();
        m_Collector = nullptr;
    }

private:
    alignas(TDependencyCollector) unsigned char m_Space[sizeof(TDependencyCollector)];
    TDependencyCollector *m_Collector = nullptr;
};

/// Marks a compiled file complete. A store's memory file loses what lies behind a write in
/// its middle, so the bytes behind the flag are read first (where the file can be read) and
/// written again if they went.
bool CompleteCompiledFile(TCompiledResourceFileHeader &header, TFileObj *file) {
    constexpr int kBehindFlag = 8;
    const int length = file->Length();
    TLibVector<unsigned char> tail;
    bool haveTail = false;
    if (length > kBehindFlag &&
        CallNoThrow([&] { tail.resize(static_cast<size_t>(length - kBehindFlag)); }) &&
        file->Seek(kBehindFlag, TFileObj::SeekStart))
        haveTail =
            file->Read(tail.data(), static_cast<int>(tail.size())) == static_cast<int>(tail.size());
    file->ClearBad(); // a write-only file refuses the read; nothing is lost by that
    if (!header.WriteFileCompleteFlag(file))
        return false;
    if (file->Length() >= length)
        return true;
    // Such a file cannot seek to its new end: the flag is written once more, then the rest.
    const uint32_t flag = TCompiledResourceFileHeader::sm_uiCompiledResourceHeaderVersion;
    const unsigned char flagBytes[4] = {
        static_cast<unsigned char>(flag), static_cast<unsigned char>(flag >> 8),
        static_cast<unsigned char>(flag >> 16), static_cast<unsigned char>(flag >> 24)};
    return haveTail && file->Seek(4, TFileObj::SeekStart) && file->Write(flagBytes, 4) &&
           file->Write(tail.data(), static_cast<int>(tail.size())) && file->Length() == length;
}

TResourceBankEntry *EntryOf(TResource *resource) {
    return static_cast<TResourceBankEntry *>(resource->GetBankEntry());
}

} // namespace

TError TResourceBank::ImportEntry(TResource *resource) {
    if (m_Store == nullptr || resource == nullptr || resource->GetBankEntry() == nullptr)
        return TError(TError::kFailure);
    TResourceBankEntry *entry = EntryOf(resource);
    TResourceFactory *factory = resource->GetFactory();
    const TString *convertFrom = entry->GetParameter("convertfrom");
    const TString *sourceFileType = entry->GetParameter("sourcefiletype");
    const int conversion = convertFrom != nullptr ? 1 : (sourceFileType != nullptr ? 2 : 0);

    TBankFileSystem_I *store = nullptr;
    unsigned long hash = 0;
    uint32_t hashValue = 0;
    bool compiled = false;
    (void)ChooseFile(entry, store, hashValue, nullptr, compiled);
    hash = hashValue;
    TResourceAccess::SetAsyncState(*resource, AS_Loading);

    const bool track = GetResourceManager().GetStoreAutocompiledResources() && !compiled &&
                       factory->CanCompile() && !entry->GetBoolParameter("donotcompile", false) &&
                       !entry->GetBoolParameter("usebinaryassource", false);

    TError error(TError::kSuccess);
    if (!compiled && conversion != 0) {
        TDependencyCollector collector(*this, entry);
        TResource *object = nullptr;
        bool loaded = false;
        if (conversion == 1) {
            object = GetResourceManager().ImportResource(convertFrom->GetData(), 0);
            loaded = object != nullptr;
        } else {
            object = GetResourceManager().CreateResource(StrToID(sourceFileType->GetData()));
            if (object == nullptr) {
                TResourceAccess::SetAsyncState(*resource, AS_Idle);
                return TError(TError::kFailure);
            }
            // The object stands in for the resource on its entry while its file is read.
            TResourceAccess::Attach(*object, resource->GetID(), entry);
            entry->SetResource(object);
            object->SetChanged(false);
            TResourceAccess::SetAsyncState(*object, AS_Idle);
            loaded = static_cast<bool>(LoadFromStore(store, hash, object, false, track));
            entry->SetResource(resource);
        }
        error = loaded ? resource->ConvertFrom(object) : TError(TError::kFailure);
        if (conversion == 2)
            TResourceAccess::Attach(*object, 0, nullptr); // its release must not touch the entry
        if (factory->HasDependencies())
            (void)CallNoThrow([&] { entry->Header().CopyDependenciesFromResource(resource); });
        if (object != nullptr)
            object->ReleaseRef();
    } else {
        error = LoadFromStore(store, hash, resource, compiled, track);
    }

    if (!error) {
        TResourceAccess::SetAsyncState(*resource, AS_Idle);
        if (compiled && UseSource() && entry->HasSource()) {
            // The compiled file is no good: forget it and read the source from now on.
            entry->Data().Flags &= static_cast<uint8_t>(
                ~(TResourceBankEntryData::kHasCompiled | TResourceBankEntryData::kInSecondStore));
            return ImportEntry(resource);
        }
        return TError(TError::kFailure);
    }
    TResourceAccess::SetAsyncState(*resource, AS_Loaded);

    if (track && !compiled) {
        TNotification_OnAutocompileExport notification{resource, false};
        SendNotification(notification);
        if (!notification.veto)
            (void)WriteEntryFile(entry, false);
    }
    return TError(TError::kSuccess);
}

TError TResourceBank::LoadFromStore(TBankFileSystem_I *store, unsigned long hash,
                                    TResource *resource, bool compiled, bool track) {
    if (store == nullptr || resource == nullptr || resource->GetBankEntry() == nullptr)
        return TError(TError::kFailure);
    TResourceBankEntry *entry = EntryOf(resource);
    TFileObj *file = nullptr;
    bool useBinary = false;
    unsigned long version = 0;
    if (!entry->GetBoolParameter("dontaddfilestobank", false)) {
        file = store->OpenFile(hash, 2);
        if (file == nullptr)
            return TError(TError::kFailure);
        if (file->IsOpen() == 0 ||
            !ReadResourceHeaders(file, entry, compiled, useBinary, version)) {
            store->CloseFile(file);
            return TError(TError::kFailure);
        }
    }
    TResourceAccess::SetLoadedVersion(*resource, static_cast<uint32_t>(version));
    TOptionalCollector collector(track, *this, entry);

    TResourceAccess::SetAsyncState(*resource, AS_Loading);
    TNotification_OnStartLoadResource start{resource, !compiled, file};
    SendNotification(start);
    TError error =
        (!compiled && !useBinary) ? resource->LoadAscii(file) : resource->LoadBinary(file);
    TNotification_OnEndLoadResource end{resource, !compiled, file, error};
    SendNotification(end);
    if (track && resource->GetFactory()->HasDependencies())
        (void)CallNoThrow([&] { entry->Header().CopyDependenciesFromResource(resource); });
    if (file != nullptr)
        store->CloseFile(file);
    TResourceAccess::SetAsyncState(*resource, AS_Loaded);
    collector.Stop();
    return error;
}

bool TResourceBank::ReadResourceHeaders(TFileObj *file, TResourceBankEntry *entry, bool compiled,
                                        bool &useBinary, unsigned long &version) {
    useBinary = entry->GetBoolParameter("usebinaryassource", false);
    if (!compiled) {
        unsigned char magic[4] = {};
        if (useBinary) {
            if (file->Read(magic, 4) != 4 || std::memcmp(magic, kBinarySourceMagic, 4) != 0)
                return false;
        } else {
            const int length = file->Length();
            if (length >= 4) {
                if (file->Read(magic, 4) != 4 || std::memcmp(magic, kBinarySourceMagic, 4) == 0)
                    return false; // a binary file where text was promised
                if (!file->Seek(0, TFileObj::SeekStart))
                    return false;
            }
        }
    } else if (!CallNoThrow([&] { return entry->Header().LoadBinary(file); }, false)) {
        // No usable compiled header: the data is read from the start.
        if (!file->Seek(0, TFileObj::SeekStart))
            return false;
    }
    TVersionedInFilter filter;
    if (!filter.Open(file, version))
        return false;
    filter.CloseLayer();
    return true;
}

TError TResourceBank::ExportEntry(unsigned long id) {
    TResourceBankEntry *entry = FindEntryFast(id);
    if (entry == nullptr || entry->GetResource() == nullptr)
        return TError(TError::kFailure);
    TResourceFactory *factory = entry->GetResource()->GetFactory();
    if (factory->CanLoadSource() && !WriteEntryFile(entry, true))
        return TError(TError::kFailure);
    if (!entry->GetBoolParameter("donotcompile", false) && factory->CanCompile() &&
        GetResourceManager().GetStoreAutocompiledResources() && m_SecondStore != nullptr &&
        !WriteEntryFile(entry, false))
        return TError(TError::kFailure);
    return TError(TError::kSuccess);
}

TError TResourceBank::WriteEntryFile(TResourceBankEntry *entry, bool source) {
    TResource *resource = entry->GetResource();
    if (resource == nullptr)
        return TError(TError::kFailure);
    TResourceFactory *factory = resource->GetFactory();
    const bool useBinary = entry->GetBoolParameter("usebinaryassource", false);
    ClearAllChecked();
    TString path = entry->GetSourcePath(nullptr);
    TBankFileSystem_I *store = m_Store;
    if (!source) {
        if (m_SecondStore == nullptr)
            return TError(TError::kFailure);
        if (!CallNoThrow([&] {
                entry->SetCompiledName(TString());
                path = entry->GetCompiledPath(nullptr);
            }))
            return TError(TError::kFailure);
        store = m_SecondStore;
    } else if (store == nullptr) {
        return TError(TError::kFailure);
    }
    if (path.IsEmpty())
        return TError(TError::kFailure);
    TFileObj *file = store->OpenFile(path, 4);
    if (file == nullptr)
        return TError(TError::kFailure);
    auto fail = [&] {
        store->CloseFile(file);
        (void)store->DeleteFile(path);
        return TError(TError::kFailure);
    };
    if (file->IsOpen() == 0)
        return fail();

    if (!source) {
        TCompiledResourceFileHeader &header = entry->Header();
        const TFileTime time = GetSourceTime(static_cast<TResourceBankEntry_I *>(entry));
        if (!time.IsEqual(header.GetSourceTime(), kTimeToleranceMs)) {
            if (factory->HasDependencies()) {
                if (!CallNoThrow([&] { header.CopyDependenciesFromResource(resource); }))
                    return fail();
                header.SetSourceTime(time);
            } else {
                header.SetSourceTime(TFileTime());
            }
        }
        if (!CallNoThrow([&] { return header.SaveBinary(file); }, false))
            return fail();
    }

    TError error(TError::kSuccess);
    const bool versioned = !source || useBinary || factory->HasVersionedSource();
    TVersionedOutFilter filter;
    TFileObj *target = file;
    if (versioned) {
        if (useBinary && source && !file->Write(kBinarySourceMagic, 4))
            return fail();
        if (!filter.Open(file, factory->GetVersion(source && !useBinary)))
            return fail();
        target = &filter;
    }
    if (!source || useBinary)
        error = resource->SaveBinary(target);
    else
        error = resource->SaveAscii(target);
    if (versioned)
        filter.CloseLayer();
    if (error && file->IsBad() != 0)
        error = TError(TError::kFailure);
    if (!source && error && !CompleteCompiledFile(entry->Header(), file))
        error = TError(TError::kFailure);
    if (!error)
        return fail();
    store->CloseFile(file);
    if (source) {
        entry->Data().Flags |= TResourceBankEntryData::kHasSource;
    } else {
        entry->Data().Flags |= TResourceBankEntryData::kHasCompiled;
        if (store == m_SecondStore)
            entry->Data().Flags |= TResourceBankEntryData::kInSecondStore;
    }
    return TError(TError::kSuccess);
}

bool TResourceBank::ReadCompiledHeader(TResourceBankEntry *entry,
                                       TCompiledResourceFileHeader &header) {
    if (!entry->HasCompiled())
        return false;
    TBankFileSystem_I *store = entry->IsCompiledInSecondStore() ? m_SecondStore : m_Store;
    if (store == nullptr)
        return false;
    const TResourceBankEntryData &data = entry->Data();
    TFileObj *file = store->OpenFile(MakePath(data.CompiledDirectory, data.CompiledName), 2);
    if (file == nullptr)
        return false;
    const bool ok =
        file->IsOpen() != 0 && CallNoThrow([&] { return header.LoadBinary(file); }, false);
    store->CloseFile(file);
    return ok;
}

TFileTime TResourceBank::GetSourceTime(TResource *resource) {
    if (resource == nullptr || resource->GetBankEntry() == nullptr)
        return {};
    return GetSourceTime(resource->GetBankEntry());
}

TFileTime TResourceBank::GetSourceTime(TResourceBankEntry_I *entryInterface) {
    if (entryInterface == nullptr)
        return {};
    TResourceBankEntry *entry = static_cast<TResourceBankEntry *>(entryInterface);
    TFileTime time;
    if (entry->HasSource()) {
        TBankFileSystem_I *store = nullptr;
        TString path;
        if (!CallNoThrow([&] { path = entry->ResolveSource(&store, nullptr); }))
            return {};
        if (store == nullptr)
            store = m_Store;
        if (store == nullptr || !store->GetFileTime(path, time))
            return {};
        return time;
    }
    TCompiledResourceFileHeader header;
    if (ReadCompiledHeader(entry, header))
        return header.GetSourceTime();
    return {};
}

bool TResourceBank::CheckDependencies(TResourceBankEntry_I *entryInterface) {
    if (entryInterface == nullptr)
        return false;
    TResourceBankEntry *entry = static_cast<TResourceBankEntry *>(entryInterface);
    const unsigned long mode = GetCheckMode();
    if (entry->GetBoolParameter("NoDependencyChecking", false) || mode == 0)
        return true;
    if (mode == 1 && entry->IsChecked())
        return true;
    auto outOfDate = [&](unsigned long reason, TResourceBankEntry_I *dependency) {
        TNotification_OnDependencyOutOfDate notification{reason, entry, dependency};
        SendNotification(notification);
        return false;
    };
    TCompiledResourceFileHeader &header = entry->Header();
    if (!ReadCompiledHeader(entry, header))
        return outOfDate(0, nullptr);
    if (!header.GetSourceTime().IsZero() && !entry->HasSource())
        return outOfDate(2, nullptr);
    if (!GetSourceTime(entryInterface).IsEqual(header.GetSourceTime(), kTimeToleranceMs))
        return outOfDate(1, nullptr);
    for (const TCompiledDependency &dependency : header.GetDependencies()) {
        TResourceBank_I *bank = nullptr;
        TResourceBankEntry_I *other = GetResourceManager().FindEntry(dependency.id, &bank, false);
        if (other == nullptr || bank == nullptr)
            return outOfDate(3, nullptr);
        if (static_cast<TResourceBankEntry *>(other)->IsOutOfDate())
            return outOfDate(5, other);
        if (!bank->GetSourceTime(other).IsEqual(dependency.time, kTimeToleranceMs))
            return outOfDate(4, other);
    }
    entry->SetChecked(true);
    return true;
}
