#include "sim/scenario.h"

#include <ctime>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "sim/cli_engine.h"
#include "sim/cli_parameters.h"
#include "sim/configuration.h"
#include "sim/facts_scenario.h"
#include "sim/json_reader.h"
#include "sim/snmp_mib.h"

namespace sim {

namespace {

using Json = nlohmann::json;

std::string ip_address(const Node& node) {
    std::string address = text(node);
    if (!is_ip_address(address))
        node.fail_expected("a dotted IP address");
    return address;
}

std::string ip_mask(const Node& node) {
    std::string mask = text(node);
    if (!is_mask(mask))
        node.fail_expected("a dotted mask");
    return mask;
}

bool link_state(const Node& node) {
    const std::string state = text(node);
    if (state != "up" && state != "down")
        node.fail_expected("\"up\" or \"down\"");
    return state == "up";
}

std::string name_of_interface(const Node& node) {
    const auto name = interface_name(text(node));
    if (!name)
        node.fail_expected("an interface's type and number, like \"GigabitEthernet0/0/0\"");
    return *name;
}

constexpr Field<Interface> interface_fields[] = {
    {"name", [](Interface& to, const Node& node) { to.name = name_of_interface(node); }},
    {"description", [](Interface& to, const Node& node) { to.description = text(node); }},
    {"address", [](Interface& to, const Node& node) { to.address = ip_address(node); }},
    {"mask", [](Interface& to, const Node& node) { to.mask = ip_mask(node); }},
    {"shutdown", [](Interface& to, const Node& node) { to.shutdown = truth(node); }},
    {"link", [](Interface& to, const Node& node) { to.link = link_state(node); }},
};

Interface interface_from(const Node& node) {
    Interface interface;
    read_object(node, interface_fields, interface);
    if (interface.name.empty())
        node.fail("an interface needs a name");
    if (interface.address.empty() != interface.mask.empty())
        node.fail("address and mask go together");
    return interface;
}

void read_interfaces(Scenario& scenario, const Node& node) {
    RouterState& router = scenario.router;
    router.interfaces.clear();
    each_of(node, [&](const Node& each) {
        Interface interface = interface_from(each);
        if (type_of(interface.name)->numbers != nullptr)
            each.at("name").fail(fmt::format("{} is made by the configuration", interface.name));
        if (router.interface(interface.name) != nullptr)
            each.at("name").fail(fmt::format("{} is there already", interface.name));
        router.interfaces.push_back(std::move(interface));
    });
}

void read_sysname(Scenario& scenario, const Node& node) {
    const std::string name = text(node);
    if (name.empty() || name.size() > 64 || name.find(' ') != std::string::npos)
        node.fail_expected("a name of 1 to 64 characters without blanks");
    scenario.router.sysname = name;
}

void read_clock(Scenario& scenario, const Node& node) {
    const std::string time = text(node);
    std::tm parts{};
    const char* const end = strptime(time.c_str(), "%Y-%m-%d %H:%M:%S", &parts);
    if (end == nullptr || *end != '\0')
        node.fail_expected("a time like \"2016-09-08 12:00:00\"");
    scenario.router.clock = std::chrono::sys_seconds(std::chrono::seconds(timegm(&parts)));
}

// The lowest and the highest of the numbers.
Range number_range(const Node& node, unsigned lowest, unsigned highest) {
    if (!node.json.is_array() || node.json.size() != 2)
        node.fail_expected("two numbers, the lowest and the highest");
    const auto low = static_cast<unsigned>(whole_number(node.at(std::size_t{0}), lowest, highest));
    return {low, static_cast<unsigned>(whole_number(node.at(1), low, highest))};
}

unsigned count(const Node& node, unsigned most) { return static_cast<unsigned>(whole_number(node, 0, most)); }

constexpr Field<RouterLimits> limits_fields[] = {
    {"vlan_ids", [](RouterLimits& to, const Node& node) { to.vlan_ids = number_range(node, 1, 4094); }},
    {"wlan_bss_ids", [](RouterLimits& to, const Node& node) { to.wlan_bss_ids = number_range(node, 0, 99); }},
    {"wlan_ids", [](RouterLimits& to, const Node& node) { to.wlan_ids = number_range(node, 0, 255); }},
    {"acls", [](RouterLimits& to, const Node& node) { to.acls = count(node, 1000); }},
    {"service_sets_per_radio",
     [](RouterLimits& to, const Node& node) { to.service_sets_per_radio = count(node, 256); }},
};

void read_configuration_file(Scenario& scenario, const Node& node) {
    try {
        load_configuration_file(scenario.router, std::filesystem::path(node.directory) / text(node));
    } catch (const ConfigurationError& error) {
        node.fail(error.what());
    }
}

// Commands, as typed in the system view.
void read_configuration(Scenario& scenario, const Node& node) {
    CliSession session;
    session.views.push_back({ViewKind::system, {}});
    each_of(node, [&](const Node& line) {
        const CliResult result = cli_engine().run(scenario.router, session, text(line));
        if (result.error != 0)
            line.fail(fmt::format("\"{}\": {}", text(line), result.error_text));
    });
}

void read_faults(Scenario& scenario, const Node& node) {
    each_of(node, [&](const Node& each) {
        try {
            scenario.faults.push_back(fault_from_json(each.json));
        } catch (const FaultError& error) {
            each.fail(error.what());
        }
    });
}

// What is wrong in a recording stands behind the field that brought it in.
template <class Read> void read_recording(const Node& node, Read read) {
    try {
        read();
    } catch (const RecordingError& error) {
        node.fail(error.what());
    }
}

void replace_mib(Mib& mib, const Node& node) {
    mib = Mib{};
    read_recording(node, [&] { mib.read_file(std::filesystem::path(node.directory) / text(node)); });
}

void add_to_mib(Mib& mib, const Node& node) {
    each_of(node, [&](const Node& line) { read_recording(line, [&] { mib.read_line(text(line)); }); });
}

constexpr Field<Mib> mib_fields[] = {
    {"recording", replace_mib},
    {"objects", add_to_mib},
};

void read_mib(Scenario& scenario, const Node& node) {
    Mib mib = *scenario.router.mib;
    read_object(node, mib_fields, mib);
    scenario.router.mib = std::make_shared<Mib>(std::move(mib));
}

constexpr Field<Scenario> session_fields[] = {
    {"first_id", [](Scenario& to, const Node& node) { to.router.next_session_id = number32(node); }},
};

constexpr Field<Scenario> cli_fields[] = {
    {"first_handle", [](Scenario& to, const Node& node) { to.router.next_cli_handle = number32(node); }},
};

constexpr Field<Scenario> fields[] = {
    {"sysname", read_sysname},
    {"version", [](Scenario& to, const Node& node) { to.router.version = lines(node); }},
    {"clock", read_clock},
    {"interfaces", read_interfaces},
    {"limits", [](Scenario& to, const Node& node) { read_object(node, limits_fields, to.router.limits); }},
    {"configuration_file", read_configuration_file},
    {"configuration", read_configuration},
    {"saved_configuration", [](Scenario& to, const Node& node) { to.router.saved_configuration = lines(node); }},
    {"session", [](Scenario& to, const Node& node) { read_object(node, session_fields, to); }},
    {"cli", [](Scenario& to, const Node& node) { read_object(node, cli_fields, to); }},
    {"faults", read_faults},
    {"facts", [](Scenario& to, const Node& node) { read_facts(to.router.facts, node); }},
    {"snmp", read_mib},
};

// The JSON library's text without its own numbering in front.
std::string syntax_error(const Json::parse_error& error) {
    const std::string text = error.what();
    const std::size_t end = text.find("] ");
    return end == std::string::npos ? text : text.substr(end + 2);
}

} // namespace

Scenario scenario_from_json(const Json& json, const std::string& directory) {
    Scenario scenario;
    read_object(Node{json, {}, directory}, fields, scenario);
    return scenario;
}

Scenario load_scenario(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        throw ScenarioError(fmt::format("{}: cannot be read", path));
    try {
        constexpr bool with_exceptions = true;
        constexpr bool with_comments = true;
        return scenario_from_json(Json::parse(file, nullptr, with_exceptions, with_comments),
                                  std::filesystem::path(path).parent_path());
    } catch (const Json::parse_error& error) {
        throw ScenarioError(fmt::format("{}: {}", path, syntax_error(error)));
    } catch (const ScenarioError& error) {
        throw ScenarioError(fmt::format("{}: {}", path, error.what()));
    }
}

} // namespace sim
