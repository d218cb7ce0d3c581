#include "tools/input.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "tools/failure.h"
#include "tools/interruption.h"
#include "tools/text.h"

namespace qel {

namespace {

std::string name_of(const std::string& path) { return path == "-" ? "standard input" : path; }

int open_file(const std::string& path) { return path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC); }

// A signal that came a moment ago ends it too.
void wait_for_input(int file) {
    const SignalsHeld held;
    throw_if_interrupted();
    pollfd input{file, POLLIN, 0};
    ppoll(&input, 1, nullptr, &held.mask_before());
    throw_if_interrupted();
}

} // namespace

LineReader::LineReader(const std::string& path) : name_(name_of(path)), file_(open_file(path)) {
    if (file_ < 0)
        throw Failure(wrong_usage, fmt::format("{}: {}", name_, std::strerror(errno)));
}

LineReader::~LineReader() {
    if (file_ != STDIN_FILENO)
        close(file_);
}

bool LineReader::read_more() {
    if (at_end_)
        return false;
    wait_for_input(file_);
    char piece[4096];
    const ssize_t size = read(file_, piece, sizeof piece);
    if (size < 0)
        throw Failure(wrong_usage, fmt::format("{}: {}", name_, std::strerror(errno)));
    at_end_ = size == 0;
    read_.append(piece, static_cast<std::size_t>(size));
    return !at_end_;
}

std::optional<std::string> LineReader::next() {
    std::size_t end = read_.find('\n');
    while (end == std::string::npos && read_more())
        end = read_.find('\n');
    if (end == std::string::npos && read_.empty())
        return std::nullopt;
    std::string line = read_.substr(0, end);
    read_.erase(0, end == std::string::npos ? end : end + 1);
    if (line.find('\0') != std::string::npos)
        throw Failure(wrong_usage, fmt::format("{}: a line holds a NUL", name_));
    if (line.ends_with('\r'))
        line.pop_back();
    return line;
}

std::string read_secret(const std::string& path) {
    std::string secret = LineReader(path).next().value_or("");
    if (const std::string why = why_no_word(secret); !why.empty())
        throw Failure(wrong_usage, fmt::format("{}: the first line {}", name_of(path), why));
    return secret;
}

} // namespace qel
