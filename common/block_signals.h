// A thread inherits the mask that it is created under. The library's threads take no signal of the application's; those
// that a thread raises by its own fault stay open, so that they end the process where they happen, as elsewhere.
#pragma once

#include <csignal>
#include <initializer_list>

class BlockSignals {
public:
    BlockSignals() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int synchronous : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
            sigdelset(&blocked, synchronous);
        pthread_sigmask(SIG_SETMASK, &blocked, &previous_);
    }
    ~BlockSignals() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    BlockSignals(const BlockSignals&) = delete;
    BlockSignals& operator=(const BlockSignals&) = delete;

private:
    sigset_t previous_{};
};
