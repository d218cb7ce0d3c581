// The command engine: every command and what it prints, abbreviations, help, errors, prompts, and the configuration as
// text that can be run again.
#include <sstream>

#include "sim/cli_parameters.h"
#include "tests/sim/cli_support.h"

namespace sim::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(Cli, MovesBetweenTheViews) {
    const auto here = [&] { return session.view(); };
    EXPECT_EQ(here(), (View{ViewKind::user, ""}));
    go({"return"});
    EXPECT_EQ(here(), (View{ViewKind::user, ""}));
    go({"system-view"});
    EXPECT_EQ(here(), (View{ViewKind::system, ""}));
    go({"interface GigabitEthernet0/0/0"});
    EXPECT_EQ(here(), (View{ViewKind::interface, "GigabitEthernet0/0/0"}));
    go({"interface GigabitEthernet 0/0/1"});
    EXPECT_EQ(here(), (View{ViewKind::interface, "GigabitEthernet0/0/1"}));
    go({"quit"});
    EXPECT_EQ(here(), (View{ViewKind::system, ""}));
    go({"quit"});
    EXPECT_EQ(here(), (View{ViewKind::user, ""}));
    EXPECT_EQ(error("quit", Refusal::not_done),
              "Error: there is no view above the user view; close the channel instead.");
    go({"system-view", "interface g0/0/0", "return"});
    EXPECT_EQ(here(), (View{ViewKind::user, ""}));
}

TEST_F(Cli, DisplaysTheVersion) {
    router.version = "a banner\n";
    EXPECT_EQ(output("display version"), "a banner\n");
}

TEST_F(Cli, DisplaysAClockThatStands) {
    router.clock = std::chrono::sys_days(std::chrono::year(2016) / 9 / 8) + std::chrono::hours(12);
    EXPECT_EQ(output("display clock"), "2016-09-08 12:00:00\nThursday\nTime zone : UTC\n");
}

TEST_F(Cli, DisplaysTheHostsClockOtherwise) {
    const auto before = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
    const std::string shown = output("display clock");
    const auto after = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
    const auto day = [](std::chrono::sys_days days) {
        const std::chrono::year_month_day date(days);
        return fmt::format("{:04}-{:02}-{:02} ", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                           static_cast<unsigned>(date.day()));
    };
    EXPECT_THAT(shown, ::testing::AnyOf(StartsWith(day(before)), StartsWith(day(after))));
}

TEST_F(Cli, NamesTheRouter) {
    go({"system-view", "sysname Branch-7"});
    EXPECT_EQ(router.sysname, "Branch-7");
    go({"undo sysname"});
    EXPECT_EQ(router.sysname, "Tarkon");
    EXPECT_EQ(error("sysname " + std::string(65, 'x'), Refusal::wrong_value),
              "Error: \"" + std::string(65, 'x') + "\" is not a valid <name>.");
}

TEST_F(Cli, SetsAndRemovesADescription) {
    go({"system-view", "interface g0/0/1", "description  to the  lab "});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").description, "to the  lab");
    go({"undo description"});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").description, "");
    EXPECT_EQ(error("description " + std::string(243, 'x'), Refusal::wrong_value),
              "Error: a description has at most 242 characters.");
    EXPECT_EQ(output("description " + std::string(242, 'x')), "");
}

TEST_F(Cli, ShutsAnInterfaceDownAndBringsItUp) {
    go({"system-view", "interface g0/0/0", "shutdown"});
    EXPECT_TRUE(interface("GigabitEthernet0/0/0").shutdown);
    go({"undo shutdown"});
    EXPECT_FALSE(interface("GigabitEthernet0/0/0").shutdown);
}

TEST_F(Cli, SetsAndRemovesAnAddress) {
    go({"system-view", "interface g0/0/1", "ip address 192.0.2.1 255.255.255.0"});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").address, "192.0.2.1");
    EXPECT_EQ(interface("GigabitEthernet0/0/1").mask, "255.255.255.0");
    go({"ip address 192.0.2.2 30"});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").mask, "255.255.255.252");
    go({"undo ip address"});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").address, "");
    EXPECT_EQ(interface("GigabitEthernet0/0/1").mask, "");
}

TEST_F(Cli, RefusesAddressesThatAreNone) {
    go({"system-view", "interface g0/0/1"});
    EXPECT_EQ(error("ip address 192.0.2 24", Refusal::wrong_value), "Error: \"192.0.2\" is not a valid <ip-address>.");
    EXPECT_EQ(error("ip address 192.0.2.1 255.0.255.0", Refusal::wrong_value),
              "Error: \"255.0.255.0\" is not a valid INTEGER<0-32> or <mask>.");
    EXPECT_EQ(error("ip address 192.0.2.1 33", Refusal::wrong_value),
              "Error: \"33\" is not a valid INTEGER<0-32> or <mask>.");
    EXPECT_EQ(error("ip address 192.168.1.1 24", Refusal::not_done),
              "Error: GigabitEthernet0/0/0 has the address 192.168.1.1 already.");
    EXPECT_EQ(interface("GigabitEthernet0/0/1").address, "");
}

TEST_F(Cli, MakesAndRemovesLogicalInterfacesOnly) {
    go({"system-view", "interface loopback 3", "quit"});
    ASSERT_NE(router.interface("LoopBack3"), nullptr);
    go({"undo interface LoopBack3"});
    EXPECT_EQ(router.interface("LoopBack3"), nullptr);
    EXPECT_EQ(error("undo interface LoopBack3", Refusal::not_done), "Error: the router has no interface LoopBack3.");
    EXPECT_EQ(error("undo interface g0/0/0", Refusal::not_done), "Error: GigabitEthernet0/0/0 is built in and stays.");
    EXPECT_EQ(error("interface g0/0/9", Refusal::not_done), "Error: the router has no interface GigabitEthernet0/0/9.");
}

TEST_F(Cli, SetsAndRemovesStaticRoutes) {
    go({"system-view", "ip route-static 10.1.2.3 16 192.168.1.254",
        "ip route-static 10.1.0.0 255.255.0.0 Cellular 0/0/0", "ip route-static 0.0.0.0 0.0.0.0 cell0/0/0",
        "ip route-static 10.1.0.0 16 192.168.1.254"});
    EXPECT_EQ(router.routes, (std::vector<StaticRoute>{{"10.1.0.0", "255.255.0.0", "192.168.1.254"},
                                                       {"10.1.0.0", "255.255.0.0", "Cellular0/0/0"},
                                                       {"0.0.0.0", "0.0.0.0", "Cellular0/0/0"}}));
    EXPECT_EQ(output("display this"), "#\n sysname Tarkon\n#\n"
                                      " ip route-static 10.1.0.0 255.255.0.0 192.168.1.254\n"
                                      " ip route-static 10.1.0.0 255.255.0.0 Cellular0/0/0\n"
                                      " ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0\n#\nreturn\n");
    const std::string whole = cli_engine().configuration(router);
    const std::vector<StaticRoute> routes = router.routes;

    go({"undo ip route-static 10.1.0.0 16 192.168.1.254"});
    EXPECT_EQ(router.routes.size(), 2U);
    EXPECT_EQ(error("undo ip route-static 10.1.0.0 16 192.168.1.254", Refusal::not_done),
              "Error: there is no static route to 10.1.0.0/16 via 192.168.1.254.");
    go({"ip route-static 10.1.0.0 16 192.168.1.2", "undo ip route-static 10.1.0.0 255.255.0.0"});
    EXPECT_EQ(router.routes, (std::vector<StaticRoute>{{"0.0.0.0", "0.0.0.0", "Cellular0/0/0"}}));
    EXPECT_EQ(error("undo ip route-static 10.1.0.0 16", Refusal::not_done),
              "Error: there is no static route to 10.1.0.0/16.");

    router = RouterState{};
    std::istringstream lines(whole);
    for (std::string line; std::getline(lines, line);)
        EXPECT_EQ(output(line), "") << line;
    EXPECT_EQ(router.routes, routes) << "the configuration can be run again";
}

TEST_F(Cli, RemovesTheRoutesThroughAnInterfaceWithIt) {
    go({"system-view", "interface LoopBack0", "quit", "ip route-static 10.0.0.0 8 LoopBack0",
        "ip route-static 10.0.0.0 8 192.168.1.2", "undo interface LoopBack0"});
    EXPECT_EQ(router.routes, (std::vector<StaticRoute>{{"10.0.0.0", "255.0.0.0", "192.168.1.2"}}));
}

TEST_F(Cli, RefusesStaticRoutesThatAreNone) {
    EXPECT_EQ(run("ip route-static 10.0.0.0 8 192.168.1.2").error, static_cast<std::int32_t>(Refusal::unknown_word));
    go({"system-view"});
    EXPECT_EQ(error("ip route-static 10.0.0.0 33 192.168.1.2", Refusal::wrong_value),
              "Error: \"33\" is not a valid INTEGER<0-32> or <mask>.");
    EXPECT_EQ(error("ip route-static 10.0.0.0 8 GigabitEthernet0/0/9", Refusal::not_done),
              "Error: the router has no interface GigabitEthernet0/0/9.");
    EXPECT_EQ(run("ip route-static 10.0.0.0 8").error, static_cast<std::int32_t>(Refusal::incomplete));
    EXPECT_TRUE(router.routes.empty());
}

TEST_F(Cli, FailsInTheViewOfAnInterfaceThatIsGone) {
    go({"system-view", "interface LoopBack0"});
    router.interfaces.pop_back();
    EXPECT_EQ(error("shutdown", Refusal::not_done), "Error: there is no LoopBack0 any more.");
}

TEST_F(Cli, DisplaysTheInterfacesInBrief) {
    interface("Wlan-Radio0/0/0").shutdown = true;
    EXPECT_EQ(output("display interface brief"), "*down: shut down by the administrator\n"
                                                 "Interface                 Physical  Protocol  Address/Mask\n"
                                                 "GigabitEthernet0/0/0      up        up        192.168.1.1/24\n"
                                                 "GigabitEthernet0/0/1      down      down      unassigned\n"
                                                 "Cellular0/0/0             down      down      unassigned\n"
                                                 "Wlan-Radio0/0/0           *down     down      unassigned\n");
}

constexpr const char* whole_configuration = "#\n"
                                            " sysname Tarkon\n"
                                            "#\n"
                                            "interface GigabitEthernet0/0/0\n"
                                            " description uplink\n"
                                            " ip address 192.168.1.1 255.255.255.0\n"
                                            " shutdown\n"
                                            "#\n"
                                            "interface GigabitEthernet0/0/1\n"
                                            "#\n"
                                            "interface Cellular0/0/0\n"
                                            "#\n"
                                            "interface Wlan-Radio0/0/0\n"
                                            "#\n"
                                            "return\n";

TEST_F(Cli, DisplaysTheRunningConfiguration) {
    go({"system-view", "interface g0/0/0", "description uplink", "shutdown"});
    EXPECT_EQ(output("display current-configuration"), whole_configuration);
    go({"return"});
    EXPECT_EQ(output("display current-configuration"), whole_configuration);
}

TEST_F(Cli, RunsItsOwnConfigurationAgain) {
    go({"system-view", "sysname Again", "interface g0/0/1", "description a b", "ip address 10.0.0.1 8", "shutdown",
        "interface LoopBack0", "ip address 10.255.0.1 32"});
    const std::string wanted = cli_engine().configuration(router);
    const std::vector<Interface> interfaces = router.interfaces;

    router = RouterState{};
    session = CliSession{};
    go({"system-view"});
    std::istringstream lines(wanted);
    for (std::string line; std::getline(lines, line);)
        EXPECT_EQ(output(line), "") << line;
    EXPECT_EQ(session.view().kind, ViewKind::user);
    EXPECT_EQ(cli_engine().configuration(router), wanted);
    EXPECT_EQ(router.interfaces, interfaces);
}

TEST_F(Cli, DisplaysTheConfigurationOfTheView) {
    EXPECT_EQ(output("display this"), "#\nreturn\n");
    go({"system-view"});
    EXPECT_EQ(output("display this"), "#\n sysname Tarkon\n#\nreturn\n");
    go({"interface g0/0/0"});
    EXPECT_EQ(output("display this"),
              "#\ninterface GigabitEthernet0/0/0\n ip address 192.168.1.1 255.255.255.0\n#\nreturn\n");
}

TEST_F(Cli, SavesWhenTheAnswerIsYes) {
    EXPECT_EQ(output("display saved-configuration"), "No configuration has been saved.\n");
    EXPECT_EQ(output("save", {{"continue", "y"}}),
              "The saved configuration will be replaced by the running one. Do you want to continue? [y/n]: y\n"
              "The configuration was saved.\n");
    EXPECT_EQ(output("display saved-configuration"), output("display current-configuration"));
    go({"system-view", "sysname Changed"});
    EXPECT_NE(output("display saved-configuration"), output("display current-configuration"));
}

TEST_F(Cli, DoesNotSaveWhenTheAnswerIsNo) {
    EXPECT_THAT(output("save", {{"continue", "n"}}), EndsWith("[y/n]: n\nThe configuration was not saved.\n"));
    EXPECT_EQ(router.saved_configuration, "");
}

TEST_F(Cli, FailsWithThePromptWhenNoChoiceAnswersIt) {
    const std::string prompt =
        "The saved configuration will be replaced by the running one. Do you want to continue? [y/n]: ";
    for (const std::vector<Choice>& choices : {std::vector<Choice>{}, {{"Continue", "y"}}, {{"overwrite", "y"}}}) {
        const CliResult result = run("save", choices);
        EXPECT_EQ(result.error, static_cast<int>(Refusal::unanswered));
        EXPECT_THAT(result.output, StartsWith(prompt + "\n"));
        EXPECT_EQ(result.error_text, "Error: no choice answers the prompt \"" + prompt + "\".");
        EXPECT_EQ(router.saved_configuration, "");
    }
}

TEST_F(Cli, TakesTheFirstChoiceThatFits) {
    EXPECT_THAT(output("save", {{"other", "x"}, {"you want", "n"}, {"continue", "y"}}), HasSubstr("not saved"));
    EXPECT_THAT(output("save", {{"", "y"}}), HasSubstr("was saved")) << "an empty key is part of every prompt";
}

TEST_F(Cli, FailsOnAnAnswerThatIsNeitherYesNorNo) {
    EXPECT_EQ(error("save", Refusal::wrong_value, {{"continue", "maybe"}}),
              "Error: the answer \"maybe\" is neither y nor n.");
}

TEST_F(Cli, IgnoresAnUnusedChoice) { EXPECT_EQ(output("return", {{"continue", "y"}}), ""); }

// Abbreviations.

TEST_F(Cli, UnderstandsAnyUnambiguousBeginningInAnyCase) {
    go({"sys", "INT gi0/0/1", "desc x", "SHUT", "ip add 10.1.1.1 24", "undo shut", "q"});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").description, "x");
    EXPECT_EQ(output("dis cur"), output("display current-configuration"));
    EXPECT_EQ(output("dis i b"), output("display interface brief"));
}

TEST_F(Cli, PrefersAWholeWordToABeginning) {
    constexpr auto done = [](CliContext& context) { context.line("{}", "whole"); };
    constexpr auto not_done = [](CliContext& context) { context.line("{}", "longer"); };
    const std::array commands{Command{in_any_view, "show", "", done}, Command{in_any_view, "shower", "", not_done}};
    const std::array sets{CommandSet{commands, {}, nullptr}};
    const CliEngine engine(sets);
    EXPECT_EQ(engine.run(router, session, "show").output, "whole\n");
    EXPECT_EQ(engine.run(router, session, "showe").output, "longer\n");
}

TEST_F(Cli, RefusesAnAmbiguousBeginningAndNamesTheCandidates) {
    go({"system-view"});
    EXPECT_EQ(error("s", Refusal::ambiguous_word), "Error: \"s\" may mean save or sysname.");
    const CliResult result = run("display c");
    EXPECT_EQ(result.error, static_cast<int>(Refusal::ambiguous_word));
    EXPECT_EQ(result.output, "display c\n"
                             "        ^\n"
                             "Error: \"c\" may mean clock or current-configuration.\n");
}

// Errors.

TEST_F(Cli, PointsAtAnUnknownWord) {
    const CliResult result = run("  display  verzion now");
    EXPECT_EQ(result.error, static_cast<int>(Refusal::unknown_word));
    EXPECT_EQ(result.output, "  display  verzion now\n"
                             "           ^\n"
                             "Error: unknown word \"verzion\" in the user view.\n");
    EXPECT_EQ(result.error_text, "Error: unknown word \"verzion\" in the user view.");
}

TEST_F(Cli, TellsWhichViewKnowsTheWord) {
    EXPECT_EQ(error("sysname x", Refusal::unknown_word),
              "Error: unknown word \"sysname\" in the user view; it is known in the system view.");
    EXPECT_EQ(error("interface g0/0/0", Refusal::unknown_word),
              "Error: unknown word \"interface\" in the user view; it is known in the system and the interface "
              "view.");
}

TEST_F(Cli, RefusesWordsBehindTheEnd) {
    EXPECT_EQ(error("display version 7", Refusal::unknown_word), "Error: the command ends before \"7\".");
}

TEST_F(Cli, RefusesAnIncompleteCommand) {
    const CliResult result = run("display interface");
    EXPECT_EQ(result.error, static_cast<int>(Refusal::incomplete));
    EXPECT_EQ(result.output, "display interface\n"
                             "                 ^\n"
                             "Error: the command is not complete; a ? in its place tells what comes next.\n");
}

TEST_F(Cli, RefusesAWrongParameter) {
    go({"system-view"});
    EXPECT_EQ(error("interface Serial0/0/0", Refusal::wrong_value),
              "Error: \"Serial0/0/0\" is not a valid <interface-name>.");
    EXPECT_EQ(error("interface GigabitEthernet", Refusal::wrong_value),
              "Error: \"GigabitEthernet\" is not a valid <interface-name>.");
}

TEST_F(Cli, RefusesLineEndsAndTabs) {
    for (const char* line : {"return\nreturn", "display\tversion", "return\r"})
        EXPECT_EQ(error(line, Refusal::wrong_value), "Error: a command is one line, without tabs.");
}

TEST_F(Cli, DoesNothingOnABlankLine) {
    EXPECT_EQ(output(""), "");
    EXPECT_EQ(output("   "), "");
}

// Help.

TEST_F(Cli, ListsWhatComesNext) {
    EXPECT_EQ(output("display ?"), "  acl                         The access lists\n"
                                   "  apn-profile                 The APN profiles\n"
                                   "  backup-configuration        The configuration that was backed up last\n"
                                   "  clock                       Date and time\n"
                                   "  current-configuration       The configuration the router runs with\n"
                                   "  interface                   The interfaces\n"
                                   "  logbuffer                   The newest lines of the log\n"
                                   "  saved-configuration         The configuration the router starts with\n"
                                   "  security-profile            The security profiles\n"
                                   "  service-set                 The service sets\n"
                                   "  this                        The configuration of this view\n"
                                   "  version                     Hardware and software of this router\n"
                                   "  vlan                        Every VLAN\n");
}

TEST_F(Cli, ListsWhatBeginsWithAWord) {
    EXPECT_EQ(output("dis?"), "  display                     Show the router's state\n");
    EXPECT_EQ(output("display c?"), "  clock                       Date and time\n"
                                    "  current-configuration       The configuration the router runs with\n");
    EXPECT_EQ(error("display x?", Refusal::unknown_word), "Error: no word begins with \"x\" there.");
    EXPECT_EQ(error("dizplay ?", Refusal::unknown_word), "Error: unknown word \"dizplay\" in the user view.");
}

TEST_F(Cli, ListsTheCommandsOfTheView) {
    EXPECT_THAT(output("?"), AllOf(HasSubstr("  system-view "), Not(HasSubstr("  sysname "))));
    go({"system-view"});
    EXPECT_THAT(output("?"), AllOf(HasSubstr("  sysname "), Not(HasSubstr("  system-view "))));
}

TEST_F(Cli, ShowsParametersAndTheEndOfTheCommand) {
    go({"system-view", "interface g0/0/1"});
    EXPECT_EQ(output("ip address 10.0.0.1 ?"), "  INTEGER<0-32>               A number\n"
                                               "  <mask>                      Mask of the address, dotted\n");
    EXPECT_EQ(output("ip address 10.0.0.1 8 ?"), "  <cr>                        Set the address\n");
    EXPECT_EQ(output("description ?"), "  <text>                      Text up to the end of the line\n");
    EXPECT_EQ(interface("GigabitEthernet0/0/1").address, "") << "help runs nothing";
}

TEST_F(Cli, TakesBlanksBehindTheQuestionMark) {
    EXPECT_EQ(output("display ? "), output("display ?"));
    EXPECT_EQ(output("display c?  "), output("display c?"));
}

TEST_F(Cli, ListsTheInterfacesThatThereAre) {
    constexpr const char* built_in = "  GigabitEthernet             Ethernet interface\n"
                                     "  Cellular                    Cellular interface\n"
                                     "  Wlan-Radio                  Radio interface\n";
    constexpr const char* brief = "  brief                       State and address of every interface, a line each\n";
    EXPECT_EQ(output("display interface ?"), std::string(built_in) + brief);
    go({"system-view", "interface Wlan-Bss 3"});
    EXPECT_EQ(output("display interface ?"),
              std::string(built_in) + "  Wlan-Bss                    Wlan-Bss interface\n" + brief);
    go({"quit", "interface Vlanif 1"});
    EXPECT_EQ(output("display interface ? "), std::string(built_in) +
                                                  "  Vlanif                      Vlan interface\n"
                                                  "  Wlan-Bss                    Wlan-Bss interface\n" +
                                                  brief);
    EXPECT_EQ(output("display interface W?"), "  Wlan-Radio                  Radio interface\n"
                                              "  Wlan-Bss                    Wlan-Bss interface\n");
    go({"quit", "undo interface Wlan-Bss 3", "undo interface Vlanif1"});
    EXPECT_EQ(output("display interface ?"), std::string(built_in) + brief);
}

TEST_F(Cli, ListsTheNumbersThatAnInterfaceCanHave) {
    go({"system-view"});
    EXPECT_EQ(output("interface Wlan-Bss ?"), "  INTEGER<1-31>               Number of the interface\n");
    EXPECT_EQ(output("interface vlanif ?"), "  INTEGER<1-4094>             Number of the interface\n");
    EXPECT_EQ(output("interface LoopBack ?"),
              "  <number>                    Number of the interface, like 0/0/0 or 0\n");
    router.limits.wlan_bss_ids = {2, 5};
    EXPECT_EQ(output("interface Wlan-Bss ?"), "  INTEGER<2-5>                Number of the interface\n");
    EXPECT_EQ(output("display interface Wlan-Bss ?"), "  INTEGER<2-5>                Number of the interface\n"
                                                      "  |                           Show some of the lines only\n"
                                                      "  <cr>                        State and address of these\n");
    EXPECT_EQ(error("interface W ?", Refusal::wrong_value), "Error: \"W\" is not a valid <interface-name>.");
}

// Filters.

TEST_F(Cli, ShowsSomeOfTheLinesOnly) {
    router.version = "one\ntwo Three\nthree\nfour\n";
    EXPECT_EQ(output("display version | include t"), "two Three\nthree\n");
    EXPECT_EQ(output("display version | include  one|four$"), "one\nfour\n");
    EXPECT_EQ(output("display version | exclude ^t"), "one\nfour\n");
    EXPECT_EQ(output("display version | begin th"), "three\nfour\n");
    EXPECT_EQ(output("dis ver | inc Three"), "two Three\n");
    EXPECT_EQ(output("display version | include two Three"), "two Three\n");
    EXPECT_EQ(output("display version | include nothing"), "");
}

TEST_F(Cli, RefusesFiltersThatAreNone) {
    EXPECT_EQ(error("display version | grep x", Refusal::unknown_word), "Error: there is no filter \"grep\".");
    for (const char* line : {"display version |", "display version | include"})
        EXPECT_EQ(error(line, Refusal::incomplete),
                  "Error: the command is not complete; a ? in its place tells what comes next.");
    const CliResult result = run("display clock | include (x");
    EXPECT_EQ(result.error, static_cast<int>(Refusal::wrong_value));
    EXPECT_THAT(result.output, EndsWith("display clock | include (x\n"
                                        "                        ^\n"
                                        "Error: \"(x\" is not a valid regular expression.\n"));
}

TEST_F(Cli, FiltersOnlyWhatIsDisplayed) {
    go({"system-view", "interface g0/0/1", "description a | include b"});
    EXPECT_EQ(interface("GigabitEthernet0/0/1").description, "a | include b");
}

TEST_F(Cli, HasHelpForFilters) {
    constexpr const char* all = "  begin                       The lines from the first one that fits\n"
                                "  exclude                     The lines that do not fit\n"
                                "  include                     The lines that fit\n";
    EXPECT_EQ(output("display clock | ?"), all);
    EXPECT_EQ(output("display clock | i?"), "  include                     The lines that fit\n");
    EXPECT_EQ(output("display clock | include ?"),
              "  <regex>                     Extended regular expression, up to the end of the line\n");
    EXPECT_EQ(output("display clock ?"), "  |                           Show some of the lines only\n"
                                         "  <cr>                        Date and time\n");
}

// The interfaces' states.

TEST_F(Cli, DisplaysOneInterfaceAndAllOfAType) {
    constexpr const char* first = "GigabitEthernet0/0/0 current state : UP\n"
                                  "Line protocol current state : UP\n"
                                  "Description:uplink\n"
                                  "Internet Address is 192.168.1.1/24\n";
    constexpr const char* second = "GigabitEthernet0/0/1 current state : DOWN\n"
                                   "Line protocol current state : DOWN\n"
                                   "Description:\n";
    interface("GigabitEthernet0/0/0").description = "uplink";
    EXPECT_EQ(output("display interface g0/0/0"), first);
    EXPECT_EQ(output("display interface GigabitEthernet 0/0/1"), second);
    EXPECT_EQ(output("display interface gigabit"), std::string(first) + "\n" + second);
    interface("Cellular0/0/0").shutdown = true;
    EXPECT_THAT(output("display interface cell0/0/0"),
                StartsWith("Cellular0/0/0 current state : Administratively DOWN\n"));
    EXPECT_EQ(error("display interface Vlanif", Refusal::not_done), "Error: the router has no interface Vlanif.");
    EXPECT_EQ(error("display interface Vlanif 7", Refusal::not_done), "Error: the router has no interface Vlanif7.");
}

TEST_F(Cli, HasHelpForEveryKeyword) {
    for (const CliEngine::Row& row : cli_engine().rows()) {
        std::string path;
        for (const std::string& word : row.words) {
            path += (path.empty() ? "" : " ") + word;
            if (Parameter::is(word))
                EXPECT_FALSE(Parameter(word).help().empty()) << path;
            else
                EXPECT_FALSE(cli_engine().help_of(path).empty()) << path;
        }
        EXPECT_FALSE(row.command->help.empty()) << path;
    }
}

// Parameters.

TEST(CliParameters, SpellInterfaceNamesTheRoutersWay) {
    EXPECT_EQ(interface_name("g0/0/1"), "GigabitEthernet0/0/1");
    EXPECT_EQ(interface_name("wlan-RADIO0/0/0"), "Wlan-Radio0/0/0");
    EXPECT_EQ(interface_name("LoopBack 12"), "LoopBack12");
    for (const char* wrong : {"", "g", "0/0/0", "gx0/0/0", "g0/", "g/0", "g0//0", "g0/0/0x"})
        EXPECT_EQ(interface_name(wrong), std::nullopt) << wrong;
}

TEST(CliParameters, KnowMasksFromAddresses) {
    EXPECT_TRUE(is_mask("255.255.255.0"));
    EXPECT_TRUE(is_mask("0.0.0.0"));
    EXPECT_TRUE(is_mask("255.255.255.255"));
    EXPECT_FALSE(is_mask("255.0.255.0"));
    EXPECT_FALSE(is_mask("24"));
    EXPECT_EQ(mask_of_length(0), "0.0.0.0");
    EXPECT_EQ(mask_of_length(23), "255.255.254.0");
    EXPECT_EQ(mask_of_length(32), "255.255.255.255");
    EXPECT_EQ(length_of_mask("255.255.254.0"), 23U);
}

TEST(CliParameters, RejectAWordThatNamesNoKind) {
    EXPECT_THROW(Parameter("<nonsense>"), std::logic_error);
    EXPECT_EQ(Parameter("<1-4094>").label(), "INTEGER<1-4094>");
}

} // namespace
} // namespace sim::test
