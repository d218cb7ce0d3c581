#include "sim/events.h"

#include <algorithm>
#include <system_error>

#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::int32_t name_tag = 1;
constexpr std::int32_t tag_tag = 2;
constexpr std::int32_t content_tag = 3;

constexpr std::string_view cut_mark = "...";

// This thread has put an event into a queue that is full.
thread_local bool filled_a_queue = false;

} // namespace

std::string event_frame(const Session& session, std::string_view name, std::string_view tag,
                        std::optional<std::string_view> content) {
    Message event;
    event.type = operation_reply;
    event.kind = event_notification;
    event.session_id = session.header_id();
    event.items = {Item::text(name_tag, name), Item::text(tag_tag, tag)};
    if (content) {
        event.items.push_back(Item::text(content_tag, *content));
        std::string frame = encode(event);
        if (frame.size() <= max_message_size)
            return frame;
        const std::size_t over = frame.size() - max_message_size + cut_mark.size();
        const std::string_view fitting = content->substr(0, content->size() - std::min(over, content->size()));
        event.items.back() = Item::text(content_tag, std::string(fitting) + std::string(cut_mark));
    }
    return encode(event);
}

Events::Events(Router& router, const Sessions& sessions, Clients clients, Limits limits)
    : sessions_(sessions), clients_(std::move(clients)), limits_(limits) {
    router.on_news([this](const RouterState& state, const News& news) { raise(event_of(news, state)); });
}

void Events::begin(int client, const Session& session, const std::string& name) {
    std::lock_guard guard(lock_);
    auto& registration = registrations_.try_emplace({client, name}, session).first->second;
    if (registration.session().id != session.id) // a registration goes with its session
        registration = EventRegistration(session);
    registration.begin();
}

template <class Step> void Events::step(int client, const Session& session, const std::string& name, Step step) {
    std::lock_guard guard(lock_);
    const auto found = registrations_.find({client, name});
    if (found == registrations_.end() || found->second.session().id != session.id)
        throw Refused{Refusal::no_registration, "no registration has begun under this name"};
    step(found->second);
}

void Events::subscribe(int client, const Session& session, const std::string& name, Subscription subscription) {
    step(client, session, name, [&](EventRegistration& to) { to.subscribe(std::move(subscription)); });
}

void Events::correlate(int client, const Session& session, const std::string& name, std::string_view expression) {
    step(client, session, name, [&](EventRegistration& to) { to.correlate(expression); });
}

void Events::finish(int client, const Session& session, const std::string& name) {
    step(client, session, name, [&](EventRegistration& to) {
        queue_of(client);
        to.finish();
    });
}

void Events::withdraw(int client, const Session&, const std::string& name) {
    std::lock_guard guard(lock_);
    const auto found = registrations_.find({client, name});
    if (found != registrations_.end() && found->second.withdraw())
        registrations_.erase(found);
}

void Events::forget(int client) {
    std::shared_ptr<EventQueue> queue; // ends without the lock
    std::lock_guard guard(lock_);
    std::erase_if(registrations_, [&](const auto& each) { return each.first.first == client; });
    if (const auto found = queues_.find(client); found != queues_.end()) {
        queue = std::move(found->second);
        queues_.erase(found);
    }
}

void Events::raise(const Event& event) {
    std::lock_guard guard(lock_);
    for (const auto& [key, registration] : registrations_) {
        const auto& [client, name] = key;
        if (!registration.finished() || !is_open(client, registration.session()))
            continue;
        for (const std::string_view tag : registration.tags_for(event))
            put(*queues_.at(client), event_frame(registration.session(), name, tag, event.content));
    }
}

bool Events::push(int client, std::string_view name, std::string_view tag, std::optional<std::string_view> content) {
    std::lock_guard guard(lock_);
    const auto session = sessions_.find(client);
    if (!session)
        return false;
    put(*queue_of(client), event_frame(*session, name, tag, content));
    return true;
}

void Events::wait_for_room() {
    if (!std::exchange(filled_a_queue, false))
        return;
    std::map<int, std::shared_ptr<EventQueue>> queues;
    {
        std::lock_guard guard(lock_);
        queues = queues_;
    }
    for (const auto& [client, queue] : queues)
        if (queue->wait_for(limits_.queued_bytes, limits_.patience) == EventQueue::Waited::no_progress)
            clients_.hang_up(client, "reads no events");
}

std::vector<Events::Registered> Events::registered() const {
    std::lock_guard guard(lock_);
    std::vector<Registered> all;
    for (const auto& [key, registration] : registrations_) {
        if (!is_open(key.first, registration.session()))
            continue;
        const auto queue = queues_.find(key.first);
        all.push_back({key.first, key.second, registration, queue == queues_.end() ? nullptr : queue->second});
    }
    return all;
}

bool Events::is_open(int client, const Session& session) const {
    const auto now = sessions_.find(client);
    return now && now->id == session.id;
}

// Of a client that is connected; its thread starts here, so that raising an event cannot fail for want of one.
std::shared_ptr<EventQueue> Events::queue_of(int client) {
    const auto found = queues_.find(client);
    if (found != queues_.end())
        return found->second;
    try {
        const auto send = [send = clients_.send, client](std::string_view bytes) { return send(client, bytes); };
        return queues_.emplace(client, std::make_shared<EventQueue>(send)).first->second;
    } catch (const std::system_error&) {
        throw Refused{Refusal::not_done, "there is no thread to send the events"};
    }
}

void Events::put(EventQueue& queue, std::string bytes) {
    queue.push(std::move(bytes));
    if (queue.size() > limits_.queued_bytes)
        filled_a_queue = true;
}

} // namespace sim
