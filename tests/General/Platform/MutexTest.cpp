// TMutex: one lock per name across processes and across the objects of one process,
// re-entrant for the owning thread, taken over when its holder process dies.
#include "General/Platform/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

using namespace std::chrono_literals;

constexpr const char *kChildName = "VLIB_MUTEX_TEST_NAME";
constexpr const char *kChildMode = "VLIB_MUTEX_TEST_MODE";

// The test binary started again as a second process: before any test runs, it looks at the
// named mutex and exits with what it saw. Mode "probe": bit 0 IsLocked, bit 1 TryLock
// succeeded. Mode "abandon": takes the mutex and exits holding it.
const int kChildRun = [] {
    const char *name = std::getenv(kChildName);
    const char *mode = std::getenv(kChildMode);
    if (name == nullptr || mode == nullptr)
        return 0;
    TMutex mutex(name);
    int result = 0;
    if (std::string(mode) == "abandon") {
        result = mutex.Lock() ? 0 : 100;
    } else {
        bool locked = false, got = false;
        if (!mutex.IsLocked(locked) || !mutex.TryLock(got))
            _exit(100);
        result = (locked ? 1 : 0) | (got ? 2 : 0);
    }
    _exit(result);
}();

int RunChild(const std::string &name, const char *mode) {
    std::vector<std::string> env;
    for (char **e = environ; *e != nullptr; ++e)
        env.emplace_back(*e);
    env.push_back(std::string(kChildName) + "=" + name);
    env.push_back(std::string(kChildMode) + "=" + mode);
    std::vector<char *> envp;
    for (std::string &e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    char self[] = "/proc/self/exe";
    char *argv[] = {self, nullptr};
    pid_t pid;
    if (posix_spawn(&pid, self, nullptr, nullptr, argv, envp.data()) != 0)
        return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// A name of this test run, so parallel runs do not meet. Its lock file is removed at the end
// of the test (the library leaves lock files in place, as removing one under a waiter would
// split the lock in two).
class UniqueName {
public:
    explicit UniqueName(const char *what)
        : m_Name(std::string("VLibTest.") + what + "." + std::to_string(getpid())) {}
    ~UniqueName() {
        for (const char *dir : {"/dev/shm/", "/tmp/"})
            unlink((dir + std::string("vlib-mutex-") + m_Name).c_str());
    }
    operator const std::string &() const { return m_Name; }
    const char *c_str() const { return m_Name.c_str(); }

private:
    std::string m_Name;
};

} // namespace

TEST(Mutex, ExcludesAnotherProcess) {
    const UniqueName name("Cross");
    TMutex mutex(name.c_str());
    ASSERT_TRUE(mutex.Lock());
    EXPECT_EQ(RunChild(name, "probe"), 1); // locked, and TryLock failed
    ASSERT_TRUE(mutex.Release());
    EXPECT_EQ(RunChild(name, "probe"), 2); // free, and TryLock got it
}

TEST(Mutex, AbandonedByADeadProcessCanBeTaken) {
    const UniqueName name("Abandon");
    EXPECT_EQ(RunChild(name, "abandon"), 0);
    TMutex mutex(name.c_str());
    bool locked = true;
    ASSERT_TRUE(mutex.TryLock(locked));
    EXPECT_TRUE(locked);
    EXPECT_TRUE(mutex.Release());
}

TEST(Mutex, ReentrantForItsOwner) {
    const UniqueName name("Owner");
    TMutex mutex(name.c_str());
    ASSERT_TRUE(mutex.Lock());
    bool locked = true;
    ASSERT_TRUE(mutex.IsLocked(locked));
    EXPECT_FALSE(locked); // held by the caller itself
    ASSERT_TRUE(mutex.TryLock(locked));
    EXPECT_TRUE(locked);
    EXPECT_TRUE(mutex.Release());

    std::atomic<bool> otherSees{false}, otherGot{true};
    std::thread([&] {
        bool l = false, g = true;
        (void)mutex.IsLocked(l);
        (void)mutex.TryLock(g);
        otherSees = l;
        otherGot = g;
        EXPECT_EQ(mutex.Release().Unsuccessful(), TError::kFailure); // not the owner
    }).join();
    EXPECT_TRUE(otherSees);
    EXPECT_FALSE(otherGot); // one level is still held

    EXPECT_TRUE(mutex.Release());
    EXPECT_EQ(mutex.Release().Unsuccessful(), TError::kFailure);
}

TEST(Mutex, ObjectsOfOneNameAreOneLock) {
    const UniqueName name("Shared");
    TMutex first(name.c_str()), second(name.c_str()), third(name.c_str());
    ASSERT_TRUE(first.Lock());
    ASSERT_TRUE(second.Lock()); // same thread, same mutex: re-entered
    std::atomic<bool> otherGot{true};
    std::thread([&] {
        bool got = true;
        (void)third.TryLock(got);
        otherGot = got;
    }).join();
    EXPECT_FALSE(otherGot);
    EXPECT_TRUE(second.Release());
    EXPECT_TRUE(first.Release());
}

TEST(Mutex, ExcludesThreadsUnderContention) {
    const UniqueName name("Contention");
    long counter = 0;
    // Each thread its own object; made here, as the heap layer is not instrumented for the
    // thread sanitizer.
    std::vector<std::unique_ptr<TMutex>> mutexes;
    for (int t = 0; t < 4; ++t)
        mutexes.push_back(std::make_unique<TMutex>(name.c_str()));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            TMutex &mutex = *mutexes[t];
            for (int i = 0; i < 500; ++i) {
                EXPECT_TRUE(mutex.Lock());
                ++counter;
                EXPECT_TRUE(mutex.Release());
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(counter, 2000);
}

TEST(Mutex, NamesThatCannotBeOpenedFailEverything) {
    // Every byte of this name is escaped to three: far beyond the longest file name.
    const std::string name(200, '\\');
    TMutex mutex(name.c_str());
    bool locked = true;
    EXPECT_EQ(mutex.Lock().Unsuccessful(), TError::kFailure);
    EXPECT_EQ(mutex.TryLock(locked).Unsuccessful(), TError::kFailure);
    EXPECT_FALSE(locked);
    EXPECT_EQ(mutex.IsLocked(locked).Unsuccessful(), TError::kFailure);
    EXPECT_EQ(mutex.Release().Unsuccessful(), TError::kFailure);
}
