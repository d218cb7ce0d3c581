// Registrations for events: their steps, their subscriptions, and the expression that joins the subscriptions' tags.
// What a step means is the affair of Events; no threads, no locks of its own.
#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "sim/events.h"
#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::int32_t subscription_tag = 3;
constexpr std::int32_t client_name_tag = 4;
constexpr std::int32_t step_tag = 5;
constexpr std::int32_t expression_tag = 5;

constexpr std::size_t longest_name = 200;

enum Step : std::int32_t { step_begin = 0, step_finish = 1, step_withdraw = 2 };

class EventUnit : public Unit {
public:
    explicit EventUnit(UnitContext context) : context_(context) {}

    std::span<const std::string_view> operations() const override {
        static constexpr std::array<std::string_view, 7> names{"event.register", "event.correlate", "event.log",
                                                               "event.ifstate",  "event.route",     "event.nqa",
                                                               "event.trap"};
        return names;
    }

    Message answer(const Request& request) override {
        return refuse_or(request, [&] {
            const Session session = required_session(context_, request);
            require_client_name(request, client_name_tag, session);
            const std::string name = *request.message.text(client_name_tag);
            if (name.size() > longest_name)
                throw Refused{Refusal::wrong_client, fmt::format("the client's name has {} characters, {} at most",
                                                                 name.size(), longest_name)};
            take(request, session, name);
            return accepted(request);
        });
    }

    void client_gone(int client) override { context_.events.forget(client); }

private:
    void take(const Request& request, const Session& session, const std::string& name) {
        if (request.operation == "event.register")
            take_step(request, session, name);
        else if (request.operation == "event.correlate")
            context_.events.correlate(request.client, session, name,
                                      required_text(request, expression_tag, "the expression"));
        else
            subscribe(request, session, name);
    }

    void take_step(const Request& request, const Session& session, const std::string& name) {
        const std::int32_t step = required_integer(request, step_tag, "the step");
        switch (step) {
        case step_begin:
            return context_.events.begin(request.client, session, name);
        case step_finish:
            return context_.events.finish(request.client, session, name);
        case step_withdraw:
            return context_.events.withdraw(request.client, session, name);
        default:
            throw Refused{Refusal::wrong_value, fmt::format("a registration has the steps 0, 1 and 2, not {}", step)};
        }
    }

    void subscribe(const Request& request, const Session& session, const std::string& name) {
        const auto asked = std::ranges::find(event_kinds(), request.operation, &EventKindName::operation);
        const std::string tag = required_text(request, subscription_tag, "the tag");
        require_criteria(request, asked->kind);
        context_.events.subscribe(request.client, session, name, {tag, asked->kind, request.message});
    }

    UnitContext context_;
};

} // namespace

std::unique_ptr<Unit> make_event_unit(UnitContext context) { return std::make_unique<EventUnit>(context); }

} // namespace sim
