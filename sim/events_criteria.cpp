#include "sim/events_criteria.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <variant>

#include <fmt/format.h>

#include "sim/cli_parameters.h"
#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::uint32_t is_up = 1;
constexpr std::uint32_t is_down = 2;
constexpr std::uint32_t by_administrator = 1;
constexpr std::uint32_t by_line = 2;
constexpr std::uint32_t any_level = 8; // and all above
constexpr std::uint32_t longest_mask = 32;

char lower(char c) { return static_cast<char>(std::tolower(std::bit_cast<unsigned char>(c))); }

// An empty piece is a piece of everything.
bool is_piece(std::string_view piece, std::string_view whole) {
    const auto alike = [](char a, char b) { return lower(a) == lower(b); };
    return std::search(whole.begin(), whole.end(), piece.begin(), piece.end(), alike) != whole.end() || piece.empty();
}

std::string text_at(const Message& message, std::int32_t tag) { return message.text(tag).value_or(""); }
std::uint32_t number_at(const Message& message, std::int32_t tag) {
    return static_cast<std::uint32_t>(message.integer(tag).value_or(0));
}

template <std::int32_t Tag> bool in_subject(const Message& wanted, const Event& event) {
    return is_piece(text_at(wanted, Tag), event.subject);
}
template <std::int32_t Tag> bool in_detail(const Message& wanted, const Event& event) {
    return is_piece(text_at(wanted, Tag), event.detail);
}
template <std::int32_t Tag> bool in_content(const Message& wanted, const Event& event) {
    return is_piece(text_at(wanted, Tag), event.content);
}

bool is_level(const Message& wanted, const Event& event) {
    const std::uint32_t level = number_at(wanted, 8);
    return level >= any_level || event.number <= level;
}

// A number that has no meaning asks for nothing.
bool is_state(const Message& wanted, const Event& event) {
    const std::uint32_t state = number_at(wanted, 5);
    return (state != is_up && state != is_down) || event.number == state;
}

bool is_cause(const Message& wanted, const Event& event) {
    const std::uint32_t cause = number_at(wanted, 7);
    return (cause != by_administrator && cause != by_line) || event.cause == cause;
}

// With a length of 1 to 32 all that lies within the prefix, else the very destination.
bool is_destination(const Message& wanted, const Event& event) {
    const std::string destination = text_at(wanted, 5);
    if (!is_ip_address(destination))
        return is_piece(destination, event.subject);
    const std::uint32_t length = number_at(wanted, 6);
    if (length == 0 || length > longest_mask)
        return destination == event.subject;
    const std::string mask = mask_of_length(length);
    return event.number >= length && network_of(destination, mask) == network_of(event.subject, mask);
}

bool is_protocol(const Message& wanted, const Event&) { return is_piece(text_at(wanted, 10), "static"); }

struct Criterion {
    EventKind kind;
    std::int32_t tag;
    std::string_view what;
    enum class Form { text, number, optional_number } form;
    bool (*fits)(const Message& wanted, const Event& event); // null: kept, and compared with nothing
};

constexpr auto text = Criterion::Form::text;
constexpr auto number = Criterion::Form::number;
constexpr auto optional_number = Criterion::Form::optional_number;

constexpr std::array criteria{
    Criterion{EventKind::log, 5, "the module", text, in_subject<5>},
    Criterion{EventKind::log, 6, "the alias", text, in_detail<6>},
    Criterion{EventKind::log, 7, "the piece of the line", text, in_content<7>},
    Criterion{EventKind::log, 8, "the level", number, is_level},

    Criterion{EventKind::interface_state, 8, "the word \"ifstate\"", text, nullptr},
    Criterion{EventKind::interface_state, 5, "the state", number, is_state},
    Criterion{EventKind::interface_state, 6, "the interface", text, in_subject<6>},
    Criterion{EventKind::interface_state, 7, "the cause", number, is_cause},

    Criterion{EventKind::route, 5, "the destination", text, is_destination},
    Criterion{EventKind::route, 6, "the length of the mask", number, nullptr}, // goes with the destination
    Criterion{EventKind::route, 7, "the first number", optional_number, nullptr},
    Criterion{EventKind::route, 8, "the second number", optional_number, nullptr},
    Criterion{EventKind::route, 9, "the third number", optional_number, nullptr},
    Criterion{EventKind::route, 10, "the protocol", text, is_protocol},
    Criterion{EventKind::route, 11, "the next hop", text, in_detail<11>},

    Criterion{EventKind::nqa, 5, "the second text", text, nullptr},
    Criterion{EventKind::nqa, 6, "the third text", text, nullptr},
    Criterion{EventKind::nqa, 7, "the fourth text", text, nullptr},
    Criterion{EventKind::nqa, 8, "the fifth text", text, nullptr},
    Criterion{EventKind::nqa, 9, "the sixth text", text, nullptr},
    Criterion{EventKind::nqa, 10, "the number", number, nullptr},

    Criterion{EventKind::trap, 5, "the second text", text, nullptr},
    Criterion{EventKind::trap, 6, "the third text", text, nullptr},
    Criterion{EventKind::trap, 7, "the fourth text", text, nullptr},
    Criterion{EventKind::trap, 8, "the fifth text", text, nullptr},
    Criterion{EventKind::trap, 9, "the number", number, nullptr},
};

Event event_of(const InterfaceChange& change, const RouterState&) {
    return {.kind = EventKind::interface_state,
            .content = text_of(change),
            .subject = change.name,
            .number = change.up ? is_up : is_down,
            .cause = change.by_administrator ? by_administrator : by_line};
}

Event event_of(const RouteChange& change, const RouterState&) {
    return {.kind = EventKind::route,
            .content = text_of(change),
            .subject = change.route.destination,
            .detail = change.route.next_hop,
            .number = length_of_mask(change.route.mask)};
}

Event event_of(const LogLine& line, const RouterState& router) {
    return {.kind = EventKind::log,
            .content = text_of(line, router),
            .subject = line.module,
            .detail = line.alias,
            .number = line.level};
}

} // namespace

std::span<const EventKindName> event_kinds() {
    static constexpr std::array all{
        EventKindName{EventKind::interface_state, "event.ifstate", "ifstate"},
        EventKindName{EventKind::route, "event.route", "route"},
        EventKindName{EventKind::log, "event.log", "log"},
        EventKindName{EventKind::nqa, "event.nqa", "nqa"},
        EventKindName{EventKind::trap, "event.trap", "trap"},
    };
    return all;
}

Event event_of(const News& news, const RouterState& router) {
    return std::visit([&](const auto& each) { return event_of(each, router); }, news);
}

void require_criteria(const Request& request, EventKind kind) {
    for (const Criterion& criterion : criteria) {
        if (criterion.kind != kind)
            continue;
        if (criterion.form == text)
            required_text(request, criterion.tag, criterion.what);
        else if (criterion.form == number || request.message.find(criterion.tag) != nullptr)
            required_integer(request, criterion.tag, criterion.what);
    }
    if (kind == EventKind::interface_state && text_at(request.message, 8) != "ifstate")
        throw Refused{Refusal::wrong_value,
                      fmt::format("item 8 is \"{}\" instead of \"ifstate\"", text_at(request.message, 8))};
}

bool is_wanted(const Event& event, EventKind kind, const Message& subscription) {
    if (event.kind != kind)
        return false;
    return event.whatever_asked || std::ranges::all_of(criteria, [&](const Criterion& criterion) {
               return criterion.kind != kind || criterion.fits == nullptr || criterion.fits(subscription, event);
           });
}

} // namespace sim
