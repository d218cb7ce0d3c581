// A router whose CLI answers from a table, for the tests of what types commands into it.
//
// CliTable says what is printed for a command, and what the nth request meets instead; it is a plain value, so that an
// expectation can be worked out from the same table. ScriptedRouter plays it behind the test's peer and keeps the
// requests as lines of text, in order. Nothing here knows what a command means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/peer.h"

namespace test {

// The handle of the channel that the router grants.
constexpr std::uint32_t kRouterHandle = 0x0a0b0c0d;

// How the opening and the closing of the channel appear among the commands.
inline const std::string kOpenRequest = "(open)";
inline const std::string kCloseRequest = "(close)";

struct CliReply {
    std::optional<std::string> output{};  // nothing: the reply has no text
    std::optional<std::string> refusal{}; // the service's error text; nothing: the command is accepted
    bool silent = false;                  // no reply at all
};
CliReply Prints(std::string output);
CliReply SaysNothing(); // accepted, without a text
CliReply Rejects();
CliReply RejectsPrinting(std::string output);
CliReply KeepsSilent();

class CliTable {
public:
    CliTable() = default;
    // What commands print: CliTable{{"display clock", "12:00"}, ...}.
    CliTable(std::initializer_list<std::pair<const std::string, std::string>> printed) : printed_(printed) {}

    CliTable& Print(const std::string& command, std::string output);
    // The nth request, counted from 0 over openings, commands and closings, meets this instead.
    CliTable& AtNth(std::size_t nth, CliReply reply);
    CliTable& FromNth(std::size_t nth, CliReply reply);
    // Every request with this command meets this instead.
    CliTable& At(const std::string& command, CliReply reply);

    // A command that the table does not know is accepted without a text.
    CliReply ReplyTo(std::size_t nth, const std::string& command) const;

private:
    std::map<std::string, std::string> printed_;
    std::map<std::string, CliReply> replies_;
    std::map<std::size_t, CliReply> nth_;
    std::size_t from_ = static_cast<std::size_t>(-1);
    CliReply fromReply_;
};

// The line for a command with its answers to prompts, in the order in which they are sent: "save [continue=y]".
std::string Line(const std::string& command, const std::vector<std::pair<std::string, std::string>>& choices = {});

class ScriptedRouter {
public:
    ScriptedRouter();

    void Play(CliTable table); // forgets the requests so far
    // Requests as lines; one that is not as it should be has what is wrong with it at its end.
    std::vector<std::string> Sent() const;
    Step AsStep() const; // may outlive the router

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace test
