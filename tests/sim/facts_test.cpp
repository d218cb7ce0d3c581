// The device queries: what each answers and refuses, item by item, and how a scenario sets it.
#include "sim/facts.h"

#include <fstream>
#include <sstream>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "sim/scenario.h"
#include "sim/snmp_mib.h"
#include "sim/unit.h"
#include "tests/sim/support.h"

namespace sim::test {

void PrintTo(const Item& item, std::ostream* out) { *out << item.tag << ":x'" << hex(item.value) << '\''; }

namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using Items = std::vector<Item>;

Item number(std::int32_t tag, std::int32_t value) { return Item::integer(tag, value); }
Item text(std::int32_t tag, std::string_view value) { return Item::text(tag, value); }
Item bytes(std::int32_t tag, std::string_view digits) { return Item::raw(tag, from_hex(digits).value_or("(no hex)")); }

Message query_message(WireClient& client, std::int32_t module, std::int32_t operation, const Items& arguments) {
    Message message = client.cli_message(0);
    message.kind = device_query;
    message.items = {Item::integer(1, module), Item::integer(2, operation)};
    message.items.insert(message.items.end(), arguments.begin(), arguments.end());
    return message;
}

// The reply's items behind the echoed module and operation and the result 0.
Items facts_of(const Message& reply) {
    EXPECT_EQ(reply.integer(3), 0) << reply.text(4).value_or("");
    Items items = reply.items;
    items.erase(items.begin(), items.begin() + 3);
    return items;
}

struct Known {
    const char* name;
    std::int32_t module;
    std::int32_t operation;
    Items arguments;
    Items facts;
};

class FactsTest : public ServiceTest {
protected:
    FactsTest() { client.open_session(); }

    Message query(std::int32_t module, std::int32_t operation, const Items& arguments = {}) {
        return client.ask(query_message(client, module, operation, arguments));
    }
    void expect(const Known& known) {
        const Message request = query_message(client, known.module, known.operation, known.arguments);
        const Message reply = client.ask(request);
        EXPECT_EQ(reply.type, operation_reply);
        EXPECT_EQ(reply.kind, device_query);
        EXPECT_EQ(reply.send_id, request.send_id);
        EXPECT_EQ(reply.session_id, client.session_id());
        EXPECT_EQ(reply.integer(1), known.module);
        EXPECT_EQ(reply.integer(2), known.operation);
        EXPECT_THAT(facts_of(reply), ElementsAreArray(known.facts)) << known.name;
    }
    void expect_refused(const Message& reply, Refusal code, const std::string& says) {
        EXPECT_EQ(reply.integer(3), static_cast<std::int32_t>(code));
        EXPECT_EQ(reply.text(4), says);
        EXPECT_EQ(reply.items.size(), 4U);
    }

    WireClient client{path};
};

// As it comes out of the box. Doubles and words stand in the byte order of x86 and ARM.
TEST_F(FactsTest, AnswersEveryQuery) {
    const std::vector<Known> all{
        {"device.esn", 8, 1, {}, {text(5, "QEL2016090800017")}},
        {"device.access", 8, 2, {}, {number(6, 1)}},
        {"device.backup", 8, 3, {}, {number(7, 0)}},
        {"gps.location",
         7,
         1,
         {},
         {number(5, 3), number(6, 9), bytes(7, "0000000000404a40"), bytes(8, "0000000000c02a40"),
          bytes(9, "0000000000404140"), number(10, 0), number(11, 0), text(12, "2016-09-08 12:00:00")}},
        {"wlan.station",
         4,
         1,
         {},
         {number(5, 6), text(6, "Tarkon"), number(7, -52), number(8, 3725), Item::raw(9, "00:00:5e:00:53:10"),
          text(10, "laptop-7")}},
        {"lte.brief",
         6,
         1,
         {},
         {text(5, "Example Mobile"), text(6, "490154203237518"), text(7, "001010123456789"),
          text(8, "8988211000000000012"), text(9, "QM-620 1.04"), number(10, 1), number(11, 1), number(12, 4),
          number(13, -71), number(14, -98), number(15, -10), number(16, 14), number(17, 3), number(18, 26378241)}},
        {"lte.connection",
         6,
         2,
         {text(5, "Cellular0/0/0")},
         {number(6, 0), text(7, "internet.example"), text(8, "0.0.0.0"), number(9, 0), number(10, 0), number(11, 0)}},
        {"lte.sms", 6, 3, {number(5, 1)}, {text(6, "Example Mobile"), text(7, "80% of this month's volume is used.")}},
        {"arp.mac", 2, 1, {text(5, "192.168.1.20"), number(6, 0)}, {bytes(0, "00005e005320")}},
        {"nac.user",
         3,
         1,
         {bytes(5, "00005e005310")},
         {text(9, "Tarkon"), number(10, 3725), number(11, 1048576), number(12, 8388608)}},
        {"voice.calls",
         9,
         1,
         {},
         {number(5, 1), number(6, 2), number(7, 41), number(8, 3), number(9, 27), number(10, 1), number(11, 10860),
          bytes(12, "01000000 00000000 02000000 5f000000 08000000 00000000")}},
        {"voice.cita_param",
         9,
         4,
         {},
         {number(5, 1),
          number(6, 0),
          number(7, 2),
          number(8, 8),
          text(9, "cita.example.com"),
          text(10, "backup.example.com"),
          text(11, "branch"),
          text(12, "example.com"),
          text(13, "0"),
          text(14, "112"),
          bytes(15, "00005e005301"),
          bytes(16, "00005e0053fe"),
          text(17, "1.0"),
          number(18, 5060),
          number(19, 5061),
          number(20, 30),
          number(21, 3600),
          number(22, 3),
          number(23, 20),
          number(24, 160),
          number(25, 0)}},
        {"voice.cita_config",
         9,
         5,
         {},
         {bytes(5, "00005e005380"), bytes(6, "00005e005381"), bytes(7, "00005e005382"), bytes(8, "00005e005383"),
          bytes(9, "00005e005384"), bytes(10, "00005e005385"), bytes(11, "00005e005386"), bytes(12, "00005e005387"),
          number(13, 1), number(14, 2), number(15, 3), number(16, 4), number(17, 5), number(18, 6), number(19, 7),
          number(20, 8)}},
    };
    for (const Known& known : all) {
        expect(known);
        EXPECT_EQ(service.requests().back().operation, known.name);
    }
}

// user, NULs up to 33 bytes, registrar, NULs up to 66
TEST_F(FactsTest, TellsTheSipAccounts) {
    const Items items = facts_of(query(9, 3));
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0], number(5, 2));
    EXPECT_EQ(items[1].tag, 7);
    EXPECT_EQ(items[1].value, "branch-1" + std::string(25, '\0') + "sip.example.com" + std::string(18, '\0'));
    EXPECT_EQ(items[2].tag, 8);
    EXPECT_THAT(items[2].value, StartsWith("branch-2"));
}

TEST_F(FactsTest, FindsAnInterfaceInAnySpelling) {
    for (const char* const spelling : {"cellular0/0/0", "Cellular 0/0/0", "ce0/0/0"})
        EXPECT_EQ(query(6, 2, {text(5, spelling)}).text(7), "internet.example") << spelling;
}

struct Wrong {
    const char* name;
    std::int32_t module;
    std::int32_t operation;
    Items arguments;
    Refusal code;
    const char* says;
};

TEST_F(FactsTest, RefusesWhatItCannotAnswer) {
    const std::vector<Wrong> all{
        {"module", 5, 1, {}, Refusal::not_offered, "query 1 of module 5 is not offered"},
        {"operation", 8, 4, {}, Refusal::not_offered, "query 4 of module 8 is not offered"},
        {"interface missing", 6, 2, {}, Refusal::missing_item, "the interface, item 5, is missing or no text"},
        {"interface",
         6,
         2,
         {text(5, "Cellular0/0/1")},
         Refusal::not_found,
         "there is no cellular interface \"Cellular0/0/1\""},
        {"interface's kind",
         6,
         2,
         {text(5, "GigabitEthernet0/0/0")},
         Refusal::not_found,
         "there is no cellular interface \"GigabitEthernet0/0/0\""},
        {"index missing", 6, 3, {}, Refusal::missing_item, "the index, item 5, is missing or no number"},
        {"index a text", 6, 3, {text(5, "first")}, Refusal::missing_item, "the index, item 5, is missing or no number"},
        {"index", 6, 3, {number(5, -1)}, Refusal::not_found, "no message has the index 4294967295"},
        {"address missing",
         2,
         1,
         {number(6, 0)},
         Refusal::missing_item,
         "the IP address, item 5, is missing or no text"},
        {"table missing",
         2,
         1,
         {text(5, "192.168.1.10")},
         Refusal::missing_item,
         "the ARP table's number, item 6, is missing or no number"},
        {"address",
         2,
         1,
         {text(5, "192.168.1"), number(6, 0)},
         Refusal::wrong_value,
         "\"192.168.1\" is no dotted IP address"},
        {"table", 2, 1, {text(5, "192.168.1.10"), number(6, 3)}, Refusal::not_found, "there is no ARP table 3"},
        {"entry",
         2,
         1,
         {text(5, "192.168.1.11"), number(6, 0)},
         Refusal::not_found,
         "the ARP table has no entry for 192.168.1.11"},
        {"mac missing", 3, 1, {}, Refusal::missing_item, "the hardware address, item 5, is missing"},
        {"mac short",
         3,
         1,
         {bytes(5, "0000 5e00 53")},
         Refusal::wrong_value,
         "the hardware address, item 5, has 5 bytes instead of 6"},
        {"user",
         3,
         1,
         {bytes(5, "0000 5e00 53ff")},
         Refusal::not_found,
         "no access user has the address 00:00:5e:00:53:ff"},
        {"count missing", 9, 2, {}, Refusal::missing_item, "the number of accounts, item 5, is missing or no number"},
        {"count", 9, 2, {number(5, -1)}, Refusal::wrong_value, "-1 is no number of accounts"},
        {"account missing",
         9,
         2,
         {number(5, 2), Item::raw(7, std::string(66, 'a'))},
         Refusal::missing_item,
         "account 1, item 8, is missing"},
        {"account short",
         9,
         2,
         {number(5, 1), Item::raw(7, std::string(65, 'a'))},
         Refusal::wrong_value,
         "account 0, item 7, has 65 bytes instead of 66"},
    };
    const Facts before = service.router().state().facts;
    for (const Wrong& wrong : all) {
        SCOPED_TRACE(wrong.name);
        const Message reply = query(wrong.module, wrong.operation, wrong.arguments);
        EXPECT_EQ(reply.integer(1), wrong.module);
        EXPECT_EQ(reply.integer(2), wrong.operation);
        expect_refused(reply, wrong.code, wrong.says);
    }
    EXPECT_EQ(service.router().state().facts, before);
}

TEST_F(FactsTest, RefusesToTellOfAStationWhenThereIsNone) {
    service.router().with([](RouterState& router) { router.facts.stations.clear(); });
    expect_refused(query(4, 1), Refusal::not_found, "no station is associated");
}

TEST_F(FactsTest, WantsAnOpenSession) {
    WireClient stranger(path);
    expect_refused(stranger.ask(query_message(stranger, 8, 1, {})), Refusal::no_session,
                   "this connection has no open session");
    client.set_session_id(99);
    expect_refused(query(8, 1), Refusal::wrong_session, "the header carries session id 99, the session's is 1");
}

// SIP accounts

Items accounts(std::int32_t count) {
    Items items{number(5, count)};
    for (std::int32_t i = 0; i < count; ++i) {
        std::string account(sip_account_size, static_cast<char>('a' + i % 26));
        account[1] = '\0'; // any bytes are as good as text
        items.push_back(Item::raw(7 + i, account));
    }
    return items;
}

TEST_F(FactsTest, StoresSipAccountsAndGivesThemBack) {
    for (const std::int32_t count : {1, 10, 12, 107, 0}) {
        SCOPED_TRACE(count);
        EXPECT_THAT(facts_of(query(9, 2, accounts(count))), ElementsAreArray(Items{number(6, 0)}));
        EXPECT_THAT(facts_of(query(9, 3)), ElementsAreArray(accounts(count)));
    }
}

TEST_F(FactsTest, KeepsSipAccountsForEveryClient) {
    query(9, 2, accounts(3));
    client.close();
    WireClient next(path);
    next.open_session();
    EXPECT_THAT(facts_of(next.ask(query_message(next, 9, 3, {}))), ElementsAreArray(accounts(3)));
}

TEST_F(FactsTest, StoresNoSipAccountWhenItIsSetToFail) {
    service.router().with([](RouterState& router) { router.facts.voice.sip_result = 3; });
    const Items before = facts_of(query(9, 3));
    EXPECT_THAT(facts_of(query(9, 2, accounts(1))), ElementsAreArray(Items{number(6, 3)}));
    EXPECT_THAT(facts_of(query(9, 3)), ElementsAreArray(before));
}

TEST_F(FactsTest, TakesSipAccountsOfClientsAtTheSameTimeOneByOne) {
    std::vector<std::thread> threads;
    for (std::int32_t count = 1; count <= 4; ++count)
        threads.emplace_back([this, count] {
            WireClient own(path);
            own.open_session();
            for (int i = 0; i < 20; ++i) {
                EXPECT_EQ(own.ask(query_message(own, 9, 2, accounts(count))).integer(6), 0);
                const Items items = facts_of(own.ask(query_message(own, 9, 3, {})));
                const auto stored = items.at(0).as_int().value_or(-1);
                EXPECT_THAT(items, ElementsAreArray(accounts(stored)));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

// Backups

TEST_F(FactsTest, BacksTheConfigurationUp) {
    WireClient console(path);
    console.open_cli();
    EXPECT_EQ(console.run("display backup-configuration"), "No configuration has been backed up.\n");
    console.run("system-view");
    console.run("sysname Saved");
    EXPECT_THAT(facts_of(query(8, 3)), ElementsAreArray(Items{number(7, 0)}));
    console.run("sysname Later");
    EXPECT_THAT(console.run("display backup-configuration"), StartsWith("#\n sysname Saved\n"));
}

TEST_F(FactsTest, KeepsTheBackupBeforeWhenOneFails) {
    query(8, 3);
    const std::string before = service.router().state().facts.device.backup;
    service.router().with([](RouterState& router) {
        router.facts.device.backup_result = -2;
        router.sysname = "Later";
    });
    EXPECT_THAT(facts_of(query(8, 3)), ElementsAreArray(Items{number(7, -2)}));
    EXPECT_EQ(service.router().state().facts.device.backup, before);
}

// Faults

TEST_F(FactsTest, MeetsFaultsByItsOperationsNames) {
    service.faults().add("gps.*:error=17,text=no antenna");
    service.faults().add("voice.calls:missing_item=5");
    const Message refused = query(7, 1);
    EXPECT_EQ(refused.items, (Items{number(1, 7), number(2, 1), number(3, 17), text(4, "no antenna")}));
    EXPECT_EQ(query(9, 1).find(5), nullptr);
    EXPECT_EQ(query(8, 1).integer(3), 0);
}

// Hardware addresses

TEST(Mac, IsReadAndWritten) {
    const auto mac = parse_mac("00:1A:2b:3C:4d:5e");
    ASSERT_TRUE(mac);
    EXPECT_EQ(*mac, (Mac{0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e}));
    EXPECT_EQ(to_text(*mac), "00:1a:2b:3c:4d:5e");
    for (const char* const wrong :
         {"", "00:1a:2b:3c:4d", "00:1a:2b:3c:4d:5e:", "00:1a:2b:3c:4d:5e:6f", "00-1a-2b-3c-4d-5e", "00:1a:2b:3c:4d:5g",
          "001a:2b:3c:4d:5e:0", " 0:1a:2b:3c:4d:5e"})
        EXPECT_FALSE(parse_mac(wrong)) << wrong;
}

// Scenarios

// The first JSON block of the document.
std::string documented_scenario() {
    std::ifstream file(SIM_FACTS_DOCUMENT);
    std::stringstream all;
    all << file.rdbuf();
    const std::string document = all.str();
    const std::string begin = "```json\n";
    const std::size_t from = document.find(begin) + begin.size();
    return document.substr(from, document.find("```", from) - from);
}

TEST_F(FactsTest, AreThoseOfTheDocumentedScenario) {
    service.apply(scenario_from_json(nlohmann::json::parse(documented_scenario())));
    const std::vector<Known> all{
        {"device.esn", 8, 1, {}, {text(5, "QEL2016090800042")}},
        {"device.access", 8, 2, {}, {number(6, 2)}},
        {"gps.location",
         7,
         1,
         {},
         {number(5, 3), number(6, 11), bytes(7, "e4bcff8f13ee40c0"), bytes(8, "793bc269c1e66240"),
          bytes(9, "0000000000802840"), number(10, 135), number(11, 2705), text(12, "2016-09-08 12:29:58")}},
        {"wlan.station",
         4,
         1,
         {},
         {number(5, 36), text(6, "Edge"), number(7, -61), number(8, 86400), Item::raw(9, "00:00:5e:00:53:a1"),
          text(10, "scanner")}},
        {"lte.brief",
         6,
         1,
         {},
         {text(5, "Example Mobile"), text(6, "490154203237518"), text(7, "001010123456789"),
          text(8, "8988211000000000012"), text(9, "QM-620 1.04"), number(10, 1), number(11, 2), number(12, 4),
          number(13, -63), number(14, -91), number(15, -8), number(16, 19), number(17, 20), Item::u32(18, 4026531841)}},
        {"lte.connection",
         6,
         2,
         {text(5, "Cellular0/0/0")},
         {number(6, 2), text(7, "internet.example"), text(8, "10.64.3.9"), number(9, 5025), number(10, 734003200),
          number(11, 52428800)}},
        {"lte.sms", 6, 3, {number(5, 3)}, {text(6, "+4930123456"), text(7, "Code 4711")}},
        {"lte.sms", 6, 3, {number(5, 8)}, {text(6, "Example Mobile"), text(7, "Welcome abroad.")}},
        {"arp.mac", 2, 1, {text(5, "192.168.1.33"), number(6, 0)}, {bytes(0, "00005e0053a1")}},
        {"nac.user",
         3,
         1,
         {bytes(5, "00005e0053a1")},
         {text(9, "Edge"), number(10, 86400), number(11, 1234567), number(12, 7654321)}},
        {"voice.calls",
         9,
         1,
         {},
         {number(5, 2), number(6, 4), number(7, 120), number(8, 9), number(9, 88), number(10, 2), number(11, 40210),
          bytes(12, "01000000 01000000 02000000 3f000000 00000000 00000000"),
          bytes(13, "03000000 00000000 01000000 00000000 08000000 01000000")}},
        {"voice.get_sip",
         9,
         3,
         {},
         {number(5, 2), Item::raw(7, sip_account("edge-1", "sip.example.com")),
          Item::raw(8, sip_account("edge-2", "sip.example.net"))}},
        {"voice.cita_param",
         9,
         4,
         {},
         {number(5, 1),
          number(6, 2),
          number(7, 3),
          number(8, 255),
          text(9, "nine"),
          text(10, "ten"),
          text(11, "eleven"),
          text(12, "twelve"),
          text(13, "thirteen"),
          text(14, "fourteen"),
          bytes(15, "00005e005315"),
          bytes(16, "00005e005316"),
          text(17, "seventeen"),
          number(18, 18),
          number(19, 19),
          number(20, 20),
          number(21, 21),
          number(22, 22),
          number(23, 23),
          number(24, 24),
          number(25, -25)}},
        {"voice.cita_config",
         9,
         5,
         {},
         {bytes(5, "00005e005305"), bytes(6, "00005e005306"), bytes(7, "00005e005307"), bytes(8, "00005e005308"),
          bytes(9, "00005e005309"), bytes(10, "00005e00530a"), bytes(11, "00005e00530b"), bytes(12, "00005e00530c"),
          number(13, 13), number(14, 14), number(15, 15), number(16, 16), number(17, 17), number(18, 18),
          number(19, 19), number(20, -20)}},
    };
    for (const Known& known : all)
        expect(known);
    expect_refused(query(6, 3, {number(5, 0)}), Refusal::not_found, "no message has the index 0");

    const RouterState router = service.router().state();
    EXPECT_EQ(router.sysname, "Edge-12");
    EXPECT_EQ(*router.mib->get(*parse_oid("1.3.6.1.2.1.1.5.0")), "Edge-12");
    EXPECT_EQ(*router.mib->get(*parse_oid("1.3.6.1.4.1.32473.1.1.0")), "18446744073709551615");
}

Facts facts_from(const std::string& facts) {
    return scenario_from_json(nlohmann::json::parse("{\"facts\": " + facts + "}")).router.facts;
}

TEST(FactsScenario, LeavesWhatItDoesNotSayAsItComesOutOfTheBox) {
    EXPECT_EQ(facts_from("{}"), Facts{});
    Facts expected;
    expected.lte.band = 7;
    expected.voice.totals.missed = 0;
    EXPECT_EQ(facts_from(R"({"lte": {"band": 7}, "voice": {"totals": {"missed": 0}}})"), expected);
}

TEST(FactsScenario, EmptiesAListWithAnEmptyOne) {
    const Facts facts = facts_from(R"({"stations": [], "connections": [], "messages": [], "arp": [], "users": [],
                                       "voice": {"calls": [], "sip_accounts": []}})");
    EXPECT_THAT(facts.stations, IsEmpty());
    EXPECT_THAT(facts.connections, IsEmpty());
    EXPECT_THAT(facts.messages, IsEmpty());
    EXPECT_THAT(facts.arp, IsEmpty());
    EXPECT_THAT(facts.users, IsEmpty());
    EXPECT_THAT(facts.voice.calls, IsEmpty());
    EXPECT_THAT(facts.voice.sip_accounts, IsEmpty());
}

// As many as one answer carries.
TEST_F(FactsTest, FitTheLargestAnswers) {
    nlohmann::json calls(240, {{"port", 7}});
    nlohmann::json accounts(107, {{"user", std::string(32, 'u')}, {"registrar", std::string(32, 'r')}});
    const nlohmann::json facts{{"voice", {{"calls", calls}, {"sip_accounts", accounts}}}};
    service.apply(scenario_from_json({{"facts", facts}}));
    EXPECT_EQ(facts_of(query(9, 1)).size(), 7U + 240U);
    EXPECT_EQ(facts_of(query(9, 3)).size(), 1U + 107U);
}

// Texts that only the end of the answer limits, when its other items are at their largest.
struct LongText {
    const char* at;
    const char* name;
    std::size_t longest;
    std::int32_t module;
    std::int32_t operation;
    Items arguments;
    std::int32_t tag;

    nlohmann::json scenario(const std::string& text) const {
        nlohmann::json facts{{"stations", {{{"mac", "00:00:5e:00:53:01"}, {"ssid", std::string(63, 's')}}}},
                             {"messages", {{{"index", 0}, {"sender", std::string(31, 's')}}}}};
        facts[nlohmann::json::json_pointer(at)] = text;
        return {{"facts", facts}};
    }
};

const std::vector<LongText> long_texts{
    {"/device/esn", "facts.device.esn", 7955, 8, 1, {}, 5},
    {"/location/time", "facts.location.time", 7859, 7, 1, {}, 12},
    {"/stations/0/name", "facts.stations[0].name", 7822, 4, 1, {}, 10},
    {"/messages/0/text", "facts.messages[0].text", 7915, 6, 3, {number(5, 0)}, 7},
};

TEST_F(FactsTest, MayBeAsLongAsOneAnswerCarries) {
    for (const LongText& row : long_texts) {
        SCOPED_TRACE(row.name);
        const std::string text(row.longest, 'x');
        service.apply(scenario_from_json(row.scenario(text)));
        const Message answer = query(row.module, row.operation, row.arguments);
        EXPECT_EQ(answer.text(row.tag), text);
        EXPECT_EQ(encode(answer).size(), max_message_size);
    }
}

TEST(FactsScenario, RefusesATextThatOneAnswerDoesNotCarry) {
    for (const LongText& row : long_texts) {
        try {
            scenario_from_json(row.scenario(std::string(row.longest + 1, 'x')));
            ADD_FAILURE() << row.name << " was taken";
        } catch (const ScenarioError& error) {
            EXPECT_THAT(error.what(), StartsWith(fmt::format("{}: expected a text of at most {} bytes, got \"xxx",
                                                             row.name, row.longest)));
        }
    }
}

struct WrongFacts {
    const char* facts;
    const char* says;
};

TEST(FactsScenario, RefusesWrongFieldsAndSaysWhatWouldBeRight) {
    const std::vector<WrongFacts> all{
        {R"([])", "facts: expected an object, got []"},
        {R"({"gps": {}})", "facts.gps: no such field; there are device, location, stations, lte, connections, "
                           "messages, arp, users, voice"},
        {R"({"device": {"esn": 5}})", "facts.device.esn: expected a text, got 5"},
        {R"({"device": {"esn": "a\u0000b"}})", "facts.device.esn: expected a text of at most 7955 bytes, got "},
        {R"({"device": {"access_status": -1}})",
         "facts.device.access_status: expected a number from 0 to 4294967295, got -1"},
        {R"({"device": {"backup_result": 18446744073709551615}})",
         "facts.device.backup_result: expected a number from -2147483648 to 2147483647, got 18446744073709551615"},
        {R"({"device": {"backup_result": 1.5}})",
         "facts.device.backup_result: expected a number from -2147483648 to 2147483647, got 1.5"},
        {R"({"device": {"backup": ""}})",
         "facts.device.backup: no such field; there are esn, access_status, backup_result"},
        {R"({"location": {"latitude": 90.5}})", "facts.location.latitude: expected a number from -90 to 90, got 90.5"},
        {R"({"location": {"longitude": "east"}})",
         "facts.location.longitude: expected a number from -180 to 180, got \"east\""},
        {R"({"stations": {}})", "facts.stations: expected a list, got {}"},
        {R"({"stations": [{"ssid": "x"}]})", "facts.stations[0]: needs a field mac"},
        {R"({"stations": [{"mac": "00:00:5e"}]})",
         "facts.stations[0].mac: expected a hardware address like \"00:00:5e:00:53:01\", got \"00:00:5e\""},
        {R"({"lte": {"imei": "123456789012345678901234567890123"}})",
         "facts.lte.imei: expected a text of at most 32 bytes, got "},
        {R"({"connections": [{"interface": "g0/0/0"}]})",
         "facts.connections[0].interface: expected a cellular interface like \"Cellular0/0/0\", got \"g0/0/0\""},
        {R"({"connections": [{"interface": "c0/0/0"}, {"interface": "Cellular0/0/0"}]})",
         "facts.connections[1]: is there already"},
        {R"({"connections": [{"interface": "c0/0/0", "address": "10.0.0"}]})",
         "facts.connections[0].address: expected a dotted IP address, got \"10.0.0\""},
        {R"({"messages": [{"text": "hello"}]})", "facts.messages[0]: needs a field index"},
        {R"({"messages": [{"index": 1}, {"index": 1}]})", "facts.messages[1]: is there already"},
        {R"({"arp": [{"address": "10.0.0.1"}]})", "facts.arp[0]: needs a field mac"},
        {R"({"users": [5]})", "facts.users[0]: expected an object, got 5"},
        {R"({"voice": {"calls": [{"line": 1}]}})",
         "facts.voice.calls[0].line: no such field; there are port, direction, state, seconds, codec, account"},
        {R"({"voice": {"sip_accounts": [{"user": 1}]}})", "facts.voice.sip_accounts[0].user: expected a text, got 1"},
        {R"({"voice": {"cita_param": {"bytes": [1, 2, 3]}}})",
         "facts.voice.cita_param.bytes: expected a list of 4, got [1,2,3]"},
        {R"({"voice": {"cita_param": {"bytes": [1, 2, 3, 256]}}})",
         "facts.voice.cita_param.bytes[3]: expected a number from 0 to 255, got 256"},
    };
    for (const WrongFacts& wrong : all) {
        try {
            facts_from(wrong.facts);
            ADD_FAILURE() << "it was taken: " << wrong.facts;
        } catch (const ScenarioError& error) {
            EXPECT_THAT(error.what(), StartsWith(wrong.says));
        }
    }
}

TEST(FactsScenario, RefusesMoreThanOneAnswerCarries) {
    try {
        scenario_from_json({{"facts", {{"voice", {{"sip_accounts", nlohmann::json(108, nlohmann::json::object())}}}}}});
        FAIL() << "it was taken";
    } catch (const ScenarioError& error) {
        EXPECT_STREQ(error.what(), "facts.voice.sip_accounts: at most 107");
    }
}

} // namespace
} // namespace sim::test
