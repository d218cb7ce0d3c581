#include "sim/snmp_mib.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sim/cli_parameters.h"
#include "sim/snmp_default.h"
#include "sim/wire.h"

namespace sim {

namespace {

constexpr std::size_t most_numbers = 128;
constexpr std::size_t longest_text = 6000; // with its OID it fits one message

// What stands before the separator, taken off the text together with it; all of it when there is none.
std::string_view take_until(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

// From the recording's value to the text; nothing when the value is none of that type.
using Reader = std::optional<std::string> (*)(std::string_view value);

template <class Number> std::optional<Number> number(std::string_view text) {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stopped == end ? std::optional(value) : std::nullopt;
}

template <class Number> std::optional<std::string> decimal(std::string_view value) {
    const auto read = number<Number>(value);
    return read ? std::optional(fmt::format("{}", *read)) : std::nullopt;
}

std::optional<std::string> as_it_stands(std::string_view value) { return std::string(value); }

bool is_printable(char c) { return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t'; }

std::optional<std::string> from_octets(std::string_view value) {
    auto octets = from_hex(value);
    if (!octets || std::ranges::all_of(*octets, is_printable))
        return octets;
    std::vector<std::string> pairs;
    for (const char octet : *octets)
        pairs.push_back(hex({&octet, 1}));
    return fmt::format("{}", fmt::join(pairs, ":"));
}

std::optional<std::string> nothing(std::string_view value) {
    return value.empty() ? std::optional(std::string()) : std::nullopt;
}

std::optional<std::string> from_oid(std::string_view value) {
    const auto oid = parse_oid(value);
    return oid ? std::optional(to_text(*oid)) : std::nullopt;
}

std::optional<std::string> from_address(std::string_view value) {
    return is_ip_address(value) ? std::optional(std::string(value)) : std::nullopt;
}

std::optional<std::string> from_address_octets(std::string_view value) {
    const auto octets = from_hex(value);
    if (!octets || octets->size() != 4)
        return std::nullopt;
    std::array<std::uint8_t, 4> numbers{};
    std::memcpy(numbers.data(), octets->data(), numbers.size());
    return fmt::format("{}", fmt::join(numbers, "."));
}

struct Type {
    std::string_view code;
    std::string_view expected;
    Reader read;
};

constexpr std::string_view unsigned32 = "a number from 0 to 4294967295";

constexpr std::array types{
    Type{"2", "a number from -2147483648 to 2147483647", decimal<std::int32_t>},
    Type{"4", "a text", as_it_stands},
    Type{"4x", "hexadecimal digits in pairs", from_octets},
    Type{"5", "nothing", nothing},
    Type{"6", "an OID like 1.3.6.1", from_oid},
    Type{"64", "a dotted IP address", from_address},
    Type{"64x", "four bytes in hexadecimal", from_address_octets},
    Type{"65", unsigned32, decimal<std::uint32_t>},
    Type{"66", unsigned32, decimal<std::uint32_t>},
    Type{"67", unsigned32, decimal<std::uint32_t>},
    Type{"70", "a number from 0 to 18446744073709551615", decimal<std::uint64_t>},
};

const Type& type_of(std::string_view code) {
    const auto found = std::ranges::find(types, code, &Type::code);
    if (found != types.end())
        return *found;
    std::vector<std::string_view> codes;
    std::ranges::transform(types, std::back_inserter(codes), &Type::code);
    throw RecordingError(fmt::format("type \"{}\" is none of {}", code, fmt::join(codes, ", ")));
}

struct Line {
    Oid oid;
    std::string text;
};

Line parse_line(std::string_view line) {
    if (std::ranges::count(line, '|') < 2)
        throw RecordingError("expected OID|type|value");
    const std::string_view oid_text = take_until(line, '|');
    const auto oid = parse_oid(oid_text);
    if (!oid)
        throw RecordingError(fmt::format("\"{}\" is no OID like 1.3.6.1", oid_text));
    const Type& type = type_of(take_until(line, '|'));
    auto text = type.read(line);
    if (!text || text->find('\0') != std::string::npos)
        throw RecordingError(fmt::format("a value of type {} is {}, got \"{}\"", type.code, type.expected, line));
    if (text->size() > longest_text)
        throw RecordingError(fmt::format("a value's text has at most {} characters", longest_text));
    return {*oid, *std::move(text)};
}

} // namespace

std::optional<Oid> parse_oid(std::string_view text) {
    if (text.starts_with('.'))
        text.remove_prefix(1);
    if (text.empty() || text.ends_with('.'))
        return std::nullopt;
    Oid oid;
    while (!text.empty()) {
        const auto next = number<std::uint32_t>(take_until(text, '.'));
        if (!next || oid.size() == most_numbers)
            return std::nullopt;
        oid.push_back(*next);
    }
    return oid;
}

std::string to_text(const Oid& oid) { return fmt::format("{}", fmt::join(oid, ".")); }

void Mib::read(std::istream& recording, const std::string& name) {
    std::set<Oid> here;
    std::size_t at = 0;
    for (std::string line; std::getline(recording, line);) {
        ++at;
        if (line.ends_with('\r'))
            line.pop_back();
        if (line.empty() || line.starts_with('#'))
            continue;
        try {
            Line object = parse_line(line);
            if (!here.insert(object.oid).second)
                throw RecordingError(fmt::format("{} is there already", to_text(object.oid)));
            objects_.insert_or_assign(std::move(object.oid), std::move(object.text));
        } catch (const RecordingError& error) {
            throw RecordingError(fmt::format("{}:{}: {}", name, at, error.what()));
        }
    }
}

void Mib::read_file(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        throw RecordingError(fmt::format("{}: cannot be read: {}", path, std::strerror(errno)));
    read(file, path);
    if (file.bad())
        throw RecordingError(fmt::format("{}: cannot be read", path));
}

void Mib::read_line(std::string_view line) {
    Line object = parse_line(line);
    objects_.insert_or_assign(std::move(object.oid), std::move(object.text));
}

const std::string* Mib::get(const Oid& oid) const {
    const auto found = objects_.find(oid);
    return found == objects_.end() ? nullptr : &found->second;
}

const Mib::Objects::value_type* Mib::next(const Oid& after) const {
    const auto found = objects_.upper_bound(after);
    return found == objects_.end() ? nullptr : &*found;
}

std::shared_ptr<const Mib> default_mib() {
    static const std::shared_ptr<const Mib> view = [] {
        std::istringstream recording(default_recording);
        auto mib = std::make_shared<Mib>();
        mib->read(recording, "default.snmprec");
        return mib;
    }();
    return view;
}

} // namespace sim
