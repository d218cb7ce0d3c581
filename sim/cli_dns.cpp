// The commands for names: whether the router resolves them for itself, and whether for others.
#include <array>

#include "sim/cli_engine.h"

namespace sim {

namespace {

Services& services(CliContext& context) { return context.router.settings.services; }

void resolve(CliContext& context) { services(context).dns_resolve = true; }
void stop_resolving(CliContext& context) { services(context).dns_resolve = false; }
void start_proxy(CliContext& context) { services(context).dns_proxy = true; }
void stop_proxy(CliContext& context) { services(context).dns_proxy = false; }

constexpr unsigned system_view = in(ViewKind::system);

constexpr std::array commands{
    Command{system_view, "dns resolve", "Resolve names", resolve},
    Command{system_view, "undo dns resolve", "Resolve no names", stop_resolving},
    Command{system_view, "dns proxy enable", "Answer the queries of others", start_proxy},
    Command{system_view, "undo dns proxy enable", "Answer no queries", stop_proxy},
};

constexpr std::array words{
    WordHelp{"dns", "Names of hosts"},
    WordHelp{"dns proxy", "Names for others"},
    WordHelp{"undo dns", "Names of hosts"},
    WordHelp{"undo dns proxy", "Names for others"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    ConfigSection section{View{ViewKind::system, {}}, {}, {}};
    if (router.settings.services.dns_resolve)
        section.lines.emplace_back("dns resolve");
    if (router.settings.services.dns_proxy)
        section.lines.emplace_back("dns proxy enable");
    if (!section.lines.empty())
        sections.push_back(std::move(section));
}

} // namespace

CommandSet dns_commands() { return {commands, words, configuration}; }

} // namespace sim
