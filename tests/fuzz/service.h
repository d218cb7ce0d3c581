// A service for the fuzz targets: every request of the library is answered at once with the body that was put in.
#pragma once

#include <cstdint>
#include <string_view>

namespace fuzz {

// An open session and an open CLI channel, so that calls come as far as their reply.
void open_everything();

// The body of the replies to come, behind an operation's fixed part; what does not fit a frame is cut off.
void answer_with(std::string_view elements);

// The elements of a router that has done what it was told, and printed this.
void print(std::string_view output);

} // namespace fuzz
