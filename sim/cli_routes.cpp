// The commands for static routes, each known by its destination, mask and next hop.
#include <array>

#include "sim/cli_engine.h"
#include "sim/cli_parameters.h"

namespace sim {

namespace {

// The route that the arguments name, the mask given as a mask or as a length.
StaticRoute named_route(const CliContext& context) {
    const std::string& mask = context.arguments[1];
    StaticRoute route;
    route.mask = is_mask(mask) ? mask : mask_of_length(static_cast<unsigned>(std::stoul(mask)));
    route.destination = network_of(context.arguments[0], route.mask);
    if (context.arguments.size() > 2)
        route.next_hop = context.arguments[2];
    return route;
}

[[noreturn]] void fail_without(const StaticRoute& route) {
    refuse("there is no static route to {}/{}{}{}.", route.destination, length_of_mask(route.mask),
           route.next_hop.empty() ? "" : " via ", route.next_hop);
}

void add_route(CliContext& context) {
    StaticRoute route = named_route(context);
    if (!is_ip_address(route.next_hop) && context.router.interface(route.next_hop) == nullptr)
        refuse("the router has no interface {}.", route.next_hop);
    context.router.add_route(std::move(route));
}

void remove_route(CliContext& context) {
    const StaticRoute route = named_route(context);
    if (!context.router.remove_route(route))
        fail_without(route);
}

// Whatever their next hops.
void remove_routes(CliContext& context) {
    const StaticRoute named = named_route(context);
    bool any = false;
    for (const StaticRoute& route : std::vector(context.router.routes))
        if (route.destination == named.destination && route.mask == named.mask)
            any = context.router.remove_route(route) || any;
    if (!any)
        fail_without(named);
}

constexpr unsigned system_view = in(ViewKind::system);
constexpr std::string_view adds = "Add the route through that next hop";
constexpr std::string_view removes = "Remove the route through that next hop";
constexpr std::string_view removes_all = "Remove the routes to that destination";

constexpr std::array commands{
    Command{system_view, "ip route-static <ip-address> <mask> <ip-address>", adds, add_route},
    Command{system_view, "ip route-static <ip-address> <mask> <interface-name>", adds, add_route},
    Command{system_view, "ip route-static <ip-address> <0-32> <ip-address>", adds, add_route},
    Command{system_view, "ip route-static <ip-address> <0-32> <interface-name>", adds, add_route},
    Command{system_view, "undo ip route-static <ip-address> <mask> <ip-address>", removes, remove_route},
    Command{system_view, "undo ip route-static <ip-address> <mask> <interface-name>", removes, remove_route},
    Command{system_view, "undo ip route-static <ip-address> <0-32> <ip-address>", removes, remove_route},
    Command{system_view, "undo ip route-static <ip-address> <0-32> <interface-name>", removes, remove_route},
    Command{system_view, "undo ip route-static <ip-address> <mask>", removes_all, remove_routes},
    Command{system_view, "undo ip route-static <ip-address> <0-32>", removes_all, remove_routes},
};

constexpr std::array words{
    WordHelp{"ip route-static", "A route that is set by hand"},
    WordHelp{"undo ip route-static", "Remove a static route"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    if (router.routes.empty())
        return;
    ConfigSection section{View{ViewKind::system, {}}, {}, {}};
    for (const StaticRoute& route : router.routes)
        section.lines.push_back(fmt::format("ip route-static {} {} {}", route.destination, route.mask, route.next_hop));
    sections.push_back(std::move(section));
}

} // namespace

CommandSet route_commands() { return {commands, words, configuration}; }

} // namespace sim
