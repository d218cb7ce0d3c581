// The open sessions, one a connection at most. Thread safe: one lock, never held while anything else is called.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace sim {

struct Session {
    std::uint32_t id = 0;
    std::string client_name;

    // Headers carry the low half of the id only.
    std::uint16_t header_id() const { return static_cast<std::uint16_t>(id & 0xffff); }
};

class Sessions {
public:
    std::optional<Session> find(int client) const {
        std::lock_guard guard(lock_);
        const auto found = open_.find(client);
        if (found == open_.end())
            return std::nullopt;
        return found->second;
    }
    void open(int client, Session session) {
        std::lock_guard guard(lock_);
        open_.insert_or_assign(client, std::move(session));
    }
    void close(int client) {
        std::lock_guard guard(lock_);
        open_.erase(client);
    }

private:
    mutable std::mutex lock_;
    std::map<int, Session> open_;
};

} // namespace sim
