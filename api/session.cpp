// Opens, keeps alive and closes the one session with the service. The three requests are one exchange with their own
// numbers and log texts.
#include "api/session.h"

#include <cstring>

#include "api/cli.h"
#include "api/frame.h"
#include "api/operation.h"
#include "session/session.h"
#include "session/socket.h"
#include "session/state.h"

namespace {

// Session control elements.
enum : std::int32_t {
    SDK_CTRL_TLV_MSG_TYPE = 1,
    SDK_CTRL_TLV_RET = 2,
    kDescription = 3,
    kGrantedId = 4,
    kClientName = 5,
};

struct Control {
    const char* function;
    std::int32_t request;
    std::int32_t acknowledgement;
    const char* sendFailed; // null: not logged
    const char* wrongType;
    const char* noView;
};

constexpr Control kOpen = {
    "vela_session_open_imp", 1, 2, "SendRequest failed", "server ack not equal SDK_SESSION_CONTROL_RESPONSE",
    "TLV PARSE INIT FAILED"};
constexpr Control kClose = {
    "vela_session_close_imp", 3, 4, "SendRequest failed", "SERVER ACK MSG IS NOT SDK_SESSION_CONTROL_RESPONSE",
    "TLV PARSE INIT FAILED"};
constexpr Control kKeepalive = {
    "vela_session_keepalive_imp",  5, 6, nullptr, "recv data is not SDK_SESSION_CONTROL_RESPONSE",
    "keep alive return tlv = NULL"};

void log_failure(const Control& control, int line, const char* text) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s", control.function, line, text);
}

// A name that fills its field has no NUL there.
void append_name(Elements& elements, const tagVELA_SESSION_CFG_T& cfg) {
    char name[sizeof cfg.client_name + 1] = {};
    std::memcpy(name, cfg.client_name, sizeof cfg.client_name);
    elements.Text(kClientName, name);
}

// Sends the control request and views its reply; null when that failed, which was then logged. The client's name goes
// with the open request only.
TlvPtr exchange(const Control& control, std::uint16_t sessionId, const tagVELA_SESSION_CFG_T* cfg, Frame& reply) {
    Frame request;
    {
        Elements elements;
        if (!elements.HasBuffer()) {
            log_failure(control, __LINE__, "tlv init failed");
            return nullptr;
        }
        elements.Int(SDK_CTRL_TLV_MSG_TYPE, control.request);
        if (cfg != nullptr)
            append_name(elements, *cfg);
        if (!fill_session_control(request, sessionId, elements)) {
            log_failure(control, __LINE__, "tlv append failed");
            return nullptr;
        }
    }

    if (g_session.SendRequest(&request, &reply) != 0) {
        if (control.sendFailed != nullptr)
            log_failure(control, __LINE__, control.sendFailed);
        return nullptr;
    }
    if (reply.type != SDK_SESSION_CONTROL_RESPONSE) {
        log_failure(control, __LINE__, control.wrongType);
        return nullptr;
    }
    TlvPtr view = view_session_control(reply);
    if (view == nullptr)
        log_failure(control, __LINE__, control.noView);
    return view;
}

bool is_accepted(const Control& control, const TLV_S* reply) {
    return tlv_get_int(reply, SDK_CTRL_TLV_RET) == 0 &&
           tlv_get_int(reply, SDK_CTRL_TLV_MSG_TYPE) == control.acknowledgement;
}

} // namespace

std::int32_t vela_session_open_imp(const tagVELA_SESSION_CFG_T* cfg, std::uint32_t* session_hdl) {
    if (g_bVelaIsInit == 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d vela not init", VELA_HERE);
        return VELA_ERROR_NOT_INIT;
    }
    if (session_hdl == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d param session_hdl == NULL", VELA_HERE);
        return VELA_ERROR_NULL;
    }
    if (cfg == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d VELA_SESSION_CFG_T == NULL", VELA_HERE);
        return VELA_ERROR_NULL;
    }
    if (g_bSessionIsOpen != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session has been open", VELA_HERE);
        return VELA_ERROR_SESSION_OPEN;
    }

    // From here on nothing is undone: a later open connects again and starts another reader.
    const std::int32_t connected = g_sock.ConnectServer(cfg->type, cfg->server_addr, cfg->server_port);
    if (connected != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d socket connect faild.", VELA_HERE);
        return connected;
    }
    if (g_session.CreateReadSock()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d CreateRecvThread() failed", VELA_HERE);
        return VELA_ERROR;
    }

    Frame reply;
    const TlvPtr view = exchange(kOpen, 0, cfg, reply);
    if (view == nullptr)
        return VELA_ERROR;
    if (!is_accepted(kOpen, view.get())) {
        // The description is promised to come from the request, which has none: the service's is not reported.
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d err description = %s", VELA_HERE, printable(nullptr));
        return VELA_ERROR;
    }
    std::uint32_t granted = 0;
    if (tlv_get_u32(view.get(), kGrantedId, &granted) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d get session id from tlv failed", VELA_HERE);
        return VELA_ERROR;
    }

    g_sessionId = static_cast<std::uint16_t>(granted);
    *session_hdl = granted;
    g_sock.RaiseWhileConnected(g_bSessionIsOpen);
    if (get_file_name(file_name, g_sessionId) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d get file name failed", VELA_HERE);
        return VELA_ERROR;
    }
    py_file = file_name;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d session open success, session id = %u", VELA_HERE, granted);
    return VELA_OK;
}

std::int32_t vela_session_close_imp(std::uint32_t) {
    if (g_bSessionIsOpen == 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session not open ", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (g_bCliIsOpen != 0 && vela_cli_close_imp(g_uiCliHdl) != 0)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cli close failed", VELA_HERE);

    Frame reply;
    const TlvPtr view = exchange(kClose, g_sessionId, nullptr, reply);
    if (view == nullptr)
        return VELA_ERROR;
    if (!is_accepted(kClose, view.get())) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d tlv parse, err description = %s", VELA_HERE,
                       printable(nullptr));
        return VELA_ERROR;
    }
    g_bSessionIsOpen = 0;
    g_session.TerminateReadSocketThread();
    return VELA_OK;
}

std::int32_t vela_session_keepalive_imp(std::uint32_t) {
    if (g_bSessionIsOpen == 0)
        return VELA_ERROR_NO_SESSION;

    Frame reply;
    const TlvPtr view = exchange(kKeepalive, g_sessionId, nullptr, reply);
    if (view == nullptr)
        return VELA_ERROR;
    if (!is_accepted(kKeepalive, view.get())) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API,
                       "%s %d keep alive parse tlv, err description = %s SDK_CTRL_TLV_RET = %d SDK_CTRL_TLV_MSG_TYPE = "
                       "%d",
                       VELA_HERE, printable(tlv_get_text(view.get(), kDescription)),
                       tlv_get_int(view.get(), SDK_CTRL_TLV_RET), tlv_get_int(view.get(), SDK_CTRL_TLV_MSG_TYPE));
        return VELA_ERROR;
    }
    return VELA_OK;
}

std::int32_t vela_session_open(const tagVELA_SESSION_CFG_T* cfg, std::uint32_t* session_hdl) {
    return exported(__func__, [&] { return vela_session_open_imp(cfg, session_hdl); });
}

std::int32_t vela_session_close(std::uint32_t session_hdl) {
    return exported(__func__, [&] { return vela_session_close_imp(session_hdl); });
}

std::int32_t vela_session_keepalive(std::uint32_t session_hdl) {
    return exported(__func__, [&] { return vela_session_keepalive_imp(session_hdl); });
}
