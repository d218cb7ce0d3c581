// The command for 802.1X, on or off for the whole router.
#include <array>

#include "sim/cli_engine.h"

namespace sim {

namespace {

void enable(CliContext& context) { context.router.settings.services.dot1x = true; }

void disable(CliContext& context) {
    bool& enabled = context.router.settings.services.dot1x;
    if (enabled && context.confirm("Warning: users who have been let in are cut off. Continue? [y/n]: "))
        enabled = false;
}

constexpr std::array commands{
    Command{in(ViewKind::system), "dot1x enable", "Let in only who is known", enable},
    Command{in(ViewKind::system), "undo dot1x enable", "Let everyone in", disable},
};

constexpr std::array words{
    WordHelp{"dot1x", "Admission by 802.1X"},
    WordHelp{"undo dot1x", "Admission by 802.1X"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    if (router.settings.services.dot1x)
        sections.push_back({View{ViewKind::system, {}}, {}, {"dot1x enable"}});
}

} // namespace

CommandSet dot1x_commands() { return {commands, words, configuration}; }

} // namespace sim
