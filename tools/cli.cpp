// Router commands in one CLI channel, and saving the configuration.
#include <algorithm>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/input.h"
#include "tools/interruption.h"
#include "tools/output.h"
#include "tools/session.h"

namespace qel {

namespace {

struct Exec {
    std::vector<std::string> commands;
    std::vector<std::string> answers; // PROMPT=REPLY
    bool keep_going = false;
};

std::string why_no_answer(const std::string& answer) {
    const std::size_t equals = answer.find('=');
    if (equals == std::string::npos || equals == 0)
        return fmt::format("expected PROMPT=REPLY, got {}", answer);
    if (answer.find('"') != std::string::npos)
        return fmt::format("{} holds a quote, which an answer cannot", answer);
    return "";
}

// As vela_cli_execute takes them.
std::string choices_of(const std::vector<std::string>& answers) {
    std::string choices;
    for (const std::string& answer : answers) {
        const std::size_t equals = answer.find('=');
        choices += fmt::format("{}\"{}\":\"{}\"", choices.empty() ? "" : ",", answer.substr(0, equals),
                               answer.substr(equals + 1));
    }
    return choices;
}

// The commands in their order; "-" stands for the lines of standard input. Empty ones are left out.
class Commands {
public:
    explicit Commands(const std::vector<std::string>& words) : words_(words) {
        if (words_.empty())
            words_.emplace_back("-");
    }

    std::optional<std::string> next() {
        for (;;) {
            std::optional<std::string> command = next_of_any();
            if (!command || command->find_first_not_of(" \t") != std::string::npos)
                return command;
        }
    }

private:
    std::optional<std::string> next_of_any() {
        for (; at_ < words_.size(); ++at_) {
            if (words_[at_] != "-")
                return words_[at_++];
            if (auto line = input_.next())
                return line;
        }
        return std::nullopt;
    }

    std::vector<std::string> words_;
    std::size_t at_ = 0;
    LineReader input_{"-"};
};

// The output of a rejected command is the router's explanation.
void show(const Context& context, const std::string& command, bool accepted, const std::string& output) {
    if (context.json)
        print(json_line({{"command", command}, {"ok", accepted}, {"output", output}}));
    else if (accepted)
        print(output);
    else
        std::fputs((output.ends_with('\n') || output.empty() ? output : output + "\n").c_str(), stderr);
}

// Throws what cannot be gone on from.
void run(const Context& context, const Exec& exec, const Session& session, const CliChannel& channel,
         const std::string& choices, const std::string& command) {
    Text output;
    const std::int32_t code = vela_cli_execute(channel.handle(), command.c_str(), choices.c_str(), output.out());
    if (code == VELA_OK || output.is_there())
        show(context, command, code == VELA_OK, output.get());
    try {
        check_code("vela_cli_execute", static_cast<std::uint32_t>(code), command,
                   output.is_there() ? Codes::router : Codes::library);
    } catch (const Failure& failure) {
        if (!exec.keep_going)
            throw;
        tell(failure);
        if (!output.is_there())
            session.keep_alive();
    }
}

void exec_all(const Context& context, const Exec& exec) {
    const std::string choices = choices_of(exec.answers);
    Commands commands(exec.commands);
    const Session session(context.client);
    const CliChannel channel;
    while (const auto command = commands.next()) {
        run(context, exec, session, channel, choices, *command);
        throw_if_interrupted();
    }
}

} // namespace

Action exec_command(CLI::App& app) {
    const auto exec = std::make_shared<Exec>();
    app.add_option("command", exec->commands,
                   "A router command, as an operator types it; -: one a line from standard input")
        ->type_name("COMMAND")
        ->expected(-1);
    app.add_option("--answer", exec->answers,
                   "Answer prompts that hold PROMPT with REPLY; of several that fit, the last one counts")
        ->type_name("PROMPT=REPLY")
        ->allow_extra_args(false)
        ->check(CLI::Validator(why_no_answer, "", ""));
    app.add_flag("--keep-going", exec->keep_going, "Run the commands behind a rejected one too");
    return [exec](const Context& context) { exec_all(context, *exec); };
}

Action save_command(CLI::App&) {
    return [](const Context& context) {
        const Session session(context.client);
        check("vela_cli_save", vela_cli_save());
    };
}

} // namespace qel
