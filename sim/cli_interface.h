// What the interface commands share with the commands for one kind of interface. No state of its own.
#pragma once

#include <string>

#include "sim/cli_engine.h"

namespace sim {

View interface_view(const std::string& interface);
Interface& interface_here(CliContext& context); // whose view it is
ConfigSection interface_section(const Interface& interface);

} // namespace sim
