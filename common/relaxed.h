// A variable that application threads and library threads share without a lock: every read and write is one relaxed
// atomic access of the variable's own width. Nothing is ordered by it; a read followed by a write is two steps.
#pragma once

#include <atomic>

template <class T> class Relaxed {
public:
    constexpr Relaxed() = default;
    constexpr Relaxed(T value) : value_(value) {}
    Relaxed(const Relaxed&) = delete;
    Relaxed& operator=(const Relaxed&) = delete;

    T operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return value;
    }
    operator T() const { return value_.load(std::memory_order_relaxed); }

private:
    std::atomic<T> value_{};
};
