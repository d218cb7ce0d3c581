// Texts of the router's for one line, and what the router cannot take.
#pragma once

#include <string>
#include <string_view>

namespace qel {

// Control characters written out, \n and \x07 say, and a backslash doubled, so that a text stays on its line.
std::string one_line(std::string_view text);

// Why a text cannot stand in a command line of the router's, as one word; empty when it can. For the parser's checks.
std::string why_no_word(const std::string& text);

} // namespace qel
