// The ordered store: id allocation, replacement by id, removal by id and deletion order.
#include "General/Containers/RootMap.h"

#include <vector>

#include <gtest/gtest.h>

#include "Support/ContainerItems.h"

namespace {

using vlib::test::MakeItem;
using vlib::test::TTestItem;

/// Records the order in which objects are destroyed.
class TOrderedItem : public TTestItem {
public:
    static inline std::vector<int> Destroyed;
    ~TOrderedItem() override { Destroyed.push_back(Value); }
};

class TMapAccess : public TRootMap {
public:
    using TRootMap::AddNewObject;
    using TRootMap::InsertObject;
};

TEST(RootMap, AllocatesIdsAboveEverySeenId) {
    TMapAccess map;
    map.AddObject(MakeItem(0, "a"));
    map.AddObject(MakeItem(1, "b"));
    EXPECT_EQ(map.GetObject(1)->GetID(), 1);
    ASSERT_NE(map.AddNewObject(TTestItem::GetRuntimeClassStatic(), 10), nullptr);
    auto *next = MakeItem(2, "c");
    map.AddObject(next);
    EXPECT_EQ(next->GetID(), 11);
    EXPECT_EQ(next->GetContainer(), &map);
    map.DeleteAll();
    EXPECT_EQ(map.Size(), 0);
    EXPECT_EQ(map.GetIDCount(), 0);
    auto *fresh = MakeItem(3, "d");
    map.AddObject(fresh);
    EXPECT_EQ(fresh->GetID(), 0);
}

TEST(RootMap, DeletesLowestIdFirstAndDeleteLeavesTheStore) {
    TOrderedItem::Destroyed.clear();
    {
        TMapAccess map;
        for (int value : {5, 6, 7}) {
            auto *item = new TOrderedItem;
            item->Value = value;
            map.AddObject(item);
        }
        TRootObject::Delete(map.GetObject(1)); // value 6 leaves the map on its own
        EXPECT_EQ(map.Size(), 2);
        EXPECT_EQ(map.GetObject(1), nullptr);
    }
    EXPECT_EQ(TOrderedItem::Destroyed, (std::vector<int>{6, 5, 7}));
}

TEST(RootMap, InsertReplacesAndRemoveGoesById) {
    TMapAccess map;
    auto *first = MakeItem(1, "first");
    map.AddObject(first); // id 0
    ASSERT_TRUE(map.RemoveObject(first));
    EXPECT_EQ(first->GetContainer(), nullptr);
    EXPECT_FALSE(map.RemoveObject(first)); // gone: a foreign object is refused
    map.AddObject(first);                  // id 1
    auto *usurper = static_cast<TTestItem *>(
        map.AddNewObject(TTestItem::GetRuntimeClassStatic(), 1)); // replaces under id 1
    EXPECT_EQ(map.GetObject(1), usurper);
    // Removing the first object removes whatever holds its id.
    EXPECT_TRUE(map.RemoveObject(first));
    EXPECT_EQ(map.GetObject(1), nullptr);
    TRootObject::Delete(first);
    usurper->Delete(); // no longer in the map: only destroyed
    EXPECT_EQ(map.Size(), 0);
}

TEST(RootMap, CursorWalksByIdAndNests) {
    TMapAccess map;
    for (int id : {4, 1, 3})
        map.AddNewObject(TTestItem::GetRuntimeClassStatic(), id);
    std::vector<int> walked;
    for (map.ResetCursor(); map.GetCursor() != nullptr; map.NextCursor()) {
        walked.push_back(map.GetCursor()->GetID());
        map.PushCursor();
        map.ResetCursor();
        map.PopCursor();
    }
    EXPECT_EQ(walked, (std::vector<int>{1, 3, 4}));
    map.NextCursor(); // stays at the end
    EXPECT_EQ(map.GetCursor(), nullptr);
}

} // namespace
