#include "bench/library.h"

#include <stdexcept>
#include <string>

#include "qel_api.h"

namespace bench {

namespace {

void require(std::int32_t code, const char* call) {
    if (code != VELA_OK)
        throw std::runtime_error(std::string(call) + " returned " + std::to_string(code));
}

} // namespace

Library::Library() {
    tagVELA_SESSION_CFG_T cfg{};
    std::string("bench").copy(cfg.client_name, sizeof cfg.client_name - 1);
    require(vela_init(), "vela_init");
    require(vela_session_open(&cfg, &session_), "vela_session_open");
    require(vela_cli_open(&cli_), "vela_cli_open");
}

Library::~Library() {
    vela_session_close(session_);
    vela_release();
}

bool Library::keep_alive() const { return vela_session_keepalive(session_) == VELA_OK; }

bool Library::execute(const char* command, const char* choice) const {
    char* output = nullptr;
    const bool executed = vela_cli_execute(cli_, command, choice, &output) == VELA_OK;
    vela_free(output);
    return executed;
}

} // namespace bench
