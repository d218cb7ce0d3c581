#include "sim/control_commands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "sim/cli_parameters.h"
#include "sim/events_flood.h"
#include "sim/unit.h"

namespace sim {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint64_t most_events = 100'000'000;
constexpr std::uint64_t longest_flood = 3600; // seconds
constexpr std::uint64_t longest_content = 7000;
constexpr std::uint64_t most_joined = 1000;
constexpr std::size_t longest_name = 200;

// What a command throws when it cannot be done.
struct CannotDo {
    std::string why;
};

// The words of a command, taken from the front.
class Words {
public:
    explicit Words(std::string_view line) : rest_(line) { trim(); }

    bool empty() const { return rest_.empty(); }
    std::string_view next() {
        const std::size_t end = std::min(rest_.find(' '), rest_.size());
        const std::string_view word = rest_.substr(0, end);
        rest_.remove_prefix(end);
        trim();
        return word;
    }
    std::string_view required(std::string_view what) {
        if (empty())
            throw CannotDo{fmt::format("{} is missing", what)};
        return next();
    }
    std::string_view rest() { return std::exchange(rest_, {}); }

private:
    void trim() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
        rest_.remove_suffix(rest_.size() - std::min(rest_.find_last_not_of(' ') + 1, rest_.size()));
    }
    std::string_view rest_;
};

std::optional<std::uint64_t> number_of(std::string_view word) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || end != word.data() + word.size())
        return std::nullopt;
    return number;
}

std::uint64_t number_in(std::string_view word, std::string_view what, std::uint64_t low, std::uint64_t high) {
    const auto number = number_of(word);
    if (!number || *number < low || *number > high)
        throw CannotDo{fmt::format("{} is \"{}\" instead of a number from {} to {}", what, word, low, high)};
    return *number;
}

int client_in(std::string_view word) {
    return static_cast<int>(number_in(word, "the client", 1, std::numeric_limits<int>::max()));
}

EventKind kind_in(std::string_view word) {
    const auto found = std::ranges::find(event_kinds(), word, &EventKindName::name);
    if (found != event_kinds().end())
        return found->kind;
    std::vector<std::string_view> names;
    std::ranges::transform(event_kinds(), std::back_inserter(names), &EventKindName::name);
    throw CannotDo{fmt::format("\"{}\" is no kind of event; there are {}", word, fmt::join(names, ", "))};
}

std::string_view name_of(EventKind kind) { return std::ranges::find(event_kinds(), kind, &EventKindName::kind)->name; }

// "MODULE/level/ALIAS: text", or the text alone.
LogLine log_line_in(std::string_view text) {
    LogLine line{"CONSOLE", 6, "OPERATOR", std::string(text)};
    const std::size_t first = text.find('/');
    const std::size_t second = text.find('/', first + 1);
    const std::size_t colon = text.find(": ");
    if (first == 0 || second != first + 2 || colon == std::string_view::npos || colon < second + 2)
        return line;
    const char level = text[first + 1];
    const std::string_view head = text.substr(0, colon);
    if (level < '0' || level > '7' || head.find(' ') != std::string_view::npos)
        return line;
    return {std::string(text.substr(0, first)), static_cast<std::uint32_t>(level - '0'),
            std::string(head.substr(second + 1)), std::string(text.substr(colon + 2))};
}

Json subscription_json(const Subscription& subscription, const EventRegistration& registration) {
    const auto delivered = registration.delivered_tags();
    const bool in_expression = std::ranges::find(delivered, subscription.tag) != delivered.end();
    return {{"tag", subscription.tag},
            {"kind", name_of(subscription.kind)},
            {"delivered", registration.finished() && in_expression}};
}

std::string subscription_text(const Json& subscription) {
    return fmt::format("{}:{}{}", subscription["kind"].get<std::string>(), subscription["tag"].get<std::string>(),
                       subscription["delivered"].get<bool>() ? "" : " (not delivered)");
}

std::string_view text_of(EventQueue::Waited end) {
    switch (end) {
    case EventQueue::Waited::there_is_room:
        return "all sent";
    case EventQueue::Waited::no_progress:
        return "the client does not read";
    case EventQueue::Waited::stopped:
        return "stopped";
    case EventQueue::Waited::ended:
        return "the client has gone";
    }
    return {};
}

} // namespace

struct ControlCommandTable {
    Service& service;
    ControlCommands& commands;
    std::stop_token stop;

    Json list_clients(Words&) const {
        Json clients = Json::array();
        std::vector<std::string> lines;
        const std::vector<Events::Registered> registered = service.events().registered();
        for (const int id : service.client_ids()) {
            Json client{{"client", id}};
            std::string line = fmt::format("client {}", id);
            if (const auto session = service.sessions().find(id)) {
                client.update({{"session", session->id}, {"program", session->client_name}});
                line += fmt::format(", session {}, program \"{}\"", session->id, session->client_name);
            }
            client["registrations"] = Json::array();
            for (const Events::Registered& each : registered)
                if (each.client == id)
                    line += add_registration(client, each);
            clients.push_back(std::move(client));
            lines.push_back(std::move(line));
        }
        return {{"text", lines.empty() ? "no clients" : fmt::format("{}", fmt::join(lines, "\n"))},
                {"clients", std::move(clients)}};
    }

    static std::string add_registration(Json& client, const Events::Registered& registered) {
        Json json{{"name", registered.name},
                  {"finished", registered.registration.finished()},
                  {"waiting_bytes", registered.queue ? registered.queue->size() : 0},
                  {"subscriptions", Json::array()}};
        std::vector<std::string> texts;
        for (const Subscription& each : registered.registration.subscriptions()) {
            json["subscriptions"].push_back(subscription_json(each, registered.registration));
            texts.push_back(subscription_text(json["subscriptions"].back()));
        }
        client["registrations"].push_back(std::move(json));
        return fmt::format("\n  {}: {}", registered.name,
                           texts.empty() ? "nothing subscribed" : fmt::format("{}", fmt::join(texts, ", ")));
    }

    Json raise(Words& words) const {
        const EventKind kind = kind_in(words.required("the kind"));
        Event event{.kind = kind, .content = std::string(words.rest())};
        event.whatever_asked = true;
        service.events().raise(event);
        service.events().wait_for_room();
        return {{"text", "raised"}};
    }

    Json send_raw(Words& words) const {
        const std::string_view whom = words.required("the client, or all,");
        const std::string_view name = words.required("the registration name");
        const std::string_view tag = words.required("the tag");
        if (name.size() > longest_name || tag.size() > longest_name)
            throw CannotDo{fmt::format("name and tag have at most {} characters", longest_name)};
        const std::optional<std::string_view> content = words.empty() ? std::nullopt : std::optional(words.rest());
        const std::vector<int> ids = whom == "all" ? service.client_ids() : std::vector{client_in(whom)};
        std::size_t sent = 0;
        for (const int id : ids)
            sent += service.events().push(id, name, tag, content) ? 1U : 0U;
        service.events().wait_for_room();
        if (sent == 0)
            throw CannotDo{"there is no such client with a session"};
        return {{"text", fmt::format("sent to {}", sent)}, {"sent", sent}};
    }

    Json burst(Words& words) const {
        Flood wanted;
        wanted.events = number_in(words.required("the number of events"), "the number of events", 1, most_events);
        wanted.per_send = static_cast<std::size_t>(wanted.events);
        take_size(words, wanted);
        return flood_with(words, wanted);
    }

    Json flood_registered(Words& words) const {
        Flood wanted;
        const std::string_view much = words.required("the number of events, or of seconds with an s behind,");
        if (much.ends_with('s'))
            wanted.time = std::chrono::seconds(
                number_in(much.substr(0, much.size() - 1), "the number of seconds", 1, longest_flood));
        else
            wanted.events = number_in(much, "the number of events", 1, most_events);
        take_size(words, wanted);
        if (!words.empty())
            wanted.per_send = static_cast<std::size_t>(number_in(words.next(), "the events per send", 1, most_joined));
        return flood_with(words, wanted);
    }

    static void take_size(Words& words, Flood& wanted) {
        if (!words.empty())
            wanted.size = static_cast<std::size_t>(number_in(words.next(), "the size", 0, longest_content));
    }

    Json flood_with(Words& words, const Flood& wanted) const {
        require_end(words);
        const std::vector<Flooded> flooded = flood(service.events(), wanted, stop);
        if (flooded.empty())
            throw CannotDo{"nobody has registered for events"};
        Json clients = Json::array();
        std::vector<std::string> lines;
        bool all = true;
        for (const Flooded& each : flooded) {
            clients.push_back(
                {{"client", each.client}, {"events", each.events}, {"sends", each.sends}, {"end", text_of(each.end)}});
            lines.push_back(fmt::format("client {}: {} events in {} sends, {}", each.client, each.events, each.sends,
                                        text_of(each.end)));
            all = all && each.end == EventQueue::Waited::there_is_room;
        }
        if (!all)
            throw CannotDo{fmt::format("{}", fmt::join(lines, "\n"))};
        return {{"text", fmt::format("{}", fmt::join(lines, "\n"))}, {"clients", std::move(clients)}};
    }

    Json hang_up(Words& words) const {
        if (words.empty()) {
            const std::size_t clients = service.clients();
            service.hang_up_all();
            return {{"text", fmt::format("hung up on {}", clients)}};
        }
        const int client = client_in(words.next());
        require_end(words);
        const std::vector<int> ids = service.client_ids();
        if (std::ranges::find(ids, client) == ids.end())
            throw CannotDo{fmt::format("there is no client {}", client)};
        service.hang_up(client);
        return {{"text", fmt::format("hung up on client {}", client)}};
    }

    Json write_log(Words& words) const {
        if (words.empty())
            throw CannotDo{"the text is missing"};
        LogLine line = log_line_in(words.rest());
        service.router().with([&](RouterState& router) { router.write_log(std::move(line)); });
        service.events().wait_for_room();
        return {{"text", "written"}};
    }

    Json set_link(Words& words) const {
        const std::string_view word = words.required("the interface");
        const std::string_view state = words.required("up or down");
        require_end(words);
        if (state != "up" && state != "down")
            throw CannotDo{fmt::format("a link is up or down, not \"{}\"", state)};
        const std::string name = interface_name(word).value_or(std::string(word));
        const bool known = service.router().with([&](RouterState& router) {
            Interface* const interface = router.interface(name);
            if (interface != nullptr)
                router.set_link(*interface, state == "up");
            return interface != nullptr;
        });
        if (!known)
            throw CannotDo{fmt::format("the router has no interface {}", name)};
        service.events().wait_for_room();
        return {{"text", fmt::format("the link of {} is {}", name, state)}};
    }

    Json type_at_console(Words& words) const {
        // There is nobody to ask, so every prompt is answered with a y.
        const Choice yes{"", "y"};
        std::lock_guard guard(commands.console_lock_);
        const CliResult result = service.router().with([&](RouterState& router) {
            return cli_engine().run(router, commands.console_, words.rest(), std::span(&yes, 1));
        });
        service.events().wait_for_room();
        if (result.error != 0)
            throw CannotDo{result.error_text};
        return {{"text", result.output}, {"view", view_name(commands.console_.view().kind)}};
    }

    Json help(Words&) const { return {{"text", ControlCommands::help()}}; }

    static void require_end(const Words& words) {
        if (!words.empty())
            throw CannotDo{fmt::format("nothing goes behind that, but there is \"{}\"", Words(words).rest())};
    }
};

namespace {

struct ControlCommand {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
    Json (ControlCommandTable::*run)(Words&) const;
};

constexpr std::array table{
    ControlCommand{"clients", "", "Who is connected, and what each has registered for",
                   &ControlCommandTable::list_clients},
    ControlCommand{"event", "KIND TEXT", "Push the text to all who subscribed to that kind, whatever they match",
                   &ControlCommandTable::raise},
    ControlCommand{"raw", "CLIENT|all NAME TAG [TEXT]", "Push an event under that name and tag, registered or not",
                   &ControlCommandTable::send_raw},
    ControlCommand{"burst", "N [SIZE]", "Push N events to each registered client, joined in as few sends as possible",
                   &ControlCommandTable::burst},
    ControlCommand{"flood", "N|SECONDSs [SIZE [PER-SEND]]", "Push events to each registered client as fast as it reads",
                   &ControlCommandTable::flood_registered},
    ControlCommand{"hang-up", "[CLIENT]", "End the connection of that client, or of all",
                   &ControlCommandTable::hang_up},
    ControlCommand{"log", "[MODULE/LEVEL/ALIAS: ]TEXT", "Write a line into the router's log",
                   &ControlCommandTable::write_log},
    ControlCommand{"link", "INTERFACE up|down", "Plug the interface's cable in, or pull it",
                   &ControlCommandTable::set_link},
    ControlCommand{"cli", "COMMAND", "Type a command at the router's console, which stays in its view",
                   &ControlCommandTable::type_at_console},
    ControlCommand{"help", "", "List the commands", &ControlCommandTable::help},
};

Json failure(std::string_view why) { return {{"ok", false}, {"error", why}}; }

} // namespace

std::string ControlCommands::run(std::string_view line, std::stop_token stop) {
    Json answer;
    try {
        Words words(line);
        const std::string_view name = words.required("the command");
        const auto command = std::ranges::find(table, name, &ControlCommand::name);
        if (command == table.end())
            throw CannotDo{fmt::format("there is no command \"{}\"; help lists them", name)};
        const ControlCommandTable run{service_, *this, std::move(stop)};
        answer = {{"ok", true}};
        answer.update((run.*command->run)(words));
    } catch (const CannotDo& error) {
        answer = failure(error.why);
    } catch (const Refused& error) {
        answer = failure(error.text);
    } catch (const std::system_error& error) {
        answer = failure(error.what());
    }
    // What is no UTF-8 came from a client or from the line.
    return answer.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string ControlCommands::help() {
    std::string text;
    for (const ControlCommand& command : table)
        text += fmt::format("{:<40}{}\n", fmt::format("{} {}", command.name, command.arguments), command.help);
    return text;
}

} // namespace sim
