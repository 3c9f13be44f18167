#include "General/Core/RefCount.h"

#include <gtest/gtest.h>

namespace {

int gDestroyed = 0;

struct Counted : TRefCount {
    ~Counted() override { ++gDestroyed; }
};

struct Counted2 : TRefCount2 {
    ~Counted2() override { ++gDestroyed; }
};

struct Recycled : TRefCount2 {
    void DeleteMe() override { ++recycled; }
    int recycled = 0;
};

} // namespace

TEST(RefCount, CreatorOwnsOneReference) {
    gDestroyed = 0;
    auto *object = new Counted;
    EXPECT_EQ(object->GetRefCount(), 1);
    object->AddRef();
    object->Release();
    EXPECT_EQ(gDestroyed, 0);
    object->Release();
    EXPECT_EQ(gDestroyed, 1);
}

TEST(RefCount, CopyCopiesTheCount) {
    Counted a;
    a.AddRef();
    Counted b(a);
    EXPECT_EQ(b.GetRefCount(), 2);
}

TEST(RefCount2, StartsAtZeroAndDeletesAtTheLastRelease) {
    gDestroyed = 0;
    auto *object = new Counted2;
    EXPECT_EQ(object->GetRefCount(), 0);
    EXPECT_EQ(object->AddRef("a"), 1);
    EXPECT_EQ(object->AddRef("b"), 2);
    EXPECT_EQ(object->ReleaseRef("a"), 1);
    EXPECT_EQ(gDestroyed, 0);
    EXPECT_EQ(object->ReleaseRef("b"), 0);
    EXPECT_EQ(gDestroyed, 1);
}

TEST(RefCount2, DeleteMeOverrideDecides) {
    Recycled object;
    object.AddRef(nullptr);
    EXPECT_EQ(object.ReleaseRef(nullptr), 0);
    EXPECT_EQ(object.recycled, 1);
}

TEST(RefCount2Member, OnlyCounts) {
    TRefCount2Member member;
    EXPECT_EQ(member.AddRef("x"), 1);
    EXPECT_EQ(member.ReleaseRef("x"), 0);
    EXPECT_EQ(member.ReleaseRef("x"), -1);
    EXPECT_STREQ(GetUnmatchedRefs(&member), "");
}
