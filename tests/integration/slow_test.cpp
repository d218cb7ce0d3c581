// What only the end of the library's 60 seconds shows. Nothing shortens them: these tests sleep, all at once, each in a
// process of its own.
#include <atomic>
#include <thread>

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include "support.h"

namespace integration {
namespace {

using sim::Item;
using Clock = std::chrono::system_clock; // the library waits by it too

const Record timed_out = failure("SendRequest", "wait time out");
const Record disconnected = note("ReadSockThread", "disconnect from server!");

class Slow : public RequestTest {
protected:
    // Makes a call that waits the whole limit for its reply, and no longer.
    template <class Call> static std::int32_t whole_wait(Call call) {
        const auto start = Clock::now();
        const std::int32_t code = call();
        const auto waited = Clock::now() - start;
        EXPECT_GE(waited, request_limit - 1s);
        EXPECT_LE(waited, 2 * request_limit);
        return code;
    }
};

class SlowRequest : public Slow, public testing::WithParamInterface<RequestKind> {};

TEST_P(SlowRequest, ThatIsNotAnsweredEndsAfterSixtySeconds) {
    const RequestKind& kind = GetParam();
    reach(kind);
    answer_nothing(kind.operation);

    EXPECT_EQ(whole_wait(kind.call), VELA_ERROR);
    expect_log(without_reply(kind, {timed_out}));

    answer_as_usual();
    EXPECT_EQ(kind.call(), VELA_OK) << "the next one is served";
    expect_log(kind.success);
}

TEST_P(SlowRequest, DuringWhichTheServiceHangsUpWaitsOn) {
    const RequestKind& kind = GetParam();
    reach(kind);
    service.faults().add(std::string(kind.operation) + ":hang_up_before");

    EXPECT_EQ(whole_wait(kind.call), VELA_ERROR);
    expect_log(without_reply(kind, {disconnected, timed_out}));

    service.faults().clear();
    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION);
    EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(request_kind("cli.open").call(), VELA_OK) << "the channel ended with the session";
    EXPECT_EQ(request_kind("cli.execute").call(), VELA_OK);
}

INSTANTIATE_TEST_SUITE_P(Request, SlowRequest, testing::ValuesIn(request_kinds()), kind_name);

TEST_F(Slow, AReplyAfterTheEndIsDroppedAndTheNextRequestIsServed) {
    open_cli();
    answer_nothing("cli.execute");
    char* output = nullptr;
    EXPECT_EQ(whole_wait([&] { return vela_cli_execute(granted_handle, "late", nullptr, &output); }), VELA_ERROR);
    expect_log({timed_out, failure("vela_cli_execute_imp", "SendRequest failed")});
    EXPECT_EQ(output, nullptr);

    const sim::Message late = last_request();
    service.send(-1, encode_reply(late, {.items = printed("late output")}));
    take_log_until(dropped(0, late.send_id));
    // While the next one waits, the same answer is another's.
    service.on("cli.execute", [&](const sim::Request& request) {
        return sim::Answer{encode_reply(late, {.items = printed("late output")}),
                           encode_reply(request.message, {.items = printed("in time")})};
    });
    EXPECT_EQ(vela_cli_execute(granted_handle, "next", nullptr, &output), VELA_OK);
    ASSERT_NE(output, nullptr);
    EXPECT_STREQ(output, "in time");
    vela_free(output);
    expect_log({dropped(late.send_id + 1, late.send_id)});
}

TEST_F(Slow, AReplyWithAnotherIdAloneDoesNotEndTheWait) {
    open_session();
    answer("session.keepalive", {.items = session_acknowledged(6), .send_id = 99});
    EXPECT_EQ(whole_wait([] { return vela_session_keepalive(0); }), VELA_ERROR);
    expect_log({dropped(2, 99), timed_out});
}

TEST_F(Slow, AnEventWithTheRequestsIdDoesNotEndTheWait) {
    open_cli();
    answer("cli.execute", {.items = {Item::text(1, "nobody"), Item::text(2, "tag")}, .kind = sim::event_notification});
    EXPECT_EQ(whole_wait(request_kind("cli.execute").call), VELA_ERROR);
    expect_log({failure("EventNotify", "canot find this CALLBACK function"), timed_out,
                failure("vela_cli_execute_imp", "SendRequest failed")});
}

TEST_F(Slow, ASecondThreadSendsOnlyAfterTheFirstHasTimedOut) {
    open_session();
    service.on("session.keepalive", [](const sim::Request& request) {
        if (request.message.send_id == 2)
            return sim::Answer{};
        return sim::Answer{encode_reply(request.message, {.items = session_acknowledged(6)})};
    });
    static std::atomic<Clock::rep> second_received{0}; // the tap outlives the test's body
    service.on_message([](sim::Direction direction, int, std::string_view frame) {
        if (direction == sim::Direction::from_client && frame.size() > 2 && frame[2] == 3)
            second_received = Clock::now().time_since_epoch().count();
    });
    const auto start = Clock::now();
    std::jthread first([&] { EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR); });
    ASSERT_TRUE(service.wait_for_requests(2, patience));
    EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
    first.join();
    EXPECT_GE(Clock::duration(second_received) - start.time_since_epoch(), request_limit - 1s);
    expect_log({timed_out});
}

TEST_F(Slow, SavingReportsEveryStepThatTimesOut) {
    open_session();
    answer_nothing("cli.execute");
    EXPECT_EQ(whole_wait([] { return vela_cli_save(); }), VELA_ERROR);
    expect_log({note("vela_cli_open_imp", "cli open success, cli handle = 3"), timed_out,
                failure("vela_cli_execute_imp", "SendRequest failed"),
                failure("vela_cli_save_imp", "vela_cli_execute_imp(\"save\") failed")});
}

TEST_F(Slow, ClosingTheSessionGoesOnWhenClosingTheChannelTimesOut) {
    open_cli();
    answer_nothing("cli.close");
    EXPECT_EQ(whole_wait([] { return vela_session_close(0); }), VELA_OK);
    expect_log({timed_out, failure("vela_cli_close_imp", "SendRequest failed"),
                failure("vela_session_close_imp", "cli close failed")});
}

TEST_F(Slow, ReleasingTheLibraryDuringARequestLeavesItUnanswered) {
    open_session();
    Gate gate;
    service.on("session.keepalive", [gate](const sim::Request& request) {
        gate.wait();
        return sim::Answer{encode_reply(request.message, {.items = session_acknowledged(6)})};
    });
    std::jthread caller([&] { EXPECT_EQ(whole_wait([] { return vela_session_keepalive(0); }), VELA_ERROR); });
    ASSERT_TRUE(service.wait_for_requests(2, patience));
    ASSERT_EQ(vela_release(), VELA_OK);
    ASSERT_TRUE(eventually([] { return library_thread_count() == 1; }));
    gate.open();
    caller.join();
    expect_log({timed_out});

    // Started again, it serves the next request, and the reply that came meanwhile is nobody's.
    ASSERT_EQ(vela_init(), VELA_OK);
    answer_as_usual();
    EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
    for (const Record& record : take_log())
        EXPECT_EQ(record.level, 6) << record;
}

int bytes_on_their_way(int socket) {
    int count = 0;
    return ioctl(socket, SIOCOUTQ, &count) == 0 ? count : -1;
}

// A service that takes nothing any more: its socket fills up until a send has to wait.
TEST_F(Slow, SendingToAServiceThatNeverReadsGivesUp) {
    open_cli();
    Gate gate;
    service.on("cli.execute", [gate](const sim::Request&) {
        gate.wait();
        return sim::Answer{};
    });
    const std::string command(7000, 'c');
    int served = 0;
    using Steady = std::chrono::steady_clock; // the system limits a send by it
    Steady::duration last_call{};
    std::atomic<bool> gave_up{false};
    std::jthread caller([&] {
        for (std::int32_t code = VELA_OK; code == VELA_OK; ++served) {
            const auto start = Steady::now();
            code = vela_cli_execute(granted_handle, command.c_str(), nullptr, nullptr);
            last_call = Steady::now() - start;
        }
        gave_up = true;
    });
    ASSERT_TRUE(service.wait_for_requests(3, patience));

    // Every request that fits the socket is answered although nobody has read it.
    sim::Message request = last_request();
    service.send(-1, encode_reply(request, {.items = acknowledged(18)}));
    const int socket = client_sockets().at(0);
    for (int unread = 0; !gave_up;) {
        ASSERT_TRUE(eventually([&] { return gave_up || bytes_on_their_way(socket) > unread; }, request_limit + 20s));
        unread = bytes_on_their_way(socket);
        ++request.send_id;
        if (!gave_up)
            service.send(-1, encode_reply(request, {.items = acknowledged(18)}));
    }
    caller.join();
    EXPECT_GT(served, 5);
    EXPECT_GE(last_call, request_limit - 1s);
    expect_log({failure("SendData", "socket send error"), failure("SendRequest", "send data failed"),
                failure("vela_cli_execute_imp", "SendRequest failed")});
    gate.open();
    answer_as_usual();
}

} // namespace
} // namespace integration
