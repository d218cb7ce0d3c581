// Many events at once, on purpose: to every registered client under the first of its tags that is delivered, numbered
// from 1, each client as fast as it reads. Holds no lock; one thread for each client while it lasts.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "sim/events.h"

namespace sim {

struct Flood {
    std::uint64_t events = 0;          // to each client; 0: until the time has passed
    std::chrono::milliseconds time{0}; // how long
    std::size_t size = 0;              // of each content at least, which is filled up with dots
    std::size_t per_send = 1;          // how many are joined into one send, up to most_joined_bytes
};

constexpr std::size_t most_joined_bytes = std::size_t{64} * 1024;

struct Flooded {
    int client = 0;
    std::uint64_t events = 0;
    std::uint64_t sends = 0;
    // Whether a send has taken all of them, and else why the flood ended before that.
    EventQueue::Waited end = EventQueue::Waited::there_is_room;
};

// Returns when all clients' sends have taken what is theirs, a client has read nothing for as long as the limits'
// patience lasts, has gone, or the flood is told to stop.
std::vector<Flooded> flood(const Events& events, const Flood& flood, std::stop_token stop);

// "event 17", filled up.
std::string flood_content(std::uint64_t number, std::size_t size);

} // namespace sim
