// The service: listens on the router's socket, gives every client a thread, and lets the units answer.
//
// It owns the socket, the clients and the record of what was received; what a request means is the units' affair
// (unit.h), what goes wrong on purpose that of the faults (faults.h), what the router is that of the model (router.h),
// who gets its events that of the registrations (events.h).
//
// Threads: one accepts; one a client receives and answers; one a client, started by its first late answer, sends what
// is due later; one a client that has registered for events sends them. A client's sends are one at a time under its
// own lock, so a client that does not read holds up nobody else. Every public function may be called from any thread at
// any time; start() and stop() from one at a time, and not from a handler or a tap. No lock is held while a handler or
// a tap runs.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/events.h"
#include "sim/faults.h"
#include "sim/router.h"
#include "sim/sessions.h"
#include "sim/wire.h"

namespace sim {

struct Scenario;

struct Request {
    Message message{};       // what could be read of it, when malformed is set
    std::string bytes{};     // the frame as received
    int client = 0;          // which connection, counted from 1
    std::string operation{}; // a name of the operation table, or "unknown"
    std::string malformed{}; // what is wrong with the frame, empty when nothing is
};

// Each element is handed to exactly one send(); an empty answer is no answer.
using Answer = std::vector<std::string>;
using Handler = std::function<Answer(const Request&)>;
using Tap = std::function<void(Direction, int client, std::string_view bytes)>;

class Service {
public:
    struct Options {
        std::string socket_path = "/mnt/sock/sdk.socket";
        std::string wire_log{};      // file of readable lines, "-" for standard error, empty for none
        std::string wire_log_json{}; // file of JSON lines, the same
        bool keep_requests = true;   // off: requests() stays empty, everything else works
        Events::Limits events{};     // of what waits for clients that do not read
    };

    Service();
    explicit Service(Options options);
    ~Service(); // stops and joins
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Throws std::system_error whose text names the path and what is wrong with it: something listens there already
    // (EADDRINUSE), it is no socket, the directory cannot be made. A socket that nobody listens on is replaced.
    void start();
    // Closes every client after what it has sent was handled, ends all threads and removes the socket. Late answers
    // that are not yet due are dropped. The service may be started again.
    void stop();

    Router& router();
    Faults& faults();
    Events& events();
    const Sessions& sessions() const;
    // Takes over the scenario's state and adds its faults; for a service that has no clients yet.
    void apply(const Scenario& scenario);

    // Replaces the units' answer to that operation ("*": to every one that has no handler of its own); an empty
    // handler gives it back to the units. Faults are still applied. Runs on the client's thread.
    void on(std::string operation, Handler handler);
    // What the units answer, with all that it changes in them.
    Message reply_to(const Request& request);

    std::vector<Request> requests() const; // everything received so far, in order
    void clear_requests();                 // also starts the count of wait_for_requests again
    bool wait_for_requests(std::size_t n, std::chrono::milliseconds limit = std::chrono::seconds(60)); // n or more

    std::size_t clients() const;         // connected now
    std::vector<int> client_ids() const; // the same
    // Exactly n, and nothing is left of those that went.
    bool wait_for_clients(std::size_t n, std::chrono::milliseconds limit = std::chrono::seconds(60));
    std::size_t connections() const; // ever accepted

    // One send(); client is the id from a request, or -1 for the newest one connected. False when there is no such
    // client or it is gone. Blocks while the client does not read.
    bool send(int client, std::string_view bytes);
    // Ends the connection: the client reads the end of the stream at once.
    void hang_up(int client = -1);
    void hang_up_all();

    // Is told of every message received, before it is answered, and of the bytes of every send(), before they are
    // sent. Taps are never removed.
    void on_message(Tap tap);
    // Is told what else happens to a client: it connects, it goes, it meets a fault.
    void on_note(std::function<void(int client, std::string_view text)> tap);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace sim
