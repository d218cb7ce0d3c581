#include "tools/interruption.h"

#include <array>

#include <signal.h>

namespace qel {

namespace {

constexpr std::array ending{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t caught = 0;

void remember(int signal) { caught = signal; }

} // namespace

void catch_signals() {
    for (const int signal : ending) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = remember;
        action.sa_flags = static_cast<int>(SA_RESETHAND); // and no SA_RESTART: a wait ends
        sigaction(signal, &action, nullptr);
    }
}

int caught_signal() { return caught; }

void throw_if_interrupted() {
    if (caught != 0)
        throw Interrupted();
}

void end_of_signal() {
    std::signal(caught, SIG_DFL);
    std::raise(caught);
}

SignalsHeld::SignalsHeld() {
    sigset_t all;
    sigemptyset(&all);
    for (const int signal : ending)
        sigaddset(&all, signal);
    sigprocmask(SIG_BLOCK, &all, &before_);
}

SignalsHeld::~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

} // namespace qel
