// Many events and clients that read slowly or not at all: nobody waits for long, and nothing is lost to who reads on.
#include "sim/events_queue.h"

#include <latch>
#include <mutex>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "sim/events_flood.h"
#include "tests/sim/event_support.h"

namespace sim::test {
namespace {

using ::testing::ElementsAre;
using Waited = EventQueue::Waited;

constexpr auto patience = 60s;

TEST(EventQueue, HandsEachPushToOneSendInOrder) {
    std::vector<std::string> sent;
    EventQueue queue([&](std::string_view bytes) {
        sent.emplace_back(bytes);
        return true;
    });
    for (const char* bytes : {"one", "two", "three"})
        queue.push(bytes);
    EXPECT_EQ(queue.wait_for(0, patience), Waited::there_is_room);
    EXPECT_THAT(sent, ElementsAre("one", "two", "three"));
    EXPECT_EQ(queue.size(), 0U);
}

TEST(EventQueue, CountsWhatNoSendHasTaken) {
    std::latch go(1);
    EventQueue queue([&](std::string_view) {
        go.wait();
        return true;
    });
    queue.push("12345");
    queue.push("678");
    EXPECT_EQ(queue.size(), 8U);
    EXPECT_EQ(queue.wait_for(8, patience), Waited::there_is_room);
    EXPECT_EQ(queue.wait_for(7, 1ms), Waited::no_progress);
    go.count_down();
    EXPECT_EQ(queue.wait_for(0, patience), Waited::there_is_room);
}

TEST(EventQueue, EndsWithTheConnection) {
    int sends = 0;
    EventQueue queue([&](std::string_view) {
        ++sends;
        return false;
    });
    queue.push("first");
    EXPECT_EQ(queue.wait_for(0, patience), Waited::ended);
    queue.push("second");
    EXPECT_EQ(queue.size(), 0U);
    EXPECT_EQ(sends, 1);
}

TEST(EventQueue, StopsWaitingWhenItIsToldTo) {
    std::latch go(1);
    EventQueue queue([&](std::string_view) {
        go.wait();
        return true;
    });
    queue.push("stuck");
    std::stop_source stop;
    std::thread stopper([&] { stop.request_stop(); });
    EXPECT_EQ(queue.wait_for(0, patience, stop.get_token()), Waited::stopped);
    stopper.join();
    go.count_down();
}

class SlowReader : public ::testing::Test {
protected:
    void start(Events::Limits limits) {
        service = std::make_unique<Service>(Service::Options{.socket_path = path, .events = limits});
        service->start();
    }
    void register_for_interfaces(EventClient& client) {
        client.open_session();
        client.register_for({client.ifstate_subscription("ifs")}, "ifs");
    }
    // More than a socket takes while nobody reads.
    void stuff(EventClient& client, int events) {
        for (int i = 0; i < events; ++i)
            service->events().push(1, client.client_name(), "stuffed",
                                   flood_content(static_cast<std::uint64_t>(i), 7000));
    }

    TempDir directory;
    std::string path = directory / "sdk.socket";
    std::unique_ptr<Service> service;
};

constexpr int more_than_a_socket_takes = 500;

TEST_F(SlowReader, HoldsUpNobodyWhileItsQueueHasRoom) {
    start({});
    EventClient deaf(path);
    register_for_interfaces(deaf);
    stuff(deaf, more_than_a_socket_takes);
    EventClient reader(path);
    register_for_interfaces(reader);
    EventClient other(path);
    other.open_cli();
    for (const char* line : {"system-view", "interface g0/0/0", "shutdown"})
        other.run(line);
    EXPECT_EQ(reader.event_text(), "ifs: interface GigabitEthernet0/0/0 down (shut down)");
    EXPECT_EQ(other.ask(other.session_message(5)).integer(2), 0);
    EXPECT_EQ(service->clients(), 3U);
}

TEST_F(SlowReader, LosesNothingWhileItReadsOn) {
    start({.queued_bytes = 1000, .patience = 60s});
    EventClient slow(path);
    register_for_interfaces(slow);
    stuff(slow, more_than_a_socket_takes);
    EventClient other(path);
    other.open_cli();
    other.run("system-view");
    other.run("interface g0/0/0");
    other.send(other.execute_message("shutdown"));
    EXPECT_EQ(other.receive(50ms), "(nothing)") << "who fills a full queue waits";
    EventClient third(path);
    third.open_cli();
    EXPECT_EQ(third.run("display this"), "#\nreturn\n") << "and nobody else does";

    for (int i = 0; i < more_than_a_socket_takes; ++i)
        ASSERT_EQ(slow.event_text(), fmt::format("stuffed: {}", flood_content(static_cast<std::uint64_t>(i), 7000)));
    EXPECT_EQ(slow.event_text(), "ifs: interface GigabitEthernet0/0/0 down (shut down)");
    EXPECT_EQ(other.answer().integer(1), 0);
}

TEST_F(SlowReader, IsHungUpOnWhenItReadsNothingAtAll) {
    start({.queued_bytes = 1000, .patience = 50ms});
    std::mutex lock;
    std::vector<std::string> notes;
    service->on_note([&](int client, std::string_view text) {
        std::lock_guard guard(lock);
        notes.push_back(fmt::format("{} {}", client, text));
    });
    EventClient deaf(path);
    register_for_interfaces(deaf);
    stuff(deaf, more_than_a_socket_takes);
    EventClient other(path);
    other.open_cli();
    for (const char* line : {"system-view", "interface g0/0/0", "shutdown"})
        other.run(line);
    EXPECT_TRUE(service->wait_for_clients(1));
    service->stop();
    EXPECT_THAT(notes, ::testing::Contains("1 reads no events"));
}

TEST_F(SlowReader, DoesNotKeepTheServiceFromStopping) {
    start({});
    EventClient deaf(path);
    register_for_interfaces(deaf);
    stuff(deaf, more_than_a_socket_takes);
    service->stop();
    EXPECT_EQ(service->clients(), 0U);
}

class Floods : public ServiceTest {
protected:
    Floods() {
        service.on_message([this](Direction direction, int, std::string_view bytes) {
            const bool event = bytes.size() > 8 && bytes[8] == event_notification;
            if (direction != Direction::to_client || !event)
                return;
            std::lock_guard guard(lock);
            sends.push_back(bytes.size());
        });
    }
    ~Floods() override { service.stop(); } // before what the callback uses goes
    void register_client(EventClient& client) {
        client.open_session();
        client.register_for({client.ifstate_subscription("first"), client.log_subscription("second")},
                            "second or first");
    }

    std::mutex lock;
    std::vector<std::size_t> sends; // read once a flood is over
};

TEST_F(Floods, SendEventsOneByOne) {
    EventClient client(path);
    register_client(client);
    const auto flooded = flood(service.events(), {.events = 3}, {});
    ASSERT_EQ(flooded.size(), 1U);
    EXPECT_EQ(flooded[0].client, 1);
    EXPECT_EQ(flooded[0].events, 3U);
    EXPECT_EQ(flooded[0].sends, 3U);
    EXPECT_EQ(flooded[0].end, Waited::there_is_room);
    EXPECT_EQ(sends.size(), 3U);
    for (const char* text : {"first: event 1", "first: event 2", "first: event 3"})
        EXPECT_EQ(client.event_text(), text);
}

TEST_F(Floods, JoinSeveralEventsInOneSend) {
    EventClient client(path);
    register_client(client);
    const auto flooded = flood(service.events(), {.events = 10, .size = 20, .per_send = 4}, {});
    EXPECT_EQ(flooded[0].sends, 3U);
    const std::size_t one = event_frame({1, ""}, client.client_name(), "first", flood_content(1, 20)).size();
    EXPECT_THAT(sends, ElementsAre(4 * one, 4 * one, 2 * one));
    for (int i = 1; i <= 10; ++i)
        EXPECT_EQ(client.event_text(), fmt::format("first: {}", flood_content(static_cast<std::uint64_t>(i), 20)));
}

TEST_F(Floods, JoinNoMoreThanASendTakes) {
    EventClient client(path);
    std::thread reading;
    register_client(client);
    constexpr int events = 30;
    reading = std::thread([&] {
        for (int i = 1; i <= events; ++i)
            EXPECT_EQ(client.event_text(),
                      fmt::format("first: {}", flood_content(static_cast<std::uint64_t>(i), 7000)));
    });
    flood(service.events(), {.events = events, .size = 7000, .per_send = 1000}, {});
    reading.join();
    EXPECT_EQ(sends.size(), 4U);
    for (const std::size_t size : sends)
        EXPECT_LE(size, most_joined_bytes);
}

TEST_F(Floods, ReachEveryRegisteredClientAndHoldUpNobodyElse) {
    EventClient first(path);
    EventClient second(path);
    EventClient unregistered(path);
    register_client(first);
    second.open_session();
    second.register_for({second.route_subscription("rt")}, "rt");
    unregistered.open_cli();
    constexpr int events = 5000;
    std::latch both_read(2);
    const auto read = [&](EventClient& client, const std::string& tag) {
        return std::thread([&client, tag, &both_read] {
            EXPECT_EQ(client.event_text(), fmt::format("{}: event 1", tag));
            both_read.count_down();
            for (int i = 2; i <= events; ++i)
                ASSERT_EQ(client.event_text(), fmt::format("{}: event {}", tag, i));
        });
    };
    std::vector<Flooded> flooded;
    std::thread flooding([&] { flooded = flood(service.events(), {.events = events}, {}); });
    std::thread readers[] = {read(first, "first"), read(second, "rt")};
    both_read.wait();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(unregistered.run("display this"), "#\nreturn\n");
    flooding.join();
    for (std::thread& reader : readers)
        reader.join();
    ASSERT_EQ(flooded.size(), 2U);
    EXPECT_EQ(flooded[0].events + flooded[1].events, 2U * events);
}

TEST_F(Floods, LastAsLongAsTheyShould) {
    EventClient client(path);
    register_client(client);
    std::vector<Flooded> flooded;
    std::thread flooding([&] {
        flooded = flood(service.events(), {.time = 50ms}, {});
        service.events().push(1, client.client_name(), "end", std::nullopt);
    });
    const std::vector<std::string> events = client.events_until("end");
    flooding.join();
    ASSERT_GE(events.size(), 1U) << "one at least, however late its thread";
    EXPECT_EQ(events.size(), flooded[0].events);
    EXPECT_EQ(events.back(), fmt::format("first: event {}", events.size()));
}

TEST_F(Floods, EndWhenTheyAreToldTo) {
    EventClient client(path);
    register_client(client);
    std::stop_source stop;
    std::vector<Flooded> flooded;
    std::thread flooding([&] { flooded = flood(service.events(), {.time = 1h}, stop.get_token()); });
    EXPECT_EQ(client.event_text(), "first: event 1");
    stop.request_stop(); // while nobody reads
    flooding.join();
    EXPECT_EQ(flooded[0].end, Waited::stopped);
}

TEST_F(Floods, EndWhenTheClientGoes) {
    std::vector<Flooded> flooded;
    std::thread flooding;
    {
        EventClient client(path);
        register_client(client);
        flooding = std::thread([&] { flooded = flood(service.events(), {.time = 1h}, {}); });
        EXPECT_EQ(client.event_text(), "first: event 1");
    }
    flooding.join();
    EXPECT_EQ(flooded[0].end, Waited::ended);
}

TEST(Flood, GivesUpOnAClientThatDoesNotRead) {
    TempDir directory;
    Service service({.socket_path = directory / "s", .events = {.patience = 50ms}});
    service.start();
    EventClient client(directory / "s");
    client.open_session();
    client.register_for({client.ifstate_subscription("x")}, "x");
    const auto flooded = flood(service.events(), {.time = 1h}, {});
    EXPECT_EQ(flooded[0].end, Waited::no_progress);
    EXPECT_EQ(service.clients(), 1U) << "that is no reason to hang up";
}

} // namespace
} // namespace sim::test
