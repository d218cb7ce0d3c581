#include "sim/client.h"

#include <cerrno>

#include <sys/socket.h>

#include "sim/threads.h"

namespace sim {

std::size_t Client::receive(char* buffer, std::size_t size) {
    if (gone())
        return 0;
    const ssize_t received = recv(socket_.get(), buffer, size, 0);
    // A connection that was reset has nothing more to give, like one that ended.
    return received <= 0 || gone() ? 0 : static_cast<std::size_t>(received);
}

bool Client::send(std::string_view bytes) {
    std::lock_guard guard(send_lock_);
    if (gone())
        return false;
    return ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

void Client::hang_up() {
    gone_.store(true, std::memory_order_release);
    finish();
}

void Client::finish() {
    // The descriptor stays open, so that no other connection gets its number while a thread still uses it.
    shutdown(socket_.get(), SHUT_RDWR);
}

void Client::later(Clock::time_point when, std::function<void()> action) {
    std::lock_guard guard(later_lock_);
    if (dropped_)
        return;
    due_.emplace(when, std::move(action));
    if (!later_thread_.joinable())
        later_thread_ = start_thread([this] { run_later(); });
    later_changed_.notify_one();
}

void Client::drop_later() {
    std::thread thread;
    {
        std::lock_guard guard(later_lock_);
        dropped_ = true;
        due_.clear();
        thread = std::move(later_thread_);
        later_changed_.notify_one();
    }
    if (thread.joinable())
        thread.join();
}

void Client::run_later() {
    std::unique_lock guard(later_lock_);
    while (!dropped_) {
        if (due_.empty()) {
            later_changed_.wait(guard);
            continue;
        }
        const auto when = due_.begin()->first;
        if (Clock::now() < when) {
            later_changed_.wait_until(guard, when);
            continue;
        }
        const auto action = std::move(due_.begin()->second);
        due_.erase(due_.begin());
        guard.unlock();
        action();
        guard.lock();
    }
}

} // namespace sim
