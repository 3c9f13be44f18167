#include "General/Diagnostics/InstanceManager.h"

#include <gtest/gtest.h>

namespace {
int gOwnerA, gOwnerB, gOwnerC;
int gObjects[16];
void *A = &gOwnerA;
void *B = &gOwnerB;
void *C = &gOwnerC;
void *P(int i) {
    return &gObjects[i];
}
} // namespace

TEST(InstanceManager, RangeGrowsAtBothEnds) {
    TInstanceManager manager;
    manager.AddInstance(A, P(10), 10);
    manager.AddInstance(A, P(7), 7);
    const TInstanceRange &range = manager.GetRanges().at(0);
    EXPECT_EQ(range.first, 7u);
    EXPECT_EQ(range.last, 10u);
    ASSERT_EQ(range.pointers.size(), 4u);
    EXPECT_EQ(range.pointers[0], P(7));
    EXPECT_EQ(range.pointers[1], nullptr);
    EXPECT_EQ(range.pointers[2], nullptr);
    EXPECT_EQ(range.pointers[3], P(10));
    EXPECT_EQ(range.count, 2);

    manager.AddInstance(A, P(12), 12);
    EXPECT_EQ(manager.GetRanges()[0].last, 12u);
    EXPECT_EQ(manager.GetPointer(11, A), nullptr);
    EXPECT_EQ(manager.GetPointer(12, A), P(12));
    EXPECT_EQ(manager.GetNextIndex(A), 13u);

    // A taken slot is replaced, and still counted.
    manager.AddInstance(A, P(1), 10);
    EXPECT_EQ(manager.GetPointer(10, A), P(1));
    EXPECT_EQ(manager.GetRanges()[0].count, 4);
}

TEST(InstanceManager, CountsAndFirstOwnerAcrossRanges) {
    TInstanceManager manager;
    manager.AddInstance(A, P(0), 3);
    manager.AddInstance(B, P(1), 2);
    manager.AddInstance(B, P(2), 3);
    EXPECT_EQ(manager.CountInstances(3), 2);
    EXPECT_EQ(manager.CountInstances(2), 1);
    EXPECT_EQ(manager.CountInstances(9), 0);

    void *pointer = nullptr;
    EXPECT_EQ(manager.GetFirstOwner(3, &pointer), A);
    EXPECT_EQ(pointer, P(0));
    EXPECT_EQ(manager.GetFirstOwner(2, nullptr), B);
    EXPECT_EQ(manager.GetFirstOwner(9, &pointer), nullptr);
    EXPECT_EQ(manager.GetPointer(3, C), nullptr);
    EXPECT_EQ(manager.GetNextIndex(C), 0u);
}

TEST(InstanceManager, RemovingTheLastInstanceDropsTheRange) {
    TInstanceManager manager;
    manager.AddInstance(A, P(0), 5);
    manager.AddInstance(B, P(1), 1);
    manager.AddInstance(C, P(2), 1);
    manager.AddInstance(A, P(3), 6);
    manager.RemoveInstance(A, 5);
    EXPECT_EQ(manager.GetNextIndex(A), 7u);
    manager.RemoveInstance(A, 6);
    EXPECT_EQ(manager.GetNextIndex(A), 0u);
    ASSERT_EQ(manager.GetRanges().size(), 2u);
    EXPECT_EQ(manager.GetRanges()[0].owner, B); // later ranges keep their order
    EXPECT_EQ(manager.GetRanges()[1].owner, C);

    manager.RemoveInstance(A, 1);  // unknown owner
    manager.RemoveInstance(B, 40); // outside the range
    EXPECT_EQ(manager.GetRanges()[0].count, 1);
}

TEST(InstanceManager, SetOwnerMovesThePointerAndKeepsTheOldCount) {
    TInstanceManager manager;
    manager.AddInstance(A, P(0), 4);
    manager.AddInstance(A, P(1), 5);
    manager.SetOwner(4, B);
    EXPECT_EQ(manager.GetPointer(4, B), P(0));
    EXPECT_EQ(manager.GetPointer(4, A), nullptr);
    EXPECT_EQ(manager.GetFirstOwner(4, nullptr), B);
    EXPECT_EQ(manager.GetRanges()[0].count, 2);
    EXPECT_EQ(manager.GetRanges()[1].count, 1);

    // Nobody holds index 9: nothing moves.
    manager.SetOwner(9, C);
    EXPECT_EQ(manager.GetRanges().size(), 2u);
}
