#include "bench/event_feed.h"

#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>

#include "bench/local_socket.h"
#include "sim/wire.h"

namespace bench {

struct EventFeed::Shared {
    std::int64_t started;
    std::size_t number_at;
    std::size_t size;
    char event[sim::max_message_size];
};

EventFeed::EventFeed() {
    void* shared = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        fail("mmap");
    shared_ = static_cast<Shared*>(shared);
    for (auto& ends : pipes_)
        if (pipe2(ends, O_CLOEXEC) != 0)
            fail("pipe2");
}

EventFeed::~EventFeed() {
    for (const auto& ends : pipes_)
        for (const int end : ends)
            close(end);
    munmap(shared_, sizeof(Shared));
}

void EventFeed::prepare(const std::string& event, std::size_t number_at) {
    std::memcpy(shared_->event, event.data(), event.size());
    shared_->size = event.size();
    shared_->number_at = number_at;
}

void EventFeed::order(Source source, const Order& order) {
    if (write(pipes_[source][1], &order, sizeof order) != sizeof order)
        fail("write");
}

std::int64_t EventFeed::started() const { return shared_->started; }

std::size_t EventFeed::number_at() const { return shared_->number_at; }

std::size_t EventFeed::event_size() const { return shared_->size; }

EventFeed::Order EventFeed::next(Source source) {
    Order order{};
    if (read(pipes_[source][0], &order, sizeof order) != sizeof order)
        return {};
    return order;
}

std::string EventFeed::copies(std::int32_t count) const {
    std::string burst;
    for (std::int32_t i = 0; i < count; ++i)
        burst.append(shared_->event, shared_->size);
    return burst;
}

void EventFeed::start() { shared_->started = nanoseconds_now(); }

} // namespace bench
