// Event handles from the application's side: taking one, adding subscriptions, registering its callback, freeing it.
#pragma once

#include <cstdint>

#include "qel_api.h"

std::int32_t vela_event_new_imp(std::uint32_t* evt_hdl);
std::int32_t vela_event_add_imp(std::uint32_t evt_hdl, std::int32_t kind, const char* tag, const void* para);
std::int32_t vela_event_reg_imp(std::uint32_t evt_hdl, fEventCallBack callback);
std::int32_t vela_event_free_imp(std::uint32_t evt_hdl);

// Tells the service where a registration begins (0), that it is finished (1), or that it is withdrawn (2).
std::uint32_t vela_ops_fileop(std::int32_t step);
std::uint32_t vela_event_reg_finish();
std::uint32_t vela_event_unreg();

// Hands the service a handle's correlation expression.
std::uint32_t vela_event_reg_correlate(const char* expression);
