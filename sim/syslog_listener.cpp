#include "sim/syslog_listener.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

#include <sys/socket.h>

#include "sim/callbacks.h"
#include "sim/threads.h"
#include "sim/unix_socket.h"

namespace sim {

namespace {

constexpr std::size_t max_datagram = 65536;
constexpr int receive_buffer = 8 * 1024 * 1024;

// A datagram of the listener's own begins with a NUL, which no log record does.
constexpr std::string_view marker{"\0mark", 5};
constexpr std::string_view end_marker{"\0end", 4};

// The leading number, taken off the text; nothing when there is none.
std::optional<int> take_number(std::string_view& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{})
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

// "<PRI>"
void take_priority(std::string_view& text, LogRecord& record) {
    std::string_view rest = text;
    if (!rest.starts_with('<'))
        return;
    rest.remove_prefix(1);
    const auto number = take_number(rest);
    if (!number || !rest.starts_with('>'))
        return;
    record.priority = *number;
    record.facility = *number >> 3;
    record.level = *number & 7;
    text = rest.substr(1);
}

// "Mon DD HH:MM:SS "
void take_time(std::string_view& text) {
    constexpr std::string_view shape = "Aaa 00 00:00:00 ";
    if (text.size() >= shape.size() && text[3] == ' ' && text[6] == ' ' && text[9] == ':' && text[12] == ':' &&
        text[15] == ' ')
        text.remove_prefix(shape.size());
}

// "tag[pid]: " or "tag: "
void take_tag(std::string_view& text, LogRecord& record) {
    const std::size_t end = text.find_first_of(" [:");
    if (end == std::string_view::npos || text[end] == ' ')
        return;
    std::string_view rest = text.substr(end);
    if (rest.starts_with('[')) {
        rest.remove_prefix(1);
        const auto number = take_number(rest);
        if (!number || !rest.starts_with("]:"))
            return;
        record.pid = *number;
        rest.remove_prefix(1);
    }
    record.tag = text.substr(0, end);
    text = rest.substr(rest.starts_with(": ") ? 2 : 1);
}

} // namespace

LogRecord parse_log_record(std::string_view datagram) {
    LogRecord record;
    record.raw = datagram;
    while (!datagram.empty() && (datagram.back() == '\0' || datagram.back() == '\n'))
        datagram.remove_suffix(1);
    take_priority(datagram, record);
    take_time(datagram);
    take_tag(datagram, record);
    record.text = datagram;
    return record;
}

class SyslogListener::Impl {
public:
    explicit Impl(std::string path) : socket_(std::move(path), SOCK_DGRAM) {
        // Best effort: the queue's length, not the buffer, is what makes a sender wait.
        setsockopt(socket_.fd(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        self_ = connect_to(socket_.path(), SOCK_DGRAM);
        if (!self_)
            throw std::system_error(errno, std::generic_category(), socket_.path() + ": cannot be sent to");
        thread_ = start_thread([this] { receive(); });
    }

    ~Impl() {
        send_to_self(end_marker);
        thread_.join();
    }

    std::vector<LogRecord> records() const {
        std::lock_guard guard(lock_);
        return {records_.begin(), records_.end()};
    }

    void clear() {
        std::lock_guard guard(lock_);
        records_.clear();
    }

    bool wait_for(const std::function<bool(const LogRecord&)>& accepted, std::chrono::milliseconds limit) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, limit, [&] { return std::ranges::any_of(records_, accepted); });
    }

    bool wait_for_count(std::size_t n, std::chrono::milliseconds limit) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, limit, [&] { return records_.size() >= n; });
    }

    void drain() {
        // Datagrams arrive in the order in which they were sent, so the mark comes after all that was there before.
        std::unique_lock guard(lock_);
        const std::size_t mark = ++marks_sent_;
        guard.unlock();
        send_to_self(marker);
        guard.lock();
        changed_.wait(guard, [&] { return marks_received_ >= mark; });
    }

    void on_record(std::function<void(const LogRecord&)> callback) { callbacks_.add(std::move(callback)); }

private:
    void send_to_self(std::string_view text) {
        while (::send(self_.get(), text.data(), text.size(), MSG_NOSIGNAL) == -1 && errno == EINTR) {
        }
    }

    void receive() {
        std::string buffer(max_datagram, '\0');
        for (;;) {
            const ssize_t size = recv(socket_.fd(), buffer.data(), buffer.size(), 0);
            if (size == -1)
                return;
            const std::string_view datagram(buffer.data(), static_cast<std::size_t>(size));
            if (datagram == end_marker)
                return;
            if (datagram == marker)
                count_mark();
            else
                take(parse_log_record(datagram));
        }
    }

    void count_mark() {
        std::lock_guard guard(lock_);
        ++marks_received_;
        changed_.notify_all();
    }

    void take(LogRecord record) {
        {
            std::lock_guard guard(lock_);
            records_.push_back(record);
            changed_.notify_all();
        }
        callbacks_(record);
    }

    BoundSocket socket_;
    Fd self_;
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::deque<LogRecord> records_;
    Callbacks<const LogRecord&> callbacks_;
    std::size_t marks_sent_ = 0;
    std::size_t marks_received_ = 0;
    std::thread thread_;
};

SyslogListener::SyslogListener(std::string path) : impl_(std::make_unique<Impl>(std::move(path))) {}
SyslogListener::~SyslogListener() = default;
std::vector<LogRecord> SyslogListener::records() const { return impl_->records(); }
void SyslogListener::clear() { impl_->clear(); }
bool SyslogListener::wait_for(std::function<bool(const LogRecord&)> accepted, std::chrono::milliseconds limit) {
    return impl_->wait_for(accepted, limit);
}
bool SyslogListener::wait_for_count(std::size_t n, std::chrono::milliseconds limit) {
    return impl_->wait_for_count(n, limit);
}
void SyslogListener::drain() { impl_->drain(); }
void SyslogListener::on_record(std::function<void(const LogRecord&)> callback) {
    impl_->on_record(std::move(callback));
}

} // namespace sim
