// Test fixtures shared by every suite: a temporary directory removed at the end of a test,
// and a guard that disarms the allocator's fault switch whatever the test's outcome.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "General/Core/LibAllocator.h"

namespace vlib::test {

/// A fresh directory under the system's temporary folder, removed with everything in it.
class TTempDir {
public:
    TTempDir();
    ~TTempDir();
    TTempDir(const TTempDir &) = delete;
    TTempDir &operator=(const TTempDir &) = delete;

    const std::string &Path() const { return m_Path; }
    /// The path of `name` inside the directory.
    std::string File(const std::string &name) const { return m_Path + "/" + name; }

private:
    std::string m_Path;
};

/// Disarms the allocator's fault countdown when it leaves scope.
class TAllocatorFaultGuard {
public:
    TAllocatorFaultGuard() = default;
    ~TAllocatorFaultGuard() { GetAllocatorInstance().Faults().Disarm(); }
    TAllocatorFaultGuard(const TAllocatorFaultGuard &) = delete;
    TAllocatorFaultGuard &operator=(const TAllocatorFaultGuard &) = delete;
};

/// Runs `attempt` with the N-th allocation failing, for N = 1, 2, ... until an attempt runs
/// without reaching the fault. `attempt` does a whole job, releases what it made, and returns
/// whether the job succeeded. Every attempt that met a fault must report failure, and no
/// attempt may leave a block behind. Returns the number of attempts, or 0 on a fault.
template <class F> int RunUntilAllocationsSucceed(F attempt, int limit = 100000) {
    TAllocatorFaultGuard guard;
    auto &faults = GetAllocatorInstance().Faults();
    for (int n = 1; n <= limit; ++n) {
        const size_t liveBefore = GetAllocatorInstance().GetLiveBlocks();
        faults.Arm(static_cast<uint64_t>(n));
        const bool ok = attempt();
        const bool hit = faults.GetFailures() != 0;
        faults.Disarm();
        if (!hit) {
            EXPECT_TRUE(ok) << "attempt failed without an injected fault at N=" << n;
            EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), liveBefore)
                << "blocks leaked by the successful attempt";
            return n;
        }
        EXPECT_FALSE(ok) << "success reported although allocation " << n << " failed";
        EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), liveBefore)
            << "blocks leaked when allocation " << n << " failed";
        if (ok || GetAllocatorInstance().GetLiveBlocks() != liveBefore)
            return 0;
    }
    return 0;
}

} // namespace vlib::test
