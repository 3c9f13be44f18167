// Tests of the adaptor resources on files directly: what container an importer makes and who
// owns it, container round trips through both forms for both container resources, and the
// byte block of a binary data file.
#include "General/Resources/ResourceAdaptors.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Containers/RootMap.h"
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

} // namespace
