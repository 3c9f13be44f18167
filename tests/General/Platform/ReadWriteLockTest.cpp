// TReadWriteLock: readers share, writers exclude, writers go first, and releases with nothing
// to release fail. The stress case runs readers against writers under ThreadSanitizer.
#include "General/Platform/ReadWriteLock.h"

#include <gtest/gtest.h>

#include "Support/Eventually.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using vlib::test::Eventually;

} // namespace

TEST(ReadWriteLock, ReleasesWithNothingToReleaseFail) {
    TReadWriteLock lock;
    EXPECT_EQ(lock.ReleaseRead().Unsuccessful(), TError::kFailure);
    EXPECT_EQ(lock.ReleaseWrite().Unsuccessful(), TError::kFailure);
    ASSERT_TRUE(lock.AcquireRead());
    EXPECT_EQ(lock.ReleaseWrite().Unsuccessful(), TError::kFailure); // a reader is no writer
    EXPECT_TRUE(lock.ReleaseRead());
    ASSERT_TRUE(lock.AcquireWrite());
    EXPECT_EQ(lock.ReleaseRead().Unsuccessful(), TError::kFailure);
    EXPECT_TRUE(lock.ReleaseWrite());
    EXPECT_EQ(lock.ReleaseWrite().Unsuccessful(), TError::kFailure);
    EXPECT_EQ(lock.GetActiveReaders(), 0);
    EXPECT_FALSE(lock.IsWriterActive());
}

TEST(ReadWriteLock, ReadersShare) {
    TReadWriteLock lock;
    ASSERT_TRUE(lock.AcquireRead());
    std::thread other([&] {
        EXPECT_TRUE(lock.AcquireRead()); // does not block behind the first reader
        EXPECT_EQ(lock.GetActiveReaders(), 2);
        EXPECT_TRUE(lock.ReleaseRead());
    });
    other.join();
    EXPECT_TRUE(lock.ReleaseRead());
}

TEST(ReadWriteLock, AWriterExcludesEveryone) {
    TReadWriteLock lock;
    ASSERT_TRUE(lock.AcquireWrite());
    std::atomic<bool> readerIn{false}, writerIn{false};
    std::thread reader([&] {
        EXPECT_TRUE(lock.AcquireRead());
        readerIn = true;
        EXPECT_TRUE(lock.ReleaseRead());
    });
    std::thread writer([&] {
        EXPECT_TRUE(lock.AcquireWrite());
        writerIn = true;
        EXPECT_TRUE(lock.ReleaseWrite());
    });
    ASSERT_TRUE(Eventually([&] { return lock.GetWaitingWriters() == 1; }));
    ASSERT_TRUE(Eventually([&] { return lock.GetWaitingReaders() == 1; }));
    EXPECT_FALSE(readerIn);
    EXPECT_FALSE(writerIn);
    EXPECT_TRUE(lock.ReleaseWrite());
    reader.join();
    writer.join();
    EXPECT_TRUE(readerIn && writerIn);
    EXPECT_EQ(lock.GetWaitingWriters(), 0);
    EXPECT_EQ(lock.GetWaitingReaders(), 0);
}

TEST(ReadWriteLock, AReaderQueuesBehindAWaitingWriter) {
    TReadWriteLock lock;
    ASSERT_TRUE(lock.AcquireRead());
    std::atomic<int> order{0};
    std::atomic<int> writerTurn{0}, readerTurn{0};
    std::thread writer([&] {
        EXPECT_TRUE(lock.AcquireWrite());
        writerTurn = ++order;
        std::this_thread::sleep_for(2ms);
        EXPECT_TRUE(lock.ReleaseWrite());
    });
    ASSERT_TRUE(Eventually([&] { return lock.GetWaitingWriters() == 1; }));
    // Only readers are active, yet a new reader must wait behind the writer.
    std::thread reader([&] {
        EXPECT_TRUE(lock.AcquireRead());
        readerTurn = ++order;
        EXPECT_TRUE(lock.ReleaseRead());
    });
    ASSERT_TRUE(Eventually([&] { return lock.GetWaitingReaders() == 1; }));
    EXPECT_EQ(order, 0);
    EXPECT_TRUE(lock.ReleaseRead());
    writer.join();
    reader.join();
    EXPECT_EQ(writerTurn, 1);
    EXPECT_EQ(readerTurn, 2);
}

TEST(ReadWriteLock, ReadersAgainstWriters) {
    // Writers keep two plain fields equal; readers must never see them differ.
    TReadWriteLock lock;
    long a = 0, b = 0;
    std::atomic<bool> torn{false};
    std::vector<std::thread> threads;
    for (int w = 0; w < 2; ++w)
        threads.emplace_back([&] {
            for (int i = 0; i < 3000; ++i) {
                EXPECT_TRUE(lock.AcquireWrite());
                ++a;
                ++b;
                EXPECT_TRUE(lock.ReleaseWrite());
            }
        });
    for (int r = 0; r < 3; ++r)
        threads.emplace_back([&] {
            for (int i = 0; i < 6000; ++i) {
                EXPECT_TRUE(lock.AcquireRead());
                if (a != b)
                    torn = true;
                EXPECT_TRUE(lock.ReleaseRead());
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_FALSE(torn);
    EXPECT_EQ(a, 6000);
    EXPECT_EQ(lock.GetActiveReaders(), 0);
    EXPECT_FALSE(lock.IsWriterActive());
    EXPECT_EQ(lock.GetWaitingWriters(), 0);
}
