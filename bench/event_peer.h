// The peer of the events: ZeroMQ's publish and subscribe over a local socket, between two processes as the library and
// its service are. Nothing is dropped: neither side has a high-water mark, and the publisher waits for the
// subscription.
#pragma once

#include <thread>

#include <sys/types.h>

#include "bench/event_feed.h"

namespace bench {

// A process that publishes what the feed is ordered to send. Forks: to be made while the process has one thread.
class Publisher {
public:
    explicit Publisher(EventFeed& feed);
    ~Publisher(); // ends the process
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

private:
    pid_t pid_;
};

// A thread that receives and calls a function for each event.
class Subscriber {
public:
    using Function = void (*)(const char* number);

    Subscriber(Function function, std::size_t number_at);
    ~Subscriber(); // joins
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

private:
    void receive();

    const Function function_;
    const std::size_t number_at_;
    void* context_;
    std::thread receiver_;
};

} // namespace bench
