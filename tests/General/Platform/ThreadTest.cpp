// Thread handles: spawning, waiting, names, priorities, affinity, and the cooperative
// suspension that stands in for suspending a thread from outside.
#include "General/Platform/Thread.h"

#include <gtest/gtest.h>

#include "Support/Eventually.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using vlib::test::Eventually;

std::atomic<int> gSeenHandle{0};
std::atomic<unsigned long> gSeenId{0};

void *ReportSelf(void *param, int handle) {
    EXPECT_EQ(param, nullptr);
    gSeenHandle = handle;
    gSeenId = vlib::GetCurrentThreadId();
    EXPECT_EQ(vlib::GetCurrentThreadHandle(), handle);
    return reinterpret_cast<void *>(static_cast<uintptr_t>(100));
}

} // namespace

TEST(Thread, SpawnPassesTheOwnHandleAndWaitReturnsTheExitValue) {
    int handle = 0;
    unsigned long id = 0;
    ASSERT_TRUE(SpawnThread(ReportSelf, &handle, &id));
    void *exitValue = nullptr;
    ASSERT_TRUE(WaitForThreadEnd(handle, &exitValue));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(exitValue), 100u);
    EXPECT_EQ(gSeenHandle.load(), handle);
    EXPECT_EQ(gSeenId.load(), id);
    EXPECT_NE(id, vlib::GetCurrentThreadId());
    // The wait released the handle.
    EXPECT_EQ(WaitForThreadEnd(handle, nullptr).Unsuccessful(), TError::kFailure);
    EXPECT_TRUE(vlib::HasThreadEnded(handle));
    EXPECT_EQ(vlib::SuspendThread(handle), -1);
    EXPECT_EQ(vlib::ResumeThread(handle), -1);
}

TEST(Thread, SpawnWithoutOutArgumentsAndBadArguments) {
    gSeenHandle = 0;
    ASSERT_TRUE(SpawnThread(ReportSelf, nullptr, nullptr));
    EXPECT_TRUE(Eventually([] { return gSeenHandle != 0; }));
    int handle = 1;
    EXPECT_EQ(SpawnThread(nullptr, &handle, nullptr).Unsuccessful(), TError::kFailure);
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(WaitForThreadEnd(-1, nullptr).Unsuccessful(), TError::kFailure);
    EXPECT_EQ(WaitForThreadEnd(vlib::GetCurrentThreadHandle(), nullptr).Unsuccessful(),
              TError::kFailure); // a thread cannot wait for itself
}

TEST(Thread, HandlesOfOtherThreadsEndWithThem) {
    std::atomic<int> handle{0};
    std::atomic<bool> leave{false};
    std::thread other([&] {
        handle = vlib::GetCurrentThreadHandle();
        EXPECT_EQ(vlib::GetCurrentThreadHandle(), handle.load()); // stable
        while (!leave)
            std::this_thread::sleep_for(100us);
    });
    ASSERT_TRUE(Eventually([&] { return handle != 0; }));
    EXPECT_NE(handle.load(), vlib::GetCurrentThreadHandle());
    EXPECT_FALSE(vlib::HasThreadEnded(handle));
    leave = true;
    EXPECT_TRUE(WaitForThreadEnd(handle, nullptr));
    other.join();
    EXPECT_TRUE(vlib::HasThreadEnded(handle));
}

namespace {

std::string NameOf(pthread_t thread) {
    char name[32] = {};
    pthread_getname_np(thread, name, sizeof name);
    return name;
}

} // namespace

TEST(Thread, NamesUpToNineCharacters) {
    std::atomic<int> tid{0};
    std::atomic<int> step{0};
    std::string before, afterShort, afterLong, afterById;
    std::thread worker([&] {
        tid = static_cast<int>(vlib::GetCurrentThreadId());
        before = NameOf(pthread_self());
        SetThreadName(-1, "AsyncImpt"); // 9 characters
        afterShort = NameOf(pthread_self());
        SetThreadName(-1, "TenLetters"); // 10: ignored
        afterLong = NameOf(pthread_self());
        step = 1;
        while (step != 2)
            std::this_thread::sleep_for(100us);
        afterById = NameOf(pthread_self());
    });
    ASSERT_TRUE(Eventually([&] { return step == 1; }));
    SetThreadName(tid, "ASyncIO"); // another thread, by its id
    SetThreadName(tid, nullptr);
    step = 2;
    worker.join();
    EXPECT_EQ(afterShort, "AsyncImpt");
    EXPECT_EQ(afterLong, "AsyncImpt");
    EXPECT_EQ(afterById, "ASyncIO");
    EXPECT_NE(before, "AsyncImpt");
}

TEST(Thread, AffinityBindsTheCallingThread) {
    cpu_set_t allowed;
    ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
    int first = 0;
    while (first < CPU_SETSIZE && !CPU_ISSET(first, &allowed))
        ++first;
    ASSERT_LT(first, 64);
    cpu_set_t seen;
    CPU_ZERO(&seen);
    std::thread worker([&] {
        SetThreadAffinity(1ul << first);
        pthread_getaffinity_np(pthread_self(), sizeof seen, &seen);
    });
    worker.join();
    EXPECT_EQ(CPU_COUNT(&seen), 1);
    EXPECT_TRUE(CPU_ISSET(first, &seen));
}

TEST(Thread, PriorityBelowNormalReadsBack) {
    std::atomic<int> got{99};
    std::atomic<bool> set{false};
    std::thread worker([&] {
        const int self = vlib::GetCurrentThreadHandle();
        set = vlib::SetThreadPriority(self, vlib::kThreadPriorityBelowNormal);
        got = vlib::GetThreadPriority(self);
    });
    worker.join();
    EXPECT_TRUE(set);
    EXPECT_EQ(got, vlib::kThreadPriorityBelowNormal);
    EXPECT_FALSE(vlib::SetThreadPriority(-1, vlib::kThreadPriorityNormal));
}

namespace {

std::atomic<int> gRuns{0};
std::atomic<bool> gStop{false};

void *CountUntilStopped(void *, int) {
    while (!gStop) {
        vlib::ThreadSuspensionPoint();
        ++gRuns;
        std::this_thread::yield();
    }
    return nullptr;
}

// Waits until gRuns holds still for a few milliseconds, the sign of a thread stopped at its
// suspension point.
bool CounterSettles() {
    return Eventually([] {
        const int before = gRuns;
        std::this_thread::sleep_for(3ms);
        return gRuns == before;
    });
}

} // namespace

TEST(Thread, SuspendedSpawnWaitsForItsFirstResume) {
    gRuns = 0;
    gStop = false;
    int handle = 0;
    ASSERT_TRUE(vlib::SpawnSuspendedThread(CountUntilStopped, &handle, nullptr));
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ(gRuns, 0);
    EXPECT_EQ(vlib::ResumeThread(handle), 1);
    EXPECT_TRUE(Eventually([] { return gRuns > 0; }));
    gStop = true;
    EXPECT_TRUE(WaitForThreadEnd(handle, nullptr));
}

TEST(Thread, SuspensionCountsNestAndStopTheThreadAtItsPoint) {
    gRuns = 0;
    gStop = false;
    int handle = 0;
    ASSERT_TRUE(SpawnThread(CountUntilStopped, &handle, nullptr));
    ASSERT_TRUE(Eventually([] { return gRuns > 0; }));
    EXPECT_EQ(vlib::ResumeThread(handle), 0); // not suspended: nothing to do
    EXPECT_EQ(vlib::SuspendThread(handle), 0);
    EXPECT_EQ(vlib::SuspendThread(handle), 1);
    ASSERT_TRUE(CounterSettles());
    const int stoppedAt = gRuns;
    EXPECT_EQ(vlib::ResumeThread(handle), 2);
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ(gRuns, stoppedAt); // still suspended once
    EXPECT_EQ(vlib::ResumeThread(handle), 1);
    EXPECT_TRUE(Eventually([&] { return gRuns > stoppedAt; }));
    gStop = true;
    EXPECT_TRUE(WaitForThreadEnd(handle, nullptr));
}

namespace {

std::atomic<int> gStage{0};

void *SuspendSelf(void *, int handle) {
    gStage = 1;
    EXPECT_EQ(vlib::SuspendThread(handle), 0); // stops here until resumed
    gStage = 2;
    return nullptr;
}

} // namespace

TEST(Thread, SelfSuspensionStopsAtOnce) {
    gStage = 0;
    int handle = 0;
    ASSERT_TRUE(SpawnThread(SuspendSelf, &handle, nullptr));
    // A resume that comes before the suspension finds a count of 0 and does nothing, so
    // resume until one finds the thread suspended.
    ASSERT_TRUE(Eventually([&] { return vlib::ResumeThread(handle) == 1; }));
    EXPECT_TRUE(WaitForThreadEnd(handle, nullptr));
    EXPECT_EQ(gStage, 2);
}
