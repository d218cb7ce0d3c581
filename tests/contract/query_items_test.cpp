// Each item of each query's reply by itself: missing, cut off, of another length, longer than its field.
#include <algorithm>
#include <functional>

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

// Nothing is written past the end of a record, whatever the reply says; inside it an item's length rules.
class QueryRecordEnd : public QueryItems {
protected:
    static std::string as_long_as(const Field& field, std::size_t length) {
        auto value = times(length, 'e');
        if (field.style == Style::text)
            value.back() = '\0';
        return value;
    }
};

std::vector<Query> queries_that_fill_a_record() {
    auto filling = queries_that_fill();
    // How much the caller of this one has room for is not known.
    std::erase_if(filling, [](const Query& query) { return query.function == std::string_view("vela_dev_get_esn"); });
    return filling;
}
INSTANTIATE_TEST_SUITE_P(Query, QueryRecordEnd, testing::ValuesIn(queries_that_fill_a_record()), query_name);

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
    for (const std::size_t length : {1U, 128U, 1000U, 7956U}) {
        esn.size = length;
        esn.fields[0].value = times(length, 'n');
        answer_all(reply_to(esn), {}, sim::device_query);
        expect_outcome(esn, what_becomes_of(esn, right_values(esn)));
    }
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
