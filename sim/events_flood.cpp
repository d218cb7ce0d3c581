#include "sim/events_flood.h"

#include <thread>

#include <fmt/format.h>

#include "sim/threads.h"

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

// What may wait in a client's queue, so that a flood ends soon after it is told to.
constexpr std::size_t window = std::size_t{256} * 1024;

class Flooding {
public:
    Flooding(const Flood& flood, const Events::Registered& to, std::string_view tag, Clock::time_point start)
        : flood_(flood), session_(to.registration.session()), name_(to.name), tag_(tag), end_(start + flood.time) {}

    // The bytes of the next send; empty when there is nothing more to send.
    std::string next() {
        std::string joined;
        for (std::size_t n = 0; n < flood_.per_send && more(); ++n) {
            std::string frame = event_frame(session_, name_, tag_, flood_content(sent_ + 1, flood_.size));
            if (!joined.empty() && joined.size() + frame.size() > most_joined_bytes)
                break;
            joined += frame;
            ++sent_;
        }
        return joined;
    }
    std::uint64_t sent() const { return sent_; }

private:
    // A flood for a time sends one event at least, however late its thread starts.
    bool more() const { return flood_.events != 0 ? sent_ < flood_.events : sent_ == 0 || Clock::now() < end_; }

    const Flood& flood_;
    const Session session_;
    const std::string name_;
    const std::string tag_;
    const Clock::time_point end_;
    std::uint64_t sent_ = 0;
};

void flood_one(Flooding flooding, EventQueue& queue, std::chrono::milliseconds patience, const std::stop_token& stop,
               Flooded& result) {
    using Waited = EventQueue::Waited;
    while (!stop.stop_requested()) {
        std::string bytes = flooding.next();
        if (bytes.empty())
            break;
        queue.push(std::move(bytes));
        ++result.sends;
        result.events = flooding.sent();
        result.end = queue.wait_for(window, patience, stop);
        if (result.end != Waited::there_is_room)
            return;
    }
    result.end = stop.stop_requested() ? Waited::stopped : queue.wait_for(0, patience, stop);
}

struct Threads {
    std::vector<std::thread> started;
    ~Threads() {
        for (std::thread& thread : started)
            thread.join();
    }
};

} // namespace

std::vector<Flooded> flood(const Events& events, const Flood& flood, std::stop_token stop) {
    const std::vector<Events::Registered> registered = events.registered();
    const Clock::time_point start = Clock::now();
    std::vector<Flooded> results(registered.size());
    {
        Threads threads;
        for (std::size_t i = 0; i < registered.size(); ++i) {
            const Events::Registered& each = registered[i];
            const auto tags = each.registration.delivered_tags();
            if (!each.registration.finished() || tags.empty())
                continue;
            results[i].client = each.client;
            threads.started.push_back(start_thread([&, flooding = Flooding(flood, each, tags.front(), start), i] {
                flood_one(flooding, *registered[i].queue, events.limits().patience, stop, results[i]);
            }));
        }
    }
    std::erase_if(results, [](const Flooded& each) { return each.client == 0; });
    return results;
}

std::string flood_content(std::uint64_t number, std::size_t size) {
    std::string content = fmt::format("event {}", number);
    if (content.size() < size)
        content += std::string(size - content.size(), '.');
    return content;
}

} // namespace sim
