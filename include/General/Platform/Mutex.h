// A mutex known by name to every process on the machine, re-entrant for the thread that
// holds it. On Linux a name stands for a lock file, "vlib-mutex-<name>" in /dev/shm (or /tmp),
// held with flock: the system drops the lock when a holding process dies, which is what
// lets a waiter take over an abandoned mutex. Inside one process all TMutex objects of a
// name share one record, so ownership is per thread, as the names promise.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/StringInt.h"

namespace vlib::detail {
struct TNamedMutex;
} // namespace vlib::detail

/// A named, process-shared, re-entrant mutex. Every operation fails with 0x10000 if the
/// lock file could not be opened.
class VLIB_API TMutex {
public:
    /// Opens (or creates) the mutex of that name, not owned.
    explicit TMutex(const TDynamicString &name);
    TMutex(const TMutex &) = delete;
    TMutex &operator=(const TMutex &) = delete;
    ~TMutex();

    /// Waits for ever for the mutex.
    TError Lock();
    /// Takes the mutex if it is free or already ours (one level deeper); never waits.
    TError TryLock(bool &locked);
    /// True if another thread or process holds the mutex; never waits and keeps nothing.
    TError IsLocked(bool &locked);
    /// Fails with 0x10000 if the calling thread does not hold the mutex.
    TError Release();

    const TDynamicString &GetName() const { return m_Name; }

private:
    TDynamicString m_Name;
    vlib::detail::TNamedMutex *m_Handle; // shared by the process's mutexes of this name
};
