// What can be done to a running router from beside it: raise events, flood, hang up, and type at its console.
//
// A command is a line of words, its answer one line of JSON. Thread safe: one lock guards the console, which all share
// and which stays in its view between commands; the rest is the service's.
#pragma once

#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>

#include "sim/cli_engine.h"
#include "sim/service.h"

namespace sim {

class ControlCommands {
public:
    explicit ControlCommands(Service& service) : service_(service) {}

    // {"ok":true,"text":"..."}, with more where a command says so, or {"ok":false,"error":"..."}. The text is for
    // people. Returns soon after it is told to stop.
    std::string run(std::string_view line, std::stop_token stop = {});

    // One line a command.
    static std::string help();

private:
    friend struct ControlCommandTable;

    Service& service_;
    std::mutex console_lock_;
    CliSession console_;
};

} // namespace sim
