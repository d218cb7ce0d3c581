// The router's advanced access lists: named by the administrator, numbered by the router. Values only.
#pragma once

#include <map>
#include <string>

namespace sim {

struct Acl {
    std::string name{};
    unsigned number = 0;
    std::map<unsigned, std::string> rules{}; // by number: "permit ip"
};

constexpr unsigned lowest_acl_number = 3000;
constexpr unsigned highest_acl_number = 3999; // given first; then downwards

} // namespace sim
