// What the router knows of dialling: the operator's access points, and how an interface dials. Values only.
#pragma once

#include <optional>
#include <string>

namespace sim {

struct ApnProfile {
    std::string name{};
    std::string apn{};
    std::string user{}; // empty when there are no credentials
    std::string password{};
    std::string authentication_mode{};
};

struct Dialing {
    bool circular = false;
    std::optional<unsigned> group{};
    std::string apn_profile{}; // stays when the profile is removed
    std::string number{};
    bool autodial = false;
    bool operator==(const Dialing&) const = default;
};

} // namespace sim
