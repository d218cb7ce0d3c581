// What the recipes read out of the router's prints, and whole recipes. The same text answers every command.
#include "api/cellular.h"
#include "api/cli_script.h"
#include "api/wlan.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/service.h"

namespace {

using fuzz::require;

// Each reads a number to the heap, where a write past its end is found.
template <class Read> void number(Read read) {
    const auto found = std::make_unique<std::int32_t>();
    read(found.get());
}

void read_numbers() {
    number([](std::int32_t* low) {
        number([low](std::int32_t* high) { get_id_range(low, high, "display vlan ?", "INTEGER", "<", "-", ">"); });
    });
    number([](std::int32_t* low) { number([low](std::int32_t* high) { get_wlan_id_range(low, high, kRadio); }); });
    number([](std::int32_t* acl) { get_vela_acl_num("Cellular0/0/0", acl); });
    number([](std::int32_t* vlan) { get_valid_vlan_id(*vlan); });
    number([](std::int32_t* bss) { get_valid_wlan_bss_id(bss); });
    number([](std::int32_t* vlan) { get_vlan_id_by_vap_id(2, kRadio, vlan); });
    number([](std::int32_t* bss) { get_wlan_bss_id_by_wlan_bss_description(2, kRadio, bss); });
}

void probe() {
    check_ssid_exsit("cafe", kRadio);
    check_vap_id_cfg_exsit(2, kRadio);
    const auto radio = std::make_unique<char[]>(sizeof kRadio);
    if (check_radio_if_bind_vap_id(2, radio.get()))
        require(std::string_view(radio.get()).size() < sizeof kRadio, "a name keeps to its size");
}

void provision() {
    vela_cellular_open_imp(nullptr, "apn", "user", "password", 0);
    vela_cellular_close_imp(nullptr);
    vela_wlan_create_ap_imp(kRadio, 2, "cafe", "password", "10.0.0.1", "255.255.255.0");
    vela_wlan_delete_ap_imp(kRadio, 2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::open_everything();
    fuzz::print(input.rest());
    read_numbers();
    probe();
    provision();
    return 0;
}
