// A barrier by position for a fixed group of threads: each member announces the positions it
// reaches and waits until every member has reached them too; a thread outside the group can
// wait for the whole group to reach a position. Waiting threads are suspended and resumed
// through their handles (see Thread.h).
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Platform/CriticalSection.h"

/// The group barrier. The constructor holds its section until Setup, so members that arrive
/// early wait for the group to be known; the constructing thread must call Setup before it
/// uses the barrier itself.
class VLIB_API TThreadSynch : public TCriticalSection {
public:
    TThreadSynch();
    ~TThreadSynch() override;

    /// Makes `threads` (handles, copied) the group, all at position 0. Only the first call
    /// counts.
    void Setup(int *threads, int count);
    /// Member `thread` has reached `position`; returns once every member has reached it.
    /// Failure: 0x10000 before Setup, for a thread outside the group, or if the thread cannot
    /// be suspended; 0x30000 if a waiting thread could not be resumed.
    TError ReachedWaitForOthers(int thread, int position);
    /// Returns once every member has reached `position`, without counting `thread` as one.
    TError WaitForAllToReach(int thread, int position);

private:
    struct TWaiter {
        int thread;
        int position;
        TWaiter *next; // owned
    };

    int LowestPosition() const;
    TError ResumeReached(int lowest);

    int *m_Threads;   // owned
    int *m_Positions; // owned
    bool *m_Running;  // owned; false while the member waits at the barrier
    int m_Count;
    TWaiter *m_Waiters; // owned; threads outside the group, newest first
    bool m_SetUp;
};
