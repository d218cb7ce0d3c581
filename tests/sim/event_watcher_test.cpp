// The watching example, in C and C++ alike: what it prints, and how it ends.
#include <gmock/gmock.h>

#include "sim/control.h"
#include "tests/sim/process.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class Watcher : public ::testing::TestWithParam<const char*> {
protected:
    std::vector<std::string> command(const std::vector<std::string>& arguments) const {
        std::vector<std::string> words{SIM_PROGRAM, "run", "--control=" + control, "--",
                                       std::string(SIM_EXAMPLES) + "/watch_events_" + GetParam()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }
    void ask(std::initializer_list<const char*> lines) const {
        ControlClient client(control);
        for (const char* line : lines)
            EXPECT_THAT(client.ask(line).value_or("no answer"), HasSubstr("\"ok\":true")) << line;
    }

    TempDir directory;
    std::string control = directory / "control.socket";
};

INSTANTIATE_TEST_SUITE_P(In, Watcher, ::testing::Values("c", "cpp"));

TEST_P(Watcher, ShowsWhatHappensUntilASignalEndsIt) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Process watcher(command({}));
        EXPECT_EQ(watcher.read_line(), "Watching. Ctrl-C ends.\n");
        ask({"cli system-view", "cli interface g0/0/0", "cli shutdown", "cli quit",
             "cli ip route-static 10.0.0.0 8 192.168.1.254", "log FAN/2/FAN_OFF: it stands"});
        EXPECT_EQ(watcher.read_line(), "ifstate   interface GigabitEthernet0/0/0 down (shut down)\n");
        EXPECT_THAT(watcher.read_line(), MatchesRegex("log       .* Tarkon IFNET/4/IF_DOWN: interface .*\n"));
        EXPECT_EQ(watcher.read_line(), "route     route 10.0.0.0/8 added, static, via 192.168.1.254\n");
        EXPECT_THAT(watcher.read_line(), MatchesRegex("log       .* Tarkon ROUTE/6/ROUTE_ADDED: route .*\n"));
        EXPECT_THAT(watcher.read_line(), EndsWith(" Tarkon FAN/2/FAN_OFF: it stands\n"));
        watcher.kill(signal);
        const Finished finished = watcher.finish();
        EXPECT_EQ(finished.out, "Ended.\n");
        EXPECT_EQ(finished.err, "");
        EXPECT_EQ(finished.code(), 0);
    }
}

TEST_P(Watcher, TellsOfTheInterfacesItIsAskedFor) {
    Process watcher(command({"Cellular"}));
    watcher.read_line();
    ask({"link g0/0/0 down", "link Cellular0/0/0 up", "event route last"});
    std::string all;
    for (std::string line = watcher.read_line(); !line.empty() && line != "route     last\n";
         line = watcher.read_line())
        if (line.starts_with("ifstate"))
            all += line;
    EXPECT_EQ(all, "ifstate   interface Cellular0/0/0 up\n");
    watcher.kill(SIGTERM);
    EXPECT_EQ(watcher.finish().code(), 0);
}

TEST_P(Watcher, FailsWhenTheRouterHangsUp) {
    Finished finished;
    do { // a keepalive that meets the hang-up itself is unanswered; one that comes later has no session
        Process watcher(command({"", "1"}));
        watcher.read_line();
        ask({"hang-up"});
        finished = watcher.finish();
        ASSERT_EQ(finished.code(), 1);
    } while (finished.err == "watch_events: vela_session_keepalive failed with 1\n");
    EXPECT_EQ(finished.err, "watch_events: vela_session_keepalive failed with 14\n");
}

TEST_P(Watcher, RefusesWrongUsage) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"", "0"}, {"", "1", "x"}, {std::string(64, 'x')}}) {
        const Finished finished = run_program(command(arguments));
        EXPECT_EQ(finished.code(), 2);
        EXPECT_THAT(finished.err, HasSubstr("[INTERFACE [SECONDS]]\n"));
    }
}

} // namespace
} // namespace sim::test
