// The session: order of checks, the bytes of its three requests, and what becomes of every reply to them.
#include <algorithm>
#include <thread>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "inject.h"
#include "support.h"

namespace integration {
namespace {

using sim::Item;

constexpr const char* open_function = "vela_session_open_imp";
constexpr const char* close_function = "vela_session_close_imp";
constexpr const char* keepalive_function = "vela_session_keepalive_imp";

constexpr std::uint32_t untouched = 0x5eed5eed;

class Session : public LibraryTest {};

// Opening -----------------------------------------------------------------------------------------------------------

// Checks are made in one order: what fails first is reported, and nothing else.
struct OpenCheck {
    const char* name;
    bool initialised;
    bool open_already;
    bool has_handle;
    bool has_cfg;
    std::int32_t type;
    std::int32_t code;
    std::vector<Record> records;
};
std::ostream& operator<<(std::ostream& out, const OpenCheck& row) { return out << row.name; }

class SessionOpenCheck : public LibraryTest, public testing::WithParamInterface<OpenCheck> {};

TEST_P(SessionOpenCheck, IsReported) {
    const OpenCheck& row = GetParam();
    if (row.open_already)
        open_session();
    else if (row.initialised)
        init();
    const auto connections = service.connections();
    const auto cfg = configuration("abc", row.type);
    std::uint32_t handle = untouched;

    EXPECT_EQ(vela_session_open(row.has_cfg ? &cfg : nullptr, row.has_handle ? &handle : nullptr), row.code);

    expect_log(row.records);
    EXPECT_EQ(handle, untouched);
    EXPECT_EQ(service.connections(), connections);
    if (row.open_already) {
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK) << "the open session is as it was";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Order, SessionOpenCheck,
    testing::Values(
        OpenCheck{"NotInitialisedBeforeANullHandle",
                  false,
                  false,
                  false,
                  false,
                  0,
                  VELA_ERROR_NOT_INIT,
                  {failure(open_function, "vela not init")}},
        OpenCheck{"NotInitialised",
                  false,
                  false,
                  true,
                  true,
                  0,
                  VELA_ERROR_NOT_INIT,
                  {failure(open_function, "vela not init")}},
        OpenCheck{"NotInitialisedBeforeTheType",
                  false,
                  false,
                  true,
                  true,
                  1,
                  VELA_ERROR_NOT_INIT,
                  {failure(open_function, "vela not init")}},
        OpenCheck{"ANullHandleBeforeANullConfiguration",
                  true,
                  false,
                  false,
                  false,
                  0,
                  VELA_ERROR_NULL,
                  {failure(open_function, "param session_hdl == NULL")}},
        OpenCheck{"ANullHandle",
                  true,
                  false,
                  false,
                  true,
                  0,
                  VELA_ERROR_NULL,
                  {failure(open_function, "param session_hdl == NULL")}},
        OpenCheck{"ANullHandleBeforeAnOpenSession",
                  true,
                  true,
                  false,
                  true,
                  0,
                  VELA_ERROR_NULL,
                  {failure(open_function, "param session_hdl == NULL")}},
        OpenCheck{"ANullConfiguration",
                  true,
                  false,
                  true,
                  false,
                  0,
                  VELA_ERROR_NULL,
                  {failure(open_function, "VELA_SESSION_CFG_T == NULL")}},
        OpenCheck{"ANullConfigurationBeforeAnOpenSession",
                  true,
                  true,
                  true,
                  false,
                  0,
                  VELA_ERROR_NULL,
                  {failure(open_function, "VELA_SESSION_CFG_T == NULL")}},
        OpenCheck{"AnOpenSession",
                  true,
                  true,
                  true,
                  true,
                  0,
                  VELA_ERROR_SESSION_OPEN,
                  {failure(open_function, "session has been open")}},
        OpenCheck{"AnOpenSessionBeforeTheType",
                  true,
                  true,
                  true,
                  true,
                  1,
                  VELA_ERROR_SESSION_OPEN,
                  {failure(open_function, "session has been open")}},
        OpenCheck{"TypeOneIsNotOffered",
                  true,
                  false,
                  true,
                  true,
                  1,
                  VELA_ERROR_TYPE,
                  {failure(open_function, "socket connect faild.")}},
        OpenCheck{
            "TypeSevenComesBack", true, false, true, true, 7, 7, {failure(open_function, "socket connect faild.")}},
        OpenCheck{"ANegativeTypeComesBack",
                  true,
                  false,
                  true,
                  true,
                  -3,
                  -3,
                  {failure(open_function, "socket connect faild.")}}),
    [](const auto& row) { return row.param.name; });

TEST_F(Session, OpeningWithoutAServiceFailsAndMayBeRepeated) {
    init();
    service.stop();
    const auto cfg = configuration();
    std::uint32_t handle = untouched;

    EXPECT_EQ(vela_session_open(&cfg, &handle), VELA_ERROR);
    expect_log({failure("ConnectServer", "connect failed!"), failure(open_function, "socket connect faild.")});
    EXPECT_EQ(handle, untouched);

    service.start();
    EXPECT_EQ(vela_session_open(&cfg, &handle), VELA_OK);
    EXPECT_EQ(handle, granted_session);
}

TEST_F(Session, AConnectThatFailsLeavesItsSocketOpen) {
    init();
    service.stop();
    const auto before = open_files().size();
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
    EXPECT_EQ(open_files().size(), before + 1);
    take_log();
    // No other type comes so far.
    for (const std::int32_t type : {1, 7}) {
        const auto cfg = configuration("abc", type);
        std::uint32_t handle = 0;
        EXPECT_EQ(vela_session_open(&cfg, &handle), type == 1 ? VELA_ERROR_TYPE : type);
        EXPECT_EQ(open_files().size(), before + 1);
    }
    take_log();
}

TEST_F(Session, OpeningFailsWhenItsReaderCannotBeStarted) {
    init();
    const auto cfg = configuration();
    std::uint32_t handle = untouched;

    refuse_thread(1);
    EXPECT_EQ(vela_session_open(&cfg, &handle), VELA_ERROR);

    expect_log({failure(open_function, "CreateRecvThread() failed")});
    EXPECT_EQ(handle, untouched);
    EXPECT_TRUE(requests().empty());
    EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

TEST_F(Session, OpeningSendsTheClientName) {
    init();
    const auto cfg = configuration("abc");
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_session_open(&cfg, &handle), VELA_OK);

    // header  version 1, type 1 (session control), send id 1, reserved 0, total length 32, session 0
    // 1: 1    control kind: open
    // 5: "abc"
    ASSERT_EQ(requests().size(), 1U);
    EXPECT_EQ(sim::hex(requests()[0].bytes), sim::hex(bytes("01 01 01 00  00 20 00 00"
                                                            "01 00 00 00  04 00 00 00  01 00 00 00"
                                                            "05 00 00 00  04 00 00 00  61 62 63 00")));
}

TEST_F(Session, OpeningSendsAnEmptyClientName) {
    init();
    const auto cfg = configuration("");
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_session_open(&cfg, &handle), VELA_OK);
    EXPECT_EQ(last_request().text(5), "");
}

TEST_F(Session, OpeningSendsTheLongestClientName) {
    init();
    const std::string name(63, 'n');
    const auto cfg = configuration(name);
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_session_open(&cfg, &handle), VELA_OK);
    EXPECT_EQ(last_request().text(5), name);
}

TEST_F(Session, AClientNameThatFillsItsFieldIsSentWhole) {
    init();
    const auto cfg = configuration(std::string(64, 'n'));
    std::uint32_t handle = untouched;

    EXPECT_EQ(vela_session_open(&cfg, &handle), VELA_OK);

    EXPECT_EQ(handle, granted_session);
    const std::vector<Item> expected = {Item::integer(1, 1), Item::text(5, std::string(64, 'n'))};
    EXPECT_EQ(last_request().items, expected);
}

TEST_F(Session, TheHandleIsTheWholeIdAndHeadersCarryItsLowHalf) {
    init();
    answer("session.open", {.items = opened(70000)});
    const auto cfg = configuration();
    std::uint32_t handle = 0;

    ASSERT_EQ(vela_session_open(&cfg, &handle), VELA_OK);

    EXPECT_EQ(handle, 70000U);
    expect_log({note(open_function, any_text)});
    EXPECT_EQ(last_request().session_id, 0);
    EXPECT_EQ(vela_session_keepalive(handle), VELA_OK);
    EXPECT_EQ(last_request().session_id, 4464);
    std::uint32_t cli = 0;
    EXPECT_EQ(vela_cli_open(&cli), VELA_OK);
    EXPECT_EQ(last_request().session_id, 4464);
    EXPECT_EQ(last_request().text(5), client_name(4464));
}

TEST_F(Session, AnOpenRequestOfALaterSessionStillCarriesSessionZero) {
    open_session();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(last_request().session_id, 0);
}

TEST_F(Session, TheClientIsNamedAfterTheThreadThatOpened) {
    init();
    std::string name_of_opener;
    std::thread opener([&] {
        name_of_opener = client_name(granted_session);
        EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
    });
    opener.join();
    ASSERT_NE(name_of_opener, client_name(granted_session));

    ASSERT_EQ(request_kind("cli.open").call(), VELA_OK);
    EXPECT_EQ(last_request().text(5), name_of_opener);
}

TEST_F(Session, WorksForAProgramThatClosedItsStandardInput) {
    init();
    close(STDIN_FILENO);
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
        ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    }
}

TEST_F(Session, TheSocketGivesUpSendingAfterSixtySeconds) {
    open_session();
    const auto sockets = client_sockets();
    ASSERT_EQ(sockets.size(), 1U);
    timeval limit{};
    socklen_t length = sizeof limit;
    ASSERT_EQ(getsockopt(sockets[0], SOL_SOCKET, SO_SNDTIMEO, &limit, &length), 0);
    EXPECT_EQ(limit.tv_sec, 60);
    EXPECT_EQ(limit.tv_usec, 0);
}

TEST_F(Session, EveryOpenMakesAConnectionAndLeavesTheOneBeforeOpen) {
    open_session();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_EQ(service.connections(), 2U);
    EXPECT_EQ(client_sockets().size(), 2U);
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    EXPECT_EQ(requests().back().client, 2);
}

// Keep-alive and close ----------------------------------------------------------------------------------------------

TEST_F(Session, KeepaliveSendsItsKindAndNothingElse) {
    open_session();
    ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK);

    // header  version 1, type 1, send id 2, reserved 0, total length 20, session 7
    // 1: 5    control kind: keep alive
    EXPECT_EQ(sim::hex(requests().back().bytes), sim::hex(bytes("01 01 02 00  00 14 00 07"
                                                                "01 00 00 00  04 00 00 00  05 00 00 00")));
    expect_no_log();
}

TEST_F(Session, CloseSendsItsKindAndNothingElse) {
    open_session();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);

    // header  version 1, type 1, send id 2, reserved 0, total length 20, session 7
    // 1: 3    control kind: close
    EXPECT_EQ(sim::hex(requests().back().bytes), sim::hex(bytes("01 01 02 00  00 14 00 07"
                                                                "01 00 00 00  04 00 00 00  03 00 00 00")));
    expect_no_log();
}

TEST_F(Session, TheHandleIsNotLookedAt) {
    open_session();
    EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
    EXPECT_EQ(vela_session_keepalive(0xffffffff), VELA_OK);
    EXPECT_EQ(last_request().session_id, granted_session);
    EXPECT_EQ(vela_session_close(12345), VELA_OK);
    EXPECT_EQ(last_request().session_id, granted_session);
}

TEST_F(Session, KeepaliveWithoutASessionIsRefusedInSilence) {
    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION) << "before vela_init";
    init();
    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION) << "before vela_session_open";
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    take_log();
    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION) << "after vela_session_close";
    expect_no_log();
}

TEST_F(Session, CloseWithoutASessionIsRefused) {
    const auto refused_close = failure(close_function, "session not open ");
    EXPECT_EQ(vela_session_close(0), VELA_ERROR_NO_SESSION) << "before vela_init";
    expect_log({refused_close});
    open_session();
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    EXPECT_EQ(vela_session_close(0), VELA_ERROR_NO_SESSION) << "after vela_session_close";
    expect_log({refused_close});
    EXPECT_EQ(requests("session.close").size(), 1U);
}

TEST_F(Session, NothingIsReadAfterClose) {
    open_session();
    const auto running = library_threads();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    EXPECT_TRUE(eventually([&] { return library_thread_count() == running.size() - 1; }));
    service.hang_up_all();
    ASSERT_TRUE(service.wait_for_clients(0));
    expect_no_log();
}

TEST_F(Session, CloseEndsAnOpenCliChannelFirst) {
    open_cli();
    service.clear_requests();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);

    ASSERT_EQ(requests().size(), 2U);
    EXPECT_EQ(requests()[0].operation, "cli.close");
    EXPECT_EQ(requests()[0].message.integer(6), granted_handle);
    EXPECT_EQ(requests()[1].operation, "session.close");
    expect_log({note("vela_cli_close_imp", "cli close success, cli handle = 3")});
}

TEST_F(Session, CloseGoesOnWhenTheCliChannelDoesNotEnd) {
    open_cli();
    answer("cli.close", {.items = refused(20, 5, "busy")});

    EXPECT_EQ(vela_session_close(granted_session), VELA_OK);

    expect_log({failure("vela_cli_close_imp", "busy"), failure(close_function, "cli close failed")});
    EXPECT_EQ(requests().back().operation, "session.close");
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_ERROR_NO_SESSION);

    // The channel counts as open in the next session too, until it is closed there.
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    take_log();
    EXPECT_EQ(request_kind("cli.open").call(), VELA_ERROR);
    expect_log({failure("vela_cli_open_imp", "cli has opened")});
    answer_as_usual();
    EXPECT_EQ(vela_cli_close(granted_handle), VELA_OK);
    EXPECT_EQ(request_kind("cli.open").call(), VELA_OK);
}

TEST_F(Session, ARefusedCloseLeavesTheSessionOpen) {
    open_session();
    answer("session.close", {.items = session_acknowledged(4, 1)});
    EXPECT_EQ(vela_session_close(granted_session), VELA_ERROR);
    expect_log({failure(close_function, "tlv parse, err description = (null)")});
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_SESSION_OPEN);
    expect_log({failure(open_function, "session has been open")});
}

// Replies -----------------------------------------------------------------------------------------------------------

const Record bad_length_7 = failure("ConvertRecvDataNtohs", "invalid message length = 7");
const Record bad_length_9000 = failure("ConvertRecvDataNtohs", "invalid message length = 9000");
const Record bad_length_8013 = failure("ConvertRecvDataNtohs", "invalid message length = 8013");
const Record bad_length_0 = failure("ConvertRecvDataNtohs", "invalid message length = 0");

class SessionOpenReply : public LibraryTest, public testing::WithParamInterface<ReplyRow> {};

TEST_P(SessionOpenReply, IsJudged) {
    const ReplyRow& row = GetParam();
    init();
    answer("session.open", row.reply);
    const auto cfg = configuration();
    std::uint32_t handle = untouched;

    EXPECT_EQ(vela_session_open(&cfg, &handle), row.code);
    expect_log(row.records);

    if (row.code == VELA_OK) {
        EXPECT_EQ(vela_session_keepalive(handle), VELA_OK);
        return;
    }
    EXPECT_EQ(handle, untouched);
    EXPECT_EQ(vela_session_keepalive(0), VELA_ERROR_NO_SESSION);
    answer_as_usual();
    EXPECT_EQ(vela_session_open(&cfg, &handle), VELA_OK) << "a failed open may be repeated";
    EXPECT_EQ(handle, granted_session);
    EXPECT_EQ(vela_session_keepalive(handle), VELA_OK);
}

const Record open_refused = failure(open_function, "err description = (null)");
const Record open_not_sent = failure(open_function, "SendRequest failed");
const Record open_wrong_type = failure(open_function, "server ack not equal SDK_SESSION_CONTROL_RESPONSE");
const Record open_without_id = failure(open_function, "get session id from tlv failed");
const Record open_done = note(open_function, "session open success, session id = 7");

INSTANTIATE_TEST_SUITE_P(
    Reply, SessionOpenReply,
    testing::Values(
        ReplyRow{"Accepted", {.items = opened(7)}, 0, {open_done}},
        ReplyRow{"ItemsInAnotherOrder",
                 {.items = {Item::u32(4, 7), Item::integer(2, 0), Item::integer(1, 2)}},
                 0,
                 {open_done}},
        ReplyRow{"TheFirstOfEqualTagsCounts",
                 {.items = with(with(opened(7), Item::u32(4, 9)), Item::integer(2, 5))},
                 0,
                 {open_done}},
        ReplyRow{"UnknownItemsAreSkipped",
                 {.items = {Item::text(77, "x"), Item::integer(1, 2), Item::raw(78, ""), Item::integer(2, 0),
                            Item::u32(4, 7)}},
                 0,
                 {open_done}},
        ReplyRow{"SessionZero", {.items = opened(0)}, 0, {note(open_function, "session open success, session id = 0")}},
        ReplyRow{"LengthLongerThanWhatIsSent", {.items = opened(7), .total_length = 60}, 0, {open_done}},
        ReplyRow{"Refused", {.items = session_acknowledged(2, 5)}, 1, {open_refused}},
        ReplyRow{"RefusedWithADescriptionThatIsNotReported",
                 {.items = with(session_acknowledged(2, 5), Item::text(3, "no room"))},
                 1,
                 {open_refused}},
        ReplyRow{
            "RefusedWithASessionId", {.items = with(session_acknowledged(2, -1), Item::u32(4, 7))}, 1, {open_refused}},
        ReplyRow{"AnotherKind", {.items = with(session_acknowledged(4), Item::u32(4, 7))}, 1, {open_refused}},
        ReplyRow{"WithoutKind", {.items = without(opened(7), 1)}, 1, {open_refused}},
        ReplyRow{"WithoutCode", {.items = without(opened(7), 2)}, 1, {open_refused}},
        ReplyRow{"WithoutSessionId", {.items = without(opened(7), 4)}, 1, {open_without_id}},
        ReplyRow{"SessionIdOfTwoBytes",
                 {.items = with(session_acknowledged(2), Item::raw(4, std::string(2, '\1')))},
                 1,
                 {open_without_id}},
        ReplyRow{"SessionIdPastTheEnd",
                 {.items = session_acknowledged(2), .tail = element(4, 4, "\1")},
                 1,
                 {open_without_id}},
        ReplyRow{"CodeOfTwoBytes",
                 {.items = {Item::integer(1, 2), Item::raw(2, std::string(2, '\0')), Item::u32(4, 7)}},
                 1,
                 {open_refused}},
        ReplyRow{"ItemOfNegativeLength",
                 {.items = session_acknowledged(2), .tail = element(3, -8, "") + element(4, 4, "\7\0\0\0")},
                 1,
                 {open_without_id}},
        ReplyRow{"NoItems", {}, 1, {open_refused}},
        ReplyRow{"LengthThatCutsTheSessionId", {.items = opened(7), .total_length = 32}, 1, {open_without_id}},
        ReplyRow{"TypeOfAnOperationReply", {.items = opened(7), .type = 12}, 1, {open_wrong_type}},
        ReplyRow{"TypeOfARequest", {.items = opened(7), .type = 1}, 1, {open_wrong_type}},
        ReplyRow{"TypeThatIsNone", {.items = opened(7), .type = 99}, 1, {open_wrong_type}},
        ReplyRow{"LengthZero", {.items = opened(7), .total_length = 0}, 1, {bad_length_0, open_not_sent}},
        ReplyRow{"LengthSeven", {.items = opened(7), .total_length = 7}, 1, {bad_length_7, open_not_sent}},
        ReplyRow{"LengthEightThousandAndThirteen",
                 {.items = opened(7), .total_length = 8013},
                 1,
                 {bad_length_8013, open_not_sent}},
        ReplyRow{
            "LengthNineThousand", {.items = opened(7), .total_length = 9000}, 1, {bad_length_9000, open_not_sent}}),
    row_name);

class SessionKeepaliveReply : public LibraryTest, public testing::WithParamInterface<ReplyRow> {};

TEST_P(SessionKeepaliveReply, IsJudged) {
    const ReplyRow& row = GetParam();
    open_session();
    answer("session.keepalive", row.reply);

    EXPECT_EQ(vela_session_keepalive(granted_session), row.code);
    expect_log(row.records);

    answer_as_usual();
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK) << "the session stays open";
}

Record keepalive_refused(const std::string& description, int code, int kind) {
    return failure(keepalive_function, "keep alive parse tlv, err description = " + description +
                                           " SDK_CTRL_TLV_RET = " + std::to_string(code) +
                                           " SDK_CTRL_TLV_MSG_TYPE = " + std::to_string(kind));
}

ReplyRow keepalive_text_row(const char* name, std::size_t length) {
    const std::string text(length, 'e');
    return {name, {.items = with(session_acknowledged(6, 5), Item::text(3, text))}, 1, {keepalive_refused(text, 5, 6)}};
}

const Record keepalive_wrong_type = failure(keepalive_function, "recv data is not SDK_SESSION_CONTROL_RESPONSE");

INSTANTIATE_TEST_SUITE_P(
    Reply, SessionKeepaliveReply,
    testing::Values(
        ReplyRow{"Accepted", {.items = session_acknowledged(6)}, 0, {}},
        ReplyRow{"AcceptedWithADescription", {.items = with(session_acknowledged(6), Item::text(3, "fine"))}, 0, {}},
        ReplyRow{"Refused",
                 {.items = with(session_acknowledged(6, 5), Item::text(3, "who are you"))},
                 1,
                 {keepalive_refused("who are you", 5, 6)}},
        ReplyRow{"AnotherKind",
                 {.items = with(session_acknowledged(4), Item::text(3, "hm"))},
                 1,
                 {keepalive_refused("hm", 0, 4)}},
        keepalive_text_row("TextOf99", 99), keepalive_text_row("TextOf100", 100), keepalive_text_row("TextOf150", 150),
        keepalive_text_row("TextOf2000", 2000),
        ReplyRow{"WithoutDescription", {.items = session_acknowledged(6, 5)}, 1, {keepalive_refused("(null)", 5, 6)}},
        ReplyRow{"DescriptionWithoutItsEnd",
                 {.items = with(session_acknowledged(6, 5), Item::raw(3, "endless"))},
                 1,
                 {keepalive_refused("(null)", 5, 6)}},
        ReplyRow{"DescriptionPastTheEnd",
                 {.items = session_acknowledged(6, 5), .tail = element(3, 500, "far")},
                 1,
                 {keepalive_refused("(null)", 5, 6)}},
        ReplyRow{
            "WithoutKind", {.items = {Item::integer(2, 0), Item::text(3, "hm")}}, 1, {keepalive_refused("hm", 0, -1)}},
        ReplyRow{
            "WithoutCode", {.items = {Item::integer(1, 6), Item::text(3, "hm")}}, 1, {keepalive_refused("hm", -1, 6)}},
        ReplyRow{"NoItems", {}, 1, {keepalive_refused("(null)", -1, -1)}},
        ReplyRow{"TypeOfAnOperationReply", {.items = session_acknowledged(6), .type = 12}, 1, {keepalive_wrong_type}},
        ReplyRow{"TypeOfARequest", {.items = session_acknowledged(6), .type = 1}, 1, {keepalive_wrong_type}},
        ReplyRow{"TypeThatIsNone", {.items = session_acknowledged(6), .type = 0}, 1, {keepalive_wrong_type}},
        ReplyRow{"LengthSeven", {.items = session_acknowledged(6), .total_length = 7}, 1, {bad_length_7}},
        ReplyRow{"LengthNineThousand", {.items = session_acknowledged(6), .total_length = 9000}, 1, {bad_length_9000}}),
    row_name);

class SessionCloseReply : public LibraryTest, public testing::WithParamInterface<ReplyRow> {};

TEST_P(SessionCloseReply, IsJudged) {
    const ReplyRow& row = GetParam();
    open_session();
    answer("session.close", row.reply);

    EXPECT_EQ(vela_session_close(granted_session), row.code);
    expect_log(row.records);

    answer_as_usual();
    const std::int32_t still_open = row.code == VELA_OK ? VELA_ERROR_NO_SESSION : VELA_OK;
    EXPECT_EQ(vela_session_keepalive(granted_session), still_open);
    if (row.code != VELA_OK) {
        EXPECT_EQ(vela_session_close(granted_session), VELA_OK);
    }
    EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
}

const Record close_refused = failure(close_function, "tlv parse, err description = (null)");
const Record close_not_sent = failure(close_function, "SendRequest failed");
const Record close_wrong_type = failure(close_function, "SERVER ACK MSG IS NOT SDK_SESSION_CONTROL_RESPONSE");

INSTANTIATE_TEST_SUITE_P(
    Reply, SessionCloseReply,
    testing::Values(
        ReplyRow{"Accepted", {.items = session_acknowledged(4)}, 0, {}},
        ReplyRow{"Refused", {.items = session_acknowledged(4, 5)}, 1, {close_refused}},
        ReplyRow{"RefusedWithADescriptionThatIsNotReported",
                 {.items = with(session_acknowledged(4, 5), Item::text(3, "no"))},
                 1,
                 {close_refused}},
        ReplyRow{"AnotherKind", {.items = session_acknowledged(2)}, 1, {close_refused}},
        ReplyRow{"WithoutKind", {.items = {Item::integer(2, 0)}}, 1, {close_refused}},
        ReplyRow{"WithoutCode", {.items = {Item::integer(1, 4)}}, 1, {close_refused}},
        ReplyRow{"NoItems", {}, 1, {close_refused}},
        ReplyRow{"TypeOfAnOperationReply", {.items = session_acknowledged(4), .type = 12}, 1, {close_wrong_type}},
        ReplyRow{"TypeOfARequest", {.items = session_acknowledged(4), .type = 1}, 1, {close_wrong_type}},
        ReplyRow{
            "LengthSeven", {.items = session_acknowledged(4), .total_length = 7}, 1, {bad_length_7, close_not_sent}},
        ReplyRow{"LengthNineThousand",
                 {.items = session_acknowledged(4), .total_length = 9000},
                 1,
                 {bad_length_9000, close_not_sent}}),
    row_name);

} // namespace
} // namespace integration
