// The service that every program of the benchmarks talks to: processes of its own, one for each connection, that block
// in a receive and answer each request with one send of bytes prepared beforehand. It does as little as a service can,
// and the same for every program, so that only the client's side differs.
//
// A few commands of the benchmarks' own have the connection's process play another router's script, or feed events
// until the feed's orders end.
//
// The requests lie in memory shared with the benchmark: it reads there what the library sends, and has the other
// programs send the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

#include "bench/event_feed.h"

namespace bench {

// A command and the size of the output that the service has for it.
struct Command {
    const char* name;
    const char* text;
    std::size_t output;
};
constexpr Command kCommands[] = {
    {"cli_execute_100", "display clock", 100},
    {"cli_execute_4000", "display version", 4000},
};

// Followed by the script's number. A script's commands are answered with its outputs, all others with none.
constexpr char kPlay[] = "bench play ";
// Followed by the number of the feed's source.
constexpr char kFeed[] = "bench feed ";

class Service {
public:
    // Forks: to be made while the process has one thread. The feed outlives it.
    explicit Service(EventFeed& feed);
    ~Service(); // ends the processes
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // The latest request of the connection that was made first. Valid once its reply has arrived.
    std::string latest_request() const;

    // The requests of that connection since the recording began.
    void record();
    std::vector<std::string> recorded() const;

private:
    struct Requests;

    [[noreturn]] void serve_connections(int listener, EventFeed& feed) const;

    Requests* requests_; // of the first connection; shared
    pid_t pid_;
};

// The text of a command request, empty when it is none.
std::string command_of(const std::string& request);

// The client's name in an operation request.
std::string client_of(const std::string& request);

} // namespace bench
