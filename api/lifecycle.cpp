// Starts and stops the log library and the two service threads. No step is undone when a later one fails, and neither
// call asks whether the library is initialised: a second start starts a second pair of threads.
#include "api/lifecycle.h"

#include "api/event_handles.h"
#include "api/frame.h"
#include "common/log_library.h"
#include "session/session.h"
#include "session/state.h"

std::int32_t vela_init_imp() {
    if (init_log() != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d log init failed", VELA_HERE);
        return VELA_ERROR_LOG_LIBRARY;
    }
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "Vela Quor compile time is 2016-9-8");
    clear_event_handles();
    if (g_session.CreateProcessSocketDataThread(0)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d create socket thread failed", VELA_HERE);
        return VELA_ERROR_THREAD;
    }
    if (g_session.CreateEventCallBackThread()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d create event thread failed", VELA_HERE);
        return VELA_ERROR;
    }
    g_bVelaIsInit = 1;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d vela init success", VELA_HERE);
    return VELA_OK;
}

std::int32_t vela_release_imp() {
    g_bCliIsOpen = 0;
    if (release_log() != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d log release failed", VELA_HERE);
        return VELA_ERROR;
    }
    g_bVelaIsInit = 0;
    g_session.TerminateProcessSockDataThread();
    g_session.TerminateEventThread();
    return VELA_OK;
}

std::int32_t vela_init(void) { return exported(__func__, vela_init_imp); }

std::int32_t vela_release(void) { return exported(__func__, vela_release_imp); }
