// The cellular link and its messages, the ARP table, and the access users.
#include <cstdio>
#include <cstring>

#include "api/frame.h"
#include "api/query.h"

namespace {

using Brief = tagLTE_BREIFINFO_T;
static_assert(offsetof(Brief, item5) == 33 && offsetof(Brief, item9) == 165 && offsetof(Brief, item10) == 200 &&
              offsetof(Brief, item17) == 228 && offsetof(Brief, item18) == 232 && sizeof(Brief) == 236);

constexpr Field kBriefFields[] = {
    QUERY_FIELD(Brief, item5, 5, String), QUERY_FIELD(Brief, item6, 6, String), QUERY_FIELD(Brief, item7, 7, String),
    QUERY_FIELD(Brief, item8, 8, String), QUERY_FIELD(Brief, item9, 9, String), QUERY_FIELD(Brief, item10, 10, Int),
    QUERY_FIELD(Brief, item11, 11, Int),  QUERY_FIELD(Brief, item12, 12, Int),  QUERY_FIELD(Brief, item13, 13, Int),
    QUERY_FIELD(Brief, item14, 14, Int),  QUERY_FIELD(Brief, item15, 15, Int),  QUERY_FIELD(Brief, item16, 16, Int),
    QUERY_FIELD(Brief, item17, 17, Int),  QUERY_FIELD(Brief, item18, 18, U32),
};
constexpr Query kBrief =
    query_of("vela_arp_get_lte_imp", MODULE_LTE, 1, NullRecord::Unchecked, VELA_OK, sizeof(Brief), kBriefFields);

using Connection = tagLTE_CONNECTION_INFO;
static_assert(offsetof(Connection, item6) == 0 && offsetof(Connection, item7) == 4 &&
              offsetof(Connection, item8) == 68 && offsetof(Connection, item9) == 84 &&
              offsetof(Connection, item10) == 88 && offsetof(Connection, item11) == 92);
static_assert(sizeof(Connection::item11) == longest_value(5));

constexpr Field kConnectionFields[] = {
    QUERY_FIELD(Connection, item6, 6, Raw),   QUERY_FIELD(Connection, item7, 7, Raw),
    QUERY_FIELD(Connection, item8, 8, Raw),   QUERY_FIELD(Connection, item9, 9, Raw),
    QUERY_FIELD(Connection, item10, 10, Raw), QUERY_FIELD(Connection, item11, 11, Raw),
};
constexpr Query kConnection = query_of("vela_lte_get_lte_info", MODULE_LTE, 2, NullRecord::Named, VELA_ERROR_PARAM,
                                       sizeof(Connection), kConnectionFields);

using Sms = tagLTE_SMS_INFO;
static_assert(offsetof(Sms, item6) == 0 && offsetof(Sms, item7) == 32);
static_assert(sizeof(Sms::item7) == longest_value(1, 1)); // the other text's NUL

constexpr Field kSmsFields[] = {QUERY_FIELD(Sms, item6, 6, String), QUERY_FIELD(Sms, item7, 7, String)};
constexpr Query kSms =
    query_of("vela_lte_get_sms_info", MODULE_LTE, 3, NullRecord::Named, VELA_ERROR_PARAM, sizeof(Sms), kSmsFields);

constexpr std::int32_t kMacSize = 6;
constexpr std::int32_t kMacItem = 0; // of the reply to MAC by IP

constexpr Query kMacByIp =
    query_without_fields("vela_arp_get_mac_by_ip_imp", MODULE_ARP, 1, NullRecord::Unchecked, VELA_OK, kMacSize);

using AccessUser = tagACCESS_USER_BREIFINFO_T;
static_assert(offsetof(AccessUser, user_ip) == 0 && offsetof(AccessUser, reserved) == 4 &&
              offsetof(AccessUser, ssid_name) == 12 && offsetof(AccessUser, oline_time) == 76 &&
              offsetof(AccessUser, upbytes) == 80 && offsetof(AccessUser, downbytes) == 84 && sizeof(AccessUser) == 88);

// user_ip and oline_time are both the item with tag 10, as promised.
constexpr Field kAccessUserFields[] = {
    QUERY_FIELD(AccessUser, user_ip, 10, U32),    QUERY_FIELD(AccessUser, ssid_name, 9, String),
    QUERY_FIELD(AccessUser, oline_time, 10, U32), QUERY_FIELD(AccessUser, upbytes, 11, U32),
    QUERY_FIELD(AccessUser, downbytes, 12, U32),
};
constexpr Query kAccessUser = query_of("vela_nac_get_access_by_mac_imp", MODULE_ACCESS, 1, NullRecord::Unchecked,
                                       VELA_OK, sizeof(AccessUser), kAccessUserFields);

std::uint32_t mac_by_ip(const char* ip, std::uint8_t* mac) {
    QueryReply reply;
    if (const std::uint32_t code = ask(kMacByIp, reply, [&](Elements& elements) { elements.Text(5, ip).U32(6, 0); });
        code != VELA_OK)
        return code;
    // Six bytes, whatever length the item states, as long as they lie inside the reply.
    const char* value = tlv_get_data(reply.items.get(), kMacItem, nullptr);
    if (value == nullptr || !tlv_value_is_inside(reply.items.get(), value, kMacSize))
        return query_failure(kMacByIp, __LINE__, "SendRequest get data faided, len:0", VELA_ERROR);
    if (mac != nullptr)
        std::memcpy(mac, value, kMacSize);
    return VELA_OK;
}

std::uint32_t access_by_mac(const std::uint8_t* mac, AccessUser* info) {
    if (const std::uint32_t code = check_session(kAccessUser); code != VELA_OK)
        return code;
    if (info == nullptr)
        return VELA_ERROR_NULL; // after the session check and without a record, as promised
    QueryReply reply;
    if (const std::uint32_t code =
            ask(kAccessUser, reply, [&](Elements& elements) { elements.Data(5, mac, kMacSize); });
        code != VELA_OK)
        return code;
    if (const std::uint32_t code = fill(kAccessUser, reply.items.get(), info); code != VELA_OK)
        return code;
    std::printf("user_ip = %u\n", info->user_ip);
    std::printf("ssid_name = %s\n", tlv_get_text(reply.items.get(), 9)); // a long one spills over its field
    std::printf("oline_time = %u\n", info->oline_time);
    std::printf("upbytes = %u\n", info->upbytes);
    std::printf("downbytes = %u\n", info->downbytes);
    return VELA_OK;
}

} // namespace

std::uint32_t vela_arp_get_lte(tagLTE_BREIFINFO_T* info) {
    return exported_query(__func__, [&] { return run(kBrief, info); });
}

std::uint32_t vela_cellular_GetInfo(const char* ifName, tagLTE_CONNECTION_INFO* info) {
    const char* name = ifName != nullptr ? ifName : "Cellular0/0/0";
    return exported_query(__func__,
                          [&] { return run(kConnection, info, [&](Elements& elements) { elements.Text(5, name); }); });
}

std::uint32_t vela_get_sms_info(std::uint32_t index, tagLTE_SMS_INFO* info) {
    return exported_query(__func__,
                          [&] { return run(kSms, info, [&](Elements& elements) { elements.U32(5, index); }); });
}

std::uint32_t vela_arp_get_mac_by_ip(const char* ip, std::uint8_t* mac) {
    return exported_query(__func__, [&] { return mac_by_ip(ip, mac); });
}

std::uint32_t vela_nac_get_access_by_mac(const std::uint8_t* mac, tagACCESS_USER_BREIFINFO_T* info) {
    return exported_query(__func__, [&] { return access_by_mac(mac, info); });
}
