// The filters behind a display command, "| include REGEX" and its like: which lines of the output are left. A regular
// expression is an extended one; an upper-case letter is not a lower-case one. No state; no threads.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace sim {

struct Filter {
    std::string_view word;
    std::string_view help;
    // Whether a line stays: the expression fits it or not, and it has fitted a line before or not.
    bool (*keeps)(bool fits, bool fitted_before);
};

std::span<const Filter> filters();

// Nothing is changed and the answer is false when the expression is none.
bool apply(const Filter& filter, const std::string& expression, std::string& output);

} // namespace sim
