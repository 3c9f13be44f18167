// The asynchronous importer: one worker thread that loads queued resources in the order they
// were queued, so the main thread can go on while data comes in. The bank ties each resource
// to its entry before queuing it; the worker runs the bank's ordinary import.
#pragma once

#include <atomic>
#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Platform/CriticalSection.h"
#include "General/Resources/ResourceBank.h"

class TResource;

/// Loads queued resources on a worker thread named "AsyncImpt". A static class: all state is
/// shared by the process.
class VLIB_API TAsyncImporter {
public:
    TAsyncImporter() = default;
    TAsyncImporter(const TAsyncImporter &) = default;
    TAsyncImporter &operator=(const TAsyncImporter &) = default;

    /// Starts the worker; does nothing while one is running.
    static void StartUp();
    /// Stops the worker after the load it is in and waits for it to end. What is still queued
    /// stays there, unloaded, with the queue's reference.
    static void ShutDown();
    /// The worker's kernel thread id; 0 when no worker runs.
    static unsigned long GetThreadID();
    /// The worker's body.
    static void *MainProc(void *unused, int handle);
    /// Queues a load of `pair.resource` by `pair.bank`, adding one reference for the queue,
    /// and wakes the worker.
    static void AddToQueue(TBankResourcePair &pair);
    /// The waiting resource of `id`, or null; one the worker has taken is no longer waiting.
    static TResource *IsResourceInAsyncQueue(unsigned long id);
    /// Takes the first waiting load of `id` off the queue: the resource goes back to AS_Idle
    /// and loses the queue's reference. False when none waits.
    static bool RemoveFromQueue(unsigned long id);
    /// The id of the resource the worker is loading now; 0 when none.
    static unsigned long GetCurrentAsyncResource();
    /// Returns once no load of `id` is waiting or running: a waiting one is removed, a running
    /// one is waited for.
    static void QuitAsyncRead(unsigned long id);
    /// The processors the worker may run on, applied when it next wakes.
    static void SetAffinity(unsigned long mask);
    /// Number of loads waiting.
    static size_t GetQueueLength();

private:
    /// Takes the oldest pair and drops its resource from the map. Called under the lock with
    /// a non-empty queue.
    static TBankResourcePair PopFront();
    /// Wakes the worker; the wake-up is remembered if the worker is not asleep yet.
    static void Wake();

    static TLibVector<TBankResourcePair> TheQueue; // oldest first
    static TLibMap<uint32_t, TResource *> TheMap;  // the queued resources by id; not owned
    static TCriticalSection QueueLock;             // guards TheQueue and TheMap
    static std::atomic<bool> ThreadRunning;
    static std::atomic<int> ThreadHandle;
    static std::atomic<uint32_t> ThreadID;
    static std::atomic<uint32_t> m_uThreadAffinity;
    static std::atomic<uint32_t> m_uThreadAffinityPrevious;
    static std::atomic<uint32_t> CurrentAsyncResourceID;
};
