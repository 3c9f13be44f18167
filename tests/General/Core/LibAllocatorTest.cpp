#include "General/Core/LibAllocator.h"

#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "General/Core/DebugServices.h"
#include "General/Core/LibContainers.h"
#include "Support/TempDir.h"

namespace {

struct Counted : TBaseAllocator {
    int value = 7;
};

class CaptureCopy : public TFormatDebugCopy {
public:
    void OutputFDString(const char *text) override { m_Text += text; }
    std::string m_Text;
};

} // namespace

TEST(LibAllocator, BaseAllocatorNewGoesThroughTheLibraryHeap) {
    auto &allocator = GetAllocatorInstance();
    const size_t before = allocator.GetLiveBlocks();
    auto *object = new Counted;
    EXPECT_EQ(allocator.GetLiveBlocks(), before + 1);
    EXPECT_EQ(object->value, 7);
    delete object;
    EXPECT_EQ(allocator.GetLiveBlocks(), before);
    Counted *none = nullptr;
    delete none; // a null delete makes no allocator call
    EXPECT_EQ(allocator.GetLiveBlocks(), before);
}

TEST(LibAllocator, AlignedBlocksAreAlignedAndKeepTheirRawPointer) {
    auto &allocator = GetAllocatorInstance();
    const size_t before = allocator.GetLiveBlocks();
    for (int alignment : {1, 2, 4, 8, 16, 32, 64, 4096}) {
        for (int size : {0, 1, 15, 16, 100, 5000}) {
            SCOPED_TRACE(testing::Message() << "alignment " << alignment << " size " << size);
            unsigned char *block = allocator.AllocAligned(size, alignment);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignment, 0u);
            unsigned char *raw = nullptr;
            std::memcpy(&raw, block - sizeof(raw), sizeof(raw));
            // The result always lies beyond the back pointer, and the block of
            // size + alignment + 8 bytes covers [block, block + size).
            EXPECT_GE(block, raw + sizeof(raw) + 1);
            EXPECT_LE(block + size, raw + size + alignment + sizeof(raw));
            std::memset(block, 0xAB, size);
            allocator.UnallocAligned(block);
        }
    }
    EXPECT_EQ(allocator.GetLiveBlocks(), before);
    EXPECT_EQ(allocator.AllocAligned(16, 3), nullptr) << "alignment must be a power of two";
}

TEST(LibAllocator, FaultInjectionFailsTheNthAllocationOnceOrFromThenOn) {
    vlib::test::TAllocatorFaultGuard guard;
    auto &allocator = GetAllocatorInstance();
    CaptureCopy copy;
    GetFormatDebugCopies().AddCopy(&copy);

    allocator.Faults().Arm(2);
    unsigned char *first = allocator.Alloc(8);
    unsigned char *second = allocator.Alloc(8);
    unsigned char *third = allocator.Alloc(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    EXPECT_NE(copy.m_Text.find("Game over man! Out of memory!"), std::string::npos);
    allocator.Unalloc(first);
    allocator.Unalloc(third);

    allocator.Faults().Arm(1, true);
    EXPECT_EQ(allocator.Alloc(8), nullptr);
    EXPECT_EQ(allocator.AllocAligned(8, 16), nullptr);
    EXPECT_EQ(new Counted, nullptr) << "a failed new constructs nothing";
    EXPECT_EQ(allocator.Faults().GetFailures(), 3u);
    allocator.Faults().Disarm();
    unsigned char *after = allocator.Alloc(8);
    EXPECT_NE(after, nullptr);
    allocator.Unalloc(after);
    GetFormatDebugCopies().RemoveCopy(&copy);
}

TEST(LibAllocator, ContainersThrowBadAllocWhenTheHeapFails) {
    vlib::test::TAllocatorFaultGuard guard;
    TLibVector<int> values;
    GetAllocatorInstance().Faults().Arm(1);
    EXPECT_THROW(values.push_back(1), std::bad_alloc);
    values.push_back(2);
    EXPECT_EQ(values.size(), 1u);
}

TEST(LibAllocator, FailureWatchSeesFailuresOfItsOwnThreadSinceItBegan) {
    auto &allocator = GetAllocatorInstance();
    vlib::test::TAllocatorFaultGuard guard;
    allocator.Faults().Arm(1);
    EXPECT_EQ(allocator.Alloc(8), nullptr); // before the watches: not theirs
    TAllocationFailureWatch outer;
    unsigned char *block = allocator.Alloc(8);
    EXPECT_FALSE(outer.Failed());
    allocator.Unalloc(block);

    allocator.Faults().Arm(1);
    std::thread([&] { EXPECT_EQ(allocator.Alloc(8), nullptr); }).join();
    EXPECT_FALSE(outer.Failed()); // another thread's failure

    allocator.Faults().Arm(1);
    TAllocationFailureWatch inner;
    EXPECT_EQ(allocator.AllocAligned(8, 16), nullptr);
    EXPECT_TRUE(inner.Failed());
    EXPECT_TRUE(outer.Failed());
    EXPECT_FALSE(TAllocationFailureWatch().Failed());
}

TEST(LibAllocator, RetryLoopFindsTheFirstRunWithoutFaults) {
    // A job of three allocations that cleans up after a failure needs four attempts.
    int attempts = vlib::test::RunUntilAllocationsSucceed([] {
        auto &allocator = GetAllocatorInstance();
        unsigned char *blocks[3] = {};
        bool ok = true;
        for (auto &block : blocks) {
            block = allocator.Alloc(32);
            ok = ok && block != nullptr;
        }
        for (auto *block : blocks)
            allocator.Unalloc(block);
        return ok;
    });
    EXPECT_EQ(attempts, 4);
}

TEST(LibAllocator, CountsLiveBytesAndFootprint) {
    auto &allocator = GetAllocatorInstance();
    const unsigned long before = allocator.GetTotalAlloc();
    unsigned char *block = allocator.Alloc(1 << 20);
    ASSERT_NE(block, nullptr);
    EXPECT_GE(allocator.GetTotalAlloc(), before + (1u << 20));
    EXPECT_GT(allocator.GetMemoryFootprint(), 0u);
    allocator.Unalloc(block);
    EXPECT_EQ(allocator.GetTotalAlloc(), before);
    EXPECT_TRUE(allocator.IsValid());
}

TEST(LibAllocator, TwoThreadsShareTheHeap) {
    auto &allocator = GetAllocatorInstance();
    const size_t before = allocator.GetLiveBlocks();
    auto work = [] {
        TLibVector<unsigned char *> blocks;
        blocks.reserve(1000);
        for (int round = 0; round < 20; ++round) {
            for (int i = 0; i < 1000; ++i)
                blocks.push_back(GetAllocatorInstance().Alloc(16 + i % 64));
            for (auto *block : blocks)
                GetAllocatorInstance().Unalloc(block);
            blocks.clear();
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    EXPECT_EQ(allocator.GetLiveBlocks(), before);
}
