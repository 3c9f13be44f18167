// Resources that carry data of other kinds through the resource system: a root container
// file imported by name (TRootContainerImporter), a container that stays in the system as a
// resource (TRootMapResource), and a file kept as raw bytes (TBinaryDataFile).
#pragma once

#include <cstdint>

#include "General/Containers/RootMap.h"
#include "General/Core/Export.h"
#include "General/Core/StringInt.h"
#include "General/Resources/Resource.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Streams/StreamBuffer.h"

class TRootContainer;

/// The factory of TRootContainerImporter.
class VLIB_API TRootContainerImporterFactory : public TResourceFactory {
public:
    TResource *New() override;
    void Delete(TResource *resource) override;
    uint32_t GetID() override;
    TStringInt<TDynamicStringAllocationStrategy> GetName() override;
    uint32_t GetVersion(bool ascii) override;
    bool HasVersionedSource() override { return true; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return true; }
    bool HasDependencies() override { return false; }
};

/// A short-lived resource around a root container, so container files can be found, loaded
/// and compiled by the resource system. Clients import a file by name and keep the container.
class VLIB_API TRootContainerImporter : public TResource {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;
    /// Kinds of container the next importer makes.
    static constexpr int kMakeMap = 0;
    static constexpr int kMakeHash = 1;

    static TRootContainerImporterFactory mFactory;

    /// Imports `name` synchronously and returns the importer with the import's reference;
    /// null for an empty name or a failed import. `kind` says what container a new importer
    /// makes.
    static TRootContainerImporter *ImportRes(const TString &name, int kind);
    /// As ImportRes, then takes the container out of the importer and releases it; the
    /// container belongs to the caller. Null on failure.
    static TRootContainer *Import(const TString &name, int kind);
    /// Imports for the side effect on a container registered to merge on load, then empties
    /// and deletes the temporary container.
    static void MergeImport(const TString &name, int kind);
    /// The registered container of the name's id if there is one, otherwise as Import.
    static TRootContainer *ImportCheckExisting(const TString &name, int kind);
    /// The kind the next importer is made with.
    static int GetNextKind() { return ms_NextKind; }
    static void SetNextKind(int kind) { ms_NextKind = kind; }

    /// Makes a container of the next kind, owned.
    TRootContainerImporter();
    /// Wraps `container` without owning it.
    explicit TRootContainerImporter(TRootContainer *container);
    /// Copies both fields as they stand: only one of the two may be left owning.
    TRootContainerImporter(const TRootContainerImporter &other) = default;
    TRootContainerImporter &operator=(const TRootContainerImporter &other) = default;
    /// Deletes the container if owned.
    ~TRootContainerImporter() override;

    /// Replaces the container by a new one of the next kind, deleting an owned one first.
    void New();
    /// Gives up the container: the caller takes it, the importer holds none.
    TRootContainer *Orphan();
    /// Wraps `container` without owning it, deleting an owned one first.
    void Attach(TRootContainer *container);
    /// The container, which stays with the importer.
    TRootContainer *Expose() const { return m_Container; }
    bool OwnsContainer() const { return m_Owns; }
    /// Importers cannot be reloaded in place: always the general failure.
    TError Reload();

    TError LoadAscii(TFileObj *file) override;
    TError SaveAscii(TFileObj *file) override;
    TError LoadBinary(TFileObj *file) override;
    TError SaveBinary(TFileObj *file) override;
    /// Always false.
    bool IsValidVersion(uint32_t version, bool ascii) override;
    TResourceFactory *GetFactory() override { return &mFactory; }

private:
    /// A new container of the next kind; null for other kinds.
    static TRootContainer *MakeContainer();

    static int ms_NextKind;
    TRootContainer *m_Container = nullptr; // owned when m_Owns
    bool m_Owns = false;
};

/// The factory of TRootMapResource.
class VLIB_API TRootMapResourceFactory : public TResourceFactory {
public:
    TResource *New() override;
    void Delete(TResource *resource) override;
    uint32_t GetID() override;
    TStringInt<TDynamicStringAllocationStrategy> GetName() override;
    uint32_t GetVersion(bool ascii) override;
    bool HasVersionedSource() override { return true; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return true; }
    bool HasDependencies() override { return false; }
};

/// A root map that is also a resource, for a container that stays in the resource system
/// with a reference count.
class VLIB_API TRootMapResource : public TResource, public TRootMap {
public:
    // Both bases bring the library's allocation operators; one set is enough.
    using TResource::operator new;
    using TResource::operator delete;

    static TRootMapResourceFactory mFactory;

    TRootMapResource() = default;
    TRootMapResource(const TRootMapResource &) = delete;
    TRootMapResource &operator=(const TRootMapResource &) = delete;
    ~TRootMapResource() override;

    TRootMap *GetRootMap() { return this; }

    TError LoadAscii(TFileObj *file) override;
    TError SaveAscii(TFileObj *file) override;
    TError LoadBinary(TFileObj *file) override;
    TError SaveBinary(TFileObj *file) override;
    /// Always true.
    bool IsValidVersion(uint32_t version, bool ascii) override;
    TResourceFactory *GetFactory() override { return &mFactory; }
};

/// The factory of TBinaryDataFile.
class VLIB_API TBinaryDataFileFactory : public TResourceFactory {
public:
    TResource *New() override;
    void Delete(TResource *resource) override;
    uint32_t GetID() override;
    TStringInt<TDynamicStringAllocationStrategy> GetName() override;
    uint32_t GetVersion(bool ascii) override;
    bool HasVersionedSource() override { return false; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return true; }
    bool HasDependencies() override { return false; }
};

/// A file kept as a block of bytes: a 32-bit count, then the bytes.
class VLIB_API TBinaryDataFile : public TResource {
public:
    static TBinaryDataFileFactory mFactory;

    TBinaryDataFile() = default;
    TBinaryDataFile(const TBinaryDataFile &) = delete;
    TBinaryDataFile &operator=(const TBinaryDataFile &) = delete;
    /// Frees the block.
    ~TBinaryDataFile() override;

    /// The bytes, cursor at their start.
    TStreamBuffer &GetData() { return m_Data; }
    const unsigned char *GetBytes() const { return m_Data.GetBuffer(); }
    int GetSize() const { return m_Size; }
    /// Replaces the bytes by a copy of `size` bytes at `bytes`; false when memory runs out.
    bool SetData(const void *bytes, int size);

    /// Both forms read the count and the bytes.
    TError LoadAscii(TFileObj *file) override;
    TError LoadBinary(TFileObj *file) override;
    /// Writes the count and all the bytes that were loaded or set.
    TError SaveBinary(TFileObj *file) override;
    bool IsValidVersion(uint32_t version, bool ascii) override;
    TResourceFactory *GetFactory() override { return &mFactory; }

private:
    TError Load(TFileObj *file);

    TStreamBuffer m_Data;
    int m_Size = 0; // bytes held, from the start of the block
};
