// The floor of the events: a thread that reads the same bytes off the same kind of socket, takes the messages apart and
// calls a function for each. No client whose events come to a thread of its own can do less.
#pragma once

#include <string>
#include <thread>

#include <semaphore.h>

#include "bench/local_socket.h"
#include "sim/wire.h"

namespace bench {

class EventFloor {
public:
    using Function = void (*)(const char* number);

    EventFloor(Function function, std::size_t number_at);
    ~EventFloor(); // ends the connection and joins
    EventFloor(const EventFloor&) = delete;
    EventFloor& operator=(const EventFloor&) = delete;

    // One request and its reply; false when the connection has ended.
    bool ask(const std::string& request);

private:
    void read();
    std::size_t take(std::size_t size);

    const Descriptor connection_ = connect_to_service();
    const Function function_;
    const std::size_t number_at_;
    unsigned char buffer_[sim::max_message_size];
    bool ended_ = false;
    sem_t replied_;
    std::thread reader_;
};

} // namespace bench
