// The operations of the protocol as one table: what a request is called and which codes ask for it and answer it.
//
// The wire log, the dispatch to the units and the faults all name operations by these names; a unit that adds
// operations adds rows here. Constant data: no threads.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "sim/wire.h"

namespace sim {

struct Operation {
    std::string_view name;
    std::uint8_t type; // of the request; its reply has the next number
    std::uint8_t kind; // body kind, 0 for session control
    // Tag 1 of session control or tag 0 of a script operation, whose reply has the next number; tag 2 of a device
    // query, whose reply has the same.
    std::int32_t code;
    std::int32_t module; // tag 1 of a device query and of its reply, else 0
    std::string_view help;
};

std::span<const Operation> operations();

// The operation that a request asks for, or that a reply answers; null when it is none of the table's.
const Operation* operation_of(const Message& message);

constexpr std::string_view unknown_operation = "unknown";

} // namespace sim
