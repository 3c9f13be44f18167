// TThreadEvent over a mutex, a condition variable and a flag. A set auto-reset event is
// consumed by exactly one waiter, so one Set never wakes two threads.
#include "General/Platform/ThreadEvent.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>

namespace vlib::detail {

struct TEventState {
    explicit TEventState(bool manual) : manualReset(manual) {}
    const bool manualReset;
    std::mutex lock;
    std::condition_variable signal;
    bool signalled = false; // guarded by lock
};

} // namespace vlib::detail

TThreadEvent::TThreadEvent(bool manualReset)
    : m_Handle(new (std::nothrow) vlib::detail::TEventState(manualReset)) {}

TThreadEvent::~TThreadEvent() {
    delete m_Handle;
}

TError TThreadEvent::Set() {
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    {
        std::lock_guard<std::mutex> guard(m_Handle->lock);
        m_Handle->signalled = true;
    }
    if (m_Handle->manualReset)
        m_Handle->signal.notify_all();
    else
        m_Handle->signal.notify_one();
    return TError(TError::kSuccess);
}

TError TThreadEvent::Reset() {
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    std::lock_guard<std::mutex> guard(m_Handle->lock);
    m_Handle->signalled = false;
    return TError(TError::kSuccess);
}

TError TThreadEvent::Wait() {
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    std::unique_lock<std::mutex> guard(m_Handle->lock);
    m_Handle->signal.wait(guard, [this] { return m_Handle->signalled; });
    if (!m_Handle->manualReset)
        m_Handle->signalled = false;
    return TError(TError::kSuccess);
}

TError TThreadEvent::Wait(TTime timeout, bool &signalled) {
    signalled = false;
    if (m_Handle == nullptr)
        return TError(TError::kFailure);
    std::unique_lock<std::mutex> guard(m_Handle->lock);
    const auto span = std::chrono::microseconds(timeout.GetValue() > 0 ? timeout.GetValue() : 0);
    if (!m_Handle->signal.wait_for(guard, span, [this] { return m_Handle->signalled; }))
        return TError(TError::kSuccess);
    if (!m_Handle->manualReset)
        m_Handle->signalled = false;
    signalled = true;
    return TError(TError::kSuccess);
}
