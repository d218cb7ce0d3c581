// Writes whole lines to a file or to standard error, each in one write, so that several writers do not mix them.
// Holds no lock and no buffer: a line is out when write() returns.
#pragma once

#include <string>
#include <string_view>

#include "sim/unix_socket.h"

namespace sim {

class LineWriter {
public:
    // "-" is standard error; another path is appended to. Throws std::system_error when it cannot be opened.
    explicit LineWriter(const std::string& path);

    void write(std::string_view line) const;
    bool is_terminal() const;

private:
    int fd() const;

    Fd file_; // none for standard error
};

} // namespace sim
