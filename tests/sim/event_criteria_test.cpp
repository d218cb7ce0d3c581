// Which events a subscription wants: every criterion of every kind, a row each.
#include "sim/events_criteria.h"

#include <gtest/gtest.h>

namespace sim {
namespace {

Message wanting(std::vector<Item> items) {
    Message message;
    message.items = std::move(items);
    return message;
}

RouterState router_at_noon() {
    RouterState router;
    router.clock = std::chrono::sys_days(std::chrono::year(2016) / 9 / 8) + std::chrono::hours(12);
    return router;
}

TEST(EventTexts, TellWhatHappened) {
    const RouterState router = router_at_noon();
    const auto content = [&](const News& news) { return event_of(news, router).content; };
    EXPECT_EQ(content(InterfaceChange{"GigabitEthernet0/0/0", true, "", true}), "interface GigabitEthernet0/0/0 up");
    EXPECT_EQ(content(InterfaceChange{"LoopBack0", false, "shut down", true}), "interface LoopBack0 down (shut down)");
    EXPECT_EQ(content(RouteChange{{"10.1.0.0", "255.255.0.0", "192.168.1.254"}, true}),
              "route 10.1.0.0/16 added, static, via 192.168.1.254");
    EXPECT_EQ(content(RouteChange{{"0.0.0.0", "0.0.0.0", "Cellular0/0/0"}, false}),
              "route 0.0.0.0/0 removed, static, via Cellular0/0/0");
    EXPECT_EQ(content(LogLine{"IFNET", 4, "IF_DOWN", "down it is"}),
              "2016-09-08 12:00:00 Tarkon IFNET/4/IF_DOWN: down it is");
}

struct InterfaceRow {
    std::int32_t state;
    const char* interface;
    std::int32_t cause;
    InterfaceChange change;
    bool wanted;
};

TEST(EventCriteria, PickInterfaceChangesByStateNameAndCause) {
    const std::string port = "GigabitEthernet0/0/1";
    const InterfaceChange shut{port, false, "shut down", true};
    const InterfaceChange pulled{port, false, "no link", false};
    const InterfaceChange up{port, true, "", true};
    const InterfaceRow rows[] = {
        {0, "", 0, shut, true},
        {0, "", 0, up, true},
        {1, "", 0, up, true},
        {1, "", 0, shut, false},
        {2, "", 0, shut, true},
        {2, "", 0, up, false},
        {3, "", 9, shut, true}, // numbers without a meaning
        {-1, "", -1, up, true},
        {0, "GigabitEthernet0/0/1", 0, up, true},
        {0, "gigabitethernet0/0/1", 0, up, true},
        {0, "0/0/1", 0, up, true},
        {0, "GigabitEthernet0/0/11", 0, up, false},
        {0, "Cellular", 0, up, false},
        {0, "", 1, shut, true},
        {0, "", 1, pulled, false},
        {0, "", 2, pulled, true},
        {0, "", 2, shut, false},
        {2, "0/0/1", 2, pulled, true},
    };
    for (const InterfaceRow& row : rows) {
        const Message wanted = wanting({Item::text(8, "ifstate"), Item::integer(5, row.state),
                                        Item::text(6, row.interface), Item::integer(7, row.cause)});
        EXPECT_EQ(is_wanted(event_of(row.change, {}), EventKind::interface_state, wanted), row.wanted)
            << row.state << " \"" << row.interface << "\" " << row.cause << " for " << text_of(row.change);
    }
}

struct RouteRow {
    const char* destination;
    std::uint32_t length;
    const char* protocol;
    const char* next_hop;
    bool wanted;
};

TEST(EventCriteria, PickRouteChangesByDestinationPrefixProtocolAndNextHop) {
    const RouteChange change{{"10.1.128.0", "255.255.128.0", "192.168.1.254"}, true};
    const RouteRow rows[] = {
        {"", 0, "", "", true},
        {"", 24, "", "", true}, // without a destination a length says nothing
        {"10.1.128.0", 17, "", "", true},
        {"10.1.128.0", 0, "", "", true},
        {"10.1.128.0", 33, "", "", true},
        {"10.1.128.1", 0, "", "", false},
        {"10.0.0.0", 8, "", "", true},
        {"10.1.0.0", 16, "", "", true},
        {"10.2.0.0", 16, "", "", false},
        {"10.1.128.0", 18, "", "", false}, // the route is wider
        {"0.0.0.0", 0, "", "", false},     // the default route only
        {"10.1.", 0, "", "", true},        // no address, so a piece of one
        {"11.1.", 0, "", "", false},
        {"", 0, "static", "", true},
        {"", 0, "STAT", "", true},
        {"", 0, "ospf", "", false},
        {"", 0, "", "192.168.1.254", true},
        {"", 0, "", "192.168.", true},
        {"", 0, "", "Cellular", false},
        {"10.0.0.0", 8, "static", "1.254", true},
        {"10.0.0.0", 8, "static", "1.253", false},
    };
    for (const RouteRow& row : rows) {
        const Message wanted = wanting({Item::text(5, row.destination), Item::u32(6, row.length),
                                        Item::text(10, row.protocol), Item::text(11, row.next_hop)});
        EXPECT_EQ(is_wanted(event_of(change, {}), EventKind::route, wanted), row.wanted)
            << row.destination << "/" << row.length << " " << row.protocol << " " << row.next_hop;
    }
}

TEST(EventCriteria, PickTheDefaultRoute) {
    const RouteChange change{{"0.0.0.0", "0.0.0.0", "Cellular0/0/0"}, true};
    const auto wanted = [&](const char* destination, std::uint32_t length) {
        return is_wanted(event_of(change, {}), EventKind::route,
                         wanting({Item::text(5, destination), Item::u32(6, length), Item::text(10, ""),
                                  Item::text(11, "cellular")}));
    };
    EXPECT_TRUE(wanted("0.0.0.0", 0));
    EXPECT_FALSE(wanted("10.0.0.0", 8));
}

struct LogRow {
    const char* module;
    const char* alias;
    const char* piece;
    std::uint32_t level;
    bool wanted;
};

TEST(EventCriteria, PickLogLinesByModuleAliasPieceAndLevel) {
    const LogLine line{"IFNET", 4, "IF_DOWN", "interface GigabitEthernet0/0/0 down (shut down)"};
    const LogRow rows[] = {
        {"", "", "", 8, true},
        {"", "", "", 99, true},
        {"", "", "", 7, true},
        {"", "", "", 4, true},
        {"", "", "", 3, false},
        {"", "", "", 0, false},
        {"IFNET", "", "", 8, true},
        {"ifn", "", "", 8, true},
        {"ROUTE", "", "", 8, false},
        {"", "IF_DOWN", "", 8, true},
        {"", "down", "", 8, true},
        {"", "IF_UP", "", 8, false},
        {"", "", "GigabitEthernet0/0/0", 8, true},
        {"", "", "Tarkon IFNET/4", 8, true}, // the line as it is pushed
        {"", "", "Cellular", 8, false},
        {"IFNET", "IF_DOWN", "shut down", 4, true},
        {"IFNET", "IF_DOWN", "shut down", 3, false},
    };
    for (const LogRow& row : rows) {
        const Message wanted = wanting(
            {Item::text(5, row.module), Item::text(6, row.alias), Item::text(7, row.piece), Item::u32(8, row.level)});
        EXPECT_EQ(is_wanted(event_of(line, router_at_noon()), EventKind::log, wanted), row.wanted)
            << row.module << "/" << row.level << "/" << row.alias << ": " << row.piece;
    }
}

TEST(EventCriteria, KeepTheKindsApart) {
    const Event event{.kind = EventKind::nqa, .content = "x"};
    EXPECT_TRUE(is_wanted(event, EventKind::nqa, {}));
    EXPECT_FALSE(is_wanted(event, EventKind::trap, {}));
    EXPECT_FALSE(is_wanted(event, EventKind::log, {}));
}

TEST(EventCriteria, AreNotAskedOfAnEventThatMeetsThemAll) {
    Event event{.kind = EventKind::interface_state, .content = "made up"};
    const Message wanted = wanting({Item::text(6, "Cellular"), Item::integer(5, 1), Item::integer(7, 1)});
    EXPECT_FALSE(is_wanted(event, EventKind::interface_state, wanted));
    event.whatever_asked = true;
    EXPECT_TRUE(is_wanted(event, EventKind::interface_state, wanted));
}

} // namespace
} // namespace sim
