// What goes wrong on purpose: verbs that a test or a person sets per operation or for its nth request.
//
// This file says which faults a request meets and what they make of its answer; the service carries the result out.
// Thread safe: one lock, never held while anything else is called.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace sim {

struct Fault {
    enum class Verb {
        no_answer,
        delay,
        other_send_id,
        message_type,
        ack_code,
        error,
        missing_item,
        total_length,
        split,
        join,
        hang_up_before,
        hang_up_during,
        hang_up_after
    };

    std::string operation = "*"; // a name of the operation table, "*" for all, or "cli.*" for all that begin so
    unsigned nth = 0;            // n: only the nth matching request, counted from 1 since the fault was added; 0: every
    unsigned times = 0;          // only that often; 0: without end
    Verb verb = Verb::no_answer;

    std::chrono::milliseconds delay{0};    // delay: how late the answer is; split: how late its second half is
    std::optional<std::uint8_t> send_id{}; // other_send_id; nothing: the request's plus one
    std::uint8_t type = 0;                 // message_type
    std::int32_t code = 0;                 // ack_code: the acknowledgement; error: the error code
    std::string text{};                    // error
    std::int32_t tag = 0;                  // missing_item
    std::uint16_t length = 0;              // total_length
    std::size_t offset = 0;                // split, hang_up_during: bytes in the first send; 0: half of the answer
    std::string joined{};                  // join: the bytes behind the answer; empty: a copy of the answer
};

// The text or JSON of a fault is wrong; what() says where and what would be valid.
class FaultError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "operation[@nth]:verb[=value][,name=value]...", for example
//   cli.execute@3:delay=500          the third execute is answered half a second late
//   session.open:error=5,text=busy   every open is refused; text, which must come last, runs to the end
//   *:no_answer,times=2              the next two requests get no answer
Fault parse_fault(std::string_view text);
// {"operation": "cli.execute", "nth": 3, "verb": "delay", "delay": 500}, or the compact text as a string.
Fault fault_from_json(const nlohmann::json& json);

struct FaultVerb {
    Fault::Verb verb;
    std::string_view name;
    std::string_view value; // the parameter that "verb=value" sets, empty for none
    bool needs_value;
    std::string_view extra; // another parameter it takes, empty for none
    std::string_view help;
};
std::span<const FaultVerb> fault_verbs();
const FaultVerb& fault_verb(Fault::Verb verb);

// What becomes of an answer: sent in this order, each element by one send().
struct Delivery {
    struct Send {
        std::string bytes{};
        std::chrono::milliseconds after{0}; // since the request
    };
    bool hang_up_first = false;
    std::vector<Send> sends{};
    bool hang_up_last = false; // after the last of the sends
};

class Faults {
public:
    void add(Fault fault);
    void add(std::string_view text); // parse_fault's compact text
    void clear();
    bool none() const { return count_.load(std::memory_order_relaxed) == 0; }
    std::size_t met() const; // how often any fault was met

    // Counts the request, and gives the faults it meets in the order in which they were added.
    std::vector<Fault> meet(std::string_view operation);

private:
    struct Entry {
        Fault fault;
        unsigned matched = 0;
        unsigned used = 0;
    };
    mutable std::mutex lock_;
    std::vector<Entry> entries_;
    std::size_t met_ = 0;
    std::atomic<std::size_t> count_{0};
};

// Carries the faults out on an answer. Items are changed first, then header bytes, then how it is sent.
Delivery deliver(std::vector<std::string> answer, const std::vector<Fault>& faults);

} // namespace sim
