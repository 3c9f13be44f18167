// Persistent references: null after the object's deletion, both stream forms (null included)
// and copies made through an object's binary stream.
#include "General/Containers/RootObjectRef.h"

#include <string>

#include <gtest/gtest.h>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootMap.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileBuf.h"
#include "Support/ContainerItems.h"

namespace {

using vlib::test::MakeItem;
using vlib::test::TTestItem;

class TRegisteredMap : public TRootMap {
public:
    explicit TRegisteredMap(const char *identifier) {
        GetRootContainerBank();
        SetIdentifier(identifier);
        RegisterMe();
    }
    ~TRegisteredMap() override { DeRegisterMe(); }
};

TEST(RootObjectRef, TurnsNullOnceTheObjectIsGone) {
    TRootMap map;
    auto *item = MakeItem(1, "a");
    map.AddObject(item);
    TRootObjectPtrBase ref(item);
    EXPECT_EQ(ref.Get(), item);
    item->Delete();
    EXPECT_EQ(ref.Get(), nullptr);
    EXPECT_EQ(ref.GetContainer(), nullptr);
    EXPECT_EQ(ref.GetID(), -1);
    // A new object under the old id is not found through the cleared reference.
    map.AddObject(MakeItem(2, "b"));
    EXPECT_EQ(ref.Get(), nullptr);
}

TEST(RootObjectRef, StreamsInBinaryAndText) {
    TRegisteredMap map("RefTestMap");
    auto *item = MakeItem(1, "a");
    map.AddObject(item);
    map.AddObject(MakeItem(2, "b"));
    struct Case {
        const char *name;
        TRootObject *target;
    };
    const Case kCases[] = {{"object", map.GetObject(1)}, {"null", nullptr}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TRootObjectRefBase ref(c.target);

        TManagedFileBuf binary;
        ASSERT_TRUE(binary.Open(4, 0));
        ASSERT_TRUE(ref.WriteBinary(binary));
        ASSERT_EQ(binary.GetPos(), 8);
        const unsigned char *b = binary.GetBuffer();
        const uint32_t containerWord = b[0] | b[1] << 8 | b[2] << 16 | uint32_t(b[3]) << 24;
        EXPECT_EQ(containerWord, c.target ? map.GetContainerID() : 0xFFFFFFFFu);
        TFixedFileBuf in;
        ASSERT_TRUE(in.Open(binary.GetBuffer(), 8, 2));
        TRootObjectRefBase back;
        ASSERT_TRUE(back.ReadBinary(in));
        EXPECT_EQ(back.Get(), c.target);
        EXPECT_EQ(back.GetID(), c.target ? 1 : -1);

        TManagedFileBuf textFile;
        ASSERT_TRUE(textFile.Open(4, 0));
        TAsciiOutFilter out;
        ASSERT_TRUE(out.Open(&textFile));
        ASSERT_TRUE(ref.WriteAscii(out, "Target"));
        out.CloseLayer();
        const std::string text(reinterpret_cast<char *>(textFile.GetBuffer()),
                               static_cast<size_t>(textFile.GetPos()));
        EXPECT_NE(text.find(c.target ? "ContainerID=RefTestMap" : "ContainerID=NULL"),
                  std::string::npos)
            << text;
        EXPECT_NE(text.find(c.target ? "Target=1" : "Target=-1"), std::string::npos) << text;
        TFixedFileBuf textIn;
        ASSERT_TRUE(textIn.Open(textFile.GetBuffer(), textFile.GetPos(), 2));
        TAsciiInFilter reader;
        ASSERT_TRUE(reader.Open(&textIn));
        TRootObjectRefBase fromText(map.GetObject(2));
        ASSERT_TRUE(fromText.ReadAscii(reader, "Target"));
        EXPECT_EQ(fromText.Get(), c.target);
    }
}

TEST(RootObjectRef, MakeCopyStreamsTheSourceIntoANewObject) {
    TRootMap map;
    auto *item = MakeItem(5, "copy me", 3);
    map.AddObject(item);
    auto *copy = static_cast<TTestItem *>(TRootObject::MakeCopy(item));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, item);
    EXPECT_EQ(copy->Value, 5);
    EXPECT_STREQ(copy->Name.GetData(), "copy me");
    EXPECT_EQ(copy->Other, 3);
    EXPECT_EQ(copy->GetID(), TRootObject::kNewID);
    EXPECT_EQ(copy->GetContainer(), nullptr);
    EXPECT_EQ(copy->AfterLoadCalls, 0);
    copy->Delete();
}

} // namespace
