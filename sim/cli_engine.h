// The command engine: finds the command that a line means, runs it, and prints the help and the errors.
//
// Commands are rows of tables (CommandSet), each set in a file of its own; what is alike of them is done here:
// abbreviations, parameters, "?", prompts and their answers, and the configuration as text. An engine does not change
// once it is made, so all channels share one; a CliSession belongs to one channel and is guarded by its owner.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "sim/router.h"
#include "sim/unit.h"

namespace sim {

enum class ViewKind : unsigned {
    user = 1 << 0,
    system = 1 << 1,
    interface = 1 << 2, // one that has no commands of its own
    cellular = 1 << 3,
    radio = 1 << 4,
    vlanif = 1 << 5,
    wlan_bss = 1 << 6,
    acl = 1 << 8,
    dialer_rule = 1 << 9,
    apn_profile = 1 << 10,
    vlan = 1 << 11,
    wlan = 1 << 12,
    security_profile = 1 << 13,
    service_set = 1 << 14,
};

constexpr unsigned in(ViewKind kind) { return static_cast<unsigned>(kind); }
constexpr unsigned in_any_view = ~0U;
constexpr unsigned in_configuration = in_any_view & ~in(ViewKind::user);
constexpr unsigned in_routed_interface = in(ViewKind::interface) | in(ViewKind::cellular) | in(ViewKind::vlanif);
constexpr unsigned in_any_interface = in_routed_interface | in(ViewKind::radio) | in(ViewKind::wlan_bss);

struct View {
    ViewKind kind = ViewKind::user;
    std::string subject; // which interface, say; empty where there is but one
    bool operator==(const View&) const = default;
};

// Where a channel stands: the views from the user view down.
struct CliSession {
    std::vector<View> views{View{}};
    const View& view() const { return views.back(); }
    // A configuration is being loaded: it may name what is no longer there, as the router's own text does.
    bool loading = false;
};

// A key that is part of a prompt, and what to answer to that prompt.
struct Choice {
    std::string key;
    std::string value;
};

struct CliResult {
    std::int32_t error = 0; // 0, or a Refusal
    std::string error_text; // one line
    std::string output;
};

// What a command throws when it cannot be done; the engine makes a CliResult of it.
struct CliError {
    Refusal code;
    std::string text;
};

// It cannot be done, for that reason; it has been asked for with a value that is none.
template <class... Arguments>
[[noreturn]] void refuse(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    throw CliError{Refusal::not_done, "Error: " + fmt::format(format, std::forward<Arguments>(arguments)...)};
}
template <class... Arguments>
[[noreturn]] void refuse_value(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    throw CliError{Refusal::wrong_value, "Error: " + fmt::format(format, std::forward<Arguments>(arguments)...)};
}

constexpr std::size_t longest_object_name = 32;
// What it is goes into the refusal: "a description".
void require_at_most(std::size_t longest, std::string_view what, std::string_view value);

class CliEngine;

// What a command sees and does while it runs.
class CliContext {
public:
    CliContext(const CliEngine& with, RouterState& on, CliSession& in, std::span<const Choice> choices)
        : engine(with), router(on), session(in), choices_(choices) {}

    const CliEngine& engine;
    RouterState& router;
    CliSession& session;
    std::vector<std::string> arguments; // the parameters' values, in the order of the row's words
    std::string output;

    template <class... Arguments> void print(fmt::format_string<Arguments...> format, Arguments&&... args) {
        output += fmt::format(format, std::forward<Arguments>(args)...);
    }
    template <class... Arguments> void line(fmt::format_string<Arguments...> format, Arguments&&... args) {
        print(format, std::forward<Arguments>(args)...);
        output += '\n';
    }
    // Prints the prompt and the answer that the first fitting choice gives; without one the command fails.
    std::string ask(std::string_view prompt);
    bool confirm(std::string_view prompt); // asks for y or n

    // A parameter's value that is a number.
    unsigned number(std::size_t argument) const { return static_cast<unsigned>(std::stoul(arguments[argument])); }

    void enter(View view) { session.views.push_back(std::move(view)); }
    void leave_to(ViewKind kind); // climbs until the view is of that kind

private:
    std::span<const Choice> choices_;
};

// A row: the views in which the command can be given, its words, and what it does. A word is a keyword, "<kind>" for a
// parameter of that kind (cli_parameters.h), or "<low-high>" for a number; "<text>", only as the last word, is the rest
// of the line. What a "display" command prints can be filtered (cli_filter.h).
struct Command {
    unsigned views;
    std::string_view words;
    std::string_view help; // of the last word, or of the row where that is a parameter
    void (*run)(CliContext&);
};

// What "?" says of a keyword that is not the last word of a row; path is the row's beginning up to it.
struct WordHelp {
    std::string_view path;
    std::string_view help;
};

// A part of the configuration: the lines that lead into its view from the system view, and those of the view.
struct ConfigSection {
    View view;
    std::vector<std::string> enter;
    std::vector<std::string> lines;
};

// The object that a view is of, unless it has been removed meanwhile, on another channel.
template <class Object> Object& still_there(Object* object, const View& view, std::string_view what = {}) {
    if (object == nullptr)
        refuse("there is no {}{}{} any more.", what, what.empty() ? "" : " ", view.subject);
    return *object;
}

struct CommandSet {
    std::span<const Command> commands;
    std::span<const WordHelp> words;
    void (*configuration)(const RouterState&, std::vector<ConfigSection>&); // may be null
    // What the set adds to the section of an interface; may be null.
    void (*interface_lines)(const Interface&, std::vector<std::string>&) = nullptr;
};

class CliEngine {
public:
    explicit CliEngine(std::span<const CommandSet> sets);

    CliResult run(RouterState& router, CliSession& session, std::string_view line,
                  std::span<const Choice> choices = {}) const;

    // The whole configuration as lines that can be run again in the system view.
    std::string configuration(const RouterState& router) const;
    // The part of it that belongs to one view.
    std::string configuration_of(const RouterState& router, const View& view) const;

    struct Row {
        const Command* command;
        std::vector<std::string> words;
    };
    std::span<const Row> rows() const { return rows_; }
    // Of a row's first words; empty when there is none.
    std::string_view help_of(std::string_view path) const;

private:
    std::vector<ConfigSection> sections(const RouterState& router) const;
    void execute(CliContext& context, std::string_view line) const;
    void help(CliContext& context, std::string_view line) const;

    std::vector<CommandSet> sets_;
    std::vector<Row> rows_;
};

// The router's engine, with all its command sets.
const CliEngine& cli_engine();

// One a file; a configuration can be run again in the order in which cli_engine() has them.
CommandSet acl_commands();
CommandSet apn_commands();
CommandSet dhcp_commands();
CommandSet dialer_commands();
CommandSet dns_commands();
CommandSet dot1x_commands();
CommandSet general_commands();
CommandSet interface_commands();
CommandSet nat_commands();
CommandSet radio_commands();
CommandSet route_commands();
CommandSet security_profile_commands();
CommandSet service_set_commands();
CommandSet vlan_commands();
CommandSet wlan_bss_commands();

std::string_view view_name(ViewKind kind);

} // namespace sim
