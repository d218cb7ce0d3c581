// What the tests of the simulator's events share: a client that registers by hand, and reads the events one by one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/sim/support.h"

namespace sim::test {

constexpr std::int32_t step_begin = 0;
constexpr std::int32_t step_finish = 1;
constexpr std::int32_t step_withdraw = 2;

struct Pushed {
    std::string name;
    std::string tag;
    std::optional<std::string> content;
    bool operator==(const Pushed&) const = default;
};

class EventClient : public WireClient {
public:
    using WireClient::WireClient;

    Message operation(std::int32_t code, std::vector<Item> items) {
        Message message;
        message.type = operation_request;
        message.kind = script_operation;
        message.send_id = 1;
        message.session_id = session_id();
        message.items = std::move(items);
        message.items.insert(message.items.begin(), {Item::integer(0, code), Item::text(4, client_name())});
        return message;
    }
    Message step(std::int32_t step) { return operation(11, {Item::integer(5, step)}); }
    Message correlation(std::string_view expression) { return operation(41, {Item::text(5, expression)}); }
    Message log_subscription(std::string_view tag, std::uint32_t level = 8, std::string_view module = "",
                             std::string_view alias = "", std::string_view piece = "") {
        return operation(35, {Item::text(3, tag), Item::text(5, module), Item::text(6, alias), Item::text(7, piece),
                              Item::u32(8, level)});
    }
    Message ifstate_subscription(std::string_view tag, std::string_view interface = "", std::int32_t state = 0,
                                 std::int32_t cause = 0) {
        return operation(47, {Item::text(3, tag), Item::text(8, "ifstate"), Item::integer(5, state),
                              Item::text(6, interface), Item::integer(7, cause)});
    }
    Message route_subscription(std::string_view tag, std::string_view destination = "", std::uint32_t length = 0,
                               std::string_view protocol = "", std::string_view next_hop = "") {
        return operation(33, {Item::text(3, tag), Item::text(5, destination), Item::u32(6, length),
                              Item::text(10, protocol), Item::text(11, next_hop)});
    }

    // Replies to requests, with the events that come before them kept for event().
    Message reply(const Message& request) {
        send(request);
        for (;;) {
            Message message = next();
            if (message.kind != event_notification)
                return message;
            events_.push_back(message);
        }
    }
    void accept(const Message& request) {
        const Message message = reply(request);
        EXPECT_EQ(message.integer(1), 0) << message.text(2).value_or("no text");
    }

    // A whole registration.
    void register_for(const std::vector<Message>& subscriptions, std::string_view expression) {
        accept(step(step_begin));
        for (const Message& each : subscriptions)
            accept(each);
        accept(correlation(expression));
        accept(step(step_finish));
    }

    // The next event, or what comes in its place.
    Message event_message() {
        if (events_.empty())
            return next();
        Message first = events_.front();
        events_.erase(events_.begin());
        return first;
    }
    Pushed event() {
        const Message message = event_message();
        EXPECT_EQ(message.type, operation_reply);
        EXPECT_EQ(message.kind, event_notification) << describe(message);
        return {message.text(1).value_or("no name"), message.text(2).value_or("no tag"), message.text(3)};
    }
    // Its tag and content.
    std::string event_text() {
        const Pushed pushed = event();
        EXPECT_EQ(pushed.name, client_name());
        return pushed.tag + ": " + pushed.content.value_or("(none)");
    }
    // The events before the first with that tag, which is taken too.
    std::vector<std::string> events_until(std::string_view last_tag) {
        std::vector<std::string> all;
        for (;;) {
            const Pushed pushed = event();
            if (pushed.tag == last_tag || ::testing::Test::HasFailure())
                return all;
            all.push_back(pushed.tag + ": " + pushed.content.value_or("(none)"));
        }
    }

    // The next whole message, also when several came in one receive.
    Message next() {
        for (;;) {
            if (received_.size() >= head_size) {
                const auto high = static_cast<unsigned char>(received_[4]);
                const auto low = static_cast<unsigned char>(received_[5]);
                const auto length = static_cast<std::size_t>(high << 8 | low);
                if (received_.size() >= length) {
                    const Decoded decoded = decode(std::string_view(received_).substr(0, length));
                    EXPECT_TRUE(decoded.message) << decoded.error;
                    received_.erase(0, length);
                    return decoded.message.value_or(Message{});
                }
            }
            const std::string more = receive();
            if (more.empty() || more == "(nothing)") {
                ADD_FAILURE() << (more.empty() ? "the service hung up" : "nothing came");
                return {};
            }
            received_ += more;
        }
    }

private:
    std::string received_;
    std::vector<Message> events_;
};

} // namespace sim::test
