// Start and stop of the maker's log library, libVelaLogAPI.so.
#pragma once

#include <cstdint>

// Hands the log library its configuration file, "/Vela-Quor.ini" beside the library itself. 0 on success.
std::int32_t init_log();

// Stops the log library. 0 on success.
std::int32_t release_log();
