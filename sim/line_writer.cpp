#include "sim/line_writer.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace sim {

LineWriter::LineWriter(const std::string& path) {
    if (path == "-")
        return;
    file_ = Fd(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
    if (!file_)
        throw std::system_error(errno, std::generic_category(), path + ": cannot be written");
}

int LineWriter::fd() const { return file_ ? file_.get() : STDERR_FILENO; }

void LineWriter::write(std::string_view line) const {
    while (!line.empty()) {
        const ssize_t written = ::write(fd(), line.data(), line.size());
        if (written == -1 && errno == EINTR)
            continue;
        if (written <= 0) // nobody to tell
            return;
        line.remove_prefix(static_cast<std::size_t>(written));
    }
}

bool LineWriter::is_terminal() const { return isatty(fd()) == 1; }

} // namespace sim
