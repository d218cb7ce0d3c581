// One connection to the service: a stream socket, held by whoever still uses it: the transport until a newer connection
// replaces it, and the reader that was started for it. The last of them closes it when the service has gone; one that
// the service still holds open stays open until the process ends.
#pragma once

#include <memory>
#include <sys/types.h>

class Connection {
public:
    // Makes the socket, not connected yet. The descriptor is -1, and errno tells why, when that failed.
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int Descriptor() const { return descriptor_; }

private:
    bool IsOurs() const;
    bool IsHungUp() const;

    int descriptor_;
    ino_t inode_ = 0;
};

using ConnectionPtr = std::shared_ptr<const Connection>;
