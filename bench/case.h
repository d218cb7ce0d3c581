// What the benchmarks are made of: a case is a row of the table, a group is a table with a name that can be picked on
// the command line.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

// One program doing one thing.
struct Case {
    std::string request;
    std::string program;
    std::function<bool()> run; // false when it failed
    int things = 1;            // how many of what the group counts one run does
    const char* failure = "a run failed";

    // Where run puts the seconds that it took, when it measures them itself.
    const double* seconds = nullptr;

    // Around each repetition, not measured.
    std::function<void()> prepare = [] {};
    std::function<void()> finish = [] {};
};

// What a program is compared with: another one on the same request, or on the one named.
struct Base {
    std::string program; // empty: there is none
    std::string request{};
};

// A program's median is to be at most this many times its base's.
struct Target {
    enum class Against { floor, reference };
    std::string request; // empty: every one
    std::string program;
    Against against;
    double most;
};

struct Unit {
    const char* name;
    double per_second;
};
constexpr Unit kMicroseconds{"us", 1e6};
constexpr Unit kNanoseconds{"ns", 1e9};

struct Group {
    const char* name;
    const char* thing; // what the figures are for one of
    Unit unit;
    int repetitions;
    int runs; // in a repetition
    int warm_up;
    Base floor;
    Base reference;
    std::vector<Target> targets;
    bool threads_may_allocate; // false: an allocation by another thread than the caller's fails the run
    std::vector<Case> cases;
    std::function<std::string()> note = [] { return std::string(); }; // printed below the table
    std::shared_ptr<void> keep{};                                     // what the cases use
};

} // namespace bench
