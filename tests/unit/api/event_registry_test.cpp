// The event registry: names and their callbacks, tags and their kinds, and what becomes of a pushed event.
#include "api/event_registry.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <string>

#include "session/event_seam.h"
#include "support/calls.h"
#include "support/records.h"
#include "unit/api/event_peer.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

class EventRegistry : public EventState {};

// An event for a name and a tag.
Bytes For(const char* name, const char* tag) { return Text(1, name) + Text(2, tag) + Text(3, "content"); }

void Ignore(std::uint32_t, const char*, tagVELA_EVENT, void*, int) {}

// Registering --------------------------------------------------------------------------------------------------------

TEST_F(EventRegistry, RefusesANullCallbackBeforeItLooksAtTheName) {
    EXPECT_EQ(g_evt.RegEvent("", nullptr), 4);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "RegEvent", "cb == NULL")));
    EXPECT_EQ(g_evt.RegEvent("name", nullptr), 4);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "RegEvent", "cb == NULL")));
    EXPECT_EQ(g_evt.RegEvent("name", Remember), 0) << "nothing was stored";
}

TEST_F(EventRegistry, RefusesAnEmptyName) {
    EXPECT_EQ(g_evt.RegEvent("", Remember), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(SaysOnly(kError, "RegEvent s_filename == NULL")));
}

TEST_F(EventRegistry, RefusesANameThatItKnowsAndKeepsItsCallback) {
    ASSERT_EQ(g_evt.RegEvent("name", Remember), 0);
    EXPECT_EQ(g_evt.RegEvent("name", Ignore), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "RegEvent", "name has been register")));
    Notify(For("name", "tag"));
    EXPECT_THAT(delivered, SizeIs(1));
}

// Withdrawing --------------------------------------------------------------------------------------------------------

TEST_F(EventRegistry, RefusesToWithdrawAnEmptyOrAnUnknownName) {
    EXPECT_EQ(g_evt.UnRegEvent(""), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(SaysOnly(kError, "UnRegEvent s_filename == NULL")));
    EXPECT_EQ(g_evt.UnRegEvent("name"), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "UnRegEvent", "name not exsit")));
}

TEST_F(EventRegistry, KeepsTheTagsWhenAWithdrawalIsRefused) {
    g_evt.RegEvent("name", Remember);
    g_evt.SaveEventTag("tag", VELA_EVENT_ROUTE);
    EXPECT_EQ(g_evt.UnRegEvent("other"), 1);
    EXPECT_EQ(g_evt.UnRegEvent(""), 1);
    Notify(For("name", "tag"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_ROUTE);
}

TEST_F(EventRegistry, ForgetsTheTagsOfAllNamesWithOne) {
    g_evt.RegEvent("one", Remember);
    g_evt.RegEvent("two", Remember);
    g_evt.SaveEventTag("a", VELA_EVENT_IFSTATE);
    g_evt.SaveEventTag("b", VELA_EVENT_ROUTE);

    EXPECT_EQ(g_evt.UnRegEvent("one"), 0);
    EXPECT_THAT(TakeRecords(), IsEmpty());

    Notify(For("two", "a"));
    Notify(For("two", "b"));
    ASSERT_THAT(delivered, SizeIs(2));
    EXPECT_EQ(delivered[0].kind, 0);
    EXPECT_EQ(delivered[1].kind, 0);
    Notify(For("one", "a"));
    EXPECT_THAT(delivered, SizeIs(2));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "EventNotify", "canot find this CALLBACK function")));
    EXPECT_EQ(g_evt.RegEvent("one", Remember), 0) << "a name that was withdrawn is free";
}

TEST_F(EventRegistry, ForgetsEverythingWhenItIsCleared) {
    g_evt.RegEvent("name", Remember);
    g_evt.SaveEventTag("tag", VELA_EVENT_ROUTE);

    g_evt.ClearRes();

    Notify(For("name", "tag"));
    EXPECT_THAT(delivered, IsEmpty());
    ASSERT_EQ(g_evt.RegEvent("name", Remember), 0);
    Notify(For("name", "tag"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, 0);
    g_evt.ClearRes();
    g_evt.ClearRes();
}

// The service has gone: the transport's seam empties the table and the registry.
TEST_F(EventRegistry, IsEmptiedWithTheHandlesWhenTheServiceGoes) {
    g_evt.RegEvent("name", Remember);
    std::memset(g_evtMgr, 1, sizeof g_evtMgr);

    forget_events();

    unsigned char bytes[sizeof g_evtMgr];
    std::memcpy(bytes, g_evtMgr, sizeof bytes);
    EXPECT_THAT(bytes, ::testing::Each(0));
    EXPECT_EQ(g_evt.RegEvent("name", Remember), 0);
    EXPECT_THAT(TakeRecords(), IsEmpty());
}

// Delivering ---------------------------------------------------------------------------------------------------------

TEST_F(EventRegistry, DeliversAnEventAsItStandsInTheMessage) {
    g_evt.RegEvent("name", Remember);
    g_evt.SaveEventTag("tag", VELA_EVENT_IFSTATE);
    tagMSG_DATA message = Pushed(Text(1, "name") + Text(2, "tag") + Text(3, "it is down"), 0xfedc);

    g_evt.EventNotify(&message);

    ASSERT_THAT(delivered, SizeIs(1));
    const Delivered& call = delivered[0];
    EXPECT_EQ(call.session, 0xfedcU);
    EXPECT_EQ(call.tag, "tag");
    EXPECT_EQ(call.kind, VELA_EVENT_IFSTATE);
    EXPECT_EQ(call.content, "it is down");
    EXPECT_EQ(call.unused, 0);
    // 12 bytes of header and fixed part, 8 + 5 of the name, 8 in front of the tag, 4 of the tag, 8 of the content.
    const auto* const frame = reinterpret_cast<const char*>(&message);
    EXPECT_EQ(call.tagAt, frame + 33);
    EXPECT_EQ(call.contentAt, frame + 45);
    EXPECT_THAT(TakeRecords(), IsEmpty());
}

TEST_F(EventRegistry, DeliversTheLastKindSavedForATag) {
    g_evt.RegEvent("name", Remember);
    g_evt.SaveEventTag("tag", VELA_EVENT_IFSTATE);
    g_evt.SaveEventTag("tag", VELA_EVENT_ROUTE);
    Notify(For("name", "tag"));
    g_evt.SaveEventTag("tag", VELA_EVENT_ICLOG);
    Notify(For("name", "tag"));
    ASSERT_THAT(delivered, SizeIs(2));
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_ROUTE);
    EXPECT_EQ(delivered[1].kind, VELA_EVENT_ICLOG);
}

TEST_F(EventRegistry, GivesAnUnknownTagTheKindZeroUntilItIsSaved) {
    g_evt.RegEvent("name", Remember);
    Notify(For("name", "tag"));
    Notify(For("name", ""));
    g_evt.SaveEventTag("tag", VELA_EVENT_ROUTE);
    Notify(For("name", "tag"));
    Notify(For("name", "ta"));
    ASSERT_THAT(delivered, SizeIs(4));
    EXPECT_EQ(delivered[0].kind, 0);
    EXPECT_EQ(delivered[1].kind, 0);
    EXPECT_EQ(delivered[1].tag, "");
    EXPECT_EQ(delivered[2].kind, VELA_EVENT_ROUTE);
    EXPECT_EQ(delivered[3].kind, 0) << "a piece of a tag is another tag";
    EXPECT_THAT(TakeRecords(), IsEmpty());
}

// The kind of the last event; a callback that takes no memory itself.
tagVELA_EVENT lastKind;
void NoteKind(std::uint32_t, const char*, tagVELA_EVENT kind, void*, int) { lastKind = kind; }

TEST_F(EventRegistry, EntersAnUnknownTagWithTheKindZero) {
    g_evt.RegEvent("name", NoteKind);
    // Delivers an event: the first allocation is the view of the message, the second, which fails, a tag's entry.
    const auto triesToEnter = [](const char* tag) {
        tagMSG_DATA message = Pushed(For("name", tag));
        const Fail entry(Call::Allocate, ENOMEM, 2);
        lastKind = VELA_EVENT_ROUTE;
        g_evt.EventNotify(&message);
        EXPECT_EQ(lastKind, 0);
        return entry.Failures() == 1;
    };
    EXPECT_TRUE(triesToEnter("tag"));
    EXPECT_TRUE(triesToEnter("tag")) << "it had no memory for it before";
    Notify(For("other", "tag"));
    EXPECT_TRUE(triesToEnter("tag")) << "an event that nobody gets leaves its tag unknown";
    Notify(For("name", "tag"));
    EXPECT_FALSE(triesToEnter("tag")) << "it is known by now";
    EXPECT_TRUE(triesToEnter("ta")) << "a piece of a tag is another tag";
    g_evt.UnRegEvent("name");
    g_evt.RegEvent("name", NoteKind);
    EXPECT_TRUE(triesToEnter("tag")) << "it was forgotten with the others";
}

TEST_F(EventRegistry, ChoosesTheCallbackByTheWholeName) {
    g_evt.RegEvent("name1", Ignore);
    g_evt.RegEvent("name", Remember);
    Notify(For("name1", "tag"));
    EXPECT_THAT(delivered, IsEmpty());
    Notify(For("name", "tag"));
    EXPECT_THAT(delivered, SizeIs(1));
}

// What the elements of an event make of it: the callback's content, or the record of its being dropped.
struct EventRow {
    const char* name;
    Bytes elements;
    std::optional<std::string> content; // of the event that is delivered
    std::optional<std::string> dropped; // the record
};
std::ostream& operator<<(std::ostream& out, const EventRow& row) { return out << row.name; }

class PushedEvents : public EventState, public ::testing::WithParamInterface<EventRow> {};

TEST_P(PushedEvents, AreDeliveredOrDroppedWithOneRecord) {
    const EventRow& row = GetParam();
    g_evt.RegEvent("name", Remember);
    g_evt.SaveEventTag("tag", VELA_EVENT_ROUTE);

    Notify(row.elements);

    if (row.dropped) {
        EXPECT_THAT(delivered, IsEmpty());
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "EventNotify", *row.dropped)));
        return;
    }
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].tag, "tag");
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_ROUTE);
    EXPECT_EQ(delivered[0].content, row.content);
    EXPECT_THAT(TakeRecords(), IsEmpty());
}

const Bytes kName = Text(1, "name");
const Bytes kTag = Text(2, "tag");
const char* const kNoName = "file_name == NULL";
const char* const kNoTag = "tag == NULL";
const char* const kNoCallback = "canot find this CALLBACK function";

INSTANTIATE_TEST_SUITE_P(
    Rows, PushedEvents,
    ::testing::Values(EventRow{"Whole", kName + kTag + Text(3, "content"), "content", {}},
                      EventRow{"InAnotherOrder", Text(3, "content") + kTag + kName, "content", {}},
                      EventRow{"WithMoreThanIsAsked",
                               Int(9, 1) + kName + Int(8, 2) + kTag + Text(3, "content") + Int(7, 3),
                               "content",
                               {}},
                      EventRow{"WithoutContent", kName + kTag, {}, {}},
                      EventRow{"WithEmptyContent", kName + kTag + Text(3, ""), "", {}},
                      EventRow{"WithTwoNames",
                               kName + Text(1, "other") + kTag + Text(2, "other") + Text(3, "first") + Text(3, "last"),
                               "first",
                               {}},
                      EventRow{"Empty", {}, {}, kNoName},
                      EventRow{"WithoutAName", kTag + Text(3, "content"), {}, kNoName},
                      EventRow{"WithoutNameAndTag", Text(3, "content"), {}, kNoName},
                      EventRow{"WithoutATag", kName + Text(3, "content"), {}, kNoTag},
                      EventRow{"WithoutATagForAnUnknownName", Text(1, "other"), {}, kNoTag},
                      EventRow{"ForAnUnknownName", Text(1, "other") + kTag, {}, kNoCallback},
                      EventRow{"ForAPieceOfTheName", Text(1, "nam") + kTag, {}, kNoCallback},
                      EventRow{"ForAnEmptyName", Text(1, "") + kTag, {}, kNoCallback}),
    kRowName);

// Texts that do not end inside their element, and elements that do not end inside the message, count as missing.
INSTANTIATE_TEST_SUITE_P(
    Damaged, PushedEvents,
    ::testing::Values(EventRow{"NameWithoutItsNul", Data(1, Hex("'name'")) + kTag, {}, kNoName},
                      EventRow{"NameOfNoBytes", Data(1, {}) + kTag, {}, kNoName},
                      EventRow{"NameOfNegativeLength", Claims(1, -1, {}), {}, kNoName},
                      EventRow{"NamePastTheEnd", Claims(1, 5000, Hex("'name' 00")), {}, kNoName},
                      EventRow{"TagWithoutItsNul", kName + Data(2, Hex("'tag'")), {}, kNoTag},
                      EventRow{"TagPastTheEnd", kName + Claims(2, 0x7fffffff, Hex("'tag' 00")), {}, kNoTag},
                      EventRow{"ContentWithoutItsNul", kName + kTag + Data(3, Hex("'content'")), {}, {}},
                      EventRow{"ContentPastTheEnd", kName + kTag + Claims(3, 9, Hex("'content' 00")), {}, {}},
                      EventRow{"ContentOfNegativeLength", kName + kTag + Claims(3, -5, Hex("'content' 00")), {}, {}},
                      EventRow{"HalfAnElementBehind", kName + kTag + Hex("03 00 00"), {}, {}}),
    kRowName);

// What stands behind the message's end in the frame is nobody's.
TEST_F(EventRegistry, DropsAnEventThatEndsBeforeItsElements) {
    g_evt.RegEvent("name", Remember);
    for (const std::uint16_t length : {std::uint16_t{8}, std::uint16_t{11}, std::uint16_t{12}, std::uint16_t{20}}) {
        tagMSG_DATA message = Pushed(For("name", "tag"));
        message.totalLength = length;
        g_evt.EventNotify(&message);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "EventNotify", kNoName))) << length;
    }
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(EventRegistry, DropsAnEventThatCannotBeRead) {
    g_evt.RegEvent("name", Remember);
    {
        const Fail fail(Call::TlvInit, 0);
        Notify(For("name", "tag"));
        EXPECT_EQ(fail.Failures(), 1);
    }
    EXPECT_THAT(delivered, IsEmpty());
    Notify(For("name", "tag"));
    EXPECT_THAT(delivered, SizeIs(1));
}

TEST_F(EventRegistry, DeliversTheLargestEvent) {
    g_evt.RegEvent("name", Remember);
    const std::string content(8012 - 12 - (8 + 5) - (8 + 4) - 8 - 1, 'c');
    tagMSG_DATA message = Pushed(kName + kTag + Text(3, content));
    ASSERT_EQ(message.totalLength, 8012);
    g_evt.EventNotify(&message);
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].content, content);
}

// A callback may use the registry that is calling it.
TEST_F(EventRegistry, MayBeChangedByTheCallbackItCalls) {
    g_evt.RegEvent("name", [](std::uint32_t session, const char* tag, tagVELA_EVENT kind, void* content, int unused) {
        Remember(session, tag, kind, content, unused);
        g_evt.SaveEventTag("tag", VELA_EVENT_IFSTATE);
        g_evt.UnRegEvent("name");
        g_evt.RegEvent("other", Ignore);
    });
    Notify(For("name", "tag"));
    Notify(For("name", "tag"));
    EXPECT_THAT(delivered, SizeIs(1));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "EventNotify", kNoCallback)));
}

} // namespace
