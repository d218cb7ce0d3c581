// The floor: one blocking send and one blocking receive on the caller's own thread. No client that waits for its reply
// can be faster over this socket.
#pragma once

#include <string>

#include "bench/local_socket.h"
#include "sim/wire.h"

namespace bench {

class RawPingPong {
public:
    // False when the connection has ended.
    bool round_trip(const std::string& request) {
        return send(connection_, request.data(), request.size(), MSG_NOSIGNAL) != -1 &&
               recv(connection_, reply_, sizeof reply_, 0) > 0;
    }

private:
    const Descriptor connection_ = connect_to_service();
    char reply_[sim::max_message_size];
};

} // namespace bench
