// The kinds of parameter that command rows name: what each takes, and how "?" shows it. Constant; no threads.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/router_limits.h"

namespace sim {

struct RouterState;

struct Token {
    std::string_view text;
    std::size_t column;
};

struct ParameterValue {
    std::string text;   // as the command gets it
    std::size_t tokens; // how many it took
};

// A line of what "?" lists.
struct HelpEntry {
    std::string word;
    std::string help;
};

class Parameter {
public:
    // The kind that a row's word names; a word that names none is a mistake in a table and throws std::logic_error.
    // The router tells the limits of the numbers; without one they are those of a router as it leaves the box.
    explicit Parameter(std::string_view word, const RouterState* router = nullptr);

    static bool is(std::string_view word) { return word.starts_with('<'); }
    bool takes_the_rest() const { return word_ == "<text>"; }

    std::string label() const; // what "?" shows in its place
    std::string_view help() const { return help_; }
    std::vector<HelpEntry> entries() const; // what "?" lists in its place
    // What "?" lists behind tokens that are the beginning of such a value; nothing when they are none.
    std::optional<HelpEntry> continued(std::span<const Token> tokens) const;
    // Nothing when the tokens do not begin with such a value.
    std::optional<ParameterValue> read(std::span<const Token> tokens) const;

private:
    struct Kind;
    static std::span<const Kind> kinds();

    std::string_view word_;
    std::string_view help_;
    const RouterState* router_;
    const Kind* kind_ = nullptr; // null: a number in a range
    Range range_{};
};

struct InterfaceType {
    std::string_view name;
    std::string_view help;
    Range RouterLimits::*numbers; // null: the hardware's numbers, or any
    bool logical;                 // its interfaces exist by being named; those of the others are built in
};

// An interface's type and number; null and 0 when it has no such type or number.
const InterfaceType* type_of(std::string_view interface);
unsigned number_of(std::string_view interface);
bool is_logical(std::string_view interface);

// The router's own spelling of an interface's name, from any unambiguous beginning of its type, in any case, with or
// without a blank before the number; nothing when there is no such type.
std::optional<std::string> interface_name(std::string_view type_and_number);

// Dotted, or nothing. A mask has its ones in front.
bool is_ip_address(std::string_view text);
bool is_mask(std::string_view text);
std::string mask_of_length(unsigned length);
unsigned length_of_mask(const std::string& mask);
// The address without the bits that the mask leaves to the hosts.
std::string network_of(const std::string& address, const std::string& mask);

} // namespace sim
