// Events, from the service's send to the entry of the callback: through the library, through the thread that only reads
// and calls, and through ZeroMQ's publish and subscribe. Every event is numbered; one that is lost, doubled or out of
// order fails the run.
#include <optional>
#include <stdexcept>
#include <string>

#include "bench/arrivals.h"
#include "bench/event_floor.h"
#include "bench/groups.h"
#include "qel_api.h"
#include "sim/wire.h"

namespace bench {

namespace {

constexpr char kFloor[] = "raw_reader";
constexpr char kPeer[] = "zeromq";
constexpr char kLibrary[] = "library";

constexpr char kTag[] = "link";
constexpr std::size_t kContentSize = 100;

// How the events come.
struct Flow {
    const char* name;
    EventFeed::Order order;
};
constexpr Flow kFlows[] = {
    {"latency_of_one", {1, 1}},
    {"one_to_a_send", {4000, 1}},
    {"forty_to_a_send", {4000, 40}},
};
constexpr int kLatencies = 100; // of single events, for one repetition to be as long as one of the others

Arrivals arrivals; // the callbacks carry no pointer of their user's

void arrive(const char* number) { arrivals.take(number); }

void on_event(std::uint32_t, const char*, tagVELA_EVENT, void* content, int) {
    arrivals.take(static_cast<const char*>(content));
}

void require(std::int32_t code, const char* call) {
    if (code != VELA_OK)
        throw std::runtime_error(std::string(call) + " returned " + std::to_string(code));
}

void subscribe() {
    std::uint32_t handle = 0;
    tagVELA_IFSTATE_PARA para{};
    std::string("GigabitEthernet0/0/1").copy(para.text, sizeof para.text - 1);
    require(vela_event_new(&handle), "vela_event_new");
    require(vela_event_add(handle, VELA_EVENT_IFSTATE, kTag, &para), "vela_event_add");
    require(vela_event_reg(handle, on_event), "vela_event_reg");
}

std::string event_for(const std::string& client) {
    sim::Message message;
    message.type = sim::operation_reply;
    message.kind = sim::event_notification;
    message.session_id = 1;
    message.items = {sim::Item::text(1, client), sim::Item::text(2, kTag),
                     sim::Item::text(3, std::string(kContentSize, 'c'))};
    return sim::encode(message);
}

// Everything that receives, and the feed.
class Receivers {
public:
    explicit Receivers(World& world) : world_(world) {
        subscribe();
        const std::string event = event_for(client_of(world.service.latest_request()));
        number_at_ = event.size() - kContentSize - 1;
        world.feed.prepare(event, number_at_);
        floor_.emplace(arrive, number_at_);
        peer_.emplace(arrive, number_at_);
        if (!world.library.execute(feed_command(EventFeed::to_floor).c_str()))
            throw std::runtime_error("the service does not feed");
        floor_request_ = world.service.latest_request();
        world.feed.order(EventFeed::to_floor, kEnd);
    }

    Case of(const char* program, EventFeed::Source source, const Flow& flow) {
        const int times = flow.order.count == 1 ? kLatencies : 1;
        return {.request = flow.name,
                .program = program,
                .run = [this, source, flow, times] { return flood(source, flow.order, times); },
                .things = flow.order.count * times,
                .failure = "an event was lost, doubled or out of order",
                .seconds = &seconds_,
                .prepare = [this, source] { begin(source); },
                .finish = [this, source] { end(source); }};
    }

private:
    static constexpr EventFeed::Order kEnd{0, 0};

    static std::string feed_command(EventFeed::Source source) { return kFeed + std::to_string(source); }

    void begin(EventFeed::Source source) {
        if (source == EventFeed::to_library && !world_.library.execute(feed_command(source).c_str()))
            throw std::runtime_error("the library is not fed");
        if (source == EventFeed::to_floor && !floor_->ask(floor_request_))
            throw std::runtime_error("the floor is not fed");
    }

    void end(EventFeed::Source source) { world_.feed.order(source, kEnd); }

    bool flood(EventFeed::Source source, const EventFeed::Order& order, int times) {
        std::int64_t nanoseconds = 0;
        for (int i = 0; i < times; ++i) {
            if (lost_)
                return false; // once is enough: each would be waited for

            arrivals.expect(static_cast<std::uint32_t>(order.count));
            world_.feed.order(source, order);
            if (!arrivals.wait()) {
                lost_ = true;
                return false;
            }
            nanoseconds += arrivals.last() - world_.feed.started();
        }
        seconds_ = static_cast<double>(nanoseconds) / 1e9;
        return true;
    }

    World& world_;
    std::size_t number_at_ = 0;
    std::optional<EventFloor> floor_;
    std::optional<Subscriber> peer_;
    std::string floor_request_;
    double seconds_ = 0;
    bool lost_ = false;
};

} // namespace

Group events(World& world) {
    const auto receivers = std::make_shared<Receivers>(world);
    using enum Target::Against;
    Group group{.name = "events",
                .thing = "event",
                .unit = kMicroseconds,
                .repetitions = 60,
                .runs = 1,
                .warm_up = 1,
                .floor = {kFloor},
                .reference = {kPeer},
                .targets = {{"one_to_a_send", kLibrary, floor, 1 / 0.85}, {"forty_to_a_send", kLibrary, reference, 1}},
                .threads_may_allocate = true,
                .cases = {}};
    for (const Flow& flow : kFlows) {
        group.cases.push_back(receivers->of(kFloor, EventFeed::to_floor, flow));
        group.cases.push_back(receivers->of(kPeer, EventFeed::to_peer, flow));
        group.cases.push_back(receivers->of(kLibrary, EventFeed::to_library, flow));
    }
    group.note = [] {
        return std::to_string(arrivals.expected()) + " events sent, " + std::to_string(arrivals.arrived()) +
               " arrived, of all programs.";
    };
    group.keep = receivers;
    return group;
}

} // namespace bench
