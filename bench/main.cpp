// The library beside its floors and its peers, in named groups: round trips, queries, the codec, events, provisioning.
// All rows run in one process, interleaved, with the client and the service on one cpu, in a mount namespace where the
// service's path is free.
//
// Takes the names of groups, none for all of them; --system-calls to count those as well; and Google Benchmark's
// options.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <sched.h>

#include "bench/allocations.h"
#include "bench/groups.h"
#include "bench/local_socket.h"
#include "bench/system_calls.h"
#include "bench/table.h"
#include "sim/private_host.h"

namespace bench {
namespace {

// The groups

struct NamedGroup {
    std::string_view name;
    Group (*make)(World& world);
};
constexpr NamedGroup kGroups[] = {
    {"round_trips", round_trips}, {"queries", queries},           {"codec", [](World&) { return codec(); }},
    {"events", events},           {"provisioning", provisioning},
};

bool is_group(std::string_view name) {
    return std::any_of(std::begin(kGroups), std::end(kGroups),
                       [&](const NamedGroup& each) { return each.name == name; });
}

std::vector<Group> make_groups(World& world, const std::vector<std::string>& names) {
    std::vector<Group> groups;
    for (const NamedGroup& each : kGroups)
        if (names.empty() || std::find(names.begin(), names.end(), each.name) != names.end())
            groups.push_back(each.make(world));
    return groups;
}

// One repetition

void measure(benchmark::State& state, const Group& group, const Case& row, std::optional<double> system_calls) {
    row.prepare();
    bool done = true;
    for (int i = 0; i < group.warm_up; ++i)
        done &= row.run();

    const Allocations before = allocations();
    while (state.KeepRunning()) {
        done &= done && row.run();
        if (row.seconds != nullptr)
            state.SetIterationTime(*row.seconds);
    }
    const Allocations after = allocations();
    row.finish();

    if (!done)
        return state.SkipWithError(row.failure);
    if (!group.threads_may_allocate && after.threads != before.threads)
        return state.SkipWithError("the queues allocated although they were warm");
    const auto count = [&](std::uint64_t allocated) {
        return benchmark::Counter(static_cast<double>(allocated) / row.things, benchmark::Counter::kAvgIterations);
    };
    state.counters[kCallerAllocations] = count(after.caller - before.caller);
    state.counters[kThreadAllocations] = count(after.threads - before.threads);
    if (system_calls)
        state.counters[kSystemCalls] = *system_calls;
}

std::optional<double> count_system_calls(const Case& row) {
    constexpr int kThings = 1000;
    row.prepare();
    row.run();
    const int runs = std::max(1, kThings / row.things);
    const std::optional<double> calls = system_calls_per(row.run, runs);
    row.finish();
    if (!calls)
        throw std::runtime_error("strace cannot be attached to this process");
    return *calls / row.things;
}

void register_case(const Group& group, const Case& row, std::optional<double> system_calls) {
    const auto run = [&group, &row, system_calls](benchmark::State& state) {
        measure(state, group, row, system_calls);
    };
    auto* registered = benchmark::RegisterBenchmark(name_of(group, row).c_str(), run);
    registered->Repetitions(group.repetitions)->Iterations(group.runs);
    if (row.seconds != nullptr)
        registered->UseManualTime();
    else
        registered->UseRealTime();
}

// The place

// The last cpu that this process may use; its threads and the service's processes inherit the choice.
std::size_t pin_to_one_cpu() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        fail("sched_getaffinity");
    std::size_t cpu = CPU_SETSIZE - 1;
    while (!CPU_ISSET(cpu, &allowed))
        --cpu;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0)
        fail("sched_setaffinity");
    return cpu;
}

void enter_private_host() {
    std::string why;
    if (sim::enter_private_host(&why) == sim::PrivateHost::none)
        throw std::runtime_error("no private /mnt/sock: " + why);
}

void check_that_allocations_are_seen(const Library& library) {
    const Allocations before = allocations();
    library.execute(kCommands[0].text);
    if (allocations().caller == before.caller)
        throw std::runtime_error("the library's allocations are not counted");
}

// The command line

bool take_flag(std::vector<char*>& arguments, std::string_view flag) {
    return std::erase_if(arguments, [&](const char* argument) { return argument == flag; }) != 0;
}

std::vector<std::string> take_names(std::vector<char*>& arguments) {
    std::vector<std::string> names;
    std::erase_if(arguments, [&](const char* argument) {
        if (argument == arguments.front() || argument[0] == '-')
            return false;
        names.emplace_back(argument);
        return true;
    });
    return names;
}

bool are_groups(const std::vector<std::string>& names) {
    const auto unknown = std::find_if_not(names.begin(), names.end(), is_group);
    if (unknown == names.end())
        return true;
    std::fprintf(stderr, "%s is none of the benchmarks:", unknown->c_str());
    for (const NamedGroup& each : kGroups)
        std::fprintf(stderr, " %s", each.name.data());
    std::fputc('\n', stderr);
    return false;
}

int run(std::vector<char*> arguments) {
    const bool countSystemCalls = take_flag(arguments, "--system-calls");
    const std::vector<std::string> names = take_names(arguments);
    if (!are_groups(names))
        return 2;
    char interleaved[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleaved);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;

    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ); // one of the queries prints; a terminal would make each line a write
    enter_private_host();
    const std::size_t cpu = pin_to_one_cpu();
    World world;
    check_that_allocations_are_seen(world.library);
    const std::vector<Group> groups = make_groups(world, names);
    for (const Group& group : groups)
        for (const Case& row : group.cases)
            register_case(group, row, countSystemCalls ? count_system_calls(row) : std::nullopt);

    std::printf("Client and service on cpu %zu, all rows interleaved. Medians of the repetitions.\n", cpu);
    std::fflush(stdout);
    Table table(groups);
    const bool ran = benchmark::RunSpecifiedBenchmarks(&table) != 0;
    return ran && !table.failed() ? 0 : 1;
}

} // namespace
} // namespace bench

int main(int argc, char** argv) {
    try {
        return bench::run({argv, argv + argc});
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
        return 1;
    }
}
