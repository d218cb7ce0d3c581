// One request and its reply, through the whole library and through the two programs that it is measured against: the
// floor and the tightest client with the same two thread hand-offs.
#include <stdexcept>

#include "bench/groups.h"
#include "bench/two_hand_offs.h"

namespace bench {

namespace {

constexpr char kFloor[] = "raw_ping_pong";
constexpr char kTwoHandOffs[] = "two_hand_offs";
constexpr char kLibrary[] = "library";

} // namespace

Group round_trips(World& world) {
    Group group{.name = "round_trips",
                .thing = "round trip",
                .unit = kMicroseconds,
                .repetitions = 200, // short and many: a disturbance spoils some of each row's, and not their median
                .runs = 500,
                .warm_up = 20,
                .floor = {kFloor},
                .reference = {kTwoHandOffs},
                .targets = {{"", kLibrary, Target::Against::reference, 1.10}},
                .threads_may_allocate = false,
                .cases = {}};

    const auto two = std::make_shared<TwoHandOffs>();
    // The other programs send what the library was seen to send.
    const auto add = [&](const std::string& request, const std::function<bool()>& run) {
        if (!run())
            throw std::runtime_error(request + " fails");
        const std::string bytes = world.service.latest_request();
        group.cases.push_back({request, kFloor, [&world, bytes] { return world.raw.round_trip(bytes); }});
        group.cases.push_back({request, kTwoHandOffs, [two, bytes] { return two->round_trip(bytes); }});
        group.cases.push_back({request, kLibrary, run});
    };
    add("session_keepalive", [&world] { return world.library.keep_alive(); });
    for (const Command& command : kCommands)
        add(command.name, [&world, &command] { return world.library.execute(command.text); });
    return group;
}

} // namespace bench
