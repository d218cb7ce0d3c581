// The commands for dialling: the rules that tell what traffic makes the router dial, and how an interface does it.
#include <array>

#include "sim/cli_interface.h"

namespace sim {

namespace {

constexpr std::size_t longest_number = 30;

void enter_rules(CliContext& context) { context.enter({ViewKind::dialer_rule, {}}); }

auto& rules(CliContext& context) { return context.router.settings.dialer_rules; }

void permit(CliContext& context) { rules(context)[context.number(0)] = "ip permit"; }
void deny(CliContext& context) { rules(context)[context.number(0)] = "ip deny"; }

void remove_rule(CliContext& context) {
    if (rules(context).erase(context.number(0)) == 0)
        refuse("there is no dialer rule {}.", context.number(0));
}

Dialing& dialing(CliContext& context) { return interface_here(context).dialing; }

void dial_in_a_circle(CliContext& context) { dialing(context).circular = true; }
void dial_no_circle(CliContext& context) { dialing(context).circular = false; }
void set_group(CliContext& context) { dialing(context).group = context.number(0); }
void remove_group(CliContext& context) { dialing(context).group.reset(); }

void set_number(CliContext& context, bool autodial) {
    require_at_most(longest_number, "a number to dial", context.arguments[0]);
    dialing(context).number = context.arguments[0];
    dialing(context).autodial = autodial;
}

void dial_when_needed(CliContext& context) { set_number(context, false); }
void dial_at_once(CliContext& context) { set_number(context, true); }

void remove_number(CliContext& context) {
    dialing(context).number.clear();
    dialing(context).autodial = false;
}

constexpr unsigned system_view = in(ViewKind::system);
constexpr unsigned rule_view = in(ViewKind::dialer_rule);
constexpr unsigned cellular_view = in(ViewKind::cellular);

constexpr std::array commands{
    Command{system_view, "dialer-rule", "Enter the view of the dialer rules", enter_rules},
    Command{rule_view, "dialer-rule <1-255> ip permit", "Dial for all of IP", permit},
    Command{rule_view, "dialer-rule <1-255> ip deny", "Do not dial for IP", deny},
    Command{rule_view, "undo dialer-rule <1-255>", "Remove the rule", remove_rule},
    Command{cellular_view, "dialer enable-circular", "Dial by way of a dialer group", dial_in_a_circle},
    Command{cellular_view, "undo dialer enable-circular", "Dial by way of no dialer group", dial_no_circle},
    Command{cellular_view, "dialer-group <1-255>", "Dial by the dialer rule of that number", set_group},
    Command{cellular_view, "undo dialer-group", "Dial by no dialer rule", remove_group},
    Command{cellular_view, "dialer number <phone-number>", "Dial that number when it is needed", dial_when_needed},
    Command{cellular_view, "dialer number <phone-number> autodial", "Dial that number at once", dial_at_once},
    Command{cellular_view, "undo dialer number", "Dial no number", remove_number},
};

constexpr std::array words{
    WordHelp{"dialer-rule <1-255> ip", "For the Internet Protocol"},
    WordHelp{"undo dialer-rule", "Remove a dialer rule"},
    WordHelp{"dialer", "How the interface dials"},
    WordHelp{"dialer number", "What the interface dials"},
    WordHelp{"undo dialer", "How the interface dials"},
    WordHelp{"dialer-group", "By which rule the interface dials"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    if (router.settings.dialer_rules.empty())
        return;
    ConfigSection section{View{ViewKind::dialer_rule, {}}, {"dialer-rule"}, {}};
    for (const auto& [number, rule] : router.settings.dialer_rules)
        section.lines.push_back(fmt::format("dialer-rule {} {}", number, rule));
    sections.push_back(std::move(section));
}

void interface_lines(const Interface& interface, std::vector<std::string>& lines) {
    const Dialing& dialing = interface.dialing;
    if (dialing.circular)
        lines.emplace_back("dialer enable-circular");
    if (dialing.group)
        lines.push_back(fmt::format("dialer-group {}", *dialing.group));
    if (!dialing.number.empty())
        lines.push_back(fmt::format("dialer number {}{}", dialing.number, dialing.autodial ? " autodial" : ""));
}

} // namespace

CommandSet dialer_commands() { return {commands, words, configuration, interface_lines}; }

} // namespace sim
