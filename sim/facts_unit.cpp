// Answers the device queries from the router's facts, a row and a function for each. The two that act, storing SIP
// accounts and backing the configuration up, change them. No state of its own.
#include <algorithm>
#include <array>
#include <cstring>

#include <fmt/format.h>

#include "sim/cli_engine.h"
#include "sim/cli_parameters.h"
#include "sim/facts.h"
#include "sim/unit.h"

namespace sim {

namespace {

// A query on its way to an answer. Runs under the router's lock.
struct Query {
    const Request& request;
    RouterState& router;
    std::vector<Item>& reply;

    Facts& facts() const { return router.facts; }
    void add(Item item) const { reply.push_back(std::move(item)); }
    void integer(std::int32_t tag, std::int32_t value) const { add(Item::integer(tag, value)); }
    void u32(std::int32_t tag, std::uint32_t value) const { add(Item::u32(tag, value)); }
    void text(std::int32_t tag, std::string_view value) const { add(Item::text(tag, value)); }
    void mac(std::int32_t tag, const Mac& value) const { add(Item::raw(tag, {value.begin(), value.end()})); }
    void real(std::int32_t tag, double value) const {
        std::string bytes(sizeof value, '\0');
        std::memcpy(bytes.data(), &value, sizeof value);
        add(Item::raw(tag, std::move(bytes)));
    }
    // Items under tags that follow each other.
    template <class Values, class Add> void each(std::int32_t first, const Values& values, Add add_one) const {
        for (const auto& value : values)
            (this->*add_one)(first++, value);
    }
};

// The entry whose member has the value; without one the query is refused with the text.
template <class Entry, class Value>
const Entry& entry_with(const std::vector<Entry>& entries, Value Entry::*member, const Value& wanted,
                        const std::string& otherwise) {
    const auto found = std::ranges::find(entries, wanted, member);
    if (found == entries.end())
        throw Refused{Refusal::not_found, otherwise};
    return *found;
}

const std::string& required_bytes(const Request& request, std::int32_t tag, std::size_t size, std::string_view what) {
    const Item* const item = request.message.find(tag);
    if (item == nullptr)
        throw Refused{Refusal::missing_item, fmt::format("{}, item {}, is missing", what, tag)};
    if (item->value.size() != size)
        throw Refused{Refusal::wrong_value,
                      fmt::format("{}, item {}, has {} bytes instead of {}", what, tag, item->value.size(), size)};
    return item->value;
}

// The device.

void esn(const Query& query) { query.text(5, query.facts().device.esn); }
void access_status(const Query& query) { query.u32(6, query.facts().device.access_status); }

void back_up(const Query& query) {
    Device& device = query.facts().device;
    if (device.backup_result == 0)
        device.backup = cli_engine().configuration(query.router);
    query.integer(7, device.backup_result);
}

// Where it is, and who is near.

void location(const Query& query) {
    const Location& at = query.facts().location;
    query.u32(5, at.fix);
    query.u32(6, at.satellites);
    query.real(7, at.latitude);
    query.real(8, at.longitude);
    query.real(9, at.altitude);
    query.u32(10, at.speed);
    query.u32(11, at.course);
    query.text(12, at.time);
}

void station(const Query& query) {
    if (query.facts().stations.empty())
        throw Refused{Refusal::not_found, "no station is associated"};
    const Station& station = query.facts().stations.front();
    query.u32(5, station.channel);
    query.text(6, station.ssid);
    query.integer(7, station.signal);
    query.u32(8, station.seconds);
    query.add(Item::raw(9, to_text(station.mac))); // as long as its field, which has no room for a NUL
    query.text(10, station.name);
}

void arp_mac(const Query& query) {
    const std::string address = required_text(query.request, 5, "the IP address");
    const std::int32_t table = required_integer(query.request, 6, "the ARP table's number");
    if (!is_ip_address(address))
        throw Refused{Refusal::wrong_value, fmt::format("\"{}\" is no dotted IP address", address)};
    if (table != 0)
        throw Refused{Refusal::not_found, fmt::format("there is no ARP table {}", table)};
    query.mac(0, entry_with(query.facts().arp, &ArpEntry::address, address,
                            fmt::format("the ARP table has no entry for {}", address))
                     .mac);
}

void access_user(const Query& query) {
    const std::string& bytes = required_bytes(query.request, 5, Mac{}.size(), "the hardware address");
    Mac mac{};
    std::memcpy(mac.data(), bytes.data(), mac.size());
    const AccessUser& user = entry_with(query.facts().users, &AccessUser::mac, mac,
                                        fmt::format("no access user has the address {}", to_text(mac)));
    query.text(9, user.ssid);
    query.u32(10, user.seconds);
    query.u32(11, user.up);
    query.u32(12, user.down);
}

// The cellular link.

void lte_brief(const Query& query) {
    const LteBrief& lte = query.facts().lte;
    query.each(5, std::array{lte.carrier, lte.imei, lte.imsi, lte.iccid, lte.modem}, &Query::text);
    query.each(10,
               std::array{lte.sim, lte.registration, lte.technology, lte.rssi, lte.rsrp, lte.rsrq, lte.sinr, lte.band},
               &Query::integer);
    query.u32(18, lte.cell);
}

void lte_connection(const Query& query) {
    const std::string asked = required_text(query.request, 5, "the interface");
    const LteConnection& link =
        entry_with(query.facts().connections, &LteConnection::interface, interface_name(asked).value_or(asked),
                   fmt::format("there is no cellular interface \"{}\"", asked));
    query.u32(6, link.state);
    query.text(7, link.apn);
    query.text(8, link.address);
    query.u32(9, link.seconds);
    query.u32(10, link.received);
    query.u32(11, link.sent);
}

void lte_sms(const Query& query) {
    const auto index = static_cast<std::uint32_t>(required_integer(query.request, 5, "the index"));
    const Sms& sms =
        entry_with(query.facts().messages, &Sms::index, index, fmt::format("no message has the index {}", index));
    query.text(6, sms.sender);
    query.text(7, sms.text);
}

// The voice service.

void calls(const Query& query) {
    const Voice& voice = query.facts().voice;
    const VoiceTotals& totals = voice.totals;
    query.integer(5, static_cast<std::int32_t>(voice.calls.size()));
    query.each(6,
               std::array{totals.ports, totals.answered, totals.missed, totals.placed, totals.failed, totals.seconds},
               &Query::integer);
    std::int32_t tag = 12;
    for (const VoiceCall& call : voice.calls) {
        const std::array words{call.port, call.direction, call.state, call.seconds, call.codec, call.account};
        std::string bytes(sizeof words, '\0');
        std::memcpy(bytes.data(), words.data(), bytes.size());
        query.add(Item::raw(tag++, std::move(bytes)));
    }
}

constexpr std::int32_t sip_count_tag = 5;
constexpr std::int32_t sip_result_tag = 6;
constexpr std::int32_t first_sip_tag = 7;

void set_sip(const Query& query) {
    const std::int32_t count = required_integer(query.request, sip_count_tag, "the number of accounts");
    if (count < 0)
        throw Refused{Refusal::wrong_value, fmt::format("{} is no number of accounts", count)};
    std::vector<std::string> accounts;
    for (std::int32_t i = 0; i < count; ++i)
        accounts.push_back(
            required_bytes(query.request, first_sip_tag + i, sip_account_size, fmt::format("account {}", i)));
    Voice& voice = query.facts().voice;
    if (voice.sip_result == 0)
        voice.sip_accounts = std::move(accounts);
    query.integer(sip_result_tag, voice.sip_result);
}

void get_sip(const Query& query) {
    const auto& accounts = query.facts().voice.sip_accounts;
    query.integer(sip_count_tag, static_cast<std::int32_t>(accounts.size()));
    std::int32_t tag = first_sip_tag;
    for (const std::string& account : accounts)
        query.add(Item::raw(tag++, account));
}

void cita_param(const Query& query) {
    const CitaParam& cita = query.facts().voice.cita_param;
    query.each(5, cita.bytes, &Query::integer);
    query.each(9, cita.texts, &Query::text);
    query.each(15, cita.addresses, &Query::mac);
    query.text(17, cita.text);
    query.each(18, cita.numbers, &Query::integer);
}

void cita_config(const Query& query) {
    const CitaConfig& cita = query.facts().voice.cita_config;
    query.each(5, cita.addresses, &Query::mac);
    query.each(13, cita.numbers, &Query::integer);
}

struct Row {
    std::string_view operation;
    void (*answer)(const Query&);
};

constexpr std::array rows{
    Row{"arp.mac", arp_mac},
    Row{"nac.user", access_user},
    Row{"wlan.station", station},
    Row{"lte.brief", lte_brief},
    Row{"lte.connection", lte_connection},
    Row{"lte.sms", lte_sms},
    Row{"gps.location", location},
    Row{"device.esn", esn},
    Row{"device.access", access_status},
    Row{"device.backup", back_up},
    Row{"voice.calls", calls},
    Row{"voice.set_sip", set_sip},
    Row{"voice.get_sip", get_sip},
    Row{"voice.cita_param", cita_param},
    Row{"voice.cita_config", cita_config},
};

constexpr auto names = [] {
    std::array<std::string_view, rows.size()> all;
    std::ranges::transform(rows, all.begin(), &Row::operation);
    return all;
}();

class FactsUnit : public Unit {
public:
    explicit FactsUnit(UnitContext context) : context_(context) {}

    std::span<const std::string_view> operations() const override { return names; }

    Message answer(const Request& request) override {
        const Row& row = *std::ranges::find(rows, request.operation, &Row::operation);
        return refuse_or(request, [&] {
            required_session(context_, request);
            Message reply = reply_head(request);
            reply.items = {Item::integer(1, *request.message.integer(1)), Item::integer(2, *request.message.integer(2)),
                           Item::integer(3, 0)};
            context_.router.with([&](RouterState& router) { row.answer({request, router, reply.items}); });
            return reply;
        });
    }

private:
    UnitContext context_;
};

} // namespace

std::unique_ptr<Unit> make_facts_unit(UnitContext context) { return std::make_unique<FactsUnit>(context); }

} // namespace sim
