// Brings the cellular interface up as the uplink of the default route, and takes that configuration away again. The
// router's configuration is the only record of what was done: each line that may be there already is asked for first.
//
// A recipe reads as the session at the router's console. It stops at the first step that fails.
#include "api/cellular.h"

#include "api/cli_script.h"
#include "api/frame.h"
#include "session/state.h"

namespace {

// Both 0 and 2 leave it to the router.
const char* authentication(tagCELLULAR_AUTH_MODE mode) {
    switch (mode) {
    case VELA_CELLULAR_AUTH_PAP:
        return "pap";
    case VELA_CELLULAR_AUTH_AUTO:
    case VELA_CELLULAR_AUTH_BOTH:
        return "auto";
    default:
        return "chap";
    }
}

bool translate_addresses(const Console& console, const char* cellular) {
    std::int32_t acl = 0;
    if (!console.Check(get_vela_acl_num(cellular, &acl), "search_vela_acl_id failed"))
        return false;
    return shown("nat outbound %d", acl) || console.TypeForReply("nat outbound %d", acl);
}

// clang-format off

bool bring_up(const Console& console, const char* cellular, const char* apn, const char* user_name,
              const char* password, const char* authentication_mode) {
    return console.Check(entry_system_mode(), "entry system mode") &&
           console.Type("dns resolve") &&
           console.TypeUnlessShown("ip route-static 0.0.0.0 0.0.0.0 %s", cellular) &&

           console.TypeForReply("acl name vela_%s_acl", cellular) &&
           (shown("permit ip") || console.Type("rule permit ip")) &&
           console.Check(send("quit"), "quit, quit ACL mode") &&

           console.Check(send("dialer-rule"), "dialer-rule, Enter Dialer-rule mode") &&
           console.Type("dialer-rule 96 ip permit") &&
           console.Check(send("quit"), "quit, quit Dialer-rule mode") &&

           console.TypeForReply("apn profile vela_apn_%s_profile", cellular) &&
           (is_empty(user_name) || is_empty(password) ||
            console.Type("user name %s password cipher %s authentication-mode %s", user_name, password,
                         authentication_mode)) &&
           (is_empty(apn) || console.Type("apn %s", apn)) &&
           console.Check(send("quit"), "quit, quit apn profile mode") &&

           console.Type("interface %s", cellular) &&
           console.Type("dialer enable-circular") &&
           console.Type("dialer-group 96") &&
           console.TypeForReply("apn-profile vela_apn_%s_profile", cellular) &&
           console.TypeUnlessShown("dialer number *99# autodial") &&
           translate_addresses(console, cellular);
}

// clang-format on

// A missing access list is no failure: it may have been removed by hand.
bool stop_translating(const Console& console, const char* cellular) {
    std::int32_t acl = 0;
    if (!get_vela_acl_num(cellular, &acl)) {
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d vela_%s_acl not exsit", console.Function(), __LINE__,
                       cellular);
        return true;
    }
    return !shown("nat outbound %d", acl) || console.Type("undo nat outbound %d", acl);
}

bool remove_acl(const Console& console, const char* cellular) {
    if (!check_rule_exsit(text("Advanced ACL vela_%s_acl ", cellular).c_str(), "display acl all"))
        return true;
    if (send("undo acl name vela_%s_acl", cellular))
        return true;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d undo acl name vela_%s_acl", console.Function(), __LINE__,
                   cellular);
    return false;
}

bool has_profile(const char* cellular) {
    return check_rule_exsit(text("profile-name       :vela_apn_%s_profile", cellular).c_str(),
                            "display apn-profile configuration");
}

// clang-format off

// The dialer group, the APN profile's binding and the autodial number stay on the interface, as promised.
bool take_down(const Console& console, const char* cellular) {
    return console.Check(entry_system_mode(), "entry system mode") &&
           console.Type("interface %s", cellular) &&
           (!shown("dialer enable-circular") || console.Type("undo dialer enable-circular")) &&
           stop_translating(console, cellular) &&
           (send("quit") || console.Fail("quit, quit = interface %s", cellular)) &&

           console.Type("undo dns resolve") &&
           (!shown("ip route-static 0.0.0.0 0.0.0.0 %s", cellular) ||
            console.Type("undo ip route-static 0.0.0.0 0.0.0.0 %s", cellular)) &&
           remove_acl(console, cellular) &&
           (!has_profile(cellular) || console.TypeForReply("undo apn profile vela_apn_%s_profile", cellular)) &&

           console.Check(send("dialer-rule"), "dialer-rule, Enter Dialer-rule mode") &&
           (!shown("dialer-rule 96 ip permit") || console.TypeForReply("undo dialer-rule 96"));
}

// clang-format on

// The end of both recipes, whatever came of them.
std::int32_t leave(const Console& console, std::int32_t result, std::uint32_t handle, bool opened_here,
                   const char* not_returned) {
    if (g_bCliIsOpen != 0 && !console.Check(send("return"), not_returned))
        result = VELA_ERROR;
    if (!close_channel(console, handle, opened_here))
        result = VELA_ERROR;
    return result;
}

} // namespace

std::int32_t vela_cellular_open_imp(const char* interface_name, const char* apn, const char* user_name,
                                    const char* password, tagCELLULAR_AUTH_MODE auth_mode) {
    char cellular[kInterfaceNameSize] = {};
    if (!get_interface_name(interface_name, cellular)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d interface_number = %s", VELA_HERE,
                       printable(interface_name));
        return VELA_ERROR_PARAM;
    }

    const Console console(__func__);
    std::uint32_t handle = g_uiCliHdl;
    bool opened_here = false;
    const bool up =
        console.Check(cli_channel_process(&handle, &opened_here), "cli_channel_process") && console.Attempt([&] {
            return bring_up(console, cellular, apn, user_name, password, authentication(auth_mode));
        });
    if (!up)
        console.Check(vela_cellular_close_imp(cellular) == VELA_OK, "rollback failed");
    return leave(console, up ? VELA_OK : VELA_ERROR, handle, opened_here, "return, Enter <Tarkon> mode");
}

std::int32_t vela_cellular_close_imp(const char* interface_name) {
    char cellular[kInterfaceNameSize] = {};
    if (!get_interface_name(interface_name, cellular)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d interface_number = %s", VELA_HERE,
                       printable(interface_name));
        return VELA_ERROR_PARAM;
    }

    const Console console(__func__);
    std::uint32_t handle = g_uiCliHdl;
    bool opened_here = false;
    const bool down = console.Check(cli_channel_process(&handle, &opened_here), "cli_channel_process") &&
                      console.Attempt([&] { return take_down(console, cellular); });
    return leave(console, down ? VELA_OK : VELA_ERROR, handle, opened_here, "return");
}

std::int32_t vela_cellular_open(const char* interface_name, const char* apn, const char* user_name,
                                const char* password, tagCELLULAR_AUTH_MODE auth_mode) {
    return exported(__func__,
                    [&] { return vela_cellular_open_imp(interface_name, apn, user_name, password, auth_mode); });
}

std::int32_t vela_cellular_close(const char* interface_name) {
    return exported(__func__, [&] { return vela_cellular_close_imp(interface_name); });
}
