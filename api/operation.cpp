#include "api/operation.h"

#include <cstring>
#include <utility>

#include "session/session.h"
#include "session/state.h"

namespace {

constexpr std::size_t kFixed = g_body_fix_len;

bool fill(Frame& request, MessageType type, std::uint16_t sessionId, std::size_t fixed, const Elements& elements) {
    if (elements.Failed())
        return false;
    const auto length = static_cast<std::size_t>(tlv_len(elements.Get()));
    if (length > sizeof request.body - fixed)
        return false;

    request.version = 1;
    request.type = type;
    request.sendId = take_send_id();
    request.reserved = 0;
    request.totalLength = static_cast<std::uint16_t>(g_head_size + fixed + length);
    request.sessionId = sessionId;
    std::memcpy(request.body + fixed, tlv_ptr(elements.Get()), length);
    return true;
}

TlvPtr view(Frame& reply, std::size_t fixed) {
    return TlvPtr(tlv_init(reinterpret_cast<char*>(reply.body) + fixed,
                           reply.totalLength - static_cast<int>(g_head_size + fixed), 0));
}

} // namespace

Frame::Frame() {
    totalLength = 0;
    type = 0;
    version = sendId = reserved = 0;
    sessionId = 0;
    std::memset(body, 0, kFixed);
}

Elements& Elements::Text(std::int32_t tag, const char* text) {
    failed_ += tlv_append_str(tlv_.get(), tag, text);
    return *this;
}

Elements& Elements::Int(std::int32_t tag, std::int32_t value) {
    failed_ += tlv_append_int(tlv_.get(), tag, value);
    return *this;
}

Elements& Elements::U32(std::int32_t tag, std::uint32_t value) {
    failed_ += tlv_append_u32(tlv_.get(), tag, value);
    return *this;
}

Elements& Elements::Data(std::int32_t tag, const void* bytes, std::int32_t len) {
    failed_ += tlv_append_data(tlv_.get(), tag, static_cast<const char*>(bytes), len);
    return *this;
}

bool fill_session_control(Frame& request, std::uint16_t sessionId, const Elements& elements) {
    return fill(request, SDK_SESSION_CONTROL_REQUEST, sessionId, 0, elements);
}

bool fill_operation(Frame& request, BodyKind kind, const Elements& elements) {
    if (!fill(request, OPERATION_REQUEST, g_sessionId, kFixed, elements))
        return false;
    const auto bodyLength = static_cast<std::uint16_t>(tlv_len(elements.Get()) + g_body_fix_len);
    request.body[tagMSG_DATA::kKind] = kind;
    std::memcpy(request.body + tagMSG_DATA::kBodyLength, &bodyLength, sizeof bodyLength);
    return true;
}

TlvPtr view_session_control(Frame& reply) { return view(reply, 0); }

TlvPtr view_operation(Frame& reply) { return view(reply, kFixed); }

namespace {

bool fail(const ScriptRequest& what, int line, const char* text) {
    if (text != nullptr)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d%s", what.function, line, text);
    return false;
}

bool build(const ScriptRequest& what, Elements elements, Frame& request) {
    if (!elements.HasBuffer())
        return fail(what, __LINE__, what.noBuffer);
    return fill_operation(request, BODY_SCRIPT, elements) || fail(what, __LINE__, what.notBuilt);
}

} // namespace

bool send_script(const ScriptRequest& what, Elements elements, Frame& reply) {
    Frame request;
    if (!build(what, std::move(elements), request))
        return false;
    return g_session.SendRequest(&request, &reply) == 0 || fail(what, __LINE__, what.notSent);
}

bool is_acknowledged(const ScriptRequest& what, TLV_S* reply, VELA_Log_Level level) {
    char errText[kErrorTextSize] = {};
    if (ops_check_err(reply, what.acknowledgement, errText) != 0)
        return true;
    VELA_DEBUG_LOG(level, VELA_LOG_API, "%s %d %s", what.function, __LINE__, errText);
    return false;
}

bool has_no_error(const ScriptRequest& what, const TLV_S* reply, const char* before) {
    enum : std::int32_t { kErrorCode = 1, kErrorText = 2 };
    if (tlv_get_int(reply, kErrorCode) == 0)
        return true;
    if (before != nullptr)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d%s%s", what.function, __LINE__, before,
                       printable(tlv_get_text(reply, kErrorText)));
    return false;
}

bool has_client_name() {
    const char* name = py_file;
    return name != nullptr && name[0] != '\0';
}
