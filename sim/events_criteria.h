// What an event is, and which events a subscription wants: its criteria as one table. Constant data; no threads.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "sim/router.h"
#include "sim/wire.h"

namespace sim {

struct Request;

enum class EventKind { log, interface_state, route, nqa, trap };

struct EventKindName {
    EventKind kind;
    std::string_view operation; // that subscribes to it
    std::string_view name;      // for people
};
std::span<const EventKindName> event_kinds();

struct Event {
    EventKind kind = EventKind::log;
    std::string content{}; // the text that is pushed

    // What criteria are compared with.
    std::string subject{};       // the interface, the route's destination, the log line's module
    std::string detail{};        // the route's next hop, the log line's alias
    std::uint32_t number = 0;    // interface: 1 up, 2 down; the length of the route's mask; the log line's level
    std::uint32_t cause = 0;     // of an interface's change: 1 the administrator, 2 the line
    bool whatever_asked = false; // meets all criteria of its kind
};

Event event_of(const News& news, const RouterState& router);

// Refuses a subscription that lacks a criterion, by throwing Refused.
void require_criteria(const Request& request, EventKind kind);
// Whether the event meets all criteria of the subscription, a request to subscribe to that kind.
bool is_wanted(const Event& event, EventKind kind, const Message& subscription);

} // namespace sim
