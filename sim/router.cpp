#include "sim/router.h"

#include <algorithm>
#include <utility>

#include <fmt/chrono.h>
#include <strings.h>

#include "sim/cli_parameters.h"
#include "sim/snmp_mib.h"

namespace sim {

namespace {

// Why an interface is down; empty when it is up.
std::string_view why_down(const Interface& interface) {
    if (interface.shutdown)
        return "shut down";
    return interface.link ? "" : "no link";
}

} // namespace

RouterState::RouterState()
    : version("Quor Router Software, Version 2.0\n"
              "Quor enterprise access router, 2 Ethernet ports, 1 cellular modem, 1 radio\n"),
      interfaces{{.name = "GigabitEthernet0/0/0", .address = "192.168.1.1", .mask = "255.255.255.0"},
                 {.name = "GigabitEthernet0/0/1", .link = false},
                 {.name = "Cellular0/0/0", .link = false},
                 {.name = "Wlan-Radio0/0/0"}},
      mib(default_mib()) {}

const Interface* RouterState::interface(std::string_view name) const {
    const std::string wanted(name);
    const auto found = std::ranges::find_if(
        interfaces, [&](const Interface& each) { return strcasecmp(each.name.c_str(), wanted.c_str()) == 0; });
    return found == interfaces.end() ? nullptr : &*found;
}

Interface* RouterState::interface(std::string_view name) {
    return const_cast<Interface*>(std::as_const(*this).interface(name)); // this one's own, and not constant
}

void RouterState::clear_configuration() {
    std::erase_if(interfaces, [](const Interface& each) { return is_logical(each.name); });
    for (Interface& each : interfaces)
        each = Interface{.name = each.name, .link = each.link};
    sysname = RouterState{}.sysname;
    routes.clear();
    settings = Settings{};
}

std::chrono::sys_seconds RouterState::now() const {
    return clock.value_or(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
}

void RouterState::set_shutdown(Interface& interface, bool shutdown) {
    change(interface, &Interface::shutdown, shutdown, true);
}

void RouterState::set_link(Interface& interface, bool link) { change(interface, &Interface::link, link, false); }

void RouterState::change(Interface& interface, bool Interface::*field, bool value, bool by_administrator) {
    const std::string_view before = why_down(interface);
    interface.*field = value;
    const std::string_view after = why_down(interface);
    if (before != after)
        tell(InterfaceChange{interface.name, interface.up(), after, by_administrator});
}

void RouterState::add_interface(Interface interface) {
    interfaces.push_back(std::move(interface));
    if (const Interface& added = interfaces.back(); added.up())
        tell(InterfaceChange{added.name, true, {}, true});
}

bool RouterState::remove_interface(std::string_view name) {
    const Interface* const found = interface(name);
    if (found == nullptr)
        return false;
    const Interface removed = *found;
    for (const StaticRoute& route : std::vector(routes))
        if (route.next_hop == removed.name)
            remove_route(route);
    interfaces.erase(interfaces.begin() + (found - interfaces.data()));
    if (removed.up())
        tell(InterfaceChange{removed.name, false, "removed", true});
    return true;
}

void RouterState::add_route(StaticRoute route) {
    if (std::ranges::find(routes, route) != routes.end())
        return;
    routes.push_back(route);
    tell(RouteChange{std::move(route), true});
}

bool RouterState::remove_route(const StaticRoute& route) {
    if (std::erase(routes, route) == 0)
        return false;
    tell(RouteChange{route, false});
    return true;
}

void RouterState::tell(InterfaceChange change) {
    LogLine line{"IFNET", change.up ? 6U : 4U, change.up ? "IF_UP" : "IF_DOWN", text_of(change)};
    news.emplace_back(std::move(change));
    write_log(std::move(line));
}

void RouterState::tell(RouteChange change) {
    LogLine line{"ROUTE", 6, change.added ? "ROUTE_ADDED" : "ROUTE_REMOVED", text_of(change)};
    news.emplace_back(std::move(change));
    write_log(std::move(line));
}

void RouterState::write_log(LogLine line) {
    if (log.size() == log_size)
        log.pop_front();
    log.push_back(text_of(line, *this));
    news.emplace_back(std::move(line));
}

std::string text_of(const InterfaceChange& change) {
    return change.up ? fmt::format("interface {} up", change.name)
                     : fmt::format("interface {} down ({})", change.name, change.why);
}

std::string text_of(const RouteChange& change) {
    const StaticRoute& route = change.route;
    return fmt::format("route {}/{} {}, static, via {}", route.destination, length_of_mask(route.mask),
                       change.added ? "added" : "removed", route.next_hop);
}

std::string text_of(const LogLine& line, const RouterState& router) {
    return fmt::format("{:%Y-%m-%d %H:%M:%S} {} {}/{}/{}: {}",
                       fmt::gmtime(std::chrono::system_clock::to_time_t(router.now())), router.sysname, line.module,
                       line.level, line.alias, line.text);
}

} // namespace sim
