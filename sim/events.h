// The router's events: who has registered for what, and the delivery of what happens.
//
// Whoever raises an event does not wait for those who get it: each client has a queue with a thread that sends
// (events_queue.h). Nothing is dropped while the client reads on. A queue may grow past its limit, but whoever made it
// do so then waits in wait_for_room() until it is below again; a client that takes nothing off a full queue for as long
// as the patience lasts is hung up on.
//
// Every function may be called from any thread. One lock guards the registrations and is held while an event is put
// into the queues, so all clients get all events in one order; it is taken under the router's, and the sessions' under
// it. It is not held during a send, a wait or a hang-up.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/events_criteria.h"
#include "sim/events_queue.h"
#include "sim/events_registration.h"
#include "sim/router.h"
#include "sim/sessions.h"

namespace sim {

class Events {
public:
    struct Limits {
        std::size_t queued_bytes = std::size_t{4} * 1024 * 1024; // for each client
        std::chrono::milliseconds patience = std::chrono::seconds(20);
    };
    // How the service reaches a client: one send(), which waits while the client does not read, and false when it has
    // gone; the end of the connection.
    struct Clients {
        std::function<bool(int client, std::string_view bytes)> send;
        std::function<void(int client, std::string_view why)> hang_up;
    };

    // Raises an event for all the router's news from now on; a line is written into its log by RouterState::write_log.
    Events(Router& router, const Sessions& sessions, Clients clients, Limits limits);

    // The registration's steps; one that cannot be taken throws Refused. The name is what the client is known by.
    void begin(int client, const Session& session, const std::string& name);
    void subscribe(int client, const Session& session, const std::string& name, Subscription subscription);
    void correlate(int client, const Session& session, const std::string& name, std::string_view expression);
    void finish(int client, const Session& session, const std::string& name);
    void withdraw(int client, const Session& session, const std::string& name); // nothing to withdraw is no error
    void forget(int client);                                                    // its connection has ended

    // To everyone whose subscriptions it meets.
    void raise(const Event& event);
    // To that client under that name and tag, whatever it has registered for. False when it has no session. Like
    // finish(), refuses when there is no thread to send it.
    bool push(int client, std::string_view name, std::string_view tag, std::optional<std::string_view> content);

    // For whoever has raised an event, once it holds no lock any more.
    void wait_for_room();

    const Limits& limits() const { return limits_; }

    // What a client has registered.
    struct Registered {
        int client = 0;
        std::string name{};
        EventRegistration registration;
        std::shared_ptr<EventQueue> queue{}; // none before the registration is finished
    };
    std::vector<Registered> registered() const;

private:
    using Key = std::pair<int, std::string>; // client and name

    template <class Step> void step(int client, const Session& session, const std::string& name, Step step);
    bool is_open(int client, const Session& session) const;
    std::shared_ptr<EventQueue> queue_of(int client);
    void put(EventQueue& queue, std::string bytes);

    const Sessions& sessions_;
    const Clients clients_;
    const Limits limits_;
    mutable std::mutex lock_;
    std::map<Key, EventRegistration> registrations_;
    std::map<int, std::shared_ptr<EventQueue>> queues_;
};

// The whole frame; without a content there is no item 3, and one that is too long for a frame is cut.
std::string event_frame(const Session& session, std::string_view name, std::string_view tag,
                        std::optional<std::string_view> content);

} // namespace sim
