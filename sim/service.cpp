#include "sim/service.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sim/callbacks.h"
#include "sim/client.h"
#include "sim/events.h"
#include "sim/line_writer.h"
#include "sim/operations.h"
#include "sim/scenario.h"
#include "sim/sessions.h"
#include "sim/threads.h"
#include "sim/unit.h"
#include "sim/unix_socket.h"
#include "sim/wire_log.h"

namespace sim {

namespace {

std::vector<std::unique_ptr<Unit>> make_units(UnitContext context) {
    std::vector<std::unique_ptr<Unit>> units;
    units.push_back(make_session_unit(context));
    units.push_back(make_cli_unit(context));
    units.push_back(make_facts_unit(context));
    units.push_back(make_snmp_unit(context));
    units.push_back(make_syslog_unit(context));
    units.push_back(make_event_unit(context));
    return units;
}

Request read_request(std::string_view frame, int client) {
    Request request;
    request.bytes = frame;
    request.client = client;
    Decoded decoded = decode(frame);
    request.malformed = std::move(decoded.error);
    request.message = decoded.message ? std::move(*decoded.message) : std::move(decoded.head);
    const bool asks = request.message.type == session_request || request.message.type == operation_request;
    const Operation* operation = asks && request.malformed.empty() ? operation_of(request.message) : nullptr;
    request.operation = operation == nullptr ? unknown_operation : operation->name;
    return request;
}

Message refused_as_unknown(const Request& request) {
    const Message& asked = request.message;
    if (!request.malformed.empty())
        return refused(request, Refusal::malformed, "malformed message: " + request.malformed);
    if (asked.type == session_request)
        return refused(request, Refusal::not_offered,
                       fmt::format("session control {} is not offered", asked.integer(1).value_or(0)));
    if (asked.type != operation_request)
        return refused(request, Refusal::not_offered, fmt::format("message type {} is no request", asked.type));
    if (asked.kind == device_query)
        return refused(request, Refusal::not_offered,
                       fmt::format("query {} of module {} is not offered", asked.integer(2).value_or(0),
                                   asked.integer(1).value_or(0)));
    if (asked.kind != script_operation)
        return refused(request, Refusal::not_offered, fmt::format("body kind {} is no request", asked.kind));
    return refused(request, Refusal::not_offered,
                   fmt::format("operation {} is not offered", asked.integer(0).value_or(0)));
}

// The bytes received from one client that are not yet a whole message.
class Inbox {
public:
    char* space() { return bytes_.data() + used_; }
    std::size_t room() const { return bytes_.size() - used_; }
    void received(std::size_t size) { used_ += size; }
    std::string_view rest() const { return {bytes_.data() + taken_, used_ - taken_}; }

    // The next whole message; empty when there is none.
    std::string_view next() {
        if (rest().size() < head_size || broken() || rest().size() < total_length())
            return {};
        const std::string_view frame = rest().substr(0, total_length());
        taken_ += frame.size();
        return frame;
    }

    // A length that no message has leaves no way to find the next one.
    bool broken() const {
        return rest().size() >= head_size && (total_length() < head_size || total_length() > max_message_size);
    }

    void compact() {
        const std::string_view left = rest();
        std::ranges::copy(left, bytes_.begin());
        used_ = left.size();
        taken_ = 0;
    }

private:
    std::size_t total_length() const {
        const auto high = std::bit_cast<std::uint8_t>(rest()[4]);
        const auto low = std::bit_cast<std::uint8_t>(rest()[5]);
        return static_cast<std::size_t>(high << 8 | low);
    }

    std::string bytes_ = std::string(2 * max_message_size, '\0');
    std::size_t used_ = 0;
    std::size_t taken_ = 0;
};

} // namespace

class Service::Impl {
public:
    explicit Impl(Options options)
        : options_(std::move(options)), events_(router_, sessions_, ways_to_clients(), options_.events),
          units_(make_units({router_, sessions_, events_})), wake_(eventfd(0, EFD_CLOEXEC)) {
        for (const auto& unit : units_)
            for (const std::string_view name : unit->operations())
                unit_of_[name] = unit.get();
        if (!options_.wire_log.empty())
            add_log(WireLog::Format::lines, options_.wire_log);
        if (!options_.wire_log_json.empty())
            add_log(WireLog::Format::json, options_.wire_log_json);
    }

    ~Impl() { stop(); }

    void start() {
        if (accepting_.joinable())
            return;
        listener_ = BoundSocket(options_.socket_path, SOCK_STREAM);
        accepting_ = start_thread([this] { accept_clients(); });
    }

    void stop() {
        if (!accepting_.joinable())
            return;
        eventfd_write(wake_.get(), 1);
        accepting_.join();
        eventfd_t woken = 0;
        eventfd_read(wake_.get(), &woken);
        listener_.reset();

        std::vector<std::thread> threads;
        {
            std::lock_guard guard(clients_lock_);
            for (const auto& [id, served] : clients_)
                served.client->finish();
        }
        wait_for_clients_to_end();
        {
            std::lock_guard guard(clients_lock_);
            threads.swap(ended_);
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    void on(std::string operation, Handler handler) {
        std::unique_lock guard(handlers_lock_);
        if (handler)
            handlers_[std::move(operation)] = std::move(handler);
        else
            handlers_.erase(operation);
        any_handlers_.store(!handlers_.empty(), std::memory_order_release);
    }

    Message reply_to(const Request& request) {
        if (!request.malformed.empty())
            return refused_as_unknown(request);
        const auto unit = unit_of_.find(request.operation);
        return unit == unit_of_.end() ? refused_as_unknown(request) : unit->second->answer(request);
    }

    std::vector<Request> requests() const {
        std::lock_guard guard(requests_lock_);
        return requests_;
    }

    void clear_requests() {
        std::lock_guard guard(requests_lock_);
        requests_.clear();
        received_ = 0;
    }

    bool wait_for_requests(std::size_t n, std::chrono::milliseconds limit) {
        std::unique_lock guard(requests_lock_);
        return requests_changed_.wait_for(guard, limit, [&] { return received_ >= n; });
    }

    std::size_t clients() const {
        std::lock_guard guard(clients_lock_);
        return connected();
    }

    bool wait_for_clients(std::size_t n, std::chrono::milliseconds limit) {
        std::unique_lock guard(clients_lock_);
        return clients_changed_.wait_for(guard, limit, [&] { return connected() == n && clients_.size() == n; });
    }

    std::vector<int> client_ids() const {
        std::lock_guard guard(clients_lock_);
        std::vector<int> ids;
        for (const auto& [id, served] : clients_)
            if (!served.client->gone())
                ids.push_back(id);
        return ids;
    }

    std::size_t connections() const {
        std::lock_guard guard(clients_lock_);
        return static_cast<std::size_t>(last_id_);
    }

    bool send(int id, std::string_view bytes) {
        const auto client = find(id);
        return client && send(*client, bytes);
    }

    void hang_up(int id) {
        if (const auto client = find(id))
            hang_up(*client);
    }

    void hang_up_all() {
        std::vector<std::shared_ptr<Client>> all;
        {
            std::lock_guard guard(clients_lock_);
            for (const auto& [id, served] : clients_)
                all.push_back(served.client);
        }
        for (const auto& client : all)
            hang_up(*client);
    }

    Callbacks<Direction, int, std::string_view> taps;
    Callbacks<int, std::string_view> notes;
    Router& router() { return router_; }
    Faults& faults() { return faults_; }
    Events& events() { return events_; }
    const Sessions& sessions() const { return sessions_; }

private:
    struct Served {
        std::shared_ptr<Client> client;
        std::thread thread;
    };

    void add_log(WireLog::Format format, const std::string& path) {
        const auto file = std::make_shared<LineWriter>(path);
        const auto log = std::make_shared<WireLog>(format, [file](const std::string& line) { file->write(line); });
        taps.add(
            [log](Direction direction, int client, std::string_view bytes) { log->message(direction, client, bytes); });
        notes.add([log](int client, std::string_view text) { log->note(client, text); });
    }

    // For the events.
    Events::Clients ways_to_clients() {
        return {[this](int client, std::string_view bytes) { return send(client, bytes); },
                [this](int client, std::string_view why) {
                    notes(client, why);
                    hang_up(client);
                }};
    }

    // The clients.

    void accept_clients() {
        pollfd events[] = {{listener_.fd(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
        while (events[1].revents == 0) {
            poll(events, 2, -1);
            while (accept_one()) {
            }
            join_ended();
        }
    }

    bool accept_one() {
        Fd socket(accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOMEM)
                wait_for_a_descriptor();
            return false;
        }
        // Only this thread gives out ids.
        const auto client = std::make_shared<Client>(last_id_ + 1, std::move(socket));
        notes(client->id(), "connected");
        try {
            std::lock_guard guard(clients_lock_);
            last_id_ = client->id();
            clients_[client->id()] = {client, start_thread([this, client] { serve(client); })};
            clients_changed_.notify_all();
        } catch (const std::system_error&) { // no thread for it
            notes(client->id(), "turned away");
            std::lock_guard guard(clients_lock_);
            clients_.erase(client->id());
        }
        return true;
    }

    // Until a client goes, or the service stops, there is nothing to accept a connection with.
    void wait_for_a_descriptor() {
        pollfd stopped{wake_.get(), POLLIN, 0};
        poll(&stopped, 1, 100);
    }

    void serve(const std::shared_ptr<Client>& client) {
        Inbox inbox;
        while (const std::size_t size = client->receive(inbox.space(), inbox.room())) {
            inbox.received(size);
            for (std::string_view frame = inbox.next(); !frame.empty() && !client->gone(); frame = inbox.next())
                take(*client, frame);
            if (inbox.broken())
                break;
            inbox.compact();
        }
        if (!inbox.rest().empty() && !client->gone())
            take_broken(*client, inbox.rest());
        end(*client);
    }

    void end(Client& client) {
        client.hang_up();
        client.drop_later();
        for (const auto& unit : units_)
            unit->client_gone(client.id());
        notes(client.id(), "gone");

        std::lock_guard guard(clients_lock_);
        const auto served = clients_.find(client.id());
        ended_.push_back(std::move(served->second.thread));
        clients_.erase(served);
        clients_changed_.notify_all();
    }

    void join_ended() {
        std::vector<std::thread> ended;
        {
            std::lock_guard guard(clients_lock_);
            ended.swap(ended_);
        }
        for (std::thread& thread : ended)
            thread.join();
    }

    void wait_for_clients_to_end() {
        std::unique_lock guard(clients_lock_);
        clients_changed_.wait(guard, [this] { return clients_.empty(); });
    }

    std::size_t connected() const {
        std::size_t count = 0;
        for (const auto& [id, served] : clients_)
            count += served.client->gone() ? 0U : 1U;
        return count;
    }

    std::shared_ptr<Client> find(int id) const {
        std::lock_guard guard(clients_lock_);
        if (id == -1) {
            for (auto newest = clients_.rbegin(); newest != clients_.rend(); ++newest)
                if (!newest->second.client->gone())
                    return newest->second.client;
            return nullptr;
        }
        const auto found = clients_.find(id);
        return found == clients_.end() ? nullptr : found->second.client;
    }

    void hang_up(Client& client) {
        client.hang_up();
        std::lock_guard guard(clients_lock_);
        clients_changed_.notify_all();
    }

    // The messages.

    void take(Client& client, std::string_view frame) {
        taps(Direction::from_client, client.id(), frame);
        const auto now = Client::Clock::now();
        const Request request = read_request(frame, client.id());
        record(request);
        Answer answer = answer_to(request);
        events_.wait_for_room();
        if (faults_.none()) {
            for (const std::string& bytes : answer)
                send(client, bytes);
            return;
        }
        const std::vector<Fault> met = faults_.meet(request.operation);
        if (notes.any())
            for (const Fault& fault : met)
                notes(client.id(), fmt::format("{} id={} meets {}", request.operation, request.message.send_id,
                                               fault_verb(fault.verb).name));
        carry_out(client, deliver(std::move(answer), met), now);
    }

    // What cannot be a message is kept, and answered by the end of the connection.
    void take_broken(Client& client, std::string_view bytes) {
        taps(Direction::from_client, client.id(), bytes);
        record(read_request(bytes, client.id()));
    }

    void record(const Request& request) {
        std::lock_guard guard(requests_lock_);
        ++received_;
        if (options_.keep_requests)
            requests_.push_back(request);
        requests_changed_.notify_all();
    }

    Answer answer_to(const Request& request) {
        if (const Handler handler = handler_of(request.operation))
            return handler(request);
        Answer answer;
        answer.push_back(encode(reply_to(request)));
        return answer;
    }

    Handler handler_of(const std::string& operation) const {
        if (!any_handlers_.load(std::memory_order_acquire))
            return {};
        std::shared_lock guard(handlers_lock_);
        auto found = handlers_.find(operation);
        if (found == handlers_.end())
            found = handlers_.find("*");
        return found == handlers_.end() ? Handler{} : found->second;
    }

    void carry_out(Client& client, Delivery delivery, Client::Clock::time_point asked) {
        if (delivery.hang_up_first) {
            hang_up(client);
            return;
        }
        std::chrono::milliseconds last{0};
        for (Delivery::Send& each : delivery.sends) {
            last = std::max(last, each.after);
            at(client, asked, each.after, [this, &client, bytes = std::move(each.bytes)] { send(client, bytes); });
        }
        if (delivery.hang_up_last)
            at(client, asked, last, [this, &client] { hang_up(client); });
    }

    // Now, or from the client's own timer, which ends before the client does.
    template <class Action>
    void at(Client& client, Client::Clock::time_point asked, std::chrono::milliseconds after, Action action) {
        if (after.count() == 0)
            action();
        else
            client.later(asked + after, std::move(action));
    }

    bool send(Client& client, std::string_view bytes) {
        if (client.gone())
            return false;
        taps(Direction::to_client, client.id(), bytes);
        return client.send(bytes);
    }

    const Options options_;
    Router router_;
    Faults faults_;
    Sessions sessions_;
    Events events_;
    std::vector<std::unique_ptr<Unit>> units_;
    std::unordered_map<std::string_view, Unit*> unit_of_;

    Fd wake_;
    BoundSocket listener_;
    std::thread accepting_;

    mutable std::mutex clients_lock_;
    std::condition_variable clients_changed_;
    std::map<int, Served> clients_;
    std::vector<std::thread> ended_;
    int last_id_ = 0;

    mutable std::shared_mutex handlers_lock_;
    std::unordered_map<std::string, Handler> handlers_;
    std::atomic<bool> any_handlers_{false};

    mutable std::mutex requests_lock_;
    std::condition_variable requests_changed_;
    std::vector<Request> requests_;
    std::size_t received_ = 0;
};

Service::Service() : Service(Options{}) {}
Service::Service(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Service::~Service() = default;
void Service::start() { impl_->start(); }
void Service::stop() { impl_->stop(); }
Router& Service::router() { return impl_->router(); }
Faults& Service::faults() { return impl_->faults(); }
Events& Service::events() { return impl_->events(); }
const Sessions& Service::sessions() const { return impl_->sessions(); }
void Service::on(std::string operation, Handler handler) { impl_->on(std::move(operation), std::move(handler)); }
Message Service::reply_to(const Request& request) { return impl_->reply_to(request); }
std::vector<Request> Service::requests() const { return impl_->requests(); }
void Service::clear_requests() { impl_->clear_requests(); }
bool Service::wait_for_requests(std::size_t n, std::chrono::milliseconds limit) {
    return impl_->wait_for_requests(n, limit);
}
std::size_t Service::clients() const { return impl_->clients(); }
bool Service::wait_for_clients(std::size_t n, std::chrono::milliseconds limit) {
    return impl_->wait_for_clients(n, limit);
}
std::vector<int> Service::client_ids() const { return impl_->client_ids(); }
std::size_t Service::connections() const { return impl_->connections(); }
bool Service::send(int client, std::string_view bytes) { return impl_->send(client, bytes); }
void Service::hang_up(int client) { impl_->hang_up(client); }
void Service::hang_up_all() { impl_->hang_up_all(); }
void Service::on_message(Tap tap) { impl_->taps.add(std::move(tap)); }
void Service::on_note(std::function<void(int, std::string_view)> tap) { impl_->notes.add(std::move(tap)); }

void Service::apply(const Scenario& scenario) {
    impl_->router().set(scenario.router);
    for (const Fault& fault : scenario.faults)
        impl_->faults().add(fault);
}

} // namespace sim
