#include "sim/command_runner.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <system_error>

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

namespace {

constexpr int not_executable = 126;
constexpr int not_found = 127;

// The search goes on past directories that may not be looked into, and then reports those instead of the failure.
bool exists(const std::string& command) {
    std::error_code none;
    if (command.find('/') != std::string::npos)
        return std::filesystem::exists(command, none);
    const char* const path = std::getenv("PATH");
    std::istringstream directories(path == nullptr ? "/bin:/usr/bin" : path);
    for (std::string directory; std::getline(directories, directory, ':');)
        if (std::filesystem::exists(std::filesystem::path(directory) / command, none))
            return true;
    return false;
}

int shell_status(int status) { return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status); }

} // namespace

CommandRunner::CommandRunner() {
    // A parent may have left it ignored, and then there would be no status to collect.
    std::signal(SIGCHLD, SIG_DFL);
    sigemptyset(&watched_);
    for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2})
        sigaddset(&watched_, signal);
    pthread_sigmask(SIG_BLOCK, &watched_, &before_);
}

int CommandRunner::run(const std::vector<std::string>& command) {
    std::vector<std::string> words = command;
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &before_);
    pid_t child = 0;
    int error = posix_spawnp(&child, arguments.front(), nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error == EACCES && !exists(command.front()))
        error = ENOENT;
    if (error != 0) {
        fmt::print(stderr, "qel-sim: {}: {}\n", command.front(), std::strerror(error));
        return error == ENOENT ? not_found : not_executable;
    }

    for (;;) {
        siginfo_t signal{};
        if (sigwaitinfo(&watched_, &signal) == -1)
            continue;
        int status = 0;
        if (signal.si_signo == SIGCHLD) {
            // Stopped children report too; only the end counts.
            if (waitpid(child, &status, WNOHANG) == child)
                return shell_status(status);
            continue;
        }
        // What the terminal sends, it sends to the child as well.
        if (signal.si_code != SI_KERNEL)
            kill(child, signal.si_signo);
    }
}

void CommandRunner::wait_for_end() {
    for (;;) {
        const int signal = sigwaitinfo(&watched_, nullptr);
        if (signal == SIGINT || signal == SIGTERM)
            return;
    }
}

} // namespace sim
