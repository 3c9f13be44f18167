// Raw readings of the system clocks for the platform layer: the monotonic nanosecond counter
// behind the timers and the scheduler, and the 32-bit millisecond tick.
#pragma once

#include <cstdint>

namespace vlib::detail {

/// Nanoseconds on the monotonic clock; 0 if it cannot be read.
int64_t MonotonicNanoseconds();
/// Whether the monotonic clock can be read at all; asked once per process.
bool HaveMonotonicClock();
/// Milliseconds on a coarse clock, wrapping at 32 bits.
uint32_t TickCount();

} // namespace vlib::detail
