#include "api/event.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "api/event_handles.h"
#include "api/event_registry.h"
#include "api/frame.h"
#include "api/operation.h"
#include "api/subscriptions.h"
#include "session/session.h"
#include "session/state.h"

namespace {

// Elements of registration and correlation requests and their replies.
enum : std::int32_t { kOperation = 0, kClientFile = 4, kStepOrExpression = 5 };

enum : std::int32_t { kFileOperation = 11, kFileOperationDone = 12, kCorrelate = 41, kCorrelated = 42 };

enum Step : std::int32_t { kBegin = 0, kFinish = 1, kWithdraw = 2 };

constexpr const char* kStepNames[] = {"vela_event_reg_begin", "vela_event_reg_finish", "vela_event_unreg"};

} // namespace

std::int32_t vela_event_new_imp(std::uint32_t* evt_hdl) {
    if (evt_hdl == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d Invalid parm evt_hdl = NULL", VELA_HERE);
        return VELA_ERROR;
    }
    std::uint32_t taken = 0;
    Taking taking{};
    if (get_new_event_handler(&taken, &taking) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d get event handle failded", VELA_HERE);
        return VELA_ERROR;
    }
    if (vela_ops_fileop(kBegin) != VELA_OK) {
        give_back_event_handle(taking);
        return VELA_ERROR;
    }
    if (!is_still_taken(taking)) {
        // The service hung up behind its answer and took the handle.
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d get event handle failded", VELA_HERE);
        return VELA_ERROR;
    }
    *evt_hdl = taken;
    return VELA_OK;
}

// Adding a subscription

namespace {

// The records are the same on every processor.
static_assert(offsetof(tagVELA_ICLOG_PARA, text) == 64 && offsetof(tagVELA_ICLOG_PARA, level) == 128 &&
              offsetof(tagVELA_ICLOG_PARA, infoAlias) == 132 && offsetof(tagVELA_ICLOG_PARA, loginfo) == 196);
static_assert(offsetof(tagVELA_IFSTATE_PARA, text) == 64 && offsetof(tagVELA_IFSTATE_PARA, number1) == 128 &&
              offsetof(tagVELA_IFSTATE_PARA, number2) == 132);
static_assert(offsetof(tagVELA_ROUTE_PARA, text1) == 64 && offsetof(tagVELA_ROUTE_PARA, number) == 80 &&
              offsetof(tagVELA_ROUTE_PARA, text2) == 84 && offsetof(tagVELA_ROUTE_PARA, text3) == 92);

// A text of the caller's record; null when it has no end within its field.
template <std::size_t Size> const char* text_of(const char (&field)[Size]) {
    return std::memchr(field, '\0', Size) != nullptr ? field : nullptr;
}

// What runs to the end of the caller's record is as wide as the caller made it.
const char* last_text_of(const char* field) { return field; }

std::uint32_t add_iclog(const char* tag, const void* para) {
    const auto& record = *static_cast<const tagVELA_ICLOG_PARA*>(para);
    return ops_iclog_subscribe(tag, text_of(record.text), text_of(record.infoAlias), last_text_of(record.loginfo),
                               record.level);
}

std::uint32_t add_ifstate(const char* tag, const void* para) {
    const auto& record = *static_cast<const tagVELA_IFSTATE_PARA*>(para);
    return ops_ifm_ifstate_subscribe(tag, static_cast<std::int32_t>(record.number1), text_of(record.text),
                                     static_cast<std::int32_t>(record.number2));
}

std::uint32_t add_route(const char* tag, const void* para) {
    const auto& record = *static_cast<const tagVELA_ROUTE_PARA*>(para);
    return ops_route_subscribe(tag, text_of(record.text1), record.number, kNotGiven, kNotGiven, kNotGiven,
                               text_of(record.text2), last_text_of(record.text3));
}

} // namespace

std::int32_t vela_event_add_imp(std::uint32_t evt_hdl, std::int32_t kind, const char* tag, const void* para) {
    if (para == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param para = NULL", VELA_HERE);
        return VELA_ERROR_NULL;
    }
    Taking taking{};
    if (!is_handler_valid(evt_hdl, &taking)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param evt_hdl = %u", VELA_HERE, evt_hdl);
        return VELA_ERROR;
    }
    if (tag == nullptr || tag[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param tag == NULL or strlen(tag) == 0", VELA_HERE);
        return VELA_ERROR;
    }
    if (is_tag_in_expression(evt_hdl, tag)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param tag,the tag has been registed", VELA_HERE);
        return VELA_ERROR;
    }

    std::uint32_t code = VELA_OK;
    switch (kind) {
    case VELA_EVENT_ICLOG:
        code = add_iclog(tag, para);
        break;
    case VELA_EVENT_IFSTATE:
        code = add_ifstate(tag, para);
        break;
    case VELA_EVENT_ROUTE:
        code = add_route(tag, para);
        break;
    default:
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d not support event %d", VELA_HERE, kind);
        return VELA_ERROR;
    }
    if (code != VELA_OK) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s", VELA_HERE, tag);
        return static_cast<std::int32_t>(code);
    }
    if (!g_evt.AddTag(taking, tag, static_cast<tagVELA_EVENT>(kind))) {
        // The service hung up behind its answer and took the handle, and the subscription with it.
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param evt_hdl = %u", VELA_HERE, evt_hdl);
        return VELA_ERROR;
    }
    return VELA_OK;
}

// Registering and freeing

std::int32_t vela_event_reg_imp(std::uint32_t evt_hdl, fEventCallBack callback) {
    Taking taking{};
    if (!is_handler_valid(evt_hdl, &taking)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param evt_hdl = %u", VELA_HERE, evt_hdl);
        return VELA_ERROR;
    }
    if (callback == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param fEventCallBack = NULL", VELA_HERE);
        return VELA_ERROR_NULL;
    }
    if (const std::uint32_t code = vela_event_reg_correlate(expression_of(evt_hdl).c_str()); code != VELA_OK)
        return static_cast<std::int32_t>(code);

    char name[kClientNameSize] = {};
    if (get_file_name(name, g_sessionId) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d get file name error", VELA_HERE);
        return VELA_ERROR;
    }
    const std::int32_t registered = g_evt.Register(taking, name, callback);
    if (registered == CEventMgr::kGone) {
        // The service hung up in between and took the handle: no callback may stay behind.
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param evt_hdl = %u", VELA_HERE, evt_hdl);
        return VELA_ERROR;
    }
    if (registered != VELA_OK)
        return registered;
    return static_cast<std::int32_t>(vela_event_reg_finish());
}

std::int32_t vela_event_free_imp(std::uint32_t evt_hdl) {
    Taking taking{};
    if (!is_handler_valid(evt_hdl, &taking)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param evt_hdl = %u", VELA_HERE, evt_hdl);
        return VELA_ERROR;
    }
    if (vela_event_unreg() != VELA_OK) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d called error", VELA_HERE);
        return VELA_ERROR;
    }
    return g_evt.Withdraw(taking);
}

// What the service is told

std::uint32_t vela_ops_fileop(std::int32_t step) {
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session not open", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (!has_client_name()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid file name", VELA_HERE);
        return VELA_ERROR;
    }

    Frame request;
    {
        Elements elements;
        if (!elements.HasBuffer()) {
            take_send_id(); // this request uses its id up even when it cannot be built
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d tlv init failed", VELA_HERE);
            return VELA_ERROR;
        }
        elements.Int(kOperation, kFileOperation).Text(kClientFile, py_file).Int(kStepOrExpression, step);
        if (!fill_operation(request, BODY_SCRIPT, elements)) {
            take_send_id();
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d tlv construct failed", VELA_HERE);
            return VELA_ERROR;
        }
    }
    Frame reply;
    if (g_session.SendRequest(&request, &reply) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d SendRequest faided", VELA_HERE);
        return VELA_ERROR;
    }

    const TlvPtr view = view_operation(reply);
    char errText[kErrorTextSize] = {};
    if (ops_check_err(view.get(), kFileOperationDone, errText) == 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s failed ops_check_err = %s", VELA_HERE, kStepNames[step],
                       errText);
        return VELA_ERROR;
    }
    return VELA_OK;
}

std::uint32_t vela_event_reg_finish() { return vela_ops_fileop(kFinish) == VELA_OK ? VELA_OK : VELA_ERROR; }

std::uint32_t vela_event_unreg() { return vela_ops_fileop(kWithdraw) == VELA_OK ? VELA_OK : VELA_ERROR; }

std::uint32_t vela_event_reg_correlate(const char* expression) {
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session not open", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (!has_client_name()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d Invalid py_file", VELA_HERE);
        return VELA_ERROR;
    }

    static constexpr ScriptRequest what = {"vela_event_reg_correlate", kCorrelated, " tlv init failed",
                                           " tlv init failed", " SendRequest failed"};
    Elements elements;
    elements.Int(kOperation, kCorrelate).Text(kClientFile, py_file).Text(kStepOrExpression, expression);
    Frame reply;
    if (!send_script(what, std::move(elements), reply))
        return VELA_ERROR;
    const TlvPtr view = view_operation(reply);
    if (!is_acknowledged(what, view.get()) || !has_no_error(what, view.get(), " error desp = "))
        return VELA_ERROR;
    return VELA_OK;
}

std::int32_t vela_event_new(std::uint32_t* evt_hdl) {
    return exported(__func__, [&] { return vela_event_new_imp(evt_hdl); });
}

std::int32_t vela_event_add(std::uint32_t evt_hdl, std::int32_t kind, const char* tag, const void* para) {
    return exported(__func__, [&] { return vela_event_add_imp(evt_hdl, kind, tag, para); });
}

std::int32_t vela_event_reg(std::uint32_t evt_hdl, fEventCallBack callback) {
    return exported(__func__, [&] { return vela_event_reg_imp(evt_hdl, callback); });
}

std::int32_t vela_event_free(std::uint32_t evt_hdl) {
    return exported(__func__, [&] { return vela_event_free_imp(evt_hdl); });
}
