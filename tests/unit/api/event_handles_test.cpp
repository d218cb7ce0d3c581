// The table of event handles: taking the lowest free one, its bound, and the expression that joins a handle's tags.
#include "api/event_handles.h"

#include <cstring>
#include <gmock/gmock.h>
#include <memory>
#include <string>

#include "support/records.h"
#include "unit/api/event_peer.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

constexpr std::size_t kExpressionSize = 400;

class EventHandles : public EventState {};

TEST_F(EventHandles, AreARecordOf501BytesEach) {
    EXPECT_EQ(kEventHandles, 16U);
    EXPECT_EQ(sizeof(g_evtMgr), 16U * 501);
    EXPECT_EQ(offsetof(EventHandle, inUse), 0U);
    EXPECT_EQ(offsetof(EventHandle, name), 1U);
    EXPECT_EQ(offsetof(EventHandle, expression), 101U);
}

TEST_F(EventHandles, AreTakenLowestFirstUntilAllSixteenAre) {
    for (std::uint32_t expected = 0; expected < 16; ++expected) {
        std::uint32_t handle = 99;
        ASSERT_EQ(get_new_event_handler(&handle), 0);
        EXPECT_EQ(handle, expected);
        EXPECT_EQ(g_evtMgr[expected].inUse, 1);
    }
    std::uint32_t handle = 99;
    EXPECT_EQ(get_new_event_handler(&handle), 1);
    EXPECT_EQ(handle, 99U);

    g_evtMgr[11].inUse = 0;
    g_evtMgr[3].inUse = 0;
    ASSERT_EQ(get_new_event_handler(&handle), 0);
    EXPECT_EQ(handle, 3U);
    ASSERT_EQ(get_new_event_handler(&handle), 0);
    EXPECT_EQ(handle, 11U);
    EXPECT_THAT(Records(), IsEmpty()) << "the caller tells";
}

TEST_F(EventHandles, WithoutAPlaceForTheHandleNoneIsTaken) {
    EXPECT_EQ(get_new_event_handler(nullptr), 1);
    EXPECT_EQ(g_evtMgr[0].inUse, 0);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(EventHandles, AreFreeWhenTheirByteIsNotOneAndValidWhenItIsNotZero) {
    g_evtMgr[0].inUse = 2;
    EXPECT_TRUE(is_handler_valid(0));
    std::uint32_t handle = 99;
    ASSERT_EQ(get_new_event_handler(&handle), 0);
    EXPECT_EQ(handle, 0U);
    EXPECT_EQ(g_evtMgr[0].inUse, 1);
}

TEST_F(EventHandles, KeepTheirTextsWhenTheyAreTaken) {
    std::strcpy(g_evtMgr[0].name, "name");
    std::strcpy(g_evtMgr[0].expression, "tags");
    std::uint32_t handle = 99;
    ASSERT_EQ(get_new_event_handler(&handle), 0);
    EXPECT_STREQ(g_evtMgr[0].name, "name");
    EXPECT_STREQ(g_evtMgr[0].expression, "tags");
}

TEST_F(EventHandles, AreValidWhileTheyAreTaken) {
    for (std::uint32_t handle = 0; handle < 16; ++handle) {
        EXPECT_FALSE(is_handler_valid(handle)) << handle;
        g_evtMgr[handle].inUse = 1;
        EXPECT_TRUE(is_handler_valid(handle)) << handle;
    }
}

// The bound lets 16 pass, one past the last record; it is answered as a record that nobody ever takes.
TEST_F(EventHandles, BeyondTheTableAreNeverValid) {
    std::memset(g_evtMgr, 1, sizeof g_evtMgr);
    for (const std::uint32_t handle : {16U, 17U, 255U, 256U, 0x10000U, 0x7fffffffU, 0x80000000U, 0xffffffffU})
        EXPECT_FALSE(is_handler_valid(handle)) << handle;
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(EventHandles, AreAllEmptiedTogether) {
    std::memset(g_evtMgr, 1, sizeof g_evtMgr);
    clear_event_handles();
    unsigned char bytes[sizeof g_evtMgr];
    std::memcpy(bytes, g_evtMgr, sizeof bytes);
    EXPECT_THAT(bytes, Each(0));
}

// An expression and a tag, and what they become. The block is as large as a record's expression and not a byte more.
struct LinkRow {
    const char* name;
    std::string expression;
    std::string tag;
    std::string joined;
    bool refused = false;
};
std::ostream& operator<<(std::ostream& out, const LinkRow& row) { return out << row.name; }

class Expressions : public EventState, public ::testing::WithParamInterface<LinkRow> {};

TEST_P(Expressions, JoinTheirTags) {
    const LinkRow& row = GetParam();
    const auto block = std::make_unique<char[]>(kExpressionSize);
    std::memset(block.get(), 'x', kExpressionSize);
    std::strcpy(block.get(), row.expression.c_str());

    link_correlate_str(block.get(), row.tag.c_str());

    EXPECT_EQ(std::string(block.get()), row.joined);
    if (row.refused)
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "link_correlate_str", "Invalid dest len")));
    else
        EXPECT_THAT(TakeRecords(), IsEmpty());
}

std::string Letters(std::size_t count, char letter = 'e') { return std::string(count, letter); }

INSTANTIATE_TEST_SUITE_P(
    Rows, Expressions,
    ::testing::Values(
        LinkRow{"TheFirstTagStandsAlone", "", "link", "link"}, LinkRow{"TheSecondIsJoined", "a", "b", "a or b"},
        LinkRow{"TheThirdIsJoined", "a or b", "c", "a or b or c"}, LinkRow{"AnEmptyTagStaysEmpty", "", "", ""},
        LinkRow{"AnEmptyTagIsJoined", "a", "", "a or "}, LinkRow{"PercentSignsAreLetters", "%s", "%d%n", "%s or %d%n"},
        LinkRow{"AFirstTagOf399IsWhole", "", Letters(399), Letters(399)},
        LinkRow{"AFirstTagOf400IsCut", "", Letters(400), Letters(399)},
        LinkRow{"AFirstTagOf5000IsCut", "", Letters(5000), Letters(399)},
        LinkRow{"AnExpressionOf255Takes", Letters(255), "t", Letters(255) + " or t"},
        LinkRow{"AnExpressionOf256Takes", Letters(256), "t", Letters(256) + " or t"},
        LinkRow{"AnExpressionOf257DoesNot", Letters(257), "t", Letters(257), true},
        LinkRow{"AnExpressionOf399DoesNot", Letters(399), "t", Letters(399), true},
        LinkRow{"AJoinedLengthOf399IsWhole", Letters(256), Letters(139, 't'),
                Letters(256) + " or " + Letters(139, 't')},
        LinkRow{"AJoinedLengthOf400IsCut", Letters(256), Letters(140, 't'), Letters(256) + " or " + Letters(139, 't')},
        LinkRow{"AJoinedLengthOf5000IsCut", "a", Letters(5000, 't'), "a or " + Letters(394, 't')}),
    kRowName);

TEST_F(EventHandles, WithoutAnExpressionOrATagNothingIsJoined) {
    char expression[kExpressionSize] = "a";
    link_correlate_str(nullptr, "b");
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "link_correlate_str", "Invalid param dst == NULL")));
    link_correlate_str(expression, nullptr);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "link_correlate_str", "Invalid param src == NULL")));
    EXPECT_STREQ(expression, "a");
    link_correlate_str(nullptr, nullptr);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "link_correlate_str", "Invalid param dst == NULL")));
}

} // namespace
