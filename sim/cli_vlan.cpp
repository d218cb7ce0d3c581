// The commands for VLANs: making, naming and listing them. Their interfaces are cli_interface's, the ports that carry
// them cli_wlan_bss's.
#include <algorithm>
#include <array>

#include <fmt/ranges.h>

#include "sim/cli_interface.h"
#include "sim/cli_parameters.h"

namespace sim {

namespace {

auto& vlans(CliContext& context) { return context.router.settings.vlans; }

void enter_vlan(CliContext& context) {
    vlans(context).try_emplace(context.number(0));
    context.leave_to(ViewKind::system);
    context.enter({ViewKind::vlan, context.arguments[0]});
}

Vlan& vlan_here(CliContext& context) {
    const View& view = context.session.view();
    const auto found = vlans(context).find(static_cast<unsigned>(std::stoul(view.subject)));
    return still_there(found == vlans(context).end() ? nullptr : &found->second, view, "VLAN");
}

void set_name(CliContext& context) {
    require_at_most(longest_object_name, "a VLAN's name", context.arguments[0]);
    vlan_here(context).name = context.arguments[0];
}

void remove_name(CliContext& context) { vlan_here(context).name.clear(); }

// The interfaces that need the VLAN.
std::vector<std::string_view> members(const RouterState& router, unsigned vlan) {
    std::vector<std::string_view> names;
    for (const Interface& each : router.interfaces) {
        const bool tagged = std::ranges::find(each.tagged_vlans, vlan) != each.tagged_vlans.end();
        if (tagged || each.name == fmt::format("Vlanif{}", vlan))
            names.emplace_back(each.name);
    }
    return names;
}

void remove_vlan(CliContext& context) {
    const unsigned vlan = context.number(0);
    if (vlan == built_in_vlan)
        refuse("VLAN {} is built in and stays.", vlan);
    if (!vlans(context).contains(vlan))
        refuse("there is no VLAN {}.", vlan);
    if (const auto names = members(context.router, vlan); !names.empty())
        refuse("VLAN {} is in use by {}.", vlan, fmt::join(names, " and "));
    vlans(context).erase(vlan);
}

// Programs look for the number in a column of 8, followed by "common".
void print_head(CliContext& context) { context.line("{:<8}{:<10}{}", "VLAN", "Type", "Interfaces"); }

void print_vlan(CliContext& context, unsigned vlan) {
    context.line("{:<8}{:<10}{}", vlan, "common", fmt::join(members(context.router, vlan), " "));
}

void display_all(CliContext& context) {
    print_head(context);
    for (const auto& [vlan, settings] : vlans(context))
        print_vlan(context, vlan);
}

void display_one(CliContext& context) {
    if (!vlans(context).contains(context.number(0)))
        refuse("there is no VLAN {}.", context.number(0));
    print_head(context);
    print_vlan(context, context.number(0));
}

// Programs look for the name between blanks, and for the number in the 4 columns that end two before it.
void display_brief(CliContext& context) {
    constexpr std::string_view row = "{:<4}  {:<33}{}";
    context.line(row, "VLAN", "Name", "Interfaces");
    for (const auto& [vlan, settings] : vlans(context))
        context.line(row, vlan, settings.name, fmt::join(members(context.router, vlan), " "));
}

constexpr unsigned system_view = in(ViewKind::system);
constexpr unsigned vlan_view = in(ViewKind::vlan);

constexpr std::array commands{
    Command{system_view | vlan_view, "vlan <vlan-id>", "Enter the VLAN's view", enter_vlan},
    Command{system_view, "undo vlan <vlan-id>", "Remove the VLAN", remove_vlan},
    Command{vlan_view, "name <vlan-name>", "Name the VLAN", set_name},
    Command{vlan_view, "undo name", "Take the VLAN's name away", remove_name},
    Command{in_any_view, "display vlan", "Every VLAN", display_all},
    Command{in_any_view, "display vlan <vlan-id>", "The VLAN", display_one},
    Command{in_any_view, "display vlan brief", "Every VLAN with its name", display_brief},
};

constexpr std::array words{
    WordHelp{"vlan", "Virtual networks"},
    WordHelp{"undo vlan", "Remove a VLAN"},
    WordHelp{"name", "Name the VLAN"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const auto& [vlan, settings] : router.settings.vlans) {
        ConfigSection section{View{ViewKind::vlan, std::to_string(vlan)}, {fmt::format("vlan {}", vlan)}, {}};
        if (!settings.name.empty())
            section.lines.push_back("name " + settings.name);
        if (vlan != built_in_vlan || !section.lines.empty())
            sections.push_back(std::move(section));
    }
}

} // namespace

CommandSet vlan_commands() { return {commands, words, configuration}; }

} // namespace sim
