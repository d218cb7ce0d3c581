// Where the events of every program end: counted, held against their numbers, and the last one timed.
#pragma once

#include <cstdint>
#include <ctime>

#include <semaphore.h>

#include "bench/event_feed.h"

namespace bench {

class Arrivals {
public:
    Arrivals() { sem_init(&all_, 0, 0); }
    ~Arrivals() { sem_destroy(&all_); }
    Arrivals(const Arrivals&) = delete;
    Arrivals& operator=(const Arrivals&) = delete;

    // Before the events are ordered: numbers 0 to count - 1 are to come.
    void expect(std::uint32_t count) {
        next_ = 0;
        count_ = count;
        in_order_ = true;
        expected_ += count;
    }

    // On the thread that receives, at once.
    void take(const char* number) {
        const bool last = next_ + 1 == count_;
        if (last)
            last_ = nanoseconds_now();
        if (read_number(number) != next_)
            in_order_ = false;
        ++next_;
        ++arrived_;
        if (last)
            sem_post(&all_);
    }

    // True when all have come, each once and in order. Gives up on those that do not come.
    bool wait() {
        timespec limit{};
        clock_gettime(CLOCK_REALTIME, &limit);
        limit.tv_sec += kSeconds;
        return sem_timedwait(&all_, &limit) == 0 && in_order_ && next_ == count_;
    }

    std::int64_t last() const { return last_; }
    std::uint64_t expected() const { return expected_; } // ever
    std::uint64_t arrived() const { return arrived_; }

private:
    static constexpr time_t kSeconds = 20;

    std::uint32_t next_ = 0;
    std::uint32_t count_ = 0;
    bool in_order_ = true;
    std::int64_t last_ = 0;
    std::uint64_t expected_ = 0;
    std::uint64_t arrived_ = 0;
    sem_t all_;
};

} // namespace bench
