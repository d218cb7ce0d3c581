// A process in a private host: the real socket path and the real system log are its own. Also the log listener, since
// syslog() writes to the one path only.
#include "sim/private_host.h"

#include <atomic>
#include <cstdarg>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <sys/un.h>
#include <syslog.h>

#include "sim/syslog_listener.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::StartsWith;

TEST(PrivateHost, HasASocketDirectoryOfItsOwn) {
    EXPECT_TRUE(std::filesystem::is_empty("/mnt/sock"));
    Service service;
    service.start();
    WireClient client("/mnt/sock/sdk.socket");
    client.open_cli();
    EXPECT_EQ(client.run("display this"), "#\nreturn\n");
    service.stop();
    EXPECT_TRUE(std::filesystem::is_empty("/mnt/sock"));
}

TEST(PrivateHost, HasNoLogUntilSomeoneListens) {
    EXPECT_FALSE(std::filesystem::exists("/dev/log"));
    {
        SyslogListener listener;
        EXPECT_TRUE(std::filesystem::is_socket("/dev/log"));
    }
    EXPECT_FALSE(std::filesystem::exists("/dev/log"));
}

void log_as_the_product(int level, const char* text) {
    openlog("Vela-Quor", LOG_PID, 1); // no facility: the default one stays
    syslog(level, "'%s'", text);
    closelog();
}

TEST(SyslogListener, ReadsWhatTheSystemLogIsTold) {
    SyslogListener listener;
    log_as_the_product(LOG_ERR, "session_open 12 vela not init");
    listener.drain();
    const std::vector<LogRecord> records = listener.records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].priority, LOG_USER | LOG_ERR);
    EXPECT_EQ(records[0].facility, 1);
    EXPECT_EQ(records[0].level, LOG_ERR);
    EXPECT_EQ(records[0].tag, "Vela-Quor");
    EXPECT_EQ(records[0].pid, getpid());
    EXPECT_EQ(records[0].text, "'session_open 12 vela not init'");
    EXPECT_THAT(records[0].raw, StartsWith("<11>"));
    listener.clear();
    EXPECT_TRUE(listener.records().empty());
}

TEST(SyslogListener, LosesNothingOfABurst) {
    SyslogListener listener;
    constexpr int senders = 4;
    constexpr int each = 2000;
    std::vector<std::thread> threads;
    openlog("burst", 0, LOG_USER);
    for (int i = 0; i < senders; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < each; ++n)
                syslog(LOG_INFO, "%d", n);
        });
    for (std::thread& thread : threads)
        thread.join();
    closelog();
    listener.drain();
    EXPECT_EQ(listener.records().size(), static_cast<std::size_t>(senders * each));
}

TEST(SyslogListener, WaitsForARecord) {
    SyslogListener listener;
    const auto second = [](const LogRecord& record) { return record.text == "'second'"; };
    EXPECT_FALSE(listener.wait_for(second, 1ms));
    std::thread sender([] {
        log_as_the_product(LOG_INFO, "first");
        log_as_the_product(LOG_INFO, "second");
    });
    EXPECT_TRUE(listener.wait_for(second));
    EXPECT_TRUE(listener.wait_for(second)) << "also when it is there already";
    EXPECT_TRUE(listener.wait_for_count(2));
    EXPECT_FALSE(listener.wait_for_count(3, 1ms));
    sender.join();
}

TEST(SyslogListener, TellsCallbacksBeforeADrainReturns) {
    SyslogListener listener;
    std::atomic<int> told{0};
    listener.on_record([&](const LogRecord&) { ++told; });
    for (int i = 0; i < 100; ++i)
        log_as_the_product(LOG_INFO, "x");
    listener.drain();
    EXPECT_EQ(told, 100);
}

TEST(SyslogListener, TakesALongRecordWhole) {
    SyslogListener listener;
    const std::string text(3071, 'x');
    log_as_the_product(LOG_INFO, text.c_str());
    listener.drain();
    ASSERT_EQ(listener.records().size(), 1U);
    EXPECT_EQ(listener.records()[0].text, "'" + text + "'");
}

struct Record {
    const char* raw;
    int level;
    const char* tag;
    int pid;
    const char* text;

    friend void PrintTo(const Record& row, std::ostream* out) { *out << row.raw; }
};

class LogRecords : public ::testing::TestWithParam<Record> {};

TEST_P(LogRecords, AreTakenApart) {
    const LogRecord record = parse_log_record(GetParam().raw);
    EXPECT_EQ(record.level, GetParam().level);
    EXPECT_EQ(record.tag, GetParam().tag);
    EXPECT_EQ(record.pid, GetParam().pid);
    EXPECT_EQ(record.text, GetParam().text);
    EXPECT_EQ(record.raw, GetParam().raw);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, LogRecords,
    ::testing::Values(Record{"<14>Sep  8 12:00:00 Vela-Quor[42]: 'a: b'", 6, "Vela-Quor", 42, "'a: b'"},
                      Record{"<11>Sep  8 12:00:00 tag: text\n", 3, "tag", 0, "text"},
                      Record{"<11>tag[1]:", 3, "tag", 1, ""},
                      Record{"<11>just words here: no tag", 3, "", 0, "just words here: no tag"},
                      Record{"no priority", 0, "", 0, "no priority"}, Record{"<x>odd", 0, "", 0, "<x>odd"},
                      Record{"<5>tag[x]: y", 5, "", 0, "tag[x]: y"}, Record{"", 0, "", 0, ""}));

TEST(SyslogListener, RefusesAPathWhereAnotherListens) {
    SyslogListener listener;
    EXPECT_THROW(SyslogListener second, std::system_error);
}

} // namespace
} // namespace sim::test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    std::string why_not;
    if (sim::enter_private_host(&why_not) == sim::PrivateHost::none) {
        std::fprintf(stderr, "no private host is possible here: %s\n", why_not.c_str());
        return 1;
    }
    return RUN_ALL_TESTS();
}
