// What the benchmarks' router prints while a provisioning recipe runs: for each script the commands that have an
// output. The texts lead every recipe the longest way, to all of its commands and through all of its scans.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bench {

struct Script {
    const char* name; // the recipe's, and of what
    std::vector<std::pair<std::string, std::string>> outputs;
};

const std::vector<Script>& scripts();

} // namespace bench
