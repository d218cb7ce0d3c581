#include "sim/control.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "sim/threads.h"

namespace sim {

namespace {

bool send_line(const Fd& socket, std::string_view line) {
    const std::string whole = std::string(line) + "\n";
    for (std::string_view rest = whole; !rest.empty();) {
        const ssize_t sent = send(socket.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent == -1 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        rest.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

// What one receive gives, put behind what is there; false at the end of the connection.
bool receive_more(const Fd& socket, std::string& received) {
    char buffer[4096];
    ssize_t size = 0;
    do
        size = recv(socket.get(), buffer, sizeof buffer, 0);
    while (size == -1 && errno == EINTR);
    if (size <= 0)
        return false;
    received.append(buffer, static_cast<std::size_t>(size));
    return true;
}

// The first line, taken off; nothing when there is no whole one.
std::optional<std::string> take_line(std::string& received) {
    const std::size_t end = received.find('\n');
    if (end == std::string::npos)
        return std::nullopt;
    std::string line = received.substr(0, end);
    received.erase(0, end + 1);
    if (line.ends_with('\r'))
        line.pop_back();
    return line;
}

bool is_readable(const Fd& fd) {
    pollfd readable{fd.get(), POLLIN, 0};
    return poll(&readable, 1, 0) == 1;
}

constexpr std::string_view too_long = R"({"ok":false,"error":"the line is too long"})";
constexpr std::string_view no_thread = R"({"ok":false,"error":"there is no thread to run the command"})";
constexpr std::string_view too_many = R"({"ok":false,"error":"there are too many connections"})";

} // namespace

Control::Control(Service& service, std::string path)
    : commands_(service), listener_(std::move(path), SOCK_STREAM), stop_(eventfd(0, EFD_CLOEXEC)) {
    accepting_ = start_thread([this] { accept_connections(); });
}

Control::~Control() {
    eventfd_write(stop_.get(), 1);
    accepting_.join();
}

void Control::accept_connections() {
    for (;;) {
        pollfd events[] = {{listener_.fd(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
        poll(events, 2, -1);
        if (events[1].revents != 0)
            break;
        accept_one();
        join_ended();
    }
    for (Connection& connection : connections_) {
        shutdown(connection.socket.get(), SHUT_RDWR);
        connection.thread.join();
    }
}

void Control::accept_one() {
    Fd socket(accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!socket) {
        // Without a descriptor there is nothing to accept with until one is given back.
        pollfd stopped{stop_.get(), POLLIN, 0};
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM)
            poll(&stopped, 1, 100);
        return;
    }
    join_ended();
    if (connections_.size() == most_connections) {
        send_line(socket, too_many);
        return;
    }
    Connection& connection = connections_.emplace_back();
    connection.socket = std::move(socket);
    try {
        connection.thread = start_thread([this, &connection] {
            serve(connection);
            // The other side learns of the end now, the descriptor is closed when the thread is joined.
            shutdown(connection.socket.get(), SHUT_RDWR);
            connection.ended = true;
        });
    } catch (const std::system_error&) { // no thread for it
        connections_.pop_back();
    }
}

void Control::join_ended() {
    std::erase_if(connections_, [](Connection& connection) {
        if (!connection.ended)
            return false;
        connection.thread.join();
        return true;
    });
}

void Control::serve(Connection& connection) {
    std::string received;
    while (receive_more(connection.socket, received)) {
        while (const auto line = take_line(received)) {
            if (!send_line(connection.socket, run_while_connected(connection, *line)))
                return;
        }
        if (received.size() > longest_line) {
            send_line(connection.socket, too_long);
            return;
        }
    }
}

// A connection that is shut down for writing only still wants its answer.
std::string Control::run_while_connected(const Connection& connection, std::string_view line) {
    std::stop_source stop;
    std::string answer;
    const Fd done(eventfd(0, EFD_CLOEXEC));
    std::thread running;
    try {
        running = start_thread([&] {
            answer = commands_.run(line, stop.get_token());
            eventfd_write(done.get(), 1);
        });
    } catch (const std::system_error&) {
        return std::string(no_thread);
    }
    pollfd events[] = {{connection.socket.get(), 0, 0}, {done.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
    poll(events, 3, -1);
    if (!is_readable(done))
        stop.request_stop();
    running.join();
    return answer;
}

ControlClient::ControlClient(const std::string& path) : socket_(connect_to(path, SOCK_STREAM)) {
    if (!socket_)
        throw std::system_error(errno, std::generic_category(), path + ": no router's control channel is there");
}

std::optional<std::string> ControlClient::ask(std::string_view line) {
    if (!send_line(socket_, line))
        return std::nullopt;
    for (;;) {
        if (auto answer = take_line(received_))
            return answer;
        if (!receive_more(socket_, received_))
            return std::nullopt;
    }
}

} // namespace sim
