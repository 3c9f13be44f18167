// Container files: round trips in the three forms, the layout of the binary form, merges,
// order-last classes, multi-file loads with references across files, and bad input.
#include "General/Containers/RootContainer.h"

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Containers/RootMap.h"
#include "General/Streams/ChecksumFilter.h"
#include "General/Streams/IOAdapter.h"
#include "Support/ContainerItems.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

using vlib::test::MakeItem;
using vlib::test::TTempDir;
using vlib::test::TTestItem;
using vlib::test::TTestLateItem;
using TString = TRootContainer::TString;

std::string ReadAll(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteAll(const std::string &path, const std::string &bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/// A container whose destruction leaves the bank as it found it.
template <class Store> class TScopedStore : public Store {
public:
    explicit TScopedStore(const char *identifier) { this->SetIdentifier(identifier); }
    ~TScopedStore() override { this->DeRegisterMe(); }
    using Store::OrderLast;
    using Store::SetIdMap;
    using Store::SetMergeOnLoad;
};

class RootContainer : public ::testing::Test {
protected:
    void SetUp() override {
        GetRootContainerBank();
        TTestItem::ReadFailure = 0;
    }
    void TearDown() override {
        TRootContainer::TickCallback = nullptr;
        TRootContainer::ReportCallback = nullptr;
        TTestItem::ReadFailure = 0;
    }
    std::string Path(const char *name) const { return m_Dir.File(name); }
    TTempDir m_Dir;
};

/// Fills a container with a few objects that refer to each other.
void Fill(TRootContainer &container) {
    container.AddObject(MakeItem(7, "seven"));
    container.AddObject(MakeItem(-3, "with spaces and = sign", 0));
    auto *late = new TTestLateItem;
    late->Value = 42;
    late->Name = "";
    late->Other = 1;
    container.AddObject(late);
}

void ExpectSameItems(TRootContainer &expected, TRootContainer &actual) {
    ASSERT_EQ(expected.Size(), actual.Size());
    for (expected.ResetCursor(); expected.GetCursor() != nullptr; expected.NextCursor()) {
        auto *want = static_cast<TTestItem *>(expected.GetCursor());
        auto *got = static_cast<TTestItem *>(actual.GetObject(want->GetID()));
        ASSERT_NE(got, nullptr) << "id " << want->GetID();
        EXPECT_EQ(got->GetRuntimeClass(), want->GetRuntimeClass());
        EXPECT_EQ(got->Value, want->Value);
        EXPECT_STREQ(got->Name.GetData(), want->Name.GetData());
        EXPECT_EQ(got->Other, want->Other);
        EXPECT_EQ(got->GetContainer(), &actual);
        EXPECT_EQ(got->AfterLoadCalls, 1);
    }
}

TEST_F(RootContainer, RoundTripsAreByteStableInEveryForm) {
    struct Case {
        int format;
        const char *name;
    };
    constexpr Case kCases[] = {{0, "binary"}, {1, "text"}, {2, "deflate"}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TScopedStore<TRootMap> source("RoundTrip");
        Fill(source);
        const std::string first = Path("first"), second = Path("second");
        ASSERT_TRUE(source.Save(first.c_str(), c.format, false));

        TScopedStore<TRootHash> loaded("");
        ASSERT_TRUE(loaded.Load(first.c_str(), c.format, false));
        EXPECT_STREQ(loaded.GetIdentifier().GetData(), "RoundTrip");
        ExpectSameItems(source, loaded);

        // The hash walks in another order, so save the reloaded objects from a map again.
        TScopedStore<TRootMap> again("");
        loaded.DeRegisterMe();
        ASSERT_TRUE(again.Load(first.c_str(), c.format, false));
        ASSERT_TRUE(again.Save(second.c_str(), c.format, false));
        EXPECT_EQ(ReadAll(first), ReadAll(second));
    }
}

TEST_F(RootContainer, LargeStoresSaveEveryObject) {
    // Enough objects for the hashed store to grow many times and for the save's gathered
    // list to be megabytes long.
    constexpr int kCount = 70000;
    TScopedStore<TRootHash> source("Large");
    testing::internal::CaptureStdout(); // the table's growth messages
    for (int i = 0; i < kCount; ++i)
        source.AddObject(MakeItem(i * 3, i % 2 == 0 ? "even" : "odd", (i * 7) % kCount));
    const std::string path = Path("large");
    ASSERT_TRUE(source.Save(path.c_str(), 0, false));
    source.DeRegisterMe();
    TScopedStore<TRootMap> loaded("");
    ASSERT_TRUE(loaded.Load(path.c_str(), 0, false));
    (void)testing::internal::GetCapturedStdout();
    ExpectSameItems(source, loaded);
}

TEST_F(RootContainer, BinaryLayoutListsHeadersBeforePayloads) {
    TScopedStore<TRootMap> source("AB");
    source.AddObject(MakeItem(5, "x"));
    const std::string path = Path("layout");
    ASSERT_TRUE(source.Save(path.c_str(), 0, false));
    const std::string bytes = ReadAll(path);
    auto word = [&bytes](size_t at) {
        uint32_t v = 0;
        for (int i = 3; i >= 0; --i)
            v = (v << 8) | static_cast<unsigned char>(bytes[at + i]);
        return v;
    };
    const uint32_t classID = TTestItem::GetRuntimeClassStatic()->GetID();
    EXPECT_EQ(word(0), 1u); // count
    EXPECT_EQ(word(4), 2u); // identifier length
    EXPECT_EQ(bytes.substr(8, 2), "AB");
    EXPECT_EQ(word(10), 1u);      // section 1
    EXPECT_EQ(word(14), 0u);      // position
    EXPECT_EQ(word(18), classID); // class
    EXPECT_EQ(word(22), 0u);      // id
    EXPECT_EQ(word(26), 2u);      // section 2
    EXPECT_EQ(word(30), classID);
    EXPECT_EQ(word(34), 0u);
    EXPECT_EQ(word(38), 5u); // payload: value, weight, name, other
    EXPECT_EQ(word(42), 0u);
    EXPECT_EQ(word(46), 1u);
    EXPECT_EQ(bytes.size(), 38u + 4 + 4 + 4 + 1 + 4);
}

TEST_F(RootContainer, TrackedSavesWriteTheSameBytes) {
    // A tracker that counts bytes by field name sees the container's own fields too, which
    // takes the save off its record-at-a-time path; the file must not change with it.
    for (int format : {0, 2}) {
        SCOPED_TRACE(format);
        TScopedStore<TRootHash> source("Tracked");
        Fill(source);
        source.OrderLast({TTestLateItem::GetRuntimeClassStatic()});
        const std::string plain = Path("plain"), tracked = Path("tracked");
        ASSERT_TRUE(source.Save(plain.c_str(), format, false));
        TRootTrack track;
        TRootTrack::GlobalTrack = &track;
        const bool saved = static_cast<bool>(source.Save(tracked.c_str(), format, false));
        TRootTrack::GlobalTrack = nullptr;
        ASSERT_TRUE(saved);
        EXPECT_EQ(ReadAll(plain), ReadAll(tracked));
        const auto &entries = track.GetEntries();
        EXPECT_EQ(entries.at("ObjectNum"), 3 * 4);
        EXPECT_EQ(entries.at("TypeID"), 3 * 4);
        EXPECT_EQ(entries.at("UniqueID"), 2 * 3 * 4);
    }
}

TEST_F(RootContainer, EmptyAndAllSkippedContainersWriteNoRecords) {
    class TSkipAll : public TScopedStore<TRootMap> {
    public:
        TSkipAll() : TScopedStore<TRootMap>("Skip") {}
        bool SkipObject(TRootObject *) override { return true; }
    };
    TScopedStore<TRootMap> empty("Skip");
    TSkipAll skipping;
    skipping.AddObject(MakeItem(1, "a"));
    const std::string a = Path("empty"), b = Path("skipped");
    ASSERT_TRUE(empty.Save(a.c_str(), 0, false));
    ASSERT_TRUE(skipping.Save(b.c_str(), 0, false));
    EXPECT_EQ(ReadAll(a), ReadAll(b));
    EXPECT_EQ(ReadAll(a).size(), 4u + 4 + 4 + 4 + 4);
    TScopedStore<TRootMap> loaded("");
    EXPECT_TRUE(loaded.Load(a.c_str(), 0, false));
    EXPECT_EQ(loaded.Size(), 0);
}

TEST_F(RootContainer, TextFormNamesClassesAndKeys) {
    TScopedStore<TRootMap> source("Words");
    source.AddObject(MakeItem(9, "nine"));
    const std::string path = Path("text");
    ASSERT_TRUE(source.Save(path.c_str(), 1, false));
    const std::string text = ReadAll(path);
    for (const char *needle :
         {"NumElements=1", "Identifier=Words", "[Object headers]", "ObjectNum=0",
          "TypeName=TTestItem", "UniqueID=0", "[Object data]", "Value=9"}) {
        EXPECT_NE(text.find(needle), std::string::npos) << needle;
    }
    EXPECT_LT(text.find("[Object headers]"), text.find("[Object data]"));
}

TEST_F(RootContainer, OrderLastClassesComeLastInDataOnly) {
    TScopedStore<TRootMap> source("Order");
    source.AddObject(new TTestLateItem);
    source.AddObject(MakeItem(1, "plain"));
    source.OrderLast({TTestLateItem::GetRuntimeClassStatic()});
    const std::string path = Path("order");
    ASSERT_TRUE(source.Save(path.c_str(), 1, false));
    const std::string text = ReadAll(path);
    const size_t data = text.find("[Object data]");
    // Headers keep cursor order: the late item (id 0) first.
    EXPECT_LT(text.find("TypeName=TTestLateItem"), text.find("TypeName=TTestItem"));
    EXPECT_LT(text.find("TypeName=TTestItem", data), text.find("TypeName=TTestLateItem", data));
}

TEST_F(RootContainer, MergeLoadReadsIntoExistingObjects) {
    const std::string path = Path("merge");
    {
        TScopedStore<TRootMap> file("Merge");
        file.AddObject(MakeItem(100, "skip")); // id 0, not saved below
        file.AddObject(MakeItem(1, "one"));
        file.AddObject(MakeItem(2, "two"));
        TRootObject::Delete(file.GetObject(0));
        ASSERT_TRUE(file.Save(path.c_str(), 0, false));
    }
    // The store holds ids 2 and 3; the file holds 1 and 2.
    TScopedStore<TRootMap> store("Store");
    auto *two = MakeItem(-2, "old two");
    auto *three = MakeItem(-3, "three");
    store.AddObject(MakeItem(0, "filler0"));
    store.AddObject(MakeItem(0, "filler1"));
    store.AddObject(two);
    store.AddObject(three);
    TRootObject::Delete(store.GetObject(0));
    TRootObject::Delete(store.GetObject(1));
    ASSERT_TRUE(store.Load(path.c_str(), 0, true));
    ASSERT_EQ(store.Size(), 3);
    auto *one = static_cast<TTestItem *>(store.GetObject(1));
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->Value, 1);
    EXPECT_EQ(one->AfterLoadCalls, 1);
    EXPECT_EQ(store.GetObject(2), two);
    EXPECT_EQ(two->Value, 2);
    EXPECT_EQ(two->AfterLoadCalls, 0);
    EXPECT_EQ(three->Value, -3);
    EXPECT_STREQ(store.GetIdentifier().GetData(), "Merge");
}

TEST_F(RootContainer, RegisteredIdentifierNeedsMergeOnLoad) {
    const std::string path = Path("owned");
    {
        TScopedStore<TRootMap> file("Owned");
        file.AddObject(MakeItem(1, "a"));
        ASSERT_TRUE(file.Save(path.c_str(), 0, false));
    }
    TScopedStore<TRootMap> owner("Owned");
    owner.RegisterMe();
    TScopedStore<TRootMap> loader("");
    EXPECT_FALSE(loader.Load(path.c_str(), 0, false));
    EXPECT_EQ(owner.Size(), 0);
    // Loading the registered container over itself fails the same way.
    EXPECT_FALSE(owner.Load(path.c_str(), 0, false));

    owner.SetMergeOnLoad(true);
    TScopedStore<TRootMap> second("");
    ASSERT_TRUE(second.Load(path.c_str(), 0, false));
    EXPECT_EQ(second.Size(), 0);
    EXPECT_EQ(owner.Size(), 1);
}

TEST_F(RootContainer, MultiLoadResolvesReferencesAcrossFiles) {
    TLibVector<TString> files{Path("left").c_str(), Path("right").c_str()};
    {
        TScopedStore<TRootMap> left("Left"), right("Right");
        left.AddObject(MakeItem(1, "l", 0));
        right.AddObject(MakeItem(2, "r", 0));
        TLibVector<TRootContainer *> both{&left, &right};
        ASSERT_TRUE(TRootContainer::MultiSave(both, files, 2, false));
    }
    TScopedStore<TRootMap> left(""), right("");
    // A payload reader that finds the other file's objects proves all headers came first.
    TLibVector<TRootContainer *> both{&left, &right};
    ASSERT_TRUE(TRootContainer::MultiLoad(both, files, 2, false));
    EXPECT_STREQ(left.GetIdentifier().GetData(), "Left");
    EXPECT_EQ(TRootContainerBank::Bank->GetContainer(right.GetContainerID()), &right);
    ASSERT_NE(left.GetObject(0), nullptr);
    ASSERT_NE(right.GetObject(0), nullptr);
    EXPECT_EQ(static_cast<TTestItem *>(right.GetObject(0))->Value, 2);
}

std::vector<std::string> lines;
int ticks;

void CollectLine(const char *format, ...) {
    char line[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    lines.emplace_back(line);
}

TEST_F(RootContainer, MultiLoadResolvesPersistentReferencesBothWays) {
    using vlib::test::TTestLinkItem;
    for (int format : {0, 1, 2}) {
        SCOPED_TRACE(format);
        TLibVector<TString> files{Path("west").c_str(), Path("east").c_str()};
        {
            TScopedStore<TRootMap> west("West"), east("East");
            west.RegisterMe();
            east.RegisterMe();
            auto *w = new TTestLinkItem;
            auto *e = new TTestLinkItem;
            west.AddObject(w);
            east.AddObject(new TTestLinkItem); // so the ids differ across the files
            east.AddObject(e);
            w->Link.Set(e);
            e->Link.Set(w);
            TLibVector<TRootContainer *> both{&west, &east};
            ASSERT_TRUE(TRootContainer::MultiSave(both, files, format, false));
        }
        TScopedStore<TRootMap> west(""), east("");
        TLibVector<TRootContainer *> both{&west, &east};
        ASSERT_TRUE(TRootContainer::MultiLoad(both, files, format, false));
        auto *w = static_cast<TTestLinkItem *>(west.GetObject(0));
        auto *e = static_cast<TTestLinkItem *>(east.GetObject(1));
        ASSERT_NE(w, nullptr);
        ASSERT_NE(e, nullptr);
        // West's payload is read before any of east's, yet east's objects already exist.
        EXPECT_EQ(w->FoundWhileReading, e);
        EXPECT_EQ(e->FoundWhileReading, w);
    }
}

TEST_F(RootContainer, CallbacksTickPerObjectAndReportEachStage) {
    lines.clear();
    ticks = 0;
    TLibVector<TString> files{Path("a").c_str(), Path("b").c_str()};
    {
        TScopedStore<TRootHash> a("A"), b("B");
        for (int i = 0; i < 3; ++i)
            a.AddObject(MakeItem(i, "a"));
        b.AddObject(MakeItem(9, "b"));
        TLibVector<TRootContainer *> both{&a, &b};
        TRootContainer::TickCallback = [] { ++ticks; };
        ASSERT_TRUE(TRootContainer::MultiSave(both, files, 0, false));
        EXPECT_EQ(ticks, 4); // one per object written
    }
    ticks = 0;
    TRootContainer::ReportCallback = CollectLine;
    TScopedStore<TRootHash> a(""), b("");
    TLibVector<TRootContainer *> both{&a, &b};
    ASSERT_TRUE(TRootContainer::MultiLoad(both, files, 0, false));
    EXPECT_EQ(ticks, 8); // headers and data
    const std::vector<std::string> expected{"Initialising ",
                                            "Initialising ",
                                            "Creating A",
                                            "Creating B",
                                            "Loading A",
                                            "Loading B",
                                            "Loading extra A",
                                            "Loading extra B",
                                            "Post-initialising A",
                                            "Post-initialising B",
                                            "Validating A",
                                            "Validating B",
                                            "Successfully completed Loading"};
    EXPECT_EQ(lines, expected);
}

TEST_F(RootContainer, BadInputFailsAndKeepsWhatWasCreated) {
    TScopedStore<TRootMap> source("Bad");
    source.AddObject(MakeItem(1, "a"));
    source.AddObject(MakeItem(2, "b"));
    const std::string good = Path("good");
    ASSERT_TRUE(source.Save(good.c_str(), 0, false));
    const std::string bytes = ReadAll(good);
    // Offsets: count 0, identifier 4..10, section 11, headers from 15, 12 bytes each.
    std::string unknownClass = bytes;
    unknownClass[15 + 12 + 4] ^= 0x5A;
    std::string repeatedID = bytes;
    repeatedID[15 + 12 + 8] = 0;
    std::string badPosition = bytes;
    badPosition[15] = 7;
    std::string missingObject = bytes;
    missingObject[15 + 24 + 4 + 4] = 9; // first data record names id 9
    std::string lyingCount = bytes;
    lyingCount[0] = 3;
    struct Case {
        const char *name;
        std::string file;
        int createdLeft;
    };
    const Case kCases[] = {
        {"unknown class", unknownClass, 1},
        {"repeated id", repeatedID, 1},
        {"bad position", badPosition, 0},
        {"missing object", missingObject, 2},
        {"lying count", lyingCount, 2},
        {"truncated", bytes.substr(0, bytes.size() - 3), 2},
        {"empty", "", 0},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const std::string path = Path("bad");
        WriteAll(path, c.file);
        TScopedStore<TRootMap> loaded("");
        EXPECT_FALSE(loaded.Load(path.c_str(), 0, true));
        EXPECT_EQ(loaded.Size(), c.createdLeft);
        for (loaded.ResetCursor(); loaded.GetCursor(); loaded.NextCursor())
            EXPECT_EQ(static_cast<TTestItem *>(loaded.GetCursor())->AfterLoadCalls, 0);
    }
}

TEST_F(RootContainer, PayloadFailureFailsTheLoad) {
    TScopedStore<TRootMap> source("Payload");
    source.AddObject(MakeItem(1, "a"));
    const std::string path = Path("payload");
    ASSERT_TRUE(source.Save(path.c_str(), 1, false));
    TTestItem::ReadFailure = 0x10005;
    TScopedStore<TRootMap> loaded("");
    EXPECT_EQ(loaded.Load(path.c_str(), 1, true).GetCode(), 0x10000u);
    EXPECT_EQ(static_cast<TTestItem *>(loaded.GetObject(0))->AfterLoadCalls, 0);
}

TEST_F(RootContainer, UnknownFormatStreamsNothing) {
    TScopedStore<TRootMap> source("Form");
    source.AddObject(MakeItem(1, "a"));
    const std::string path = Path("form");
    EXPECT_FALSE(source.Save(path.c_str(), 3, false));
    EXPECT_EQ(ReadAll(path), "");

    // Stages driven by hand on an adapter that stands on nothing fail without reading.
    TIOAdapter nothing(static_cast<TFileObj *>(nullptr), false);
    TLibVector<int> ids;
    EXPECT_FALSE(source.StreamHeaders(nothing, true, 2, ids));
    EXPECT_FALSE(source.StreamData(nothing, true, 1));
    EXPECT_TRUE(ids.empty());
}

TEST_F(RootContainer, FailingWritesFailTheSave) {
    vlib::test::TFileFaultGuard faults;
    TScopedStore<TRootMap> source("Faulty");
    for (int i = 0; i < 20000; ++i)
        source.AddObject(MakeItem(i, "a fairly long name to fill the buffers"));
    for (int format : {0, 1, 2}) {
        SCOPED_TRACE(format);
        faults->Write.Arm(1);
        EXPECT_FALSE(source.Save(Path("faulty").c_str(), format, false));
        faults->DisarmAll();
    }
}

/// Runs `attempt` with the N-th allocation failing for N = 1, 2, ... until it meets no fault.
/// The file layer survives some failures (a file name it cannot copy), so a faulted attempt
/// may still succeed. Returns the count, and how many blocks all the attempts left behind.
template <class F> int CountAttempts(F attempt, long &leaked) {
    vlib::test::TAllocatorFaultGuard guard;
    auto &faults = GetAllocatorInstance().Faults();
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    for (int n = 1; n < 10000; ++n) {
        faults.Arm(static_cast<uint64_t>(n));
        const bool ok = attempt();
        const bool hit = faults.GetFailures() != 0;
        faults.Disarm();
        if (!hit) {
            EXPECT_TRUE(ok);
            leaked = static_cast<long>(GetAllocatorInstance().GetLiveBlocks()) -
                     static_cast<long>(before);
            return n;
        }
    }
    return 0;
}

TEST_F(RootContainer, LoadsLeakNothingWhenAllocationsFail) {
    TScopedStore<TRootMap> source("Leak");
    Fill(source);
    for (int format : {0, 1, 2}) {
        SCOPED_TRACE(format);
        const TString path = Path("leak").c_str();
        ASSERT_TRUE(source.Save(path, format, false));
        {
            // A first load makes whatever the file layer keeps for the process.
            TScopedStore<TRootMap> warmUp("");
            ASSERT_TRUE(warmUp.Load(path, format, true));
        }
        long leaked = 0;
        EXPECT_GT(CountAttempts(
                      [&] {
                          TScopedStore<TRootMap> loaded("");
                          return static_cast<bool>(loaded.Load(path, format, true)) &&
                                 loaded.Size() == 3;
                      },
                      leaked),
                  1);
        EXPECT_EQ(leaked, 0);
        // The hash's table is made before the faults begin; each attempt empties it.
        // A first load leaves what the hash keeps: the identifier and its cursor stack.
        TScopedStore<TRootHash> hash("");
        ASSERT_TRUE(hash.Load(path, format, true));
        hash.DeleteAll();
        EXPECT_GT(CountAttempts(
                      [&] {
                          const bool ok =
                              static_cast<bool>(hash.Load(path, format, true)) && hash.Size() == 3;
                          hash.DeleteAll();
                          return ok;
                      },
                      leaked),
                  1);
        EXPECT_EQ(leaked, 0);
    }
}

TEST_F(RootContainer, ObjectToIDFollowsTheIdMap) {
    TScopedStore<TRootMap> store("Ids");
    store.AddObject(MakeItem(1, "a"));
    store.AddObject(MakeItem(2, "b"));
    EXPECT_EQ(store.ObjectToID(nullptr), -1);
    EXPECT_EQ(store.ObjectToID(store.GetObject(1)), 1);
    TLibMap<int, int> map{{0, 10}};
    store.SetIdMap(&map);
    EXPECT_EQ(store.ObjectToID(store.GetObject(0)), 10);
    EXPECT_EQ(store.ObjectToID(store.GetObject(1)), -1);
}

TEST_F(RootContainer, ClassQueriesFilterInCursorOrder) {
    TScopedStore<TRootMap> store("Classes");
    store.AddObject(MakeItem(1, "a"));
    store.AddObject(new TTestLateItem);
    TLibVector<TRootObject *> out{nullptr};
    store.GetObjectsOfClass("TTestItem", false, out);
    EXPECT_EQ(out, (TLibVector<TRootObject *>{store.GetObject(0)}));
    store.GetObjectsOfClass("ttestitem", true, out);
    EXPECT_EQ(out.size(), 2u);
    store.GetObjectsOfClass("NoSuchClass", true, out);
    EXPECT_TRUE(out.empty());
    TLibVector<TString> names{"TTestItem", "TTestLateItem"};
    store.GetObjectsOfClasses(names, true, out);
    EXPECT_EQ(out.size(), 3u); // the late item matches both entries
    store.GetAllOfClass("TTestLateItem", out);
    EXPECT_EQ(out.size(), 4u);
    EXPECT_TRUE(store.ContainsObject(store.GetObject(1)));
}

// Merge, copy and checks ------------------------------------------------------------------

using vlib::test::TTestLinkItem;
using vlib::test::TTestPtrItem;

TTestLinkItem *MakeLink(TRootObject *to) {
    auto *link = new TTestLinkItem;
    link->Link.Set(to);
    return link;
}

TTestPtrItem *MakePtr(TRootObject *to, int value) {
    auto *item = new TTestPtrItem;
    item->Target = to;
    item->Value = value;
    return item;
}

/// An object that writes nothing and counts the reads it is asked for.
class TSilentItem : public TRootObject {
public:
    int Reads = 0;
    TError ReadBinary(TFileObj &) override { return ++Reads, TError(TError::kSuccess); }
    TError WriteBinary(TFileObj &) override { return TError::kSuccess; }
    TError ReadAscii(TAsciiInFilter &) override { return ++Reads, TError(TError::kSuccess); }
    TError WriteAscii(TAsciiOutFilter &) override { return TError::kSuccess; }
};

TEST_F(RootContainer, CopyObjectOverwritesTheTargetInBothForms) {
    for (bool ascii : {false, true}) {
        SCOPED_TRACE(ascii);
        for (int round = 0; round < 2; ++round) { // the shared buffer serves again
            TTestItem source, target;
            source.Value = 12 + round;
            source.Name = "name with = sign";
            source.Other = 4;
            target.Value = -1;
            target.Name = "old";
            TRootContainer::CopyObject(&source, &target, ascii);
            EXPECT_EQ(target.Value, source.Value);
            EXPECT_STREQ(target.Name.GetData(), source.Name.GetData());
            EXPECT_EQ(target.Other, 4);
        }
        TSilentItem silentSource, silentTarget;
        TRootContainer::CopyObject(&silentSource, &silentTarget, ascii);
        EXPECT_EQ(silentTarget.Reads, 0);
    }
}

/// Two registered sources whose objects refer to each other, forward and across sources,
/// and to an object of a third container that takes no part in the copy.
struct TLinkedSources {
    TScopedStore<TRootMap> A{"SourceA"}, B{"SourceB"}, Outside{"Outside"};
    TTestItem *A0, *B0, *OutsideItem;
    TTestLinkItem *A1, *A2;
    TTestPtrItem *B1;

    TLinkedSources() {
        A.RegisterMe();
        B.RegisterMe();
        Outside.RegisterMe();
        OutsideItem = MakeItem(99, "outside");
        Outside.AddObject(OutsideItem);
        A0 = MakeItem(1, "a0");
        A.AddObject(A0);
        B0 = MakeItem(2, "b0");
        B.AddObject(B0);
        A1 = MakeLink(B0); // into the later source
        A.AddObject(A1);
        A2 = MakeLink(OutsideItem);
        A.AddObject(A2);
        B1 = MakePtr(A0, 5);
        B.AddObject(B1);
    }
    /// The sources hold what they held before the copy, and are free of mappings.
    void ExpectUnchanged() {
        EXPECT_EQ(A.Size(), 3);
        EXPECT_EQ(B.Size(), 2);
        EXPECT_EQ(A1->Link.Get(), B0);
        EXPECT_EQ(A2->Link.Get(), OutsideItem);
        EXPECT_EQ(B1->Target, A0);
        EXPECT_EQ(A0->Value, 1);
        for (TRootContainer *source : std::initializer_list<TRootContainer *>{&A, &B}) {
            EXPECT_EQ(source->GetIdMap(), nullptr);
            EXPECT_EQ(TRootContainerBank::Bank->GetContainer(source->GetContainerID()), source);
        }
    }
};

TEST_F(RootContainer, MergeCopiesWithReferencesLandingOnCopies) {
    for (bool ascii : {false, true}) {
        SCOPED_TRACE(ascii);
        TLinkedSources s;
        TScopedStore<TRootHash> target("MergeTarget");
        target.RegisterMe();
        target.AddObject(MakeItem(0, "already there"));
        TLibVector<TRootContainer *> sources{&s.A, &s.B};
        TLibMap<TRootObject *, TRootObject *> copies;
        target.Merge(sources, nullptr, ascii, &copies);

        ASSERT_EQ(copies.size(), 5u);
        EXPECT_EQ(target.Size(), 6);
        TLibSet<int> ids;
        for (auto &[original, copy] : copies) {
            EXPECT_EQ(copy->GetContainer(), &target);
            EXPECT_EQ(copy->GetRuntimeClass(), original->GetRuntimeClass());
            ids.insert(copy->GetID());
        }
        EXPECT_EQ(ids.size(), 5u); // A0 and B0 share id 0 in their sources
        EXPECT_EQ(ids.count(0), 0u);
        auto *a0 = static_cast<TTestItem *>(copies[s.A0]);
        EXPECT_EQ(a0->Value, 1);
        EXPECT_STREQ(a0->Name.GetData(), "a0");
        EXPECT_EQ(static_cast<TTestLinkItem *>(copies[s.A1])->Link.Get(), copies[s.B0]);
        EXPECT_EQ(static_cast<TTestLinkItem *>(copies[s.A2])->Link.Get(), s.OutsideItem);
        EXPECT_EQ(static_cast<TTestPtrItem *>(copies[s.B1])->Target, copies[s.A0]);
        EXPECT_EQ(static_cast<TTestPtrItem *>(copies[s.B1])->Value, 5);
        EXPECT_EQ(a0->AfterLoadCalls, 0);
        s.ExpectUnchanged();
    }
}

TEST_F(RootContainer, MergeTakesOnlySelectedObjects) {
    struct Case {
        const char *name;
        bool select;  // selections given at all
        bool selectA; // a set for source A (else null: all of A)
        bool a0InSet; // A0 is in A's set
        bool a1InSet; // A1 (which links to B0) is in A's set
        size_t copied;
    };
    constexpr Case kCases[] = {
        {"no selections", false, false, false, false, 5},
        {"null set takes all", true, false, false, false, 5},
        {"empty set takes none", true, true, false, false, 2},
        {"one object", true, true, false, true, 3},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TLinkedSources s;
        TScopedStore<TRootMap> target("SelectTarget");
        target.RegisterMe();
        TLibSet<TRootObject *> setA;
        if (c.a0InSet)
            setA.insert(s.A0);
        if (c.a1InSet)
            setA.insert(s.A1);
        TLibSet<TRootObject *> *selections[2] = {c.selectA ? &setA : nullptr, nullptr};
        TLibVector<TRootContainer *> sources{&s.A, &s.B};
        TLibMap<TRootObject *, TRootObject *> copies;
        target.Merge(sources, c.select ? selections : nullptr, false, &copies);
        EXPECT_EQ(copies.size(), c.copied);
        EXPECT_EQ(static_cast<size_t>(target.Size()), c.copied);
        const bool a0Taken = !c.selectA || c.a0InSet;
        if (copies.count(s.B1) != 0) {
            // A pointer to an object left out reads back as null.
            TRootObject *expected = a0Taken ? copies[s.A0] : nullptr;
            EXPECT_EQ(static_cast<TTestPtrItem *>(copies[s.B1])->Target, expected);
        }
        s.ExpectUnchanged();
    }
}

TEST_F(RootContainer, MergeLinkToObjectLeftOutBecomesNull) {
    TLinkedSources s;
    TScopedStore<TRootMap> target("LeftOut");
    target.RegisterMe();
    TLibSet<TRootObject *> onlyLinks{s.A1}, none;
    TLibSet<TRootObject *> *selections[2] = {&onlyLinks, &none};
    TLibVector<TRootContainer *> sources{&s.A, &s.B};
    TLibMap<TRootObject *, TRootObject *> copies;
    target.Merge(sources, selections, false, &copies);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(static_cast<TTestLinkItem *>(copies[s.A1])->Link.Get(), nullptr);
}

TEST_F(RootContainer, CopyRootContainersPairsSourcesWithTargets) {
    TLinkedSources s;
    TScopedStore<TRootMap> copyA("CopyA"), copyB("CopyB");
    copyA.RegisterMe();
    copyB.RegisterMe();
    copyB.AddObject(MakeItem(7, "kept"));
    TLibMap<TRootContainer *, TRootContainer *> targets{{&s.A, &copyA}, {&s.B, &copyB}};
    s.A.ResetCursor();
    s.A.NextCursor();
    TRootContainer::CopyRootContainers(targets);
    EXPECT_EQ(s.A.GetCursor(), s.A1); // the walk went by class, not by cursor
    s.ExpectUnchanged();

    ASSERT_EQ(copyA.Size(), 3);
    ASSERT_EQ(copyB.Size(), 3);
    auto find = [](TRootContainer &in, int value) -> TRootObject * {
        for (in.ResetCursor(); in.GetCursor() != nullptr; in.NextCursor()) {
            auto *item = dynamic_cast<TTestItem *>(in.GetCursor());
            if (item != nullptr && item->Value == value)
                return item;
        }
        return nullptr;
    };
    TRootObject *a0 = find(copyA, 1), *b0 = find(copyB, 2);
    ASSERT_NE(a0, nullptr);
    ASSERT_NE(b0, nullptr);
    EXPECT_NE(b0->GetID(), 0); // a new id next to the object already there
    TTestLinkItem *a1 = nullptr, *a2 = nullptr;
    for (copyA.ResetCursor(); copyA.GetCursor() != nullptr; copyA.NextCursor()) {
        if (auto *link = dynamic_cast<TTestLinkItem *>(copyA.GetCursor()))
            (a1 == nullptr ? a1 : a2) = link;
    }
    ASSERT_NE(a2, nullptr);
    EXPECT_EQ(a1->Link.Get(), b0);
    EXPECT_EQ(a2->Link.Get(), s.OutsideItem);
    TTestPtrItem *b1 = nullptr;
    for (copyB.ResetCursor(); copyB.GetCursor() != nullptr; copyB.NextCursor()) {
        if (auto *ptr = dynamic_cast<TTestPtrItem *>(copyB.GetCursor()))
            b1 = ptr;
    }
    ASSERT_NE(b1, nullptr);
    EXPECT_EQ(b1->Target, a0);
}

TEST_F(RootContainer, MergeLeaksNothingWhenAllocationsFail) {
    TLinkedSources s;
    TLibVector<TRootContainer *> sources{&s.A, &s.B};
    {
        TScopedStore<TRootMap> warmUp("WarmUp");
        warmUp.Merge(sources, nullptr, true, nullptr);
    }
    long leaked = 0;
    const int attempts = CountAttempts(
        [&] {
            TLibMap<TRootObject *, TRootObject *> copies;
            TScopedStore<TRootMap> target("Faulty");
            target.Merge(sources, nullptr, true, &copies);
            const bool complete = target.Size() == 5 && copies.size() == 5;
            s.ExpectUnchanged();
            return complete;
        },
        leaked);
    EXPECT_GT(attempts, 1);
    EXPECT_EQ(leaked, 0);
}

/// A container of items, links and pointers between them.
void FillLinked(TRootContainer &store) {
    Fill(store);
    store.AddObject(MakePtr(store.GetObject(1), 3));
    store.AddObject(MakePtr(nullptr, 4));
    store.AddObject(MakeLink(store.GetObject(0)));
}

TEST_F(RootContainer, ChecksumsFollowContentInEveryForm) {
    constexpr int kFormats[] = {0, 1, 2};
    for (int format : kFormats) {
        SCOPED_TRACE(format);
        TScopedStore<TRootMap> store("Sums");
        store.RegisterMe();
        FillLinked(store);
        int pointers = 0, data = 0, pointersAgain = 0, dataAgain = 0;
        store.Checksum(pointers, data, format);
        store.Checksum(pointersAgain, dataAgain, format);
        EXPECT_EQ(pointers, pointersAgain);
        EXPECT_EQ(data, dataAgain);
        EXPECT_NE(pointers, 0);

        // Saved and loaded elsewhere, the same graph sums the same.
        const std::string path = Path("sums");
        ASSERT_TRUE(store.Save(path.c_str(), format, false));
        store.DeRegisterMe();
        TScopedStore<TRootMap> loaded("");
        ASSERT_TRUE(loaded.Load(path.c_str(), format, false));
        int loadedPointers = 0, loadedData = 0;
        loaded.Checksum(loadedPointers, loadedData, format);
        EXPECT_EQ(loadedPointers, pointers);
        EXPECT_EQ(loadedData, data);

        // One field changes the data sum; a pointer to another object the pointer sum.
        static_cast<TTestItem *>(loaded.GetObject(0))->Value += 1;
        loaded.Checksum(loadedPointers, loadedData, format);
        EXPECT_NE(loadedData, data);
        EXPECT_EQ(loadedPointers, pointers);
        static_cast<TTestPtrItem *>(loaded.GetObject(3))->Target = loaded.GetObject(2);
        loaded.Checksum(loadedPointers, loadedData, format);
        EXPECT_NE(loadedPointers, pointers);
    }
}

void MarkerHook(TRootObject *) {}

TEST_F(RootContainer, ChecksumWithoutPointersOrFormatAndHookRestored) {
    TScopedStore<TRootMap> store("Plain");
    Fill(store);
    TRootContainer::WritePtrCallback = MarkerHook;
    int pointers = -1, data = 0;
    store.Checksum(pointers, data, 0);
    EXPECT_EQ(pointers, 0); // no client pointer streaming
    EXPECT_NE(data, 0);
    EXPECT_EQ(TRootContainer::WritePtrCallback, MarkerHook);

    TChecksumFilter empty;
    empty.Open();
    store.AddObject(MakePtr(store.GetObject(0), 1));
    store.Checksum(pointers, data, 3);
    EXPECT_EQ(pointers, 0);
    EXPECT_EQ(static_cast<uint32_t>(data), empty.GetChecksum());
    EXPECT_EQ(TRootContainer::WritePtrCallback, MarkerHook);
    TRootContainer::WritePtrCallback = nullptr;
}

TEST_F(RootContainer, ReportsCountBytesAndObjectsPerClass) {
    TScopedStore<TRootMap> store("Report");
    store.AddObject(MakeItem(1, "ab"));
    store.AddObject(MakeItem(2, ""));
    auto *late = new TTestLateItem;
    late->Name = "late";
    store.AddObject(late);
    const std::string stats = Path("stats"), counts = Path("counts");
    store.TrackStats(stats.c_str());
    EXPECT_EQ(TRootTrack::GlobalTrack, nullptr);
    // Each item writes 4 bytes each of value, weight and other, and 4 plus its name's of name.
    EXPECT_EQ(ReadAll(stats), "TTestItem, 2, 34\n"
                              "TTestLateItem, 1, 20\n"
                              "\n"
                              "TTestItem::Name, 10\n"
                              "TTestItem::Other, 8\n"
                              "TTestItem::Value, 8\n"
                              "TTestItem::Weight, 8\n"
                              "TTestLateItem::Name, 8\n"
                              "TTestLateItem::Other, 4\n"
                              "TTestLateItem::Value, 4\n"
                              "TTestLateItem::Weight, 4\n");
    store.DumpObjectCounts(counts.c_str());
    EXPECT_EQ(ReadAll(counts), "TTestItem=2\nTTestLateItem=1\n");

    TScopedStore<TRootMap> empty("Empty");
    empty.DumpObjectCounts(counts.c_str());
    EXPECT_EQ(ReadAll(counts), "");
    empty.TrackStats(stats.c_str());
    EXPECT_EQ(ReadAll(stats), "\n");
    store.DumpObjectCounts(Path("missing/dir/counts").c_str()); // cannot open: nothing
    store.TrackStats(Path("missing/dir/stats").c_str());
}

} // namespace
