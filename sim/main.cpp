// qel-sim: a simulated router on its own, or a private one for the time of a command. Reads the command line and puts
// the library's parts together; every part is tested and documented where it stands.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "sim/command_runner.h"
#include "sim/configuration.h"
#include "sim/control.h"
#include "sim/line_writer.h"
#include "sim/private_host.h"
#include "sim/scenario.h"
#include "sim/service.h"
#include "sim/snmp_mib.h"
#include "sim/standin.h"
#include "sim/syslog_listener.h"
#include "sim/wire_log.h"

namespace {

constexpr int refused = 1;
constexpr int wrong_usage = 2;
constexpr int no_router = 125; // apart from what commands exit with

constexpr const char* control_variable = "QEL_SIM_CONTROL"; // tells a command where its router's channel is
constexpr std::string_view control_name = "control.socket"; // beside the service's socket

enum class Colour { automatic, always, never };

struct Settings {
    std::string socket = "/mnt/sock/sdk.socket";
    std::string scenario;
    std::vector<std::string> faults;
    std::string configuration;
    std::string sysname;
    std::string mib;
    std::optional<std::string> log;
    std::optional<std::string> log_json;
    std::optional<std::string> syslog;
    std::optional<std::string> control; // "-" beside the service's socket
    Colour colour = Colour::automatic;
};

[[noreturn]] void fail_usage(const std::string& text) {
    fmt::print(stderr, "qel-sim: {}\n", text);
    std::exit(wrong_usage);
}

// Lines for people: in colours on a terminal.
class Console {
public:
    Console(const std::string& path, Colour colour) : writer_(path) {
        const char* const none = std::getenv("NO_COLOR");
        const bool wanted = none == nullptr || *none == '\0';
        coloured_ = colour == Colour::always || (colour == Colour::automatic && wanted && writer_.is_terminal());
    }

    // The line has its end.
    void write(std::string_view prefix, std::string_view line, std::string_view colour) const {
        line.remove_suffix(1);
        if (coloured_)
            writer_.write(fmt::format("\033[{}m{} {}\033[0m\n", colour, prefix, line));
        else
            writer_.write(fmt::format("{} {}\n", prefix, line));
    }

private:
    sim::LineWriter writer_;
    bool coloured_ = false;
};

constexpr std::string_view red = "31";
constexpr std::string_view green = "32";
constexpr std::string_view yellow = "33";
constexpr std::string_view cyan = "36";
constexpr std::string_view grey = "90";

std::string_view colour_of_wire(std::string_view line) {
    if (line.find(" !! ") != std::string_view::npos)
        return red;
    if (line.find(" -- ") != std::string_view::npos)
        return grey;
    return line.find(" -> ") != std::string_view::npos ? cyan : green;
}

std::string_view colour_of_log(int level) {
    if (level <= 3)
        return red;
    return level == 4 ? yellow : grey;
}

sim::Scenario scenario_of(const Settings& settings) {
    try {
        sim::Scenario scenario = settings.scenario.empty() ? sim::Scenario{} : sim::load_scenario(settings.scenario);
        if (!settings.configuration.empty())
            sim::load_configuration_file(scenario.router, settings.configuration);
        if (!settings.sysname.empty())
            scenario.router.sysname = settings.sysname;
        if (!settings.mib.empty()) {
            sim::Mib mib;
            mib.read_file(settings.mib);
            scenario.router.mib = std::make_shared<sim::Mib>(std::move(mib));
        }
        for (const std::string& fault : settings.faults) {
            try {
                scenario.faults.push_back(sim::parse_fault(fault));
            } catch (const sim::FaultError& error) {
                fail_usage(fmt::format("--fault {}: {}", fault, error.what()));
            }
        }
        return scenario;
    } catch (const sim::ScenarioError& error) {
        fail_usage(error.what());
    } catch (const sim::ConfigurationError& error) {
        fail_usage(error.what());
    } catch (const sim::RecordingError& error) {
        fail_usage(error.what());
    }
}

void tap(sim::Service& service, sim::WireLog::Format format, sim::WireLog::Sink sink) {
    const auto log = std::make_shared<sim::WireLog>(format, std::move(sink));
    service.on_message([log](sim::Direction direction, int client, std::string_view bytes) {
        log->message(direction, client, bytes);
    });
    service.on_note([log](int client, std::string_view text) { log->note(client, text); });
}

std::unique_ptr<sim::Service> make_service(const Settings& settings, const sim::Scenario& scenario) {
    auto service =
        std::make_unique<sim::Service>(sim::Service::Options{.socket_path = settings.socket, .keep_requests = false});
    service->apply(scenario);
    if (settings.log) {
        const auto console = std::make_shared<Console>(*settings.log, settings.colour);
        tap(*service, sim::WireLog::Format::lines,
            [console](const std::string& line) { console->write("wire", line, colour_of_wire(line)); });
    }
    if (settings.log_json) {
        const auto file = std::make_shared<sim::LineWriter>(*settings.log_json);
        tap(*service, sim::WireLog::Format::json, [file](const std::string& line) { file->write(line); });
    }
    return service;
}

std::unique_ptr<sim::SyslogListener> make_listener(const Settings& settings, bool private_host) {
    if (!private_host && !settings.syslog)
        return nullptr;
    auto listener = std::make_unique<sim::SyslogListener>();
    if (settings.syslog) {
        const auto console = std::make_shared<Console>(*settings.syslog, settings.colour);
        listener->on_record([console](const sim::LogRecord& record) {
            console->write("log ", fmt::format("{}[{}] {} {}\n", record.tag, record.pid, record.level, record.text),
                           colour_of_log(record.level));
        });
    }
    return listener;
}

std::string beside(const std::string& socket) {
    return (std::filesystem::path(socket).parent_path() / control_name).string();
}

// Also tells the command that is run, so it comes before there are threads.
std::string control_path(const Settings& settings) {
    unsetenv(control_variable); // another router's
    if (!settings.control)
        return {};
    std::string path = *settings.control == "-" ? beside(settings.socket) : *settings.control;
    setenv(control_variable, path.c_str(), 1);
    return path;
}

std::unique_ptr<sim::Control> make_control(sim::Service& service, const std::string& path) {
    return path.empty() ? nullptr : std::make_unique<sim::Control>(service, path);
}

int serve(const Settings& settings) {
    const sim::Scenario scenario = scenario_of(settings);
    sim::CommandRunner signals;
    const std::string control_at = control_path(settings);
    const auto service = make_service(settings, scenario);
    service->start();
    auto control = make_control(*service, control_at);
    fmt::print(stderr, "qel-sim: listening at {}\n", settings.socket);
    if (control)
        fmt::print(stderr, "qel-sim: controlled at {}\n", control_at);
    signals.wait_for_end();
    control.reset();
    service->stop();
    return 0;
}

int run(const Settings& settings, const std::vector<std::string>& command) {
    const sim::Scenario scenario = scenario_of(settings);
    sim::offer_standin(); // while this program's path is still what it was started as
    std::string why_not;
    const bool private_host = sim::enter_private_host(&why_not) != sim::PrivateHost::none;
    if (!private_host && geteuid() != 0) {
        fmt::print(stderr, "qel-sim: no private router is possible here: {}\n", why_not);
        return no_router;
    }
    if (!private_host)
        fmt::print(stderr, "qel-sim: no private router is possible here: {}; using the real {}\n", why_not,
                   settings.socket);

    sim::CommandRunner runner;
    const std::string control_at = control_path(settings);
    const auto listener = make_listener(settings, private_host);
    const auto service = make_service(settings, scenario);
    service->start();
    auto control = make_control(*service, control_at);
    const int status = runner.run(command);
    control.reset();
    // All that the command sent is handled and logged before its status is given.
    service->stop();
    if (listener)
        listener->drain();
    return status;
}

// Without words the commands are read from standard input, one a line.
struct ControlSettings {
    std::string socket;
    bool json = false;
    std::vector<std::string> words;
};

bool show_answer(const ControlSettings& settings, const std::string& answer) {
    const auto json = nlohmann::json::parse(answer);
    const bool done = json.value("ok", false);
    if (settings.json) {
        fmt::print("{}\n", answer);
        return done;
    }
    std::string text = json.value(done ? "text" : "error", "");
    if (!text.empty() && text.back() != '\n')
        text += '\n';
    if (done)
        fmt::print("{}", text);
    else
        fmt::print(stderr, "qel-sim: {}", text);
    std::fflush(stdout);
    return done;
}

int control(ControlSettings settings) {
    if (settings.socket.empty()) {
        const char* const told = std::getenv(control_variable);
        settings.socket = told != nullptr ? told : beside(Settings{}.socket);
    }
    sim::ControlClient client(settings.socket);
    bool all_done = true;
    const auto ask = [&](const std::string& line) {
        const auto answer = client.ask(line);
        if (!answer)
            throw std::system_error(ECONNRESET, std::generic_category(), settings.socket);
        all_done = show_answer(settings, *answer) && all_done;
    };
    if (!settings.words.empty())
        ask(fmt::format("{}", fmt::join(settings.words, " ")));
    else
        for (std::string line; std::getline(std::cin, line);)
            ask(line);
    return all_done ? 0 : refused;
}

int check_scenario(const std::string& path) {
    try {
        sim::load_scenario(path);
    } catch (const sim::ScenarioError& error) {
        fail_usage(error.what());
    }
    fmt::print("{}: good\n", path);
    return 0;
}

int list_faults() {
    for (const sim::FaultVerb& verb : sim::fault_verbs()) {
        std::string usage(verb.name);
        if (!verb.value.empty())
            usage += verb.needs_value ? fmt::format("={}", verb.value) : fmt::format("[={}]", verb.value);
        if (!verb.extra.empty())
            usage += fmt::format("[,{0}={0}]", verb.extra);
        fmt::print("{:<32}{}\n", usage, verb.help);
    }
    return 0;
}

// An option that may go without its value, which then is "-".
CLI::Option* add_optional_path(CLI::App& app, const std::string& name, std::optional<std::string>& path,
                               const std::string& help) {
    return app
        .add_option_function<std::vector<std::string>>(
            name,
            [&path](const std::vector<std::string>& values) {
                path = values.empty() || values.front().empty() ? "-" : values.front();
            },
            help)
        ->expected(0, 1);
}

void add_log_option(CLI::App& app, const std::string& name, std::optional<std::string>& path, const std::string& help) {
    add_optional_path(app, name, path, help)->type_name("[FILE]");
}

void add_router_options(CLI::App& app, Settings& settings) {
    app.add_option("--socket", settings.socket, "Where to listen")->type_name("PATH")->capture_default_str();
    app.add_option("--scenario", settings.scenario, "The router's state and faults, as JSON")->type_name("FILE");
    app.add_option("--fault", settings.faults,
                   "What goes wrong, like cli.execute@3:delay=500; may be given several times; see qel-sim faults")
        ->type_name("FAULT")
        ->allow_extra_args(false);
    app.add_option("--configuration", settings.configuration,
                   "The router's configuration, as display current-configuration prints it")
        ->type_name("FILE");
    app.add_option("--sysname", settings.sysname, "The router's name")->type_name("NAME");
    app.add_option("--mib", settings.mib, "The router's SNMP objects, as a recording of lines OID|type|value")
        ->type_name("FILE");
    add_optional_path(app, "--control", settings.control,
                      "Take commands from qel-sim control, at the path or beside the service's socket")
        ->type_name("[PATH]");
    add_log_option(app, "--log", settings.log, "Log each message as a line, to the file or to standard error");
    add_log_option(app, "--log-json", settings.log_json, "Log each message as JSON, one line each");
    app.add_option_function<std::string>(
           "--colour,--color",
           [&settings](const std::string& when) {
               settings.colour = when == "always"  ? Colour::always
                                 : when == "never" ? Colour::never
                                                   : Colour::automatic;
           },
           "Colours in the log: auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
        ->type_name("WHEN");
}

// The command, taken off the arguments with the "--" in front, so that its own options stay its own.
std::vector<std::string> take_command(std::vector<std::string>& arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    if (mark == arguments.end())
        return {};
    std::vector<std::string> command(mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return command;
}

int start(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::vector<std::string> command = take_command(arguments);
    Settings settings;
    std::string scenario;

    CLI::App app("A simulated router: the management service that clients find at /mnt/sock/sdk.socket.", "qel-sim");
    app.set_version_flag("--version", "qel-sim " QEL_SIM_VERSION);
    app.require_subcommand(0, 1); // none is told apart from one that does not exist
    CLI::App* const serving = app.add_subcommand("serve", "Be a router until SIGINT or SIGTERM");
    add_router_options(*serving, settings);
    CLI::App* const running =
        app.add_subcommand("run", "Run a command with a router and a system log of its own, and exit as it does");
    running->footer("The command and its arguments stand behind a --: qel-sim run --log -- ls -l /mnt/sock\n"
                    "Exits with the command's status, 128 and the signal's number when one ended it, 127 when the\n"
                    "command is not found, 126 when it cannot be executed, 125 when there is no router for it.");
    add_router_options(*running, settings);
    add_log_option(*running, "--syslog", settings.syslog, "Show what the command writes to the system log");
    ControlSettings controlling;
    CLI::App* const control_app = app.add_subcommand("control", "Tell a running router what to do");
    control_app->add_option("--socket", controlling.socket, "Where the router listens for it")->type_name("PATH");
    control_app->add_flag("--json", controlling.json, "Print the answers as they come, one line of JSON each");
    control_app->prefix_command();
    control_app->footer("The command stands behind the options; without one they are read, one a line.\nCommands:\n" +
                        sim::ControlCommands::help());
    CLI::App* const checking = app.add_subcommand("check-scenario", "Check a scenario file");
    checking->add_option("file", scenario, "The file")->required();
    CLI::App* const listing = app.add_subcommand("faults", "List what can go wrong on purpose");

    try {
        std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
        app.parse(arguments);
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A subcommand");
        if (*running && command.empty())
            throw CLI::RequiredError("a command behind --");
        if (!*running && !command.empty())
            throw CLI::ExtrasError({"-- " + command.front()});
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrong_usage;
    }
    if (*serving)
        return serve(settings);
    if (*running)
        return run(settings, command);
    if (*control_app) {
        controlling.words = control_app->remaining();
        return control(std::move(controlling));
    }
    return *listing ? list_faults() : check_scenario(scenario);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return start(argc, argv);
    } catch (const std::system_error& error) {
        fmt::print(stderr, "qel-sim: {}\n", error.what());
        return no_router;
    }
}
