// A list of callbacks that grows while others call it. Each call runs those that were there when it began, without the
// lock; with none, a call costs one load.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace sim {

template <class... Arguments> class Callbacks {
public:
    using Callback = std::function<void(Arguments...)>;

    void add(Callback callback) {
        std::lock_guard guard(lock_);
        auto grown = std::make_shared<std::vector<Callback>>(*list_);
        grown->push_back(std::move(callback));
        list_ = std::move(grown);
        any_.store(true, std::memory_order_release);
    }

    bool any() const { return any_.load(std::memory_order_acquire); }

    void operator()(Arguments... arguments) const {
        if (!any())
            return;
        for (const Callback& callback : *snapshot())
            callback(arguments...);
    }

private:
    std::shared_ptr<const std::vector<Callback>> snapshot() const {
        std::lock_guard guard(lock_);
        return list_;
    }

    mutable std::mutex lock_;
    std::shared_ptr<const std::vector<Callback>> list_ = std::make_shared<std::vector<Callback>>();
    std::atomic<bool> any_{false};
};

} // namespace sim
