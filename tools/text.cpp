#include "tools/text.h"

#include <algorithm>

#include <fmt/format.h>

namespace qel {

namespace {

bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

} // namespace

std::string one_line(std::string_view text) {
    std::string line;
    for (const char c : text) {
        if (c == '\\')
            line += "\\\\";
        else if (c == '\n')
            line += "\\n";
        else if (c == '\r')
            line += "\\r";
        else if (c == '\t')
            line += "\\t";
        else if (is_control(c))
            line += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        else
            line += c;
    }
    return line;
}

std::string why_no_word(const std::string& text) {
    if (text.empty())
        return "is empty";
    const bool is_word = std::ranges::none_of(text, [](char c) { return c == ' ' || is_control(c); });
    return is_word ? "" : "holds a blank or a control character";
}

} // namespace qel
