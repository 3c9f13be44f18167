// The platform layer's hot paths against what they stand on or compete with: the global clock
// against a bare clock_gettime, and uncontended lock/unlock of our locks against the standard
// ones. After the table, each pair's ratio (ours over theirs, time per call) is printed.
#include <benchmark/benchmark.h>

#include <ctime>
#include <future>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "Support/RatioReporter.h"

#include "General/Platform/CriticalSection.h"
#include "General/Platform/ReadWriteLock.h"
#include "General/Platform/Time.h"

namespace {

void ClockGettime(benchmark::State &state) {
    timespec ts;
    for (auto _ : state) {
        clock_gettime(CLOCK_MONOTONIC, &ts);
        benchmark::DoNotOptimize(ts);
    }
}

void GlobalTime(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(GetGlobalTime().GetTime());
}

BENCHMARK(ClockGettime);
BENCHMARK(GlobalTime);

void CriticalSection(benchmark::State &state) {
    TCriticalSection section;
    TCriticalSection *volatile reached = &section; // no devirtualisation from the known type
    for (auto _ : state) {
        (void)reached->Lock();
        benchmark::ClobberMemory();
        (void)reached->Release();
    }
}

void StdMutex(benchmark::State &state) {
    std::mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

void StdRecursiveMutex(benchmark::State &state) {
    std::recursive_mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

BENCHMARK(CriticalSection);
BENCHMARK(StdMutex);
BENCHMARK(StdRecursiveMutex);

void ReadWriteLockRead(benchmark::State &state) {
    TReadWriteLock lock;
    for (auto _ : state) {
        (void)lock.AcquireRead();
        benchmark::ClobberMemory();
        (void)lock.ReleaseRead();
    }
}

void ReadWriteLockWrite(benchmark::State &state) {
    TReadWriteLock lock;
    for (auto _ : state) {
        (void)lock.AcquireWrite();
        benchmark::ClobberMemory();
        (void)lock.ReleaseWrite();
    }
}

void SharedMutexRead(benchmark::State &state) {
    std::shared_mutex mutex;
    for (auto _ : state) {
        mutex.lock_shared();
        benchmark::ClobberMemory();
        mutex.unlock_shared();
    }
}

void SharedMutexWrite(benchmark::State &state) {
    std::shared_mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

BENCHMARK(ReadWriteLockRead);
BENCHMARK(SharedMutexRead);
BENCHMARK(ReadWriteLockWrite);
BENCHMARK(SharedMutexWrite);

} // namespace

int main(int argc, char **argv) {
    // glibc drops the lock prefix from its mutexes while a process has one thread; locks
    // matter only with several, so one idle thread keeps the comparison honest.
    std::promise<void> quit;
    std::thread idle([f = quit.get_future()]() mutable { f.wait(); });
    const int result = vlib::bench::RunWithRatios(
        argc, argv,
        {{"GlobalTime", "ClockGettime", "GetGlobalTime().GetTime() / clock_gettime"},
         {"CriticalSection", "StdMutex", "TCriticalSection / std::mutex"},
         {"CriticalSection", "StdRecursiveMutex", "TCriticalSection / std::recursive_mutex"},
         {"ReadWriteLockRead", "SharedMutexRead", "TReadWriteLock read / std::shared_mutex"},
         {"ReadWriteLockWrite", "SharedMutexWrite", "TReadWriteLock write / std::shared_mutex"}});
    quit.set_value();
    idle.join();
    return result;
}
