// The commands of an access point: VLANs and their interfaces, DHCP, WLAN-BSS interfaces, security profiles, service
// sets and the radio; what each shows, refuses and leaves in the configuration; and the sessions that make an access
// point and delete it.
#include "tests/sim/cli_support.h"

namespace sim::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class CliWlan : public Cli {
protected:
    CliWlan() { go({"system-view"}); }
};

// VLANs.

TEST_F(CliWlan, MakesNamesAndRemovesVlans) {
    go({"vlan 5"});
    EXPECT_EQ(session.view(), (View{ViewKind::vlan, "5"}));
    EXPECT_EQ(here(), "#\nvlan 5\n#\nreturn\n");
    go({"name vela_vlan_1_0"});
    EXPECT_EQ(here(), "#\nvlan 5\n name vela_vlan_1_0\n#\nreturn\n");
    go({"vlan 4094"});
    EXPECT_EQ(session.view(), (View{ViewKind::vlan, "4094"})) << "from one VLAN's view into another's";
    go({"vlan 5", "undo name", "quit"});
    EXPECT_EQ(session.view().kind, ViewKind::system);
    go({"undo vlan 5", "undo vlan 4094"});
    EXPECT_EQ(error("undo vlan 5", Refusal::not_done), "Error: there is no VLAN 5.");
    EXPECT_EQ(error("undo vlan 1", Refusal::not_done), "Error: VLAN 1 is built in and stays.");
    EXPECT_EQ(error("vlan 4095", Refusal::wrong_value), "Error: \"4095\" is not a valid INTEGER<1-4094>.");
}

TEST_F(CliWlan, RefusesALongNameForAVlan) {
    go({"vlan 2", ("name " + std::string(32, 'n')).c_str()});
    EXPECT_EQ(error("name " + std::string(33, 'n'), Refusal::wrong_value),
              "Error: a VLAN's name has at most 32 characters.");
    EXPECT_THAT(output("display vlan brief"), HasSubstr("2     " + std::string(32, 'n') + " \n"))
        << "a blank behind the longest name, too";
}

TEST_F(CliWlan, ListsVlansInTheColumnsThatProgramsLookFor) {
    EXPECT_EQ(output("display vlan"), "VLAN    Type      Interfaces\n"
                                      "1       common    \n");
    go({"vlan 2", "name vela_vlan_1_0", "vlan 4094", "name vela_vlan_16_0", "quit", "interface Vlanif 2", "quit",
        "interface Wlan-Bss 1", "port hybrid tagged vlan 2", "return"});
    EXPECT_EQ(output("display vlan"), "VLAN    Type      Interfaces\n"
                                      "1       common    \n"
                                      "2       common    Vlanif2 Wlan-Bss1\n"
                                      "4094    common    \n");
    EXPECT_EQ(output("display vlan 2"), "VLAN    Type      Interfaces\n"
                                        "2       common    Vlanif2 Wlan-Bss1\n");
    EXPECT_EQ(error("display vlan 3", Refusal::not_done), "Error: there is no VLAN 3.");

    const std::string brief = output("display vlan brief");
    EXPECT_EQ(brief, "VLAN  Name                             Interfaces\n"
                     "1                                      \n"
                     "2     vela_vlan_1_0                    Vlanif2 Wlan-Bss1\n"
                     "4094  vela_vlan_16_0                   \n");
    for (const auto& [needle, number] : {std::pair{" vela_vlan_1_0 ", 2}, {" vela_vlan_16_0 ", 4094}})
        EXPECT_EQ(std::stoi(brief.substr(brief.find(needle) - 5, 4)), number);
}

TEST_F(CliWlan, TellsTheRangesOfTheNumbers) {
    EXPECT_THAT(output("display vlan ?"), StartsWith("  INTEGER<1-4094>             Number of a VLAN\n"));
    go({"interface Wlan-Radio0/0/0"});
    EXPECT_EQ(output("service-set name test wlan ? "), "  INTEGER<1-16>               Number of a WLAN on the radio\n");
    router.limits.vlan_ids = {1, 3};
    router.limits.wlan_ids = {0, 7};
    EXPECT_THAT(output("display vlan ?"), StartsWith("  INTEGER<1-3> "));
    EXPECT_THAT(output("service-set name test wlan ?"), StartsWith("  INTEGER<0-7> "));
    EXPECT_TRUE(router.settings.service_sets.empty()) << "help makes nothing";
    EXPECT_EQ(error("service-set name test wlan 8", Refusal::wrong_value), "Error: \"8\" is not a valid INTEGER<0-7>.");
    go({"quit"});
    EXPECT_EQ(error("vlan 4", Refusal::wrong_value), "Error: \"4\" is not a valid INTEGER<1-3>.");
}

TEST_F(CliWlan, KeepsAVlanThatIsInUse) {
    go({"vlan 5", "quit", "interface Vlanif 5", "quit", "interface Wlan-Bss 2", "port hybrid tagged vlan 5", "quit"});
    EXPECT_EQ(error("undo vlan 5", Refusal::not_done), "Error: VLAN 5 is in use by Vlanif5 and Wlan-Bss2.");
    go({"undo interface Vlanif 5"});
    EXPECT_EQ(error("undo vlan 5", Refusal::not_done), "Error: VLAN 5 is in use by Wlan-Bss2.");
    go({"interface Wlan-Bss 2", "undo port hybrid tagged vlan 5", "quit", "undo vlan 5"});
    EXPECT_FALSE(router.settings.vlans.contains(5));
}

TEST_F(CliWlan, FailsInTheViewOfWhatIsGone) {
    go({"vlan 5"});
    router.settings.vlans.erase(5);
    EXPECT_EQ(error("name x", Refusal::not_done), "Error: there is no VLAN 5 any more.");
    go({"quit", "wlan", "security-profile name p"});
    router.settings.security_profiles.clear();
    EXPECT_EQ(error("security-policy wpa2", Refusal::not_done), "Error: there is no security profile p any more.");
    go({"quit", "service-set name s"});
    router.settings.service_sets.clear();
    EXPECT_EQ(error("ssid x", Refusal::not_done), "Error: there is no service set s any more.");
    EXPECT_EQ(here(), "#\nreturn\n");
}

// Their interfaces.

TEST_F(CliWlan, NamesAVlanInterfaceWithABlankAndWithout) {
    EXPECT_EQ(error("interface Vlanif 5", Refusal::not_done), "Error: there is no VLAN 5.");
    go({"vlan 5", "quit", "interface Vlanif 5"});
    EXPECT_EQ(session.view(), (View{ViewKind::vlanif, "Vlanif5"}));
    go({"quit", "interface vlanif5"});
    EXPECT_EQ(session.view(), (View{ViewKind::vlanif, "Vlanif5"}));
    go({"quit", "undo interface Vlanif 5"});
    EXPECT_EQ(router.interface("Vlanif5"), nullptr);
    EXPECT_EQ(error("undo interface Vlanif5", Refusal::not_done), "Error: the router has no interface Vlanif5.");
    EXPECT_EQ(error("interface Vlanif 4095", Refusal::wrong_value),
              "Error: the number of a Vlanif interface is from 1 to 4094.");
    EXPECT_EQ(error("interface Vlanif0/0/1", Refusal::wrong_value),
              "Error: \"Vlanif0/0/1\" is not a valid <interface-name>.");
}

TEST_F(CliWlan, ShowsTheStatesOfVlanInterfaces) {
    go({"vlan 5", "quit", "interface Vlanif 5", "ip address 192.168.5.1 255.255.255.0", "return"});
    EXPECT_EQ(output("display interface Vlanif | include current state"), "Vlanif5 current state : UP\n"
                                                                          "Line protocol current state : UP\n");
}

TEST_F(CliWlan, ServesAddressesOnAnInterfaceThatHasOne) {
    go({"vlan 5", "quit", "interface Vlanif 5"});
    EXPECT_EQ(error("dhcp select interface", Refusal::not_done), "Error: DHCP is not enabled.");
    go({"quit", "dhcp enable", "interface Vlanif 5"});
    EXPECT_EQ(error("dhcp select interface", Refusal::not_done), "Error: Vlanif5 has no address.");
    EXPECT_EQ(error("dhcp server dns-list 192.168.5.1", Refusal::not_done), "Error: Vlanif5 has no DHCP server.");
    go({"ip address 192.168.5.1 24", "dhcp select interface", "dhcp server dns-list 192.168.5.1",
        "dhcp server dns-list 192.168.5.1"});
    EXPECT_EQ(here(), "#\ninterface Vlanif5\n ip address 192.168.5.1 255.255.255.0\n dhcp select interface\n"
                      " dhcp server dns-list 192.168.5.1\n#\nreturn\n");
    EXPECT_EQ(error("undo ip address", Refusal::not_done), "Error: the DHCP server of Vlanif5 needs the address.");
    go({"undo dhcp server dns-list"});
    EXPECT_THAT(here(), Not(HasSubstr("dns-list")));
    for (int i = 1; i <= 8; ++i)
        go({("dhcp server dns-list 10.0.0." + std::to_string(i)).c_str()});
    EXPECT_EQ(error("dhcp server dns-list 10.0.0.9", Refusal::not_done),
              "Error: Vlanif5 has 8 DNS servers, as many as it can have.");
}

TEST_F(CliWlan, AsksBeforeAnInterfaceServesNoMoreAddresses) {
    const std::string prompt = "Warning: the leases of this interface's addresses are lost. Are you sure? [y/n]: ";
    go({"dhcp enable", "interface g0/0/0", "undo dhcp select interface", "dhcp select interface",
        "dhcp server dns-list 192.168.1.1"});
    const CliResult unanswered = run("undo dhcp select interface", go_on);
    EXPECT_EQ(unanswered.error, static_cast<int>(Refusal::unanswered));
    EXPECT_THAT(unanswered.output, StartsWith(prompt + "\n"));
    EXPECT_EQ(output("undo dhcp select interface", {{"Are you sure", "n"}}), prompt + "n\n");
    EXPECT_TRUE(interface("GigabitEthernet0/0/0").dhcp.selected);
    EXPECT_EQ(output("undo dhcp select interface", sure), prompt + "y\n");
    EXPECT_EQ(interface("GigabitEthernet0/0/0").dhcp, DhcpServer{}) << "its DNS servers go with it";
}

TEST_F(CliWlan, EndsEveryDhcpServerWithDhcp) {
    go({"dhcp enable", "interface g0/0/0", "dhcp select interface", "quit"});
    output("undo dhcp enable", go_on);
    EXPECT_EQ(interface("GigabitEthernet0/0/0").dhcp, DhcpServer{});
}

// WLAN-BSS interfaces.

TEST_F(CliWlan, MakesWlanBssInterfacesInAnyCase) {
    go({"interface wlan-bss 1"});
    EXPECT_EQ(session.view(), (View{ViewKind::wlan_bss, "Wlan-Bss1"}));
    go({"description vela_wlan_bss_1_Wlan-Radio0/0/0", "quit", "interface WLAN-BSS31", "quit", "interface Wlan-Bss 2",
        "description second", "return"});
    EXPECT_EQ(output("display interface Wlan-Bss | include Wlan-Bss"), "Wlan-Bss1 current state : UP\n"
                                                                       "Wlan-Bss31 current state : UP\n"
                                                                       "Wlan-Bss2 current state : UP\n");
    EXPECT_EQ(output("display interface Wlan-Bss | include Wlan-Bss|Description"),
              "Wlan-Bss1 current state : UP\n"
              "Description:vela_wlan_bss_1_Wlan-Radio0/0/0\n"
              "Wlan-Bss31 current state : UP\n"
              "Description:\n"
              "Wlan-Bss2 current state : UP\n"
              "Description:second\n")
        << "each description behind its interface, also an empty one";
    go({"system-view", "undo interface Wlan-Bss 1", "undo interface wlan-bss31", "undo interface Wlan-Bss 2"});
    EXPECT_EQ(error("undo interface Wlan-Bss 1", Refusal::not_done), "Error: the router has no interface Wlan-Bss1.");
    EXPECT_EQ(error("interface wlan-bss 32", Refusal::wrong_value),
              "Error: the number of a Wlan-Bss interface is from 1 to 31.");
}

TEST_F(CliWlan, TagsVlansThatThereAre) {
    go({"vlan 5", "vlan 6", "quit", "interface wlan-bss 1", "port hybrid tagged vlan 5", "port hybrid tagged vlan 6",
        "port hybrid tagged vlan 5"});
    EXPECT_EQ(here(), "#\ninterface Wlan-Bss1\n port hybrid tagged vlan 5\n port hybrid tagged vlan 6\n#\nreturn\n");
    EXPECT_EQ(error("port hybrid tagged vlan 7", Refusal::not_done), "Error: there is no VLAN 7.");
    go({"undo port hybrid tagged vlan 5"});
    EXPECT_EQ(error("undo port hybrid tagged vlan 5", Refusal::not_done), "Error: Wlan-Bss1 is not in VLAN 5.");
    EXPECT_EQ(run("ip address 10.0.0.1 24").error, static_cast<int>(Refusal::unknown_word));
}

// Security profiles.

constexpr const char* wpa2_line = "wpa2 authentication-method psk pass-phrase cipher {} encryption-method ccmp";

std::string with_phrase(const std::string& phrase) { return fmt::format(fmt::runtime(wpa2_line), phrase); }

TEST_F(CliWlan, KeepsSecurityProfiles) {
    EXPECT_EQ(output("display security-profile all"), "Security profile                 Policy  Authentication\n");
    go({"wlan"});
    EXPECT_EQ(session.view(), (View{ViewKind::wlan, ""}));
    go({"security-profile name vela_secf_1_Wlan-Radio0/0/0"});
    EXPECT_EQ(session.view(), (View{ViewKind::security_profile, "vela_secf_1_Wlan-Radio0/0/0"}));
    EXPECT_THAT(output("display security-profile all"), HasSubstr("vela_secf_1_Wlan-Radio0/0/0      open    none\n"));
    go({"security-policy wpa2", with_phrase("12345678").c_str()});
    EXPECT_EQ(here(), "#\nwlan\n security-profile name vela_secf_1_Wlan-Radio0/0/0\n  security-policy wpa2\n"
                      "  wpa2 authentication-method psk pass-phrase cipher 12345678 encryption-method ccmp\n"
                      "#\nreturn\n");
    EXPECT_THAT(output("display security-profile all"), HasSubstr("vela_secf_1_Wlan-Radio0/0/0      wpa2    psk\n"));
    go({"undo wpa2 authentication-method", "undo security-policy"});
    EXPECT_EQ(here(), "#\nwlan\n security-profile name vela_secf_1_Wlan-Radio0/0/0\n#\nreturn\n");
    go({"quit", "undo security-profile name vela_secf_1_Wlan-Radio0/0/0"});
    EXPECT_EQ(error("undo security-profile name x", Refusal::not_done), "Error: there is no security profile x.");
    EXPECT_EQ(error("security-profile name " + std::string(33, 'x'), Refusal::wrong_value),
              "Error: a security profile's name has at most 32 characters.");
}

TEST_F(CliWlan, TakesPassPhrasesOf8To63CharactersAndTheEmptyOne) {
    go({"wlan", "security-profile name p"});
    for (const std::string& phrase : {std::string(8, 'x'), std::string(63, 'x'), std::string("encryption-method"),
                                      std::string("encryption"), std::string()}) {
        go({with_phrase(phrase).c_str()});
        EXPECT_EQ(router.settings.security_profiles.front().pass_phrase, phrase);
    }
    EXPECT_EQ(here(), "#\nwlan\n security-profile name p\n"
                      "  wpa2 authentication-method psk pass-phrase cipher  encryption-method ccmp\n#\nreturn\n");
    for (const std::string& phrase : {std::string("x"), std::string(7, 'x'), std::string(64, 'x')})
        EXPECT_EQ(error(with_phrase(phrase), Refusal::wrong_value), "Error: a pass phrase has 8 to 63 characters.");
    EXPECT_EQ(router.settings.security_profiles.front().pass_phrase, "");
    EXPECT_EQ(run(with_phrase("two words")).error, static_cast<int>(Refusal::unknown_word));
}

// Service sets.

TEST_F(CliWlan, KeepsServiceSets) {
    const std::string head = "ID  Service set                     SSID                             "
                             "Security profile                 WLAN-BSS\n";
    EXPECT_EQ(output("display service-set all"), head);
    go({"interface wlan-bss 4", "quit", "wlan", "security-profile name p", "quit",
        "service-set name vela_service_set_1_0"});
    EXPECT_EQ(session.view(), (View{ViewKind::service_set, "vela_service_set_1_0"}));
    EXPECT_EQ(here(), "#\nwlan\n service-set name vela_service_set_1_0 id 0\n#\nreturn\n");
    go({"ssid Guests  upstairs", "security-profile name p", "wlan-bss 4"});
    EXPECT_EQ(here(), "#\nwlan\n service-set name vela_service_set_1_0 id 0\n  ssid Guests  upstairs\n"
                      "  security-profile name p\n  wlan-bss 4\n#\nreturn\n");
    go({"quit", ("service-set name " + std::string(32, 's')).c_str(), "ssid x", "quit"});
    EXPECT_EQ(output("display service-set all"),
              head + "0   vela_service_set_1_0            Guests  upstairs                 p                          "
                     "      4\n"
                     "1   ssssssssssssssssssssssssssssssssx                                -                          "
                     "      -\n");
    go({"service-set name vela_service_set_1_0", "undo ssid", "undo security-profile", "undo wlan-bss"});
    EXPECT_EQ(here(), "#\nwlan\n service-set name vela_service_set_1_0 id 0\n#\nreturn\n");
    go({"quit", "undo service-set name vela_service_set_1_0"});
    EXPECT_EQ(error("undo service-set name vela_service_set_1_0", Refusal::not_done),
              "Error: there is no service set vela_service_set_1_0.");
}

TEST_F(CliWlan, RefusesServiceSetsThatCannotBe) {
    go({"interface wlan-bss 4", "quit", "wlan"});
    EXPECT_EQ(error("service-set name " + std::string(33, 's'), Refusal::wrong_value),
              "Error: a service set's name has at most 32 characters.");
    go({"service-set name a id 7", "quit", "service-set name a id 7", "quit"});
    EXPECT_EQ(error("service-set name a id 8", Refusal::not_done), "Error: the number of service set a is 7.");
    EXPECT_EQ(error("service-set name b id 7", Refusal::not_done), "Error: 7 is the number of service set a.");
    go({"service-set name a", ("ssid " + std::string(32, 'x')).c_str(), "wlan-bss 4"});
    EXPECT_EQ(error("ssid " + std::string(33, 'x'), Refusal::wrong_value), "Error: an SSID has at most 32 characters.");
    EXPECT_EQ(error("security-profile name p", Refusal::not_done), "Error: there is no security profile p.");
    EXPECT_EQ(error("wlan-bss 5", Refusal::not_done), "Error: the router has no interface Wlan-Bss5.");
    go({"quit", "service-set name b"});
    EXPECT_EQ(error("wlan-bss 4", Refusal::not_done), "Error: Wlan-Bss4 is bound to service set a.");
}

TEST_F(CliWlan, RunsOutOfServiceSets) {
    for (unsigned id = 0; id <= highest_service_set; ++id)
        router.settings.service_sets.push_back({.name = std::to_string(id), .id = id});
    go({"wlan"});
    EXPECT_EQ(error("service-set name more", Refusal::not_done),
              "Error: the router has 256 service sets, as many as it can have.");
}

TEST_F(CliWlan, KeepsWhatAServiceSetNeeds) {
    go({"interface wlan-bss 4", "quit", "wlan", "security-profile name p", "quit", "service-set name a",
        "security-profile name p", "wlan-bss 4", "quit"});
    EXPECT_EQ(error("undo security-profile name p", Refusal::not_done),
              "Error: security profile p is in use by service set a.");
    go({"quit"});
    EXPECT_EQ(error("undo interface Wlan-Bss 4", Refusal::not_done), "Error: Wlan-Bss4 is bound to service set a.");
    go({"wlan", "undo service-set name a", "undo security-profile name p", "quit", "undo interface Wlan-Bss 4"});
}

// The radio.

TEST_F(CliWlan, BindsServiceSetsToTheRadio) {
    go({"wlan", "service-set name a", "quit", "service-set name b", "quit", "quit", "interface Wlan-Radio0/0/0"});
    EXPECT_EQ(session.view(), (View{ViewKind::radio, "Wlan-Radio0/0/0"}));
    EXPECT_EQ(here(), "#\ninterface Wlan-Radio0/0/0\n#\nreturn\n");
    go({"radio-profile name radiof", "radio-profile name radiof", "service-set name b wlan 12",
        "service-set id 0 wlan 1", "service-set name a wlan 1"});
    EXPECT_EQ(here(), "#\ninterface Wlan-Radio0/0/0\n radio-profile name radiof\n service-set id 1 wlan 12\n"
                      " service-set id 0 wlan 1\n#\nreturn\n");
    go({"undo service-set name b", "undo service-set id 0", "undo radio-profile"});
    EXPECT_EQ(here(), "#\ninterface Wlan-Radio0/0/0\n#\nreturn\n");
}

TEST_F(CliWlan, RefusesBindingsThatCannotBe) {
    go({"wlan", "service-set name a", "quit", "service-set name b", "quit", "quit", "interface Wlan-Radio0/0/0",
        "service-set name a wlan 1"});
    EXPECT_EQ(error("radio-profile name other", Refusal::not_done), "Error: there is no radio profile other.");
    EXPECT_EQ(error("service-set name c wlan 2", Refusal::not_done), "Error: there is no service set c.");
    EXPECT_EQ(error("service-set id 7 wlan 2", Refusal::not_done), "Error: there is no service set 7.");
    EXPECT_EQ(error("service-set name b wlan 1", Refusal::not_done),
              "Error: Wlan-Radio0/0/0 has a service set under WLAN 1 already.");
    EXPECT_EQ(error("service-set name a wlan 2", Refusal::not_done),
              "Error: service set a is bound to Wlan-Radio0/0/0 already.");
    EXPECT_EQ(error("undo service-set name b", Refusal::not_done),
              "Error: service set b is not bound to Wlan-Radio0/0/0.");
    EXPECT_EQ(error("undo service-set name c", Refusal::not_done), "Error: there is no service set c.");
    router.limits.service_sets_per_radio = 1;
    EXPECT_EQ(error("service-set name b wlan 2", Refusal::not_done),
              "Error: Wlan-Radio0/0/0 has 1 service sets, as many as it can have.");
    go({"quit", "wlan"});
    EXPECT_EQ(error("undo service-set name a", Refusal::not_done), "Error: service set a is bound to Wlan-Radio0/0/0.");
}

// The sessions. Where a step asks something first, the answer is checked.

class AccessPoint : public Cli {
protected:
    void expect_view(ViewKind kind, const std::string& subject = {}) {
        EXPECT_EQ(session.view(), (View{kind, subject}));
    }
    void type(const std::string& line) { go({line.c_str()}); }
    bool shows(const std::string& text, const std::string& command) {
        return output(command).find(text) != std::string::npos;
    }

    // The lowest number that is not listed.
    int free_vlan() {
        const std::string all = output("display vlan");
        int vlan = 1;
        while (all.find(fmt::format("{:<8}common", vlan)) != std::string::npos)
            ++vlan;
        return vlan;
    }
    int free_wlan_bss() {
        if (!shows("Wlan-Bss interface", "display interface ?"))
            return 1;
        const std::string all = output("display interface Wlan-Bss | include Wlan-Bss");
        int number = 1;
        while (all.find(fmt::format("Wlan-Bss{} ", number)) != std::string::npos)
            ++number;
        return number;
    }

    void create(int vap, const std::string& ssid, const char* pass_phrase, const std::string& address) {
        const std::string set = fmt::format("vela_service_set_{}_0", vap);
        const std::string profile = fmt::format("vela_secf_{}_Wlan-Radio0/0/0", vap);
        go({"return", "return", "system-view", "dns proxy enable", "dhcp enable"});
        const int vlan = free_vlan();
        type(fmt::format("vlan {}", vlan));
        expect_view(ViewKind::vlan, std::to_string(vlan));
        type(fmt::format("name vela_vlan_{}_0", vap));
        go({"quit"});
        type(fmt::format("interface Vlanif {}", vlan));
        expect_view(ViewKind::vlanif, fmt::format("Vlanif{}", vlan));
        type("ip address " + address + " 255.255.255.0");
        go({"dhcp select interface"});
        type("dhcp server dns-list " + address);
        go({"quit"});
        const int bss = free_wlan_bss();
        type(fmt::format("interface wlan-bss {}", bss));
        expect_view(ViewKind::wlan_bss, fmt::format("Wlan-Bss{}", bss));
        type(fmt::format("description vela_wlan_bss_{}_Wlan-Radio0/0/0", vap));
        type(fmt::format("port hybrid tagged vlan {}", vlan));
        go({"quit", "wlan"});
        expect_view(ViewKind::wlan);
        if (pass_phrase != nullptr) {
            type("security-profile name " + profile);
            expect_view(ViewKind::security_profile, profile);
            go({"security-policy wpa2", with_phrase(pass_phrase).c_str(), "quit"});
        }
        type("service-set name " + set);
        expect_view(ViewKind::service_set, set);
        type("ssid " + ssid);
        if (pass_phrase != nullptr && *pass_phrase != '\0')
            type("security-profile name " + profile);
        type(fmt::format("wlan-bss {}", bss));
        go({"return", "system-view", "interface Wlan-Radio0/0/0"});
        expect_view(ViewKind::radio, "Wlan-Radio0/0/0");
        go({"radio-profile name radiof"});
        type(fmt::format("service-set name {} wlan {}", set, vap));
        go({"return"});
        expect_view(ViewKind::user);
    }

    void remove(int vap) {
        const std::string set = fmt::format("vela_service_set_{}_0", vap);
        const std::string profile = fmt::format("vela_secf_{}_Wlan-Radio0/0/0", vap);
        go({"return"});
        const std::string brief = output("display vlan brief");
        const std::size_t at = brief.find(fmt::format(" vela_vlan_{}_0 ", vap));
        const int vlan = at == std::string::npos ? 0 : std::stoi(brief.substr(at - 5, 4));
        go({"return", "system-view"});
        if (vlan != 0 && shows("Vlan interface", "display interface ? ") &&
            shows(fmt::format("Vlanif{} current state", vlan), "display interface Vlanif | include current state")) {
            type(fmt::format("interface Vlanif {}", vlan));
            output("undo dhcp select interface", sure);
            go({"quit"});
            type(fmt::format("undo interface Vlanif {}", vlan));
        }
        go({"return", "return", "system-view", "interface Wlan-Radio0/0/0"});
        unbound = run("undo service-set name " + set).error == 0;
        if (unbound && !shows("service-set id", "display this"))
            go({"undo radio-profile"});
        go({"return", "system-view", "return", "system-view", "wlan"});
        expect_view(ViewKind::wlan);
        if (shows(set, "display service-set all"))
            type("undo service-set name " + set);
        if (shows(profile, "display security-profile all"))
            type("undo security-profile name " + profile);
        go({"return", "return", "system-view"});
        if (const int bss = described(vap); bss != 0)
            type(fmt::format("undo interface Wlan-Bss {}", bss));
        if (vlan != 0)
            type(fmt::format("undo vlan {}", vlan));
        go({"return"});
        expect_view(ViewKind::user);
    }

    // The number in the line before the description's; 0 when there is no such description.
    int described(int vap) {
        if (!shows("Wlan-Bss interface", "display interface ?"))
            return 0;
        const std::string all = output("display interface Wlan-Bss | include Wlan-Bss|Description");
        const std::size_t at = all.find(fmt::format("Description:vela_wlan_bss_{}_Wlan-Radio0/0/0", vap));
        if (at == std::string::npos)
            return 0;
        return std::stoi(all.substr(all.rfind("Wlan-Bss", at) + 8, 2));
    }

    bool unbound = false; // the radio took the last undo
};

constexpr const char* one_access_point =
    "#\n"
    " sysname Tarkon\n"
    "#\n"
    " dns proxy enable\n"
    "#\n"
    " dhcp enable\n"
    "#\n"
    "vlan 2\n"
    " name vela_vlan_1_0\n"
    "#\n"
    "interface GigabitEthernet0/0/0\n"
    " ip address 192.168.1.1 255.255.255.0\n"
    "#\n"
    "interface GigabitEthernet0/0/1\n"
    "#\n"
    "interface Cellular0/0/0\n"
    "#\n"
    "interface Vlanif2\n"
    " ip address 192.168.20.1 255.255.255.0\n"
    " dhcp select interface\n"
    " dhcp server dns-list 192.168.20.1\n"
    "#\n"
    "interface Wlan-Bss1\n"
    " description vela_wlan_bss_1_Wlan-Radio0/0/0\n"
    " port hybrid tagged vlan 2\n"
    "#\n"
    "wlan\n"
    " security-profile name vela_secf_1_Wlan-Radio0/0/0\n"
    "  security-policy wpa2\n"
    "  wpa2 authentication-method psk pass-phrase cipher 12345678 encryption-method ccmp\n"
    "#\n"
    "wlan\n"
    " service-set name vela_service_set_1_0 id 0\n"
    "  ssid Guests\n"
    "  security-profile name vela_secf_1_Wlan-Radio0/0/0\n"
    "  wlan-bss 1\n"
    "#\n"
    "interface Wlan-Radio0/0/0\n"
    " radio-profile name radiof\n"
    " service-set id 0 wlan 1\n"
    "#\n"
    "return\n";

constexpr const char* what_is_left = "#\n"
                                     " sysname Tarkon\n"
                                     "#\n"
                                     " dns proxy enable\n"
                                     "#\n"
                                     " dhcp enable\n"
                                     "#\n"
                                     "interface GigabitEthernet0/0/0\n"
                                     " ip address 192.168.1.1 255.255.255.0\n"
                                     "#\n"
                                     "interface GigabitEthernet0/0/1\n"
                                     "#\n"
                                     "interface Cellular0/0/0\n"
                                     "#\n"
                                     "interface Wlan-Radio0/0/0\n"
                                     "#\n"
                                     "return\n";

TEST_F(AccessPoint, IsMadeAndDeleted) {
    create(1, "Guests", "12345678", "192.168.20.1");
    EXPECT_EQ(output("display current-configuration"), one_access_point);
    remove(1);
    EXPECT_TRUE(unbound);
    EXPECT_EQ(output("display current-configuration"), what_is_left);
}

TEST_F(AccessPoint, IsDeletedTwiceAndTheRadioRefusesTheSecondTime) {
    create(1, "Guests", "12345678", "192.168.20.1");
    remove(1);
    remove(1);
    EXPECT_FALSE(unbound);
    EXPECT_EQ(output("display current-configuration"), what_is_left);
}

TEST_F(AccessPoint, TakesTheNumbersThatAreFree) {
    create(1, "Guests", "12345678", "192.168.20.1");
    create(2, "Staff", "abcdefgh", "192.168.30.1");
    create(12, "Open", nullptr, "192.168.40.1");
    EXPECT_THAT(output("display vlan brief"),
                AllOf(HasSubstr("\n2     vela_vlan_1_0 "), HasSubstr("\n3     vela_vlan_2_0 "),
                      HasSubstr("\n4     vela_vlan_12_0 ")));
    remove(2);
    EXPECT_THAT(output("display current-configuration"),
                AllOf(HasSubstr("radio-profile"), Not(HasSubstr("vlan_2_0")), HasSubstr("wlan 12\n")))
        << "the others stay on the radio";
    create(3, "Again", "", "192.168.50.1");
    EXPECT_THAT(output("display vlan brief"), HasSubstr("\n3     vela_vlan_3_0 ")) << "a number that is free again";
    EXPECT_EQ(described(3), 2);
    EXPECT_EQ(router.settings.service_sets.back().security_profile, "")
        << "an empty pass phrase's profile is not bound";
    for (const int vap : {1, 12, 3})
        remove(vap);
    EXPECT_EQ(output("display current-configuration"), what_is_left);
}

TEST_F(AccessPoint, IsDeletedWhereverItsMakingStopped) {
    constexpr const char* steps[] = {
        "dns proxy enable",
        "dhcp enable",
        "vlan 2",
        "name vela_vlan_1_0",
        "quit",
        "interface Vlanif 2",
        "ip address 192.168.20.1 255.255.255.0",
        "dhcp select interface",
        "dhcp server dns-list 192.168.20.1",
        "quit",
        "interface wlan-bss 1",
        "description vela_wlan_bss_1_Wlan-Radio0/0/0",
        "port hybrid tagged vlan 2",
        "quit",
        "wlan",
        "security-profile name vela_secf_1_Wlan-Radio0/0/0",
        "security-policy wpa2",
        "wpa2 authentication-method psk pass-phrase cipher 12345678 encryption-method ccmp",
        "quit",
        "service-set name vela_service_set_1_0",
        "ssid Guests",
        "security-profile name vela_secf_1_Wlan-Radio0/0/0",
        "wlan-bss 1",
        "return",
        "system-view",
        "interface Wlan-Radio0/0/0",
        "radio-profile name radiof",
        "service-set name vela_service_set_1_0 wlan 1"};
    for (std::size_t done = 0; done <= std::size(steps); ++done) {
        router = RouterState{};
        session = CliSession{};
        go({"system-view"});
        for (std::size_t i = 0; i < done; ++i)
            go({steps[i]});
        remove(1);
        // What was made before it had the name or the description that it is found by stays.
        const bool nameless_vlan = done == 3;
        const bool nameless_bss = done == 11;
        EXPECT_EQ(router.settings.vlans.size(), nameless_vlan ? 2U : 1U) << done;
        EXPECT_EQ(router.interface("Vlanif2"), nullptr) << done;
        EXPECT_EQ(router.interface("Wlan-Bss1") != nullptr, nameless_bss) << done;
        EXPECT_TRUE(router.settings.service_sets.empty()) << done;
        EXPECT_TRUE(router.settings.security_profiles.empty()) << done;
        EXPECT_TRUE(interface("Wlan-Radio0/0/0").radio.bindings.empty()) << done;
    }
}

} // namespace
} // namespace sim::test
