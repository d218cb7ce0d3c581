#include "bench/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

namespace bench {

namespace {

constexpr char kUnknown[] = "-";
constexpr double kNone = NAN; // printed as unknown

std::string number(int decimals, double value) {
    if (std::isnan(value))
        return kUnknown;
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

double counter(const benchmark::UserCounters& counters, const char* name) {
    const auto found = counters.find(name);
    return found != counters.end() ? found->second.value : kNone;
}

void print_line(std::ostream& out, const std::vector<std::string>& cells) {
    constexpr int kWidths[] = {-24, -14, 9, 17, 11, 9, 15, 13, 13, 9};
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        char cell[64];
        std::snprintf(cell, sizeof cell, "%*s", kWidths[i], cells[i].c_str());
        line += cell;
    }
    out << line << '\n';
}

template <class Rows> double ratio(const Rows& rows, const typename Rows::value_type& row, const Base& base) {
    const std::string& request = base.request.empty() ? row.origin->request : base.request;
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const auto& other) {
        return other.origin->request == request && other.origin->program == base.program;
    });
    return found != rows.end() ? row.median() / found->median() : kNone;
}

} // namespace

std::string name_of(const Group& group, const Case& row) {
    return std::string(group.name) + '/' + row.request + '/' + row.program;
}

double Table::Row::quantile(double part) const {
    const double at = part * static_cast<double>(times.size() - 1);
    const auto below = static_cast<std::size_t>(at);
    const std::size_t above = std::min(below + 1, times.size() - 1);
    return std::lerp(times[below], times[above], at - static_cast<double>(below));
}

// Is given all repetitions of one row at once, and then aggregates, which are not used.
void Table::ReportRuns(const std::vector<Run>& runs) {
    if (runs.empty() || runs.front().run_type != Run::RT_Iteration)
        return;
    Result result{runs.front().run_name.function_name, {}, runs.front().counters};
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        if (run.error_occurred) {
            GetErrorStream() << result.name << ": " << run.error_message << '\n';
            failed_ = true;
            return;
        }
        result.seconds.push_back(run.real_accumulated_time / static_cast<double>(run.iterations));
    }
    results_.push_back(std::move(result));
}

void Table::Finalize() {
    for (const Group& group : groups_)
        if (const std::vector<Row> rows = rows_of(group); !rows.empty()) {
            print(group, rows);
            print_targets(group, rows);
        }
}

std::vector<Table::Row> Table::rows_of(const Group& group) const {
    std::vector<Row> rows;
    for (const Case& each : group.cases) {
        const std::string name = name_of(group, each);
        const auto found =
            std::find_if(results_.begin(), results_.end(), [&](const Result& r) { return r.name == name; });
        if (found == results_.end())
            continue;
        Row row{&each, found->seconds, found->counters};
        for (double& time : row.times)
            time *= group.unit.per_second / each.things;
        std::sort(row.times.begin(), row.times.end());
        rows.push_back(std::move(row));
    }
    return rows;
}

void Table::print(const Group& group, const std::vector<Row>& rows) {
    std::ostream& out = GetOutputStream();
    const std::string reference = group.reference.request.empty() ? group.reference.program : group.reference.request;
    out << '\n' << group.name << ": " << group.unit.name << " for one " << group.thing << "\n\n";
    print_line(out, {"", "", "median", "middle half", "thousands", "ratio to", "ratio to", "allocations", "allocations",
                     "system"});
    print_line(out, {"request", "program", group.unit.name, group.unit.name, "a second", "floor", reference,
                     "by caller", "by threads", "calls"});
    for (const Row& row : rows)
        print_line(out,
                   {row.origin->request, row.origin->program, number(2, row.median()),
                    number(2, row.quantile(0.25)) + " - " + number(2, row.quantile(0.75)),
                    number(1, group.unit.per_second / row.median() / 1000), number(2, ratio(rows, row, group.floor)),
                    number(3, ratio(rows, row, group.reference)), number(2, counter(row.counters, kCallerAllocations)),
                    number(2, counter(row.counters, kThreadAllocations)),
                    number(1, counter(row.counters, kSystemCalls))});
    if (const std::string note = group.note(); !note.empty())
        out << '\n' << note << '\n';
}

void Table::print_targets(const Group& group, const std::vector<Row>& rows) {
    std::ostream& out = GetOutputStream();
    for (const Target& target : group.targets) {
        const Base& base = target.against == Target::Against::floor ? group.floor : group.reference;
        double largest = kNone;
        const Case* worst = nullptr;
        for (const Row& row : rows) {
            const double each = ratio(rows, row, base);
            if (row.origin->program != target.program || std::isnan(each) || (worst != nullptr && each <= largest))
                continue;
            if (!target.request.empty() && row.origin->request != target.request)
                continue;
            largest = each;
            worst = row.origin;
        }
        if (worst == nullptr)
            continue;
        out << "\nTarget: " << target.program << " at most " << number(3, target.most) << " times "
            << (base.request.empty() ? base.program : base.request) << (target.request.empty() ? "" : " in ")
            << target.request << ". It is " << number(3, largest)
            << (target.request.empty() ? ", in " + worst->request : "") << ": "
            << (largest <= target.most ? "met" : "missed") << ".\n";
    }
}

} // namespace bench
