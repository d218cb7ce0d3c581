// The single steps of making and removing an access point: the probes, the numbers read out of what the router prints,
// the removals, and the steps that no recipe takes.
#include "api/wlan.h"

#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <utility>

#include "support/scripted_cli.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

using Wlan = ScriptedCli;

const char* const kRadio0 = "Wlan-Radio0/0/0";
const char* const kBssList = "display interface Wlan-Bss | include Wlan-Bss|Description";
const char* const kBssUsed = "display interface Wlan-Bss | include Wlan-Bss";

// ---- what is served and taken ----

class ServedSsid : public Wlan {
protected:
    static CliTable Table(const std::string& radio, const std::string& sets) {
        return CliTable{{"display this", radio},
                        {"display service-set all", sets},
                        {"service-set name test wlan ? ", "INTEGER<2-12>"}};
    }
    static std::string Cell(const std::string& set, const std::string& ssid) {
        return set + std::string(32 - set.size(), ' ') + ssid;
    }
};

TEST_F(ServedSsid, StandsInTheTableAndItsServiceSetOnTheRadio) {
    struct Row {
        std::string radio;
        std::string sets;
        bool served;
    };
    const std::string two = Cell("vela_service_set_2_0", "cafe");
    const std::string twelve = Cell("vela_service_set_12_0", "cafe");
    const std::vector<Row> rows = {
        {"wlan 2", two, true},
        {"wlan 12", twelve, true},
        {"wlan 12\nwlan 2\n", "x\n" + two + "house\ny", true}, // "cafehouse" begins like it
        {"wlan 2", Cell("vela_service_set_2_0", "my cafe"), false},
        {"wlan 2", "vela_service_set_2_0 cafe", false},
        {"wlan 2", Cell("vela_service_set_2_1", "cafe"), false},
        {"wlan 3", two, false},
        {"wlan 2", twelve, false},
        {"wlan 1", Cell("vela_service_set_1_0", "cafe"), false},   // below the range
        {"wlan 13", Cell("vela_service_set_13_0", "cafe"), false}, // above it
        {"wlan  2", two, false},
        {"wlan 25", two, true}, // 2 is found in 25
    };
    for (const auto& [radio, sets, served] : rows) {
        Play(Table(radio, sets));
        EXPECT_EQ(check_ssid_exsit("cafe", kRadio0), served) << radio << " / " << sets;
        EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "interface Wlan-Radio0/0/0", "display this",
                                        "display service-set all", "service-set name test wlan ? ", "return"));
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(ServedSsid, IsNoneWhereTheAnswersAreMissing) {
    for (const std::size_t nth : {3U, 4U}) {
        Play(Table("wlan 2", Cell("vela_service_set_2_0", "cafe")).AtNth(nth, SaysNothing()));
        EXPECT_FALSE(check_ssid_exsit("cafe", kRadio0));
        EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "interface Wlan-Radio0/0/0", "display this",
                                        "display service-set all", "return"));
        EXPECT_THAT(Said(), ElementsAre("3 check_ssid_exsit radio_cfg = NULL | service_set_info = NULL"));
    }
}

TEST_F(ServedSsid, IsNoneWithoutARange) {
    Play(Table("wlan 2", Cell("vela_service_set_2_0", "cafe")).Print("service-set name test wlan ? ", "INTEGER<2>"));
    EXPECT_FALSE(check_ssid_exsit("cafe", kRadio0));
    EXPECT_THAT(Said(), ElementsAre("3 get_id_range pMinLeft = 0x#, pMinRight = (nil), pMaxRight = 0x#",
                                    "3 check_ssid_exsit get wlan id range"));
    EXPECT_EQ(Sent().back(), "return");
}

TEST_F(ServedSsid, StaysFoundWhenTheRouterStaysInItsView) {
    Play(Table("wlan 2", Cell("vela_service_set_2_0", "cafe")).AtNth(6, Rejects()));
    EXPECT_TRUE(check_ssid_exsit("cafe", kRadio0));
    EXPECT_THAT(Said(), ElementsAre(Refused("return"), "3 return_user_mode return",
                                    "3 check_ssid_exsit return use mode failed"));
}

TEST_F(Wlan, AnIdIsTakenThatStandsOnTheRadioOrBeginsOneThere) {
    const std::vector<std::pair<std::string, bool>> rows = {
        {"wlan 1", true}, {"service-set id 0 wlan 12\n", true}, {"wlan 2", false}, {"wlan", false}, {"Wlan 1", false}};
    for (const auto& [radio, taken] : rows) {
        Play(CliTable{{"display this", radio}});
        EXPECT_EQ(check_vap_id_cfg_exsit(1, kRadio0), taken) << radio;
        EXPECT_THAT(Sent(),
                    ElementsAre("return", "system-view", "interface Wlan-Radio0/0/0", "display this", "return"));
        EXPECT_EQ(Said(), taken ? Lines() : Lines{"6 check_vap_id_cfg_exsit wlan 1 not exsit"});
    }
}

TEST_F(Wlan, ATakenIdIsNotTakenWhenTheRouterStaysInItsView) {
    Play(CliTable{{"display this", "wlan 1"}}.AtNth(4, Rejects()));
    EXPECT_FALSE(check_vap_id_cfg_exsit(1, kRadio0));
    EXPECT_THAT(Said(), ElementsAre(Refused("return"), "3 return_user_mode return"));
}

// ---- free numbers ----

TEST_F(Wlan, TheLowestVlanThatIsNotListedIsFree) {
    struct Row {
        std::string help;
        std::string listed;
        std::optional<int> free;
    };
    const std::vector<Row> rows = {
        {"INTEGER<1-4094>", "1       common  enable\n", 2},
        {"INTEGER<1-4094>", "1       common\n2       common\n4       common\n", 3},
        {"INTEGER<1-4094>", "nothing", 1},
        {"INTEGER<5-9>", "1       common\n", 5},
        {"INTEGER<5-9>", "5       common\n6       common\n", 7},
        {"INTEGER<1-4094>", "1      common\n", 1},   // a column less
        {"INTEGER<1-4094>", "1        common\n", 1}, // a column more
        {"INTEGER<1-4094>", "1       super\n", 1},
        {"INTEGER<1-9>", "11      common\n", 1},
        {"INTEGER<1-9>", "21       common\n1       common\n", 2},
        {"INTEGER<1-2>", "1       common\n2       common\n", std::nullopt},
        {"INTEGER<3-2>", "nothing", std::nullopt},
        {"INTEGER<4094-4094>", "1       common\n", 4094},
    };
    for (const auto& [help, listed, free] : rows) {
        Play(CliTable{{"display vlan ?", help}, {"display vlan", listed}});
        int vlan = -77;
        EXPECT_EQ(get_valid_vlan_id(vlan), free.has_value()) << help << " / " << listed;
        EXPECT_EQ(vlan, free.value_or(-77)) << help << " / " << listed;
        EXPECT_THAT(Sent(), ElementsAre("display vlan ?", "display vlan"));
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(Wlan, NoVlanIsFreeWhereTheAnswersAreMissing) {
    const CliTable table{{"display vlan ?", "INTEGER<1-4094>"}, {"display vlan", "1       common"}};
    int vlan = -77;
    Play(CliTable(table).At("display vlan ?", Rejects()));
    EXPECT_FALSE(get_valid_vlan_id(vlan));
    EXPECT_THAT(Said(), ElementsAre(Refused("display vlan ?"), "3 get_id_range display vlan ?",
                                    "3 get_valid_vlan_id get vlan id range"));
    EXPECT_THAT(Sent(), ElementsAre("display vlan ?"));
    Play(CliTable(table).At("display vlan", RejectsPrinting("no")));
    EXPECT_FALSE(get_valid_vlan_id(vlan));
    EXPECT_THAT(Said(), ElementsAre(Refused("display vlan", "no"), "3 get_valid_vlan_id display vlan"));
    Play(CliTable(table).At("display vlan", SaysNothing()));
    EXPECT_FALSE(get_valid_vlan_id(vlan));
    EXPECT_THAT(Said(), ElementsAre("3 get_valid_vlan_id result = NULL"));
}

CliTable BssTable(const std::string& used) {
    return CliTable{{"interface Wlan-Bss ?", "  <1-3>  Wlan-Bss interface number"},
                    {"display interface ?", "Wlan-Bss  Wlan-Bss interface"},
                    {kBssUsed, used}};
}

TEST_F(Wlan, TheLowestWlanBssInterfaceThatIsNotShownIsFree) {
    const std::vector<std::pair<std::string, std::optional<std::int32_t>>> rows = {
        {"Wlan-Bss1 current state : UP\n", 2},
        {"Wlan-Bss2 current state : UP\n", 1},
        {"Wlan-Bss1 x\nWlan-Bss2 x\n", 3},
        {"Wlan-Bss3 x\nWlan-Bss1 x\n", 2},
        {"Wlan-Bss12 current state : UP\n", 1},
        {"Wlan-Bss1\n", 1}, // no blank behind it
        {"nothing", 1},
        {"Wlan-Bss1 Wlan-Bss2 Wlan-Bss3 ", std::nullopt},
    };
    for (const auto& [used, free] : rows) {
        Play(BssTable(used));
        std::int32_t bss = -77;
        EXPECT_EQ(get_valid_wlan_bss_id(&bss), free.has_value()) << used;
        EXPECT_EQ(bss, free.value_or(-77)) << used;
        EXPECT_THAT(Sent(), ElementsAre("interface Wlan-Bss ?", "display interface ?", kBssUsed));
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(Wlan, TheLowestWlanBssInterfaceIsFreeWhereThereAreNone) {
    for (const CliReply& kinds : {Prints("Vlanif  Vlan interface"), SaysNothing()}) {
        Play(BssTable("Wlan-Bss1 ").At("display interface ?", kinds).Print("interface Wlan-Bss ?", "<7-9>"));
        std::int32_t bss = -77;
        EXPECT_TRUE(get_valid_wlan_bss_id(&bss));
        EXPECT_EQ(bss, 7);
        EXPECT_THAT(Sent(), ElementsAre("interface Wlan-Bss ?", "display interface ?"));
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(Wlan, NoWlanBssInterfaceIsFreeWhereTheAnswersAreMissing) {
    std::int32_t bss = -77;
    Play(BssTable("x").At("interface Wlan-Bss ?", SaysNothing()));
    EXPECT_FALSE(get_valid_wlan_bss_id(&bss));
    EXPECT_THAT(Said(), ElementsAre("3 get_id_range result = (null)", "3 get_valid_wlan_bss_id get wlan-Bss id range"));
    Play(BssTable("x").At(kBssUsed, RejectsPrinting("no")));
    EXPECT_FALSE(get_valid_wlan_bss_id(&bss));
    EXPECT_THAT(Said(), ElementsAre(Refused(kBssUsed, "no"), std::string("3 get_valid_wlan_bss_id ") + kBssUsed));
    Play(BssTable("x").At(kBssUsed, SaysNothing()));
    EXPECT_FALSE(get_valid_wlan_bss_id(&bss));
    EXPECT_THAT(Said(), ElementsAre("3 get_valid_wlan_bss_id result = NULL"));
}

// ---- numbers found again ----

class VlanNumber : public Wlan {
protected:
    std::optional<std::int32_t> Read(const std::string& brief, std::int32_t vap = 1) {
        Play(CliTable{{"display vlan brief", brief}});
        std::int32_t vlan = -77;
        const bool found = get_vlan_id_by_vap_id(vap, kRadio0, &vlan);
        EXPECT_THAT(Sent(), ElementsAre("display vlan brief"));
        return found ? std::optional(vlan) : std::nullopt;
    }
};

TEST_F(VlanNumber, StandsInTheFourColumnsThatEndTwoBeforeTheName) {
    const std::vector<std::pair<std::string, std::int32_t>> rows = {
        {"2     vela_vlan_1_0 x", 2},
        {"12    vela_vlan_1_0 x", 12},
        {"123   vela_vlan_1_0 x", 123},
        {" 12   vela_vlan_1_0 x", 12},
        {"1 12   vela_vlan_1_0 x", 12},
        {"      vela_vlan_1_0 x", 0},
        {"4094  vela_vlan_1_0 x", 4094},
        {"4094# vela_vlan_1_0 x", 4094},
        {"   7  vela_vlan_1_0 x", 7},
        {"94094# vela_vlan_1_0 x", 4094}, // a fifth digit
        {"VID  Name\n1     VLAN 0001\n4000  vela_vlan_2_0 \n4001  vela_vlan_1_0 \n", 4001},
        {"4000  vela_vlan_1_0 \n4001  vela_vlan_1_0 \n", 4000},
        {"none  vela_vlan_1_0 ", 0},
    };
    for (const auto& [brief, vlan] : rows) {
        EXPECT_EQ(Read(brief), vlan) << brief;
        EXPECT_THAT(Said(), IsEmpty()) << brief;
    }
}

// A name at the reply's start has no columns before it.
TEST_F(VlanNumber, IsMissingWithFewerThanFiveCharactersBeforeTheName) {
    for (const char* const before : {"", "1", "12", "123", "1234"})
        EXPECT_EQ(Read(std::string(before) + " vela_vlan_1_0 "), std::nullopt) << before;
}

TEST_F(VlanNumber, IsMissingWithoutTheWholeName) {
    for (const char* const brief : {"12345 vela_vlan_1_0", "12345-vela_vlan_1_0 ", "12345 vela_vlan_11_0 ",
                                    "12345 vela_vlan_1_00 ", "12345 Vela_vlan_1_0 ", "12345 vela_vlan_1_1 ", "x"}) {
        EXPECT_EQ(Read(brief), std::nullopt) << brief;
        EXPECT_THAT(Said(), ElementsAre("6 get_vlan_id_by_vap_id vlan  vela_vlan_1_0  does not exsit"));
    }
    EXPECT_EQ(Read("12345 vela_vlan_-1_0 ", -1), 1234);
}

TEST_F(VlanNumber, IsMissingWhenTheListIsNotShown) {
    std::int32_t vlan = -77;
    Play(CliTable().At("display vlan brief", RejectsPrinting("12345 vela_vlan_1_0 ")));
    EXPECT_FALSE(get_vlan_id_by_vap_id(1, kRadio0, &vlan));
    EXPECT_THAT(Said(), ElementsAre(Refused("display vlan brief", "12345 vela_vlan_1_0 "),
                                    "3 get_vlan_id_by_vap_id display vlan brief"));
    Play({});
    EXPECT_FALSE(get_vlan_id_by_vap_id(1, kRadio0, &vlan));
    EXPECT_THAT(Said(), ElementsAre("3 get_vlan_id_by_vap_id vlan_brief = NULL"));
}

TEST_F(VlanNumber, NamesTheRadioByItsNumber) {
    std::int32_t vlan = -77;
    Play(CliTable{{"display vlan brief", "1111  vela_vlan_1_0 \n2222  vela_vlan_1_1 \n"}});
    EXPECT_TRUE(get_vlan_id_by_vap_id(1, "Wlan-Radio0/0/1", &vlan));
    EXPECT_EQ(vlan, 2222);
    Play({});
    EXPECT_FALSE(get_vlan_id_by_vap_id(1, "radio", &vlan));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(Said(), ElementsAre("3 convert_radio_interface_to_value radio_if = radio",
                                    "3 get_vlan_id_by_vap_id convert_radio_interface_to_value(radio, -1)"));
}

class BssNumber : public Wlan {
protected:
    static CliTable Table(const std::string& listed) {
        return CliTable{{"display interface ?", "Wlan-Bss  Wlan-Bss interface"}, {kBssList, listed}};
    }
    std::optional<std::int32_t> Read(const std::string& listed) {
        Play(Table(listed));
        return Ask();
    }
    std::optional<std::int32_t> Ask() {
        std::int32_t bss = -77;
        const bool found = get_wlan_bss_id_by_wlan_bss_description(1, kRadio0, &bss);
        return found ? std::optional(bss) : std::nullopt;
    }
    static std::string Pair(const std::string& number, const std::string& description) {
        return "Wlan-Bss" + number + " current state : UP\nDescription:" + description + "\n";
    }
    // So many pairs, numbered from 20, of others.
    static std::string Others(int count) {
        std::string others;
        for (int i = 0; i < count; ++i)
            others += Pair(std::to_string(20 + i), "x");
        return others;
    }
    const std::string own = "vela_wlan_bss_1_Wlan-Radio0/0/0";
};

TEST_F(BssNumber, StandsBehindTheInterfaceThatIsPrintedBeforeTheDescription) {
    const std::vector<std::pair<std::string, std::int32_t>> rows = {
        {Pair("5", own), 5},
        {Pair("12", own), 12},
        {Pair("123", own), 12}, // two digits at most
        {Pair("", own), 0},
        {Pair("x", own), 0},
        {Pair("4", "other") + Pair("7", own) + Pair("8", "other"), 7},
        {Pair("4", own) + Pair("7", own), 4},
        {Pair("4", "vela_wlan_bss_11_Wlan-Radio0/0/0") + Pair("7", own), 7},
        {"Wlan-Bss4 up\nWlan-Bss7 up\nDescription:" + own, 4}, // the first behind the last description
    };
    for (const auto& [listed, bss] : rows) {
        EXPECT_EQ(Read(listed), bss) << listed;
        EXPECT_THAT(Sent(), ElementsAre("display interface ?", kBssList));
        EXPECT_THAT(Said(), IsEmpty()) << listed;
    }
}

TEST_F(BssNumber, IsThatOfThe15thPairForALaterDescription) {
    EXPECT_EQ(Read(Others(13) + Pair("7", own)), 7);
    EXPECT_EQ(Read(Others(14) + Pair("7", own)), 7);
    EXPECT_EQ(Read(Others(15) + Pair("7", own)), 34);
    EXPECT_EQ(Read(Others(16) + Pair("7", own)), 34);
    EXPECT_EQ(Read(Others(40) + Pair("7", own)), 34);
}

TEST_F(BssNumber, IsMissingWithoutTheDescription) {
    for (const std::string& listed : {std::string("x"), Pair("7", "vela_wlan_bss_11_Wlan-Radio0/0/0"),
                                      Pair("7", "vela_wlan_bss_1_Wlan-Radio0/0/1"), "Wlan-Bss7 Description: " + own}) {
        EXPECT_EQ(Read(listed), std::nullopt) << listed;
        std::string shown;
        for (const char c : listed)
            shown += c == '\n' ? std::string("\\n") : std::string(1, c);
        EXPECT_THAT(Said(), ElementsAre("4 get_wlan_bss_id_by_wlan_bss_description does not exsit wlan_bss "
                                        "description: Description:vela_wlan_bss_1_Wlan-Radio0/0/0, result = " +
                                        shown));
    }
}

TEST_F(BssNumber, IsMissingWithoutAnyInterface) { EXPECT_EQ(Read("Description:" + own), std::nullopt); }

// The description came first; what is read ends with the reply.
TEST_F(BssNumber, EndsWithTheReply) {
    EXPECT_EQ(Read("Description:" + own + "\nWlan-Bss57"), 57);
    EXPECT_EQ(Read("Description:" + own + "\nWlan-Bss5"), 5);
    EXPECT_EQ(Read("Description:" + own + "\nWlan-Bss"), 0);
}

TEST_F(BssNumber, IsMissingWhereTheAnswersAreMissing) {
    const std::string function = "3 get_wlan_bss_id_by_wlan_bss_description ";
    const std::string none = function + "check_rule_exsit(Wlan-Bss interface, display interface ?)";
    Play(Table(Pair("5", own)).Print("display interface ?", "Vlan interface"));
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Sent(), ElementsAre("display interface ?"));
    EXPECT_THAT(Said(), ElementsAre(none));
    Play(Table(Pair("5", own)).At(kBssList, RejectsPrinting("no")));
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Said(), ElementsAre(Refused(kBssList, "no"),
                                    function + "vela_cli_execute, command = " + kBssList + ", result = no"));
    Play(Table(Pair("5", own)).At(kBssList, SaysNothing()));
    EXPECT_EQ(Ask(), std::nullopt);
    EXPECT_THAT(Said(), ElementsAre(function + "result = NULL"));
}

// ---- removals, for radios that the recipes do not let pass ----

TEST_F(Wlan, RemovalsNameTheRadioTheyAreGiven) {
    const char* const radio1 = "Wlan-Radio0/0/1";
    Play(CliTable{{"display this", "service-set id 2"}});
    EXPECT_TRUE(undo_cfg_on_wlan_radio(3, radio1));
    EXPECT_THAT(Sent(),
                ElementsAre("return", "system-view", "interface Wlan-Radio0/0/1",
                            "undo service-set name vela_service_set_3_1", "display this", "return", "system-view"));
    Play(CliTable{{"display service-set all", "vela_service_set_3_1"},
                  {"display security-profile all", "vela_secf_3_Wlan-Radio0/0/1"}});
    EXPECT_TRUE(undo_service_set_and_secf(3, radio1));
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "wlan", "display service-set all",
                                    "undo service-set name vela_service_set_3_1", "display security-profile all",
                                    "undo security-profile name vela_secf_3_Wlan-Radio0/0/1", "return"));
    Play(CliTable{{"display interface ?", "Wlan-Bss interface"},
                  {kBssList, "Wlan-Bss9 up\nDescription:vela_wlan_bss_3_Wlan-Radio0/0/1"}});
    EXPECT_TRUE(undo_interface_wlan_bss(3, radio1));
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "display interface ?", kBssList,
                                    "undo interface Wlan-Bss 9", "return"));
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(Wlan, ARadioWithoutANumberHasNoServiceSetToRemove) {
    Play({});
    EXPECT_FALSE(undo_service_set_and_secf(3, "radio"));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(Said(), ElementsAre("3 convert_radio_interface_to_value radio_if = radio",
                                    "3 undo_service_set_and_secf convert_radio_interface_to_value(radio, -1)"));
    Play({});
    EXPECT_FALSE(undo_cfg_on_wlan_radio(3, "radio"));
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "interface radio", "return", "system-view"));
    EXPECT_THAT(Said(), ElementsAre("3 convert_radio_interface_to_value radio_if = radio",
                                    "3 undo_cfg_on_wlan_radio convert_radio_interface_to_value(radio, -1)"));
}

TEST_F(Wlan, AVlanIsRemovedByItsNumber) {
    Play({});
    EXPECT_TRUE(undo_vlan(4094));
    EXPECT_THAT(Sent(), ElementsAre("return", "system-view", "undo vlan 4094", "return"));
    EXPECT_THAT(Said(), IsEmpty());
}

// ---- what no recipe does ----

struct Row {
    std::string line;                 // the request as it is sent
    std::vector<std::string> records; // behind that of the refused command itself
    std::string choice{};
};

class Unused : public Wlan {
protected:
    // Does the whole list, whichever command of it fails, and is true only when none does.
    void ExpectDoes(bool (*step)(), const std::vector<Row>& rows) {
        Lines lines;
        for (const Row& row : rows)
            lines.push_back(row.line);
        Play({});
        EXPECT_TRUE(step());
        EXPECT_EQ(Sent(), lines);
        EXPECT_THAT(Said(), IsEmpty());
        for (std::size_t nth = 0; nth < rows.size(); ++nth) {
            Play(CliTable().AtNth(nth, RejectsPrinting("E!")));
            EXPECT_FALSE(step()) << rows[nth].line;
            EXPECT_EQ(Sent(), lines) << rows[nth].line;
            Lines said = rows[nth].records;
            said.insert(said.begin(), Refused(rows[nth].line.substr(0, rows[nth].line.find(" [")), "E!",
                                              rows[nth].choice.empty() ? "(null)" : rows[nth].choice));
            EXPECT_EQ(Said(), said) << rows[nth].line;
        }
    }
};

TEST_F(Unused, TheDnsProxyAndDhcpAreTurnedOff) {
    ExpectDoes(undo_dns_dhcp,
               {{"return", {"3 entry_system_mode return"}},
                {"system-view", {"3 entry_system_mode system-view"}},
                {"undo dns proxy enable", {"3 undo_dns_dhcp undo dns proxy enable"}},
                {"undo dhcp enable [Continue=y]", {"3 undo_dns_dhcp undo dhcp enable"}, "\"Continue\":\"y\""},
                {"return", {"3 return_user_mode return"}}});
}

TEST_F(Unused, TheAccessControlIsTurnedOff) {
    ExpectDoes(undo_dot1x,
               {{"return", {"3 entry_system_mode return"}},
                {"system-view", {"3 entry_system_mode system-view"}},
                {"undo dot1x enable [Continue=y]", {"3 undo_dot1x undo dot1x enable"}, "\"Continue\":\"y\""},
                {"return", {"3 return_user_mode return"}}});
}

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

const std::vector<std::string> kRadioRequests = {"return",       "system-view", "interface Wlan-Radio0/0/0",
                                                 "display this", "return",      "system-view"};

TEST_F(Unused, TheRadiosConfigurationIsHandedOut) {
    Play(CliTable{{"display this", "wlan 7\n"}});
    const OwnedText radio(get_radio_cfg(kRadio0));
    ASSERT_NE(radio, nullptr);
    EXPECT_STREQ(radio.get(), "wlan 7\n");
    EXPECT_EQ(Sent(), kRadioRequests);
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(Unused, NoConfigurationIsHandedOutWhenACommandFails) {
    const std::vector<Lines> records = {{"3 entry_system_mode return"},
                                        {"3 entry_system_mode system-view"},
                                        {"3 get_radio_cfg interface Wlan-Radio0/0/0"},
                                        {"3 get_radio_cfg display this"},
                                        {"3 entry_system_mode return"},
                                        {"3 entry_system_mode system-view"}};
    for (std::size_t nth = 0; nth < records.size(); ++nth) {
        Play(CliTable{{"display this", "wlan 7\n"}}.AtNth(nth, Rejects()));
        const OwnedText radio(get_radio_cfg(kRadio0));
        EXPECT_EQ(radio, nullptr) << kRadioRequests[nth];
        EXPECT_EQ(Sent(), kRadioRequests) << kRadioRequests[nth];
        EXPECT_THAT(Said(), ElementsAre(Refused(kRadioRequests[nth]), records[nth].front()));
    }
    Play({});
    EXPECT_EQ(OwnedText(get_radio_cfg(kRadio0)), nullptr);
    EXPECT_EQ(Sent(), kRadioRequests);
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(Unused, TheRadioThatHasAWlanIdIsNamed) {
    char name[24];
    std::memset(name, '#', sizeof name);
    Play(CliTable{{"display this", "wlan 7\n"}});
    EXPECT_TRUE(check_radio_if_bind_vap_id(7, name));
    EXPECT_EQ(std::string(name, sizeof name), std::string("Wlan-Radio0/0/0\0########", sizeof name));
    EXPECT_EQ(Sent(), kRadioRequests);
    EXPECT_THAT(Said(), IsEmpty());
}

TEST_F(Unused, NoRadioIsNamedForAWlanIdThatNoneHas) {
    char name[24] = "untouched";
    Play(CliTable{{"display this", "wlan 7\n"}});
    EXPECT_FALSE(check_radio_if_bind_vap_id(8, name));
    EXPECT_STREQ(name, "untouched");
    EXPECT_THAT(Said(), ElementsAre("6 check_radio_if_bind_vap_id Wlan-Radio0/0/0 not bind vap_id = 8"));
    Play({});
    EXPECT_FALSE(check_radio_if_bind_vap_id(7, name));
    EXPECT_STREQ(name, "untouched");
    EXPECT_THAT(Said(), ElementsAre("3 check_radio_if_bind_vap_id result = NULL"));
    EXPECT_EQ(Sent(), kRadioRequests);
}

} // namespace
