// The fifteen device queries beside keepalive, the request that does nothing else than a round trip.
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "bench/groups.h"
#include "qel_api.h"

namespace bench {

namespace {

constexpr char kLibrary[] = "library";
constexpr char kFloor[] = "raw_ping_pong";
constexpr char kKeepAlive[] = "keepalive";

constexpr char kPrinting[] = "nac_get_access_by_mac"; // prints what it found

// The records that the queries fill; the accounts are also what is set.
struct Records {
    char esn[VELA_ESN_SIZE];
    std::uint32_t status;
    std::int32_t backup;
    tagGPS_LOCATION_INFO location;
    WLAN_STATION_INFO_tag station;
    tagLTE_BREIFINFO_T brief;
    tagLTE_CONNECTION_INFO connection;
    tagLTE_SMS_INFO message;
    std::uint8_t mac[6];
    tagACCESS_USER_BREIFINFO_T user;
    stVOICE_CALL_INFO calls;
    stVOICE_SIP_ACCOUNT_INFO accounts_to_set;
    stVOICE_SIP_ACCOUNT_INFO accounts;
    tagVOICE_CITA_PARAM parameters;
    tagVOICE_CITA_CONFIG_INFO configuration;
};

struct Query {
    std::string_view name;
    std::uint32_t (*ask)(Records&);
};

constexpr Query kQueries[] = {
    {"dev_get_esn", [](Records& to) { return vela_dev_get_esn(to.esn); }},
    {"dev_get_acc_status", [](Records& to) { return vela_dev_get_acc_status(&to.status); }},
    {"dev_backup_cfg", [](Records& to) { return vela_dev_backup_cfg(&to.backup); }},
    {"gps_GetLocation", [](Records& to) { return vela_gps_GetLocation(&to.location); }},
    {"wlan_GetStationInfo", [](Records& to) { return vela_wlan_GetStationInfo(&to.station); }},
    {"arp_get_lte", [](Records& to) { return vela_arp_get_lte(&to.brief); }},
    {"cellular_GetInfo", [](Records& to) { return vela_cellular_GetInfo(nullptr, &to.connection); }},
    {"get_sms_info", [](Records& to) { return vela_get_sms_info(1, &to.message); }},
    {"arp_get_mac_by_ip", [](Records& to) { return vela_arp_get_mac_by_ip("192.0.2.17", to.mac); }},
    {kPrinting, [](Records& to) { return vela_nac_get_access_by_mac(to.mac, &to.user); }},
    {"voice_get_call_info", [](Records& to) { return vela_voice_get_call_info(&to.calls); }},
    {"voice_set_sip_account", [](Records& to) { return vela_voice_set_sip_account(&to.accounts_to_set); }},
    {"voice_get_sip_account", [](Records& to) { return vela_voice_get_sip_account(&to.accounts); }},
    {"voice_get_cita_param", [](Records& to) { return vela_voice_get_cita_param(&to.parameters); }},
    {"voice_get_cita_config", [](Records& to) { return vela_voice_get_cita_config_info(&to.configuration); }},
};

// The standard output leads nowhere for the time of the query that prints.
class StandardOutput {
public:
    void silence() {
        std::fflush(stdout);
        dup2(nowhere_, STDOUT_FILENO);
    }
    void restore() {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
    }

private:
    const Descriptor kept_{fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "the standard output"};
    const Descriptor nowhere_{open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null"};
};

} // namespace

Group queries(World& world) {
    Group group{.name = "queries",
                .thing = "round trip",
                .unit = kMicroseconds,
                .repetitions = 100,
                .runs = 300,
                .warm_up = 20,
                .floor = {kFloor},
                .reference = {kLibrary, kKeepAlive},
                .targets = {{"", kLibrary, Target::Against::reference, 1.10}},
                .threads_may_allocate = false,
                .cases = {}};

    const auto output = std::make_shared<StandardOutput>();
    const auto records = std::make_shared<Records>();
    records->accounts_to_set.count = 10;

    // The floor sends what the library was seen to send.
    const auto add = [&](const Case& library) {
        library.prepare();
        const bool answered = library.run();
        library.finish();
        if (!answered)
            throw std::runtime_error(library.request + " fails");
        const std::string bytes = world.service.latest_request();
        group.cases.push_back({library.request, kFloor, [&world, bytes] { return world.raw.round_trip(bytes); }});
        group.cases.push_back(library);
    };
    add({kKeepAlive, kLibrary, [&world] { return world.library.keep_alive(); }});
    for (const Query& query : kQueries) {
        Case library{std::string(query.name), kLibrary, [records, &query] { return query.ask(*records) == VELA_OK; }};
        if (query.name == kPrinting) {
            library.prepare = [output] { output->silence(); };
            library.finish = [output] { output->restore(); };
        }
        add(library);
    }
    return group;
}

} // namespace bench
