// One reply to every call that reads a reply into a record or a text of the caller's.
#include "api/cli.h"
#include "api/snmp.h"
#include "qel_api.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/service.h"

namespace {

// A record of exactly its size, on the heap.
template <class Record, class Call> void fill(Call call) {
    const auto record = std::make_unique<Record>();
    call(record.get());
}

template <class Call> void fill_bytes(std::size_t size, Call call) {
    const auto bytes = std::make_unique<char[]>(size);
    call(bytes.get());
}

void read_text(char* text) {
    if (text == nullptr)
        return;
    fuzz::read_all(text, std::string_view(text).size());
    vela_free(text);
}

void query() {
    fill_bytes(VELA_ESN_SIZE, [](char* esn) { vela_dev_get_esn(esn); });
    fill<std::uint32_t>([](auto* status) { vela_dev_get_acc_status(status); });
    fill<std::int32_t>([](auto* result) { vela_dev_backup_cfg(result); });
    fill<tagGPS_LOCATION_INFO>([](auto* info) { vela_gps_GetLocation(info); });
    fill<WLAN_STATION_INFO_tag>([](auto* info) { vela_wlan_GetStationInfo(info); });
    fill<tagLTE_BREIFINFO_T>([](auto* info) { vela_arp_get_lte(info); });
    fill<tagLTE_CONNECTION_INFO>([](auto* info) { vela_cellular_GetInfo("Cellular0/0/0", info); });
    fill<tagLTE_SMS_INFO>([](auto* info) { vela_get_sms_info(1, info); });
    fill_bytes(6, [](char* mac) { vela_arp_get_mac_by_ip("10.0.0.1", reinterpret_cast<std::uint8_t*>(mac)); });
    fill<tagACCESS_USER_BREIFINFO_T>([](auto* info) {
        const std::uint8_t mac[6] = {};
        vela_nac_get_access_by_mac(mac, info);
    });
    fill<stVOICE_CALL_INFO>([](auto* info) { vela_voice_get_call_info(info); });
    fill<stVOICE_SIP_ACCOUNT_INFO>([](auto* info) { vela_voice_get_sip_account(info); });
    fill<stVOICE_SIP_ACCOUNT_INFO>([](auto* info) { vela_voice_set_sip_account(info); });
    fill<tagVOICE_CITA_PARAM>([](auto* info) { vela_voice_get_cita_param(info); });
    fill<tagVOICE_CITA_CONFIG_INFO>([](auto* info) { vela_voice_get_cita_config_info(info); });
}

void read_snmp() {
    char* value = nullptr;
    vela_snmp_get("1.3.6", &value);
    read_text(value);
    char* next = nullptr;
    value = nullptr;
    vela_snmp_get_next("1.3.6", &next, &value);
    read_text(next);
    read_text(value);
}

void run_commands() {
    char* output = nullptr;
    vela_cli_execute_imp(3, "display clock", nullptr, &output);
    read_text(output);
    output = nullptr;
    vela_cli_execute_imp_back(3, "display clock", nullptr, &output);
    read_text(output);
    vela_cli_save_imp();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::open_everything();
    fuzz::answer_with(input.rest());
    query();
    read_snmp();
    run_commands();
    vela_syslog("a", "b", "c");
    return 0;
}
