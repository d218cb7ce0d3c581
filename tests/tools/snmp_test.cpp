// SNMP reads.
#include "tests/tools/support.h"

namespace qel::test {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(SnmpGet, ReadsObjects) {
    EXPECT_EQ(qel({"snmp", "get", ".1.3.6.1.2.1.1.5.0", "1.3.6.1.2.1.1.7.0"}).out,
              "1.3.6.1.2.1.1.5.0 = Tarkon\n1.3.6.1.2.1.1.7.0 = 78\n");
}

TEST(SnmpGet, ReadsTheOthersWhenOneIsUnknown) {
    const Finished finished = qel({"snmp", "get", "1.3", "two", "1.3.6.1.2.1.1.5.0", "--json"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(documents(finished.out), (std::vector<json>{{{"oid", "1.3.6.1.2.1.1.5.0"}, {"value", "Tarkon"}}}));
    const std::string why = ": VELA_ERROR (1): no such object, the OID is wrong or too long, or there was no answer; "
                            "the system log says why (identity Vela-Quor)\n";
    EXPECT_EQ(finished.err, "qel: vela_snmp_get 1.3" + why + "qel: vela_snmp_get two" + why);
}

TEST(SnmpGet, TellsOfAnOidThatIsTooLong) {
    const Finished finished = qel({"snmp", "get", std::string(9000, '1')});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, HasSubstr("...: VELA_ERROR (1): "));
}

TEST(SnmpNext, ReadsTheObjectThatFollows) {
    EXPECT_EQ(qel({"snmp", "next", "1.3.6.1.2.1.1.4.9"}).out, "1.3.6.1.2.1.1.5.0 = Tarkon\n");
    EXPECT_EQ(documents(qel({"--json", "snmp", "next", "1.3.6.1.2.1.1.4.9"}).out),
              (std::vector<json>{{{"oid", "1.3.6.1.2.1.1.5.0"}, {"value", "Tarkon"}}}));
}

TEST(SnmpNext, TellsThatNothingFollows) {
    const Finished finished = qel({"snmp", "next", "1.4"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_snmp_get_next 1.4: VELA_ERROR (1): nothing follows, "));
}

TEST(SnmpWalk, ReadsASubtreeOrAnObject) {
    EXPECT_EQ(qel({"snmp", "walk", ".1.3.6.1.2.1.1"}).out, "1.3.6.1.2.1.1.1.0 = Quor Router Software, Version 2.0\n"
                                                           "1.3.6.1.2.1.1.2.0 = 1.3.6.1.4.1.32473.2\n"
                                                           "1.3.6.1.2.1.1.3.0 = 8640000\n"
                                                           "1.3.6.1.2.1.1.4.0 = netops@example.com\n"
                                                           "1.3.6.1.2.1.1.5.0 = Tarkon\n"
                                                           "1.3.6.1.2.1.1.6.0 = Rack 4, branch office\n"
                                                           "1.3.6.1.2.1.1.7.0 = 78\n");
    EXPECT_EQ(qel({"snmp", "walk", "1.3.6.1.2.1.1.5.0"}).out, "1.3.6.1.2.1.1.5.0 = Tarkon\n");
}

TEST(SnmpWalk, ReadsToTheEndOfTheView) {
    const Finished finished = qel({"snmp", "walk", "--json"});
    EXPECT_EQ(finished.code(), 0);
    EXPECT_EQ(finished.err, "");
    const std::vector<json> objects = documents(finished.out);
    EXPECT_EQ(objects.size(), 96U);
    EXPECT_EQ(objects.back(), (json{{"oid", "1.3.6.1.2.1.2.2.1.22.4"}, {"value", "0.0"}}));
}

TEST(SnmpWalk, TellsThatThereIsNoSuchSubtree) {
    const Finished finished = qel({"snmp", "walk", "1.3.6.1.2.1.3"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_snmp_get 1.3.6.1.2.1.3: VELA_ERROR (1): no such object, "));
}

TEST(SnmpWalk, TakesAServiceInTroubleForNoEndOfTheView) {
    const Finished finished =
        qel({"snmp", "walk"}, {"--fault", "snmp.get_next@3:error=5,text=busy", "--fault", "session.keepalive:error=5"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_session_keepalive: VELA_ERROR (1): "));
}

TEST(SnmpWalk, KeepsAValueOnItsLine) {
    TempDir directory;
    const std::string recording = directory / "own.snmprec";
    std::ofstream(recording) << "1.9.1|4|back\\slash\n1.10|4|ten\n";
    EXPECT_EQ(qel({"snmp", "walk", "1"}, {"--mib", recording}).out, "1.9.1 = back\\\\slash\n1.10 = ten\n");
}

} // namespace
} // namespace qel::test
