// What one client has registered for under one name: its subscriptions, which of them its correlation expression holds,
// and how far the registration has come. Values and their rules; no threads, no locks.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sim/events_criteria.h"
#include "sim/sessions.h"
#include "sim/wire.h"

namespace sim {

struct Subscription {
    std::string tag;
    EventKind kind;
    Message criteria; // the request that asked for it
};

class EventRegistration {
public:
    explicit EventRegistration(Session session) : session_(std::move(session)) {}

    const Session& session() const { return session_; }
    const std::vector<Subscription>& subscriptions() const { return subscriptions_; }

    // The steps, in the order in which they are taken; one that cannot be taken throws Refused.
    void begin() { ++begun_; }                 // may be repeated; what is there already stays
    void subscribe(Subscription subscription); // in the place of one with the same tag
    void correlate(std::string_view expression);
    void finish();
    bool withdraw() { return --begun_ == 0; } // true when nothing is left of what was begun

    // Whether events are delivered.
    bool finished() const { return finished_; }
    // The tags under which the event is delivered, in the order in which they were subscribed.
    std::vector<std::string_view> tags_for(const Event& event) const;
    // The tags in the expression, in that order.
    std::vector<std::string_view> delivered_tags() const;

private:
    const Subscription* longest_tag_at(std::string_view expression) const;

    Session session_;
    unsigned begun_ = 0;
    bool correlated_ = false;
    bool finished_ = false;
    std::vector<Subscription> subscriptions_;
    std::set<std::string, std::less<>> expression_;
};

} // namespace sim
