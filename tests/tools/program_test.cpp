// What all commands of qel share: help, wrong usage, exit statuses, and how they end.
#include <csignal>

#include "tests/tools/support.h"

namespace qel::test {
namespace {

using ::sim::test::run_program;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

TEST(Version, IsToldWithoutARouter) {
    EXPECT_EQ(run_program({program, "version"}).out, "Vela Quor v1.5.70.000\n");
    EXPECT_EQ(documents(run_program({program, "--json", "version"}).out),
              (std::vector<nlohmann::json>{{{"library", "Vela Quor v1.5.70.000"}}}));
    EXPECT_THAT(run_program({program, "--version"}).out, MatchesRegex("qel [0-9.]+\n"));
}

class Help : public ::testing::TestWithParam<const char*> {};

TEST_P(Help, HasExamplesTheGlobalOptionsAndTheStatuses) {
    std::istringstream words(GetParam());
    Words command{program};
    command.insert(command.end(), std::istream_iterator<std::string>(words), {});
    command.emplace_back("--help");
    const Finished help = run_program(command);
    EXPECT_EQ(help.code(), 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, HasSubstr(std::string("\n  qel ") + GetParam()));
    for (const char* const part :
         {"-h,--help", "--client NAME", "--json", "--verbose", "examples:", "Exit status: 0; 1 "})
        EXPECT_THAT(help.out, ::testing::ContainsRegex(part[0] == 'e' ? "[eE]xamples:" : part)) << part;
}

INSTANTIATE_TEST_SUITE_P(Of, Help,
                         ::testing::Values("", "version", "exec", "save", "facts", "sip", "sip get", "sip set", "snmp",
                                           "snmp get", "snmp next", "snmp walk", "syslog", "events", "cellular",
                                           "cellular up", "cellular down", "wlan", "wlan create", "wlan delete"));

struct Wrong {
    const char* name;
    Words words;
    const char* says; // between "qel: " and the end of the line

    friend void PrintTo(const Wrong& row, std::ostream* out) { *out << row.name; }
};

class WrongUsage : public ::testing::TestWithParam<Wrong> {};

TEST_P(WrongUsage, IsOneLineAndStatus2AndNoRouterIsAsked) {
    Words command{program};
    command.insert(command.end(), GetParam().words.begin(), GetParam().words.end());
    const Finished finished = run_program(command);
    EXPECT_EQ(finished.code(), 2);
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(finished.err, std::string("qel: ") + GetParam().says + "\n");
}

const std::string long_name(65, 'x');

INSTANTIATE_TEST_SUITE_P(
    Of, WrongUsage,
    ::testing::Values(
        Wrong{"nothing", {}, "A command is required; see qel --help"},
        Wrong{"half_a_command", {"snmp"}, "A command is required; see qel snmp --help"},
        Wrong{"unknown_command", {"dance"}, "The following argument was not expected: dance; see qel --help"},
        Wrong{"unknown_option",
              {"exec", "--fast"},
              "The following argument was not expected: --fast; see qel exec --help"},
        Wrong{"too_much", {"save", "it"}, "The following argument was not expected: it; see qel save --help"},
        Wrong{"long_client", {"save", "--client", long_name}, "--client: is longer than 64 bytes; see qel save --help"},
        Wrong{
            "answer", {"exec", "save", "--answer", "y"}, "--answer: expected PROMPT=REPLY, got y; see qel exec --help"},
        Wrong{"answer_to_nothing",
              {"exec", "save", "--answer", "=y"},
              "--answer: expected PROMPT=REPLY, got =y; see qel exec --help"},
        Wrong{"quoted_answer",
              {"exec", "save", "--answer", "a=\"y\""},
              "--answer: a=\"y\" holds a quote, which an answer cannot; see qel exec --help"},
        Wrong{"fact", {"facts", "age"}, "name: there is no fact age; see qel facts --help"},
        Wrong{"fact_without_argument",
              {"facts", "sms"},
              "name: sms takes an argument: --sms INDEX; see qel facts --help"},
        Wrong{"sms", {"facts", "--sms", "-1"}, "--sms: expected a number, got -1; see qel facts --help"},
        Wrong{"mac",
              {"facts", "--access-by-mac", "00:00:5e:00:53"},
              "--access-by-mac: expected six pairs of hexadecimal digits like 00:00:5e:00:53:10, got 00:00:5e:00:53; "
              "see qel facts --help"},
        Wrong{"account", {"sip", "set", "me"}, "account: expected USER@REGISTRAR, got me; see qel sip set --help"},
        Wrong{"long_account",
              {"sip", "set", "me@123456789012345678901234567890.com"},
              "account: me@123456789012345678901234567890.com: user and registrar have at most 32 bytes each; "
              "see qel sip set --help"},
        Wrong{"no_account", {"sip", "set"}, "Either USER@REGISTRAR or --none is required; see qel sip set --help"},
        Wrong{"eleven_accounts",
              {"sip", "set", "a@b", "a@b", "a@b", "a@b", "a@b", "a@b", "a@b", "a@b", "a@b", "a@b", "a@b"},
              "account: at most 10 fit the record; see qel sip set --help"},
        Wrong{"no_oid", {"snmp", "get"}, "oid is required; see qel snmp get --help"},
        Wrong{"two_texts", {"syslog", "a", "b"}, "text3 is required; see qel syslog --help"},
        Wrong{"level", {"events", "--level", "8"}, "--level: expected 0 to 7, got 8; see qel events --help"},
        Wrong{"count", {"events", "--count", "0"}, "--count: expected a number above 0, got 0; see qel events --help"},
        Wrong{"seconds",
              {"events", "--seconds", "1e300"},
              "--seconds: expected seconds, above 0, got 1e300; see qel events --help"},
        Wrong{"interface",
              {"events", "--interface", long_name},
              "--interface: is longer than 63 bytes; see qel events --help"},
        Wrong{"route",
              {"events", "--route", "10.0.0.0/33"},
              "--route: expected ADDRESS/LENGTH, got 10.0.0.0/33; see qel events --help"},
        Wrong{"user_alone",
              {"cellular", "up", "--user", "me"},
              "--user requires --password-file; see qel cellular up --help"},
        Wrong{"auth",
              {"cellular", "up", "--auth", "none"},
              "--auth: expected auto, pap, both or chap, got none; see qel cellular up --help"},
        Wrong{"apn",
              {"cellular", "up", "--apn", "two words"},
              "--apn: holds a blank or a control character; see qel cellular up --help"},
        Wrong{"open_or_not",
              {"wlan", "create", "1", "--ssid", "x", "--address", "192.0.2.1", "--mask", "24"},
              "Either --pass-phrase-file or --open is required; see qel wlan create --help"},
        Wrong{"ssid",
              {"wlan", "create", "1", "--ssid", "123456789012345678901234567890123"},
              "--ssid: 123456789012345678901234567890123 is longer than 32 bytes; see qel wlan create --help"},
        Wrong{"wlan_id", {"wlan", "delete", "first"}, "Could not convert: id = first; see qel wlan delete --help"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(NoService, IsStatus3) {
    const Finished finished = script("rm /mnt/sock/sdk.socket; qel save");
    EXPECT_EQ(finished.code(), 3);
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(finished.err,
              "qel: vela_session_open qel: VELA_ERROR (1): nobody listens at /mnt/sock/sdk.socket, or the "
              "service refused the session; see that the router's management service runs; the system "
              "log says more\n");
}

TEST(NoSession, IsStatus3) {
    const Finished finished = qel({"facts", "--json"}, {"--fault", "session.open:error=5,text=busy"});
    EXPECT_EQ(finished.code(), 3);
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, StartsWith("qel: vela_session_open qel: VELA_ERROR (1): "));
}

TEST(Session, HasTheClientsName) {
    TempDir directory;
    const std::string wire = directory / "wire";
    EXPECT_EQ(qel({"save", "--client", "nightly"}, {"--log", wire}).code(), 0);
    EXPECT_THAT(contents(wire), HasSubstr("session.open  1:1 5:\"nightly\"\n"));
}

TEST(Session, IsClosedOnEveryPath) {
    TempDir directory;
    const std::string wire = directory / "wire";
    for (const char* const text :
         {"qel save", "qel exec nonsense", "qel snmp get 1.3", "qel exec 'display clock' >/dev/full",
          "qel snmp walk | head -n 1", "qel facts --sms 99", "qel events --seconds 0.1", "printf 'a\\0b' | qel exec -",
          "qel facts >&-"}) {
        script(text, {"--log", wire});
        const std::string messages = contents(wire);
        EXPECT_THAT(messages, ContainsRegex("-> [a-z]+ .*session.close")) << text;
        EXPECT_EQ(messages.find("gone"), messages.rfind("gone")) << text;
        std::filesystem::remove(wire);
    }
}

TEST(Session, ThatCannotBeClosedIsTold) {
    const Finished finished = qel({"exec", "display clock", "--json"}, {"--fault", "session.close:error=5,text=no"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(documents(finished.out).size(), 1U);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_session_close: VELA_ERROR (1): "));
}

TEST(Verbose, TellsEachCallWithItsResult) {
    const Finished finished = qel({"--verbose", "exec", "nonsense"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(
        finished.err,
        "qel: vela_init: VELA_OK (0): done\n"
        "qel: vela_session_open qel: VELA_OK (0): done\n"
        "qel: vela_cli_open: VELA_OK (0): done\n"
        "nonsense\n^\nError: unknown word \"nonsense\" in the user view.\n"
        "qel: vela_cli_execute nonsense: VELA_ERROR (1): the router rejected the command\n"
        "qel: vela_cli_close: VELA_OK (0): done\n"
        "qel: vela_session_close: VELA_OK (0): done\n"
        "qel: vela_release: VELA_OK (0): done\n"
        "qel: vela_cli_execute nonsense: VELA_ERROR (1): the router rejected the command; its output tells why\n");
}

TEST(Output, MayBeClosedByItsReader) {
    const Finished finished = script("qel snmp walk | head -n 1; echo ${PIPESTATUS[0]}");
    EXPECT_EQ(finished.out, "1.3.6.1.2.1.1.1.0 = Quor Router Software, Version 2.0\n0\n");
    EXPECT_EQ(finished.err, "");
}

TEST(Output, ThatCannotBeWrittenIsTold) {
    for (const char* const text : {"qel version >/dev/full", "qel exec 'display clock' >/dev/full"}) {
        const Finished finished = script(text);
        EXPECT_EQ(finished.code(), 1);
        EXPECT_EQ(finished.err, "qel: standard output: No space left on device\n");
    }
}

TEST(Signal, EndsAWaitForInputAndClosesTheSession) {
    TempDir directory;
    const std::string wire = directory / "wire";
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // The shell that turns into qel tells its number: qel-sim itself would end of a SIGHUP.
        Process process(on_router({"sh", "-c", "echo $$; exec \"$@\"", "sh", program, "exec", "display this", "-"},
                                  {"--log", wire}));
        const pid_t pid = std::stoi(process.read_line());
        EXPECT_EQ(process.read_line(), "#\n");
        kill(pid, signal);
        // Its input is open all the while.
        std::string rest;
        for (std::string line = process.read_line(); !line.empty(); line = process.read_line())
            rest = line;
        const Finished finished = process.finish();
        EXPECT_EQ(finished.code(), 128 + signal);
        EXPECT_EQ(finished.err, "");
        EXPECT_THAT(contents(wire), HasSubstr("session.close"));
        std::filesystem::remove(wire);
    }
}

} // namespace
} // namespace qel::test
