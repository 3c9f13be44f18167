// Tests of the adaptor resources on files directly: what container an importer makes and who
// owns it, container round trips through both forms for both container resources, and the
// byte block of a binary data file.
#include "General/Resources/ResourceAdaptors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Containers/RootMap.h"
#include "General/Resources/ResourceManager.h"
#include "General/Streams/FileBuf.h"
#include "Support/ContainerItems.h"
#include "Support/TempDir.h"

namespace {

using vlib::test::MakeItem;
using vlib::test::TTestItem;

// Restores the importer's next kind, which every import operation changes.
class TNextKindGuard {
public:
    TNextKindGuard() : m_Kind(TRootContainerImporter::GetNextKind()) {}
    ~TNextKindGuard() { TRootContainerImporter::SetNextKind(m_Kind); }

private:
    int m_Kind;
};

// A map that says when it is destroyed.
class TWatchedMap : public TRootMap {
public:
    explicit TWatchedMap(bool &destroyed) : m_Destroyed(destroyed) { m_Destroyed = false; }
    ~TWatchedMap() override { m_Destroyed = true; }

private:
    bool &m_Destroyed;
};

// A map that can be told to take in the objects of files with its identifier.
class TMergingMap : public TRootMap {
public:
    using TRootContainer::SetMergeOnLoad;
};

void Fill(TRootContainer &container) {
    container.AddObject(MakeItem(10, "first", 1, 0.5f));
    container.AddObject(MakeItem(-3, "second", 0));
    container.AddObject(MakeItem(7, "third"));
}

std::vector<std::string> Names(TRootContainer &container) {
    std::vector<std::string> names;
    for (int id = 0; id < 8; ++id)
        if (auto *item = dynamic_cast<TTestItem *>(container.GetObject(id)))
            names.push_back(std::string(static_cast<const char *>(item->Name)) + ":" +
                            std::to_string(item->Value) + ":" + std::to_string(item->Other));
    return names;
}

// Rewinds a managed file for reading what was written to it.
void Rewind(TManagedFileBuf &file) {
    file.Close();
    ASSERT_TRUE(file.Open(2, 0));
}

TEST(RootContainerImporter, MakesTheContainerOfTheNextKind) {
    TNextKindGuard guard;
    struct Case {
        int kind;
        int type; // -1: no container
    };
    constexpr Case kCases[] = {{0, 0}, {1, 1}, {2, -1}, {-1, -1}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.kind);
        TRootContainerImporter::SetNextKind(c.kind);
        TRootContainerImporter importer;
        EXPECT_TRUE(importer.OwnsContainer());
        if (c.type < 0) {
            EXPECT_EQ(importer.Expose(), nullptr);
            TManagedFileBuf file;
            ASSERT_TRUE(file.Open(4, 0));
            EXPECT_FALSE(importer.SaveBinary(&file));
            EXPECT_FALSE(importer.LoadAscii(&file));
        } else {
            ASSERT_NE(importer.Expose(), nullptr);
            EXPECT_EQ(importer.Expose()->GetType(), c.type);
        }
        importer.New(); // replaces an owned container by one of the same kind
        EXPECT_EQ(importer.Expose() == nullptr, c.type < 0);
        EXPECT_FALSE(importer.Reload());
        EXPECT_FALSE(importer.IsValidVersion(1, true));
        EXPECT_EQ(importer.GetFactory(), &TRootContainerImporter::mFactory);
    }
}

TEST(RootContainerImporter, OrphanAndAttachDecideWhoDeletes) {
    TNextKindGuard guard;
    bool ownedGone = false;
    bool attachedGone = false;
    TWatchedMap *attached = new TWatchedMap(attachedGone);
    {
        TRootContainerImporter importer(new TWatchedMap(ownedGone));
        EXPECT_FALSE(importer.OwnsContainer());
        TRootContainer *first = importer.Orphan();
        EXPECT_EQ(importer.Expose(), nullptr);
        importer.Attach(first);
        importer.New(); // an attached container is not the importer's to delete
        EXPECT_FALSE(ownedGone);
        delete first;
        EXPECT_TRUE(ownedGone);

        importer.Attach(attached); // deletes the map New made
        EXPECT_EQ(importer.Expose(), attached);
    }
    EXPECT_FALSE(attachedGone);
    delete attached;
    EXPECT_TRUE(attachedGone);

    TRootContainer *kept = nullptr;
    {
        TRootContainerImporter::SetNextKind(TRootContainerImporter::kMakeHash);
        TRootContainerImporter importer;
        kept = importer.Orphan();
        EXPECT_FALSE(importer.OwnsContainer());
    }
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->Size(), 0); // still alive after the importer's end
    delete kept;
}

TEST(ResourceAdaptors, ContainerResourcesRoundTripInBothForms) {
    TNextKindGuard guard;
    TRootContainerBank bank; // a loaded container registers under the file's identifier
    struct Case {
        const char *name;
        bool mapResource;
        bool text;
    };
    constexpr Case kCases[] = {{"importer binary", false, false},
                               {"importer text", false, true},
                               {"map resource binary", true, false},
                               {"map resource text", true, true}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TRootContainerImporter::SetNextKind(TRootContainerImporter::kMakeHash);
        TRootContainerImporter importer;
        TRootMapResource mapResource;
        TResource &source = c.mapResource ? static_cast<TResource &>(mapResource) : importer;
        TRootContainer &filled =
            c.mapResource ? static_cast<TRootContainer &>(mapResource) : *importer.Expose();
        Fill(filled);
        filled.SetIdentifier(c.name);
        TManagedFileBuf file;
        ASSERT_TRUE(file.Open(4, 0));
        ASSERT_TRUE(c.text ? source.SaveAscii(&file) : source.SaveBinary(&file));
        ASSERT_GT(file.Length(), 0);
        Rewind(file);

        TRootContainerImporter::SetNextKind(TRootContainerImporter::kMakeMap);
        TRootContainerImporter readImporter;
        TRootMapResource readMap;
        TResource &target = c.mapResource ? static_cast<TResource &>(readMap) : readImporter;
        TRootContainer &read =
            c.mapResource ? static_cast<TRootContainer &>(readMap) : *readImporter.Expose();
        ASSERT_TRUE(c.text ? target.LoadAscii(&file) : target.LoadBinary(&file));
        EXPECT_EQ(read.Size(), 3);
        EXPECT_EQ(Names(read), Names(filled));
        EXPECT_EQ(bank.GetContainer(TResource::StrToID(c.name)), &read);

        // A file cut in half fails the load.
        TManagedFileBuf cut;
        ASSERT_TRUE(cut.Open(4, 0));
        ASSERT_TRUE(cut.Write(file.GetBuffer(), file.Length() / 2));
        Rewind(cut);
        TRootMapResource broken;
        EXPECT_FALSE(c.text ? broken.LoadAscii(&cut) : broken.LoadBinary(&cut));
    }
}

TEST(ResourceAdaptors, FactoriesNameTheirTypes) {
    struct Case {
        TResourceFactory *factory;
        const char *name;
        bool versionedSource;
    };
    const Case kCases[] = {
        {&TRootContainerImporter::mFactory, "TRootContainerImporter", true},
        {&TRootMapResource::mFactory, "TRootMapResource", true},
        {&TBinaryDataFile::mFactory, "TBinaryDataFile", false},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(static_cast<const char *>(c.factory->GetName()), c.name);
        EXPECT_EQ(c.factory->GetID(), TResource::StrToID(c.name));
        EXPECT_EQ(c.factory->HasVersionedSource(), c.versionedSource);
        EXPECT_EQ(TResourceFactoryRegistry::Find(c.factory->GetID()), c.factory);
        TResource *made = c.factory->New();
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->GetFactory(), c.factory);
        EXPECT_EQ(made->GetRefCount(), 1u);
        EXPECT_EQ(made->ReleaseRef(), nullptr); // the last reference deletes it
    }
}

TEST(BinaryDataFile, SavesEveryByteItLoaded) {
    // Sizes around the growth steps of the block, and one far above 45,760 bytes.
    const int kSizes[] = {0, 1, 255, 256, 257, 45760, 70000};
    for (int size : kSizes) {
        SCOPED_TRACE(size);
        std::vector<unsigned char> bytes(static_cast<size_t>(size));
        for (int i = 0; i < size; ++i)
            bytes[static_cast<size_t>(i)] = static_cast<unsigned char>(i * 7 + size);
        TBinaryDataFile written;
        ASSERT_TRUE(written.SetData(bytes.data(), size));
        TManagedFileBuf file;
        ASSERT_TRUE(file.Open(4, 0));
        ASSERT_TRUE(written.SaveBinary(&file));
        ASSERT_EQ(file.Length(), 4 + size);
        Rewind(file);

        TBinaryDataFile read;
        ASSERT_TRUE(read.LoadBinary(&file));
        ASSERT_EQ(read.GetSize(), size);
        EXPECT_EQ(read.GetData().GetPos(), 0);
        if (size > 0)
            EXPECT_EQ(std::vector<unsigned char>(read.GetBytes(), read.GetBytes() + size), bytes);

        // Saved again, the loaded file gives the same bytes.
        TManagedFileBuf again;
        ASSERT_TRUE(again.Open(4, 0));
        ASSERT_TRUE(read.SaveBinary(&again));
        ASSERT_EQ(again.Length(), file.Length());
        EXPECT_EQ(std::vector<unsigned char>(again.GetBuffer(), again.GetBuffer() + again.Length()),
                  std::vector<unsigned char>(file.GetBuffer(), file.GetBuffer() + file.Length()));

        // The text load reads the same form.
        Rewind(file);
        TBinaryDataFile text;
        ASSERT_TRUE(text.LoadAscii(&file));
        EXPECT_EQ(text.GetSize(), size);
    }
}

TEST(BinaryDataFile, RefusesShortFilesWithoutLeaking) {
    TBinaryDataFile written;
    const char text[] = "twenty bytes of data";
    ASSERT_TRUE(written.SetData(text, 20));
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    ASSERT_TRUE(written.SaveBinary(&file));
    for (int length = 0; length < file.Length(); ++length) {
        SCOPED_TRACE(length);
        std::vector<unsigned char> cut(file.GetBuffer(), file.GetBuffer() + length);
        cut.push_back(0); // a fixed buffer needs a block
        TFixedFileBuf in;
        ASSERT_TRUE(in.Open(cut.data(), length, 2));
        TBinaryDataFile read;
        EXPECT_FALSE(read.LoadBinary(&in));
        EXPECT_EQ(read.GetSize(), 0);
    }
    const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
        Rewind(file);
        TBinaryDataFile read;
        return static_cast<bool>(read.LoadBinary(&file)) && read.GetSize() == 20;
    });
    EXPECT_GT(attempts, 1);
}

// Container files found and loaded through the manager: a directory bank whose ".rc" files
// are container importers.
class ResourceAdaptorsImportTest : public testing::Test {
protected:
    void SetUp() override {
        TResourceManager_I &manager = GetResourceManager();
        ASSERT_TRUE(manager.AddFactory(&TRootContainerImporter::mFactory));
        manager.SetUseSourceResources(true);
        manager.SetStoreAutocompiledResources(false);
        std::ofstream(m_Dir.File("rules.rre"))
            << "PATHRULE \"...<*>.rc\" tag=\"$1\" type=\"TRootContainerImporter\"\n";
        std::filesystem::create_directories(m_Dir.File("tree"));
        WriteContainer("parts", 3);
        WriteContainer("extra", 2);
        ASSERT_NE(manager.OpenBank(0, m_Dir.File("tree").c_str(), m_Dir.File("rules.rre").c_str(),
                                   true, TDynamicString()),
                  nullptr);
    }
    void TearDown() override {
        TResourceManager_I &manager = GetResourceManager();
        while (manager.GetNumBanks() > 0)
            manager.CloseBank(manager.GetBank(0));
        (void)manager.RemoveFactory(&TRootContainerImporter::mFactory);
    }
    // A text container file of `count` items whose identifier is its tag.
    void WriteContainer(const char *tag, int count) {
        TRootMap map;
        map.SetIdentifier(tag);
        for (int i = 0; i < count; ++i)
            map.AddObject(MakeItem(i, tag));
        const std::string path = m_Dir.File("tree/" + std::string(tag) + ".rc");
        ASSERT_TRUE(map.Save(path.c_str(), TRootContainer::FormatText, false));
    }

    TNextKindGuard m_KindGuard;
    TRootContainerBank m_ContainerBank;
    vlib::test::TTempDir m_Dir;
};

TEST_F(ResourceAdaptorsImportTest, ImportHandsOverAFreshContainerOfTheAskedKind) {
    struct Case {
        int kind;
        int type;
    };
    constexpr Case kCases[] = {{TRootContainerImporter::kMakeMap, 0},
                               {TRootContainerImporter::kMakeHash, 1},
                               {TRootContainerImporter::kMakeMap, 0}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.kind);
        TRootContainer *container = TRootContainerImporter::Import("parts", c.kind);
        ASSERT_NE(container, nullptr);
        EXPECT_EQ(container->GetType(), c.type);
        EXPECT_EQ(container->Size(), 3);
        // The importer is gone: nothing in the resource system holds the file any more.
        EXPECT_FALSE(GetResourceManager().IsResourceLoaded(TResource::StrToID("parts")));
        EXPECT_EQ(m_ContainerBank.GetContainer(TResource::StrToID("parts")), container);
        delete container; // leaves the container bank, so the next import can register
    }
}

TEST_F(ResourceAdaptorsImportTest, FailuresGiveNullAndStillSetTheKind) {
    struct Case {
        const char *name;
        int kind;
    };
    constexpr Case kCases[] = {{"", 5}, {"missing", 1}, {"", 0}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(TRootContainerImporter::ImportRes(c.name, c.kind), nullptr);
        EXPECT_EQ(TRootContainerImporter::GetNextKind(), c.kind);
        EXPECT_EQ(TRootContainerImporter::Import(c.name, c.kind), nullptr);
        EXPECT_EQ(TRootContainerImporter::ImportCheckExisting(c.name, c.kind), nullptr);
        TRootContainerImporter::MergeImport(c.name, c.kind); // does nothing
    }
    // A file whose container identifier is taken by a container that does not merge.
    TRootMap holder;
    m_ContainerBank.Register(&holder, "parts");
    EXPECT_EQ(TRootContainerImporter::Import("parts", 0), nullptr);
    m_ContainerBank.DeRegister(&holder);
}

TEST_F(ResourceAdaptorsImportTest, ImportResKeepsTheImporterAndCheckExistingReuses) {
    TRootContainerImporter *importer = TRootContainerImporter::ImportRes("extra", 1);
    ASSERT_NE(importer, nullptr);
    EXPECT_EQ(importer->GetAsyncState(), AS_Loaded);
    ASSERT_NE(importer->Expose(), nullptr);
    EXPECT_EQ(importer->Expose()->Size(), 2);
    TRootContainer *registered = importer->Expose();

    // Registered under the name: returned as it is, without an import, the kind unchanged.
    TRootContainerImporter::SetNextKind(0);
    EXPECT_EQ(TRootContainerImporter::ImportCheckExisting("extra", 1), registered);
    EXPECT_EQ(TRootContainerImporter::GetNextKind(), 0);
    importer->ReleaseRef();

    TRootContainer *loaded = TRootContainerImporter::ImportCheckExisting("extra", 1);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->GetType(), 1);
    delete loaded;
}

TEST_F(ResourceAdaptorsImportTest, MergeImportFillsTheRegisteredContainer) {
    TMergingMap target;
    target.SetMergeOnLoad(true);
    m_ContainerBank.Register(&target, "parts");
    TRootContainerImporter::MergeImport("parts", 0);
    EXPECT_EQ(target.Size(), 3);
    EXPECT_EQ(Names(target), (std::vector<std::string>{"parts:0:-1", "parts:1:-1", "parts:2:-1"}));
    EXPECT_FALSE(GetResourceManager().IsResourceLoaded(TResource::StrToID("parts")));
    m_ContainerBank.DeRegister(&target);

    // With the identifier free the objects land in the temporary container, which goes.
    TRootContainerImporter::MergeImport("parts", 0);
    EXPECT_EQ(m_ContainerBank.GetContainer(TResource::StrToID("parts")), nullptr);
}

} // namespace
