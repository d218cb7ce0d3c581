// The commands in the view of a radio: its profile, and the service sets that it offers, each under a WLAN id.
#include <algorithm>
#include <array>

#include "sim/cli_interface.h"

namespace sim {

namespace {

Radio& radio_here(CliContext& context) { return interface_here(context).radio; }

void set_profile(CliContext& context) {
    if (context.arguments[0] != radio_profile)
        refuse("there is no radio profile {}.", context.arguments[0]);
    radio_here(context).profile = context.arguments[0];
}

void remove_profile(CliContext& context) { radio_here(context).profile.clear(); }

const ServiceSet& named_set(CliContext& context) {
    const ServiceSet* const set = find_named(context.router.settings.service_sets, context.arguments[0]);
    if (set == nullptr)
        refuse("there is no service set {}.", context.arguments[0]);
    return *set;
}

const ServiceSet& numbered_set(CliContext& context) {
    const auto& sets = context.router.settings.service_sets;
    const auto found = std::ranges::find(sets, context.number(0), &ServiceSet::id);
    if (found == sets.end())
        refuse("there is no service set {}.", context.number(0));
    return *found;
}

void bind(CliContext& context, const ServiceSet& set) {
    Interface& own = interface_here(context);
    std::vector<RadioBinding>& bindings = own.radio.bindings;
    const RadioBinding wanted{context.number(1), set.id};
    if (std::ranges::find(bindings, wanted) != bindings.end())
        return;
    if (std::ranges::find(bindings, wanted.wlan, &RadioBinding::wlan) != bindings.end())
        refuse("{} has a service set under WLAN {} already.", own.name, wanted.wlan);
    if (std::ranges::find(bindings, set.id, &RadioBinding::service_set) != bindings.end())
        refuse("service set {} is bound to {} already.", set.name, own.name);
    if (bindings.size() >= context.router.limits.service_sets_per_radio)
        refuse("{} has {} service sets, as many as it can have.", own.name, bindings.size());
    bindings.push_back(wanted);
}

void bind_named(CliContext& context) { bind(context, named_set(context)); }
void bind_numbered(CliContext& context) { bind(context, numbered_set(context)); }

void unbind(CliContext& context, const ServiceSet& set) {
    Interface& own = interface_here(context);
    const auto is_bound = [&](const RadioBinding& binding) { return binding.service_set == set.id; };
    if (std::erase_if(own.radio.bindings, is_bound) == 0)
        refuse("service set {} is not bound to {}.", set.name, own.name);
}

void unbind_named(CliContext& context) { unbind(context, named_set(context)); }
void unbind_numbered(CliContext& context) { unbind(context, numbered_set(context)); }

constexpr unsigned radio_view = in(ViewKind::radio);
constexpr std::string_view binds = "Offer the service set under that number";
constexpr std::string_view unbinds = "Offer the service set no more";

constexpr std::array commands{
    Command{radio_view, "radio-profile name <profile-name>", "Use that radio profile", set_profile},
    Command{radio_view, "undo radio-profile", "Use no radio profile", remove_profile},
    Command{radio_view, "service-set name <service-set-name> wlan <wlan-id>", binds, bind_named},
    Command{radio_view, "service-set id <0-255> wlan <wlan-id>", binds, bind_numbered},
    Command{radio_view, "undo service-set name <service-set-name>", unbinds, unbind_named},
    Command{radio_view, "undo service-set id <0-255>", unbinds, unbind_numbered},
};

constexpr std::array words{
    WordHelp{"radio-profile", "How the radio works"},
    WordHelp{"radio-profile name", "A radio profile by its name"},
    WordHelp{"service-set name <service-set-name> wlan", "The number under which it is offered"},
    WordHelp{"service-set id", "A service set by its number"},
    WordHelp{"service-set id <0-255> wlan", "The number under which it is offered"},
    WordHelp{"undo service-set id", "Remove a service set by its number"},
};

// Behind the service sets, which have to be there first.
void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const Interface& each : router.interfaces)
        if (interface_view(each.name).kind == ViewKind::radio)
            sections.push_back(interface_section(each));
}

// A service set is shown by its number, however it was bound; programs look for "service-set id".
void interface_lines(const Interface& interface, std::vector<std::string>& lines) {
    if (!interface.radio.profile.empty())
        lines.push_back("radio-profile name " + interface.radio.profile);
    for (const RadioBinding& binding : interface.radio.bindings)
        lines.push_back(fmt::format("service-set id {} wlan {}", binding.service_set, binding.wlan));
}

} // namespace

CommandSet radio_commands() { return {commands, words, configuration, interface_lines}; }

} // namespace sim
