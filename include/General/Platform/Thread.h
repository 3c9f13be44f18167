// Threads as the library's callers see them: started with SpawnThread, named, placed on
// processors, and known by an int handle. Linux has no way to stop another thread from the
// outside at an arbitrary point, so suspension is cooperative: SuspendThread raises a count,
// and the thread stops at its next ThreadSuspensionPoint() (at once, if it suspends itself).
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"

/// Starts `function(null, handle)` on a new thread with the default stack, running at once.
/// The function always sees its own valid handle. `handle` and `id` (the kernel thread id)
/// may be null; without `handle` nobody can wait for the thread, which then cleans up after
/// itself. Failure: 0x10000.
VLIB_API TError SpawnThread(void *(*function)(void *, int), int *handle, unsigned long *id);

/// Waits for the thread to end and stores what its function returned in `exitValue` (if not
/// null). The wait releases the handle: a second wait on it fails. Failure: 0x10000 for an
/// unknown handle or a thread waiting for itself.
VLIB_API TError WaitForThreadEnd(int handle, void **exitValue);

/// Names a thread for debuggers and the system's thread lists. `threadId` is a kernel thread
/// id, or -1 for the calling thread. Names longer than 9 characters are ignored.
VLIB_API void SetThreadName(int threadId, const char *name);

/// Binds the calling thread to the processors whose bits are set; ignored where the system
/// refuses.
VLIB_API void SetThreadAffinity(unsigned long mask);

namespace vlib {

// Thread priorities on the Windows scale, mapped to nice values (19 for idle to -20 for time
// critical). Raising a thread above normal needs the right to do so (CAP_SYS_NICE); without
// it the call fails and the thread keeps its priority.
constexpr int kThreadPriorityIdle = -15;
constexpr int kThreadPriorityLowest = -2;
constexpr int kThreadPriorityBelowNormal = -1;
constexpr int kThreadPriorityNormal = 0;
constexpr int kThreadPriorityAboveNormal = 1;
constexpr int kThreadPriorityHighest = 2;
constexpr int kThreadPriorityTimeCritical = 15;

/// As SpawnThread, but the thread stops before its function until ResumeThread.
VLIB_API TError SpawnSuspendedThread(void *(*function)(void *, int), int *handle,
                                     unsigned long *id);

/// The handle of the calling thread. A thread not started by SpawnThread gets one on its
/// first call, valid until the thread ends.
VLIB_API int GetCurrentThreadHandle();

/// The kernel thread id of the calling thread.
VLIB_API unsigned long GetCurrentThreadId();

/// Raises the suspension count of the thread and returns the previous count, or -1 for an
/// unknown or ended thread. A thread that suspends itself stops at once; any other stops at
/// its next ThreadSuspensionPoint().
VLIB_API int SuspendThread(int handle);

/// Lowers the suspension count if above 0; at 0 the thread runs again. Returns the previous
/// count, or -1 for an unknown or ended thread.
VLIB_API int ResumeThread(int handle);

/// Stops here while the calling thread's suspension count is above 0. Costs one atomic load
/// when the thread is not suspended. Threads that others suspend (TTwoThreadScheduler) must
/// call it regularly.
VLIB_API void ThreadSuspensionPoint();

/// True once the thread's function has returned, and for handles that are unknown or waited
/// for already.
VLIB_API bool HasThreadEnded(int handle);

/// Sets a priority on the Windows scale (kThreadPriority...); false if the system refused.
VLIB_API bool SetThreadPriority(int handle, int priority);

/// The priority on the Windows scale, read back from the thread's nice value; 0 for an
/// unknown thread.
VLIB_API int GetThreadPriority(int handle);

} // namespace vlib
