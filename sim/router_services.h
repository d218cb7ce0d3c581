// The router's services, for all of it and for one interface. Values only.
#pragma once

#include <string>
#include <vector>

namespace sim {

struct Services {
    bool dns_resolve = false;
    bool dns_proxy = false;
    bool dhcp = false;
    bool dot1x = false;
};

struct DhcpServer {
    bool selected = false; // hands out the addresses of the interface's own network
    std::vector<std::string> dns{};
    bool operator==(const DhcpServer&) const = default;
};

} // namespace sim
