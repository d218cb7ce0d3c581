// Brings the cellular interface up as the router's uplink and takes it down again, and shows what each did to the
// router's configuration.
//
//   cellular_uplink_cpp [APN [USER PASSWORD]]
//
// Status 0 when both went well, 2 for wrong usage. Why something failed stands in the system log.
#include <array>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
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
    std::cerr << "cellular_uplink: " << call << " failed with " << code << '\n';
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
        std::string("cellular_uplink").copy(cfg.client_name, sizeof cfg.client_name - 1);
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

// What is null is not configured.
struct Credentials {
    const char* apn = nullptr;
    const char* user = nullptr;
    const char* password = nullptr;
};

void use_uplink(const Credentials& credentials) {
    Library library;
    Session session;
    Cli cli;
    const std::string before = cli.Configuration();

    // Null is the one cellular interface. When a step fails, the router is already as before.
    const std::int32_t opened =
        vela_cellular_open(nullptr, credentials.apn, credentials.user, credentials.password, VELA_CELLULAR_AUTH_AUTO);
    std::puts(opened == VELA_OK ? "The uplink is up:" : "The uplink did not come up:");
    print_changes(before.c_str(), cli.Configuration().c_str());
    check("vela_cellular_open", opened);

    const std::int32_t closed = vela_cellular_close(nullptr);
    std::puts(closed == VELA_OK ? "\nThe uplink is down, and of it is left:"
                                : "\nThe uplink did not go down, and of it is left:");
    print_changes(before.c_str(), cli.Configuration().c_str());
    check("vela_cellular_close", closed);
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, also into a pipe
    if (argc == 3 || argc > 4) {
        std::cerr << "usage: " << argv[0] << " [APN [USER PASSWORD]]\n";
        return 2;
    }
    try {
        Credentials credentials;
        if (argc > 1)
            credentials.apn = argv[1];
        if (argc > 3) {
            credentials.user = argv[2];
            credentials.password = argv[3];
        }
        use_uplink(credentials);
    } catch (const std::exception& error) {
        std::cerr << "cellular_uplink: " << error.what() << '\n';
        return 1;
    }
    return closed_well ? 0 : 1;
}
