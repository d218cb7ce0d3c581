// The CLI channel: at most one in a process, kept in g_bCliIsOpen and g_uiCliHdl.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

std::uint32_t vela_cli_open_imp(std::uint32_t* cli_hdl);
std::int32_t vela_cli_execute_imp(std::uint32_t cli_hdl, const char* command, const char* choice, char** result);
std::int32_t vela_cli_save_imp();

// Runs a command that holds a secret: where the router refuses it, the record shows "*******" in the secret's place, in
// what the router said too, and so for each word of a secret with blanks.
std::int32_t vela_cli_execute_hiding(std::uint32_t cli_hdl, const char* command, const char* secret);
std::uint32_t vela_cli_close_imp(std::uint32_t cli_hdl);

// A kept variant of execute that insists on a result pointer and sends the pairs sorted by key. Nothing calls it.
std::uint32_t vela_cli_execute_imp_back(std::uint32_t cli_hdl, const char* command, const char* choice, char** result);

// Splits a choice string into key, value, key, value ... The quotes count, four to a pair; whatever stands between is
// ignored. No pairs when the number of quotes is odd; a last key without a value is ignored.
std::vector<std::string> parse_s_vector(const char* choice);

// The same, sorted by key; a repeated key keeps its last value.
std::map<std::string, std::string> parse_s(const char* choice);
