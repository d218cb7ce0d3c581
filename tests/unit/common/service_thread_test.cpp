// A service thread's life: started, detached, deaf to signals, cancelled only while it waits; and its handle, which may
// be cancelled at any time.
#include "common/service_thread.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <semaphore.h>
#include <thread>
#include <vector>

#include "support/calls.h"
#include "support/records.h"
#include "support/wait.h"

namespace {

using namespace test;

// TSan takes no notice of how a thread synchronises once it was cancelled inside a wait. The memory that it used is
// therefore never used again.
template <class Object> Object& Lasting() {
    static auto& all = *new std::vector<std::unique_ptr<Object>>;
    return *all.emplace_back(std::make_unique<Object>());
}

// A thread that waits on a semaphore, the only place where it can be cancelled.
struct Worker {
    ServiceThread thread;
    sem_t wake;
    std::atomic<bool> started{false};
    std::atomic<bool> ended{false};
    std::atomic<bool> release{false}; // let the thread return by itself
    std::atomic<bool> busy{false};    // keep the thread working instead of waiting
    std::atomic<bool> working{false};
    std::atomic<int> rounds{0};
    std::atomic<int> detachState{-1};
    std::atomic<bool> signalsBlocked{false};
    std::atomic<int> cancelState{-1};

    Worker() { sem_init(&wake, 0, 0); }
    bool Start() { return thread.Start(&Worker::Run, this); }
    bool Gone() {
        return Eventually([this] { return thread.Cancel() == ESRCH; });
    }

    void Look() {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        int detached = -1;
        pthread_attr_getdetachstate(&attributes, &detached);
        pthread_attr_destroy(&attributes);
        detachState = detached;
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        bool all = true;
        for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGPIPE, SIGUSR1, SIGUSR2, SIGWINCH})
            all = all && sigismember(&mask, number) == 1;
        for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
            all = all && sigismember(&mask, number) == 0;
        signalsBlocked = all;
        int state = -1;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
        pthread_setcancelstate(state, nullptr);
        cancelState = state;
    }

    struct Ended {
        std::atomic<bool>& flag;
        ~Ended() { flag = true; }
    };

    static void* Run(void* argument) {
        Worker& self = *static_cast<Worker*>(argument);
        const Ended whenEverItEnds{self.ended};
        const ServiceThread::Life life(self.thread);
        self.Look();
        self.started = true;
        while (!self.release) {
            while (self.busy) {
                self.working = true;
                pthread_testcancel(); // cancellation is off here
            }
            self.working = false;
            ++self.rounds;
            const CancelOn whileWaiting;
            sem_wait(&self.wake);
        }
        return nullptr;
    }
};

TEST(ServiceThread, StartsWithDefaultAttributesAndItsArgument) {
    ForgetCalls();
    auto& worker = Lasting<Worker>();
    ASSERT_FALSE(worker.Start());
    ASSERT_TRUE(Eventually([&] { return worker.started.load(); }));
    ASSERT_EQ(CreatedThreads().size(), 1U);
    EXPECT_TRUE(CreatedThreads()[0].defaultAttributes);
    worker.thread.Cancel();
    EXPECT_TRUE(worker.Gone());
}

TEST(ServiceThread, IsDetachedAndBlocksAllButSynchronousSignalsAndIsNotCancelledUnlessItWaits) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    auto& worker = Lasting<Worker>();
    ASSERT_FALSE(worker.Start());
    ASSERT_TRUE(Eventually([&] { return worker.started.load(); }));
    EXPECT_EQ(worker.detachState, PTHREAD_CREATE_DETACHED);
    EXPECT_TRUE(worker.signalsBlocked);
    EXPECT_EQ(worker.cancelState, PTHREAD_CANCEL_DISABLE);
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int number : {SIGTERM, SIGUSR1, SIGPIPE})
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << "the starter's mask has changed";
    worker.thread.Cancel();
    EXPECT_TRUE(worker.Gone());
}

TEST(ServiceThread, ThatCannotBeCreatedSaysSoAndLeavesTheStartersSignalsAlone) {
    auto& worker = Lasting<Worker>();
    sigset_t mask;
    {
        const Fail create(Call::PthreadCreate, EAGAIN);
        EXPECT_TRUE(worker.Start());
    }
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
    EXPECT_EQ(worker.thread.Cancel(), ESRCH);
    EXPECT_FALSE(worker.Start());
    EXPECT_TRUE(Eventually([&] { return worker.started.load(); }));
    worker.thread.Cancel();
    EXPECT_TRUE(worker.Gone());
}

TEST(ServiceThread, ThatWasNeverStartedIsNotThere) {
    ServiceThread thread;
    const long before = Count(Call::PthreadCancel);
    EXPECT_EQ(thread.Cancel(), ESRCH);
    EXPECT_EQ(thread.Cancel(), ESRCH);
    EXPECT_EQ(Count(Call::PthreadCancel), before) << "cancelled an id that was never a thread's";
}

TEST(ServiceThread, IsCancelledWhileItWaits) {
    auto& worker = Lasting<Worker>();
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.rounds > 0; }));
    EXPECT_EQ(worker.thread.Cancel(), 0);
    EXPECT_TRUE(Eventually([&] { return worker.ended.load(); }));
    EXPECT_EQ(worker.thread.Cancel(), ESRCH);
}

TEST(ServiceThread, ThatWorksFinishesBeforeItIsCancelled) {
    auto& worker = Lasting<Worker>();
    worker.busy = true;
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.working.load(); }));
    EXPECT_EQ(worker.thread.Cancel(), 0);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_FALSE(worker.ended);
        std::this_thread::yield();
    }
    worker.busy = false;
    EXPECT_TRUE(Eventually([&] { return worker.ended.load(); }));
}

TEST(ServiceThread, ThatEndedByItselfIsNotThere) {
    auto& worker = Lasting<Worker>();
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.started.load(); }));
    worker.release = true;
    sem_post(&worker.wake);
    ASSERT_TRUE(Eventually([&] { return worker.ended.load(); }));
    const long before = Count(Call::PthreadCancel);
    EXPECT_EQ(worker.thread.Cancel(), ESRCH);
    EXPECT_EQ(worker.thread.Cancel(), ESRCH);
    EXPECT_EQ(Count(Call::PthreadCancel), before) << "cancelled a dead thread's id";
}

TEST(ServiceThread, PassesTheSystemsErrorOn) {
    auto& worker = Lasting<Worker>();
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.started.load(); }));
    {
        const Fail cancel(Call::PthreadCancel, EINVAL);
        EXPECT_EQ(worker.thread.Cancel(), EINVAL);
    }
    worker.release = true;
    sem_post(&worker.wake);
    EXPECT_TRUE(Eventually([&] { return worker.ended.load(); }));
}

// One handle, two threads one after the other, each with a wake of its own.
struct Pair {
    ServiceThread thread;
    struct One {
        Pair* pair;
        sem_t wake;
        std::atomic<bool> started{false};
        std::atomic<bool> ended{false};
    } ones[2];

    Pair() {
        for (One& one : ones) {
            one.pair = this;
            sem_init(&one.wake, 0, 0);
        }
    }
    static void* Run(void* argument) {
        One& one = *static_cast<One*>(argument);
        const Worker::Ended whenEverItEnds{one.ended};
        const ServiceThread::Life life(one.pair->thread);
        one.started = true;
        const CancelOn whileWaiting;
        sem_wait(&one.wake);
        return nullptr;
    }
    bool Start(int index) {
        const bool failed = thread.Start(&Run, &ones[index]);
        return !failed && Eventually([this, index] { return ones[index].started.load(); });
    }
};

TEST(ServiceThread, StartedAgainLeavesTheFirstToItself) {
    auto& pair = Lasting<Pair>();
    ASSERT_TRUE(pair.Start(0));
    ASSERT_TRUE(pair.Start(1));
    EXPECT_EQ(pair.thread.Cancel(), 0);
    EXPECT_TRUE(Eventually([&] { return pair.ones[1].ended.load(); }));
    EXPECT_FALSE(pair.ones[0].ended);
    EXPECT_EQ(pair.thread.Cancel(), ESRCH);
    EXPECT_FALSE(pair.ones[0].ended);
    sem_post(&pair.ones[0].wake);
    EXPECT_TRUE(Eventually([&] { return pair.ones[0].ended.load(); }));
}

TEST(ServiceThread, KeepsTheSecondWhenTheFirstEnds) {
    auto& pair = Lasting<Pair>();
    ASSERT_TRUE(pair.Start(0));
    ASSERT_TRUE(pair.Start(1));
    sem_post(&pair.ones[0].wake);
    ASSERT_TRUE(Eventually([&] { return pair.ones[0].ended.load(); }));
    EXPECT_EQ(pair.thread.Cancel(), 0) << "the end of the first made the handle forget the second";
    EXPECT_TRUE(Eventually([&] { return pair.ones[1].ended.load(); }));
}

TEST(ServiceThread, IsStartedAndCancelledManyTimesOverByManyThreads) {
    auto& worker = Lasting<Worker>();
    for (int i = 0; i < 300; ++i) {
        worker.ended = false;
        ASSERT_FALSE(worker.Start());
        std::thread other([&] { worker.thread.Cancel(); });
        worker.thread.Cancel();
        other.join();
        ASSERT_TRUE(worker.Gone());
        ASSERT_TRUE(Eventually([&] { return worker.ended.load(); }));
    }
}

} // namespace
