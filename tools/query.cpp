// The device queries as facts: a row for each, with the fields of its record. Text and JSON are both made from the one
// tree that the rows give.
//
// The library moves the values without knowing them. The fields are called what they mean to the simulated router;
// another device may mean something else.
#include "tools/query.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/interruption.h"
#include "tools/session.h"

namespace qel {

namespace {

// Fields: a member by its type, or its bytes as what they are to the simulated router

using Mac = std::array<std::uint8_t, 6>;

Json value_of(std::integral auto number) { return number; }
Json value_of(const Mac& mac) { return fmt::format("{:02x}", fmt::join(mac, ":")); }
Json value_of(const std::uint8_t (&bytes)[6]) { return value_of(std::to_array(bytes)); }
template <std::size_t N> Json value_of(const char (&text)[N]) { return std::string(text, strnlen(text, N)); }

template <class Record> struct Field {
    std::string_view name;
    Json (*value)(const Record&);
};

template <auto member, class Record> Json as_it_is(const Record& record) { return value_of(record.*member); }

template <auto member, class Value, class Record> Json as(const Record& record) {
    static_assert(sizeof(Value) <= sizeof(record.*member));
    Value value{};
    std::memcpy(&value, &(record.*member), sizeof value);
    return value;
}

template <auto member, class Record> Json as_text(const Record& record) {
    char text[sizeof(record.*member)];
    std::memcpy(text, record.*member, sizeof text);
    return value_of(text);
}

template <auto... members, class Record> Json as_list(const Record& record) {
    return Json::array({value_of(record.*members)...});
}

template <class Record, std::size_t N> Json object_of(const Field<Record> (&fields)[N], const Record& record) {
    Json object = Json::object();
    for (const Field<Record>& field : fields)
        object[std::string(field.name)] = field.value(record);
    return object;
}

// clang-format off

using Location = tagGPS_LOCATION_INFO;
constexpr Field<Location> location_fields[] = {
    {"fix", as<&Location::item5, std::uint32_t>},
    {"satellites", as<&Location::item6, std::uint32_t>},
    {"latitude", as<&Location::item7, double>},
    {"longitude", as<&Location::item8, double>},
    {"altitude", as<&Location::item9, double>},
    {"speed", as<&Location::item10, std::uint32_t>},
    {"course", as<&Location::item11, std::uint32_t>},
    {"time", as_text<&Location::item12>},
};

using Station = WLAN_STATION_INFO_tag;
constexpr Field<Station> station_fields[] = {
    {"channel", as_it_is<&Station::item5>},
    {"ssid", as_it_is<&Station::item6>},
    {"signal", as<&Station::item7, std::int32_t>},
    {"seconds", as_it_is<&Station::item8>},
    {"mac", as_it_is<&Station::item9>},
    {"name", as_it_is<&Station::item10>},
};

using Lte = tagLTE_BREIFINFO_T;
constexpr Field<Lte> lte_fields[] = {
    {"carrier", as_it_is<&Lte::item5>},
    {"imei", as_it_is<&Lte::item6>},
    {"imsi", as_it_is<&Lte::item7>},
    {"iccid", as_it_is<&Lte::item8>},
    {"modem", as_it_is<&Lte::item9>},
    {"sim", as_it_is<&Lte::item10>},
    {"registration", as_it_is<&Lte::item11>},
    {"technology", as_it_is<&Lte::item12>},
    {"rssi", as_it_is<&Lte::item13>},
    {"rsrp", as_it_is<&Lte::item14>},
    {"rsrq", as_it_is<&Lte::item15>},
    {"sinr", as_it_is<&Lte::item16>},
    {"band", as_it_is<&Lte::item17>},
    {"cell", as_it_is<&Lte::item18>},
};

using Connection = tagLTE_CONNECTION_INFO;
constexpr Field<Connection> connection_fields[] = {
    {"state", as_it_is<&Connection::item6>},
    {"apn", as_it_is<&Connection::item7>},
    {"address", as_it_is<&Connection::item8>},
    {"seconds", as_it_is<&Connection::item9>},
    {"received", as_it_is<&Connection::item10>},
    {"sent", as<&Connection::item11, std::uint32_t>},
};

using Sms = tagLTE_SMS_INFO;
constexpr Field<Sms> sms_fields[] = {
    {"sender", as_it_is<&Sms::item6>},
    {"text", as_it_is<&Sms::item7>},
};

// Its user_ip is left out: it is no address, but the seconds once more.
using User = tagACCESS_USER_BREIFINFO_T;
constexpr Field<User> user_fields[] = {
    {"ssid", as_it_is<&User::ssid_name>},
    {"seconds", as_it_is<&User::oline_time>},
    {"up", as_it_is<&User::upbytes>},
    {"down", as_it_is<&User::downbytes>},
};

using Call = std::int32_t[6];
constexpr std::array call_fields{"port", "direction", "state", "seconds", "codec", "account"};

Json call_of(const Call& numbers) {
    Json call = Json::object();
    for (std::size_t i = 0; i < call_fields.size(); ++i)
        call[call_fields[i]] = numbers[i];
    return call;
}

using Calls = stVOICE_CALL_INFO;
Json list_of_calls(const Calls& record) {
    Json calls = Json::array();
    for (std::int32_t i = 0; i < record.count; ++i)
        calls.push_back(call_of(record.entries[i]));
    return calls;
}

constexpr Field<Calls> calls_fields[] = {
    {"ports", as_it_is<&Calls::item6>},
    {"answered", as_it_is<&Calls::item7>},
    {"missed", as_it_is<&Calls::item8>},
    {"placed", as_it_is<&Calls::item9>},
    {"failed", as_it_is<&Calls::item10>},
    {"seconds", as_it_is<&Calls::item11>},
    {"calls", list_of_calls},
};

using CitaParam = tagVOICE_CITA_PARAM;
constexpr Field<CitaParam> cita_param_fields[] = {
    {"bytes", as_list<&CitaParam::item5, &CitaParam::item6, &CitaParam::item7, &CitaParam::item8>},
    {"texts", as_list<&CitaParam::text9, &CitaParam::text10, &CitaParam::text11, &CitaParam::text12,
                      &CitaParam::text13, &CitaParam::text14>},
    {"addresses", as_list<&CitaParam::item15, &CitaParam::item16>},
    {"text", as_it_is<&CitaParam::item17>},
    {"numbers", as_list<&CitaParam::item18, &CitaParam::item19, &CitaParam::item20, &CitaParam::item21,
                        &CitaParam::item22, &CitaParam::item23, &CitaParam::item24, &CitaParam::item25>},
};

using CitaConfig = tagVOICE_CITA_CONFIG_INFO;
constexpr Field<CitaConfig> cita_config_fields[] = {
    {"addresses", as_list<&CitaConfig::item5, &CitaConfig::item6, &CitaConfig::item7, &CitaConfig::item8,
                          &CitaConfig::item9, &CitaConfig::item10, &CitaConfig::item11, &CitaConfig::item12>},
    {"numbers", as_list<&CitaConfig::item13, &CitaConfig::item14, &CitaConfig::item15, &CitaConfig::item16,
                        &CitaConfig::item17, &CitaConfig::item18, &CitaConfig::item19, &CitaConfig::item20>},
};

// clang-format on

// Asking. Each record is cleared first, so that no text is without its end.

void check_query(std::string_view call, std::uint32_t code, std::string_view subject = {}) {
    check_code(call, code, subject, Codes::service);
}

template <auto query, const auto& fields> Json ask_record(const char* call) {
    std::remove_cvref_t<decltype(query)> function = query;
    const auto ask = [&]<class Record>(std::uint32_t (*typed)(Record*)) {
        Record record{};
        check_query(call, typed(&record));
        return object_of(fields, record);
    };
    return ask(function);
}

Json ask_serial_number(const std::string&) {
    char esn[VELA_ESN_SIZE] = "";
    check_query("vela_dev_get_esn", vela_dev_get_esn(esn));
    return value_of(esn);
}

// A number that the reply lacks is told as in the records that have one.
Json ask_access_status(const std::string&) {
    std::uint32_t status = UINT32_MAX;
    check_query("vela_dev_get_acc_status", vela_dev_get_acc_status(&status));
    return status;
}

Json ask_backup(const std::string&) {
    std::int32_t outcome = -1;
    check_query("vela_dev_backup_cfg", vela_dev_backup_cfg(&outcome));
    return outcome;
}

Json ask_location(const std::string&) {
    return ask_record<vela_gps_GetLocation, location_fields>("vela_gps_GetLocation");
}

Json ask_station(const std::string&) {
    return ask_record<vela_wlan_GetStationInfo, station_fields>("vela_wlan_GetStationInfo");
}

Json ask_lte(const std::string&) { return ask_record<vela_arp_get_lte, lte_fields>("vela_arp_get_lte"); }

Json ask_connection(const std::string& interface) {
    Connection record{};
    check_query("vela_cellular_GetInfo", vela_cellular_GetInfo(interface.c_str(), &record), interface);
    return object_of(connection_fields, record);
}

std::optional<std::uint32_t> index_of(const std::string& text) {
    std::uint32_t index = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), index);
    if (error != std::errc() || rest != text.data() + text.size())
        return std::nullopt;
    return index;
}

Json ask_sms(const std::string& index) {
    Sms record{};
    check_query("vela_get_sms_info", vela_get_sms_info(index_of(index).value(), &record), index);
    return object_of(sms_fields, record);
}

Json ask_mac_by_ip(const std::string& ip) {
    Mac mac{};
    check_query("vela_arp_get_mac_by_ip", vela_arp_get_mac_by_ip(ip.c_str(), mac.data()), ip);
    return value_of(mac);
}

// Six pairs of hexadecimal digits, joined by colons or dashes.
std::optional<Mac> mac_of(const std::string& text) {
    Mac mac{};
    if (text.size() != mac.size() * 3 - 1)
        return std::nullopt;
    for (std::size_t i = 0; i < mac.size(); ++i) {
        const char* const pair = text.data() + i * 3;
        const auto [rest, error] = std::from_chars(pair, pair + 2, mac[i], 16);
        const bool joined = i + 1 == mac.size() || *(pair + 2) == ':' || *(pair + 2) == '-';
        if (error != std::errc() || rest != pair + 2 || !joined)
            return std::nullopt;
    }
    return mac;
}

Json ask_access_by_mac(const std::string& mac) {
    User record{};
    std::uint32_t code = VELA_OK;
    {
        const OutputMuted muted; // the library prints the record
        code = vela_nac_get_access_by_mac(mac_of(mac).value().data(), &record);
    }
    check_query("vela_nac_get_access_by_mac", code, mac);
    return object_of(user_fields, record);
}

Json ask_calls(const std::string&) {
    return ask_record<vela_voice_get_call_info, calls_fields>("vela_voice_get_call_info");
}

Json ask_sip_accounts(const std::string&) { return read_sip_accounts(); }

Json ask_cita_parameters(const std::string&) {
    return ask_record<vela_voice_get_cita_param, cita_param_fields>("vela_voice_get_cita_param");
}

Json ask_cita_configuration(const std::string&) {
    return ask_record<vela_voice_get_cita_config_info, cita_config_fields>("vela_voice_get_cita_config_info");
}

// Why an argument cannot be asked for.

std::string why_no_index(const std::string& text) {
    return index_of(text) ? "" : fmt::format("expected a number, got {}", text);
}

std::string why_no_mac(const std::string& text) {
    return mac_of(text) ? ""
                        : fmt::format("expected six pairs of hexadecimal digits like 00:00:5e:00:53:10, got {}", text);
}

std::string why_no_text(const std::string& text) { return text.empty() ? "is empty" : ""; }

// The facts, in the order of qel_api.h

enum class Asked { always, by_name, with_argument };

struct Fact {
    std::string_view name;
    std::string_view help;
    Asked asked;
    Json (*ask)(const std::string& argument);
    std::string_view option = {}; // takes the argument; empty where there is none
    std::string_view argument = {};
    std::string_view usual = {}; // when the fact is asked for by name
    std::string (*why_wrong)(const std::string& argument) = nullptr;
};

// clang-format off
constexpr std::array facts{
    Fact{"serial-number", "the serial number", Asked::always, ask_serial_number},
    Fact{"access-status", "0 down, 1 up, 2 up and in use", Asked::always, ask_access_status},
    Fact{"backup", "backs the configuration up: 0 when it was done; only when named", Asked::by_name, ask_backup},
    Fact{"location", "position and time", Asked::always, ask_location},
    Fact{"station", "a station of the WLAN", Asked::always, ask_station},
    Fact{"lte", "the cellular link", Asked::always, ask_lte},
    Fact{"connection", "a cellular interface's connection", Asked::always, ask_connection,
         "--connection", "INTERFACE", "Cellular0/0/0", why_no_text},
    Fact{"sms", "a short message", Asked::with_argument, ask_sms,
         "--sms", "INDEX", "", why_no_index},
    Fact{"mac-by-ip", "a hardware address in the ARP table", Asked::with_argument, ask_mac_by_ip,
         "--mac-by-ip", "ADDRESS", "", why_no_text},
    Fact{"access-by-mac", "an access user", Asked::with_argument, ask_access_by_mac,
         "--access-by-mac", "ADDRESS", "", why_no_mac},
    Fact{"calls", "totals, and the calls in progress", Asked::always, ask_calls},
    Fact{"sip-accounts", "the SIP accounts", Asked::always, ask_sip_accounts},
    Fact{"cita-parameters", "the parameters of the CITA function", Asked::always, ask_cita_parameters},
    Fact{"cita-configuration", "its configuration", Asked::always, ask_cita_configuration},
};
// clang-format on

std::string why_no_name(const std::string& name) {
    const auto* const fact = std::ranges::find(facts, name, &Fact::name);
    if (fact == facts.end())
        return fmt::format("there is no fact {}", name);
    return fact->asked == Asked::with_argument
               ? fmt::format("{} takes an argument: {} {}", name, fact->option, fact->argument)
               : "";
}

struct Wanted {
    std::vector<std::string> names;
    std::array<std::vector<std::string>, facts.size()> arguments; // by the option of that row
};

struct Question {
    const Fact* fact;
    std::string argument;
};

std::vector<Question> questions_of(const Wanted& wanted) {
    const bool all = wanted.names.empty() &&
                     std::ranges::all_of(wanted.arguments, [](const auto& arguments) { return arguments.empty(); });
    std::vector<Question> questions;
    for (std::size_t i = 0; i < facts.size(); ++i) {
        if (all ? facts[i].asked == Asked::always : std::ranges::count(wanted.names, facts[i].name) > 0)
            questions.push_back({&facts[i], std::string(facts[i].usual)});
        for (const std::string& argument : wanted.arguments[i])
            questions.push_back({&facts[i], argument});
    }
    return questions;
}

// The table: a line for each value, under its path in the tree.

struct Line {
    std::string path;
    std::string value;
};

void add_lines(std::vector<Line>& lines, const std::string& path, const Json& value) {
    if (!value.is_structured()) {
        lines.push_back({path, plain(value)});
        return;
    }
    for (const auto& [key, item] : value.items())
        add_lines(lines, path.empty() ? key : path + "." + key, item);
}

std::string table_of(const Json& tree) {
    std::vector<Line> lines;
    add_lines(lines, "", tree);
    std::size_t width = 0;
    for (const Line& line : lines)
        width = std::max(width, line.path.size());
    std::string table;
    for (const Line& line : lines)
        table += fmt::format("{:<{}}  {}\n", line.path, width, line.value);
    return table;
}

// A fact that cannot be had does not hold up the others.
Json answers_to(const std::vector<Question>& questions) {
    Json answers = Json::object();
    for (const auto& [fact, argument] : questions) {
        const std::string name(fact->name);
        try {
            if (argument.empty())
                answers[name] = fact->ask(argument);
            else
                answers[name][argument] = fact->ask(argument);
        } catch (const Failure& failure) {
            tell(failure);
            if (failure.status() == no_session)
                break;
        }
        throw_if_interrupted();
    }
    return answers;
}

void show_facts(const Context& context, const Wanted& wanted) {
    const Session session(context.client);
    const Json answers = answers_to(questions_of(wanted));
    if (!answers.empty())
        print(context.json ? json_line(answers) : table_of(answers));
}

} // namespace

Json read_sip_accounts() {
    stVOICE_SIP_ACCOUNT_INFO record{};
    check_query("vela_voice_get_sip_account", vela_voice_get_sip_account(&record));
    Json accounts = Json::array();
    for (std::int32_t i = 0; i < record.count; ++i) {
        char texts[2][sip_text_size];
        std::memcpy(texts, record.accounts[i], sizeof texts);
        accounts.push_back({{"user", value_of(texts[0])}, {"registrar", value_of(texts[1])}});
    }
    return accounts;
}

std::string facts_help() {
    std::string help;
    for (const Fact& fact : facts)
        help += fmt::format("  {:<20}{}\n", fact.name, fact.help);
    return help;
}

Action facts_command(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    app.add_option("name", wanted->names, "The facts to ask for; without any, all that need no argument")
        ->type_name("NAME")
        ->expected(-1)
        ->check(CLI::Validator(why_no_name, "", ""));
    for (std::size_t i = 0; i < facts.size(); ++i) {
        if (facts[i].option.empty())
            continue;
        app.add_option(std::string(facts[i].option), wanted->arguments[i], "Ask for " + std::string(facts[i].help))
            ->type_name(std::string(facts[i].argument))
            ->allow_extra_args(false)
            ->check(CLI::Validator(facts[i].why_wrong, "", ""));
    }
    return [wanted](const Context& context) { show_facts(context, *wanted); };
}

} // namespace qel
