// Reads JSON into values, one table of fields for each kind of object, and says where in the file something is wrong.
//
// Every read_... of a scenario is made of these. Values only; no threads.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace sim {

// A value together with its place in the file, for the errors, which are ScenarioErrors.
struct Node {
    const nlohmann::json& json;
    std::string path;
    std::string directory; // where the files that are named in it lie

    Node at(const std::string& name) const { return {json[name], path.empty() ? name : path + "." + name, directory}; }
    Node at(std::size_t index) const { return {json[index], fmt::format("{}[{}]", path, index), directory}; }

    [[noreturn]] void fail(std::string_view what) const;
    [[noreturn]] void fail_expected(std::string_view expected) const;
};

// A field of an object: what reads it into what the object describes.
template <class Target> struct Field {
    std::string_view name;
    void (*read)(Target&, const Node&);
};

template <class Target, class Value> Target target_of(Value Target::*); // not defined

// The row for a field that is a member: Read makes the member's value.
template <auto Member, auto Read> constexpr auto field(std::string_view name) {
    using Target = decltype(target_of(Member));
    return Field<Target>{name, [](Target& to, const Node& node) { to.*Member = Read(node); }};
}

void check_names(const Node& object, const std::vector<std::string_view>& names);

template <class Target, std::size_t N>
void read_object(const Node& node, const Field<Target> (&fields)[N], Target& target) {
    std::vector<std::string_view> names;
    std::ranges::transform(fields, std::back_inserter(names), &Field<Target>::name);
    check_names(node, names);
    // In the table's order, since some fields build on others.
    for (const Field<Target>& field : fields)
        if (node.json.contains(field.name))
            field.read(target, node.at(std::string(field.name)));
}

// Fails unless the object has all of these.
void require_fields(const Node& object, std::initializer_list<std::string_view> names);

template <class Read> void each_of(const Node& node, Read read) {
    if (!node.json.is_array())
        node.fail_expected("a list");
    for (std::size_t i = 0; i < node.json.size(); ++i)
        read(node.at(i));
}

std::string text(const Node& node);
std::string lines(const Node& node); // one text, or a list of lines
bool truth(const Node& node);
std::int64_t whole_number(const Node& node, std::int64_t lowest, std::int64_t highest);
std::uint32_t number32(const Node& node);
std::int32_t signed32(const Node& node);

} // namespace sim
