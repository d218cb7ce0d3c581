// Counts the heap allocations of the whole process, the library's included: the program's malloc stands before the C
// library's.
#pragma once

#include <cstdint>

namespace bench {

struct Allocations {
    std::uint64_t caller;  // by the calling thread
    std::uint64_t threads; // by all others
};

// So far.
Allocations allocations();

} // namespace bench
