#include "tools/failure.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include <fmt/format.h>

#include "qel_api.h"
#include "tools/interruption.h"
#include "tools/text.h"

namespace qel {

namespace {

struct Meaning {
    std::string_view call; // empty: every other call
    std::uint32_t code;
    std::string_view name;
    std::string_view meaning;
    std::string_view advice;
    bool of_queries; // the library's; a query that returns another code has it from the service
};

constexpr std::string_view see_log = "the system log says why (identity Vela-Quor)";
constexpr std::string_view see_help = "--help tells what the command takes";
constexpr std::string_view start_again = "the router may have restarted; run the command again";
constexpr std::string_view out_of_means = "see how much memory and how many threads are in use";

// The rows of one call come before those of all.
constexpr std::array meanings{
    Meaning{"vela_session_open", VELA_ERROR, "VELA_ERROR",
            "nobody listens at /mnt/sock/sdk.socket, or the service refused the session",
            "see that the router's management service runs; the system log says more", false},
    Meaning{"vela_cli_execute", VELA_ERROR, "VELA_ERROR",
            "the command is too long, was refused without a word, or was not answered", see_log, false},
    Meaning{"vela_snmp_get", VELA_ERROR, "VELA_ERROR",
            "no such object, the OID is wrong or too long, or there was no answer", see_log, false},
    Meaning{"vela_snmp_get_next", VELA_ERROR, "VELA_ERROR",
            "nothing follows, the OID is wrong or too long, or there was no answer", see_log, false},
    Meaning{"vela_cellular_open", VELA_ERROR, "VELA_ERROR",
            "a step failed, and what was done has been taken down again as far as possible", see_log, false},
    Meaning{"vela_cellular_open", VELA_ERROR_PARAM, "VELA_ERROR_PARAM", "the router has no such cellular interface",
            see_help, false},
    Meaning{"vela_cellular_close", VELA_ERROR_PARAM, "VELA_ERROR_PARAM", "the router has no such cellular interface",
            see_help, false},
    Meaning{"vela_wlan_create_ap", VELA_ERROR, "VELA_ERROR",
            "the SSID is served already, or a step failed and what was done has been removed as far as possible",
            see_log, false},
    Meaning{"vela_wlan_create_ap", VELA_ERROR_PARAM, "VELA_ERROR_PARAM",
            "the WLAN id is taken, or the router has no such radio", "choose another id, or delete that one first",
            false},
    Meaning{"vela_wlan_delete_ap", VELA_ERROR, "VELA_ERROR", "there is no such access point, or a part was not removed",
            see_log, false},
    Meaning{"vela_wlan_delete_ap", VELA_ERROR_PARAM, "VELA_ERROR_PARAM", "the router has no such radio", see_help,
            false},
    Meaning{"", VELA_OK, "VELA_OK", "done", "", true},
    Meaning{"", VELA_ERROR, "VELA_ERROR", "not sent, refused by the service, not answered, or a useless answer",
            see_log, true},
    Meaning{"", VELA_ERROR_PARAM, "VELA_ERROR_PARAM", "an argument is not one that the call takes", see_help, false},
    Meaning{"", VELA_ERROR_NOT_INIT, "VELA_ERROR_NOT_INIT", "the library is not started", see_log, false},
    Meaning{"", VELA_ERROR_NULL, "VELA_ERROR_NULL", "an argument is missing", see_log, false},
    Meaning{"", VELA_ERROR_TIMEOUT, "VELA_ERROR_TIMEOUT", "no answer within 60 seconds", see_log, false},
    Meaning{"", VELA_ERROR_TYPE, "VELA_ERROR_TYPE", "this kind of connection is not offered", see_log, false},
    Meaning{"", VELA_ERROR_MEMORY, "VELA_ERROR_MEMORY", "no memory for the answer", out_of_means, false},
    Meaning{"", VELA_ERROR_NO_SESSION, "VELA_ERROR_NO_SESSION", "the service has ended the session", start_again, true},
    Meaning{"", VELA_ERROR_ENCODE, "VELA_ERROR_ENCODE", "the request could not be built, or is too long", see_help,
            true},
    Meaning{"", VELA_ERROR_SESSION_OPEN, "VELA_ERROR_SESSION_OPEN", "a session is open already", see_log, false},
    Meaning{"", VELA_ERROR_SHORT_REPLY, "VELA_ERROR_SHORT_REPLY", "the answer lacks what it has to have", see_log,
            true},
    Meaning{"", VELA_ERROR_LOG_LIBRARY, "VELA_ERROR_LOG_LIBRARY", "the log library did not start",
            "see that libVelaLogAPI.so and its settings are installed", false},
    Meaning{"", VELA_ERROR_THREAD, "VELA_ERROR_THREAD", "a thread could not be started", out_of_means, false},
    Meaning{"", VELA_ERROR_LENGTH, "VELA_ERROR_LENGTH", "an answer of impossible length", see_log, false},
};

constexpr Meaning of_the_router{
    "", VELA_ERROR, "VELA_ERROR", "the router rejected the command", "its output tells why", false};
constexpr Meaning of_the_service{"", 0, "a code of the service's own", "refused by the service", see_log, true};

const Meaning& meaning_of(std::string_view call, std::uint32_t code, Codes codes) {
    if (codes == Codes::router && code == VELA_ERROR)
        return of_the_router;
    const auto* const row = std::ranges::find_if(meanings, [&](const Meaning& each) {
        return each.code == code && (each.call.empty() || each.call == call) &&
               (codes != Codes::service || each.of_queries);
    });
    return row != meanings.end() ? *row : of_the_service;
}

// "vela_snmp_get 1.3.6: VELA_ERROR (1): what it means"; an argument too long for a line is cut.
std::string line_of(std::string_view call, std::string_view subject, std::uint32_t code, const Meaning& meaning) {
    constexpr std::size_t longest = 80;
    std::string about(call);
    if (!subject.empty())
        about =
            fmt::format("{} {}{}", call, one_line(subject.substr(0, longest)), subject.size() > longest ? "..." : "");
    return fmt::format("{}: {} ({}): {}", about, meaning.name, static_cast<std::int32_t>(code), meaning.meaning);
}

bool without_session(std::string_view call, std::uint32_t code) {
    return code == VELA_ERROR_NO_SESSION || call == "vela_init" || call == "vela_session_open";
}

Failure failure_of(std::string_view call, std::string_view subject, std::uint32_t code, const Meaning& meaning) {
    return {without_session(call, code) ? no_session : refused,
            fmt::format("{}; {}", line_of(call, subject, code, meaning), meaning.advice)};
}

bool verbose = false;
Status worst = succeeded;
std::vector<Failure> came_later;

// A standard error that nobody reads is no reason to fail.
void write_error_line(std::string_view text) { std::fputs(fmt::format("qel: {}\n", text).c_str(), stderr); }

void trace(const std::string& line) {
    if (verbose)
        write_error_line(line);
}

} // namespace

void be_verbose() { verbose = true; }

Status exit_status() { return worst; }

void tell(const Failure& failure) {
    write_error_line(failure.what());
    worst = std::max(worst, failure.status());
}

void check_code(std::string_view call, std::uint32_t code, std::string_view subject, Codes codes) {
    const Meaning& meaning = meaning_of(call, code, codes);
    trace(line_of(call, subject, code, meaning));
    if (code == VELA_OK)
        return;
    throw_if_interrupted(); // the signal made it fail
    throw failure_of(call, subject, code, meaning);
}

void check_later(std::string_view call, std::int32_t code) {
    const auto unsigned_code = static_cast<std::uint32_t>(code);
    const Meaning& meaning = meaning_of(call, unsigned_code, Codes::library);
    trace(line_of(call, {}, unsigned_code, meaning));
    if (code != VELA_OK)
        came_later.push_back(failure_of(call, {}, unsigned_code, meaning));
}

void tell_what_came_later() {
    for (const Failure& failure : came_later)
        if (worst != no_session) // or it failed because there is no session
            tell(failure);
    came_later.clear();
}

} // namespace qel
