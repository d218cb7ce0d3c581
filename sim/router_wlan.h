// The router's WLANs: how stations are let in, what is offered to them, and by which radio. Values only.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct SecurityProfile {
    std::string name{};
    bool wpa2 = false;
    std::optional<std::string> pass_phrase{}; // an empty one lets nobody in
};

struct ServiceSet {
    std::string name{};
    unsigned id = 0;
    std::string ssid{};
    std::string security_profile{}; // empty: open
    std::optional<unsigned> wlan_bss{};
};

// A service set on a radio.
struct RadioBinding {
    unsigned wlan = 0;
    unsigned service_set = 0; // its id
    bool operator==(const RadioBinding&) const = default;
};

struct Radio {
    std::string profile{};
    std::vector<RadioBinding> bindings{};
    bool operator==(const Radio&) const = default;
};

constexpr std::string_view radio_profile = "radiof"; // built in, and the only one
constexpr unsigned highest_service_set = 255;

} // namespace sim
