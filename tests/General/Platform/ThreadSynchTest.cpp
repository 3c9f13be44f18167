// TThreadSynch: the barrier by position for a group of threads, waiting from outside the
// group, and the failures for bad members and threads that cannot be resumed.
#include "General/Platform/ThreadSynch.h"

#include <gtest/gtest.h>

#include "Support/Eventually.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "General/Platform/Thread.h"

namespace {

using namespace std::chrono_literals;
using vlib::test::Eventually;

// A member thread of a test group: the test body runs with the member's own handle.
struct Member {
    std::atomic<int> handle{0};
    std::atomic<bool> go{false};
    std::thread thread;

    template <class F> void Start(F body) {
        thread = std::thread([this, body] {
            handle = vlib::GetCurrentThreadHandle();
            while (!go)
                std::this_thread::sleep_for(100us);
            body(handle.load());
        });
        while (handle == 0)
            std::this_thread::sleep_for(100us);
    }
};

} // namespace

TEST(ThreadSynch, LastOfTwoResumesTheFirstAndDoesNotWait) {
    TThreadSynch synch;
    Member a, b;
    std::atomic<int> order{0};
    std::atomic<int> aPassed{0}, bArrived{0};
    a.Start([&](int self) {
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 1));
        aPassed = ++order;
    });
    b.Start([&](int self) {
        std::this_thread::sleep_for(5ms); // usually lets the first wait
        bArrived = ++order;
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 1)); // must not suspend
    });
    int group[] = {a.handle, b.handle};
    synch.Setup(group, 2);
    a.go = b.go = true;
    a.thread.join();
    b.thread.join();
    EXPECT_EQ(bArrived, 1);
    EXPECT_EQ(aPassed, 2);
}

TEST(ThreadSynch, EarlyArrivalsWaitForSetup) {
    TThreadSynch synch;
    Member a;
    std::atomic<bool> passed{false};
    a.Start([&](int self) {
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 1));
        passed = true;
    });
    a.go = true;
    std::this_thread::sleep_for(5ms);
    EXPECT_FALSE(passed); // blocked on the section held since construction
    int group[] = {a.handle};
    synch.Setup(group, 1);
    a.thread.join();
    EXPECT_TRUE(passed);
}

TEST(ThreadSynch, NoMemberPassesAPositionBeforeAllReachIt) {
    constexpr int kMembers = 3;
    constexpr int kRounds = 60;
    TThreadSynch synch;
    std::atomic<int> reached[kMembers] = {};
    std::atomic<bool> overtaken{false};
    Member members[kMembers];
    for (int m = 0; m < kMembers; ++m)
        members[m].Start([&, m](int self) {
            for (int p = 1; p <= kRounds; ++p) {
                reached[m] = p;
                EXPECT_TRUE(synch.ReachedWaitForOthers(self, p));
                for (const auto &other : reached)
                    if (other < p)
                        overtaken = true;
            }
        });
    int group[kMembers];
    for (int m = 0; m < kMembers; ++m)
        group[m] = members[m].handle;
    synch.Setup(group, kMembers);

    // The main thread, outside the group, waits for a middle position.
    for (Member &member : members)
        member.go = true;
    EXPECT_TRUE(synch.WaitForAllToReach(vlib::GetCurrentThreadHandle(), kRounds / 2));
    for (const auto &position : reached)
        EXPECT_GE(position, kRounds / 2);
    for (Member &member : members)
        member.thread.join();
    EXPECT_FALSE(overtaken);
}

TEST(ThreadSynch, MembersWaitingAtDifferentPositions) {
    // a waits at 3 while b waits at 1 for c; c's arrival at 1 frees b but not a.
    TThreadSynch synch;
    Member a, b, c;
    std::atomic<bool> aPassed{false}, bPassed{false};
    a.Start([&](int self) {
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 3));
        aPassed = true;
    });
    b.Start([&](int self) {
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 1));
        bPassed = true;
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 3));
    });
    std::atomic<bool> cNext{false};
    c.Start([&](int self) {
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 1));
        while (!cNext)
            std::this_thread::sleep_for(100us);
        EXPECT_TRUE(synch.ReachedWaitForOthers(self, 3));
    });
    int group[] = {a.handle, b.handle, c.handle};
    synch.Setup(group, 3);
    a.go = b.go = true;
    std::this_thread::sleep_for(3ms);
    c.go = true;
    ASSERT_TRUE(Eventually([&] { return bPassed.load(); }));
    std::this_thread::sleep_for(3ms);
    EXPECT_FALSE(aPassed);
    cNext = true;
    for (Member *m : {&a, &b, &c})
        m->thread.join();
    EXPECT_TRUE(aPassed);
}

TEST(ThreadSynch, RefusesBeforeSetupAndOutsiders) {
    TThreadSynch synch;
    const int self = vlib::GetCurrentThreadHandle();
    // The constructing thread holds the section, so it is not stopped: it is refused.
    EXPECT_EQ(synch.ReachedWaitForOthers(self, 1).Unsuccessful(), TError::kFailure);
    EXPECT_EQ(synch.WaitForAllToReach(self, 1).Unsuccessful(), TError::kFailure);
    int group[] = {self};
    synch.Setup(group, 1);
    synch.Setup(nullptr, 0); // a second Setup changes nothing
    EXPECT_EQ(synch.ReachedWaitForOthers(self + 1000, 1).Unsuccessful(), TError::kFailure);
    EXPECT_TRUE(synch.ReachedWaitForOthers(self, 2)); // a group of one never waits
    EXPECT_TRUE(synch.WaitForAllToReach(self, 2));
}

namespace {

std::atomic<bool> gLeave{false};
std::atomic<bool> gInside{false};

void *LeaveWhenTold(void *, int) {
    gInside = true;
    while (!gLeave)
        std::this_thread::sleep_for(100us);
    return nullptr;
}

} // namespace

TEST(ThreadSynch, AWaiterThatEndedCannotBeResumed) {
    TThreadSynch synch;
    const int self = vlib::GetCurrentThreadHandle();
    int group[] = {self};
    synch.Setup(group, 1);
    gLeave = false;
    int other = 0;
    gInside = false;
    ASSERT_TRUE(SpawnThread(LeaveWhenTold, &other, nullptr));
    ASSERT_TRUE(Eventually([] { return gInside.load(); }));
    // Registers `other` to wait for position 5; it is another thread, so this returns, and
    // `other` would stop at its next suspension point, which it never reaches.
    ASSERT_TRUE(synch.WaitForAllToReach(other, 5));
    gLeave = true;
    ASSERT_TRUE(Eventually([&] { return vlib::HasThreadEnded(other); }));
    EXPECT_EQ(synch.ReachedWaitForOthers(self, 5).Unsuccessful(), TError::kThreadResume);
    EXPECT_TRUE(WaitForThreadEnd(other, nullptr));
}
