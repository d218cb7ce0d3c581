// A configuration as text, as "display current-configuration" prints it: loaded, it is the router's whole
// configuration. No state; no threads.
#pragma once

#include <stdexcept>
#include <string>

#include "sim/router.h"

namespace sim {

// what() tells the line and what is wrong with it, and the file if there is one.
class ConfigurationError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Replaces everything that is configured; what is built in stays. The text may name what is not there where the router
// keeps such a name itself: an APN profile or an access list that has been removed. After an error the router is left
// with the lines before it.
void load_configuration(RouterState& router, const std::string& text);
void load_configuration_file(RouterState& router, const std::string& path);

} // namespace sim
