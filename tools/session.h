// What is opened and closed around the calls: the session, the CLI channel, and texts that the library hands out.
#pragma once

#include <cstdint>
#include <string>

#include "qel_api.h"
#include "tools/failure.h"

namespace qel {

class Library {
public:
    Library() { check("vela_init", vela_init()); }
    ~Library() { check_later("vela_release", vela_release()); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

class Session {
public:
    explicit Session(const std::string& client) {
        tagVELA_SESSION_CFG_T cfg{};                          // type 0: the local socket
        client.copy(cfg.client_name, sizeof cfg.client_name); // one that fills the field needs no NUL
        check("vela_session_open", vela_session_open(&cfg, &handle_), client);
    }
    ~Session() { check_later("vela_session_close", vela_session_close(handle_)); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Throws when the service has gone or says no.
    void keep_alive() const { check("vela_session_keepalive", vela_session_keepalive(handle_)); }

private:
    Library library_;
    std::uint32_t handle_ = 0;
};

class CliChannel {
public:
    CliChannel() { check("vela_cli_open", vela_cli_open(&handle_)); }
    ~CliChannel() { check_later("vela_cli_close", vela_cli_close(handle_)); }
    CliChannel(const CliChannel&) = delete;
    CliChannel& operator=(const CliChannel&) = delete;

    std::uint32_t handle() const { return handle_; }

private:
    std::uint32_t handle_ = 0;
};

class Text {
public:
    Text() = default;
    ~Text() { vela_free(text_); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    char** out() { return &text_; }
    bool is_there() const { return text_ != nullptr; }
    std::string get() const { return text_ != nullptr ? text_ : ""; }

private:
    char* text_ = nullptr;
};

} // namespace qel
