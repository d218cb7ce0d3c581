#include "sim/faults.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <iterator>
#include <limits>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "sim/operations.h"
#include "sim/wire.h"

namespace sim {

namespace {

using Verb = Fault::Verb;
using Json = nlohmann::json;

constexpr std::array verbs{
    FaultVerb{Verb::no_answer, "no_answer", "", false, "", "says nothing"},
    FaultVerb{Verb::delay, "delay", "delay", true, "", "answers that many milliseconds late"},
    FaultVerb{Verb::other_send_id, "other_send_id", "send_id", false, "",
              "answers with that send id; default: the request's plus one"},
    FaultVerb{Verb::message_type, "message_type", "type", true, "", "answers with that message type"},
    FaultVerb{Verb::ack_code, "ack_code", "code", true, "", "answers with that acknowledgement code"},
    FaultVerb{Verb::error, "error", "code", true, "text", "refuses with that error code and text"},
    FaultVerb{Verb::missing_item, "missing_item", "tag", true, "", "leaves the items with that tag out of the answer"},
    FaultVerb{Verb::total_length, "total_length", "length", true, "", "writes that total length into the header"},
    FaultVerb{Verb::split, "split", "offset", false, "delay",
              "sends that many bytes (default: half), and the rest by a second send, delay milliseconds later"},
    FaultVerb{Verb::join, "join", "joined", false, "",
              "sends more bytes (hex; default: a copy of the answer) behind the answer in the same send"},
    FaultVerb{Verb::hang_up_before, "hang_up_before", "", false, "", "ends the connection instead of answering"},
    FaultVerb{Verb::hang_up_during, "hang_up_during", "offset", false, "",
              "ends the connection after that many bytes of the answer (default: half)"},
    FaultVerb{Verb::hang_up_after, "hang_up_after", "", false, "", "ends the connection after the answer"},
};

std::vector<std::string_view> verb_names() {
    std::vector<std::string_view> names;
    std::ranges::transform(verbs, std::back_inserter(names), &FaultVerb::name);
    return names;
}

// The parameters that are numbers: their range, and where they go.
struct NumberParameter {
    std::string_view name;
    std::int64_t lowest;
    std::int64_t highest;
    void (*set)(Fault&, std::int64_t);
};

constexpr std::int64_t lowest32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t highest32 = std::numeric_limits<std::int32_t>::max();

constexpr std::array numbers{
    NumberParameter{"nth", 1, highest32, [](Fault& f, std::int64_t n) { f.nth = static_cast<unsigned>(n); }},
    NumberParameter{"times", 1, highest32, [](Fault& f, std::int64_t n) { f.times = static_cast<unsigned>(n); }},
    NumberParameter{"delay", 0, highest32, [](Fault& f, std::int64_t n) { f.delay = std::chrono::milliseconds(n); }},
    NumberParameter{"send_id", 0, 255, [](Fault& f, std::int64_t n) { f.send_id = static_cast<std::uint8_t>(n); }},
    NumberParameter{"type", 0, 255, [](Fault& f, std::int64_t n) { f.type = static_cast<std::uint8_t>(n); }},
    NumberParameter{"code", lowest32, highest32,
                    [](Fault& f, std::int64_t n) { f.code = static_cast<std::int32_t>(n); }},
    NumberParameter{"tag", lowest32, highest32, [](Fault& f, std::int64_t n) { f.tag = static_cast<std::int32_t>(n); }},
    NumberParameter{"length", 0, 65535, [](Fault& f, std::int64_t n) { f.length = static_cast<std::uint16_t>(n); }},
    NumberParameter{"offset", 1, 65535, [](Fault& f, std::int64_t n) { f.offset = static_cast<std::size_t>(n); }},
};

// One beyond 63 bits is none: it would be compared as a negative number.
bool is_whole_number(const Json& value) {
    return value.is_number_integer() &&
           (!value.is_number_unsigned() || std::in_range<std::int64_t>(value.get<std::uint64_t>()));
}

void set_number(Fault& fault, const NumberParameter& parameter, const Json& value) {
    if (!is_whole_number(value) || value < parameter.lowest || value > parameter.highest)
        throw FaultError(fmt::format("{}: expected a number from {} to {}, got {}", parameter.name, parameter.lowest,
                                     parameter.highest, value.dump()));
    parameter.set(fault, value.get<std::int64_t>());
}

std::string text_of(std::string_view name, const Json& value) {
    if (!value.is_string())
        throw FaultError(fmt::format("{}: expected a text, got {}", name, value.dump()));
    return value.get<std::string>();
}

std::string bytes_of(std::string_view name, const Json& value) {
    const auto bytes = from_hex(text_of(name, value));
    if (!bytes || bytes->empty())
        throw FaultError(fmt::format("{}: expected hexadecimal digits in pairs, got {}", name, value.dump()));
    return *bytes;
}

bool names_operations(std::string_view pattern) {
    if (pattern == "*" || pattern == unknown_operation)
        return true;
    const bool family = pattern.ends_with(".*");
    const std::string_view name = family ? pattern.substr(0, pattern.size() - 1) : pattern;
    return std::ranges::any_of(operations(), [&](const Operation& operation) {
        return family ? operation.name.starts_with(name) : operation.name == name;
    });
}

std::string operation_from(const Json& value) {
    std::string pattern = text_of("operation", value);
    if (names_operations(pattern))
        return pattern;
    std::vector<std::string_view> names;
    std::ranges::transform(operations(), std::back_inserter(names), &Operation::name);
    throw FaultError(fmt::format("operation: \"{}\" is none of {}, {}, * or a family like cli.*", pattern,
                                 fmt::join(names, ", "), unknown_operation));
}

const FaultVerb& verb_from(const Json& json) {
    if (!json.contains("verb"))
        throw FaultError(fmt::format("verb: missing; expected one of {}", fmt::join(verb_names(), ", ")));
    const std::string name = text_of("verb", json["verb"]);
    const auto found = std::ranges::find(verbs, name, &FaultVerb::name);
    if (found == verbs.end())
        throw FaultError(fmt::format("verb: \"{}\" is none of {}", name, fmt::join(verb_names(), ", ")));
    return *found;
}

void set_parameter(Fault& fault, const FaultVerb& verb, const std::string& name, const Json& value) {
    if (name == "operation") {
        fault.operation = operation_from(value);
        return;
    }
    const bool always = name == "nth" || name == "times";
    if (!always && name != verb.value && name != verb.extra) {
        std::vector<std::string_view> valid{"operation", "nth", "times"};
        for (const std::string_view own : {verb.value, verb.extra})
            if (!own.empty())
                valid.push_back(own);
        throw FaultError(fmt::format("{}: {} does not take it; it takes {}", name, verb.name, fmt::join(valid, ", ")));
    }
    if (name == "text") {
        fault.text = text_of(name, value);
        return;
    }
    if (name == "joined") {
        fault.joined = bytes_of(name, value);
        return;
    }
    set_number(fault, *std::ranges::find(numbers, name, &NumberParameter::name), value);
}

// A value of the compact text: a number when it is one.
Json value_from(std::string_view name, std::string_view text) {
    const bool is_text = name == "text" || name == "joined" || name == "operation" || name == "verb";
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (is_text || error != std::errc{} || stopped != end)
        return Json(std::string(text));
    return Json(number);
}

// What stands before the separator, taken off the text together with it; all of it when there is none.
std::string_view take_until(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

std::string_view value_name(std::string_view verb) {
    const auto found = std::ranges::find(verbs, verb, &FaultVerb::name);
    if (found == verbs.end())
        return "value"; // the verb itself is what will be complained of
    if (found->value.empty())
        throw FaultError(fmt::format("{} takes no value", verb));
    return found->value;
}

Json json_from_compact(std::string_view text) {
    if (text.find(':') == std::string_view::npos)
        throw FaultError("expected OPERATION[@NTH]:VERB[=VALUE][,NAME=VALUE]...");
    Json json = Json::object();
    std::string_view which = take_until(text, ':');
    const std::string_view operation = take_until(which, '@');
    json["operation"] = operation.empty() ? "*" : std::string(operation);
    if (!which.empty())
        json["nth"] = value_from("nth", which);

    std::string_view verb_part = text.substr(0, text.find(','));
    text.remove_prefix(std::min(text.size(), verb_part.size() + 1));
    const bool has_value = verb_part.find('=') != std::string_view::npos;
    const std::string_view verb = take_until(verb_part, '=');
    json["verb"] = std::string(verb);
    if (has_value) {
        const std::string_view name = value_name(verb);
        json[std::string(name)] = value_from(name, verb_part);
    }
    while (!text.empty()) {
        const bool to_the_end = text.starts_with("text=");
        std::string_view value = to_the_end ? std::exchange(text, {}) : take_until(text, ',');
        const std::string_view name = take_until(value, '=');
        json[std::string(name)] = value_from(name, value);
    }
    return json;
}

// Carrying out.

using Frames = std::vector<std::string>;

constexpr std::size_t type_offset = 1;
constexpr std::size_t send_id_offset = 2;
constexpr std::size_t length_offset = 4;

void put_byte(std::string& frame, std::size_t at, std::uint8_t byte) {
    if (at < frame.size())
        frame[at] = std::bit_cast<char>(byte);
}

// A handler's answer need not be a message; then there is nothing in it to change.
template <class Change> void change_message(std::string& frame, Change change) {
    Decoded decoded = decode(frame);
    if (!decoded.message)
        return;
    change(*decoded.message);
    frame = encode(*decoded.message);
}

std::int32_t ack_tag(const Message& message) {
    return message.type == session_reply || message.kind == device_query ? 1 : 0;
}

void set_integer(Message& message, std::int32_t tag, std::int32_t value) {
    for (Item& item : message.items) {
        if (item.tag == tag) {
            item = Item::integer(tag, value);
            return;
        }
    }
}

// Keeps what says which request it answers, and puts the error in the place of the rest.
void turn_into_error(Message& message, const Fault& fault) {
    const bool query = message.has_body_prefix() && message.kind == device_query;
    const std::int32_t code_tag = message.type == session_reply ? 2 : query ? 3 : 1;
    std::erase_if(message.items,
                  [&](const Item& item) { return item.tag != ack_tag(message) && !(query && item.tag == 2); });
    message.items.push_back(Item::integer(code_tag, fault.code));
    message.items.push_back(Item::text(code_tag + 1, fault.text));
}

void change_items(std::string& frame, const Fault& fault) {
    switch (fault.verb) {
    case Verb::ack_code:
        change_message(frame, [&](Message& message) { set_integer(message, ack_tag(message), fault.code); });
        return;
    case Verb::error:
        change_message(frame, [&](Message& message) { turn_into_error(message, fault); });
        return;
    case Verb::missing_item:
        change_message(frame, [&](Message& message) {
            std::erase_if(message.items, [&](const Item& item) { return item.tag == fault.tag; });
        });
        return;
    case Verb::no_answer:
    case Verb::delay:
    case Verb::other_send_id:
    case Verb::message_type:
    case Verb::total_length:
    case Verb::split:
    case Verb::join:
    case Verb::hang_up_before:
    case Verb::hang_up_during:
    case Verb::hang_up_after:
        return;
    }
}

void change_header(std::string& frame, const Fault& fault) {
    switch (fault.verb) {
    case Verb::other_send_id: {
        const auto own = frame.size() > send_id_offset ? std::bit_cast<std::uint8_t>(frame[send_id_offset]) : 0;
        put_byte(frame, send_id_offset, fault.send_id.value_or(static_cast<std::uint8_t>(own + 1)));
        return;
    }
    case Verb::message_type:
        put_byte(frame, type_offset, fault.type);
        return;
    case Verb::total_length:
        put_byte(frame, length_offset, static_cast<std::uint8_t>(fault.length >> 8));
        put_byte(frame, length_offset + 1, static_cast<std::uint8_t>(fault.length & 0xff));
        return;
    case Verb::no_answer:
    case Verb::delay:
    case Verb::ack_code:
    case Verb::error:
    case Verb::missing_item:
    case Verb::split:
    case Verb::join:
    case Verb::hang_up_before:
    case Verb::hang_up_during:
    case Verb::hang_up_after:
        return;
    }
}

std::size_t cut_of(const Fault& fault, const std::string& frame) {
    return fault.offset == 0 ? frame.size() / 2 : std::min(fault.offset, frame.size());
}

void split_first(Delivery& delivery, const Fault& fault) {
    if (delivery.sends.empty())
        return;
    Delivery::Send& whole = delivery.sends.front();
    const std::size_t cut = cut_of(fault, whole.bytes);
    Delivery::Send rest{whole.bytes.substr(cut), whole.after + fault.delay};
    whole.bytes.resize(cut);
    if (!rest.bytes.empty())
        delivery.sends.insert(delivery.sends.begin() + 1, std::move(rest));
}

void change_sending(Delivery& delivery, const Fault& fault) {
    switch (fault.verb) {
    case Verb::no_answer:
        delivery.sends.clear();
        return;
    case Verb::delay:
        for (Delivery::Send& each : delivery.sends)
            each.after += fault.delay;
        return;
    case Verb::split:
        split_first(delivery, fault);
        return;
    case Verb::join:
        if (!delivery.sends.empty())
            delivery.sends.back().bytes +=
                fault.joined.empty() ? std::string(delivery.sends.back().bytes) : fault.joined;
        return;
    case Verb::hang_up_before:
        delivery.hang_up_first = true;
        return;
    case Verb::hang_up_during:
        if (!delivery.sends.empty()) {
            delivery.sends.resize(1);
            delivery.sends.front().bytes.resize(cut_of(fault, delivery.sends.front().bytes));
        }
        delivery.hang_up_last = true;
        return;
    case Verb::hang_up_after:
        delivery.hang_up_last = true;
        return;
    case Verb::other_send_id:
    case Verb::message_type:
    case Verb::ack_code:
    case Verb::error:
    case Verb::missing_item:
    case Verb::total_length:
        return;
    }
}

bool matches(const std::string& pattern, std::string_view operation) {
    if (pattern == "*")
        return true;
    if (pattern.ends_with(".*"))
        return operation.starts_with(std::string_view(pattern).substr(0, pattern.size() - 1));
    return pattern == operation;
}

} // namespace

std::span<const FaultVerb> fault_verbs() { return verbs; }

const FaultVerb& fault_verb(Fault::Verb verb) { return *std::ranges::find(verbs, verb, &FaultVerb::verb); }

Fault fault_from_json(const Json& json) {
    if (json.is_string())
        return parse_fault(json.get<std::string>());
    if (!json.is_object())
        throw FaultError(fmt::format("expected an object or a text, got {}", json.dump()));
    const FaultVerb& verb = verb_from(json);
    Fault fault;
    fault.verb = verb.verb;
    for (const auto& [name, value] : json.items())
        if (name != "verb")
            set_parameter(fault, verb, name, value);
    if (verb.needs_value && !json.contains(verb.value))
        throw FaultError(fmt::format("{} needs a {}", verb.name, verb.value));
    return fault;
}

Fault parse_fault(std::string_view text) { return fault_from_json(json_from_compact(text)); }

void Faults::add(Fault fault) {
    std::lock_guard guard(lock_);
    entries_.push_back({std::move(fault)});
    count_.store(entries_.size(), std::memory_order_relaxed);
}

void Faults::add(std::string_view text) { add(parse_fault(text)); }

void Faults::clear() {
    std::lock_guard guard(lock_);
    entries_.clear();
    count_.store(0, std::memory_order_relaxed);
}

std::size_t Faults::met() const {
    std::lock_guard guard(lock_);
    return met_;
}

std::vector<Fault> Faults::meet(std::string_view operation) {
    std::vector<Fault> faults;
    std::lock_guard guard(lock_);
    for (Entry& entry : entries_) {
        if (!matches(entry.fault.operation, operation))
            continue;
        ++entry.matched;
        const bool wanted = entry.fault.nth == 0 || entry.matched == entry.fault.nth;
        if (!wanted || (entry.fault.times != 0 && entry.used == entry.fault.times))
            continue;
        ++entry.used;
        ++met_;
        faults.push_back(entry.fault);
    }
    return faults;
}

Delivery deliver(Frames answer, const std::vector<Fault>& faults) {
    for (std::string& frame : answer) {
        for (const Fault& fault : faults)
            change_items(frame, fault);
        for (const Fault& fault : faults)
            change_header(frame, fault);
    }
    Delivery delivery;
    for (std::string& frame : answer)
        delivery.sends.push_back({std::move(frame)});
    for (const Fault& fault : faults)
        change_sending(delivery, fault);
    return delivery;
}

} // namespace sim
