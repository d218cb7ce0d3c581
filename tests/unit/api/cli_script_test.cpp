// The steps that the provisioning recipes share: the channel, the views, the probes, and reading numbers out of what
// the router prints.
#include "api/cli_script.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gmock/gmock.h>
#include <optional>
#include <utility>

#include "support/scripted_cli.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

using Helper = ScriptedCli;

// ---- the channel ----

class ChannelProcess : public Helper {
protected:
    void CloseChannel() { g_bCliIsOpen = 0; }

    std::uint32_t handle = 0x0badbad0;
    bool openedHere = true;
};

TEST_F(ChannelProcess, OpensAClosedChannelAndSaysSo) {
    CloseChannel();
    openedHere = false;
    EXPECT_TRUE(cli_channel_process(&handle, &openedHere));
    EXPECT_TRUE(openedHere);
    EXPECT_EQ(handle, kRouterHandle);
    EXPECT_THAT(Sent(), ElementsAre("(open)", "return"));
    EXPECT_THAT(Said(), ElementsAre("6 vela_cli_open_imp cli open success, cli handle = 168496141"));
}

TEST_F(ChannelProcess, UsesAnOpenChannelAndLeavesTheHandleAlone) {
    handle = kRouterHandle;
    EXPECT_TRUE(cli_channel_process(&handle, &openedHere));
    EXPECT_FALSE(openedHere);
    EXPECT_EQ(handle, kRouterHandle);
    EXPECT_THAT(Sent(), ElementsAre("return"));
    EXPECT_THAT(Said(), IsEmpty());

    // Whatever the caller's variable holds.
    handle = 5;
    EXPECT_TRUE(cli_channel_process(&handle, &openedHere));
    EXPECT_EQ(handle, 5U);
    EXPECT_THAT(Sent(), ElementsAre("return", "return {handle 5}"));
}

TEST_F(ChannelProcess, FailsWhenTheChannelDoesNotOpen) {
    CloseChannel();
    Play(CliTable().At("(open)", Rejects()));
    EXPECT_FALSE(cli_channel_process(&handle, &openedHere));
    EXPECT_FALSE(openedHere);
    EXPECT_THAT(Sent(), ElementsAre("(open)"));
    EXPECT_THAT(Said(), ElementsAre("3 vela_cli_open_imp refused", "3 cli_channel_process cli open failed"));
}

TEST_F(ChannelProcess, FailsWithoutASession) {
    CloseChannel();
    g_bSessionIsOpen = 0;
    EXPECT_FALSE(cli_channel_process(&handle, &openedHere));
    EXPECT_FALSE(openedHere);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(Said(), ElementsAre("3 vela_cli_open_imp session not open", "3 cli_channel_process cli open failed"));
}

TEST_F(ChannelProcess, FailsWhenTheRouterStaysInItsViewAndSaysWhetherItOpenedTheChannel) {
    for (const bool isOpen : {true, false}) {
        g_bCliIsOpen = isOpen;
        Play(CliTable().At("return", Rejects()));
        EXPECT_FALSE(cli_channel_process(&handle, &openedHere));
        EXPECT_EQ(openedHere, !isOpen);
        Lines said = Said();
        ASSERT_THAT(said, testing::SizeIs(isOpen ? 2 : 3));
        EXPECT_EQ(said.back(), "3 cli_channel_process return, Enter <Tarkon> mode");
        EXPECT_EQ(*(said.end() - 2), Refused("return"));
    }
}

// ---- the views ----

TEST_F(Helper, EntersTheSystemModeFromAnywhere) {
    EXPECT_TRUE(entry_system_mode());
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view"));
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(Helper, GoesOnToTheSystemModeAfterAFailedReturnButHasFailed) {
    Play(CliTable().At("return", Rejects()));
    EXPECT_FALSE(entry_system_mode());
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view"));
    EXPECT_THAT(Said(), ElementsAre(Refused("return"), "3 entry_system_mode return"));
}

TEST_F(Helper, FailsToEnterTheSystemMode) {
    Play(CliTable().At("system-view", Rejects()));
    EXPECT_FALSE(entry_system_mode());
    EXPECT_THAT(Said(), ElementsAre(Refused("system-view"), "3 entry_system_mode system-view"));

    Play(CliTable().At("return", Rejects()).At("system-view", Rejects()));
    EXPECT_FALSE(entry_system_mode());
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view"));
    EXPECT_THAT(Said(), ElementsAre(Refused("return"), "3 entry_system_mode return", Refused("system-view"),
                                    "3 entry_system_mode system-view"));
}

TEST_F(Helper, ReturnsToTheUserMode) {
    EXPECT_TRUE(return_user_mode());
    EXPECT_THAT(Sent(), ElementsAre("return"));
    EXPECT_THAT(Said(), IsEmpty());
    Play(CliTable().At("return", Rejects()));
    EXPECT_FALSE(return_user_mode());
    EXPECT_THAT(Said(), ElementsAre(Refused("return"), "3 return_user_mode return"));
}

// ---- the probe ----

TEST_F(Helper, FindsATextAnywhereInWhatIsDisplayed) {
    const std::vector<std::pair<std::string, bool>> rows = {
        {"wlan 1", true},   {"x wlan 12\n", true}, {"wlan 1", true},  {"\n\nwlan 1", true}, {"Wlan 1", false},
        {"wlan  1", false}, {"wlan", false},       {"wlan 2", false}, {"wla\nn 1", false}};
    for (const auto& [shown, found] : rows) {
        Play(CliTable{{"display this", shown}});
        EXPECT_EQ(check_rule_exsit("wlan 1", "display this"), found) << shown;
        EXPECT_THAT(Sent(), ElementsAre("display this"));
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(Helper, FindsNothingWhereNothingIsDisplayed) {
    Play({});
    EXPECT_FALSE(check_rule_exsit("wlan 1", "display this"));
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(Helper, FindsNothingWhenTheDisplayIsRefused) {
    Play(CliTable().At("display x", RejectsPrinting("no x, but wlan 1")));
    EXPECT_FALSE(check_rule_exsit("wlan 1", "display x"));
    EXPECT_THAT(Said(), ElementsAre(Refused("display x", "no x, but wlan 1"),
                                    "3 check_rule_exsit display x, result = no x, but wlan 1"));
    Play(CliTable().At("display x", Rejects()));
    EXPECT_FALSE(check_rule_exsit("wlan 1", "display x"));
    EXPECT_THAT(Said(), ElementsAre(Refused("display x"), "3 check_rule_exsit display x, result = (null)"));
}

// ---- ranges ----

using Range = std::pair<std::int32_t, std::int32_t>;

class IdRange : public Helper {
protected:
    std::optional<Range> Read(const std::string& help, const char* keyword = "INTEGER", const char* left = "<",
                              const char* middle = "-", const char* right = ">") {
        Play(CliTable{{"vlan ?", help}});
        return Ask(keyword, left, middle, right);
    }

    std::optional<Range> Ask(const char* keyword = "INTEGER", const char* left = "<", const char* middle = "-",
                             const char* right = ">") {
        Range range{-77, -78};
        const bool found = get_id_range(&range.first, &range.second, "vlan ?", keyword, left, middle, right);
        EXPECT_THAT(Sent(), ElementsAre("vlan ?"));
        return found ? std::optional(range) : std::nullopt;
    }
};

TEST_F(IdRange, ReadsWhatStandsBetweenTheMarks) {
    const std::vector<std::pair<std::string, Range>> rows = {
        {"INTEGER<2-10>", {2, 10}},
        {"  INTEGER<1-4094>  VLAN ID\n  brief\n", {1, 4094}},
        {"<7-8> INTEGER<2-10>", {2, 10}},        // from the keyword on
        {"INTEGER<2-10> INTEGER<3-4>", {2, 10}}, // the first
        {"INTEGER or STRING\n<2-10>", {2, 10}},  // far behind it
        {"INTEGER< 2 - 10 >", {2, 10}},          // leading blanks are skipped
        {"INTEGER<\t2-\n10>", {2, 10}},
        {"INTEGER<2x-10y>", {2, 10}}, // a number ends where its digits end
        {"INTEGER<2 3-10 11>", {2, 10}},
        {"INTEGER<a-b>", {0, 0}},
        {"INTEGER<->", {0, 0}},
        {"INTEGER<5--10>", {5, -10}},
        {"INTEGER<-5-10>", {0, 5}}, // the first hyphen is the middle
        {"INTEGER<+2-+10>", {2, 10}},
        {"INTEGER<007-010>", {7, 10}},
        {"INTEGER<2147483647-2147483647>", {2147483647, 2147483647}},
        {"INTEGER<          5-          9>", {5, 9}}, // 11 characters each
        {"INTEGER<00000000005-00000000009>", {5, 9}},
    };
    for (const auto& [help, range] : rows) {
        EXPECT_EQ(Read(help), range) << help;
        EXPECT_THAT(Said(), IsEmpty()) << help;
    }
}

TEST_F(IdRange, TakesTheLeftMarkForTheKeyword) {
    EXPECT_EQ(Read("  <1-32>  interface number", "<"), Range(1, 32));
    EXPECT_EQ(Read("- > <1-32><4-5>", "<"), Range(1, 32));
}

TEST_F(IdRange, TakesMarksOfAnyLength) {
    EXPECT_EQ(Read("INTEGER [from 3 to 9 at most]", "INTEGER", "[from", "to", "at most"), Range(3, 9));
}

TEST_F(IdRange, FailsWithoutTheKeyword) {
    for (const char* const help : {"<2-10>", "INTEGE<2-10>", "integer<2-10>", "x"}) {
        EXPECT_EQ(Read(help), std::nullopt) << help;
        EXPECT_THAT(Said(), ElementsAre("3 get_id_range pINTEGER = (null)"));
    }
}

TEST_F(IdRange, FailsWithoutAllThreeMarks) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"INTEGER", "pMinLeft = (nil), pMinRight = (nil), pMaxRight = (nil)"},
        {"INTEGER<", "pMinLeft = 0x#, pMinRight = (nil), pMaxRight = (nil)"},
        {"INTEGER<2", "pMinLeft = 0x#, pMinRight = (nil), pMaxRight = (nil)"},
        {"INTEGER<2-", "pMinLeft = 0x#, pMinRight = 0x#, pMaxRight = (nil)"},
        {"INTEGER<2-10", "pMinLeft = 0x#, pMinRight = 0x#, pMaxRight = (nil)"},
        {"INTEGER 2-10>", "pMinLeft = (nil), pMinRight = 0x#, pMaxRight = 0x#"},
        {"INTEGER<2 10>", "pMinLeft = 0x#, pMinRight = (nil), pMaxRight = 0x#"},
        {"<2-10> INTEGER", "pMinLeft = (nil), pMinRight = (nil), pMaxRight = (nil)"},
        {"<2-10 INTEGER>", "pMinLeft = (nil), pMinRight = (nil), pMaxRight = 0x#"},
    };
    for (const auto& [help, said] : rows) {
        EXPECT_EQ(Read(help), std::nullopt) << help;
        EXPECT_THAT(Said(), ElementsAre("3 get_id_range " + said)) << help;
    }
}

const std::string kMarks = "3 get_id_range pMinLeft = 0x#, pMinRight = 0x#, pMaxRight = 0x#";

// Each mark is looked for on its own, so they can stand in any order; there is a range in one of them only.
TEST_F(IdRange, FailsWhenTheMarksAreNotInOrder) {
    for (const char* const help : {"INTEGER<2>10-", "INTEGER-2<10>", "INTEGER-2>10<", "INTEGER>2<10-", "INTEGER>2-10<",
                                   "INTEGER><-", "INTEGER - <2-10>", "INTEGER > <2-10>"}) {
        EXPECT_EQ(Read(help), std::nullopt) << help;
        EXPECT_THAT(Said(), ElementsAre(kMarks)) << help;
    }
}

TEST_F(IdRange, FailsWhenMoreThan11CharactersStandBetweenTwoMarks) {
    for (const std::size_t length : {12U, 13U, 64U, 5000U}) {
        const std::string padded = std::string(length - 1, ' ') + "5";
        for (const std::string& help : {"INTEGER<" + padded + "-10>", "INTEGER<2-" + padded + ">"}) {
            EXPECT_EQ(Read(help), std::nullopt) << length;
            EXPECT_THAT(Said(), ElementsAre(kMarks)) << length;
        }
    }
}

TEST_F(IdRange, FailsWhenTheHelpIsRefused) {
    for (const CliReply& reply : {Rejects(), RejectsPrinting("INTEGER<2-10>")}) {
        Play(CliTable().At("vlan ?", reply));
        EXPECT_EQ(Ask(), std::nullopt);
        EXPECT_THAT(Said(), ElementsAre(Refused("vlan ?", reply.output.value_or("(null)")), "3 get_id_range vlan ?"));
    }
}

TEST_F(IdRange, FailsWithoutHelp) {
    Play({});
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Said(), ElementsAre("3 get_id_range result = (null)"));
}

// ---- the radio's range of WLAN ids ----

class WlanIdRange : public Helper {
protected:
    static CliTable Table() { return CliTable{{"service-set name test wlan ? ", "INTEGER<1-16>"}}; }

    Range range{-77, -78};
    bool Ask() { return get_wlan_id_range(&range.first, &range.second, "Wlan-Radio0/0/0"); }
};

TEST_F(WlanIdRange, IsAskedForInTheRadiosView) {
    Play(Table());
    EXPECT_TRUE(Ask());
    EXPECT_EQ(range, Range(1, 16));
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "interface Wlan-Radio0/0/0",
                                    "service-set name test wlan ? ", "return"));
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(WlanIdRange, StopsAtTheFirstFailure) {
    struct Row {
        std::string command;
        Lines records;
    };
    const std::vector<Row> rows = {
        {"return", {"3 entry_system_mode return", "3 get_wlan_id_range entry system mode"}},
        {"system-view", {"3 entry_system_mode system-view", "3 get_wlan_id_range entry system mode"}},
        {"interface Wlan-Radio0/0/0", {"3 get_wlan_id_range interface Wlan-Radio0/0/0"}},
        {"service-set name test wlan ? ",
         {"3 get_id_range service-set name test wlan ? ", "3 get_wlan_id_range get wlan id range"}},
        {"return", {"3 return_user_mode return", "3 get_wlan_id_range return user mode"}},
    };
    for (std::size_t nth = 0; nth < rows.size(); ++nth) {
        Play(Table().AtNth(nth, Rejects()));
        EXPECT_FALSE(Ask());
        Lines expected = rows[nth].records;
        expected.insert(expected.begin(), Refused(rows[nth].command));
        EXPECT_EQ(Said(), expected);
        // A failed return is followed by the system view all the same.
        EXPECT_THAT(Sent(), testing::SizeIs(nth == 0 ? 2 : nth + 1));
    }
}

// ---- names ----

TEST(InterfaceName, IsCellular0WhateverStandsForIt) {
    for (const char* const given : {static_cast<const char*>(nullptr), "Cellular0/0/0"}) {
        std::array<char, 16> name{};
        name.fill('#');
        EXPECT_TRUE(get_interface_name(given, name.data()));
        EXPECT_EQ(std::string(name.data(), name.size()), std::string("Cellular0/0/0\0##", 16));
    }
}

TEST(InterfaceName, IsNothingElse) {
    const std::vector<std::pair<const char*, const char*>> rows = {
        {"Cellular0/0/1", "not support Cellular0/0/1, only support Cellular0/0/0"},
        {"cellular0/0/0", "interface name error, interface_name = cellular0/0/0"},
        {"Cellular0/0/0 ", "interface name error, interface_name = Cellular0/0/0 "},
        {"Cellular0/0/", "interface name error, interface_name = Cellular0/0/"},
        {"", "interface name error, interface_name = "},
    };
    for (const auto& [given, said] : rows) {
        TakeRecords();
        char name[16] = "untouched";
        EXPECT_FALSE(get_interface_name(given, name));
        EXPECT_STREQ(name, "untouched");
        EXPECT_THAT(LinesOf(Records()), ElementsAre(std::string("3 get_interface_name ") + said));
    }
}

TEST(RadioNumber, IsTheLastDigitOfTheTwoRadios) {
    TakeRecords();
    std::int32_t value = -1;
    EXPECT_TRUE(convert_radio_interface_to_value("Wlan-Radio0/0/0", &value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(convert_radio_interface_to_value("Wlan-Radio0/0/1", &value));
    EXPECT_EQ(value, 1);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST(RadioNumber, IsNoneOfAnythingElse) {
    const std::vector<std::pair<const char*, std::string>> rows = {{nullptr, "radio_if = NULL"},
                                                                   {"", "radio_if = "},
                                                                   {"Wlan-Radio0/0/2", "radio_if = Wlan-Radio0/0/2"},
                                                                   {"Wlan-Radio0/0/00", "radio_if = Wlan-Radio0/0/00"},
                                                                   {"wlan-radio0/0/0", "radio_if = wlan-radio0/0/0"}};
    for (const auto& [name, said] : rows) {
        TakeRecords();
        std::int32_t value = 42;
        EXPECT_FALSE(convert_radio_interface_to_value(name, &value));
        EXPECT_EQ(value, 42);
        EXPECT_THAT(LinesOf(Records()), ElementsAre("3 convert_radio_interface_to_value " + said));
    }
}

// ---- the access list's number ----

class AclNumber : public Helper {
protected:
    std::optional<std::int32_t> Ask(const char* interface = "Cellular0/0/0") {
        std::int32_t number = -77;
        const bool found = get_vela_acl_num(interface, &number);
        EXPECT_THAT(Sent(), ElementsAre("display acl all"));
        return found ? std::optional(number) : std::nullopt;
    }
    std::optional<std::int32_t> Read(const std::string& lists) {
        Play(CliTable{{"display acl all", lists}});
        return Ask();
    }
};

TEST_F(AclNumber, IsReadFromTheFourCharactersBehindTheName) {
    const std::string name = "Advanced ACL vela_Cellular0/0/0_acl ";
    const std::vector<std::pair<std::string, std::int32_t>> rows = {{"3998, 1 rule\n", 3998},
                                                                    {"399, 1 rule", 399},
                                                                    {"39, 1 rule", 39},
                                                                    {"3, 1 rule", 3},
                                                                    {"39981, 1", 3998},
                                                                    {"399812", 3998},
                                                                    {" 398 1", 398},
                                                                    {"   7", 7},
                                                                    {"-12 ", -12},
                                                                    {"rule", 0},
                                                                    // The end of the reply comes first.
                                                                    {"3998", 3998},
                                                                    {"399", 399},
                                                                    {"39", 39},
                                                                    {"3", 3},
                                                                    {"", 0}};
    for (const auto& [behind, number] : rows) {
        EXPECT_EQ(Read(name + behind), number) << behind;
        EXPECT_EQ(Read("Advanced ACL 3001\n" + name + behind), number) << behind;
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(AclNumber, IsThatOfTheInterfacesList) {
    Play(CliTable{{"display acl all", "Advanced ACL vela_Cellular0/0/0_acl 3998\nAdvanced ACL vela_x_acl 3997\n"}});
    EXPECT_EQ(Ask("x"), 3997);
}

TEST_F(AclNumber, IsMissingWithoutTheListsName) {
    for (const char* const lists : {"Advanced ACL vela_Cellular0/0/0_acl", "Advanced ACL vela_Cellular0/0/1_acl 3998",
                                    "advanced ACL vela_Cellular0/0/0_acl 3998", "Advanced ACL 3998", "x"}) {
        EXPECT_EQ(Read(lists), std::nullopt) << lists;
        EXPECT_THAT(Said(), ElementsAre("3 get_vela_acl_num Advanced ACL vela_Cellular0/0/0_acl  does not exsit"));
    }
}

TEST_F(AclNumber, IsMissingWhenTheListsAreNotShown) {
    Play(CliTable().At("display acl all", RejectsPrinting("Advanced ACL vela_Cellular0/0/0_acl 3998")));
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Said(),
                ElementsAre(Refused("display acl all", "Advanced ACL vela_Cellular0/0/0_acl 3998"),
                            "3 get_vela_acl_num display acl all, acl_cfg = Advanced ACL vela_Cellular0/0/0_acl 3998"));
    Play(CliTable().At("display acl all", Rejects()));
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Said(),
                ElementsAre(Refused("display acl all"), "3 get_vela_acl_num display acl all, acl_cfg = (null)"));
    Play({});
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Said(), ElementsAre("3 get_vela_acl_num display acl all, acl_cfg = (null)"));
}

} // namespace
