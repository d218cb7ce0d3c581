// The example programs, in C and C++ alike, on a private router.
#include <algorithm>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/sim/process.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using Words = std::vector<std::string>;

class Example : public ::testing::TestWithParam<const char*> {
protected:
    // In the language of the parameter.
    Finished run(const std::string& task, const Words& arguments = {}, const Words& options = {}) const {
        Words command{SIM_PROGRAM, "run"};
        command.insert(command.end(), options.begin(), options.end());
        command.insert(command.end(), {"--", std::string(SIM_EXAMPLES) + "/" + task + "_" + GetParam()});
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run_program(command);
    }

    TempDir directory;
};

INSTANTIATE_TEST_SUITE_P(In, Example, ::testing::Values("c", "cpp"));

TEST_P(Example, ReportsEveryFact) {
    const Finished report = run("device_report");
    EXPECT_EQ(report.code(), 0);
    EXPECT_EQ(report.err, "");
    EXPECT_EQ(report.out,
              "serial number   QEL2016090800017\n"
              "access status   1\n"
              "backup          outcome 0\n"
              "location        52.500000, 13.375000, 34.5 m high\n"
              "                fix 3, satellites 9, speed 0, course 0, 2016-09-08 12:00:00\n"
              "station         laptop-7, 00:00:5e:00:53:10, on Tarkon\n"
              "                channel 6, signal -52, 3725 s\n"
              "cellular link   Example Mobile, IMEI 490154203237518, IMSI 001010123456789, ICCID 8988211000000000012, "
              "QM-620 1.04\n"
              "                SIM 1, registration 1, technology 4, band 3, cell 26378241\n"
              "                RSSI -71, RSRP -98, RSRQ -10, SINR 14\n"
              "connection      state 0, internet.example, 0.0.0.0\n"
              "                0 s, 0 bytes in, 0 out\n"
              "message 0       +49301234567: Your data plan was renewed.\n"
              "message 1       Example Mobile: 80% of this month's volume is used.\n"
              "voice           ports 2, answered 41, missed 3, placed 27, failed 1, 10860 s\n"
              "call 0          1 0 2 95 8 0\n"
              "SIP account 0   branch-1 at sip.example.com\n"
              "SIP account 1   branch-2 at sip.example.com\n"
              "CITA parameters 1 0 2 8\n"
              "                cita.example.com, backup.example.com, branch, example.com, 0, 112, 1.0\n"
              "                00:00:5e:00:53:01 00:00:5e:00:53:fe\n"
              "                5060 5061 30 3600 3 20 160 0\n"
              "CITA settings   00:00:5e:00:53:80 00:00:5e:00:53:81\n"
              "                00:00:5e:00:53:82 00:00:5e:00:53:83\n"
              "                00:00:5e:00:53:84 00:00:5e:00:53:85\n"
              "                00:00:5e:00:53:86 00:00:5e:00:53:87\n"
              "                1 2 3 4 5 6 7 8\n"
              "neighbour       192.168.1.10, 00:00:5e:00:53:10\n"
              "access user\n"
              "user_ip = 3725\n"
              "ssid_name = Tarkon\n"
              "oline_time = 3725\n"
              "upbytes = 1048576\n"
              "downbytes = 8388608\n");
}

TEST_P(Example, ReportsFactsHoweverLongTheServiceMakesThem) {
    const std::string esn(7955, 'e');
    const std::string time(7859, 't');
    const std::string name(7822, 'n');
    const std::string text(7915, 'm');
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << R"({"facts": {"device": {"esn": ")" << esn << R"("}, "location": {"time": ")" << time
                            << R"("}, "stations": [{"mac": "00:00:5e:00:53:10", "name": ")" << name
                            << R"("}], "messages": [{"index": 0, "text": ")" << text << R"("}]}})";
    const Finished report = run("device_report", {}, {"--scenario", scenario});
    EXPECT_EQ(report.code(), 0) << report.err;
    EXPECT_THAT(report.out, StartsWith("serial number   " + esn + "\n"));
    EXPECT_THAT(report.out, HasSubstr(", course 0, " + time + "\n"));
    EXPECT_THAT(report.out, HasSubstr("\nstation         " + name + ", 00:00:5e:00:53:10, on \n"));
    EXPECT_THAT(report.out, HasSubstr("\nmessage 0       : " + text + "\n"));
}

TEST_P(Example, ReportsWhatThereIsWhenAFactCannotBeHad) {
    const Finished report =
        run("device_report", {"192.168.1.99"}, {"--fault", "gps.location:error=40,text=no antenna"});
    EXPECT_EQ(report.code(), 1);
    EXPECT_EQ(report.err, "device_report: vela_gps_GetLocation failed with 40\n"
                          "device_report: vela_arp_get_mac_by_ip failed with 30\n");
    EXPECT_THAT(report.out, StartsWith("serial number   QEL2016090800017\n"));
    EXPECT_THAT(report.out, EndsWith("                1 2 3 4 5 6 7 8\n"));
}

TEST_P(Example, TakesAFailureOfTheMessagesForNoEnd) {
    const Finished report = run("device_report", {}, {"--fault", "lte.sms@2:missing_item=6"});
    EXPECT_EQ(report.code(), 1);
    EXPECT_EQ(report.err, "device_report: vela_get_sms_info failed with 1\n");
}

TEST_P(Example, WalksASubtree) {
    const Finished walk = run("snmp_walk", {".1.3.6.1.2.1.1"});
    EXPECT_EQ(walk.code(), 0);
    EXPECT_EQ(walk.err, "");
    EXPECT_EQ(walk.out, "1.3.6.1.2.1.1.1.0 = Quor Router Software, Version 2.0\n"
                        "1.3.6.1.2.1.1.2.0 = 1.3.6.1.4.1.32473.2\n"
                        "1.3.6.1.2.1.1.3.0 = 8640000\n"
                        "1.3.6.1.2.1.1.4.0 = netops@example.com\n"
                        "1.3.6.1.2.1.1.5.0 = Tarkon\n"
                        "1.3.6.1.2.1.1.6.0 = Rack 4, branch office\n"
                        "1.3.6.1.2.1.1.7.0 = 78\n");
}

TEST_P(Example, WalksToTheEndOfTheView) {
    const Finished walk = run("snmp_walk");
    EXPECT_EQ(walk.code(), 0) << walk.err;
    EXPECT_EQ(std::ranges::count(walk.out, '\n'), 96);
    EXPECT_THAT(walk.out, EndsWith("\n1.3.6.1.2.1.2.2.1.22.4 = 0.0\n"));
}

TEST_P(Example, ReadsOneObject) {
    const Finished read = run("snmp_walk", {"1.3.6.1.2.1.2.2.1.22.4"});
    EXPECT_EQ(read.code(), 0) << read.err;
    EXPECT_EQ(read.out, "1.3.6.1.2.1.2.2.1.22.4 = 0.0\n");
}

TEST_P(Example, WalksARecordingThatIsGiven) {
    const std::string recording = directory / "own.snmprec";
    std::ofstream(recording) << "1.10|4|ten\n1.9.1|65|91\n";
    const Finished walk = run("snmp_walk", {"1"}, {"--mib", recording});
    EXPECT_EQ(walk.code(), 0) << walk.err;
    EXPECT_EQ(walk.out, "1.9.1 = 91\n1.10 = ten\n");

    std::ofstream(recording) << "1.10|4|ten\n1.9.1|65|many\n";
    const Finished wrong = run("snmp_walk", {"1"}, {"--mib", recording});
    EXPECT_EQ(wrong.code(), 2);
    EXPECT_EQ(wrong.err,
              "qel-sim: " + recording + ":2: a value of type 65 is a number from 0 to 4294967295, got \"many\"\n");
}

TEST_P(Example, TellsThatThereIsNoSuchObject) {
    const Finished read = run("snmp_walk", {"1.3.6.1.2.1.3"});
    EXPECT_EQ(read.code(), 1);
    EXPECT_EQ(read.out, "");
    EXPECT_EQ(read.err, "snmp_walk: vela_snmp_get failed with 1\n");
}

TEST_P(Example, TakesAServiceInTroubleForNoEndOfTheView) {
    const Finished walk =
        run("snmp_walk", {}, {"--fault", "snmp.get_next@3:error=5,text=busy", "--fault", "session.keepalive:error=5"});
    EXPECT_EQ(walk.code(), 1);
    EXPECT_EQ(std::ranges::count(walk.out, '\n'), 2);
    EXPECT_EQ(walk.err, "snmp_walk: vela_snmp_get_next failed with 1\n");
}

TEST_P(Example, WritesALogLine) {
    const std::string wire = directory / "wire";
    const Finished written = run("write_syslog", {"nightly backup done", "5/DONE", "BACKUP"}, {"--log", wire});
    EXPECT_EQ(written.code(), 0) << written.err;
    EXPECT_EQ(written.out, "The router has written: nightly backup done\n");
    std::ifstream file(wire);
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(log, HasSubstr("syslog.write  0:3 7:\"nightly backup done\" 9:\"sdkclient0001"));
    EXPECT_THAT(log, HasSubstr("\" 8:\"5/DONE\" 10:\"BACKUP\"\n"));
    EXPECT_THAT(log, HasSubstr("syslog.write  0:4 1:0\n"));
}

TEST_P(Example, TellsThatALogLineWasRefused) {
    const Finished refused = run("write_syslog", {"x"}, {"--fault", "syslog.write:error=5,text=full"});
    EXPECT_EQ(refused.code(), 1);
    EXPECT_EQ(refused.err, "write_syslog: vela_syslog failed with 1\n");
    EXPECT_EQ(run("write_syslog").code(), 2);
}

TEST_P(Example, BringsAnUplinkUpAndTakesItDown) {
    const Finished shown = run("cellular_uplink", {"internet.example", "joe", "s3cret"});
    EXPECT_EQ(shown.code(), 0);
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(shown.out, "The uplink is up:\n"
                         "  #\n"
                         "+  dns resolve\n"
                         "  #\n"
                         "+ acl name vela_Cellular0/0/0_acl 3999\n"
                         "+  rule 5 permit ip\n"
                         "  #\n"
                         "+ dialer-rule\n"
                         "+  dialer-rule 96 ip permit\n"
                         "  #\n"
                         "+ apn profile vela_apn_Cellular0/0/0_profile\n"
                         "+  user name joe password cipher s3cret authentication-mode auto\n"
                         "+  apn internet.example\n"
                         "  #\n"
                         "  interface Cellular0/0/0\n"
                         "+  dialer enable-circular\n"
                         "+  dialer-group 96\n"
                         "+  dialer number *99# autodial\n"
                         "+  apn-profile vela_apn_Cellular0/0/0_profile\n"
                         "+  nat outbound 3999\n"
                         "  #\n"
                         "+  ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0\n"
                         "\n"
                         "The uplink is down, and of it is left:\n"
                         "  #\n"
                         "  interface Cellular0/0/0\n"
                         "+  dialer-group 96\n"
                         "+  dialer number *99# autodial\n"
                         "+  apn-profile vela_apn_Cellular0/0/0_profile\n");
}

TEST_P(Example, BringsAnUplinkUpWithoutAnAccessPointOrCredentials) {
    const Finished shown = run("cellular_uplink");
    EXPECT_EQ(shown.code(), 0) << shown.err;
    EXPECT_THAT(shown.out, HasSubstr("+ apn profile vela_apn_Cellular0/0/0_profile\n  #\n"));
    EXPECT_EQ(run("cellular_uplink", {"internet.example", "joe"}).code(), 2) << "a user has a password";
}

TEST_P(Example, ShowsThatAnUplinkThatDoesNotComeUpLeavesNothing) {
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << R"({"limits": {"acls": 0}})";
    const Finished shown = run("cellular_uplink", {}, {"--scenario", scenario});
    EXPECT_EQ(shown.code(), 1);
    EXPECT_EQ(shown.out, "The uplink did not come up:\n  (no change)\n");
    EXPECT_EQ(shown.err, "cellular_uplink: vela_cellular_open failed with 1\n");
}

TEST_P(Example, MakesAnAccessPointAndDeletesIt) {
    const Finished shown = run("wlan_access_point", {"Guests", "12345678"});
    EXPECT_EQ(shown.code(), 0);
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(shown.out, "The access point Guests is made:\n"
                         "  #\n"
                         "+  dns proxy enable\n"
                         "  #\n"
                         "+  dhcp enable\n"
                         "  #\n"
                         "+ vlan 2\n"
                         "+  name vela_vlan_1_0\n"
                         "  #\n"
                         "+ interface Vlanif2\n"
                         "+  ip address 192.168.20.1 255.255.255.0\n"
                         "+  dhcp select interface\n"
                         "+  dhcp server dns-list 192.168.20.1\n"
                         "  #\n"
                         "+ interface Wlan-Bss1\n"
                         "+  description vela_wlan_bss_1_Wlan-Radio0/0/0\n"
                         "+  port hybrid tagged vlan 2\n"
                         "  #\n"
                         "+ wlan\n"
                         "+  security-profile name vela_secf_1_Wlan-Radio0/0/0\n"
                         "+   security-policy wpa2\n"
                         "+   wpa2 authentication-method psk pass-phrase cipher 12345678 encryption-method ccmp\n"
                         "  #\n"
                         "+ wlan\n"
                         "+  service-set name vela_service_set_1_0 id 0\n"
                         "+   ssid Guests\n"
                         "+   security-profile name vela_secf_1_Wlan-Radio0/0/0\n"
                         "+   wlan-bss 1\n"
                         "  #\n"
                         "  interface Wlan-Radio0/0/0\n"
                         "+  radio-profile name radiof\n"
                         "+  service-set id 0 wlan 1\n"
                         "\n"
                         "Another one, with the same address, was refused, and of it is left:\n"
                         "  (no change)\n"
                         "\n"
                         "The access point is deleted, and of it is left:\n"
                         "  #\n"
                         "+  dns proxy enable\n"
                         "  #\n"
                         "+  dhcp enable\n");
}

TEST_P(Example, TellsThatAnAccessPointCouldNotBeMade) {
    const std::string scenario = directory / "scenario.json";
    std::ofstream(scenario) << R"({"limits": {"vlan_ids": [1, 1]}})";
    const Finished shown = run("wlan_access_point", {}, {"--scenario", scenario});
    EXPECT_EQ(shown.code(), 1);
    EXPECT_EQ(shown.out, "The access point Guests is not made:\n"
                         "  #\n"
                         "+  dns proxy enable\n"
                         "  #\n"
                         "+  dhcp enable\n");
    EXPECT_EQ(shown.err, "wlan_access_point: vela_wlan_create_ap failed with 1\n");
    EXPECT_EQ(run("wlan_access_point", {"a", "b", "c"}).code(), 2);
}

} // namespace
} // namespace sim::test
