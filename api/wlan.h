// Access points on the router's radio: made, found again, removed.
//
// The names of the objects on the router are the library's only record of an access point; both recipes take them from
// here.
#pragma once

#include <cstdint>

#include "api/cli_script.h"

constexpr char kRadio[] = "Wlan-Radio0/0/0"; // the one that is supported

// What a format needs for each name.
#define VLAN_NAME "vela_vlan_%d_%d"           // the WLAN id, the radio's number
#define BSS_DESCRIPTION "vela_wlan_bss_%d_%s" // the WLAN id, the radio
#define SECURITY_PROFILE "vela_secf_%d_%s"    // the WLAN id, the radio
#define SERVICE_SET "vela_service_set_%d_%d"  // the WLAN id, the radio's number

// The radio's number in these names, and -1 when it has none, which is recorded under the caller's name.
bool get_radio_number(const Console& console, const char* radio_if, std::int32_t* radio);

// Creation

std::int32_t vela_wlan_create_ap_imp(const char* radio_if, std::uint32_t vap_id, const char* ssid,
                                     const char* pass_phrase, const char* ip_address, const char* mask);

// Whether an access point of this library's on the radio serves the SSID.
bool check_ssid_exsit(const char* ssid, const char* radio_if);

// Whether "wlan VAP_ID" stands in the radio's configuration; 1 is found in 12 too, as promised.
bool check_vap_id_cfg_exsit(std::int32_t vap_id, const char* radio_if);

// The lowest numbers that are free.
bool get_valid_vlan_id(int& vlan_id);
bool get_valid_wlan_bss_id(std::int32_t* wlan_bss_id);

// Deletion

std::int32_t vela_wlan_delete_ap_imp(const char* radio_if, std::uint32_t vap_id);

// Finding what creation numbered.
bool get_vlan_id_by_vap_id(std::int32_t vap_id, const char* radio_if, std::int32_t* vlan_id);
bool get_wlan_bss_id_by_wlan_bss_description(std::int32_t vap_id, const char* radio_if, std::int32_t* wlan_bss_id);

// Each removes one kind of object, and is true when there was none.
bool undo_vlanif(std::int32_t vlan_id);
bool undo_cfg_on_wlan_radio(std::int32_t vap_id, const char* radio_if);
bool undo_service_set_and_secf(std::int32_t vap_id, const char* radio_if);
bool undo_interface_wlan_bss(std::int32_t vap_id, const char* radio_if);
bool undo_vlan(std::int32_t vlan_id);

// Kept, though nothing calls them.
bool undo_dns_dhcp();
bool undo_dot1x();
char* get_radio_cfg(const char* radio_if); // the caller frees it; null when a command failed
bool check_radio_if_bind_vap_id(std::int32_t vap_id, char* radio_if_out); // which holds sizeof kRadio bytes
