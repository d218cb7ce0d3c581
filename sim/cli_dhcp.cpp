// The commands for DHCP: on or off for the whole router, and the server of an interface.
#include <algorithm>
#include <array>

#include "sim/cli_interface.h"

namespace sim {

namespace {

constexpr std::size_t most_dns_servers = 8;

void enable(CliContext& context) { context.router.settings.services.dhcp = true; }

void disable(CliContext& context) {
    RouterState& router = context.router;
    if (!router.settings.services.dhcp)
        return;
    if (!context.confirm("Warning: DHCP ends on every interface, and what is set there is removed. Continue? [y/n]: "))
        return;
    router.settings.services.dhcp = false;
    for (Interface& interface : router.interfaces)
        interface.dhcp = {};
}

void select_interface(CliContext& context) {
    Interface& own = interface_here(context);
    if (!context.router.settings.services.dhcp)
        refuse("DHCP is not enabled.");
    if (own.address.empty())
        refuse("{} has no address.", own.name);
    own.dhcp.selected = true;
}

void deselect_interface(CliContext& context) {
    Interface& own = interface_here(context);
    if (!own.dhcp.selected)
        return;
    if (context.confirm("Warning: the leases of this interface's addresses are lost. Are you sure? [y/n]: "))
        own.dhcp = {};
}

void add_dns(CliContext& context) {
    Interface& own = interface_here(context);
    std::vector<std::string>& servers = own.dhcp.dns;
    if (!own.dhcp.selected)
        refuse("{} has no DHCP server.", own.name);
    if (std::ranges::find(servers, context.arguments[0]) != servers.end())
        return;
    if (servers.size() == most_dns_servers)
        refuse("{} has {} DNS servers, as many as it can have.", own.name, servers.size());
    servers.push_back(context.arguments[0]);
}

void remove_dns(CliContext& context) { interface_here(context).dhcp.dns.clear(); }

constexpr unsigned system_view = in(ViewKind::system);

constexpr std::array commands{
    Command{system_view, "dhcp enable", "Let interfaces serve addresses", enable},
    Command{system_view, "undo dhcp enable", "Let no interface serve addresses", disable},
    Command{in_routed_interface, "dhcp select interface", "Serve the addresses of this network", select_interface},
    Command{in_routed_interface, "undo dhcp select interface", "Serve no addresses", deselect_interface},
    Command{in_routed_interface, "dhcp server dns-list <ip-address>", "Tell of that DNS server too", add_dns},
    Command{in_routed_interface, "undo dhcp server dns-list", "Tell of no DNS server", remove_dns},
};

constexpr std::array words{
    WordHelp{"dhcp", "Addresses for hosts"},
    WordHelp{"dhcp select", "Where the addresses come from"},
    WordHelp{"dhcp server", "What the server tells of"},
    WordHelp{"dhcp server dns-list", "The DNS servers that hosts are told of"},
    WordHelp{"undo dhcp", "Addresses for hosts"},
    WordHelp{"undo dhcp select", "Where the addresses come from"},
    WordHelp{"undo dhcp server", "What the server tells of"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    if (router.settings.services.dhcp)
        sections.push_back({View{ViewKind::system, {}}, {}, {"dhcp enable"}});
}

void interface_lines(const Interface& interface, std::vector<std::string>& lines) {
    if (interface.dhcp.selected)
        lines.emplace_back("dhcp select interface");
    for (const std::string& server : interface.dhcp.dns)
        lines.push_back("dhcp server dns-list " + server);
}

} // namespace

CommandSet dhcp_commands() { return {commands, words, configuration, interface_lines}; }

} // namespace sim
