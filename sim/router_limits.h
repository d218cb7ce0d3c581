// How much the router can hold: the numbers that its objects can have, and how many there can be. Values only.
#pragma once

namespace sim {

struct Range {
    unsigned low = 0;
    unsigned high = 0;
    bool has(unsigned number) const { return low <= number && number <= high; }
    bool operator==(const Range&) const = default;
};

struct RouterLimits {
    Range vlan_ids{1, 4094};
    Range wlan_bss_ids{1, 31};
    Range wlan_ids{1, 16};                // under which a radio offers service sets
    unsigned acls = 1000;                 // named ones
    unsigned service_sets_per_radio = 16; // bound at the same time
};

} // namespace sim
