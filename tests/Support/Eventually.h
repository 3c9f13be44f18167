// Polling for a condition that another thread brings about, for tests of threads and locks:
// the test goes on as soon as the condition holds and fails only after a generous limit, so
// a slow machine (or a sanitizer build) makes it slower, not flaky.
#pragma once

#include <chrono>
#include <thread>

namespace vlib::test {

/// Polls `done` every 100 microseconds until it holds (true) or `limit` passes (false).
template <class F>
bool Eventually(F done, std::chrono::milliseconds limit = std::chrono::milliseconds(2000)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

} // namespace vlib::test
