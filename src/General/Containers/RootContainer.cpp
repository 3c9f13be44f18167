// Loading and saving of containers: headers of all objects first, then payloads, then the
// container's extra data, in binary, text or deflated binary form, for one file or several.
#include "General/Containers/RootContainer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>

#include "Detail/WriteBuffer.h"
#include "General/Containers/RootContainerBank.h"
#include "General/Core/RuntimeClass.h"
#include "General/Core/StrToID.h"
#include "General/Resources/ResourceErrorLog.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/IOAdapter.h"
#include "General/Streams/RealFile.h"

void (*TRootContainer::ReportCallback)(const char *format, ...) = nullptr;
void (*TRootContainer::TickCallback)() = nullptr;
void (*TRootContainer::WritePtrCallback)(TRootObject *) = nullptr;
void (*TRootContainer::ReadPtrCallback)(TRootObject *) = nullptr;
int TRootContainer::DoNotDeleteDependencies = 0;

namespace {

constexpr unsigned long kOpenRead = 2;
constexpr unsigned long kOpenWrite = 4;

void Tick() {
    if (TRootContainer::TickCallback != nullptr)
        TRootContainer::TickCallback();
}

void EndTextLine(TIOAdapter &adapter) {
    if (adapter.GetTextOutput() != nullptr)
        (void)adapter.GetTextOutput()->Write("\n", 1);
}

/// Streams a 32-bit field. The adapter lets a short binary read pass unnoticed; a container
/// file that ends inside its own fields is damaged, so a short read here marks it bad.
void StreamWord(TIOAdapter &adapter, int &value, const char *name) {
    TFileObj *file = adapter.GetBinaryFile();
    if (file == nullptr || adapter.GetWriting()) {
        adapter.StreamInt(value, name);
        return;
    }
    unsigned char bytes[4];
    if (file->Read(bytes, 4) != 4) {
        adapter.SetBad();
        return;
    }
    value = static_cast<int32_t>(
        static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
        static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24);
}

constexpr int kMaxRecordWords = 3;

/// Writes a binary record of 32-bit words with one call to the file. Returns false, leaving
/// the record unwritten, when the adapter is not binary or a tracker counts writes by field
/// name; the caller then streams the fields one by one.
bool WriteRecord(TIOAdapter &adapter, const uint32_t *words, int count) {
    TFileObj *file = adapter.GetBinaryFile();
    if (file == nullptr || TRootTrack::GlobalTrack != nullptr)
        return false;
    unsigned char bytes[kMaxRecordWords * 4];
    for (int w = 0; w < count; ++w) {
        for (int i = 0; i < 4; ++i)
            bytes[w * 4 + i] = static_cast<unsigned char>(words[w] >> (8 * i));
    }
    (void)file->Write(bytes, count * 4); // a failed write shows in the Bad flag
    return true;
}

/// Reads a binary record of 32-bit words with one call; a short read marks the adapter bad.
void ReadRecord(TIOAdapter &adapter, uint32_t *words, int count) {
    unsigned char bytes[kMaxRecordWords * 4];
    TFileObj *file = adapter.GetBinaryFile();
    if (file == nullptr || file->Read(bytes, count * 4) != count * 4) {
        adapter.SetBad();
        return;
    }
    for (int w = 0; w < count; ++w) {
        const unsigned char *b = bytes + w * 4;
        words[w] = static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
                   static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
    }
}

void StreamClassID(TIOAdapter &adapter, unsigned long &value, const char *name) {
    int word = static_cast<int>(static_cast<uint32_t>(value));
    StreamWord(adapter, word, name);
    value = static_cast<uint32_t>(word);
}

/// Writes an object's class (its name in text, its id in binary, under `classKey`) and its
/// id: the part of an object's record that the header pass and a single write share.
void WriteClassAndID(TIOAdapter &adapter, TRootObject *object, const char *classKey) {
    int id = object->GetID();
    TRuntimeClass *cls = object->GetRuntimeClass();
    const uint32_t words[2] = {cls->GetID(), static_cast<uint32_t>(id)};
    if (WriteRecord(adapter, words, 2))
        return;
    if (adapter.GetTextOutput() != nullptr) {
        TRootContainer::TString name = cls->GetName();
        adapter.StreamString(name, "TypeName");
    } else {
        unsigned long classID = cls->GetID();
        StreamClassID(adapter, classID, classKey);
    }
    StreamWord(adapter, id, "UniqueID");
}

/// Streams a string; in binary a read that ends before the claimed length marks it bad.
void StreamText(TIOAdapter &adapter, TRootContainer::TString &value, const char *name) {
    TFileObj *file = adapter.GetBinaryFile();
    if (file == nullptr || adapter.GetWriting()) {
        adapter.StreamString(value, name);
        return;
    }
    int length = 0;
    StreamWord(adapter, length, name);
    if (adapter.IsBad() || length < 0) {
        adapter.SetBad();
        return;
    }
    // Read piecewise, so a length that lies costs no more memory than the file holds.
    TLibVector<char> text;
    char piece[4096];
    while (static_cast<int>(text.size()) < length) {
        const int want = std::min<int>(length - static_cast<int>(text.size()), sizeof piece);
        if (file->Read(piece, want) != want) {
            adapter.SetBad();
            return;
        }
        text.insert(text.end(), piece, piece + want);
    }
    value = text.empty() ? TRootContainer::TString()
                         : TRootContainer::TString(text.data(), static_cast<unsigned>(text.size()));
}

/// Saves a container's walk and restores it on leaving the scope.
class TCursorGuard {
public:
    explicit TCursorGuard(TRootContainer &container) : m_Container(container) {
        m_Container.PushCursor();
    }
    ~TCursorGuard() { m_Container.PopCursor(); }
    TCursorGuard(const TCursorGuard &) = delete;
    TCursorGuard &operator=(const TCursorGuard &) = delete;

private:
    TRootContainer &m_Container;
};

/// The objects of a container being saved, gathered once in cursor order. A save walks the
/// objects four times (validation, count, headers, payloads); a store's walk follows chains
/// of entries, one dependent cache miss after another, while a list can be read ahead.
struct TWriteOrder {
    TRootContainer *Container = nullptr; // not owned
    TLibVector<TRootObject *> Objects;
};

/// The save in progress on this thread, if it could gather its objects.
thread_local TWriteOrder *t_WriteOrder = nullptr;

/// Objects this far ahead in the list are fetched while the current one is written.
constexpr size_t kLookAhead = 16;

/// Gathers the container's objects for the length of one save; without memory for the list,
/// the passes walk the store as usual.
class TWriteOrderScope {
public:
    explicit TWriteOrderScope(TRootContainer &container) {
        if (t_WriteOrder != nullptr)
            return; // a save within a save keeps to the store's walk
        try {
            m_Order.Objects.reserve(static_cast<size_t>(std::max(container.Size(), 0)));
            TCursorGuard guard(container);
            for (container.ResetCursor(); container.GetCursor() != nullptr; container.NextCursor())
                m_Order.Objects.push_back(container.GetCursor());
        } catch (const std::bad_alloc &) {
            return;
        }
        m_Order.Container = &container;
        t_WriteOrder = &m_Order;
    }
    ~TWriteOrderScope() {
        if (t_WriteOrder == &m_Order)
            t_WriteOrder = nullptr;
    }
    TWriteOrderScope(const TWriteOrderScope &) = delete;
    TWriteOrderScope &operator=(const TWriteOrderScope &) = delete;

private:
    TWriteOrder m_Order;
};

/// Calls `visit` on each object of `container` in cursor order until it returns false; from
/// the gathered list during a save of this container, else by the store's walk (saved and
/// restored around it).
template <class F> void ForEachObject(TRootContainer &container, F visit) {
    if (t_WriteOrder != nullptr && t_WriteOrder->Container == &container) {
        const TLibVector<TRootObject *> &objects = t_WriteOrder->Objects;
        for (size_t i = 0; i < objects.size(); ++i) {
            if (i + kLookAhead < objects.size())
                __builtin_prefetch(objects[i + kLookAhead]);
            if (!visit(objects[i]))
                return;
        }
        return;
    }
    TCursorGuard guard(container);
    for (container.ResetCursor(); container.GetCursor() != nullptr; container.NextCursor()) {
        if (!visit(container.GetCursor()))
            return;
    }
}

} // namespace

/// One file's chain: the disk file, the filter of the form, and the adapter over them.
struct TRootContainer::TChain {
    TRealFile File;
    TAsciiInFilter TextIn;
    TAsciiOutFilter TextOut;
    TDeflateFilter Deflate;
    TInflateFilter Inflate;
    vlib::detail::TWriteBuffer Buffer;
    TIOAdapter *Adapter = nullptr; // owned
    TFileObj *Top = nullptr;       // not owned: the uppermost layer

    ~TChain() { Close(); }

    /// Opens the file and builds the adapter of `format`; false for an unknown form.
    bool Open(const TString &path, bool save, int format) {
        // An open failure is not tested here: the reads or writes that follow fail and leave
        // the adapter bad.
        (void)File.Open(path, save ? kOpenWrite : kOpenRead);
        Top = &File;
        // The disk file sends every write to the system; saves gather theirs first.
        TFileObj *base = &File;
        if (save && format != FormatDeflate && File.IsOpen() != 0 && Buffer.Open(&File)) {
            base = &Buffer;
            Top = &Buffer;
        }
        switch (format) {
        case FormatBinary:
            Adapter = new TIOAdapter(base, save);
            break;
        case FormatText:
            if (save) {
                (void)TextOut.Open(base);
                Top = &TextOut;
                Adapter = new TIOAdapter(&TextOut);
            } else {
                (void)TextIn.Open(&File);
                Top = &TextIn;
                Adapter = new TIOAdapter(&TextIn);
            }
            break;
        case FormatDeflate:
            if (save) {
                (void)Deflate.Open(&File, TDeflateFilter::DeflateDefault);
                Top = &Deflate;
            } else {
                (void)Inflate.Open(&File);
                Top = &Inflate;
            }
            Adapter = new TIOAdapter(Top, save);
            break;
        default:
            return false;
        }
        return Adapter != nullptr;
    }

    /// Closes the whole stack; false if the last writes failed on the way.
    bool Close() {
        bool good = true;
        if (Adapter != nullptr) {
            good = !Adapter->IsBad();
            delete Adapter;
            Adapter = nullptr;
        }
        if (Top != nullptr && Top->IsOpen() != 0) {
            const bool bad = Top->IsBad() != 0;
            good = Top->Close() && good && !bad;
        }
        if (File.IsOpen() != 0)
            good = File.Close() && good;
        Top = nullptr;
        return good;
    }
};

TRootContainer::~TRootContainer() {
    if (m_ContainerID != kUnregistered && TRootContainerBank::Bank != nullptr)
        TRootContainerBank::Bank->DeRegister(this);
}

int TRootContainer::ObjectToID(TRootObject *object) {
    if (object == nullptr)
        return TRootObject::kNullID;
    if (m_IdMap == nullptr)
        return object->GetID();
    auto found = m_IdMap->find(object->GetID());
    return found != m_IdMap->end() ? found->second : TRootObject::kNullID;
}

bool TRootContainer::SkipObject(TRootObject *) {
    return false;
}

bool TRootContainer::ValidateData() {
    bool valid = true;
    ForEachObject(*this, [&](TRootObject *object) {
        valid = object->GetContainer() == this && object->GetID() >= 0;
        return valid;
    });
    return valid;
}

void TRootContainer::StreamExtra(TIOAdapter &) {}

void TRootContainer::SetContainer(TRootObject *object, int id) {
    TRootContainer *previous = object->GetContainer();
    object->SetID(id);
    object->SetContainer(this);
    object->UpdateContainer(previous);
}

void TRootContainer::ClearContainer(TRootObject *object) {
    object->SetID(TRootObject::kRemovedID);
    object->SetContainer(nullptr);
}

void TRootContainer::Delete(TRootObject *object) {
    if (object == nullptr)
        return;
    delete object;
}

TRootObject *TRootContainer::AddNewObject(TRuntimeClass *cls, int id) {
    TRootObject *object = cls->CreateObject();
    if (object == nullptr)
        return nullptr;
    object->SetID(id);
    object->SetContainer(this);
    // A store that grew by one took this object; otherwise look whether it did.
    const int before = Size();
    bool entered = false;
    try {
        InsertObject(object);
        entered = Size() == before + 1 || GetObject(id) == object;
    } catch (const std::bad_alloc &) {
    }
    if (!entered) {
        // No room for the entry: the object would belong to no one.
        ClearContainer(object);
        delete object;
        return nullptr;
    }
    object->UpdateContainer(nullptr);
    return object;
}

void TRootContainer::RegisterMe() {
    TRootContainerBank::Bank->Register(this, m_Identifier);
}

void TRootContainer::DeRegisterMe() {
    if (TRootContainerBank::Bank != nullptr)
        TRootContainerBank::Bank->DeRegister(this);
}

TRootObject *TRootContainer::IDToObject(int id) {
    return id == TRootObject::kNullID ? nullptr : GetObject(id);
}

bool TRootContainer::ContainsObject(TRootObject *object) {
    return object != nullptr && IDToObject(object->GetID()) == object;
}

void TRootContainer::InitialiseAll() {
    Lock();
    for (ResetCursor(); GetCursor() != nullptr; NextCursor())
        GetCursor()->Initialise();
    Unlock();
}

void TRootContainer::GetObjectsOfClass(const TString &name, bool includeDerived,
                                       TLibVector<TRootObject *> &out) {
    out.clear();
    TRuntimeClass *cls =
        TRuntimeClass::GetRuntimeClass(static_cast<unsigned long>(StrToID(name.GetData())));
    if (cls == nullptr)
        return;
    // The caller's walk is saved around this one (and restored if a push_back throws).
    TCursorGuard guard(*this);
    for (ResetCursor(); GetCursor() != nullptr; NextCursor()) {
        TRuntimeClass *own = GetCursor()->GetRuntimeClass();
        if (own == cls || (includeDerived && own->IsSubclass(cls)))
            out.push_back(GetCursor());
    }
}

void TRootContainer::GetObjectsOfClass(TRuntimeClass *cls, TLibVector<TRootObject *> &out) {
    out.clear();
    TCursorGuard guard(*this);
    for (ResetCursor(); GetCursor() != nullptr; NextCursor()) {
        if (GetCursor()->GetRuntimeClass()->IsSubclass(cls))
            out.push_back(GetCursor());
    }
}

void TRootContainer::GetObjectsOfClasses(TLibVector<TString> &names, bool includeDerived,
                                         TLibVector<TRootObject *> &out) {
    out.clear();
    TLibVector<TRuntimeClass *> classes;
    for (const TString &name : names)
        classes.push_back(
            TRuntimeClass::GetRuntimeClass(static_cast<unsigned long>(StrToID(name.GetData()))));
    TCursorGuard guard(*this);
    for (ResetCursor(); GetCursor() != nullptr; NextCursor()) {
        TRuntimeClass *own = GetCursor()->GetRuntimeClass();
        for (TRuntimeClass *cls : classes) {
            if (cls != nullptr && (own == cls || (includeDerived && own->IsSubclass(cls))))
                out.push_back(GetCursor());
        }
    }
}

void TRootContainer::GetAllOfClass(const TString &name, TLibVector<TRootObject *> &out) {
    for (ResetCursor(); GetCursor() != nullptr; NextCursor()) {
        if (GetCursor()->GetRuntimeClass()->IsClass(name.GetData()))
            out.push_back(GetCursor());
    }
}

TError TRootContainer::Load(const TString &file, int format, bool merge) {
    return DoLoadSave(file, false, format, merge);
}

TError TRootContainer::Save(const TString &file, int format, bool merge) {
    return DoLoadSave(file, true, format, merge);
}

TError TRootContainer::MultiLoad(TLibVector<TRootContainer *> &containers,
                                 TLibVector<TString> &files, int format, bool merge) {
    return DoMultiLoadSave(containers, files, false, format, merge);
}

TError TRootContainer::MultiSave(TLibVector<TRootContainer *> &containers,
                                 TLibVector<TString> &files, int format, bool merge) {
    return DoMultiLoadSave(containers, files, true, format, merge);
}

TError TRootContainer::DoLoadSave(const TString &file, bool save, int format, bool merge) {
    TChain chain;
    if (!chain.Open(file, save, format))
        return TError::kFailure;
    TError result = Stream(*chain.Adapter, merge);
    // A save is only complete once the filters have flushed their last bytes to the disk.
    if (!chain.Close() && save)
        result = TError::kFailure;
    return result;
}

TError TRootContainer::Stream(TIOAdapter &adapter, bool merge) {
    // Library containers throw when the heap is exhausted; that never leaves the library.
    try {
        return DoStream(adapter, merge);
    } catch (const std::bad_alloc &) {
        return TError::kFailure;
    }
}

TError TRootContainer::DoStream(TIOAdapter &adapter, bool merge) {
    const bool writing = adapter.GetWriting();
    std::optional<TWriteOrderScope> order;
    if (writing)
        order.emplace(*this);
    if (writing && !ValidateData())
        return TError::kFailure;
    int count = 0;
    TRootContainer *target = this;
    TError result = StreamInit(adapter, merge, count, target);
    if (!result)
        return result;
    TLibVector<int> ids;
    result = target->StreamHeaders(adapter, merge, count, ids);
    if (result)
        result = target->StreamData(adapter, merge, count);
    if (!result)
        return TError::kFailure;
    target->StreamExtra(adapter);
    if (adapter.IsBad())
        return TError::kFailure;
    for (int id : ids) {
        if (TRootObject *object = target->GetObject(id))
            object->InitialiseAfterLoad();
    }
    if (!writing && !ValidateData())
        return TError::kFailure;
    return TError::kSuccess;
}

TError TRootContainer::StreamInit(TIOAdapter &adapter, bool &merge, int &count,
                                  TRootContainer *&target) {
    target = this;
    if (adapter.GetWriting()) {
        count = 0;
        ForEachObject(*this, [&](TRootObject *object) {
            count += SkipObject(object) ? 0 : 1;
            return true;
        });
    }
    StreamWord(adapter, count, "NumElements");
    TString identifier = m_Identifier;
    StreamText(adapter, identifier, "Identifier");
    if (adapter.GetWriting())
        return adapter.IsBad() ? TError::kFailure : TError::kSuccess;
    if (adapter.IsBad() || count < 0)
        return TError::kFailure;
    m_Identifier = identifier;
    if (merge)
        return TError::kSuccess;
    TRootContainerBank *bank = TRootContainerBank::Bank;
    if (bank == nullptr)
        return TError::kFailure;
    TRootContainer *found = bank->GetContainer(StrToID(identifier.GetData()));
    if (found == nullptr) {
        bank->Register(this, identifier);
    } else if (found->m_MergeOnLoad) {
        target = found;
        merge = true;
    } else {
        return TError::kFailure;
    }
    return TError::kSuccess;
}

void TRootContainer::StreamSectionHeader(const char *name, int number, TIOAdapter &adapter) {
    if (adapter.GetBinaryFile() != nullptr) {
        StreamWord(adapter, number, "");
    } else if (TAsciiOutFilter *out = adapter.GetTextOutput()) {
        (void)out->Write("\n[", 2);
        (void)out->Write(name, static_cast<int>(std::strlen(name)));
        (void)out->Write("]\n", 2);
    } else if (TAsciiInFilter *in = adapter.GetTextInput()) {
        char line[256];
        for (;;) {
            if (in->AtEOF() != 0 || in->IsBad() != 0) {
                adapter.SetBad();
                return;
            }
            (void)in->GetLine(line, sizeof line, '\n');
            if (std::strchr(line, '[') != nullptr || std::strchr(line, ']') != nullptr)
                return;
        }
    }
}

TError TRootContainer::StreamHeaders(TIOAdapter &adapter, bool merge, int count,
                                     TLibVector<int> &ids) {
    StreamSectionHeader("Object headers", 1, adapter);
    if (adapter.GetWriting())
        return WriteObjectHeaders(adapter);
    return ReadObjectHeaders(adapter, merge, count, ids);
}

TError TRootContainer::StreamData(TIOAdapter &adapter, bool merge, int count) {
    (void)merge; // objects that existed before a merge are read like the new ones
    StreamSectionHeader("Object data", 2, adapter);
    if (adapter.GetWriting())
        return WriteObjectData(adapter);
    return ReadObjectData(adapter, count);
}

TError TRootContainer::ReadObjectHeaders(TIOAdapter &adapter, bool merge, int count,
                                         TLibVector<int> &ids) {
    const bool text = adapter.GetTextInput() != nullptr;
    for (int i = 0; i < count; ++i) {
        Tick();
        int position = -1;
        int id = TRootObject::kNullID;
        TRuntimeClass *cls = nullptr;
        if (text) {
            StreamWord(adapter, position, "ObjectNum");
            TString name;
            adapter.StreamString(name, "TypeName");
            cls = TRuntimeClass::GetRuntimeClass(name);
            StreamWord(adapter, id, "UniqueID");
        } else {
            uint32_t words[3] = {};
            ReadRecord(adapter, words, 3);
            position = static_cast<int32_t>(words[0]);
            cls = TRuntimeClass::GetRuntimeClass(words[1]);
            id = static_cast<int32_t>(words[2]);
        }
        if (position != i || adapter.IsBad() || cls == nullptr)
            return TError::kFailure;
        if (GetObject(id) != nullptr) {
            if (merge)
                continue;
            // A repeated id would orphan the object that holds it now.
            return TError::kFailure;
        }
        if (AddNewObject(cls, id) == nullptr)
            return TError::kFailure; // an abstract class or no memory
        ids.push_back(id);
    }
    return TError::kSuccess;
}

TError TRootContainer::WriteObjectHeaders(TIOAdapter &adapter) {
    int position = 0;
    bool good = true;
    ForEachObject(*this, [&](TRootObject *object) {
        if (!SkipObject(object)) {
            const uint32_t words[3] = {static_cast<uint32_t>(position),
                                       object->GetRuntimeClass()->GetID(),
                                       static_cast<uint32_t>(object->GetID())};
            if (!WriteRecord(adapter, words, 3)) {
                StreamWord(adapter, position, "ObjectNum");
                WriteClassAndID(adapter, object, "TypeId");
            }
            ++position;
            good = !adapter.IsBad();
            if (!good)
                return false;
        }
        EndTextLine(adapter);
        return true;
    });
    return good ? TError::kSuccess : TError::kFailure;
}

TError TRootContainer::ReadObjectData(TIOAdapter &adapter, int count) {
    const bool text = adapter.GetTextInput() != nullptr;
    for (int i = 0; i < count; ++i) {
        Tick();
        int id = TRootObject::kNullID;
        if (text) {
            TString name;
            adapter.StreamString(name, "TypeName");
            StreamWord(adapter, id, "UniqueID");
        } else {
            uint32_t words[2] = {}; // the class is not used
            ReadRecord(adapter, words, 2);
            id = static_cast<int32_t>(words[1]);
        }
        TRootObject *object = adapter.IsBad() ? nullptr : GetObject(id);
        if (object == nullptr)
            return TError::kFailure;
        TError result = text ? object->ReadAscii(*adapter.GetTextInput())
                             : object->ReadBinary(*adapter.GetBinaryFile());
        if (result.Unsuccessful() != 0) {
            char message[512];
            std::snprintf(message, sizeof message, "Could not read root container %s",
                          m_Identifier.GetData());
            ReportResourceError("format", message);
            return result;
        }
        if (adapter.IsBad())
            return TError::kFailure;
    }
    return TError::kSuccess;
}

bool TRootContainer::IsOrderLast(TRuntimeClass *cls) const {
    for (TRuntimeClass *last : m_OrderLast) {
        if (last == cls)
            return true;
    }
    return false;
}

TError TRootContainer::WriteObjectData(TIOAdapter &adapter) {
    TError result = TError::kSuccess;
    ForEachObject(*this, [&](TRootObject *object) {
        if (!SkipObject(object) && !IsOrderLast(object->GetRuntimeClass()))
            result = WriteOneObjectData(adapter, object);
        return static_cast<bool>(result);
    });
    for (size_t i = 0; result && i < m_OrderLast.size(); ++i) {
        ForEachObject(*this, [&](TRootObject *object) {
            if (!SkipObject(object) && object->GetRuntimeClass() == m_OrderLast[i])
                result = WriteOneObjectData(adapter, object);
            return static_cast<bool>(result);
        });
    }
    return result;
}

TError TRootContainer::WriteOneObjectData(TIOAdapter &adapter, TRootObject *object) {
    Tick();
    const bool text = adapter.GetTextOutput() != nullptr;
    WriteClassAndID(adapter, object, "TypeID");
    TError result = text ? object->WriteAscii(*adapter.GetTextOutput())
                         : object->WriteBinary(*adapter.GetBinaryFile());
    EndTextLine(adapter);
    if (result.Unsuccessful() != 0 || adapter.IsBad())
        return TError::kFailure;
    return TError::kSuccess;
}

TError TRootContainer::DoMultiLoadSave(TLibVector<TRootContainer *> &containers,
                                       TLibVector<TString> &files, bool save, int format,
                                       bool merge) {
    try {
        return DoMultiStages(containers, files, save, format, merge);
    } catch (const std::bad_alloc &) {
        return TError::kFailure;
    }
}

TError TRootContainer::DoMultiStages(TLibVector<TRootContainer *> &containers,
                                     TLibVector<TString> &files, bool save, int format,
                                     bool merge) {
    const char *verb = save ? "Saving" : "Loading";
    auto report = [](const char *format, const char *a, const char *b = nullptr) {
        if (ReportCallback == nullptr)
            return;
        if (b != nullptr)
            ReportCallback(format, a, b);
        else
            ReportCallback(format, a);
    };
    const size_t n = containers.size();
    if (files.size() < n)
        return TError::kFailure;
    struct TStage : TBaseAllocator {
        TChain Chain;
        TRootContainer *Target = nullptr;
        bool Merge = false;
        int Count = 0;
        TLibVector<int> Ids;
    };
    // Every chain is closed and freed on every way out, as on success.
    struct TStages : TLibVector<TStage *> {
        ~TStages() {
            for (TStage *stage : *this)
                delete stage;
        }
    } stages;
    stages.reserve(n);
    auto finish = [](TError result) { return result; };
    for (size_t i = 0; i < n; ++i) {
        TStage *stage = new TStage;
        if (stage == nullptr)
            return finish(TError::kFailure);
        stages.push_back(stage);
        stage->Merge = merge;
        stage->Target = containers[i];
        if (!stage->Chain.Open(files[i], save, format))
            return finish(TError::kFailure);
    }
    if (save) {
        for (TRootContainer *container : containers) {
            report("Validating %s", container->m_Identifier.GetData());
            if (!container->ValidateData())
                return finish(TError::kFailure);
        }
    }
    for (size_t i = 0; i < n; ++i) {
        report("Initialising %s", containers[i]->m_Identifier.GetData());
        TStage &stage = *stages[i];
        TError result =
            containers[i]->StreamInit(*stage.Chain.Adapter, stage.Merge, stage.Count, stage.Target);
        if (!result)
            return finish(result);
    }
    for (TStage *stage : stages) {
        report("Creating %s", stage->Target->m_Identifier.GetData());
        if (!stage->Target->StreamHeaders(*stage->Chain.Adapter, stage->Merge, stage->Count,
                                          stage->Ids))
            return finish(TError::kFailure);
    }
    for (TStage *stage : stages) {
        report("%s %s", verb, stage->Target->m_Identifier.GetData());
        if (!stage->Target->StreamData(*stage->Chain.Adapter, stage->Merge, stage->Count))
            return finish(TError::kFailure);
    }
    for (TStage *stage : stages) {
        report("%s extra %s", verb, stage->Target->m_Identifier.GetData());
        stage->Target->StreamExtra(*stage->Chain.Adapter);
        if (stage->Chain.Adapter->IsBad())
            return finish(TError::kFailure);
    }
    if (!save) {
        for (TStage *stage : stages) {
            report("Post-initialising %s", stage->Target->m_Identifier.GetData());
            for (int id : stage->Ids) {
                if (TRootObject *object = stage->Target->GetObject(id))
                    object->InitialiseAfterLoad();
            }
        }
        for (TRootContainer *container : containers) {
            report("Validating %s", container->m_Identifier.GetData());
            if (!container->ValidateData())
                return finish(TError::kFailure);
        }
    }
    bool closed = true;
    for (TStage *stage : stages)
        closed = stage->Chain.Close() && closed;
    if (save && !closed)
        return finish(TError::kFailure);
    report("Successfully completed %s", verb);
    return TError::kSuccess;
}
