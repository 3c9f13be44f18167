// The table behind thread handles: one record per thread started by SpawnThread or asking
// for its own handle, holding what cooperative suspension and waiting need.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

#include <pthread.h>

namespace vlib::detail {

struct TThreadRecord {
    int handle = 0;
    bool spawned = false; // started by SpawnThread, so joinable
    bool startSuspended = false;
    bool detached = false; // spawned with nobody to hold its handle: leaves the table at end
    pthread_t thread{};
    void *(*function)(void *, int) = nullptr;

    std::mutex lock;
    std::condition_variable changed; // tid published, count at 0, ended, joined
    std::atomic<int> suspendCount{0};
    std::atomic<int> tid{0};
    std::atomic<bool> ended{false};
    bool joinClaimed = false;  // guarded by lock
    bool joined = false;       // guarded by lock
    void *exitValue = nullptr; // guarded by lock
};

/// The record of a live handle, or null.
std::shared_ptr<TThreadRecord> FindThread(int handle);

/// Raises the suspension count without stopping, even for the calling thread: a thread that
/// decides to wait under a lock of its own publishes that here, releases the lock and then
/// stops at ThreadSuspensionPoint(), so a resume that comes in between is not lost. Returns
/// the previous count, or -1.
int RequestSuspend(int handle);

} // namespace vlib::detail
