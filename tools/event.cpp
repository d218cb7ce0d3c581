// Watching events, a line each, until enough have come, the time is over, or a signal ends it.
//
// The library calls deliver() on a thread of its own, which only queues; the main thread writes what is queued, and
// never waits for the reader of its output alone: signals and the end of the time count meanwhile. When the queue is
// full the library waits, and with it the service.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/interruption.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text.h"

namespace qel {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Event {
    std::string tag;
    std::optional<std::string> content;
};

// Lock: one, held during nothing but the queue's own steps.
class EventQueue {
public:
    EventQueue() : ready_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (ready_ < 0)
            throw Failure(no_session, "eventfd: no descriptor is free");
    }

    // Readable while something is queued.
    int descriptor() const { return ready_; }

    void put(Event event) {
        std::unique_lock lock(mutex_);
        room_.wait(lock, [this] { return events_.size() < most_; });
        events_.push_back(std::move(event));
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(ready_, &one, sizeof one);
    }

    std::optional<Event> take() {
        const std::lock_guard lock(mutex_);
        if (events_.empty())
            return std::nullopt;
        Event event = std::move(events_.front());
        events_.pop_front();
        std::uint64_t all = 0;
        if (events_.empty()) [[maybe_unused]]
            const ssize_t taken = read(ready_, &all, sizeof all);
        room_.notify_one();
        return event;
    }

    // Whoever waits goes on, and nobody waits any more.
    void make_room() {
        const std::lock_guard lock(mutex_);
        most_ = std::numeric_limits<std::size_t>::max();
        room_.notify_all();
    }

private:
    const int ready_;
    std::mutex mutex_;
    std::condition_variable room_;
    std::deque<Event> events_;
    std::size_t most_ = 10'000;
};

// Never destroyed: the library may still be calling when the program ends.
EventQueue& queue() {
    static EventQueue& the_queue = *new EventQueue;
    return the_queue;
}

void deliver(std::uint32_t, const char* tag, tagVELA_EVENT, void* content, int) {
    Event event;
    if (tag != nullptr)
        event.tag = tag;
    if (content != nullptr)
        event.content = static_cast<const char*>(content);
    queue().put(std::move(event));
}

// What to watch. The tags are the kinds' names; none is a piece of another.

struct Watch {
    std::optional<std::string> log;
    std::optional<std::string> module;
    std::optional<std::string> alias;
    std::optional<std::uint32_t> level;
    std::optional<std::string> interface;
    std::optional<std::string> route;
    std::optional<std::string> next_hop;
    std::optional<std::uint64_t> count;
    std::optional<double> seconds;
    double keepalive = 10;

    bool logs() const { return log || module || alias || level; }
    bool routes() const { return route || next_hop; }
    bool everything() const { return !logs() && !interface && !routes(); }
};

constexpr std::uint32_t every_level = 7;

template <std::size_t N> void put(char (&field)[N], const std::optional<std::string>& text) {
    text.value_or("").copy(field, N - 1);
}

class Subscriptions {
public:
    Subscriptions() { check("vela_event_new", vela_event_new(&handle_)); }
    ~Subscriptions() {
        if (registered_)
            check_later("vela_event_free", vela_event_free(handle_));
    }
    Subscriptions(const Subscriptions&) = delete;
    Subscriptions& operator=(const Subscriptions&) = delete;

    template <class Record> void add(tagVELA_EVENT kind, const char* tag, const Record& record) const {
        check("vela_event_add", vela_event_add(handle_, kind, tag, &record), tag);
    }
    // On the thread that opened the session.
    void begin() {
        check("vela_event_reg", vela_event_reg(handle_, deliver));
        registered_ = true;
    }

private:
    std::uint32_t handle_ = 0;
    bool registered_ = false;
};

void add_logs(const Subscriptions& subscriptions, const Watch& watch) {
    tagVELA_ICLOG_PARA record{};
    put(record.text, watch.module);
    put(record.infoAlias, watch.alias);
    put(record.loginfo, watch.log);
    record.level = watch.level.value_or(every_level);
    subscriptions.add(VELA_EVENT_ICLOG, "log", record);
}

void add_interfaces(const Subscriptions& subscriptions, const Watch& watch) {
    tagVELA_IFSTATE_PARA record{};
    put(record.text, watch.interface);
    subscriptions.add(VELA_EVENT_IFSTATE, "interface", record);
}

struct Destination {
    std::string text;
    std::uint32_t length = 0;
};

// ADDRESS/LENGTH is everything within that prefix.
Destination destination_of(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos)
        return {text};
    Destination destination{text.substr(0, slash)};
    std::from_chars(text.data() + slash + 1, text.data() + text.size(), destination.length);
    return destination;
}

std::string why_no_destination(const std::string& text) {
    const Destination destination = destination_of(text);
    if (text.find('/') != std::string::npos &&
        (text != fmt::format("{}/{}", destination.text, destination.length) || destination.length > 32))
        return fmt::format("expected ADDRESS/LENGTH, got {}", text);
    constexpr std::size_t size = sizeof tagVELA_ROUTE_PARA::text1;
    return destination.text.size() < size ? "" : fmt::format("is longer than {} bytes", size - 1);
}

void add_routes(const Subscriptions& subscriptions, const Watch& watch) {
    tagVELA_ROUTE_PARA record{};
    const auto [destination, length] = destination_of(watch.route.value_or(""));
    put(record.text1, destination);
    record.number = length;
    put(record.text3, watch.next_hop);
    subscriptions.add(VELA_EVENT_ROUTE, "route", record);
}

void subscribe(const Subscriptions& subscriptions, const Watch& watch) {
    const bool everything = watch.everything();
    if (everything || watch.logs())
        add_logs(subscriptions, watch);
    if (everything || watch.interface)
        add_interfaces(subscriptions, watch);
    if (everything || watch.routes())
        add_routes(subscriptions, watch);
}

// Writing

std::string line_of(const Context& context, const Event& event) {
    if (context.json)
        return json_line({{"kind", event.tag}, {"content", event.content ? Json(*event.content) : Json()}});
    return fmt::format("{:<10}{}\n", event.tag, one_line(event.content.value_or("")));
}

// The lines, in pieces that a pipe with room takes whole.
class Lines {
public:
    Lines(const Context& context, std::optional<std::uint64_t> count) : context_(context), left_(count) {}

    // Whether something waits to be written.
    bool fetch() {
        if (!pending_.empty() || left_ == 0)
            return !pending_.empty();
        const std::optional<Event> event = queue().take();
        if (!event)
            return false;
        if (left_)
            --*left_;
        pending_ = line_of(context_, *event);
        return true;
    }

    bool all_written() const { return left_ == 0 && pending_.empty(); }

    void write_piece() {
        constexpr std::size_t piece = 4096; // what the kernel promises a writer who was told that there is room
        const ssize_t written = write(STDOUT_FILENO, pending_.data(), std::min(piece, pending_.size()));
        if (written < 0 && errno != EINTR && errno != EAGAIN)
            output_failed(errno);
        if (written > 0)
            pending_.erase(0, static_cast<std::size_t>(written));
    }

private:
    const Context& context_;
    std::optional<std::uint64_t> left_;
    std::string pending_;
};

constexpr short gone = POLLERR | POLLHUP | POLLNVAL;

// Waits for an event, or for room in the output when there is something for it; the signals end it.
void wait(Lines& lines, bool pending, Clock::duration longest, const sigset_t& mask) {
    pollfd wanted[] = {{STDOUT_FILENO, static_cast<short>(pending ? POLLOUT : 0), 0},
                       {queue().descriptor(), static_cast<short>(pending ? 0 : POLLIN), 0}};
    const auto nanoseconds =
        std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::nanoseconds>(longest).count());
    const timespec limit{static_cast<std::time_t>(nanoseconds / 1'000'000'000),
                         static_cast<long>(nanoseconds % 1'000'000'000)};
    if (ppoll(wanted, std::size(wanted), &limit, &mask) <= 0)
        return;
    if ((wanted[0].revents & POLLNVAL) != 0)
        output_failed(EBADF);
    if ((wanted[0].revents & POLLOUT) != 0)
        lines.write_piece();
    else if ((wanted[0].revents & gone) != 0)
        throw OutputClosed();
}

void watch_until_end(const Watch& watch, const Session& session, Lines& lines, const sigset_t& mask) {
    const auto interval = std::chrono::duration_cast<Clock::duration>(Seconds(watch.keepalive));
    const auto end = watch.seconds ? Clock::now() + std::chrono::duration_cast<Clock::duration>(Seconds(*watch.seconds))
                                   : Clock::time_point::max();
    auto keepalive = Clock::now() + interval;
    for (;;) {
        const bool pending = lines.fetch();
        const auto now = Clock::now();
        if (lines.all_written() || now >= end || caught_signal() != 0)
            return;
        // Not while the output is stuck: with a full queue the answer could not be read.
        if (!pending && now >= keepalive) {
            session.keep_alive();
            keepalive = now + interval;
            continue;
        }
        wait(lines, pending, std::min(end, pending ? Clock::time_point::max() : keepalive) - now, mask);
    }
}

bool has_room() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0;
}

// What came before the end is written, as far as somebody reads.
void write_rest(Lines& lines) {
    while (lines.fetch() && has_room())
        lines.write_piece();
}

void watch_events(const Context& context, const Watch& watch) {
    Lines lines(context, watch.count);
    {
        const Session session(context.client);
        Subscriptions subscriptions;
        subscribe(subscriptions, watch);
        subscriptions.begin();
        const SignalsHeld held;
        watch_until_end(watch, session, lines, held.mask_before());
        queue().make_room();
    }
    write_rest(lines);
}

// Options

CLI::Validator fits(std::size_t size) {
    return {[size](std::string& text) {
                return text.size() < size ? std::string() : fmt::format("is longer than {} bytes", size - 1);
            },
            "", ""};
}

std::string why_no_level(const std::string& text) {
    const bool is_level = text.size() == 1 && text[0] >= '0' && text[0] <= '0' + static_cast<char>(every_level);
    return is_level ? "" : fmt::format("expected 0 to {}, got {}", every_level, text);
}

std::string why_no_count(const std::string& text) {
    std::uint64_t count = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    const bool is_count = error == std::errc() && rest == text.data() + text.size() && count > 0;
    return is_count ? "" : fmt::format("expected a number above 0, got {}", text);
}

// Years, and far from where the clock ends.
std::string why_no_time(const std::string& text) {
    constexpr double longest = 1e9;
    double seconds = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool is_time = error == std::errc() && rest == text.data() + text.size() && seconds > 0 && seconds <= longest;
    return is_time ? "" : fmt::format("expected seconds, above 0, got {}", text);
}

template <class Value>
CLI::Option* add(CLI::App& app, const std::string& name, const char* value, std::optional<Value>& target,
                 const std::string& help) {
    return app.add_option(name, target, help)->type_name(value);
}

} // namespace

Action events_command(CLI::App& app) {
    const auto watch = std::make_shared<Watch>();
    add(app, "--log", "TEXT", watch->log, "Lines of the router's log that hold TEXT")
        ->check(fits(sizeof tagVELA_ICLOG_PARA::loginfo));
    add(app, "--module", "TEXT", watch->module, "... whose module holds TEXT")
        ->check(fits(sizeof tagVELA_ICLOG_PARA::text));
    add(app, "--alias", "TEXT", watch->alias, "... whose alias holds TEXT")
        ->check(fits(sizeof tagVELA_ICLOG_PARA::infoAlias));
    add(app, "--level", "N", watch->level, "... of level N, 0 to 7, and worse; 7, all, unless it is given")
        ->check(CLI::Validator(why_no_level, "", ""));
    add(app, "--interface", "NAME", watch->interface, "The states of the interfaces whose names hold NAME")
        ->check(fits(sizeof tagVELA_IFSTATE_PARA::text));
    add(app, "--route", "DEST", watch->route, "The routes whose destinations hold DEST, or lie within DEST/LENGTH")
        ->check(CLI::Validator(why_no_destination, "", ""));
    add(app, "--next-hop", "NAME", watch->next_hop, "... whose next hops hold NAME")
        ->check(fits(sizeof tagVELA_ROUTE_PARA::text3));
    add(app, "--count", "N", watch->count, "End after N events")->check(CLI::Validator(why_no_count, "", ""));
    add(app, "--seconds", "S", watch->seconds, "End after S seconds")->check(CLI::Validator(why_no_time, "", ""));
    app.add_option("--keepalive", watch->keepalive, "How often to see whether the router is still there, in seconds")
        ->type_name("S")
        ->check(CLI::Validator(why_no_time, "", ""))
        ->capture_default_str();
    return [watch](const Context& context) { watch_events(context, *watch); };
}

} // namespace qel
