// The process-wide state: one session, one CLI channel, one client name. Plain values without a lock; the library
// expects one thread to start, open, close and release, and the socket reader clears the flags on disconnect.
#pragma once

#include <cstdint>

#include "common/client_name.h"
#include "common/relaxed.h"

extern Relaxed<std::uint8_t> g_bVelaIsInit;
extern Relaxed<std::uint8_t> g_bSessionIsOpen;
extern Relaxed<std::uint16_t> g_sessionId; // granted by the service; the low 16 bits of the session handle
extern Relaxed<std::uint8_t> g_sendId;     // of the next request; wraps through 0
extern Relaxed<std::uint8_t> g_bCliIsOpen;
extern Relaxed<std::uint32_t> g_uiCliHdl; // of the channel opened last; never cleared
extern char file_name[kClientNameSize];
extern Relaxed<const char*> py_file; // file_name once a session was opened, null before

// The send id of a request about to be sent. Reading and advancing are two steps: two threads that build requests at
// the same moment may take the same id, and the request lock then puts them one behind the other.
std::uint8_t take_send_id();
