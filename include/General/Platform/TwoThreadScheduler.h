// Shares processor time between exactly two threads in a given proportion. A timer thread
// ticks every millisecond, accounts the time to the thread now favoured, and suspends the one
// that is ahead of its share. Suspension is cooperative (Thread.h): both threads must call
// vlib::ThreadSuspensionPoint() regularly. Only one scheduler runs at a time in a process.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Platform/Time.h"

/// The two-thread time sharer; its working state is process-wide.
class VLIB_API TTwoThreadScheduler {
public:
    TTwoThreadScheduler() : m_TimerId(0) {}
    TTwoThreadScheduler(const TTwoThreadScheduler &) = delete;
    TTwoThreadScheduler &operator=(const TTwoThreadScheduler &) = delete;
    /// Stops the scheduling if this object started it.
    ~TTwoThreadScheduler();

    /// Starts sharing between the two thread handles, `proportion1` of the time to the first.
    /// Failure 0x10000 if a scheduler is already active or the timer cannot start.
    TError Start(int thread1, int thread2, float proportion1);
    /// Stops the timer and resumes each thread as often as it was suspended. Does nothing if
    /// no scheduler is active.
    void Stop();
    /// Changes the proportion so that it holds from now on, without a period of catching up.
    void SetProportion1(float p);

    // Snapshots of the shared state, for diagnostics and tests.
    /// Time accounted to thread 1 or 2.
    static TTime GetTimeUsed(int which);
    /// The thread now favoured: 1, 2, or 0 for none.
    static int GetFavoured();

private:
    int m_TimerId; // the running timer's id, 0 when this object runs none
};
