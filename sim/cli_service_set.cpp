// The commands for service sets, and the WLAN view in which they are: an SSID, how stations are let in, and the
// WLAN-BSS interface that their traffic comes in by.
#include <algorithm>
#include <array>

#include "sim/cli_engine.h"

namespace sim {

namespace {

constexpr std::size_t longest_ssid = 32;

std::vector<ServiceSet>& sets(CliContext& context) { return context.router.settings.service_sets; }

ServiceSet* numbered(CliContext& context, unsigned id) {
    const auto found = std::ranges::find(sets(context), id, &ServiceSet::id);
    return found == sets(context).end() ? nullptr : &*found;
}

unsigned free_id(CliContext& context) {
    for (unsigned id = 0; id <= highest_service_set; ++id)
        if (numbered(context, id) == nullptr)
            return id;
    refuse("the router has {} service sets, as many as it can have.", sets(context).size());
}

void add_set(CliContext& context, unsigned id) {
    require_at_most(longest_object_name, "a service set's name", context.arguments[0]);
    sets(context).push_back({.name = context.arguments[0], .id = id});
}

void enter_wlan(CliContext& context) { context.enter({ViewKind::wlan, {}}); }

void enter_set(CliContext& context) {
    if (find_named(sets(context), context.arguments[0]) == nullptr)
        add_set(context, free_id(context));
    context.enter({ViewKind::service_set, context.arguments[0]});
}

void enter_set_with_id(CliContext& context) {
    const std::string& name = context.arguments[0];
    const unsigned id = context.number(1);
    const ServiceSet* const known = find_named(sets(context), name);
    if (known != nullptr && known->id != id)
        refuse("the number of service set {} is {}.", name, known->id);
    if (const ServiceSet* const other = numbered(context, id); other != nullptr && other != known)
        refuse("{} is the number of service set {}.", id, other->name);
    if (known == nullptr)
        add_set(context, id);
    context.enter({ViewKind::service_set, name});
}

void remove_set(CliContext& context) {
    const std::string& name = context.arguments[0];
    const ServiceSet* const set = find_named(sets(context), name);
    if (set == nullptr)
        refuse("there is no service set {}.", name);
    for (const Interface& each : context.router.interfaces)
        if (std::ranges::find(each.radio.bindings, set->id, &RadioBinding::service_set) != each.radio.bindings.end())
            refuse("service set {} is bound to {}.", name, each.name);
    std::erase_if(sets(context), [&](const ServiceSet& other) { return other.name == name; });
}

ServiceSet& set_here(CliContext& context) {
    const View& view = context.session.view();
    return still_there(find_named(sets(context), view.subject), view, "service set");
}

void set_ssid(CliContext& context) {
    require_at_most(longest_ssid, "an SSID", context.arguments[0]);
    set_here(context).ssid = context.arguments[0];
}

void remove_ssid(CliContext& context) { set_here(context).ssid.clear(); }

void bind_profile(CliContext& context) {
    const std::string& name = context.arguments[0];
    if (find_named(context.router.settings.security_profiles, name) == nullptr)
        refuse("there is no security profile {}.", name);
    set_here(context).security_profile = name;
}

void unbind_profile(CliContext& context) { set_here(context).security_profile.clear(); }

void bind_interface(CliContext& context) {
    const unsigned number = context.number(0);
    ServiceSet& own = set_here(context);
    if (context.router.interface(fmt::format("Wlan-Bss{}", number)) == nullptr)
        refuse("the router has no interface Wlan-Bss{}.", number);
    for (const ServiceSet& other : sets(context))
        if (&other != &own && other.wlan_bss == number)
            refuse("Wlan-Bss{} is bound to service set {}.", number, other.name);
    own.wlan_bss = number;
}

void unbind_interface(CliContext& context) { set_here(context).wlan_bss.reset(); }

// Programs look for the name in a column of 32, followed by the SSID.
void display_all(CliContext& context) {
    constexpr std::string_view row = "{:<4}{:<32}{:<33}{:<33}{}";
    context.line(row, "ID", "Service set", "SSID", "Security profile", "WLAN-BSS");
    for (const ServiceSet& set : sets(context))
        context.line(row, set.id, set.name, set.ssid, set.security_profile.empty() ? "-" : set.security_profile,
                     set.wlan_bss ? std::to_string(*set.wlan_bss) : "-");
}

constexpr unsigned wlan_view = in(ViewKind::wlan);
constexpr unsigned set_view = in(ViewKind::service_set);

constexpr std::array commands{
    Command{in(ViewKind::system), "wlan", "Enter the view of the WLANs", enter_wlan},
    Command{wlan_view, "service-set name <service-set-name>", "Enter the service set's view", enter_set},
    Command{wlan_view, "service-set name <service-set-name> id <0-255>", "Enter the service set's view",
            enter_set_with_id},
    Command{wlan_view, "undo service-set name <service-set-name>", "Remove the service set", remove_set},
    Command{in_any_view, "display service-set all", "Every service set", display_all},
    Command{set_view, "ssid <text>", "Set the SSID", set_ssid},
    Command{set_view, "undo ssid", "Remove the SSID", remove_ssid},
    Command{set_view, "security-profile name <profile-name>", "Let stations in by that profile", bind_profile},
    Command{set_view, "undo security-profile", "Let every station in", unbind_profile},
    Command{set_view, "wlan-bss <wlan-bss-id>", "Take the traffic in by that interface", bind_interface},
    Command{set_view, "undo wlan-bss", "Take the traffic in by no interface", unbind_interface},
};

constexpr std::array words{
    WordHelp{"service-set", "What is offered to stations"},
    WordHelp{"service-set name", "A service set by its name"},
    WordHelp{"service-set name <service-set-name> id", "The service set's number"},
    WordHelp{"undo service-set", "Remove a service set"},
    WordHelp{"undo service-set name", "Remove a service set by its name"},
    WordHelp{"display service-set", "The service sets"},
    WordHelp{"ssid", "The name that stations see"},
    WordHelp{"wlan-bss", "The interface of the stations' traffic"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const ServiceSet& set : router.settings.service_sets) {
        ConfigSection section{View{ViewKind::service_set, set.name},
                              {"wlan", fmt::format("service-set name {} id {}", set.name, set.id)},
                              {}};
        if (!set.ssid.empty())
            section.lines.push_back("ssid " + set.ssid);
        if (!set.security_profile.empty())
            section.lines.push_back("security-profile name " + set.security_profile);
        if (set.wlan_bss)
            section.lines.push_back(fmt::format("wlan-bss {}", *set.wlan_bss));
        sections.push_back(std::move(section));
    }
}

} // namespace

CommandSet service_set_commands() { return {commands, words, configuration}; }

} // namespace sim
