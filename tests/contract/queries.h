// The fifteen device queries as a table: how each is asked, the bytes it sends, how it treats a null record, and where
// each item of its reply goes. What a reply does to a record is worked out from a query's rows by what_becomes_of().
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "contract.h"

namespace contract {

// How an item's value comes into the record.
enum class Style {
    raw,             // as many bytes as the item has
    optional_raw,    // the same, and nothing is amiss without it
    required_raw,    // the same, and 17 without it
    text,            // up to and with its NUL
    number,          // four bytes, or all ones without it
    low_byte,        // the lowest byte of the same
    unsigned_number, // four bytes, or left as it is without it
    six_bytes,       // six bytes, whatever length the item states
    counted          // a count and what it counts, which have tests of their own: four bytes, or as many as it has
};

struct Field {
    const char* name;
    std::int32_t tag;
    std::size_t offset;
    Style style;
    std::string value; // the item's, in a reply where all is well

    bool is_copied() const; // raw or text: the item says how long
    bool is_number() const; // only four bytes will do
};

// What a null record meets.
enum class NullRecord {
    refused,              // 2, with a record, before the session is asked for
    refused_as_closed,    // the same with 14
    refused_without_name, // the same with 2, and the record carries neither function nor line
    refused_in_session,   // 4 without a record, once there is a session
    never_refused
};

struct Query {
    const char* function; // exported
    const char* worker;   // that of the records
    std::int32_t module;
    std::int32_t operation;
    std::uint32_t (*ask)(void* record); // with the arguments that the request below carries
    NullRecord null_record;
    std::string request;       // the bytes of the second request of session 7
    std::size_t size;          // of the record
    std::string before;        // what the caller has in the record, guard bytes where it says nothing
    std::vector<Field> fields; // in the order in which they are filled
    std::vector<Item> also;    // items of the reply that fill nothing
};
std::ostream& operator<<(std::ostream& out, const Query& query);

const std::vector<Query>& queries();
const Query& query(std::string_view function);
inline std::string query_name(const testing::TestParamInfo<Query>& info) { return info.param.function; }

// A record between guard bytes; what it holds can be compared as a whole, guards and all.
class GuardedRecord {
public:
    explicit GuardedRecord(const Query& query);
    void* get() { return memory_.data() + guard_size; }
    std::string all() const { return memory_; }

private:
    static constexpr std::size_t guard_size = 256;
    std::string memory_;
};

// An item of the reply for each field, in the fields' order; nothing is an item that is not there.
using Values = std::vector<std::optional<std::string>>;
Values right_values(const Query& query);

// The whole reply, and items alone.
std::vector<Item> reply_to(const Query& query);
std::vector<Item> reply_to(const Query& query, const Values& values);
std::vector<Item> reply_head(const Query& query, std::int32_t result = 0);

struct Outcome {
    std::uint32_t code = 0;
    std::string record; // with its guards
    std::vector<std::string> said;
};
// What is promised of a reply with these values.
Outcome what_becomes_of(const Query& query, const Values& values);

class QueryTest : public ContractTest, public testing::WithParamInterface<Query> {
protected:
    // Asks, and compares result, record, guards and log.
    void expect_outcome(const Query& query, const Outcome& outcome);
    // Asks and expects this result, these records, and a record that nobody has touched.
    void expect_refusal(const Query& query, std::uint32_t code, const std::vector<std::string>& said);
};

} // namespace contract
