// Waiting for a condition. The limit only keeps a failing test from hanging; nothing is timed by it.
#pragma once

#include <chrono>
#include <thread>

namespace test {

constexpr std::chrono::seconds kPatience{30};

template <class Condition> bool Eventually(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return condition(); // this thread may have stood still since it looked
        std::this_thread::yield();
    }
    return true;
}

} // namespace test
