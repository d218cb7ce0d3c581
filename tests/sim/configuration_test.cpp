// The configuration as text: what a router shows, another one can load and shows the same.
#include "sim/configuration.h"

#include <array>
#include <fstream>
#include <random>

#include "tests/sim/cli_support.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::HasSubstr;

class Configuration : public Cli {
protected:
    std::string shown() const { return cli_engine().configuration(router); }
    // What a router that came out of the box, with these limits, shows after loading the text.
    std::string shown_after_loading(const std::string& text) const {
        RouterState other;
        other.limits = router.limits;
        load_configuration(other, text);
        return cli_engine().configuration(other);
    }
};

std::string load_error(RouterState& router, const std::string& text) {
    try {
        load_configuration(router, text);
        return "";
    } catch (const ConfigurationError& error) {
        return error.what();
    }
}

TEST_F(Configuration, IsTheSameAfterLoadingWhatIsShown) {
    go({"system-view",
        "sysname Branch-7",
        "dns resolve",
        "dns proxy enable",
        "dhcp enable",
        "dot1x enable",
        "vlan 1",
        "name first",
        "vlan 20",
        "vlan 30",
        "name vela_vlan_3_0",
        "quit",
        "acl name one",
        "rule permit ip",
        "rule 8 deny ip",
        "quit",
        "acl name two 3100",
        "quit",
        "dialer-rule",
        "dialer-rule 96 ip permit",
        "dialer-rule 2 ip deny",
        "quit",
        "apn profile kept",
        "apn internet.example",
        "user name joe password cipher s3cret authentication-mode chap",
        "quit",
        "apn profile gone",
        "quit",
        "interface GigabitEthernet0/0/0",
        "description the  uplink",
        "shutdown",
        "interface Cellular0/0/0",
        "dialer enable-circular",
        "dialer-group 96",
        "dialer number *99# autodial",
        "apn-profile gone",
        "nat outbound 3999",
        "nat outbound 3100",
        "interface LoopBack0",
        "ip address 10.255.0.7 32",
        "interface Wlan-Bss 3",
        "description vela_wlan_bss_3_Wlan-Radio0/0/0",
        "port hybrid tagged vlan 30",
        "interface Vlanif 30",
        "ip address 192.168.30.1 255.255.255.0",
        "dhcp select interface",
        "dhcp server dns-list 192.168.30.1",
        "quit",
        "undo apn profile gone",
        "undo acl name one",
        "wlan",
        "security-profile name p",
        "security-policy wpa2",
        "wpa2 authentication-method psk pass-phrase cipher 12345678 encryption-method ccmp",
        "quit",
        "security-profile name empty",
        "wpa2 authentication-method psk pass-phrase cipher  encryption-method ccmp",
        "quit",
        "service-set name unused",
        "quit",
        "service-set name s id 9",
        "ssid Guests  upstairs",
        "security-profile name p",
        "wlan-bss 3",
        "quit",
        "quit",
        "interface Wlan-Radio0/0/0",
        "radio-profile name radiof",
        "service-set name s wlan 3",
        "quit",
        "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0",
        "ip route-static 10.0.0.0 8 192.168.1.254"});
    const std::string text = shown();
    EXPECT_EQ(shown_after_loading(text), text);
}

TEST_F(Configuration, IsWhollyReplaced) {
    const std::string plain = shown();
    go({"system-view", "dns resolve", "vlan 5", "quit", "interface Vlanif 5", "interface g0/0/1",
        "ip address 10.0.0.1 8"});
    load_configuration(router, plain);
    EXPECT_EQ(shown(), plain);
    load_configuration(router, "");
    EXPECT_EQ(interface("GigabitEthernet0/0/0").address, "") << "nothing is left of the one out of the box, either";
    EXPECT_EQ(router.interfaces.size(), RouterState{}.interfaces.size());
    EXPECT_FALSE(interface("Cellular0/0/0").link) << "a cable is no configuration";
}

TEST_F(Configuration, TellsTheLineThatIsWrong) {
    EXPECT_EQ(load_error(router, "#\n sysname Here\n#\nvlan 9\n nmae x\n"),
              "line 5: \" nmae x\": Error: unknown word \"nmae\" in the VLAN view.");
    EXPECT_EQ(router.sysname, "Here");
    EXPECT_EQ(load_error(router, "interface Vlanif9"), "line 1: \"interface Vlanif9\": Error: there is no VLAN 9.");
    EXPECT_EQ(load_error(router, "sysname x\r\n"),
              "line 1: \"sysname x\r\": Error: a command is one line, without tabs.");
}

TEST_F(Configuration, MayNameWhatIsNoLongerThereOnlyWhileItIsLoaded) {
    const std::string text = "interface Cellular0/0/0\n apn-profile gone\n nat outbound 3999\n";
    EXPECT_EQ(load_error(router, text), "");
    EXPECT_THAT(shown(), HasSubstr(" apn-profile gone\n nat outbound 3999\n"));
    go({"system-view", "interface Cellular0/0/0"});
    EXPECT_EQ(error("apn-profile gone", Refusal::not_done), "Error: there is no APN profile gone.");
    EXPECT_EQ(error("nat outbound 3999", Refusal::not_done), "Error: there is no ACL 3999.");
}

TEST_F(Configuration, IsReadFromAFile) {
    TempDir directory;
    const std::string path = directory / "branch.cfg";
    const auto error = [&] {
        try {
            load_configuration_file(router, path);
            return std::string();
        } catch (const ConfigurationError& wrong) {
            return std::string(wrong.what());
        }
    };
    EXPECT_EQ(error(), path + ": cannot be read");
    std::ofstream(path) << "#\n sysname Filed\n#\nreturn\n";
    EXPECT_EQ(error(), "");
    EXPECT_EQ(router.sysname, "Filed");
    std::ofstream(path) << "sysname\n";
    EXPECT_EQ(error(), path + ": line 1: \"sysname\": Error: the command is not complete; a ? in its place tells what "
                              "comes next.");
}

// Whatever is typed, taken or refused, in whatever view: what is shown then can be loaded.
class AnythingTyped : public Configuration, public ::testing::WithParamInterface<unsigned> {};

INSTANTIATE_TEST_SUITE_P(Seeds, AnythingTyped, ::testing::Range(1U, 33U));

TEST_P(AnythingTyped, CanBeLoadedAgain) {
    constexpr std::array lines{
        "quit",
        "#",
        "sysname x",
        "undo sysname",
        "dns resolve",
        "undo dns resolve",
        "dns proxy enable",
        "undo dns proxy enable",
        "dhcp enable",
        "undo dhcp enable",
        "dot1x enable",
        "undo dot1x enable",
        "vlan 1",
        "vlan 2",
        "vlan 3",
        "name n",
        "undo name",
        "undo vlan 2",
        "undo vlan 3",
        "acl name a",
        "acl name b",
        "acl name c 3998",
        "undo acl name a",
        "undo acl name b",
        "rule permit ip",
        "rule deny ip",
        "rule 7 permit ip",
        "undo rule 5",
        "dialer-rule",
        "dialer-rule 1 ip permit",
        "dialer-rule 96 ip deny",
        "undo dialer-rule 1",
        "apn profile p",
        "apn profile q",
        "undo apn profile p",
        "apn one",
        "undo apn",
        "undo user",
        "user name u password cipher w authentication-mode auto",
        "interface GigabitEthernet0/0/0",
        "interface Cellular0/0/0",
        "interface Wlan-Radio0/0/0",
        "interface LoopBack0",
        "interface Vlanif 2",
        "interface Vlanif 3",
        "interface Wlan-Bss 1",
        "interface Wlan-Bss 2",
        "undo interface LoopBack0",
        "undo interface Vlanif 2",
        "undo interface Wlan-Bss 1",
        "undo interface Wlan-Bss 2",
        "description some text",
        "undo description",
        "shutdown",
        "undo shutdown",
        "ip address 10.0.0.1 8",
        "ip address 10.1.0.1 16",
        "undo ip address",
        "dhcp select interface",
        "undo dhcp select interface",
        "dhcp server dns-list 10.0.0.1",
        "dhcp server dns-list 10.0.0.2",
        "undo dhcp server dns-list",
        "dialer enable-circular",
        "undo dialer enable-circular",
        "dialer-group 96",
        "undo dialer-group",
        "dialer number 1",
        "dialer number 2 autodial",
        "undo dialer number",
        "apn-profile p",
        "undo apn-profile",
        "nat outbound 3999",
        "nat outbound 3998",
        "undo nat outbound 3999",
        "port hybrid tagged vlan 2",
        "port hybrid tagged vlan 3",
        "undo port hybrid tagged vlan 2",
        "wlan",
        "security-profile name p",
        "security-profile name q",
        "undo security-profile name p",
        "undo security-profile",
        "security-policy wpa2",
        "undo security-policy",
        "wpa2 authentication-method psk pass-phrase cipher 12345678 encryption-method ccmp",
        "wpa2 authentication-method psk pass-phrase cipher  encryption-method ccmp",
        "undo wpa2 authentication-method",
        "service-set name s",
        "service-set name t id 7",
        "undo service-set name s",
        "undo service-set name t",
        "ssid x y",
        "undo ssid",
        "wlan-bss 1",
        "wlan-bss 2",
        "undo wlan-bss",
        "radio-profile name radiof",
        "undo radio-profile",
        "service-set name s wlan 1",
        "service-set id 7 wlan 2",
        "undo service-set id 7",
        "ip route-static 0.0.0.0 0 Cellular0/0/0",
        "ip route-static 10.9.0.0 16 Vlanif2",
        "ip route-static 10.9.0.0 16 LoopBack0",
        "undo ip route-static 10.9.0.0 16",
    };
    const std::vector<Choice> yes{{"", "y"}};
    std::minstd_rand random(GetParam());
    run("system-view");
    for (int typed = 0; typed < 400; ++typed) {
        const char* const line = lines[random() % lines.size()];
        run(line, yes);
        if (session.view().kind == ViewKind::user)
            run("system-view");
        if (typed % 20 != 0)
            continue;
        const std::string text = shown();
        ASSERT_EQ(shown_after_loading(text), text) << "after " << line;
    }
    EXPECT_NE(shown(), cli_engine().configuration(RouterState{}));
}

} // namespace
} // namespace sim::test
