// The commands for address translation on an interface, of what an access list permits.
#include <algorithm>
#include <array>

#include "sim/cli_interface.h"

namespace sim {

namespace {

void translate(CliContext& context) {
    const unsigned number = context.number(0);
    const auto& acls = context.router.settings.acls;
    std::vector<unsigned>& translated = interface_here(context).nat_outbound;
    if (!context.session.loading && std::ranges::find(acls, number, &Acl::number) == acls.end())
        refuse("there is no ACL {}.", number);
    if (std::ranges::find(translated, number) == translated.end())
        translated.push_back(number);
}

void stop_translating(CliContext& context) {
    Interface& own = interface_here(context);
    if (std::erase(own.nat_outbound, context.number(0)) == 0)
        refuse("{} does not translate for ACL {}.", own.name, context.number(0));
}

constexpr std::array commands{
    Command{in_routed_interface, "nat outbound <3000-3999>", "Translate what the ACL permits", translate},
    Command{in_routed_interface, "undo nat outbound <3000-3999>", "Translate no more for the ACL", stop_translating},
};

constexpr std::array words{
    WordHelp{"nat", "Translation of addresses"},
    WordHelp{"nat outbound", "Translation of what leaves the router"},
    WordHelp{"undo nat", "Translation of addresses"},
    WordHelp{"undo nat outbound", "Translation of what leaves the router"},
};

void interface_lines(const Interface& interface, std::vector<std::string>& lines) {
    for (const unsigned number : interface.nat_outbound)
        lines.push_back(fmt::format("nat outbound {}", number));
}

} // namespace

CommandSet nat_commands() { return {commands, words, nullptr, interface_lines}; }

} // namespace sim
