// The provisioning recipes, for each of their commands: the recipe, beside the same commands typed one by one into the
// same channel, and beside the same bytes going to and fro on a socket. What the recipe takes longer than the typed
// commands is what the library itself adds: putting the commands together, reading what the router shows, and searching
// its lists for numbers that are free.
#include <cstring>
#include <stdexcept>

#include "bench/groups.h"
#include "bench/scripts.h"
#include "qel_api.h"

namespace bench {

namespace {

constexpr char kFloor[] = "raw_ping_pong";
constexpr char kTyped[] = "typed";
constexpr char kLibrary[] = "library";

constexpr char kRadio[] = "Wlan-Radio0/0/0";
constexpr std::uint32_t kWlanId = 4094;

// As long as the typed commands take; the rest is for the few records that a recipe writes.
constexpr double kTarget = 1.05;

struct Recipe {
    const char* script; // how the name of its scripts begins; the one of just this name is held to the target
    std::int32_t (*call)();
};
constexpr Recipe kRecipes[] = {
    {"cellular_open",
     [] { return vela_cellular_open(nullptr, "internet", "user", "secret", VELA_CELLULAR_AUTH_CHAP); }},
    {"cellular_close", [] { return vela_cellular_close(nullptr); }},
    {"wlan_create_ap",
     [] { return vela_wlan_create_ap(kRadio, kWlanId, "guests", "pass phrase", "192.0.2.1", "255.255.255.0"); }},
    {"wlan_delete_ap", [] { return vela_wlan_delete_ap(kRadio, kWlanId); }},
};

const Recipe& recipe_of(const Script& script) {
    for (const Recipe& recipe : kRecipes)
        if (std::strncmp(script.name, recipe.script, std::strlen(recipe.script)) == 0)
            return recipe;
    throw std::runtime_error(std::string("no recipe for ") + script.name);
}

// The recipes' one command with a question to answer.
const char* choice_for(const std::string& command) {
    return command == "undo dhcp select interface" ? "\"Are you sure\",\"y\"" : nullptr;
}

bool type(const Library& library, const std::vector<std::string>& commands) {
    bool all = true;
    for (const std::string& command : commands)
        all &= library.execute(command.c_str(), choice_for(command));
    return all;
}

bool exchange(RawPingPong& raw, const std::vector<std::string>& requests) {
    bool all = true;
    for (const std::string& request : requests)
        all &= raw.round_trip(request);
    return all;
}

class Player {
public:
    Player(World& world, std::size_t number) : world_(world), command_(kPlay + std::to_string(number)) {
        play();
        request_ = world.service.latest_request();
    }
    void play() const {
        if (!world_.library.execute(command_.c_str()))
            throw std::runtime_error("the service does not play its script");
    }
    void play_to_floor() const {
        if (!world_.raw.round_trip(request_))
            throw std::runtime_error("the service does not play its script");
    }

private:
    World& world_;
    const std::string command_;
    std::string request_;
};

} // namespace

Group provisioning(World& world) {
    Group group{.name = "provisioning",
                .thing = "command",
                .unit = kMicroseconds,
                .repetitions = 100,
                .runs = 4,
                .warm_up = 1,
                .floor = {kFloor},
                .reference = {kTyped},
                .targets = {},
                .threads_may_allocate = false,
                .cases = {}};

    for (const Recipe& recipe : kRecipes)
        group.targets.push_back({recipe.script, kLibrary, Target::Against::reference, kTarget});
    std::string counts;
    for (std::size_t i = 0; i < scripts().size(); ++i) {
        const Script& script = scripts()[i];
        const Recipe& recipe = recipe_of(script);
        const auto player = std::make_shared<Player>(world, i);

        world.service.record();
        if (const std::int32_t code = recipe.call(); code != VELA_OK)
            throw std::runtime_error(std::string(script.name) + " returned " + std::to_string(code));
        const std::vector<std::string> requests = world.service.recorded();
        std::vector<std::string> commands;
        for (const std::string& request : requests)
            commands.push_back(command_of(request));

        const int size = static_cast<int>(requests.size());
        counts += (counts.empty() ? "Commands: " : ", ") + std::string(script.name) + ' ' + std::to_string(size);
        group.cases.push_back({.request = script.name,
                               .program = kFloor,
                               .run = [&world, requests] { return exchange(world.raw, requests); },
                               .things = size,
                               .prepare = [player] { player->play_to_floor(); }});
        group.cases.push_back({.request = script.name,
                               .program = kTyped,
                               .run = [&world, commands] { return type(world.library, commands); },
                               .things = size,
                               .prepare = [player] { player->play(); }});
        group.cases.push_back({.request = script.name,
                               .program = kLibrary,
                               .run = [call = recipe.call] { return call() == VELA_OK; },
                               .things = size,
                               .prepare = [player] { player->play(); }});
    }
    group.note = [counts] { return counts + '.'; };
    return group;
}

} // namespace bench
