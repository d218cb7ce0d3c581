// See the header.
#include "support.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace integration {

static_assert(std::endian::native == std::endian::little, "the bytes written by hand are little-endian");

// Log records -------------------------------------------------------------------------------------------------------

Record failure(std::string function, std::string text) { return {3, std::move(function), std::move(text)}; }
Record note(std::string function, std::string text) { return {6, std::move(function), std::move(text)}; }
Record fixed_note(std::string text) { return {6, "", std::move(text)}; }

Record dropped(int expected_id, int received_id) {
    return note(any_function, "sendId = " + std::to_string(expected_id) + " recv_id = " + std::to_string(received_id));
}

Record read_record(const sim::LogRecord& record) {
    Record read{record.level, "", record.text};
    // Identity, process id and facility are the same in every record.
    if (record.tag != "Vela-Quor" || record.pid != getpid() || record.facility != 1)
        return {record.level, "(not the library's)", record.raw};
    std::string_view text = record.text;
    if (text.size() < 2 || text.front() != '\'' || text.back() != '\'')
        return {record.level, "(not in quotes)", record.raw};
    text = text.substr(1, text.size() - 2);
    read.text = text;

    const auto name_end = text.find(' ');
    if (name_end == std::string_view::npos)
        return read;
    const auto line_end = text.find(' ', name_end + 1);
    if (line_end == std::string_view::npos)
        return read;
    const auto line = text.substr(name_end + 1, line_end - name_end - 1);
    if (line.empty() || !std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isdigit(c); }))
        return read;
    read.function = text.substr(0, name_end);
    read.text = text.substr(line_end + 1);
    return read;
}

bool matches(const Record& expected, const Record& actual) {
    return expected.level == actual.level &&
           (expected.function == any_function || expected.function == actual.function) &&
           (expected.text == any_text || expected.text == actual.text);
}

std::ostream& operator<<(std::ostream& out, const Record& record) {
    return out << '<' << record.level << "> " << record.function << " \"" << record.text << '"';
}

// Messages ----------------------------------------------------------------------------------------------------------

std::string encode_reply(const sim::Message& request, const Reply& reply) {
    sim::Message message;
    message.type = reply.type.value_or(static_cast<std::uint8_t>(request.type + 1));
    message.send_id = reply.send_id.value_or(request.send_id);
    message.session_id = request.session_id;
    message.kind = reply.kind;
    message.items = reply.items;
    const auto body = sim::encode(message).size() - sim::head_size + reply.tail.size();
    message.total_length = reply.total_length.value_or(static_cast<std::uint16_t>(sim::head_size + body));
    message.body_length = static_cast<std::uint16_t>(body);
    return sim::encode(message) + reply.tail;
}

std::vector<sim::Item> opened(std::uint32_t session_id) {
    return {sim::Item::integer(1, 2), sim::Item::integer(2, 0), sim::Item::u32(4, session_id)};
}

std::vector<sim::Item> session_acknowledged(std::int32_t kind, std::int32_t code) {
    return {sim::Item::integer(1, kind), sim::Item::integer(2, code)};
}

std::vector<sim::Item> acknowledged(std::int32_t code) {
    return {sim::Item::integer(0, code), sim::Item::integer(1, 0)};
}

std::vector<sim::Item> refused(std::int32_t code, std::int32_t error, std::string_view text) {
    return {sim::Item::integer(0, code), sim::Item::integer(1, error), sim::Item::text(2, text)};
}

std::vector<sim::Item> cli_opened(std::uint32_t handle) { return with(acknowledged(16), sim::Item::u32(6, handle)); }

std::vector<sim::Item> printed(std::string_view output) { return with(acknowledged(18), sim::Item::text(9, output)); }

std::vector<sim::Item> without(std::vector<sim::Item> items, std::int32_t tag) {
    std::erase_if(items, [tag](const sim::Item& item) { return item.tag == tag; });
    return items;
}

std::vector<sim::Item> with(std::vector<sim::Item> items, sim::Item item) {
    items.push_back(std::move(item));
    return items;
}

std::string element(std::int32_t tag, std::int32_t length, std::string_view value) {
    std::string wire(reinterpret_cast<const char*>(&tag), sizeof tag);
    wire.append(reinterpret_cast<const char*>(&length), sizeof length);
    return wire.append(value);
}

std::string unsolicited_reply(std::uint8_t send_id, std::vector<sim::Item> items) {
    sim::Message message;
    message.type = sim::session_reply;
    message.send_id = send_id;
    message.session_id = granted_session;
    message.items = std::move(items);
    return sim::encode(message);
}

std::string event(std::vector<sim::Item> items) {
    sim::Message message;
    message.type = sim::operation_reply;
    message.kind = sim::event_notification;
    message.session_id = granted_session;
    message.items = std::move(items);
    return sim::encode(message);
}

std::string client_name(unsigned session_id) {
    char name[120];
    const auto self = static_cast<std::int32_t>(static_cast<std::uint32_t>(pthread_self()));
    std::snprintf(name, sizeof name, "sdkclient%04u%08d", session_id, self);
    return name;
}

std::string bytes(std::string_view hexadecimal) {
    std::string digits;
    std::copy_if(hexadecimal.begin(), hexadecimal.end(), std::back_inserter(digits),
                 [](unsigned char c) { return !std::isspace(c); });
    std::string read;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
        read.push_back(static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    return read;
}

// The process -------------------------------------------------------------------------------------------------------

tagVELA_SESSION_CFG_T configuration(std::string_view name, std::int32_t type) {
    tagVELA_SESSION_CFG_T cfg{};
    std::memset(cfg.reserved, 0xee, sizeof cfg.reserved);
    name.copy(cfg.client_name, sizeof cfg.client_name);
    cfg.type = type;
    std::memset(cfg.server_addr, 0xee, sizeof cfg.server_addr);
    cfg.server_port = 0xeeee;
    return cfg;
}

bool eventually(const std::function<bool()>& holds, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return holds();
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

std::uint64_t blocked_signals(int thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("SigBlk:"))
            return std::stoull(line.substr(7), nullptr, 16);
    return 0;
}

bool blocks_all_but_synchronous_signals(int thread) {
    constexpr auto bit = [](int signal) { return std::uint64_t{1} << (signal - 1); };
    constexpr std::uint64_t synchronous =
        bit(SIGSEGV) | bit(SIGBUS) | bit(SIGFPE) | bit(SIGILL) | bit(SIGTRAP) | bit(SIGSYS);
    // Nothing blocks these two, and the C library keeps two for itself.
    constexpr std::uint64_t beyond = bit(SIGKILL) | bit(SIGSTOP) | bit(32) | bit(33);
    return (blocked_signals(thread) & ~beyond) == ~(synchronous | beyond);
}

std::multiset<std::string> open_files() {
    std::multiset<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the directory's own descriptor
        const auto file = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone)
            found.insert(file.string());
    }
    return found;
}

namespace {

constexpr std::string_view socket_path = "/mnt/sock/sdk.socket";

using AddressCall = int (*)(int, sockaddr*, socklen_t*);

bool has_address(int fd, AddressCall call) {
    sockaddr_un address{};
    socklen_t length = sizeof address;
    if (call(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 || address.sun_family != AF_UNIX)
        return false;
    const auto path_length = length - offsetof(sockaddr_un, sun_path);
    return std::string_view(address.sun_path, strnlen(address.sun_path, path_length)) == socket_path;
}

std::vector<int> sockets_with(AddressCall call) {
    std::vector<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename());
        int listens = 0;
        socklen_t length = sizeof listens;
        if (has_address(fd, call) && getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listens, &length) == 0 && listens == 0)
            found.push_back(fd);
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace

std::vector<int> client_sockets() { return sockets_with(getpeername); }
std::vector<int> service_sockets() { return sockets_with(getsockname); }

// The fixture -------------------------------------------------------------------------------------------------------

LibraryTest::LibraryTest() {
    answer_as_usual();
    service.start();
}

void LibraryTest::TearDown() {
    for (const Record& record : take_log())
        EXPECT_NE(record.level, 3) << "not expected: " << record;
    service.faults().clear();
    answer_as_usual();
    vela_session_close(0);
    vela_release();
    service.stop();
}

void LibraryTest::init() {
    ASSERT_EQ(vela_init(), VELA_OK);
    expect_log({fixed_note("Vela Quor compile time is 2016-9-8"), note("vela_init_imp", "vela init success")});
}

void LibraryTest::open_session() {
    init();
    const auto cfg = configuration();
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_session_open(&cfg, &handle), VELA_OK);
    ASSERT_EQ(handle, granted_session);
    expect_log({note("vela_session_open_imp", "session open success, session id = 7")});
}

void LibraryTest::open_cli() {
    open_session();
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_cli_open(&handle), VELA_OK);
    ASSERT_EQ(handle, granted_handle);
    expect_log({note("vela_cli_open_imp", "cli open success, cli handle = 3")});
}

void LibraryTest::answer(const std::string& operation, Reply reply) {
    service.on(operation, [reply = std::move(reply)](const sim::Request& request) {
        return sim::Answer{encode_reply(request.message, reply)};
    });
}

void LibraryTest::answer_nothing(const std::string& operation) {
    service.on(operation, [](const sim::Request&) { return sim::Answer{}; });
}

void LibraryTest::answer_as_usual() {
    for (const RequestKind& kind : request_kinds())
        answer(kind.operation, {.items = kind.right()});
}

void LibraryTest::expect_log(const std::vector<Record>& expected) {
    log.wait_for_count(taken_ + expected.size(), patience);
    const auto actual = take_log();
    const bool same = std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(), matches);
    EXPECT_TRUE(same) << "recorded: " << testing::PrintToString(actual)
                      << "\nexpected: " << testing::PrintToString(expected);
}

std::vector<Record> LibraryTest::take_log() {
    log.drain();
    const auto all = log.records();
    std::vector<Record> taken;
    std::transform(all.begin() + static_cast<std::ptrdiff_t>(taken_), all.end(), std::back_inserter(taken),
                   read_record);
    taken_ = all.size();
    return taken;
}

std::vector<Record> LibraryTest::take_log_until(const Record& awaited) {
    std::vector<Record> all;
    const auto found = [&] {
        for (Record& record : take_log())
            all.push_back(std::move(record));
        return std::any_of(all.begin(), all.end(), [&](const Record& record) { return matches(awaited, record); });
    };
    EXPECT_TRUE(eventually(found)) << "awaited: " << awaited << "\nrecorded: " << testing::PrintToString(all);
    return all;
}

std::vector<Record> LibraryTest::pass_messages() {
    constexpr std::uint8_t marker = 211;
    service.send(-1, unsolicited_reply(marker));
    auto records = take_log_until(dropped(0, marker));
    std::erase_if(records, [](const Record& record) { return matches(dropped(0, marker), record); });
    return records;
}

std::vector<sim::Request> LibraryTest::requests(std::string_view operation) const {
    auto received = service.requests();
    if (!operation.empty())
        std::erase_if(received, [operation](const sim::Request& request) { return request.operation != operation; });
    return received;
}

sim::Message LibraryTest::last_request() const {
    const auto received = service.requests();
    return received.empty() ? sim::Message{} : received.back().message;
}

// Requests ----------------------------------------------------------------------------------------------------------

namespace {

std::int32_t call_session_open() {
    const auto cfg = configuration();
    std::uint32_t handle = 0;
    return vela_session_open(&cfg, &handle);
}

std::int32_t call_cli_open() {
    std::uint32_t handle = 0;
    return vela_cli_open(&handle);
}

std::int32_t call_cli_execute() {
    char* output = nullptr;
    const std::int32_t code = vela_cli_execute(granted_handle, "display version", "\"a\":\"1\"", &output);
    vela_free(output);
    return code;
}

} // namespace

const std::vector<RequestKind>& request_kinds() {
    using Needs = RequestKind::Needs;
    static const std::vector<RequestKind> kinds = {
        {"SessionOpen",
         "session.open",
         "vela_session_open_imp",
         Needs::library,
         call_session_open,
         [] { return opened(granted_session); },
         {note("vela_session_open_imp", "session open success, session id = 7")},
         "SendRequest failed"},
        {"SessionKeepalive",
         "session.keepalive",
         "vela_session_keepalive_imp",
         Needs::session,
         [] { return vela_session_keepalive(granted_session); },
         [] { return session_acknowledged(6); },
         {},
         std::nullopt},
        {"SessionClose",
         "session.close",
         "vela_session_close_imp",
         Needs::session,
         [] { return vela_session_close(granted_session); },
         [] { return session_acknowledged(4); },
         {},
         "SendRequest failed"},
        {"CliOpen",
         "cli.open",
         "vela_cli_open_imp",
         Needs::session,
         call_cli_open,
         [] { return cli_opened(granted_handle); },
         {note("vela_cli_open_imp", "cli open success, cli handle = 3")},
         "SendRequest faided"},
        {"CliExecute",
         "cli.execute",
         "vela_cli_execute_imp",
         Needs::cli,
         call_cli_execute,
         [] { return printed("Quor"); },
         {},
         "SendRequest failed"},
        {"CliClose",
         "cli.close",
         "vela_cli_close_imp",
         Needs::cli,
         [] { return vela_cli_close(granted_handle); },
         [] { return acknowledged(20); },
         {note("vela_cli_close_imp", "cli close success, cli handle = 3")},
         "SendRequest failed"},
    };
    return kinds;
}

const RequestKind& request_kind(std::string_view operation) {
    const auto& kinds = request_kinds();
    return *std::find_if(kinds.begin(), kinds.end(),
                         [operation](const RequestKind& kind) { return kind.operation == operation; });
}

std::ostream& operator<<(std::ostream& out, const RequestKind& kind) { return out << kind.operation; }
std::ostream& operator<<(std::ostream& out, const ReplyRow& row) { return out << row.name; }

void RequestTest::reach(const RequestKind& kind) {
    switch (kind.needs) {
    case RequestKind::Needs::library:
        return init();
    case RequestKind::Needs::session:
        return open_session();
    case RequestKind::Needs::cli:
        return open_cli();
    }
}

std::vector<Record> RequestTest::without_reply(const RequestKind& kind, std::vector<Record> first) {
    if (kind.not_served)
        first.push_back(failure(kind.function, *kind.not_served));
    return first;
}

} // namespace integration
