// Makes an access point: a VLAN with its interface, a WLAN-BSS interface in it, a security profile when there is a pass
// phrase, a service set with the SSID, and the radio's binding. A step that fails ends the recipe, and what stands by
// then is deleted again.
#include <cstring>
#include <string>

#include "api/frame.h"
#include "api/wlan.h"
#include "session/state.h"

namespace {

constexpr std::size_t kLongestSsid = 32;

struct AccessPoint {
    const char* radio_if;
    std::int32_t vap_id;
    const char* ssid;
    const char* pass_phrase;
    const char* ip_address;
    const char* mask;

    // Found on the router.
    std::int32_t radio = -1;
    std::int32_t vlan = 0;
    std::int32_t wlan_bss = 0;
};

// clang-format off

bool prepare(const Console& console, AccessPoint& ap) {
    return console.Check(entry_system_mode(), "entry system-view failed") &&
           console.TypeForReply("dns proxy enable") &&
           console.Type("dhcp enable") &&
           console.Check(get_valid_vlan_id(ap.vlan), "get valid vlan id failed") &&
           get_radio_number(console, ap.radio_if, &ap.radio);
}

bool make_vlan(const Console& console, const AccessPoint& ap) {
    return console.Type("vlan %d", ap.vlan) &&
           console.Type("name " VLAN_NAME, ap.vap_id, ap.radio) &&
           console.Type("quit");
}

bool make_vlanif(const Console& console, const AccessPoint& ap) {
    return console.Type("interface Vlanif %d", ap.vlan) &&
           console.Type("ip address %s %s", ap.ip_address, ap.mask) &&
           console.Type("dhcp select interface") &&
           console.Type("dhcp server dns-list %s", ap.ip_address) &&
           console.Type("quit");
}

bool make_wlan_bss(const Console& console, AccessPoint& ap) {
    return console.Check(get_valid_wlan_bss_id(&ap.wlan_bss), "Wlan_Bss id use out") &&
           console.Type("interface wlan-bss %d", ap.wlan_bss) &&
           console.Type("description " BSS_DESCRIPTION, ap.vap_id, ap.radio_if) &&
           console.Type("port hybrid tagged vlan %d", ap.vlan) &&
           console.Type("quit");
}

// No record shows the pass phrase.
bool make_security_profile(const Console& console, const AccessPoint& ap) {
    return console.Check(send("security-profile name " SECURITY_PROFILE, ap.vap_id, ap.radio_if),
                         "create security profile failed") &&
           console.Type("security-policy wpa2") &&
           console.Check(send_hiding(ap.pass_phrase, "wpa2 authentication-method psk pass-phrase cipher %s encryption-method ccmp",
                                     ap.pass_phrase),
                         "wpa2 authentication-method psk pass-phrase cipher ******* encryption-method ****") &&
           console.Type("quit");
}

// An empty pass phrase makes a security profile, which is then not bound.
bool make_service_set(const Console& console, const AccessPoint& ap) {
    return console.Type("service-set name " SERVICE_SET, ap.vap_id, ap.radio) &&
           console.Check(send("ssid %s", ap.ssid), ap.ssid) &&
           (is_empty(ap.pass_phrase) ||
            console.Type("security-profile name " SECURITY_PROFILE, ap.vap_id, ap.radio_if)) &&
           console.Type("wlan-bss %d", ap.wlan_bss);
}

bool bind_to_radio(const Console& console, const AccessPoint& ap) {
    return console.Check(entry_system_mode(), "entry system mode") &&
           console.Type("interface %s", ap.radio_if) &&
           console.Type("radio-profile name radiof") &&
           console.Type("service-set name " SERVICE_SET " wlan %d", ap.vap_id, ap.radio, ap.vap_id);
}

bool create(const Console& console, AccessPoint& ap) {
    return prepare(console, ap) &&
           make_vlan(console, ap) &&
           make_vlanif(console, ap) &&
           make_wlan_bss(console, ap) &&
           console.Type("wlan") &&
           (ap.pass_phrase == nullptr || make_security_profile(console, ap)) &&
           make_service_set(console, ap) &&
           bind_to_radio(console, ap);
}

// clang-format on

std::int32_t create_or_roll_back(const Console& console, AccessPoint& ap) {
    if (check_ssid_exsit(ap.ssid, ap.radio_if)) {
        console.Fail("ssid = %s has exsit under %s", ap.ssid, ap.radio_if);
        return VELA_ERROR;
    }
    if (check_vap_id_cfg_exsit(ap.vap_id, ap.radio_if)) {
        console.Fail("vap_id = %d has exsit", ap.vap_id);
        return VELA_ERROR_PARAM;
    }
    if (console.Attempt([&] { return create(console, ap); }))
        return VELA_OK;

    const bool gone = vela_wlan_delete_ap_imp(ap.radio_if, static_cast<std::uint32_t>(ap.vap_id)) == VELA_OK;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d %s", console.Function(), __LINE__,
                   gone ? "rollback success" : "rollback failed");
    return VELA_ERROR;
}

} // namespace

bool get_radio_number(const Console& console, const char* radio_if, std::int32_t* radio) {
    *radio = -1;
    if (convert_radio_interface_to_value(radio_if, radio))
        return true;
    return console.Fail("convert_radio_interface_to_value(%s, %d)", printable(radio_if), *radio);
}

std::int32_t vela_wlan_create_ap_imp(const char* radio_if, std::uint32_t vap_id, const char* ssid,
                                     const char* pass_phrase, const char* ip_address, const char* mask) {
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "----------------------------------------------------%s %d enter\n",
                   VELA_HERE);
    if (is_empty(ssid) || strnlen(ssid, kLongestSsid + 1) > kLongestSsid) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d ssid = %s", VELA_HERE, printable(ssid));
        return VELA_ERROR_PARAM;
    }
    if (radio_if == nullptr || std::strcmp(radio_if, kRadio) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d radio_if = %s, only support Wlan-Radio0/0/0 interface",
                       VELA_HERE, printable(radio_if));
        return VELA_ERROR_PARAM;
    }

    const Console console(__func__);
    AccessPoint ap{radio_if, static_cast<std::int32_t>(vap_id), ssid, pass_phrase, typed(ip_address), typed(mask)};
    std::uint32_t handle = g_uiCliHdl;
    bool opened_here = false;
    std::int32_t result = VELA_ERROR;
    if (console.Check(cli_channel_process(&handle, &opened_here), "cli_channel_process"))
        console.Attempt([&] {
            result = create_or_roll_back(console, ap);
            return true;
        });

    if (!console.Check(return_user_mode(), "return user mode"))
        result = VELA_ERROR;
    if (!close_channel(console, handle, opened_here))
        result = VELA_ERROR;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "----------------------------------------------------%s %d exit\n",
                   VELA_HERE);
    return result;
}

// What stands on the router already

namespace {

bool binds(const Console& console, const char* radio_if, std::int32_t vap_id) {
    if (!console.Check(entry_system_mode(), "entry system mode failed") ||
        !console.Type("interface %s", typed(radio_if)))
        return false;
    const Answer radio = ask("display this");
    if (!console.Check(radio.accepted, "display this") || !console.Check(radio.output != nullptr, "result = NULL"))
        return false;

    const std::string binding = text("wlan %d", vap_id);
    if (contains(radio.output, binding.c_str()))
        return true;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d %s not exsit", console.Function(), __LINE__, binding.c_str());
    return false;
}

// Whether a service set of this library's, with a WLAN id from low to high that the radio binds, has the SSID. In the
// table the name takes 32 columns, and the SSID follows.
bool serves(const Answer& configuration, const Answer& table, std::int32_t low, std::int32_t high, std::int32_t radio,
            const char* ssid) {
    constexpr char prefix[] = "vela_service_set_";
    for (const char* at = std::strstr(table.output.get(), prefix); at != nullptr; at = std::strstr(at + 1, prefix)) {
        const std::int32_t id = number_at(at + std::strlen(prefix), 11);
        if (id < low || id > high)
            continue;
        const std::string row = text("%-32s%s", text(SERVICE_SET, id, radio).c_str(), ssid);
        if (std::strncmp(at, row.c_str(), row.size()) == 0 &&
            contains(configuration.output, text("wlan %d", id).c_str()))
            return true;
    }
    return false;
}

bool is_served(const Console& console, const char* ssid, const char* radio_if) {
    std::int32_t radio = -1;
    if (!get_radio_number(console, radio_if, &radio) ||
        !console.Check(entry_system_mode(), "entry system mode failed") || !console.Type("interface %s", radio_if))
        return false;

    const Answer configuration = ask("display this");
    if (!console.Check(configuration.accepted, "display this"))
        return false;
    const Answer table = ask("display service-set all");
    if (!console.Check(table.accepted, "display this"))
        return false;
    if (!console.Check(configuration.output != nullptr && table.output != nullptr,
                       "radio_cfg = NULL | service_set_info = NULL"))
        return false;

    std::int32_t low = 0;
    std::int32_t high = 0;
    return console.Check(get_id_range(&low, &high, "service-set name test wlan ? ", "INTEGER", "<", "-", ">"),
                         "get wlan id range") &&
           serves(configuration, table, low, high, radio, ssid);
}

} // namespace

bool check_ssid_exsit(const char* ssid, const char* radio_if) {
    const Console console(__func__);
    const bool served = is_served(console, ssid, radio_if);
    console.Check(return_user_mode(), "return use mode failed");
    return served;
}

bool check_vap_id_cfg_exsit(std::int32_t vap_id, const char* radio_if) {
    const bool bound = binds(Console(__func__), radio_if, vap_id);
    return return_user_mode() && bound;
}

namespace {

// The lowest number whose mention is not in the text.
template <class Mention>
bool find_free(const char* text, std::int32_t low, std::int32_t high, Mention mention, std::int32_t* number) {
    Listing listing(text);
    for (std::int64_t each = low; each <= high; ++each) {
        const auto candidate = static_cast<std::int32_t>(each);
        if (!listing.Has(mention(candidate).c_str())) {
            *number = candidate;
            return true;
        }
    }
    return false;
}

} // namespace

bool get_valid_vlan_id(int& vlan_id) {
    const Console console(__func__);
    std::int32_t low = 0;
    std::int32_t high = 0;
    if (!console.Check(get_id_range(&low, &high, "display vlan ?", "INTEGER", "<", "-", ">"), "get vlan id range"))
        return false;
    const char* command = "display vlan";
    const Answer vlans = ask(command);
    if (!console.Check(vlans.accepted, command) || !console.Check(vlans.output != nullptr, "result = NULL"))
        return false;
    const auto mention = [](std::int32_t number) { return text("%-8dcommon", number); };
    return find_free(vlans.output.get(), low, high, mention, &vlan_id);
}

bool get_valid_wlan_bss_id(std::int32_t* wlan_bss_id) {
    const Console console(__func__);
    std::int32_t low = 0;
    std::int32_t high = 0;
    if (!console.Check(get_id_range(&low, &high, "interface Wlan-Bss ?", "<", "<", "-", ">"), "get wlan-Bss id range"))
        return false;
    if (!check_rule_exsit("Wlan-Bss interface", "display interface ?")) {
        *wlan_bss_id = low;
        return true;
    }
    const char* command = "display interface Wlan-Bss | include Wlan-Bss";
    const Answer interfaces = ask(command);
    if (!console.Check(interfaces.accepted, command) || !console.Check(interfaces.output != nullptr, "result = NULL"))
        return false;
    const auto mention = [](std::int32_t number) { return text("Wlan-Bss%d ", number); };
    return find_free(interfaces.output.get(), low, high, mention, wlan_bss_id);
}

std::int32_t vela_wlan_create_ap(const char* radio_if, std::uint32_t vap_id, const char* ssid, const char* pass_phrase,
                                 const char* ip_address, const char* mask) {
    return exported(__func__,
                    [&] { return vela_wlan_create_ap_imp(radio_if, vap_id, ssid, pass_phrase, ip_address, mask); });
}
