// qel-sim as a person uses it: private routers for commands, exit statuses, logs, and what it says to wrong usage.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "sim/private_host.h"
#include "tests/sim/process.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string program = SIM_PROGRAM;
const std::string tool = SIM_CLIENT_TOOL;

using Words = std::vector<std::string>;

Words operator+(Words left, const Words& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::string contents(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

const Words other_user{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};

// A directory where every user may read and write, with both programs: the build may lie where only its owner can look.
// What is made there is for everyone too, whatever umask the tests were started with.
class OpenDir : public TempDir {
public:
    OpenDir() : umask_(umask(022)) {
        std::filesystem::permissions(path(), std::filesystem::perms::all);
        for (const std::string& each : {program, tool}) {
            const std::string copy = *this / std::filesystem::path(each).filename();
            std::filesystem::copy(each, copy);
            std::filesystem::permissions(copy, std::filesystem::perms(0755));
        }
    }
    ~OpenDir() { umask(umask_); }
    OpenDir(const OpenDir&) = delete;
    OpenDir& operator=(const OpenDir&) = delete;

    std::string sim() const { return *this / "qel-sim"; }
    std::string client() const { return *this / "sim_client_tool"; }

private:
    mode_t umask_;
};

// As root the command line as it is, and once more as an ordinary user, who works in that directory.
class Run : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam() && geteuid() != 0)
            GTEST_SKIP() << "only root can become an ordinary user; this is one already";
    }

    Words user() const { return GetParam() ? other_user : Words{}; }
    Words sim(const Words& words) const {
        return Words{"env", "--chdir", directory.path()} + user() + Words{directory.sim()} + words;
    }
    Finished run(const Words& options, const Words& command) const {
        return run_program(sim(Words{"run"} + options + Words{"--"} + command));
    }
    std::string client() const { return directory.client(); }

    OpenDir directory;
};

INSTANTIATE_TEST_SUITE_P(As, Run, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "OrdinaryUser" : "WhoRunsTheTests"; });

TEST_P(Run, GivesTheCommandsExitStatus) {
    EXPECT_EQ(run({}, {"true"}).code(), 0);
    EXPECT_EQ(run({}, {"sh", "-c", "exit 7"}).code(), 7);
    EXPECT_EQ(run({}, {"sh", "-c", "kill -KILL $$"}).code(), 128 + SIGKILL);
    const Finished missing = run({}, {"no-such-command"});
    EXPECT_EQ(missing.code(), 127);
    EXPECT_EQ(missing.err, "qel-sim: no-such-command: No such file or directory\n");
    EXPECT_EQ(run({}, {"/etc/passwd"}).code(), 126);
}

TEST_P(Run, LeavesTheCommandsArgumentsAlone) {
    EXPECT_EQ(run({}, {"printf", "%s.", "--log", "[a,b]", "--", "", "x y"}).out, "--log.[a,b].--..x y.");
}

TEST_P(Run, LetsTheCommandTalkToARouterOfItsOwn) {
    const Finished finished = run({"--sysname", "Mine"}, {client(), "system-view", "display this"});
    EXPECT_EQ(finished.code(), 0) << finished.err;
    EXPECT_EQ(finished.out, "#\n sysname Mine\n#\nreturn\n");
}

TEST_P(Run, StartsWithAConfigurationAsARouterShowsIt) {
    const Finished shown =
        run({}, {client(), "system-view", "sysname Shown", "vlan 7", "display current-configuration"});
    ASSERT_EQ(shown.code(), 0) << shown.err;
    const std::string path = directory / "router.cfg";
    std::ofstream(path) << shown.out;
    const Finished loaded = run({"--configuration", path}, {client(), "display current-configuration"});
    EXPECT_EQ(loaded.code(), 0) << loaded.err;
    EXPECT_EQ(loaded.out, shown.out);
    EXPECT_THAT(loaded.out, AllOf(HasSubstr(" sysname Shown\n"), HasSubstr("#\nvlan 7\n")));
    EXPECT_THAT(run({"--configuration", path, "--sysname", "Told"}, {client(), "display current-configuration"}).out,
                HasSubstr(" sysname Told\n"));

    std::ofstream(path) << "vlan 4095\n";
    const Finished wrong = run({"--configuration", path}, {"true"});
    EXPECT_EQ(wrong.code(), 2);
    EXPECT_EQ(
        wrong.err,
        fmt::format("qel-sim: {}: line 1: \"vlan 4095\": Error: \"4095\" is not a valid INTEGER<1-4094>.\n", path));
}

TEST_P(Run, LogsEveryMessageAndEveryRecordBeforeItReturns) {
    const Finished finished = run({"--log", "--syslog"}, {client(), "display verzion", "unreached"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err,
                ContainsRegex("wire [0-9:.]+ #1 -> session 1 id=0 session=0 session.open  1:1 5:\"tool\"\n"));
    EXPECT_THAT(finished.err,
                ContainsRegex("wire [0-9:.]+ #1 <- op 12 id=0 session=1 cli.execute  0:18 1:20 2:\"Error"));
    EXPECT_THAT(finished.err, ContainsRegex("wire [0-9:.]+ #1 -- gone\n$"));
    EXPECT_THAT(finished.err, Not(HasSubstr("\033")));

    const Finished logging = run({"--syslog"}, {client(), "log:first", "log:second"});
    EXPECT_EQ(logging.code(), 0);
    EXPECT_THAT(logging.err,
                ContainsRegex("^log  Vela-Quor\\[[0-9]+\\] 3 'first'\nlog  Vela-Quor\\[[0-9]+\\] 3 'second'\n$"));
}

TEST_P(Run, LogsToFilesAsLinesAndAsJson) {
    const std::string lines = directory / "lines";
    const std::string json = directory / "json";
    const std::string records = directory / "records";
    EXPECT_EQ(run({"--log", lines, "--log-json", json, "--syslog", records}, {client(), "log:x", "quit"}).code(), 1);
    EXPECT_THAT(contents(lines), HasSubstr("cli.execute  5:\"sdkclient000100000001\" 0:17 6:1 7:\"quit\"\n"));
    EXPECT_THAT(contents(records), ContainsRegex("log  Vela-Quor.* 'x'\n"));

    std::istringstream written(contents(json));
    std::vector<nlohmann::json> messages;
    for (std::string line; std::getline(written, line);)
        messages.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(messages.size(), 8U); // connected, three requests and replies, gone
    EXPECT_EQ(messages[0]["note"], "connected");
    EXPECT_EQ(messages[1]["direction"], "request");
    EXPECT_EQ(messages[1]["operation"], "session.open");
    EXPECT_EQ(messages[5]["items"][3], (nlohmann::json{{"tag", 7}, {"text", "quit"}}));
    EXPECT_EQ(messages[6]["items"][1], (nlohmann::json{{"tag", 1}, {"int", 24}}));
}

TEST_P(Run, ColoursTheLogWhenItIsToldTo) {
    EXPECT_THAT(run({"--log", "--colour=always"}, {client()}).err, HasSubstr("\033[36mwire "));
    EXPECT_THAT(run({"--log", "--colour=never"}, {client()}).err, Not(HasSubstr("\033")));
}

TEST_P(Run, CarriesFaultsOut) {
    const Finished finished =
        run({"--fault", "cli.execute@2:error=99,text=not, today"}, {client(), "display clock", "display clock"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(finished.out.find("Time zone"), finished.out.rfind("Time zone")) << "one answer only";
}

TEST_P(Run, TakesTheRouterFromAScenario) {
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << R"({"sysname": "FromFile", "faults": ["cli.close:no_answer"]})";
    EXPECT_EQ(run({"--scenario", scenario}, {client(), "system-view", "display this"}).out,
              "#\n sysname FromFile\n#\nreturn\n");
}

TEST_P(Run, PassesSignalsOnToTheCommand) {
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1}) {
        const std::string script =
            fmt::format("sleep 100 & trap 'kill $!; echo caught; exit 40' {}; echo ready; wait", signal);
        Process process(sim({"run", "--", "sh", "-c", script}));
        EXPECT_EQ(process.read_line(), "ready\n");
        process.kill(signal);
        const Finished finished = process.finish();
        EXPECT_EQ(finished.out, "caught\n");
        EXPECT_EQ(finished.code(), 40);
    }
}

TEST_P(Run, KeepsRoutersThatRunSideBySideApart) {
    std::vector<std::unique_ptr<Process>> routers;
    constexpr int count = 5;
    for (int i = 0; i < count; ++i)
        routers.push_back(
            std::make_unique<Process>(sim({"run", "--sysname", fmt::format("R{}", i), "--syslog", "--", client(),
                                           fmt::format("log:{}", i), "linger", "system-view", "display this"})));
    for (const auto& router : routers)
        EXPECT_EQ(router->read_line(), "lingering\n");
    for (int i = 0; i < count; ++i) {
        const Finished finished = routers[static_cast<std::size_t>(i)]->finish();
        EXPECT_EQ(finished.out, fmt::format("#\n sysname R{}\n#\nreturn\n", i));
        EXPECT_THAT(finished.err, ContainsRegex(fmt::format("^log  Vela-Quor\\[[0-9]+\\] 3 '{}'\n$", i)));
    }
}

// Names, and what kind of thing each is.
std::set<std::string> listing(const std::string& path) {
    std::set<std::string> names;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(path, none)) {
        struct stat found {};
        lstat(entry.path().c_str(), &found);
        names.insert(fmt::format("{} {:o}", entry.path().filename().string(), found.st_mode & S_IFMT));
    }
    return names;
}

TEST_P(Run, TouchesNothingOutside) {
    const auto mnt = listing("/mnt");
    const auto dev = listing("/dev");
    const std::string mounts = contents("/proc/self/mountinfo");
    Process process(sim({"run", "--", client(), "linger"}));
    EXPECT_EQ(process.read_line(), "lingering\n");
    EXPECT_EQ(listing("/mnt"), mnt);
    EXPECT_EQ(listing("/dev"), dev);
    EXPECT_EQ(contents("/proc/self/mountinfo"), mounts);
    EXPECT_EQ(process.finish().code(), 0);
    EXPECT_EQ(listing("/mnt"), mnt);
    EXPECT_EQ(listing("/dev"), dev);
}

TEST_P(Run, ShowsTheRestOfMntAndDevInside) {
    std::set<std::string> mnt = listing("/mnt");
    std::set<std::string> dev = listing("/dev");
    std::erase_if(mnt, [](const std::string& name) { return name.starts_with("sock "); });
    std::erase_if(dev, [](const std::string& name) { return name.starts_with("log "); });
    const Finished inside =
        run({}, {"sh", "-c", "ls -A /mnt; echo --; ls -A /dev; echo x >/dev/null && test -c /dev/null"});
    EXPECT_EQ(inside.code(), 0);
    const std::size_t middle = inside.out.find("--\n");
    const auto names = [](const std::string& text) {
        std::set<std::string> all;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            all.insert(line);
        return all;
    };
    const auto without_kind = [](const std::set<std::string>& listed, const std::string& extra) {
        std::set<std::string> all{extra};
        for (const std::string& name : listed)
            all.insert(name.substr(0, name.rfind(' ')));
        return all;
    };
    EXPECT_EQ(names(inside.out.substr(0, middle)), without_kind(mnt, "sock"));
    EXPECT_EQ(names(inside.out.substr(middle + 3)), without_kind(dev, "log"));
}

TEST_P(Run, KeepsTheUserWhoHeIs) {
    const std::string user = GetParam() ? "65534" : fmt::format("{}", geteuid());
    EXPECT_EQ(run({}, {"id", "-u"}).out, user + "\n");
}

TEST_P(Run, CanBeRunInsideItself) {
    const Finished finished = run({"--sysname", "Outer"}, {directory.sim(), "run", "--sysname", "Inner", "--", client(),
                                                           "system-view", "display this"});
    EXPECT_EQ(finished.out, "#\n sysname Inner\n#\nreturn\n") << finished.err;
}

TEST_P(Run, StaysInADirectoryThatTheUserCouldNotEnter) {
    const std::string closed = directory / "closed";
    const std::string inside = closed + "/inside";
    const Words there{"sh", "-c", R"(cd "$1" && chmod 0 .. && shift && "$@"; status=$?; chmod 700 ..; exit $status)",
                      "sh", inside};
    std::filesystem::create_directories(inside);
    const Finished finished =
        run_program(there + user() + Words{directory.sim(), "run", "--", "readlink", "/proc/self/cwd"});
    EXPECT_EQ(finished.code(), 0) << finished.err;
    EXPECT_EQ(finished.out, std::filesystem::canonical(inside).string() + "\n");
}

TEST(RunWithoutNamespaces, UsesTheRealPathAsRoot) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to be root there";
    const OpenDir directory;
    // A host that has room for no further namespace; what is real there is private to the test.
    const Finished finished =
        run_program({"unshare", "-U", "-r", "-m", "sh", "-c",
                     "echo 0 >/proc/sys/user/max_user_namespaces && echo 0 >/proc/sys/user/max_mnt_namespaces && "
                     "mount -t tmpfs none /mnt && \"$@\" && ! test -e /mnt/sock/sdk.socket",
                     "sh", directory.sim(), "run", "--", directory.client(), "system-view", "display this"});
    EXPECT_EQ(finished.code(), 0) << finished.err;
    EXPECT_EQ(finished.out, "#\n sysname Tarkon\n#\nreturn\n");
    EXPECT_THAT(finished.err, AllOf(StartsWith("qel-sim: no private router is possible here: "),
                                    HasSubstr("; using the real /mnt/sock/sdk.socket\n")));
}

TEST(RunWithoutNamespaces, SaysSoToAnOrdinaryUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to take the namespaces away";
    const OpenDir directory;
    // Root of a user namespace takes them away from the ordinary user that it lets run inside. The first shell has no
    // rights there, since it was started before there was a root; the second has.
    const std::string as_root = "echo 0 >/proc/sys/user/max_user_namespaces && exec \"$@\"";
    Process process(
        Words{"unshare", "-U", "sh", "-c", "echo ready; read go; exec sh -c '" + as_root + "' sh \"$@\"", "sh"} +
        other_user + Words{directory.sim(), "run", "--", "true"});
    EXPECT_EQ(process.read_line(), "ready\n");
    for (const char* const map : {"uid_map", "gid_map"})
        std::ofstream(fmt::format("/proc/{}/{}", process.pid(), map)) << "0 0 1\n65534 65534 1\n";
    const Finished finished = process.finish();
    EXPECT_EQ(finished.code(), 125) << finished.err;
    EXPECT_THAT(finished.err, StartsWith("qel-sim: no private router is possible here: unshare"));
}

// A service at a path of its own, without a namespace.
TEST(Serve, ListensUntilItIsToldToEnd) {
    TempDir directory;
    const std::string path = directory / "sub/sdk.socket";
    for (const int signal : {SIGINT, SIGTERM}) {
        Process process({program, "serve", "--socket", path, "--sysname", "Alone"});
        EXPECT_EQ(process.read_error_line(), fmt::format("qel-sim: listening at {}\n", path));
        WireClient client(path);
        client.open_cli();
        client.run("system-view");
        EXPECT_THAT(client.run("display this"), HasSubstr("Alone"));
        process.kill(signal);
        EXPECT_EQ(process.finish().code(), 0);
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST(Serve, RefusesWhereAnotherListens) {
    TempDir directory;
    Service service({.socket_path = directory / "s"});
    service.start();
    const Finished finished = run_program({program, "serve", "--socket", directory / "s"});
    EXPECT_EQ(finished.code(), 125);
    EXPECT_EQ(finished.err,
              fmt::format("qel-sim: {}: another process listens there: Address already in use\n", directory / "s"));
}

TEST(Serve, ReplacesWhatAKilledOneLeft) {
    TempDir directory;
    const std::string path = directory / "s";
    Process killed({program, "serve", "--socket", path});
    killed.read_error_line();
    killed.kill(SIGKILL);
    killed.finish();
    EXPECT_TRUE(std::filesystem::exists(path));
    Process next({program, "serve", "--socket", path});
    EXPECT_THAT(next.read_error_line(), StartsWith("qel-sim: listening"));
    WireClient client(path);
    client.open_session();
    next.kill(SIGTERM);
    EXPECT_EQ(next.finish().code(), 0);
}

struct Wrong {
    const char* name;
    Words words;
    const char* says;

    friend void PrintTo(const Wrong& row, std::ostream* out) { *out << row.name; }
};

class WrongUsage : public ::testing::TestWithParam<Wrong> {};

TEST_P(WrongUsage, IsRefusedWithWhatWouldBeRight) {
    const Finished finished = run_program(Words{program} + GetParam().words);
    EXPECT_EQ(finished.code(), 2);
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, HasSubstr(GetParam().says));
}

INSTANTIATE_TEST_SUITE_P(
    Of, WrongUsage,
    ::testing::Values(Wrong{"nothing", {}, "A subcommand is required"}, Wrong{"unknown_verb", {"dance"}, "dance"},
                      Wrong{"no_command", {"run"}, "a command behind -- is required"},
                      Wrong{"command_of_serve", {"serve", "--", "ls"}, "not expected: -- ls"},
                      Wrong{"unknown_option", {"serve", "--port", "1"}, "--port"},
                      Wrong{"colour", {"serve", "--colour", "pink"}, "pink not in {auto,always,never}"},
                      Wrong{"fault_shape", {"serve", "--fault", "late"}, "--fault late: expected OPERATION[@NTH]:VERB"},
                      Wrong{
                          "fault_verb", {"serve", "--fault", "*:late"}, "verb: \"late\" is none of no_answer, delay,"},
                      Wrong{"scenario", {"serve", "--scenario", "/none.json"}, "qel-sim: /none.json: cannot be read"},
                      Wrong{"checked", {"check-scenario", "/none.json"}, "qel-sim: /none.json: cannot be read"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Program, ChecksAScenario) {
    TempDir directory;
    const std::string path = directory / "s.json";
    std::ofstream(path) << R"({"sysname": "x"})";
    EXPECT_EQ(run_program({program, "check-scenario", path}).out, path + ": good\n");
    std::ofstream(path) << R"({"sysnam": "x"})";
    const Finished wrong = run_program({program, "check-scenario", path});
    EXPECT_EQ(wrong.code(), 2);
    EXPECT_THAT(wrong.err, StartsWith("qel-sim: " + path + ": sysnam: no such field; there are sysname, version, "));
}

TEST(Program, TellsItsVersionItsOptionsAndItsFaults) {
    EXPECT_THAT(run_program({program, "--version"}).out, ContainsRegex("^qel-sim [0-9.]+\n$"));
    EXPECT_THAT(run_program({program, "run", "--help"}).out,
                AllOf(HasSubstr("--syslog"), HasSubstr("qel-sim run --log -- ls")));
    const Finished faults = run_program({program, "faults"});
    EXPECT_EQ(std::ranges::count(faults.out, '\n'), 13);
    EXPECT_THAT(faults.out, HasSubstr("error=code[,text=text]"));
}

} // namespace
} // namespace sim::test
