// A reader-writer lock for the asynchronous file system, with writers first: once a writer
// waits, new readers wait behind it. The counts live in one atomic word, so taking and
// releasing either side without contention needs no mutex; the mutex and the two waiting
// lists are used only when a thread has to sleep or to wake others.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <semaphore>

#include "General/Core/Error.h"
#include "General/Core/Export.h"

/// Threads asleep on one side of a TReadWriteLock, and the semaphore they sleep on. The list
/// needs no way back to its lock: the lock passes its held mutex to every wait.
class VLIB_API TWaitingThreadList {
public:
    TWaitingThreadList();
    TWaitingThreadList(const TWaitingThreadList &) = delete;
    TWaitingThreadList &operator=(const TWaitingThreadList &) = delete;

    /// Threads in the list; ask with the owner's mutex held.
    int GetCount() const { return m_Count; }

private:
    friend class TReadWriteLock;
    /// With the owner's mutex held in `held`: sleeps until released, and holds it again.
    void Wait(std::unique_lock<std::mutex> &held);
    /// Lets every thread now in the list go (each then checks again whether it may enter).
    void ReleaseAll();

    int m_Count;
    std::counting_semaphore<0x7FFFFFFF> m_Semaphore;
};

/// Many readers or one writer; writers have priority. Every release that has nothing to
/// release fails with 0x10000.
class VLIB_API TReadWriteLock {
public:
    TReadWriteLock();
    TReadWriteLock(const TReadWriteLock &) = delete;
    TReadWriteLock &operator=(const TReadWriteLock &) = delete;

    TError AcquireRead() {
        uint64_t s = m_State.load(std::memory_order_relaxed);
        if ((s & kBlocksReaders) == 0 &&
            m_State.compare_exchange_weak(s, s + kReader, std::memory_order_acquire,
                                          std::memory_order_relaxed))
            return TError(TError::kSuccess);
        return AcquireReadSlow();
    }
    TError AcquireWrite() {
        uint64_t s = 0;
        if (m_State.compare_exchange_strong(s, kWriter, std::memory_order_acquire,
                                            std::memory_order_relaxed))
            return TError(TError::kSuccess);
        return AcquireWriteSlow();
    }
    TError ReleaseRead();
    TError ReleaseWrite() {
        uint64_t s = kWriter;
        if (m_State.compare_exchange_strong(s, 0, std::memory_order_release,
                                            std::memory_order_relaxed))
            return TError(TError::kSuccess);
        return ReleaseWriteSlow();
    }

    // Snapshots, for diagnostics and tests.
    int GetActiveReaders() const;
    bool IsWriterActive() const;
    int GetWaitingReaders();
    int GetWaitingWriters() const;

private:
    // The state word: active readers in the low 32 bits, then the writer bit, a bit set while
    // readers sleep, and the number of writers that wait (asleep or about to be).
    static constexpr uint64_t kReader = 1;
    static constexpr uint64_t kReaderMask = 0xFFFFFFFFull;
    static constexpr uint64_t kWriter = 1ull << 32;
    static constexpr uint64_t kReadersAsleep = 1ull << 33;
    static constexpr uint64_t kWaitingWriter = 1ull << 34;
    static constexpr uint64_t kWaitingWriterMask = ~((1ull << 34) - 1);
    static constexpr uint64_t kBlocksReaders = kWriter | kWaitingWriterMask;

    TError AcquireReadSlow();
    TError AcquireWriteSlow();
    TError ReleaseWriteSlow();

    std::mutex m_Mutex; // guards sleeping and waking, and the lists' counts
    std::atomic<uint64_t> m_State;
    TWaitingThreadList m_Readers;
    TWaitingThreadList m_Writers;
};
