// The control channel: every command, over the real socket and through the program.
#include "sim/control.h"

#include <filesystem>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/sim/event_support.h"
#include "tests/sim/process.h"

namespace sim::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Json = nlohmann::json;

const std::string program = SIM_PROGRAM;

class ControlTest : public ServiceTest {
protected:
    Json ask(std::string_view line) { return Json::parse(client.ask(line).value_or("null")); }
    std::string text(std::string_view line) {
        const Json answer = ask(line);
        EXPECT_EQ(answer["ok"], true) << line << ": " << answer;
        return answer.value("text", "none");
    }
    std::string error(std::string_view line) {
        const Json answer = ask(line);
        EXPECT_EQ(answer["ok"], false) << line << ": " << answer;
        return answer.value("error", "none");
    }
    void register_client(EventClient& watcher) {
        watcher.open_session();
        watcher.register_for({watcher.ifstate_subscription("ifs", "Cellular"), watcher.route_subscription("rt"),
                              watcher.log_subscription("log")},
                             "ifs or rt or log");
    }

    std::string control_path = directory / "control.socket";
    Control control{service, control_path};
    ControlClient client{control_path};
};

TEST_F(ControlTest, ListsTheClients) {
    EXPECT_EQ(ask("clients"), Json::parse(R"({"ok":true,"text":"no clients","clients":[]})"));
    EventClient watcher(path);
    register_client(watcher);
    watcher.accept(watcher.route_subscription("more"));
    WireClient silent(path);
    EXPECT_TRUE(service.wait_for_clients(2));
    const Json answer = ask("clients");
    EXPECT_EQ(answer["clients"], Json::parse(R"([
        {"client":1,"session":1,"program":"test","registrations":[
            {"name":"sdkclient000100012345","finished":true,"waiting_bytes":0,"subscriptions":[
                {"tag":"ifs","kind":"ifstate","delivered":true},
                {"tag":"rt","kind":"route","delivered":true},
                {"tag":"log","kind":"log","delivered":true},
                {"tag":"more","kind":"route","delivered":false}]}]},
        {"client":2,"registrations":[]}])"));
    EXPECT_EQ(answer["text"], "client 1, session 1, program \"test\"\n"
                              "  sdkclient000100012345: ifstate:ifs, route:rt, log:log, route:more (not delivered)\n"
                              "client 2");
}

TEST_F(ControlTest, RaisesAnEventWhateverTheCriteria) {
    EventClient watcher(path);
    register_client(watcher);
    EXPECT_EQ(text("event ifstate the  fan is off "), "raised");
    EXPECT_EQ(text("event route gone"), "raised");
    EXPECT_EQ(text("event log"), "raised");
    EXPECT_EQ(watcher.event_text(), "ifs: the  fan is off");
    EXPECT_EQ(watcher.event_text(), "rt: gone");
    EXPECT_EQ(watcher.event_text(), "log: ");
    EXPECT_EQ(error("event weather rain"), "\"weather\" is no kind of event; there are ifstate, route, log, nqa, trap");
}

TEST_F(ControlTest, SendsARawEvent) {
    EventClient first(path);
    EventClient second(path);
    first.open_session();
    second.open_session();
    EXPECT_EQ(ask("raw 2 nobody some-tag"), Json::parse(R"({"ok":true,"text":"sent to 1","sent":1})"));
    EXPECT_EQ(second.event(), (Pushed{"nobody", "some-tag", std::nullopt}));
    EXPECT_EQ(text("raw all n t hello  you"), "sent to 2");
    EXPECT_EQ(first.event(), (Pushed{"n", "t", "hello  you"}));
    EXPECT_EQ(second.event(), (Pushed{"n", "t", "hello  you"}));
    EXPECT_EQ(error("raw 3 n t"), "there is no such client with a session");
    EXPECT_EQ(error("raw first n t"), "the client is \"first\" instead of a number from 1 to 2147483647");
    EXPECT_EQ(error("raw 1 n"), "the tag is missing");
    EXPECT_EQ(error(fmt::format("raw 1 n {}", std::string(201, 't'))), "name and tag have at most 200 characters");
}

TEST_F(ControlTest, SendsABurst) {
    EventClient watcher(path);
    register_client(watcher);
    EXPECT_EQ(ask("burst 100 30"), Json::parse(R"({"ok":true,"text":"client 1: 100 events in 1 sends, all sent",
        "clients":[{"client":1,"events":100,"sends":1,"end":"all sent"}]})"));
    for (int i = 1; i <= 100; ++i)
        EXPECT_EQ(watcher.event_text(), fmt::format("ifs: {:.<30}", fmt::format("event {}", i)));
}

TEST_F(ControlTest, Floods) {
    EXPECT_EQ(error("flood 10"), "nobody has registered for events");
    EventClient watcher(path);
    register_client(watcher);
    EXPECT_EQ(text("flood 10"), "client 1: 10 events in 10 sends, all sent");
    EXPECT_EQ(text("flood 10 0 4"), "client 1: 10 events in 3 sends, all sent");
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(watcher.event_text(), fmt::format("ifs: event {}", i % 10 + 1));
}

TEST_F(ControlTest, FloodsForATime) {
    EventClient watcher(path);
    register_client(watcher);
    std::string answer;
    std::thread asking([&] {
        answer = text("flood 1s 2000 8");
        service.events().push(1, watcher.client_name(), "end", std::nullopt);
    });
    std::size_t events = 0; // there may be too many to keep
    while (watcher.event().tag != "end" && !HasFailure())
        ++events;
    asking.join();
    EXPECT_THAT(answer, StartsWith(fmt::format("client 1: {} events in ", events)));
}

TEST_F(ControlTest, EndsAFloodWithItsConnection) {
    EventClient watcher(path);
    register_client(watcher);
    {
        const Fd flooding = connect_to(control_path, SOCK_STREAM);
        const std::string_view line = "flood 3600s\n";
        ASSERT_EQ(::send(flooding.get(), line.data(), line.size(), 0), static_cast<ssize_t>(line.size()));
        EXPECT_EQ(watcher.event_text(), "ifs: event 1");
    }
    // Over once nothing comes between one mark and the next, several times in a row.
    for (int quiet = 0; quiet < 5 && !HasFailure();) {
        service.events().push(1, watcher.client_name(), "mark", std::nullopt);
        quiet = watcher.events_until("mark").empty() ? quiet + 1 : 0;
    }
    std::string answer;
    std::thread asking([&] {
        answer = text("flood 1");
        service.events().push(1, watcher.client_name(), "end", std::nullopt);
    });
    while (watcher.event().tag != "end" && !HasFailure()) {
    }
    asking.join();
    EXPECT_EQ(answer, "client 1: 1 events in 1 sends, all sent");
}

TEST_F(ControlTest, EndsAFloodThatStillRunsWhenItEndsItself) {
    EventClient watcher(path);
    register_client(watcher);
    const std::string other_path = directory / "other.socket";
    Fd flooding;
    {
        Control other(service, other_path);
        flooding = connect_to(other_path, SOCK_STREAM);
        const std::string_view line = "flood 3600s\n";
        ASSERT_EQ(::send(flooding.get(), line.data(), line.size(), 0), static_cast<ssize_t>(line.size()));
        EXPECT_EQ(watcher.event_text(), "ifs: event 1");
    }
    EXPECT_FALSE(std::filesystem::exists(other_path));
}

TEST_F(ControlTest, AnswersOthersWhileAFloodWaitsForASlowReader) {
    EventClient watcher(path);
    register_client(watcher);
    const Fd flooding = connect_to(control_path, SOCK_STREAM);
    const std::string_view line = "flood 3600s 7000\n";
    ASSERT_EQ(::send(flooding.get(), line.data(), line.size(), 0), static_cast<ssize_t>(line.size()));
    EXPECT_THAT(watcher.event_text(), StartsWith("ifs: event 1."));
    EXPECT_THAT(text("clients"), StartsWith("client 1"));
    EXPECT_EQ(text("cli display this"), "#\nreturn\n");
}

TEST_F(ControlTest, HangsUpOnOneOrOnAll) {
    EventClient first(path);
    EventClient second(path);
    EventClient third(path);
    for (EventClient* each : {&first, &second, &third})
        each->open_session();
    EXPECT_EQ(text("hang-up 2"), "hung up on client 2");
    EXPECT_EQ(second.receive(), "");
    EXPECT_TRUE(service.wait_for_clients(2));
    EXPECT_EQ(error("hang-up 2"), "there is no client 2");
    EXPECT_EQ(text("hang-up"), "hung up on 2");
    EXPECT_EQ(first.receive(), "");
    EXPECT_EQ(third.receive(), "");
}

TEST_F(ControlTest, WritesLogLines) {
    service.router().with(
        [](RouterState& router) { router.clock = std::chrono::sys_days(std::chrono::year(2016) / 9 / 8); });
    EventClient watcher(path);
    register_client(watcher);
    const char* const lines[][2] = {
        {"log the fan is  off", "CONSOLE/6/OPERATOR: the fan is  off"},
        {"log FAN/2/FAN_OFF: it: is off", "FAN/2/FAN_OFF: it: is off"},
        {"log FAN/8/FAN_OFF: off", "CONSOLE/6/OPERATOR: FAN/8/FAN_OFF: off"},
        {"log FAN/2/ x: off", "CONSOLE/6/OPERATOR: FAN/2/ x: off"},
        {"log a: b/c/d", "CONSOLE/6/OPERATOR: a: b/c/d"},
        {"log /2/A: off", "CONSOLE/6/OPERATOR: /2/A: off"},
        {"log 10/2", "CONSOLE/6/OPERATOR: 10/2"},
    };
    for (const auto& [line, written] : lines) {
        EXPECT_EQ(text(line), "written");
        EXPECT_EQ(watcher.event_text(), fmt::format("log: 2016-09-08 00:00:00 Tarkon {}", written));
    }
    EXPECT_EQ(error("log"), "the text is missing");
}

TEST_F(ControlTest, PlugsACableInAndPullsIt) {
    EventClient watcher(path);
    register_client(watcher);
    EXPECT_EQ(text("link cellular0/0/0 up"), "the link of Cellular0/0/0 is up");
    EXPECT_EQ(watcher.event_text(), "ifs: interface Cellular0/0/0 up");
    EXPECT_THAT(watcher.event_text(), HasSubstr("IF_UP"));
    EXPECT_EQ(text("link Cellular0/0/0 up"), "the link of Cellular0/0/0 is up");
    EXPECT_EQ(text("link Cellular0/0/0 down"), "the link of Cellular0/0/0 is down");
    EXPECT_EQ(watcher.event_text(), "ifs: interface Cellular0/0/0 down (no link)");
    EXPECT_EQ(error("link Cellular0/0/9 up"), "the router has no interface Cellular0/0/9");
    EXPECT_EQ(error("link Cellular0/0/0 off"), "a link is up or down, not \"off\"");
    EXPECT_EQ(error("link Cellular0/0/0"), "up or down is missing");
}

TEST_F(ControlTest, TypesAtTheConsoleWhichStaysInItsView) {
    EventClient watcher(path);
    register_client(watcher);
    EXPECT_EQ(ask("cli system-view"), Json::parse(R"({"ok":true,"text":"","view":"system"})"));
    ControlClient another(control_path);
    EXPECT_EQ(Json::parse(another.ask("cli interface  Cellular 0/0/0").value())["view"], "cellular interface");
    EXPECT_EQ(text("cli shutdown"), "");
    EXPECT_EQ(watcher.event_text(), "ifs: interface Cellular0/0/0 down (shut down)");
    EXPECT_EQ(error("cli frobnicate"), "Error: unknown word \"frobnicate\" in the cellular interface view.");
    text("cli return");
    EXPECT_THAT(text("cli save"), AllOf(HasSubstr("[y/n]: y\n"), HasSubstr("The configuration was saved.\n")));
    EXPECT_THAT(text("cli display saved-configuration"), HasSubstr("interface Cellular0/0/0\n shutdown\n"));
    EXPECT_EQ(text("cli"), "");
}

TEST_F(ControlTest, RefusesWhatIsNoCommand) {
    EXPECT_EQ(error(""), "the command is missing");
    EXPECT_EQ(error("  "), "the command is missing");
    EXPECT_EQ(error("dance now"), "there is no command \"dance\"; help lists them");
    EXPECT_EQ(error("burst"), "the number of events is missing");
    EXPECT_EQ(error("burst 0"), "the number of events is \"0\" instead of a number from 1 to 100000000");
    EXPECT_EQ(error("burst 1 2 3"), "nothing goes behind that, but there is \"3\"");
    EXPECT_EQ(error("burst 1 9000"), "the size is \"9000\" instead of a number from 0 to 7000");
    EXPECT_EQ(error("flood"), "the number of events, or of seconds with an s behind, is missing");
    EXPECT_EQ(error("flood s"), "the number of seconds is \"\" instead of a number from 1 to 3600");
    EXPECT_EQ(error("flood 1x"), "the number of events is \"1x\" instead of a number from 1 to 100000000");
    EXPECT_EQ(error("flood 1 1 0"), "the events per send is \"0\" instead of a number from 1 to 1000");
    EXPECT_EQ(error("hang-up 1 2"), "nothing goes behind that, but there is \"2\"");
    EXPECT_THAT(text("help"), AllOf(HasSubstr("flood N|SECONDSs [SIZE [PER-SEND]]"), HasSubstr("cli COMMAND")));
}

TEST_F(ControlTest, AnswersLinesThatArriveTogetherOrInPieces) {
    const Fd socket = connect_to(control_path, SOCK_STREAM);
    for (const std::string_view piece : {"cli\r\nclients\nli", "nk x up\n"})
        ASSERT_EQ(::send(socket.get(), piece.data(), piece.size(), 0), static_cast<ssize_t>(piece.size()));
    shutdown(socket.get(), SHUT_WR); // and it still wants its answers
    std::string all;
    char buffer[1000];
    for (ssize_t size = recv(socket.get(), buffer, sizeof buffer, 0); size > 0;
         size = recv(socket.get(), buffer, sizeof buffer, 0))
        all.append(buffer, static_cast<std::size_t>(size));
    EXPECT_EQ(all, "{\"ok\":true,\"text\":\"\",\"view\":\"user\"}\n"
                   "{\"ok\":true,\"text\":\"no clients\",\"clients\":[]}\n"
                   "{\"ok\":false,\"error\":\"the router has no interface x\"}\n");
}

TEST_F(ControlTest, EndsAConnectionWhoseLineHasNoEnd) {
    EXPECT_EQ(client.ask(std::string(Control::longest_line + 1, 'x')).value_or("ended").substr(0, 11), "{\"ok\":false");
    const Fd socket = connect_to(control_path, SOCK_STREAM);
    const std::string endless(Control::longest_line + 1, 'x');
    ASSERT_EQ(::send(socket.get(), endless.data(), endless.size(), 0), static_cast<ssize_t>(endless.size()));
    char buffer[1000];
    const ssize_t size = recv(socket.get(), buffer, sizeof buffer, 0);
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0))),
              "{\"ok\":false,\"error\":\"the line is too long\"}\n");
    EXPECT_LE(recv(socket.get(), buffer, sizeof buffer, 0), 0);
}

TEST_F(ControlTest, TurnsAwayMoreConnectionsThanItHasRoomFor) {
    {
        std::vector<std::unique_ptr<ControlClient>> many; // with the fixture's own
        for (std::size_t i = 1; i < Control::most_connections; ++i) {
            many.push_back(std::make_unique<ControlClient>(control_path));
            EXPECT_TRUE(many.back()->ask("clients"));
        }
        EXPECT_TRUE(client.ask("clients"));
        const Fd one_more = connect_to(control_path, SOCK_STREAM);
        char buffer[1000];
        const ssize_t size = recv(one_more.get(), buffer, sizeof buffer, 0);
        EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0))),
                  "{\"ok\":false,\"error\":\"there are too many connections\"}\n");
    }
    EXPECT_TRUE(client.ask("clients"));
}

TEST_F(ControlTest, WritesTextsThatAreNoUtf8) {
    WireClient odd(path);
    odd.ask(odd.open_message("\xff\xfe"));
    EXPECT_THAT(text("clients"), HasSubstr("program"));
}

TEST(Control, NeedsARouter) {
    TempDir directory;
    try {
        ControlClient client(directory / "none");
        FAIL() << "it connected";
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(directory / "none: no router's control channel is there"));
    }
}

// The program.

class ControlProgram : public ::testing::Test {
protected:
    Finished ask(std::vector<std::string> words) {
        std::vector<std::string> command{program, "control", "--socket", directory / "control.socket"};
        command.insert(command.end(), words.begin(), words.end());
        return run_program(command);
    }

    TempDir directory;
    Process router{{program, "serve", "--socket", directory / "s", "--control"}};
    std::string listening = router.read_error_line();
    std::string controlled = router.read_error_line();
};

TEST_F(ControlProgram, TellsARouterWhatToDo) {
    EXPECT_EQ(controlled, fmt::format("qel-sim: controlled at {}\n", directory / "control.socket"));
    EventClient watcher(directory / "s");
    watcher.open_session();
    watcher.register_for({watcher.ifstate_subscription("ifs")}, "ifs");
    EXPECT_EQ(ask({"cli", "system-view"}).code(), 0);
    EXPECT_EQ(ask({"cli", "interface", "g0/0/0"}).code(), 0);
    EXPECT_EQ(ask({"cli shutdown"}).code(), 0);
    EXPECT_EQ(watcher.event_text(), "ifs: interface GigabitEthernet0/0/0 down (shut down)");
    const Finished shown = ask({"cli", "display", "this"});
    EXPECT_EQ(shown.out,
              "#\ninterface GigabitEthernet0/0/0\n ip address 192.168.1.1 255.255.255.0\n shutdown\n#\nreturn\n");
    EXPECT_EQ(ask({"event", "ifstate", "--socket", "-x"}).code(), 0);
    EXPECT_EQ(watcher.event_text(), "ifs: --socket -x") << "a command's words stay its own";
    router.kill(SIGTERM);
    EXPECT_EQ(router.finish().code(), 0);
    EXPECT_FALSE(std::filesystem::exists(directory / "control.socket"));
}

TEST_F(ControlProgram, SaysWhatWasRefused) {
    const Finished refused = ask({"link", "g0/0/7", "up"});
    EXPECT_EQ(refused.code(), 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err, "qel-sim: the router has no interface GigabitEthernet0/0/7\n");
}

TEST_F(ControlProgram, PrintsAnswersAsJson) {
    const Finished shown = ask({"--json", "clients"});
    EXPECT_EQ(shown.out, "{\"ok\":true,\"text\":\"no clients\",\"clients\":[]}\n");
    const Finished refused = ask({"--json", "dance"});
    EXPECT_EQ(refused.code(), 1);
    EXPECT_THAT(refused.out, StartsWith("{\"ok\":false,"));
}

TEST_F(ControlProgram, ReadsCommandsFromItsInput) {
    const Finished finished = run_program({"sh", "-c", "printf 'clients\\ncli display this\\ndance\\n' | \"$@\"", "sh",
                                           program, "control", "--socket", directory / "control.socket"});
    EXPECT_EQ(finished.out, "no clients\n#\nreturn\n");
    EXPECT_EQ(finished.err, "qel-sim: there is no command \"dance\"; help lists them\n");
    EXPECT_EQ(finished.code(), 1);
}

TEST(ControlOfARun, IsFoundByTheCommand) {
    const Finished finished = run_program(
        {program, "run", "--control", "--sysname", "Mine", "--", "sh", "-c",
         "echo $QEL_SIM_CONTROL; \"$1\" control cli system-view; \"$1\" control cli display this", "sh", program});
    EXPECT_EQ(finished.out, "/mnt/sock/control.socket\n#\n sysname Mine\n#\nreturn\n") << finished.err;
    EXPECT_EQ(finished.code(), 0);
}

TEST(ControlOfARun, MayLieElsewhere) {
    TempDir directory;
    const std::string at = directory / "c";
    Process run({program, "run", "--control=" + at, "--", "sh", "-c", "echo ready; read go; exit 0"});
    EXPECT_EQ(run.read_line(), "ready\n");
    EXPECT_EQ(run_program({program, "control", "--socket", at, "clients"}).out, "no clients\n");
    EXPECT_EQ(run.finish().code(), 0);
}

TEST(ControlOfARun, IsNotThatOfAnotherOne) {
    const Finished finished = run_program(
        {"env", "QEL_SIM_CONTROL=/another", program, "run", "--", "sh", "-c", "echo \"<$QEL_SIM_CONTROL>\""});
    EXPECT_EQ(finished.out, "<>\n");
}

TEST(ControlWithoutARouter, SaysWhereItLooked) {
    const Finished finished = run_program({"env", "QEL_SIM_CONTROL=/none/c", program, "control", "clients"});
    EXPECT_EQ(finished.code(), 125);
    EXPECT_EQ(finished.err, "qel-sim: /none/c: no router's control channel is there: No such file or directory\n");
}

} // namespace
} // namespace sim::test
