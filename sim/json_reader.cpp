#include "sim/json_reader.h"

#include <fmt/ranges.h>

#include "sim/scenario.h"

namespace sim {

void Node::fail(std::string_view what) const {
    throw ScenarioError(path.empty() ? std::string(what) : fmt::format("{}: {}", path, what));
}

void Node::fail_expected(std::string_view expected) const {
    fail(fmt::format("expected {}, got {}", expected,
                     json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)));
}

void check_names(const Node& object, const std::vector<std::string_view>& names) {
    if (!object.json.is_object())
        object.fail_expected("an object");
    for (const auto& [name, value] : object.json.items())
        if (std::ranges::find(names, name) == names.end())
            object.at(name).fail(fmt::format("no such field; there are {}", fmt::join(names, ", ")));
}

void require_fields(const Node& object, std::initializer_list<std::string_view> names) {
    for (const std::string_view name : names)
        if (!object.json.contains(name))
            object.fail(fmt::format("needs a field {}", name));
}

std::string text(const Node& node) {
    if (!node.json.is_string())
        node.fail_expected("a text");
    return node.json.get<std::string>();
}

std::string lines(const Node& node) {
    if (node.json.is_string())
        return node.json.get<std::string>();
    if (!node.json.is_array())
        node.fail_expected("a text or a list of lines");
    std::string all;
    each_of(node, [&](const Node& line) { all += text(line) + "\n"; });
    return all;
}

bool truth(const Node& node) {
    if (!node.json.is_boolean())
        node.fail_expected("true or false");
    return node.json.get<bool>();
}

std::int64_t whole_number(const Node& node, std::int64_t lowest, std::int64_t highest) {
    // A number too large for the signed type would be compared as a negative one.
    const bool too_large = node.json.is_number_unsigned() &&
                           node.json.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    if (!node.json.is_number_integer() || too_large || node.json < lowest || node.json > highest)
        node.fail_expected(fmt::format("a number from {} to {}", lowest, highest));
    return node.json.get<std::int64_t>();
}

std::uint32_t number32(const Node& node) {
    return static_cast<std::uint32_t>(whole_number(node, 0, std::numeric_limits<std::uint32_t>::max()));
}

std::int32_t signed32(const Node& node) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(whole_number(node, Limits::min(), Limits::max()));
}

} // namespace sim
