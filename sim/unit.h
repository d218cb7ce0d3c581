// A unit answers some of the protocol's operations: sessions, the CLI channel, and whatever else the router offers.
//
// To add one: rows in operations.cpp, a class derived from Unit, a line in make_units() of service.cpp. Units are
// called from every client's thread at once and guard their own state.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "sim/service.h"
#include "sim/sessions.h"

namespace sim {

class Events;

// The error codes the service gives; texts go with them.
enum class Refusal : std::int32_t {
    malformed = 1,
    not_offered = 2,
    missing_item = 3,
    no_session = 4,
    session_open = 5,
    wrong_session = 6,
    wrong_client = 7,
    no_channel = 8,
    channel_open = 9,
    wrong_handle = 10,
    unknown_word = 20,
    ambiguous_word = 21,
    incomplete = 22,
    wrong_value = 23,
    not_done = 24,
    unanswered = 25,
    not_found = 30,
    no_such_object = 31,
    end_of_mib = 32,
    no_registration = 40,
    unknown_tag = 41,
    not_correlated = 42,
};

// What a unit throws on its way to an answer, to refuse the request; refuse_or() makes the reply of it.
struct Refused {
    Refusal code;
    std::string text;
};

class Unit {
public:
    virtual ~Unit() = default;
    virtual std::span<const std::string_view> operations() const = 0;
    virtual Message answer(const Request& request) = 0; // one of operations(), well formed
    virtual void client_gone(int /*client*/) {}         // the connection ended
};

// A reply's header for that request, and nothing in it yet.
Message reply_head(const Request& request);
// The acknowledgement of a script operation, with return code 0.
Message accepted(const Request& request);
// The refusal, in the shape that the request's kind of reply has.
Message refused(const Request& request, Refusal code, std::string_view text);
// What answer() returns, or the refusal that it throws.
template <class Answer> Message refuse_or(const Request& request, Answer answer) {
    try {
        return answer();
    } catch (const Refused& refusal) {
        return refused(request, refusal.code, refusal.text);
    }
}

// Items that an operation cannot do without; what they are goes into the refusal: "the command".
std::string required_text(const Request& request, std::int32_t tag, std::string_view what);
std::int32_t required_integer(const Request& request, std::int32_t tag, std::string_view what);

// What all units of a service share.
struct UnitContext {
    Router& router;
    Sessions& sessions;
    Events& events;
};

// The session of the request's connection, to which its header has to belong; else the request is refused.
Session required_session(const UnitContext& context, const Request& request);
// The name that the library gives its client has to be this session's.
void require_client_name(const Request& request, std::int32_t tag, const Session& session);

std::unique_ptr<Unit> make_session_unit(UnitContext context);
std::unique_ptr<Unit> make_cli_unit(UnitContext context);
std::unique_ptr<Unit> make_facts_unit(UnitContext context);
std::unique_ptr<Unit> make_snmp_unit(UnitContext context);
std::unique_ptr<Unit> make_syslog_unit(UnitContext context);
std::unique_ptr<Unit> make_event_unit(UnitContext context);

} // namespace sim
