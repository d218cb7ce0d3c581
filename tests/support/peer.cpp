#include "support/peer.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "support/calls.h"
#include "support/wait.h"

namespace test {

void Link::Send(const Bytes& bytes) { real::Send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

void Link::HangUp() { shutdown(descriptor_, SHUT_RDWR); }

Step Reply(unsigned type, const Bytes& body) {
    return [=](Link& link, const Bytes& request) {
        link.Send(Message(type, SendIdOf(request), request[6] * 256U + request[7], body));
    };
}
Step ControlReply(const Bytes& elements) { return Reply(2, elements); }
Step ScriptReply(const Bytes& elements) {
    const std::size_t length = elements.size() + 4;
    return Reply(12, Bytes{1, 0, static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length & 0xff)} +
                         elements);
}
Step Silence() {
    return [](Link&, const Bytes&) {};
}
Step HangUp() {
    return [](Link& link, const Bytes&) { link.HangUp(); };
}

Peer::Peer() {
    static std::atomic<int> number{0};
    const std::string name = "qel-unit-" + std::to_string(getpid()) + "-" + std::to_string(++number);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    listener_ = real::Socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), length) != 0 || listen(listener_, 64) != 0)
        throw std::runtime_error("the test's peer cannot listen");
    LeadConnectionsTo(name);
    acceptor_ = std::thread([this] { Accept(); });
}

Peer::~Peer() {
    LeadConnectionsTo("");
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    real::Close(listener_);
    for (Connection& connection : connections_) {
        connection.link.HangUp();
        connection.thread.join();
        real::Close(connection.link.Descriptor());
    }
}

void Peer::Accept() {
    const Exempt equipment;
    for (;;) {
        const int descriptor = accept(listener_, nullptr, nullptr);
        if (descriptor < 0)
            return;
        const std::lock_guard guard(lock_);
        Connection& connection = connections_.emplace_back(descriptor);
        connection.thread = std::thread([this, &connection] { Serve(connection); });
    }
}

void Peer::Serve(Connection& connection) {
    const Exempt equipment;
    Bytes request;
    while (ReadMessage(connection, request)) {
        const Step step = NextStep(request);
        if (step)
            step(connection.link, request);
    }
    const std::lock_guard guard(lock_);
    connection.ended = true;
}

bool Peer::ReadMessage(Connection& connection, Bytes& message) {
    const auto fill = [&](std::size_t size) {
        std::size_t have = message.size();
        message.resize(size);
        while (have < size) {
            const long n = real::Recv(connection.link.Descriptor(), message.data() + have, size - have, 0);
            if (n <= 0)
                return false;
            have += static_cast<std::size_t>(n);
        }
        return true;
    };
    message.clear();
    return fill(8) && fill(message[4] * 256U + message[5]);
}

Step Peer::NextStep(const Bytes& request) {
    const std::lock_guard guard(lock_);
    requests_.push_back(request);
    if (always_)
        return always_;
    if (script_.empty())
        return nullptr;
    Step step = std::move(script_.front());
    script_.erase(script_.begin());
    return step;
}

void Peer::Script(std::vector<Step> steps) {
    const std::lock_guard guard(lock_);
    for (Step& step : steps)
        script_.push_back(std::move(step));
}

void Peer::AlwaysAnswer(Step step) {
    const std::lock_guard guard(lock_);
    always_ = std::move(step);
}

std::vector<Bytes> Peer::Requests() {
    const std::lock_guard guard(lock_);
    return requests_;
}

std::vector<Bytes> Peer::TakeRequests() {
    const std::lock_guard guard(lock_);
    return std::exchange(requests_, {});
}

bool Peer::SawRequests(std::size_t count) {
    return Eventually([&] { return Requests().size() >= count; });
}

std::size_t Peer::Connections() {
    const std::lock_guard guard(lock_);
    return connections_.size();
}

bool Peer::SawConnections(std::size_t count) {
    return Eventually([&] { return Connections() >= count; });
}

Peer::Connection& Peer::At(std::size_t connection) {
    if (!SawConnections(connection + 1))
        throw std::runtime_error("no such connection");
    const std::lock_guard guard(lock_);
    auto it = connections_.begin();
    std::advance(it, connection);
    return *it;
}

void Peer::Send(const Bytes& bytes, std::size_t connection) { At(connection).link.Send(bytes); }
void Peer::Send(const Bytes& bytes) { Send(bytes, std::max<std::size_t>(Connections(), 1) - 1); }
void Peer::HangUp(std::size_t connection) { At(connection).link.HangUp(); }
void Peer::HangUp() { HangUp(std::max<std::size_t>(Connections(), 1) - 1); }

bool Peer::ClosedByLibrary(std::size_t connection) {
    return Eventually([&] { return IsClosedByLibrary(connection); });
}

bool Peer::IsClosedByLibrary(std::size_t connection) {
    Connection& one = At(connection);
    const std::lock_guard guard(lock_);
    return one.ended;
}

bool Peer::NothingPending(std::size_t connection) {
    pollfd poller{At(connection).link.Descriptor(), POLLIN, 0};
    return poll(&poller, 1, 0) == 0;
}

} // namespace test
