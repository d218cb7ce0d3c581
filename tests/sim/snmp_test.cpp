// SNMP reads on the simulated router: recordings, the order of OIDs, and what is answered and refused.
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "sim/scenario.h"
#include "sim/snmp_mib.h"
#include "sim/unit.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

Mib mib_from(const std::string& recording) {
    std::istringstream lines(recording);
    Mib mib;
    mib.read(lines, "test.snmprec");
    return mib;
}

std::string recording_error(const std::string& recording) {
    try {
        mib_from(recording);
        return "it was taken";
    } catch (const RecordingError& error) {
        return error.what();
    }
}

// The object's value as a text, or why there is none.
std::string text_of_value(const std::string& type_and_value) {
    try {
        return *mib_from("1.3.6|" + type_and_value).get({1, 3, 6});
    } catch (const RecordingError& error) {
        return error.what();
    }
}

TEST(Oid, IsReadWithAndWithoutADotInFront) {
    EXPECT_EQ(parse_oid("1.3.6.1"), (Oid{1, 3, 6, 1}));
    EXPECT_EQ(parse_oid(".1.3.4294967295"), (Oid{1, 3, 4294967295}));
    EXPECT_EQ(parse_oid("0"), (Oid{0}));
    EXPECT_EQ(to_text(Oid{1, 3, 6, 1}), "1.3.6.1");
}

TEST(Oid, IsDottedNumbersOf32BitsAndNothingElse) {
    for (const char* const wrong :
         {"", ".", "..", "1.", "1..3", "..1", "1.3.x", "1.-3", "1. 3", " 1", "1.4294967296", "iso.3.6", "1,3"})
        EXPECT_FALSE(parse_oid(wrong)) << wrong;
    std::string longest = "1";
    for (int i = 1; i < 128; ++i)
        longest += ".1";
    EXPECT_TRUE(parse_oid(longest));
    EXPECT_FALSE(parse_oid(longest + ".1"));
}

struct Value {
    const char* recorded;
    const char* text;
};

class Values : public ::testing::TestWithParam<Value> {};

TEST_P(Values, BecomeTexts) { EXPECT_EQ(text_of_value(GetParam().recorded), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(OfAllTypes, Values,
                         ::testing::Values(Value{"2|-2147483648", "-2147483648"}, Value{"2|007", "7"},
                                           Value{"4|Rack 4", "Rack 4"}, Value{"4|", ""}, Value{"4| a|b ", " a|b "},
                                           Value{"4x|00005e005301", "00:00:5e:00:53:01"}, Value{"4x|4f4b", "OK"},
                                           Value{"4x|66697273740a7365636F6e64", "first\nsecond"}, Value{"4x|", ""},
                                           Value{"5|", ""}, Value{"6|.1.3.6.1.4.1.32473", "1.3.6.1.4.1.32473"},
                                           Value{"64|192.0.2.1", "192.0.2.1"}, Value{"64x|c0000201", "192.0.2.1"},
                                           Value{"65|4294967295", "4294967295"}, Value{"66|0", "0"},
                                           Value{"67|8640000", "8640000"},
                                           Value{"70|18446744073709551615", "18446744073709551615"}));

struct WrongLine {
    const char* line;
    const char* says;
};

class WrongLines : public ::testing::TestWithParam<WrongLine> {};

TEST_P(WrongLines, AreRefusedWithTheNameAndTheLine) {
    EXPECT_EQ(recording_error(std::string("# comment\n\n1.1|5|\n") + GetParam().line + "\n1.2|5|\n"),
              std::string("test.snmprec:4: ") + GetParam().says);
}

INSTANTIATE_TEST_SUITE_P(
    Of, WrongLines,
    ::testing::Values(
        WrongLine{"1.3.6", "expected OID|type|value"}, WrongLine{"1.3.6|4", "expected OID|type|value"},
        WrongLine{"1.3.x|4|a", "\"1.3.x\" is no OID like 1.3.6.1"},
        WrongLine{" 1.3|4|a", "\" 1.3\" is no OID like 1.3.6.1"}, WrongLine{"|4|a", "\"\" is no OID like 1.3.6.1"},
        WrongLine{"1.3|9|a", "type \"9\" is none of 2, 4, 4x, 5, 6, 64, 64x, 65, 66, 67, 70"},
        WrongLine{"1.3||a", "type \"\" is none of 2, 4, 4x, 5, 6, 64, 64x, 65, 66, 67, 70"},
        WrongLine{"1.3|2x|a", "type \"2x\" is none of 2, 4, 4x, 5, 6, 64, 64x, 65, 66, 67, 70"},
        WrongLine{"1.3|2|2147483648", "a value of type 2 is a number from -2147483648 to 2147483647, got "
                                      "\"2147483648\""},
        WrongLine{"1.3|2|", "a value of type 2 is a number from -2147483648 to 2147483647, got \"\""},
        WrongLine{"1.3|4x|0", "a value of type 4x is hexadecimal digits in pairs, got \"0\""},
        WrongLine{"1.3|5|x", "a value of type 5 is nothing, got \"x\""},
        WrongLine{"1.3|6|1.x", "a value of type 6 is an OID like 1.3.6.1, got \"1.x\""},
        WrongLine{"1.3|64|1.2.3", "a value of type 64 is a dotted IP address, got \"1.2.3\""},
        WrongLine{"1.3|64x|c00002", "a value of type 64x is four bytes in hexadecimal, got \"c00002\""},
        WrongLine{"1.3|65|-1", "a value of type 65 is a number from 0 to 4294967295, got \"-1\""},
        WrongLine{"1.3|66|4294967296", "a value of type 66 is a number from 0 to 4294967295, got \"4294967296\""},
        WrongLine{"1.3|67|1:00", "a value of type 67 is a number from 0 to 4294967295, got \"1:00\""},
        WrongLine{"1.3|70|18446744073709551616",
                  "a value of type 70 is a number from 0 to 18446744073709551615, got \"18446744073709551616\""},
        WrongLine{".1.1|4|again", "1.1 is there already"}));

TEST(Recording, MayBeInAnyOrderWithBlankLinesCommentsAndCarriageReturns) {
    const Mib mib = mib_from("# objects\r\n1.10|4|d\r\n\r\n1.9.2|4|c\n1.2|4|a\n1.9|4|b\n");
    std::vector<std::string> walked;
    for (const auto* object = mib.next({1}); object != nullptr; object = mib.next(object->first))
        walked.push_back(to_text(object->first) + "=" + object->second);
    EXPECT_THAT(walked, ElementsAre("1.2=a", "1.9=b", "1.9.2=c", "1.10=d"));
}

TEST(Recording, HoldsATextToWhatAnAnswerCarries) {
    EXPECT_EQ(text_of_value("4|" + std::string(6000, 'x')), std::string(6000, 'x'));
    EXPECT_EQ(text_of_value("4|" + std::string(6001, 'x')),
              "test.snmprec:1: a value's text has at most 6000 characters");
    EXPECT_THAT(text_of_value(std::string("4|a\0b", 5)), StartsWith("test.snmprec:1: a value of type 4 is a text"));
}

TEST(Recording, NamesAFileThatCannotBeRead) {
    Mib mib;
    try {
        mib.read_file("/nowhere/x.snmprec");
        FAIL() << "it was read";
    } catch (const RecordingError& error) {
        EXPECT_STREQ(error.what(), "/nowhere/x.snmprec: cannot be read: No such file or directory");
    }
    EXPECT_THROW(mib.read_file("/"), RecordingError);
}

// Through the socket

class SnmpTest : public ServiceTest {
protected:
    SnmpTest() { client.open_session(); }

    Message request(std::int32_t code, std::string_view oid) {
        Message message = client.cli_message(code);
        message.items = {Item::integer(0, code), Item::text(4, client.client_name()), Item::text(5, oid)};
        return message;
    }
    Message get(std::string_view oid) { return client.ask(request(21, oid)); }
    Message get_next(std::string_view oid) { return client.ask(request(23, oid)); }
    void expect_refused(const Message& reply, std::int32_t code, Refusal error, const std::string& says) {
        EXPECT_EQ(reply.items,
                  (std::vector<Item>{Item::integer(0, code), Item::integer(1, static_cast<std::int32_t>(error)),
                                     Item::text(2, says)}));
    }

    WireClient client{path};
};

TEST_F(SnmpTest, ReadsAnObject) {
    const Message reply = get("1.3.6.1.2.1.1.5.0");
    EXPECT_EQ(reply.kind, script_operation);
    EXPECT_EQ(reply.items, (std::vector<Item>{Item::integer(0, 22), Item::integer(1, 0), Item::text(6, "Tarkon")}));
    EXPECT_EQ(get(".1.3.6.1.2.1.2.2.1.6.1").text(6), "00:00:5e:00:53:01");
    EXPECT_EQ(get("1.3.6.1.2.1.2.2.1.6.3").text(6), "");
    EXPECT_EQ(service.requests().back().operation, "snmp.get");
}

TEST_F(SnmpTest, ReadsTheObjectThatFollows) {
    EXPECT_EQ(get_next("1.3.6.1.2.1.1.1.0").items,
              (std::vector<Item>{Item::integer(0, 24), Item::integer(1, 0), Item::text(7, "1.3.6.1.2.1.1.2.0"),
                                 Item::text(8, "1.3.6.1.4.1.32473.2")}));
    EXPECT_EQ(get_next("1").text(7), "1.3.6.1.2.1.1.1.0");
    EXPECT_EQ(get_next("1.3.6.1.2.1.1.7").text(7), "1.3.6.1.2.1.1.7.0");
    EXPECT_EQ(service.requests().back().operation, "snmp.get_next");
}

TEST_F(SnmpTest, RefusesWhatThereIsNot) {
    expect_refused(get("1.3.6.1.2.1.1.5"), 22, Refusal::no_such_object, "no such object: 1.3.6.1.2.1.1.5");
    expect_refused(get_next("1.3.6.1.2.1.2.2.1.22.4"), 24, Refusal::end_of_mib,
                   "end of the MIB view after 1.3.6.1.2.1.2.2.1.22.4");
    expect_refused(get("sysName.0"), 22, Refusal::wrong_value, "\"sysName.0\" is no OID like 1.3.6.1");
    expect_refused(get_next(""), 24, Refusal::wrong_value, "\"\" is no OID like 1.3.6.1");
}

TEST_F(SnmpTest, RefusesARequestWithoutItsArguments) {
    Message nameless = request(21, "1.3");
    std::erase_if(nameless.items, [](const Item& item) { return item.tag == 4; });
    expect_refused(client.ask(nameless), 22, Refusal::missing_item, "the client's name, item 4, is missing or no text");
    Message aimless = request(23, "1.3");
    std::erase_if(aimless.items, [](const Item& item) { return item.tag == 5; });
    expect_refused(client.ask(aimless), 24, Refusal::missing_item, "the OID, item 5, is missing or no text");
    WireClient stranger(path);
    expect_refused(stranger.ask(request(21, "1.3")), 22, Refusal::no_session, "this connection has no open session");
}

TEST_F(SnmpTest, WalksTheDefaultViewInOidOrder) {
    std::vector<Oid> walked;
    Message reply = get_next("0");
    while (reply.integer(1) == 0) {
        const std::string oid = reply.text(7).value_or("");
        walked.push_back(parse_oid(oid).value_or(Oid{}));
        EXPECT_EQ(get(oid).text(6), reply.text(8)) << oid;
        reply = get_next(oid);
    }
    EXPECT_EQ(reply.integer(1), static_cast<std::int32_t>(Refusal::end_of_mib));
    EXPECT_EQ(walked.size(), 7U + 1U + 22U * 4U); // system; ifNumber; the columns of four interfaces
    EXPECT_TRUE(std::ranges::is_sorted(walked));
    EXPECT_EQ(to_text(walked.front()), "1.3.6.1.2.1.1.1.0");
    EXPECT_EQ(to_text(walked.back()), "1.3.6.1.2.1.2.2.1.22.4");
}

TEST_F(SnmpTest, TellsOfTheInterfacesThatTheRouterHas) {
    const RouterState router = service.router().state();
    EXPECT_EQ(get("1.3.6.1.2.1.2.1.0").text(6), std::to_string(router.interfaces.size()));
    for (std::size_t i = 0; i < router.interfaces.size(); ++i) {
        const std::string index = std::to_string(i + 1);
        EXPECT_EQ(get("1.3.6.1.2.1.2.2.1.2." + index).text(6), router.interfaces[i].name);
        EXPECT_EQ(get("1.3.6.1.2.1.2.2.1.8." + index).text(6), router.interfaces[i].up() ? "1" : "2");
    }
    EXPECT_EQ(get("1.3.6.1.2.1.1.5.0").text(6), router.sysname);
}

// Scenarios

std::string scenario_error(const std::string& path) {
    try {
        load_scenario(path);
        return "it was taken";
    } catch (const ScenarioError& error) {
        return error.what();
    }
}

TEST_F(SnmpTest, ReplacesTheViewByARecordingBesideTheScenario) {
    std::ofstream(directory / "edge.snmprec") << "1.3.9|4|nine\n1.3.10|2|10\n";
    std::ofstream(directory / "edge.json") << R"({"snmp": {"recording": "edge.snmprec"}})";
    service.apply(load_scenario(directory / "edge.json"));
    EXPECT_EQ(get_next("1").text(7), "1.3.9");
    EXPECT_EQ(get_next("1.3.9").text(8), "10");
    EXPECT_EQ(get_next("1.3.10").integer(1), static_cast<std::int32_t>(Refusal::end_of_mib));
}

TEST_F(SnmpTest, AddsAScenariosObjectsToTheView) {
    service.apply(scenario_from_json(nlohmann::json::parse(
        R"({"snmp": {"objects": ["1.3.6.1.2.1.1.5.0|4|Edge", "1.3.6.1.4.1.32473.1|70|18446744073709551615"]}})")));
    EXPECT_EQ(get("1.3.6.1.2.1.1.5.0").text(6), "Edge");
    EXPECT_EQ(get_next("1.3.6.1.2.1.2.2.1.22.4").text(8), "18446744073709551615");
    EXPECT_EQ(get("1.3.6.1.2.1.1.6.0").text(6), "Rack 4, branch office");
}

TEST(SnmpScenario, NamesTheFieldTheRecordingAndTheLineThatIsWrong) {
    TempDir directory;
    const std::string path = directory / "s.json";
    std::ofstream(directory / "s.snmprec") << "1.1|4|good\n1.2|3|bad\n";
    std::ofstream(path) << R"({"snmp": {"recording": "s.snmprec"}})";
    EXPECT_EQ(scenario_error(path), path + ": snmp.recording: " + (directory / "s.snmprec") +
                                        ":2: type \"3\" is none of 2, 4, 4x, 5, 6, 64, 64x, 65, 66, 67, 70");
    std::ofstream(path) << R"({"snmp": {"recording": "none"}})";
    EXPECT_EQ(scenario_error(path),
              path + ": snmp.recording: " + (directory / "none") + ": cannot be read: No such file or directory");
    std::ofstream(path) << R"({"snmp": {"objects": ["1.1|5|", "1.2"]}})";
    EXPECT_EQ(scenario_error(path), path + ": snmp.objects[1]: expected OID|type|value");
    std::ofstream(path) << R"({"snmp": {"view": []}})";
    EXPECT_EQ(scenario_error(path), path + ": snmp.view: no such field; there are recording, objects");
}

} // namespace
} // namespace sim::test
