// Makes an access point on the radio, tries a second one that the router cannot make, and deletes the first; shows what
// each did to the router's configuration.
//
//   wlan_access_point_cpp [SSID [PASS-PHRASE]]
//
// The second one wants the address that the first one has. The router refuses that when a part of the access point is
// made already, and the library removes the part. Status 0 when all went like that, 2 for wrong usage. Why something
// failed stands in the system log.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "configuration_changes.h"
#include "qel_api.h"

namespace {

class Failure : public std::runtime_error {
public:
    Failure(const std::string& call, std::int32_t code)
        : std::runtime_error(call + " failed with " + std::to_string(code)) {}
};

void check(const char* call, std::int32_t code) {
    if (code != VELA_OK)
        throw Failure(call, code);
}

// Destructors do not throw: what fails on the way out is told, and makes the program fail.
bool closed_well = true;

void check_close(const char* call, std::int32_t code) {
    if (code == VELA_OK)
        return;
    std::cerr << "wlan_access_point: " << call << " failed with " << code << '\n';
    closed_well = false;
}

class Library {
public:
    Library() { check("vela_init", vela_init()); }
    ~Library() { check_close("vela_release", vela_release()); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

class Session {
public:
    Session() {
        tagVELA_SESSION_CFG_T cfg{}; // type 0: the local socket
        std::string("wlan_access_point").copy(cfg.client_name, sizeof cfg.client_name - 1);
        check("vela_session_open", vela_session_open(&cfg, &handle_));
    }
    ~Session() { check_close("vela_session_close", vela_session_close(handle_)); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

private:
    std::uint32_t handle_ = 0;
};

// The calls use the open channel. Nothing else may use it meanwhile.
class Cli {
public:
    Cli() { check("vela_cli_open", vela_cli_open(&handle_)); }
    ~Cli() { check_close("vela_cli_close", vela_cli_close(handle_)); }
    Cli(const Cli&) = delete;
    Cli& operator=(const Cli&) = delete;

    std::string Configuration() {
        char* text = nullptr;
        const std::int32_t code = vela_cli_execute(handle_, "display current-configuration", nullptr, &text);
        const std::unique_ptr<char, std::int32_t (*)(void*)> owner(text, vela_free);
        check("vela_cli_execute", code);
        return text != nullptr ? text : "";
    }

private:
    std::uint32_t handle_ = 0;
};

constexpr const char* radio = "Wlan-Radio0/0/0";
constexpr const char* address = "192.168.20.1";
constexpr const char* mask = "255.255.255.0";

class AccessPoint {
public:
    // A null pass phrase makes an open network. When a step fails, the router is already as before.
    AccessPoint(std::uint32_t id, const char* ssid, const char* pass_phrase) : id_(id) {
        check("vela_wlan_create_ap", vela_wlan_create_ap(radio, id, ssid, pass_phrase, address, mask));
    }
    ~AccessPoint() { check_close("vela_wlan_delete_ap", vela_wlan_delete_ap(radio, id_)); }
    AccessPoint(const AccessPoint&) = delete;
    AccessPoint& operator=(const AccessPoint&) = delete;

private:
    std::uint32_t id_;
};

void show_changes(Cli& cli, const std::string& before) { print_changes(before.c_str(), cli.Configuration().c_str()); }

// The router stays as it was, although the access point's VLAN and interface were made before the refusal.
void fail_to_create(Cli& cli) {
    const std::string before = cli.Configuration();
    try {
        AccessPoint second(2, "Second", nullptr);
    } catch (const Failure&) {
        std::puts("\nAnother one, with the same address, was refused, and of it is left:");
        show_changes(cli, before);
        return;
    }
    throw std::runtime_error("the second access point was not refused");
}

void use_access_point(const char* ssid, const char* pass_phrase) {
    Library library;
    Session session;
    Cli cli;
    const std::string before = cli.Configuration();
    std::optional<AccessPoint> first;
    try {
        first.emplace(1, ssid, pass_phrase);
        std::printf("The access point %s is made:\n", ssid);
        show_changes(cli, before);
    } catch (const Failure&) {
        std::printf("The access point %s is not made:\n", ssid);
        show_changes(cli, before);
        throw;
    }
    fail_to_create(cli);
    first.reset();
    std::printf("\nThe access point is %s, and of it is left:\n", closed_well ? "deleted" : "not deleted");
    show_changes(cli, before);
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, also into a pipe
    if (argc > 3) {
        std::cerr << "usage: " << argv[0] << " [SSID [PASS-PHRASE]]\n";
        return 2;
    }
    try {
        use_access_point(argc > 1 ? argv[1] : "Guests", argc > 2 ? argv[2] : nullptr);
    } catch (const std::exception& error) {
        std::cerr << "wlan_access_point: " << error.what() << '\n';
        return 1;
    }
    return closed_well ? 0 : 1;
}
