// Runs a command as a child, passes signals on to it, and gives its exit status the way a shell does.
#pragma once

#include <csignal>
#include <string>
#include <vector>

namespace sim {

// Blocks the signals that are passed on or waited for; made before any thread is started, so that every thread leaves
// them to the one that waits here. The constructor's thread is the one to call the functions.
class CommandRunner {
public:
    CommandRunner();

    // The command's exit status; 128 and the signal's number when one ended it; 127 when it is not found and 126 when
    // it cannot be executed, which is also written to standard error.
    int run(const std::vector<std::string>& command);

    // Waits for SIGINT or SIGTERM.
    void wait_for_end();

private:
    sigset_t watched_;
    sigset_t before_;
};

} // namespace sim
