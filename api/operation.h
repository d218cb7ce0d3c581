// The frames of all requests: building them from elements, sending them, and viewing the elements of their replies.
#pragma once

#include <cstdint>

#include "common/debug_log.h"
#include "session/message.h"
#include "tlv/ops_tlv.h"

// A request or a reply on the caller's stack. Only the head is cleared: of the rest nothing is read that was not
// written before, and a reply that never came reads as an empty one.
struct Frame : tagMSG_DATA {
    Frame();
};

// The elements of a request under construction, appended in the order of the calls.
class Elements {
public:
    Elements() : tlv_(tlv_init(nullptr, 0, 1)) {}

    bool HasBuffer() const { return tlv_ != nullptr; }
    bool Failed() const { return failed_ != 0; } // an append failed: the elements are to be discarded
    const TLV_S* Get() const { return tlv_.get(); }

    // A null text fails.
    Elements& Text(std::int32_t tag, const char* text);
    Elements& Int(std::int32_t tag, std::int32_t value);
    Elements& U32(std::int32_t tag, std::uint32_t value);
    Elements& Data(std::int32_t tag, const void* bytes, std::int32_t len); // null bytes fail

    // The most that a frame can carry of them, in bytes.
    static constexpr std::int32_t kMost = g_data_size - g_head_size - g_body_fix_len;

private:
    TlvPtr tlv_;
    std::int32_t failed_ = 0;
};

// Each fills the header, taking the next send id, and copies the elements behind it. False when an append
// failed or the elements do not fit a frame: then no send id is taken, and nothing may be sent.
bool fill_session_control(Frame& request, std::uint16_t sessionId, const Elements& elements);
bool fill_operation(Frame& request, BodyKind kind, const Elements& elements);

// The elements of a reply, viewed where they lie; null (logged) when out of memory.
TlvPtr view_session_control(Frame& reply);
TlvPtr view_operation(Frame& reply);

// One kind of script request: what acknowledges it, and how its function words a failure. The texts stand as they
// follow
// "%s %d" in the record, blanks included; a null one is not recorded.
struct ScriptRequest {
    const char* function;
    std::int32_t acknowledgement;
    const char* noBuffer;
    const char* notBuilt;
    const char* notSent;
};

// The steps of every script request, each recorded when it fails: building and sending it, which waits for the reply,
// and then the service's two verdicts. What stands between is the caller's.
bool send_script(const ScriptRequest& what, Elements elements, Frame& reply);
bool is_acknowledged(const ScriptRequest& what, TLV_S* reply, VELA_Log_Level level = VELA_LOG_ERROR);
bool has_no_error(const ScriptRequest& what, const TLV_S* reply, const char* before);
// `before` stands before the service's text in the record; null: no record.

// False while no session was ever opened: the service does not know this client's name.
bool has_client_name();
