// Each item of each query's reply by itself: missing, cut off, of another length, longer than its field.
#include <algorithm>
#include <functional>
#include <map>

#include "queries.h"

namespace contract {
namespace {

std::vector<Query> queries_that_fill() {
    auto filling = queries();
    std::erase_if(filling, [](const Query& query) { return query.fields.empty(); });
    return filling;
}

class QueryItems : public QueryTest {
protected:
    static Values with_value(const Query& query, std::int32_t tag, std::optional<std::string> value) {
        auto values = right_values(query);
        for (std::size_t i = 0; i < values.size(); ++i)
            if (query.fields[i].tag == tag)
                values[i] = value;
        return values;
    }

    // What a reply with the item replaced does: as if the value were so, however it is put on the wire.
    void expect_replaced(const Query& query, const Field& field, const std::optional<std::string>& value) {
        SCOPED_TRACE(field.name);
        const auto values = with_value(query, field.tag, value);
        answer_all(reply_to(query, values), {}, sim::device_query);
        expect_outcome(query, what_becomes_of(query, values));
    }
    // The item is the reply's last and claims a length of its own; it counts as missing.
    void expect_missing(const Query& query, const Field& field, std::int32_t claimed, std::string_view value) {
        SCOPED_TRACE(std::string(field.name) + " claims " + std::to_string(claimed));
        const auto values = with_value(query, field.tag, std::nullopt);
        answer_all(reply_to(query, values), integration::element(field.tag, claimed, value), sim::device_query);
        expect_outcome(query, what_becomes_of(query, values));
    }
    void for_each_field(const std::function<void(const Query&, const Field&)>& look) {
        open_session();
        for (const Field& field : GetParam().fields)
            if (field.style != Style::counted)
                look(GetParam(), field);
    }
};
INSTANTIATE_TEST_SUITE_P(Query, QueryItems, testing::ValuesIn(queries_that_fill()), query_name);

TEST_P(QueryItems, AreMissedAsTheirStyleSays) {
    for_each_field([&](const Query& query, const Field& field) { expect_replaced(query, field, std::nullopt); });
}

TEST_P(QueryItems, CountAsMissingWhenTheMessageEndsBeforeTheirLastByte) {
    for_each_field([&](const Query& query, const Field& field) {
        if (field.style == Style::six_bytes)
            return; // six bytes are taken whatever length is stated
        const auto length = static_cast<std::int32_t>(field.value.size());
        expect_missing(query, field, length, std::string_view(field.value).substr(0, field.value.size() - 1));
        expect_missing(query, field, length + 1, field.value);
        expect_missing(query, field, 8000, field.value);
        expect_missing(query, field, INT32_MAX, field.value);
    });
}

TEST_P(QueryItems, CountAsMissingWhenTheirLengthIsNegative) {
    for_each_field([&](const Query& query, const Field& field) {
        if (field.style == Style::six_bytes)
            return;
        for (const std::int32_t length : {-1, -8, -9, INT32_MIN})
            expect_missing(query, field, length, field.value);
    });
}

TEST_P(QueryItems, CountAsMissingWhenNotEvenTheirHeadIsWhole) {
    for_each_field([&](const Query& query, const Field& field) {
        SCOPED_TRACE(field.name);
        const auto values = with_value(query, field.tag, std::nullopt);
        const auto whole = integration::element(field.tag, 4, "");
        for (const std::size_t there : {1U, 4U, 7U}) {
            answer_all(reply_to(query, values), whole.substr(0, there), sim::device_query);
            expect_outcome(query, what_becomes_of(query, values));
        }
    });
}

TEST_P(QueryItems, AreNumbersWithFourBytesOnly) {
    for_each_field([&](const Query& query, const Field& field) {
        if (!field.is_number())
            return;
        for (const std::size_t length : {0U, 1U, 2U, 3U, 5U, 8U})
            expect_replaced(query, field, counting(0x31, length));
    });
}

TEST_P(QueryItems, AreTextsUpToTheirFirstNul) {
    for_each_field([&](const Query& query, const Field& field) {
        if (field.style != Style::text)
            return;
        expect_replaced(query, field, std::string("abc\0def\0", 8));
        expect_replaced(query, field, std::string("\0", 1));
        expect_replaced(query, field, "no end");
        expect_replaced(query, field, "");
    });
}

TEST_P(QueryItems, AreCopiedWithTheLengthTheyState) {
    for_each_field([&](const Query& query, const Field& field) {
        if (!field.is_copied() || field.style == Style::text)
            return;
        for (const std::size_t length : {0U, 1U, 2U, 3U})
            expect_replaced(query, field, counting(0x31, length));
    });
}

// No byte like the one before it or behind it.
std::string as_long_as(const Field& field, std::size_t length) {
    std::string value;
    for (std::size_t i = 0; i < length; ++i)
        value.push_back(static_cast<char>(1 + i % 251));
    if (field.style == Style::text)
        value.back() = '\0';
    return value;
}

// The queries whose last item is as wide as the service makes it, with the most that one reply can carry of it: 8,000
// bytes less 12 for the result code, 8 for the head of each item and 1 for the NUL of another text.
const std::map<std::string_view, std::size_t> longest_last_items = {
    {"vela_dev_get_esn", 8000 - 12 - 8},
    {"vela_gps_GetLocation", 8000 - 12 - 8 * 8},
    {"vela_wlan_GetStationInfo", 8000 - 12 - 6 * 8},
    {"vela_cellular_GetInfo", 8000 - 12 - 6 * 8},
    {"vela_get_sms_info", 8000 - 12 - 2 * 8 - 1},
};

std::vector<Query> queries_that_fill_a_record(bool as_wide_as_a_reply) {
    auto filling = queries_that_fill();
    std::erase_if(filling, [&](const Query& query) {
        return (longest_last_items.count(query.function) != 0) != as_wide_as_a_reply;
    });
    return filling;
}

// Nothing is written past the end of a record, whatever the reply says; inside it an item's length rules.
class QueryRecordEnd : public QueryItems {};
INSTANTIATE_TEST_SUITE_P(Query, QueryRecordEnd, testing::ValuesIn(queries_that_fill_a_record(false)), query_name);

TEST_P(QueryRecordEnd, IsReachedByAnItemThatFitsIt) {
    for_each_field([&](const Query& query, const Field& field) {
        if (field.is_copied())
            expect_replaced(query, field, as_long_as(field, query.size - field.offset));
    });
}

TEST_P(QueryRecordEnd, IsNeverPassed) {
    for_each_field([&](const Query& query, const Field& field) {
        if (!field.is_copied())
            return;
        for (const std::size_t too_much : {1U, 2U, 4U, 8U, 100U})
            expect_replaced(query, field, as_long_as(field, query.size - field.offset + too_much));
    });
}

// Records that no reply can fill to the end.
class QueryLongestItems : public QueryItems {
protected:
    // A reply with nothing in it but what the query needs, and this item as long as it leaves room for.
    struct FullReply {
        Values values;
        std::vector<Item> items;
        std::size_t longest = 0;
    };
    static FullReply with_longest(const Query& query, const Field& field) {
        FullReply full;
        full.items = {Item::integer(3, 0)};
        std::size_t room = 8000 - 12;
        for (const Field& other : query.fields) {
            const std::string least(other.style == Style::text ? 1 : 0, '\0');
            full.values.emplace_back(least);
            room -= 8 + (other.tag == field.tag ? 0 : least.size());
        }
        full.longest = room;
        for (std::size_t i = 0; i < query.fields.size(); ++i) {
            if (query.fields[i].tag == field.tag)
                full.values[i] = as_long_as(field, room);
            full.items.push_back(Item::raw(query.fields[i].tag, *full.values[i]));
        }
        return full;
    }
};
INSTANTIATE_TEST_SUITE_P(Query, QueryLongestItems, testing::ValuesIn(queries_that_fill_a_record(true)), query_name);

TEST_P(QueryLongestItems, AreTakenToTheirLastByte) {
    for_each_field([&](const Query& query, const Field& field) {
        SCOPED_TRACE(field.name);
        const FullReply full = with_longest(query, field);
        sim::Message message;
        message.type = sim::operation_reply;
        message.items = full.items;
        ASSERT_EQ(sim::encode(message).size(), 8012U);
        answer_all(full.items, {}, sim::device_query);
        const Outcome outcome = what_becomes_of(query, full.values);
        ASSERT_EQ(outcome.code, 0U);
        expect_outcome(query, outcome);
    });
}

TEST_P(QueryLongestItems, AreTheWidthOfTheLastField) {
    const Query& query = GetParam();
    const Field& last = query.fields.back();
    EXPECT_EQ(with_longest(query, last).longest, longest_last_items.at(query.function));
    // What stands behind the field is there for the record's alignment.
    const std::size_t behind = query.size - last.offset - longest_last_items.at(query.function);
    EXPECT_LT(behind, 8U);
}

TEST_P(QueryLongestItems, CannotBeOneByteLonger) {
    const Query& query = GetParam();
    const Field& last = query.fields.back();
    open_session();
    FullReply full = with_longest(query, last);
    const std::string value = *full.values.back();

    // The item claims the byte, and the message ends before it.
    full.values.back() = std::nullopt;
    full.items.pop_back();
    answer_all(full.items, integration::element(last.tag, static_cast<std::int32_t>(full.longest) + 1, value),
               sim::device_query);
    expect_outcome(query, what_becomes_of(query, full.values));

    // The message claims it too. It stays away all the same: alone it would be taken for a message of its own.
    integration::Reply reply;
    reply.items = full.items;
    reply.tail = integration::element(last.tag, static_cast<std::int32_t>(full.longest) + 1, value);
    reply.kind = sim::device_query;
    reply.total_length = 8013;
    answer_all(reply);
    expect_refusal(
        query, 1,
        {"ConvertRecvDataNtohs # invalid message length = 8013", std::string(query.worker) + " # SendRequest faided"});
}

TEST_P(QueryLongestItems, MayMeetASmallerRecordThatHoldsWhatTheServiceSends) {
    Query query = GetParam();
    query.size = query.fields.back().offset + query.fields.back().value.size();
    answer_all(reply_to(query), {}, sim::device_query);
    open_session();
    const Outcome outcome = what_becomes_of(query, right_values(query));
    ASSERT_EQ(outcome.code, 0U);
    expect_outcome(query, outcome);
}

TEST_F(QueryTest, ASerialNumberOf17BytesWritesExactly17Bytes) {
    Query esn = query("vela_dev_get_esn");
    esn.fields[0].value = std::string("2102350QEL000017") + '\0';
    ASSERT_EQ(esn.fields[0].value.size(), 17U);
    answer_all(reply_to(esn), {}, sim::device_query);
    open_session();
    expect_outcome(esn, what_becomes_of(esn, right_values(esn)));
}

TEST_F(QueryTest, ASerialNumberHasNoLimitAndNoNulOfItsOwn) {
    Query esn = query("vela_dev_get_esn");
    open_session();
    for (const std::size_t length : {1U, 128U, 1000U, 7956U}) { // the last beside the echoed numbers
        esn.size = length;
        esn.fields[0].value = times(length, 'n');
        answer_all(reply_to(esn), {}, sim::device_query);
        expect_outcome(esn, what_becomes_of(esn, right_values(esn)));
    }
}

TEST_F(QueryTest, TheLongestSerialNumberLeavesRoomForANul) {
    const std::string longest(7980, 'n');
    answer_all({Item::integer(3, 0), Item::raw(5, longest)}, {}, sim::device_query);
    open_session();
    char esn[VELA_ESN_SIZE] = "";
    ASSERT_EQ(vela_dev_get_esn(esn), VELA_OK);
    EXPECT_EQ(std::string(esn, VELA_ESN_SIZE), longest + '\0');
}

TEST_F(QueryTest, TheStationsTextBeginsRightBehindItsSeventeenBytes) {
    const Query& station = query("vela_wlan_GetStationInfo");
    answer_all(reply_to(station), {}, sim::device_query);
    open_session();
    WLAN_STATION_INFO_tag info{};
    ASSERT_EQ(vela_wlan_GetStationInfo(&info), VELA_OK);
    EXPECT_EQ(std::string(info.item9, 17), "00:11:22:33:44:55");
    EXPECT_EQ(std::string(info.item9 + 17), "a station's last words");
    EXPECT_STREQ(info.item10, "a station's last words");
}

} // namespace
} // namespace contract
