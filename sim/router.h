// The router itself: what it is called, what time it keeps, its interfaces and routes, what else is set up on it
// (router_*.h), what was saved of its configuration, and the news of what changes in it.
//
// Plain state behind one lock. What is printed of it and how it is changed is the command engine's business.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "sim/facts.h"
#include "sim/router_acl.h"
#include "sim/router_dialer.h"
#include "sim/router_limits.h"
#include "sim/router_services.h"
#include "sim/router_vlan.h"
#include "sim/router_wlan.h"

namespace sim {

class Mib;

struct Interface {
    std::string name{}; // as the router writes it, e.g. "GigabitEthernet0/0/0"
    std::string description{};
    std::string address{}; // dotted, empty when there is none
    std::string mask{};
    bool shutdown = false;
    bool link = true; // a cable is plugged in; physical state of an interface that is not shut down
    DhcpServer dhcp{};
    Dialing dialing{};
    Radio radio{};
    std::vector<unsigned> tagged_vlans{};
    std::vector<unsigned> nat_outbound{}; // numbers of access lists, which need not be there any more

    bool up() const { return link && !shutdown; }
    bool operator==(const Interface&) const = default;
};

struct StaticRoute {
    std::string destination{}; // dotted, without host bits
    std::string mask{};
    std::string next_hop{}; // an address or an interface
    bool operator==(const StaticRoute&) const = default;
};

// What is set up on the router beside its interfaces and routes.
struct Settings {
    Services services{};
    std::vector<Acl> acls{};
    std::map<unsigned, std::string> dialer_rules{}; // by number: "ip permit"
    std::vector<ApnProfile> apn_profiles{};
    std::map<unsigned, Vlan> vlans{{built_in_vlan, {}}};
    std::vector<SecurityProfile> security_profiles{};
    std::vector<ServiceSet> service_sets{};
};

// The one of that name; null when there is none.
template <class Objects> auto* find_named(Objects& objects, std::string_view name) {
    for (auto& object : objects)
        if (object.name == name)
            return &object;
    return static_cast<decltype(objects.data())>(nullptr);
}

// News: what those are told who want to know of it.

struct InterfaceChange {
    std::string name{};
    bool up = false;
    std::string_view why{};        // it is down, of the words "shut down", "no link" and "removed"
    bool by_administrator = false; // and not by the line itself
};

struct RouteChange {
    StaticRoute route{};
    bool added = false; // else removed
};

struct LogLine {
    std::string module{};   // the part of the router that writes it, in capitals
    std::uint32_t level{6}; // 0 the worst, 7 the least
    std::string alias{};    // what kind of line it is, in capitals
    std::string text{};
};

using News = std::variant<InterfaceChange, RouteChange, LogLine>;

struct RouterState {
    std::string sysname = "Tarkon";
    std::string version;                           // the banner of "display version"
    std::optional<std::chrono::sys_seconds> clock; // a clock that stands; nothing: the host's
    std::vector<Interface> interfaces;
    std::vector<StaticRoute> routes;
    Settings settings;
    RouterLimits limits;
    std::string saved_configuration;
    std::uint32_t next_session_id = 1;
    std::uint32_t next_cli_handle = 1;
    Facts facts;
    std::shared_ptr<const Mib> mib; // what SNMP reads; never null
    std::deque<std::string> log;    // the newest lines, the last one at the end

    RouterState(); // a router as it leaves the box: two Ethernet ports, a cellular modem, a radio
    Interface* interface(std::string_view name); // without regard to case; null when there is none
    const Interface* interface(std::string_view name) const;
    void clear_configuration(); // leaves what is built in

    std::chrono::sys_seconds now() const; // by its own clock

    // Changes that are news, and that the router logs. The interface is one of its own.
    void set_shutdown(Interface& interface, bool shutdown);
    void set_link(Interface& interface, bool link);
    void add_interface(Interface interface);
    bool remove_interface(std::string_view name); // with the routes through it; false when there is none
    void add_route(StaticRoute route);            // one that is there already stays as it is
    bool remove_route(const StaticRoute& route);  // false when there is none
    void write_log(LogLine line);                 // the oldest line makes room when the log is full

    static constexpr std::size_t log_size = 512; // lines

    std::vector<News> news; // since they were last told

private:
    void change(Interface& interface, bool Interface::*field, bool value, bool by_administrator);
    void tell(InterfaceChange change);
    void tell(RouteChange change);
};

// The news as texts:
//   interface GigabitEthernet0/0/0 down (shut down)
//   route 10.1.0.0/16 added, static, via 192.168.1.254
//   2016-09-08 12:00:00 Tarkon IFNET/4/IF_DOWN: interface GigabitEthernet0/0/0 down (shut down)
std::string text_of(const InterfaceChange& change);
std::string text_of(const RouteChange& change);
std::string text_of(const LogLine& line, const RouterState& router);

class Router {
public:
    using Listener = std::function<void(const RouterState&, const News&)>;

    // Runs f on the state under the lock, tells the news, and gives what f returns.
    template <class F> auto with(F&& f) {
        std::lock_guard guard(lock_);
        if constexpr (std::is_void_v<std::invoke_result_t<F, RouterState&>>) {
            std::forward<F>(f)(state_);
            tell();
        } else {
            auto result = std::forward<F>(f)(state_);
            tell();
            return result;
        }
    }
    RouterState state() const {
        std::lock_guard guard(lock_);
        return state_;
    }
    void set(RouterState state) {
        std::lock_guard guard(lock_);
        state_ = std::move(state);
        state_.news.clear(); // it begins like that, nothing has changed
        state_.log.clear();
    }
    // Is told of everything that changes in the router, in order. Runs under the lock, so it neither waits nor calls
    // the router. Set before there are other threads.
    void on_news(Listener listener) { listener_ = std::move(listener); }

private:
    void tell() {
        for (const News& news : std::exchange(state_.news, {}))
            if (listener_)
                listener_(state_, news);
    }

    mutable std::mutex lock_;
    RouterState state_;
    Listener listener_;
};

} // namespace sim
