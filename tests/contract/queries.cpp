// See the header.
#include "queries.h"

#include <algorithm>
#include <cstring>

namespace contract {

namespace {

constexpr int guard_byte = 0xa5;

std::string number(std::uint32_t value) { return std::string(reinterpret_cast<const char*>(&value), sizeof value); }

std::string text(std::string_view characters) { return std::string(characters) + '\0'; }

// Arguments of the queries that have some.
const std::uint8_t asked_mac[6] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};

template <class Record> Record* as(void* record) { return static_cast<Record*>(record); }

// All ones as the integers of a reply read when they are not there.
constexpr std::uint32_t absent_number = 0xffffffff;

} // namespace

bool Field::is_copied() const {
    return style == Style::raw || style == Style::optional_raw || style == Style::required_raw || style == Style::text;
}

bool Field::is_number() const {
    return style == Style::number || style == Style::low_byte || style == Style::unsigned_number;
}

std::ostream& operator<<(std::ostream& out, const Query& query) { return out << query.function; }

// Every request without arguments of its own is 36 bytes:
//   01 version   0b operation request   02 send id   00 reserved   00 24 total length 36   00 07 session
//   04 device query   00   00 1c body length 28
//   1: module, 4 bytes   2: operation, 4 bytes
const std::vector<Query>& queries() {
    static const std::vector<Query> table = {
        // 1: 8 device   2: 1
        {"vela_dev_get_esn",
         "vela_get_dev_esn",
         8,
         1,
         [](void* record) { return vela_dev_get_esn(as<char>(record)); },
         NullRecord::refused,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  08 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00",
         VELA_ESN_SIZE,
         "",
         {{"esn", 5, 0, Style::optional_raw, text("2102350QEL000017")}},
         {}},

        // 1: 8 device   2: 2
        {"vela_dev_get_acc_status",
         "vela_get_dev_acc",
         8,
         2,
         [](void* record) { return vela_dev_get_acc_status(as<std::uint32_t>(record)); },
         NullRecord::refused,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  08 00 00 00"
         "02 00 00 00 04 00 00 00  02 00 00 00",
         4,
         "",
         {{"status", 6, 0, Style::optional_raw, number(0x80000102)}},
         {}},

        // 1: 8 device   2: 3
        {"vela_dev_backup_cfg",
         "vela_backup_cfg",
         8,
         3,
         [](void* record) { return vela_dev_backup_cfg(as<std::int32_t>(record)); },
         NullRecord::never_refused,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  08 00 00 00"
         "02 00 00 00 04 00 00 00  03 00 00 00",
         4,
         "",
         {{"result", 7, 0, Style::optional_raw, number(0xfffffffe)}},
         {}},

        // 1: 7 GPS   2: 1
        {"vela_gps_GetLocation",
         "vela_gps_get_gps_location",
         7,
         1,
         [](void* record) { return vela_gps_GetLocation(as<tagGPS_LOCATION_INFO>(record)); },
         NullRecord::refused,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  07 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00",
         sizeof(tagGPS_LOCATION_INFO),
         "",
         {{"item5", 5, 0, Style::raw, counting(0x10, 4)},
          {"item6", 6, 4, Style::raw, counting(0x20, 4)},
          {"item7", 7, 8, Style::raw, counting(0x30, 8)},
          {"item8", 8, 16, Style::raw, counting(0x40, 8)},
          {"item9", 9, 24, Style::raw, counting(0x50, 8)},
          {"item10", 10, 32, Style::raw, counting(0x60, 4)},
          {"item11", 11, 36, Style::raw, counting(0x70, 4)},
          {"item12", 12, 40, Style::raw, counting(0x80, 12)}},
         {}},

        // 1: 4 WLAN   2: 1
        {"vela_wlan_GetStationInfo",
         "vela_gps_get_wlan_station",
         4,
         1,
         [](void* record) { return vela_wlan_GetStationInfo(as<WLAN_STATION_INFO_tag>(record)); },
         NullRecord::refused_as_closed,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  04 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00",
         sizeof(WLAN_STATION_INFO_tag),
         "",
         {{"item5", 5, 0, Style::raw, counting(0x10, 4)},
          {"item6", 6, 4, Style::raw, text("ssid of the station")},
          {"item7", 7, 68, Style::raw, counting(0x20, 4)},
          {"item8", 8, 72, Style::raw, counting(0x30, 4)},
          {"item9", 9, 76, Style::raw, "00:11:22:33:44:55"},
          {"item10", 10, 93, Style::raw, text("a station's last words")}},
         {}},

        // 1: 6 cellular   2: 1
        {"vela_arp_get_lte",
         "vela_arp_get_lte_imp",
         6,
         1,
         [](void* record) { return vela_arp_get_lte(as<tagLTE_BREIFINFO_T>(record)); },
         NullRecord::never_refused,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  06 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00",
         236,
         "",
         {{"item5", 5, 33, Style::text, text("five")},
          {"item6", 6, 66, Style::text, text("the sixth")},
          {"item7", 7, 99, Style::text, text("")},
          {"item8", 8, 132, Style::text, text("eight, of thirty-two characters.")},
          {"item9", 9, 165, Style::text, text("nine")},
          {"item10", 10, 200, Style::number, number(0x10010203)},
          {"item11", 11, 204, Style::number, number(0x11010203)},
          {"item12", 12, 208, Style::number, number(0x12010203)},
          {"item13", 13, 212, Style::number, number(0x13010203)},
          {"item14", 14, 216, Style::number, number(0x94010203)},
          {"item15", 15, 220, Style::number, number(0x15010203)},
          {"item16", 16, 224, Style::number, number(0x16010203)},
          {"item17", 17, 228, Style::number, number(0x17010203)},
          {"item18", 18, 232, Style::unsigned_number, number(0x98010203)}},
         {}},

        // 58 bytes, the body 50.   1: 6 cellular   2: 2   5: "Cellular0/0/1"
        {"vela_cellular_GetInfo",
         "vela_lte_get_lte_info",
         6,
         2,
         [](void* record) { return vela_cellular_GetInfo("Cellular0/0/1", as<tagLTE_CONNECTION_INFO>(record)); },
         NullRecord::refused,
         "01 0b 02 00 00 3a 00 07  04 00 00 32"
         "01 00 00 00 04 00 00 00  06 00 00 00"
         "02 00 00 00 04 00 00 00  02 00 00 00"
         "05 00 00 00 0e 00 00 00  43 65 6c 6c 75 6c 61 72 30 2f 30 2f 31 00",
         sizeof(tagLTE_CONNECTION_INFO),
         "",
         {{"item6", 6, 0, Style::raw, counting(0x10, 4)},
          {"item7", 7, 4, Style::raw, text("apn.of.the.operator")},
          {"item8", 8, 68, Style::raw, text("10.20.30.40")},
          {"item9", 9, 84, Style::raw, counting(0x20, 4)},
          {"item10", 10, 88, Style::raw, counting(0x30, 4)},
          {"item11", 11, 92, Style::raw, counting(0x40, 8)}},
         {}},

        // 48 bytes, the body 40.   1: 6 cellular   2: 3   5: 0x80020304
        {"vela_get_sms_info",
         "vela_lte_get_sms_info",
         6,
         3,
         [](void* record) { return vela_get_sms_info(0x80020304, as<tagLTE_SMS_INFO>(record)); },
         NullRecord::refused,
         "01 0b 02 00 00 30 00 07  04 00 00 28"
         "01 00 00 00 04 00 00 00  06 00 00 00"
         "02 00 00 00 04 00 00 00  03 00 00 00"
         "05 00 00 00 04 00 00 00  04 03 02 80",
         sizeof(tagLTE_SMS_INFO),
         "",
         {{"item6", 6, 0, Style::text, text("+31 20 555 0199")},
          {"item7", 7, 32, Style::text, text("The message, which is longer than the number.")}},
         {}},

        // 65 bytes, the body 57.   1: 2 ARP   2: 1   5: "10.1.2.3"   6: 0
        {"vela_arp_get_mac_by_ip",
         "vela_arp_get_mac_by_ip_imp",
         2,
         1,
         [](void* record) { return vela_arp_get_mac_by_ip("10.1.2.3", as<std::uint8_t>(record)); },
         NullRecord::never_refused,
         "01 0b 02 00 00 41 00 07  04 00 00 39"
         "01 00 00 00 04 00 00 00  02 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00"
         "05 00 00 00 09 00 00 00  31 30 2e 31 2e 32 2e 33 00"
         "06 00 00 00 04 00 00 00  00 00 00 00",
         6,
         "",
         {{"mac", 0, 0, Style::six_bytes, counting(0xd1, 6)}},
         {}},

        // 50 bytes, the body 42.   1: 3 access users   2: 1   5: the six bytes of the address
        {"vela_nac_get_access_by_mac",
         "vela_nac_get_access_by_mac_imp",
         3,
         1,
         [](void* record) { return vela_nac_get_access_by_mac(asked_mac, as<tagACCESS_USER_BREIFINFO_T>(record)); },
         NullRecord::refused_in_session,
         "01 0b 02 00 00 32 00 07  04 00 00 2a"
         "01 00 00 00 04 00 00 00  03 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00"
         "05 00 00 00 06 00 00 00  00 1a 2b 3c 4d 5e",
         88,
         "",
         {{"user_ip", 10, 0, Style::unsigned_number, number(0x0a010203)},
          {"ssid_name", 9, 12, Style::text, text("guests of the house")},
          {"oline_time", 10, 76, Style::unsigned_number, number(0x0a010203)},
          {"upbytes", 11, 80, Style::unsigned_number, number(0xf1010203)},
          {"downbytes", 12, 84, Style::unsigned_number, number(0x1c010203)}},
         {}},

        // 1: 9 voice   2: 1
        {"vela_voice_get_call_info",
         "vela_get_voice_call_info",
         9,
         1,
         [](void* record) { return vela_voice_get_call_info(as<stVOICE_CALL_INFO>(record)); },
         NullRecord::refused_without_name,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  09 00 00 00"
         "02 00 00 00 04 00 00 00  01 00 00 00",
         220,
         "",
         {{"count", 5, 24, Style::counted, number(2)},
          {"item6", 6, 0, Style::number, number(0x16010203)},
          {"item7", 7, 4, Style::number, number(0x97010203)},
          {"item8", 8, 8, Style::number, number(0x18010203)},
          {"item9", 9, 12, Style::number, number(0x19010203)},
          {"item10", 10, 16, Style::number, number(0x1a010203)},
          {"item11", 11, 20, Style::number, number(0x1b010203)},
          {"entries[0]", 12, 28, Style::counted, counting(0x20, 24)},
          {"entries[1]", 13, 52, Style::counted, counting(0x40, 24)}},
         {}},

        // 196 bytes, the body 188.   1: 9 voice   2: 2   5: 2 accounts   7: 66 bytes   8: 66 bytes
        {"vela_voice_set_sip_account",
         "vela_set_voice_sip_account",
         9,
         2,
         [](void* record) { return vela_voice_set_sip_account(as<stVOICE_SIP_ACCOUNT_INFO>(record)); },
         NullRecord::refused_without_name,
         "01 0b 02 00 00 c4 00 07  04 00 00 bc"
         "01 00 00 00 04 00 00 00  09 00 00 00"
         "02 00 00 00 04 00 00 00  02 00 00 00"
         "05 00 00 00 04 00 00 00  02 00 00 00"
         "07 00 00 00 42 00 00 00  10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f"
         "                         20 21 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e 2f"
         "                         30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f"
         "                         40 41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f  50 51"
         "08 00 00 00 42 00 00 00  80 81 82 83 84 85 86 87 88 89 8a 8b 8c 8d 8e 8f"
         "                         90 91 92 93 94 95 96 97 98 99 9a 9b 9c 9d 9e 9f"
         "                         a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af"
         "                         b0 b1 b2 b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be bf  c0 c1",
         664,
         number(2) + counting(0x10, 66) + counting(0x80, 66),
         {},
         {Item::integer(6, 0)}},

        // 1: 9 voice   2: 3
        {"vela_voice_get_sip_account",
         "vela_get_voice_sip_account",
         9,
         3,
         [](void* record) { return vela_voice_get_sip_account(as<stVOICE_SIP_ACCOUNT_INFO>(record)); },
         NullRecord::refused_without_name,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  09 00 00 00"
         "02 00 00 00 04 00 00 00  03 00 00 00",
         664,
         "",
         {{"count", 5, 0, Style::counted, number(2)},
          {"accounts[0]", 7, 4, Style::counted, counting(0x10, 66)},
          {"accounts[1]", 8, 70, Style::counted, counting(0x80, 66)}},
         {}},

        // 1: 9 voice   2: 4
        {"vela_voice_get_cita_param",
         "vela_get_voice_cita_param",
         9,
         4,
         [](void* record) { return vela_voice_get_cita_param(as<tagVOICE_CITA_PARAM>(record)); },
         NullRecord::refused_without_name,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  09 00 00 00"
         "02 00 00 00 04 00 00 00  04 00 00 00",
         280,
         "",
         {{"item5", 5, 0, Style::low_byte, number(0x11223305)},
          {"item6", 6, 1, Style::low_byte, number(0x112233f6)},
          {"item7", 7, 2, Style::low_byte, number(0x07)},
          {"item8", 8, 3, Style::low_byte, number(0x108)},
          {"text9", 9, 4, Style::required_raw, text("nine")},
          {"text10", 10, 37, Style::required_raw, text("the tenth")},
          {"text11", 11, 70, Style::required_raw, text("eleven, up to the thirty-third b")},
          {"text12", 12, 103, Style::required_raw, text("twelve")},
          {"text13", 13, 136, Style::required_raw, text("13")},
          {"text14", 14, 169, Style::required_raw, text("fourteen!")},
          {"item15", 15, 202, Style::required_raw, counting(0x50, 6)},
          {"item16", 16, 208, Style::required_raw, counting(0x60, 6)},
          {"item17", 17, 214, Style::required_raw, text("seventeen")},
          {"item18", 18, 248, Style::number, number(0x18010203)},
          {"item19", 19, 252, Style::number, number(0x99010203)},
          {"item20", 20, 256, Style::number, number(0x20010203)},
          {"item21", 21, 260, Style::number, number(0x21010203)},
          {"item22", 22, 264, Style::number, number(0x22010203)},
          {"item23", 23, 268, Style::number, number(0x23010203)},
          {"item24", 24, 272, Style::number, number(0x24010203)},
          {"item25", 25, 276, Style::number, number(0x25010203)}},
         {}},

        // 1: 9 voice   2: 5
        {"vela_voice_get_cita_config_info",
         "vela_get_voice_cita_config_info",
         9,
         5,
         [](void* record) { return vela_voice_get_cita_config_info(as<tagVOICE_CITA_CONFIG_INFO>(record)); },
         NullRecord::refused_without_name,
         "01 0b 02 00 00 24 00 07  04 00 00 1c"
         "01 00 00 00 04 00 00 00  09 00 00 00"
         "02 00 00 00 04 00 00 00  05 00 00 00",
         80,
         "",
         {{"item5", 5, 0, Style::required_raw, counting(0x10, 6)},
          {"item6", 6, 6, Style::required_raw, counting(0x20, 6)},
          {"item7", 7, 12, Style::required_raw, counting(0x30, 6)},
          {"item8", 8, 18, Style::required_raw, counting(0x40, 6)},
          {"item9", 9, 24, Style::required_raw, counting(0x50, 6)},
          {"item10", 10, 30, Style::required_raw, counting(0x60, 6)},
          {"item11", 11, 36, Style::required_raw, counting(0x70, 6)},
          {"item12", 12, 42, Style::required_raw, counting(0x80, 6)},
          {"item13", 13, 48, Style::number, number(0x13010203)},
          {"item14", 14, 52, Style::number, number(0x94010203)},
          {"item15", 15, 56, Style::number, number(0x15010203)},
          {"item16", 16, 60, Style::number, number(0x16010203)},
          {"item17", 17, 64, Style::number, number(0x17010203)},
          {"item18", 18, 68, Style::number, number(0x18010203)},
          {"item19", 19, 72, Style::number, number(0x19010203)},
          {"item20", 20, 76, Style::number, number(0x1a010203)}},
         {}},
    };
    return table;
}

const Query& query(std::string_view function) {
    const auto& all = queries();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Query& one) { return one.function == function; });
    if (found == all.end())
        throw std::invalid_argument("no such query: " + std::string(function));
    return *found;
}

GuardedRecord::GuardedRecord(const Query& query) : memory_(times(guard_size + query.size + guard_size, guard_byte)) {
    memory_.replace(guard_size, query.before.size(), query.before);
}

Values right_values(const Query& query) {
    Values values;
    for (const Field& field : query.fields)
        values.emplace_back(field.value);
    return values;
}

std::vector<Item> reply_head(const Query& query, std::int32_t result) {
    return {Item::integer(1, query.module), Item::integer(2, query.operation), Item::integer(3, result)};
}

std::vector<Item> reply_to(const Query& query, const Values& values) {
    auto items = reply_head(query);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::int32_t tag = query.fields[i].tag;
        const bool again =
            std::any_of(items.begin() + 3, items.end(), [&](const Item& item) { return item.tag == tag; });
        if (values[i] && !again)
            items.push_back(Item::raw(tag, *values[i]));
    }
    items.insert(items.end(), query.also.begin(), query.also.end());
    return items;
}

std::vector<Item> reply_to(const Query& query) { return reply_to(query, right_values(query)); }

Outcome what_becomes_of(const Query& query, const Values& values) {
    GuardedRecord guarded(query);
    char* const record = static_cast<char*>(guarded.get());
    std::size_t length_before = 0;

    const auto ends = [&](std::uint32_t code, const std::string& text) {
        const std::string said = std::string(query.worker) + " # " + text + std::to_string(length_before);
        return Outcome{code, guarded.all(), {said}};
    };
    for (std::size_t i = 0; i < query.fields.size(); ++i) {
        const Field& field = query.fields[i];
        const auto& value = values[i];
        if (field.is_number()) {
            const bool there = value && value->size() == 4;
            if (!there && field.style == Style::unsigned_number)
                continue;
            const std::string stored = there ? *value : number(absent_number);
            std::memcpy(record + field.offset, stored.data(), field.style == Style::low_byte ? 1 : 4);
            continue;
        }
        std::string stored = value.value_or("");
        bool there = value.has_value();
        if (field.style == Style::text) {
            there = there && stored.find('\0') != std::string::npos;
            stored = stored.substr(0, stored.find('\0') + 1);
        }
        if (field.style == Style::six_bytes)
            stored.resize(6);
        if (there && field.offset + stored.size() <= query.size) {
            std::copy(stored.begin(), stored.end(), record + field.offset);
            length_before = value->size();
            continue;
        }
        if (field.style == Style::optional_raw)
            continue;
        if (field.style == Style::required_raw)
            return ends(VELA_ERROR_SHORT_REPLY, "SendRequest get faided, len:");
        return ends(VELA_ERROR, "SendRequest get data faided, len:");
    }
    return {VELA_OK, guarded.all(), {}};
}

void QueryTest::expect_outcome(const Query& query, const Outcome& outcome) {
    GuardedRecord record(query);
    EXPECT_EQ(query.ask(record.get()), outcome.code);
    EXPECT_EQ(sim::hex(record.all()), sim::hex(outcome.record));
    expect_said(outcome.said);
}

void QueryTest::expect_refusal(const Query& query, std::uint32_t code, const std::vector<std::string>& said) {
    expect_outcome(query, {code, GuardedRecord(query).all(), said});
}

} // namespace contract
