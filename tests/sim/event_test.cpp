// Events over a real socket: the steps of a registration and what is refused, what reaches whom in which order, and
// how a registration ends.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "sim/cli_engine.h"
#include "tests/sim/event_support.h"

namespace sim::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

struct Refusal {
    std::int32_t code;
    std::string text;
    bool operator==(const Refusal&) const = default;
};

void PrintTo(const Refusal& refusal, std::ostream* to) { *to << refusal.code << " " << refusal.text; }

Refusal refusal(const Message& reply) { return {reply.integer(1).value_or(0), reply.text(2).value_or("")}; }

class EventsTest : public ServiceTest {
protected:
    EventsTest() {
        service.router().with([](RouterState& router) {
            router.clock = std::chrono::sys_days(std::chrono::year(2016) / 9 / 8) + std::chrono::hours(12);
        });
    }

    // What a console does.
    void type(std::initializer_list<const char*> lines) {
        service.router().with([&](RouterState& router) {
            for (const char* line : lines) {
                const CliResult result = cli_engine().run(router, console, line);
                EXPECT_EQ(result.error, 0) << line << ": " << result.error_text;
            }
        });
    }
    void raise(std::string_view content) {
        Event event{.kind = EventKind::trap, .content = std::string(content)};
        service.events().raise(event);
    }
    // The events that a client was sent before this call.
    std::vector<std::string> events_of(EventClient& client) {
        for (const Events::Registered& each : service.events().registered())
            service.events().push(each.client, each.name, "fence", std::nullopt);
        return client.events_until("fence");
    }

    CliSession console;
};

TEST_F(EventsTest, AreAcknowledgedStepByStep) {
    EventClient client(path);
    client.open_session();
    const auto acknowledgement = [&](const Message& request) { return client.reply(request).items; };
    const auto done = [](std::int32_t code) { return std::vector{Item::integer(0, code), Item::integer(1, 0)}; };
    EXPECT_EQ(acknowledgement(client.step(step_begin)), done(12));
    EXPECT_EQ(acknowledgement(client.log_subscription("log")), done(36));
    EXPECT_EQ(acknowledgement(client.ifstate_subscription("ifstate")), done(48));
    EXPECT_EQ(acknowledgement(client.route_subscription("route")), done(34));
    EXPECT_EQ(acknowledgement(
                  client.operation(49, {Item::text(3, "nqa"), Item::text(5, "a"), Item::text(6, "b"),
                                        Item::text(7, "c"), Item::text(8, "d"), Item::text(9, "e"), Item::u32(10, 1)})),
              done(50));
    EXPECT_EQ(acknowledgement(client.operation(37, {Item::text(3, "trap"), Item::text(5, "a"), Item::text(6, "b"),
                                                    Item::text(7, "c"), Item::text(8, "d"), Item::u32(9, 1)})),
              done(38));
    EXPECT_EQ(acknowledgement(client.correlation("log or ifstate or route or nqa or trap")), done(42));
    EXPECT_EQ(acknowledgement(client.step(step_finish)), done(12));
    EXPECT_EQ(acknowledgement(client.step(step_withdraw)), done(12));
}

// The frame as it stands on the wire of a little-endian host:
//   0  01 0c 00 00  version 1, type 12, send id 0
//   4  00 6e 00 01  110 bytes, session 1
//   8  03 00 00 66  an event, 102 bytes from here
//  12  tag 1, 22 bytes: the registration name
//  42  tag 2, 4 bytes: the subscription's tag
//  54  tag 3, 48 bytes: the content
constexpr const char* golden_event = "010c0000 006e0001 03000066"
                                     "01000000 16000000 73646b636c69656e7430303031303030313233343500"
                                     "02000000 04000000 69667300"
                                     "03000000 30000000"
                                     "696e746572666163652047696761626974457468"
                                     "65726e6574302f302f3020646f776e"
                                     "20287368757420646f776e2900";

TEST_F(EventsTest, ArePushedAsTheirBytesStandHere) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    type({"system-view", "interface g0/0/0", "shutdown"});
    std::string bytes = client.receive();
    EXPECT_EQ(hex(bytes), hex(from_hex(golden_event).value()));
}

TEST_F(EventsTest, TellOfAnInterfaceThatIsShutDownOrBroughtUp) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    type({"system-view", "interface g0/0/0", "shutdown", "shutdown", "undo shutdown", "undo shutdown"});
    type({"interface g0/0/1", "shutdown", "undo shutdown"}); // nothing is plugged in
    type({"interface LoopBack0", "quit", "undo interface LoopBack0"});
    EXPECT_THAT(events_of(client),
                ElementsAre("ifs: interface GigabitEthernet0/0/0 down (shut down)",
                            "ifs: interface GigabitEthernet0/0/0 up",
                            "ifs: interface GigabitEthernet0/0/1 down (shut down)",
                            "ifs: interface GigabitEthernet0/0/1 down (no link)", "ifs: interface LoopBack0 up",
                            "ifs: interface LoopBack0 down (removed)"));
}

TEST_F(EventsTest, TellOfALinkOnlyWhileTheInterfaceIsNotShutDown) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    const auto set_link = [&](bool link) {
        service.router().with([&](RouterState& router) { router.set_link(router.interfaces[0], link); });
    };
    set_link(false);
    type({"system-view", "interface g0/0/0", "shutdown"});
    set_link(true);
    type({"undo shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("ifs: interface GigabitEthernet0/0/0 down (no link)",
                                               "ifs: interface GigabitEthernet0/0/0 down (shut down)",
                                               "ifs: interface GigabitEthernet0/0/0 up"));
}

TEST_F(EventsTest, TellOfStaticRoutes) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.route_subscription("rt")}, "rt");
    type({"system-view", "ip route-static 10.1.2.3 16 192.168.1.254",
          "ip route-static 10.1.0.0 255.255.0.0 192.168.1.254", "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0",
          "undo ip route-static 10.1.0.0 16 192.168.1.254", "undo ip route-static 0.0.0.0 0"});
    EXPECT_THAT(events_of(client), ElementsAre("rt: route 10.1.0.0/16 added, static, via 192.168.1.254",
                                               "rt: route 0.0.0.0/0 added, static, via Cellular0/0/0",
                                               "rt: route 10.1.0.0/16 removed, static, via 192.168.1.254",
                                               "rt: route 0.0.0.0/0 removed, static, via Cellular0/0/0"));
}

TEST_F(EventsTest, TellOfLogLinesTheRoutersOwnIncluded) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.log_subscription("log")}, "log");
    type({"system-view", "interface g0/0/0", "shutdown", "undo shutdown", "quit",
          "ip route-static 10.0.0.0 8 192.168.1.2"});
    service.router().with([](RouterState& router) { router.write_log({"TEST", 3, "OWN_LINE", "a line"}); });
    EXPECT_THAT(
        events_of(client),
        ElementsAre("log: 2016-09-08 12:00:00 Tarkon IFNET/4/IF_DOWN: interface GigabitEthernet0/0/0 down (shut down)",
                    "log: 2016-09-08 12:00:00 Tarkon IFNET/6/IF_UP: interface GigabitEthernet0/0/0 up",
                    "log: 2016-09-08 12:00:00 Tarkon ROUTE/6/ROUTE_ADDED: route 10.0.0.0/8 added, static, via "
                    "192.168.1.2",
                    "log: 2016-09-08 12:00:00 Tarkon TEST/3/OWN_LINE: a line"));
}

TEST_F(EventsTest, TellOfALineThatAClientHasWritten) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.log_subscription("log", 8, "", "", "hello")}, "log");
    EventClient writer(path);
    writer.open_session();
    Message request = writer.operation(3, {});
    request.items = {Item::integer(0, 3), Item::text(7, "hello there"), Item::text(9, writer.client_name()),
                     Item::text(8, "4"), Item::text(10, "APP")};
    writer.accept(request);
    EXPECT_THAT(client.event_text(), MatchesRegex("log: 2016-09-08 12:00:00 Tarkon APP/4/[A-Z]+: hello there"));
}

TEST_F(EventsTest, ComeFromCommandsThatClientsGive) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    EventClient operator_(path);
    operator_.open_cli();
    for (const char* line : {"system-view", "interface g0/0/0", "shutdown"})
        operator_.run(line);
    EXPECT_EQ(client.event_text(), "ifs: interface GigabitEthernet0/0/0 down (shut down)");
}

TEST_F(EventsTest, ReachAClientUnderEachTagWhoseCriteriaTheyMeet) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("up", "", 1), client.ifstate_subscription("all"),
                         client.ifstate_subscription("down", "", 2), client.ifstate_subscription("other", "Cellular")},
                        "down or all or other or up");
    type({"system-view", "interface g0/0/0", "shutdown", "undo shutdown"});
    EXPECT_THAT(events_of(client),
                ElementsAre("all: interface GigabitEthernet0/0/0 down (shut down)",
                            "down: interface GigabitEthernet0/0/0 down (shut down)",
                            "up: interface GigabitEthernet0/0/0 up", "all: interface GigabitEthernet0/0/0 up"));
}

TEST_F(EventsTest, ReachEachClientUnderItsOwnNameTagAndCriteria) {
    EventClient first(path);
    EventClient second(path);
    first.open_session();
    second.open_session();
    first.register_for({first.ifstate_subscription("mine"), first.route_subscription("rt")}, "mine or rt");
    second.register_for({second.route_subscription("routes", "10.0.0.0", 8)}, "routes");
    type({"system-view", "ip route-static 10.1.0.0 16 192.168.1.254", "ip route-static 172.16.0.0 12 192.168.1.254",
          "interface g0/0/0", "shutdown"});
    EXPECT_THAT(events_of(first), ElementsAre("rt: route 10.1.0.0/16 added, static, via 192.168.1.254",
                                              "rt: route 172.16.0.0/12 added, static, via 192.168.1.254",
                                              "mine: interface GigabitEthernet0/0/0 down (shut down)"));
    EXPECT_THAT(second.events_until("fence"),
                ElementsAre("routes: route 10.1.0.0/16 added, static, via 192.168.1.254"));
}

TEST_F(EventsTest, CarryTheSessionIdOfTheirClient) {
    service.router().with([](RouterState& router) { router.next_session_id = 70000; });
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_EQ(client.event_message().session_id, 4464);
}

TEST_F(EventsTest, KeepTheirOrder) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.operation(37, {Item::text(3, "t"), Item::text(5, ""), Item::text(6, ""),
                                               Item::text(7, ""), Item::text(8, ""), Item::u32(9, 8)})},
                        "t");
    constexpr int count = 2000;
    for (int i = 0; i < count; ++i)
        raise(std::to_string(i));
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(client.event_text(), fmt::format("t: {}", i));
}

TEST_F(EventsTest, ComeOnlyOnceTheRegistrationIsFinished) {
    EventClient client(path);
    client.open_session();
    client.accept(client.step(step_begin));
    client.accept(client.ifstate_subscription("ifs"));
    type({"system-view", "interface g0/0/0", "shutdown"});
    client.accept(client.correlation("ifs"));
    type({"undo shutdown"});
    client.accept(client.step(step_finish));
    type({"shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("ifs: interface GigabitEthernet0/0/0 down (shut down)"));
}

TEST_F(EventsTest, ComeOnlyUnderTagsInTheExpression) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("a"), client.ifstate_subscription("b")}, "b");
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("b: interface GigabitEthernet0/0/0 down (shut down)"));

    client.accept(client.correlation("a"));
    client.accept(client.ifstate_subscription("later"));
    type({"undo shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("a: interface GigabitEthernet0/0/0 up")) << "the last expression counts";

    client.accept(client.correlation("a or b or later"));
    type({"shutdown"});
    EXPECT_EQ(events_of(client).size(), 3U);
    client.accept(client.correlation(""));
    type({"undo shutdown"});
    EXPECT_THAT(events_of(client), IsEmpty());
}

TEST_F(EventsTest, TakeASecondSubscriptionWithTheSameTagInThePlaceOfTheFirst) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("x"), client.route_subscription("x")}, "x");
    type({"system-view", "interface g0/0/0", "shutdown", "quit", "ip route-static 10.0.0.0 8 192.168.1.2"});
    EXPECT_THAT(events_of(client), ElementsAre("x: route 10.0.0.0/8 added, static, via 192.168.1.2"));
}

TEST_F(EventsTest, FindTagsThatHoldTheJoiningWord) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("this or that"), client.ifstate_subscription("a tag")},
                        "this or that or a tag");
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_EQ(events_of(client).size(), 2U);
}

TEST_F(EventsTest, ForgiveALastTagThatTheLibraryHasCut) {
    EventClient client(path);
    client.open_session();
    client.accept(client.step(step_begin));
    const std::string first(250, 'a');
    const std::string second(250, 'b');
    client.accept(client.ifstate_subscription(first));
    client.accept(client.ifstate_subscription(second));
    const std::string cut = (first + " or " + second).substr(0, 399);
    client.accept(client.correlation(cut));
    EXPECT_EQ(refusal(client.reply(client.correlation(cut.substr(0, 398)))).code, 41);
    client.accept(client.step(step_finish));
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre(first + ": interface GigabitEthernet0/0/0 down (shut down)"));
}

TEST_F(EventsTest, EndWhenTheRegistrationIsWithdrawn) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    client.accept(client.step(step_withdraw));
    EXPECT_TRUE(service.events().registered().empty());
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_EQ(refusal(client.reply(client.correlation("ifs"))),
              (Refusal{40, "no registration has begun under this name"}));

    // The next one begins with nothing.
    client.accept(client.step(step_begin));
    EXPECT_EQ(refusal(client.reply(client.correlation("ifs"))),
              (Refusal{41, "the expression \"ifs\" names \"ifs\", which is not subscribed"}));
    client.accept(client.ifstate_subscription("new"));
    client.accept(client.correlation("new"));
    client.accept(client.step(step_finish));
    type({"undo shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("new: interface GigabitEthernet0/0/0 up"));
}

TEST_F(EventsTest, GoOnUntilAsManyAreWithdrawnAsWereBegun) {
    EventClient client(path);
    client.open_session();
    client.accept(client.step(step_begin));
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    client.accept(client.step(step_withdraw));
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("ifs: interface GigabitEthernet0/0/0 down (shut down)"));
    client.accept(client.step(step_withdraw));
    EXPECT_TRUE(service.events().registered().empty());
    client.accept(client.step(step_withdraw)); // and once more, as after a session that was closed and opened again
}

TEST_F(EventsTest, EndWithTheSession) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    client.ask(client.session_message(3));
    type({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_TRUE(service.events().registered().empty());
    client.open_session();
    EXPECT_EQ(refusal(client.reply(client.correlation("ifs"))).code, 40);
    client.register_for({client.ifstate_subscription("again")}, "again");
    type({"undo shutdown"});
    EXPECT_THAT(events_of(client), ElementsAre("again: interface GigabitEthernet0/0/0 up"));
}

TEST_F(EventsTest, EndWithTheConnection) {
    {
        EventClient client(path);
        client.open_session();
        client.register_for({client.ifstate_subscription("ifs")}, "ifs");
        EXPECT_EQ(service.events().registered().size(), 1U);
    }
    EXPECT_TRUE(service.wait_for_clients(0));
    EXPECT_TRUE(service.events().registered().empty());
    type({"system-view", "interface g0/0/0", "shutdown"});
}

TEST_F(EventsTest, EndWhenTheServiceHangsUp) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    service.hang_up();
    EXPECT_EQ(client.receive(), "");
    type({"system-view", "interface g0/0/0", "shutdown"});
}

TEST_F(EventsTest, AreCutWhenTheyAreTooLongForAMessage) {
    EventClient client(path);
    client.open_session();
    client.register_for({client.log_subscription("log")}, "log");
    service.router().with([](RouterState& router) { router.write_log({"TEST", 3, "LONG", std::string(9000, 'x')}); });
    const Message event = client.event_message();
    EXPECT_EQ(encode(event).size(), max_message_size);
    EXPECT_TRUE(event.text(3).value().ends_with("xxx..."));
}

// Without what a session's header and name have to be; the CLI channel's tests tell of those.
TEST_F(EventsTest, AreRefusedOutOfOrder) {
    EventClient client(path);
    EXPECT_EQ(refusal(client.reply(client.step(step_begin))), (Refusal{4, "this connection has no open session"}));
    client.open_session();
    const Refusal not_begun{40, "no registration has begun under this name"};
    EXPECT_EQ(refusal(client.reply(client.ifstate_subscription("x"))), not_begun);
    EXPECT_EQ(refusal(client.reply(client.correlation("x"))), not_begun);
    EXPECT_EQ(refusal(client.reply(client.step(step_finish))), not_begun);

    client.accept(client.step(step_begin));
    EXPECT_EQ(refusal(client.reply(client.step(step_finish))),
              (Refusal{42, "no correlation expression was sent before the registration's end"}));
    EXPECT_EQ(refusal(client.reply(client.step(3))), (Refusal{23, "a registration has the steps 0, 1 and 2, not 3"}));
    EXPECT_EQ(refusal(client.reply(client.step(-1))), (Refusal{23, "a registration has the steps 0, 1 and 2, not -1"}));

    client.accept(client.ifstate_subscription("x"));
    for (const char* expression : {"y", "x or y", "x or ", " or x", "x and x", "x ory"})
        EXPECT_EQ(refusal(client.reply(client.correlation(expression))).code, 41) << expression;
    client.accept(client.correlation("x"));
    client.accept(client.step(step_finish));
}

TEST_F(EventsTest, AreRefusedUnderAnotherSessionsName) {
    EventClient client(path);
    client.open_session();
    Message stranger = client.step(step_begin);
    stranger.items[1] = Item::text(4, "sdkclient000200012345");
    EXPECT_EQ(refusal(client.reply(stranger)),
              (Refusal{7, "the client's name is \"sdkclient000200012345\", this session's begins with "
                          "\"sdkclient0001\""}));
    stranger.items[1] = Item::text(4, fmt::format("sdkclient0001{}", std::string(300, '7')));
    EXPECT_EQ(refusal(client.reply(stranger)), (Refusal{7, "the client's name has 313 characters, 200 at most"}));
    Message elsewhere = client.step(step_begin);
    elsewhere.session_id = 9;
    EXPECT_EQ(refusal(client.reply(elsewhere)).code, 6);
}

TEST_F(EventsTest, AreRefusedWithoutAnItem) {
    EventClient client(path);
    client.open_session();
    client.accept(client.step(step_begin));
    const auto whole = [&] {
        return std::vector<Message>{
            client.step(step_begin),
            client.correlation(""),
            client.log_subscription("t"),
            client.ifstate_subscription("t"),
            client.route_subscription("t"),
            client.operation(49, {Item::text(3, "t"), Item::text(5, "a"), Item::text(6, "b"), Item::text(7, "c"),
                                  Item::text(8, "d"), Item::text(9, "e"), Item::u32(10, 1)}),
            client.operation(37, {Item::text(3, "t"), Item::text(5, "a"), Item::text(6, "b"), Item::text(7, "c"),
                                  Item::text(8, "d"), Item::u32(9, 1)}),
        };
    };
    for (const Message& request : whole()) {
        for (std::size_t i = 1; i < request.items.size(); ++i) {
            Message lacking = request;
            lacking.items.erase(lacking.items.begin() + static_cast<std::ptrdiff_t>(i));
            const Refusal refused = refusal(client.reply(lacking));
            EXPECT_EQ(refused.code, 3) << describe(lacking);
            EXPECT_THAT(refused.text, ::testing::HasSubstr(fmt::format("item {}", request.items[i].tag)));

            Message misshapen = request;
            misshapen.items[i].value = "xy";
            EXPECT_EQ(refusal(client.reply(misshapen)).code, 3) << describe(misshapen);
        }
    }
    EXPECT_EQ(refusal(client.reply(client.step(step_finish))).code, 42) << "nothing of that was taken";
}

TEST_F(EventsTest, TakeARoutesOptionalNumbersAndRefuseWhatIsNone) {
    EventClient client(path);
    client.open_session();
    client.accept(client.step(step_begin));
    Message request = client.route_subscription("t");
    for (const std::int32_t tag : {7, 8, 9})
        request.items.push_back(Item::u32(tag, 60));
    client.accept(request);
    request.items.back() = Item::text(9, "x");
    EXPECT_EQ(refusal(client.reply(request)), (Refusal{3, "the third number, item 9, is missing or no number"}));
}

TEST_F(EventsTest, AreRefusedForWhatASubscriptionCannotBe) {
    EventClient client(path);
    client.open_session();
    client.accept(client.step(step_begin));
    Message other = client.ifstate_subscription("t");
    other.items[3] = Item::text(8, "state");
    EXPECT_EQ(refusal(client.reply(other)), (Refusal{23, "item 8 is \"state\" instead of \"ifstate\""}));
    EXPECT_EQ(refusal(client.reply(client.ifstate_subscription(""))),
              (Refusal{23, "the tag has 0 characters instead of 1 to 1000"}));
    EXPECT_EQ(refusal(client.reply(client.ifstate_subscription(std::string(1001, 't')))).code, 23);
    for (int i = 0; i < 256; ++i)
        client.accept(client.ifstate_subscription(fmt::format("t{}", i)));
    EXPECT_EQ(refusal(client.reply(client.ifstate_subscription("t256"))),
              (Refusal{24, "there are 256 subscriptions already"}));
    client.accept(client.ifstate_subscription("t255", "Cellular"));
}

TEST(Scenario, SetsRoutesAndRaisesNothing) {
    RouterState router;
    CliSession session;
    session.views.push_back({ViewKind::system, {}});
    EXPECT_EQ(cli_engine().run(router, session, "ip route-static 10.0.0.0 8 192.168.1.2").error, 0);
    EXPECT_EQ(router.news.size(), 2U); // the route, and the line in the log
    Router with_listener;
    int told = 0;
    with_listener.on_news([&](const RouterState&, const News&) { ++told; });
    with_listener.set(router);
    with_listener.with([](RouterState& state) { EXPECT_EQ(state.routes.size(), 1U); });
    EXPECT_EQ(told, 0);
}

} // namespace
} // namespace sim::test
