// Persistent references, and object copies made by streaming an object into a shared buffer
// and reading it back into a new object of its class.
#include "General/Containers/RootObjectRef.h"

#include <cstring>

#include "Detail/CopyBuffer.h"
#include "General/Config/IniFile.h"
#include "General/Containers/RootContainer.h"
#include "General/Containers/RootContainerBank.h"
#include "General/Core/RootObject.h"
#include "General/Core/RuntimeClass.h"
#include "General/Core/StrToID.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileBuf.h"

namespace {

constexpr uint32_t kNoContainer = 0xFFFFFFFFu;

/// The id a reference writes: the object's own, or, while its container is the source of a
/// copy, the id of the object's copy (-1 for an object that gets none).
int32_t StreamedID(TRootContainer *container, int32_t id) {
    if (container == nullptr || container->GetIdMap() == nullptr)
        return id;
    return container->ObjectToID(container->GetObject(id));
}

TRootContainer *FindContainer(uint32_t id) {
    TRootContainerBank *bank = TRootContainerBank::Bank;
    return bank != nullptr ? bank->GetContainer(id, true) : nullptr;
}

} // namespace

void TRootObjectPtrBase::Set(TRootObject *object) {
    m_Container = object != nullptr ? object->GetContainer() : nullptr;
    m_ID = object != nullptr ? object->GetID() : TRootObject::kNullID;
}

TRootObject *TRootObjectPtrBase::Get() const {
    if (m_Container == nullptr)
        return nullptr;
    TRootObject *object = m_Container->GetObject(m_ID);
    if (object == nullptr) {
        m_Container = nullptr;
        m_ID = TRootObject::kNullID;
    }
    return object;
}

TError TRootObjectRefBase::WriteBinary(TFileObj &file) {
    const uint32_t words[2] = {m_Container != nullptr ? m_Container->GetContainerID()
                                                      : kNoContainer,
                               static_cast<uint32_t>(StreamedID(m_Container, m_ID))};
    unsigned char bytes[8];
    for (int w = 0; w < 2; ++w) {
        for (int i = 0; i < 4; ++i)
            bytes[w * 4 + i] = static_cast<unsigned char>(words[w] >> (8 * i));
    }
    return file.Write(bytes, 8) ? TError(TError::kSuccess) : TError(TError::kFailure);
}

TError TRootObjectRefBase::ReadBinary(TFileObj &file) {
    unsigned char bytes[8];
    if (file.Read(bytes, 8) != 8) {
        m_Container = nullptr;
        m_ID = TRootObject::kNullID;
        return TError::kFailure;
    }
    uint32_t words[2] = {0, 0};
    for (int w = 0; w < 2; ++w) {
        for (int i = 3; i >= 0; --i)
            words[w] = (words[w] << 8) | bytes[w * 4 + i];
    }
    m_ID = static_cast<int32_t>(words[1]);
    m_Container = words[0] == kNoContainer ? nullptr : FindContainer(words[0]);
    return TError::kSuccess;
}

TError TRootObjectRefBase::WriteAscii(TAsciiOutFilter &filter, const char *key) {
    TIniFile::WriteNextIniString(
        "ContainerID", m_Container != nullptr ? m_Container->GetIdentifier().GetData() : "NULL",
        filter);
    TIniFile::WriteNextIniInt(key, StreamedID(m_Container, m_ID), filter);
    return filter.IsBad() != 0 ? TError(TError::kFailure) : TError(TError::kSuccess);
}

TError TRootObjectRefBase::ReadAscii(TAsciiInFilter &filter, const char *key) {
    (void)key; // the reader takes the next line whatever its key
    TIniFile::TString name;
    int id = TRootObject::kNullID;
    if (!TIniFile::GetNextIniString(name, filter) || !TIniFile::GetNextIniInt(id, filter)) {
        m_Container = nullptr;
        m_ID = TRootObject::kNullID;
        return TError::kFailure;
    }
    m_ID = id;
    m_Container =
        std::strcmp(name.GetData(), "NULL") == 0 ? nullptr : FindContainer(StrToID(name.GetData()));
    return TError::kSuccess;
}

TRootObject *TRootObject::MakeCopy(TRootObject *source) {
    TRootObject *copy = source->GetRuntimeClass()->CreateObject();
    if (copy == nullptr)
        return nullptr;
    TManagedFileBuf *buffer = &vlib::detail::SharedCopyBuffer();
    if (!buffer->Open(4, 8192))
        return copy;
    (void)source->WriteBinary(*buffer);
    if (buffer->GetPos() != 0) {
        TFixedFileBuf fixed;
        if (fixed.Open(buffer->GetBuffer(), buffer->GetPos(), 2)) {
            (void)copy->ReadBinary(fixed);
            (void)fixed.Close();
        }
    }
    (void)buffer->Close();
    return copy;
}
