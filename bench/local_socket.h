// The local stream socket that every program of the benchmarks talks over, and the descriptor that holds its end.
// Failures of set-up throw; nothing is measured then.
#pragma once

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace bench {

constexpr char kServicePath[] = "/mnt/sock/sdk.socket"; // where the library looks for the service

[[noreturn]] inline void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

class Descriptor {
public:
    Descriptor(int value, const char* opened) : value_(value) {
        if (value_ == -1)
            fail(opened);
    }
    ~Descriptor() {
        if (value_ != -1)
            close(value_);
    }
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;

    operator int() const { return value_; }

private:
    int value_;
};

inline sockaddr_un service_address() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kServicePath, sizeof kServicePath);
    return address;
}

inline Descriptor listen_at_service() {
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_un address = service_address();
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(listener, 4) != 0)
        fail(kServicePath);
    return listener;
}

inline Descriptor connect_to_service() {
    Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_un address = service_address();
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail(kServicePath);
    return connection;
}

} // namespace bench
