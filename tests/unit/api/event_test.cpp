// The four event functions on the inside: the order of their checks, the bytes that they send, what they change in the
// handle table and in the registry, and what a failed step leaves behind.
#include "api/event.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <string>

#include "api/subscriptions.h"
#include "common/client_name.h"
#include "qel_api.h"
#include "support/calls.h"
#include "support/records.h"
#include "unit/api/event_peer.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

constexpr std::uint32_t kUntouched = 0x5eed5eed;

constexpr const char* kAdd = "vela_event_add_imp";
constexpr const char* kReg = "vela_event_reg_imp";
constexpr const char* kFree = "vela_event_free_imp";
constexpr const char* kControl = "vela_ops_fileop";

tagVELA_IFSTATE_PARA Interface() {
    tagVELA_IFSTATE_PARA para{};
    std::memset(para.reserved, 0xee, sizeof para.reserved);
    std::strcpy(para.text, "eth0");
    para.number1 = 2;
    para.number2 = 0xffffffff;
    return para;
}

class EventFunctions : public OpenSession {
protected:
    // A handle, and nothing sent or recorded yet.
    std::uint32_t New() {
        std::uint32_t handle = kUntouched;
        EXPECT_EQ(vela_event_new_imp(&handle), 0);
        peer.TakeRequests();
        return handle;
    }

    std::int32_t Add(std::uint32_t handle, const std::string& tag) {
        const tagVELA_IFSTATE_PARA para = Interface();
        return vela_event_add_imp(handle, VELA_EVENT_IFSTATE, tag.c_str(), &para);
    }

    void MustAdd(std::uint32_t handle, const std::string& tag) {
        ASSERT_EQ(Add(handle, tag), 0);
        peer.TakeRequests();
        ExpectLines({});
    }

    // The codes of what was asked since the last time, with the step where there is one: "41", "11.1".
    std::vector<std::string> Asked() {
        std::vector<std::string> asked;
        for (const Bytes& request : peer.TakeRequests()) {
            const std::int32_t code = IntOf(request, 0);
            asked.push_back(std::to_string(code) + (code == 11 ? "." + std::to_string(IntOf(request, 5)) : ""));
        }
        return asked;
    }

    // Refuses one request, counted from 1; the others are accepted.
    void RefuseNth(int nth) {
        auto count = std::make_shared<int>(0);
        peer.AlwaysAnswer(
            [=](Link& link, const Bytes& request) { (++*count == nth ? Refuse("no") : Accept())(link, request); });
    }

    static std::string NameHere() {
        char name[kClientNameSize];
        EXPECT_EQ(get_file_name(name, kSession), 0U);
        return name;
    }

    static bool IsEmptied(std::uint32_t handle) {
        EventHandle none;
        std::memset(&none, 0, sizeof none);
        return std::memcmp(&g_evtMgr[handle], &none, sizeof none) == 0;
    }
};

// Bytes --------------------------------------------------------------------------------------------------------------

TEST_F(EventFunctions, TellTheServiceWhereARegistrationBeginsFinishesAndEnds) {
    EXPECT_EQ(vela_ops_fileop(0), 0U);
    EXPECT_EQ(vela_event_reg_finish(), 0U);
    EXPECT_EQ(vela_event_unreg(), 0U);
    ASSERT_THAT(peer.Requests(), SizeIs(3));
    // header  version 1, type 11, send id 5 (then 6, 7), reserved 0, total length 66, session 7
    // body    kind 1 (script operation), a byte 0, body length 58
    // 0: 11 registration control   4: client name   5: step 0 begins (then 1 finished, 2 withdrawn)
    EXPECT_EQ(peer.Requests()[0], Hex("01 0b 05 00  00 42 00 07  01 00 00 3a"
                                      "00 00 00 00  04 00 00 00  0b 00 00 00"
                                      "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
                                      "05 00 00 00  04 00 00 00  00 00 00 00"));
    EXPECT_EQ(peer.Requests()[1], Hex("01 0b 06 00  00 42 00 07  01 00 00 3a"
                                      "00 00 00 00  04 00 00 00  0b 00 00 00"
                                      "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
                                      "05 00 00 00  04 00 00 00  01 00 00 00"));
    EXPECT_EQ(peer.Requests()[2], Hex("01 0b 07 00  00 42 00 07  01 00 00 3a"
                                      "00 00 00 00  04 00 00 00  0b 00 00 00"
                                      "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
                                      "05 00 00 00  04 00 00 00  02 00 00 00"));
    ExpectLines({});
}

TEST_F(EventFunctions, HandTheServiceTheJoinedTags) {
    EXPECT_EQ(vela_event_reg_correlate("link or route"), 0U);
    ASSERT_THAT(peer.Requests(), SizeIs(1));
    // header  version 1, type 11, send id 5, reserved 0, total length 76, session 7
    // body    kind 1 (script operation), a byte 0, body length 68
    // 0: 41 correlation   4: client name   5: "link or route"
    EXPECT_EQ(peer.Requests()[0], Hex("01 0b 05 00  00 4c 00 07  01 00 00 44"
                                      "00 00 00 00  04 00 00 00  29 00 00 00"
                                      "04 00 00 00  16 00 00 00  'sdkclient000700012345' 00"
                                      "05 00 00 00  0e 00 00 00  'link or route' 00"));
    ExpectLines({});
}

TEST_F(EventFunctions, HandTheServiceAnEmptyExpressionWhenNothingWasAdded) {
    EXPECT_EQ(vela_event_reg_imp(New(), Remember), 0);
    const std::vector<Bytes> requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_EQ(IntOf(requests[0], 0), 41);
    EXPECT_EQ(Decode(requests[0]).Find(5)->value, Bytes{0});
}

// Taking a handle ----------------------------------------------------------------------------------------------------

TEST_F(EventFunctions, NewWithoutAPlaceForTheHandleIsRefusedFirst) {
    std::memset(g_evtMgr, 1, sizeof g_evtMgr);
    EXPECT_EQ(vela_event_new_imp(nullptr), 1);
    ExpectLines({Says(kError, "vela_event_new_imp", "Invalid parm evt_hdl = NULL")});
    ExpectNothingSent();
}

TEST_F(EventFunctions, NewIsRefusedWhenAllSixteenAreTaken) {
    for (std::uint32_t expected = 0; expected < 16; ++expected)
        EXPECT_EQ(New(), expected);
    g_bSessionIsOpen = 0;
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(vela_event_new_imp(&handle), 1);
    EXPECT_EQ(handle, kUntouched);
    ExpectLines({Says(kError, "vela_event_new_imp", "get event handle failded")});
    ExpectNothingSent();
}

TEST_F(EventFunctions, NewTellsThatARegistrationBegins) {
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(vela_event_new_imp(&handle), 0);
    EXPECT_EQ(handle, 0U);
    EXPECT_THAT(Asked(), ElementsAre("11.0"));
    EXPECT_EQ(g_evtMgr[0].inUse, 1);
    ExpectLines({});
}

// Whatever becomes of the request, the result is 1 and the record is free again, its texts as they were.
TEST_F(EventFunctions, NewGivesTheHandleBackWhenTheServiceIsNotTold) {
    std::strcpy(g_evtMgr[0].name, "name");
    std::strcpy(g_evtMgr[0].expression, "tags");
    std::uint32_t handle = kUntouched;

    peer.AlwaysAnswer(Refuse("no"));
    EXPECT_EQ(vela_event_new_imp(&handle), 1);
    ExpectLines({Says(kError, kControl, "vela_event_reg_begin failed ops_check_err = no")});
    g_bSessionIsOpen = 0;
    EXPECT_EQ(vela_event_new_imp(&handle), 1);
    ExpectLines({Says(kError, kControl, "session not open")});
    g_bSessionIsOpen = 1;
    py_file = "";
    EXPECT_EQ(vela_event_new_imp(&handle), 1);
    ExpectLines({Says(kError, kControl, "invalid file name")});

    EXPECT_EQ(handle, kUntouched);
    EXPECT_EQ(g_evtMgr[0].inUse, 0);
    EXPECT_STREQ(g_evtMgr[0].name, "name");
    EXPECT_STREQ(g_evtMgr[0].expression, "tags");
}

TEST_F(EventFunctions, NewTakesTheLowestFreeHandle) {
    for (int i = 0; i < 3; ++i)
        New();
    g_evtMgr[1].inUse = 0;
    EXPECT_EQ(New(), 1U);
    EXPECT_EQ(New(), 3U);
}

// Adding -------------------------------------------------------------------------------------------------------------

TEST_F(EventFunctions, AddChecksTheRecordThenTheHandleThenTheTagThenTheKind) {
    const tagVELA_IFSTATE_PARA para = Interface();
    const std::uint32_t handle = New();
    MustAdd(handle, "known");
    g_bSessionIsOpen = 0;

    EXPECT_EQ(vela_event_add_imp(16, 1, nullptr, nullptr), 4);
    ExpectLines({Says(kError, kAdd, "invalid param para = NULL")});
    EXPECT_EQ(vela_event_add_imp(16, 1, nullptr, &para), 1);
    ExpectLines({Says(kError, kAdd, "invalid param evt_hdl = 16")});
    EXPECT_EQ(vela_event_add_imp(handle, 1, nullptr, &para), 1);
    ExpectLines({Says(kError, kAdd, "invalid param tag == NULL or strlen(tag) == 0")});
    EXPECT_EQ(vela_event_add_imp(handle, 1, "", &para), 1);
    ExpectLines({Says(kError, kAdd, "invalid param tag == NULL or strlen(tag) == 0")});
    EXPECT_EQ(vela_event_add_imp(handle, 1, "known", &para), 1);
    ExpectLines({Says(kError, kAdd, "invalid param tag,the tag has been registed")});
    EXPECT_EQ(vela_event_add_imp(handle, 1, "new", &para), 1);
    ExpectLines({Says(kInfo, kAdd, "not support event 1")});
    EXPECT_EQ(vela_event_add_imp(handle, 2, "new", &para), 14);
    ExpectLines({Says(kError, "ops_ifm_ifstate_subscribe", "session not open"), Says(kError, kAdd, "new")});
    ExpectNothingSent();
}

TEST_F(EventFunctions, AddRefusesHandlesThatAreNotTaken) {
    New();
    for (const std::uint32_t handle : {1U, 15U, 16U, 17U, 4294967295U}) {
        EXPECT_EQ(Add(handle, "tag"), 1);
        ExpectLines({Says(kError, kAdd, "invalid param evt_hdl = " + std::to_string(handle))});
    }
    ExpectNothingSent();
}

TEST_F(EventFunctions, AddRefusesKindsThatItDoesNotKnow) {
    const std::uint32_t handle = New();
    const tagVELA_IFSTATE_PARA para = Interface();
    for (const std::int32_t kind : {1, 4, 5, 37, 49, -1, 0x7fffffff}) {
        EXPECT_EQ(vela_event_add_imp(handle, kind, "tag", &para), 1);
        ExpectLines({Says(kInfo, kAdd, "not support event " + std::to_string(kind))});
    }
    ExpectNothingSent();
    EXPECT_STREQ(g_evtMgr[handle].expression, "");
    EXPECT_EQ(static_cast<unsigned>(g_sendId), kNextId + 1);
}

TEST_F(EventFunctions, AddJoinsTheTags) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    EXPECT_STREQ(g_evtMgr[handle].expression, "link");
    MustAdd(handle, "route");
    EXPECT_STREQ(g_evtMgr[handle].expression, "link or route");
    MustAdd(handle, "log");
    EXPECT_STREQ(g_evtMgr[handle].expression, "link or route or log");
    EXPECT_STREQ(g_evtMgr[handle].name, "") << "it has no name before it is registered";
}

// A tag is refused wherever it stands in the joined tags.
struct TagRow {
    const char* name;
    std::vector<std::string> before;
    std::string tag;
    bool refused;
};
std::ostream& operator<<(std::ostream& out, const TagRow& row) { return out << row.name; }

class EventTags : public EventFunctions, public ::testing::WithParamInterface<TagRow> {};

TEST_P(EventTags, AreRefusedWhenTheyStandInTheJoinedTags) {
    const TagRow& row = GetParam();
    const std::uint32_t handle = New();
    for (const std::string& tag : row.before)
        MustAdd(handle, tag);
    const std::string joined = g_evtMgr[handle].expression;

    EXPECT_EQ(Add(handle, row.tag), row.refused ? 1 : 0);

    if (!row.refused)
        return ExpectLines({});
    ExpectLines({Says(kError, kAdd, "invalid param tag,the tag has been registed")});
    ExpectNothingSent();
    EXPECT_EQ(g_evtMgr[handle].expression, joined);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EventTags,
    ::testing::Values(TagRow{"TheSameTag", {"ab"}, "ab", true}, TagRow{"APieceOfATag", {"ab"}, "a", true},
                      TagRow{"TheEndOfATag", {"ab"}, "b", true}, TagRow{"ALongerTag", {"ab"}, "abc", false},
                      TagRow{"InOtherCase", {"ab"}, "A", false}, TagRow{"OrAfterOneTag", {"ab"}, "or", false},
                      TagRow{"OrAfterTwoTags", {"ab", "cd"}, "or", true},
                      TagRow{"ABlankAfterOneTag", {"ab"}, " ", false},
                      TagRow{"ABlankAfterTwoTags", {"ab", "cd"}, " ", true},
                      TagRow{"AcrossTheJoin", {"ab", "cd"}, "b or c", true},
                      TagRow{"NotAcrossTheJoin", {"ab", "cd"}, "bc", false}, TagRow{"AnyFirstTag", {}, "or", false}),
    kRowName);

TEST_F(EventFunctions, AddLooksForTheTagInItsOwnHandleOnly) {
    const std::uint32_t one = New();
    const std::uint32_t two = New();
    MustAdd(one, "tag");
    MustAdd(two, "tag");
    EXPECT_STREQ(g_evtMgr[one].expression, "tag");
    EXPECT_STREQ(g_evtMgr[two].expression, "tag");
}

TEST_F(EventFunctions, AddSubscribesATagThatIsNoLongerJoinedAsOftenAsItIsAsked) {
    const std::uint32_t handle = New();
    MustAdd(handle, std::string(257, 'e'));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Add(handle, "tag"), 0);
        EXPECT_THAT(Asked(), ElementsAre("47"));
        ExpectLines({Says(kInfo, "link_correlate_str", "Invalid dest len")});
    }
    EXPECT_EQ(g_evtMgr[handle].expression, std::string(257, 'e'));
    g_evt.RegEvent("name", Remember);
    Notify(Text(1, "name") + Text(2, "tag"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_IFSTATE);
}

TEST_F(EventFunctions, AddCutsTheJoinedTagsAt399Characters) {
    const std::uint32_t handle = New();
    MustAdd(handle, std::string(256, 'e'));
    MustAdd(handle, std::string(140, 't'));
    EXPECT_EQ(g_evtMgr[handle].expression, std::string(256, 'e') + " or " + std::string(139, 't'));
    EXPECT_EQ(Add(handle, std::string(140, 't')), 0) << "what was cut is not found";
    ExpectLines({Says(kInfo, "link_correlate_str", "Invalid dest len")});
}

TEST_F(EventFunctions, AddSendsATagLongerThanTheExpressionWhole) {
    const std::uint32_t handle = New();
    const std::string tag(1000, 't');
    EXPECT_EQ(Add(handle, tag), 0);
    EXPECT_EQ(Decode(peer.Requests()[0]).Find(3)->Text(), tag);
    EXPECT_EQ(g_evtMgr[handle].expression, std::string(399, 't'));
    EXPECT_EQ(g_evtMgr[1].inUse, 0) << "the next record is untouched";
}

// A failed subscription is told with the tag, and leaves expression and kinds as they were.
TEST_F(EventFunctions, AddThatFailsChangesNothing) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    peer.AlwaysAnswer(Refuse("no"));
    tagVELA_ROUTE_PARA route{};
    EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ROUTE, "tag", &route), 1);
    ExpectLines({Says(kError, "ops_route_subscribe", "no"), Says(kError, kAdd, "tag")});
    EXPECT_EQ(Add(handle, "tag %d"), 1);
    ExpectLines({Says(kError, "ops_ifm_ifstate_subscribe", "no"), Says(kError, kAdd, "tag %d")});

    EXPECT_STREQ(g_evtMgr[handle].expression, "link");
    g_evt.RegEvent("name", Remember);
    Notify(Text(1, "name") + Text(2, "tag"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, 0);
}

TEST_F(EventFunctions, AddOverwritesTheKindOfATagOfAnotherHandle) {
    const std::uint32_t one = New();
    const std::uint32_t two = New();
    MustAdd(one, "tag");
    tagVELA_ROUTE_PARA route{};
    ASSERT_EQ(vela_event_add_imp(two, VELA_EVENT_ROUTE, "tag", &route), 0);
    g_evt.RegEvent("name", Remember);
    Notify(Text(1, "name") + Text(2, "tag"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_ROUTE);
}

// The parameter records ----------------------------------------------------------------------------------------------

TEST_F(EventFunctions, AddReadsALogRecord) {
    const std::uint32_t handle = New();
    tagVELA_ICLOG_PARA para{};
    std::memset(para.reserved, 0xee, sizeof para.reserved);
    std::strcpy(para.text, "first");
    para.level = 0xfffffffe;
    std::strcpy(para.infoAlias, "alias");
    std::strcpy(para.loginfo, "info");
    ASSERT_EQ(vela_event_add_imp(handle, VELA_EVENT_ICLOG, "tag", &para), 0);
    EXPECT_THAT(Decode(peer.Requests()[0]).elements,
                ElementsAre(Element{0, Hex("23 00 00 00")}, Element{4, Hex("'sdkclient000700012345' 00")},
                            Element{3, Hex("'tag' 00")}, Element{5, Hex("'first' 00")}, Element{6, Hex("'alias' 00")},
                            Element{7, Hex("'info' 00")}, Element{8, Hex("fe ff ff ff")}));
}

TEST_F(EventFunctions, AddReadsAnInterfaceRecord) {
    const std::uint32_t handle = New();
    ASSERT_EQ(Add(handle, "tag"), 0);
    EXPECT_THAT(Decode(peer.Requests()[0]).elements,
                ElementsAre(Element{0, Hex("2f 00 00 00")}, Element{4, Hex("'sdkclient000700012345' 00")},
                            Element{3, Hex("'tag' 00")}, Element{8, Hex("'ifstate' 00")},
                            Element{5, Hex("02 00 00 00")}, Element{6, Hex("'eth0' 00")},
                            Element{7, Hex("ff ff ff ff")}));
}

TEST_F(EventFunctions, AddReadsARouteRecordAndGivesNoOptionalNumbers) {
    const std::uint32_t handle = New();
    tagVELA_ROUTE_PARA para{};
    std::memset(para.reserved, 0xee, sizeof para.reserved);
    std::strcpy(para.text1, "255.255.255.255");
    para.number = 33;
    std::strcpy(para.text2, "1234567");
    std::strcpy(para.text3, "third");
    ASSERT_EQ(vela_event_add_imp(handle, VELA_EVENT_ROUTE, "tag", &para), 0);
    EXPECT_THAT(Decode(peer.Requests()[0]).elements,
                ElementsAre(Element{0, Hex("21 00 00 00")}, Element{4, Hex("'sdkclient000700012345' 00")},
                            Element{3, Hex("'tag' 00")}, Element{5, Hex("'255.255.255.255' 00")},
                            Element{6, Hex("21 00 00 00")}, Element{10, Hex("'1234567' 00")},
                            Element{11, Hex("'third' 00")}));
}

// A record as an application lays it out, in a block that ends with the last text's NUL.
TEST_F(EventFunctions, AddReadsTheLastTextUpToItsNulAndNoFurther) {
    const std::uint32_t handle = New();
    for (const std::size_t length :
         {std::size_t{0}, std::size_t{1}, std::size_t{255}, std::size_t{256}, std::size_t{3000}}) {
        const std::string last(length, 'l');
        const Bytes log = Bytes(64, 0xee) + Hex("'first'") + Bytes(59, 0) + Hex("04 00 00 00") + Hex("'alias'") +
                          Bytes(59, 0) + Bytes(last.begin(), last.end()) + Bytes{0};
        ASSERT_EQ(log.size(), 197 + length);
        EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ICLOG, ("log" + std::to_string(length) + ".").c_str(),
                                     std::make_unique<Bytes>(log)->data()),
                  0);
        EXPECT_EQ(Decode(peer.Requests().back()).Find(7)->Text(), last);

        const Bytes route = Bytes(64, 0xee) + Hex("'first'") + Bytes(11, 0) + Hex("18 00 00 00") + Hex("'two'") +
                            Bytes(5, 0) + Bytes(last.begin(), last.end()) + Bytes{0};
        ASSERT_EQ(route.size(), 93 + length);
        EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ROUTE, ("route" + std::to_string(length) + ".").c_str(),
                                     std::make_unique<Bytes>(route)->data()),
                  0);
        EXPECT_EQ(Decode(peer.Requests().back()).Find(11)->Text(), last);
    }
}

TEST_F(EventFunctions, AddRefusesTextsWithoutAnEndInTheirFields) {
    const std::uint32_t handle = New();
    tagVELA_ICLOG_PARA log{};
    std::memset(log.text, 'x', sizeof log.text);
    log.level = 1;
    EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ICLOG, "tag", &log), 1);
    ExpectLines({Says(kError, "ops_iclog_subscribe", "Not enough memory"), Says(kError, kAdd, "tag")});

    tagVELA_IFSTATE_PARA interface {};
    std::memset(interface.text, 'x', sizeof interface.text);
    EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_IFSTATE, "tag", &interface), 1);
    ExpectLines({Says(kError, "ops_ifm_ifstate_subscribe", "tlv construct error"), Says(kError, kAdd, "tag")});

    tagVELA_ROUTE_PARA route{};
    std::memset(route.text2, 'x', sizeof route.text2);
    EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ROUTE, "tag", &route), 1);
    ExpectLines({Says(kError, "ops_route_subscribe", "tlv construct error"), Says(kError, kAdd, "tag")});
    ExpectNothingSent();
}

TEST_F(EventFunctions, AddRefusesALogSubscriptionThatAsksForTooMuch) {
    const std::uint32_t handle = New();
    tagVELA_ICLOG_PARA para{};
    para.level = 8;
    std::strcpy(para.loginfo, "123456789");
    EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ICLOG, "tag", &para), 1);
    ExpectLines(
        {Says(kError, "ops_iclog_subscribe", "Input loginfo is too short, you should input more information to match"),
         Says(kError, kAdd, "tag")});
    std::strcpy(para.loginfo, "1234567890");
    EXPECT_EQ(vela_event_add_imp(handle, VELA_EVENT_ICLOG, "tag", &para), 0);
    ExpectLines({});
}

// Registering --------------------------------------------------------------------------------------------------------

TEST_F(EventFunctions, RegChecksTheHandleThenTheCallbackThenTheSession) {
    const std::uint32_t handle = New();
    g_bSessionIsOpen = 0;
    EXPECT_EQ(vela_event_reg_imp(16, nullptr), 1);
    ExpectLines({Says(kError, kReg, "invalid param evt_hdl = 16")});
    EXPECT_EQ(vela_event_reg_imp(4294967295U, nullptr), 1);
    ExpectLines({Says(kError, kReg, "invalid param evt_hdl = 4294967295")});
    EXPECT_EQ(vela_event_reg_imp(handle, nullptr), 4);
    ExpectLines({Says(kError, kReg, "invalid param fEventCallBack = NULL")});
    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 14);
    ExpectLines({Says(kError, "vela_event_reg_correlate", "session not open")});
    ExpectNothingSent();
    EXPECT_STREQ(g_evtMgr[handle].name, "");
}

TEST_F(EventFunctions, RegSendsTheJoinedTagsMakesTheNameStoresTheCallbackAndFinishes) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    MustAdd(handle, "route");

    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 0);

    const std::vector<Bytes> requests = peer.Requests();
    EXPECT_THAT(Asked(), ElementsAre("41", "11.1"));
    EXPECT_EQ(Decode(requests[0]).Find(5)->Text(), "link or route");
    EXPECT_EQ(g_evtMgr[handle].name, NameHere());
    ExpectLines({});
    Notify(Text(1, NameHere()) + Text(2, "link"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_IFSTATE);
}

TEST_F(EventFunctions, RegNamesTheSessionAndTheThreadThatCalls) {
    const std::uint32_t handle = New();
    PretendThreadId(0xfffffffe);
    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 0);
    PretendThreadId(0);
    EXPECT_STREQ(g_evtMgr[handle].name, "sdkclient0007-0000002");
}

TEST_F(EventFunctions, RegStopsWhenTheServiceRefusesTheJoinedTags) {
    const std::uint32_t handle = New();
    RefuseNth(1);
    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 1);
    EXPECT_THAT(Asked(), ElementsAre("41"));
    ExpectLines({Says(kError, "vela_event_reg_correlate", "no")});
    EXPECT_STREQ(g_evtMgr[handle].name, "");
    Notify(Text(1, NameHere()) + Text(2, "link"));
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(EventFunctions, RegThatCannotBeNamedStopsAfterTheJoinedTags) {
    const std::uint32_t handle = New();
    {
        const Fail fail(Call::GetFileName, 0);
        EXPECT_EQ(vela_event_reg_imp(handle, Remember), 1);
    }
    EXPECT_THAT(Asked(), ElementsAre("41"));
    ExpectLines({Says(kError, kReg, "get file name error")});
    Notify(Text(1, NameHere()) + Text(2, "link"));
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(EventFunctions, RegOfASecondHandleByOneThreadIsRefusedAfterTheJoinedTags) {
    const std::uint32_t one = New();
    const std::uint32_t two = New();
    ASSERT_EQ(vela_event_reg_imp(one, Remember), 0);
    peer.TakeRequests();

    EXPECT_EQ(vela_event_reg_imp(two, Remember), 1);

    EXPECT_THAT(Asked(), ElementsAre("41"));
    ExpectLines({Says(kError, "RegEvent", NameHere() + " has been register")});
    EXPECT_EQ(g_evtMgr[two].inUse, 1);
    EXPECT_EQ(g_evtMgr[two].name, NameHere()) << "the name is made before it is refused";
}

TEST_F(EventFunctions, RegThatIsNotFinishedIsRefused) {
    const std::uint32_t handle = New();
    RefuseNth(2);
    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 1);
    EXPECT_THAT(Asked(), ElementsAre("41", "11.1"));
    ExpectLines({Says(kError, kControl, "vela_event_reg_finish failed ops_check_err = no")});
    EXPECT_EQ(g_evtMgr[handle].inUse, 1);
    EXPECT_EQ(g_evtMgr[handle].name, NameHere());
}

// Nothing is said to be undone when the last step fails: the callback was stored, and stays.
TEST_F(EventFunctions, RegThatIsNotFinishedKeepsItsCallback) {
    const std::uint32_t handle = New();
    RefuseNth(2);
    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 1);
    TakeRecords();
    Notify(Text(1, NameHere()) + Text(2, "link"));
    EXPECT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(vela_event_reg_imp(handle, Remember), 1);
    ExpectLines({Says(kError, "RegEvent", NameHere() + " has been register")});
    EXPECT_EQ(vela_event_free_imp(handle), 0) << "and the handle can be freed";
}

TEST_F(EventFunctions, AddAfterRegIsSubscribedAndJoinedWithoutAnotherCorrelation) {
    const std::uint32_t handle = New();
    ASSERT_EQ(vela_event_reg_imp(handle, Remember), 0);
    peer.TakeRequests();
    ASSERT_EQ(Add(handle, "late"), 0);
    EXPECT_THAT(Asked(), ElementsAre("47"));
    EXPECT_STREQ(g_evtMgr[handle].expression, "late");
}

// Freeing ------------------------------------------------------------------------------------------------------------

TEST_F(EventFunctions, FreeEmptiesTheRecord) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    ASSERT_EQ(vela_event_reg_imp(handle, Remember), 0);
    peer.TakeRequests();

    EXPECT_EQ(vela_event_free_imp(handle), 0);

    EXPECT_THAT(Asked(), ElementsAre("11.2"));
    ExpectLines({});
    EXPECT_TRUE(IsEmptied(handle));
    EXPECT_EQ(vela_event_free_imp(handle), 1);
    ExpectLines({Says(kError, kFree, "invalid param evt_hdl = 0")});
}

TEST_F(EventFunctions, FreeRefusesHandlesThatAreNotTaken) {
    New();
    for (const std::uint32_t handle : {1U, 15U, 16U, 17U, 4294967295U}) {
        EXPECT_EQ(vela_event_free_imp(handle), 1);
        ExpectLines({Says(kError, kFree, "invalid param evt_hdl = " + std::to_string(handle))});
    }
    ExpectNothingSent();
}

TEST_F(EventFunctions, FreeThatTheServiceRefusesLeavesEverythingAsItWas) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    ASSERT_EQ(vela_event_reg_imp(handle, Remember), 0);
    const EventHandle before = g_evtMgr[handle];

    peer.AlwaysAnswer(Refuse("no"));
    EXPECT_EQ(vela_event_free_imp(handle), 1);
    ExpectLines(
        {Says(kError, kControl, "vela_event_unreg failed ops_check_err = no"), Says(kError, kFree, "called error")});
    g_bSessionIsOpen = 0;
    EXPECT_EQ(vela_event_free_imp(handle), 1);
    ExpectLines({Says(kError, kControl, "session not open"), Says(kError, kFree, "called error")});

    EXPECT_EQ(std::memcmp(&before, &g_evtMgr[handle], sizeof before), 0);
    Notify(Text(1, NameHere()) + Text(2, "link"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, VELA_EVENT_IFSTATE);
}

TEST_F(EventFunctions, FreeOfAHandleThatWasNeverRegisteredTellsTheServiceAndKeepsIt) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    EXPECT_EQ(vela_event_free_imp(handle), 1);
    EXPECT_THAT(Asked(), ElementsAre("11.2"));
    ExpectLines({SaysOnly(kError, "UnRegEvent s_filename == NULL")});
    EXPECT_EQ(g_evtMgr[handle].inUse, 1);
    EXPECT_STREQ(g_evtMgr[handle].expression, "link");
}

TEST_F(EventFunctions, FreeOfOneOfTwoHandlesForgetsTheKindsOfTheOther) {
    const std::uint32_t one = New();
    PretendThreadId(1);
    ASSERT_EQ(vela_event_reg_imp(one, Remember), 0);
    const std::uint32_t two = New();
    MustAdd(two, "link");
    PretendThreadId(2);
    ASSERT_EQ(vela_event_reg_imp(two, Remember), 0);
    PretendThreadId(0);

    ASSERT_EQ(vela_event_free_imp(one), 0);

    Notify(Text(1, "sdkclient000700000002") + Text(2, "link"));
    ASSERT_THAT(delivered, SizeIs(1));
    EXPECT_EQ(delivered[0].kind, 0);
    EXPECT_STREQ(g_evtMgr[two].expression, "link");
    EXPECT_EQ(g_evtMgr[two].inUse, 1);
}

// The name is made for the second handle although it is then refused, so the two share it: freeing the second takes the
// first one's callback with it, and the first can no longer be freed.
TEST_F(EventFunctions, FreeOfAHandleThatWasRefusedTakesTheSharedNamesCallback) {
    const std::uint32_t one = New();
    const std::uint32_t two = New();
    ASSERT_EQ(vela_event_reg_imp(one, Remember), 0);
    ASSERT_EQ(vela_event_reg_imp(two, Remember), 1);
    TakeRecords();

    EXPECT_EQ(vela_event_free_imp(two), 0);
    EXPECT_TRUE(IsEmptied(two));
    ExpectLines({});
    EXPECT_EQ(vela_event_free_imp(one), 1);
    ExpectLines({Says(kError, "UnRegEvent", NameHere() + " not exsit")});
    EXPECT_EQ(g_evtMgr[one].inUse, 1);
}

TEST_F(EventFunctions, FreedHandlesAreTakenAgainLowestFirst) {
    for (std::uint32_t thread = 1; thread <= 3; ++thread) {
        const std::uint32_t handle = New();
        PretendThreadId(thread);
        ASSERT_EQ(vela_event_reg_imp(handle, Remember), 0);
        PretendThreadId(0);
    }
    ASSERT_EQ(vela_event_free_imp(2), 0);
    ASSERT_EQ(vela_event_free_imp(0), 0);
    EXPECT_EQ(New(), 0U);
    EXPECT_EQ(New(), 2U);
    EXPECT_EQ(New(), 3U);
}

// The exported functions ---------------------------------------------------------------------------------------------

TEST_F(EventFunctions, AreExportedUnchanged) {
    const tagVELA_IFSTATE_PARA para = Interface();
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(vela_event_new(nullptr), 1);
    EXPECT_EQ(vela_event_new(&handle), 0);
    EXPECT_EQ(vela_event_add(handle, VELA_EVENT_IFSTATE, "link", nullptr), 4);
    EXPECT_EQ(vela_event_add(handle, VELA_EVENT_IFSTATE, "link", &para), 0);
    EXPECT_EQ(vela_event_reg(handle, nullptr), 4);
    EXPECT_EQ(vela_event_reg(handle, Remember), 0);
    EXPECT_EQ(vela_event_free(handle), 0);
    EXPECT_EQ(vela_event_free(handle), 1);
    EXPECT_THAT(Asked(), ElementsAre("11.0", "47", "41", "11.1", "11.2"));
}

// Memory -------------------------------------------------------------------------------------------------------------

// What a call that returns 1 records and asks when one of its allocations fails.
struct Missing {
    Lines lines;
    std::vector<std::string> asked;
    bool stops = false; // with the process instead
};

// The first block of a request's elements, without which the process stops: see below.
Missing Stops() { return {{}, {}, true}; }

const auto kNoHandle = Says(kError, "tlv_init", "tlv_init tlv = NULL");
auto NoMemoryIn(const char* function) { return Says(kError, function, "memory use out, malloc failed"); }

class EventMemory : public EventFunctions {
protected:
    // Fails each allocation of the call in its turn, counted from 1, and then none. Looks at what a failure left behind
    // before the next one.
    template <class Call, class Look>
    void FailEachAllocationOf(Call call, const std::vector<Missing>& allocations, Look look) {
        int nth = 0;
        for (const Missing& missing : allocations) {
            SCOPED_TRACE(++nth);
            if (missing.stops)
                continue;
            {
                const Fail fail(test::Call::Allocate, ENOMEM, nth);
                EXPECT_EQ(call(), 1);
                EXPECT_EQ(fail.Failures(), 1);
            }
            ExpectLines(missing.lines);
            EXPECT_EQ(Asked(), missing.asked);
            look(nth);
        }
        {
            const Fail fail(test::Call::Allocate, ENOMEM, nth + 1);
            EXPECT_EQ(call(), 0) << "it makes more allocations than were failed here";
            EXPECT_EQ(fail.Failures(), 0);
        }
        ExpectLines({});
    }
};

TEST_F(EventMemory, ThatIsMissingGivesANewHandleBack) {
    std::uint32_t handle = kUntouched;
    FailEachAllocationOf(
        [&] { return vela_event_new(&handle); },
        {{{kNoHandle, Says(kError, kControl, "tlv init failed")}, {}},
         Stops(),
         {{kNoHandle, Says(kError, kControl, "vela_event_reg_begin failed ops_check_err = ack cmd is error!")},
          {"11.0"}}},
        [&](int) {
            EXPECT_EQ(handle, kUntouched);
            EXPECT_TRUE(IsEmptied(0));
        });
    EXPECT_EQ(handle, 0U);
    EXPECT_EQ(g_evtMgr[0].inUse, 1);
}

// The last allocation is the tag's entry in the registry: the service has the subscription by then.
TEST_F(EventMemory, ThatIsMissingAddsNoTag) {
    const tagVELA_IFSTATE_PARA para = Interface();
    const std::uint32_t handle = New();
    const char* const subscribe = "ops_ifm_ifstate_subscribe";
    FailEachAllocationOf(
        [&] { return vela_event_add(handle, VELA_EVENT_IFSTATE, "link", &para); },
        {{{kNoHandle, Says(kError, subscribe, "tlv construct error"), Says(kError, kAdd, "link")}, {}},
         Stops(),
         {{kNoHandle, Says(kError, subscribe, "ack cmd is error!"), Says(kError, kAdd, "link")}, {"47"}},
         {{NoMemoryIn("vela_event_add")}, {"47"}}},
        [&](int) { EXPECT_STREQ(g_evtMgr[handle].expression, ""); });
    EXPECT_STREQ(g_evtMgr[handle].expression, "link");
}

// Behind the joined tags come the callback's entry in the registry and its name, and then the last request.
TEST_F(EventMemory, ThatIsMissingRegistersNothingButBeforeTheLastRequest) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    FailEachAllocationOf(
        [&] { return vela_event_reg(handle, Remember); },
        {{{kNoHandle, Says(kError, "vela_event_reg_correlate", "tlv init failed")}, {}},
         Stops(),
         {{kNoHandle, Says(kError, "vela_event_reg_correlate", "ack cmd is error!")}, {"41"}},
         {{NoMemoryIn("vela_event_reg")}, {"41"}},
         {{NoMemoryIn("vela_event_reg")}, {"41"}},
         {{kNoHandle, Says(kError, kControl, "tlv init failed")}, {"41"}},
         Stops(),
         {{kNoHandle, Says(kError, kControl, "vela_event_reg_finish failed ops_check_err = ack cmd is error!")},
          {"41", "11.1"}}},
        [&](int nth) {
            EXPECT_EQ(g_evtMgr[handle].inUse, 1);
            delivered.clear();
            Notify(Text(1, NameHere()) + Text(2, "link"));
            EXPECT_THAT(delivered, SizeIs(nth < 6 ? 0 : 1));
            g_evt.ClearRes();
            TakeRecords();
        });
}

TEST_F(EventMemory, ThatIsMissingLeavesAHandleAsItWas) {
    const std::uint32_t handle = New();
    MustAdd(handle, "link");
    ASSERT_EQ(vela_event_reg_imp(handle, Remember), 0);
    peer.TakeRequests();
    const EventHandle before = g_evtMgr[handle];
    FailEachAllocationOf(
        [&] { return vela_event_free(handle); },
        {{{kNoHandle, Says(kError, kControl, "tlv init failed"), Says(kError, kFree, "called error")}, {}},
         Stops(),
         {{kNoHandle, Says(kError, kControl, "vela_event_unreg failed ops_check_err = ack cmd is error!"),
           Says(kError, kFree, "called error")},
          {"11.2"}}},
        [&](int) {
            EXPECT_EQ(std::memcmp(&before, &g_evtMgr[handle], sizeof before), 0);
            delivered.clear();
            Notify(Text(1, NameHere()) + Text(2, "link"));
            ASSERT_THAT(delivered, SizeIs(1));
            EXPECT_EQ(delivered[0].kind, VELA_EVENT_IFSTATE);
        });
    EXPECT_TRUE(IsEmptied(handle));
}

// Nothing is sent by then, and so nobody need be there.
class EventDeathTest : public EventState {
protected:
    EventDeathTest() {
        ::testing::FLAGS_gtest_death_test_style = "threadsafe";
        g_bSessionIsOpen = 1;
        py_file = kClient;
    }
    ~EventDeathTest() override {
        g_bSessionIsOpen = 0;
        py_file = nullptr;
    }

    template <class Call> static void ExpectStop(Call call) {
        EXPECT_EXIT(
            {
                const Fail fail(test::Call::Allocate, ENOMEM, 2);
                call();
            },
            ::testing::KilledBySignal(SIGABRT), "Assertion `tlv->buff' failed");
    }
};

TEST_F(EventDeathTest, TheProcessStopsWithoutTheFirstBlockOfTheElements) {
    const tagVELA_IFSTATE_PARA para = Interface();
    std::uint32_t handle = kUntouched;
    ExpectStop([&] { vela_event_new(&handle); });
    g_evtMgr[0].inUse = 1;
    ExpectStop([&] { vela_event_add(0, VELA_EVENT_IFSTATE, "link", &para); });
    ExpectStop([&] { vela_event_reg(0, Remember); });
    ExpectStop([&] { vela_event_free(0); });
    ExpectStop([] { vela_event_reg_finish(); });
}

} // namespace
