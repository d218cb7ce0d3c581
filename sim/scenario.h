// A scenario: what the router is at the start and which faults it has, from a JSON file. Values only; no threads.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "sim/faults.h"
#include "sim/router.h"

namespace sim {

struct Scenario {
    RouterState router;
    std::vector<Fault> faults;
};

// what() names the field and what would be valid there, and the file if there is one.
class ScenarioError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Files that it names lie in the directory, or in the working directory when that is empty.
Scenario scenario_from_json(const nlohmann::json& json, const std::string& directory = {});
Scenario load_scenario(const std::string& path);

} // namespace sim
