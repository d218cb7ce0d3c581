// The commands for named advanced access lists and their rules.
#include <algorithm>
#include <array>

#include "sim/cli_engine.h"

namespace sim {

namespace {

constexpr unsigned rule_step = 5; // between the rules that the router numbers
constexpr unsigned highest_rule = 65535;

std::vector<Acl>& acls(CliContext& context) { return context.router.settings.acls; }

const Acl* numbered(const std::vector<Acl>& all, unsigned number) {
    const auto found = std::ranges::find(all, number, &Acl::number);
    return found == all.end() ? nullptr : &*found;
}

unsigned free_number(const std::vector<Acl>& all) {
    for (unsigned number = highest_acl_number; number >= lowest_acl_number; --number)
        if (numbered(all, number) == nullptr)
            return number;
    refuse("no number is left for an ACL.");
}

Acl& add_acl(CliContext& context, unsigned number) {
    std::vector<Acl>& all = acls(context);
    require_at_most(longest_object_name, "an ACL's name", context.arguments[0]);
    if (all.size() >= context.router.limits.acls)
        refuse("the router has {} ACLs, as many as it can have.", all.size());
    return all.emplace_back(Acl{.name = context.arguments[0], .number = number});
}

void enter(CliContext& context, const Acl& acl) { context.enter({ViewKind::acl, acl.name}); }

void enter_acl(CliContext& context) {
    const Acl* const known = find_named(acls(context), context.arguments[0]);
    enter(context, known != nullptr ? *known : add_acl(context, free_number(acls(context))));
}

void enter_acl_with_number(CliContext& context) {
    const std::string& name = context.arguments[0];
    const unsigned number = context.number(1);
    if (const Acl* const known = find_named(acls(context), name)) {
        if (known->number != number)
            refuse("the number of ACL {} is {}.", name, known->number);
        enter(context, *known);
        return;
    }
    if (const Acl* const other = numbered(acls(context), number))
        refuse("{} is the number of ACL {}.", number, other->name);
    enter(context, add_acl(context, number));
}

void remove_acl(CliContext& context) {
    const std::string& name = context.arguments[0];
    if (std::erase_if(acls(context), [&](const Acl& acl) { return acl.name == name; }) == 0)
        refuse("there is no ACL {}.", name);
}

Acl& acl_here(CliContext& context) {
    const View& view = context.session.view();
    return still_there(find_named(acls(context), view.subject), view, "ACL");
}

// One that says the same already is enough.
void add_rule(CliContext& context, const char* rule) {
    auto& rules = acl_here(context).rules;
    if (std::ranges::any_of(rules, [&](const auto& each) { return each.second == rule; }))
        return;
    const unsigned last = rules.empty() ? 0 : rules.rbegin()->first;
    const unsigned number = (last / rule_step + 1) * rule_step;
    if (number > highest_rule)
        refuse("no number is left for a rule.");
    rules[number] = rule;
}

void set_rule(CliContext& context, const char* rule) { acl_here(context).rules[context.number(0)] = rule; }

void remove_rule(CliContext& context) {
    if (acl_here(context).rules.erase(context.number(0)) == 0)
        refuse("there is no rule {}.", context.number(0));
}

void permit(CliContext& context) { add_rule(context, "permit ip"); }
void deny(CliContext& context) { add_rule(context, "deny ip"); }
void permit_numbered(CliContext& context) { set_rule(context, "permit ip"); }
void deny_numbered(CliContext& context) { set_rule(context, "deny ip"); }

void display_all(CliContext& context) {
    context.line("Total nonempty ACLs: {}",
                 std::ranges::count_if(acls(context), [](const Acl& acl) { return !acl.rules.empty(); }));
    for (const Acl& acl : acls(context)) {
        context.line("");
        context.line("Advanced ACL {} {}, {} rule{}", acl.name, acl.number, acl.rules.size(),
                     acl.rules.size() == 1 ? "" : "s");
        context.line("ACL's step is {}", rule_step);
        for (const auto& [number, rule] : acl.rules)
            context.line(" rule {} {}", number, rule);
    }
}

constexpr unsigned system_view = in(ViewKind::system);
constexpr unsigned acl_view = in(ViewKind::acl);

constexpr std::array commands{
    Command{system_view, "acl name <acl-name>", "Enter the ACL's view", enter_acl},
    Command{system_view, "acl name <acl-name> <3000-3999>", "Enter the ACL's view", enter_acl_with_number},
    Command{system_view, "undo acl name <acl-name>", "Remove the ACL", remove_acl},
    Command{in_any_view, "display acl all", "Every ACL with its rules", display_all},
    Command{acl_view, "rule permit ip", "Permit all of IP", permit},
    Command{acl_view, "rule deny ip", "Deny all of IP", deny},
    Command{acl_view, "rule <0-65535> permit ip", "Permit all of IP", permit_numbered},
    Command{acl_view, "rule <0-65535> deny ip", "Deny all of IP", deny_numbered},
    Command{acl_view, "undo rule <0-65535>", "Remove the rule", remove_rule},
};

constexpr std::array words{
    WordHelp{"acl", "Access lists"},
    WordHelp{"acl name", "An access list by its name"},
    WordHelp{"undo acl", "Remove an access list"},
    WordHelp{"undo acl name", "Remove an access list by its name"},
    WordHelp{"display acl", "The access lists"},
    WordHelp{"rule", "A rule of the access list"},
    WordHelp{"rule permit", "What is permitted"},
    WordHelp{"rule deny", "What is denied"},
    WordHelp{"rule <0-65535> permit", "What is permitted"},
    WordHelp{"rule <0-65535> deny", "What is denied"},
    WordHelp{"undo rule", "Remove a rule"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const Acl& acl : router.settings.acls) {
        ConfigSection section{View{ViewKind::acl, acl.name}, {fmt::format("acl name {} {}", acl.name, acl.number)}, {}};
        for (const auto& [number, rule] : acl.rules)
            section.lines.push_back(fmt::format("rule {} {}", number, rule));
        sections.push_back(std::move(section));
    }
}

} // namespace

CommandSet acl_commands() { return {commands, words, configuration}; }

} // namespace sim
