// Session control: every step of open, close and keepalive, its failure, and the order of the checks.
#include "api/session.h"

#include <cerrno>
#include <gmock/gmock.h>

#include "support/library.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

class SessionControl : public Library {
protected:
    std::int32_t Open(const tagVELA_SESSION_CFG_T& cfg = Config()) { return vela_session_open_imp(&cfg, &handle); }

    void ExpectOpenFails(const std::string& text) {
        EXPECT_EQ(Open(), 1);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", text)));
        EXPECT_EQ(handle, kUntouched);
        EXPECT_EQ(g_bSessionIsOpen, 0);
    }

    static constexpr std::uint32_t kUntouched = 0xdddddddd;
    std::uint32_t handle = kUntouched;
};

// ---- open ----

// type 1, send id 1, total length 32 (0x0020), session 0; tag 1, length 4, 1; tag 5, length 4, "abc" and its NUL
TEST_F(SessionControl, OpenSendsTheClientsName) {
    g_sendId = 1;
    g_sessionId = 0x7777; // of a session before
    peer.Script({Granted(kSession)});
    EXPECT_EQ(Open(), 0);
    EXPECT_THAT(peer.Requests(), ElementsAre(Hex("01 01 01 00 00 20 00 00"
                                                 "01 00 00 00 04 00 00 00 01 00 00 00"
                                                 "05 00 00 00 04 00 00 00 'abc' 00")));
    EXPECT_EQ(g_sendId, 2);
}

TEST_F(SessionControl, OpenStoresWhatWasGranted) {
    PretendThreadId(12345);
    peer.Script({Granted(70000)});
    EXPECT_EQ(Open(), 0);
    PretendThreadId(0);
    EXPECT_EQ(handle, 70000U);
    EXPECT_EQ(g_sessionId, 4464);
    EXPECT_EQ(g_bSessionIsOpen, 1);
    EXPECT_STREQ(file_name, "sdkclient446400012345");
    EXPECT_EQ(py_file, file_name);
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kInfo, "vela_session_open_imp", "session open success, session id = 70000")));
}

TEST_F(SessionControl, OpenPrintsALargeIdUnsigned) {
    peer.Script({Granted(-1)});
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(handle, 0xffffffffU);
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kInfo, "vela_session_open_imp", "session open success, session id = 4294967295")));
}

TEST_F(SessionControl, OpenChecksItsPreconditionsInOrder) {
    const tagVELA_SESSION_CFG_T refused = Config("abc", 1);
    g_bSessionIsOpen = 1;
    g_bVelaIsInit = 0;
    EXPECT_EQ(vela_session_open_imp(nullptr, nullptr), 3);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "vela not init")));
    g_bVelaIsInit = 1;
    EXPECT_EQ(vela_session_open_imp(nullptr, nullptr), 4);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "param session_hdl == NULL")));
    EXPECT_EQ(vela_session_open_imp(&refused, nullptr), 4);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "param session_hdl == NULL")));
    EXPECT_EQ(vela_session_open_imp(nullptr, &handle), 4);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "VELA_SESSION_CFG_T == NULL")));
    EXPECT_EQ(Open(refused), 16);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "session has been open")));
    g_bSessionIsOpen = 0;
    EXPECT_EQ(Open(refused), 11);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "socket connect faild.")));
    EXPECT_THAT(Connects(), IsEmpty()) << "touched the socket";
    EXPECT_THAT(CreatedThreads(), IsEmpty());
    EXPECT_EQ(handle, kUntouched);
}

TEST_F(SessionControl, OpenReturnsAnUnknownTypeAsItIs) {
    for (const std::int32_t type : {7, 2, -3}) {
        EXPECT_EQ(Open(Config("abc", type)), type);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "socket connect faild.")));
    }
}

TEST_F(SessionControl, OpenFailsWhenNobodyListens) {
    LeadConnectionsTo("");
    EXPECT_EQ(Open(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConnectServer", "connect failed!"),
                                           Says(kError, "vela_session_open_imp", "socket connect faild.")));
}

TEST_F(SessionControl, OpenFailsWhenTheReaderCannotBeStarted) {
    const Fail create(Call::PthreadCreate, EAGAIN);
    ExpectOpenFails("CreateRecvThread() failed");
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(SessionControl, OpenFailsWhenTheRequestCannotBeBuilt) {
    {
        const Fail init(Call::TlvInit, ENOMEM);
        ExpectOpenFails("tlv init failed");
    }
    for (const int nth : {1, 2}) {
        const Fail append(Call::TlvAppend, ENOMEM, nth);
        ExpectOpenFails("tlv append failed");
    }
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(SessionControl, OpenSendsANameThatFillsItsField) {
    for (const std::size_t length : {63U, 64U}) {
        tagVELA_SESSION_CFG_T cfg = Config(std::string(length, 'n').c_str());
        std::memset(cfg.client_name, 'n', length);
        cfg.type = 0; // stands right behind the name, and no byte of it is sent
        peer.Script({Granted(1)});
        EXPECT_EQ(Open(cfg), 0);
        const Element sent = Decode(peer.TakeRequests().at(0)).elements.at(1);
        EXPECT_EQ(sent.Text(), std::string(length, 'n'));
        EXPECT_EQ(sent.value.size(), length + 1);
        g_bSessionIsOpen = 0;
    }
}

TEST_F(SessionControl, OpenSendsAnEmptyName) {
    peer.Script({Granted(1)});
    EXPECT_EQ(Open(Config("")), 0);
    EXPECT_EQ(Decode(peer.Requests().at(0)).elements.at(1), (Element{5, {0}}));
}

TEST_F(SessionControl, OpenFailsWhenTheRequestIsNotSentOrNotAnswered) {
    const auto failed = Says(kError, "vela_session_open_imp", "SendRequest failed");
    {
        const Fail send(Call::Send, EPIPE);
        EXPECT_EQ(Open(), 1);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotSent(), failed)));
    }
    {
        const Fail limit(Call::SemTimedWait, ETIMEDOUT);
        EXPECT_EQ(Open(), 1);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotAnswered(), failed)));
    }
    EXPECT_EQ(handle, kUntouched);
}

TEST_F(SessionControl, OpenFailsOnAReplyOfImpossibleLength) {
    peer.Script({[](Link& link, const Bytes& request) {
        link.Send(WithTotalLength(Message(2, SendIdOf(request), 0, Int(1, 2)), 9000));
    }});
    EXPECT_EQ(Open(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConvertRecvDataNtohs", "invalid message length = 9000"),
                                           Says(kError, "vela_session_open_imp", "SendRequest failed")));
}

TEST_F(SessionControl, OpenFailsOnAReplyOfAnotherType) {
    peer.Script({Reply(12, Int(1, 2) + Int(2, 0) + Int(4, 5))});
    ExpectOpenFails("server ack not equal SDK_SESSION_CONTROL_RESPONSE");
}

TEST_F(SessionControl, OpenFailsWhenASignalEndsTheWait) {
    const Fail limit(Call::SemTimedWait, EINTR);
    ExpectOpenFails("server ack not equal SDK_SESSION_CONTROL_RESPONSE");
}

TEST_F(SessionControl, OpenFailsWhenTheReplyCannotBeViewed) {
    peer.Script({Granted(kSession)});
    const Fail view(Call::TlvInit, ENOMEM, 2);
    ExpectOpenFails("TLV PARSE INIT FAILED");
}

TEST_F(SessionControl, OpenFailsWithoutASessionId) {
    for (const Bytes& id : {Bytes{}, Data(4, Hex("01 02"))}) {
        peer.Script({ControlReply(Int(1, 2) + Int(2, 0) + id)});
        ExpectOpenFails("get session id from tlv failed");
    }
}

TEST_F(SessionControl, OpenFailsWhenTheServiceRefuses) {
    for (const Bytes& reply : {Int(1, 2) + Int(2, 5) + Text(3, "full") + Int(4, 1), Int(1, 4) + Int(2, 0) + Int(4, 1),
                               Int(1, 2) + Int(4, 1), Int(2, 0) + Int(4, 1), Bytes{}}) {
        peer.Script({ControlReply(reply)});
        ExpectOpenFails("err description = (null)"); // the request holds no description
    }
}

TEST_F(SessionControl, OpenThatCannotMakeTheNameFailsAndStaysOpen) {
    py_file = nullptr;
    peer.Script({Granted(kSession)});
    const Fail name(Call::GetFileName, 0);
    EXPECT_EQ(Open(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_open_imp", "get file name failed")));
    EXPECT_EQ(g_bSessionIsOpen, 1);
    EXPECT_EQ(handle, 70000U);
    EXPECT_EQ(py_file, nullptr);
}

TEST_F(SessionControl, OpenThatFailedConnectsAgainWithANewReader) {
    peer.Script({ControlReply(Int(1, 2) + Int(2, 5))});
    EXPECT_EQ(Open(), 1);
    peer.Script({Granted(kSession)});
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(peer.Connections(), 2U);
    EXPECT_FALSE(peer.IsClosedByLibrary(0));
    EXPECT_THAT(CreatedThreads(), SizeIs(2));
    peer.HangUp(0); // the end of the older one
    peer.Script({ControlReply(Int(1, 6) + Int(2, 0))});
    EXPECT_EQ(vela_session_keepalive_imp(handle), 0);
    EXPECT_EQ(g_bSessionIsOpen, 1);
}

// ---- close ----

class SessionClose : public SessionControl {
protected:
    void SetUp() override {
        Library::SetUp();
        OpenSession();
    }

    void ExpectCloseFails(const std::string& text) {
        EXPECT_EQ(vela_session_close_imp(0), 1);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_close_imp", text)));
        EXPECT_EQ(g_bSessionIsOpen, 1);
    }
};

// type 1, send id 9, total length 20 (0x0014), session 0x1170; tag 1, length 4, 3
TEST_F(SessionClose, SendsTheCloseAndEndsTheReader) {
    g_sendId = 9;
    peer.Script({ControlReply(Int(1, 4) + Int(2, 0))});
    EXPECT_EQ(vela_session_close_imp(0xbad), 0) << "the handle is not examined";
    EXPECT_THAT(peer.Requests(), ElementsAre(Hex("01 01 09 00 00 14 11 70 01 00 00 00 04 00 00 00 03 00 00 00")));
    EXPECT_EQ(g_bSessionIsOpen, 0);
    EXPECT_TRUE(Eventually([] { return g_session.Reader().Cancel() != 0; }));
    EXPECT_FALSE(peer.IsClosedByLibrary(0)) << "the socket stays open";
    EXPECT_EQ(g_sessionId, 4464);
    EXPECT_EQ(py_file, file_name);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(SessionClose, WithoutASessionIsRefused) {
    g_bSessionIsOpen = 0;
    g_bCliIsOpen = 1;
    EXPECT_EQ(vela_session_close_imp(0), 14);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_close_imp", "session not open ")));
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(SessionClose, ClosesTheCliChannelFirst) {
    g_bCliIsOpen = 1;
    g_uiCliHdl = 0x0a0b0c0d;
    peer.Script({ScriptReply(Int(0, 20) + Int(1, 0)), ControlReply(Int(1, 4) + Int(2, 0))});
    EXPECT_EQ(vela_session_close_imp(0), 0);
    ASSERT_THAT(peer.Requests(), SizeIs(2));
    const Decoded first = Decode(peer.Requests()[0]);
    EXPECT_EQ(first.type, 11U);
    EXPECT_EQ(first.Find(0)->Int(), 19);
    EXPECT_EQ(first.Find(6)->Int(), 0x0a0b0c0d);
    EXPECT_EQ(Decode(peer.Requests()[1]).type, 1U);
    EXPECT_EQ(g_bCliIsOpen, 0);
}

TEST_F(SessionClose, GoesOnWhenTheCliChannelDoesNotClose) {
    g_bCliIsOpen = 1;
    peer.Script({ScriptReply(Int(0, 20) + Int(1, 5) + Text(2, "busy")), ControlReply(Int(1, 4) + Int(2, 0))});
    EXPECT_EQ(vela_session_close_imp(0), 0);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "busy"),
                                           Says(kError, "vela_session_close_imp", "cli close failed")));
    EXPECT_EQ(g_bCliIsOpen, 1);
}

TEST_F(SessionClose, FailsWhenTheRequestCannotBeBuilt) {
    {
        const Fail init(Call::TlvInit, ENOMEM);
        ExpectCloseFails("tlv init failed");
    }
    const Fail append(Call::TlvAppend, ENOMEM);
    ExpectCloseFails("tlv append failed");
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(SessionClose, FailsWhenTheRequestIsNotSentOrNotAnswered) {
    const auto failed = Says(kError, "vela_session_close_imp", "SendRequest failed");
    {
        const Fail send(Call::Send, EPIPE);
        EXPECT_EQ(vela_session_close_imp(0), 1);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotSent(), failed)));
    }
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(vela_session_close_imp(0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotAnswered(), failed)));
    EXPECT_EQ(g_bSessionIsOpen, 1);
}

TEST_F(SessionClose, FailsOnAReplyOfAnotherType) {
    peer.Script({Reply(12, Int(1, 4) + Int(2, 0))});
    ExpectCloseFails("SERVER ACK MSG IS NOT SDK_SESSION_CONTROL_RESPONSE");
}

TEST_F(SessionClose, FailsWhenTheReplyCannotBeViewed) {
    peer.Script({ControlReply(Int(1, 4) + Int(2, 0))});
    const Fail view(Call::TlvInit, ENOMEM, 2);
    ExpectCloseFails("TLV PARSE INIT FAILED");
}

TEST_F(SessionClose, FailsWhenTheServiceRefuses) {
    for (const Bytes& reply :
         {Int(1, 4) + Int(2, 5) + Text(3, "busy"), Int(1, 2) + Int(2, 0), Int(1, 4), Int(2, 0), Bytes{}}) {
        peer.Script({ControlReply(reply)});
        ExpectCloseFails("tlv parse, err description = (null)");
    }
}

TEST_F(SessionClose, IsFollowedByAnOpenHundredsOfTimesWhileMessagesArrive) {
    for (int i = 0; i < 200; ++i) {
        peer.Script({[](Link& link, const Bytes& request) {
                         ControlReply(Int(1, 4) + Int(2, 0))(link, request);
                         // Replies of requests long gone: far from the ids in use, and never 0.
                         const unsigned stray = (SendIdOf(request) + 100) % 256;
                         for (int n = 0; n < 3; ++n)
                             link.Send(Message(2, stray == 0 ? 50 : stray, 0, {}) +
                                       Event(0, Text(1, "x") + Text(2, "y")));
                     },
                     Granted(i + 1)});
        ASSERT_EQ(vela_session_close_imp(0), 0) << i;
        ASSERT_EQ(Open(), 0) << i;
        ASSERT_EQ(handle, static_cast<std::uint32_t>(i + 1));
    }
    EXPECT_EQ(peer.Connections(), 201U);
    EXPECT_EQ(g_bSessionIsOpen, 1);
}

// ---- keepalive ----

class SessionKeepalive : public SessionClose {};

// type 1, send id 9, total length 20, session 0x1170; tag 1, length 4, 5
TEST_F(SessionKeepalive, TellsTheServiceThatTheClientIsThere) {
    g_sendId = 9;
    peer.Script({ControlReply(Int(1, 6) + Int(2, 0))});
    EXPECT_EQ(vela_session_keepalive_imp(0xbad), 0);
    EXPECT_THAT(peer.Requests(), ElementsAre(Hex("01 01 09 00 00 14 11 70 01 00 00 00 04 00 00 00 05 00 00 00")));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(SessionKeepalive, WithoutASessionIsRefusedSilently) {
    g_bSessionIsOpen = 0;
    EXPECT_EQ(vela_session_keepalive_imp(0), 14);
    EXPECT_THAT(Records(), IsEmpty());
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(SessionKeepalive, IsRefusedAfterTheServiceHungUp) {
    peer.HangUp();
    ASSERT_TRUE(Eventually([] { return g_bSessionIsOpen == 0; }));
    EXPECT_EQ(vela_session_keepalive_imp(0), 14);
}

TEST_F(SessionKeepalive, FailsWhenTheRequestCannotBeBuilt) {
    {
        const Fail init(Call::TlvInit, ENOMEM);
        EXPECT_EQ(vela_session_keepalive_imp(0), 1);
    }
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_keepalive_imp", "tlv init failed")));
    const Fail append(Call::TlvAppend, ENOMEM);
    EXPECT_EQ(vela_session_keepalive_imp(0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_keepalive_imp", "tlv append failed")));
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(SessionKeepalive, AddsNothingToTheRecordsOfARequestNotSentOrNotAnswered) {
    {
        const Fail send(Call::Send, EPIPE);
        EXPECT_EQ(vela_session_keepalive_imp(0), 1);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(NotSent()));
    }
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(vela_session_keepalive_imp(0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAreArray(NotAnswered()));
}

TEST_F(SessionKeepalive, FailsOnAReplyOfAnotherType) {
    peer.Script({Reply(12, Int(1, 6) + Int(2, 0))});
    EXPECT_EQ(vela_session_keepalive_imp(0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_keepalive_imp",
                                                "recv data is not SDK_SESSION_CONTROL_RESPONSE")));
}

TEST_F(SessionKeepalive, FailsWhenTheReplyCannotBeViewed) {
    peer.Script({ControlReply(Int(1, 6) + Int(2, 0))});
    const Fail view(Call::TlvInit, ENOMEM, 2);
    EXPECT_EQ(vela_session_keepalive_imp(0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_keepalive_imp", "keep alive return tlv = NULL")));
}

TEST_F(SessionKeepalive, SaysWhatTheServiceRefusedWith) {
    struct Row {
        Bytes reply;
        const char* text;
    };
    const Row rows[] = {
        {Int(1, 6) + Int(2, 5) + Text(3, "busy"),
         "keep alive parse tlv, err description = busy SDK_CTRL_TLV_RET = 5 SDK_CTRL_TLV_MSG_TYPE = 6"},
        {Int(1, 4) + Int(2, 0) + Text(3, ""),
         "keep alive parse tlv, err description =  SDK_CTRL_TLV_RET = 0 SDK_CTRL_TLV_MSG_TYPE = 4"},
        {Text(3, "odd"),
         "keep alive parse tlv, err description = odd SDK_CTRL_TLV_RET = -1 SDK_CTRL_TLV_MSG_TYPE = -1"},
        {Bytes{}, "keep alive parse tlv, err description = (null) SDK_CTRL_TLV_RET = -1 SDK_CTRL_TLV_MSG_TYPE = -1"},
    };
    for (const Row& row : rows) {
        peer.Script({ControlReply(row.reply)});
        EXPECT_EQ(vela_session_keepalive_imp(0), 1);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_session_keepalive_imp", row.text)));
    }
    EXPECT_EQ(g_bSessionIsOpen, 1);
}

} // namespace
