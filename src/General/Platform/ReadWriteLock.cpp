// The slow paths of TReadWriteLock. A thread that must sleep first marks the state word (a
// waiting writer adds to its count, a reader sets the sleeping bit) while it holds the mutex,
// and keeps the mutex until it is in its list. A releasing thread whose exchange on the state
// word shows such a mark takes the mutex before waking, so it always finds the sleeper
// counted and no wake-up is lost.
#include "General/Platform/ReadWriteLock.h"

TWaitingThreadList::TWaitingThreadList() : m_Count(0), m_Semaphore(0) {}

void TWaitingThreadList::Wait(std::unique_lock<std::mutex> &held) {
    ++m_Count;
    held.unlock();
    m_Semaphore.acquire();
    held.lock();
    --m_Count;
}

void TWaitingThreadList::ReleaseAll() {
    if (m_Count > 0)
        m_Semaphore.release(m_Count);
}

TReadWriteLock::TReadWriteLock() : m_State(0) {}

TError TReadWriteLock::AcquireReadSlow() {
    std::unique_lock<std::mutex> held(m_Mutex);
    uint64_t s = m_State.load(std::memory_order_relaxed);
    for (;;) {
        if ((s & kBlocksReaders) == 0) {
            if (m_State.compare_exchange_weak(s, s + kReader, std::memory_order_acquire,
                                              std::memory_order_relaxed))
                return TError(TError::kSuccess);
            continue;
        }
        if ((s & kReadersAsleep) == 0 &&
            !m_State.compare_exchange_weak(s, s | kReadersAsleep, std::memory_order_relaxed,
                                           std::memory_order_relaxed))
            continue;
        m_Readers.Wait(held);
        s = m_State.load(std::memory_order_relaxed);
    }
}

TError TReadWriteLock::AcquireWriteSlow() {
    std::unique_lock<std::mutex> held(m_Mutex);
    uint64_t s = m_State.fetch_add(kWaitingWriter, std::memory_order_relaxed) + kWaitingWriter;
    for (;;) {
        if ((s & (kReaderMask | kWriter)) == 0) {
            if (m_State.compare_exchange_weak(s, (s - kWaitingWriter) | kWriter,
                                              std::memory_order_acquire, std::memory_order_relaxed))
                return TError(TError::kSuccess);
            continue;
        }
        m_Writers.Wait(held);
        s = m_State.load(std::memory_order_relaxed);
    }
}

TError TReadWriteLock::ReleaseRead() {
    uint64_t s = m_State.load(std::memory_order_relaxed);
    do {
        if ((s & kReaderMask) == 0)
            return TError(TError::kFailure);
    } while (!m_State.compare_exchange_weak(s, s - kReader, std::memory_order_release,
                                            std::memory_order_relaxed));
    if ((s & kReaderMask) == kReader && (s & kWaitingWriterMask) != 0) {
        // The last reader out, with writers waiting.
        std::lock_guard<std::mutex> held(m_Mutex);
        m_Writers.ReleaseAll();
    }
    return TError(TError::kSuccess);
}

TError TReadWriteLock::ReleaseWriteSlow() {
    std::lock_guard<std::mutex> held(m_Mutex);
    uint64_t s = m_State.load(std::memory_order_relaxed);
    bool wakeWriters, wakeReaders;
    do {
        if ((s & kWriter) == 0)
            return TError(TError::kFailure);
        wakeWriters = (s & kWaitingWriterMask) != 0;
        wakeReaders = !wakeWriters && (s & kReadersAsleep) != 0;
    } while (!m_State.compare_exchange_weak(s, s & ~(kWriter | (wakeReaders ? kReadersAsleep : 0)),
                                            std::memory_order_release, std::memory_order_relaxed));
    if (wakeWriters)
        m_Writers.ReleaseAll();
    else if (wakeReaders)
        m_Readers.ReleaseAll();
    return TError(TError::kSuccess);
}

int TReadWriteLock::GetActiveReaders() const {
    return static_cast<int>(m_State.load(std::memory_order_relaxed) & kReaderMask);
}

bool TReadWriteLock::IsWriterActive() const {
    return (m_State.load(std::memory_order_relaxed) & kWriter) != 0;
}

int TReadWriteLock::GetWaitingReaders() {
    std::lock_guard<std::mutex> held(m_Mutex);
    return m_Readers.GetCount();
}

int TReadWriteLock::GetWaitingWriters() const {
    return static_cast<int>(m_State.load(std::memory_order_relaxed) / kWaitingWriter);
}
