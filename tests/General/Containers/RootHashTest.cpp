// The hashed store: growth at the threshold and its suspension under Lock, insertion of a
// taken id, removal of foreign objects and deletion that continues the ids.
#include "General/Containers/RootHash.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "General/Core/LibAllocator.h"
#include "Support/ContainerItems.h"

namespace {

using vlib::test::MakeItem;
using vlib::test::TTestItem;

class THashAccess : public TRootHash {
public:
    using TRootHash::AddNewObject;
};

void AddItems(TRootHash &hash, int count) {
    for (int i = 0; i < count; ++i)
        hash.AddObject(MakeItem(i, ""));
}

TEST(RootHash, GrowsAtTheThresholdUnlessLocked) {
    THashAccess hash;
    AddItems(hash, 511);
    EXPECT_EQ(hash.GetBucketCount(), 64u);
    testing::internal::CaptureStdout();
    AddItems(hash, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Creating hash table of size 128, num entries (256, 1024)...Done\n");
    EXPECT_EQ(hash.GetBucketCount(), 128u);

    THashAccess locked;
    locked.Lock();
    testing::internal::CaptureStdout();
    AddItems(locked, 2000);
    EXPECT_EQ(locked.GetBucketCount(), 64u);
    locked.Unlock(); // 2000 entries pass the thresholds 512 and 1024, not 2048
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(locked.GetBucketCount(), 256u);
    EXPECT_NE(out.find("size 256"), std::string::npos);
    for (int id = 0; id < 2000; ++id)
        ASSERT_NE(locked.GetObject(id), nullptr) << id;
}

TEST(RootHash, CursorVisitsEveryObjectOnce) {
    THashAccess hash;
    testing::internal::CaptureStdout();
    AddItems(hash, 700);
    (void)testing::internal::GetCapturedStdout();
    std::set<int> seen;
    for (hash.ResetCursor(); hash.GetCursor() != nullptr; hash.NextCursor())
        EXPECT_TRUE(seen.insert(hash.GetCursor()->GetID()).second);
    EXPECT_EQ(seen.size(), 700u);
}

TEST(RootHash, KeepsTheFirstObjectOfAnIdAndRemovesForeignObjects) {
    THashAccess hash;
    auto *first = MakeItem(1, "first");
    hash.AddObject(first);
    // A second object under id 0 is refused; AddNewObject then destroys it.
    EXPECT_EQ(hash.AddNewObject(TTestItem::GetRuntimeClassStatic(), 0), nullptr);
    EXPECT_EQ(hash.GetObject(0), first);

    auto *foreign = MakeItem(2, "foreign");
    EXPECT_TRUE(hash.RemoveObject(foreign)); // true although it was never here
    EXPECT_EQ(foreign->GetID(), TRootObject::kRemovedID);
    EXPECT_EQ(hash.Size(), 1);
    TRootObject::Delete(foreign);
}

TEST(RootHash, DeleteAllContinuesIds) {
    THashAccess hash;
    AddItems(hash, 3);
    hash.DeleteAll();
    EXPECT_EQ(hash.Size(), 0);
    EXPECT_EQ(hash.GetCursor(), nullptr);
    auto *next = MakeItem(0, "");
    hash.AddObject(next);
    EXPECT_EQ(next->GetID(), 3);
}

TEST(RootHash, ReusesEntriesOfRemovedObjectsAndFreesAllWithTheStore) {
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    {
        THashAccess hash;
        const size_t empty = GetAllocatorInstance().GetLiveBlocks();
        testing::internal::CaptureStdout();
        AddItems(hash, 600);
        for (int id = 0; id < 600; id += 3)
            hash.GetObject(id)->Delete(); // leaves through RemoveObject
        AddItems(hash, 300);              // takes the freed entries, then new ones
        (void)testing::internal::GetCapturedStdout();
        ASSERT_EQ(hash.Size(), 700);
        std::set<int> seen;
        for (hash.ResetCursor(); hash.GetCursor() != nullptr; hash.NextCursor()) {
            TRootObject *object = hash.GetCursor();
            EXPECT_TRUE(seen.insert(object->GetID()).second);
            EXPECT_EQ(hash.GetObject(object->GetID()), object);
        }
        EXPECT_EQ(seen.size(), 700u);
        EXPECT_EQ(hash.GetObject(3), nullptr);
        hash.DeleteAll();
        EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), empty); // a larger bucket array now
        AddItems(hash, 2); // the store works on after its entries were freed
        EXPECT_EQ(hash.Size(), 2);
    }
    EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), before);
}

} // namespace
