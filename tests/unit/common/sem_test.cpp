// The semaphore: counting, waiting with and without a limit, and what is logged when the system refuses.
#include "common/sem.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <gmock/gmock.h>
#include <new>
#include <pthread.h>
#include <thread>

#include "support/calls.h"
#include "support/records.h"
#include "support/wait.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

// On every target, in the library and in what tests it: a wait's limit does not end in 2038.
static_assert(sizeof(time_t) == 8 && sizeof(timespec::tv_sec) == 8);
static_assert(sizeof(off_t) == 8);

class Semaphore : public ::testing::Test {
protected:
    void SetUp() override {
        TakeRecords();
        ForgetCalls();
    }
};

TEST_F(Semaphore, StartsAtZero) {
    Sem sem;
    EXPECT_EQ(sem.SemTimedWait(0), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(Semaphore, LetsTwoWaitsPassAfterTwoPosts) {
    Sem sem;
    EXPECT_EQ(sem.SemPost(), 0);
    EXPECT_EQ(sem.SemPost(), 0);
    EXPECT_EQ(sem.SemWait(), 0);
    EXPECT_EQ(sem.SemTimedWait(60), 0);
    EXPECT_EQ(sem.SemTimedWait(0), -1);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Semaphore, WakesAWaitingThread) {
    Sem sem;
    std::atomic<int> taken{0};
    std::thread untimed([&] { taken += sem.SemWait() == 0; });
    std::thread timed([&] { taken += sem.SemTimedWait(60) == 0; });
    sem.SemPost();
    sem.SemPost();
    untimed.join();
    timed.join();
    EXPECT_EQ(taken, 2);
}

TEST_F(Semaphore, WaitsUntilAnInstantOfTheRealTimeClock) {
    Sem sem;
    for (const int seconds : {60, 1, 0}) {
        ForgetCalls();
        sem.SemPost();
        timespec before{};
        timespec after{};
        clock_gettime(CLOCK_REALTIME, &before);
        EXPECT_EQ(sem.SemTimedWait(seconds), 0);
        clock_gettime(CLOCK_REALTIME, &after);
        ASSERT_THAT(TimedWaits(), SizeIs(1));
        const timespec limit = TimedWaits().front();
        const auto nanoseconds = [](const timespec& t) { return t.tv_sec * 1000000000LL + t.tv_nsec; };
        EXPECT_GE(nanoseconds(limit), nanoseconds(before) + seconds * 1000000000LL);
        EXPECT_LE(nanoseconds(limit), nanoseconds(after) + seconds * 1000000000LL);
        EXPECT_LT(limit.tv_nsec, 1000000000);
    }
}

TEST_F(Semaphore, AddsTheSecondsToWhatThatClockReadsAndKeepsItsNanoseconds) {
    Sem sem;
    const RealTimeReads reading({4000000000, 999999999});
    for (const int seconds : {60, 1, 0}) {
        ForgetCalls();
        sem.SemPost();
        EXPECT_EQ(sem.SemTimedWait(seconds), 0);
        ASSERT_THAT(TimedWaits(), SizeIs(1));
        EXPECT_EQ(TimedWaits().front().tv_sec, 4000000000 + seconds);
        EXPECT_EQ(TimedWaits().front().tv_nsec, 999999999);
    }
}

timespec HoursFromNow(int hours) {
    timespec instant{};
    clock_gettime(CLOCK_REALTIME, &instant);
    instant.tv_sec += 3600 * hours;
    return instant;
}

// The limit is an instant: whoever sets the clock moves the wait's end.
TEST_F(Semaphore, GivesUpAtOnceWhenTheClockIsSetForwardDuringTheWait) {
    Sem sem;
    const RealTimeReads beforeItIsSet(HoursFromNow(-1));
    EXPECT_EQ(sem.SemTimedWait(60), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_THAT(TimedWaits(), SizeIs(1));
}

TEST_F(Semaphore, WaitsOnWhenTheClockIsSetBackDuringTheWait) {
    Sem sem;
    std::int32_t result = -1;
    std::thread waiter([&] {
        const RealTimeReads beforeItIsSet(HoursFromNow(1));
        result = sem.SemTimedWait(0);
    });
    EXPECT_TRUE(Eventually([] { return !TimedWaits().empty(); }));
    sem.SemPost();
    waiter.join();
    EXPECT_EQ(result, 0);
}

void ExpectTimeOutAfter(int seconds) {
    Sem sem;
    const auto start = std::chrono::system_clock::now(); // the clock that it waits by
    errno = 0;
    EXPECT_EQ(sem.SemTimedWait(seconds), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    const auto taken = std::chrono::system_clock::now() - start;
    EXPECT_GE(taken, std::chrono::seconds(seconds));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Semaphore, GivesUpAfterOneSecond) { ExpectTimeOutAfter(1); }
TEST_F(Semaphore, GivesUpAfterAMinuteWhenNobodyPosts) { ExpectTimeOutAfter(60); }

TEST_F(Semaphore, ThatCannotBeMadeIsReportedAndStillAnObject) {
    const Fail init(Call::SemInit, ENOSYS);
    Sem sem;
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "Sem", "sem_init failed")));
}

TEST_F(Semaphore, WaitThatFailsIsReported) {
    Sem sem;
    const Fail wait(Call::SemWait, EINVAL);
    EXPECT_EQ(sem.SemWait(), -1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SemWait", "sem_wait failed")));
}

TEST_F(Semaphore, PostThatFailsIsReported) {
    Sem sem;
    const Fail post(Call::SemPost, EOVERFLOW);
    EXPECT_EQ(sem.SemPost(), -1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SemPost", "sem_post failed")));
}

TEST_F(Semaphore, TimedWaitThatFailsIsNotReportedAndKeepsTheError) {
    Sem sem;
    for (const int error : {ETIMEDOUT, EINTR, EINVAL}) {
        const Fail wait(Call::SemTimedWait, error);
        EXPECT_EQ(sem.SemTimedWait(60), -1);
        EXPECT_EQ(errno, error);
    }
    EXPECT_THAT(Records(), IsEmpty());
}

void Ignore(int) {}

// Sends signals, which restart nothing, until the wait on another thread has ended.
template <class Wait> void Interrupt(Wait wait) {
    struct sigaction action {};
    action.sa_handler = &Ignore;
    sigaction(SIGUSR1, &action, nullptr);
    std::atomic<bool> ended{false};
    std::thread waiter([&] {
        wait();
        ended = true;
    });
    EXPECT_TRUE(Eventually([&] {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        return ended.load();
    }));
    waiter.join();
}

TEST_F(Semaphore, WaitEndsAtASignalAndSaysSo) {
    Sem sem;
    std::int32_t result = 0;
    Interrupt([&] { result = sem.SemWait(); });
    EXPECT_EQ(result, -1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SemWait", "sem_wait failed")));
}

TEST_F(Semaphore, TimedWaitEndsAtASignalWithItsError) {
    Sem sem;
    std::int32_t result = 0;
    int error = 0;
    Interrupt([&] {
        result = sem.SemTimedWait(60);
        error = errno;
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Semaphore, IsNeverDestroyed) {
    const long before = Count(Call::SemDestroy);
    { const Sem sem; }
    EXPECT_EQ(Count(Call::SemDestroy), before);
}

} // namespace
