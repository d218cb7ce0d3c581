#include "api/query.h"

#include <cstring>

#include "common/debug_log.h"
#include "qel_api.h"
#include "session/session.h"
#include "session/state.h"

namespace {

// Items of every query's request and reply.
enum : std::int32_t { kModule = 1, kOperation = 2, kErrorText = 4 };

} // namespace

std::uint32_t query_failure(const Query& query, int line, const char* text, std::uint32_t code) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s", query.worker, line, text);
    return code;
}

std::uint32_t check_record(const Query& query, const void* record) {
    if (record != nullptr)
        return VELA_OK;
    switch (query.nullRecord) {
    case NullRecord::Unchecked:
        return VELA_OK;
    case NullRecord::Named:
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d,null param", query.worker, __LINE__);
        return query.nullResult;
    case NullRecord::Voice:
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "parameter is num");
        return query.nullResult;
    }
    return VELA_OK;
}

std::uint32_t check_session(const Query& query) {
    if (g_bSessionIsOpen == 1)
        return VELA_OK;
    return query_failure(query, __LINE__, "session not open", VELA_ERROR_NO_SESSION);
}

Elements& begin(const Query& query, Elements& elements) {
    return elements.Int(kModule, query.module).Int(kOperation, query.operation);
}

std::uint32_t exchange(const Query& query, Elements& elements, QueryReply& reply) {
    Frame request;
    // A query uses its send id up even when its request cannot be built.
    if (!elements.HasBuffer()) {
        take_send_id();
        return query_failure(query, __LINE__, "tlv_init(0, 0, 1) failed", VELA_ERROR_ENCODE);
    }
    if (!fill_operation(request, BODY_QUERY, elements)) {
        take_send_id();
        return query_failure(query, __LINE__, "send tlv append failed", VELA_ERROR_ENCODE);
    }
    if (g_session.SendRequest(&request, &reply.frame) != 0)
        return query_failure(query, __LINE__, "SendRequest faided", VELA_ERROR);

    reply.items = view_operation(reply.frame);
    const std::int32_t verdict = rpc_check_err(reply.items.get(), query.operation, query.module);
    if (verdict == 0)
        return VELA_OK;
    // The service's own code is the result.
    return query_failure(query, __LINE__, printable(tlv_get_text(reply.items.get(), kErrorText)),
                         static_cast<std::uint32_t>(verdict));
}

// Filling

namespace {

// An item's bytes; from is null when the item is missing, not wholly inside the message, or would not fit the record.
struct Item {
    const char* from;
    std::size_t size;
};

Item find_bytes(const TLV_S* items, std::int32_t tag, std::size_t room) {
    std::int32_t len = 0;
    const char* value = tlv_get_data(items, tag, &len);
    if (value == nullptr || !tlv_value_is_inside(items, value, len) || static_cast<std::size_t>(len) > room)
        return {nullptr, 0};
    return {value, static_cast<std::size_t>(len)};
}

Item find_string(const TLV_S* items, std::int32_t tag, std::size_t room) {
    const char* text = tlv_get_text(items, tag);
    if (text == nullptr || std::strlen(text) >= room)
        return {nullptr, 0};
    return {text, std::strlen(text) + 1};
}

std::uint32_t miss(const Query& query, Style style, int lastLength) {
    if (style == Style::Optional)
        return VELA_OK;
    if (style == Style::Required) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d SendRequest get faided, len:%d", query.worker, __LINE__,
                       lastLength);
        return VELA_ERROR_SHORT_REPLY;
    }
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d SendRequest get data faided, len:%d", query.worker, __LINE__,
                   lastLength);
    return VELA_ERROR;
}

void store_number(const TLV_S* items, const Field& field, char* to) {
    const std::int32_t value = tlv_get_int(items, field.tag); // -1 when missing
    if (field.style == Style::U32 && tlv_check_int(items, field.tag) == 0)
        return;
    if (field.style == Style::LowByte)
        *to = static_cast<char>(value & 0xFF);
    else
        std::memcpy(to, &value, sizeof value);
}

} // namespace

std::uint32_t fill(const Query& query, const TLV_S* items, void* record) {
    if (record == nullptr)
        return VELA_OK;
    int lastLength = 0;
    for (const Field* field = query.fields; field != query.fields + query.fieldCount; ++field) {
        char* to = static_cast<char*>(record) + field->offset;
        if (field->style == Style::Int || field->style == Style::LowByte || field->style == Style::U32) {
            store_number(items, *field, to);
            continue;
        }
        const std::size_t room = query.recordSize - field->offset;
        const Item item =
            field->style == Style::String ? find_string(items, field->tag, room) : find_bytes(items, field->tag, room);
        if (item.from == nullptr) {
            if (const std::uint32_t code = miss(query, field->style, lastLength); code != VELA_OK)
                return code;
            continue;
        }
        std::memcpy(to, item.from, item.size);
        lastLength = static_cast<int>(item.size);
    }
    return VELA_OK;
}
