// SIGINT, SIGTERM and SIGHUP: a call that waits is ended by them, what is open is closed, and the program then ends of
// the signal as if it had not been caught. A second one ends it at once.
//
// The library's threads block all signals, so it is always the main thread that is interrupted.
#pragma once

#include <csignal>

namespace qel {

class Interrupted {};

// Before the library is started. Signals that are ignored stay so.
void catch_signals();

// The signal that came, or 0.
int caught_signal();
void throw_if_interrupted();

// Ends the process of the signal that came.
void end_of_signal();

// The signals wait, but for those who poll with the mask from before.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

    const sigset_t& mask_before() const { return before_; }

private:
    sigset_t before_{};
};

} // namespace qel
