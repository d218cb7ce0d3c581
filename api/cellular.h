// The cellular interface as the uplink of the default route.
#pragma once

#include <cstdint>

#include "qel_api.h"

std::int32_t vela_cellular_open_imp(const char* interface_name, const char* apn, const char* user_name,
                                    const char* password, tagCELLULAR_AUTH_MODE auth_mode);
std::int32_t vela_cellular_close_imp(const char* interface_name);
