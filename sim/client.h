// One client's connection: its socket, the sends to it, and what is to be sent to it later.
//
// Threads: its owner's thread receives; a thread of its own, started by the first late send, sends what is due.
// Locks: one for sending, held during a send; one for what is due later, held during nothing.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>

#include "sim/unix_socket.h"

namespace sim {

class Client {
public:
    using Clock = std::chrono::steady_clock;

    Client(int id, Fd socket) : id_(id), socket_(std::move(socket)) {}
    ~Client() { drop_later(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    int id() const { return id_; }
    bool gone() const { return gone_.load(std::memory_order_acquire); }

    // Up to that many bytes; 0 when there will be none any more.
    std::size_t receive(char* buffer, std::size_t size);
    // One send(), which waits while the client does not read; false when it did not go out whole.
    bool send(std::string_view bytes);
    // The client reads the end of the stream, and nothing it has sent is looked at any more.
    void hang_up();
    // The client reads the end of the stream; what it has sent already can still be received.
    void finish();

    // Runs the action at that time, unless the client has gone by then. Actions for the same time keep their order.
    void later(Clock::time_point when, std::function<void()> action);
    // Forgets what is due later and ends the thread; not from an action.
    void drop_later();

private:
    void run_later();

    const int id_;
    Fd socket_;
    std::atomic<bool> gone_{false};
    std::mutex send_lock_;

    std::mutex later_lock_;
    std::condition_variable later_changed_;
    std::multimap<Clock::time_point, std::function<void()>> due_;
    bool dropped_ = false;
    std::thread later_thread_;
};

} // namespace sim
