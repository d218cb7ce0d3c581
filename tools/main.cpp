// qel: what libqel_api does, for people and for shell scripts on a router. The table of commands, reading the command
// line, and the exit status.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <map>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/interruption.h"
#include "tools/output.h"

namespace qel {

namespace {

struct Command {
    const char* group; // empty: none
    const char* name;
    const char* help;
    const char* examples;
    Action (*declare)(CLI::App&);
};

// clang-format off
constexpr std::array commands{
    Command{"", "version", "Print the library's version",
            "  qel version\n", version_command},
    Command{"", "exec", "Run router commands, in one CLI channel",
            "  qel exec 'display version'\n"
            "  qel exec system-view 'sysname Branch-7' return\n"
            "  qel exec 'reset saved-configuration' --answer 'Are you sure=y'\n"
            "  qel exec - <commands.txt\n", exec_command},
    Command{"", "save", "Save the running configuration",
            "  qel save\n", save_command},
    Command{"", "facts", "Ask the device about itself",
            "  qel facts\n"
            "  qel facts serial-number location\n"
            "  qel facts --sms 0 --mac-by-ip 192.168.1.10 --json\n", facts_command},
    Command{"sip", "get", "Print the SIP accounts, USER@REGISTRAR a line",
            "  qel sip get\n", sip_get_command},
    Command{"sip", "set", "Replace the SIP accounts",
            "  qel sip set branch-1@sip.example.com branch-2@sip.example.com\n"
            "  qel sip set --none\n", sip_set_command},
    Command{"snmp", "get", "Read objects",
            "  qel snmp get 1.3.6.1.2.1.1.5.0 1.3.6.1.2.1.1.6.0\n", snmp_get_command},
    Command{"snmp", "next", "Read the object that follows an OID",
            "  qel snmp next 1.3.6.1.2.1.1\n", snmp_next_command},
    Command{"snmp", "walk", "Read all objects of a subtree",
            "  qel snmp walk 1.3.6.1.2.1.2\n", snmp_walk_command},
    Command{"", "syslog", "Have the router write a line into its log",
            "  qel syslog BACKUP 5/DONE 'nightly backup done'\n"
            "A text that begins with a dash stands behind a --.\n", syslog_command},
    Command{"", "events", "Print what happens on the router, a line for each event",
            "  qel events\n"
            "  qel events --interface Cellular --count 1\n"
            "  qel events --log LINK --level 4 --seconds 60 --json\n", events_command},
    Command{"cellular", "up", "Make the cellular interface the uplink of the default route",
            "  qel cellular up --apn internet.example\n"
            "  qel cellular up --apn internet.example --user branch-7 --password-file /etc/uplink.secret\n"
            "The configuration is not saved; qel save does that.\n", cellular_up_command},
    Command{"cellular", "down", "Take the cellular uplink down",
            "  qel cellular down\n", cellular_down_command},
    Command{"wlan", "create", "Make an access point",
            "  qel wlan create 1 --ssid Branch --address 192.168.8.1 --mask 255.255.255.0 --pass-phrase-file phrase.txt\n"
            "  qel wlan create 2 --ssid Guests --address 192.168.9.1 --mask 255.255.255.0 --open\n"
            "The configuration is not saved; qel save does that.\n", wlan_create_command},
    Command{"wlan", "delete", "Remove an access point",
            "  qel wlan delete 1\n", wlan_delete_command},
};

using Group = std::pair<const char*, const char*>;
constexpr std::array groups{
    Group{"sip", "The SIP accounts"},
    Group{"snmp", "SNMP reads"},
    Group{"cellular", "The cellular uplink"},
    Group{"wlan", "WLAN access points"},
};
// clang-format on

constexpr const char* statuses = "Exit status: 0; 1 the router or the service refused; 2 wrong usage; 3 no service, or "
                                 "no session.\n";

// The parser would take a word in brackets for a list of words, so such a word has this behind it until it is parsed.
constexpr char no_list = '\x01';

std::vector<std::string> arguments_of(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    for (std::string& argument : arguments)
        if (argument.starts_with('[') && argument.ends_with(']'))
            argument += no_list;
    std::ranges::reverse(arguments); // the parser takes them from the end
    return arguments;
}

std::string without_mark(std::string& value) {
    if (value.ends_with(no_list))
        value.pop_back();
    return "";
}

struct Program {
    CLI::App app{"Talk to the router's management service.", "qel"};
    Context context;
    bool verbose = false;
    std::map<const CLI::App*, Action> actions;
};

// On every level, so that they may stand anywhere.
void add_global_options(CLI::App& app, Program& program) {
    app.set_help_flag("-h,--help", "Print this help")->group("Global options");
    app.add_option("--client", program.context.client, "What the service calls this client; qel unless it is given")
        ->type_name("NAME")
        ->group("Global options")
        ->check(CLI::Validator(
            [](const std::string& name) {
                const std::size_t size = sizeof tagVELA_SESSION_CFG_T::client_name;
                return name.size() <= size ? "" : fmt::format("is longer than {} bytes", size);
            },
            "", ""));
    app.add_flag("--json", program.context.json, "Print JSON, one line for each document")->group("Global options");
    app.add_flag("--verbose", program.verbose, "Tell each call and its result on standard error")
        ->group("Global options");
}

std::string footer_of(const Command& command) {
    std::string footer;
    if (command.declare == facts_command)
        footer = fmt::format("Facts:\n{}\n", facts_help());
    return footer + fmt::format("Examples:\n{}\n{}", command.examples, statuses);
}

CLI::App* add_group(Program& program, std::string_view name) {
    const auto* const group = std::ranges::find(groups, name, &Group::first);
    CLI::App* const app = program.app.add_subcommand(group->first, group->second);
    app->require_subcommand(0, 1);
    add_global_options(*app, program);
    return app;
}

void add_commands(Program& program) {
    std::map<std::string_view, CLI::App*> parents{{"", &program.app}};
    std::map<std::string_view, std::string> examples;
    for (const Command& command : commands) {
        CLI::App*& parent = parents[command.group];
        if (parent == nullptr)
            parent = add_group(program, command.group);
        CLI::App* const app = parent->add_subcommand(command.name, command.help);
        program.actions[app] = command.declare(*app);
        add_global_options(*app, program);
        for (CLI::Option* const option : app->get_options())
            option->transform(CLI::Validator(without_mark, "", ""));
        app->footer(footer_of(command));
        examples[command.group] += command.examples;
    }
    for (const auto& [name, help] : groups)
        parents.at(name)->footer(fmt::format("Examples:\n{}\n{}", examples.at(name), statuses));
}

std::string usage_message(const CLI::App* app, const CLI::Error& error) {
    std::string name = app->get_name();
    for (auto inner = app->get_subcommands(); !inner.empty(); inner = inner.front()->get_subcommands())
        name += " " + inner.front()->get_name();
    return fmt::format("qel: {}; see {} --help\n", error.what(), name);
}

// The innermost command that was named; the others are groups.
const CLI::App* chosen(const CLI::App& app) {
    const auto inner = app.get_subcommands();
    return inner.empty() ? &app : chosen(*inner.front());
}

void run(const Action& action, const Context& context) {
    try {
        action(context);
    } catch (const Failure& failure) {
        tell(failure);
    } catch (const OutputClosed&) {
        // enough was read
    }
    tell_what_came_later();
}

// A closed standard stream must not become the library's socket. It stays one that cannot be used.
void keep_standard_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY); // takes the lowest number
}

int start(int argc, char** argv) {
    Program program;
    program.app.set_version_flag("--version", "qel " QEL_VERSION, "Print this program's version")
        ->group("Global options");
    program.app.require_subcommand(0, 1);
    program.app.failure_message(usage_message);
    add_global_options(program.app, program);
    add_commands(program);
    program.app.footer(fmt::format("qel COMMAND --help tells more, with examples:\n"
                                   "  qel exec 'display version'\n  qel facts --json\n\n{}",
                                   statuses));
    const CLI::App* command = nullptr;
    try {
        program.app.parse(arguments_of(argc, argv));
        command = chosen(program.app);
        if (!program.actions.contains(command))
            throw CLI::RequiredError("A command");
    } catch (const CLI::ParseError& error) {
        return program.app.exit(error) == 0 ? succeeded : wrong_usage;
    }
    if (program.verbose)
        be_verbose();
    run(program.actions.at(command), program.context);
    return exit_status();
}

} // namespace

int run_program(int argc, char** argv) {
    keep_standard_streams();
    std::signal(SIGPIPE, SIG_IGN); // a reader that has gone is a failed write
    catch_signals();
    try {
        return start(argc, argv);
    } catch (const Interrupted&) {
        end_of_signal();
    }
    return refused; // not reached: the signal has ended the process
}

} // namespace qel

int main(int argc, char** argv) { return qel::run_program(argc, argv); }
