// Watching events: what is printed, what is asked for, and how it ends.
#include <csignal>
#include <thread>

#include "sim/control.h"
#include "tests/tools/support.h"

namespace qel::test {
namespace {

using nlohmann::json;
using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class Events : public ::testing::Test {
protected:
    // Registered when it returns.
    std::unique_ptr<Process> watch(const Words& arguments) const {
        Words words{"--verbose", "events"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        auto process = std::make_unique<Process>(qel_on_router(words, {"--control=" + control, "--log", wire}));
        std::string line = process->read_error_line();
        while (!line.empty() && line != "qel: vela_event_reg: VELA_OK (0): done\n")
            line = process->read_error_line();
        EXPECT_NE(line, "") << "never registered";
        return process;
    }
    // The router ends with the watcher, which may be before it has answered the line that the watcher ends on.
    void ask(const Words& lines) const {
        ::sim::ControlClient client(control);
        for (const std::string& line : lines) {
            const auto answer = client.ask(line);
            if (!answer)
                return;
            EXPECT_THAT(*answer, HasSubstr("\"ok\":true")) << line;
        }
    }
    // A watcher that is slow to print also keeps its session alive.
    static std::string without_keepalives(std::string_view told) {
        constexpr std::string_view keepalive = "qel: vela_session_keepalive: VELA_OK (0): done\n";
        while (told.starts_with(keepalive))
            told.remove_prefix(keepalive.size());
        return std::string(told);
    }
    // It has unsubscribed, and its session is closed.
    void expect_end(const Finished& finished) const {
        EXPECT_EQ(finished.code(), 0);
        EXPECT_EQ(without_keepalives(finished.err), "qel: vela_event_free: VELA_OK (0): done\n"
                                                    "qel: vela_session_close: VELA_OK (0): done\n"
                                                    "qel: vela_release: VELA_OK (0): done\n");
    }

    TempDir directory;
    std::string control = directory / "control.socket";
    std::string wire = directory / "wire";
};

TEST_F(Events, ArePrintedUntilASignalEndsIt) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto watcher = watch({});
        ask({"cli system-view", "cli interface g0/0/0", "cli shutdown", "cli quit",
             "cli ip route-static 10.0.0.0 8 192.168.1.254", "log FAN/2/FAN_OFF: it stands"});
        EXPECT_EQ(watcher->read_line(), "interface interface GigabitEthernet0/0/0 down (shut down)\n");
        EXPECT_THAT(watcher->read_line(), MatchesRegex("log       .* Tarkon IFNET/4/IF_DOWN: interface .*\n"));
        EXPECT_EQ(watcher->read_line(), "route     route 10.0.0.0/8 added, static, via 192.168.1.254\n");
        EXPECT_THAT(watcher->read_line(), MatchesRegex("log       .* Tarkon ROUTE/6/ROUTE_ADDED: route .*\n"));
        EXPECT_THAT(watcher->read_line(), EndsWith(" Tarkon FAN/2/FAN_OFF: it stands\n"));
        watcher->kill(signal);
        expect_end(watcher->finish());
    }
}

TEST_F(Events, EndAfterTheirCount) {
    const auto watcher = watch({"--count", "2", "--interface", "Cellular", "--json"});
    ask({"link Cellular0/0/0 up", "link g0/0/0 down", "link Cellular0/0/0 down", "link Cellular0/0/0 up"});
    const Finished finished = watcher->finish();
    expect_end(finished);
    EXPECT_EQ(documents(finished.out),
              (std::vector<json>{{{"kind", "interface"}, {"content", "interface Cellular0/0/0 up"}},
                                 {{"kind", "interface"}, {"content", "interface Cellular0/0/0 down (no link)"}}}));
}

TEST_F(Events, EndAfterTheirTime) {
    const Finished finished = watch({"--seconds", "0.2"})->finish();
    expect_end(finished);
    EXPECT_EQ(finished.out, "");
}

TEST_F(Events, AreAllPrintedWhenManyCome) {
    constexpr int many = 20'000; // twice the queue
    const auto watcher = watch({"--count", std::to_string(many), "--log", "x"});
    // It may be cut short once all have been read: the router ends with the watcher.
    std::thread flood([this] { ::sim::ControlClient(control).ask("flood " + std::to_string(many)); });
    std::string expected;
    for (int i = 1; i <= many; ++i)
        expected += "log       event " + std::to_string(i) + "\n";
    const Finished finished = watcher->finish();
    flood.join();
    expect_end(finished);
    EXPECT_TRUE(finished.out == expected) << finished.out.size() << " bytes instead of " << expected.size();
}

// More than the pipe and the queue hold, so that the service waits for it.
TEST_F(Events, EndWithASignalWhileNobodyReadsThem) {
    const auto watcher = watch({"--log", "x"});
    std::thread flood([this] { ::sim::ControlClient(control).ask("flood 11000 500"); }); // ends early, with the watcher
    EXPECT_THAT(watcher->read_line(), StartsWith("log       event 1."));
    watcher->kill(SIGTERM);
    const Finished finished = watcher->finish();
    EXPECT_EQ(finished.code(), 0);
    // How many it printed until then is its own affair; none is left out.
    EXPECT_THAT(finished.out, AnyOf(IsEmpty(), StartsWith("log       event 2.")));
    flood.join();
}

TEST_F(Events, AreThoseAskedFor) {
    const auto watcher = watch({"--module", "FAN", "--alias", "OFF", "--level", "2", "--log", "stands", "--route",
                                "10.0.0.0/8", "--next-hop", "192.168.1", "--count", "2"});
    ask({"link Cellular0/0/0 up", "log FAN/3/FAN_OFF: it stands", "log FAN/2/FAN_ON: it stands",
         "log PSU/2/PSU_OFF: it stands", "log FAN/2/FAN_OFF: it runs", "cli system-view",
         "cli ip route-static 11.0.0.0 8 192.168.1.254", "cli ip route-static 10.1.0.0 16 192.168.1.254",
         "log FAN/2/FAN_OFF: it stands"});
    const Finished finished = watcher->finish();
    expect_end(finished);
    EXPECT_THAT(finished.out, MatchesRegex("route     route 10.1.0.0/16 added, static, via 192.168.1.254\n"
                                           "log       .* Tarkon FAN/2/FAN_OFF: it stands\n"));
}

TEST_F(Events, StayOnTheirLineAndMayHaveNoContent) {
    {
        const auto watcher = watch({"--route", "", "--count", "1"});
        ask({"event route \\x"});
        EXPECT_EQ(watcher->finish().out, "route     \\\\x\n");
    }
    const auto watcher = watch({"--route", "", "--count", "1", "--json"});
    ::sim::ControlClient client(control);
    const json clients = json::parse(client.ask("clients").value());
    const std::string name = clients.at("clients").at(0).at("registrations").at(0).at("name");
    ask({"raw all " + name + " route"});
    EXPECT_EQ(documents(watcher->finish().out), (std::vector<json>{{{"kind", "route"}, {"content", nullptr}}}));
}

TEST_F(Events, EndWithStatus3WhenTheRouterHangsUp) {
    Finished finished;
    do { // a keepalive that meets the hang-up itself is unanswered; one that comes later has no session
        const auto watcher = watch({"--keepalive", "0.3"});
        ask({"hang-up"});
        finished = watcher->finish();
    } while (finished.err.find("qel: vela_session_keepalive: VELA_ERROR (1)") != std::string::npos);
    EXPECT_EQ(finished.code(), 3);
    EXPECT_THAT(finished.err, EndsWith("qel: vela_session_keepalive: VELA_ERROR_NO_SESSION (14): the service has ended "
                                       "the session; the router may have restarted; run the command again\n"));
}

TEST_F(Events, EndQuietlyWithTheirReader) {
    const Finished finished = script("coproc qel --verbose events --json 2>" + (directory / "told") +
                                         "\n"
                                         "until grep -q vela_event_reg " +
                                         (directory / "told") +
                                         "; do :; done\n"
                                         "qel-sim control event log one\n"
                                         "head -n 1 <&\"${COPROC[0]}\"\n"
                                         "pid=$COPROC_PID\n"
                                         "exec {COPROC[0]}<&-\n"
                                         "wait \"$pid\"; echo $?\n",
                                     {"--control"});
    EXPECT_THAT(finished.out, EndsWith("{\"kind\":\"log\",\"content\":\"one\"}\n0\n"));
    EXPECT_THAT(contents(directory / "told"), EndsWith("qel: vela_event_free: VELA_OK (0): done\n"
                                                       "qel: vela_session_close: VELA_OK (0): done\n"
                                                       "qel: vela_release: VELA_OK (0): done\n"));
}

TEST_F(Events, TellThatTheyWereRefused) {
    const Finished finished = qel({"events"}, {"--fault", "event.log:error=24,text=full"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_event_add log: VELA_ERROR (1): "));
}

} // namespace
} // namespace qel::test
