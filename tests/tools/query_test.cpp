// Facts and SIP accounts, as text and as JSON.
#include "tests/tools/support.h"

namespace qel::test {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const json everything = json::parse(R"({
  "serial-number": "QEL2016090800017",
  "access-status": 1,
  "location": {"fix": 3, "satellites": 9, "latitude": 52.5, "longitude": 13.375, "altitude": 34.5, "speed": 0,
               "course": 0, "time": "2016-09-08 12:00:00"},
  "station": {"channel": 6, "ssid": "Tarkon", "signal": -52, "seconds": 3725, "mac": "00:00:5e:00:53:10",
              "name": "laptop-7"},
  "lte": {"carrier": "Example Mobile", "imei": "490154203237518", "imsi": "001010123456789",
          "iccid": "8988211000000000012", "modem": "QM-620 1.04", "sim": 1, "registration": 1, "technology": 4,
          "rssi": -71, "rsrp": -98, "rsrq": -10, "sinr": 14, "band": 3, "cell": 26378241},
  "connection": {"Cellular0/0/0": {"state": 0, "apn": "internet.example", "address": "0.0.0.0", "seconds": 0,
                                   "received": 0, "sent": 0}},
  "calls": {"ports": 2, "answered": 41, "missed": 3, "placed": 27, "failed": 1, "seconds": 10860,
            "calls": [{"port": 1, "direction": 0, "state": 2, "seconds": 95, "codec": 8, "account": 0}]},
  "sip-accounts": [{"user": "branch-1", "registrar": "sip.example.com"},
                   {"user": "branch-2", "registrar": "sip.example.com"}],
  "cita-parameters": {"bytes": [1, 0, 2, 8],
                      "texts": ["cita.example.com", "backup.example.com", "branch", "example.com", "0", "112"],
                      "addresses": ["00:00:5e:00:53:01", "00:00:5e:00:53:fe"], "text": "1.0",
                      "numbers": [5060, 5061, 30, 3600, 3, 20, 160, 0]},
  "cita-configuration": {"addresses": ["00:00:5e:00:53:80", "00:00:5e:00:53:81", "00:00:5e:00:53:82",
                                       "00:00:5e:00:53:83", "00:00:5e:00:53:84", "00:00:5e:00:53:85",
                                       "00:00:5e:00:53:86", "00:00:5e:00:53:87"],
                         "numbers": [1, 2, 3, 4, 5, 6, 7, 8]}
})");

TEST(Facts, AreAllThatNeedNoArgumentAndChangeNothing) {
    const Finished finished = script("qel --json facts && qel exec 'display backup-configuration'");
    EXPECT_EQ(finished.code(), 0);
    EXPECT_EQ(finished.err, "");
    const std::size_t end = finished.out.find('\n') + 1;
    EXPECT_EQ(json::parse(finished.out.substr(0, end)), everything);
    EXPECT_EQ(finished.out.substr(end), "No configuration has been backed up.\n");
}

// What a path in the table leads to in the JSON.
std::string value_at(const json& tree, std::string path) {
    std::ranges::replace(path, '/', '\x01');
    std::ranges::replace(path, '.', '/');
    std::string pointer = "/" + path;
    for (std::size_t at = pointer.find('\x01'); at != std::string::npos; at = pointer.find('\x01'))
        pointer.replace(at, 1, "~1");
    const json& value = tree.at(json::json_pointer(pointer));
    return value.is_string() ? value.get<std::string>() : value.dump();
}

TEST(Facts, HaveALineForEachValueInTheTable) {
    const Finished finished = qel({"facts"});
    EXPECT_EQ(finished.code(), 0);
    std::istringstream table(finished.out);
    std::size_t lines = 0;
    for (std::string line; std::getline(table, line); ++lines) {
        const std::size_t blank = line.find(' ');
        EXPECT_EQ(line.substr(line.find_first_not_of(' ', blank)), value_at(everything, line.substr(0, blank)));
    }
    EXPECT_EQ(lines, everything.flatten().size());
    EXPECT_THAT(finished.out, StartsWith("serial-number                      QEL2016090800017\n"));
}

TEST(Facts, CanBeNamedAndGivenArguments) {
    const Finished finished =
        qel({"facts", "--json", "--sms", "1", "backup", "--sms", "0", "--mac-by-ip", "192.168.1.20", "--access-by-mac",
             "00-00-5E-00-53-10", "--connection", "cellular 0/0/0", "access-status"});
    EXPECT_EQ(finished.code(), 0) << finished.err;
    EXPECT_EQ(json::parse(finished.out), json::parse(R"({
        "access-status": 1,
        "backup": 0,
        "connection": {"cellular 0/0/0": {"state": 0, "apn": "internet.example", "address": "0.0.0.0", "seconds": 0,
                                          "received": 0, "sent": 0}},
        "sms": {"0": {"sender": "+49301234567", "text": "Your data plan was renewed."},
                "1": {"sender": "Example Mobile", "text": "80% of this month's volume is used."}},
        "mac-by-ip": {"192.168.1.20": "00:00:5e:00:53:20"},
        "access-by-mac": {"00-00-5E-00-53-10": {"ssid": "Tarkon", "seconds": 3725, "up": 1048576, "down": 8388608}}
    })"));
    EXPECT_EQ(qel({"facts", "--mac-by-ip", "192.168.1.20"}).out, "mac-by-ip.192.168.1.20  00:00:5e:00:53:20\n");
}

TEST(Facts, ThatCannotBeHadDoNotHoldUpTheOthers) {
    const Finished finished = qel({"facts", "--json", "serial-number", "--sms", "7", "--mac-by-ip", "192.168.1.99"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(json::parse(finished.out), json({{"serial-number", "QEL2016090800017"}}));
    EXPECT_EQ(finished.err,
              "qel: vela_get_sms_info 7: a code of the service's own (30): refused by the service; the system log says "
              "why (identity Vela-Quor)\n"
              "qel: vela_arp_get_mac_by_ip 192.168.1.99: a code of the service's own (30): refused by the service; the "
              "system log says why (identity Vela-Quor)\n");
}

TEST(Facts, PrintNothingWhenThereIsNothing) {
    for (const Words& options : {Words{}, Words{"--json"}}) {
        Words arguments{"facts", "serial-number"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Finished finished = qel(arguments, {"--fault", "device.esn:error=40"});
        EXPECT_EQ(finished.code(), 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_THAT(finished.err, StartsWith("qel: vela_dev_get_esn: a code of the service's own (40): "));
    }
}

TEST(Facts, AreTheLibrarysFailuresWhenTheyAre) {
    EXPECT_THAT(qel({"facts", "lte"}, {"--fault", "lte.brief:missing_item=5"}).err,
                StartsWith("qel: vela_arp_get_lte: VELA_ERROR (1): "));
    EXPECT_THAT(qel({"facts", "cita-parameters"}, {"--fault", "voice.cita_param:missing_item=9"}).err,
                StartsWith("qel: vela_voice_get_cita_param: VELA_ERROR_SHORT_REPLY (17): "));
    EXPECT_THAT(qel({"facts", "--mac-by-ip", std::string(9000, '1')}).err,
                HasSubstr("...: VELA_ERROR_ENCODE (15): the request could not be built, or is too long; "));
}

TEST(Facts, AreShownWholeHoweverLongTheServiceMakesThem) {
    const std::string esn(7955, 'e');
    const std::string time(7859, 't');
    const std::string name(7822, 'n');
    const std::string text(7915, 'm');
    TempDir directory;
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << json{{"facts",
                                     {{"device", {{"esn", esn}}},
                                      {"location", {{"time", time}}},
                                      {"stations", {{{"mac", "00:00:5e:00:53:10"}, {"name", name}}}},
                                      {"messages", {{{"index", 0}, {"text", text}}}}}}};
    const Finished finished =
        qel({"facts", "--json", "serial-number", "location", "station", "--sms", "0"}, {"--scenario", scenario});
    EXPECT_EQ(finished.code(), 0) << finished.err;
    const json shown = json::parse(finished.out);
    EXPECT_EQ(shown["serial-number"], esn);
    EXPECT_EQ(shown["location"]["time"], time);
    EXPECT_EQ(shown["station"]["name"], name);
    EXPECT_EQ(shown["sms"]["0"]["text"], text);
}

TEST(Facts, StayOnTheirLine) {
    TempDir directory;
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << R"({"facts": {"messages": [{"index": 0, "sender": "a\\b", "text": "one\ntwo\u0007"}]}})";
    EXPECT_EQ(qel({"facts", "--sms", "0"}, {"--scenario", scenario}).out,
              "sms.0.sender  a\\\\b\nsms.0.text    one\\ntwo\\x07\n");
    EXPECT_EQ(json::parse(qel({"facts", "--sms", "0", "--json"}, {"--scenario", scenario}).out)["sms"]["0"]["text"],
              "one\ntwo\x07");
}

TEST(Sip, GetsTheAccounts) {
    EXPECT_EQ(qel({"sip", "get"}).out, "branch-1@sip.example.com\nbranch-2@sip.example.com\n");
    EXPECT_EQ(json::parse(qel({"sip", "get", "--json"}).out), everything["sip-accounts"]);
}

TEST(Sip, SetsTheAccountsInTheFormInWhichItGetsThem) {
    const Finished finished = script("qel sip set a@b@12345678901234567890123456789012 c@d && qel sip get && "
                                     "qel sip set $(qel sip get) && qel sip get && "
                                     "qel sip set --none && qel sip get --json");
    EXPECT_EQ(finished.code(), 0) << finished.err;
    const std::string accounts = "a@b@12345678901234567890123456789012\nc@d\n";
    EXPECT_EQ(finished.out, accounts + accounts + "[]\n");
}

TEST(Sip, TellsTheServicesOutcome) {
    TempDir directory;
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << R"({"facts": {"voice": {"sip_result": 14001}}})";
    const Finished finished = qel({"sip", "set", "a@b"}, {"--scenario", scenario});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_voice_set_sip_account: a code of the service's own (14001): "));
}

} // namespace
} // namespace qel::test
