// TTwoThreadScheduler: one scheduler at a time, the accounts converge to the proportion, a
// changed proportion holds at once, and a thread that has ended is passed over.
#include "General/Platform/TwoThreadScheduler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include "General/Platform/Thread.h"
#include "Support/Eventually.h"

namespace {

using namespace std::chrono_literals;

std::atomic<bool> gStop{false};
std::atomic<long> gWork[2];

// A busy worker that honours suspension at each unit of work.
void *Work(int which) {
    while (!gStop) {
        vlib::ThreadSuspensionPoint();
        ++gWork[which];
        std::this_thread::yield();
    }
    return nullptr;
}
void *Work1(void *, int) {
    return Work(0);
}
void *Work2(void *, int) {
    return Work(1);
}
void *EndAtOnce(void *, int) {
    return nullptr;
}

TTime TotalUsed() {
    return TTwoThreadScheduler::GetTimeUsed(1) + TTwoThreadScheduler::GetTimeUsed(2);
}

// Waits until the scheduler has shared out at least `ms` milliseconds; a loaded machine may
// hold its timer back.
bool SharedOut(int ms) {
    return vlib::test::Eventually(
        [ms] { return TotalUsed() >= TTime::MakeMilliSecondsFromInt(ms); },
        std::chrono::milliseconds(10000));
}

double Share1() {
    const double used1 = TTwoThreadScheduler::GetTimeUsed(1).GetDoubleSeconds();
    const double used2 = TTwoThreadScheduler::GetTimeUsed(2).GetDoubleSeconds();
    return used1 / (used1 + used2);
}

// Two workers, stopped and waited for at the end of the test.
class TwoThreadSchedulerTest : public ::testing::Test {
protected:
    void SetUp() override {
        gStop = false;
        gWork[0] = gWork[1] = 0;
        ASSERT_TRUE(SpawnThread(Work1, &m_Thread1, nullptr));
        ASSERT_TRUE(SpawnThread(Work2, &m_Thread2, nullptr));
    }
    void TearDown() override {
        m_Scheduler.Stop(); // resumes whatever it suspended
        gStop = true;
        EXPECT_TRUE(WaitForThreadEnd(m_Thread1, nullptr));
        EXPECT_TRUE(WaitForThreadEnd(m_Thread2, nullptr));
    }
    int m_Thread1 = 0, m_Thread2 = 0;
    TTwoThreadScheduler m_Scheduler;
};

} // namespace

TEST_F(TwoThreadSchedulerTest, OnlyOneRunsAtATime) {
    ASSERT_TRUE(m_Scheduler.Start(m_Thread1, m_Thread2, 0.5f));
    EXPECT_EQ(m_Scheduler.Start(m_Thread1, m_Thread2, 0.5f).Unsuccessful(), TError::kFailure);
    TTwoThreadScheduler other;
    EXPECT_EQ(other.Start(m_Thread1, m_Thread2, 0.5f).Unsuccessful(), TError::kFailure);
    m_Scheduler.Stop();
    m_Scheduler.Stop(); // not active: nothing
    ASSERT_TRUE(other.Start(m_Thread1, m_Thread2, 0.5f));
    other.Stop();
}

TEST_F(TwoThreadSchedulerTest, AccountsFollowTheProportion) {
    ASSERT_TRUE(m_Scheduler.Start(m_Thread1, m_Thread2, 0.75f));
    ASSERT_TRUE(SharedOut(100));
    const double share = Share1();
    const long work1 = gWork[0], work2 = gWork[1];
    m_Scheduler.Stop();
    EXPECT_NEAR(share, 0.75, 0.15); // a stalled timer tick under load credits a long span
    EXPECT_GT(work1, 0);
    EXPECT_GT(work2, 0);
}

TEST_F(TwoThreadSchedulerTest, TheFavouredThreadRunsAndTheOtherIsSuspended) {
    // With proportion 0.9, thread 1 is favoured most of the time; stopping the scheduler
    // resumes thread 2 in any case.
    ASSERT_TRUE(m_Scheduler.Start(m_Thread1, m_Thread2, 0.9f));
    // Sample a tick at which thread 2 is out of favour, and see it make no progress.
    bool sawStill = false;
    for (int attempt = 0; attempt < 200 && !sawStill; ++attempt) {
        if (TTwoThreadScheduler::GetFavoured() != 1) {
            std::this_thread::sleep_for(100us);
            continue;
        }
        const long before = gWork[1];
        std::this_thread::sleep_for(300us);
        sawStill = TTwoThreadScheduler::GetFavoured() == 1 && gWork[1] - before <= 1;
    }
    EXPECT_TRUE(sawStill);
    m_Scheduler.Stop();
    const long after = gWork[1];
    const auto limit = std::chrono::steady_clock::now() + 2s;
    while (gWork[1] == after && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(100us);
    EXPECT_GT(gWork[1], after); // resumed by Stop
}

TEST_F(TwoThreadSchedulerTest, NewProportionHoldsAtOnce) {
    ASSERT_TRUE(m_Scheduler.Start(m_Thread1, m_Thread2, 0.5f));
    ASSERT_TRUE(SharedOut(40));
    m_Scheduler.SetProportion1(0.2f);
    // The accounts were rewritten: the share is the new one at once, not 0.5 catching up.
    // (A tick or two may come in between; a stalled timer under load may credit more.)
    EXPECT_NEAR(Share1(), 0.2, 0.1);
}

TEST(TwoThreadScheduler, AnEndedThreadIsPassedOver) {
    gStop = false;
    gWork[0] = 0;
    int worker = 0, ended = 0;
    ASSERT_TRUE(SpawnThread(Work1, &worker, nullptr));
    ASSERT_TRUE(SpawnThread(EndAtOnce, &ended, nullptr));
    const auto limit = std::chrono::steady_clock::now() + 2s;
    while (!vlib::HasThreadEnded(ended) && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(100us);
    ASSERT_TRUE(vlib::HasThreadEnded(ended));

    TTwoThreadScheduler scheduler;
    // Proportion 0.1 prefers the ended thread 2 at every tick; thread 1 runs all the time.
    ASSERT_TRUE(scheduler.Start(worker, ended, 0.1f));
    // Wait for a few ticks; a loaded machine may hold the timer back.
    ASSERT_TRUE(vlib::test::Eventually(
        [] { return TTwoThreadScheduler::GetTimeUsed(1) > TTime::MakeMilliSecondsFromInt(3); }));
    for (int check = 0; check < 3; ++check) {
        // Never suspended: a resume finds a count of 0. And it keeps working.
        EXPECT_EQ(vlib::ResumeThread(worker), 0);
        const long before = gWork[0];
        const auto limit = std::chrono::steady_clock::now() + 2s;
        while (gWork[0] == before && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(1ms);
        EXPECT_GT(gWork[0], before);
    }
    EXPECT_EQ(TTwoThreadScheduler::GetTimeUsed(2), TTime::Zero);
    EXPECT_GT(TTwoThreadScheduler::GetTimeUsed(1), TTime::Zero);
    EXPECT_EQ(TTwoThreadScheduler::GetFavoured(), 1);
    scheduler.Stop();
    gStop = true;
    EXPECT_TRUE(WaitForThreadEnd(worker, nullptr));
    EXPECT_TRUE(WaitForThreadEnd(ended, nullptr));
}
