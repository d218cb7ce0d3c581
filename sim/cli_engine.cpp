#include "sim/cli_engine.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <map>
#include <set>

#include <fmt/ranges.h>

#include "sim/cli_filter.h"
#include "sim/cli_parameters.h"

namespace sim {

namespace {

using Row = CliEngine::Row;

constexpr std::size_t help_column = 28;

struct ViewName {
    ViewKind kind;
    std::string_view name;
};

constexpr std::array view_names{
    ViewName{ViewKind::user, "user"},
    ViewName{ViewKind::system, "system"},
    ViewName{ViewKind::interface, "interface"},
    ViewName{ViewKind::cellular, "cellular interface"},
    ViewName{ViewKind::radio, "radio interface"},
    ViewName{ViewKind::vlanif, "VLAN interface"},
    ViewName{ViewKind::wlan_bss, "WLAN-BSS interface"},
    ViewName{ViewKind::acl, "ACL"},
    ViewName{ViewKind::dialer_rule, "dialer-rule"},
    ViewName{ViewKind::apn_profile, "APN profile"},
    ViewName{ViewKind::vlan, "VLAN"},
    ViewName{ViewKind::wlan, "WLAN"},
    ViewName{ViewKind::security_profile, "security profile"},
    ViewName{ViewKind::service_set, "service set"},
};

constexpr std::string_view filter_mark = "|";

char lower(char c) { return static_cast<char>(std::tolower(std::bit_cast<unsigned char>(c))); }

bool begins_like(std::string_view whole, std::string_view beginning) {
    return beginning.size() <= whole.size() &&
           std::ranges::equal(whole.substr(0, beginning.size()), beginning, {}, lower, lower);
}

bool same(std::string_view a, std::string_view b) { return a.size() == b.size() && begins_like(a, b); }

std::vector<Token> split(std::string_view line) {
    std::vector<Token> tokens;
    std::size_t at = line.find_first_not_of(' ');
    while (at < line.size()) {
        const std::size_t end = std::min(line.find(' ', at), line.size());
        tokens.push_back({line.substr(at, end - at), at});
        at = line.find_first_not_of(' ', end);
    }
    return tokens;
}

// An error at a place in the line, which is shown with a mark under that place.
[[noreturn]] void fail_at(CliContext& context, std::string_view line, std::size_t column, Refusal code,
                          std::string text) {
    context.line("{}", line);
    context.line("{:>{}}", '^', column + 1);
    throw CliError{code, std::move(text)};
}

// The rows that a line can still mean while its words are read one after the other.
class Reading {
public:
    Reading(CliContext& context, std::span<const Row> all, std::string_view line)
        : context_(context), all_(all), line_(line), tokens_(split(line)) {
        const unsigned here = in(context.session.view().kind);
        for (const Row& row : all)
            if ((row.command->views & here) != 0)
                rows_.push_back(&row);
    }

    std::span<const Token> tokens() const { return tokens_; }
    const std::vector<std::string>& arguments() const { return arguments_; }
    const std::string& path() const { return path_; }
    void forget_last_token() { tokens_.pop_back(); }

    void read_all() {
        while (next_ < tokens_.size()) {
            read_word();
            if (path_ == "display")
                take_filter();
        }
    }

    // The same for a line that "?" ends. Where a value begins that can go on, what can be its rest is listed; false
    // when the value cannot end there.
    bool read_for_help(std::vector<HelpEntry>& listed) {
        while (next_ < tokens_.size()) {
            if (!list_rest_of_value(listed))
                return false;
            read_word();
            if (path_ == "display")
                take_filter();
        }
        return true;
    }

    // What stands behind the mark of a filter; null when there is no mark.
    const std::vector<Token>* filter() const { return filter_ ? &*filter_ : nullptr; }
    bool can_be_filtered() const { return path_.starts_with("display "); }

    const Row* complete() const {
        const auto found = std::ranges::find_if(rows_, [&](const Row* row) { return row->words.size() == words_; });
        return found == rows_.end() ? nullptr : *found;
    }

    // The words that can come next.
    std::set<std::string_view> following() const {
        std::set<std::string_view> words;
        for (const Row* row : rows_)
            if (row->words.size() > words_)
                words.insert(row->words[words_]);
        return words;
    }

    Parameter parameter(std::string_view word) const { return Parameter(word, &context_.router); }

private:
    const Token& token() const { return tokens_[next_]; }
    std::span<const Token> rest() const { return std::span(tokens_).subspan(next_); }

    bool list_rest_of_value(std::vector<HelpEntry>& listed) {
        if (!meant_keyword().empty())
            return true;
        for (const std::string_view word : following()) {
            if (!Parameter::is(word))
                continue;
            auto entry = parameter(word).continued(rest());
            if (!entry)
                continue;
            listed.push_back(std::move(*entry));
            return parameter(word).read(rest()).has_value();
        }
        return true;
    }

    void take_filter() {
        const auto mark = std::ranges::find(tokens_, filter_mark, &Token::text);
        if (mark == tokens_.end())
            return;
        filter_.emplace(mark + 1, tokens_.end());
        tokens_.erase(mark, tokens_.end());
    }

    void read_word() {
        const std::string_view keyword = meant_keyword();
        if (!keyword.empty()) {
            keep(keyword, 1);
            return;
        }
        for (const std::string_view word : following()) {
            if (!Parameter::is(word))
                continue;
            if (auto value = parameter(word).read(rest())) {
                arguments_.push_back(std::move(value->text));
                keep(word, value->tokens);
                return;
            }
        }
        fail_unreadable();
    }

    // The keyword that the token is, or is the beginning of; empty when there is none.
    std::string_view meant_keyword() {
        std::vector<std::string_view> meant;
        for (const std::string_view word : following()) {
            if (Parameter::is(word) || !begins_like(word, token().text))
                continue;
            if (same(word, token().text))
                return word;
            meant.push_back(word);
        }
        if (meant.size() > 1)
            fail_at(context_, line_, token().column, Refusal::ambiguous_word,
                    fmt::format("Error: \"{}\" may mean {}.", token().text, fmt::join(meant, " or ")));
        return meant.empty() ? std::string_view{} : meant.front();
    }

    void keep(std::string_view word, std::size_t tokens) {
        std::erase_if(rows_, [&](const Row* row) { return row->words.size() <= words_ || row->words[words_] != word; });
        path_ += path_.empty() ? "" : " ";
        path_ += word;
        ++words_;
        next_ += tokens;
    }

    [[noreturn]] void fail_unreadable() {
        std::vector<std::string> parameters;
        for (const std::string_view word : following())
            if (Parameter::is(word))
                parameters.push_back(parameter(word).label());
        if (!parameters.empty())
            fail_at(context_, line_, token().column, Refusal::wrong_value,
                    fmt::format("Error: \"{}\" is not a valid {}.", token().text, fmt::join(parameters, " or ")));
        if (following().empty())
            fail_at(context_, line_, token().column, Refusal::unknown_word,
                    fmt::format("Error: the command ends before \"{}\".", token().text));
        fail_at(context_, line_, token().column, Refusal::unknown_word,
                fmt::format("Error: unknown word \"{}\" in the {} view{}.", token().text,
                            view_name(context_.session.view().kind), elsewhere()));
    }

    // Where a first word would be known.
    std::string elsewhere() const {
        if (next_ != 0)
            return {};
        unsigned known = 0;
        for (const Row& row : all_)
            if (begins_like(row.words.front(), token().text))
                known |= row.command->views;
        const bool every_interface = (known & in_any_interface) == in_any_interface;
        std::vector<std::string_view> views;
        for (const auto& [kind, name] : view_names) {
            const bool told = every_interface && (in(kind)&in_any_interface) != 0 && kind != ViewKind::interface;
            if ((known & in(kind)) != 0 && !told)
                views.push_back(name);
        }
        return views.empty() ? "" : fmt::format("; it is known in the {} view", fmt::join(views, " and the "));
    }

    CliContext& context_;
    std::span<const Row> all_;
    std::string_view line_;
    std::vector<Token> tokens_;
    std::optional<std::vector<Token>> filter_;
    std::vector<const Row*> rows_;
    std::size_t next_ = 0;  // token
    std::size_t words_ = 0; // of the rows
    std::string path_;
    std::vector<std::string> arguments_;
};

void print_section(std::string& out, const ConfigSection& section) {
    out += "#\n";
    std::string indent;
    for (const std::string& line : section.enter) {
        out += indent + line + "\n";
        indent += ' ';
    }
    if (indent.empty())
        indent = ' ';
    for (const std::string& line : section.lines)
        out += indent + line + "\n";
}

const Filter* meant_filter(std::string_view word) {
    const auto found =
        std::ranges::find_if(filters(), [&](const Filter& each) { return begins_like(each.word, word); });
    return found == filters().end() ? nullptr : &*found;
}

// Behind the mark of a filter.
void filter_output(CliContext& context, std::string_view line, std::span<const Token> words) {
    const auto incomplete = [&] {
        fail_at(context, line, line.size(), Refusal::incomplete,
                "Error: the command is not complete; a ? in its place tells what comes next.");
    };
    if (words.empty())
        incomplete();
    const Filter* const filter = meant_filter(words.front().text);
    if (filter == nullptr)
        fail_at(context, line, words.front().column, Refusal::unknown_word,
                fmt::format("Error: there is no filter \"{}\".", words.front().text));
    if (words.size() < 2)
        incomplete();
    const std::string expression(
        line.substr(words[1].column, words.back().column + words.back().text.size() - words[1].column));
    if (!apply(*filter, expression, context.output))
        fail_at(context, line, words[1].column, Refusal::wrong_value,
                fmt::format("Error: \"{}\" is not a valid regular expression.", expression));
}

// What can stand behind what was read, of that beginning.
std::vector<HelpEntry> help_after(const CliEngine& engine, const Reading& reading, std::string_view beginning) {
    std::vector<HelpEntry> entries;
    for (const std::string_view word : reading.following()) {
        if (!Parameter::is(word)) {
            const std::string path = reading.path() + (reading.path().empty() ? "" : " ") + std::string(word);
            entries.push_back({std::string(word), std::string(engine.help_of(path))});
        } else {
            std::ranges::move(reading.parameter(word).entries(), std::back_inserter(entries));
        }
    }
    if (const Row* row = reading.complete(); row != nullptr) {
        if (reading.can_be_filtered())
            entries.push_back({std::string(filter_mark), "Show some of the lines only"});
        entries.push_back({"<cr>", std::string(row->command->help)});
    }
    std::erase_if(entries, [&](const HelpEntry& entry) { return !begins_like(entry.word, beginning); });
    return entries;
}

std::vector<HelpEntry> filter_help(std::span<const Token> words, std::string_view beginning) {
    if (!words.empty())
        return {{"<regex>", "Extended regular expression, up to the end of the line"}};
    std::vector<HelpEntry> entries;
    for (const Filter& filter : filters())
        if (begins_like(filter.word, beginning))
            entries.push_back({std::string(filter.word), std::string(filter.help)});
    return entries;
}

} // namespace

std::string_view view_name(ViewKind kind) { return std::ranges::find(view_names, kind, &ViewName::kind)->name; }

void require_at_most(std::size_t longest, std::string_view what, std::string_view value) {
    if (value.size() > longest)
        refuse_value("{} has at most {} characters.", what, longest);
}

std::string CliContext::ask(std::string_view prompt) {
    output += prompt;
    for (const Choice& choice : choices_) {
        if (prompt.find(choice.key) == std::string_view::npos)
            continue;
        line("{}", choice.value);
        return choice.value;
    }
    output += '\n';
    throw CliError{Refusal::unanswered, fmt::format("Error: no choice answers the prompt \"{}\".", prompt)};
}

bool CliContext::confirm(std::string_view prompt) {
    const std::string answer = ask(prompt);
    if (same(answer, "y") || same(answer, "yes"))
        return true;
    if (same(answer, "n") || same(answer, "no"))
        return false;
    throw CliError{Refusal::wrong_value, fmt::format("Error: the answer \"{}\" is neither y nor n.", answer)};
}

void CliContext::leave_to(ViewKind kind) {
    while (session.views.size() > 1 && session.view().kind != kind)
        session.views.pop_back();
}

CliEngine::CliEngine(std::span<const CommandSet> sets) : sets_(sets.begin(), sets.end()) {
    for (const CommandSet& set : sets_) {
        for (const Command& command : set.commands) {
            Row row{&command, {}};
            for (const Token& word : split(command.words))
                row.words.emplace_back(word.text);
            rows_.push_back(std::move(row));
        }
    }
}

CliResult CliEngine::run(RouterState& router, CliSession& session, std::string_view line,
                         std::span<const Choice> choices) const {
    CliContext context(*this, router, session, choices);
    CliResult result;
    try {
        if (line.find_first_of("\n\r\t") != std::string_view::npos)
            throw CliError{Refusal::wrong_value, "Error: a command is one line, without tabs."};
        const std::string_view written = line.substr(0, line.find_last_not_of(' ') + 1);
        if (written.ends_with('?'))
            help(context, written.substr(0, written.size() - 1));
        else
            execute(context, line);
    } catch (const CliError& error) {
        result.error = static_cast<std::int32_t>(error.code);
        result.error_text = error.text;
        context.line("{}", error.text);
    }
    result.output = std::move(context.output);
    return result;
}

void CliEngine::execute(CliContext& context, std::string_view line) const {
    Reading reading(context, rows_, line);
    if (reading.tokens().empty())
        return;
    reading.read_all();
    const Row* row = reading.complete();
    if (row == nullptr)
        fail_at(context, line, line.size(), Refusal::incomplete,
                "Error: the command is not complete; a ? in its place tells what comes next.");
    context.arguments = reading.arguments();
    row->command->run(context);
    if (reading.filter() != nullptr)
        filter_output(context, line, *reading.filter());
}

void CliEngine::help(CliContext& context, std::string_view line) const {
    Reading reading(context, rows_, line);
    std::string_view beginning;
    if (!line.empty() && line.back() != ' ') {
        beginning = reading.tokens().back().text;
        reading.forget_last_token();
    }
    std::vector<HelpEntry> entries;
    if (reading.read_for_help(entries)) {
        const auto more = reading.filter() != nullptr ? filter_help(*reading.filter(), beginning)
                                                      : help_after(*this, reading, beginning);
        entries.insert(entries.end(), more.begin(), more.end());
    }
    if (entries.empty())
        fail_at(context, line, line.size() - beginning.size(), Refusal::unknown_word,
                fmt::format("Error: no word begins with \"{}\" there.", beginning));
    for (const HelpEntry& entry : entries)
        context.line("  {:<{}}{}", entry.word, help_column, entry.help);
}

std::string_view CliEngine::help_of(std::string_view path) const {
    for (const CommandSet& set : sets_) {
        for (const WordHelp& word : set.words)
            if (word.path == path)
                return word.help;
        for (const Command& command : set.commands)
            if (command.words == path)
                return command.help;
    }
    return {};
}

std::vector<ConfigSection> CliEngine::sections(const RouterState& router) const {
    std::vector<ConfigSection> all;
    for (const CommandSet& set : sets_)
        if (set.configuration != nullptr)
            set.configuration(router, all);
    for (ConfigSection& section : all) {
        if ((in(section.view.kind) & in_any_interface) == 0)
            continue;
        const Interface& interface = *router.interface(section.view.subject);
        for (const CommandSet& set : sets_)
            if (set.interface_lines != nullptr)
                set.interface_lines(interface, section.lines);
    }
    return all;
}

std::string CliEngine::configuration(const RouterState& router) const {
    std::string text;
    for (const ConfigSection& section : sections(router))
        print_section(text, section);
    return text + "#\nreturn\n";
}

std::string CliEngine::configuration_of(const RouterState& router, const View& view) const {
    std::string text;
    for (const ConfigSection& section : sections(router))
        if (section.view == view)
            print_section(text, section);
    return text + "#\nreturn\n";
}

const CliEngine& cli_engine() {
    static const std::array sets{
        general_commands(),     dns_commands(),   dhcp_commands(),     dot1x_commands(),
        vlan_commands(),        acl_commands(),   dialer_commands(),   apn_commands(),
        interface_commands(),   nat_commands(),   wlan_bss_commands(), security_profile_commands(),
        service_set_commands(), radio_commands(), route_commands(),
    };
    static const CliEngine engine(sets);
    return engine;
}

} // namespace sim
