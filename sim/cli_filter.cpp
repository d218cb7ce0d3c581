#include "sim/cli_filter.h"

#include <array>
#include <memory>
#include <sstream>

#include <regex.h>

namespace sim {

std::span<const Filter> filters() {
    static constexpr std::array all{
        Filter{"begin", "The lines from the first one that fits",
               [](bool fits, bool before) { return fits || before; }},
        Filter{"exclude", "The lines that do not fit", [](bool fits, bool) { return !fits; }},
        Filter{"include", "The lines that fit", [](bool fits, bool) { return fits; }},
    };
    return all;
}

bool apply(const Filter& filter, const std::string& expression, std::string& output) {
    regex_t regex{};
    if (regcomp(&regex, expression.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
        return false;
    const std::unique_ptr<regex_t, void (*)(regex_t*)> owner(&regex, regfree);

    std::string left;
    bool fitted = false;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const bool fits = regexec(&regex, line.c_str(), 0, nullptr, 0) == 0;
        if (filter.keeps(fits, fitted))
            left += line + "\n";
        fitted = fitted || fits;
    }
    output = std::move(left);
    return true;
}

} // namespace sim
