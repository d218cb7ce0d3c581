// Session control.
#pragma once

#include <cstdint>

#include "qel_api.h"

std::int32_t vela_session_open_imp(const tagVELA_SESSION_CFG_T* cfg, std::uint32_t* session_hdl);
std::int32_t vela_session_close_imp(std::uint32_t session_hdl);
std::int32_t vela_session_keepalive_imp(std::uint32_t session_hdl);
