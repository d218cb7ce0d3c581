#include "tools/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "tools/failure.h"
#include "tools/text.h"

namespace qel {

void output_failed(int error) {
    if (error == EPIPE)
        throw OutputClosed();
    throw Failure(refused, fmt::format("standard output: {}", std::strerror(error)));
}

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        output_failed(errno);
}

std::string json_line(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string plain(const Json& value) { return value.is_string() ? one_line(value.get<std::string>()) : value.dump(); }

OutputMuted::OutputMuted() : kept_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0 || kept_ < 0)
        return;
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

OutputMuted::~OutputMuted() {
    std::fflush(stdout);
    if (kept_ < 0)
        return;
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
}

} // namespace qel
