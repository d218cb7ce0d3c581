#include "bench/event_peer.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <zmq.h>

#include "bench/local_socket.h"
#include "sim/wire.h"

namespace bench {

namespace {

constexpr char kEndpoint[] = "ipc:///mnt/sock/bench.events";
constexpr int kUnlimited = 0;

// Each event is a message; those of one send are the parts of one.
bool publish(void* socket, const char* events, std::size_t size, std::size_t event_size) {
    for (std::size_t at = 0; at < size; at += event_size)
        if (zmq_send(socket, events + at, event_size, at + event_size < size ? ZMQ_SNDMORE : 0) == -1)
            return false;
    return true;
}

// An extended publisher hears of the subscription, and sends nothing before.
[[noreturn]] void publish_until_ended(EventFeed& feed) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    void* context = zmq_ctx_new();
    void* socket = zmq_socket(context, ZMQ_XPUB);
    char subscription[16];
    if (socket != nullptr && zmq_setsockopt(socket, ZMQ_SNDHWM, &kUnlimited, sizeof kUnlimited) == 0 &&
        zmq_bind(socket, kEndpoint) == 0 && zmq_recv(socket, subscription, sizeof subscription, 0) > 0)
        for (;;)
            feed.obey(EventFeed::to_peer, [&](const char* events, std::size_t size) {
                return publish(socket, events, size, feed.event_size());
            });
    _exit(EXIT_FAILURE);
}

} // namespace

Publisher::Publisher(EventFeed& feed) : pid_(fork()) {
    if (pid_ == -1)
        fail("fork");
    if (pid_ == 0)
        publish_until_ended(feed);
}

Publisher::~Publisher() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

Subscriber::Subscriber(Function function, std::size_t number_at)
    : function_(function), number_at_(number_at), context_(zmq_ctx_new()), receiver_([this] { receive(); }) {}

Subscriber::~Subscriber() {
    zmq_ctx_shutdown(context_);
    receiver_.join();
    zmq_ctx_term(context_);
}

void Subscriber::receive() {
    void* socket = zmq_socket(context_, ZMQ_SUB);
    if (socket == nullptr)
        return;
    char event[sim::max_message_size];
    if (zmq_setsockopt(socket, ZMQ_RCVHWM, &kUnlimited, sizeof kUnlimited) == 0 &&
        zmq_setsockopt(socket, ZMQ_SUBSCRIBE, "", 0) == 0 && zmq_connect(socket, kEndpoint) == 0)
        while (zmq_recv(socket, event, sizeof event, 0) != -1)
            function_(event + number_at_);
    zmq_close(socket);
}

} // namespace bench
