// TCriticalSection as a futex lock with an owner and a recursion count. An uncontended
// Lock/Release is one compare-exchange and one exchange, with no call into the C library:
// a recursive pthread mutex cost twice a std::mutex here, and the allocator takes this lock
// for every block.
#include "General/Platform/CriticalSection.h"

#include <atomic>
#include <cstdint>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "General/Platform/Detail/ThreadIdentity.h"

namespace vlib::detail {

struct TSectionState {
    // 0 free, 1 held, 2 held and someone may sleep on it.
    std::atomic<uint32_t> word{0};
    std::atomic<uintptr_t> owner{0};
    // Only the holder changes it; atomic because Release may come from another thread.
    std::atomic<uint32_t> recursion{0};
};

namespace {

constexpr int kSpins = 100;

void FutexWait(std::atomic<uint32_t> &word, uint32_t value) {
    syscall(SYS_futex, reinterpret_cast<uint32_t *>(&word), FUTEX_WAIT_PRIVATE, value, nullptr,
            nullptr, 0);
}

void FutexWakeOne(std::atomic<uint32_t> &word) {
    syscall(SYS_futex, reinterpret_cast<uint32_t *>(&word), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr,
            0);
}

// The contended path: spin a little, then mark the word as contended and sleep on it.
[[gnu::noinline]] void LockSlow(TSectionState &s) {
    for (int i = 0; i < kSpins; ++i) {
        uint32_t expected = 0;
        if (s.word.load(std::memory_order_relaxed) == 0 &&
            s.word.compare_exchange_weak(expected, 1, std::memory_order_acquire,
                                         std::memory_order_relaxed))
            return;
        __builtin_ia32_pause();
    }
    while (s.word.exchange(2, std::memory_order_acquire) != 0)
        FutexWait(s.word, 2);
}

} // namespace
} // namespace vlib::detail

using vlib::detail::TSectionState;

TCriticalSection::TCriticalSection() : m_Section(new TSectionState) {
    // The runtime's own new, never the library heap: the allocator locks with this class.
}

TCriticalSection::~TCriticalSection() {
    delete m_Section;
}

TError TCriticalSection::Lock() {
    TSectionState &s = *m_Section;
    const uintptr_t self = vlib::detail::CurrentThreadIdentity();
    if (s.owner.load(std::memory_order_relaxed) == self) {
        s.recursion.store(s.recursion.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
        return TError(TError::kSuccess);
    }
    uint32_t expected = 0;
    if (!s.word.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                        std::memory_order_relaxed))
        vlib::detail::LockSlow(s);
    s.owner.store(self, std::memory_order_relaxed);
    s.recursion.store(1, std::memory_order_relaxed);
    return TError(TError::kSuccess);
}

TError TCriticalSection::Release() {
    TSectionState &s = *m_Section;
    const uint32_t depth = s.recursion.load(std::memory_order_relaxed);
    if (depth == 0)
        return TError(TError::kSuccess); // not held: nothing to leave
    s.recursion.store(depth - 1, std::memory_order_relaxed);
    if (depth > 1)
        return TError(TError::kSuccess);
    s.owner.store(0, std::memory_order_relaxed);
    if (s.word.exchange(0, std::memory_order_release) == 2)
        vlib::detail::FutexWakeOne(s.word);
    return TError(TError::kSuccess);
}
