// The adaptor resources. Container importers stream their container through the adapter the
// container format uses; the bank has already read any versioned header in front of the data.
// A binary data file keeps a 32-bit count and the bytes, whatever form the bank opened.
#include "General/Resources/ResourceAdaptors.h"

#include "General/Containers/RootContainer.h"
#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Resources/ResourceManager.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileObj.h"
#include "General/Streams/IOAdapter.h"

namespace {

constexpr uint32_t kContainerVersion = 1;

TError StreamText(TRootContainer *container, TFileObj *file, bool writing) {
    if (container == nullptr || file == nullptr)
        return TError::kFailure;
    TError result = TError::kFailure;
    if (writing) {
        TAsciiOutFilter out;
        if (!out.Open(file))
            return TError::kFailure;
        TIOAdapter adapter(&out);
        result = container->Stream(adapter, false);
        out.CloseLayer();
    } else {
        TAsciiInFilter in;
        if (!in.Open(file))
            return TError::kFailure;
        TIOAdapter adapter(&in);
        result = container->Stream(adapter, false);
        in.CloseLayer();
    }
    return result;
}

TError StreamBinary(TRootContainer *container, TFileObj *file, bool writing) {
    if (container == nullptr || file == nullptr)
        return TError::kFailure;
    TIOAdapter adapter(file, writing);
    return container->Stream(adapter, false);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// TRootContainerImporter

TRootContainerImporterFactory TRootContainerImporter::mFactory;
int TRootContainerImporter::ms_NextKind = TRootContainerImporter::kMakeMap;

namespace {
// After mFactory in this file, so the factory exists when it is registered.
TResourceFactoryRegistration gImporterRegistration(&TRootContainerImporter::mFactory);
} // namespace

TResource *TRootContainerImporterFactory::New() {
    return new TRootContainerImporter;
}

void TRootContainerImporterFactory::Delete(TResource *resource) {
    delete resource;
}

uint32_t TRootContainerImporterFactory::GetID() {
    static const uint32_t id = TResource::StrToID("TRootContainerImporter");
    return id;
}

TStringInt<TDynamicStringAllocationStrategy> TRootContainerImporterFactory::GetName() {
    return "TRootContainerImporter";
}

uint32_t TRootContainerImporterFactory::GetVersion(bool ascii) {
    (void)ascii;
    return kContainerVersion;
}

TRootContainer *TRootContainerImporter::MakeContainer() {
    switch (ms_NextKind) {
    case kMakeMap:
        return new TRootMap;
    case kMakeHash:
        return new TRootHash;
    default:
        return nullptr;
    }
}

TRootContainerImporter::TRootContainerImporter() : m_Container(MakeContainer()), m_Owns(true) {}

TRootContainerImporter::TRootContainerImporter(TRootContainer *container)
    : m_Container(container), m_Owns(false) {}

TRootContainerImporter::~TRootContainerImporter() {
    if (m_Owns)
        delete m_Container;
}

void TRootContainerImporter::New() {
    if (m_Owns)
        delete m_Container;
    m_Container = MakeContainer();
    m_Owns = true;
}

TRootContainer *TRootContainerImporter::Orphan() {
    TRootContainer *container = m_Container;
    m_Container = nullptr;
    m_Owns = false;
    return container;
}

void TRootContainerImporter::Attach(TRootContainer *container) {
    if (m_Owns && m_Container != container)
        delete m_Container;
    m_Container = container;
    m_Owns = false;
}

TError TRootContainerImporter::Reload() {
    return TError::kFailure;
}

TError TRootContainerImporter::LoadAscii(TFileObj *file) {
    return StreamText(m_Container, file, false);
}

TError TRootContainerImporter::SaveAscii(TFileObj *file) {
    return StreamText(m_Container, file, true);
}

TError TRootContainerImporter::LoadBinary(TFileObj *file) {
    return StreamBinary(m_Container, file, false);
}

TError TRootContainerImporter::SaveBinary(TFileObj *file) {
    return StreamBinary(m_Container, file, true);
}

bool TRootContainerImporter::IsValidVersion(uint32_t version, bool ascii) {
    (void)version;
    (void)ascii;
    return false;
}

TRootContainerImporter *TRootContainerImporter::ImportRes(const TString &name, int kind) {
    ms_NextKind = kind;
    if (name.GetLength() == 0)
        return nullptr;
    TResource *resource = GetResourceManager().ImportResource(static_cast<const char *>(name), 0);
    if (resource == nullptr)
        return nullptr;
    // A rule that gives the name another type would hand back some other resource.
    if (resource->GetFactory() != &mFactory) {
        resource->ReleaseRef("TRootContainerImporter");
        return nullptr;
    }
    return static_cast<TRootContainerImporter *>(resource);
}

TRootContainer *TRootContainerImporter::Import(const TString &name, int kind) {
    TRootContainerImporter *importer = ImportRes(name, kind);
    if (importer == nullptr)
        return nullptr;
    TRootContainer *container = importer->Orphan();
    importer->ReleaseRef("TRootContainerImporter");
    return container;
}

void TRootContainerImporter::MergeImport(const TString &name, int kind) {
    TRootContainer *container = Import(name, kind);
    if (container == nullptr)
        return;
    if (container->Size() > 0)
        container->DeleteAll();
    delete container;
}

TRootContainer *TRootContainerImporter::ImportCheckExisting(const TString &name, int kind) {
    TRootContainerBank *bank = TRootContainerBank::GetBank();
    if (bank != nullptr) {
        TRootContainer *existing =
            bank->GetContainer(StrToID(static_cast<const char *>(name)), false);
        if (existing != nullptr)
            return existing;
    }
    return Import(name, kind);
}

// ---------------------------------------------------------------------------------------------
// TRootMapResource

TRootMapResourceFactory TRootMapResource::mFactory;

namespace {
TResourceFactoryRegistration gMapResourceRegistration(&TRootMapResource::mFactory);
} // namespace

TResource *TRootMapResourceFactory::New() {
    return new TRootMapResource;
}

void TRootMapResourceFactory::Delete(TResource *resource) {
    delete resource;
}

uint32_t TRootMapResourceFactory::GetID() {
    static const uint32_t id = TResource::StrToID("TRootMapResource");
    return id;
}

TStringInt<TDynamicStringAllocationStrategy> TRootMapResourceFactory::GetName() {
    return "TRootMapResource";
}

uint32_t TRootMapResourceFactory::GetVersion(bool ascii) {
    (void)ascii;
    return kContainerVersion;
}

TRootMapResource::~TRootMapResource() = default;

TError TRootMapResource::LoadAscii(TFileObj *file) {
    return StreamText(GetRootMap(), file, false);
}

TError TRootMapResource::SaveAscii(TFileObj *file) {
    return StreamText(GetRootMap(), file, true);
}

TError TRootMapResource::LoadBinary(TFileObj *file) {
    return StreamBinary(GetRootMap(), file, false);
}

TError TRootMapResource::SaveBinary(TFileObj *file) {
    return StreamBinary(GetRootMap(), file, true);
}

bool TRootMapResource::IsValidVersion(uint32_t version, bool ascii) {
    (void)version;
    (void)ascii;
    return true;
}

// ---------------------------------------------------------------------------------------------
// TBinaryDataFile

TBinaryDataFileFactory TBinaryDataFile::mFactory;

namespace {
TResourceFactoryRegistration gBinaryDataRegistration(&TBinaryDataFile::mFactory);
} // namespace

TResource *TBinaryDataFileFactory::New() {
    return new TBinaryDataFile;
}

void TBinaryDataFileFactory::Delete(TResource *resource) {
    delete resource;
}

uint32_t TBinaryDataFileFactory::GetID() {
    static const uint32_t id = TResource::StrToID("TBinaryDataFile");
    return id;
}

TStringInt<TDynamicStringAllocationStrategy> TBinaryDataFileFactory::GetName() {
    return "TBinaryDataFile";
}

uint32_t TBinaryDataFileFactory::GetVersion(bool ascii) {
    (void)ascii;
    return 0;
}

TBinaryDataFile::~TBinaryDataFile() {
    m_Data.Unallocate();
}

bool TBinaryDataFile::SetData(const void *bytes, int size) {
    m_Data.Unallocate();
    m_Size = 0;
    if (size <= 0)
        return size == 0;
    m_Data.WriteN(static_cast<const unsigned char *>(bytes), size);
    if (m_Data.GetPos() != size) {
        m_Data.Unallocate();
        return false;
    }
    m_Size = size;
    m_Data.SetPos(0);
    return true;
}

TError TBinaryDataFile::Load(TFileObj *file) {
    m_Data.Unallocate();
    m_Size = 0;
    if (file == nullptr)
        return TError::kFailure;
    const int before = file->GetPos();
    if (!m_Data.Load(file)) {
        m_Data.Unallocate();
        return TError::kFailure;
    }
    // The count and the bytes behind it: what the file position moved by, less the count.
    m_Size = m_Data.HasBuffer() ? file->GetPos() - before - 4 : 0;
    m_Data.SetPos(0);
    return TError::kSuccess;
}

TError TBinaryDataFile::LoadAscii(TFileObj *file) {
    return Load(file);
}

TError TBinaryDataFile::LoadBinary(TFileObj *file) {
    return Load(file);
}

TError TBinaryDataFile::SaveBinary(TFileObj *file) {
    if (file == nullptr)
        return TError::kFailure;
    // The buffer saves up to its cursor: put it behind the bytes held.
    m_Data.SetPos(m_Size);
    const bool ok = m_Data.Save(file);
    m_Data.SetPos(0);
    return ok ? TError::kSuccess : TError::kFailure;
}

bool TBinaryDataFile::IsValidVersion(uint32_t version, bool ascii) {
    (void)version;
    (void)ascii;
    return true;
}
