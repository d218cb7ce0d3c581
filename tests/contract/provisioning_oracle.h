// What the provisioning recipes are expected to do, worked out from the table that the router answers from: the
// requests, the records and the result.
//
// An implementation of the recipes for the tests alone, written from their description, which shares nothing with the
// library. The literal cases of the tests hold it in check; it then covers the failures at every step, which nobody
// would write out by hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "support/scripted_router.h"

namespace provisioning {

// What a call did. A record reads "<level> <function> <text>"; a line end in its text is written "\n".
struct Outcome {
    std::int32_t code = 0;
    std::vector<std::string> sent{};
    std::vector<std::string> said{};
    bool channel_is_open = false; // afterwards

    bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

// Arguments. Nothing is a null pointer.
using Text = std::optional<std::string>;

struct CellularArguments {
    Text interface {};
    Text apn{};
    Text user{};
    Text password{};
    int auth_mode = 0;
};

struct ApArguments {
    Text radio = "Wlan-Radio0/0/0";
    std::uint32_t vap = 1;
    Text ssid = "cafe";
    Text pass_phrase{};
    std::string address = "192.168.9.1";
    std::string mask = "255.255.255.0";
};

// Where things stand when the call is made, and what goes wrong on the way.
struct Circumstances {
    test::CliTable table{};
    bool session_is_open = true;
    bool channel_is_open = false;
    // The service hangs up when the nth request is about to be sent.
    std::size_t hang_up_at = static_cast<std::size_t>(-1);
    std::size_t longest_command = static_cast<std::size_t>(-1);
};

class Oracle {
public:
    explicit Oracle(Circumstances circumstances);

    Outcome cellular_open(const CellularArguments& arguments);
    Outcome cellular_close(const Text& interface);
    Outcome wlan_create_ap(const ApArguments& arguments);
    Outcome wlan_delete_ap(const Text& radio, std::uint32_t vap);

private:
    struct Reply {
        bool ok = false;
        Text output{};
    };
    struct Range {
        std::int32_t low = 0;
        std::int32_t high = 0;
    };
    // One command of a recipe. In the failure's text {command} and {reply} stand for themselves.
    struct Step {
        std::string command;
        std::string failure;
        std::string unless_shown{}; // left out when "display this" shows this text
        std::string if_shown{};     // left out unless it does
        int level = 3;
    };
    using Steps = std::vector<Step>;

    void say(int level, const std::string& function, const std::string& text);
    bool reaches_the_service(const std::string& function, const std::string& failure);
    Reply ask(const std::string& command, const std::string& key = "", const std::string& answer = "",
              const std::string& separator = ":");
    bool is_granted(const std::string& request, const std::string& function, const std::string& failure);
    bool open_channel();
    bool close_channel();
    bool take(const std::string& function, const Step& step);
    bool take_all(const std::string& function, const Steps& steps);
    Outcome outcome(std::int32_t code) const;

    bool cli_channel_process(bool& opened_here);
    bool entry_system_mode();
    bool return_user_mode();
    bool check_rule_exsit(const std::string& text, const std::string& command);
    std::optional<Range> get_id_range(const std::string& command, const std::string& keyword);
    bool get_interface_name(const Text& name);
    std::optional<std::int32_t> get_vela_acl_num();

    std::int32_t cellular_open_imp(const CellularArguments& arguments);
    bool configure_cellular(const CellularArguments& arguments);
    std::int32_t cellular_close_imp(const Text& interface);
    bool remove_cellular();

    std::int32_t create_ap_imp(const ApArguments& arguments);
    bool configure_ap(const ApArguments& arguments);
    bool check_ssid_exsit(const std::string& ssid);
    bool check_vap_id_cfg_exsit(std::int32_t vap);
    std::optional<std::int32_t> get_valid_vlan_id();
    std::optional<std::int32_t> get_valid_wlan_bss_id();

    std::int32_t delete_ap_imp(const Text& radio, std::int32_t vap);
    std::optional<std::int32_t> get_vlan_id_by_vap_id(std::int32_t vap);
    bool undo_vlanif(std::int32_t vlan);
    bool undo_cfg_on_wlan_radio(std::int32_t vap);
    bool undo_service_set_and_secf(std::int32_t vap);
    bool undo_interface_wlan_bss(std::int32_t vap);
    std::optional<std::int32_t> get_wlan_bss_id_by_wlan_bss_description(std::int32_t vap);
    bool undo_vlan(std::int32_t vlan);

    Circumstances circumstances_;
    bool session_is_open_;
    bool channel_is_open_;
    std::vector<std::string> sent_;
    std::vector<std::string> said_;
};

} // namespace provisioning
