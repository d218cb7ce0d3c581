// A router and a channel at it, for the tests of the commands.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/cli_engine.h"

namespace sim::test {

class Cli : public ::testing::Test {
protected:
    CliResult run(std::string_view line, std::vector<Choice> choices = {}) {
        return cli_engine().run(router, session, line, choices);
    }
    // The output of a command that works.
    std::string output(std::string_view line, std::vector<Choice> choices = {}) {
        const CliResult result = run(line, std::move(choices));
        EXPECT_EQ(result.error, 0) << line << ": " << result.error_text;
        EXPECT_EQ(result.error_text, "");
        return result.output;
    }
    // The error of a command that does not, whose output ends with the same text.
    std::string error(std::string_view line, Refusal code, std::vector<Choice> choices = {}) {
        const CliResult result = run(line, std::move(choices));
        EXPECT_EQ(result.error, static_cast<std::int32_t>(code)) << line << ": " << result.output;
        EXPECT_THAT(result.output, ::testing::EndsWith(result.error_text + "\n"));
        return result.error_text;
    }
    void go(std::initializer_list<const char*> lines) {
        for (const char* line : lines)
            EXPECT_EQ(output(line), "") << line;
    }
    // The configuration of the view, without its frame.
    std::string here() { return output("display this"); }
    Interface& interface(std::string_view name) { return *router.interface(name); }

    RouterState router;
    CliSession session;
};

// What the router's prompts are answered with by those who know them.
inline const std::vector<Choice> sure{{"Are you sure", "y"}};
inline const std::vector<Choice> go_on{{"Continue", "y"}};

} // namespace sim::test
