// The control channel: a socket beside the service's, to which a person or a test sends commands, one a line, and reads
// the answers, one a line. What can be commanded stands in control_commands.h.
//
// Threads: one accepts; one a connection reads and answers, with one more while a command runs, so that a command ends
// with its connection. Bounded: so many connections, so many bytes a line.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "sim/control_commands.h"
#include "sim/service.h"
#include "sim/unix_socket.h"

namespace sim {

class Control {
public:
    static constexpr std::size_t most_connections = 32;
    static constexpr std::size_t longest_line = 16 * 1024;

    // Throws std::system_error when the path cannot be listened at. The service outlives it.
    Control(Service& service, std::string path);
    ~Control(); // ends the commands that run, and the connections
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

private:
    struct Connection {
        Fd socket;
        std::thread thread{};
        std::atomic<bool> ended{false};
    };

    void accept_connections();
    void accept_one();
    void join_ended();
    void serve(Connection& connection);
    std::string run_while_connected(const Connection& connection, std::string_view line);

    ControlCommands commands_;
    BoundSocket listener_;
    Fd stop_;                           // readable once all is to end
    std::list<Connection> connections_; // of the accepting thread
    std::thread accepting_;
};

class ControlClient {
public:
    // Throws std::system_error, with the path in its text, when nobody listens there.
    explicit ControlClient(const std::string& path);

    // The answer to one line; nothing when the connection has ended.
    std::optional<std::string> ask(std::string_view line);

private:
    Fd socket_;
    std::string received_;
};

} // namespace sim
