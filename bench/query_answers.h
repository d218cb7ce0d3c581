// What the benchmarks' service has for each device query: every item that the query's record has room for, in the
// sizes that routers send.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/wire.h"

namespace bench {

struct QueryAnswer {
    std::int32_t module;
    std::int32_t operation;
    std::vector<sim::Item> items;
};

inline std::vector<QueryAnswer> query_answers() {
    using sim::Item;
    using Items = std::vector<Item>;

    const auto bytes = [](std::int32_t tag, std::size_t size) { return Item::raw(tag, std::string(size, 'b')); };
    const auto text = [](std::int32_t tag, std::size_t length) { return Item::text(tag, std::string(length, 't')); };
    const auto numbers = [](Items items, std::int32_t first, std::int32_t last) {
        for (std::int32_t tag = first; tag <= last; ++tag)
            items.push_back(Item::integer(tag, tag));
        return items;
    };
    const auto joined = [](Items left, const Items& right) {
        left.insert(left.end(), right.begin(), right.end());
        return left;
    };

    Items calls = numbers({}, 6, 11);
    calls.insert(calls.begin(), Item::integer(5, 8));
    for (std::int32_t i = 0; i < 8; ++i)
        calls.push_back(bytes(12 + i, 24));
    Items accounts = {Item::integer(5, 10)};
    for (std::int32_t i = 0; i < 10; ++i)
        accounts.push_back(bytes(7 + i, 66));
    Items parameters = numbers({}, 5, 8);
    for (std::int32_t tag = 9; tag <= 14; ++tag)
        parameters.push_back(text(tag, 20));
    parameters = joined(parameters, {bytes(15, 6), bytes(16, 6), text(17, 20)});
    Items configuration;
    for (std::int32_t tag = 5; tag <= 12; ++tag)
        configuration.push_back(bytes(tag, 6));

    return {
        {8, 1, {text(5, 20)}},
        {8, 2, {Item::integer(6, 1)}},
        {8, 3, {Item::integer(7, 0)}},
        {7,
         1,
         {bytes(5, 4), bytes(6, 4), bytes(7, 8), bytes(8, 8), bytes(9, 8), bytes(10, 4), bytes(11, 4), bytes(12, 4)}},
        {4, 1, {bytes(5, 4), text(6, 20), bytes(7, 4), bytes(8, 4), bytes(9, 17), text(10, 20)}},
        {6, 1, numbers({text(5, 20), text(6, 20), text(7, 20), text(8, 20), text(9, 20)}, 10, 18)},
        {6, 2, {bytes(6, 4), text(7, 20), text(8, 12), bytes(9, 4), bytes(10, 4), bytes(11, 4)}},
        {6, 3, {text(6, 14), text(7, 160)}},
        {2, 1, {bytes(0, 6)}},
        {3, 1, numbers({text(9, 20)}, 10, 12)},
        {9, 1, calls},
        {9, 2, {Item::integer(6, 0)}},
        {9, 3, accounts},
        {9, 4, numbers(parameters, 18, 25)},
        {9, 5, numbers(configuration, 13, 20)},
    };
}

} // namespace bench
