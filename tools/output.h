// Standard output: texts as they are, and JSON, one line for each document and never a part of one.
//
// Every piece is flushed, so that a reader sees it at once and a failure is known where it happens.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace qel {

using Json = nlohmann::ordered_json;

// The reader has gone, as head does when it has enough: nothing is wrong, and nothing more to do.
class OutputClosed {};

void print(std::string_view text);

// Of standard output's state, errno: throws OutputClosed, or a Failure.
[[noreturn]] void output_failed(int error);

// With its line end. Bytes that are no UTF-8 become U+FFFD.
std::string json_line(const Json& document);

// A value as it stands in a table: a text on one line, anything else as in JSON.
std::string plain(const Json& value);

// What is written to standard output meanwhile is lost. For the one function of the library that prints.
class OutputMuted {
public:
    OutputMuted();
    ~OutputMuted();
    OutputMuted(const OutputMuted&) = delete;
    OutputMuted& operator=(const OutputMuted&) = delete;

private:
    int kept_;
};

} // namespace qel
