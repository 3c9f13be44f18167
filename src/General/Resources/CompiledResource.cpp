// Reading and writing the compiled-file header. Every field is written one by one in
// little-endian order; a reader never trusts the dependency count further than the bytes
// the file still holds.
#include "General/Resources/CompiledResource.h"

#include <algorithm>
#include <new>

#include "General/Resources/Resource.h"
#include "General/Resources/ResourceBank.h"
#include "General/Resources/ResourceManager.h"
#include "General/Streams/BinaryFilter.h"
#include "General/Streams/FileObj.h"

const uint32_t TCompiledResourceFileHeader::sm_uiMagicNumberForCompiledResource = 0x53455243u;
const uint32_t TCompiledResourceFileHeader::sm_uiCompiledResourceHeaderVersion = 1;
const uint32_t TCompiledResourceFileHeader::sm_uiMagicNumberForBinarySource = 0x43525342u;
const uint32_t TCompiledResourceFileHeader::sm_uiIncompleteFlag = 0xFFFFFFFFu;

namespace {

bool WriteWord(TBinaryOutFilter &out, uint32_t value) {
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
        static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
    return out.Write(bytes, 4);
}

bool ReadWord(TBinaryInFilter &in, uint32_t &value) {
    unsigned char bytes[4];
    if (in.Read(bytes, 4) != 4)
        return false;
    value = uint32_t(bytes[0]) | (uint32_t(bytes[1]) << 8) | (uint32_t(bytes[2]) << 16) |
            (uint32_t(bytes[3]) << 24);
    return true;
}

bool WriteTime(TBinaryOutFilter &out, const TFileTime &time) {
    const uint64_t value = time.GetValue();
    return WriteWord(out, static_cast<uint32_t>(value)) &&
           WriteWord(out, static_cast<uint32_t>(value >> 32));
}

bool ReadTime(TBinaryInFilter &in, TFileTime &time) {
    uint32_t low = 0;
    uint32_t high = 0;
    if (!ReadWord(in, low) || !ReadWord(in, high))
        return false;
    time.SetValue((uint64_t(high) << 32) | low);
    return true;
}

} // namespace

bool TCompiledResourceFileHeader::SaveBinary(TFileObj *file) {
    if (file == nullptr)
        return false;
    TBinaryOutFilter out;
    if (!out.Open(file))
        return false;
    bool ok = WriteWord(out, sm_uiMagicNumberForCompiledResource) &&
              WriteWord(out, sm_uiIncompleteFlag) && WriteTime(out, m_SourceTime) &&
              WriteWord(out, static_cast<uint32_t>(m_Dependencies.size()));
    for (size_t i = 0; ok && i < m_Dependencies.size(); ++i)
        ok = WriteWord(out, m_Dependencies[i].id) && WriteTime(out, m_Dependencies[i].time);
    out.CloseLayer();
    return ok;
}

bool TCompiledResourceFileHeader::WriteFileCompleteFlag(TFileObj *file) {
    if (file == nullptr || !file->Seek(4, TFileObj::SeekStart))
        return false;
    TBinaryOutFilter out;
    if (!out.Open(file))
        return false;
    const bool ok = WriteWord(out, sm_uiCompiledResourceHeaderVersion);
    out.CloseLayer();
    return ok;
}

bool TCompiledResourceFileHeader::LoadBinary(TFileObj *file) {
    m_Dependencies.clear();
    if (file == nullptr)
        return false;
    TBinaryInFilter in;
    if (!in.Open(file))
        return false;
    bool ok = false;
    uint32_t magic = 0;
    uint32_t flag = 0;
    uint32_t count = 0;
    TFileTime sourceTime;
    if (ReadWord(in, magic) && magic == sm_uiMagicNumberForCompiledResource && ReadWord(in, flag) &&
        flag == sm_uiCompiledResourceHeaderVersion && ReadTime(in, sourceTime) &&
        ReadWord(in, count)) {
        // A count the rest of the file cannot hold is refused before anything is reserved.
        const long long left =
            static_cast<long long>(file->Length()) - static_cast<long long>(file->GetPos());
        if (left >= 0 && static_cast<unsigned long long>(count) * kDependencySize <=
                             static_cast<unsigned long long>(left)) {
            try {
                m_Dependencies.reserve(count);
                ok = true;
                for (uint32_t i = 0; ok && i < count; ++i) {
                    TCompiledDependency dependency;
                    ok = ReadWord(in, dependency.id) && ReadTime(in, dependency.time);
                    if (ok)
                        m_Dependencies.push_back(dependency);
                }
            } catch (const std::bad_alloc &) {
                ok = false;
            }
        }
    }
    in.CloseLayer();
    if (!ok) {
        m_Dependencies.clear();
        return false;
    }
    m_SourceTime = sourceTime;
    return true;
}

bool TCompiledResourceFileHeader::InsertDependency(uint32_t id, const TFileTime &time) {
    auto at = std::lower_bound(
        m_Dependencies.begin(), m_Dependencies.end(), id,
        [](const TCompiledDependency &dependency, uint32_t key) { return dependency.id < key; });
    if (at != m_Dependencies.end() && at->id == id)
        return false;
    TCompiledDependency dependency;
    dependency.id = id;
    dependency.time = time;
    try {
        m_Dependencies.insert(at, dependency);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

bool TCompiledResourceFileHeader::HasDependency(uint32_t id) const {
    auto at = std::lower_bound(
        m_Dependencies.begin(), m_Dependencies.end(), id,
        [](const TCompiledDependency &dependency, uint32_t key) { return dependency.id < key; });
    return at != m_Dependencies.end() && at->id == id;
}

void TCompiledResourceFileHeader::AddDependency(TResourceBank_I *bank,
                                                TResourceBankEntry_I *entry) {
    if (bank == nullptr || entry == nullptr)
        return;
    const uint32_t id = TResource::StrToID(entry->GetTag().GetData());
    // Asked first, as the source time may cost a look at the disk.
    if (HasDependency(id))
        return;
    (void)InsertDependency(id, bank->GetSourceTime(entry)); // a full heap drops the record
}

void TCompiledResourceFileHeader::CopyDependenciesFromResource(TResource *resource) {
    if (resource == nullptr)
        return;
    TLibVector<TDependency> dependencies;
    try {
        resource->GetDependencies(dependencies);
    } catch (const std::bad_alloc &) {
        return; // what was listed before the heap ran out is still recorded below
    }
    TResourceManager_I &manager = GetResourceManager();
    for (const TDependency &dependency : dependencies) {
        if (dependency.kind != TDependency::kResource)
            continue;
        TResourceBank_I *bank = nullptr;
        TResourceBankEntry_I *entry = manager.FindEntry(dependency.id, &bank, false);
        if (entry != nullptr && bank != nullptr)
            AddDependency(bank, entry);
    }
}
