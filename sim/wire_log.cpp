#include "sim/wire_log.h"

#include <bit>
#include <chrono>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "sim/operations.h"

namespace sim {

namespace {

using Json = nlohmann::ordered_json;

std::string time_of_day() {
    const auto now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    return fmt::format("{:%H:%M:%S}.{:06}", fmt::gmtime(std::chrono::system_clock::to_time_t(second)),
                       (now - second).count());
}

// The length of the message the bytes begin with, or all of them when they begin with none.
std::size_t first_frame(std::string_view bytes) {
    if (bytes.size() < head_size)
        return bytes.size();
    const auto high = std::bit_cast<std::uint8_t>(bytes[4]);
    const auto low = std::bit_cast<std::uint8_t>(bytes[5]);
    const auto total = static_cast<std::size_t>(high << 8 | low);
    return total < head_size || total > bytes.size() ? bytes.size() : total;
}

bool is_utf8(const std::string& text) {
    // The library's own check: writing out a text that is none is an error.
    try {
        return !Json(text).dump().empty();
    } catch (const Json::type_error&) {
        return false;
    }
}

Json item_json(const Item& item) {
    Json json{{"tag", item.tag}};
    const Look look = look_of(item);
    if (look == Look::number)
        json["int"] = *item.as_int();
    else if (look == Look::text && is_utf8(*item.as_text()))
        json["text"] = *item.as_text();
    else
        json["hex"] = hex(item.value);
    return json;
}

std::string_view arrow(Direction direction) { return direction == Direction::from_client ? "->" : "<-"; }
std::string_view word(Direction direction) { return direction == Direction::from_client ? "request" : "reply"; }

} // namespace

nlohmann::ordered_json to_json(const Message& message) {
    Json json{{"type", message.type}, {"id", message.send_id}, {"session", message.session_id}};
    if (const Operation* operation = operation_of(message))
        json["operation"] = operation->name;
    if (message.has_body_prefix())
        json["kind"] = message.kind;
    json["items"] = Json::array();
    for (const Item& item : message.items)
        json["items"].push_back(item_json(item));
    return json;
}

void WireLog::message(Direction direction, int client, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = first_frame(bytes);
        frame(direction, client, bytes.substr(0, length));
        bytes.remove_prefix(length);
    }
}

void WireLog::frame(Direction direction, int client, std::string_view bytes) {
    const Decoded decoded = decode(bytes);
    std::lock_guard guard(lock_);
    if (format_ == Format::lines) {
        const std::string text = decoded.message
                                     ? describe(*decoded.message)
                                     : fmt::format("{} {}", arrow(direction), describe_broken(bytes, decoded.error));
        sink_(fmt::format("{} #{} {}\n", time_of_day(), client, text));
        return;
    }
    Json json{{"time", time_of_day()}, {"client", client}, {"direction", word(direction)}};
    if (decoded.message)
        json.update(to_json(*decoded.message));
    else
        json.update(Json{{"error", decoded.error}, {"hex", hex(bytes)}});
    sink_(json.dump() + "\n");
}

void WireLog::note(int client, std::string_view text) {
    std::lock_guard guard(lock_);
    if (format_ == Format::lines)
        sink_(fmt::format("{} #{} -- {}\n", time_of_day(), client, text));
    else
        sink_(Json{{"time", time_of_day()}, {"client", client}, {"note", text}}.dump() + "\n");
}

} // namespace sim
