// The router's VLANs. Values only.
#pragma once

#include <string>

namespace sim {

struct Vlan {
    std::string name{};
};

constexpr unsigned built_in_vlan = 1; // is always there

} // namespace sim
