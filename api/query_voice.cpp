// The voice service: calls, SIP accounts, and the two CITA records. Calls and accounts carry arrays and counts and fill
// their records here.
#include <cstring>

#include "api/frame.h"
#include "api/query.h"

namespace {

using Calls = stVOICE_CALL_INFO;
static_assert(offsetof(Calls, item6) == 0 && offsetof(Calls, item11) == 20 && offsetof(Calls, count) == 24 &&
              offsetof(Calls, entries) == 28 && sizeof(Calls) == 220);

constexpr Field kCallFields[] = {
    QUERY_FIELD(Calls, item6, 6, Int), QUERY_FIELD(Calls, item7, 7, Int),   QUERY_FIELD(Calls, item8, 8, Int),
    QUERY_FIELD(Calls, item9, 9, Int), QUERY_FIELD(Calls, item10, 10, Int), QUERY_FIELD(Calls, item11, 11, Int),
};
constexpr Query kCalls = query_of("vela_get_voice_call_info", MODULE_VOICE, 1, NullRecord::Voice, VELA_ERROR_PARAM,
                                  sizeof(Calls), kCallFields);
constexpr std::int32_t kFirstCall = 12;

using Accounts = stVOICE_SIP_ACCOUNT_INFO;
static_assert(offsetof(Accounts, count) == 0 && offsetof(Accounts, accounts) == 4 && sizeof(Accounts) == 664);

constexpr Query kSetAccounts = query_without_fields("vela_set_voice_sip_account", MODULE_VOICE, 2, NullRecord::Voice,
                                                    VELA_ERROR_PARAM, sizeof(Accounts));
constexpr Query kGetAccounts = query_without_fields("vela_get_voice_sip_account", MODULE_VOICE, 3, NullRecord::Voice,
                                                    VELA_ERROR_PARAM, sizeof(Accounts));
constexpr std::int32_t kCount = 5;
constexpr std::int32_t kSetResult = 6;
constexpr std::int32_t kFirstAccount = 7;
constexpr std::int32_t kAccountSize = 66;
// Behind the three numbers of 4 bytes that the request begins with.
constexpr std::int32_t kMostAccountsSent = (Elements::kMost - 3 * (kElementHead + 4)) / (kElementHead + kAccountSize);
static_assert(kMostAccountsSent == 107);

using CitaParam = tagVOICE_CITA_PARAM;
static_assert(offsetof(CitaParam, item5) == 0 && offsetof(CitaParam, text9) == 4 &&
              offsetof(CitaParam, text13) == 136 && offsetof(CitaParam, item15) == 202 &&
              offsetof(CitaParam, item16) == 208 && offsetof(CitaParam, item17) == 214 &&
              offsetof(CitaParam, item18) == 248 && sizeof(CitaParam) == 280);

constexpr Field kCitaParamFields[] = {
    QUERY_FIELD(CitaParam, item5, 5, LowByte),    QUERY_FIELD(CitaParam, item6, 6, LowByte),
    QUERY_FIELD(CitaParam, item7, 7, LowByte),    QUERY_FIELD(CitaParam, item8, 8, LowByte),
    QUERY_FIELD(CitaParam, text9, 9, Required),   QUERY_FIELD(CitaParam, text10, 10, Required),
    QUERY_FIELD(CitaParam, text11, 11, Required), QUERY_FIELD(CitaParam, text12, 12, Required),
    QUERY_FIELD(CitaParam, text13, 13, Required), QUERY_FIELD(CitaParam, text14, 14, Required),
    QUERY_FIELD(CitaParam, item15, 15, Required), QUERY_FIELD(CitaParam, item16, 16, Required),
    QUERY_FIELD(CitaParam, item17, 17, Required), QUERY_FIELD(CitaParam, item18, 18, Int),
    QUERY_FIELD(CitaParam, item19, 19, Int),      QUERY_FIELD(CitaParam, item20, 20, Int),
    QUERY_FIELD(CitaParam, item21, 21, Int),      QUERY_FIELD(CitaParam, item22, 22, Int),
    QUERY_FIELD(CitaParam, item23, 23, Int),      QUERY_FIELD(CitaParam, item24, 24, Int),
    QUERY_FIELD(CitaParam, item25, 25, Int),
};
constexpr Query kCitaParam = query_of("vela_get_voice_cita_param", MODULE_VOICE, 4, NullRecord::Voice, VELA_ERROR_PARAM,
                                      sizeof(CitaParam), kCitaParamFields);

using CitaConfig = tagVOICE_CITA_CONFIG_INFO;
static_assert(offsetof(CitaConfig, item5) == 0 && offsetof(CitaConfig, item12) == 42 &&
              offsetof(CitaConfig, item13) == 48 && sizeof(CitaConfig) == 80);

constexpr Field kCitaConfigFields[] = {
    QUERY_FIELD(CitaConfig, item5, 5, Required),   QUERY_FIELD(CitaConfig, item6, 6, Required),
    QUERY_FIELD(CitaConfig, item7, 7, Required),   QUERY_FIELD(CitaConfig, item8, 8, Required),
    QUERY_FIELD(CitaConfig, item9, 9, Required),   QUERY_FIELD(CitaConfig, item10, 10, Required),
    QUERY_FIELD(CitaConfig, item11, 11, Required), QUERY_FIELD(CitaConfig, item12, 12, Required),
    QUERY_FIELD(CitaConfig, item13, 13, Int),      QUERY_FIELD(CitaConfig, item14, 14, Int),
    QUERY_FIELD(CitaConfig, item15, 15, Int),      QUERY_FIELD(CitaConfig, item16, 16, Int),
    QUERY_FIELD(CitaConfig, item17, 17, Int),      QUERY_FIELD(CitaConfig, item18, 18, Int),
    QUERY_FIELD(CitaConfig, item19, 19, Int),      QUERY_FIELD(CitaConfig, item20, 20, Int),
};
constexpr Query kCitaConfig = query_of("vela_get_voice_cita_config_info", MODULE_VOICE, 5, NullRecord::Voice,
                                       VELA_ERROR_PARAM, sizeof(CitaConfig), kCitaConfigFields);

// Arrays

std::uint32_t missing_entry(const Query& query, std::int32_t len) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d SendRequest get data faided, len:%d", query.worker, __LINE__,
                   len);
    return VELA_ERROR_SHORT_REPLY;
}

// The entry's bytes, or null when the item is missing or not wholly inside the message; len as the item states it.
const char* find_entry(const TLV_S* items, std::int32_t tag, std::int32_t& len) {
    std::int32_t stated = 0;
    const char* value = tlv_get_data(items, tag, &stated);
    if (value == nullptr)
        return nullptr;
    len = stated;
    return tlv_value_is_inside(items, value, stated) ? value : nullptr;
}

// The limits are compared as signed numbers and the loops as unsigned, as promised: after a negative count entries are
// read until one is missing, or would lie past the record's end.

std::uint32_t get_calls(Calls* info) {
    if (const std::uint32_t code = check_record(kCalls, info); code != VELA_OK)
        return code;
    QueryReply reply;
    if (const std::uint32_t code = ask(kCalls, reply, [](Elements&) {}); code != VELA_OK)
        return code;
    const TLV_S* items = reply.items.get();

    info->count = tlv_get_int(items, kCount);
    constexpr std::int32_t kMost = sizeof info->entries / sizeof info->entries[0];
    if (info->count > kMost)
        return query_failure(kCalls, __LINE__, "SendRequest faided", VELA_ERROR);
    fill(kCalls, items, info);
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(info->count); ++i) {
        if (i == kMost)
            return query_failure(kCalls, __LINE__, "SendRequest faided", VELA_ERROR);
        std::int32_t len = 0;
        const char* entry = find_entry(items, kFirstCall + static_cast<std::int32_t>(i), len);
        if (entry == nullptr || len != sizeof info->entries[0])
            return missing_entry(kCalls, len);
        std::memcpy(info->entries[i], entry, sizeof info->entries[0]);
    }
    return VELA_OK;
}

std::uint32_t set_accounts(const Accounts* info) {
    if (const std::uint32_t code = check_record(kSetAccounts, info); code != VELA_OK)
        return code;
    QueryReply reply;
    const auto append = [&](Elements& elements) {
        elements.Int(kCount, info->count);
        // More than no request carries, and so no such record can be meant: it is not read at all.
        if (info->count < 0 || info->count > kMostAccountsSent) {
            elements.Data(kFirstAccount, nullptr, kAccountSize);
            return;
        }
        // The count may be larger than the record declares: the caller's own record then goes on.
        const std::uint8_t* account = info->accounts[0];
        for (std::int32_t i = 0; i < info->count; ++i, account += kAccountSize)
            elements.Data(kFirstAccount + i, account, kAccountSize);
    };
    if (const std::uint32_t code = ask(kSetAccounts, reply, append); code != VELA_OK)
        return code;
    return static_cast<std::uint32_t>(tlv_get_int(reply.items.get(), kSetResult)); // the service decides
}

std::uint32_t get_accounts(Accounts* info) {
    if (const std::uint32_t code = check_record(kGetAccounts, info); code != VELA_OK)
        return code;
    QueryReply reply;
    if (const std::uint32_t code = ask(kGetAccounts, reply, [](Elements&) {}); code != VELA_OK)
        return code;
    const TLV_S* items = reply.items.get();

    info->count = tlv_get_int(items, kCount);
    constexpr std::int32_t kMost = sizeof info->accounts / sizeof info->accounts[0];
    if (info->count > kMost)
        return query_failure(kGetAccounts, __LINE__, "SendRequest faided", VELA_ERROR);
    std::int32_t len = 0;                                            // of the item before
    auto* account = reinterpret_cast<std::uint8_t*>(info->accounts); // a longer entry goes on into the next
    const auto* end = reinterpret_cast<std::uint8_t*>(info + 1);
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(info->count); ++i, account += kAccountSize) {
        const std::int32_t before = len;
        const char* entry = find_entry(items, kFirstAccount + static_cast<std::int32_t>(i), len);
        if (entry == nullptr)
            return missing_entry(kGetAccounts, before);
        if (i >= kMost || len > end - account)
            return query_failure(kGetAccounts, __LINE__, "SendRequest faided", VELA_ERROR);
        std::memcpy(account, entry, static_cast<std::size_t>(len));
    }
    return VELA_OK;
}

} // namespace

std::uint32_t vela_voice_get_call_info(stVOICE_CALL_INFO* info) {
    return exported_query(__func__, [&] { return get_calls(info); });
}

std::uint32_t vela_voice_set_sip_account(const stVOICE_SIP_ACCOUNT_INFO* info) {
    return exported_query(__func__, [&] { return set_accounts(info); });
}

std::uint32_t vela_voice_get_sip_account(stVOICE_SIP_ACCOUNT_INFO* info) {
    return exported_query(__func__, [&] { return get_accounts(info); });
}

std::uint32_t vela_voice_get_cita_param(tagVOICE_CITA_PARAM* info) {
    return exported_query(__func__, [&] { return run(kCitaParam, info); });
}

std::uint32_t vela_voice_get_cita_config_info(tagVOICE_CITA_CONFIG_INFO* info) {
    return exported_query(__func__, [&] { return run(kCitaConfig, info); });
}
