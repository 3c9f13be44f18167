// The platform layer's hot paths against what they stand on or compete with: the global clock
// against a bare clock_gettime, and uncontended lock/unlock of our locks against the standard
// ones. After the table, each pair's ratio (ours over theirs, time per call) is printed.
#include <benchmark/benchmark.h>

#include <ctime>
#include <future>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <utility>

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

// Pairs of (ours, theirs) whose ratio is printed.
const std::pair<const char *, const char *> kPairs[] = {
    {"GlobalTime", "ClockGettime"},
    {"CriticalSection", "StdMutex"},
    {"CriticalSection", "StdRecursiveMutex"},
    {"ReadWriteLockRead", "SharedMutexRead"},
    {"ReadWriteLockWrite", "SharedMutexWrite"},
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            m_Times[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const auto &[ours, theirs] : kPairs) {
            auto a = m_Times.find(ours);
            auto b = m_Times.find(theirs);
            if (a != m_Times.end() && b != m_Times.end())
                std::printf("ratio %s/%s: %.2f\n", ours, theirs, a->second / b->second);
        }
    }

private:
    std::map<std::string, double> m_Times;
};

} // namespace

int main(int argc, char **argv) {
    // glibc drops the lock prefix from its mutexes while a process has one thread; locks
    // matter only with several, so one idle thread keeps the comparison honest.
    std::promise<void> quit;
    std::thread idle([f = quit.get_future()]() mutable { f.wait(); });
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    quit.set_value();
    idle.join();
    return 0;
}
