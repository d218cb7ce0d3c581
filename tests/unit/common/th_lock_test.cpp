// The mutex: it excludes, and it ignores being used after its destruction.
#include "common/th_lock.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "support/calls.h"
#include "support/wait.h"

namespace {

using namespace test;

TEST(ThLock, LetsOneThreadInAtATime) {
    CThLock lock;
    int inside = 0; // plain on purpose: only the lock keeps the threads apart
    int entries = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                lock.lock();
                EXPECT_EQ(++inside, 1);
                ++entries;
                --inside;
                lock.unlock();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(entries, 4000);
}

TEST(ThLock, KeepsOthersOutUntilItIsUnlocked) {
    CThLock lock;
    lock.lock();
    std::atomic<bool> waits{false};
    std::atomic<bool> entered{false};
    std::thread other([&] {
        waits = true;
        lock.lock();
        entered = true;
        lock.unlock();
    });
    EXPECT_TRUE(Eventually([&] { return waits.load(); }));
    for (int i = 0; i < 1000; ++i) {
        ASSERT_FALSE(entered);
        std::this_thread::yield();
    }
    lock.unlock();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(ThLock, IsALockable) {
    CThLock lock;
    { const std::lock_guard<CThLock> guard(lock); }
    const std::lock_guard<CThLock> again(lock);
}

TEST(ThLock, IsMadeAndDestroyedOnce) {
    const long made = Count(Call::MutexInit);
    const long destroyed = Count(Call::MutexDestroy);
    alignas(CThLock) unsigned char place[sizeof(CThLock)];
    auto* const lock = new (place) CThLock;
    EXPECT_EQ(Count(Call::MutexInit), made + 1);
    lock->~CThLock();
    EXPECT_EQ(Count(Call::MutexDestroy), destroyed + 1);
    lock->~CThLock();
    EXPECT_EQ(Count(Call::MutexDestroy), destroyed + 1);
}

TEST(ThLock, IgnoresBeingUsedAfterItsDestruction) {
    alignas(CThLock) unsigned char place[sizeof(CThLock)];
    auto* const lock = new (place) CThLock;
    lock->~CThLock();
    lock->lock();
    lock->lock(); // would wait for ever on a mutex
    lock->unlock();
    lock->unlock();
    lock->unlock();
}

} // namespace
