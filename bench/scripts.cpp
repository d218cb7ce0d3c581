#include "bench/scripts.h"

#include <cstdint>
#include <functional>

#include <fmt/format.h>

#include "sim/wire.h"

namespace bench {

namespace {

// What a message carries besides its header and its other two items.
constexpr std::size_t kLargestOutput = sim::max_message_size - sim::head_size - sim::body_prefix_size -
                                       2 * (sim::item_head_size + sizeof(std::int32_t)) - sim::item_head_size - 1;

// As many rows as an output can hold, numbered from first: row(number).
std::string full_list(int first, const std::function<std::string(int)>& row) {
    std::string list;
    for (int number = first;; ++number) {
        const std::string next = row(number);
        if (list.size() + next.size() > kLargestOutput)
            return list;
        list += next;
    }
}

std::string vlan_row(int number) { return fmt::format("{:<8}common\n", number); }
std::string wlan_bss_row(int number) { return fmt::format("Wlan-Bss{} UP\n", number); }
std::string service_set_row(int id, const char* ssid) {
    return fmt::format("{:<32}{}\n", fmt::format("vela_service_set_{}_0", id), ssid);
}
std::string binding_row(int id) { return fmt::format(" service-set name vela_service_set_{0}_0 wlan {0}\n", id); }

Script cellular_open() {
    return {
        "cellular_open",
        {{"display this", "#\ninterface Cellular0/0/0\n link-protocol ppp\n#\nreturn\n"},
         {"display acl all", "Total nonempty ACL number is 1\n\nAdvanced ACL vela_Cellular0/0/0_acl 3999, 1 rule\n"}}};
}

Script cellular_close() {
    return {
        "cellular_close",
        {{"display this", "#\n dialer enable-circular\n nat outbound 3999\n"
                          "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0\n dialer-rule 96 ip permit\n#\nreturn\n"},
         {"display acl all", "Total nonempty ACL number is 1\n\nAdvanced ACL vela_Cellular0/0/0_acl 3999, 1 rule\n"},
         {"display apn-profile configuration", "profile-name       :vela_apn_Cellular0/0/0_profile\n"}}};
}

Script wlan_create_ap() {
    return {"wlan_create_ap",
            {{"display this", "#\ninterface Wlan-Radio0/0/0\n" + binding_row(2) + "#\nreturn\n"},
             {"display service-set all", service_set_row(2, "staff")},
             {"service-set name test wlan ? ", "  INTEGER<1-16>  WLAN ID\n"},
             {"display vlan ?", "  INTEGER<1-4094>  VLAN ID\n"},
             {"display vlan", "VLAN ID Type\n" + vlan_row(1) + vlan_row(2) + vlan_row(3)},
             {"interface Wlan-Bss ?", "  <0-127>  Wlan-Bss interface number\n"},
             {"display interface ?", "  Wlan-Bss  Wlan-Bss interface\n"},
             {"display interface Wlan-Bss | include Wlan-Bss", wlan_bss_row(0) + wlan_bss_row(1)}}};
}

// The widest ranges, and lists as long as a message can carry: the free numbers are the first that the lists leave out,
// and every service set has the SSID, but none is bound to the radio.
Script wlan_create_ap_full() {
    return {"wlan_create_ap_full",
            {{"display this", full_list(2000, binding_row)},
             {"display service-set all", full_list(1000, [](int id) { return service_set_row(id, "guests"); })},
             {"service-set name test wlan ? ", "  INTEGER<1-4094>  WLAN ID\n"},
             {"display vlan ?", "  INTEGER<1-4094>  VLAN ID\n"},
             {"display vlan", full_list(1, vlan_row)},
             {"interface Wlan-Bss ?", "  <0-4094>  Wlan-Bss interface number\n"},
             {"display interface ?", "  Wlan-Bss  Wlan-Bss interface\n"},
             {"display interface Wlan-Bss | include Wlan-Bss", full_list(0, wlan_bss_row)}}};
}

// The same lists from the highest number down, as no router prints them.
std::string reversed(const std::string& list) {
    std::string lines;
    for (std::size_t at = 0, end = 0; at < list.size(); at = end) {
        end = list.find('\n', at) + 1;
        lines.insert(0, list, at, end - at);
    }
    return lines;
}

Script wlan_create_ap_reversed() {
    Script script = wlan_create_ap_full();
    script.name = "wlan_create_ap_reversed";
    for (auto& [command, output] : script.outputs)
        output = reversed(output);
    return script;
}

Script wlan_delete_ap() {
    return {"wlan_delete_ap",
            {{"display vlan brief", "VID  Name\n   4  vela_vlan_4094_0 UP\n"},
             {"display interface ? ", "  Vlanif  Vlan interface\n"},
             {"display interface Vlanif | include current state", "Vlanif4 current state : UP\n"},
             {"display this", "#\ninterface Wlan-Radio0/0/0\n radio-profile name radiof\n#\nreturn\n"},
             {"display service-set all", service_set_row(4094, "guests")},
             {"display security-profile all", "vela_secf_4094_Wlan-Radio0/0/0\n"},
             {"display interface ?", "  Wlan-Bss  Wlan-Bss interface\n"},
             {"display interface Wlan-Bss | include Wlan-Bss|Description",
              "Wlan-Bss2 current state : UP\nDescription:vela_wlan_bss_4094_Wlan-Radio0/0/0\n"}}};
}

} // namespace

const std::vector<Script>& scripts() {
    static const std::vector<Script> all = {cellular_open(),       cellular_close(),          wlan_create_ap(),
                                            wlan_create_ap_full(), wlan_create_ap_reversed(), wlan_delete_ap()};
    return all;
}

} // namespace bench
