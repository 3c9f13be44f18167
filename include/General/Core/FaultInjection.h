// A countdown that makes the N-th call of an operation fail, once or from then on. The
// allocator and the file objects carry one each, always compiled in, so tests can run a
// loader in a loop over N and prove that every failure is passed up and nothing leaks.
#pragma once

#include <atomic>
#include <cstdint>

#include "General/Core/Export.h"

namespace vlib {

/// Counts calls and reports the one (or ones) that should fail. Costs one predictable branch
/// when disarmed.
class TFaultCountdown {
public:
    /// Makes call number `n` (1-based, counted from now) fail; with `persistent`, every call
    /// from then on fails as well.
    void Arm(uint64_t n, bool persistent = false) {
        m_Persistent.store(persistent, std::memory_order_relaxed);
        m_Failing.store(false, std::memory_order_relaxed);
        m_Failures.store(0, std::memory_order_relaxed);
        m_Remaining.store(n, std::memory_order_relaxed);
        m_Armed.store(n != 0, std::memory_order_release);
    }
    void Disarm() {
        m_Armed.store(false, std::memory_order_release);
        m_Failing.store(false, std::memory_order_relaxed);
        m_Remaining.store(0, std::memory_order_relaxed);
    }
    bool IsArmed() const { return m_Armed.load(std::memory_order_relaxed); }
    /// How many failures were reported since the last Arm.
    uint64_t GetFailures() const { return m_Failures.load(std::memory_order_relaxed); }

    /// Called once per operation; true means "fail this one".
    bool ShouldFail() {
        if (__builtin_expect(!m_Armed.load(std::memory_order_relaxed), 1))
            return false;
        return Step();
    }

private:
    bool Step() {
        if (m_Failing.load(std::memory_order_relaxed)) {
            m_Failures.fetch_add(1, std::memory_order_relaxed);
            return true;
        }
        if (m_Remaining.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return false;
        m_Failures.fetch_add(1, std::memory_order_relaxed);
        if (m_Persistent.load(std::memory_order_relaxed))
            m_Failing.store(true, std::memory_order_relaxed);
        else
            m_Armed.store(false, std::memory_order_relaxed);
        return true;
    }

    std::atomic<bool> m_Armed{false};
    std::atomic<bool> m_Persistent{false};
    std::atomic<bool> m_Failing{false};
    std::atomic<uint64_t> m_Remaining{0};
    std::atomic<uint64_t> m_Failures{0};
};

} // namespace vlib
