// Runs a program and keeps what it writes.
#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sim/unix_socket.h"

namespace sim::test {

struct Finished {
    int status = -1; // of waitpid
    std::string out;
    std::string err;

    int code() const { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }
};

class Process {
public:
    explicit Process(const std::vector<std::string>& command) {
        int in[2], out[2], err[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
            ADD_FAILURE() << "no pipe";
        in_ = Fd(in[1]), out_ = Fd(out[0]), err_ = Fd(err[0]);
        const Fd child_in(in[0]), child_out(out[1]), child_err(err[1]);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, child_in.get(), 0);
        posix_spawn_file_actions_adddup2(&actions, child_out.get(), 1);
        posix_spawn_file_actions_adddup2(&actions, child_err.get(), 2);
        std::vector<std::string> words = command;
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        // Tests that were started in the background, or with nohup, ignore these.
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT})
            sigaddset(&defaults, signal);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        EXPECT_EQ(posix_spawnp(&pid_, arguments[0], &actions, &attributes, arguments.data(), environ), 0) << command[0];
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Process() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void kill(int signal) const { ::kill(pid_, signal); }
    pid_t pid() const { return pid_; }
    void close_input() { in_.reset(); }

    // Up to and with the next line end of standard output.
    std::string read_line() { return read_line(out_); }
    std::string read_error_line() { return read_line(err_); }

    Finished finish() {
        close_input();
        Finished finished;
        finished.out = read_all(out_);
        finished.err = read_all(err_);
        waitpid(pid_, &finished.status, 0);
        pid_ = 0;
        return finished;
    }

private:
    static std::string read_line(const Fd& fd) {
        std::string line;
        char c = 0;
        while (!line.ends_with('\n') && read(fd.get(), &c, 1) == 1)
            line += c;
        return line;
    }
    static std::string read_all(const Fd& fd) {
        std::string all;
        char buffer[4096];
        for (ssize_t size = read(fd.get(), buffer, sizeof buffer); size > 0;
             size = read(fd.get(), buffer, sizeof buffer))
            all.append(buffer, static_cast<std::size_t>(size));
        return all;
    }

    pid_t pid_ = 0;
    Fd in_, out_, err_;
};

inline Finished run_program(const std::vector<std::string>& command) { return Process(command).finish(); }

} // namespace sim::test
