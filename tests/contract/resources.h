// The calling thread's system resources: they run out when a test says so, and its heap blocks are counted.
//
// The definitions in the test program take the place of the C library's, for the library under test too. Other threads
// are not touched.
#pragma once

#include <cstddef>

namespace contract {

// What this thread sends next fails.
void refuse_next_send();

// Not with the sanitizers, whose heap cannot be replaced.
bool heap_can_be_watched();

// Refuses one block: the n-th that this thread asks for from now on, counted from 1, or the next one of a size.
void refuse_block(int n);
void refuse_block_of(std::size_t size);
// Withdraws what was asked for; true when a block was refused since.
bool block_was_refused();

// Blocks that this thread has taken since it started, and those of them (or of others) that it has given back.
struct Blocks {
    long taken;
    long given_back;
};
Blocks blocks();

} // namespace contract
