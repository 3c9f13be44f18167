// TThreadEvent: an auto-reset event wakes one waiter per Set, a manual-reset one wakes all
// until Reset, and a signal set before the wait is not lost.
#include "General/Platform/ThreadEvent.h"

#include <gtest/gtest.h>

#include "Support/Eventually.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using vlib::test::Eventually;

} // namespace

TEST(ThreadEvent, SignalBeforeTheWaitIsKept) {
    TThreadEvent event(false);
    ASSERT_TRUE(event.Set());
    ASSERT_TRUE(event.Wait()); // returns at once
    bool signalled = true;
    ASSERT_TRUE(event.Wait(TTime::MakeMilliSecondsFromInt(1), signalled));
    EXPECT_FALSE(signalled); // the wake-up consumed it
}

TEST(ThreadEvent, AutoResetWakesOneWaiterPerSet) {
    TThreadEvent event(false);
    std::atomic<int> woken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            EXPECT_TRUE(event.Wait());
            ++woken;
        });
    for (int expected = 1; expected <= 3; ++expected) {
        ASSERT_TRUE(event.Set());
        ASSERT_TRUE(Eventually([&] { return woken == expected; }));
        std::this_thread::sleep_for(5ms);
        EXPECT_EQ(woken, expected); // nobody else came through on the same Set
    }
    for (std::thread &t : waiters)
        t.join();
}

TEST(ThreadEvent, ManualResetWakesAllAndStaysSet) {
    TThreadEvent event(true);
    std::atomic<int> woken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            EXPECT_TRUE(event.Wait());
            ++woken;
        });
    ASSERT_TRUE(event.Set());
    for (std::thread &t : waiters)
        t.join();
    EXPECT_EQ(woken, 3);
    bool signalled = false;
    ASSERT_TRUE(event.Wait(TTime::Zero, signalled));
    EXPECT_TRUE(signalled); // still set
    ASSERT_TRUE(event.Reset());
    ASSERT_TRUE(event.Wait(TTime::MakeMilliSecondsFromInt(2), signalled));
    EXPECT_FALSE(signalled);
}

TEST(ThreadEvent, TimedWaitSeesASetFromAnotherThread) {
    TThreadEvent event(false);
    std::thread setter([&] {
        std::this_thread::sleep_for(2ms);
        EXPECT_TRUE(event.Set());
    });
    bool signalled = false;
    ASSERT_TRUE(event.Wait(TTime::MakeSecondsFromInt(5), signalled));
    EXPECT_TRUE(signalled);
    setter.join();
}
