// Operations on whole containers built on the objects' persistent form: copying an object
// onto another, merging containers, copying sets of containers, checksums of a container's
// file form and reports of what a container holds. References survive a copy because the
// source's id map and the bank's mapping translate them while they are in streamed form.
#include <cstdio>
#include <cstring>
#include <new>

#include "Detail/CopyBuffer.h"
#include "General/Containers/RootContainer.h"
#include "General/Containers/RootContainerBank.h"
#include "General/Core/RuntimeClass.h"
#include "General/Maths/FastBits.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/ChecksumFilter.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/IOAdapter.h"
#include "General/Streams/RealFile.h"

namespace vlib::detail {

TManagedFileBuf &SharedCopyBuffer() {
    static TManagedFileBuf buffer;
    return buffer;
}

} // namespace vlib::detail

namespace {

constexpr int kCopyBufferSize = 0x8000;
constexpr unsigned long kReadFlags = 2;
constexpr unsigned long kWriteFlags = 4;
constexpr unsigned long kReportFlags = 5;

/// The words of the pointer checksum: running sum and pointers seen.
uint32_t g_PointerSum = 0;
uint32_t g_PointerCount = 0;

/// Adds one announced pointer to the checksum. Its place in the stream and the object's id
/// count, never its address, so the same graph sums the same in any run.
void HashPointer(TRootObject *object) {
    const uint32_t *bits = TFastBits::Bits;
    const uint32_t n = ++g_PointerCount;
    uint32_t term = bits[(n >> 8) & 255] ^ bits[n & 255];
    if (object != nullptr) {
        const auto d = static_cast<uint32_t>(object->GetID());
        term ^= bits[(d >> 8) & 255] ^ bits[d & 255];
    }
    g_PointerSum += term;
}

/// Orders classes by name, so the reports come out the same in every run.
struct TByClassName {
    bool operator()(const TRuntimeClass *a, const TRuntimeClass *b) const {
        return std::strcmp(a->GetName().GetData(), b->GetName().GetData()) < 0;
    }
};

/// Whether object `object` of source `i` is part of the copy.
bool IsTaken(TLibSet<TRootObject *> **selections, size_t i, TRootObject *object) {
    if (selections == nullptr || selections[i] == nullptr)
        return true;
    return selections[i]->count(object) != 0;
}

} // namespace

/// Sets, and on destruction removes, the id map of each source and its bank mapping to the
/// target, so that the sources are left as they were whatever the copy meets on the way.
class TRootContainer::TCopyMappings {
public:
    TCopyMappings() = default;
    TCopyMappings(const TCopyMappings &) = delete;
    TCopyMappings &operator=(const TCopyMappings &) = delete;
    ~TCopyMappings() {
        for (TRootContainer *source : m_Sources)
            Unmap(source);
    }

    /// Makes room for `count` sources, so that adding them cannot fail half-way.
    void Reserve(size_t count) {
        m_Sources.reserve(count);
        m_IdMaps.reserve(count);
    }
    /// Maps the source's container id to the target's and gives the source an empty id map,
    /// not yet in force.
    void Add(TRootContainer *source, TRootContainer *target) {
        m_IdMaps.emplace_back();
        m_Sources.push_back(source);
        if (TRootContainerBank *bank = TRootContainerBank::Bank)
            bank->SetBankMapping(static_cast<int>(source->GetContainerID()),
                                 static_cast<int>(target->GetContainerID()));
    }
    TLibMap<int, int> &IdMap(size_t i) { return m_IdMaps[i]; }
    /// From now on the source writes the ids of the copies.
    void Install(size_t i) { m_Sources[i]->SetIdMap(&m_IdMaps[i]); }

private:
    static void Unmap(TRootContainer *source) {
        source->SetIdMap(nullptr);
        if (TRootContainerBank *bank = TRootContainerBank::Bank)
            bank->ClearBankMapping(static_cast<int>(source->GetContainerID()));
    }

    TLibVector<TRootContainer *> m_Sources; // not owned
    TLibVector<TLibMap<int, int>> m_IdMaps;
};

void TRootContainer::CopyObject(TRootObject *source, TRootObject *target, bool ascii) {
    TManagedFileBuf &buffer = vlib::detail::SharedCopyBuffer();
    if (!buffer.Open(kWriteFlags, kCopyBufferSize))
        return;
    TAsciiOutFilter out;
    if (ascii) {
        if (out.Open(&buffer))
            (void)source->WriteAscii(out); // a copy reports nothing: what was written counts
    } else {
        (void)source->WriteBinary(buffer);
    }
    const int size = buffer.GetPos();
    if (size != 0) {
        TFixedFileBuf fixed;
        if (fixed.Open(buffer.GetBuffer(), size, kReadFlags)) {
            if (ascii) {
                TAsciiInFilter in;
                if (in.Open(&fixed)) {
                    (void)target->ReadAscii(in);
                    (void)in.Close();
                }
            } else {
                (void)target->ReadBinary(fixed);
            }
            if (fixed.IsOpen() != 0)
                (void)fixed.Close();
        }
    }
    if (out.IsOpen() != 0)
        (void)out.Close(); // closes the buffer beneath it as well
    if (buffer.IsOpen() != 0)
        (void)buffer.Close();
}

void TRootContainer::Merge(TLibVector<TRootContainer *> &sources,
                           TLibSet<TRootObject *> **selections, bool ascii,
                           TLibMap<TRootObject *, TRootObject *> *copies) {
    // Library containers throw when the heap is exhausted; the copy then stops where it is,
    // and the mappings come off the sources all the same.
    try {
        TCopyMappings mappings;
        mappings.Reserve(sources.size());
        for (TRootContainer *source : sources)
            mappings.Add(source, this);
        // Every copy exists before the first payload, so references may point forward.
        for (size_t i = 0; i < sources.size(); ++i) {
            TRootContainer *source = sources[i];
            for (source->ResetCursor(); source->GetCursor() != nullptr; source->NextCursor()) {
                TRootObject *object = source->GetCursor();
                if (!IsTaken(selections, i, object))
                    continue;
                const int id = AllocateID();
                if (AddNewObject(object->GetRuntimeClass(), id) != nullptr)
                    mappings.IdMap(i)[object->GetID()] = id;
            }
            mappings.Install(i);
        }
        for (size_t i = 0; i < sources.size(); ++i) {
            TRootContainer *source = sources[i];
            const TLibMap<int, int> &ids = mappings.IdMap(i);
            for (source->ResetCursor(); source->GetCursor() != nullptr; source->NextCursor()) {
                TRootObject *object = source->GetCursor();
                if (!IsTaken(selections, i, object))
                    continue;
                auto found = ids.find(object->GetID());
                TRootObject *copy = found != ids.end() ? GetObject(found->second) : nullptr;
                if (copy == nullptr)
                    continue; // its creation failed
                CopyObject(object, copy, ascii);
                if (copies != nullptr)
                    (*copies)[object] = copy;
            }
        }
    } catch (const std::bad_alloc &) {
    }
}

void TRootContainer::CopyRootContainers(TLibMap<TRootContainer *, TRootContainer *> &targets) {
    try {
        TCopyMappings mappings;
        mappings.Reserve(targets.size());
        for (auto &pair : targets)
            mappings.Add(pair.first, pair.second);
        TLibVector<TRootObject *> objects;
        size_t i = 0;
        for (auto &[source, target] : targets) {
            // Gathering by class leaves the source's cursor where it was.
            source->GetObjectsOfClass(TRootObject::GetRuntimeClassStatic(), objects);
            for (TRootObject *object : objects) {
                const int id = target->AllocateID();
                if (target->AddNewObject(object->GetRuntimeClass(), id) != nullptr)
                    mappings.IdMap(i)[object->GetID()] = id;
            }
            mappings.Install(i++);
        }
        i = 0;
        for (auto &[source, target] : targets) {
            const TLibMap<int, int> &ids = mappings.IdMap(i++);
            source->GetObjectsOfClass(TRootObject::GetRuntimeClassStatic(), objects);
            for (TRootObject *object : objects) {
                auto found = ids.find(object->GetID());
                if (found == ids.end())
                    continue;
                if (TRootObject *copy = target->GetObject(found->second))
                    CopyObject(object, copy, false);
            }
        }
    } catch (const std::bad_alloc &) {
    }
}

void TRootContainer::Checksum(int &pointerSum, int &dataSum, int format) {
    void (*saved)(TRootObject *) = WritePtrCallback;
    WritePtrCallback = HashPointer;
    g_PointerSum = 0;
    g_PointerCount = 0;
    TChecksumFilter sum;
    sum.Open();
    TFileObj *top = &sum;
    TAsciiOutFilter text;
    TDeflateFilter deflate;
    bool streamable = true;
    if (format == FormatText) {
        streamable = text.Open(&sum);
        top = &text;
    } else if (format == FormatDeflate) {
        streamable = deflate.Open(&sum, TDeflateFilter::DeflateDefault);
        top = &deflate;
    } else if (format != FormatBinary) {
        streamable = false;
    }
    if (streamable) {
        if (format == FormatText) {
            TIOAdapter adapter(&text);
            (void)Stream(adapter, false); // the sums describe whatever was written
        } else {
            TIOAdapter adapter(top, true);
            (void)Stream(adapter, false);
        }
    }
    // Closing the top layer flushes it (the deflate tail) into the sum and closes the rest.
    if (top->IsOpen() != 0)
        (void)top->Close();
    if (sum.IsOpen() != 0)
        (void)sum.Close();
    pointerSum = static_cast<int>(g_PointerSum);
    dataSum = static_cast<int>(sum.GetChecksum());
    WritePtrCallback = saved;
}

void TRootContainer::TrackStats(const char *file) {
    TRealFile disk;
    TAsciiOutFilter out;
    // A failed open leaves the filter closed, and the writes below come to nothing.
    if (disk.Open(file, kReportFlags))
        (void)out.Open(&disk);
    TNullFile null;
    (void)null.Open();
    try {
        TLibMap<TRuntimeClass *, TRootTrack, TByClassName> table;
        for (ResetCursor(); GetCursor() != nullptr; NextCursor()) {
            TRootObject *object = GetCursor();
            TRootTrack local;
            TRootTrack::GlobalTrack = &local;
            (void)null.Seek(0, TFileObj::SeekStart);
            (void)object->WriteBinary(null); // only the bytes counted matter
            TRootTrack::GlobalTrack = nullptr;
            TRootTrack &entry = table[object->GetRuntimeClass()];
            entry.AddInstance(null.GetPos());
            entry.Combine(local);
        }
        if (out.IsOpen() != 0) {
            for (const auto &[cls, track] : table)
                track.Output(cls->GetName().GetData(), out, true, false);
            (void)out.Write("\n", 1);
            for (const auto &[cls, track] : table)
                track.Output(cls->GetName().GetData(), out, false, true);
        }
    } catch (const std::bad_alloc &) {
    }
    TRootTrack::GlobalTrack = nullptr;
    (void)null.Close();
    if (out.IsOpen() != 0)
        (void)out.Close();
    if (disk.IsOpen() != 0)
        (void)disk.Close();
}

void TRootContainer::DumpObjectCounts(const char *file) {
    std::FILE *out = std::fopen(file, "w");
    if (out == nullptr)
        return;
    try {
        TLibMap<TRuntimeClass *, int, TByClassName> counts;
        for (ResetCursor(); GetCursor() != nullptr; NextCursor())
            ++counts[GetCursor()->GetRuntimeClass()];
        for (const auto &[cls, count] : counts)
            std::fprintf(out, "%s=%d\n", cls->GetName().GetData(), count);
    } catch (const std::bad_alloc &) {
    }
    std::fclose(out);
}
