#include "session/connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// A service that no longer reads fills the socket; a send then gives up where a request would.
constexpr timeval kSendLimit{60, 0};

int new_socket() {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor != 0)
        return descriptor;
    // 0 means "no connection" here; an application may have closed its standard input.
    const int other = fcntl(0, F_DUPFD_CLOEXEC, 3);
    close(0);
    return other;
}

ino_t inode_of(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

} // namespace

Connection::Connection() : descriptor_(new_socket()) {
    if (descriptor_ == -1)
        return;
    setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &kSendLimit, sizeof kSendLimit);
    inode_ = inode_of(descriptor_);
}

Connection::~Connection() {
    if (descriptor_ != -1 && IsOurs() && IsHungUp())
        close(descriptor_);
}

// An application that closes all descriptors has closed this one too, and its number may be something else by now.
bool Connection::IsOurs() const { return inode_of(descriptor_) == inode_; }

// By the service, or never connected.
bool Connection::IsHungUp() const {
    pollfd poller{descriptor_, POLLRDHUP, 0};
    return poll(&poller, 1, 0) == 1 && (poller.revents & (POLLHUP | POLLRDHUP)) != 0;
}
