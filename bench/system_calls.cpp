#include "bench/system_calls.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include <sys/prctl.h>
#include <unistd.h>

namespace bench {

namespace {

struct Close {
    void operator()(std::FILE* stream) const { pclose(stream); }
};
using Pipe = std::unique_ptr<std::FILE, Close>;

Pipe attach_strace() {
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
    const std::string command = "exec strace -f -c -p " + std::to_string(getpid()) + " 2>&1";
    return Pipe(popen(command.c_str(), "re")); // NOLINT(cert-env33-c): nothing in it comes from outside
}

// Reads lines until one contains the text; empty when none does.
std::string line_with(std::FILE* stream, const char* text) {
    char line[256];
    while (std::fgets(line, sizeof line, stream) != nullptr)
        if (std::strstr(line, text) != nullptr)
            return line;
    return {};
}

// The number in this column, counted from 0, of a line of words; 0 when there is none.
long number_in(const std::string& line, int column) {
    std::istringstream words(line);
    std::string word;
    for (int i = 0; i <= column; ++i)
        words >> word;
    return words ? std::strtol(word.c_str(), nullptr, 10) : 0;
}

pid_t tracer() {
    std::FILE* status = std::fopen("/proc/self/status", "re");
    if (status == nullptr)
        return 0;
    const std::string line = line_with(status, "TracerPid:"); // "TracerPid: 1234"
    std::fclose(status);
    return static_cast<pid_t>(number_in(line, 1));
}

} // namespace

std::optional<double> system_calls_per(const std::function<bool()>& run, int runs) {
    const Pipe strace = attach_strace();
    if (strace == nullptr || line_with(strace.get(), "attached").empty())
        return std::nullopt;
    const pid_t pid = tracer();
    if (pid == 0)
        return std::nullopt;

    for (int i = 0; i < runs; ++i)
        if (!run())
            break;

    kill(pid, SIGINT);
    const long calls = number_in(line_with(strace.get(), "total"), 3); // "100.00 0.012345 2 6012 total"
    if (calls == 0)
        return std::nullopt;
    return static_cast<double>(calls) / runs;
}

} // namespace bench
