// The general commands: moving between the views, showing what the router is, its name, and saving.
#include <array>
#include <chrono>

#include <fmt/chrono.h>

#include "sim/cli_engine.h"

namespace sim {

namespace {

void stay(CliContext&) {}

void enter_system_view(CliContext& context) { context.enter({ViewKind::system, {}}); }

void quit(CliContext& context) {
    if (context.session.views.size() == 1)
        throw CliError{Refusal::not_done, "Error: there is no view above the user view; close the channel instead."};
    context.session.views.pop_back();
}

void return_to_user_view(CliContext& context) { context.leave_to(ViewKind::user); }
void climb_to_system_view(CliContext& context) { context.leave_to(ViewKind::system); }

void display_version(CliContext& context) { context.print("{}", context.router.version); }

void display_clock(CliContext& context) {
    const std::tm time = fmt::gmtime(std::chrono::system_clock::to_time_t(context.router.now()));
    context.line("{:%Y-%m-%d %H:%M:%S}", time);
    context.line("{:%A}", time);
    context.line("Time zone : UTC");
}

void display_this(CliContext& context) {
    context.print("{}", context.engine.configuration_of(context.router, context.session.view()));
}

void display_running(CliContext& context) { context.print("{}", context.engine.configuration(context.router)); }

void display_saved(CliContext& context) {
    if (context.router.saved_configuration.empty())
        context.line("No configuration has been saved.");
    else
        context.print("{}", context.router.saved_configuration);
}

void display_log(CliContext& context) {
    if (context.router.log.empty())
        context.line("The log is empty.");
    for (const std::string& line : context.router.log)
        context.line("{}", line);
}

void display_backup(CliContext& context) {
    if (context.router.facts.device.backup.empty())
        context.line("No configuration has been backed up.");
    else
        context.print("{}", context.router.facts.device.backup);
}

void save(CliContext& context) {
    if (!context.confirm("The saved configuration will be replaced by the running one. Do you want to continue? "
                         "[y/n]: ")) {
        context.line("The configuration was not saved.");
        return;
    }
    context.router.saved_configuration = context.engine.configuration(context.router);
    context.line("The configuration was saved.");
}

void set_sysname(CliContext& context) { context.router.sysname = context.arguments[0]; }
void reset_sysname(CliContext& context) { context.router.sysname = RouterState{}.sysname; }

constexpr std::array commands{
    Command{in(ViewKind::user), "system-view", "Enter the system view", enter_system_view},
    Command{in_any_view, "quit", "Leave this view for the one above", quit},
    Command{in_any_view, "return", "Go to the user view", return_to_user_view},
    Command{in(ViewKind::user), "#", "Does nothing", stay},
    Command{in_configuration, "#", "Go to the system view; separates parts of a configuration", climb_to_system_view},
    Command{in_any_view, "display version", "Hardware and software of this router", display_version},
    Command{in_any_view, "display clock", "Date and time", display_clock},
    Command{in_any_view, "display this", "The configuration of this view", display_this},
    Command{in_any_view, "display current-configuration", "The configuration the router runs with", display_running},
    Command{in_any_view, "display saved-configuration", "The configuration the router starts with", display_saved},
    Command{in_any_view, "display backup-configuration", "The configuration that was backed up last", display_backup},
    Command{in_any_view, "display logbuffer", "The newest lines of the log", display_log},
    Command{in_any_view, "save", "Save the running configuration", save},
    Command{in(ViewKind::system), "sysname <name>", "Name the router", set_sysname},
    Command{in(ViewKind::system), "undo sysname", "Give the router its first name again", reset_sysname},
};

constexpr std::array words{
    WordHelp{"display", "Show the router's state"},
    WordHelp{"sysname", "Name the router"},
    WordHelp{"undo", "Take a setting back"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    sections.push_back({View{ViewKind::system, {}}, {}, {fmt::format("sysname {}", router.sysname)}});
}

} // namespace

CommandSet general_commands() { return {commands, words, configuration}; }

} // namespace sim
