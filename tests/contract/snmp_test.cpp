// SNMP get and get-next: order of checks, requests, what becomes of every reply, and memory that runs out.
#include <memory>

#include "contract.h"
#include "resources.h"

namespace contract {
namespace {

constexpr const char* get_worker = "vela_snmp_get_imp";
constexpr const char* next_worker = "vela_snmp_get_next_imp";
constexpr const char* an_oid = "1.3.6.1.2.1.1.5";

// What an output holds that nobody has written to.
char nothing_written[] = "nothing written";

struct Freed {
    void operator()(char* text) const { vela_free(text); }
};
using Text = std::unique_ptr<char, Freed>;

std::string with_function(const char* function, const std::string& text) {
    return std::string(function) + " # " + text;
}

std::string high(std::size_t n) { return {static_cast<char>(n >> 8)}; }
std::string low(std::size_t n) { return {static_cast<char>(n & 0xff)}; }

// The bytes of a request that the client's name makes as long as it is:
//   01 version   0b operation request   send id   00 reserved   total length   00 07 session
//   01 script operation   00   body length
//   0: code   4: client name   5: OID
std::string golden(int send_id, std::string_view code_item, std::string_view oid_item) {
    const std::string name = integration::client_name(integration::granted_session) + '\0';
    const std::string items =
        bytes(code_item) + bytes("04 00 00 00") + low(name.size()) + bytes("00 00 00") + name + bytes(oid_item);
    const std::size_t body = 4 + items.size();
    const std::size_t total = 8 + body;
    return bytes("01 0b") + low(static_cast<std::size_t>(send_id)) + bytes("00") + high(total) + low(total) +
           bytes("00 07  01 00") + high(body) + low(body) + items;
}

// Each of the two calls, as far as they are alike.
struct Read {
    const char* name;
    const char* worker;
    std::int32_t reply_code;
    std::int32_t other_reply_code;
    std::vector<Item> result; // the items that hand something out
    std::int32_t (*ask)(const char* oid, char** value, char** next);
    const char* no_session;
    const char* no_oid;
    const char* too_long;
    const char* no_memory; // for the request
};
std::ostream& operator<<(std::ostream& out, const Read& read) { return out << read.name; }

const Read& snmp_get() {
    static const Read read{"Get",
                           get_worker,
                           22,
                           24,
                           {Item::text(6, "12345")},
                           [](const char* oid, char** value, char**) { return vela_snmp_get(oid, value); },
                           "please open session first",
                           "oid == NULL or length of oid = 0",
                           "tlv construct error",
                           "Memory use out"};
    return read;
}

const Read& snmp_get_next() {
    static const Read read{
        "GetNext",
        next_worker,
        24,
        22,
        {Item::text(8, "12345"), Item::text(7, "1.3.6.1.2.1.1.6")},
        [](const char* oid, char** value, char** next) { return vela_snmp_get_next(oid, next, value); },
        "session not open",
        "invalid oid",
        "tlv construct failed",
        "memory use out"};
    return read;
}

std::vector<Item> accepted(const Read& read) {
    auto items = integration::acknowledged(read.reply_code);
    items.insert(items.end(), read.result.begin(), read.result.end());
    return items;
}

std::string read_name(const testing::TestParamInfo<Read>& info) { return info.param.name; }

class SnmpTest : public ContractTest {
protected:
    // Asks and expects this to fail: nothing handed out, these records.
    void expect_failure(const Read& read, const char* oid, std::int32_t code, const std::vector<std::string>& said) {
        expect_failing(read, oid, code);
        expect_said(said);
    }
    void expect_failing(const Read& read, const char* oid, std::int32_t code) {
        char* value = nothing_written;
        char* next = nothing_written;
        EXPECT_EQ(read.ask(oid, &value, &next), code);
        EXPECT_EQ(value, nothing_written);
        EXPECT_EQ(next, nothing_written);
    }
    std::string said(const Read& read, const std::string& text) const { return with_function(read.worker, text); }
    static std::size_t longest_oid() {
        return 8012 - 12 - 12 - (8 + integration::client_name(integration::granted_session).size() + 1) - 8 - 1;
    }
};

class EverySnmpRead : public SnmpTest, public testing::WithParamInterface<Read> {};
INSTANTIATE_TEST_SUITE_P(Snmp, EverySnmpRead, testing::Values(snmp_get(), snmp_get_next()), read_name);

TEST_P(EverySnmpRead, NeedsASessionBeforeAnOid) {
    const Read& read = GetParam();
    for (const char* oid : {static_cast<const char*>(nullptr), "", an_oid})
        expect_failure(read, oid, 14, {said(read, read.no_session)});
    open_session();
    EXPECT_EQ(last_request().send_id, 1);
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    expect_failure(read, an_oid, 14, {said(read, read.no_session)});
    EXPECT_EQ(operations(), 0U);
}

TEST_P(EverySnmpRead, NeedsAnOid) {
    const Read& read = GetParam();
    open_session();
    for (const char* oid : {static_cast<const char*>(nullptr), ""})
        expect_failure(read, oid, 1, {said(read, read.no_oid)});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 2U) << "the refused calls used up no send id";
}

TEST_P(EverySnmpRead, SendsTheOidAsItStands) {
    const Read& read = GetParam();
    answer_all(accepted(read));
    open_session();
    unsigned id = 2;
    for (const std::string oid : {"1", ".1.3.6", "no oid at all %s", "\xff"}) {
        char* value = nullptr;
        char* next = nullptr;
        ASSERT_EQ(read.ask(oid.c_str(), &value, &next), VELA_OK);
        const Text owned[] = {Text(value), Text(next)};
        EXPECT_EQ(last_request().text(5), oid);
        EXPECT_EQ(last_request().items.size(), 3U);
        EXPECT_EQ(last_request().send_id, id++);
    }
    expect_silence();
}

TEST_P(EverySnmpRead, SendsOidsUpToTheFrameAndRefusesLongerOnes) {
    const Read& read = GetParam();
    answer_all(accepted(read));
    open_session();
    const std::string longest(longest_oid(), '1');
    char* value = nullptr;
    char* next = nullptr;
    ASSERT_EQ(read.ask(longest.c_str(), &value, &next), VELA_OK);
    const Text owned[] = {Text(value), Text(next)};
    EXPECT_EQ(last_request().text(5), longest);
    EXPECT_EQ(requests().back().bytes.size(), 8012U);
    expect_silence();

    for (const std::size_t length : {longest.size() + 1, std::size_t{8012}, std::size_t{65536}, std::size_t{1} << 21})
        expect_failure(read, std::string(length, '1').c_str(), 1, {said(read, read.too_long)});
    EXPECT_EQ(operations(), 1U);
    EXPECT_EQ(next_send_id(), 3U) << "the refused requests used up no send id";
}

TEST_P(EverySnmpRead, ReportsTheServicesTextAndNeverItsCode) {
    const Read& read = GetParam();
    open_session();
    for (const std::int32_t error : {3, 1, 2, 14, -1, INT32_MIN}) {
        auto items = integration::refused(read.reply_code, error, "no such 'object': 100%s %n");
        items.insert(items.end(), read.result.begin(), read.result.end());
        answer_all(items);
        expect_failure(read, an_oid, 1, {said(read, "no such 'object': 100%s %n")});
    }
}

TEST_P(EverySnmpRead, CutsTheServicesTextAt99Characters) {
    const Read& read = GetParam();
    open_session();
    for (const std::size_t length : {98U, 99U, 100U, 150U, 5000U}) {
        const std::string text = "<" + std::string(length - 2, '.') + ">";
        answer_all(integration::refused(read.reply_code, 3, text));
        expect_failure(read, an_oid, 1, {said(read, text.substr(0, 99))});
    }
}

TEST_P(EverySnmpRead, TakesAnotherCodesAnswerForNone) {
    const Read& read = GetParam();
    open_session();
    for (const std::int32_t code : {read.other_reply_code, read.reply_code - 1, 0, -1}) {
        auto items = accepted(read);
        items[0] = Item::integer(0, code);
        answer_all(items);
        expect_failure(read, an_oid, 1, {said(read, "ack cmd is error!")});
    }
    answer_all(integration::without(accepted(read), 0));
    expect_failure(read, an_oid, 1, {said(read, "ack cmd is error!")});
    answer_all(std::vector<Item>{});
    expect_failure(read, an_oid, 1, {said(read, "ack cmd is error!")});
}

TEST_P(EverySnmpRead, TakesAnAnswerWithoutReturnCodeForARefusal) {
    const Read& read = GetParam();
    open_session();
    auto items = integration::without(accepted(read), 1);
    items.push_back(Item::text(2, "no code"));
    answer_all(items);
    expect_failure(read, an_oid, 1, {said(read, "no code")});
}

TEST_P(EverySnmpRead, ReportsARefusalWithoutTextInOneRecord) {
    const Read& read = GetParam();
    open_session();
    for (const auto& text : {std::vector<Item>{}, {Item::raw(2, "")}, {Item::raw(2, "endless")}}) {
        std::vector<Item> items{Item::integer(0, read.reply_code), Item::integer(1, 3)};
        items.insert(items.end(), text.begin(), text.end());
        answer_all(items);
        expect_failing(read, an_oid, 1);
        expect_one_record_of(read.worker);
    }
}

TEST_P(EverySnmpRead, FailsWithoutAResultAndHandsNothingOut) {
    const Read& read = GetParam();
    open_session();
    for (const Item& item : read.result) {
        const auto rest = integration::without(accepted(read), item.tag);
        const auto length = static_cast<std::int32_t>(item.value.size());
        const std::vector<std::string> tails = {"",
                                                integration::element(item.tag, 0, ""),
                                                integration::element(item.tag, length - 1, "1234567890123456789012"),
                                                integration::element(item.tag, length + 1, item.value),
                                                integration::element(item.tag, INT32_MAX, item.value),
                                                integration::element(item.tag, -1, item.value),
                                                integration::element(item.tag, 6, "12345")};
        for (std::size_t i = 0; i < tails.size(); ++i) {
            SCOPED_TRACE("tag " + std::to_string(item.tag) + ", tail " + std::to_string(i));
            answer_all(rest, tails[i]);
            expect_failing(read, an_oid, 1);
            expect_one_record_of(read.worker);
        }
    }
}

TEST_P(EverySnmpRead, FailsWhenTheRequestCannotBeSent) {
    const Read& read = GetParam();
    open_session();
    refuse_next_send();
    expect_failure(
        read, an_oid, 1,
        {"SendData # socket send error", "SendRequest # send data failed", said(read, "SendRequest failed")});
    EXPECT_EQ(next_send_id(), 3U);
}

TEST_P(EverySnmpRead, FailsWhenTheReplysLengthIsImpossible) {
    const Read& read = GetParam();
    open_session();
    integration::Reply reply;
    reply.items = accepted(read);
    reply.total_length = impossible_length;
    answer_all(reply);
    expect_failure(read, an_oid, 1, {says_impossible_length, said(read, "SendRequest failed")});
}

TEST_P(EverySnmpRead, GivesUpAfterAMinuteWithoutAnAnswer) {
    const Read& read = GetParam();
    answer_none();
    open_session();
    expect_failure(read, an_oid, 1, {"SendRequest # wait time out", said(read, "SendRequest failed")});
    EXPECT_EQ(operations(), 1U);
}

// Outputs -----------------------------------------------------------------------------------------------------------

class Snmp : public SnmpTest {};

TEST_F(Snmp, GetSendsItsCodeTheClientsNameAndTheOid) {
    answer_all(accepted(snmp_get()));
    open_session();
    char* value = nullptr;
    ASSERT_EQ(vela_snmp_get("1.3.6.1", &value), VELA_OK);
    const Text owned(value);
    // 0: 21   4: client name   5: "1.3.6.1"
    EXPECT_EQ(sent(), sim::hex(golden(2, "00 00 00 00  04 00 00 00  15 00 00 00",
                                      "05 00 00 00  08 00 00 00  31 2e 33 2e 36 2e 31 00")));
    expect_silence();
}

TEST_F(Snmp, GetNextSendsItsCodeTheClientsNameAndTheOid) {
    answer_all(accepted(snmp_get_next()));
    open_session();
    char* value = nullptr;
    char* next = nullptr;
    ASSERT_EQ(vela_snmp_get_next("1.3.6.1", &next, &value), VELA_OK);
    const Text owned[] = {Text(value), Text(next)};
    // 0: 23   4: client name   5: "1.3.6.1"
    EXPECT_EQ(sent(), sim::hex(golden(2, "00 00 00 00  04 00 00 00  17 00 00 00",
                                      "05 00 00 00  08 00 00 00  31 2e 33 2e 36 2e 31 00")));
    expect_silence();
}

TEST_F(Snmp, GetChecksItsOutputFirst) {
    for (const char* oid : {static_cast<const char*>(nullptr), "", an_oid}) {
        EXPECT_EQ(vela_snmp_get(oid, nullptr), 2);
        expect_said({with_function(get_worker, "snmp_resp = NULL")});
    }
    open_session();
    EXPECT_EQ(vela_snmp_get(an_oid, nullptr), 2);
    expect_said({with_function(get_worker, "snmp_resp = NULL")});
    EXPECT_EQ(operations(), 0U);
}

TEST_F(Snmp, GetNextChecksItsOutputsFirst) {
    char* out = nothing_written;
    for (const char* oid : {static_cast<const char*>(nullptr), "", an_oid}) {
        EXPECT_EQ(vela_snmp_get_next(oid, nullptr, nullptr), 2);
        EXPECT_EQ(vela_snmp_get_next(oid, nullptr, &out), 2);
        EXPECT_EQ(vela_snmp_get_next(oid, &out, nullptr), 2);
        expect_said({with_function(next_worker, "next_oid = NULL"), with_function(next_worker, "next_oid = NULL"),
                     with_function(next_worker, "resp = NULL")});
    }
    open_session();
    EXPECT_EQ(vela_snmp_get_next(an_oid, nullptr, &out), 2);
    EXPECT_EQ(vela_snmp_get_next(an_oid, &out, nullptr), 2);
    expect_said({with_function(next_worker, "next_oid = NULL"), with_function(next_worker, "resp = NULL")});
    EXPECT_EQ(out, nothing_written);
    EXPECT_EQ(operations(), 0U);
}

TEST_F(Snmp, GetHandsOutTheValue) {
    open_session();
    for (const std::string& value :
         {std::string("12345"), std::string(), std::string(7900, 'v'), std::string("%s '\xff")}) {
        answer_all({Item::integer(0, 22), Item::integer(1, 0), Item::text(6, value)});
        char* out = nullptr;
        ASSERT_EQ(vela_snmp_get(an_oid, &out), VELA_OK);
        const Text owned(out);
        EXPECT_EQ(std::string(out), value);
    }
    expect_silence();
}

TEST_F(Snmp, GetNextHandsOutTheNextOidAndItsValue) {
    open_session();
    struct Row {
        std::string next, value;
    };
    for (const Row& row : {Row{"1.3.6.1.2", "up"}, Row{"", "no oid follows"}, Row{"1.3", ""},
                           Row{std::string(3900, '1'), std::string(3900, 'v')}}) {
        answer_all({Item::integer(0, 24), Item::integer(1, 0), Item::text(6, "not this"), Item::text(7, row.next),
                    Item::text(8, row.value)});
        char* next = nullptr;
        char* value = nullptr;
        ASSERT_EQ(vela_snmp_get_next(an_oid, &next, &value), VELA_OK);
        const Text owned[] = {Text(next), Text(value)};
        EXPECT_EQ(std::string(next), row.next);
        EXPECT_EQ(std::string(value), row.value);
        EXPECT_NE(next, value);
    }
    expect_silence();
}

TEST_F(Snmp, ValuesEndAtTheirFirstNul) {
    open_session();
    const std::string two_texts("abc\0def\0", 8);
    answer_all({Item::integer(0, 22), Item::integer(1, 0), Item::raw(6, two_texts)});
    char* value = nullptr;
    ASSERT_EQ(vela_snmp_get(an_oid, &value), VELA_OK);
    const Text first(value);
    EXPECT_STREQ(value, "abc");
    answer_all({Item::integer(0, 24), Item::integer(1, 0), Item::raw(7, two_texts), Item::raw(8, two_texts)});
    char* next = nullptr;
    ASSERT_EQ(vela_snmp_get_next(an_oid, &next, &value), VELA_OK);
    const Text second[] = {Text(next), Text(value)};
    EXPECT_STREQ(next, "abc");
    EXPECT_STREQ(value, "abc");
}

// Memory ------------------------------------------------------------------------------------------------------------

class SnmpMemory : public SnmpTest {
protected:
    void SetUp() override {
        if (!heap_can_be_watched())
            GTEST_SKIP() << "the sanitizer's heap cannot be replaced";
        open_session();
    }
    // The call fails for the want of a block of this size, and keeps none.
    void expect_no_block_of(std::size_t size, const Read& read, const std::string& text) {
        SCOPED_TRACE(size);
        expect_failing(read, "", 1); // what the C library keeps for later is kept from here on
        take_log();
        char* value = nothing_written;
        char* next = nothing_written;
        const Blocks before = blocks();
        refuse_block_of(size);
        const std::int32_t code = read.ask(an_oid, &value, &next);
        const bool refused = block_was_refused();
        const Blocks after = blocks();
        EXPECT_TRUE(refused);
        EXPECT_EQ(code, 1);
        EXPECT_EQ(value, nothing_written);
        EXPECT_EQ(next, nothing_written);
        EXPECT_EQ(after.taken - before.taken, after.given_back - before.given_back);
        expect_said({said(read, text)});
    }
};

class EverySnmpReadsMemory : public SnmpMemory, public testing::WithParamInterface<Read> {};
INSTANTIATE_TEST_SUITE_P(Snmp, EverySnmpReadsMemory, testing::Values(snmp_get(), snmp_get_next()), read_name);

TEST_P(EverySnmpReadsMemory, FailsWhenThereIsNoBufferForTheRequest) {
    const Read& read = GetParam();
    char* value = nothing_written;
    char* next = nothing_written;
    refuse_block(1);
    const std::int32_t code = read.ask(an_oid, &value, &next);
    ASSERT_TRUE(block_was_refused());
    EXPECT_EQ(code, 1);
    EXPECT_EQ(value, nothing_written);
    EXPECT_EQ(next, nothing_written);
    expect_said({"tlv_init # tlv_init tlv = NULL", said(read, read.no_memory)});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 2U);
}

// The third block, behind the handle and the buffer of the request, is the handle for reading the reply.
TEST_P(EverySnmpReadsMemory, FailsWhenThereIsNoMemoryToReadTheReply) {
    const Read& read = GetParam();
    answer_all(accepted(read));
    char* value = nothing_written;
    char* next = nothing_written;
    refuse_block(3);
    const std::int32_t code = read.ask(an_oid, &value, &next);
    ASSERT_TRUE(block_was_refused());
    EXPECT_EQ(code, 1);
    EXPECT_EQ(value, nothing_written);
    EXPECT_EQ(next, nothing_written);
    EXPECT_EQ(operations(), 1U);
    const auto records = take_log();
    ASSERT_EQ(records.size(), 2U) << testing::PrintToString(records);
    EXPECT_EQ(line_of(records[0]), "tlv_init # tlv_init tlv = NULL");
    EXPECT_EQ(records[1].function, read.worker);
}

TEST_P(EverySnmpReadsMemory, FailsWhenTheRequestCannotGrow) {
    const Read& read = GetParam();
    const std::string oid(1200, '1');
    answer_all(accepted(read));
    char* value = nullptr;
    char* next = nullptr;
    ASSERT_EQ(read.ask(oid.c_str(), &value, &next), VELA_OK);
    const Text owned[] = {Text(value), Text(next)};
    value = next = nothing_written;
    // The thousand bytes grow by the OID's 1201, rounded up to thousands.
    refuse_block_of(3000);
    const std::int32_t code = read.ask(oid.c_str(), &value, &next);
    ASSERT_TRUE(block_was_refused());
    EXPECT_EQ(code, 1);
    EXPECT_EQ(value, nothing_written);
    expect_said({said(read, read.too_long)});
    EXPECT_EQ(operations(), 1U);
}

TEST_F(SnmpMemory, GetTakesABlockOfTheItemsLengthAndSaysWhatHadNoRoom) {
    const std::string longer(776, 'v');
    const struct {
        Item value;
        std::size_t block;
        std::string text;
    } rows[] = {
        {Item::text(6, "12345"), 6, "12345"},
        {Item::text(6, longer), 777, longer},
        {Item::text(6, ""), 1, ""},
        {Item::raw(6, std::string("abc\0def\0", 8)), 8, "abc"},
    };
    for (const auto& row : rows) {
        answer_all({Item::integer(0, 22), Item::integer(1, 0), row.value});
        expect_no_block_of(row.block, snmp_get(), "   memeory use out. " + row.text);
    }
}

TEST_F(SnmpMemory, GetNextTakesABlockForEachTextAndHandsOutBothOrNone) {
    const Item long_oid = Item::text(7, std::string(332, '1'));
    const Item long_value = Item::text(8, std::string(554, 'v'));
    const struct {
        Item next, value;
        std::size_t block; // that is refused
    } rows[] = {
        {long_oid, long_value, 555},
        {long_oid, long_value, 333},
        {long_oid, Item::text(8, ""), 1},
        {Item::text(7, ""), long_value, 1},
        // The text's length counts, not the item's.
        {long_oid, Item::raw(8, std::string("abc\0def\0", 8)), 4},
        {Item::raw(7, std::string("abc\0def\0", 8)), long_value, 4},
    };
    for (const auto& row : rows) {
        answer_all({Item::integer(0, 24), Item::integer(1, 0), row.next, row.value});
        expect_no_block_of(row.block, snmp_get_next(), "memory use out");
    }
}

TEST_F(SnmpMemory, GetNextHandsOutNothingWhenNeitherTextHasRoom) {
    answer_all({Item::integer(0, 24), Item::integer(1, 0), Item::text(7, std::string(554, '1')),
                Item::text(8, std::string(554, 'v'))});
    expect_no_block_of(555, snmp_get_next(), "memory use out");
}

} // namespace
} // namespace contract
