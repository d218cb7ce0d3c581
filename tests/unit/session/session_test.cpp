// The dispatcher: a request and its reply, the replies that belong to nobody, the time limit, and the flow of events.
#include "session/session.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "support/dispatcher.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

using Session = Dispatcher;

auto Dropped(int expected, int received) {
    return Says(kInfo, kAnyFunction, "sendId = " + std::to_string(expected) + " recv_id = " + std::to_string(received));
}

// ---- one request ----

// version 1, type 11, send id 5, total length 24, session 0x1170; kind 1, body length 16; tag 0, length 4, 15
TEST_F(Session, SendsTheRequestWithItsHeaderInNetworkOrder) {
    peer.Script({ScriptReply(Int(0, 16))});
    EXPECT_EQ(Ask(5).result, 0U);
    EXPECT_THAT(peer.Requests(),
                ElementsAre(Hex("01 0b 05 00 00 18 11 70 01 00 00 10 00 00 00 00 04 00 00 00 0f 00 00 00")));
    ASSERT_THAT(Sends(), SizeIs(1));
    EXPECT_EQ(Sends()[0].length, 24U);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Session, GivesTheReplyWithItsHeaderInHostOrder) {
    peer.Script({ScriptReply(Int(0, 16) + Text(2, "fine"))});
    const Outcome outcome = Ask(5);
    EXPECT_EQ(outcome.result, 0U);
    const Bytes wire = Operation(12, 5, 0x1170, 1, Int(0, 16) + Text(2, "fine"));
    EXPECT_EQ(outcome.reply.totalLength, wire.size());
    EXPECT_EQ(outcome.reply.sessionId, 0x1170);
    EXPECT_EQ(Bytes(outcome.reply.body, outcome.reply.body + wire.size() - 8), Bytes(wire.begin() + 8, wire.end()));
}

TEST_F(Session, CopiesTheReplysLengthAndNothingBehindIt) {
    peer.Script({ScriptReply(Int(0, 16))});
    const Outcome outcome = Ask(5);
    const Bytes all = BytesOf(outcome.reply, sizeof(tagMSG_DATA));
    EXPECT_EQ(Bytes(all.begin() + 24, all.end()), Bytes(sizeof(tagMSG_DATA) - 24, '-'));
}

TEST_F(Session, LeavesTheRequestsLengthsAndSessionInNetworkOrder) {
    peer.Script({ScriptReply(Int(0, 16))});
    const Outcome outcome = Ask(5);
    EXPECT_EQ(BytesOf(outcome.request, 12), Hex("01 0b 05 00 00 18 11 70 01 00 00 10"));
}

TEST_F(Session, TakesAReplyOfTheSmallestAndTheLargestLength) {
    peer.Script({Reply(2, {}), Reply(2, Bytes(8004, 'x'))});
    EXPECT_EQ(Ask(5).reply.totalLength, 8);
    const Outcome largest = Ask(6);
    EXPECT_EQ(largest.result, 0U);
    EXPECT_EQ(largest.reply.totalLength, 8012);
    EXPECT_EQ(largest.reply.body[8003], 'x');
}

TEST_F(Session, GivesUpAfterSixtySecondsOfTheRealTimeClock) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(Ask(5).result, 7U);
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendRequest", "wait time out")));
    ASSERT_THAT(TimedWaits(), SizeIs(1));
    EXPECT_GE(TimedWaits()[0].tv_sec, before.tv_sec + 60);
    EXPECT_LE(TimedWaits()[0].tv_sec, after.tv_sec + 60);
}

TEST_F(Session, GivesUpAtOnceWhenTheClockIsSetPastTheLimit) {
    timespec anHourAgo{};
    clock_gettime(CLOCK_REALTIME, &anHourAgo);
    anHourAgo.tv_sec -= 3600;
    const RealTimeReads beforeItIsSet(anHourAgo);
    EXPECT_EQ(Ask(5).result, 7U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendRequest", "wait time out")));
    ASSERT_THAT(TimedWaits(), SizeIs(1));
    EXPECT_EQ(TimedWaits()[0].tv_sec, anHourAgo.tv_sec + 60);
}

TEST_F(Session, GivesTheReplyAsItStandsWhenASignalEndsTheWait) {
    const Fail limit(Call::SemTimedWait, EINTR);
    const Outcome outcome = Ask(5);
    EXPECT_EQ(outcome.result, 0U);
    EXPECT_EQ(BytesOf(outcome.reply, sizeof(tagMSG_DATA)), Bytes(sizeof(tagMSG_DATA), '-'));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Session, FailsWhenTheRequestCannotBeSent) {
    {
        const Fail send(Call::Send, ECONNRESET);
        EXPECT_EQ(Ask(5).result, 1U);
    }
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket send error"),
                                           Says(kError, "SendRequest", "send data failed")));
    EXPECT_THAT(TimedWaits(), IsEmpty()) << "waited for the reply of a request that was not sent";
    peer.Script({ScriptReply(Int(0, 16))});
    EXPECT_EQ(Ask(6).result, 0U) << "the next one is not served";
}

TEST_F(Session, FailsWhenTheServiceHasGone) {
    peer.HangUp();
    ASSERT_TRUE(SawTheHangUp());
    TakeRecords();
    EXPECT_EQ(Ask(5).result, 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket is disconnect"),
                                           Says(kError, "SendRequest", "send data failed")));
}

// ---- replies that are not the one waited for ----

TEST_F(Session, DropsTheReplyOfAnotherRequestAndKeepsWaiting) {
    peer.Script({[](Link& link, const Bytes& request) {
        for (const unsigned id : {6U, 4U, 0U, 255U, 5U})
            link.Send(WithTotalLength(Operation(12, id, 0, 1, Int(0, static_cast<int>(id))), 24));
        EXPECT_EQ(SendIdOf(request), 5U);
    }});
    const Outcome outcome = Ask(5);
    EXPECT_EQ(outcome.result, 0U);
    EXPECT_EQ(outcome.reply.sendId, 5);
    EXPECT_THAT(TakeRecords(), ElementsAre(Dropped(5, 6), Dropped(5, 4), Dropped(5, 0), Dropped(5, 255)));
}

TEST_F(Session, NamesTheSocketDataLoopWhenItDropsAReply) {
    peer.Send(Message(2, 9, 0, {}));
    ASSERT_TRUE(SaidEventually(Dropped(0, 9)));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "ProcessSocketData", "sendId = 0 recv_id = 9")));
}

TEST_F(Session, NamesTheEventLoopWhenItDropsAnEvent) {
    peer.Send(WithTotalLength(Event(0, {}), 9000));
    ASSERT_TRUE(SaidEventually(Says(kError, kAnyFunction, "recv invalid len data")));
    EXPECT_THAT(TakeRecords(), Contains(Says(kError, "ProcessEvent", "recv invalid len data")));
}

TEST_F(Session, DropsAReplyThatComesTooLate) {
    {
        const Fail limit(Call::SemTimedWait, ETIMEDOUT);
        ASSERT_EQ(Ask(5).result, 7U);
    }
    ASSERT_TRUE(peer.SawRequests(1));
    TakeRecords();
    peer.Send(Operation(12, 5, 0, 1, Int(0, 1)));
    ASSERT_TRUE(SaidEventually(Dropped(0, 5)));
    peer.Script({ScriptReply(Int(0, 2))});
    const Outcome next = Ask(6);
    EXPECT_EQ(next.result, 0U);
    EXPECT_EQ(next.reply.sendId, 6);
}

TEST_F(Session, NeverWritesToTheBufferOfACallThatHasReturned) {
    auto request = Held(Operation(11, 5, 1, 1, Int(0, 15)));
    tagMSG_DATA reply;
    std::memset(&reply, '-', sizeof reply);
    {
        const Fail limit(Call::SemTimedWait, ETIMEDOUT);
        ASSERT_EQ(g_session.SendRequest(&request, &reply), 7U);
    }
    for (const unsigned id : {5U, 0U, 5U})
        peer.Send(Operation(12, id, 0, 1, Int(0, 1)));
    ASSERT_TRUE(Settled());
    EXPECT_EQ(BytesOf(reply, sizeof reply), Bytes(sizeof reply, '-'));
}

TEST_F(Session, HandsAMessageOfSendIdZeroThatCameBetweenToTheNextRequest) {
    const Bytes asLongAsAReceive = Operation(12, 0, 0, 1, Int(0, 77) + Data(9, Bytes(8012 - 12 - 12 - 8, 'f')));
    ASSERT_THAT(asLongAsAReceive, SizeIs(8012)) << "it is not alone in its receive";
    peer.Send(asLongAsAReceive);
    ASSERT_TRUE(Settled());
    TakeRecords();
    const Outcome outcome = Ask(5); // the service says nothing
    EXPECT_EQ(outcome.result, 0U);
    EXPECT_EQ(outcome.reply.sendId, 0);
    EXPECT_EQ(BytesOf(outcome.reply, 24).at(20), 77);
    EXPECT_TRUE(peer.SawRequests(1)) << "the request is sent all the same";
    peer.Script({ScriptReply(Int(0, 16))});
    const Outcome next = Ask(6);
    EXPECT_EQ(next.result, 0U);
    EXPECT_EQ(next.reply.sendId, 6) << "handed over twice";
}

TEST_F(Session, AnswersTheRequestWhoseSendIdIsZero) {
    peer.Script({ScriptReply(Int(0, 16))});
    const Outcome outcome = Ask(0);
    EXPECT_EQ(outcome.result, 0U);
    EXPECT_EQ(outcome.reply.sendId, 0);
    EXPECT_EQ(outcome.reply.totalLength, 24);
}

TEST_F(Session, IsNotWokenByTheReplyOfARequestThatJustGaveUp) {
    // The reply is there and its wake posted, and yet the wait ends by its limit.
    std::atomic<bool> replied{false};
    peer.Script({[&](Link& link, const Bytes& request) {
        ScriptReply(Int(0, 1))(link, request);
        replied = true;
    }});
    Before(Call::SemTimedWait, [&] {
        ASSERT_TRUE(Eventually([&] { return replied.load(); }));
        ASSERT_TRUE(Settled());
    });
    {
        const Fail limit(Call::SemTimedWait, ETIMEDOUT);
        Ask(5);
    }
    Before(Call::SemTimedWait, nullptr);
    for (unsigned id = 6; id < 10; ++id) {
        peer.Script({ScriptReply(Int(0, 16))});
        const Outcome next = Ask(id);
        EXPECT_EQ(next.result, 0U);
        EXPECT_EQ(next.reply.sendId, id);
    }
}

class SessionOddLength : public Session, public ::testing::WithParamInterface<unsigned> {};

TEST_P(SessionOddLength, CopiesTheWholeMessageAndReturns23) {
    peer.Script({[](Link& link, const Bytes&) {
        link.Send(WithTotalLength(Operation(12, 5, 0, 1, Bytes(8000, 'y')), GetParam()));
    }});
    const Outcome outcome = Ask(5);
    EXPECT_EQ(outcome.result, 23U);
    EXPECT_EQ(outcome.reply.totalLength, GetParam());
    EXPECT_EQ(Bytes(outcome.reply.body + 4, outcome.reply.body + 8004), Bytes(8000, 'y'));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConvertRecvDataNtohs",
                                                "invalid message length = " + std::to_string(GetParam()))));
}

INSTANTIATE_TEST_SUITE_P(Lengths, SessionOddLength, ::testing::Values(0, 7, 8013, 9000, 65535));

TEST_F(Session, TakesAShortReplyWithTheBytesOfEarlierMessages) {
    // A reply of 40 bytes of which only 24 came; the rest is what the buffer held.
    peer.Script({ScriptReply(Bytes(100, 'e')),
                 [](Link& link, const Bytes&) { link.Send(WithTotalLength(Operation(12, 6, 0, 1, Int(0, 16)), 40)); }});
    Ask(5);
    const Outcome outcome = Ask(6);
    EXPECT_EQ(outcome.result, 0U);
    EXPECT_EQ(outcome.reply.totalLength, 40);
    EXPECT_EQ(Bytes(outcome.reply.body + 16, outcome.reply.body + 32), Bytes(16, 'e'));
    EXPECT_EQ(outcome.reply.body[32], '-');
}

// ---- several threads ----

TEST_F(Session, SendsOneRequestAtATime) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kEach = 100;
    std::atomic<int> overtaken{0};
    peer.AlwaysAnswer([&](Link& link, const Bytes& request) {
        std::this_thread::yield();
        overtaken += !peer.NothingPending(0); // a second request before the first has its reply
        ScriptReply(Int(0, 16))(link, request);
    });
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (unsigned t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (unsigned i = 0; i < kEach; ++i) {
                const Outcome outcome = Ask(t + 1);
                wrong += outcome.result != 0 || outcome.reply.sendId != t + 1;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(overtaken, 0);
    EXPECT_EQ(wrong, 0);
    EXPECT_THAT(peer.Requests(), SizeIs(kThreads * kEach));
}

TEST_F(Session, LetsTheNextRequestInAfterATimeOut) {
    {
        const Fail limit(Call::SemTimedWait, ETIMEDOUT);
        EXPECT_EQ(Ask(5).result, 7U);
    }
    ASSERT_TRUE(peer.SawRequests(1));
    peer.Script({ScriptReply(Int(0, 16))});
    std::uint32_t result = 99;
    std::thread second([&] { result = Ask(6).result; });
    second.join();
    EXPECT_EQ(result, 0U);
}

// ---- events ----

struct Delivered {
    std::uint32_t session;
    std::string tag;
    tagVELA_EVENT kind;
    std::string content;
    int unused;
};

std::mutex deliveredLock;
std::vector<Delivered> delivered;
std::function<void(const Delivered&)> onDelivery;

void Callback(std::uint32_t session, const char* tag, tagVELA_EVENT kind, void* content, int unused) {
    const Delivered event{session, tag, kind, content != nullptr ? static_cast<const char*>(content) : "(none)",
                          unused};
    std::function<void(const Delivered&)> then;
    {
        const std::lock_guard guard(deliveredLock);
        delivered.push_back(event);
        then = onDelivery;
    }
    if (then)
        then(event);
}

class SessionEvents : public Session {
protected:
    void SetUp() override {
        Session::SetUp();
        g_evt.RegEvent("app", &Callback);
    }
    void TearDown() override {
        Session::TearDown();
        const std::lock_guard guard(deliveredLock);
        delivered.clear();
        onDelivery = nullptr;
    }
    static std::size_t Count() {
        const std::lock_guard guard(deliveredLock);
        return delivered.size();
    }
    static bool Saw(std::size_t count) {
        return Eventually([=] { return Count() >= count; });
    }
    static void OnDelivery(std::function<void(const Delivered&)> then) {
        const std::lock_guard guard(deliveredLock);
        onDelivery = std::move(then);
    }
    static std::vector<std::string> Contents() {
        const std::lock_guard guard(deliveredLock);
        std::vector<std::string> contents;
        for (const Delivered& event : delivered)
            contents.push_back(event.content);
        return contents;
    }
    static Bytes Pushed(const std::string& content) {
        return Event(0x1170, Text(1, "app") + Text(2, "tag") + Text(3, content));
    }
};

TEST_F(SessionEvents, ReachTheirCallbackWithTheHeadersSessionInHostOrder) {
    g_evt.SaveEventTag("tag", VELA_EVENT_ROUTE);
    peer.Send(Pushed("hello"));
    ASSERT_TRUE(Saw(1));
    EXPECT_EQ(delivered[0].session, 0x1170U);
    EXPECT_EQ(delivered[0].tag, "tag");
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_ROUTE);
    EXPECT_EQ(delivered[0].content, "hello");
    EXPECT_EQ(delivered[0].unused, 0);
}

TEST_F(SessionEvents, OfImpossibleLengthAreDroppedAndSaidSo) {
    for (const unsigned length : {0U, 7U, 8013U}) {
        TakeRecords();
        peer.Send(WithTotalLength(Pushed("odd"), length));
        ASSERT_TRUE(SaidEventually(Says(kError, kAnyFunction, "recv invalid len data")));
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConvertRecvDataNtohs",
                                                    "invalid message length = " + std::to_string(length)),
                                               Says(kError, kAnyFunction, "recv invalid len data")));
    }
    peer.Send(Pushed("after"));
    ASSERT_TRUE(Saw(1));
    EXPECT_THAT(Contents(), ElementsAre("after"));
}

TEST_F(SessionEvents, AndRepliesAreAllDeliveredInOrderWhenTheServiceWritesInBursts) {
    constexpr int kMessages = 1000;
    std::vector<std::string> expected;
    Bytes burst;
    for (int i = 0; i < kMessages; ++i) {
        const std::string content = std::to_string(i) + std::string(static_cast<std::size_t>(i % 97) * 5, '.');
        expected.push_back(content);
        // After every event a reply of nobody, so that both queues are kept busy.
        burst = burst + Pushed(content) +
                Message(2, static_cast<unsigned>(i) % 250 + 1, 0, Bytes(static_cast<std::size_t>(i % 60), 'r'));
        if (i % 37 == 36 || i == kMessages - 1) {
            peer.Send(burst);
            burst.clear();
        }
    }
    ASSERT_TRUE(Saw(kMessages));
    EXPECT_EQ(Contents(), expected);
    ASSERT_TRUE(Eventually([] { return Records().size() >= kMessages; }));
    const std::vector<Record> records = TakeRecords();
    ASSERT_THAT(records, SizeIs(kMessages));
    for (int i = 0; i < kMessages; ++i)
        ASSERT_THAT(records[static_cast<std::size_t>(i)], Dropped(0, i % 250 + 1)) << i;
}

TEST_F(SessionEvents, ArriveWhileRequestsAreAnswered) {
    peer.AlwaysAnswer([](Link& link, const Bytes& request) {
        // The reply stands between two events, in one write.
        link.Send(Pushed("before") + Operation(12, SendIdOf(request), 0, 1, Int(0, 16)) + Pushed("after"));
    });
    for (unsigned i = 1; i <= 200; ++i) {
        const Outcome outcome = Ask(i);
        ASSERT_EQ(outcome.result, 0U);
        ASSERT_EQ(outcome.reply.sendId, i);
    }
    EXPECT_TRUE(Saw(400));
}

TEST_F(SessionEvents, LetTheirCallbackMakeARequest) {
    peer.Script({ScriptReply(Int(0, 16))});
    std::atomic<int> result{-1};
    OnDelivery([&](const Delivered&) { result = static_cast<int>(Ask(5).result); });
    peer.Send(Pushed("ask"));
    EXPECT_TRUE(Eventually([&] { return result != -1; }));
    EXPECT_EQ(result, 0);
}

TEST_F(SessionEvents, AreDeliveredOneAtATimeAndHoldTheReaderBackMeanwhile) {
    std::atomic<bool> inside{false};
    std::atomic<bool> leave{false};
    std::atomic<int> together{0};
    std::atomic<int> left{0};
    OnDelivery([&](const Delivered&) {
        together += inside.exchange(true);
        EXPECT_TRUE(Eventually([&] { return leave.load(); }));
        inside = false;
        ++left;
    });
    peer.Send(Pushed("one"));
    ASSERT_TRUE(Eventually([&] { return inside.load(); }));
    peer.Send(Message(2, 9, 0, {}));
    ASSERT_TRUE(SaidEventually(Dropped(0, 9))) << "replies flow while a callback runs";
    peer.Send(Pushed("two"));
    peer.Send(Message(2, 10, 0, {}));
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(CountOf(Dropped(0, 10)), 0U) << "the reader did not wait for the callback";
        std::this_thread::yield();
    }
    leave = true;
    ASSERT_TRUE(Eventually([&] { return left == 2; }));
    EXPECT_TRUE(SaidEventually(Dropped(0, 10)));
    EXPECT_THAT(Contents(), ElementsAre("one", "two"));
    EXPECT_EQ(together, 0);
}

TEST_F(SessionEvents, ThatComeDuringACallbacksRequestLetItTimeOutAndThenFlowOn) {
    peer.Script({[](Link& link, const Bytes& request) {
        link.Send(Pushed("two"));
        ScriptReply(Int(0, 16))(link, request);
    }});
    std::atomic<int> result{-1};
    const Fail limit(Call::SemTimedWait, ETIMEDOUT, 1, 1, Threads::Others);
    OnDelivery([&](const Delivered& event) {
        if (event.content == "one")
            result = static_cast<int>(Ask(5).result);
    });
    peer.Send(Pushed("one"));
    ASSERT_TRUE(Saw(2));
    EXPECT_EQ(result, 7);
    EXPECT_THAT(Contents(), ElementsAre("one", "two"));
    peer.Script({ScriptReply(Int(0, 16))});
    EXPECT_EQ(Ask(6).result, 0U);
}

// ---- the queues' entries ----

TEST_F(SessionEvents, AndRepliesMayBePushedDirectly) {
    const Bytes event = Pushed("direct");
    g_session.PushEventData(event.data(), event.size());
    EXPECT_TRUE(Saw(1));
    const Bytes reply = Message(2, 33, 0, {});
    g_session.PushSockData(reply.data(), reply.size());
    EXPECT_TRUE(SaidEventually(Dropped(0, 33)));
}

// ---- the threads ----

class SessionThreads : public ::testing::Test {
protected:
    void SetUp() override {
        TakeRecords();
        ForgetCalls();
    }
    void TearDown() override {
        g_session.TerminateReadSocketThread();
        g_session.TerminateProcessSockDataThread();
        g_session.TerminateEventThread();
    }

    static void PushReply(unsigned id) {
        const Bytes reply = Message(2, id, 0, {});
        g_session.PushSockData(reply.data(), reply.size());
    }
};

TEST_F(SessionThreads, SayWhenTheyCannotBeCreated) {
    const Fail create(Call::PthreadCreate, EAGAIN, 1, 3);
    EXPECT_TRUE(g_session.CreateReadSock());
    EXPECT_TRUE(g_session.CreateProcessSocketDataThread(0));
    EXPECT_TRUE(g_session.CreateEventCallBackThread());
}

TEST_F(SessionThreads, AreCreatedWithDefaultAttributesAndTheSession) {
    EXPECT_FALSE(g_session.CreateProcessSocketDataThread(42));
    EXPECT_FALSE(g_session.CreateEventCallBackThread());
    const std::vector<CreatedThread> threads = CreatedThreads();
    ASSERT_THAT(threads, SizeIs(2));
    for (const CreatedThread& thread : threads) {
        EXPECT_TRUE(thread.defaultAttributes);
        EXPECT_EQ(thread.argument, &g_session);
    }
}

TEST_F(SessionThreads, EndAtOnceWithoutASession) {
    g_session.CreateProcessSocketDataThread(0);
    g_session.CreateEventCallBackThread();
    const std::vector<CreatedThread> threads = CreatedThreads();
    ASSERT_THAT(threads, SizeIs(2));
    const char* const names[] = {"ProcessSocketDataThread", "ProcessEventThread"};
    for (std::size_t i = 0; i < 2; ++i) {
        pthread_t id;
        ASSERT_EQ(pthread_create(&id, nullptr, threads[i].entry, nullptr), 0);
        EXPECT_TRUE(SaidEventually(Says(kError, names[i], "lparam == NULL")));
    }
    EXPECT_THAT(TakeRecords(), SizeIs(2));
}

TEST_F(SessionThreads, AreTerminatedSilentlyWhenThereAreNone) {
    for (int i = 0; i < 3; ++i) {
        g_session.TerminateReadSocketThread();
        g_session.TerminateProcessSockDataThread();
        g_session.TerminateEventThread();
    }
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(SessionThreads, AreTerminatedAndTerminatedAgainSilently) {
    g_session.CreateProcessSocketDataThread(0);
    g_session.CreateEventCallBackThread();
    for (int i = 0; i < 3; ++i) {
        g_session.TerminateProcessSockDataThread();
        g_session.TerminateEventThread();
    }
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(SessionThreads, SayWhenTheyCannotBeTerminated) {
    Peer peer;
    g_sock.ConnectServer(0, nullptr, 0);
    g_session.CreateReadSock();
    g_session.CreateProcessSocketDataThread(0);
    g_session.CreateEventCallBackThread();
    {
        const Fail cancel(Call::PthreadCancel, EINVAL, 1, 3);
        g_session.TerminateReadSocketThread();
        g_session.TerminateProcessSockDataThread();
        g_session.TerminateEventThread();
        EXPECT_EQ(cancel.Failures(), 3);
    }
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "TerminateReadSocketThread", "failed, rt = 22"),
                                           Says(kError, "TerminateProcessSockDataThread", "failed"),
                                           Says(kError, "TerminateEventThread", "failed")));
    {
        const Fail cancel(Call::PthreadCancel, ESRCH, 1, 3);
        g_session.TerminateReadSocketThread();
        g_session.TerminateProcessSockDataThread();
        g_session.TerminateEventThread();
    }
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(SessionThreads, HandleWhatWasQueuedBeforeTheyStarted) {
    PushReply(40);
    PushReply(41);
    g_session.CreateProcessSocketDataThread(0);
    EXPECT_TRUE(SaidEventually(Dropped(0, 41)));
    EXPECT_THAT(TakeRecords(), ElementsAre(Dropped(0, 40), Dropped(0, 41)));
}

TEST_F(SessionThreads, LoseNothingWhenTheyAreReplacedWhileMessagesArrive) {
    constexpr int kRounds = 300;
    g_session.CreateProcessSocketDataThread(0);
    for (int i = 0; i < kRounds; ++i) {
        const unsigned id = static_cast<unsigned>(i) % 200 + 1;
        std::thread service([id] { PushReply(id); });
        g_session.TerminateProcessSockDataThread();
        ASSERT_FALSE(g_session.CreateProcessSocketDataThread(0));
        service.join();
        ASSERT_TRUE(Eventually([&] { return Records().size() > static_cast<std::size_t>(i); }))
            << "lost in round " << i;
    }
    const std::vector<Record> records = TakeRecords();
    ASSERT_THAT(records, SizeIs(kRounds)) << "one was served twice";
    for (int i = 0; i < kRounds; ++i)
        ASSERT_THAT(records[static_cast<std::size_t>(i)], Dropped(0, i % 200 + 1));
}

} // namespace
