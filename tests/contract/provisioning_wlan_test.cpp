// The access point: the commands, results and records of making and removing one, written out by hand for every way
// that goes well and for some that fail, and worked out by the oracle for a failure at every step.
#include <gmock/gmock.h>

#include "provisioning.h"

namespace provisioning {
namespace {

using Wlan = ProvisioningTest;

const std::string hyphens_26(26, '-');
const std::string create_entered = "6 " + hyphens_26 + hyphens_26 + "vela_wlan_create_ap_imp enter\\n";
const std::string create_left = "6 " + hyphens_26 + hyphens_26 + "vela_wlan_create_ap_imp exit\\n";
const std::string delete_entered = "6 " + hyphens_26 + "vela_wlan_delete_ap_imp enter" + hyphens_26 + "\\n";
const std::string delete_left = "6 " + hyphens_26 + "vela_wlan_delete_ap_imp exit" + hyphens_26 + "\\n";
const std::string not_taken = "6 check_vap_id_cfg_exsit wlan 1 not exsit";

using Lines = std::vector<std::string>;

// Creating: the two probes, the VLAN, the WLAN-BSS interface, the profile, the service set, the binding.
const auto create_probes = lines(R"(
    return
    return
    system-view
    interface Wlan-Radio0/0/0
    display this
    display service-set all
    service-set name test wlan ?<blank>
    return
    return
    system-view
    interface Wlan-Radio0/0/0
    display this
    return)");
const auto create_vlan = lines(R"(
    return
    system-view
    dns proxy enable
    dhcp enable
    display vlan ?
    display vlan
    vlan 2
    name vela_vlan_1_0
    quit
    interface Vlanif 2
    ip address 192.168.9.1 255.255.255.0
    dhcp select interface
    dhcp server dns-list 192.168.9.1
    quit)");
const auto create_first_bss = lines(R"(
    interface Wlan-Bss ?
    display interface ?
    interface wlan-bss 1
    description vela_wlan_bss_1_Wlan-Radio0/0/0
    port hybrid tagged vlan 2
    quit
    wlan)");
const auto create_profile = lines(R"(
    security-profile name vela_secf_1_Wlan-Radio0/0/0
    security-policy wpa2
    wpa2 authentication-method psk pass-phrase cipher s3cret99 encryption-method ccmp
    quit)");
const auto create_open_service_set = lines(R"(
    service-set name vela_service_set_1_0
    ssid cafe
    wlan-bss 1)");
const auto create_bound_service_set = lines(R"(
    service-set name vela_service_set_1_0
    ssid cafe
    security-profile name vela_secf_1_Wlan-Radio0/0/0
    wlan-bss 1)");
const auto create_binding = lines(R"(
    return
    system-view
    interface Wlan-Radio0/0/0
    radio-profile name radiof
    service-set name vela_service_set_1_0 wlan 1
    return)");

// Removing an access point of VLAN 2 and WLAN-BSS interface 1 that is all there: the Vlanif, the binding, what is in
// the WLAN view, the WLAN-BSS interface, the VLAN.
const auto delete_start = lines(R"(
    return
    display vlan brief)");
const auto delete_vlanif = lines(R"(
    return
    system-view
    display interface ?<blank>
    display interface Vlanif | include current state
    interface Vlanif 2
    undo dhcp select interface [Are you sure=y]
    quit
    undo interface Vlanif 2
    return)");
const auto delete_binding = lines(R"(
    return
    system-view
    interface Wlan-Radio0/0/0
    undo service-set name vela_service_set_1_0
    display this
    return
    system-view)");
const auto delete_last_binding = lines(R"(
    return
    system-view
    interface Wlan-Radio0/0/0
    undo service-set name vela_service_set_1_0
    display this
    undo radio-profile
    return
    system-view)");
const auto delete_service_set = lines(R"(
    return
    system-view
    wlan
    display service-set all
    undo service-set name vela_service_set_1_0
    display security-profile all
    undo security-profile name vela_secf_1_Wlan-Radio0/0/0
    return)");
const auto delete_bss = lines(R"(
    return
    system-view
    display interface ?
    display interface Wlan-Bss | include Wlan-Bss|Description
    undo interface Wlan-Bss 1
    return)");
const auto delete_vlan = lines(R"(
    return
    system-view
    undo vlan 2
    return)");
const auto delete_end = lines("return");

// What is sent where there is nothing to remove, but for the binding.
const auto delete_absent = delete_start + delete_last_binding + lines(R"(
    return
    system-view
    wlan
    display service-set all
    display security-profile all
    return
    return
    system-view
    display interface ?
    return
    return)");
const auto said_of_absent = lines(R"(
    6 get_vlan_id_by_vap_id vlan  vela_vlan_1_0  does not exsit
    3 get_wlan_bss_id_by_wlan_bss_description check_rule_exsit(Wlan-Bss interface, display interface ?)
    6 undo_interface_wlan_bss wlan-bss id get failed)");

Lines in_own_channel(const Lines& commands) { return Lines{"(open)"} + commands + Lines{"(close)"}; }

ApArguments secured(Text pass_phrase) {
    ApArguments arguments;
    arguments.pass_phrase = std::move(pass_phrase);
    return arguments;
}

WlanRouter with_one(bool is_secured = true) { return WlanRouter{}.with_access_point(1, "cafe", 2, 1, is_secured); }

// Its own access point no longer bound, as the radio shows it once the binding was removed.
WlanRouter with_the_last_one() {
    WlanRouter router = with_one();
    router.radio = WlanRouter{}.radio;
    return router;
}

// Creating ----------------------------------------------------------------------------------------------------------

TEST_F(Wlan, CreatesAnOpenAccessPointInAChannelOfItsOwn) {
    expect_outcome(
        create_ap({}), {WlanRouter{}.table()},
        {0,
         in_own_channel(create_probes + create_vlan + create_first_bss + create_open_service_set + create_binding),
         {create_entered, opened, not_taken, closed, create_left},
         false});
}

TEST_F(Wlan, CreatesASecuredAccessPointInTheChannelThatIsOpen) {
    expect_outcome(
        create_ap(secured("s3cret99")), {WlanRouter{}.table(), true, true},
        {0,
         create_probes + create_vlan + create_first_bss + create_profile + create_bound_service_set + create_binding,
         {create_entered, not_taken, create_left},
         true});
}

// An empty pass phrase makes a profile that the service set does not use.
TEST_F(Wlan, CreatesAProfileForAnEmptyPassPhraseAndDoesNotBindIt) {
    const auto profile = lines(R"(
        security-profile name vela_secf_1_Wlan-Radio0/0/0
        security-policy wpa2
        wpa2 authentication-method psk pass-phrase cipher  encryption-method ccmp
        quit)");
    expect_outcome(create_ap(secured("")), {WlanRouter{}.table(), true, true},
                   {0,
                    create_probes + create_vlan + create_first_bss + profile + create_open_service_set + create_binding,
                    {create_entered, not_taken, create_left},
                    true});
}

TEST_F(Wlan, CreatesASecondAccessPointWithTheNextFreeNumbers) {
    WlanRouter router = WlanRouter{}.with_access_point(2, "home", 2, 1).with_access_point(3, "work", 3, 2);
    router.vlans += "5       common  enable\n";
    expect_outcome(create_ap(secured("s3cret99")), {router.table(), true, true},
                   {0,
                    create_probes + lines(R"(
                        return
                        system-view
                        dns proxy enable
                        dhcp enable
                        display vlan ?
                        display vlan
                        vlan 4
                        name vela_vlan_1_0
                        quit
                        interface Vlanif 4
                        ip address 192.168.9.1 255.255.255.0
                        dhcp select interface
                        dhcp server dns-list 192.168.9.1
                        quit
                        interface Wlan-Bss ?
                        display interface ?
                        display interface Wlan-Bss | include Wlan-Bss
                        interface wlan-bss 3
                        description vela_wlan_bss_1_Wlan-Radio0/0/0
                        port hybrid tagged vlan 4
                        quit
                        wlan)") +
                        create_profile + lines(R"(
                        service-set name vela_service_set_1_0
                        ssid cafe
                        security-profile name vela_secf_1_Wlan-Radio0/0/0
                        wlan-bss 3)") +
                        create_binding,
                    {create_entered, not_taken, create_left},
                    true});
}

TEST_F(Wlan, NamesEverythingAfterTheWlanId) {
    ApArguments arguments = secured("s3cret99");
    arguments.vap = 4294967295U; // printed as a signed number
    arguments.ssid = "two words";
    arguments.address = "10.0.0.1";
    arguments.mask = "24";
    expect_outcome(create_ap(arguments), {WlanRouter{}.table(), true, true},
                   {0,
                    create_probes + lines(R"(
                        return
                        system-view
                        dns proxy enable
                        dhcp enable
                        display vlan ?
                        display vlan
                        vlan 2
                        name vela_vlan_-1_0
                        quit
                        interface Vlanif 2
                        ip address 10.0.0.1 24
                        dhcp select interface
                        dhcp server dns-list 10.0.0.1
                        quit
                        interface Wlan-Bss ?
                        display interface ?
                        interface wlan-bss 1
                        description vela_wlan_bss_-1_Wlan-Radio0/0/0
                        port hybrid tagged vlan 2
                        quit
                        wlan
                        security-profile name vela_secf_-1_Wlan-Radio0/0/0
                        security-policy wpa2
                        wpa2 authentication-method psk pass-phrase cipher s3cret99 encryption-method ccmp
                        quit
                        service-set name vela_service_set_-1_0
                        ssid two words
                        security-profile name vela_secf_-1_Wlan-Radio0/0/0
                        wlan-bss 1
                        return
                        system-view
                        interface Wlan-Radio0/0/0
                        radio-profile name radiof
                        service-set name vela_service_set_-1_0 wlan -1
                        return)"),
                    {create_entered, "6 check_vap_id_cfg_exsit wlan -1 not exsit", create_left},
                    true});
}

TEST_F(Wlan, RefusesAnSsidThatIsServed) {
    ApArguments arguments;
    arguments.vap = 7;
    expect_outcome(
        create_ap(arguments), {with_one().table(), true, true},
        {1,
         lines(R"(
                        return
                        return
                        system-view
                        interface Wlan-Radio0/0/0
                        display this
                        display service-set all
                        service-set name test wlan ?<blank>
                        return
                        return)"),
         {create_entered, "3 vela_wlan_create_ap_imp ssid = cafe has exsit under Wlan-Radio0/0/0", create_left},
         true});
}

TEST_F(Wlan, RefusesAWlanIdThatIsTaken) {
    ApArguments arguments;
    arguments.ssid = "other";
    expect_outcome(create_ap(arguments), {with_one().table()},
                   {2,
                    in_own_channel(create_probes + lines("return")),
                    {create_entered, opened, "3 vela_wlan_create_ap_imp vap_id = 1 has exsit", closed, create_left},
                    false});
}

// 1 is found in 12.
TEST_F(Wlan, TakesAWlanIdThatBeginsAnotherForTaken) {
    expect_outcome(create_ap({}), {WlanRouter{}.with_access_point(12, "home", 2, 1).table(), true, true},
                   {2,
                    create_probes + lines("return"),
                    {create_entered, "3 vela_wlan_create_ap_imp vap_id = 1 has exsit", create_left},
                    true});
}

// Served means: the id on the radio, and its service set with exactly this SSID behind 32 columns.
TEST_F(Wlan, CreatesBesideAnSsidThatIsNotServedHere) {
    ApArguments arguments;
    arguments.vap = 7;
    const Circumstances begins_otherwise{WlanRouter{}.with_access_point(1, "my cafe", 2, 1).table(), true, true};
    EXPECT_TRUE(does_as_worked_out(create_ap(arguments), begins_otherwise));
    EXPECT_EQ(expected(create_ap(arguments), begins_otherwise).code, 0);

    WlanRouter not_on_the_radio = with_one();
    not_on_the_radio.radio = WlanRouter{}.radio;
    EXPECT_TRUE(does_as_worked_out(create_ap(arguments), {not_on_the_radio.table(), true, true}));
    EXPECT_EQ(expected(create_ap(arguments), {not_on_the_radio.table(), true, true}).code, 0);

    WlanRouter beyond_the_range = WlanRouter{}.with_access_point(17, "cafe", 2, 1);
    beyond_the_range.radio.replace(beyond_the_range.radio.find("wlan 17"), 7, "wlan  17");
    EXPECT_TRUE(does_as_worked_out(create_ap(arguments), {beyond_the_range.table(), true, true}));
    EXPECT_EQ(expected(create_ap(arguments), {beyond_the_range.table(), true, true}).code, 0);

    const Circumstances last_of_the_range{WlanRouter{}.with_access_point(16, "cafe", 2, 1).table(), true, true};
    EXPECT_TRUE(does_as_worked_out(create_ap(arguments), last_of_the_range));
    EXPECT_EQ(expected(create_ap(arguments), last_of_the_range).code, 1);
}

TEST_F(Wlan, FailsWhenEveryVlanIsListed) {
    WlanRouter router;
    router.vlans = "1       common  enable\n2       common  enable\n";
    Circumstances circumstances{router.table(), true, true};
    circumstances.table.Print("display vlan ?", "INTEGER<1-2>");
    expect_outcome(
        create_ap({}), circumstances,
        {1,
         create_probes + lines(R"(
                        return
                        system-view
                        dns proxy enable
                        dhcp enable
                        display vlan ?
                        display vlan)") +
             delete_absent + lines("return"),
         Lines{create_entered, not_taken, "3 vela_wlan_create_ap_imp get valid vlan id failed", delete_entered} +
             said_of_absent + Lines{delete_left, "6 vela_wlan_create_ap_imp rollback success", create_left},
         true});
}

TEST_F(Wlan, FailsWhenEveryWlanBssInterfaceIsUsed) {
    WlanRouter router = with_one();
    router.radio = WlanRouter{}.radio;
    Circumstances circumstances{router.table(), true, true};
    circumstances.table.Print("interface Wlan-Bss ?", "<1-1>");
    circumstances.table.Print("display vlan", "1       common\n");
    expect_outcome(create_ap({}), circumstances,
                   {1,
                    create_probes + create_vlan + lines(R"(
                        interface Wlan-Bss ?
                        display interface ?
                        display interface Wlan-Bss | include Wlan-Bss)") +
                        delete_start + delete_vlanif + delete_last_binding + delete_service_set + delete_bss +
                        delete_vlan + delete_end + lines("return"),
                    {create_entered, not_taken, "3 vela_wlan_create_ap_imp Wlan_Bss id use out", delete_entered,
                     delete_left, "6 vela_wlan_create_ap_imp rollback success", create_left},
                    true});
}

TEST_F(Wlan, RemovesEverythingWhenTheRadioTakesNoProfile) {
    WlanRouter router = with_one();
    router.radio = WlanRouter{}.radio;
    Circumstances circumstances{router.table()};
    circumstances.table.Print("display vlan", "1       common\n");
    circumstances.table.Print("display interface Wlan-Bss | include Wlan-Bss", "Wlan-Bss12 current state\n");
    circumstances.table.At("radio-profile name radiof", test::RejectsPrinting("Error: no"));
    expect_outcome(
        create_ap(secured("s3cret99")), circumstances,
        {1,
         in_own_channel(create_probes + create_vlan + lines(R"(
                        interface Wlan-Bss ?
                        display interface ?
                        display interface Wlan-Bss | include Wlan-Bss
                        interface wlan-bss 1
                        description vela_wlan_bss_1_Wlan-Radio0/0/0
                        port hybrid tagged vlan 2
                        quit
                        wlan)") +
                        create_profile + create_bound_service_set + lines(R"(
                        return
                        system-view
                        interface Wlan-Radio0/0/0
                        radio-profile name radiof)") +
                        delete_start + delete_vlanif + delete_last_binding + delete_service_set + delete_bss +
                        delete_vlan + delete_end + lines("return")),
         {create_entered, opened, not_taken,
          "3 vela_cli_execute_imp refused,command = radio-profile name radiof, choice = (null), result = Error: no",
          "3 vela_wlan_create_ap_imp radio-profile name radiof", delete_entered, delete_left,
          "6 vela_wlan_create_ap_imp rollback success", closed, create_left},
         false});
}

TEST_F(Wlan, CreatingFailsWithoutASession) {
    expect_outcome(create_ap({}), {{}, false},
                   {1,
                    {},
                    Lines{create_entered} + lines(R"(
                        3 vela_cli_open_imp session not open
                        3 cli_channel_process cli open failed
                        3 vela_wlan_create_ap_imp cli_channel_process
                        3 vela_cli_execute_imp cli not open
                        3 return_user_mode return
                        3 vela_wlan_create_ap_imp return user mode)") +
                        Lines{create_left},
                    false});
}

// The record of the first failing command after the probes, in the order of the commands.
TEST_F(Wlan, RecordsEveryFailureOfCreatingInItsOwnWords) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"return", "entry system-view failed"},
        {"system-view", "entry system-view failed"},
        {"dns proxy enable", "dns proxy enable, result = E!"},
        {"dhcp enable", "dhcp enable"},
        {"display vlan ?", "get valid vlan id failed"},
        {"display vlan", "get valid vlan id failed"},
        {"vlan 2", "vlan 2"},
        {"name vela_vlan_1_0", "name vela_vlan_1_0"},
        {"quit", "quit"},
        {"interface Vlanif 2", "interface Vlanif 2"},
        {"ip address 192.168.9.1 255.255.255.0", "ip address 192.168.9.1 255.255.255.0"},
        {"dhcp select interface", "dhcp select interface"},
        {"dhcp server dns-list 192.168.9.1", "dhcp server dns-list 192.168.9.1"},
        {"quit", "quit"},
        {"interface Wlan-Bss ?", "Wlan_Bss id use out"},
        {"display interface ?", ""},
        {"interface wlan-bss 1", "interface wlan-bss 1"},
        {"description vela_wlan_bss_1_Wlan-Radio0/0/0", "description vela_wlan_bss_1_Wlan-Radio0/0/0"},
        {"port hybrid tagged vlan 2", "port hybrid tagged vlan 2"},
        {"quit", "quit"},
        {"wlan", "wlan"},
        {"security-profile name vela_secf_1_Wlan-Radio0/0/0", "create security profile failed"},
        {"security-policy wpa2", "security-policy wpa2"},
        {"wpa2 authentication-method psk pass-phrase cipher s3cret99 encryption-method ccmp",
         "wpa2 authentication-method psk pass-phrase cipher ******* encryption-method ****"},
        {"quit", "quit"},
        {"service-set name vela_service_set_1_0", "service-set name vela_service_set_1_0"},
        {"ssid cafe", "cafe"},
        {"security-profile name vela_secf_1_Wlan-Radio0/0/0", "security-profile name vela_secf_1_Wlan-Radio0/0/0"},
        {"wlan-bss 1", "wlan-bss 1"},
        {"return", "entry system mode"},
        {"system-view", "entry system mode"},
        {"interface Wlan-Radio0/0/0", "interface Wlan-Radio0/0/0"},
        {"radio-profile name radiof", "radio-profile name radiof"},
        {"service-set name vela_service_set_1_0 wlan 1", "service-set name vela_service_set_1_0 wlan 1"},
        {"return", "return user mode"},
        {"(close)", "vela_cli_close"},
    };
    const std::size_t probes = 1 + create_probes.size();
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const auto& [command, record] = rows[row];
        SCOPED_TRACE(command);
        Circumstances circumstances{WlanRouter{}.table()};
        circumstances.table.AtNth(probes + row, test::RejectsPrinting("E!"));
        const Outcome outcome = run(create_ap(secured("s3cret99")), circumstances);
        ASSERT_GT(outcome.sent.size(), probes + row);
        EXPECT_EQ(outcome.sent[probes + row], command);
        std::string first;
        for (const std::string& said : outcome.said)
            if (first.empty() && said.rfind("3 vela_wlan_create_ap_imp ", 0) == 0)
                first = said;
        EXPECT_EQ(first, record.empty() ? "" : "3 vela_wlan_create_ap_imp " + record);
        EXPECT_EQ(outcome.code, record.empty() ? 0 : 1);
    }
}

// The pass phrase, what the service and the router say to its command, and the record of that.
struct SecretRow {
    const char* name;
    std::string phrase;
    std::string refusal;
    Text output;
    std::string recorded_refusal;
    std::string recorded_output;
};

std::ostream& operator<<(std::ostream& out, const SecretRow& row) { return out << row.name; }

class WlanSecret : public Wlan, public testing::WithParamInterface<SecretRow> {};

TEST_P(WlanSecret, IsInNoRecord) {
    const SecretRow& row = GetParam();
    Circumstances circumstances{WlanRouter{}.table()};
    const std::size_t step = 1 + create_probes.size() + 23;
    circumstances.table.AtNth(step, {row.output, row.refusal});
    const Outcome outcome = run(create_ap(secured(row.phrase)), circumstances);

    EXPECT_EQ(outcome.code, 1);
    ASSERT_GT(outcome.sent.size(), step);
    EXPECT_EQ(outcome.sent[step],
              "wpa2 authentication-method psk pass-phrase cipher " + row.phrase + " encryption-method ccmp");
    EXPECT_THAT(outcome.said, testing::Contains("3 vela_cli_execute_imp " + row.recorded_refusal +
                                                ",command = wpa2 authentication-method psk pass-phrase cipher ******* "
                                                "encryption-method ccmp, choice = (null), result = " +
                                                row.recorded_output));
    for (const std::string& said : outcome.said)
        EXPECT_EQ(said.find(row.phrase), std::string::npos) << said;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WlanSecret,
    testing::Values(SecretRow{"NotEchoed", "s3cret99", "refused", "Error: busy", "refused", "Error: busy"},
                    SecretRow{"WithoutOutput", "s3cret99", "refused", {}, "refused", "(null)"},
                    SecretRow{"InTheOutput", "s3cret99", "refused", "cipher s3cret99 encryption\n   ^ s3cret99?",
                              "refused", "cipher ******* encryption\\n   ^ *******?"},
                    SecretRow{"InTheServicesWords", "s3cret99", "wrong value s3cret99.", "no", "wrong value *******.",
                              "no"},
                    SecretRow{"Short", "key!", "key! is short", "key!key!", "******* is short", "**************"},
                    SecretRow{"WithBlanks", "correct horse  battery", "unknown word \"horse\"",
                              "correct horse  battery", "unknown word \"*******\"", "*******"},
                    SecretRow{"InLinesOfTheOutput", "s3cret99", "refused", "cipher s3c\r\nret9\n9 ccmp", "refused",
                              "cipher ******* ccmp"},
                    SecretRow{"CutByTheLengthOfTheWords", "s3cret99", std::string(95, 'w') + "s3cret99", "no",
                              std::string(95, 'w') + "****", "no"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Wlan, AnEmptyPassPhraseHidesNothing) {
    Circumstances circumstances{WlanRouter{}.table()};
    circumstances.table.AtNth(1 + create_probes.size() + 23, test::RejectsPrinting("E!"));
    EXPECT_THAT(run(create_ap(secured("")), circumstances).said,
                testing::Contains("3 vela_cli_execute_imp refused,command = wpa2 authentication-method psk pass-phrase "
                                  "cipher  encryption-method ccmp, choice = (null), result = E!"));
}

// Deleting ----------------------------------------------------------------------------------------------------------

TEST_F(Wlan, DeletesAnAccessPointInAChannelOfItsOwn) {
    expect_outcome(delete_ap("Wlan-Radio0/0/0", 1), {with_the_last_one().table()},
                   {0,
                    in_own_channel(delete_start + delete_vlanif + delete_last_binding + delete_service_set +
                                   delete_bss + delete_vlan + delete_end),
                    {delete_entered, opened, closed, delete_left},
                    false});
}

TEST_F(Wlan, KeepsTheRadiosProfileWhileAnotherServiceSetIsBound) {
    const WlanRouter router = with_one().with_access_point(2, "home", 3, 2);
    expect_outcome(
        delete_ap("Wlan-Radio0/0/0", 1), {router.table(), true, true},
        {0,
         delete_start + delete_vlanif + delete_binding + delete_service_set + delete_bss + delete_vlan + delete_end,
         {delete_entered, delete_left},
         true});
}

TEST_F(Wlan, DeletesTheRestWhenTheVlanIsGone) {
    WlanRouter router = with_the_last_one();
    router.vlan_brief = WlanRouter{}.vlan_brief;
    expect_outcome(delete_ap("Wlan-Radio0/0/0", 1), {router.table(), true, true},
                   {0,
                    delete_start + delete_last_binding + delete_service_set + delete_bss + delete_end,
                    {delete_entered, "6 get_vlan_id_by_vap_id vlan  vela_vlan_1_0  does not exsit", delete_left},
                    true});
}

TEST_F(Wlan, DeletesTheVlanWhenItsInterfaceIsGone) {
    WlanRouter router = with_the_last_one();
    router.vlanifs = "Vlanif22 current state : UP\n";
    const auto no_vlanif = lines(R"(
        return
        system-view
        display interface ?<blank>
        display interface Vlanif | include current state
        return)");
    expect_outcome(
        delete_ap("Wlan-Radio0/0/0", 1), {router.table(), true, true},
        {0,
         delete_start + no_vlanif + delete_last_binding + delete_service_set + delete_bss + delete_vlan + delete_end,
         {delete_entered, "6 undo_vlanif interface Vlanif 2 does not exsit", delete_left},
         true});
}

TEST_F(Wlan, AsksForNoVlanInterfaceWhereThereAreNone) {
    WlanRouter router = with_the_last_one();
    router.interface_kinds = "  Wlan-Bss   Wlan-Bss interface\n";
    const auto no_vlanif = lines(R"(
        return
        system-view
        display interface ?<blank>
        return)");
    expect_outcome(
        delete_ap("Wlan-Radio0/0/0", 1), {router.table(), true, true},
        {0,
         delete_start + no_vlanif + delete_last_binding + delete_service_set + delete_bss + delete_vlan + delete_end,
         {delete_entered, delete_left},
         true});
}

TEST_F(Wlan, DeletingWhatIsGoneSucceedsWhereTheRadioAcceptsIt) {
    expect_outcome(delete_ap("Wlan-Radio0/0/0", 1), {WlanRouter{}.table(), true, true},
                   {0, delete_absent, Lines{delete_entered} + said_of_absent + Lines{delete_left}, true});
}

TEST_F(Wlan, DeletingWhatIsGoneFailsWhereTheRadioRefusesIt) {
    Circumstances circumstances{WlanRouter{}.table(), true, true};
    circumstances.table.At("undo service-set name vela_service_set_1_0", test::RejectsPrinting("Error: none"));
    expect_outcome(delete_ap("Wlan-Radio0/0/0", 1), circumstances,
                   {1, delete_start + lines(R"(
                        return
                        system-view
                        interface Wlan-Radio0/0/0
                        undo service-set name vela_service_set_1_0
                        return
                        system-view
                        return
                        system-view
                        wlan
                        display service-set all
                        display security-profile all
                        return
                        return
                        system-view
                        display interface ?
                        return
                        return)"),
                    Lines{delete_entered, "6 get_vlan_id_by_vap_id vlan  vela_vlan_1_0  does not exsit"} + lines(R"(
                        3 vela_cli_execute_imp refused,command = undo service-set name vela_service_set_1_0, choice = (null), result = Error: none
                        3 undo_cfg_on_wlan_radio undo service-set name vela_service_set_1_0
                        3 get_wlan_bss_id_by_wlan_bss_description check_rule_exsit(Wlan-Bss interface, display interface ?)
                        6 undo_interface_wlan_bss wlan-bss id get failed)") +
                        Lines{delete_left},
                    true});
}

TEST_F(Wlan, DeletesTheRestWhenEveryRemovalIsRefused) {
    Circumstances circumstances{with_the_last_one().table(), true, true};
    for (const char* command :
         {"interface Vlanif 2", "undo service-set name vela_service_set_1_0",
          "undo security-profile name vela_secf_1_Wlan-Radio0/0/0", "undo interface Wlan-Bss 1", "undo vlan 2"})
        circumstances.table.At(command, test::Rejects());
    expect_outcome(delete_ap("Wlan-Radio0/0/0", 1), circumstances,
                   {1,
                    delete_start + lines(R"(
                        return
                        system-view
                        display interface ?<blank>
                        display interface Vlanif | include current state
                        interface Vlanif 2
                        return
                        return
                        system-view
                        interface Wlan-Radio0/0/0
                        undo service-set name vela_service_set_1_0
                        return
                        system-view)") +
                        delete_service_set + delete_bss + delete_vlan + delete_end,
                    Lines{delete_entered} + lines(R"(
                        3 vela_cli_execute_imp refused,command = interface Vlanif 2, choice = (null), result = (null)
                        3 undo_vlanif interface Vlanif 2
                        3 vela_cli_execute_imp refused,command = undo service-set name vela_service_set_1_0, choice = (null), result = (null)
                        3 undo_cfg_on_wlan_radio undo service-set name vela_service_set_1_0
                        3 vela_cli_execute_imp refused,command = undo service-set name vela_service_set_1_0, choice = (null), result = (null)
                        3 undo_service_set_and_secf undo service-set name vela_service_set_1_0
                        3 vela_cli_execute_imp refused,command = undo security-profile name vela_secf_1_Wlan-Radio0/0/0, choice = (null), result = (null)
                        3 undo_service_set_and_secf undo security-profile name vela_secf_1_Wlan-Radio0/0/0
                        3 vela_cli_execute_imp refused,command = undo interface Wlan-Bss 1, choice = (null), result = (null)
                        3 undo_interface_wlan_bss undo interface Wlan-Bss 1
                        3 vela_cli_execute_imp refused,command = undo vlan 2, choice = (null), result = (null)
                        3 undo_vlan undo vlan 2)") +
                        Lines{delete_left},
                    true});
}

TEST_F(Wlan, DeletingFailsWithoutASession) {
    expect_outcome(delete_ap("Wlan-Radio0/0/0", 1), {{}, false},
                   {1,
                    {},
                    Lines{delete_entered} + lines(R"(
                        3 vela_cli_open_imp session not open
                        3 cli_channel_process cli open failed
                        3 vela_wlan_delete_ap_imp cli_channel_process
                        3 vela_cli_execute_imp cli not open
                        3 vela_wlan_delete_ap_imp return, return <Tarkon> mode)") +
                        Lines{delete_left},
                    false});
}

// The records that a refusal leaves behind that of the command itself, in the order of the commands.
TEST_F(Wlan, RecordsEveryFailureOfDeletingInItsOwnWords) {
    struct Row {
        std::string command;
        Lines records;
        std::int32_t code = 1;
    };
    const Lines refused_channel = {"3 cli_channel_process return, Enter <Tarkon> mode",
                                   "3 vela_wlan_delete_ap_imp cli_channel_process"};
    const std::string no_return = "3 entry_system_mode return";
    const std::string no_view = "3 entry_system_mode system-view";
    const std::string no_user_mode = "3 return_user_mode return";
    const auto not_found = [](const std::string& command) {
        return Lines{"3 check_rule_exsit " + command + ", result = E!"};
    };
    const std::string bss_list = "display interface Wlan-Bss | include Wlan-Bss|Description";
    const std::vector<Row> rows = {
        {"return", refused_channel},
        {"display vlan brief", {"3 get_vlan_id_by_vap_id display vlan brief"}, 0},
        {"return", {no_return}},
        {"system-view", {no_view}},
        {"display interface ? ", not_found("display interface ? "), 0},
        {"display interface Vlanif | include current state",
         not_found("display interface Vlanif | include current state") +
             Lines{"6 undo_vlanif interface Vlanif 2 does not exsit"},
         0},
        {"interface Vlanif 2", {"3 undo_vlanif interface Vlanif 2"}},
        {"undo dhcp select interface [Are you sure=y]", {"3 undo_vlanif undo dhcp select interface"}},
        {"quit", {"3 undo_vlanif quit, quit interface Vlanif 2"}},
        {"undo interface Vlanif 2", {"3 undo_vlanif undo interface Vlanif 2, delete Vlanif 2"}},
        {"return", {no_user_mode}},
        {"return", {no_return, "3 undo_cfg_on_wlan_radio entry system mode"}},
        {"system-view", {no_view, "3 undo_cfg_on_wlan_radio entry system mode"}},
        {"interface Wlan-Radio0/0/0", {"3 undo_cfg_on_wlan_radio interface Wlan-Radio0/0/0"}},
        {"undo service-set name vela_service_set_1_0",
         {"3 undo_cfg_on_wlan_radio undo service-set name vela_service_set_1_0"}},
        {"display this", not_found("display this"), 0},
        {"undo radio-profile", {"3 undo_cfg_on_wlan_radio undo radio-profile"}},
        {"return", {no_return}},
        {"system-view", {no_view}},
        {"return", {no_return, "3 undo_service_set_and_secf entry system mode failed"}},
        {"system-view", {no_view, "3 undo_service_set_and_secf entry system mode failed"}},
        {"wlan", {"3 undo_service_set_and_secf wlan, entry wlan mode failed"}},
        {"display service-set all", not_found("display service-set all"), 0},
        {"undo service-set name vela_service_set_1_0",
         {"3 undo_service_set_and_secf undo service-set name vela_service_set_1_0"}},
        {"display security-profile all", not_found("display security-profile all"), 0},
        {"undo security-profile name vela_secf_1_Wlan-Radio0/0/0",
         {"3 undo_service_set_and_secf undo security-profile name vela_secf_1_Wlan-Radio0/0/0"}},
        {"return", {no_user_mode, "3 undo_service_set_and_secf return_user_mode failed"}},
        {"return", {no_return}},
        {"system-view", {no_view}},
        {"display interface ?",
         not_found("display interface ?") +
             Lines{"3 get_wlan_bss_id_by_wlan_bss_description check_rule_exsit(Wlan-Bss interface, display interface "
                   "?)",
                   "6 undo_interface_wlan_bss wlan-bss id get failed"},
         0},
        {bss_list,
         {"3 get_wlan_bss_id_by_wlan_bss_description vela_cli_execute, command = " + bss_list + ", result = E!",
          "6 undo_interface_wlan_bss wlan-bss id get failed"},
         0},
        {"undo interface Wlan-Bss 1", {"3 undo_interface_wlan_bss undo interface Wlan-Bss 1"}},
        {"return", {no_user_mode}},
        {"return", {no_return}},
        {"system-view", {no_view}},
        {"undo vlan 2", {"3 undo_vlan undo vlan 2"}},
        {"return", {no_user_mode}},
        {"return", {"3 vela_wlan_delete_ap_imp return, return <Tarkon> mode"}},
    };
    for (std::size_t nth = 0; nth < rows.size(); ++nth) {
        const auto& [command, records, code] = rows[nth];
        SCOPED_TRACE("request " + std::to_string(nth) + ": " + command);
        Circumstances circumstances{with_the_last_one().table(), true, true};
        circumstances.table.AtNth(nth, test::RejectsPrinting("E!"));
        const Outcome outcome = run(delete_ap("Wlan-Radio0/0/0", 1), circumstances);
        ASSERT_GT(outcome.sent.size(), nth);
        EXPECT_EQ(outcome.sent[nth], command);
        Lines own;
        for (const std::string& said : outcome.said)
            if (said.find(" vela_cli_execute_imp ") == std::string::npos && said != delete_entered &&
                said != delete_left)
                own.push_back(said);
        // Without a VLAN's number nothing else is missing.
        EXPECT_EQ(own, records);
        EXPECT_EQ(outcome.code, code);
    }
}

// Failures, worked out ----------------------------------------------------------------------------------------------

TEST_F(Wlan, CreatingAnOpenAccessPointFailsAtEveryStepAsDescribed) {
    fail_at_every_step(create_ap({}), {WlanRouter{}.table(), true, true});
}

struct Situation {
    const char* name;
    WlanRouter router;
    bool channel_is_open;
};
std::ostream& operator<<(std::ostream& out, const Situation& situation) { return out << situation.name; }

class WlanIn : public Wlan, public testing::WithParamInterface<Situation> {
protected:
    Circumstances circumstances() const { return {GetParam().router.table(), true, GetParam().channel_is_open}; }
};

TEST_P(WlanIn, CreatingFailsAtEveryStepAsDescribed) {
    fail_at_every_step(create_ap(secured("s3cret99")), circumstances());
}

TEST_P(WlanIn, DeletingFailsAtEveryStepAsDescribed) {
    fail_at_every_step(delete_ap("Wlan-Radio0/0/0", 1), circumstances());
}

TEST_P(WlanIn, TheRollbackFailsAtEveryStepAsDescribed) {
    const Call call = create_ap(secured("s3cret99"));
    const Outcome clean = expected(call, circumstances());
    const std::size_t last = clean.sent.size() - (GetParam().channel_is_open ? 2 : 3);
    for (const std::size_t first : {std::size_t{3}, clean.sent.size() / 2, last})
        fail_twice(call, circumstances(), first);
}

TEST_P(WlanIn, DeletingFailsTwiceAsDescribed) {
    for (const std::size_t first : {std::size_t{2}, std::size_t{4}, std::size_t{8}, std::size_t{12}})
        fail_twice(delete_ap("Wlan-Radio0/0/0", 1), circumstances(), first);
}

TEST_P(WlanIn, TheServiceHangsUpAtEveryStep) {
    EXPECT_EQ(hang_up_at_every_step(create_ap(secured("s3cret99")), circumstances()), Lines());
    EXPECT_EQ(hang_up_at_every_step(delete_ap("Wlan-Radio0/0/0", 1), circumstances()), Lines());
}

WlanRouter with_others() { return WlanRouter{}.with_access_point(2, "home", 2, 1).with_access_point(3, "work", 3, 12); }

// What creating would have left when it failed at the binding.
WlanRouter half_made() {
    WlanRouter router = with_one();
    router.radio = WlanRouter{}.radio;
    router.service_sets = WlanRouter{}.service_sets;
    return router;
}

INSTANTIATE_TEST_SUITE_P(Router, WlanIn,
                         testing::Values(Situation{"WithNothingInAnOwnChannel", {}, false},
                                         Situation{"WithNothing", {}, true},
                                         Situation{"WithTheAccessPoint", with_one(), true},
                                         Situation{"WithTheAccessPointUnbound", with_the_last_one(), false},
                                         Situation{"WithOthers", with_others(), true},
                                         Situation{"WithHalfOfIt", half_made(), false}),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace provisioning
