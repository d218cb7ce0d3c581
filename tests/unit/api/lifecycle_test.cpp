// Start and stop of the library: the order of the steps, each failure, and doing it again and again.
#include "api/lifecycle.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <thread>

#include "support/dispatcher.h"
#include "support/log_library.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

const auto kCompileTime = SaysOnly(kInfo, "Vela Quor compile time is 2016-9-8");
const auto kSuccess = Says(kInfo, "vela_init_imp", "vela init success");

auto Dropped(int id) { return Says(kInfo, kAnyFunction, "sendId = 0 recv_id = " + std::to_string(id)); }

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        LogInitReturns(0);
        LogFiniReturns(0);
        ForgetLogLibrary();
        ForgetCalls();
        TakeRecords();
    }
    void TearDown() override {
        Before(Call::PthreadCreate, nullptr);
        Before(Call::PthreadCancel, nullptr);
        LogFiniReturns(0);
        vela_release_imp();
        EXPECT_EQ(BrokenSteps(), 0);
    }

    static void PushReply(unsigned id) {
        const Bytes reply = Message(2, id, 0, {});
        g_session.PushSockData(reply.data(), reply.size());
    }
    // The threads are there and do their work.
    static bool AnswersAndDelivers() {
        TakeRecords();
        PushReply(7);
        const Bytes event = Event(0, Text(1, "nobody") + Text(2, "tag"));
        g_session.PushEventData(event.data(), event.size());
        return SaidEventually(Dropped(7)) &&
               SaidEventually(Says(kError, "EventNotify", "canot find this CALLBACK function"));
    }
};

TEST_F(Lifecycle, StartsTheLogLibraryAndTwoThreads) {
    EXPECT_EQ(vela_init_imp(), 0);
    EXPECT_THAT(TakeRecords(), ElementsAre(kCompileTime, kSuccess));
    EXPECT_THAT(LogInits(), SizeIs(1));
    EXPECT_THAT(CreatedThreads(), SizeIs(2));
    EXPECT_EQ(g_bVelaIsInit, 1);
    EXPECT_TRUE(AnswersAndDelivers());
}

TEST_F(Lifecycle, EmptiesTheEventHandles) {
    for (EventHandle& handle : g_evtMgr)
        std::memset(&handle, 1, sizeof handle);
    ASSERT_EQ(vela_init_imp(), 0);
    const EventHandle empty{};
    for (const EventHandle& handle : g_evtMgr)
        EXPECT_EQ(std::memcmp(&handle, &empty, sizeof handle), 0);
}

TEST_F(Lifecycle, StopsAtALogLibraryThatDoesNotStart) {
    g_evtMgr[0].inUse = 1;
    for (const int result : {1, -1, 77}) {
        LogInitReturns(result);
        EXPECT_EQ(vela_init_imp(), 20);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_init_imp", "log init failed")));
    }
    EXPECT_THAT(CreatedThreads(), IsEmpty());
    EXPECT_EQ(g_bVelaIsInit, 0);
    EXPECT_EQ(g_evtMgr[0].inUse, 1);
    clear_event_handles();
}

TEST_F(Lifecycle, StopsAtASocketDataThreadThatCannotBeStarted) {
    const Fail create(Call::PthreadCreate, EAGAIN);
    EXPECT_EQ(vela_init_imp(), 22);
    EXPECT_THAT(TakeRecords(), ElementsAre(kCompileTime, Says(kError, "vela_init_imp", "create socket thread failed")));
    EXPECT_THAT(CreatedThreads(), SizeIs(1));
    EXPECT_EQ(g_bVelaIsInit, 0);
    EXPECT_THAT(LogFinis(), IsEmpty()) << "nothing is undone";
}

TEST_F(Lifecycle, StopsAtAnEventThreadThatCannotBeStartedAndLeavesTheFirstRunning) {
    {
        const Fail create(Call::PthreadCreate, EAGAIN, 2);
        EXPECT_EQ(vela_init_imp(), 1);
    }
    EXPECT_THAT(TakeRecords(), ElementsAre(kCompileTime, Says(kError, "vela_init_imp", "create event thread failed")));
    EXPECT_EQ(g_bVelaIsInit, 0);
    EXPECT_THAT(LogFinis(), IsEmpty());
    PushReply(9);
    EXPECT_TRUE(SaidEventually(Dropped(9)));
}

TEST_F(Lifecycle, SetsItsFlagLast) {
    std::vector<int> flags;
    Before(Call::PthreadCreate, [&] { flags.push_back(g_bVelaIsInit); });
    vela_init_imp();
    EXPECT_THAT(flags, ElementsAre(0, 0));
}

TEST_F(Lifecycle, DoesItAllAgainWhenStartedTwice) {
    vela_init_imp();
    EXPECT_EQ(vela_init_imp(), 0);
    EXPECT_THAT(LogInits(), SizeIs(2));
    EXPECT_THAT(CreatedThreads(), SizeIs(4));
    EXPECT_TRUE(AnswersAndDelivers());
}

TEST_F(Lifecycle, StopsTheLogLibraryAndTheThreads) {
    vela_init_imp();
    TakeRecords();
    g_bCliIsOpen = 1;
    std::vector<int> flags;
    Before(Call::PthreadCancel, [&] { flags.push_back(g_bVelaIsInit); });
    EXPECT_EQ(vela_release_imp(), 0);
    EXPECT_THAT(flags, ElementsAre(0, 0)) << "both threads, after the flag was cleared";
    EXPECT_EQ(g_bVelaIsInit, 0);
    EXPECT_EQ(g_bCliIsOpen, 0);
    EXPECT_THAT(LogFinis(), SizeIs(1));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Lifecycle, ReportsTheSocketDataThreadBeforeTheEventThread) {
    vela_init_imp();
    TakeRecords();
    const Fail cancel(Call::PthreadCancel, EINVAL, 1, 2);
    EXPECT_EQ(vela_release_imp(), 0);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "TerminateProcessSockDataThread", "failed"),
                                           Says(kError, "TerminateEventThread", "failed")));
}

TEST_F(Lifecycle, StaysStartedWhenTheLogLibraryDoesNotStop) {
    vela_init_imp();
    TakeRecords();
    g_bCliIsOpen = 1;
    LogFiniReturns(5);
    EXPECT_EQ(vela_release_imp(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_release_imp", "log release failed")));
    EXPECT_EQ(g_bVelaIsInit, 1);
    EXPECT_EQ(g_bCliIsOpen, 0) << "cleared before";
    EXPECT_TRUE(AnswersAndDelivers());
}

TEST_F(Lifecycle, StopsWithoutAStartAndTwiceSilently) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(vela_release_imp(), 0);
    EXPECT_THAT(LogFinis(), SizeIs(3));
    LogFiniReturns(1);
    EXPECT_EQ(vela_release_imp(), 1);
    LogFiniReturns(0);
    TakeRecords();
    vela_init_imp();
    vela_release_imp();
    TakeRecords();
    EXPECT_EQ(vela_release_imp(), 0);
    EXPECT_EQ(vela_release_imp(), 0);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Lifecycle, LosesNoWakeWhenStoppedAndStartedAgainHundredsOfTimes) {
    constexpr int kRounds = 300;
    vela_init_imp();
    TakeRecords();
    std::size_t dropped = 0;
    for (int i = 0; i < kRounds; ++i) {
        const unsigned id = static_cast<unsigned>(i) % 250 + 1;
        std::thread service([id] {
            const Bytes event = Event(0, Text(1, "nobody") + Text(2, "tag"));
            PushReply(id);
            g_session.PushEventData(event.data(), event.size());
        });
        ASSERT_EQ(vela_release_imp(), 0);
        ASSERT_EQ(vela_init_imp(), 0);
        service.join();
        ASSERT_TRUE(SaidEventually(Dropped(static_cast<int>(id)))) << "lost a reply in round " << i;
        ASSERT_TRUE(SaidEventually(Says(kError, "EventNotify", "canot find this CALLBACK function")))
            << "lost an event in round " << i;
        dropped += TakeRecords().size();
    }
    // Of each round: one reply, one event, and the two lines of the start.
    EXPECT_EQ(dropped, std::size_t{kRounds} * 4) << "something was served twice";
}

} // namespace
