// The five subscription requests: their bytes, and which criteria are refused before anything is sent. What becomes of
// a request that fails later is the same for all requests of the events, and tested with them.
#include "api/subscriptions.h"

#include <algorithm>
#include <cerrno>
#include <gmock/gmock.h>
#include <iterator>
#include <string>
#include <vector>

#include "support/calls.h"
#include "support/records.h"
#include "unit/api/event_peer.h"

namespace {

using ::testing::SizeIs;
using namespace test;

class Subscription : public OpenSession {
protected:
    void ExpectSent(std::string_view golden) {
        ASSERT_THAT(peer.Requests(), SizeIs(1));
        EXPECT_EQ(peer.Requests()[0], Hex(golden));
        ExpectLines({});
    }
};

// Bytes --------------------------------------------------------------------------------------------------------------

TEST_F(Subscription, ToTheLogNamesTheTagTheTextsAndTheLevel) {
    EXPECT_EQ(ops_iclog_subscribe("t1", "abc", "alias", "loginfo", 4), 0U);
    // header  version 1, type 11, send id 5, reserved 0, total length 119, session 7
    // body    kind 1 (script operation), a byte 0, body length 111
    // 0: 35 subscribe to the log   4: client name   3: "t1"   5: "abc"   6: "alias"   7: "loginfo"   8: 4
    ExpectSent("01 0b 05 00  00 77 00 07  01 00 00 6f"
               "00 00 00 00  04 00 00 00  23 00 00 00"
               "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
               "03 00 00 00  03 00 00 00  't1' 00"
               "05 00 00 00  04 00 00 00  'abc' 00"
               "06 00 00 00  06 00 00 00  'alias' 00"
               "07 00 00 00  08 00 00 00  'loginfo' 00"
               "08 00 00 00  04 00 00 00  04 00 00 00");
}

TEST_F(Subscription, ToInterfaceStatesNamesItsKindAsAText) {
    EXPECT_EQ(ops_ifm_ifstate_subscribe("t1", 2, "eth0", -1), 0U);
    // header  version 1, type 11, send id 5, reserved 0, total length 118, session 7
    // body    kind 1 (script operation), a byte 0, body length 110
    // 0: 47 subscribe to interface states   4: client name   3: "t1"   8: "ifstate"   5: 2   6: "eth0"   7: -1
    ExpectSent("01 0b 05 00  00 76 00 07  01 00 00 6e"
               "00 00 00 00  04 00 00 00  2f 00 00 00"
               "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
               "03 00 00 00  03 00 00 00  't1' 00"
               "08 00 00 00  08 00 00 00  'ifstate' 00"
               "05 00 00 00  04 00 00 00  02 00 00 00"
               "06 00 00 00  05 00 00 00  'eth0' 00"
               "07 00 00 00  04 00 00 00  ff ff ff ff");
}

TEST_F(Subscription, ToRoutesLeavesOutTheNumbersThatAreNotGiven) {
    EXPECT_EQ(ops_route_subscribe("t1", "10.1.0.0", 24, 33, 33, 33, "ab", "cd"), 0U);
    // header  version 1, type 11, send id 5, reserved 0, total length 116, session 7
    // body    kind 1 (script operation), a byte 0, body length 108
    // 0: 33 subscribe to routes   4: client name   3: "t1"   5: "10.1.0.0"   6: 24   10: "ab"   11: "cd"
    ExpectSent("01 0b 05 00  00 74 00 07  01 00 00 6c"
               "00 00 00 00  04 00 00 00  21 00 00 00"
               "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
               "03 00 00 00  03 00 00 00  't1' 00"
               "05 00 00 00  09 00 00 00  '10.1.0.0' 00"
               "06 00 00 00  04 00 00 00  18 00 00 00"
               "0a 00 00 00  03 00 00 00  'ab' 00"
               "0b 00 00 00  03 00 00 00  'cd' 00");
}

TEST_F(Subscription, ToRoutesSendsTheNumbersThatAreGiven) {
    EXPECT_EQ(ops_route_subscribe("t1", "10.1.0.0", 24, 1, 32, 0xffffffff, "ab", "cd"), 0U);
    // header  version 1, type 11, send id 5, reserved 0, total length 152, session 7
    // body    kind 1 (script operation), a byte 0, body length 144
    // 0: 33 subscribe to routes   4: client name   3: "t1"   5: "10.1.0.0"   6: 24   7: 1   8: 32   9: 4294967295
    // 10: "ab"   11: "cd"
    ExpectSent("01 0b 05 00  00 98 00 07  01 00 00 90"
               "00 00 00 00  04 00 00 00  21 00 00 00"
               "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
               "03 00 00 00  03 00 00 00  't1' 00"
               "05 00 00 00  09 00 00 00  '10.1.0.0' 00"
               "06 00 00 00  04 00 00 00  18 00 00 00"
               "07 00 00 00  04 00 00 00  01 00 00 00"
               "08 00 00 00  04 00 00 00  20 00 00 00"
               "09 00 00 00  04 00 00 00  ff ff ff ff"
               "0a 00 00 00  03 00 00 00  'ab' 00"
               "0b 00 00 00  03 00 00 00  'cd' 00");
}

TEST_F(Subscription, ToRoutesLeavesOutEachNumberByItself) {
    constexpr std::uint32_t given[][3] = {{0, 33, 33}, {33, 0, 33}, {33, 33, 0}, {0, 0, 33}, {33, 34, 32}};
    for (const auto& numbers : given) {
        EXPECT_EQ(ops_route_subscribe("t1", "", 33, numbers[0], numbers[1], numbers[2], "", ""), 0U);
        const Decoded request = Decode(peer.TakeRequests().back());
        for (int i = 0; i < 3; ++i) {
            const Element* const number = request.Find(7 + i);
            ASSERT_EQ(number != nullptr, numbers[i] != 33) << i;
            if (number != nullptr) {
                EXPECT_EQ(number->Int(), static_cast<std::int32_t>(numbers[i]));
            }
        }
        ASSERT_NE(request.Find(6), nullptr) << "the number itself is always sent";
        EXPECT_EQ(request.Find(6)->Int(), 33);
    }
}

TEST_F(Subscription, ToNqaNamesItsFiveTextsAndItsNumber) {
    EXPECT_EQ(ops_nqa_subscribe("t1", "a2", "a3", "a4", "a5", "a6", 0x80000001), 0U);
    // header  version 1, type 11, send id 5, reserved 0, total length 132, session 7
    // body    kind 1 (script operation), a byte 0, body length 124
    // 0: 49 subscribe to NQA   4: client name   3: "t1"   5: "a2"   6: "a3"   7: "a4"   8: "a5"   9: "a6"
    // 10: 2147483649
    ExpectSent("01 0b 05 00  00 84 00 07  01 00 00 7c"
               "00 00 00 00  04 00 00 00  31 00 00 00"
               "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
               "03 00 00 00  03 00 00 00  't1' 00"
               "05 00 00 00  03 00 00 00  'a2' 00"
               "06 00 00 00  03 00 00 00  'a3' 00"
               "07 00 00 00  03 00 00 00  'a4' 00"
               "08 00 00 00  03 00 00 00  'a5' 00"
               "09 00 00 00  03 00 00 00  'a6' 00"
               "0a 00 00 00  04 00 00 00  01 00 00 80");
}

TEST_F(Subscription, ToTrapsNamesItsFourTextsAndItsNumber) {
    EXPECT_EQ(ops_trap_subscribe("t1", "b2", "b3", "b4", "b5", 7), 0U);
    // header  version 1, type 11, send id 5, reserved 0, total length 121, session 7
    // body    kind 1 (script operation), a byte 0, body length 113
    // 0: 37 subscribe to traps   4: client name   3: "t1"   5: "b2"   6: "b3"   7: "b4"   8: "b5"   9: 7
    ExpectSent("01 0b 05 00  00 79 00 07  01 00 00 71"
               "00 00 00 00  04 00 00 00  25 00 00 00"
               "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
               "03 00 00 00  03 00 00 00  't1' 00"
               "05 00 00 00  03 00 00 00  'b2' 00"
               "06 00 00 00  03 00 00 00  'b3' 00"
               "07 00 00 00  03 00 00 00  'b4' 00"
               "08 00 00 00  03 00 00 00  'b5' 00"
               "09 00 00 00  04 00 00 00  07 00 00 00");
}

TEST_F(Subscription, WithEmptyTextsSendsThem) {
    EXPECT_EQ(ops_ifm_ifstate_subscribe("t1", 0, "", 0), 0U);
    EXPECT_EQ(ops_nqa_subscribe("t1", "", "", "", "", "", 0), 0U);
    ASSERT_THAT(peer.Requests(), SizeIs(2));
    EXPECT_EQ(Decode(peer.Requests()[0]).Find(6)->value, Bytes{0});
    for (const std::int32_t tag : {5, 6, 7, 8, 9})
        EXPECT_EQ(Decode(peer.Requests()[1]).Find(tag)->value, Bytes{0});
}

// Criteria of the log ------------------------------------------------------------------------------------------------

constexpr const char* kNone = "No parameter, at least one parameter should be input";
constexpr const char* kLoginfo = "Input loginfo is too short, you should input more information to match";
constexpr const char* kAlias = "Input infoAlias is too short, you should input more information to match";
constexpr const char* kNoRecord = nullptr;

struct LogRow {
    const char* name;
    const char* first;
    const char* infoAlias;
    const char* loginfo;
    std::uint32_t level;
    bool sent;
    const char* record = kNoRecord;
};
std::ostream& operator<<(std::ostream& out, const LogRow& row) { return out << row.name; }

class LogCriteria : public OpenSession, public ::testing::WithParamInterface<LogRow> {
protected:
    const LogRow& row = GetParam();
    std::uint32_t Subscribe() { return ops_iclog_subscribe("t", row.first, row.infoAlias, row.loginfo, row.level); }
    Lines Recorded() {
        if (row.record == nullptr)
            return {};
        return {Says(kError, "ops_iclog_subscribe", row.record)};
    }
};

TEST_P(LogCriteria, AreSentOrRefused) {
    EXPECT_EQ(Subscribe(), row.sent ? 0U : 1U);
    ExpectLines(Recorded());
    EXPECT_THAT(peer.Requests(), SizeIs(row.sent ? 1 : 0));
    EXPECT_EQ(static_cast<unsigned>(g_sendId), kNextId + (row.sent ? 1 : 0));
}

class RefusedLogCriteria : public LogCriteria {};

TEST_P(RefusedLogCriteria, AreLookedAtAfterTheNameAndBeforeTheElements) {
    {
        const Fail fail(Call::Allocate, ENOMEM, 1, row.record == nullptr ? Fail::kForEver : 1);
        EXPECT_EQ(Subscribe(), 1U);
        // The record's own buffer is the only allocation that a refusal makes.
        EXPECT_EQ(fail.Failures(), row.record == nullptr ? 0 : 1);
    }
    TakeRecords();
    py_file = nullptr;
    EXPECT_EQ(Subscribe(), 1U);
    ExpectLines({Says(kError, "ops_iclog_subscribe", "py_file == NULL")});
    g_bSessionIsOpen = 0;
    EXPECT_EQ(Subscribe(), 14U);
    ExpectLines({Says(kError, "ops_iclog_subscribe", "session not open")});
}

const std::vector<LogRow> kLogRows{LogRow{"Nothing", "", "", "", 8, false, kNone},
                                   LogRow{"LoginfoOf1", "", "", "1", 8, false, kLoginfo},
                                   LogRow{"LoginfoOf9", "", "", "123456789", 8, false, kLoginfo},
                                   LogRow{"LoginfoOf10", "", "", "1234567890", 8, true},
                                   LogRow{"FirstOf1", "1", "", "", 8, false},
                                   LogRow{"FirstOf3", "123", "", "", 8, false},
                                   LogRow{"FirstOf4", "1234", "", "", 8, true},
                                   LogRow{"AliasOf1", "", "1", "", 8, false, kAlias},
                                   LogRow{"AliasOf3", "", "123", "", 8, false, kAlias},
                                   LogRow{"AliasOf4", "", "1234", "", 8, true},
                                   LogRow{"FirstAndAlias", "1", "1", "", 8, true},
                                   LogRow{"FirstAndLoginfo", "1", "", "1", 8, true},
                                   LogRow{"AliasAndLoginfo", "", "1", "1", 8, true},
                                   LogRow{"AllOf1", "1", "1", "1", 8, true},
                                   LogRow{"NothingAtLevel7", "", "", "", 7, true},
                                   LogRow{"NothingAtLevel9", "", "", "", 9, true},
                                   LogRow{"NothingAtLevel0", "", "", "", 0, true},
                                   LogRow{"NothingAtTheLastLevel", "", "", "", 0xffffffff, true},
                                   LogRow{"ShortLoginfoAtLevel7", "", "", "1", 7, true},
                                   LogRow{"ShortFirstAtLevel7", "1", "", "", 7, true},
                                   LogRow{"ShortAliasAtLevel7", "", "1", "", 7, true}};

std::vector<LogRow> RefusedLogRows() {
    std::vector<LogRow> rows;
    std::copy_if(kLogRows.begin(), kLogRows.end(), std::back_inserter(rows),
                 [](const LogRow& row) { return !row.sent; });
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Rows, LogCriteria, ::testing::ValuesIn(kLogRows), kRowName);
INSTANTIATE_TEST_SUITE_P(Rows, RefusedLogCriteria, ::testing::ValuesIn(RefusedLogRows()), kRowName);

// Criteria of traps --------------------------------------------------------------------------------------------------

struct TrapRow {
    const char* name;
    const char* t2;
    const char* t3;
    const char* t4;
    const char* t5;
    std::uint32_t number;
    bool sent;
};
std::ostream& operator<<(std::ostream& out, const TrapRow& row) { return out << row.name; }

class TrapCriteria : public OpenSession, public ::testing::WithParamInterface<TrapRow> {};

TEST_P(TrapCriteria, AreSentOrRefusedInSilence) {
    const TrapRow& row = GetParam();
    EXPECT_EQ(ops_trap_subscribe("t", row.t2, row.t3, row.t4, row.t5, row.number), row.sent ? 0U : 1U);
    ExpectLines({});
    EXPECT_THAT(peer.Requests(), SizeIs(row.sent ? 1 : 0));
    EXPECT_EQ(static_cast<unsigned>(g_sendId), kNextId + (row.sent ? 1 : 0));
}

constexpr const char* k9 = "123456789";
constexpr const char* k10 = "1234567890";
constexpr const char* k19 = "1234567890123456789";
constexpr const char* k20 = "12345678901234567890";

INSTANTIATE_TEST_SUITE_P(
    Rows, TrapCriteria,
    ::testing::Values(
        TrapRow{"Nothing", "", "", "", "", 8, false}, TrapRow{"NothingWithNumber7", "", "", "", "", 7, true},
        TrapRow{"NothingWithNumber0", "", "", "", "", 0, true},
        // Only the fourth text.
        TrapRow{"FourthOf1", "", "", "1", "", 8, false}, TrapRow{"FourthOf9", "", "", k9, "", 8, false},
        TrapRow{"FourthOf10", "", "", k10, "", 8, true}, TrapRow{"FourthOf9WithNumber9", "", "", k9, "", 9, true},
        TrapRow{"FourthOf1AndSecond", "1", "", "1", "", 8, true},
        TrapRow{"FourthOf1AndThird", "", "1", "1", "", 8, true},
        TrapRow{"FourthOf1AndFifth", "", "", "1", "1", 8, true},
        // No fourth text, and the second and third short.
        TrapRow{"FifthOf1", "", "", "", "1", 8, false}, TrapRow{"FifthOf19", "", "", "", k19, 8, false},
        TrapRow{"FifthOf20", "", "", "", k20, 8, true}, TrapRow{"FifthOf19WithNumber7", "", "", "", k19, 7, true},
        TrapRow{"SecondAndThirdOf2", "12", "12", "", "", 8, false},
        TrapRow{"SecondAndThirdOf2FifthOf19", "12", "12", "", k19, 8, false},
        TrapRow{"SecondAndThirdOf2FifthOf20", "12", "12", "", k20, 8, true},
        TrapRow{"SecondOf3ThirdOf2", "123", "12", "", "", 8, true},
        TrapRow{"SecondOf2ThirdOf3", "12", "123", "", "", 8, true},
        TrapRow{"SecondOf3FifthOf1", "123", "", "", "1", 8, true},
        TrapRow{"ThirdOf3FifthOf1", "", "123", "", "1", 8, true},
        // Only the second, only the third.
        TrapRow{"SecondOf2", "12", "", "", "", 8, false}, TrapRow{"SecondOf3", "123", "", "", "", 8, false},
        TrapRow{"SecondOf4", "1234", "", "", "", 8, true}, TrapRow{"SecondOf3WithNumber7", "123", "", "", "", 7, true},
        TrapRow{"ThirdOf2", "", "12", "", "", 8, false}, TrapRow{"ThirdOf3", "", "123", "", "", 8, false},
        TrapRow{"ThirdOf4", "", "1234", "", "", 8, true}, TrapRow{"ThirdOf3WithNumber7", "", "123", "", "", 7, true}),
    kRowName);

TEST_F(Subscription, ToTrapsLooksAtItsCriteriaAfterTheSession) {
    g_bSessionIsOpen = 0;
    EXPECT_EQ(ops_trap_subscribe("t", "", "", "", "", 8), 14U);
    ExpectLines({Says(kError, "ops_trap_subscribe", "session not open")});
}

} // namespace
