// Scenarios: every field, and every way in which one can be wrong.
#include "sim/scenario.h"

#include <fstream>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::StartsWith;

Scenario from(const char* text) { return scenario_from_json(nlohmann::json::parse(text)); }

TEST(Scenario, LeavesWhatItDoesNotSayAsItComesOutOfTheBox) {
    const Scenario scenario = from("{}");
    EXPECT_EQ(scenario.router.sysname, RouterState{}.sysname);
    EXPECT_EQ(scenario.router.interfaces, RouterState{}.interfaces);
    EXPECT_TRUE(scenario.faults.empty());
}

TEST(Scenario, TakesEveryField) {
    const Scenario scenario = from(R"({
        "sysname": "Edge",
        "version": ["first line", "second line"],
        "clock": "2016-09-08 12:30:00",
        "interfaces": [
            {"name": "gigabitethernet 0/0/0", "description": "up", "address": "192.0.2.1", "mask": "255.255.255.0"},
            {"name": "GigabitEthernet0/0/1", "shutdown": true, "link": "down"}
        ],
        "configuration": ["interface g0/0/1", "description by command", "#", "sysname Later"],
        "saved_configuration": "#\nreturn\n",
        "session": {"first_id": 70000},
        "cli": {"first_handle": 12},
        "faults": ["cli.open:no_answer", {"verb": "delay", "delay": 5}]
    })");
    const RouterState& router = scenario.router;
    EXPECT_EQ(router.sysname, "Later");
    EXPECT_EQ(router.version, "first line\nsecond line\n");
    EXPECT_EQ(router.clock->time_since_epoch().count(), 1473337800);
    ASSERT_EQ(router.interfaces.size(), 2U);
    EXPECT_EQ(
        router.interfaces[0],
        (Interface{
            .name = "GigabitEthernet0/0/0", .description = "up", .address = "192.0.2.1", .mask = "255.255.255.0"}));
    EXPECT_EQ(
        router.interfaces[1],
        (Interface{.name = "GigabitEthernet0/0/1", .description = "by command", .shutdown = true, .link = false}));
    EXPECT_EQ(router.saved_configuration, "#\nreturn\n");
    EXPECT_EQ(router.next_session_id, 70000U);
    EXPECT_EQ(router.next_cli_handle, 12U);
    ASSERT_EQ(scenario.faults.size(), 2U);
    EXPECT_EQ(scenario.faults[0].operation, "cli.open");
    EXPECT_EQ(scenario.faults[1].delay, 5ms);
}

TEST(Scenario, SetsTheLimits) {
    const RouterLimits limits = from(R"({"limits": {"vlan_ids": [1, 3], "wlan_bss_ids": [0, 2], "wlan_ids": [5, 5],
                                                    "acls": 2, "service_sets_per_radio": 0}})")
                                    .router.limits;
    EXPECT_EQ(limits.vlan_ids, (Range{1, 3}));
    EXPECT_EQ(limits.wlan_bss_ids, (Range{0, 2}));
    EXPECT_EQ(limits.wlan_ids, (Range{5, 5}));
    EXPECT_EQ(limits.acls, 2U);
    EXPECT_EQ(limits.service_sets_per_radio, 0U);
}

TEST(Scenario, IsTakenOverByTheService) {
    TempDir directory;
    Service service({.socket_path = directory / "s"});
    service.apply(from(R"({"session": {"first_id": 7}, "faults": ["session.keepalive:error=3"]})"));
    service.start();
    WireClient client(directory / "s");
    client.open_session();
    EXPECT_EQ(client.session_id(), 7);
    EXPECT_EQ(client.ask(client.session_message(5)).integer(2), 3);
}

struct WrongScenario {
    const char* name;
    const char* text;
    const char* says;

    friend void PrintTo(const WrongScenario& row, std::ostream* out) { *out << row.text; }
};

class WrongScenarios : public ::testing::TestWithParam<WrongScenario> {};

TEST_P(WrongScenarios, AreRefusedWithTheFieldAndWhatWouldBeRight) {
    try {
        from(GetParam().text);
        FAIL() << "it was taken";
    } catch (const ScenarioError& error) {
        EXPECT_THAT(error.what(), StartsWith(GetParam().says));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, WrongScenarios,
    ::testing::Values(
        WrongScenario{"list", "[]", "expected an object, got []"},
        WrongScenario{"unknown_field", R"({"name": 1})",
                      "name: no such field; there are sysname, version, clock, interfaces, limits, "
                      "configuration_file, configuration, saved_configuration, session, cli, faults"},
        WrongScenario{"sysname_kind", R"({"sysname": 5})", "sysname: expected a text, got 5"},
        WrongScenario{"sysname_blank", R"({"sysname": "a b"})", "sysname: expected a name of 1 to 64 characters"},
        WrongScenario{"version", R"({"version": {}})", "version: expected a text or a list of lines, got {}"},
        WrongScenario{"version_line", R"({"version": ["a", 2]})", "version[1]: expected a text, got 2"},
        WrongScenario{"clock", R"({"clock": "noon"})", "clock: expected a time like \"2016-09-08 12:00:00\""},
        WrongScenario{"interfaces", R"({"interfaces": {}})", "interfaces: expected a list, got {}"},
        WrongScenario{"interface_field", R"({"interfaces": [{"name": "g0/0/0", "mtu": 1}]})",
                      "interfaces[0].mtu: no such field; there are name, description, address, mask, shutdown, link"},
        WrongScenario{"interface_nameless", R"({"interfaces": [{}]})", "interfaces[0]: an interface needs a name"},
        WrongScenario{"interface_name", R"({"interfaces": [{"name": "eth0"}]})",
                      "interfaces[0].name: expected an interface's type and number"},
        WrongScenario{"interface_twice", R"({"interfaces": [{"name": "g0/0/0"}, {"name": "G 0/0/0"}]})",
                      "interfaces[1].name: GigabitEthernet0/0/0 is there already"},
        WrongScenario{"interface_made", R"({"interfaces": [{"name": "Vlanif 5"}]})",
                      "interfaces[0].name: Vlanif5 is made by the configuration"},
        WrongScenario{"address", R"({"interfaces": [{"name": "g0/0/0", "address": "1.2.3"}]})",
                      "interfaces[0].address: expected a dotted IP address, got \"1.2.3\""},
        WrongScenario{"mask", R"({"interfaces": [{"name": "g0/0/0", "mask": "1.2.3.4"}]})",
                      "interfaces[0].mask: expected a dotted mask, got \"1.2.3.4\""},
        WrongScenario{"half_address", R"({"interfaces": [{"name": "g0/0/0", "address": "1.2.3.4"}]})",
                      "interfaces[0]: address and mask go together"},
        WrongScenario{"shutdown", R"({"interfaces": [{"name": "g0/0/0", "shutdown": "yes"}]})",
                      "interfaces[0].shutdown: expected true or false, got \"yes\""},
        WrongScenario{"link", R"({"interfaces": [{"name": "g0/0/0", "link": "half"}]})",
                      "interfaces[0].link: expected \"up\" or \"down\", got \"half\""},
        WrongScenario{"configuration", R"({"configuration": ["sysname a", "nonsense"]})",
                      "configuration[1]: \"nonsense\": Error: unknown word \"nonsense\" in the system view."},
        WrongScenario{"configuration_file", R"({"configuration_file": "/no/such.cfg"})",
                      "configuration_file: /no/such.cfg: cannot be read"},
        WrongScenario{"limit", R"({"limits": {"vlans": 1}})",
                      "limits.vlans: no such field; there are vlan_ids, wlan_bss_ids, wlan_ids, acls, "
                      "service_sets_per_radio"},
        WrongScenario{"range_kind", R"({"limits": {"vlan_ids": 3}})",
                      "limits.vlan_ids: expected two numbers, the lowest and the highest, got 3"},
        WrongScenario{"range_one", R"({"limits": {"vlan_ids": [3]}})",
                      "limits.vlan_ids: expected two numbers, the lowest and the highest, got [3]"},
        WrongScenario{"range_low", R"({"limits": {"vlan_ids": [0, 3]}})",
                      "limits.vlan_ids[0]: expected a number from 1 to 4094, got 0"},
        WrongScenario{"range_turned", R"({"limits": {"wlan_bss_ids": [5, 3]}})",
                      "limits.wlan_bss_ids[1]: expected a number from 5 to 99, got 3"},
        WrongScenario{"range_high", R"({"limits": {"wlan_ids": [0, 256]}})",
                      "limits.wlan_ids[1]: expected a number from 0 to 255, got 256"},
        WrongScenario{"acls", R"({"limits": {"acls": 1001}})", "limits.acls: expected a number from 0 to 1000"},
        WrongScenario{"service_sets", R"({"limits": {"service_sets_per_radio": -1}})",
                      "limits.service_sets_per_radio: expected a number from 0 to 256, got -1"},
        WrongScenario{"session_id", R"({"session": {"first_id": -1}})",
                      "session.first_id: expected a number from 0 to 4294967295, got -1"},
        WrongScenario{"session_field", R"({"session": {"id": 1}})", "session.id: no such field; there are first_id"},
        WrongScenario{"handle", R"({"cli": {"first_handle": 4294967296}})",
                      "cli.first_handle: expected a number from 0 to 4294967295"},
        WrongScenario{"faults", R"({"faults": ["*:delay=1", {"verb": "late"}]})",
                      "faults[1]: verb: \"late\" is none of no_answer, delay,"}),
    [](const auto& test) { return std::string(test.param.name); });

std::string load_error(const std::string& path) {
    try {
        load_scenario(path);
        return "";
    } catch (const ScenarioError& error) {
        return error.what();
    }
}

TEST(ScenarioFile, MayHaveComments) {
    TempDir directory;
    std::ofstream(directory / "s.json") << "// the branch office\n{\"sysname\": \"Branch\" /* seven */}";
    EXPECT_EQ(load_scenario(directory / "s.json").router.sysname, "Branch");
}

TEST(ScenarioFile, NamesAConfigurationBesideIt) {
    TempDir directory;
    std::ofstream(directory / "branch.cfg") << "#\n sysname Filed\n#\nvlan 7\n#\nreturn\n";
    std::ofstream(directory / "s.json") << R"({"sysname": "Overwritten", "configuration_file": "branch.cfg",
                                               "configuration": ["vlan 8"]})";
    const RouterState router = load_scenario(directory / "s.json").router;
    EXPECT_EQ(router.sysname, "Filed");
    EXPECT_TRUE(router.settings.vlans.contains(7));
    EXPECT_TRUE(router.settings.vlans.contains(8)) << "commands come behind it";

    std::ofstream(directory / "s.json") << R"({"limits": {"vlan_ids": [1, 6]}, "configuration_file": "branch.cfg"})";
    EXPECT_EQ(load_error(directory / "s.json"), directory / "s.json" + std::string(": configuration_file: ") +
                                                    (directory / "branch.cfg") +
                                                    ": line 4: \"vlan 7\": Error: \"7\" is not a valid INTEGER<1-6>.");
}

TEST(ScenarioFile, IsNamedInTheErrors) {
    TempDir directory;
    const std::string path = directory / "s.json";
    EXPECT_EQ(load_error(path), path + ": cannot be read");
    std::ofstream(path) << "{\n \"sysname\": }";
    EXPECT_THAT(load_error(path), StartsWith(path + ": parse error at line 2, column 13: syntax error"));
    std::ofstream(path) << "{\"clock\": 1}";
    EXPECT_EQ(load_error(path), path + ": clock: expected a text, got 1");
}

} // namespace
} // namespace sim::test
