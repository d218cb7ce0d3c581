// Collects the repetitions of every row and prints a table for each group: each program beside the floor and beside the
// group's reference, and what became of the targets.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/case.h"

namespace bench {

// A row's name is the group's, the request's and the program's, with a '/' between them.
std::string name_of(const Group& group, const Case& row);

// Counters of a repetition, for each of what the group counts.
constexpr char kCallerAllocations[] = "caller_allocations";
constexpr char kThreadAllocations[] = "thread_allocations";
constexpr char kSystemCalls[] = "system_calls"; // only where counted

class Table : public benchmark::BenchmarkReporter {
public:
    explicit Table(const std::vector<Group>& groups) : groups_(groups) {}

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    bool failed() const { return failed_; }

private:
    struct Result {
        std::string name;
        std::vector<double> seconds; // of one run, for each repetition
        benchmark::UserCounters counters;
    };
    struct Row {
        const Case* origin;
        std::vector<double> times; // of each repetition, for one thing, in the group's unit; sorted
        benchmark::UserCounters counters;

        double quantile(double part) const;
        double median() const { return quantile(0.5); }
    };

    std::vector<Row> rows_of(const Group& group) const;
    void print(const Group& group, const std::vector<Row>& rows);
    void print_targets(const Group& group, const std::vector<Row>& rows);

    const std::vector<Group>& groups_;
    std::vector<Result> results_;
    bool failed_ = false;
};

} // namespace bench
