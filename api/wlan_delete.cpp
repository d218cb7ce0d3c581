// Removes an access point, whole or half-made, and is the rollback of creating one. Every part runs even when one
// before it failed, so that as much goes as can. The DNS proxy and DHCP, which creation turned on for the whole router,
// stay.
#include <cstring>
#include <string>

#include "api/frame.h"
#include "api/wlan.h"
#include "session/state.h"

namespace {

// Both kinds of separator are the device's own, and stay as they are.
constexpr char kSureChoice[] = "\"Are you sure\",\"y\"";
constexpr char kContinueChoice[] = "\"Continue\":\"y\"";

bool remove_access_point(const Console& console, std::int32_t vap_id, const char* radio_if) {
    std::int32_t vlan = 0;
    bool found = false;
    bool removed = true;
    const auto part = [&](auto remove) { removed = console.Attempt(remove) && removed; };

    part([&] {
        found = get_vlan_id_by_vap_id(vap_id, radio_if, &vlan);
        return true; // a VLAN that is gone is no failure
    });
    part([&] { return !found || undo_vlanif(vlan); });
    part([&] { return undo_cfg_on_wlan_radio(vap_id, radio_if); });
    part([&] { return undo_service_set_and_secf(vap_id, radio_if); });
    part([&] { return undo_interface_wlan_bss(vap_id, radio_if); });
    part([&] { return !found || undo_vlan(vlan); });
    return removed;
}

} // namespace

std::int32_t vela_wlan_delete_ap_imp(const char* radio_if, std::uint32_t vap_id) {
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "--------------------------%s %d enter--------------------------\n",
                   VELA_HERE);
    if (radio_if == nullptr || std::strcmp(radio_if, kRadio) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d radio_if = %s, only support %s", VELA_HERE,
                       printable(radio_if), kRadio);
        return VELA_ERROR_PARAM;
    }

    const Console console(__func__);
    std::uint32_t handle = g_uiCliHdl;
    bool opened_here = false;
    bool done = console.Check(cli_channel_process(&handle, &opened_here), "cli_channel_process") &&
                remove_access_point(console, static_cast<std::int32_t>(vap_id), radio_if);

    done = console.Check(send("return"), "return, return <Tarkon> mode") && done;
    done = close_channel(console, handle, opened_here) && done;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "--------------------------%s %d exit--------------------------\n",
                   VELA_HERE);
    return done ? VELA_OK : VELA_ERROR;
}

// Finding the numbers again

// The listing shows the number in 4 columns, a column, and the name between blanks.
bool get_vlan_id_by_vap_id(std::int32_t vap_id, const char* radio_if, std::int32_t* vlan_id) {
    const Console console(__func__);
    std::int32_t radio = -1;
    if (!get_radio_number(console, radio_if, &radio))
        return false;
    const char* command = "display vlan brief";
    const Answer vlans = ask(command);
    if (!console.Check(vlans.accepted, command) || !console.Check(vlans.output != nullptr, "vlan_brief = NULL"))
        return false;

    constexpr std::ptrdiff_t before = 5;
    constexpr std::size_t columns = 4;
    const std::string name = text(" " VLAN_NAME " ", vap_id, radio);
    const char* at = std::strstr(vlans.output.get(), name.c_str());
    if (at == nullptr || at - vlans.output.get() < before) {
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d vlan %s does not exsit", VELA_HERE, name.c_str());
        return false;
    }
    *vlan_id = number_at(at - before, columns);
    return true;
}

// Each description is printed behind the line of its interface, whose number is read in two digits. The walk ends at
// the 15th description, as promised: one further down is taken for the 15th interface's.
bool get_wlan_bss_id_by_wlan_bss_description(std::int32_t vap_id, const char* radio_if, std::int32_t* wlan_bss_id) {
    constexpr char interface[] = "Wlan-Bss";
    constexpr char label[] = "Description";
    constexpr int rounds = 15;

    const Console console(__func__);
    if (!console.Check(check_rule_exsit("Wlan-Bss interface", "display interface ?"),
                       "check_rule_exsit(Wlan-Bss interface, display interface ?)"))
        return false;
    const char* command = "display interface Wlan-Bss | include Wlan-Bss|Description";
    const Answer interfaces = ask(command);
    const char* listing = interfaces.output.get();
    if (!interfaces.accepted) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d vela_cli_execute, command = %s, result = %s", VELA_HERE,
                       command, printable(listing));
        return false;
    }
    if (!console.Check(listing != nullptr, "result = NULL"))
        return false;

    const std::string description = text("Description:" BSS_DESCRIPTION, vap_id, typed(radio_if));
    const char* wanted = std::strstr(listing, description.c_str());
    const char* number = nullptr;
    const char* cursor = listing;
    for (int round = 0; wanted != nullptr && round < rounds; ++round) {
        number = std::strstr(cursor, interface);
        const char* next = std::strstr(cursor, label);
        if (next == wanted)
            break;
        cursor = next + std::strlen(label);
    }
    if (number == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_WARNING, VELA_LOG_API, "%s %d does not exsit wlan_bss description: %s, result = %s",
                       VELA_HERE, description.c_str(), listing);
        return false;
    }
    *wlan_bss_id = number_at(number + std::strlen(interface), 2);
    return true;
}

// Removing

namespace {

// clang-format off
bool remove_vlanif(const Console& console, std::int32_t vlan_id) {
    return console.Type("interface Vlanif %d", vlan_id) &&
           console.TypeAnswering(kSureChoice, "undo dhcp select interface") &&
           (send("quit") || console.Fail("quit, quit interface Vlanif %d", vlan_id)) &&
           (send("undo interface Vlanif %d", vlan_id) ||
            console.Fail("undo interface Vlanif %d, delete Vlanif %d", vlan_id, vlan_id));
}
// clang-format on

} // namespace

bool undo_vlanif(std::int32_t vlan_id) {
    const Console console(__func__);
    bool done = entry_system_mode();
    if (check_rule_exsit("Vlan interface", "display interface ? ")) {
        if (check_rule_exsit(text("Vlanif%d current state", vlan_id).c_str(),
                             "display interface Vlanif | include current state"))
            done = remove_vlanif(console, vlan_id) && done;
        else
            VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d interface Vlanif %d does not exsit", VELA_HERE, vlan_id);
    }
    return return_user_mode() && done;
}

namespace {

// The binding is removed without asking whether it is there.
bool unbind(const Console& console, std::int32_t vap_id, const char* radio_if) {
    std::int32_t radio = -1;
    return console.Check(entry_system_mode(), "entry system mode") && console.Type("interface %s", typed(radio_if)) &&
           get_radio_number(console, radio_if, &radio) &&
           console.Type("undo service-set name " SERVICE_SET, vap_id, radio) &&
           (shown("service-set id") || console.Type("undo radio-profile"));
}

} // namespace

// Ends in system mode, unlike the others.
bool undo_cfg_on_wlan_radio(std::int32_t vap_id, const char* radio_if) {
    const bool done = unbind(Console(__func__), vap_id, radio_if);
    return entry_system_mode() && done;
}

namespace {

// A service set goes before the security profile that it may use.
bool remove_from_wlan(const Console& console, const char* set, const char* profile) {
    if (!console.Check(entry_system_mode(), "entry system mode failed") ||
        !console.Check(send("wlan"), "wlan, entry wlan mode failed"))
        return false;
    const bool set_gone =
        !check_rule_exsit(set, "display service-set all") || console.Type("undo service-set name %s", set);
    const bool profile_gone = !check_rule_exsit(profile, "display security-profile all") ||
                              console.Type("undo security-profile name %s", profile);
    return set_gone && profile_gone;
}

} // namespace

bool undo_service_set_and_secf(std::int32_t vap_id, const char* radio_if) {
    const Console console(__func__);
    std::int32_t radio = -1;
    if (!get_radio_number(console, radio_if, &radio))
        return false;
    const bool done = remove_from_wlan(console, text(SERVICE_SET, vap_id, radio).c_str(),
                                       text(SECURITY_PROFILE, vap_id, radio_if).c_str());
    return console.Check(return_user_mode(), "return_user_mode failed") && done;
}

bool undo_interface_wlan_bss(std::int32_t vap_id, const char* radio_if) {
    const Console console(__func__);
    bool done = entry_system_mode();
    std::int32_t number = 0;
    if (get_wlan_bss_id_by_wlan_bss_description(vap_id, radio_if, &number))
        done = console.Type("undo interface Wlan-Bss %d", number) && done;
    else
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d wlan-bss id get failed", VELA_HERE);
    return return_user_mode() && done;
}

bool undo_vlan(std::int32_t vlan_id) {
    const Console console(__func__);
    bool done = entry_system_mode();
    done = console.Type("undo vlan %d", vlan_id) && done;
    return return_user_mode() && done;
}

// Kept, though nothing calls them

bool undo_dns_dhcp() {
    const Console console(__func__);
    bool done = entry_system_mode();
    done = console.Type("undo dns proxy enable") && done;
    done = console.TypeAnswering(kContinueChoice, "undo dhcp enable") && done;
    return return_user_mode() && done;
}

bool undo_dot1x() {
    const Console console(__func__);
    bool done = entry_system_mode();
    done = console.TypeAnswering(kContinueChoice, "undo dot1x enable") && done;
    return return_user_mode() && done;
}

char* get_radio_cfg(const char* radio_if) {
    const Console console(__func__);
    bool done = entry_system_mode();
    done = console.Type("interface %s", typed(radio_if)) && done;
    Answer configuration = ask("display this");
    done = console.Check(configuration.accepted, "display this") && done;
    done = entry_system_mode() && done;
    return done ? configuration.output.release() : nullptr;
}

bool check_radio_if_bind_vap_id(std::int32_t vap_id, char* radio_if_out) {
    const HeapText configuration(get_radio_cfg(kRadio));
    if (!Console(__func__).Check(configuration != nullptr, "result = NULL"))
        return false;
    if (!contains(configuration, text("wlan %d", vap_id).c_str())) {
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d %s not bind vap_id = %d", VELA_HERE, kRadio, vap_id);
        return false;
    }
    std::memcpy(radio_if_out, kRadio, sizeof kRadio);
    return true;
}

std::int32_t vela_wlan_delete_ap(const char* radio_if, std::uint32_t vap_id) {
    return exported(__func__, [&] { return vela_wlan_delete_ap_imp(radio_if, vap_id); });
}
