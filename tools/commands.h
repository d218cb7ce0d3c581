// The commands, a file for each family. Each function here declares a command's options and returns what runs it; main
// has the table of them.
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

namespace qel {

// What every command is told.
struct Context {
    std::string client = "qel";
    bool json = false;
};

using Action = std::function<void(const Context&)>;

Action version_command(CLI::App& app);
Action exec_command(CLI::App& app);
Action save_command(CLI::App& app);
Action facts_command(CLI::App& app);
Action sip_get_command(CLI::App& app);
Action sip_set_command(CLI::App& app);
Action snmp_get_command(CLI::App& app);
Action snmp_next_command(CLI::App& app);
Action snmp_walk_command(CLI::App& app);
Action syslog_command(CLI::App& app);
Action events_command(CLI::App& app);
Action cellular_up_command(CLI::App& app);
Action cellular_down_command(CLI::App& app);
Action wlan_create_command(CLI::App& app);
Action wlan_delete_command(CLI::App& app);

// For help: every fact's name and what it is, a line each.
std::string facts_help();

} // namespace qel
