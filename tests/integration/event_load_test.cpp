// Events by the thousand: at full speed, joined with each other and with replies, and while handles come and go. None
// is lost, none overtakes another, and the memory that they take does not grow with their number.
#include <atomic>
#include <fstream>
#include <utility>

#include <unistd.h>

#include "event_support.h"

namespace integration {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memory_is_the_librarys = false; // the sanitizers keep what is freed
#else
constexpr bool memory_is_the_librarys = true;
#endif

std::size_t resident_bytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    statm >> size >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// What a callback that keeps nothing sees of a stream of numbered events.
struct Stream {
    std::atomic<std::size_t> received{0};
    std::atomic<std::size_t> out_of_order{0};
    std::atomic<std::size_t> most_resident{0};
    std::size_t sleep_every = 0; // 0: never

    void take(const char* content) {
        const std::size_t number = received;
        if (content == nullptr || std::strtoul(content, nullptr, 10) != number)
            ++out_of_order;
        if (number % 512 == 0)
            most_resident = std::max<std::size_t>(most_resident, resident_bytes());
        if (sleep_every != 0 && number % sleep_every == 0)
            std::this_thread::sleep_for(1ms);
        received = number + 1;
    }
};
Stream* stream = nullptr;

void count(std::uint32_t, const char*, tagVELA_EVENT, void* content, int) {
    stream->take(static_cast<const char*>(content));
}

// A number and letters behind it, of various lengths.
std::string numbered(std::size_t number, std::size_t length) {
    std::string content = fmt::format("{} ", number);
    content.resize(std::max(content.size(), length), 'c');
    return content;
}

class EventLoad : public EventTest {
protected:
    void SetUp() override {
        EventTest::SetUp();
        stream = &stream_;
        registered(count);
    }

    std::string event_number(std::size_t number, std::size_t length = 0) const {
        return pushed(client_name_, "link", numbered(number, length));
    }

    void expect_all(std::size_t sent) {
        EXPECT_TRUE(eventually([&] { return stream_.received >= sent; }, 100s)) << stream_.received;
        EXPECT_EQ(stream_.received, sent);
        EXPECT_EQ(stream_.out_of_order, 0U);
        expect_no_log();
    }

    // 100 MB of events: far more than may be held at any time.
    void send_100_000() {
        constexpr std::size_t all = 100'000;
        const std::size_t before = resident_bytes();
        constexpr std::size_t on_their_way = 2'048; // at most: the event thread may be late itself
        for (std::size_t number = 0; number < all; ++number) {
            ASSERT_TRUE(service.send(-1, event_number(number, 1000)));
            if (number % 512 == 0) {
                ASSERT_TRUE(eventually([&] { return stream_.received + on_their_way >= number; }));
            }
        }
        expect_all(all);
        if (memory_is_the_librarys) {
            EXPECT_LT(stream_.most_resident, before + 16 * 1024 * 1024);
        }
    }

    Stream stream_;
};

TEST_F(EventLoad, AHundredThousandReachACallbackThatDoesNothing) { send_100_000(); }

TEST_F(EventLoad, AHundredThousandReachACallbackThatSleepsNowAndThen) {
    stream_.sleep_every = 1000;
    send_100_000();
}

// Everything that is written at once comes out whole, wherever a receive's end cuts it.
TEST_F(EventLoad, EventsAndRepliesInBurstsAreAllReceivedInOrder) {
    constexpr std::size_t requests_made = 125;
    constexpr std::size_t each_side = 4;
    std::size_t next = 0; // on the service's thread only
    service.on("session.keepalive", [&](const sim::Request& request) {
        std::string burst;
        const auto add_events = [&] {
            for (std::size_t i = 0; i < each_side; ++i, ++next)
                burst += event_number(next, next * 37 % 3000);
        };
        add_events();
        burst += encode_reply(request.message, {.items = session_acknowledged(6)});
        add_events();
        return sim::Answer{burst};
    });
    for (std::size_t i = 0; i < requests_made; ++i)
        ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK) << i;
    expect_all(requests_made * 2 * each_side);
}

TEST_F(EventLoad, AThousandEventsInBurstsAreAllReceivedInOrder) {
    std::string burst;
    for (std::size_t number = 0; number < 1000; ++number) {
        burst += event_number(number, number % 7 == 0 ? 2000 : number % 100);
        if (number % 50 == 49) {
            ASSERT_TRUE(service.send(-1, std::exchange(burst, {})));
        }
    }
    expect_all(1000);
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

// Ends of messages at, just before and just behind the end of a receive.
TEST_F(EventLoad, EventsThatFillAReceiveExactlyAreAllReceivedInOrder) {
    const std::size_t rest = event_number(0).size() - numbered(0, 0).size();
    std::string burst;
    std::size_t number = 0;
    for (const std::size_t size : {8012U, 8011U, 100U, 7913U, 4006U, 4006U, 8012U, 8005U, 107U, 7912U, 8004U, 108U,
                                   7911U, 8003U, 109U, 7910U, 8012U}) {
        burst += event_number(number++, size - rest);
        if (number % 4 == 0) {
            ASSERT_TRUE(service.send(-1, std::exchange(burst, {})));
        }
    }
    ASSERT_TRUE(service.send(-1, burst));
    expect_all(number);
}

// Coming and going ---------------------------------------------------------------------------------------------------

class EventChange : public EventTest {};

std::atomic<std::size_t> delivered{0};
void count_delivered(std::uint32_t, const char*, tagVELA_EVENT, void*, int) { ++delivered; }

// Two threads take, add, register and free handles of their own, and a third asks, while events arrive for both: each
// event is delivered or dropped with its record.
TEST_F(EventChange, HandlesMayComeAndGoWhileEventsArrive) {
    constexpr std::size_t pushes = 4000;
    constexpr int cycles = 60;
    std::atomic<bool> sending{true};
    std::promise<std::string> other_name;
    auto other = other_name.get_future();

    const auto cycle = [&] {
        for (int i = 0; i < cycles || sending; ++i) {
            std::uint32_t handle = 0;
            ASSERT_EQ(vela_event_new(&handle), VELA_OK);
            EXPECT_EQ(add(handle, "link"), VELA_OK);
            ASSERT_EQ(vela_event_reg(handle, count_delivered), VELA_OK);
            EXPECT_EQ(add(handle, "more"), VELA_OK);
            ASSERT_EQ(vela_event_free(handle), VELA_OK);
        }
    };
    std::thread second([&] {
        other_name.set_value(client_name(granted_session));
        cycle();
    });
    std::thread asking([&] {
        while (sending)
            EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    });
    std::thread service_side([&, names = std::array{client_name_, other.get()}] {
        for (std::size_t i = 0; i < pushes; ++i)
            EXPECT_TRUE(service.send(-1, pushed(names[i % 2], i % 3 == 0 ? "link" : "more", "content")));
        sending = false;
    });
    cycle();
    service_side.join();
    asking.join();
    second.join();

    std::size_t dropped_events = 0;
    EXPECT_TRUE(eventually([&] {
        for (const Record& record : take_log()) {
            EXPECT_TRUE(matches(no_callback(), record)) << record;
            ++dropped_events;
        }
        return delivered + dropped_events >= pushes;
    })) << delivered
        << " delivered, " << dropped_events << " dropped";
    EXPECT_EQ(delivered + dropped_events, pushes);
}

// The service goes and comes back while events arrive: what was on its way is delivered or dropped, and afterwards
// everything works as before.
TEST_F(EventChange, TheServiceMayHangUpWhileEventsArrive) {
    constexpr std::size_t rounds = 20;
    constexpr std::size_t pushes = 50;
    delivered = 0;
    for (std::size_t round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        EXPECT_EQ(registered(count_delivered), 0U) << "every handle is free again";
        const auto readers = library_thread_count();
        std::thread service_side([this] {
            for (std::size_t i = 0; i < pushes; ++i)
                service.send(-1, pushed(client_name_, "link", "content"));
            service.hang_up();
        });
        service_side.join();
        ASSERT_TRUE(eventually([&] { return library_thread_count() < readers; }));
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    }
    // What the last connection sent may still be on its way to the event thread.
    std::size_t dropped = 0;
    EXPECT_TRUE(eventually([&] {
        for (const Record& record : take_log()) {
            if (matches(no_callback(), record))
                ++dropped;
            else
                EXPECT_EQ(record.level, 6) << record;
        }
        return delivered + dropped == rounds * pushes;
    })) << delivered
        << " delivered, " << dropped << " dropped";
}

} // namespace
} // namespace integration
