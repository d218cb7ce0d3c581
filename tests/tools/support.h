// Runs qel on a private router.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/sim/process.h"
#include "tests/sim/support.h"

namespace qel::test {

using ::sim::test::Finished;
using ::sim::test::Process;
using ::sim::test::TempDir;
using Words = std::vector<std::string>;

inline const std::string program = QEL_PROGRAM;

// A command on a router with these options.
inline Words on_router(const Words& command, const Words& options = {}) {
    Words words{SIM_PROGRAM, "run"};
    words.insert(words.end(), options.begin(), options.end());
    words.emplace_back("--");
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

inline Words qel_on_router(const Words& arguments, const Words& options = {}) {
    Words command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return on_router(command, options);
}

inline Finished qel(const Words& arguments, const Words& options = {}) {
    return ::sim::test::run_program(qel_on_router(arguments, options));
}

// A shell script, in which "qel" and "qel-sim" are these programs.
inline Finished script(const std::string& text, const Words& options = {}) {
    const std::string names = R"(qel=$1 sim=$2; qel() { "$qel" "$@"; }; qel-sim() { "$sim" "$@"; })";
    return ::sim::test::run_program(
        on_router({"bash", "-c", names + "\n" + text, "bash", program, SIM_PROGRAM}, options));
}

inline std::string contents(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<nlohmann::json> documents(const std::string& lines) {
    std::vector<nlohmann::json> parsed;
    std::istringstream text(lines);
    for (std::string line; std::getline(text, line);)
        parsed.push_back(nlohmann::json::parse(line));
    return parsed;
}

} // namespace qel::test
