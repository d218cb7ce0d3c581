// Several threads at once: one request on its way at a time, whole records, cancelled callers, and library threads that
// come and go while messages arrive.
#include <algorithm>
#include <atomic>
#include <latch>
#include <map>
#include <thread>

#include <pthread.h>

#include "support.h"

namespace integration {
namespace {

class Threads : public RequestTest {
protected:
    static void run(int count, const std::function<void(int)>& work) {
        std::latch start(count);
        std::vector<std::jthread> workers;
        for (int n = 0; n < count; ++n)
            workers.emplace_back([&, n] {
                start.arrive_and_wait();
                work(n);
            });
    }
};

TEST_F(Threads, EveryThreadGetsItsOwnAnswer) {
    open_cli();
    service.on("cli.execute", [](const sim::Request& request) {
        return sim::Answer{encode_reply(request.message, {.items = printed(request.message.text(7).value_or(""))})};
    });
    run(8, [](int thread) {
        for (int round = 0; round < 100; ++round) {
            const std::string command = "display " + std::to_string(thread) + " " + std::to_string(round);
            char* output = nullptr;
            ASSERT_EQ(vela_cli_execute(granted_handle, command.c_str(), nullptr, &output), VELA_OK);
            ASSERT_NE(output, nullptr);
            EXPECT_EQ(output, command);
            vela_free(output);
        }
    });
    EXPECT_EQ(requests("cli.execute").size(), 800U);
    expect_no_log();
}

TEST_F(Threads, OneRequestIsOnItsWayAtATime) {
    open_cli();
    // The tap outlives the test's body: it is told of the end of the session too.
    static std::atomic<int> on_their_way{0};
    static std::atomic<int> most{0};
    service.on_message([](sim::Direction direction, int, std::string_view) {
        if (direction == sim::Direction::to_client) {
            --on_their_way;
            return;
        }
        const int now = ++on_their_way;
        for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
        }
    });
    run(8, [](int thread) {
        for (int round = 0; round < 100; ++round)
            EXPECT_EQ(thread % 2 == 0 ? vela_session_keepalive(0) : request_kind("cli.execute").call(), VELA_OK);
    });
    EXPECT_EQ(most, 1);
    EXPECT_EQ(on_their_way, 0);
}

TEST_F(Threads, RecordsAreWholeAndKeepTheirIdentity) {
    constexpr int count = 8;
    constexpr int rounds = 200;
    run(count, [](int thread) {
        for (int round = 0; round < rounds; ++round) {
            switch (thread % 4) {
            case 0:
                EXPECT_EQ(vela_version(nullptr), VELA_ERROR);
                break;
            case 1:
                EXPECT_EQ(vela_session_close(0), VELA_ERROR_NO_SESSION);
                break;
            case 2:
                EXPECT_EQ(vela_cli_open(nullptr), VELA_ERROR);
                break;
            default:
                EXPECT_EQ(vela_cli_execute(0, nullptr, nullptr, nullptr), VELA_ERROR);
            }
        }
    });
    std::map<std::string, int> seen;
    for (const Record& record : take_log()) {
        EXPECT_EQ(record.level, 3);
        ++seen[record.function + ": " + record.text];
    }
    const std::map<std::string, int> expected = {{"vela_version: version == NULL", 2 * rounds},
                                                 {"vela_session_close_imp: session not open ", 2 * rounds},
                                                 {"vela_cli_open_imp: cli_hdl = NULL", 2 * rounds},
                                                 {"vela_cli_execute_imp: cli not open", 2 * rounds}};
    EXPECT_EQ(seen, expected);
}

TEST_F(Threads, LibraryThreadsAndCallersRecordAtOnceWithoutLosingAnything) {
    open_session();
    constexpr int messages = 500;
    std::jthread sender([&] {
        for (int n = 0; n < messages; ++n)
            service.send(-1, unsolicited_reply(static_cast<std::uint8_t>(200 + n % 50)));
    });
    run(4, [](int) {
        for (int round = 0; round < messages; ++round)
            EXPECT_EQ(vela_version(nullptr), VELA_ERROR);
    });
    sender.join();
    std::map<int, int> levels;
    EXPECT_TRUE(eventually([&] {
        for (const Record& record : take_log()) {
            EXPECT_TRUE(record.function == "vela_version" || record.level == 6) << record;
            ++levels[record.level];
        }
        return levels[3] + levels[6] >= 5 * messages;
    }));
    EXPECT_EQ(levels[3], 4 * messages);
    EXPECT_EQ(levels[6], messages);
}

// Cancelled callers -------------------------------------------------------------------------------------------------

class ThreadsCancel : public Threads, public testing::WithParamInterface<RequestKind> {};

TEST_P(ThreadsCancel, ACancelledCallerFinishesItsCall) {
    const RequestKind& kind = GetParam();
    reach(kind);
    Gate gate;
    service.on(kind.operation, [gate, &kind](const sim::Request& request) {
        gate.wait();
        return sim::Answer{encode_reply(request.message, {.items = kind.right()})};
    });
    const std::size_t before = requests().size();

    struct Call {
        const RequestKind& kind;
        std::int32_t code = -1;
        bool passed_on = false;
    } call{kind};
    pthread_t caller;
    const auto run_call = [](void* argument) -> void* {
        auto& shared = *static_cast<Call*>(argument);
        shared.code = shared.kind.call();
        pthread_testcancel();
        shared.passed_on = true;
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&caller, nullptr, run_call, &call), 0);
    ASSERT_TRUE(service.wait_for_requests(before + 1, patience));
    ASSERT_EQ(pthread_cancel(caller), 0);
    gate.open();

    void* result = nullptr;
    ASSERT_EQ(pthread_join(caller, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(call.code, VELA_OK);
    EXPECT_FALSE(call.passed_on);
    take_log();

    // Nothing stays locked.
    answer_as_usual();
    const std::int32_t closed = vela_session_close(0);
    EXPECT_TRUE(closed == VELA_OK || closed == VELA_ERROR_NO_SESSION) << closed;
    EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(vela_cli_save(), VELA_OK);
    take_log();
}

INSTANTIATE_TEST_SUITE_P(Cancel, ThreadsCancel, testing::ValuesIn(request_kinds()), kind_name);

struct Codes {
    std::int32_t init = -1, open = -1, keepalive = -1, version = -1, close = -1, release = -1;
};

// Apart from the thread's own function, whose frame must hold nothing when the cancellation unwinds it: the address
// sanitizer would take what it held for the next owner's.
[[gnu::noinline]] void call_everything(Codes& codes) {
    codes.init = vela_init();
    codes.open = request_kind("session.open").call();
    codes.keepalive = vela_session_keepalive(0);
    codes.version = vela_version(nullptr);
    codes.close = vela_session_close(0);
    codes.release = vela_release();
}

TEST_F(Threads, ACallerWithAPendingCancellationStillGetsEveryFunctionDone) {
    Codes codes;
    pthread_t caller;
    const auto run_calls = [](void* argument) -> void* {
        pthread_cancel(pthread_self());
        call_everything(*static_cast<Codes*>(argument));
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&caller, nullptr, run_calls, &codes), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(caller, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(codes.init, VELA_OK);
    EXPECT_EQ(codes.open, VELA_OK);
    EXPECT_EQ(codes.keepalive, VELA_OK);
    EXPECT_EQ(codes.version, VELA_ERROR);
    EXPECT_EQ(codes.close, VELA_OK);
    EXPECT_EQ(codes.release, VELA_OK);
    expect_log({fixed_note("Vela Quor compile time is 2016-9-8"), note("vela_init_imp", "vela init success"),
                note("vela_session_open_imp", "session open success, session id = 7"),
                failure("vela_version", "version == NULL")});
}

// Restarts while messages arrive ------------------------------------------------------------------------------------

// The service says more than it was asked: behind every answer come an event and a reply that nobody waits for, so that
// messages are on their way whenever the library closes, opens, stops or starts.
class ThreadsRestart : public Threads {
protected:
    static constexpr int rounds = 300;

    void SetUp() override {
        for (const RequestKind& kind : request_kinds())
            service.on(kind.operation, [this, &kind](const sim::Request& request) {
                ++answers_;
                // Not 0, which would answer the next request.
                const auto nobodys_id = static_cast<std::uint8_t>((request.message.send_id + 128) | 1);
                return sim::Answer{encode_reply(request.message, {.items = kind.right()}),
                                   event({sim::Item::text(1, "nobody"), sim::Item::text(2, "tag")}),
                                   unsolicited_reply(nobodys_id)};
            });
    }

    static void open_session_among_messages() {
        ASSERT_EQ(vela_init(), VELA_OK);
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    }

    // Nothing failed, and no message was served twice. With a session open, waits for what is still on its way.
    void expect_none_served_twice() {
        const Record last_event = failure("EventNotify", "file_name == NULL");
        std::vector<Record> records;
        if (vela_session_keepalive(0) == VELA_OK) {
            service.send(-1, event({}));
            records = take_log_until(last_event);
        }
        for (Record& record : library_thread_count() > 0 ? pass_messages() : take_log())
            records.push_back(std::move(record));

        int events = 0;
        int replies = 0;
        for (const Record& record : records) {
            if (matches(last_event, record))
                continue;
            const bool is_event = record.function == "EventNotify";
            EXPECT_EQ(record.level, is_event ? 3 : 6) << record;
            events += is_event;
            replies += record.text.find("recv_id = ") != std::string::npos;
        }
        EXPECT_LE(events, answers_);
        EXPECT_LE(replies, answers_);
        EXPECT_GT(events, 0);
        EXPECT_GT(replies, 0);
        answer_as_usual();
    }

private:
    std::atomic<int> answers_{0};
};

TEST_F(ThreadsRestart, CloseFollowedAtOnceByOpen) {
    open_session_among_messages();
    for (int round = 0; round < rounds; ++round) {
        ASSERT_EQ(vela_session_close(0), VELA_OK) << round;
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK) << round;
        ASSERT_EQ(vela_session_keepalive(0), VELA_OK) << round;
    }
    EXPECT_TRUE(eventually([] { return library_thread_count() == 3; })) << "the older readers have ended";
    EXPECT_EQ(requests("session.keepalive").size(), std::size_t{rounds});
    expect_none_served_twice();
}

TEST_F(ThreadsRestart, ReleaseFollowedAtOnceByInit) {
    open_session_among_messages();
    for (int round = 0; round < rounds; ++round) {
        ASSERT_EQ(vela_session_keepalive(0), VELA_OK) << round;
        ASSERT_EQ(vela_release(), VELA_OK) << round;
        ASSERT_EQ(vela_init(), VELA_OK) << round;
        ASSERT_EQ(vela_session_keepalive(0), VELA_OK) << round;
    }
    EXPECT_TRUE(eventually([] { return library_thread_count() == 3; })) << "the older service threads have ended";
    EXPECT_EQ(requests("session.keepalive").size(), std::size_t{2 * rounds});
    expect_none_served_twice();
}

TEST_F(ThreadsRestart, TheWholeLifeOverAndOver) {
    for (int round = 0; round < rounds; ++round) {
        ASSERT_EQ(vela_init(), VELA_OK) << round;
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK) << round;
        ASSERT_EQ(vela_cli_save(), VELA_OK) << round;
        ASSERT_EQ(vela_session_close(0), VELA_OK) << round;
        ASSERT_EQ(vela_release(), VELA_OK) << round;
    }
    EXPECT_TRUE(eventually([] { return library_thread_count() == 0; }));
    expect_none_served_twice();
}

} // namespace
} // namespace integration
