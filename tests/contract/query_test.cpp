// What all device queries have in common: order of checks, request, result codes, log records, send ids, memory.
#include <algorithm>

#include "queries.h"
#include "resources.h"

namespace contract {
namespace {

std::string session_not_open(const Query& query) { return std::string(query.worker) + " # session not open"; }
std::string not_answered(const Query& query) { return std::string(query.worker) + " # SendRequest faided"; }
std::string service_says(const Query& query, const std::string& text) {
    return std::string(query.worker) + " # " + text;
}

class EveryQuery : public QueryTest {};
INSTANTIATE_TEST_SUITE_P(Query, EveryQuery, testing::ValuesIn(queries()), query_name);

// Checks ------------------------------------------------------------------------------------------------------------

TEST_P(EveryQuery, ReportsANullRecordBeforeAMissingSessionOrNotAtAll) {
    const Query& query = GetParam();
    const auto null_record = [&]() -> Outcome {
        const std::string null_param = std::string(query.worker) + " #,null param";
        switch (query.null_record) {
        case NullRecord::refused:
            return {VELA_ERROR_PARAM, "", {null_param}};
        case NullRecord::refused_as_closed:
            return {VELA_ERROR_NO_SESSION, "", {null_param}};
        case NullRecord::refused_without_name:
            return {VELA_ERROR_PARAM, "", {"parameter is num"}};
        case NullRecord::refused_in_session:
        case NullRecord::never_refused:
            return {VELA_ERROR_NO_SESSION, "", {session_not_open(query)}};
        }
        throw std::logic_error("no such check");
    }();

    EXPECT_EQ(query.ask(nullptr), null_record.code) << "before vela_init";
    expect_said(null_record.said);
    init();
    EXPECT_EQ(query.ask(nullptr), null_record.code) << "before vela_session_open";
    expect_said(null_record.said);
    EXPECT_TRUE(requests().empty());
}

TEST_P(EveryQuery, ReportsANullRecordInASessionAsTheTableSays) {
    const Query& query = GetParam();
    answer_all(reply_to(query), {}, sim::device_query);
    open_session();
    const unsigned id_before = next_send_id();
    const std::uint32_t code = query.ask(nullptr);
    const bool asks = query.null_record == NullRecord::never_refused;
    EXPECT_EQ(operations(), asks ? 1U : 0U);
    switch (query.null_record) {
    case NullRecord::refused:
        EXPECT_EQ(code, 2U);
        expect_said({std::string(query.worker) + " #,null param"});
        break;
    case NullRecord::refused_as_closed:
        EXPECT_EQ(code, 14U);
        expect_said({std::string(query.worker) + " #,null param"});
        break;
    case NullRecord::refused_without_name:
        EXPECT_EQ(code, 2U);
        expect_said({"parameter is num"});
        break;
    case NullRecord::refused_in_session:
        EXPECT_EQ(code, 4U);
        expect_silence();
        break;
    case NullRecord::never_refused:
        break; // asked all the same; what is made of the answer is nobody's promise
    }
    take_log();
    EXPECT_EQ(next_send_id(), id_before + (asks ? 2 : 1)) << "a refused call uses up no send id";
}

TEST_P(EveryQuery, NeedsASessionAndNotTheLibraryStarted) {
    const Query& query = GetParam();
    expect_refusal(query, 14, {session_not_open(query)});
    open_session();
    EXPECT_EQ(requests().size(), 1U);
    EXPECT_EQ(last_request().send_id, 1) << "the refused call used up no send id";
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    expect_refusal(query, 14, {session_not_open(query)});
    EXPECT_EQ(operations(), 0U);
}

TEST_P(EveryQuery, IsRefusedOnceTheServiceHasHungUp) {
    const Query& query = GetParam();
    open_session();
    hang_up();
    expect_refusal(query, 14, {session_not_open(query)});
    EXPECT_EQ(operations(), 0U);
}

// Request and reply -------------------------------------------------------------------------------------------------

TEST_P(EveryQuery, SendsExactlyTheseBytes) {
    const Query& query = GetParam();
    answer_all(reply_to(query), {}, sim::device_query);
    open_session();
    GuardedRecord record(query);
    EXPECT_EQ(query.ask(record.get()), VELA_OK);
    EXPECT_EQ(sent(), sim::hex(bytes(query.request)));
    EXPECT_EQ(operations(), 1U);
    expect_silence();
}

TEST_P(EveryQuery, FillsItsFieldsAndNothingElse) {
    const Query& query = GetParam();
    answer_all(reply_to(query), {}, sim::device_query);
    open_session();
    expect_outcome(query, what_becomes_of(query, right_values(query)));
}

TEST_P(EveryQuery, UsesUpOneSendIdForEachRequest) {
    const Query& query = GetParam();
    answer_all(reply_to(query), {}, sim::device_query);
    open_session();
    for (unsigned id = 2; id <= 300; ++id) {
        GuardedRecord record(query);
        ASSERT_EQ(query.ask(record.get()), VELA_OK);
        ASSERT_EQ(last_request().send_id, id % 256);
    }
}

TEST_P(EveryQuery, TakesTheFirstOfItemsWithOneTag) {
    const Query& query = GetParam();
    auto items = reply_to(query);
    const auto first = items;
    for (Item item : first) {
        std::transform(item.value.begin(), item.value.end(), item.value.begin(), [](char c) { return ~c; });
        items.push_back(item);
    }
    answer_all(items, {}, sim::device_query);
    open_session();
    expect_outcome(query, what_becomes_of(query, right_values(query)));
}

TEST_P(EveryQuery, FindsItsItemsInAnyOrderAndAmongOthers) {
    const Query& query = GetParam();
    auto items = reply_to(query);
    items.push_back(Item::text(4, "a text that nobody asked for"));
    items.push_back(Item::raw(-1, ""));
    items.push_back(Item::raw(1000, counting(0, 100)));
    std::reverse(items.begin(), items.end());
    answer_all(items, {}, sim::device_query);
    open_session();
    expect_outcome(query, what_becomes_of(query, right_values(query)));
}

TEST_P(EveryQuery, DoesNotCompareTheEchoedNumbers) {
    const Query& query = GetParam();
    auto items = reply_to(query);
    items[0] = Item::integer(1, 77);
    items[1] = Item::text(2, "no number");
    answer_all(items, {}, sim::device_query);
    open_session();
    expect_outcome(query, what_becomes_of(query, right_values(query)));
    items.erase(items.begin(), items.begin() + 2);
    answer_all(items, {}, sim::device_query);
    expect_outcome(query, what_becomes_of(query, right_values(query)));
}

// Errors ------------------------------------------------------------------------------------------------------------

TEST_P(EveryQuery, PassesTheServicesErrorThroughWithItsText) {
    const Query& query = GetParam();
    open_session();
    for (const std::int32_t error : {5, 1, 14, 255, 256, 0x01020304, -2, INT32_MIN}) {
        // The items that would be right do not make it right.
        auto items = reply_to(query);
        items[2] = Item::integer(3, error);
        items.push_back(Item::text(4, "no such 'thing': 100%s %n"));
        answer_all(items, {}, sim::device_query);
        expect_refusal(query, static_cast<std::uint32_t>(error), {service_says(query, "no such 'thing': 100%s %n")});
    }
}

TEST_P(EveryQuery, ReportsAReplyWithoutResultCodeAsAllOnes) {
    const Query& query = GetParam();
    open_session();
    auto items = reply_to(query);
    items.erase(items.begin() + 2);
    items.push_back(Item::text(4, "said without a code"));
    for (const char* code : {"", "zero", "00 00", "00 00 00 00 00"}) {
        auto with_code = items;
        if (code[0] == '0')
            with_code.push_back(Item::raw(3, bytes(code)));
        answer_all(with_code, {}, sim::device_query);
        SCOPED_TRACE(code);
        expect_refusal(query, 0xffffffff, {service_says(query, "said without a code")});
    }
}

TEST_P(EveryQuery, ReportsAnErrorWithoutTextInOneRecord) {
    const Query& query = GetParam();
    open_session();
    const auto no_text = std::string(8012 - 12 - 3 * 12 - 8, 'x');
    const std::vector<std::vector<Item>> endings = {
        {}, {Item::raw(4, "")}, {Item::raw(4, "abc")}, {Item::raw(4, no_text)}};
    for (const auto& ending : endings) {
        auto items = reply_head(query, 5);
        items.insert(items.end(), ending.begin(), ending.end());
        answer_all(items, {}, sim::device_query);
        GuardedRecord record(query);
        EXPECT_EQ(query.ask(record.get()), 5U);
        EXPECT_EQ(sim::hex(record.all()), sim::hex(GuardedRecord(query).all()));
        expect_one_record_of(query.worker);
    }
}

TEST_P(EveryQuery, ReportsAReplyWithoutItemsAsAllOnes) {
    const Query& query = GetParam();
    open_session();
    // A reply of a session's kind has no body prefix: 8 bytes in all, fewer than the prefix takes.
    for (const std::uint8_t type : {sim::operation_reply, sim::session_reply}) {
        integration::Reply reply;
        reply.type = type;
        reply.kind = sim::device_query;
        answer_all(reply);
        GuardedRecord record(query);
        EXPECT_EQ(query.ask(record.get()), 0xffffffffU) << int{type};
        EXPECT_EQ(sim::hex(record.all()), sim::hex(GuardedRecord(query).all()));
        expect_one_record_of(query.worker);
    }
}

TEST_P(EveryQuery, FailsWhenTheRequestCannotBeSent) {
    const Query& query = GetParam();
    open_session();
    refuse_next_send();
    expect_refusal(query, 1, {"SendData # socket send error", "SendRequest # send data failed", not_answered(query)});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 3U) << "the request that was not sent used up its id";
}

TEST_P(EveryQuery, FailsWhenTheReplysLengthIsImpossible) {
    const Query& query = GetParam();
    open_session();
    integration::Reply reply;
    reply.items = reply_to(query);
    reply.kind = sim::device_query;
    for (const std::uint16_t length : {std::uint16_t{7}, std::uint16_t{8013}, impossible_length}) {
        reply.total_length = length;
        answer_all(reply);
        expect_refusal(
            query, 1,
            {"ConvertRecvDataNtohs # invalid message length = " + std::to_string(length), not_answered(query)});
    }
}

TEST_P(EveryQuery, WorksAgainAfterEachFailure) {
    const Query& query = GetParam();
    open_session();
    answer_all({Item::integer(3, 5), Item::text(4, "not now")}, {}, sim::device_query);
    expect_refusal(query, 5, {service_says(query, "not now")});
    answer_all(reply_to(query), {}, sim::device_query);
    expect_outcome(query, what_becomes_of(query, right_values(query)));
}

// One stands for all: they share the wait.
TEST_F(QueryTest, GivesUpAfterAMinuteWithoutAnAnswer) {
    const Query& query = contract::query("vela_dev_get_esn");
    answer_none();
    open_session();
    using Clock = std::chrono::system_clock; // the library waits by it too
    const auto start = Clock::now();
    expect_refusal(query, 1, {"SendRequest # wait time out", not_answered(query)});
    const auto waited = Clock::now() - start;
    EXPECT_GE(waited, integration::request_limit - std::chrono::seconds(1));
    EXPECT_LE(waited, 2 * integration::request_limit);
    EXPECT_EQ(operations(), 1U) << "nothing is tried again";
}

// Memory ------------------------------------------------------------------------------------------------------------

class QueryMemory : public QueryTest {
protected:
    void SetUp() override {
        if (!heap_can_be_watched())
            GTEST_SKIP() << "the sanitizer's heap cannot be replaced";
    }
};
INSTANTIATE_TEST_SUITE_P(Query, QueryMemory, testing::ValuesIn(queries()), query_name);

TEST_P(QueryMemory, LeavesNothingAllocatedHoweverItEnds) {
    const Query& query = GetParam();
    open_session();
    const std::vector<std::vector<Item>> replies = {reply_to(query), reply_head(query), reply_head(query, 5), {}};
    for (const auto& reply : replies) {
        answer_all(reply, {}, sim::device_query);
        GuardedRecord record(query);
        query.ask(record.get()); // what the C library keeps for later is kept from here on
        const Blocks before = blocks();
        query.ask(record.get());
        const Blocks after = blocks();
        EXPECT_EQ(after.taken - before.taken, after.given_back - before.given_back);
        take_log();
    }
}

// The first block that a query asks for is the handle of the buffer it builds its request in.
TEST_P(QueryMemory, EndsWith15WhenThereIsNoBufferForTheRequest) {
    const Query& query = GetParam();
    open_session();
    GuardedRecord record(query);
    refuse_block(1);
    const std::uint32_t code = query.ask(record.get());
    ASSERT_TRUE(block_was_refused());
    EXPECT_EQ(code, 15U);
    EXPECT_EQ(sim::hex(record.all()), sim::hex(GuardedRecord(query).all()));
    expect_said({"tlv_init # tlv_init tlv = NULL", std::string(query.worker) + " # tlv_init(0, 0, 1) failed"});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 3U) << "the id was taken before";
}

// The third block, behind the handle and the buffer of the request, is the handle for reading the reply.
TEST_P(QueryMemory, WritesNothingWhenThereIsNoMemoryToReadTheReply) {
    const Query& query = GetParam();
    answer_all(reply_to(query), {}, sim::device_query);
    open_session();
    GuardedRecord first(query);
    ASSERT_EQ(query.ask(first.get()), VELA_OK); // what the C library keeps for later is kept from here on
    GuardedRecord record(query);
    const Blocks before = blocks();
    refuse_block(3);
    const std::uint32_t code = query.ask(record.get());
    ASSERT_TRUE(block_was_refused());
    const Blocks after = blocks();
    EXPECT_NE(code, VELA_OK);
    EXPECT_EQ(sim::hex(record.all()), sim::hex(GuardedRecord(query).all()));
    EXPECT_EQ(after.taken - before.taken, after.given_back - before.given_back);
    const auto said = take_log();
    ASSERT_EQ(said.size(), 2U) << testing::PrintToString(said);
    EXPECT_EQ(line_of(said[0]), "tlv_init # tlv_init tlv = NULL");
    EXPECT_EQ(said[1].function, query.worker);
}

using QueryMemoryDeathTest = QueryMemory;
INSTANTIATE_TEST_SUITE_P(Query, QueryMemoryDeathTest, testing::Values(query("vela_dev_get_esn")), query_name);

TEST_P(QueryMemoryDeathTest, TheProcessStopsWhenTheRequestsFirstThousandBytesAreRefused) {
    open_session();
    GuardedRecord record(GetParam());
    const auto ask_without_room = [&] {
        refuse_block(2);
        GetParam().ask(record.get());
    };
    EXPECT_DEATH(ask_without_room(), "tlv/ops_tlv:79: TLV_S\\* tlv_init\\(char\\*, int, int\\).*tlv->buff");
}

} // namespace
} // namespace contract
