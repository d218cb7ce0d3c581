// Runs commands on the router and saves its configuration.
//
//   session_cpp [CLIENT-NAME]
//
// Three guards close in reverse what was opened, whatever failed in between. Status 0 when everything went as it
// should. What went wrong in detail stands in the system log.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "qel_api.h"

namespace {

class Failure : public std::runtime_error {
public:
    Failure(const std::string& call, std::int32_t code)
        : std::runtime_error(call + " failed with " + std::to_string(code)) {}
};

void check(const std::string& call, std::int32_t code) {
    if (code != VELA_OK)
        throw Failure(call, code);
}

// Destructors do not throw: what fails on the way out is told, and makes the program fail.
bool closed_well = true;

void check_close(const char* call, std::int32_t code) {
    if (code == VELA_OK)
        return;
    std::cerr << "session: " << call << " failed with " << code << '\n';
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
        tagVELA_SESSION_CFG_T cfg{};                     // type 0: the local socket
        if (client_name.size() > sizeof cfg.client_name) // one that fills the field needs no NUL
            throw std::length_error("a client name has at most 64 characters");
        client_name.copy(cfg.client_name, client_name.size());
        check("vela_session_open", vela_session_open(&cfg, &handle_));
    }
    ~Session() { check_close("vela_session_close", vela_session_close(handle_)); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    std::uint32_t Handle() const { return handle_; }

    // A program that is idle for long repeats this; the library never does so by itself.
    void KeepAlive() { check("vela_session_keepalive", vela_session_keepalive(handle_)); }

private:
    std::uint32_t handle_ = 0;
};

// What a command came to: a rejected one has output too, the router's own error text.
struct Outcome {
    std::int32_t code = VELA_OK;
    std::string output;
};

class Cli {
public:
    Cli() { check("vela_cli_open", vela_cli_open(&handle_)); }
    ~Cli() { check_close("vela_cli_close", vela_cli_close(handle_)); }
    Cli(const Cli&) = delete;
    Cli& operator=(const Cli&) = delete;

    Outcome Execute(const char* command) {
        char* text = nullptr; // stays null when the service gave no answer
        const std::int32_t code = vela_cli_execute(handle_, command, nullptr, &text);
        const std::unique_ptr<char, std::int32_t (*)(void*)> owner(text, vela_free);
        return {code, text != nullptr ? text : ""};
    }

    // The router asks whether to continue; vela_cli_save answers. With vela_cli_execute the answer to a prompt goes
    // into its third argument: R"("continue":"y")".
    void Save() { check("vela_cli_save", vela_cli_save()); }

private:
    std::uint32_t handle_ = 0;
};

Outcome show(Cli& cli, const char* command) {
    std::cout << "\n> " << command << '\n';
    Outcome outcome = cli.Execute(command);
    if (!outcome.output.empty())
        std::cout << outcome.output << (outcome.output.back() == '\n' ? "" : "\n");
    return outcome;
}

void run(const std::string& client_name) {
    Library library;
    Session session(client_name);
    std::cout << "Session " << session.Handle() << " is open.\n";
    session.KeepAlive();

    Cli cli;
    for (const char* command :
         {"display version", "system-view", "sysname Branch-7", "return", "display interface brief"})
        check(command, show(cli, command).code);

    const Outcome mistyped = show(cli, "display verison");
    if (mistyped.code != VELA_ERROR)
        throw Failure("rejecting the mistyped command", mistyped.code);
    std::cout << "(rejected, as it should be; result code " << mistyped.code << ")\n";

    cli.Save();
    std::cout << "\nThe configuration is saved.\n";
}

} // namespace

int main(int argc, char** argv) {
    // Line by line, also into a pipe, so that the output keeps its place among the log's lines.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        char version[VELA_VERSION_SIZE];
        check("vela_version", vela_version(version));
        std::cout << version << '\n';

        run(argc > 1 ? argv[1] : "example");
    } catch (const std::exception& error) {
        std::cerr << "session: " << error.what() << '\n';
        return 1;
    }
    return closed_well ? 0 : 1;
}
