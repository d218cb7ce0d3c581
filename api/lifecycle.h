// Start and stop of the library.
#pragma once

#include <cstdint>

std::int32_t vela_init_imp();
std::int32_t vela_release_imp();
