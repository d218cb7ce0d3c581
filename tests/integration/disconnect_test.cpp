// The service hangs up: idle, before a request, with its answer; what the library then refuses, and how it starts
// afresh.
#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support.h"

namespace integration {
namespace {

const Record disconnected = note("ReadSockThread", "disconnect from server!");

class Disconnect : public RequestTest {
protected:
    // Ends the connection and waits until the library knows.
    void hang_up() {
        const auto running = library_thread_count();
        service.hang_up();
        take_log_until(disconnected);
        ASSERT_TRUE(eventually([running] { return library_thread_count() == running - 1; })) << "the reader ends";
    }

    // A new session on a new connection works as the first one did.
    void expect_fresh_start() {
        const auto connections = service.connections();
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
        EXPECT_EQ(service.connections(), connections + 1);
        ASSERT_EQ(request_kind("cli.open").call(), VELA_OK);
        EXPECT_EQ(request_kind("cli.execute").call(), VELA_OK);
        EXPECT_EQ(vela_cli_save(), VELA_OK);
        EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
        EXPECT_EQ(request_kind("cli.close").call(), VELA_OK);
        EXPECT_EQ(request_kind("session.close").call(), VELA_OK);
        for (const Record& record : take_log())
            EXPECT_EQ(record.level, 6) << record;
    }
};

TEST_F(Disconnect, IsRecordedOnceAsAMilestone) {
    open_session();
    service.hang_up();
    expect_log({disconnected});
    EXPECT_TRUE(eventually([] { return library_thread_count() == 2; })) << "the reader has ended";
    expect_no_log();
}

TEST_F(Disconnect, LaterCallsAreRefusedUntilTheNextOpen) {
    open_cli();
    hang_up();

    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION);
    expect_no_log();
    EXPECT_EQ(vela_session_close(0), VELA_ERROR_NO_SESSION);
    expect_log({failure("vela_session_close_imp", "session not open ")});
    std::uint32_t handle = 0;
    EXPECT_EQ(vela_cli_open(&handle), VELA_ERROR_NO_SESSION);
    expect_log({failure("vela_cli_open_imp", "session not open")});
    EXPECT_EQ(vela_cli_execute(3, "x", nullptr, nullptr), VELA_ERROR);
    expect_log({failure("vela_cli_execute_imp", "cli not open")});
    EXPECT_EQ(vela_cli_close(3), VELA_ERROR_NO_SESSION);
    expect_log({failure("vela_cli_close_imp", "please open session first")});
    EXPECT_EQ(vela_cli_save(), VELA_ERROR);
    expect_log(
        {failure("vela_cli_open_imp", "session not open"), failure("vela_cli_save_imp", "vela_cli_open_imp failed")});

    expect_fresh_start();
}

TEST_F(Disconnect, ASessionCanBeOpenedAgainAsOftenAsTheServiceComesBack) {
    open_cli();
    for (int round = 0; round < 20; ++round) {
        hang_up();
        if (round % 2 == 0) {
            service.stop();
            EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
            expect_log({failure("ConnectServer", "connect failed!"),
                        failure("vela_session_open_imp", "socket connect faild.")});
            service.start();
        }
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
        ASSERT_EQ(request_kind("cli.open").call(), VELA_OK);
        ASSERT_EQ(request_kind("cli.execute").call(), VELA_OK);
        take_log();
    }
}

TEST_F(Disconnect, InitAndReleaseAreNotTouched) {
    open_session();
    hang_up();
    EXPECT_EQ(vela_release(), VELA_OK);
    open_session();
}

TEST_F(Disconnect, AServiceThatNoLongerReadsIsAFailedSendAndNoSignal) {
    std::signal(SIGPIPE, SIG_DFL); // would end this process
    open_session();
    Gate gate;
    service.on("session.keepalive", [gate](const sim::Request&) {
        gate.wait();
        return sim::Answer{};
    });
    // The service's thread stays in its handler while the request is answered past it.
    auto first = std::async(std::launch::async, [] { return vela_session_keepalive(0); });
    ASSERT_TRUE(service.wait_for_requests(2, patience));
    service.send(-1, encode_reply(requests()[1].message, {.items = session_acknowledged(6)}));
    ASSERT_EQ(first.get(), VELA_OK);
    ASSERT_EQ(service_sockets().size(), 1U);
    ASSERT_EQ(shutdown(service_sockets()[0], SHUT_RD), 0);

    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR);
    expect_log({failure("SendData", "socket send error"), failure("SendRequest", "send data failed")});
    std::uint32_t handle = 0;
    EXPECT_EQ(vela_cli_open(&handle), VELA_ERROR);
    expect_log({failure("SendData", "socket send error"), failure("SendRequest", "send data failed"),
                failure("vela_cli_open_imp", "SendRequest faided")});
    EXPECT_EQ(vela_session_close(0), VELA_ERROR);
    expect_log({failure("SendData", "socket send error"), failure("SendRequest", "send data failed"),
                failure("vela_session_close_imp", "SendRequest failed")});

    gate.open();
    answer_as_usual();
    take_log_until(disconnected);
    ASSERT_TRUE(eventually([] { return library_thread_count() == 2; })) << "the reader ends";
    expect_fresh_start();
}

// The service hangs up behind its answer: the answer counts, and the next session is a fresh one.
class DisconnectAfterAnswer : public Disconnect, public testing::WithParamInterface<RequestKind> {};

TEST_P(DisconnectAfterAnswer, TheAnswerCountsAndTheNextSessionIsFresh) {
    const RequestKind& kind = GetParam();
    for (int round = 0; round < 20; ++round) {
        reach(kind);
        service.faults().add(std::string(kind.operation) + ":hang_up_after");

        EXPECT_EQ(kind.call(), VELA_OK);

        ASSERT_TRUE(service.wait_for_clients(0));
        service.faults().clear();
        // The reader ends either way; of a closed session it was asked to, and may not have seen the end of the stream.
        ASSERT_TRUE(eventually([] { return library_thread_count() == 2; }));
        if (std::string_view(kind.operation) != "session.close")
            take_log_until(disconnected);
        take_log();
        EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION) << "round " << round;
        expect_fresh_start();
        ASSERT_EQ(vela_release(), VELA_OK);
        service.hang_up_all();
        ASSERT_TRUE(service.wait_for_clients(0));
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(HangUp, DisconnectAfterAnswer, testing::ValuesIn(request_kinds()), kind_name);

// The service hangs up in the middle of its answer. What arrived is a short message like any other: it is completed by
// what earlier ones left, so the verdict is theirs; but there is one, at once, with its one record.
class DisconnectDuringAnswer : public Disconnect, public testing::WithParamInterface<RequestKind> {};

TEST_P(DisconnectDuringAnswer, WhatArrivedIsJudgedAndTheNextSessionIsFresh) {
    const RequestKind& kind = GetParam();
    reach(kind);
    service.faults().add(std::string(kind.operation) + ":hang_up_during");

    const std::int32_t code = kind.call();

    ASSERT_TRUE(service.wait_for_clients(0));
    service.faults().clear();
    ASSERT_TRUE(eventually([] { return library_thread_count() == 2; }));
    std::vector<Record> failures;
    for (Record& record : take_log())
        if (record.level == 3)
            failures.push_back(std::move(record));
    if (code == VELA_OK) {
        EXPECT_TRUE(failures.empty()) << testing::PrintToString(failures);
    } else {
        EXPECT_EQ(code, VELA_ERROR);
        ASSERT_EQ(failures.size(), 1U) << testing::PrintToString(failures);
        EXPECT_EQ(failures[0].function, kind.function);
    }
    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION);
    expect_fresh_start();
}

INSTANTIATE_TEST_SUITE_P(HangUp, DisconnectDuringAnswer, testing::ValuesIn(request_kinds()), kind_name);

// The service refuses and hangs up: the refusal is reported, and the next open works.
TEST_F(Disconnect, AnOpenThatIsRefusedByHangingUpBehindTheRefusalCanBeRepeated) {
    init();
    answer("session.open", {.items = session_acknowledged(2, 5)});
    service.faults().add("session.open:hang_up_after");
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
    const auto records = take_log_until(disconnected);
    EXPECT_EQ(records.size(), 2U) << testing::PrintToString(records);
    service.faults().clear();
    answer_as_usual();
    expect_fresh_start();
}

// Older connections -------------------------------------------------------------------------------------------------

TEST_F(Disconnect, TheEndOfAnOlderConnectionTouchesNothingOfTheNewSession) {
    init();
    answer("session.open", {.items = session_acknowledged(2, 5)});
    constexpr int failed_opens = 3;
    for (int n = 0; n < failed_opens; ++n) {
        EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
        expect_log({failure("vela_session_open_imp", "err description = (null)")});
    }
    answer_as_usual();
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    ASSERT_EQ(request_kind("cli.open").call(), VELA_OK);
    take_log();
    ASSERT_TRUE(eventually([] { return library_thread_count() == 2 + failed_opens + 1; }))
        << "every connection has a reader";

    for (int client = 1; client <= failed_opens; ++client) {
        service.hang_up(client);
        const auto left = static_cast<std::size_t>(2 + failed_opens + 1 - client);
        ASSERT_TRUE(eventually([left] { return library_thread_count() == left; }))
            << "the reader of connection " << client << " ends";
        EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
        EXPECT_EQ(request_kind("cli.execute").call(), VELA_OK);
        EXPECT_EQ(requests().back().client, failed_opens + 1);
    }
    take_log();

    hang_up();
    expect_fresh_start();
}

TEST_F(Disconnect, MessagesOfAnOlderConnectionAreReadByItsOwnReader) {
    init();
    answer("session.open", {.items = session_acknowledged(2, 5)});
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
    answer_as_usual();
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    take_log();
    for (std::uint8_t id = 100; id < 110; ++id) {
        service.send(1, unsolicited_reply(id));
        take_log_until(dropped(0, id));
        EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
    }
}

TEST_F(Disconnect, TheEndOfAClosedSessionsConnectionTouchesNothingOfTheNextSession) {
    open_session();
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    ASSERT_EQ(request_kind("cli.open").call(), VELA_OK);
    take_log();
    service.hang_up(1);
    ASSERT_TRUE(service.wait_for_clients(1));
    for (int round = 0; round < 50; ++round)
        ASSERT_EQ(request_kind("cli.execute").call(), VELA_OK);
    expect_no_log();
}

// Descriptors -------------------------------------------------------------------------------------------------------

// While it lives, the process has so many descriptors at most.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t most) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit limit{most, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit before_{};
};

TEST_F(Disconnect, AConnectionThatWasHungUpIsClosedByTheNextOne) {
    open_session();
    const auto one = client_sockets();
    ASSERT_EQ(one.size(), 1U);
    hang_up();
    EXPECT_EQ(fcntl(one[0], F_GETFD), FD_CLOEXEC) << "closed before there is another";
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    take_log();
    // The reader's own hold on it ends with its thread.
    EXPECT_TRUE(eventually([] { return client_sockets().size() == 1; }));
}

TEST_F(Disconnect, AConnectionThatTheServiceHoldsStaysOpen) {
    open_session();
    const auto older = client_sockets();
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    open_session();
    EXPECT_EQ(client_sockets().size(), 2U);
    EXPECT_EQ(fcntl(older[0], F_GETFD), FD_CLOEXEC);
}

TEST_F(Disconnect, CyclesOfOpeningAndHangingUpTakeNoDescriptors) {
    open_session();
    const DescriptorLimit limit(256);
    for (int cycle = 0; cycle < 600; ++cycle) {
        service.hang_up();
        ASSERT_TRUE(eventually([] { return library_thread_count() == 2; })) << cycle;
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK) << cycle;
        if (cycle % 50 == 0)
            take_log();
    }
    take_log();
    EXPECT_LT(open_files().size(), 30U);
}

TEST_F(Disconnect, AProcessWithoutADescriptorIsToldSoInTheLog) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's check of an object's type takes descriptors of its own";
#endif
    init();
    const auto before = open_files();
    std::vector<int> taken;
    {
        const DescriptorLimit limit(64);
        for (int descriptor = 0; (descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC)) != -1;)
            taken.push_back(descriptor);
        ASSERT_EQ(errno, EMFILE);
        EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
        EXPECT_EQ(open("/dev/null", O_RDONLY | O_CLOEXEC), -1) << "one of the process's own was closed";
    }
    for (const int descriptor : taken)
        EXPECT_EQ(close(descriptor), 0);
    expect_log({failure("ConnectServer", "socket failed: Too many open files")});
    EXPECT_EQ(open_files(), before);
    open_session();
}

} // namespace
} // namespace integration
