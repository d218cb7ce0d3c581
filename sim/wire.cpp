#include "sim/wire.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>

#include <fmt/format.h>

#include "sim/operations.h"

namespace sim {

namespace {

void put_byte(std::string& out, std::uint8_t byte) { out.push_back(std::bit_cast<char>(byte)); }

void put_net16(std::string& out, std::size_t value) {
    put_byte(out, static_cast<std::uint8_t>(value >> 8 & 0xff));
    put_byte(out, static_cast<std::uint8_t>(value & 0xff));
}

void put_host32(std::string& out, std::int32_t value) {
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    out.append(bytes, sizeof bytes);
}

std::uint8_t byte_at(std::string_view bytes, std::size_t at) { return std::bit_cast<std::uint8_t>(bytes[at]); }

std::uint16_t net16_at(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint16_t>(byte_at(bytes, at) << 8 | byte_at(bytes, at + 1));
}

std::int32_t host32_at(std::string_view bytes, std::size_t at) {
    std::int32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

// What can be read of the header; a frame that is cut short leaves the rest as it is.
Message read_head(std::string_view frame) {
    Message head;
    if (frame.size() < head_size)
        return head;
    head.version = byte_at(frame, 0);
    head.type = byte_at(frame, 1);
    head.send_id = byte_at(frame, 2);
    head.reserved = byte_at(frame, 3);
    head.session_id = net16_at(frame, 6);
    if (head.has_body_prefix() && frame.size() >= head_size + body_prefix_size) {
        head.kind = byte_at(frame, 8);
        head.kind_second = byte_at(frame, 9);
    }
    return head;
}

// Empty when the items fill the bytes exactly, else what is wrong.
std::string read_items(std::string_view bytes, std::size_t offset, std::vector<Item>& items) {
    while (!bytes.empty()) {
        if (bytes.size() < item_head_size)
            return fmt::format("{} bytes at offset {} are too few for an item", bytes.size(), offset);
        const std::int32_t tag = host32_at(bytes, 0);
        const std::int32_t length = host32_at(bytes, 4);
        if (length < 0)
            return fmt::format("item {} at offset {} has length {}", tag, offset, length);
        const auto size = static_cast<std::size_t>(length);
        if (size > bytes.size() - item_head_size)
            return fmt::format("item {} at offset {} says {} bytes where {} are left", tag, offset, size,
                               bytes.size() - item_head_size);
        items.push_back({tag, std::string(bytes.substr(item_head_size, size))});
        bytes.remove_prefix(item_head_size + size);
        offset += item_head_size + size;
    }
    return {};
}

bool is_shown_as_itself(char c) { return (c >= ' ' && c != 0x7f) || std::bit_cast<signed char>(c) < 0; }
bool is_text(char c) { return is_shown_as_itself(c) || c == '\n' || c == '\r' || c == '\t'; }

std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        default:
            out += c;
        }
    }
    return out + '"';
}

std::string value_text(const Item& item) {
    switch (look_of(item)) {
    case Look::number:
        return fmt::format("{}", *item.as_int());
    case Look::text:
        return quoted(*item.as_text());
    case Look::bytes:
        return fmt::format("x'{}'", hex(item.value));
    }
    return {};
}

std::string type_name(const Message& message) {
    switch (message.type) {
    case session_request:
        return "-> session 1";
    case session_reply:
        return "<- session 2";
    case operation_request:
        return "-> op 11";
    case operation_reply:
        return message.kind == event_notification ? "<- event 12" : "<- op 12";
    default:
        return fmt::format("?? type {}", message.type);
    }
}

} // namespace

Item Item::integer(std::int32_t tag, std::int32_t value) {
    Item item{tag, {}};
    put_host32(item.value, value);
    return item;
}

Item Item::u32(std::int32_t tag, std::uint32_t value) { return integer(tag, std::bit_cast<std::int32_t>(value)); }

Item Item::text(std::int32_t tag, std::string_view text) {
    Item item{tag, std::string(text)};
    item.value.push_back('\0');
    return item;
}

Item Item::raw(std::int32_t tag, std::string bytes) { return {tag, std::move(bytes)}; }

std::optional<std::int32_t> Item::as_int() const {
    if (value.size() != sizeof(std::int32_t))
        return std::nullopt;
    return host32_at(value, 0);
}

std::optional<std::string> Item::as_text() const {
    if (value.empty() || value.find('\0') != value.size() - 1)
        return std::nullopt;
    return value.substr(0, value.size() - 1);
}

const Item* Message::find(std::int32_t tag) const {
    const auto found = std::ranges::find(items, tag, &Item::tag);
    return found == items.end() ? nullptr : &*found;
}

std::optional<std::int32_t> Message::integer(std::int32_t tag) const {
    const Item* item = find(tag);
    return item == nullptr ? std::nullopt : item->as_int();
}

std::optional<std::string> Message::text(std::int32_t tag) const {
    const Item* item = find(tag);
    return item == nullptr ? std::nullopt : item->as_text();
}

std::string encode(const Message& message) {
    std::size_t items_size = 0;
    for (const Item& item : message.items)
        items_size += item_head_size + item.value.size();
    const std::size_t prefix = message.has_body_prefix() ? body_prefix_size : 0;
    const std::size_t total = head_size + prefix + items_size;

    std::string out;
    out.reserve(total);
    put_byte(out, message.version);
    put_byte(out, message.type);
    put_byte(out, message.send_id);
    put_byte(out, message.reserved);
    put_net16(out, message.total_length.value_or(static_cast<std::uint16_t>(total)));
    put_net16(out, message.session_id);
    if (prefix != 0) {
        put_byte(out, message.kind);
        put_byte(out, message.kind_second);
        put_net16(out, message.body_length.value_or(static_cast<std::uint16_t>(prefix + items_size)));
    }
    for (const Item& item : message.items) {
        put_host32(out, item.tag);
        put_host32(out, static_cast<std::int32_t>(item.value.size()));
        out += item.value;
    }
    return out;
}

Decoded decode(std::string_view frame) {
    Decoded result;
    result.head = read_head(frame);
    if (frame.size() < head_size) {
        result.error = fmt::format("{} bytes are too few for a header", frame.size());
        return result;
    }
    const std::size_t total = net16_at(frame, 4);
    if (total < head_size || total > max_message_size) {
        result.error = fmt::format("total length {} is outside {} to {}", total, head_size, max_message_size);
        return result;
    }
    if (total != frame.size()) {
        result.error = fmt::format("total length {} where there are {} bytes", total, frame.size());
        return result;
    }

    std::size_t offset = head_size;
    if (result.head.has_body_prefix()) {
        offset += body_prefix_size;
        if (frame.size() < offset) {
            result.error = fmt::format("{} bytes are too few for the body's fixed part", frame.size());
            return result;
        }
        const std::size_t body = net16_at(frame, 10);
        if (body != total - head_size) {
            result.error = fmt::format("body length {} where there are {} bytes", body, total - head_size);
            return result;
        }
    }
    Message message = result.head;
    result.error = read_items(frame.substr(offset), offset, message.items);
    if (result.error.empty())
        result.message = std::move(message);
    return result;
}

Look look_of(const Item& item) {
    const auto text = item.as_text();
    if (text && std::ranges::all_of(*text, is_text))
        return Look::text;
    return item.as_int() ? Look::number : Look::bytes;
}

std::string hex(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const char c : bytes)
        fmt::format_to(std::back_inserter(out), "{:02x}", std::bit_cast<std::uint8_t>(c));
    return out;
}

std::optional<std::string> from_hex(std::string_view digits) {
    std::string out;
    int high = -1;
    for (const char c : digits) {
        if (c == ' ')
            continue;
        if (std::isxdigit(std::bit_cast<unsigned char>(c)) == 0)
            return std::nullopt;
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        if (high < 0) {
            high = digit;
            continue;
        }
        put_byte(out, static_cast<std::uint8_t>(high * 16 + digit));
        high = -1;
    }
    if (high >= 0)
        return std::nullopt;
    return out;
}

std::string describe(const Message& message) {
    std::string line = fmt::format("{} id={} session={}", type_name(message), message.send_id, message.session_id);
    if (const Operation* operation = operation_of(message))
        fmt::format_to(std::back_inserter(line), " {}", operation->name);
    else if (message.has_body_prefix())
        fmt::format_to(std::back_inserter(line), " kind={}", message.kind);
    if (message.version != 1 || message.reserved != 0)
        fmt::format_to(std::back_inserter(line), " version={} reserved={}", message.version, message.reserved);
    if (!message.items.empty())
        line += ' ';
    for (const Item& item : message.items)
        fmt::format_to(std::back_inserter(line), " {}:{}", item.tag, value_text(item));
    return line;
}

std::string describe_broken(std::string_view frame, std::string_view error) {
    constexpr std::size_t shown = 32;
    return fmt::format("!! {} bytes, {}: x'{}{}'", frame.size(), error, hex(frame.substr(0, shown)),
                       frame.size() > shown ? ".." : "");
}

} // namespace sim
