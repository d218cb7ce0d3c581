#include "sim/events_queue.h"

#include "sim/threads.h"

namespace sim {

EventQueue::EventQueue(Send send) : send_(std::move(send)) {
    thread_ = start_thread([this] { send_all(); });
}

EventQueue::~EventQueue() {
    {
        std::lock_guard guard(lock_);
        ended_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void EventQueue::push(std::string bytes) {
    std::lock_guard guard(lock_);
    if (ended_)
        return;
    size_ += bytes.size();
    waiting_.push_back(std::move(bytes));
    changed_.notify_all();
}

std::size_t EventQueue::size() const {
    std::lock_guard guard(lock_);
    return size_;
}

EventQueue::Waited EventQueue::wait_for(std::size_t bytes, std::chrono::milliseconds patience, std::stop_token stop) {
    std::unique_lock guard(lock_);
    while (!ended_ && size_ > bytes) {
        const std::uint64_t before = sends_;
        if (!changed_.wait_for(guard, stop, patience, [&] { return ended_ || sends_ != before; }))
            return stop.stop_requested() ? Waited::stopped : Waited::no_progress;
    }
    return ended_ ? Waited::ended : Waited::there_is_room;
}

void EventQueue::send_all() {
    std::unique_lock guard(lock_);
    for (;;) {
        changed_.wait(guard, [&] { return ended_ || !waiting_.empty(); });
        if (ended_)
            return;
        const std::string bytes = std::move(waiting_.front());
        waiting_.pop_front();
        guard.unlock();
        const bool sent = send_(bytes);
        guard.lock();
        size_ -= bytes.size();
        ++sends_;
        if (!sent) {
            ended_ = true;
            waiting_.clear();
            size_ = 0;
        }
        changed_.notify_all();
    }
}

} // namespace sim
