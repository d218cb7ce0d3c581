// Shows what happens on the router as it happens, until Ctrl-C: interfaces, routes, and lines of its log.
//
//   watch_events_cpp [INTERFACE [SECONDS]]
//
// INTERFACE is a piece of the names of the interfaces to tell of, all by default; SECONDS is how often the program
// tells the router that it is still there, 10 by default. Status 0 when it was ended by SIGINT or SIGTERM, 1 when
// anything failed or the router hung up, 2 for wrong usage.
//
// Events arrive on a thread of the library's, which calls print_event; the main thread waits for signals. No function
// of the library may be called from a signal handler, so there is none: the signals are blocked and waited for.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <stdexcept>
#include <string>

#include "qel_api.h"

namespace {

void check(const std::string& call, std::int32_t code) {
    if (code != VELA_OK)
        throw std::runtime_error(call + " failed with " + std::to_string(code));
}

class Library {
public:
    Library() { check("vela_init", vela_init()); }
    ~Library() { vela_release(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

// What is still registered goes with the session; one that the router has ended needs no close.
class Session {
public:
    Session() {
        tagVELA_SESSION_CFG_T cfg{}; // type 0: the local socket
        std::string("watch_events").copy(cfg.client_name, sizeof cfg.client_name - 1);
        check("vela_session_open", vela_session_open(&cfg, &handle_));
    }
    ~Session() {
        if (open_)
            vela_session_close(handle_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void KeepAlive() { check("vela_session_keepalive", vela_session_keepalive(handle_)); }
    void Close() {
        open_ = false;
        check("vela_session_close", vela_session_close(handle_));
    }

private:
    std::uint32_t handle_ = 0;
    bool open_ = true;
};

// Tags are the program's own; none may be a piece of another.
class Events {
public:
    Events() { check("vela_event_new", vela_event_new(&handle_)); }
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    template <class Record> void Add(tagVELA_EVENT kind, const char* tag, const Record& record) {
        check("vela_event_add", vela_event_add(handle_, kind, tag, &record));
    }
    // From the thread that opened the session: the router knows the program by that thread's name.
    void Register(fEventCallBack callback) { check("vela_event_reg", vela_event_reg(handle_, callback)); }
    void Free() { check("vela_event_free", vela_event_free(handle_)); }

private:
    std::uint32_t handle_ = 0;
};

const char* name_of(tagVELA_EVENT kind) {
    switch (kind) {
    case VELA_EVENT_IFSTATE:
        return "ifstate";
    case VELA_EVENT_ROUTE:
        return "route";
    default:
        return "log";
    }
}

// Both texts live until it returns. It returns soon: the next event waits for it. It must not throw, and printf does
// not.
void print_event(std::uint32_t, const char*, tagVELA_EVENT kind, void* content, int) {
    std::printf("%-10s%s\n", name_of(kind), content != nullptr ? static_cast<const char*>(content) : "");
}

void subscribe(Events& events, const std::string& interface) {
    tagVELA_IFSTATE_PARA interfaces{}; // any state, any cause
    interface.copy(interfaces.text, sizeof interfaces.text - 1);
    events.Add(VELA_EVENT_IFSTATE, "interfaces", interfaces);

    const tagVELA_ROUTE_PARA routes{}; // every route
    events.Add(VELA_EVENT_ROUTE, "routes", routes);

    tagVELA_ICLOG_PARA lines{};
    lines.level = 7; // every level, and nothing else to match
    events.Add(VELA_EVENT_ICLOG, "lines", lines);
}

// The library does not tell when the router hangs up, but the next call does.
void wait_for_end(Session& session, const sigset_t& ends, long seconds) {
    timespec pause{};
    pause.tv_sec = seconds;
    while (sigtimedwait(&ends, nullptr, &pause) == -1)
        if (errno == EAGAIN)
            session.KeepAlive();
}

void watch(const sigset_t& ends, const std::string& interface, long seconds) {
    Library library;
    Session session;
    Events events;
    subscribe(events, interface);
    events.Register(print_event);
    std::printf("Watching. Ctrl-C ends.\n");
    wait_for_end(session, ends, seconds);
    events.Free();
    session.Close();
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, also into a pipe
    const std::string interface = argc > 1 ? argv[1] : "";
    const long seconds = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 10;
    if (argc > 3 || seconds < 1 || interface.size() >= sizeof tagVELA_IFSTATE_PARA::text) {
        std::cerr << "usage: " << argv[0] << " [INTERFACE [SECONDS]]\n";
        return 2;
    }
    // Before there are other threads, so that all of them leave the signals to this one.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    try {
        watch(ends, interface, seconds);
    } catch (const std::exception& error) {
        std::cerr << "watch_events: " << error.what() << '\n';
        return 1;
    }
    std::printf("Ended.\n");
    return 0;
}
