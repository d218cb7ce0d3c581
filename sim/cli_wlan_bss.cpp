// The commands in the view of a WLAN-BSS interface: which VLANs its stations are in.
#include <algorithm>
#include <array>

#include "sim/cli_interface.h"

namespace sim {

namespace {

void tag_vlan(CliContext& context) {
    const unsigned vlan = context.number(0);
    std::vector<unsigned>& tagged = interface_here(context).tagged_vlans;
    if (!context.router.settings.vlans.contains(vlan))
        refuse("there is no VLAN {}.", vlan);
    if (std::ranges::find(tagged, vlan) == tagged.end())
        tagged.push_back(vlan);
}

void remove_tag(CliContext& context) {
    Interface& own = interface_here(context);
    if (std::erase(own.tagged_vlans, context.number(0)) == 0)
        refuse("{} is not in VLAN {}.", own.name, context.number(0));
}

constexpr unsigned wlan_bss_view = in(ViewKind::wlan_bss);

constexpr std::array commands{
    Command{wlan_bss_view, "port hybrid tagged vlan <vlan-id>", "Carry the VLAN, tagged", tag_vlan},
    Command{wlan_bss_view, "undo port hybrid tagged vlan <vlan-id>", "Carry the VLAN no more", remove_tag},
};

constexpr std::array words{
    WordHelp{"port", "What the interface carries"},
    WordHelp{"port hybrid", "Tagged and untagged VLANs"},
    WordHelp{"port hybrid tagged", "What is carried with a tag"},
    WordHelp{"port hybrid tagged vlan", "A VLAN that is carried with a tag"},
    WordHelp{"undo port", "What the interface carries"},
    WordHelp{"undo port hybrid", "Tagged and untagged VLANs"},
    WordHelp{"undo port hybrid tagged", "What is carried with a tag"},
    WordHelp{"undo port hybrid tagged vlan", "A VLAN that is carried with a tag"},
};

void interface_lines(const Interface& interface, std::vector<std::string>& lines) {
    for (const unsigned vlan : interface.tagged_vlans)
        lines.push_back(fmt::format("port hybrid tagged vlan {}", vlan));
}

} // namespace

CommandSet wlan_bss_commands() { return {commands, words, nullptr, interface_lines}; }

} // namespace sim
