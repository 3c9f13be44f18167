// TTimer, its process-wide instance and TStopWatch. The timer keeps its value in whole
// microseconds; at rate 1.0 the elapsed time is added as it is, so the usual path is exact
// and touches no floating point.
#include "General/Platform/Time.h"

#include "General/Platform/Detail/Clock.h"

namespace {

TTimerSource *NewSource() {
    if (vlib::detail::HaveMonotonicClock())
        return new TTimerSourcePerformance;
    return new TTimerSourceTicks;
}

} // namespace

TTimerSource::~TTimerSource() = default;

TTimer::TTimer() : paused(false), rate(1.0f), time(TTime::Zero), source(NewSource()) {}

TTimer::TTimer(TTimerSource *ownedSource)
    : paused(false), rate(1.0f), time(TTime::Zero), source(ownedSource) {}

TTimer::TTimer(const TTimer &other)
    : paused(other.paused), rate(other.rate), time(other.time), source(NewSource()) {}

TTimer &TTimer::operator=(const TTimer &other) {
    if (this != &other) {
        paused = other.paused;
        rate = other.rate;
        time = other.time;
        if (source != nullptr)
            source->Reset();
    }
    return *this;
}

TTimer::~TTimer() {
    delete source;
}

void TTimer::Advance() {
    if (source == nullptr)
        return;
    TTime elapsed;
    source->GetElapsed(elapsed);
    if (rate == 1.0f)
        time += elapsed;
    else
        time += TTime(static_cast<__int64>(static_cast<double>(elapsed.GetValue()) *
                                           static_cast<double>(rate) * 1e-6 * 1e6));
}

void TTimer::SetTime(TTime t) {
    time = t;
    if (source != nullptr)
        source->Reset();
}

void TTimer::SetRate(float r) {
    if (!paused)
        Advance();
    rate = r;
}

void TTimer::Pause() {
    if (!paused)
        Advance();
    paused = true;
}

void TTimer::Unpause() {
    paused = false;
    if (source != nullptr)
        source->Reset();
}

TTimer &NotInlinedSingletonTTimer() {
    static TTimer timer;
    return timer;
}

void TStopWatch::Start() {
    start = GetTimeNow();
    accumulated = TTime::Zero;
    paused = false;
}

TTime TStopWatch::Stop() {
    if (paused) {
        paused = false;
        return accumulated;
    }
    return GetTimeNow() + accumulated - start;
}

TTime TStopWatch::StopStart() {
    const TTime now = GetTimeNow();
    TTime result;
    if (paused) {
        paused = false;
        result = accumulated;
    } else {
        result = now + accumulated - start;
    }
    start = now;
    return result;
}

void TStopWatch::Pause() {
    paused = true;
    accumulated += GetTimeNow() - start;
}

void TStopWatch::UnPause() {
    paused = false;
    start = GetTimeNow();
}
