// Lines of standard input or of a file. The ending signals end a wait for them.
#pragma once

#include <optional>
#include <string>

namespace qel {

class LineReader {
public:
    // "-" is standard input.
    explicit LineReader(const std::string& path);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // Without its end, which may be CR LF; nothing behind the last one. A line with a NUL is wrong usage.
    std::optional<std::string> next();

private:
    bool read_more();

    std::string name_;
    int file_;
    bool at_end_ = false;
    std::string read_; // and not yet handed out
};

// The first line of a file: a word that the router takes, and that the command line must not show.
std::string read_secret(const std::string& path);

} // namespace qel
