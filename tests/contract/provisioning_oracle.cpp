// See the header.
#include "provisioning_oracle.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace provisioning {

namespace {

constexpr const char* cellular = "Cellular0/0/0";
constexpr const char* radio_name = "Wlan-Radio0/0/0";

const std::string hyphens_52(52, '-');
const std::string hyphens_26(26, '-');

// A missing text is printed as nothing.
std::string printed(const Text& text) { return text.value_or("(null)"); }
std::string typed(const Text& text) { return text.value_or(""); }

// The command that carries the pass phrase is recorded without it.
std::string as_recorded(const std::string& command) {
    const std::string before = "wpa2 authentication-method psk pass-phrase cipher ";
    const std::string behind = " encryption-method ccmp";
    const bool has_phrase = command.starts_with(before) && command.size() > before.size() + behind.size();
    return has_phrase ? before + "*******" + behind : command;
}

bool contains(const std::string& text, const std::string& piece) { return text.find(piece) != std::string::npos; }

std::string number(std::int64_t value) { return std::to_string(value); }

std::int32_t leading_number(const std::string& text) {
    return static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10));
}

std::string replace(std::string text, const std::string& token, const std::string& by) {
    if (const auto at = text.find(token); at != std::string::npos)
        text.replace(at, token.size(), by);
    return text;
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string vlan_name(std::int32_t vap) { return "vela_vlan_" + number(vap) + "_0"; }
std::string service_set(std::int32_t vap) { return "vela_service_set_" + number(vap) + "_0"; }
std::string bss_description(std::int32_t vap) { return "vela_wlan_bss_" + number(vap) + "_" + radio_name; }
std::string profile(std::int32_t vap) { return "vela_secf_" + number(vap) + "_" + radio_name; }

std::string auth_text(int mode) {
    if (mode == 1)
        return "pap";
    return mode == 0 || mode == 2 ? "auto" : "chap";
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    out << "result " << outcome.code << ", channel " << (outcome.channel_is_open ? "open" : "closed") << "\nsent:\n";
    for (const std::string& line : outcome.sent)
        out << "    " << line << "|\n";
    out << "said:\n";
    for (const std::string& line : outcome.said)
        out << "    " << line << "|\n";
    return out;
}

Oracle::Oracle(Circumstances circumstances)
    : circumstances_(std::move(circumstances)), session_is_open_(circumstances_.session_is_open),
      channel_is_open_(circumstances_.channel_is_open) {}

Outcome Oracle::cellular_open(const CellularArguments& arguments) { return outcome(cellular_open_imp(arguments)); }
Outcome Oracle::cellular_close(const Text& interface) { return outcome(cellular_close_imp(interface)); }
Outcome Oracle::wlan_create_ap(const ApArguments& arguments) { return outcome(create_ap_imp(arguments)); }
Outcome Oracle::wlan_delete_ap(const Text& radio, std::uint32_t vap) {
    return outcome(delete_ap_imp(radio, static_cast<std::int32_t>(vap)));
}

Outcome Oracle::outcome(std::int32_t code) const { return {code, sent_, said_, channel_is_open_}; }

// The channel -------------------------------------------------------------------------------------------------------

void Oracle::say(int level, const std::string& function, const std::string& text) {
    std::string line = number(level) + " " + function + " ";
    for (const char c : text)
        line += c == '\n' ? std::string("\\n") : std::string(1, c);
    said_.push_back(line);
}

// The service may have hung up before this request, or keep its answer to itself.
bool Oracle::reaches_the_service(const std::string& function, const std::string& failure) {
    if (sent_.size() != circumstances_.hang_up_at)
        return true;
    say(6, "ReadSockThread", "disconnect from server!");
    say(3, "SendData", "socket send error");
    say(3, "SendRequest", "send data failed");
    say(3, function, failure);
    session_is_open_ = false;
    channel_is_open_ = false;
    return false;
}

Oracle::Reply Oracle::ask(const std::string& command, const std::string& key, const std::string& answer,
                          const std::string& separator) {
    const std::string function = "vela_cli_execute_imp";
    if (!channel_is_open_) {
        say(3, function, "cli not open");
        return {};
    }
    if (command.size() > circumstances_.longest_command) {
        say(3, function, "tlv init construct failed");
        return {};
    }
    if (!reaches_the_service(function, "SendRequest failed"))
        return {};
    const test::CliReply reply = circumstances_.table.ReplyTo(sent_.size(), command);
    sent_.push_back(key.empty() ? test::Line(command) : test::Line(command, {{key, answer}}));
    if (reply.silent) {
        say(3, "SendRequest", "wait time out");
        say(3, function, "SendRequest failed");
        return {};
    }
    const Text output = typed(reply.output).empty() ? Text() : reply.output;
    if (!reply.refusal)
        return {true, output};
    std::string choice = key.empty() ? "(null)" : "";
    if (!key.empty())
        choice.append("\"").append(key).append("\"").append(separator).append("\"").append(answer).append("\"");
    say(3, function,
        *reply.refusal + ",command = " + as_recorded(command) + ", choice = " + choice +
            ", result = " + printed(output));
    return {false, output};
}

// Opening or closing the channel.
bool Oracle::is_granted(const std::string& request, const std::string& function, const std::string& failure) {
    if (!reaches_the_service(function, failure))
        return false;
    const test::CliReply reply = circumstances_.table.ReplyTo(sent_.size(), request);
    sent_.push_back(request);
    if (reply.silent) {
        say(3, "SendRequest", "wait time out");
        say(3, function, failure);
        return false;
    }
    if (reply.refusal) {
        say(3, function, *reply.refusal);
        return false;
    }
    return true;
}

bool Oracle::open_channel() {
    const std::string function = "vela_cli_open_imp";
    if (!session_is_open_) {
        say(3, function, "session not open");
        return false;
    }
    if (!is_granted(test::kOpenRequest, function, "SendRequest faided"))
        return false;
    say(6, function, "cli open success, cli handle = " + number(test::kRouterHandle));
    channel_is_open_ = true;
    return true;
}

bool Oracle::close_channel() {
    const std::string function = "vela_cli_close_imp";
    if (!session_is_open_) {
        say(3, function, "please open session first");
        return false;
    }
    if (!channel_is_open_) {
        say(3, function, "please open cli first");
        return false;
    }
    if (!is_granted(test::kCloseRequest, function, "SendRequest failed"))
        return false;
    say(6, function, "cli close success, cli handle = " + number(test::kRouterHandle));
    channel_is_open_ = false;
    return true;
}

bool Oracle::take(const std::string& function, const Step& step) {
    if (!step.unless_shown.empty() && check_rule_exsit(step.unless_shown, "display this"))
        return true;
    if (!step.if_shown.empty() && !check_rule_exsit(step.if_shown, "display this"))
        return true;
    const Reply reply = ask(step.command);
    if (!reply.ok)
        say(step.level, function,
            replace(replace(step.failure, "{reply}", printed(reply.output)), "{command}", step.command));
    return reply.ok;
}

bool Oracle::take_all(const std::string& function, const Steps& steps) {
    return std::all_of(steps.begin(), steps.end(), [&](const Step& step) { return take(function, step); });
}

// The helpers -------------------------------------------------------------------------------------------------------

bool Oracle::cli_channel_process(bool& opened_here) {
    opened_here = false;
    if (!channel_is_open_) {
        if (!open_channel()) {
            say(3, "cli_channel_process", "cli open failed");
            return false;
        }
        opened_here = true;
    }
    return take("cli_channel_process", {"return", "return, Enter <Tarkon> mode"});
}

bool Oracle::entry_system_mode() {
    const bool returned = take("entry_system_mode", {"return", "return"});
    return take("entry_system_mode", {"system-view", "system-view"}) && returned;
}

bool Oracle::return_user_mode() { return take("return_user_mode", {"return", "return"}); }

bool Oracle::check_rule_exsit(const std::string& text, const std::string& command) {
    const Reply reply = ask(command);
    if (!reply.ok) {
        say(3, "check_rule_exsit", command + ", result = " + printed(reply.output));
        return false;
    }
    return reply.output && contains(*reply.output, text);
}

std::optional<Oracle::Range> Oracle::get_id_range(const std::string& command, const std::string& keyword) {
    const std::string function = "get_id_range";
    const Reply reply = ask(command);
    if (!reply.ok) {
        say(3, function, command);
        return std::nullopt;
    }
    if (!reply.output) {
        say(3, function, "result = (null)");
        return std::nullopt;
    }
    const auto at = reply.output->find(keyword);
    if (at == std::string::npos) {
        say(3, function, "pINTEGER = (null)");
        return std::nullopt;
    }
    // The tables here always hold the three marks, in order, behind the keyword.
    const std::string tail = reply.output->substr(at);
    const auto left = tail.find('<');
    const auto middle = tail.find('-');
    const auto right = tail.find('>');
    return Range{leading_number(tail.substr(left + 1, middle - left - 1)),
                 leading_number(tail.substr(middle + 1, right - middle - 1))};
}

bool Oracle::get_interface_name(const Text& name) {
    const std::string function = "get_interface_name";
    if (!name || *name == cellular)
        return true;
    if (*name == "Cellular0/0/1")
        say(3, function, "not support Cellular0/0/1, only support Cellular0/0/0");
    else
        say(3, function, "interface name error, interface_name = " + *name);
    return false;
}

std::optional<std::int32_t> Oracle::get_vela_acl_num() {
    const std::string function = "get_vela_acl_num";
    const std::string needle = "Advanced ACL vela_Cellular0/0/0_acl ";
    const Reply reply = ask("display acl all");
    if (!reply.ok || !reply.output) {
        say(3, function, "display acl all, acl_cfg = " + printed(reply.output));
        return std::nullopt;
    }
    const auto at = reply.output->find(needle);
    if (at == std::string::npos) {
        say(3, function, needle + " does not exsit");
        return std::nullopt;
    }
    return leading_number(reply.output->substr(at + needle.size(), 4));
}

// Cellular ----------------------------------------------------------------------------------------------------------

std::int32_t Oracle::cellular_open_imp(const CellularArguments& arguments) {
    const std::string function = "vela_cellular_open_imp";
    if (!get_interface_name(arguments.interface)) {
        say(3, function, "interface_number = " + printed(arguments.interface));
        return 2;
    }
    std::int32_t code = 1;
    bool opened_here = false;
    if (!cli_channel_process(opened_here))
        say(3, function, "cli_channel_process");
    else if (configure_cellular(arguments))
        code = 0;

    if (code != 0 && cellular_close_imp(std::string(cellular)) != 0)
        say(3, function, "rollback failed");
    if (channel_is_open_ && !take(function, {"return", "return, Enter <Tarkon> mode"}))
        code = 1;
    if (opened_here && !close_channel()) {
        say(3, function, "vela_cli_close");
        code = 1;
    }
    return code;
}

bool Oracle::configure_cellular(const CellularArguments& arguments) {
    const std::string function = "vela_cellular_open_imp";
    if (!entry_system_mode()) {
        say(3, function, "entry system mode");
        return false;
    }
    Steps steps = {
        {"dns resolve", "dns resolve"},
        {"ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", "{command}", "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0"},
        {"acl name vela_Cellular0/0/0_acl", "{command}, result = {reply}"},
        {"rule permit ip", "rule permit ip", "permit ip"},
        {"quit", "quit, quit ACL mode"},
        {"dialer-rule", "dialer-rule, Enter Dialer-rule mode"},
        {"dialer-rule 96 ip permit", "dialer-rule 96 ip permit"},
        {"quit", "quit, quit Dialer-rule mode"},
        {"apn profile vela_apn_Cellular0/0/0_profile", "{command}, result = {reply}"},
    };
    const std::string user = typed(arguments.user);
    const std::string password = typed(arguments.password);
    if (!user.empty() && !password.empty())
        steps.push_back({"user name " + user + " password cipher " + password + " authentication-mode " +
                             auth_text(arguments.auth_mode),
                         "{command}"});
    if (!typed(arguments.apn).empty())
        steps.push_back({"apn " + *arguments.apn, "{command}"});
    const Steps on_interface = {
        {"quit", "quit, quit apn profile mode"},
        {"interface Cellular0/0/0", "{command}"},
        {"dialer enable-circular", "dialer enable-circular"},
        {"dialer-group 96", "dialer-group 96"},
        {"apn-profile vela_apn_Cellular0/0/0_profile", "{command}, result = {reply}"},
        {"dialer number *99# autodial", "{command}", "dialer number *99# autodial"},
    };
    steps.insert(steps.end(), on_interface.begin(), on_interface.end());
    if (!take_all(function, steps))
        return false;

    const auto acl = get_vela_acl_num();
    if (!acl) {
        say(3, function, "search_vela_acl_id failed");
        return false;
    }
    const std::string nat = "nat outbound " + number(*acl);
    return take(function, {nat, "{command}, result = {reply}", nat});
}

std::int32_t Oracle::cellular_close_imp(const Text& interface) {
    const std::string function = "vela_cellular_close_imp";
    if (!get_interface_name(interface)) {
        say(3, function, "interface_number = " + printed(interface));
        return 2;
    }
    std::int32_t code = 1;
    bool opened_here = false;
    if (!cli_channel_process(opened_here))
        say(3, function, "cli_channel_process");
    else if (remove_cellular())
        code = 0;

    if (channel_is_open_ && !take(function, {"return", "return"}))
        code = 1;
    if (opened_here && !close_channel()) {
        say(3, function, "vela_cli_close");
        code = 1;
    }
    return code;
}

bool Oracle::remove_cellular() {
    const std::string function = "vela_cellular_close_imp";
    if (!entry_system_mode()) {
        say(3, function, "entry system mode");
        return false;
    }
    if (!take_all(function, {{"interface Cellular0/0/0", "{command}"},
                             {"undo dialer enable-circular", "{command}", "", "dialer enable-circular"}}))
        return false;

    if (const auto acl = get_vela_acl_num()) {
        const std::string nat = "nat outbound " + number(*acl);
        if (!take(function, {"undo " + nat, "{command}", "", nat}))
            return false;
    } else {
        say(6, function, "vela_Cellular0/0/0_acl not exsit");
    }

    if (!take_all(function, {{"quit", "quit, quit = interface Cellular0/0/0"},
                             {"undo dns resolve", "undo dns resolve"},
                             {"undo ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", "{command}", "",
                              "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0"}}))
        return false;
    if (check_rule_exsit("Advanced ACL vela_Cellular0/0/0_acl ", "display acl all") &&
        !take(function, {"undo acl name vela_Cellular0/0/0_acl", "{command}", "", "", 6}))
        return false;
    if (check_rule_exsit("profile-name       :vela_apn_Cellular0/0/0_profile", "display apn-profile configuration") &&
        !take(function, {"undo apn profile vela_apn_Cellular0/0/0_profile", "{command}, result = {reply}"}))
        return false;
    return take_all(function, {{"dialer-rule", "dialer-rule, Enter Dialer-rule mode"},
                               {"undo dialer-rule 96", "{command}, result = {reply}", "", "dialer-rule 96 ip permit"}});
}

// Access point: creation --------------------------------------------------------------------------------------------

std::int32_t Oracle::create_ap_imp(const ApArguments& arguments) {
    const std::string function = "vela_wlan_create_ap_imp";
    const auto vap = static_cast<std::int32_t>(arguments.vap);
    say(6, hyphens_52 + function, "enter\n");
    if (typed(arguments.ssid).empty() || arguments.ssid->size() > 32) {
        say(3, function, "ssid = " + printed(arguments.ssid));
        return 2;
    }
    if (arguments.radio != std::string(radio_name)) {
        say(3, function, "radio_if = " + printed(arguments.radio) + ", only support Wlan-Radio0/0/0 interface");
        return 2;
    }

    std::int32_t code = 1;
    bool rollback = false;
    bool opened_here = false;
    if (!cli_channel_process(opened_here)) {
        say(3, function, "cli_channel_process");
    } else if (check_ssid_exsit(*arguments.ssid)) {
        say(3, function, "ssid = " + *arguments.ssid + " has exsit under " + radio_name);
    } else if (check_vap_id_cfg_exsit(vap)) {
        say(3, function, "vap_id = " + number(vap) + " has exsit");
        code = 2;
    } else {
        rollback = true;
        code = configure_ap(arguments) ? 0 : 1;
    }

    if (rollback && code != 0)
        say(6, function, delete_ap_imp(arguments.radio, vap) == 0 ? "rollback success" : "rollback failed");
    if (!return_user_mode()) {
        say(3, function, "return user mode");
        code = 1;
    }
    if (opened_here && !close_channel()) {
        say(3, function, "vela_cli_close");
        code = 1;
    }
    say(6, hyphens_52 + function, "exit\n");
    return code;
}

bool Oracle::configure_ap(const ApArguments& arguments) {
    const std::string function = "vela_wlan_create_ap_imp";
    const auto vap = static_cast<std::int32_t>(arguments.vap);
    if (!entry_system_mode()) {
        say(3, function, "entry system-view failed");
        return false;
    }
    if (!take_all(function,
                  {{"dns proxy enable", "dns proxy enable, result = {reply}"}, {"dhcp enable", "dhcp enable"}}))
        return false;

    const auto vlan = get_valid_vlan_id();
    if (!vlan) {
        say(3, function, "get valid vlan id failed");
        return false;
    }
    if (!take_all(function, {{"vlan " + number(*vlan), "{command}"},
                             {"name " + vlan_name(vap), "{command}"},
                             {"quit", "quit"},
                             {"interface Vlanif " + number(*vlan), "{command}"},
                             {"ip address " + arguments.address + " " + arguments.mask, "{command}"},
                             {"dhcp select interface", "dhcp select interface"},
                             {"dhcp server dns-list " + arguments.address, "{command}"},
                             {"quit", "quit"}}))
        return false;

    const auto bss = get_valid_wlan_bss_id();
    if (!bss) {
        say(3, function, "Wlan_Bss id use out");
        return false;
    }
    Steps steps = {
        {"interface wlan-bss " + number(*bss), "{command}"},
        {"description " + bss_description(vap), "{command}"},
        {"port hybrid tagged vlan " + number(*vlan), "{command}"},
        {"quit", "quit"},
        {"wlan", "wlan"},
    };
    if (arguments.pass_phrase) {
        steps.push_back({"security-profile name " + profile(vap), "create security profile failed"});
        steps.push_back({"security-policy wpa2", "security-policy wpa2"});
        steps.push_back(
            {"wpa2 authentication-method psk pass-phrase cipher " + *arguments.pass_phrase + " encryption-method ccmp",
             "wpa2 authentication-method psk pass-phrase cipher ******* encryption-method ****"});
        steps.push_back({"quit", "quit"});
    }
    steps.push_back({"service-set name " + service_set(vap), "{command}"});
    steps.push_back({"ssid " + *arguments.ssid, *arguments.ssid});
    if (!typed(arguments.pass_phrase).empty())
        steps.push_back({"security-profile name " + profile(vap), "{command}"});
    steps.push_back({"wlan-bss " + number(*bss), "{command}"});
    if (!take_all(function, steps))
        return false;

    if (!entry_system_mode()) {
        say(3, function, "entry system mode");
        return false;
    }
    return take_all(function, {{std::string("interface ") + radio_name, "{command}"},
                               {"radio-profile name radiof", "radio-profile name radiof"},
                               {"service-set name " + service_set(vap) + " wlan " + number(vap), "{command}"}});
}

bool Oracle::check_ssid_exsit(const std::string& ssid) {
    const std::string function = "check_ssid_exsit";
    const auto answer = [&] {
        if (!entry_system_mode()) {
            say(3, function, "entry system mode failed");
            return false;
        }
        if (!take(function, {std::string("interface ") + radio_name, "{command}"}))
            return false;
        const Reply radio = ask("display this");
        if (!radio.ok) {
            say(3, function, "display this");
            return false;
        }
        const Reply sets = ask("display service-set all");
        if (!sets.ok) {
            say(3, function, "display this");
            return false;
        }
        if (!radio.output || !sets.output) {
            say(3, function, "radio_cfg = NULL | service_set_info = NULL");
            return false;
        }
        const auto range = get_id_range("service-set name test wlan ? ", "INTEGER");
        if (!range) {
            say(3, function, "get wlan id range");
            return false;
        }
        for (std::int32_t w = range->low; w <= range->high; ++w)
            if (contains(*radio.output, "wlan " + number(w)) &&
                contains(*sets.output, padded(service_set(w), 32) + ssid))
                return true;
        return false;
    };
    const bool exists = answer();
    if (!return_user_mode())
        say(3, function, "return use mode failed");
    return exists;
}

bool Oracle::check_vap_id_cfg_exsit(std::int32_t vap) {
    const std::string function = "check_vap_id_cfg_exsit";
    const auto answer = [&] {
        if (!entry_system_mode()) {
            say(3, function, "entry system mode failed");
            return false;
        }
        if (!take(function, {std::string("interface ") + radio_name, "{command}"}))
            return false;
        const Reply radio = ask("display this");
        if (!radio.ok) {
            say(3, function, "display this");
            return false;
        }
        if (!radio.output) {
            say(3, function, "result = NULL");
            return false;
        }
        const std::string needle = "wlan " + number(vap);
        if (contains(*radio.output, needle))
            return true;
        say(6, function, needle + " not exsit");
        return false;
    };
    const bool exists = answer();
    return return_user_mode() && exists;
}

std::optional<std::int32_t> Oracle::get_valid_vlan_id() {
    const std::string function = "get_valid_vlan_id";
    const auto range = get_id_range("display vlan ?", "INTEGER");
    if (!range) {
        say(3, function, "get vlan id range");
        return std::nullopt;
    }
    const Reply listed = ask("display vlan");
    if (!listed.ok) {
        say(3, function, "display vlan");
        return std::nullopt;
    }
    if (!listed.output) {
        say(3, function, "result = NULL");
        return std::nullopt;
    }
    for (std::int32_t v = range->low; v <= range->high; ++v)
        if (!contains(*listed.output, padded(number(v), 8) + "common"))
            return v;
    return std::nullopt;
}

std::optional<std::int32_t> Oracle::get_valid_wlan_bss_id() {
    const std::string function = "get_valid_wlan_bss_id";
    const std::string listing = "display interface Wlan-Bss | include Wlan-Bss";
    const auto range = get_id_range("interface Wlan-Bss ?", "<");
    if (!range) {
        say(3, function, "get wlan-Bss id range");
        return std::nullopt;
    }
    if (!check_rule_exsit("Wlan-Bss interface", "display interface ?"))
        return range->low;
    const Reply listed = ask(listing);
    if (!listed.ok) {
        say(3, function, listing);
        return std::nullopt;
    }
    if (!listed.output) {
        say(3, function, "result = NULL");
        return std::nullopt;
    }
    for (std::int32_t b = range->low; b <= range->high; ++b)
        if (!contains(*listed.output, "Wlan-Bss" + number(b) + " "))
            return b;
    return std::nullopt;
}

// Access point: deletion --------------------------------------------------------------------------------------------

std::int32_t Oracle::delete_ap_imp(const Text& radio, std::int32_t vap) {
    const std::string function = "vela_wlan_delete_ap_imp";
    say(6, hyphens_26 + function, "enter" + hyphens_26 + "\n");
    if (radio != std::string(radio_name)) {
        say(3, function, "radio_if = " + printed(radio) + ", only support Wlan-Radio0/0/0");
        return 2;
    }
    bool ok = true;
    bool opened_here = false;
    if (!cli_channel_process(opened_here)) {
        say(3, function, "cli_channel_process");
        ok = false;
    } else {
        const auto vlan = get_vlan_id_by_vap_id(vap);
        if (vlan)
            ok = undo_vlanif(*vlan) && ok;
        ok = undo_cfg_on_wlan_radio(vap) && ok;
        ok = undo_service_set_and_secf(vap) && ok;
        ok = undo_interface_wlan_bss(vap) && ok;
        if (vlan)
            ok = undo_vlan(*vlan) && ok;
    }
    ok = take(function, {"return", "return, return <Tarkon> mode"}) && ok;
    if (opened_here && !close_channel()) {
        say(3, function, "vela_cli_close");
        ok = false;
    }
    say(6, hyphens_26 + function, "exit" + hyphens_26 + "\n");
    return ok ? 0 : 1;
}

std::optional<std::int32_t> Oracle::get_vlan_id_by_vap_id(std::int32_t vap) {
    const std::string function = "get_vlan_id_by_vap_id";
    const std::string needle = " " + vlan_name(vap) + " ";
    const Reply brief = ask("display vlan brief");
    if (!brief.ok) {
        say(3, function, "display vlan brief");
        return std::nullopt;
    }
    if (!brief.output) {
        say(3, function, "vlan_brief = NULL");
        return std::nullopt;
    }
    const auto at = brief.output->find(needle);
    if (at == std::string::npos) {
        say(6, function, "vlan " + needle + " does not exsit");
        return std::nullopt;
    }
    return leading_number(brief.output->substr(at - 5, 4));
}

bool Oracle::undo_vlanif(std::int32_t vlan) {
    const std::string function = "undo_vlanif";
    const std::string id = number(vlan);
    const auto remove = [&] {
        if (!take(function, {"interface Vlanif " + id, "{command}"}))
            return false;
        const std::string undo_dhcp = "undo dhcp select interface";
        if (!ask(undo_dhcp, "Are you sure", "y", ",").ok) {
            say(3, function, undo_dhcp);
            return false;
        }
        return take_all(function, {{"quit", "quit, quit interface Vlanif " + id},
                                   {"undo interface Vlanif " + id, "{command}, delete Vlanif " + id}});
    };

    bool ok = entry_system_mode();
    if (check_rule_exsit("Vlan interface", "display interface ? ")) {
        if (!check_rule_exsit("Vlanif" + id + " current state", "display interface Vlanif | include current state"))
            say(6, function, "interface Vlanif " + id + " does not exsit");
        else
            ok = remove() && ok;
    }
    return return_user_mode() && ok;
}

bool Oracle::undo_cfg_on_wlan_radio(std::int32_t vap) {
    const std::string function = "undo_cfg_on_wlan_radio";
    const auto remove = [&] {
        if (!entry_system_mode()) {
            say(3, function, "entry system mode");
            return false;
        }
        if (!take_all(function, {{std::string("interface ") + radio_name, "{command}"},
                                 {"undo service-set name " + service_set(vap), "{command}"}}))
            return false;
        return check_rule_exsit("service-set id", "display this") ||
               take(function, {"undo radio-profile", "undo radio-profile"});
    };
    const bool ok = remove();
    return entry_system_mode() && ok;
}

bool Oracle::undo_service_set_and_secf(std::int32_t vap) {
    const std::string function = "undo_service_set_and_secf";
    const auto remove = [&] {
        if (!entry_system_mode()) {
            say(3, function, "entry system mode failed");
            return false;
        }
        if (!take(function, {"wlan", "wlan, entry wlan mode failed"}))
            return false;
        bool ok = true;
        if (check_rule_exsit(service_set(vap), "display service-set all"))
            ok = take(function, {"undo service-set name " + service_set(vap), "{command}"}) && ok;
        if (check_rule_exsit(profile(vap), "display security-profile all"))
            ok = take(function, {"undo security-profile name " + profile(vap), "{command}"}) && ok;
        return ok;
    };
    const bool ok = remove();
    if (!return_user_mode()) {
        say(3, function, "return_user_mode failed");
        return false;
    }
    return ok;
}

bool Oracle::undo_interface_wlan_bss(std::int32_t vap) {
    const std::string function = "undo_interface_wlan_bss";
    bool ok = entry_system_mode();
    if (const auto bss = get_wlan_bss_id_by_wlan_bss_description(vap))
        ok = take(function, {"undo interface Wlan-Bss " + number(*bss), "{command}"}) && ok;
    else
        say(6, function, "wlan-bss id get failed");
    return return_user_mode() && ok;
}

std::optional<std::int32_t> Oracle::get_wlan_bss_id_by_wlan_bss_description(std::int32_t vap) {
    const std::string function = "get_wlan_bss_id_by_wlan_bss_description";
    const std::string listing = "display interface Wlan-Bss | include Wlan-Bss|Description";
    const std::string description = "Description:" + bss_description(vap);
    if (!check_rule_exsit("Wlan-Bss interface", "display interface ?")) {
        say(3, function, "check_rule_exsit(Wlan-Bss interface, display interface ?)");
        return std::nullopt;
    }
    const Reply listed = ask(listing);
    if (!listed.ok) {
        say(3, function, "vela_cli_execute, command = " + listing + ", result = " + printed(listed.output));
        return std::nullopt;
    }
    if (!listed.output) {
        say(3, function, "result = NULL");
        return std::nullopt;
    }
    const std::string& text = *listed.output;
    const auto wanted = text.find(description);
    if (wanted == std::string::npos) {
        say(4, function, "does not exsit wlan_bss description: " + description + ", result = " + text);
        return std::nullopt;
    }
    std::size_t interface = 0;
    std::size_t cursor = 0;
    for (int round = 0; round < 15; ++round) {
        interface = text.find("Wlan-Bss", cursor);
        const auto next = text.find("Description", cursor);
        if (next == wanted)
            break;
        cursor = next + std::string("Description").size();
    }
    return leading_number(text.substr(interface + std::string("Wlan-Bss").size(), 2));
}

bool Oracle::undo_vlan(std::int32_t vlan) {
    bool ok = entry_system_mode();
    ok = take("undo_vlan", {"undo vlan " + number(vlan), "{command}"}) && ok;
    return return_user_mode() && ok;
}

} // namespace provisioning
