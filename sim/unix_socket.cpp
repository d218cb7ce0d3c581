#include "sim/unix_socket.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace sim {

namespace {

[[noreturn]] void fail(int error, const std::string& path, std::string_view what) {
    throw std::system_error(error, std::generic_category(), fmt::format("{}: {}", path, what));
}

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

bool fits(const std::string& path) { return path.size() < sizeof(sockaddr_un::sun_path); }

template <class Call> int with_address(const sockaddr_un& address, Call call) {
    // The socket calls take every family through the one pointer type.
    return call(reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(sizeof address));
}

// Leaves the path free to bind, or throws.
void clear_path(const std::string& path, int type) {
    struct stat found {};
    if (lstat(path.c_str(), &found) == -1)
        return;
    if (!S_ISSOCK(found.st_mode))
        fail(ENOTSOCK, path, "something else than a socket is in the way");
    if (connect_to(path, type) || errno == EPROTOTYPE)
        fail(EADDRINUSE, path, "another process listens there");
    if (errno != ECONNREFUSED)
        fail(errno, path, "there is a socket that cannot be tried");
    if (unlink(path.c_str()) == -1)
        fail(errno, path, "the socket left there cannot be removed");
}

} // namespace

void Fd::reset() {
    if (fd_ != -1)
        close(fd_);
    fd_ = -1;
}

Fd connect_to(const std::string& path, int type) {
    if (!fits(path)) {
        errno = ENAMETOOLONG;
        return {};
    }
    Fd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    const auto connects = [&](const sockaddr* address, socklen_t size) { return connect(fd.get(), address, size); };
    if (fd && with_address(address_of(path), connects) == -1) {
        const int error = errno;
        fd.reset();
        errno = error;
    }
    return fd;
}

BoundSocket::BoundSocket(std::string path, int type) : path_(std::move(path)) {
    if (!fits(path_))
        fail(ENAMETOOLONG, path_,
             fmt::format("a socket's path has at most {} bytes", sizeof(sockaddr_un::sun_path) - 1));
    const auto directory = std::filesystem::path(path_).parent_path();
    std::error_code error;
    if (!directory.empty() && !std::filesystem::is_directory(directory, error))
        std::filesystem::create_directories(directory, error);
    if (error)
        fail(error.value(), path_, "its directory cannot be made");
    clear_path(path_, type);

    // An accept may find its client gone again, and then must not wait for the next one.
    fd_ = Fd(socket(AF_UNIX, type | SOCK_CLOEXEC | (type == SOCK_STREAM ? SOCK_NONBLOCK : 0), 0));
    if (!fd_)
        fail(errno, path_, "no socket");
    const auto binds = [&](const sockaddr* address, socklen_t size) { return bind(fd_.get(), address, size); };
    if (with_address(address_of(path_), binds) == -1)
        fail(errno, path_, "cannot be bound");

    struct stat made {};
    if (stat(path_.c_str(), &made) == 0) {
        device_ = made.st_dev;
        inode_ = made.st_ino;
    }
    // Whoever runs here may talk to the router; binding alone leaves that to the umask.
    if (chmod(path_.c_str(), 0666) == -1 || (type == SOCK_STREAM && listen(fd_.get(), SOMAXCONN) == -1)) {
        const int failed = errno;
        reset();
        fail(failed, path_, "cannot be listened at");
    }
}

BoundSocket& BoundSocket::operator=(BoundSocket&& other) noexcept {
    if (this != &other) {
        reset();
        fd_ = std::move(other.fd_);
        path_ = std::move(other.path_);
        device_ = other.device_;
        inode_ = other.inode_;
    }
    return *this;
}

void BoundSocket::reset() {
    if (!fd_)
        return;
    struct stat now {};
    if (lstat(path_.c_str(), &now) == 0 && now.st_dev == device_ && now.st_ino == inode_)
        unlink(path_.c_str());
    fd_.reset();
}

} // namespace sim
