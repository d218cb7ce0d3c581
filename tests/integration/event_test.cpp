// Events: taking, adding, registering and freeing handles, what the service is told by it, and how its events reach
// their callback, beside requests, slow callbacks and a service that hangs up.
#include <atomic>
#include <csignal>
#include <future>
#include <memory>
#include <thread>

#include <pthread.h>
#include <sys/ioctl.h>

#include "event_support.h"

namespace integration {
namespace {

using sim::Item;

constexpr std::uint32_t untouched = 0x5eed5eed;
constexpr const char* add_function = "vela_event_add_imp";
constexpr const char* control_function = "vela_ops_fileop";

class Events : public EventTest {};

// What the service is told ------------------------------------------------------------------------------------------

TEST_F(Events, EachCallSendsItsRequestsInOrder) {
    const std::string me = client_name(granted_session);
    tagVELA_ICLOG_PARA log_record{};
    std::strcpy(log_record.text, "first");
    log_record.level = 4;
    std::strcpy(log_record.infoAlias, "alias");
    std::strcpy(log_record.loginfo, "info");
    tagVELA_ROUTE_PARA route_record{};
    std::strcpy(route_record.text1, "10.1.0.0");
    route_record.number = 24;
    std::strcpy(route_record.text2, "two");
    std::strcpy(route_record.text3, "three");

    const std::uint32_t handle = new_handle();
    EXPECT_EQ(add(handle, "link"), VELA_OK);
    EXPECT_EQ(vela_event_add(handle, VELA_EVENT_ROUTE, "route", &route_record), VELA_OK);
    EXPECT_EQ(vela_event_add(handle, VELA_EVENT_ICLOG, "log", &log_record), VELA_OK);
    EXPECT_EQ(vela_event_reg(handle, receive), VELA_OK);
    EXPECT_EQ(vela_event_free(handle), VELA_OK);

    const std::vector<std::vector<Item>> expected = {
        {Item::integer(0, 11), Item::text(4, me), Item::integer(5, 0)},
        {Item::integer(0, 47), Item::text(4, me), Item::text(3, "link"), Item::text(8, "ifstate"), Item::integer(5, 2),
         Item::text(6, "eth0"), Item::integer(7, -1)},
        {Item::integer(0, 33), Item::text(4, me), Item::text(3, "route"), Item::text(5, "10.1.0.0"), Item::u32(6, 24),
         Item::text(10, "two"), Item::text(11, "three")},
        {Item::integer(0, 35), Item::text(4, me), Item::text(3, "log"), Item::text(5, "first"), Item::text(6, "alias"),
         Item::text(7, "info"), Item::u32(8, 4)},
        {Item::integer(0, 41), Item::text(4, me), Item::text(5, "link or route or log")},
        {Item::integer(0, 11), Item::text(4, me), Item::integer(5, 1)},
        {Item::integer(0, 11), Item::text(4, me), Item::integer(5, 2)},
    };
    auto received = requests();
    received.erase(received.begin()); // the session's opening
    ASSERT_EQ(received.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const sim::Message& message = received[i].message;
        EXPECT_EQ(received[i].malformed, "");
        EXPECT_EQ(message.version, 1);
        EXPECT_EQ(message.type, sim::operation_request);
        EXPECT_EQ(message.send_id, i + 2);
        EXPECT_EQ(message.reserved, 0);
        EXPECT_EQ(message.session_id, granted_session);
        EXPECT_EQ(message.kind, sim::script_operation);
        EXPECT_EQ(message.items, expected[i]) << sim::describe(message);
    }
    expect_no_log();
}

TEST_F(Events, WithoutASessionNothingIsSent) {
    const std::uint32_t handle = new_handle();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    const auto before = requests().size();
    std::uint32_t another = untouched;

    EXPECT_EQ(vela_event_new(&another), VELA_ERROR);
    expect_log({failure(control_function, "session not open")});
    EXPECT_EQ(add(handle, "link"), VELA_ERROR_NO_SESSION);
    expect_log({failure("ops_ifm_ifstate_subscribe", "session not open"), failure(add_function, "link")});
    EXPECT_EQ(vela_event_reg(handle, receive), VELA_ERROR_NO_SESSION);
    expect_log({failure("vela_event_reg_correlate", "session not open")});
    EXPECT_EQ(vela_event_free(handle), VELA_ERROR);
    expect_log({failure(control_function, "session not open"), failure("vela_event_free_imp", "called error")});

    EXPECT_EQ(another, untouched);
    EXPECT_EQ(requests().size(), before);
}

TEST_F(Events, OfAKindThatIsNotOfferedAreRefusedAndNothingIsSent) {
    const std::uint32_t handle = new_handle();
    const tagVELA_IFSTATE_PARA para = interface_record();
    service.clear_requests();
    EXPECT_EQ(vela_event_add(handle, 1, "link", &para), VELA_ERROR);
    expect_log({note(add_function, "not support event 1")});
    EXPECT_TRUE(requests().empty());
}

TEST_F(Events, RefusedByTheServiceAreReportedInItsWords) {
    refuse("11.0", "begin: no");
    std::uint32_t handle = untouched;
    EXPECT_EQ(vela_event_new(&handle), VELA_ERROR);
    EXPECT_EQ(handle, untouched);
    expect_log({failure(control_function, "vela_event_reg_begin failed ops_check_err = begin: no")});
    when("11.0", {});

    handle = new_handle();
    EXPECT_EQ(handle, 0U) << "the handle was given back";
    refuse("47", "add: no");
    EXPECT_EQ(add(handle, "link"), VELA_ERROR);
    expect_log({failure("ops_ifm_ifstate_subscribe", "add: no"), failure(add_function, "link")});
    when("47", {});

    refuse("41", "reg: no");
    EXPECT_EQ(vela_event_reg(handle, receive), VELA_ERROR);
    expect_log({failure("vela_event_reg_correlate", "reg: no")});
    when("41", {});

    EXPECT_EQ(vela_event_reg(handle, receive), VELA_OK);
    refuse("11.2", "free: no");
    EXPECT_EQ(vela_event_free(handle), VELA_ERROR);
    expect_log({failure(control_function, "vela_event_unreg failed ops_check_err = free: no"),
                failure("vela_event_free_imp", "called error")});
    when("11.2", {});
    EXPECT_EQ(vela_event_free(handle), VELA_OK);
}

// Handles -----------------------------------------------------------------------------------------------------------

TEST_F(Events, HaveSixteenHandles) {
    for (std::uint32_t expected = 0; expected < 16; ++expected)
        ASSERT_EQ(new_handle(), expected);
    service.clear_requests();
    std::uint32_t handle = untouched;
    EXPECT_EQ(vela_event_new(&handle), VELA_ERROR);
    EXPECT_EQ(handle, untouched);
    expect_log({failure("vela_event_new_imp", "get event handle failded")});

    for (const std::uint32_t beyond : {16U, 17U, 0xffffffffU}) {
        const std::string text = fmt::format("invalid param evt_hdl = {}", beyond);
        EXPECT_EQ(add(beyond, "link"), VELA_ERROR);
        expect_log({failure(add_function, text)});
        EXPECT_EQ(vela_event_reg(beyond, receive), VELA_ERROR);
        expect_log({failure("vela_event_reg_imp", text)});
        EXPECT_EQ(vela_event_free(beyond), VELA_ERROR);
        expect_log({failure("vela_event_free_imp", text)});
    }
    EXPECT_TRUE(requests().empty());
}

TEST_F(Events, HandlesAreTakenAgainLowestFirst) {
    for (std::uint32_t expected = 0; expected < 3; ++expected) {
        ASSERT_EQ(new_handle(), expected);
        std::thread([&] { EXPECT_EQ(vela_event_reg(expected, receive), VELA_OK); }).join();
        // Two threads that run one after the other may have one name; then the second is refused.
        ASSERT_EQ(vela_event_free(expected), VELA_OK);
        ASSERT_EQ(new_handle(), expected);
    }
    ASSERT_EQ(vela_event_reg(1, receive), VELA_OK);
    ASSERT_EQ(vela_event_free(1), VELA_OK);
    EXPECT_EQ(new_handle(), 1U);
    EXPECT_EQ(new_handle(), 3U);
}

TEST_F(Events, OfAThreadHaveOneCallback) {
    const std::uint32_t one = registered();
    const std::uint32_t two = new_handle();
    service.clear_requests();
    EXPECT_EQ(vela_event_reg(two, receive), VELA_ERROR);
    EXPECT_EQ(asked(), std::vector<std::string>{"41"});
    expect_log({failure("RegEvent", client_name(granted_session) + " has been register")});
    EXPECT_EQ(vela_event_reg(one, receive), VELA_ERROR);
    expect_log({failure("RegEvent", client_name(granted_session) + " has been register")});
    push("still delivered");
    EXPECT_TRUE(inbox.wait_for(1));
}

TEST_F(Events, HandlesOutliveTheSessionThatIsClosed) {
    EXPECT_EQ(new_handle(), 0U);
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(new_handle(), 1U);
    EXPECT_EQ(add(0, "link"), VELA_OK);
}

TEST_F(Events, HandlesAreFreeWhenTheLibraryIsStartedAgain) {
    for (int i = 0; i < 16; ++i)
        new_handle();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    ASSERT_EQ(vela_release(), VELA_OK);
    ASSERT_EQ(vela_init(), VELA_OK);
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(new_handle(), 0U);
}

TEST_F(Events, HangUpFreesEveryHandleAndForgetsEveryCallback) {
    registered();
    for (std::uint32_t expected = 1; expected < 16; ++expected)
        ASSERT_EQ(new_handle(), expected);
    const auto running = library_thread_count();

    service.hang_up();
    take_log_until(note("ReadSockThread", "disconnect from server!"));
    ASSERT_TRUE(eventually([&] { return library_thread_count() == running - 1; }))
        << "the reader ends when everything is cleared";

    for (std::uint32_t handle = 0; handle < 16; ++handle) {
        EXPECT_EQ(add(handle, "link"), VELA_ERROR);
        expect_log({failure(add_function, fmt::format("invalid param evt_hdl = {}", handle))});
    }
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    take_log();
    push("for the callback of before");
    expect_log({no_callback()});

    // Texts and tags are gone too: the same tag and the same name are new again.
    const std::uint32_t handle = registered();
    EXPECT_EQ(handle, 0U);
    push("for the callback of now");
    ASSERT_TRUE(inbox.wait_for(1));
    EXPECT_EQ(inbox.calls()[0].content, "for the callback of now");
}

// Delivery ----------------------------------------------------------------------------------------------------------

TEST_F(Events, ReachTheCallbackOnOneThreadAndInOrder) {
    registered();
    constexpr std::size_t count = 1000;
    for (std::size_t i = 0; i < count; ++i)
        push(std::to_string(i));

    ASSERT_TRUE(inbox.wait_for(count));
    const std::vector<Call> calls = inbox.calls();
    ASSERT_EQ(calls.size(), count);
    EXPECT_NE(calls[0].thread, std::this_thread::get_id());
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(calls[i].content, std::to_string(i));
        EXPECT_EQ(calls[i].thread, calls[0].thread);
        EXPECT_EQ(calls[i].session, granted_session);
        EXPECT_EQ(calls[i].tag, "link");
        EXPECT_EQ(calls[i].kind, VELA_EVENT_IFSTATE);
        EXPECT_EQ(calls[i].unused, 0);
    }
    expect_no_log();
}

TEST_F(Events, CarryTheKindUnderWhichTheirTagWasAdded) {
    const std::uint32_t handle = new_handle();
    tagVELA_ICLOG_PARA log_record{};
    tagVELA_ROUTE_PARA route_record{};
    ASSERT_EQ(add(handle, "link"), VELA_OK);
    ASSERT_EQ(vela_event_add(handle, VELA_EVENT_ROUTE, "route", &route_record), VELA_OK);
    ASSERT_EQ(vela_event_add(handle, VELA_EVENT_ICLOG, "log", &log_record), VELA_OK);
    ASSERT_EQ(vela_event_reg(handle, receive), VELA_OK);
    for (const char* tag : {"route", "log", "link", "unknown", "lin"})
        push("content", tag);

    ASSERT_TRUE(inbox.wait_for(5));
    const std::vector<Call> calls = inbox.calls();
    EXPECT_EQ(calls[0].kind, VELA_EVENT_ROUTE);
    EXPECT_EQ(calls[1].kind, VELA_EVENT_ICLOG);
    EXPECT_EQ(calls[2].kind, VELA_EVENT_IFSTATE);
    EXPECT_EQ(calls[3].kind, 0);
    EXPECT_EQ(calls[4].kind, 0);
    EXPECT_EQ(calls[3].tag, "unknown");
}

TEST_F(Events, PassTheHeadersSessionAndAMissingContentThrough) {
    registered();
    const auto name = Item::text(1, client_name(granted_session));
    service.send(-1, pushed({name, Item::text(2, "link")}, 0));
    service.send(-1, pushed({name, Item::text(2, "link"), Item::text(3, "")}, 0xffff));
    ASSERT_TRUE(inbox.wait_for(2));
    EXPECT_EQ(inbox.calls()[0].session, 0U);
    EXPECT_EQ(inbox.calls()[0].content, std::nullopt);
    EXPECT_EQ(inbox.calls()[1].session, 0xffffU);
    EXPECT_EQ(inbox.calls()[1].content, "");
}

TEST_F(Events, ThatCannotBeDeliveredAreDroppedWithOneRecordEach) {
    registered();
    const auto name = Item::text(1, client_name(granted_session));
    service.send(-1, pushed({Item::text(2, "link"), Item::text(3, "content")}));
    service.send(-1, pushed({name, Item::text(3, "content")}));
    service.send(-1, pushed("sdkclient000700000000", "link", "content"));
    service.send(-1, pushed({}));
    push("the next is delivered");

    ASSERT_TRUE(inbox.wait_for(1));
    expect_log({failure("EventNotify", "file_name == NULL"), failure("EventNotify", "tag == NULL"), no_callback(),
                failure("EventNotify", "file_name == NULL")});
    EXPECT_EQ(inbox.calls().size(), 1U);
}

TEST_F(Events, OfImpossibleLengthAreDropped) {
    registered();
    std::string event = pushed(client_name(granted_session), "link", "content");
    for (const unsigned length : {0U, 7U, 8013U, 65535U}) {
        event[4] = static_cast<char>(length >> 8);
        event[5] = static_cast<char>(length & 0xff);
        service.send(-1, event);
        expect_log({failure("ConvertRecvDataNtohs", fmt::format("invalid message length = {}", length)),
                    failure("ProcessEvent", "recv invalid len data")});
    }
    push("the next is delivered");
    ASSERT_TRUE(inbox.wait_for(1));
    EXPECT_EQ(inbox.calls()[0].content, "the next is delivered");
}

TEST_F(Events, OfTheLargestSizeAreDelivered) {
    registered();
    const std::size_t rest = pushed(client_name(granted_session), "link", "").size();
    const std::string content(sim::max_message_size - rest, 'c');
    push(content);
    push("behind it");
    ASSERT_TRUE(inbox.wait_for(2));
    EXPECT_EQ(inbox.calls()[0].content, content);
    EXPECT_EQ(inbox.calls()[1].content, "behind it");
}

// Registration ------------------------------------------------------------------------------------------------------

// Until the service has taken the joined tags there is no callback.
TEST_F(Events, ThatArriveBeforeTheCallbackIsStoredAreDropped) {
    when("41", [this](const sim::Request& request) {
        service.send(request.client, pushed(client_name_, "link", "too early"));
        EXPECT_TRUE(log.wait_for(
            [](const sim::LogRecord& record) { return record.text.find("canot find") != std::string::npos; }));
        return sim::Answer{accepted(request.message)};
    });
    registered();
    push("in time");
    ASSERT_TRUE(inbox.wait_for(1));
    EXPECT_EQ(inbox.calls()[0].content, "in time");
    expect_log({no_callback()});
}

TEST_F(Events, ThatArriveWhileTheRegistrationIsFinishedAreDelivered) {
    when("11.1", [this](const sim::Request& request) {
        service.send(request.client, pushed(client_name_, "link", "just in time"));
        EXPECT_TRUE(inbox.wait_for(1));
        return sim::Answer{accepted(request.message)};
    });
    registered();
    EXPECT_EQ(inbox.calls().size(), 1U);
    expect_no_log();
}

TEST_F(Events, FromAnotherThreadAreRegisteredUnderThatThreadsName) {
    const std::uint32_t handle = new_handle();
    ASSERT_EQ(add(handle, "link"), VELA_OK);
    std::string other;
    std::thread([&] {
        other = client_name(granted_session);
        EXPECT_EQ(vela_event_reg(handle, receive), VELA_OK) << "the registration is accepted";
    }).join();
    ASSERT_NE(other, client_name(granted_session));

    push("for the name that the service knows");
    expect_log({no_callback()});
    service.send(-1, pushed(other, "link", "for the other name"));
    ASSERT_TRUE(inbox.wait_for(1));
    EXPECT_EQ(inbox.calls()[0].content, "for the other name");
}

TEST_F(Events, OfTheHandleThatIsLeftHaveTheKindZero) {
    const std::uint32_t left = registered();
    const std::uint32_t freed = new_handle();
    ASSERT_EQ(add(freed, "other"), VELA_OK);
    std::thread([&] { ASSERT_EQ(vela_event_reg(freed, receive), VELA_OK); }).join();
    push("before");
    ASSERT_TRUE(inbox.wait_for(1));

    ASSERT_EQ(vela_event_free(freed), VELA_OK);
    push("after");
    ASSERT_TRUE(inbox.wait_for(2));
    EXPECT_EQ(inbox.calls()[0].kind, VELA_EVENT_IFSTATE);
    EXPECT_EQ(inbox.calls()[1].kind, 0);

    ASSERT_EQ(add(left, "new"), VELA_OK);
    push("a tag that is added later", "new");
    ASSERT_TRUE(inbox.wait_for(3));
    EXPECT_EQ(inbox.calls()[2].kind, VELA_EVENT_IFSTATE);
}

TEST_F(Events, OfAHandleThatIsFreedAreDroppedUntilItIsRegisteredAgain) {
    ASSERT_EQ(vela_event_free(registered()), VELA_OK);
    push("nobody waits for it");
    expect_log({no_callback()});
    registered();
    push("again");
    ASSERT_TRUE(inbox.wait_for(1));
    EXPECT_EQ(inbox.calls()[0].content, "again");
}

// Callbacks ---------------------------------------------------------------------------------------------------------

TEST_F(Events, RepliesKeepFlowingWhileACallbackRuns) {
    registered();
    const auto gate = std::make_shared<Gate>();
    inbox.during([gate](const Call&) { gate->wait(); });
    push("slow");
    ASSERT_TRUE(inbox.wait_for(1));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    gate->open();
    expect_no_log();
}

std::size_t unread_bytes(int descriptor) {
    int unread = 0;
    EXPECT_EQ(ioctl(descriptor, FIONREAD, &unread), 0);
    return static_cast<std::size_t>(unread);
}

TEST_F(Events, TheNextEventStopsReadingUntilTheCallbackReturns) {
    registered();
    const auto gate = std::make_shared<Gate>();
    inbox.during([gate](const Call& call) {
        if (call.content == "slow")
            gate->wait();
    });
    push("slow");
    ASSERT_TRUE(inbox.wait_for(1));
    push("next");
    const int socket = client_sockets().at(0);
    ASSERT_TRUE(eventually([&] { return unread_bytes(socket) == 0; })) << "the reader has taken the next event";

    auto asked_meanwhile = std::async(std::launch::async, [] { return vela_session_keepalive(granted_session); });
    EXPECT_TRUE(eventually([&] { return unread_bytes(socket) != 0; })) << "the reply is there, and not read";
    EXPECT_EQ(asked_meanwhile.wait_for(0s), std::future_status::timeout);
    EXPECT_EQ(inbox.calls().size(), 1U);

    gate->open();
    EXPECT_EQ(asked_meanwhile.get(), VELA_OK);
    ASSERT_TRUE(inbox.wait_for(2));
    EXPECT_EQ(inbox.calls()[1].content, "next");
}

TEST_F(Events, ACallbackMayCallWhatDoesNotWait) {
    registered();
    const auto seen = std::make_shared<std::promise<std::string>>();
    inbox.during([seen](const Call&) {
        char version[VELA_VERSION_SIZE] = "";
        EXPECT_EQ(vela_version(version), VELA_OK);
        void* const block = vela_malloc(10);
        EXPECT_EQ(vela_free(block), VELA_OK);
        EXPECT_EQ(vela_event_new(nullptr), VELA_ERROR);
        seen->set_value(version);
    });
    push("one");
    EXPECT_EQ(seen->get_future().get(), "Vela Quor v1.5.70.000");
    expect_log({failure("vela_event_new_imp", "Invalid parm evt_hdl = NULL")});
}

TEST_F(Events, ACallbackMayAskWhenNoOtherEventComesBeforeTheReply) {
    registered();
    std::atomic<int> served{0};
    inbox.during([&](const Call&) {
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
        EXPECT_EQ(request_kind("cli.open").call(), VELA_OK);
        EXPECT_EQ(request_kind("cli.close").call(), VELA_OK);
        ++served;
    });
    for (int i = 1; i <= 20; ++i) {
        push(std::to_string(i));
        ASSERT_TRUE(eventually([&] { return served == i; }));
    }
}

TEST_F(Events, ACallbackMayAddRegisterAndFree) {
    const std::uint32_t handle = registered();
    const auto done = std::make_shared<std::promise<void>>();
    inbox.during([handle, done](const Call& call) {
        if (call.content != "change")
            return;
        EXPECT_EQ(add(handle, "more"), VELA_OK);
        EXPECT_EQ(vela_event_free(handle), VELA_OK);
        const std::uint32_t again = new_handle();
        EXPECT_EQ(again, handle);
        EXPECT_EQ(vela_event_reg(again, receive), VELA_OK) << "under the event thread's name";
        done->set_value();
    });
    push("change");
    done->get_future().get();
    push("the first name is gone");
    expect_log({no_callback()});
}

// On the simulated router -------------------------------------------------------------------------------------------

// The router's own answers and events. It keeps one expression for a client, whichever handle it comes from, and stamps
// every event with the one name that it knows the client by.
class RouterEvents : public LibraryTest {
protected:
    void SetUp() override {
        inbox.clear();
        init();
        for (const RequestKind& kind : request_kinds())
            service.on(kind.operation, {});
        const auto cfg = configuration();
        std::uint32_t session = 0;
        ASSERT_EQ(vela_session_open(&cfg, &session), VELA_OK);
        ASSERT_EQ(vela_event_new(&links_), VELA_OK);
        const tagVELA_IFSTATE_PARA any_interface{};
        ASSERT_EQ(vela_event_add(links_, VELA_EVENT_IFSTATE, "link", &any_interface), VELA_OK);
        ASSERT_EQ(vela_event_reg(links_, receive), VELA_OK);
        ASSERT_EQ(vela_event_new(&routes_), VELA_OK);
        const tagVELA_ROUTE_PARA any_route{};
        ASSERT_EQ(vela_event_add(routes_, VELA_EVENT_ROUTE, "route", &any_route), VELA_OK);
        take_log();
    }

    void TearDown() override {
        LibraryTest::TearDown();
        inbox.clear();
    }

    // Which of an interface's and a route's event reach the first handle's callback. They come in order, and the next
    // call's come behind them.
    std::string delivered() {
        service.events().raise({.kind = sim::EventKind::interface_state, .content = "i", .whatever_asked = true});
        service.events().raise({.kind = sim::EventKind::route, .content = "r", .whatever_asked = true});
        EXPECT_TRUE(inbox.wait_for(++delivered_));
        const std::vector<Call> calls = inbox.calls();
        EXPECT_EQ(calls.size(), delivered_);
        return calls.empty() ? "" : calls.back().tag;
    }

    std::uint32_t links_ = 0;
    std::uint32_t routes_ = 0;

private:
    std::size_t delivered_ = 0;
};

void receive_nothing(std::uint32_t, const char* tag, tagVELA_EVENT, void*, int) { ADD_FAILURE() << tag; }

TEST_F(RouterEvents, StopWhenTheirThreadRegistersASecondHandleUntilTheFirstIsRegisteredAnew) {
    const Record refused = failure("RegEvent", client_name(1) + " has been register");
    EXPECT_EQ(delivered(), "link");
    EXPECT_EQ(vela_event_reg(routes_, receive_nothing), VELA_ERROR);
    expect_log({refused});
    EXPECT_EQ(delivered(), "route");
    EXPECT_EQ(vela_event_reg(links_, receive), VELA_ERROR);
    expect_log({refused});
    EXPECT_EQ(delivered(), "link");
}

TEST_F(RouterEvents, StopWhenAnotherThreadRegistersASecondHandleToo) {
    EXPECT_EQ(delivered(), "link");
    std::thread([&] { EXPECT_EQ(vela_event_reg(routes_, receive_nothing), VELA_OK); }).join();
    EXPECT_EQ(delivered(), "route");
}

// The documented time-out -------------------------------------------------------------------------------------------

class SlowEvents : public EventTest {
protected:
    // A callback asks; the service sends another event before the reply, in one send or in two.
    void ask_from_a_callback(bool joined) {
        const std::uint32_t handle = registered();
        const std::string next = pushed(client_name(granted_session), "link", "next");
        service.on("session.keepalive", [=](const sim::Request& request) {
            const std::string reply = encode_reply(request.message, {.items = session_acknowledged(6)});
            return joined ? sim::Answer{next + reply} : sim::Answer{next, reply};
        });
        std::int32_t code = -1;
        using Clock = std::chrono::system_clock; // the library waits by it too
        Clock::duration waited{};
        inbox.during([&](const Call& call) {
            if (call.content != "ask")
                return;
            const auto start = Clock::now();
            code = vela_session_keepalive(granted_session);
            waited = Clock::now() - start;
        });
        push("ask");

        ASSERT_TRUE(inbox.wait_for(2, request_limit + patience));
        EXPECT_EQ(code, VELA_ERROR);
        EXPECT_GE(waited, request_limit - 1s);
        EXPECT_EQ(inbox.calls()[1].content, "next");
        const auto id = requests("session.keepalive").back().message.send_id;
        expect_log({failure("SendRequest", "wait time out"), dropped(0, id)});

        // The flow resumes.
        answer("session.keepalive", {.items = session_acknowledged(6)});
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
        push("flows");
        EXPECT_TRUE(inbox.wait_for(3));
        EXPECT_EQ(vela_event_free(handle), VELA_OK);
    }
};

TEST_F(SlowEvents, ACallbacksRequestTimesOutWhenAnotherEventComesBeforeTheReply) { ask_from_a_callback(false); }
TEST_F(SlowEvents, ACallbacksRequestTimesOutWhenAnotherEventIsJoinedToTheReply) { ask_from_a_callback(true); }

// A hang-up right behind an answer ------------------------------------------------------------------------------------

// The step whose answer is the last thing that the service says, and how to get there.
struct LastWords {
    const char* name;
    const char* operation;
    std::int32_t (*call)(std::uint32_t handle);
    bool is_tagged;     // the handle has its tag when the step is made
    bool is_registered; // and its callback
};
std::ostream& operator<<(std::ostream& out, const LastWords& step) { return out << step.name; }

tagVELA_ROUTE_PARA route_record() {
    tagVELA_ROUTE_PARA para{};
    std::strcpy(para.text1, "10.1.0.0");
    return para;
}

const LastWords last_words[] = {
    {"New", "event.register",
     [](std::uint32_t) {
         std::uint32_t another = untouched;
         return vela_event_new(&another);
     },
     false, false},
    {"AddInterfaceState", "event.ifstate",
     [](std::uint32_t handle) {
         const tagVELA_IFSTATE_PARA para = interface_record();
         return vela_event_add(handle, VELA_EVENT_IFSTATE, "link", &para);
     },
     false, false},
    {"AddRoute", "event.route",
     [](std::uint32_t handle) {
         const tagVELA_ROUTE_PARA para = route_record();
         return vela_event_add(handle, VELA_EVENT_ROUTE, "link", &para);
     },
     false, false},
    {"AddLog", "event.log",
     [](std::uint32_t handle) {
         const tagVELA_ICLOG_PARA para{};
         return vela_event_add(handle, VELA_EVENT_ICLOG, "link", &para);
     },
     false, false},
    {"Correlate", "event.correlate", [](std::uint32_t handle) { return vela_event_reg(handle, receive); }, true, false},
    {"Finish", "event.register", [](std::uint32_t handle) { return vela_event_reg(handle, receive); }, true, false},
    {"Free", "event.register", [](std::uint32_t handle) { return vela_event_free(handle); }, true, true},
};

// A request may go out before the library knows of the hang-up, and would wait its minute. While this lives, and once
// the reader has ended and no reply can come any more, a signal without SA_RESTART ends the wait of the thread that
// made it.
class EndsLostWaits {
public:
    EndsLostWaits() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR2, &action, nullptr);
        watch_ = std::thread([this, caller = pthread_self()] {
            while (!done_) {
                if (library_thread_count() == 2)
                    pthread_kill(caller, SIGUSR2);
                std::this_thread::sleep_for(5ms);
            }
        });
    }
    ~EndsLostWaits() {
        done_ = true;
        watch_.join();
    }
    EndsLostWaits(const EndsLostWaits&) = delete;
    EndsLostWaits& operator=(const EndsLostWaits&) = delete;

private:
    std::atomic<bool> done_{false};
    std::thread watch_;
};

class EventLastWords : public Events, public testing::WithParamInterface<LastWords> {};

TEST_P(EventLastWords, LeaveNothingBehindInTheHandle) {
    const LastWords& step = GetParam();
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const std::uint32_t handle = new_handle();
        ASSERT_EQ(handle, 0U) << "a record was left taken";
        if (step.is_tagged) {
            ASSERT_EQ(add(handle, "link"), VELA_OK);
        }
        if (step.is_registered) {
            ASSERT_EQ(vela_event_reg(handle, receive), VELA_OK);
        }

        // Whether the library learns of the hang-up before or after it has dealt with the answer, either result is
        // right. Behind it nothing may be left.
        service.faults().add(std::string(step.operation) + ":hang_up_after");
        std::int32_t code = VELA_OK;
        {
            const EndsLostWaits ends;
            code = step.call(handle);
        }
        EXPECT_TRUE(code == VELA_OK || code == VELA_ERROR || code == VELA_ERROR_NO_SESSION) << code;
        service.faults().clear();
        ASSERT_TRUE(eventually([] { return library_thread_count() == 2; })) << "the reader ends";
        take_log();

        // A new session starts with empty handles: the same tag, the same name, and nothing else joined to it.
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
        service.clear_requests();
        const std::uint32_t again = registered();
        ASSERT_EQ(again, 0U);
        service.clear_requests();
        ASSERT_EQ(vela_event_free(again), VELA_OK);
        for (const Record& record : take_log())
            ASSERT_EQ(record.level, 6) << record;
    }
}

INSTANTIATE_TEST_SUITE_P(Steps, EventLastWords, testing::ValuesIn(last_words),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace integration
