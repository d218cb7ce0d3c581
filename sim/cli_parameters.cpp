#include "sim/cli_parameters.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <stdexcept>

#include <arpa/inet.h>
#include <fmt/format.h>

#include "sim/router.h"

namespace sim {

namespace {

constexpr std::size_t longest_name = 64;

// Programs look for "Vlan interface" and "Wlan-Bss interface" in the help.
constexpr std::array known_types{
    InterfaceType{"GigabitEthernet", "Ethernet interface", nullptr, false},
    InterfaceType{"Cellular", "Cellular interface", nullptr, false},
    InterfaceType{"Wlan-Radio", "Radio interface", nullptr, false},
    InterfaceType{"LoopBack", "Loopback interface", nullptr, true},
    InterfaceType{"NULL", "Null interface", nullptr, false},
    InterfaceType{"Vlanif", "Vlan interface", &RouterLimits::vlan_ids, true},
    InterfaceType{"Wlan-Bss", "Wlan-Bss interface", &RouterLimits::wlan_bss_ids, true},
};

char lower(char c) { return static_cast<char>(std::tolower(std::bit_cast<unsigned char>(c))); }

bool begins_like(std::string_view whole, std::string_view beginning) {
    return beginning.size() <= whole.size() &&
           std::ranges::equal(whole.substr(0, beginning.size()), beginning, {}, lower, lower);
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// "0" or "0/0/1"
bool is_interface_number(std::string_view text) {
    bool digit_before = false;
    for (const char c : text) {
        if (!is_digit(c) && !(c == '/' && digit_before))
            return false;
        digit_before = is_digit(c);
    }
    return digit_before;
}

// The one type that a word is, or is the beginning of; null when there is none or more than one.
const InterfaceType* meant_type(std::string_view word) {
    const InterfaceType* meant = nullptr;
    for (const InterfaceType& type : known_types) {
        if (!begins_like(type.name, word))
            continue;
        if (type.name.size() == word.size())
            return &type;
        if (meant != nullptr)
            return nullptr;
        meant = &type;
    }
    return meant;
}

std::optional<unsigned> number(std::string_view text) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

const RouterLimits& limits_of(const RouterState* router) {
    static const RouterLimits unlimited;
    return router != nullptr ? router->limits : unlimited;
}

HelpEntry number_entry(Range range, std::string_view help) {
    return {fmt::format("INTEGER<{}-{}>", range.low, range.high), std::string(help)};
}

std::optional<std::uint32_t> ip_number(std::string_view text) {
    in_addr address{};
    if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1)
        return std::nullopt;
    return ntohl(address.s_addr);
}

std::string dotted(std::uint32_t bits) {
    return fmt::format("{}.{}.{}.{}", bits >> 24, bits >> 16 & 0xff, bits >> 8 & 0xff, bits & 0xff);
}

std::optional<ParameterValue> one_token(std::span<const Token> tokens, bool (*valid)(std::string_view)) {
    if (!valid(tokens.front().text))
        return std::nullopt;
    return ParameterValue{std::string(tokens.front().text), 1};
}

std::optional<ParameterValue> read_interface_name(std::span<const Token> tokens) {
    const std::string_view first = tokens.front().text;
    if (const auto name = interface_name(first))
        return ParameterValue{*name, 1};
    if (tokens.size() < 2 || !is_interface_number(tokens[1].text))
        return std::nullopt;
    const auto name = interface_name(fmt::format("{}{}", first, tokens[1].text));
    return name ? std::optional(ParameterValue{*name, 2}) : std::nullopt;
}

// A type alone stands for all interfaces of it.
std::optional<ParameterValue> read_interfaces(std::span<const Token> tokens) {
    if (auto name = read_interface_name(tokens))
        return name;
    const InterfaceType* const type = meant_type(tokens.front().text);
    return type != nullptr ? std::optional(ParameterValue{std::string(type->name), 1}) : std::nullopt;
}

std::optional<ParameterValue> read_address(std::span<const Token> tokens) { return one_token(tokens, is_ip_address); }
std::optional<ParameterValue> read_mask(std::span<const Token> tokens) { return one_token(tokens, is_mask); }

std::optional<ParameterValue> read_name(std::span<const Token> tokens) {
    return one_token(tokens, [](std::string_view text) { return text.size() <= longest_name; });
}

// For what the command itself checks.
std::optional<ParameterValue> read_word(std::span<const Token> tokens) {
    return ParameterValue{std::string(tokens.front().text), 1};
}

// An empty one leaves nothing between its neighbours: then what follows it stands in its place, as the last but one.
std::optional<ParameterValue> read_pass_phrase(std::span<const Token> tokens) {
    if (tokens.size() == 2 && tokens.front().text == "encryption-method")
        return ParameterValue{{}, 0};
    return read_word(tokens);
}

std::optional<ParameterValue> read_text(std::span<const Token> tokens) {
    // The tokens are pieces of one line, so its rest reaches from the first to the end of the last.
    const char* const begin = tokens.front().text.data();
    const char* const end = tokens.back().text.data() + tokens.back().text.size();
    return ParameterValue{std::string(begin, end), tokens.size()};
}

} // namespace

struct Parameter::Kind {
    std::string_view word;
    std::string_view help;
    std::optional<ParameterValue> (*read)(std::span<const Token>);
};

std::span<const Parameter::Kind> Parameter::kinds() {
    static constexpr std::array all{
        Kind{"<interface-name>", "Type and number of an interface", read_interface_name},
        Kind{"<interfaces>", "Type of interfaces, or type and number of one", read_interfaces},
        Kind{"<ip-address>", "IP address, dotted", read_address},
        Kind{"<mask>", "Mask of the address, dotted", read_mask},
        Kind{"<name>", "A name of at most 64 characters", read_name},
        Kind{"<acl-name>", "Name of an ACL, at most 32 characters", read_word},
        Kind{"<apn>", "Access point name of the operator, at most 64 characters", read_word},
        Kind{"<pass-phrase>", "Pass phrase, 8 to 63 characters", read_pass_phrase},
        Kind{"<password>", "Password, at most 64 characters", read_word},
        Kind{"<phone-number>", "Number to dial, at most 30 characters", read_word},
        Kind{"<profile-name>", "Name of a profile, at most 32 characters", read_word},
        Kind{"<service-set-name>", "Name of a service set, at most 32 characters", read_word},
        Kind{"<user-name>", "Name of a user, at most 64 characters", read_word},
        Kind{"<vlan-name>", "Name of a VLAN, at most 32 characters", read_word},
        Kind{"<text>", "Text up to the end of the line", read_text},
    };
    return all;
}

namespace {

struct LimitedNumber {
    std::string_view word;
    std::string_view help;
    Range RouterLimits::*range;
};

constexpr std::array limited_numbers{
    LimitedNumber{"<vlan-id>", "Number of a VLAN", &RouterLimits::vlan_ids},
    LimitedNumber{"<wlan-bss-id>", "Number of a WLAN-BSS interface", &RouterLimits::wlan_bss_ids},
    LimitedNumber{"<wlan-id>", "Number of a WLAN on the radio", &RouterLimits::wlan_ids},
};

std::optional<Range> written_range(std::string_view word) {
    const std::string_view range = word.substr(1, word.size() - 2);
    const std::size_t dash = range.find('-');
    if (dash == std::string_view::npos)
        return std::nullopt;
    const auto low = number(range.substr(0, dash));
    const auto high = number(range.substr(dash + 1));
    return low && high ? std::optional(Range{*low, *high}) : std::nullopt;
}

} // namespace

Parameter::Parameter(std::string_view word, const RouterState* router) : word_(word), router_(router) {
    if (const auto known = std::ranges::find(kinds(), word, &Kind::word); known != kinds().end()) {
        kind_ = &*known;
        help_ = known->help;
        return;
    }
    if (const auto limited = std::ranges::find(limited_numbers, word, &LimitedNumber::word);
        limited != limited_numbers.end()) {
        range_ = limits_of(router).*limited->range;
        help_ = limited->help;
        return;
    }
    const auto range = written_range(word);
    if (!range)
        throw std::logic_error(fmt::format("{} is no kind of parameter", word));
    range_ = *range;
    help_ = "A number";
}

std::string Parameter::label() const {
    return kind_ != nullptr ? std::string(word_) : number_entry(range_, help_).word;
}

std::vector<HelpEntry> Parameter::entries() const {
    if (word_ != "<interface-name>" && word_ != "<interfaces>")
        return {{label(), std::string(help_)}};
    std::vector<HelpEntry> types;
    for (const InterfaceType& type : known_types) {
        const bool there = router_ != nullptr && std::ranges::any_of(router_->interfaces, [&](const Interface& each) {
                               return type_of(each.name) == &type;
                           });
        if (there || word_ == "<interface-name>")
            types.push_back({std::string(type.name), std::string(type.help)});
    }
    return types;
}

std::optional<HelpEntry> Parameter::continued(std::span<const Token> tokens) const {
    if ((word_ != "<interface-name>" && word_ != "<interfaces>") || tokens.size() != 1)
        return std::nullopt;
    const InterfaceType* const type = meant_type(tokens.front().text);
    if (type == nullptr)
        return std::nullopt;
    if (type->numbers == nullptr)
        return HelpEntry{"<number>", "Number of the interface, like 0/0/0 or 0"};
    return number_entry(limits_of(router_).*type->numbers, "Number of the interface");
}

std::optional<ParameterValue> Parameter::read(std::span<const Token> tokens) const {
    if (kind_ != nullptr)
        return kind_->read(tokens);
    const auto value = number(tokens.front().text);
    if (!value || !range_.has(*value))
        return std::nullopt;
    return ParameterValue{fmt::format("{}", *value), 1};
}

const InterfaceType* type_of(std::string_view interface) {
    const std::string_view type =
        interface.substr(0, std::min(interface.find_first_of("0123456789"), interface.size()));
    const auto found = std::ranges::find(known_types, type, &InterfaceType::name);
    return found == known_types.end() ? nullptr : &*found;
}

unsigned number_of(std::string_view interface) {
    const std::size_t first = interface.find_first_of("0123456789");
    return first == std::string_view::npos ? 0 : number(interface.substr(first)).value_or(0);
}

bool is_logical(std::string_view interface) {
    const InterfaceType* const type = type_of(interface);
    return type != nullptr && type->logical;
}

std::optional<std::string> interface_name(std::string_view type_and_number) {
    const std::size_t end = type_and_number.find_first_of("0123456789 ");
    if (end == 0 || end == std::string_view::npos)
        return std::nullopt;
    const InterfaceType* const type = meant_type(type_and_number.substr(0, end));
    std::string_view digits = type_and_number.substr(end);
    digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
    if (type == nullptr || !is_interface_number(digits))
        return std::nullopt;
    if (type->numbers == nullptr)
        return fmt::format("{}{}", type->name, digits);
    const auto plain = number(digits);
    return plain ? std::optional(fmt::format("{}{}", type->name, *plain)) : std::nullopt;
}

bool is_ip_address(std::string_view text) { return ip_number(text).has_value(); }

bool is_mask(std::string_view text) {
    const auto number = ip_number(text);
    return number && std::countl_one(*number) == std::popcount(*number);
}

std::string mask_of_length(unsigned length) { return dotted(length == 0 ? 0 : ~std::uint32_t{0} << (32 - length)); }

unsigned length_of_mask(const std::string& mask) {
    return static_cast<unsigned>(std::popcount(ip_number(mask).value_or(0)));
}

std::string network_of(const std::string& address, const std::string& mask) {
    return dotted(ip_number(address).value_or(0) & ip_number(mask).value_or(0));
}

} // namespace sim
