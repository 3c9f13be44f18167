// TCriticalSection and TCheckableCriticalSection: exclusion under contention, recursion, and
// the checkable section's answers to its owner and to other threads.
#include "General/Platform/CriticalSection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Several threads add to a plain counter under `section`, some of them re-entering it.
template <class Section> void Hammer(Section &section) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                EXPECT_TRUE(section.Lock());
                if ((i + t) % 3 == 0) {
                    EXPECT_TRUE(section.Lock());
                    ++counter;
                    EXPECT_TRUE(section.Release());
                } else {
                    ++counter;
                }
                EXPECT_TRUE(section.Release());
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(counter, long(kThreads) * kRounds);
}

} // namespace

TEST(CriticalSection, ExcludesUnderContention) {
    TCriticalSection section;
    Hammer(section);
}

TEST(CriticalSection, RecursionHoldsUntilTheLastRelease) {
    TCriticalSection section;
    ASSERT_TRUE(section.Lock());
    ASSERT_TRUE(section.Lock());
    std::atomic<bool> entered{false};
    std::thread other([&] {
        vlib::TCriticalSectionGuard guard(section);
        entered = true;
    });
    EXPECT_TRUE(section.Release());
    std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(entered); // still held once
    EXPECT_TRUE(section.Release());
    other.join();
    EXPECT_TRUE(entered);
}

TEST(CriticalSection, ReleaseOfAFreeSectionChangesNothing) {
    TCriticalSection section;
    EXPECT_TRUE(section.Release());
    ASSERT_TRUE(section.Lock());
    std::atomic<bool> entered{false};
    std::thread other([&] {
        vlib::TCriticalSectionGuard guard(section);
        entered = true;
    });
    std::this_thread::sleep_for(5ms);
    EXPECT_FALSE(entered);
    EXPECT_TRUE(section.Release());
    other.join();
    EXPECT_TRUE(entered);
}

TEST(CheckableCriticalSection, ExcludesUnderContention) {
    TCheckableCriticalSection section;
    Hammer(section);
}

TEST(CheckableCriticalSection, OwnerAndOthersSeeItDifferently) {
    TCheckableCriticalSection section;
    bool locked = true;
    ASSERT_TRUE(section.IsLocked(locked));
    EXPECT_FALSE(locked);

    ASSERT_TRUE(section.Lock());
    ASSERT_TRUE(section.IsLocked(locked));
    EXPECT_FALSE(locked); // the owner's own hold does not count
    ASSERT_TRUE(section.TryLock(locked));
    EXPECT_TRUE(locked); // and raises the recursion

    std::atomic<int> stage{0};
    bool otherSeesLocked = false, otherGot = true, otherGotLater = false;
    TError otherRelease(0);
    std::thread other([&] {
        (void)section.IsLocked(otherSeesLocked);
        (void)section.TryLock(otherGot);
        otherRelease = section.Release(); // not the owner
        stage = 1;
        while (stage != 2)
            std::this_thread::sleep_for(100us);
        (void)section.TryLock(otherGotLater);
        if (otherGotLater)
            (void)section.Release();
    });
    while (stage != 1)
        std::this_thread::sleep_for(100us);
    EXPECT_TRUE(otherSeesLocked);
    EXPECT_FALSE(otherGot);
    EXPECT_EQ(otherRelease.Unsuccessful(), TError::kFailure);

    EXPECT_TRUE(section.Release());
    ASSERT_TRUE(section.IsLocked(locked));
    EXPECT_FALSE(locked);
    EXPECT_TRUE(section.Release());                                // the TryLock's level
    EXPECT_EQ(section.Release().Unsuccessful(), TError::kFailure); // nothing left
    stage = 2;
    other.join();
    EXPECT_TRUE(otherGotLater);
}

TEST(CheckableCriticalSection, AWaiterCountsAsLocked) {
    TCheckableCriticalSection section;
    std::atomic<bool> holding{false}, waiterIn{false}, leave{false};
    std::thread holder([&] {
        (void)section.Lock();
        holding = true;
        while (!leave)
            std::this_thread::sleep_for(100us);
        (void)section.Release();
    });
    while (!holding)
        std::this_thread::sleep_for(100us);
    std::thread waiter([&] {
        (void)section.Lock(); // blocks until the holder leaves
        waiterIn = true;
        (void)section.Release();
    });
    std::this_thread::sleep_for(5ms);
    leave = true;
    holder.join();
    // The holder is gone; the section stays locked to us until the waiter has been through.
    while (!waiterIn) {
        bool locked = false;
        (void)section.IsLocked(locked);
        EXPECT_TRUE(locked || waiterIn);
        std::this_thread::sleep_for(100us);
    }
    waiter.join();
    bool locked = true;
    (void)section.IsLocked(locked);
    EXPECT_FALSE(locked);
}
