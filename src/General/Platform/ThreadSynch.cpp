// TThreadSynch. A thread that must wait publishes a suspension request for itself while it
// holds the section and stops only after releasing it; a member that arrives in between
// resumes it by lowering that count, so the wake-up cannot be lost. Members are woken as soon
// as the lowest position of the group reaches theirs, which makes it a barrier by position
// also when members wait at different positions.
#include "General/Platform/ThreadSynch.h"

#include <new>

#include "General/Platform/Detail/ThreadRegistry.h"
#include "General/Platform/Thread.h"

TThreadSynch::TThreadSynch()
    : m_Threads(nullptr), m_Positions(nullptr), m_Running(nullptr), m_Count(0), m_Waiters(nullptr),
      m_SetUp(false) {
    (void)Lock(); // held until Setup: early arrivals block on it
}

TThreadSynch::~TThreadSynch() {
    while (m_Waiters != nullptr) {
        TWaiter *next = m_Waiters->next;
        delete m_Waiters;
        m_Waiters = next;
    }
    delete[] m_Threads;
    delete[] m_Positions;
    delete[] m_Running;
}

void TThreadSynch::Setup(int *threads, int count) {
    if (m_SetUp)
        return;
    if (threads != nullptr && count > 0) {
        m_Threads = new (std::nothrow) int[count];
        m_Positions = new (std::nothrow) int[count];
        m_Running = new (std::nothrow) bool[count];
        if (m_Threads != nullptr && m_Positions != nullptr && m_Running != nullptr) {
            m_Count = count;
            for (int i = 0; i < count; ++i) {
                m_Threads[i] = threads[i];
                m_Positions[i] = 0;
                m_Running[i] = true;
            }
        }
    }
    m_SetUp = true;
    (void)Release(); // the hold taken by the constructor
}

int TThreadSynch::LowestPosition() const {
    int lowest = m_Count > 0 ? m_Positions[0] : 0;
    for (int i = 1; i < m_Count; ++i)
        if (m_Positions[i] < lowest)
            lowest = m_Positions[i];
    return lowest;
}

TError TThreadSynch::ResumeReached(int lowest) {
    for (int i = 0; i < m_Count; ++i)
        if (!m_Running[i] && m_Positions[i] <= lowest) {
            m_Running[i] = true;
            if (vlib::ResumeThread(m_Threads[i]) < 0)
                return TError(TError::kThreadResume);
        }
    for (TWaiter **link = &m_Waiters; *link != nullptr;) {
        TWaiter *waiter = *link;
        if (waiter->position > lowest) {
            link = &waiter->next;
            continue;
        }
        *link = waiter->next;
        const int thread = waiter->thread;
        delete waiter;
        if (vlib::ResumeThread(thread) < 0)
            return TError(TError::kThreadResume);
    }
    return TError(TError::kSuccess);
}

TError TThreadSynch::ReachedWaitForOthers(int thread, int position) {
    (void)Lock();
    int self = -1;
    for (int i = 0; i < m_Count && self < 0; ++i)
        if (m_Threads[i] == thread)
            self = i;
    if (!m_SetUp || self < 0) {
        (void)Release();
        return TError(TError::kFailure);
    }
    if (m_Positions[self] < position)
        m_Positions[self] = position;
    const int lowest = LowestPosition();
    const bool mustWait = lowest < position;
    if (mustWait) {
        if (vlib::detail::RequestSuspend(thread) < 0) {
            (void)Release();
            return TError(TError::kFailure);
        }
        m_Running[self] = false;
    }
    const TError resumed = ResumeReached(lowest);
    if (!resumed && mustWait) {
        // Give up the wait with the failure rather than sleep on a broken group.
        m_Running[self] = true;
        (void)vlib::ResumeThread(thread);
    }
    (void)Release();
    if (resumed && mustWait)
        vlib::ThreadSuspensionPoint();
    return resumed;
}

TError TThreadSynch::WaitForAllToReach(int thread, int position) {
    (void)Lock();
    if (!m_SetUp) {
        (void)Release();
        return TError(TError::kFailure);
    }
    bool added = false;
    if (LowestPosition() < position) {
        auto *waiter = new (std::nothrow) TWaiter{thread, position, m_Waiters};
        if (waiter == nullptr || vlib::detail::RequestSuspend(thread) < 0) {
            delete waiter;
            (void)Release();
            return TError(TError::kFailure);
        }
        m_Waiters = waiter;
        added = true;
    }
    (void)Release();
    if (added)
        vlib::ThreadSuspensionPoint();
    return TError(TError::kSuccess);
}
