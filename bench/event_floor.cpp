#include "bench/event_floor.h"

#include <cerrno>

namespace bench {

EventFloor::EventFloor(Function function, std::size_t number_at) : function_(function), number_at_(number_at) {
    sem_init(&replied_, 0, 0);
    reader_ = std::thread([this] { read(); });
}

EventFloor::~EventFloor() {
    shutdown(connection_, SHUT_RDWR);
    reader_.join();
    sem_destroy(&replied_);
}

bool EventFloor::ask(const std::string& request) {
    if (send(connection_, request.data(), request.size(), MSG_NOSIGNAL) == -1)
        return false;
    while (sem_wait(&replied_) == -1 && errno == EINTR) {
    }
    return !ended_;
}

void EventFloor::read() {
    std::size_t held = 0;
    for (;;) {
        const ssize_t n = recv(connection_, buffer_ + held, sizeof buffer_ - held, 0);
        if (n <= 0)
            break;
        held = take(held + static_cast<std::size_t>(n));
    }
    ended_ = true;
    sem_post(&replied_);
}

// Hands on the messages at the front and moves the part of one that is left to the front: its size.
std::size_t EventFloor::take(std::size_t size) {
    std::size_t at = 0;
    while (size - at >= sim::head_size) {
        const unsigned char* message = buffer_ + at;
        const std::size_t length = message[4] * std::size_t{256} + message[5];
        if (length > size - at)
            break;
        if (message[sim::head_size] == sim::event_notification)
            function_(reinterpret_cast<const char*>(message) + number_at_);
        else
            sem_post(&replied_);
        at += length;
    }
    std::memmove(buffer_, buffer_ + at, size - at);
    return size - at;
}

} // namespace bench
