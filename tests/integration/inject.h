// System resources that run out when a test says so: threads, and heap blocks of one size.
//
// The definitions in the test program take the place of the C library's, for the library under test too.
#pragma once

#include <cstddef>

namespace integration {

// The n-th thread that the calling thread starts from now on, counted from 1, is refused; later ones are not.
void refuse_thread(int n);

// Blocks of this size are refused until it is set to 0. Not with the sanitizers, whose heap cannot be replaced.
void refuse_blocks_of(std::size_t size);
bool can_refuse_blocks();

} // namespace integration
