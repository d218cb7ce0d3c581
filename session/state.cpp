#include "session/state.h"

Relaxed<std::uint8_t> g_bVelaIsInit;
Relaxed<std::uint8_t> g_bSessionIsOpen;
Relaxed<std::uint16_t> g_sessionId;
Relaxed<std::uint8_t> g_sendId = 1;
Relaxed<std::uint8_t> g_bCliIsOpen;
Relaxed<std::uint32_t> g_uiCliHdl;
char file_name[kClientNameSize];
Relaxed<const char*> py_file;

std::uint8_t take_send_id() {
    const std::uint8_t id = g_sendId;
    g_sendId = static_cast<std::uint8_t>(id + 1);
    return id;
}
