// Threads over pthreads, with a table from int handles to records. Suspension is a count in
// the record that the thread itself honours at suspension points; waiting is pthread_join.
#include "General/Platform/Thread.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include "General/Platform/Detail/ThreadRegistry.h"

namespace vlib::detail {
namespace {

using TRecordPtr = std::shared_ptr<TThreadRecord>;

// The most times a thread can be suspended without being resumed, as on Windows.
constexpr int kMaxSuspendCount = 127;
constexpr size_t kMaxNameLength = 9;

class TThreadTable {
public:
    TRecordPtr Add(TRecordPtr record) {
        std::lock_guard<std::mutex> guard(m_Lock);
        record->handle = m_NextHandle++;
        m_Records[record->handle] = record;
        return record;
    }
    TRecordPtr Find(int handle) {
        std::lock_guard<std::mutex> guard(m_Lock);
        auto it = m_Records.find(handle);
        return it == m_Records.end() ? nullptr : it->second;
    }
    void Erase(int handle) {
        std::lock_guard<std::mutex> guard(m_Lock);
        m_Records.erase(handle);
    }

private:
    std::mutex m_Lock;
    std::unordered_map<int, TRecordPtr> m_Records;
    int m_NextHandle = 0x10; // far from 0 and -1, which callers use as "none"
};

// Never destroyed: threads may still ask for handles while statics are torn down at exit.
TThreadTable &Table() {
    static TThreadTable *table = new TThreadTable;
    return *table;
}

// The calling thread's record. A thread that was only given a handle on request leaves the
// table when it ends, as nobody waits for it with pthread_join.
struct TCurrentThread {
    TRecordPtr record;
    ~TCurrentThread() {
        if (record && !record->spawned) {
            {
                std::lock_guard<std::mutex> guard(record->lock);
                record->ended = true;
            }
            record->changed.notify_all();
            Table().Erase(record->handle);
        }
    }
};

thread_local TCurrentThread tCurrent;

void *ThreadEntry(void *arg) {
    TRecordPtr record = std::move(*static_cast<TRecordPtr *>(arg));
    delete static_cast<TRecordPtr *>(arg);
    tCurrent.record = record;
    {
        std::lock_guard<std::mutex> guard(record->lock);
        record->tid = static_cast<int>(gettid());
    }
    record->changed.notify_all();
    if (record->startSuspended)
        ThreadSuspensionPoint(); // waits here for its first resume
    void *result = record->function(nullptr, record->handle);
    {
        std::lock_guard<std::mutex> guard(record->lock);
        record->exitValue = result;
        record->ended = true;
    }
    record->changed.notify_all();
    if (record->detached)
        Table().Erase(record->handle);
    return result;
}

TError Spawn(void *(*function)(void *, int), int *handle, unsigned long *id, bool suspended) {
    if (handle != nullptr)
        *handle = 0;
    if (function == nullptr)
        return TError(TError::kFailure);
    auto record = std::make_shared<TThreadRecord>();
    record->spawned = true;
    record->function = function;
    record->suspendCount = suspended ? 1 : 0;
    record->startSuspended = suspended;
    record->detached = handle == nullptr;
    Table().Add(record);
    // The handle is in the table before the thread runs, so its function can use it at once.
    auto *arg = new TRecordPtr(record);
    if (pthread_create(&record->thread, nullptr, ThreadEntry, arg) != 0) {
        delete arg;
        Table().Erase(record->handle);
        return TError(TError::kFailure);
    }
    if (record->detached)
        pthread_detach(record->thread);
    {
        std::unique_lock<std::mutex> guard(record->lock);
        record->changed.wait(guard, [&] { return record->tid != 0; });
    }
    if (handle != nullptr)
        *handle = record->handle;
    if (id != nullptr)
        *id = static_cast<unsigned long>(record->tid);
    return TError(TError::kSuccess);
}

// Windows priorities and the nice values that stand for them, lowest first.
struct TPriorityStep {
    int priority;
    int nice;
};
constexpr TPriorityStep kPrioritySteps[] = {
    {kThreadPriorityIdle, 19},          {kThreadPriorityLowest, 10},
    {kThreadPriorityBelowNormal, 5},    {kThreadPriorityNormal, 0},
    {kThreadPriorityAboveNormal, -5},   {kThreadPriorityHighest, -10},
    {kThreadPriorityTimeCritical, -20},
};

int NiceForPriority(int priority) {
    int nice = kPrioritySteps[0].nice;
    for (const TPriorityStep &step : kPrioritySteps)
        if (priority >= step.priority)
            nice = step.nice;
    return nice;
}

int PriorityForNice(int nice) {
    const TPriorityStep *best = &kPrioritySteps[0];
    for (const TPriorityStep &step : kPrioritySteps)
        if (std::abs(step.nice - nice) < std::abs(best->nice - nice))
            best = &step;
    return best->priority;
}

} // namespace

TRecordPtr FindThread(int handle) {
    return Table().Find(handle);
}

int RequestSuspend(int handle) {
    TRecordPtr record = Table().Find(handle);
    if (!record || record->ended)
        return -1;
    std::lock_guard<std::mutex> guard(record->lock);
    const int previous = record->suspendCount;
    if (previous >= kMaxSuspendCount)
        return -1;
    record->suspendCount = previous + 1;
    return previous;
}

} // namespace vlib::detail

using vlib::detail::Table;
using vlib::detail::TRecordPtr;

TError SpawnThread(void *(*function)(void *, int), int *handle, unsigned long *id) {
    return vlib::detail::Spawn(function, handle, id, false);
}

TError WaitForThreadEnd(int handle, void **exitValue) {
    TRecordPtr record = Table().Find(handle);
    if (!record || record == vlib::detail::tCurrent.record)
        return TError(TError::kFailure);
    std::unique_lock<std::mutex> guard(record->lock);
    record->changed.wait(guard, [&] { return record->ended.load(); });
    if (record->spawned) {
        if (record->joinClaimed) {
            record->changed.wait(guard, [&] { return record->joined; });
        } else {
            record->joinClaimed = true;
            guard.unlock();
            pthread_join(record->thread, nullptr);
            Table().Erase(handle);
            guard.lock();
            record->joined = true;
            record->changed.notify_all();
        }
    }
    if (exitValue != nullptr)
        *exitValue = record->exitValue;
    return TError(TError::kSuccess);
}

void SetThreadName(int threadId, const char *name) {
    if (name == nullptr || std::strlen(name) > vlib::detail::kMaxNameLength)
        return;
    if (threadId == -1 || threadId == static_cast<int>(gettid())) {
        pthread_setname_np(pthread_self(), name);
        return;
    }
    // Another thread of this process: its name is the comm file of its task.
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/comm", threadId);
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    (void)!write(fd, name, std::strlen(name)); // a name is a hint; failure changes nothing
    close(fd);
}

void SetThreadAffinity(unsigned long mask) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (unsigned bit = 0; bit < sizeof mask * 8; ++bit)
        if ((mask >> bit) & 1)
            CPU_SET(bit, &set);
    (void)pthread_setaffinity_np(pthread_self(), sizeof set, &set); // may be refused
}

namespace vlib {

TError SpawnSuspendedThread(void *(*function)(void *, int), int *handle, unsigned long *id) {
    return detail::Spawn(function, handle, id, true);
}

int GetCurrentThreadHandle() {
    detail::TCurrentThread &current = detail::tCurrent;
    if (!current.record) {
        auto record = std::make_shared<detail::TThreadRecord>();
        record->thread = pthread_self();
        record->tid = static_cast<int>(gettid());
        current.record = Table().Add(record);
    }
    return current.record->handle;
}

unsigned long GetCurrentThreadId() {
    return static_cast<unsigned long>(gettid());
}

int SuspendThread(int handle) {
    const int previous = detail::RequestSuspend(handle);
    if (previous >= 0 && detail::tCurrent.record && detail::tCurrent.record->handle == handle)
        ThreadSuspensionPoint();
    return previous;
}

int ResumeThread(int handle) {
    TRecordPtr record = Table().Find(handle);
    if (!record || record->ended)
        return -1;
    int previous;
    {
        std::lock_guard<std::mutex> guard(record->lock);
        previous = record->suspendCount;
        if (previous > 0)
            record->suspendCount = previous - 1;
    }
    if (previous == 1)
        record->changed.notify_all();
    return previous;
}

void ThreadSuspensionPoint() {
    detail::TThreadRecord *record = detail::tCurrent.record.get();
    if (record == nullptr || record->suspendCount.load(std::memory_order_acquire) <= 0)
        return;
    std::unique_lock<std::mutex> guard(record->lock);
    record->changed.wait(guard, [&] { return record->suspendCount <= 0; });
}

bool HasThreadEnded(int handle) {
    TRecordPtr record = Table().Find(handle);
    return !record || record->ended;
}

bool SetThreadPriority(int handle, int priority) {
    TRecordPtr record = Table().Find(handle);
    if (!record || record->ended)
        return false;
    return setpriority(PRIO_PROCESS, static_cast<id_t>(record->tid.load()),
                       detail::NiceForPriority(priority)) == 0;
}

int GetThreadPriority(int handle) {
    TRecordPtr record = Table().Find(handle);
    if (!record || record->ended)
        return kThreadPriorityNormal;
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(record->tid.load()));
    if (nice == -1 && errno != 0)
        return kThreadPriorityNormal;
    return detail::PriorityForNice(nice);
}

} // namespace vlib
