#include "sim/facts_scenario.h"

#include <fmt/format.h>

#include "sim/cli_parameters.h"
#include "sim/wire.h"

namespace sim {

namespace {

// Values. A text's width is that of its field in the client's record, which also holds a NUL; or, where that field has
// room for more than one reply carries, what the reply leaves beside its other items at their largest.

constexpr std::size_t width_beside(std::initializer_list<std::size_t> others) {
    std::size_t left = max_message_size - head_size - body_prefix_size;
    left -= 3 * (item_head_size + 4); // module, operation, result code
    for (const std::size_t size : others)
        left -= item_head_size + size;
    return left - item_head_size;
}

template <std::size_t Width> std::string short_text(const Node& node) {
    std::string value = text(node);
    if (value.size() >= Width || value.find('\0') != std::string::npos)
        node.fail_expected(fmt::format("a text of at most {} bytes", Width - 1));
    return value;
}

template <std::int64_t Lowest, std::int64_t Highest> auto number(const Node& node) {
    return static_cast<std::int32_t>(whole_number(node, Lowest, Highest));
}

template <int Lowest, int Highest> double real(const Node& node) {
    if (!node.json.is_number() || node.json < Lowest || node.json > Highest)
        node.fail_expected(fmt::format("a number from {} to {}", Lowest, Highest));
    return node.json.get<double>();
}

Mac mac(const Node& node) {
    const auto read = parse_mac(text(node));
    if (!read)
        node.fail_expected("a hardware address like \"00:00:5e:00:53:01\"");
    return *read;
}

std::string address(const Node& node) {
    std::string read = text(node);
    if (!is_ip_address(read))
        node.fail_expected("a dotted IP address");
    return read;
}

std::string cellular_interface(const Node& node) {
    const auto name = interface_name(text(node));
    if (!name || !name->starts_with("Cellular"))
        node.fail_expected("a cellular interface like \"Cellular0/0/0\"");
    return *name;
}

template <class Value, std::size_t Count, auto Read> std::array<Value, Count> exactly(const Node& node) {
    if (!node.json.is_array() || node.json.size() != Count)
        node.fail_expected(fmt::format("a list of {}", Count));
    std::array<Value, Count> values{};
    for (std::size_t i = 0; i < Count; ++i)
        values[i] = Read(node.at(i));
    return values;
}

// A list replaces the one the router comes with. Most: as many as the answer to a query can carry.
template <class Entry, auto Read, std::size_t Most = 1000> std::vector<Entry> list(const Node& node) {
    std::vector<Entry> entries;
    each_of(node, [&](const Node& each) {
        if (entries.size() == Most)
            node.fail(fmt::format("at most {}", Most));
        entries.push_back(Read(each));
    });
    return entries;
}

// A list whose entries are told apart by one of their fields.
template <class Entry, auto Read, auto Key> std::vector<Entry> keyed_list(const Node& node) {
    std::vector<Entry> entries;
    each_of(node, [&](const Node& each) {
        Entry entry = Read(each);
        if (std::ranges::find(entries, entry.*Key, Key) != entries.end())
            each.fail("is there already");
        entries.push_back(std::move(entry));
    });
    return entries;
}

// An object of fields that all may be left out, over what the router comes with.
template <auto Member, const auto& Fields> constexpr auto part(std::string_view name) {
    using Target = decltype(target_of(Member));
    return Field<Target>{name, [](Target& to, const Node& node) { read_object(node, Fields, to.*Member); }};
}

// The rows.

constexpr Field<Device> device_fields[] = {
    field<&Device::esn, short_text<width_beside({})>>("esn"),
    field<&Device::access_status, number32>("access_status"),
    field<&Device::backup_result, signed32>("backup_result"),
};

constexpr Field<Location> location_fields[] = {
    field<&Location::fix, number32>("fix"),
    field<&Location::satellites, number32>("satellites"),
    field<&Location::latitude, real<-90, 90>>("latitude"),
    field<&Location::longitude, real<-180, 180>>("longitude"),
    field<&Location::altitude, real<-1000, 100000>>("altitude"),
    field<&Location::speed, number32>("speed"),
    field<&Location::course, number32>("course"),
    field<&Location::time, short_text<width_beside({4, 4, 8, 8, 8, 4, 4})>>("time"),
};

constexpr Field<Station> station_fields[] = {
    field<&Station::channel, number32>("channel"),
    field<&Station::ssid, short_text<64>>("ssid"),
    field<&Station::signal, signed32>("signal"),
    field<&Station::seconds, number32>("seconds"),
    field<&Station::mac, mac>("mac"),
    field<&Station::name, short_text<width_beside({4, 64, 4, 4, 17})>>("name"),
};

Station station(const Node& node) {
    Station station;
    read_object(node, station_fields, station);
    require_fields(node, {"mac"});
    return station;
}

constexpr Field<LteBrief> lte_fields[] = {
    field<&LteBrief::carrier, short_text<33>>("carrier"),
    field<&LteBrief::imei, short_text<33>>("imei"),
    field<&LteBrief::imsi, short_text<33>>("imsi"),
    field<&LteBrief::iccid, short_text<33>>("iccid"),
    field<&LteBrief::modem, short_text<33>>("modem"),
    field<&LteBrief::sim, signed32>("sim"),
    field<&LteBrief::registration, signed32>("registration"),
    field<&LteBrief::technology, signed32>("technology"),
    field<&LteBrief::rssi, signed32>("rssi"),
    field<&LteBrief::rsrp, signed32>("rsrp"),
    field<&LteBrief::rsrq, signed32>("rsrq"),
    field<&LteBrief::sinr, signed32>("sinr"),
    field<&LteBrief::band, signed32>("band"),
    field<&LteBrief::cell, number32>("cell"),
};

constexpr Field<LteConnection> connection_fields[] = {
    field<&LteConnection::interface, cellular_interface>("interface"),
    field<&LteConnection::state, number32>("state"),
    field<&LteConnection::apn, short_text<64>>("apn"),
    field<&LteConnection::address, address>("address"),
    field<&LteConnection::seconds, number32>("seconds"),
    field<&LteConnection::received, number32>("received"),
    field<&LteConnection::sent, number32>("sent"),
};

LteConnection connection(const Node& node) {
    LteConnection connection;
    read_object(node, connection_fields, connection);
    require_fields(node, {"interface"});
    return connection;
}

constexpr Field<Sms> sms_fields[] = {
    field<&Sms::index, number32>("index"),
    field<&Sms::sender, short_text<32>>("sender"),
    field<&Sms::text, short_text<width_beside({32})>>("text"),
};

Sms sms(const Node& node) {
    Sms sms;
    read_object(node, sms_fields, sms);
    require_fields(node, {"index"});
    return sms;
}

constexpr Field<ArpEntry> arp_fields[] = {
    field<&ArpEntry::address, address>("address"),
    field<&ArpEntry::mac, mac>("mac"),
};

ArpEntry arp_entry(const Node& node) {
    ArpEntry entry;
    read_object(node, arp_fields, entry);
    require_fields(node, {"address", "mac"});
    return entry;
}

constexpr Field<AccessUser> user_fields[] = {
    field<&AccessUser::mac, mac>("mac"),
    field<&AccessUser::ssid, short_text<64>>("ssid"),
    field<&AccessUser::seconds, number32>("seconds"),
    field<&AccessUser::up, number32>("up"),
    field<&AccessUser::down, number32>("down"),
};

AccessUser user(const Node& node) {
    AccessUser user;
    read_object(node, user_fields, user);
    require_fields(node, {"mac"});
    return user;
}

constexpr Field<VoiceTotals> totals_fields[] = {
    field<&VoiceTotals::ports, signed32>("ports"),   field<&VoiceTotals::answered, signed32>("answered"),
    field<&VoiceTotals::missed, signed32>("missed"), field<&VoiceTotals::placed, signed32>("placed"),
    field<&VoiceTotals::failed, signed32>("failed"), field<&VoiceTotals::seconds, signed32>("seconds"),
};

constexpr Field<VoiceCall> call_fields[] = {
    field<&VoiceCall::port, signed32>("port"),   field<&VoiceCall::direction, signed32>("direction"),
    field<&VoiceCall::state, signed32>("state"), field<&VoiceCall::seconds, signed32>("seconds"),
    field<&VoiceCall::codec, signed32>("codec"), field<&VoiceCall::account, signed32>("account"),
};

VoiceCall call(const Node& node) {
    VoiceCall call;
    read_object(node, call_fields, call);
    return call;
}

struct Account {
    std::string user;
    std::string registrar;
};

constexpr Field<Account> account_fields[] = {
    field<&Account::user, short_text<33>>("user"),
    field<&Account::registrar, short_text<33>>("registrar"),
};

std::string account(const Node& node) {
    Account account;
    read_object(node, account_fields, account);
    return sip_account(account.user, account.registrar);
}

constexpr Field<CitaParam> cita_param_fields[] = {
    field<&CitaParam::bytes, exactly<std::int32_t, 4, number<0, 255>>>("bytes"),
    field<&CitaParam::texts, exactly<std::string, 6, short_text<33>>>("texts"),
    field<&CitaParam::addresses, exactly<Mac, 2, mac>>("addresses"),
    field<&CitaParam::text, short_text<33>>("text"),
    field<&CitaParam::numbers, exactly<std::int32_t, 8, signed32>>("numbers"),
};

constexpr Field<CitaConfig> cita_config_fields[] = {
    field<&CitaConfig::addresses, exactly<Mac, 8, mac>>("addresses"),
    field<&CitaConfig::numbers, exactly<std::int32_t, 8, signed32>>("numbers"),
};

constexpr Field<Voice> voice_fields[] = {
    part<&Voice::totals, totals_fields>("totals"),
    field<&Voice::calls, list<VoiceCall, call, 240>>("calls"),
    field<&Voice::sip_accounts, list<std::string, account, 107>>("sip_accounts"),
    field<&Voice::sip_result, signed32>("sip_result"),
    part<&Voice::cita_param, cita_param_fields>("cita_param"),
    part<&Voice::cita_config, cita_config_fields>("cita_config"),
};

constexpr Field<Facts> fields[] = {
    part<&Facts::device, device_fields>("device"),
    part<&Facts::location, location_fields>("location"),
    field<&Facts::stations, list<Station, station>>("stations"),
    part<&Facts::lte, lte_fields>("lte"),
    field<&Facts::connections, keyed_list<LteConnection, connection, &LteConnection::interface>>("connections"),
    field<&Facts::messages, keyed_list<Sms, sms, &Sms::index>>("messages"),
    field<&Facts::arp, keyed_list<ArpEntry, arp_entry, &ArpEntry::address>>("arp"),
    field<&Facts::users, keyed_list<AccessUser, user, &AccessUser::mac>>("users"),
    part<&Facts::voice, voice_fields>("voice"),
};

} // namespace

void read_facts(Facts& facts, const Node& node) { read_object(node, fields, facts); }

} // namespace sim
