// The library under test between a scripted service and a system log of the test's own, and what the tests say about
// them: log records, replies, requests, the library's threads and its socket.
//
// Each test is a process of its own (the library's state is the process's), so a test may count send ids from 1.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "qel_api.h"
#include "sim/service.h"
#include "sim/syslog_listener.h"
#include "sim/wire.h"

namespace integration {

using namespace std::chrono_literals;

// How long a condition may take that holds at once on a machine with nothing else to do.
constexpr auto patience = 30s;
// The library's limit for one request.
constexpr auto request_limit = 60s;

// Log records -------------------------------------------------------------------------------------------------------

// One record of the library's: '<function> <line> <text>', or a fixed line without function and line.
struct Record {
    int level = 0;
    std::string function;
    std::string text;
};

inline constexpr const char* any_text = "(whatever it says)";
inline constexpr const char* any_function = "(wherever it comes from)";

Record failure(std::string function, std::string text); // level 3
Record note(std::string function, std::string text);    // level 6
Record fixed_note(std::string text);

Record read_record(const sim::LogRecord& record);
bool matches(const Record& expected, const Record& actual);
std::ostream& operator<<(std::ostream& out, const Record& record);

// The record of a dropped reply.
Record dropped(int expected_id, int received_id);

// Messages ----------------------------------------------------------------------------------------------------------

// What the service says to a request: right in everything that is not set.
struct Reply {
    std::vector<sim::Item> items = {};
    std::optional<std::uint8_t> type = {};
    std::optional<std::uint16_t> total_length = {};
    std::optional<std::uint8_t> send_id = {};
    std::uint8_t kind = sim::script_operation;
    std::string tail = {}; // elements behind the items, as they stand on the wire
};

std::string encode_reply(const sim::Message& request, const Reply& reply);

// Items of the replies that the service gives where a test says nothing else.
std::vector<sim::Item> opened(std::uint32_t session_id);
std::vector<sim::Item> session_acknowledged(std::int32_t kind, std::int32_t code = 0);
std::vector<sim::Item> acknowledged(std::int32_t code);
std::vector<sim::Item> refused(std::int32_t code, std::int32_t error, std::string_view text);
std::vector<sim::Item> cli_opened(std::uint32_t handle);
std::vector<sim::Item> printed(std::string_view output);

// items without those of one tag.
std::vector<sim::Item> without(std::vector<sim::Item> items, std::int32_t tag);
// items with one more behind them.
std::vector<sim::Item> with(std::vector<sim::Item> items, sim::Item item);
// An element whose length may say something else than what it holds.
std::string element(std::int32_t tag, std::int32_t length, std::string_view value);

// A message that no request asked for.
std::string unsolicited_reply(std::uint8_t send_id, std::vector<sim::Item> items = {});
std::string event(std::vector<sim::Item> items);

// The name that identifies a client which the calling thread opened.
std::string client_name(unsigned session_id);

// "01 0b ff": bytes written by hand; blanks and line ends do not count.
std::string bytes(std::string_view hexadecimal);

// The process -------------------------------------------------------------------------------------------------------

constexpr std::uint32_t granted_session = 7;
constexpr std::uint32_t granted_handle = 3;

tagVELA_SESSION_CFG_T configuration(std::string_view name = "abc", std::int32_t type = 0);

// Waits for a condition that nothing announces.
bool eventually(const std::function<bool()>& holds, std::chrono::milliseconds limit = patience);

// The blocked signals of a thread of this process, bit n - 1 for signal n.
std::uint64_t blocked_signals(int thread);
// Those threads that the library under test has started and that have not ended.
std::set<int> library_threads();
std::size_t library_thread_count();

// Whether a thread blocks every signal that can be blocked but those that it raises by its own fault, and none of
// these.
bool blocks_all_but_synchronous_signals(int thread);

// What this process' descriptors lead to, as the system names it.
std::multiset<std::string> open_files();

// This process' descriptors that are connected to the service, in the order in which they were opened.
std::vector<int> client_sockets();
// The service's ends of the same, which are in this process too.
std::vector<int> service_sockets();

// A gate that a handler waits at until the test opens it. A handler holds a copy, for it may still be on its way
// through when the test's body has ended.
class Gate {
public:
    Gate() : promise_(std::make_shared<std::promise<void>>()), opened_(promise_->get_future()) {}
    void open() const { promise_->set_value(); }
    void wait() const { opened_.wait(); }

private:
    std::shared_ptr<std::promise<void>> promise_;
    std::shared_future<void> opened_;
};

// The fixture -------------------------------------------------------------------------------------------------------

class LibraryTest : public testing::Test {
protected:
    LibraryTest();
    // Every failure that was recorded must have been expected; then ends what the test has left open.
    void TearDown() override;

    // Steps that must succeed; the records that they write are taken.
    void init();
    void open_session();
    void open_cli();

    // Sets the answer to an operation ("session.open", "cli.execute", ...).
    void answer(const std::string& operation, Reply reply);
    void answer_nothing(const std::string& operation);
    void answer_as_usual();

    // Exactly these were recorded since the last call, in this order.
    void expect_log(const std::vector<Record>& expected);
    void expect_no_log() { expect_log({}); }
    // Takes everything recorded so far, once this record is among it.
    std::vector<Record> take_log_until(const Record& awaited);
    std::vector<Record> take_log();

    // Waits until the library has dispatched what the service has sent so far; takes the records.
    std::vector<Record> pass_messages();

    std::vector<sim::Request> requests(std::string_view operation = {}) const;
    sim::Message last_request() const;

    sim::SyslogListener log;
    sim::Service service;

private:
    std::size_t taken_ = 0;
};

// Requests ----------------------------------------------------------------------------------------------------------

// The six requests that the library makes: how to get there, how to ask, what is right, and who reports.
struct RequestKind {
    enum class Needs { library, session, cli };

    const char* name;
    const char* operation;
    const char* function;
    Needs needs;
    std::int32_t (*call)();
    std::vector<sim::Item> (*right)();
    std::vector<Record> success;           // recorded when all is well
    std::optional<std::string> not_served; // recorded when there was no usable reply; keep-alive is silent
};

const std::vector<RequestKind>& request_kinds();
const RequestKind& request_kind(std::string_view operation);
inline std::string kind_name(const testing::TestParamInfo<RequestKind>& info) { return info.param.name; }
std::ostream& operator<<(std::ostream& out, const RequestKind& kind);

class RequestTest : public LibraryTest {
protected:
    // Reaches the state in which the request can be made.
    void reach(const RequestKind& kind);
    // What is recorded when a request of that kind ended without a usable reply.
    static std::vector<Record> without_reply(const RequestKind& kind, std::vector<Record> first);
};

// One reply of the service, and what becomes of it.
struct ReplyRow {
    const char* name;
    Reply reply;
    std::int32_t code;
    std::vector<Record> records;
};
inline std::string row_name(const testing::TestParamInfo<ReplyRow>& info) { return info.param.name; }
std::ostream& operator<<(std::ostream& out, const ReplyRow& row);

} // namespace integration
