// What is to be sent to one client: events wait here while the client does not read, so that nobody else does.
//
// Threads: one of its own sends. Locks: one, not held during a send.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

namespace sim {

class EventQueue {
public:
    // One send(); false when the connection has ended, after which the queue drops everything.
    using Send = std::function<bool(std::string_view bytes)>;

    explicit EventQueue(Send send);
    ~EventQueue(); // drops what is left and joins; a send in progress has to end by itself
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // Each is handed to exactly one send(), in this order. Does not wait.
    void push(std::string bytes);
    // Bytes that no send() has taken yet.
    std::size_t size() const;
    enum class Waited {
        there_is_room,
        no_progress, // no send ended for as long as patience lasted
        stopped,
        ended // the connection has
    };
    // Waits until there are no more than that many bytes.
    Waited wait_for(std::size_t bytes, std::chrono::milliseconds patience, std::stop_token stop = {});

private:
    void send_all();

    const Send send_;
    mutable std::mutex lock_;
    std::condition_variable_any changed_;
    std::deque<std::string> waiting_;
    std::size_t size_ = 0;
    std::uint64_t sends_ = 0;
    bool ended_ = false;
    std::thread thread_;
};

} // namespace sim
