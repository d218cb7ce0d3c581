#include "sim/operations.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr Operation session(std::string_view name, std::int32_t code, std::string_view help) {
    return {name, session_request, 0, code, 0, help};
}

constexpr Operation script(std::string_view name, std::int32_t code, std::string_view help) {
    return {name, operation_request, script_operation, code, 0, help};
}

constexpr Operation query(std::string_view name, std::int32_t module, std::int32_t operation, std::string_view help) {
    return {name, operation_request, device_query, operation, module, help};
}

constexpr std::array table{
    session("session.open", 1, "opens a session"),
    session("session.close", 3, "ends the session"),
    session("session.keepalive", 5, "tells that the client is still there"),
    script("cli.open", 15, "opens the CLI channel"),
    script("cli.execute", 17, "runs a command"),
    script("cli.close", 19, "closes the CLI channel"),
    script("event.register", 11, "begins, finishes or withdraws a registration for events"),
    script("event.correlate", 41, "names the subscriptions that are delivered"),
    script("event.log", 35, "subscribes to lines of the router's log"),
    script("event.ifstate", 47, "subscribes to changes of interfaces"),
    script("event.route", 33, "subscribes to changes of routes"),
    script("event.nqa", 49, "subscribes to results of network quality tests"),
    script("event.trap", 37, "subscribes to traps"),
    script("syslog.write", 3, "writes a line into the router's log"),
    script("snmp.get", 21, "reads an object"),
    script("snmp.get_next", 23, "reads the object that follows"),
    query("arp.mac", 2, 1, "tells the hardware address of an IP address"),
    query("nac.user", 3, 1, "tells of the access user with a hardware address"),
    query("wlan.station", 4, 1, "tells of a station of the WLAN"),
    query("lte.brief", 6, 1, "sums the cellular link up"),
    query("lte.connection", 6, 2, "tells the state of a cellular interface"),
    query("lte.sms", 6, 3, "reads a stored message"),
    query("gps.location", 7, 1, "tells where the device is"),
    query("device.esn", 8, 1, "tells the serial number"),
    query("device.access", 8, 2, "tells the access status"),
    query("device.backup", 8, 3, "backs the configuration up"),
    query("voice.calls", 9, 1, "tells of the calls"),
    query("voice.set_sip", 9, 2, "stores the SIP accounts"),
    query("voice.get_sip", 9, 3, "reads the SIP accounts"),
    query("voice.cita_param", 9, 4, "reads the CITA parameters"),
    query("voice.cita_config", 9, 5, "reads the CITA configuration"),
};

} // namespace

std::span<const Operation> operations() { return table; }

const Operation* operation_of(const Message& message) {
    const bool session = message.type == session_request || message.type == session_reply;
    if (!session && !message.has_body_prefix())
        return nullptr;
    const bool reply = message.type == session_reply || message.type == operation_reply;
    const bool query = !session && message.kind == device_query;

    const auto code = message.integer(query ? 2 : session ? 1 : 0);
    const auto module = query ? message.integer(1) : std::optional(0);
    if (!code || !module)
        return nullptr;
    const std::uint8_t type = reply ? static_cast<std::uint8_t>(message.type - 1) : message.type;
    const std::uint8_t kind = session ? std::uint8_t{0} : message.kind;
    const std::int32_t step = reply && !query ? 1 : 0;
    const auto found = std::ranges::find_if(table, [&](const Operation& operation) {
        return operation.type == type && operation.kind == kind && operation.code + step == *code &&
               operation.module == *module;
    });
    return found == table.end() ? nullptr : &*found;
}

} // namespace sim
