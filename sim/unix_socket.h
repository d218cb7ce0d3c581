// A file descriptor that closes itself, and sockets bound to a path. No threads, no state.
#pragma once

#include <string>
#include <utility>

#include <sys/types.h>

namespace sim {

class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { reset(); }
    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ != -1; }
    void reset();

private:
    int fd_ = -1;
};

// A socket of that type (SOCK_STREAM listens already) at that path, open to everyone; the path goes with the object.
// The constructor makes the directory when it is missing and replaces a socket that nobody listens on; it throws
// std::system_error, whose text names the path, when somebody does or when anything else stands in the way.
class BoundSocket {
public:
    BoundSocket() = default;
    BoundSocket(std::string path, int type);
    ~BoundSocket() { reset(); }
    BoundSocket(BoundSocket&&) = default;
    BoundSocket& operator=(BoundSocket&& other) noexcept;

    int fd() const { return fd_.get(); }
    const std::string& path() const { return path_; }
    void reset(); // closes, and removes the path if it is still this socket's

private:
    Fd fd_;
    std::string path_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

// A socket of that type connected to that path; an empty Fd with errno set when it cannot be.
Fd connect_to(const std::string& path, int type);

} // namespace sim
