// The arguments of the provisioning calls: those that are refused before anything is sent, and long ones, which are
// sent whole or fail their step.
#include <limits>

#include "provisioning.h"

namespace provisioning {
namespace {

using Arguments = ProvisioningTest;
using Lines = std::vector<std::string>;

const std::string hyphens_26(26, '-');
const std::string create_entered = "6 " + hyphens_26 + hyphens_26 + "vela_wlan_create_ap_imp enter\\n";
const std::string delete_entered = "6 " + hyphens_26 + "vela_wlan_delete_ap_imp enter" + hyphens_26 + "\\n";

// Refused -----------------------------------------------------------------------------------------------------------

TEST_F(Arguments, AnotherCellularInterfaceIsRefusedAndNothingSent) {
    struct Row {
        std::string name;
        std::string record;
    };
    const std::vector<Row> rows = {
        {"Cellular0/0/1", "not support Cellular0/0/1, only support Cellular0/0/0"},
        {"cellular0/0/0", "interface name error, interface_name = cellular0/0/0"},
        {"CELLULAR0/0/1", "interface name error, interface_name = CELLULAR0/0/1"},
        {"Cellular0/0/00", "interface name error, interface_name = Cellular0/0/00"},
        {"Cellular0/0/", "interface name error, interface_name = Cellular0/0/"},
        {" Cellular0/0/0", "interface name error, interface_name =  Cellular0/0/0"},
        {"Cellular0/0/2", "interface name error, interface_name = Cellular0/0/2"},
        {"%s%n", "interface name error, interface_name = %s%n"},
        {"", "interface name error, interface_name = "},
    };
    for (const bool channel_is_open : {false, true})
        for (const Row& row : rows) {
            const std::string refused = "3 get_interface_name " + row.record;
            expect_outcome(
                cellular_open({row.name, "a", "b", "c", 1}), {{}, true, channel_is_open},
                {2, {}, {refused, "3 vela_cellular_open_imp interface_number = " + row.name}, channel_is_open});
            expect_outcome(
                cellular_close(row.name), {{}, true, channel_is_open},
                {2, {}, {refused, "3 vela_cellular_close_imp interface_number = " + row.name}, channel_is_open});
        }
}

TEST_F(Arguments, AnotherCellularInterfaceIsRefusedWithoutASessionToo) {
    expect_outcome(cellular_close("Cellular0/0/1"), {{}, false},
                   {2,
                    {},
                    {"3 get_interface_name not support Cellular0/0/1, only support Cellular0/0/0",
                     "3 vela_cellular_close_imp interface_number = Cellular0/0/1"},
                    false});
}

TEST_F(Arguments, AnSsidMissingOrLongerThan32IsRefusedAndNothingSent) {
    const std::string too_long(33, 's');
    const std::string much_too_long(2000, 's');
    for (const Text& ssid : {Text(), Text(""), Text(too_long), Text(much_too_long)}) {
        ApArguments arguments;
        arguments.ssid = ssid;
        expect_outcome(create_ap(arguments), {{}, true, true},
                       {2, {}, {create_entered, "3 vela_wlan_create_ap_imp ssid = " + ssid.value_or("(null)")}, true});
    }
}

TEST_F(Arguments, TheSsidIsCheckedBeforeTheRadio) {
    ApArguments arguments;
    arguments.ssid = {};
    arguments.radio = {};
    expect_outcome(create_ap(arguments), {},
                   {2, {}, {create_entered, "3 vela_wlan_create_ap_imp ssid = (null)"}, false});
}

TEST_F(Arguments, AnSsidOf32IsSent) {
    ApArguments arguments;
    arguments.ssid = std::string(32, 's');
    const Circumstances circumstances{WlanRouter{}.table(), true, true};
    EXPECT_TRUE(does_as_worked_out(create_ap(arguments), circumstances));
    const Outcome outcome = run(create_ap(arguments), circumstances);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(std::count(outcome.sent.begin(), outcome.sent.end(), "ssid " + *arguments.ssid), 1);
}

TEST_F(Arguments, AnotherRadioIsRefusedAndNothingSent) {
    for (const Text& radio : {Text(), Text(""), Text("Wlan-Radio0/0/1"), Text("wlan-radio0/0/0"),
                              Text("Wlan-Radio0/0/00"), Text("Wlan-Radio0/0/"), Text("%s")}) {
        ApArguments arguments;
        arguments.radio = radio;
        const std::string named = " radio_if = " + radio.value_or("(null)") + ", only support Wlan-Radio0/0/0";
        for (const bool channel_is_open : {false, true}) {
            expect_outcome(
                create_ap(arguments), {{}, true, channel_is_open},
                {2, {}, {create_entered, "3 vela_wlan_create_ap_imp" + named + " interface"}, channel_is_open});
            expect_outcome(delete_ap(radio, 1), {{}, true, channel_is_open},
                           {2, {}, {delete_entered, "3 vela_wlan_delete_ap_imp" + named}, channel_is_open});
        }
    }
}

// Long --------------------------------------------------------------------------------------------------------------

class LongArguments : public Arguments {
protected:
    // What fits beside the command's other elements: 8,012 bytes less header and prefix, the client's name, the
    // operation's code, the handle, and the command's own head and NUL.
    static std::size_t longest_command() {
        return 8012 - 12 - (8 + std::string(py_file).size() + 1) - 12 - 12 - (8 + 1);
    }

    static Circumstances on(const test::CliTable& table) {
        return {table, true, true, std::numeric_limits<std::size_t>::max(), longest_command()};
    }

    // The call with the text at these lengths, the last that fits a command of this frame, and longer ones.
    template <class MakeCall>
    void expect_whole_or_failed(const test::CliTable& table, std::size_t frame, MakeCall make_call) {
        const std::size_t fits = longest_command() - frame;
        for (const std::size_t length :
             {std::size_t{40}, std::size_t{64}, std::size_t{128}, std::size_t{255}, std::size_t{256}, std::size_t{257},
              std::size_t{900}, std::size_t{3100}, std::size_t{7000}, fits}) {
            SCOPED_TRACE("length " + std::to_string(length));
            const std::string text = std::string(length - 1, 'x') + "!";
            const Call call = make_call(text);
            EXPECT_TRUE(does_as_worked_out(call, on(table)));
            EXPECT_EQ(expected(call, on(table)).code, 0);
            const auto sent = run(call, on(table)).sent;
            EXPECT_TRUE(std::any_of(sent.begin(), sent.end(),
                                    [&](const std::string& line) { return line.find(text) != std::string::npos; }));
        }
        for (const std::size_t length : {fits + 1, std::size_t{8012}, std::size_t{65536}, std::size_t{1} << 20}) {
            SCOPED_TRACE("length " + std::to_string(length));
            const Call call = make_call(std::string(length, 'x'));
            EXPECT_TRUE(does_as_worked_out(call, on(table)));
            EXPECT_EQ(expected(call, on(table)).code, 1);
            for (const std::string& line : run(call, on(table)).sent)
                EXPECT_LT(line.size(), 100U);
        }
    }
};

TEST_F(LongArguments, AnApnIsSentWholeOrFails) {
    expect_whole_or_failed(CellularRouter{}.table(), std::string("apn ").size(), [](const std::string& text) {
        return cellular_open({{}, text, "joe", "s3cret", 1});
    });
}

TEST_F(LongArguments, AUserNameIsSentWholeOrFails) {
    expect_whole_or_failed(CellularRouter{}.table(),
                           std::string("user name  password cipher s3cret authentication-mode pap").size(),
                           [](const std::string& text) {
                               return cellular_open({{}, "quornet", text, "s3cret", 1});
                           });
}

TEST_F(LongArguments, APasswordIsSentWholeOrFails) {
    expect_whole_or_failed(CellularRouter{}.table(),
                           std::string("user name joe password cipher  authentication-mode auto").size(),
                           [](const std::string& text) {
                               return cellular_open({{}, "quornet", "joe", text, 2});
                           });
}

TEST_F(LongArguments, APassPhraseIsSentWholeOrFails) {
    expect_whole_or_failed(
        WlanRouter{}.table(),
        std::string("wpa2 authentication-method psk pass-phrase cipher  encryption-method ccmp").size(),
        [](const std::string& text) {
            ApArguments arguments;
            arguments.pass_phrase = text;
            return create_ap(arguments);
        });
}

TEST_F(LongArguments, AnAddressIsSentWholeOrFails) {
    // Beside the mask it is longer than in the DNS list.
    expect_whole_or_failed(WlanRouter{}.table(), std::string("ip address  255.255.255.0").size(),
                           [](const std::string& text) {
                               ApArguments arguments;
                               arguments.address = text;
                               return create_ap(arguments);
                           });
}

TEST_F(LongArguments, AMaskIsSentWholeOrFails) {
    expect_whole_or_failed(WlanRouter{}.table(), std::string("ip address 192.168.9.1 ").size(),
                           [](const std::string& text) {
                               ApArguments arguments;
                               arguments.mask = text;
                               return create_ap(arguments);
                           });
}

// The record of the failed step holds what it can of the command.
TEST_F(LongArguments, WhatDoesNotFitFailsItsStepAndIsRolledBack) {
    const std::string apn(9000, 'a');
    Circumstances circumstances{nothing().table(), true, true};
    const Outcome outcome = run(cellular_open({{}, apn, {}, {}, 0}), circumstances);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.sent, lines(R"(
        return
        return
        system-view
        dns resolve
        display this
        ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0
        acl name vela_Cellular0/0/0_acl
        display this
        rule permit ip
        quit
        dialer-rule
        dialer-rule 96 ip permit
        quit
        apn profile vela_apn_Cellular0/0/0_profile
        return
        return
        system-view
        interface Cellular0/0/0
        display this
        display acl all
        quit
        undo dns resolve
        display this
        display acl all
        display apn-profile configuration
        dialer-rule
        display this
        return
        return)"));
    ASSERT_EQ(outcome.said.size(), 4U) << outcome;
    EXPECT_EQ(outcome.said[0], "3 vela_cli_execute_imp tlv init construct failed");
    EXPECT_EQ(outcome.said[1].substr(0, 2 + 23 + 4), "3 vela_cellular_open_imp apn ");
    // 3,071 bytes in all, with the line's number in the place of the level.
    const std::string rest = outcome.said[1].substr(2 + 23 + 4);
    EXPECT_EQ(rest, std::string(rest.size(), 'a'));
    EXPECT_NEAR(static_cast<double>(rest.size()), 3071 - 23 - 4 - 4, 2);
    EXPECT_EQ(outcome.said[2], "3 get_vela_acl_num Advanced ACL vela_Cellular0/0/0_acl  does not exsit");
    EXPECT_EQ(outcome.said[3], "6 vela_cellular_close_imp vela_Cellular0/0/0_acl not exsit");
}

} // namespace
} // namespace provisioning
