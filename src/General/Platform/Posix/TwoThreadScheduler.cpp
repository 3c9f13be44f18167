// TTwoThreadScheduler over a timer thread that sleeps to absolute deadlines 1 ms apart with
// clock_nanosleep, standing in for a periodic multimedia timer. The working state is one
// static record; a mutex keeps SetProportion1 and the tick from seeing half-rewritten
// accounts.
#include "General/Platform/TwoThreadScheduler.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <thread>

#include "General/Platform/Detail/Clock.h"
#include "General/Platform/Thread.h"

namespace {

constexpr int64_t kPeriodNs = 1000000; // 1 ms
constexpr double kTinySeconds = 1e-15;

struct TSchedulerState {
    std::mutex lock; // guards everything below except the atomics
    std::atomic<bool> active{false};
    std::atomic<bool> stopTimer{false};
    std::atomic<int> favoured{0};
    int timerId = 0;
    int lastTimerId = 0;
    std::thread timer;
    int threads[2] = {0, 0};
    float proportion1 = 0.5f;
    TTime used[2];
    TTime lastTick;
    int suspended[2] = {0, 0}; // suspensions not yet resumed
};

// Never destroyed, so a timer still running at exit finds its state.
TSchedulerState &State() {
    static TSchedulerState *state = new TSchedulerState;
    return *state;
}

TTime Now() {
    return TTime(vlib::detail::MonotonicNanoseconds() / 1000);
}

// Favours thread `choice` (1 or 2): resume it fully, then suspend the other once.
void Favour(TSchedulerState &s, int choice) {
    const int on = choice - 1;
    const int off = 1 - on;
    for (; s.suspended[on] > 0; --s.suspended[on])
        (void)vlib::ResumeThread(s.threads[on]);
    if (vlib::SuspendThread(s.threads[off]) >= 0)
        ++s.suspended[off];
}

void Tick(TSchedulerState &s) {
    std::lock_guard<std::mutex> guard(s.lock);
    const TTime now = Now();
    const int favoured = s.favoured.load(std::memory_order_relaxed);
    if (favoured != 0)
        s.used[favoured - 1] += now - s.lastTick;

    const TTime total = s.used[0] + s.used[1];
    int preferred;
    if (total.GetDoubleSeconds() >= kTinySeconds) {
        const double share = s.used[0].GetDoubleSeconds() / total.GetDoubleSeconds();
        preferred = share >= s.proportion1 ? 2 : 1;
    } else {
        preferred = s.proportion1 <= 0.5f ? 2 : 1;
    }
    if (vlib::HasThreadEnded(s.threads[preferred - 1])) {
        preferred = 3 - preferred;
        if (vlib::HasThreadEnded(s.threads[preferred - 1]))
            preferred = 0;
    }
    if (preferred != 0 && preferred != favoured)
        Favour(s, preferred);
    s.favoured.store(preferred, std::memory_order_relaxed);
    s.lastTick = Now();
}

void TimerLoop(TSchedulerState *s) {
    int64_t next = vlib::detail::MonotonicNanoseconds();
    while (!s->stopTimer.load(std::memory_order_acquire)) {
        next += kPeriodNs;
        const timespec deadline{static_cast<time_t>(next / 1000000000),
                                static_cast<long>(next % 1000000000)};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
        }
        if (s->stopTimer.load(std::memory_order_acquire))
            break;
        Tick(*s);
        // After a long stall, start a fresh period instead of firing a burst of late ticks.
        const int64_t now = vlib::detail::MonotonicNanoseconds();
        if (now - next > 10 * kPeriodNs)
            next = now;
    }
}

} // namespace

TTwoThreadScheduler::~TTwoThreadScheduler() {
    if (m_TimerId != 0 && State().active && State().timerId == m_TimerId)
        Stop();
}

TError TTwoThreadScheduler::Start(int thread1, int thread2, float proportion1) {
    TSchedulerState &s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.active)
        return TError(TError::kFailure);
    s.threads[0] = thread1;
    s.threads[1] = thread2;
    s.proportion1 = proportion1;
    s.used[0] = s.used[1] = TTime::Zero;
    s.suspended[0] = s.suspended[1] = 0;
    s.favoured = 0;
    s.lastTick = Now();
    s.stopTimer = false;
    s.timer = std::thread(TimerLoop, &s);
    s.timerId = ++s.lastTimerId;
    m_TimerId = s.timerId;
    s.active = true;
    return TError(TError::kSuccess);
}

void TTwoThreadScheduler::Stop() {
    TSchedulerState &s = State();
    std::unique_lock<std::mutex> guard(s.lock);
    if (!s.active || s.stopTimer)
        return; // not running, or another thread is stopping it
    s.stopTimer.store(true, std::memory_order_release);
    std::thread timer = std::move(s.timer);
    guard.unlock(); // the last tick may need the lock
    timer.join();
    guard.lock();
    for (int i = 0; i < 2; ++i)
        for (; s.suspended[i] > 0; --s.suspended[i])
            (void)vlib::ResumeThread(s.threads[i]);
    s.timerId = 0;
    m_TimerId = 0;
    s.active = false;
}

void TTwoThreadScheduler::SetProportion1(float p) {
    TSchedulerState &s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    const TTime total = s.used[0] + s.used[1];
    if (total.GetDoubleSeconds() >= kTinySeconds) {
        s.used[0] = total * static_cast<double>(p);
        s.used[1] = total * (1.0 - static_cast<double>(p));
    }
    s.proportion1 = p;
}

TTime TTwoThreadScheduler::GetTimeUsed(int which) {
    TSchedulerState &s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    return which == 1 || which == 2 ? s.used[which - 1] : TTime::Zero;
}

int TTwoThreadScheduler::GetFavoured() {
    return State().favoured.load();
}
