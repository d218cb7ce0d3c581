#include "bench/service.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "bench/local_socket.h"
#include "bench/query_answers.h"
#include "bench/scripts.h"
#include "sim/wire.h"

namespace bench {

struct Service::Requests {
    std::size_t size; // of the latest
    unsigned char bytes[sim::max_message_size];

    // The recording: each request's size and its bytes.
    bool records;
    std::size_t recorded;
    unsigned char record[256 * 1024];

    void keep() {
        if (!records || recorded + sizeof size + size > sizeof record)
            return;
        std::memcpy(record + recorded, &size, sizeof size);
        std::memcpy(record + recorded + sizeof size, bytes, size);
        recorded += sizeof size + size;
    }
};

namespace {

constexpr std::size_t kSendId = 2;

enum : std::int32_t { kClientFile = 4, kCommandText = 7 }; // items of an operation request

// Prepared answers

// What a request is told by: of a session request its first item, of an operation item 0, of a query module and
// operation.
struct Key {
    std::uint8_t kind;
    std::int32_t code;
    std::int32_t operation = 0;
    std::string_view command{};
    bool operator==(const Key&) const = default;
};
constexpr std::uint8_t kSession = 0; // no body kind

struct Answer {
    Key key;
    std::string reply;
};

using Items = std::vector<sim::Item>;

std::string session_reply(std::int32_t code, const Items& more = {}) {
    sim::Message message;
    message.type = sim::session_reply;
    message.session_id = 1;
    message.items = {sim::Item::integer(1, code + 1), sim::Item::integer(2, 0)};
    message.items.insert(message.items.end(), more.begin(), more.end());
    return sim::encode(message);
}

std::string operation_reply(std::uint8_t kind, Items items, const Items& more) {
    sim::Message message;
    message.type = sim::operation_reply;
    message.kind = kind;
    message.session_id = 1;
    message.items = std::move(items);
    message.items.insert(message.items.end(), more.begin(), more.end());
    return sim::encode(message);
}

std::string script_reply(std::int32_t code, const Items& more = {}) {
    return operation_reply(sim::script_operation, {sim::Item::integer(0, code + 1), sim::Item::integer(1, 0)}, more);
}

std::string command_reply(const std::string& output) { return script_reply(17, {sim::Item::text(9, output)}); }

std::vector<Answer> prepared_answers() {
    std::vector<Answer> answers = {
        {{kSession, 1}, session_reply(1, {sim::Item::u32(4, 1)})},               // open, grants session 1
        {{kSession, 5}, session_reply(5)},                                       // keep alive
        {{kSession, 3}, session_reply(3)},                                       // close
        {{sim::script_operation, 15}, script_reply(15, {sim::Item::u32(6, 1)})}, // CLI open, grants handle 1
        {{sim::script_operation, 19}, script_reply(19)},                         // CLI close
        {{sim::script_operation, 11}, script_reply(11)},                         // registration begins, ends
        {{sim::script_operation, 47}, script_reply(47)},                         // interface state subscription
        {{sim::script_operation, 41}, script_reply(41)},                         // correlation
    };
    for (const Command& command : kCommands)
        answers.push_back(
            {{sim::script_operation, 17, 0, command.text}, command_reply(std::string(command.output, 'x'))});
    for (const QueryAnswer& query : query_answers())
        answers.push_back({{sim::device_query, query.module, query.operation},
                           operation_reply(sim::device_query,
                                           {sim::Item::integer(1, query.module), sim::Item::integer(2, query.operation),
                                            sim::Item::integer(3, 0)},
                                           query.items)});
    return answers;
}

// The replies to the commands of one script. Without a script no command is in it.
class ScriptPlayer {
public:
    void play(std::size_t number) {
        replies_.clear();
        for (const auto& [command, output] : scripts().at(number).outputs)
            replies_.emplace(command, command_reply(output));
        plays_ = true;
    }
    std::string* reply_to(std::string_view command) {
        if (!plays_)
            return nullptr;
        const auto found = replies_.find(command);
        return found != replies_.end() ? &found->second : &silence_;
    }

private:
    std::map<std::string, std::string, std::less<>> replies_;
    std::string silence_ = script_reply(17);
    bool plays_ = false;
};

// Answering

std::int32_t integer_at(const unsigned char* at) {
    std::int32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// The value of an item of an operation request, or null. The benchmarks' own requests are well formed.
const unsigned char* find(const unsigned char* request, std::size_t size, std::int32_t tag) {
    const unsigned char* at = request + sim::head_size + sim::body_prefix_size;
    while (at < request + size) {
        if (integer_at(at) == tag)
            return at + sim::item_head_size;
        at += sim::item_head_size + static_cast<std::size_t>(integer_at(at + sizeof tag));
    }
    return nullptr;
}

std::string_view text_of(const unsigned char* value) {
    return value != nullptr ? reinterpret_cast<const char*>(value) : std::string_view();
}

Key key_of(const unsigned char* request, std::size_t size) {
    if (request[1] != sim::operation_request)
        return {kSession, integer_at(request + sim::head_size + sim::item_head_size)};
    const std::uint8_t kind = request[sim::head_size];
    if (kind == sim::device_query)
        return {kind, integer_at(find(request, size, 1)), integer_at(find(request, size, 2))};
    return {kind, integer_at(find(request, size, 0)), 0, text_of(find(request, size, kCommandText))};
}

// One connection.
template <class Latest> class Connection {
public:
    Connection(int descriptor, std::vector<Answer> answers, Latest& request, EventFeed& feed)
        : descriptor_(descriptor), answers_(std::move(answers)), request_(request), feed_(feed) {}

    void serve() {
        for (;;) {
            const ssize_t n = recv(descriptor_, request_.bytes, sizeof request_.bytes, 0);
            if (n <= 0)
                return;
            request_.size = static_cast<std::size_t>(n);
            request_.keep();
            if (!answer(key_of(request_.bytes, request_.size)))
                return;
        }
    }

private:
    bool answer(const Key& key) {
        if (key.command.starts_with(kPlay)) {
            script_.play(number_behind(key.command, kPlay));
            return send_reply(acknowledged_);
        }
        if (key.command.starts_with(kFeed)) {
            const auto source = static_cast<EventFeed::Source>(number_behind(key.command, kFeed));
            return send_reply(acknowledged_) && feed(source);
        }
        for (Answer& answer : answers_)
            if (answer.key == key)
                return send_reply(answer.reply);
        std::string* scripted = script_.reply_to(key.command);
        return scripted != nullptr && send_reply(*scripted);
    }

    static std::size_t number_behind(std::string_view command, std::string_view name) {
        return static_cast<std::size_t>(command[name.size()] - '0');
    }

    bool send_reply(std::string& reply) {
        reply[kSendId] = static_cast<char>(request_.bytes[kSendId]);
        return send(descriptor_, reply.data(), reply.size(), MSG_NOSIGNAL) != -1;
    }

    bool feed(EventFeed::Source source) {
        return feed_.obey(source, [this](const char* events, std::size_t size) {
            return send(descriptor_, events, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
        });
    }

    const int descriptor_;
    std::vector<Answer> answers_;
    Latest& request_;
    EventFeed& feed_;
    ScriptPlayer script_;
    std::string acknowledged_ = script_reply(17);
};

} // namespace

Service::Service(EventFeed& feed) {
    void* shared = mmap(nullptr, sizeof(Requests), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        fail("mmap");
    requests_ = static_cast<Requests*>(shared);

    const Descriptor listener = listen_at_service();
    pid_ = fork();
    if (pid_ == -1)
        fail("fork");
    if (pid_ == 0)
        serve_connections(listener, feed);
}

// Each connection's process ends with its connection.
void Service::serve_connections(int listener, EventFeed& feed) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGCHLD, SIG_IGN);
    const std::vector<Answer> answers = prepared_answers();
    const auto unread = std::make_unique<Requests>();
    for (Requests* latest = requests_;; latest = unread.get()) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection == -1)
            _exit(EXIT_FAILURE);
        if (fork() == 0) {
            close(listener);
            Connection(connection, answers, *latest, feed).serve();
            _exit(EXIT_SUCCESS);
        }
        close(connection);
    }
}

Service::~Service() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    munmap(requests_, sizeof(Requests));
}

std::string Service::latest_request() const {
    return {reinterpret_cast<const char*>(requests_->bytes), requests_->size};
}

void Service::record() {
    requests_->recorded = 0;
    requests_->records = true;
}

std::vector<std::string> Service::recorded() const {
    std::vector<std::string> requests;
    std::size_t size = 0;
    for (std::size_t at = 0; at < requests_->recorded; at += size) {
        std::memcpy(&size, requests_->record + at, sizeof size);
        at += sizeof size;
        requests.emplace_back(reinterpret_cast<const char*>(requests_->record + at), size);
    }
    requests_->records = false;
    return requests;
}

namespace {

std::string item_of(const std::string& request, std::int32_t tag) {
    return std::string(text_of(find(reinterpret_cast<const unsigned char*>(request.data()), request.size(), tag)));
}

} // namespace

std::string command_of(const std::string& request) { return item_of(request, kCommandText); }

std::string client_of(const std::string& request) { return item_of(request, kClientFile); }

} // namespace bench
