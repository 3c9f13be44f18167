// The clock readings and the timer sources over clock_gettime. CLOCK_MONOTONIC counts in
// nanoseconds, so its frequency is a constant 1e9 and the conversions need no division by a
// value read at run time.
#include "General/Platform/Detail/Clock.h"

#include <ctime>

#include "General/Platform/Time.h"

namespace vlib::detail {

int64_t MonotonicNanoseconds() {
    timespec ts;
    if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0)
        return 0;
    return int64_t(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

bool HaveMonotonicClock() {
    static const bool kHave = [] {
        timespec ts;
        return clock_gettime(CLOCK_MONOTONIC, &ts) == 0;
    }();
    return kHave;
}

uint32_t TickCount() {
    timespec ts;
    if (clock_gettime(CLOCK_MONOTONIC_COARSE, &ts) != 0 && clock_gettime(CLOCK_REALTIME, &ts) != 0)
        return 0;
    return static_cast<uint32_t>(uint64_t(ts.tv_sec) * 1000 + uint64_t(ts.tv_nsec) / 1000000);
}

} // namespace vlib::detail

TTimerSourcePerformance::TTimerSourcePerformance() : m_Last(vlib::detail::MonotonicNanoseconds()) {}

TTimerSourcePerformance::~TTimerSourcePerformance() = default;

void TTimerSourcePerformance::Reset() {
    m_Last = vlib::detail::MonotonicNanoseconds();
}

void TTimerSourcePerformance::GetElapsed(TTime &out) {
    const __int64 micro = (vlib::detail::MonotonicNanoseconds() - m_Last) / 1000;
    m_Last += micro * 1000; // the part of a microsecond not handed out counts next time
    out = TTime(micro);
}

TTimerSourceTicks::TTimerSourceTicks() : m_Last(vlib::detail::TickCount()) {}

TTimerSourceTicks::~TTimerSourceTicks() = default;

void TTimerSourceTicks::Reset() {
    m_Last = vlib::detail::TickCount();
}

void TTimerSourceTicks::GetElapsed(TTime &out) {
    const uint32_t now = vlib::detail::TickCount();
    out = TTime(__int64(static_cast<int32_t>(now - m_Last)) * 1000);
    m_Last = now;
}
