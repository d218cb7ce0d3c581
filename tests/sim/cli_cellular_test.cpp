// The commands of a cellular uplink: names, access lists, dialling, APN profiles, translation; what each shows, refuses
// and leaves in the configuration; and the sessions that set an uplink up and take it down.
#include "tests/sim/cli_support.h"

namespace sim::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class CliCellular : public Cli {
protected:
    CliCellular() { go({"system-view"}); }
};

// Names, DHCP and 802.1X for the whole router.

TEST_F(CliCellular, ResolvesNamesForItselfAndForOthers) {
    go({"dns resolve", "dns proxy enable"});
    EXPECT_EQ(here(), "#\n sysname Tarkon\n#\n dns resolve\n dns proxy enable\n#\nreturn\n");
    go({"undo dns resolve"});
    EXPECT_THAT(here(), AllOf(Not(HasSubstr("dns resolve")), HasSubstr("dns proxy enable")));
    go({"undo dns proxy enable", "undo dns resolve", "undo dns proxy enable"});
    EXPECT_EQ(here(), "#\n sysname Tarkon\n#\nreturn\n");
}

struct AskedCommand {
    const char* enable;
    const char* disable;
    const char* prompt;
};

class AskedBefore : public Cli, public ::testing::WithParamInterface<AskedCommand> {};

INSTANTIATE_TEST_SUITE_P(
    Cli, AskedBefore,
    ::testing::Values(
        AskedCommand{"dhcp enable", "undo dhcp enable",
                     "Warning: DHCP ends on every interface, and what is set there is removed. Continue? [y/n]: "},
        AskedCommand{"dot1x enable", "undo dot1x enable",
                     "Warning: users who have been let in are cut off. Continue? [y/n]: "}));

TEST_P(AskedBefore, GoesOnlyWhenTheAnswerIsYes) {
    const AskedCommand& command = GetParam();
    go({"system-view", command.disable, command.enable});
    EXPECT_THAT(here(), HasSubstr(std::string("\n ") + command.enable + "\n"));

    const CliResult unanswered = run(command.disable);
    EXPECT_EQ(unanswered.error, static_cast<int>(Refusal::unanswered));
    EXPECT_THAT(unanswered.output, StartsWith(std::string(command.prompt) + "\n"));
    EXPECT_EQ(run(command.disable, sure).error, static_cast<int>(Refusal::unanswered)) << "another prompt's answer";
    EXPECT_EQ(output(command.disable, {{"Continue", "n"}}), std::string(command.prompt) + "n\n");
    EXPECT_THAT(here(), HasSubstr(command.enable));

    EXPECT_EQ(output(command.disable, go_on), std::string(command.prompt) + "y\n");
    EXPECT_THAT(here(), Not(HasSubstr(command.enable)));
}

// Access lists.

TEST_F(CliCellular, NumbersAccessListsFromTheHighestNumberDown) {
    go({"acl name first", "quit", "acl name second", "rule permit ip", "quit"});
    EXPECT_EQ(output("display acl all"), "Total nonempty ACLs: 1\n"
                                         "\n"
                                         "Advanced ACL first 3999, 0 rules\n"
                                         "ACL's step is 5\n"
                                         "\n"
                                         "Advanced ACL second 3998, 1 rule\n"
                                         "ACL's step is 5\n"
                                         " rule 5 permit ip\n");
    go({"undo acl name first", "acl name third", "quit"});
    EXPECT_THAT(output("display acl all"), HasSubstr("Advanced ACL third 3999, ")) << "a number that is free again";
    EXPECT_EQ(router.settings.acls.size(), 2U);
}

TEST_F(CliCellular, TakesTheNumberThatIsGivenWithAnAccessList) {
    go({"acl name fixed 3100"});
    EXPECT_EQ(session.view(), (View{ViewKind::acl, "fixed"}));
    go({"quit", "acl name fixed 3100", "quit", "acl name fixed", "quit"});
    EXPECT_EQ(error("acl name fixed 3101", Refusal::not_done), "Error: the number of ACL fixed is 3100.");
    EXPECT_EQ(error("acl name other 3100", Refusal::not_done), "Error: 3100 is the number of ACL fixed.");
    EXPECT_EQ(error("acl name other 4000", Refusal::wrong_value), "Error: \"4000\" is not a valid INTEGER<3000-3999>.");
    EXPECT_EQ(router.settings.acls.size(), 1U);
}

TEST_F(CliCellular, NumbersRulesInSteps) {
    go({"acl name a", "rule permit ip"});
    EXPECT_EQ(here(), "#\nacl name a 3999\n rule 5 permit ip\n#\nreturn\n");
    go({"rule permit ip"});
    EXPECT_EQ(here(), "#\nacl name a 3999\n rule 5 permit ip\n#\nreturn\n") << "the same rule once";
    go({"rule 7 deny ip", "undo rule 5", "rule permit ip"});
    EXPECT_EQ(here(), "#\nacl name a 3999\n rule 7 deny ip\n rule 10 permit ip\n#\nreturn\n");
    EXPECT_EQ(error("undo rule 5", Refusal::not_done), "Error: there is no rule 5.");
    go({"rule 65535 permit ip", "undo rule 7"});
    EXPECT_EQ(error("rule deny ip", Refusal::not_done), "Error: no number is left for a rule.");
}

TEST_F(CliCellular, RefusesAccessListsThatCannotBe) {
    EXPECT_EQ(error("undo acl name a", Refusal::not_done), "Error: there is no ACL a.");
    EXPECT_EQ(error("acl name " + std::string(33, 'a'), Refusal::wrong_value),
              "Error: an ACL's name has at most 32 characters.");
    go({("acl name " + std::string(32, 'a')).c_str(), "quit"});
    router.limits.acls = 1;
    EXPECT_EQ(error("acl name b", Refusal::not_done), "Error: the router has 1 ACLs, as many as it can have.");
    EXPECT_EQ(session.view().kind, ViewKind::system);
    go({("acl name " + std::string(32, 'a')).c_str()});
}

TEST_F(CliCellular, RunsOutOfNumbersForAccessLists) {
    router.limits.acls = 2000;
    for (unsigned number = lowest_acl_number; number <= highest_acl_number; ++number)
        router.settings.acls.push_back({.name = std::to_string(number), .number = number});
    EXPECT_EQ(error("acl name more", Refusal::not_done), "Error: no number is left for an ACL.");
}

TEST_F(CliCellular, FailsInTheViewOfWhatIsGone) {
    go({"acl name a"});
    router.settings.acls.clear();
    EXPECT_EQ(error("rule permit ip", Refusal::not_done), "Error: there is no ACL a any more.");
    go({"quit", "apn profile p"});
    router.settings.apn_profiles.clear();
    EXPECT_EQ(error("undo apn", Refusal::not_done), "Error: there is no APN profile p any more.");
    go({"quit"});
}

// Dialling.

TEST_F(CliCellular, KeepsDialerRules) {
    EXPECT_EQ(output("display this"), "#\n sysname Tarkon\n#\nreturn\n");
    go({"dialer-rule"});
    EXPECT_EQ(session.view(), (View{ViewKind::dialer_rule, ""}));
    EXPECT_EQ(here(), "#\nreturn\n");
    go({"dialer-rule 96 ip permit", "dialer-rule 2 ip deny", "dialer-rule 96 ip permit"});
    EXPECT_EQ(here(), "#\ndialer-rule\n dialer-rule 2 ip deny\n dialer-rule 96 ip permit\n#\nreturn\n");
    go({"undo dialer-rule 2"});
    EXPECT_EQ(error("undo dialer-rule 2", Refusal::not_done), "Error: there is no dialer rule 2.");
    EXPECT_EQ(error("dialer-rule 256 ip permit", Refusal::wrong_value),
              "Error: \"256\" is not a valid INTEGER<1-255>.");
    go({"quit"});
    EXPECT_EQ(session.view().kind, ViewKind::system);
}

TEST_F(CliCellular, SetsAndRemovesHowTheInterfaceDials) {
    go({"apn profile p", "quit", "interface Cellular0/0/0", "dialer enable-circular", "dialer-group 96",
        "apn-profile p", "dialer number *99# autodial"});
    EXPECT_EQ(session.view(), (View{ViewKind::cellular, "Cellular0/0/0"}));
    EXPECT_EQ(here(), "#\ninterface Cellular0/0/0\n dialer enable-circular\n dialer-group 96\n"
                      " dialer number *99# autodial\n apn-profile p\n#\nreturn\n");
    go({"dialer number 0123"});
    EXPECT_THAT(here(), HasSubstr("\n dialer number 0123\n"));
    go({"undo dialer enable-circular", "undo dialer-group", "undo apn-profile", "undo dialer number"});
    EXPECT_EQ(here(), "#\ninterface Cellular0/0/0\n#\nreturn\n");
    go({"undo dialer enable-circular", "undo dialer-group", "undo apn-profile", "undo dialer number"});
    EXPECT_EQ(error("dialer number " + std::string(31, '1'), Refusal::wrong_value),
              "Error: a number to dial has at most 30 characters.");
    EXPECT_EQ(interface("Cellular0/0/0").dialing, Dialing{});
}

TEST_F(CliCellular, DialsOnCellularInterfacesOnly) {
    go({"interface GigabitEthernet0/0/0"});
    EXPECT_EQ(error("dialer enable-circular", Refusal::unknown_word),
              "Error: unknown word \"dialer\" in the interface view; it is known in the system and the cellular "
              "interface and the dialer-rule view.");
}

// APN profiles.

TEST_F(CliCellular, ShowsAndSetsApnProfiles) {
    EXPECT_EQ(output("display apn-profile configuration"), "There are no APN profiles.\n");
    go({"apn profile vela", "user name joe password cipher s3cret authentication-mode chap", "apn internet.example"});
    EXPECT_EQ(session.view(), (View{ViewKind::apn_profile, "vela"}));
    EXPECT_EQ(here(), "#\napn profile vela\n user name joe password cipher s3cret authentication-mode chap\n"
                      " apn internet.example\n#\nreturn\n");
    EXPECT_EQ(output("display apn-profile configuration"), "profile-name       :vela\n"
                                                           "apn                :internet.example\n"
                                                           "user-name          :joe\n"
                                                           "authentication-mode:chap\n"
                                                           "\n");
    for (const char* mode : {"auto", "pap"}) {
        go({("user name joe password cipher x authentication-mode " + std::string(mode)).c_str()});
        EXPECT_THAT(here(), HasSubstr("password cipher x authentication-mode " + std::string(mode) + "\n"));
    }
    EXPECT_EQ(error("user name joe password cipher x authentication-mode none", Refusal::unknown_word),
              "Error: unknown word \"none\" in the APN profile view.");
    go({"undo user", "undo apn"});
    EXPECT_EQ(here(), "#\napn profile vela\n#\nreturn\n");
    go({"quit", "undo apn profile vela"});
    EXPECT_EQ(error("undo apn profile vela", Refusal::not_done), "Error: there is no APN profile vela.");
}

TEST_F(CliCellular, RefusesApnProfilesThatCannotBe) {
    EXPECT_EQ(error("apn profile " + std::string(33, 'p'), Refusal::wrong_value),
              "Error: an APN profile's name has at most 32 characters.");
    go({"apn profile p"});
    const std::string too_long(65, 'x');
    EXPECT_EQ(error("apn " + too_long, Refusal::wrong_value), "Error: an APN has at most 64 characters.");
    EXPECT_EQ(error("user name " + too_long + " password cipher x authentication-mode pap", Refusal::wrong_value),
              "Error: a user's name has at most 64 characters.");
    EXPECT_EQ(error("user name x password cipher " + too_long + " authentication-mode pap", Refusal::wrong_value),
              "Error: a password has at most 64 characters.");
    go({"quit", "interface Cellular0/0/0"});
    EXPECT_EQ(error("apn-profile other", Refusal::not_done), "Error: there is no APN profile other.");
    EXPECT_EQ(interface("Cellular0/0/0").dialing, Dialing{});
}

TEST_F(CliCellular, RemovesAnApnProfileThatAnInterfaceDialsWith) {
    go({"apn profile p", "quit", "interface Cellular0/0/0", "apn-profile p", "quit", "undo apn profile p",
        "interface Cellular0/0/0"});
    EXPECT_EQ(here(), "#\ninterface Cellular0/0/0\n apn-profile p\n#\nreturn\n") << "its name stays";
}

// Translation.

TEST_F(CliCellular, TranslatesForAccessListsThatAreThere) {
    go({"interface Cellular0/0/0"});
    EXPECT_EQ(error("nat outbound 3999", Refusal::not_done), "Error: there is no ACL 3999.");
    go({"quit", "acl name a", "quit", "acl name b", "quit", "interface Cellular0/0/0", "nat outbound 3999",
        "nat outbound 3998", "nat outbound 3999"});
    EXPECT_EQ(here(), "#\ninterface Cellular0/0/0\n nat outbound 3999\n nat outbound 3998\n#\nreturn\n");
    go({"undo nat outbound 3999"});
    EXPECT_EQ(error("undo nat outbound 3999", Refusal::not_done),
              "Error: Cellular0/0/0 does not translate for ACL 3999.");
    go({"quit", "undo acl name b", "interface Cellular0/0/0"});
    EXPECT_THAT(interface("Cellular0/0/0").nat_outbound, ElementsAre(3998U)) << "the list went, the translation stays";
    go({"undo nat outbound 3998"});
}

// The sessions. Where a step asks something first, the answer is checked.

constexpr const char* uplink = "#\n"
                               " sysname Tarkon\n"
                               "#\n"
                               " dns resolve\n"
                               "#\n"
                               "acl name vela_Cellular0/0/0_acl 3999\n"
                               " rule 5 permit ip\n"
                               "#\n"
                               "dialer-rule\n"
                               " dialer-rule 96 ip permit\n"
                               "#\n"
                               "apn profile vela_apn_Cellular0/0/0_profile\n"
                               " user name joe password cipher s3cret authentication-mode auto\n"
                               " apn internet.example\n"
                               "#\n"
                               "interface GigabitEthernet0/0/0\n"
                               " ip address 192.168.1.1 255.255.255.0\n"
                               "#\n"
                               "interface GigabitEthernet0/0/1\n"
                               "#\n"
                               "interface Cellular0/0/0\n"
                               " dialer enable-circular\n"
                               " dialer-group 96\n"
                               " dialer number *99# autodial\n"
                               " apn-profile vela_apn_Cellular0/0/0_profile\n"
                               " nat outbound 3999\n"
                               "#\n"
                               "interface Wlan-Radio0/0/0\n"
                               "#\n"
                               " ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0\n"
                               "#\n"
                               "return\n";

class Uplink : public Cli {
protected:
    // Runs the command when the text is not in the view's configuration.
    void unless_there(const std::string& text, const std::string& command) {
        if (here().find(text) == std::string::npos)
            go({command.c_str()});
    }
    void if_there(const std::string& text, const std::string& command) {
        if (here().find(text) != std::string::npos)
            go({command.c_str()});
    }
    void expect_view(ViewKind kind, const std::string& subject = {}) {
        EXPECT_EQ(session.view(), (View{kind, subject}));
    }
    // The number straight behind the list's name; empty when there is no such list.
    std::string acl_number() {
        const std::string needle = "Advanced ACL vela_Cellular0/0/0_acl ";
        const std::string all = output("display acl all");
        const std::size_t at = all.find(needle);
        return at == std::string::npos ? "" : all.substr(at + needle.size(), 4);
    }

    void open() {
        const std::string route = "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0";
        go({"return", "return", "system-view", "dns resolve"});
        unless_there(route, route);
        go({"acl name vela_Cellular0/0/0_acl"});
        expect_view(ViewKind::acl, "vela_Cellular0/0/0_acl");
        unless_there("permit ip", "rule permit ip");
        go({"quit", "dialer-rule"});
        expect_view(ViewKind::dialer_rule);
        go({"dialer-rule 96 ip permit", "quit", "apn profile vela_apn_Cellular0/0/0_profile"});
        expect_view(ViewKind::apn_profile, "vela_apn_Cellular0/0/0_profile");
        go({"user name joe password cipher s3cret authentication-mode auto", "apn internet.example", "quit",
            "interface Cellular0/0/0"});
        expect_view(ViewKind::cellular, "Cellular0/0/0");
        go({"dialer enable-circular", "dialer-group 96", "apn-profile vela_apn_Cellular0/0/0_profile"});
        unless_there("dialer number *99# autodial", "dialer number *99# autodial");
        const std::string nat = "nat outbound " + acl_number();
        unless_there(nat, nat);
        go({"return"});
        expect_view(ViewKind::user);
    }

    void close() {
        const std::string route = "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0";
        go({"return", "return", "system-view", "interface Cellular0/0/0"});
        if_there("dialer enable-circular", "undo dialer enable-circular");
        const std::string number = acl_number();
        if (!number.empty())
            if_there("nat outbound " + number, "undo nat outbound " + number);
        go({"quit", "undo dns resolve"});
        expect_view(ViewKind::system);
        if_there(route, "undo " + route);
        if (!number.empty())
            go({"undo acl name vela_Cellular0/0/0_acl"});
        if (output("display apn-profile configuration").find("profile-name       :vela_apn_Cellular0/0/0_profile") !=
            std::string::npos)
            go({"undo apn profile vela_apn_Cellular0/0/0_profile"});
        go({"dialer-rule"});
        if_there("dialer-rule 96 ip permit", "undo dialer-rule 96");
        go({"return"});
        expect_view(ViewKind::user);
    }
};

TEST_F(Uplink, ComesUp) {
    open();
    EXPECT_EQ(output("display current-configuration"), uplink);
}

TEST_F(Uplink, ComesUpTwiceWithoutASecondLineOfAnything) {
    open();
    open();
    EXPECT_EQ(output("display current-configuration"), uplink);
}

TEST_F(Uplink, GoesDownAndLeavesTheInterfacesThreeLines) {
    open();
    close();
    EXPECT_EQ(output("display current-configuration"), "#\n"
                                                       " sysname Tarkon\n"
                                                       "#\n"
                                                       "interface GigabitEthernet0/0/0\n"
                                                       " ip address 192.168.1.1 255.255.255.0\n"
                                                       "#\n"
                                                       "interface GigabitEthernet0/0/1\n"
                                                       "#\n"
                                                       "interface Cellular0/0/0\n"
                                                       " dialer-group 96\n"
                                                       " dialer number *99# autodial\n"
                                                       " apn-profile vela_apn_Cellular0/0/0_profile\n"
                                                       "#\n"
                                                       "interface Wlan-Radio0/0/0\n"
                                                       "#\n"
                                                       "return\n");
    close();
    open();
    EXPECT_EQ(output("display current-configuration"), uplink) << "and comes up again";
}

TEST_F(Uplink, GoesDownOnARouterWhereItNeverWas) {
    const std::string before = output("display current-configuration");
    close();
    EXPECT_EQ(output("display current-configuration"), before);
}

TEST_F(Uplink, GoesDownAfterThePartsWereRemovedByHand) {
    constexpr const char* by_hand[] = {
        "undo acl name vela_Cellular0/0/0_acl",
        "undo apn profile vela_apn_Cellular0/0/0_profile",
        "undo ip route-static 0.0.0.0 0.0.0.0",
        "undo dns resolve",
    };
    for (const char* command : by_hand) {
        open();
        go({"system-view", command});
        close();
        EXPECT_TRUE(router.settings.acls.empty()) << command;
        EXPECT_TRUE(router.settings.apn_profiles.empty()) << command;
        EXPECT_TRUE(router.settings.dialer_rules.empty()) << command;
        EXPECT_TRUE(router.routes.empty()) << command;
        EXPECT_FALSE(interface("Cellular0/0/0").dialing.circular) << command;
    }
}

} // namespace
} // namespace sim::test
