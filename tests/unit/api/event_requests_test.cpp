// What all requests of the events have in common, one row for each: the order of their checks, what is recorded when a
// step fails, and whether a send id is used up by it.
#include <array>
#include <cerrno>
#include <gmock/gmock.h>
#include <optional>
#include <string>

#include "api/event.h"
#include "api/subscriptions.h"
#include "support/calls.h"
#include "support/records.h"
#include "unit/api/event_peer.h"

namespace {

using ::testing::SizeIs;
using namespace test;

using Text1 = std::optional<std::string>; // none: nothing is recorded

struct RequestRow {
    const char* name;
    std::uint32_t (*call)();
    const char* function; // in its records
    std::int32_t code;
    std::uint32_t withoutSession; // the result

    Text1 noSession;
    Text1 nullName;
    Text1 emptyName;
    Text1 noBuffer;
    Text1 notBuilt;
    Text1 notSent;
    int refusedLevel;
    std::string refused; // in front of the service's words

    bool idBeforeBuffer = false; // the header is filled before the elements are built
};
std::ostream& operator<<(std::ostream& out, const RequestRow& row) { return out << row.name; }

class EventRequest : public OpenSession, public ::testing::WithParamInterface<RequestRow> {
protected:
    const RequestRow& row = GetParam();

    // The lines of the layers below, and then the request's own, if it has one.
    void ExpectFailure(Lines lines, const Text1& text, int level = kError) {
        if (text)
            lines.push_back(Says(level, row.function, *text));
        ExpectLines(lines);
    }

    void ExpectIdsUsed(unsigned count) { EXPECT_EQ(static_cast<unsigned>(g_sendId), kNextId + count); }
};

TEST_P(EventRequest, ThatIsAcceptedIsOneMessageWithTheNextIdAndNoRecord) {
    EXPECT_EQ(row.call(), 0U);
    ASSERT_THAT(peer.Requests(), SizeIs(1));
    const Decoded request = Decode(peer.Requests()[0]);
    EXPECT_EQ(request.version, 1U);
    EXPECT_EQ(request.type, 11U);
    EXPECT_EQ(request.sendId, kNextId);
    EXPECT_EQ(request.reserved, 0U);
    EXPECT_EQ(request.session, kSession);
    EXPECT_EQ(request.kind, 1U);
    EXPECT_EQ(request.bodyLength, request.totalLength - 8);
    ASSERT_GE(request.elements.size(), 3U);
    EXPECT_EQ(request.elements[0].tag, 0);
    EXPECT_EQ(request.elements[0].Int(), row.code);
    EXPECT_EQ(request.elements[1].tag, 4);
    EXPECT_EQ(request.elements[1].Text(), kClient);
    ExpectLines({});
    ExpectIdsUsed(1);
}

TEST_P(EventRequest, WithoutASessionIsReportedBeforeAnythingElse) {
    g_bSessionIsOpen = 0;
    py_file = nullptr;
    EXPECT_EQ(row.call(), row.withoutSession);
    ExpectFailure({}, row.noSession);
    ExpectNothingSent();
    ExpectIdsUsed(0);
}

TEST_P(EventRequest, NeedsTheSessionFlagToBeOne) {
    g_bSessionIsOpen = 2;
    EXPECT_EQ(row.call(), row.withoutSession);
    ExpectFailure({}, row.noSession);
    ExpectNothingSent();
}

TEST_P(EventRequest, WithoutAClientNameIsNotSent) {
    py_file = nullptr;
    EXPECT_EQ(row.call(), 1U);
    ExpectFailure({}, row.nullName);
    py_file = "";
    EXPECT_EQ(row.call(), 1U);
    ExpectFailure({}, row.emptyName);
    ExpectNothingSent();
    ExpectIdsUsed(0);
}

TEST_P(EventRequest, WithoutMemoryForItsElementsIsNotSent) {
    {
        const Fail fail(Call::Allocate, ENOMEM, 1);
        EXPECT_EQ(row.call(), 1U);
    }
    ExpectFailure({Says(kError, "tlv_init", "tlv_init tlv = NULL")}, row.noBuffer);
    ExpectNothingSent();
    ExpectIdsUsed(row.idBeforeBuffer ? 1 : 0);
}

// The third allocation is the growth of the elements' buffer beyond its first 1,000 bytes.
TEST_P(EventRequest, WithoutMemoryForMoreElementsIsNotSent) {
    const std::string longName(2000, 'n');
    py_file = longName.c_str();
    {
        const Fail fail(Call::Allocate, ENOMEM, 3);
        EXPECT_EQ(row.call(), 1U);
        EXPECT_EQ(fail.Failures(), 1);
    }
    ExpectFailure({}, row.notBuilt);
    ExpectNothingSent();
    ExpectIdsUsed(row.idBeforeBuffer ? 1 : 0);
    EXPECT_EQ(row.call(), 0U) << "with memory it is sent";
}

TEST_P(EventRequest, WithoutOneOfItsElementsIsNotSent) {
    unsigned failures = 0;
    for (;; ++failures) {
        const Fail fail(Call::TlvAppend, 0, static_cast<int>(failures) + 1);
        const std::uint32_t code = row.call();
        if (fail.Failures() == 0) {
            EXPECT_EQ(code, 0U);
            break;
        }
        EXPECT_EQ(code, 1U) << failures;
        ExpectFailure({}, row.notBuilt);
        ASSERT_LT(failures, 20U);
    }
    ASSERT_THAT(peer.Requests(), SizeIs(1));
    EXPECT_EQ(Decode(peer.Requests()[0]).elements.size(), failures) << "each element's failure was seen";
    ExpectIdsUsed(row.idBeforeBuffer ? failures + 1 : 1);
}

TEST_P(EventRequest, WhoseReplyCannotBeReadFails) {
    const Fail fail(Call::TlvInit, 0, 2);
    EXPECT_EQ(row.call(), 1U);
    EXPECT_EQ(fail.Failures(), 1);
    ExpectIdsUsed(1);
}

TEST_P(EventRequest, ThatDoesNotFitAFrameIsRefusedAndNeverCut) {
    const std::string longName(8000, 'n');
    py_file = longName.c_str();
    EXPECT_EQ(row.call(), 1U);
    ExpectFailure({}, row.notBuilt);
    ExpectNothingSent();
}

TEST_P(EventRequest, ThatTheSocketRefusesIsReportedByEveryLayer) {
    {
        const Fail fail(Call::Send, EPIPE);
        EXPECT_EQ(row.call(), 1U);
    }
    ExpectFailure({Says(kError, "SendData", "socket send error"), Says(kError, "SendRequest", "send data failed")},
                  row.notSent);
    ExpectIdsUsed(1);
}

TEST_P(EventRequest, ThatIsNotAnsweredInTimeIsReported) {
    peer.AlwaysAnswer(Silence());
    {
        const Fail fail(Call::SemTimedWait, ETIMEDOUT);
        EXPECT_EQ(row.call(), 1U);
    }
    ExpectFailure({Says(kError, "SendRequest", "wait time out")}, row.notSent);
    ExpectIdsUsed(1);
}

TEST_P(EventRequest, ThatIsAnsweredWithAnImpossibleLengthIsReported) {
    peer.AlwaysAnswer([](Link& link, const Bytes& request) {
        link.Send(WithTotalLength(Operation(12, SendIdOf(request), kSession, 1, Int(0, 12) + Int(1, 0)), 7));
    });
    EXPECT_EQ(row.call(), 1U);
    ExpectFailure({Says(kError, "ConvertRecvDataNtohs", "invalid message length = 7")}, row.notSent);
}

// An interrupted wait is no failure to send: the reply is read as it stands, which is empty.
TEST_P(EventRequest, WhoseWaitIsInterruptedReadsAnEmptyReply) {
    peer.AlwaysAnswer(Silence());
    {
        const Fail fail(Call::SemTimedWait, EINTR);
        EXPECT_EQ(row.call(), 1U);
    }
    ExpectFailure({}, row.refused + "ack cmd is error!", row.refusedLevel);
}

// The service's verdict: the code that it acknowledges, its return code, its words.
struct VerdictRow {
    std::int32_t offset; // of the acknowledged code from the request's
    Bytes rest;
    std::string words;
};

TEST_P(EventRequest, ThatIsRefusedIsReportedOnceInTheServicesWords) {
    const std::array verdicts{
        VerdictRow{1, Int(1, 5) + Text(2, "no such thing"), "no such thing"},
        VerdictRow{1, Int(1, -1) + Text(2, "100 % no"), "100 % no"},
        VerdictRow{1, Int(1, 1) + Text(2, std::string(99, 'w')), std::string(99, 'w')},
        VerdictRow{1, Int(1, 1) + Text(2, std::string(100, 'w')), std::string(99, 'w')},
        VerdictRow{1, Int(1, 1) + Text(2, std::string(3000, 'w')), std::string(99, 'w')},
        VerdictRow{1, Int(1, 1) + Text(2, ""), ""},
        VerdictRow{1, Int(1, 1), "(null)"}, // a refusal without words
        VerdictRow{1, Int(1, 1) + Data(2, Hex("'words'")), "(null)"},
        VerdictRow{1, Text(2, "without a return code"), "without a return code"},
        VerdictRow{1, Data(1, Hex("00 00")) + Text(2, "with half a return code"), "with half a return code"},
        VerdictRow{0, Int(1, 0), "ack cmd is error!"},
        VerdictRow{2, Int(1, 5) + Text(2, "words of another reply"), "ack cmd is error!"},
    };
    for (const VerdictRow& verdict : verdicts) {
        SCOPED_TRACE(verdict.words.substr(0, 30));
        peer.AlwaysAnswer(ScriptReply(Int(0, row.code + verdict.offset) + verdict.rest));
        EXPECT_EQ(row.call(), 1U);
        ExpectFailure({}, row.refused + verdict.words, row.refusedLevel);
    }
}

TEST_P(EventRequest, ThatIsAnsweredWithoutElementsIsRefused) {
    peer.AlwaysAnswer(ScriptReply({}));
    EXPECT_EQ(row.call(), 1U);
    ExpectFailure({}, row.refused + "ack cmd is error!", row.refusedLevel);
    peer.AlwaysAnswer(Reply(12, {}));
    EXPECT_EQ(row.call(), 1U);
    ExpectFailure({}, row.refused + "ack cmd is error!", row.refusedLevel);
}

constexpr const char* kNotOpen = "session not open";
const Text1 kSilent = std::nullopt;

RequestRow Registration(const char* name, std::uint32_t (*call)(), std::uint32_t withoutSession, const char* step) {
    return {.name = name,
            .call = call,
            .function = "vela_ops_fileop",
            .code = 11,
            .withoutSession = withoutSession,
            .noSession = kNotOpen,
            .nullName = "invalid file name",
            .emptyName = "invalid file name",
            .noBuffer = "tlv init failed",
            .notBuilt = "tlv construct failed",
            .notSent = "SendRequest faided",
            .refusedLevel = kError,
            .refused = std::string(step) + " failed ops_check_err = ",
            .idBeforeBuffer = true};
}

INSTANTIATE_TEST_SUITE_P(
    Control, EventRequest,
    ::testing::Values(Registration(
                          "Begin", [] { return vela_ops_fileop(0); }, 14, "vela_event_reg_begin"),
                      Registration(
                          "FinishStep", [] { return vela_ops_fileop(1); }, 14, "vela_event_reg_finish"),
                      Registration(
                          "UnregisterStep", [] { return vela_ops_fileop(2); }, 14, "vela_event_unreg"),
                      Registration("Finish", vela_event_reg_finish, 1, "vela_event_reg_finish"),
                      Registration("Unregister", vela_event_unreg, 1, "vela_event_unreg"),
                      RequestRow{.name = "Correlate",
                                 .call = [] { return vela_event_reg_correlate("link or route"); },
                                 .function = "vela_event_reg_correlate",
                                 .code = 41,
                                 .withoutSession = 14,
                                 .noSession = kNotOpen,
                                 .nullName = "Invalid py_file",
                                 .emptyName = "Invalid py_file",
                                 .noBuffer = "tlv init failed",
                                 .notBuilt = "tlv init failed",
                                 .notSent = "SendRequest failed",
                                 .refusedLevel = kError,
                                 .refused = ""}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Subscribe, EventRequest,
    ::testing::Values(RequestRow{.name = "Log",
                                 .call = [] { return ops_iclog_subscribe("t1", "abc", "alias", "loginfo", 4); },
                                 .function = "ops_iclog_subscribe",
                                 .code = 35,
                                 .withoutSession = 14,
                                 .noSession = kNotOpen,
                                 .nullName = "py_file == NULL",
                                 .emptyName = "strlen(py_file) = 0",
                                 .noBuffer = "Not enough memory",
                                 .notBuilt = "Not enough memory",
                                 .notSent = "SendRequest Failed",
                                 .refusedLevel = kError,
                                 .refused = ""},
                      RequestRow{.name = "InterfaceState",
                                 .call = [] { return ops_ifm_ifstate_subscribe("t1", 2, "eth0", -1); },
                                 .function = "ops_ifm_ifstate_subscribe",
                                 .code = 47,
                                 .withoutSession = 14,
                                 .noSession = kNotOpen,
                                 .nullName = "py_file = NULL",
                                 .emptyName = "length of py_file = 0",
                                 .noBuffer = "tlv construct error",
                                 .notBuilt = "tlv construct error",
                                 .notSent = "SendRequest failed",
                                 .refusedLevel = kError,
                                 .refused = ""},
                      RequestRow{
                          .name = "Route",
                          .call = [] { return ops_route_subscribe("t1", "10.1.0.0", 24, 33, 33, 33, "ab", "cd"); },
                          .function = "ops_route_subscribe",
                          .code = 33,
                          .withoutSession = 14,
                          .noSession = kNotOpen,
                          .nullName = "py_file = NULL",
                          .emptyName = "length of py_file = 0",
                          .noBuffer = " tlv init error",
                          .notBuilt = "tlv construct error",
                          .notSent = "SendRequest failed",
                          .refusedLevel = kError,
                          .refused = ""},
                      RequestRow{.name = "Nqa",
                                 .call = [] { return ops_nqa_subscribe("t1", "a2", "a3", "a4", "a5", "a6", 9); },
                                 .function = "ops_nqa_subscribe",
                                 .code = 49,
                                 .withoutSession = 14,
                                 .noSession = kNotOpen,
                                 .nullName = " py_file = NULL",
                                 .emptyName = " length of py_file is 0",
                                 .noBuffer = " Memory use out",
                                 .notBuilt = " tlv construct error",
                                 .notSent = "SendRequest error",
                                 .refusedLevel = kInfo,
                                 .refused = ""},
                      RequestRow{.name = "Trap",
                                 .call = [] { return ops_trap_subscribe("t1", "b2", "b3", "b4", "b5", 7); },
                                 .function = "ops_trap_subscribe",
                                 .code = 37,
                                 .withoutSession = 14,
                                 .noSession = kNotOpen,
                                 .nullName = kSilent,
                                 .emptyName = kSilent,
                                 .noBuffer = kSilent,
                                 .notBuilt = kSilent,
                                 .notSent = kSilent,
                                 .refusedLevel = kError,
                                 .refused = ""}),
    kRowName);

} // namespace
