// The interface commands: the interface view, what can be set in it, and the table of all interfaces.
#include "sim/cli_interface.h"

#include <algorithm>
#include <array>

#include "sim/cli_parameters.h"

namespace sim {

namespace {

constexpr std::size_t longest_description = 242;

// The types whose interfaces have commands of their own.
struct TypeView {
    std::string_view type;
    ViewKind view;
};

constexpr std::array type_views{
    TypeView{"Cellular", ViewKind::cellular},
    TypeView{"Wlan-Radio", ViewKind::radio},
    TypeView{"Vlanif", ViewKind::vlanif},
    TypeView{"Wlan-Bss", ViewKind::wlan_bss},
};

// What an interface needs to be there, and what needs it to stay.
struct Needs {
    std::string_view type;
    void (*allow)(const RouterState& router, const std::string& name);
    void (*release)(const RouterState& router, const std::string& name);
};

void need_nothing(const RouterState&, const std::string&) {}

void need_vlan(const RouterState& router, const std::string& name) {
    if (!router.settings.vlans.contains(number_of(name)))
        refuse("there is no VLAN {}.", number_of(name));
}

void need_no_service_set(const RouterState& router, const std::string& name) {
    for (const ServiceSet& set : router.settings.service_sets)
        if (set.wlan_bss == number_of(name))
            refuse("{} is bound to service set {}.", name, set.name);
}

const Needs& needs_of(const std::string& name) {
    static constexpr Needs none{"", need_nothing, need_nothing};
    static constexpr std::array all{
        Needs{"Vlanif", need_vlan, need_nothing},
        Needs{"Wlan-Bss", need_nothing, need_no_service_set},
    };
    const auto found = std::ranges::find(all, type_of(name)->name, &Needs::type);
    return found == all.end() ? none : *found;
}

void add_logical(RouterState& router, const std::string& name) {
    if (!is_logical(name))
        refuse("the router has no interface {}.", name);
    const InterfaceType& type = *type_of(name);
    if (type.numbers != nullptr) {
        const Range range = router.limits.*type.numbers;
        if (!range.has(number_of(name)))
            refuse_value("the number of a {} interface is from {} to {}.", type.name, range.low, range.high);
    }
    needs_of(name).allow(router, name);
    router.add_interface({.name = name});
}

void enter_interface(CliContext& context) {
    const std::string& name = context.arguments[0];
    if (context.router.interface(name) == nullptr)
        add_logical(context.router, name);
    context.leave_to(ViewKind::system);
    context.enter(interface_view(name));
}

void remove_interface(CliContext& context) {
    const std::string& name = context.arguments[0];
    if (!is_logical(name))
        refuse("{} is built in and stays.", name);
    needs_of(name).release(context.router, name);
    if (!context.router.remove_interface(name))
        refuse("the router has no interface {}.", name);
}

void set_description(CliContext& context) {
    require_at_most(longest_description, "a description", context.arguments[0]);
    interface_here(context).description = context.arguments[0];
}

void remove_description(CliContext& context) { interface_here(context).description.clear(); }
void shut_down(CliContext& context) { context.router.set_shutdown(interface_here(context), true); }
void bring_up(CliContext& context) { context.router.set_shutdown(interface_here(context), false); }

void set_address(CliContext& context, const std::string& mask) {
    const std::string& address = context.arguments[0];
    Interface& own = interface_here(context);
    for (const Interface& other : context.router.interfaces)
        if (&other != &own && other.address == address)
            refuse("{} has the address {} already.", other.name, address);
    own.address = address;
    own.mask = mask;
}

void set_address_and_mask(CliContext& context) { set_address(context, context.arguments[1]); }
void set_address_and_length(CliContext& context) { set_address(context, mask_of_length(context.number(1))); }

void remove_address(CliContext& context) {
    Interface& own = interface_here(context);
    if (own.dhcp.selected)
        refuse("the DHCP server of {} needs the address.", own.name);
    own.address.clear();
    own.mask.clear();
}

std::string_view physical_state(const Interface& interface) {
    if (interface.shutdown)
        return "*down";
    return interface.link ? "up" : "down";
}

std::string_view state_in_words(const Interface& interface) {
    if (interface.shutdown)
        return "Administratively DOWN";
    return interface.link ? "UP" : "DOWN";
}

void print_state(CliContext& context, const Interface& interface) {
    const bool addressed = !interface.address.empty();
    context.line("{} current state : {}", interface.name, state_in_words(interface));
    context.line("Line protocol current state : {}", interface.up() && addressed ? "UP" : "DOWN");
    context.line("Description:{}", interface.description);
    if (addressed)
        context.line("Internet Address is {}/{}", interface.address, length_of_mask(interface.mask));
}

// One, or all of a type.
void display_interfaces(CliContext& context) {
    const std::string& named = context.arguments[0];
    bool any = false;
    for (const Interface& each : context.router.interfaces) {
        if (each.name != named && type_of(each.name)->name != named)
            continue;
        if (std::exchange(any, true))
            context.line("");
        print_state(context, each);
    }
    if (!any)
        refuse("the router has no interface {}.", named);
}

void display_brief(CliContext& context) {
    constexpr std::string_view row = "{:<26}{:<10}{:<10}{}";
    context.line("*down: shut down by the administrator");
    context.line(row, "Interface", "Physical", "Protocol", "Address/Mask");
    for (const Interface& each : context.router.interfaces) {
        const bool addressed = !each.address.empty();
        context.line(row, each.name, physical_state(each), each.up() && addressed ? "up" : "down",
                     addressed ? fmt::format("{}/{}", each.address, length_of_mask(each.mask)) : "unassigned");
    }
}

constexpr unsigned in_addressed_interface = in_any_interface & ~in(ViewKind::wlan_bss);

constexpr std::array commands{
    Command{in(ViewKind::system) | in_any_interface, "interface <interface-name>", "Enter the interface's view",
            enter_interface},
    Command{in(ViewKind::system), "undo interface <interface-name>", "Remove a logical interface", remove_interface},
    Command{in_any_view, "display interface brief", "State and address of every interface, a line each", display_brief},
    Command{in_any_view, "display interface <interfaces>", "State and address of these", display_interfaces},
    Command{in_any_interface, "description <text>", "Describe the interface", set_description},
    Command{in_any_interface, "undo description", "Remove the description", remove_description},
    Command{in_any_interface, "shutdown", "Shut the interface down", shut_down},
    Command{in_any_interface, "undo shutdown", "Bring the interface up", bring_up},
    Command{in_addressed_interface, "ip address <ip-address> <mask>", "Set the address", set_address_and_mask},
    Command{in_addressed_interface, "ip address <ip-address> <0-32>", "Set the address", set_address_and_length},
    Command{in_addressed_interface, "undo ip address", "Remove the address", remove_address},
};

constexpr std::array words{
    WordHelp{"interface", "Enter an interface's view"},
    WordHelp{"undo interface", "Remove a logical interface"},
    WordHelp{"display interface", "The interfaces"},
    WordHelp{"description", "Describe the interface"},
    WordHelp{"ip", "The Internet Protocol"},
    WordHelp{"ip address", "The interface's address"},
    WordHelp{"undo ip", "The Internet Protocol"},
};

// Radios follow on their own.
void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const Interface& each : router.interfaces)
        if (interface_view(each.name).kind != ViewKind::radio)
            sections.push_back(interface_section(each));
}

} // namespace

View interface_view(const std::string& interface) {
    const auto own =
        std::ranges::find_if(type_views, [&](const TypeView& each) { return interface.starts_with(each.type); });
    return {own == type_views.end() ? ViewKind::interface : own->view, interface};
}

Interface& interface_here(CliContext& context) {
    const View& view = context.session.view();
    return still_there(context.router.interface(view.subject), view);
}

ConfigSection interface_section(const Interface& interface) {
    ConfigSection section{interface_view(interface.name), {"interface " + interface.name}, {}};
    if (!interface.description.empty())
        section.lines.push_back("description " + interface.description);
    if (!interface.address.empty())
        section.lines.push_back(fmt::format("ip address {} {}", interface.address, interface.mask));
    if (interface.shutdown)
        section.lines.emplace_back("shutdown");
    return section;
}

CommandSet interface_commands() { return {commands, words, configuration}; }

} // namespace sim
