// Reads the scenario's "facts". Values only; no threads.
#pragma once

#include "sim/facts.h"
#include "sim/json_reader.h"

namespace sim {

void read_facts(Facts& facts, const Node& node);

} // namespace sim
