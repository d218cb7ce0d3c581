// Where the events of the benchmarks come from: numbered copies of one event, sent on order by the process at the other
// end, be it the service's or a peer's. The orders go through a pipe for each of them; the event and the time of the
// first send lie in memory that all processes share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <time.h>
#include <unistd.h>

namespace bench {

// On the clock of all processes.
inline std::int64_t nanoseconds_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// An event's number, eight hexadecimal digits.
constexpr std::size_t kDigits = 8;
inline void write_number(char* to, std::uint32_t number) {
    for (std::size_t i = kDigits; i-- > 0; number >>= 4)
        to[i] = "0123456789abcdef"[number & 0xf];
}
inline std::uint32_t read_number(const char* from) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < kDigits; ++i)
        number = number << 4 | static_cast<std::uint32_t>(from[i] <= '9' ? from[i] - '0' : from[i] - 'a' + 10);
    return number;
}

class EventFeed {
public:
    enum Source { to_library, to_floor, to_peer, sources };
    struct Order {
        std::int32_t count; // 0 ends the feeding
        std::int32_t per_send;
    };

    EventFeed(); // to be made before the processes are
    ~EventFeed();
    EventFeed(const EventFeed&) = delete;
    EventFeed& operator=(const EventFeed&) = delete;

    // For the benchmark: what to send, where its number goes, and how much of it.
    void prepare(const std::string& event, std::size_t number_at);
    void order(Source source, const Order& order);
    std::int64_t started() const; // the time of the latest order's first send
    std::size_t number_at() const;
    std::size_t event_size() const;

    // For the other end: send(bytes, size) sends the events of one send, false when it cannot. True when the orders are
    // at an end.
    template <class Send> bool obey(Source source, Send send);

private:
    struct Shared;

    Order next(Source source);
    std::string copies(std::int32_t count) const;
    void start();

    int pipes_[sources][2];
    Shared* shared_;
};

template <class Send> bool EventFeed::obey(Source source, Send send) {
    for (Order order = next(source); order.count != 0; order = next(source)) {
        std::string burst = copies(order.per_send);
        std::uint32_t number = 0;
        start();
        while (number < static_cast<std::uint32_t>(order.count)) {
            for (std::size_t at = number_at(); at < burst.size(); at += event_size())
                write_number(burst.data() + at, number++);
            if (!send(burst.data(), burst.size()))
                return false;
        }
    }
    return true;
}

} // namespace bench
