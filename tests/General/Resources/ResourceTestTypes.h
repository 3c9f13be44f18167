// Small resource classes for the bank and manager tests: a text resource of "key=value" lines
// that can import other resources while it loads, a blob with a binary form, their factories,
// and helpers that write resource trees into a store and watch the notifications.
#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "General/Core/StrToID.h"
#include "General/Diagnostics/Notification.h"
#include "General/Resources/BankStore.h"
#include "General/Resources/Resource.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Resources/ResourceManager.h"
#include "General/Resources/ResourceNotifications.h"
#include "General/Streams/FileObj.h"

namespace vlib::test {

/// A factory whose abilities a test can set.
template <class T> class TTestFactory : public TResourceFactory {
public:
    explicit TTestFactory(const char *name) : m_Name(name) {}
    TResource *New() override { return new T; }
    void Delete(TResource *resource) override {
        if (resource != nullptr)
            ++Deleted;
        delete resource;
    }
    uint32_t GetID() override { return StrToID(m_Name); }
    TDynamicString GetName() override { return m_Name; }
    uint32_t GetVersion(bool ascii) override { return ascii ? 3 : 7; }
    bool HasVersionedSource() override { return VersionedSource; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return Compile; }
    bool HasDependencies() override { return Dependencies; }

    bool VersionedSource = false;
    bool Compile = true;
    bool Dependencies = true;
    /// Objects this factory has deleted; atomic, as the importer thread may delete.
    std::atomic<int> Deleted{0};

private:
    const char *m_Name;
};

/// Reads what is left of a file; a null file is empty.
inline std::string ReadRest(TFileObj *file) {
    if (file == nullptr)
        return {};
    std::string bytes;
    char block[256];
    int got;
    while ((got = file->Read(block, sizeof block)) > 0)
        bytes.append(block, static_cast<size_t>(got));
    return bytes;
}

/// "key=value" lines. A line "import=<name>" imports that resource while loading (and so
/// depends on it); a line "fail" makes the load fail.
class TTextResource : public TResource {
public:
    static TTestFactory<TTextResource> Factory;

    ~TTextResource() override {
        for (TResource *imported : Imports)
            GetResourceManager().ReleaseResource(imported);
    }
    TError LoadAscii(TFileObj *file) override { return Parse(ReadRest(file)); }
    TError SaveAscii(TFileObj *file) override {
        const std::string text = Text();
        return TError(file->Write(text.data(), static_cast<int>(text.size())) ? 0 : 0x10000);
    }
    TError LoadBinary(TFileObj *file) override {
        const std::string bytes = ReadRest(file);
        if (bytes.size() < 4 || std::memcmp(bytes.data(), "TXTB", 4) != 0)
            return TError(TError::kFailure);
        return Parse(bytes.substr(4));
    }
    TError SaveBinary(TFileObj *file) override {
        const std::string bytes = "TXTB" + Text();
        return TError(file->Write(bytes.data(), static_cast<int>(bytes.size())) ? 0 : 0x10000);
    }
    TError ConvertFrom(TResource *source) override;
    bool IsValidVersion(uint32_t, bool) override { return true; }
    TResourceFactory *GetFactory() override { return &Factory; }
    void GetDependencies(TLibVector<TDependency> &out) override {
        for (TResource *imported : Imports)
            out.push_back({imported->GetID(), TDependency::kResource});
    }

    std::string Value(const std::string &key) const {
        for (const auto &[k, v] : Pairs)
            if (k == key)
                return v;
        return {};
    }
    std::string Text() const {
        std::string text;
        for (const auto &[k, v] : Pairs)
            text += k + "=" + v + "\n";
        return text;
    }

    std::vector<std::pair<std::string, std::string>> Pairs;
    std::vector<TResource *> Imports;

private:
    TError Parse(const std::string &text) {
        size_t start = 0;
        while (start < text.size()) {
            size_t end = text.find('\n', start);
            if (end == std::string::npos)
                end = text.size();
            const std::string line = text.substr(start, end - start);
            start = end + 1;
            if (line == "fail")
                return TError(TError::kFailure);
            const size_t equals = line.find('=');
            if (equals == std::string::npos)
                continue;
            Pairs.emplace_back(line.substr(0, equals), line.substr(equals + 1));
            if (line.compare(0, equals, "import") == 0) {
                TResource *imported =
                    GetResourceManager().ImportResource(line.c_str() + equals + 1, 0);
                if (imported == nullptr)
                    return TError(TError::kFailure);
                Imports.push_back(imported);
            }
        }
        return TError(TError::kSuccess);
    }
};

/// Raw bytes; the binary form is the bytes behind "BLOB".
class TBlobResource : public TResource {
public:
    static TTestFactory<TBlobResource> Factory;

    TError LoadAscii(TFileObj *file) override {
        Bytes = ReadRest(file);
        return TError(TError::kSuccess);
    }
    TError SaveAscii(TFileObj *file) override {
        return TError(file->Write(Bytes.data(), static_cast<int>(Bytes.size())) ? 0 : 0x10000);
    }
    TError LoadBinary(TFileObj *file) override {
        const std::string bytes = ReadRest(file);
        if (bytes.size() < 4 || std::memcmp(bytes.data(), "BLOB", 4) != 0)
            return TError(TError::kFailure);
        Bytes = bytes.substr(4);
        return TError(TError::kSuccess);
    }
    TError SaveBinary(TFileObj *file) override {
        const std::string bytes = "BLOB" + Bytes;
        return TError(file->Write(bytes.data(), static_cast<int>(bytes.size())) ? 0 : 0x10000);
    }
    bool IsValidVersion(uint32_t, bool) override { return true; }
    TResourceFactory *GetFactory() override { return &Factory; }

    std::string Bytes;
};

inline TError TTextResource::ConvertFrom(TResource *source) {
    if (auto *blob = dynamic_cast<TBlobResource *>(source))
        return Parse(blob->Bytes);
    if (auto *text = dynamic_cast<TTextResource *>(source))
        return Parse(text->Text());
    return TError(TError::kFailure);
}

inline TTestFactory<TTextResource> TTextResource::Factory{"testtext"};
inline TTestFactory<TBlobResource> TBlobResource::Factory{"testblob"};

/// Writes files into a store of `kind` at `location`, making it if needed.
inline bool WriteTree(int kind, const std::string &location,
                      const std::vector<std::pair<std::string, std::string>> &files) {
    std::unique_ptr<TBankFileSystem_I> store(MakeBankStore(kind));
    const TDynamicString where(location.c_str());
    if (!store->Open(where, false) && !store->Create(where))
        return false;
    bool ok = true;
    for (const auto &[path, bytes] : files) {
        TFileObj *file = store->OpenFile(TDynamicString(path.c_str()), 4);
        if (file == nullptr)
            return false;
        ok = ok && (bytes.empty() || file->Write(bytes.data(), static_cast<int>(bytes.size())));
        store->CloseFile(file);
    }
    return store->Close() && ok;
}

/// Records the notifications of the resource system in the order they come, as short words.
class TSignalLog {
public:
    TSignalLog() {
        Subscribe<TNotification_OnStartImportResource>(&TSignalLog::OnStartImport);
        Subscribe<TNotification_OnImportResourceFailed>(&TSignalLog::OnFailed);
        Subscribe<TNotification_OnEndImportResource>(&TSignalLog::OnEndImport);
        Subscribe<TNotification_OnStartLoadResource>(&TSignalLog::OnStartLoad);
        Subscribe<TNotification_OnEndLoadResource>(&TSignalLog::OnEndLoad);
        Subscribe<TNotification_OnAutocompileExport>(&TSignalLog::OnAutocompile);
        Subscribe<TNotification_OnDuplicateResourceFound>(&TSignalLog::OnDuplicate);
        Subscribe<TNotification_OnDependencyOutOfDate>(&TSignalLog::OnOutOfDate);
    }
    ~TSignalLog() {
        UnsubscribeNotification<TNotification_OnStartImportResource>(kKey);
        UnsubscribeNotification<TNotification_OnImportResourceFailed>(kKey);
        UnsubscribeNotification<TNotification_OnEndImportResource>(kKey);
        UnsubscribeNotification<TNotification_OnStartLoadResource>(kKey);
        UnsubscribeNotification<TNotification_OnEndLoadResource>(kKey);
        UnsubscribeNotification<TNotification_OnAutocompileExport>(kKey);
        UnsubscribeNotification<TNotification_OnDuplicateResourceFound>(kKey);
        UnsubscribeNotification<TNotification_OnDependencyOutOfDate>(kKey);
    }
    TSignalLog(const TSignalLog &) = delete;
    TSignalLog &operator=(const TSignalLog &) = delete;

    void OnStartImport(TNotification_OnStartImportResource &) { Words.push_back("StartImport"); }
    void OnFailed(TNotification_OnImportResourceFailed &n) {
        Words.push_back("Failed");
        FailedBank = n.bank;
    }
    void OnEndImport(TNotification_OnEndImportResource &n) {
        Words.push_back(n.resource != nullptr ? "EndImport" : "EndImport(null)");
    }
    void OnStartLoad(TNotification_OnStartLoadResource &n) {
        Words.push_back(n.isSource ? "StartLoad(source)" : "StartLoad(compiled)");
    }
    void OnEndLoad(TNotification_OnEndLoadResource &) { Words.push_back("EndLoad"); }
    void OnAutocompile(TNotification_OnAutocompileExport &n) {
        Words.push_back("Autocompile");
        n.veto = Veto;
    }
    void OnDuplicate(TNotification_OnDuplicateResourceFound &n) {
        Duplicates.push_back(n.sameBank);
    }
    void OnOutOfDate(TNotification_OnDependencyOutOfDate &n) {
        Reasons.push_back(static_cast<int>(n.reason));
    }

    std::vector<std::string> Words;
    std::vector<bool> Duplicates;
    std::vector<int> Reasons;
    TResourceBank_I *FailedBank = nullptr;
    bool Veto = false;

private:
    static constexpr uint32_t kKey = 0x7E57106u;
    template <class T> void Subscribe(void (TSignalLog::*method)(T &)) {
        SubscribeNotification<T>(this, method, kKey);
    }
};

} // namespace vlib::test
