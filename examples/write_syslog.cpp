// Has the router write a line into its log.
//
//   write_syslog_cpp MESSAGE [SEVERITY [SOURCE]]
//
// What a service makes of the three texts is its own business: the simulated router takes the first as the source, the
// second as level and alias, like 5/DONE, and the third as the message. Status 0 when it accepted them, 2 for wrong
// usage.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>

#include "qel_api.h"

namespace {

void check(const char* call, std::int32_t code) {
    if (code != VELA_OK)
        throw std::runtime_error(std::string(call) + " failed with " + std::to_string(code));
}

// Destructors do not throw: what fails on the way out is told, and makes the program fail.
bool closed_well = true;

void check_close(const char* call, std::int32_t code) {
    if (code == VELA_OK)
        return;
    std::cerr << "write_syslog: " << call << " failed with " << code << '\n';
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
    explicit Session(const std::string& client_name) {
        tagVELA_SESSION_CFG_T cfg{}; // type 0: the local socket
        client_name.copy(cfg.client_name, sizeof cfg.client_name - 1);
        check("vela_session_open", vela_session_open(&cfg, &handle_));
    }
    ~Session() { check_close("vela_session_close", vela_session_close(handle_)); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

private:
    std::uint32_t handle_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, also into a pipe
    if (argc < 2 || argc > 4) {
        std::cerr << "usage: " << argv[0] << " MESSAGE [SEVERITY [SOURCE]]\n";
        return 2;
    }
    try {
        Library library;
        Session session("write_syslog");
        check("vela_syslog", vela_syslog(argc > 3 ? argv[3] : "EXAMPLE", argc > 2 ? argv[2] : "6", argv[1]));
        std::cout << "The router has written: " << argv[1] << '\n';
    } catch (const std::exception& error) {
        std::cerr << "write_syslog: " << error.what() << '\n';
        return 1;
    }
    return closed_well ? 0 : 1;
}
