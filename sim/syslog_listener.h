// A system-log listener: owns the datagram socket that syslog() writes to, and keeps what arrives.
//
// One thread receives; records and callbacks are guarded by one lock, which is not held while a callback runs. Senders
// wait while the socket's queue is full, so bursts are slowed down and never lost.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct LogRecord {
    int priority = 0; // as sent: facility * 8 + level
    int facility = 0; // 1 = user
    int level = 0;    // 3 = error, 6 = information
    std::string tag;  // the identity, without the process id
    int pid = 0;      // 0 when the record carries none
    std::string text;
    std::string raw; // the datagram
};

// "<PRI>Mon DD HH:MM:SS tag[pid]: text"; parts that are missing stay empty, and the rest is the text.
LogRecord parse_log_record(std::string_view datagram);

class SyslogListener {
public:
    // Throws std::system_error when the path cannot be bound; a socket that nobody listens on is replaced.
    explicit SyslogListener(std::string path = "/dev/log");
    ~SyslogListener(); // joins, and removes the socket
    SyslogListener(const SyslogListener&) = delete;
    SyslogListener& operator=(const SyslogListener&) = delete;

    std::vector<LogRecord> records() const;
    void clear();
    // True as soon as a record, received already or later, is accepted.
    bool wait_for(std::function<bool(const LogRecord&)> accepted,
                  std::chrono::milliseconds limit = std::chrono::seconds(60));
    bool wait_for_count(std::size_t n, std::chrono::milliseconds limit = std::chrono::seconds(60)); // n or more
    // Returns once everything that was sent before the call is in records() and every callback for it has returned.
    void drain();
    // Is told of every record, on the listener's thread. Callbacks are never removed.
    void on_record(std::function<void(const LogRecord&)> callback);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace sim
