// The CLI channel: every step of open, execute, save and close, its failure, the order of the checks, and the choices.
#include "api/cli.h"

#include <cerrno>
#include <cstdlib>
#include <gmock/gmock.h>
#include <memory>
#include <regex>

#include "support/library.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;
using namespace test;

// The client's name that requests carry, of known bytes: "me".
class Cli : public Library {
protected:
    void SetUp() override {
        Library::SetUp();
        OpenCli();
        py_file = "me";
        g_sendId = 9;
    }
    void TearDown() override {
        std::free(output);
        Library::TearDown();
    }

    std::int32_t Execute(const char* command = "display clock", const char* choice = nullptr) {
        std::free(output);
        output = Untouched();
        char* result = output;
        const std::int32_t code = vela_cli_execute_imp(kCli, command, choice, &result);
        if (result != output) {
            std::free(output);
            output = result;
        }
        return code;
    }

    static char* Untouched() { return strdup("untouched"); }

    static Step Ran(const Bytes& output = {}) { return ScriptReply(Int(0, 18) + Int(1, 0) + output); }
    static Step Refused(std::int32_t code, const char* text, const Bytes& more = {}) {
        return ScriptReply(Int(0, code) + Int(1, 5) + Text(2, text) + more);
    }
    static Step CliClosed() { return ScriptReply(Int(0, 20) + Int(1, 0)); }

    std::vector<Element> Sent() { return Decode(peer.Requests().back()).elements; }

    char* output = nullptr;
};

Element TextElement(std::int32_t tag, const std::string& text) {
    return {tag, Bytes(text.begin(), text.end()) + Bytes{0}};
}

// ---- open ----

class CliOpen : public Cli {
protected:
    void SetUp() override {
        Cli::SetUp();
        g_bCliIsOpen = 0;
        g_uiCliHdl = 0;
    }

    void ExpectFails(const std::string& text) {
        EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_open_imp", text)));
        EXPECT_EQ(g_bCliIsOpen, 0);
        EXPECT_EQ(g_uiCliHdl, 0U);
    }

    std::uint32_t handle = 0xdddddddd;
};

// type 11, send id 9, total length 35 (0x0023), session 0x1170; kind 1, body length 27 (0x001b);
// tag 5, length 3, "me" and its NUL; tag 0, length 4, 15
TEST_F(CliOpen, SendsTheClientsNameAndItsCode) {
    peer.Script({CliGranted(77)});
    EXPECT_EQ(vela_cli_open_imp(&handle), 0U);
    EXPECT_THAT(peer.Requests(), ElementsAre(Hex("01 0b 09 00 00 23 11 70 01 00 00 1b"
                                                 "05 00 00 00 03 00 00 00 'me' 00"
                                                 "00 00 00 00 04 00 00 00 0f 00 00 00")));
    EXPECT_EQ(handle, 77U);
    EXPECT_EQ(g_uiCliHdl, 77U);
    EXPECT_EQ(g_bCliIsOpen, 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "vela_cli_open_imp", "cli open success, cli handle = 77")));
}

TEST_F(CliOpen, ChecksItsPreconditionsInOrder) {
    g_bSessionIsOpen = 0;
    g_bCliIsOpen = 1;
    py_file = "";
    EXPECT_EQ(vela_cli_open_imp(nullptr), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_open_imp", "cli_hdl = NULL")));
    EXPECT_EQ(vela_cli_open_imp(&handle), 14U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_open_imp", "session not open")));
    g_bSessionIsOpen = 1;
    EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_open_imp", "cli has opened")));
    g_bCliIsOpen = 0;
    for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
        py_file = name;
        ExpectFails("py_file = NULL");
    }
    EXPECT_THAT(Sends(), IsEmpty());
    EXPECT_EQ(handle, 0xdddddddd);
    EXPECT_EQ(g_sendId, 9);
}

TEST_F(CliOpen, FailsSilentlyWhenTheRequestCannotBeBuilt) {
    {
        const Fail init(Call::TlvInit, ENOMEM);
        EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
    }
    for (const int nth : {1, 2}) {
        const Fail append(Call::TlvAppend, ENOMEM, nth);
        EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
    }
    EXPECT_THAT(Records(), IsEmpty());
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(CliOpen, FailsWhenTheRequestIsNotSentOrNotAnswered) {
    const auto failed = Says(kError, "vela_cli_open_imp", "SendRequest faided");
    {
        const Fail send(Call::Send, EPIPE);
        EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotSent(), failed)));
    }
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotAnswered(), failed)));
}

TEST_F(CliOpen, FailsWhenTheServiceRefuses) {
    peer.Script({Refused(16, "too many"), ScriptReply(Int(0, 18) + Int(1, 0) + Int(6, 5)), ScriptReply({})});
    ExpectFails("too many");
    ExpectFails("ack cmd is error!");
    ExpectFails("ack cmd is error!");
    EXPECT_EQ(handle, 0xdddddddd);
}

TEST_F(CliOpen, CutsALongReasonAt99Characters) {
    const std::string reason(150, 'r');
    peer.Script({Refused(16, reason.c_str())});
    ExpectFails(reason.substr(0, 99));
}

TEST_F(CliOpen, FailsWithoutAHandle) {
    peer.Script({ScriptReply(Int(0, 16) + Int(1, 0)), ScriptReply(Int(0, 16) + Int(1, 0) + Data(6, Hex("01")))});
    ExpectFails("get handle from tlv_s failed");
    ExpectFails("get handle from tlv_s failed");
    EXPECT_EQ(handle, 0xdddddddd);
}

TEST_F(CliOpen, FailsWithTheHandleZeroWhichStaysWritten) {
    peer.Script({CliGranted(0)});
    ExpectFails("cli handle = 0");
    EXPECT_EQ(handle, 0U);
}

TEST_F(CliOpen, FailsWithoutMemoryForTheReply) {
    peer.Script({CliGranted(5)});
    const Fail view(Call::TlvInit, ENOMEM, 2);
    EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
    EXPECT_EQ(g_bCliIsOpen, 0);
}

// ---- execute ----

using CliExecute = Cli;

// type 11, send id 9, total length 100 (0x0064), session 0x1170; kind 1, body length 92 (0x005c); tag 5 "me";
// tag 0, 17; tag 6, 0x0a0b0c0d; tag 7 "save"; tag 10 "b", tag 11 "2", tag 12 "a", tag 13 "1"
TEST_F(CliExecute, SendsTheCommandAndItsChoicesLastFirst) {
    peer.Script({Ran()});
    EXPECT_EQ(Execute("save", "\"a\":\"1\",\"b\":\"2\""), 0);
    EXPECT_THAT(peer.Requests(), ElementsAre(Hex("01 0b 09 00 00 64 11 70 01 00 00 5c"
                                                 "05 00 00 00 03 00 00 00 'me' 00"
                                                 "00 00 00 00 04 00 00 00 11 00 00 00"
                                                 "06 00 00 00 04 00 00 00 0d 0c 0b 0a"
                                                 "07 00 00 00 05 00 00 00 'save' 00"
                                                 "0a 00 00 00 02 00 00 00 'b' 00"
                                                 "0b 00 00 00 02 00 00 00 '2' 00"
                                                 "0c 00 00 00 02 00 00 00 'a' 00"
                                                 "0d 00 00 00 02 00 00 00 '1' 00")));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(CliExecute, SendsTheCallersHandleAndTheCommandAsTheyAre) {
    peer.Script({Ran()});
    EXPECT_EQ(vela_cli_execute_imp(0xffffffff, " display  'x' \n", nullptr, nullptr), 0);
    EXPECT_THAT(Sent(), ElementsAre(TextElement(5, "me"), (Element{0, Hex("11 00 00 00")}),
                                    (Element{6, Hex("ff ff ff ff")}), TextElement(7, " display  'x' \n")));
}

TEST_F(CliExecute, SendsNoPairsWithoutChoices) {
    for (const char* const choice :
         {static_cast<const char*>(nullptr), "", "\"", "\"a\":\"1\",\"", "\"a\"", "no quotes"}) {
        peer.Script({Ran()});
        EXPECT_EQ(Execute("x", choice), 0);
        EXPECT_THAT(Sent(), SizeIs(4));
    }
}

TEST_F(CliExecute, SendsThreePairsLastFirstWithRepeatedAndEmptyTexts) {
    peer.Script({Ran()});
    EXPECT_EQ(Execute("x", "\"k\":\"1\" \"\":\"\" \"k\",\"3\" \"left over\""), 0);
    const std::vector<Element> sent = Sent();
    ASSERT_THAT(sent, SizeIs(10));
    EXPECT_THAT(std::vector<Element>(sent.begin() + 4, sent.end()),
                ElementsAre(TextElement(10, "k"), TextElement(11, "3"), TextElement(12, ""), TextElement(13, ""),
                            TextElement(14, "k"), TextElement(15, "1")));
}

TEST_F(CliExecute, HandsOutTheOutput) {
    for (const std::size_t length : {1U, 100U, 7000U}) {
        const std::string text(length, 'o');
        peer.Script({Ran(Text(9, text))});
        EXPECT_EQ(Execute(), 0);
        EXPECT_EQ(output, text);
    }
}

TEST_F(CliExecute, HandsOutNothingWhereTheRouterPrintedNothing) {
    for (const Bytes& none :
         {Bytes{}, Text(9, ""), Data(9, {}), Data(9, Hex("'no nul'")), Claims(9, 500, Hex("'a' 00"))}) {
        peer.Script({Ran(none)});
        EXPECT_EQ(Execute(), 0);
        EXPECT_EQ(output, nullptr);
    }
}

TEST_F(CliExecute, GivesTheVerdictWithoutAResultPointer) {
    peer.Script({Ran(Text(9, "lost")), Refused(18, "bad command", Text(9, "lost"))});
    EXPECT_EQ(vela_cli_execute_imp(kCli, "x", nullptr, nullptr), 0);
    EXPECT_EQ(vela_cli_execute_imp(kCli, "x", nullptr, nullptr), 1);
}

TEST_F(CliExecute, ChecksItsPreconditionsInOrder) {
    g_bCliIsOpen = 0;
    py_file = nullptr;
    EXPECT_EQ(Execute(nullptr), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp", "cli not open")));
    g_bCliIsOpen = 1;
    for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
        py_file = name;
        EXPECT_EQ(Execute(nullptr), 1);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp", "py_file = NULL")));
    }
    py_file = "me";
    for (const char* const command : {static_cast<const char*>(nullptr), ""}) {
        const Fail init(Call::TlvInit, ENOMEM);
        EXPECT_EQ(Execute(command), 2);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp", "invalid param command")));
    }
    EXPECT_STREQ(output, "untouched");
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(CliExecute, DoesNotAskForTheSession) {
    g_bSessionIsOpen = 0;
    peer.Script({Ran()});
    EXPECT_EQ(Execute(), 0);
}

TEST_F(CliExecute, FailsWhenTheRequestCannotBeBuilt) {
    {
        const Fail init(Call::TlvInit, ENOMEM);
        EXPECT_EQ(Execute(), 1);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp", "tlv init failed")));
    }
    for (const int nth : {1, 2, 3, 4, 5, 6}) {
        const Fail append(Call::TlvAppend, ENOMEM, nth);
        EXPECT_EQ(Execute("x", "\"a\":\"1\""), 1);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp", "tlv init construct failed")));
    }
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(CliExecute, RefusesTextsThatDoNotFitAndStaysUsable) {
    const std::string command(8100, 'c');
    const std::string choice = "\"" + std::string(4000, 'k') + "\":\"" + std::string(4000, 'v') + "\"";
    EXPECT_EQ(Execute(command.c_str()), 1);
    EXPECT_EQ(Execute("x", choice.c_str()), 1);
    EXPECT_EQ(Execute(std::string(100000, 'c').c_str()), 1);
    EXPECT_THAT(TakeRecords(), SizeIs(3));
    EXPECT_THAT(Sends(), IsEmpty());
    EXPECT_EQ(g_sendId, 9);
    peer.Script({Ran(Text(9, "fine"))});
    EXPECT_EQ(Execute(), 0);
    EXPECT_STREQ(output, "fine");
}

// Elements: 11 for the name, 12 for the code, 12 for the handle, 9 around the command; 8,000 fit.
TEST_F(CliExecute, SendsTheLongestCommandThatFitsWhole) {
    const std::string longest(8000 - 11 - 12 - 12 - 9, 'c');
    peer.Script({Ran()});
    EXPECT_EQ(Execute(longest.c_str()), 0);
    EXPECT_THAT(peer.Requests().at(0), SizeIs(8012));
    EXPECT_EQ(Sent().at(3), TextElement(7, longest));
    EXPECT_EQ(Execute((longest + "c").c_str()), 1);
    EXPECT_THAT(peer.Requests(), SizeIs(1));
}

TEST_F(CliExecute, FailsWhenTheRequestIsNotSentOrNotAnswered) {
    const auto failed = Says(kError, "vela_cli_execute_imp", "SendRequest failed");
    {
        const Fail send(Call::Send, EPIPE);
        EXPECT_EQ(Execute(), 1);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotSent(), failed)));
    }
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(Execute(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotAnswered(), failed)));
    EXPECT_STREQ(output, "untouched");
}

TEST_F(CliExecute, HandsOutTheOutputOfARejectedCommand) {
    peer.Script({Refused(18, "rejected", Text(9, "^ unknown"))});
    EXPECT_EQ(Execute("displai", "\"a\":\"1\""), 1);
    EXPECT_STREQ(output, "^ unknown");
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kError, "vela_cli_execute_imp",
                                 "rejected,command = displai, choice = \"a\":\"1\", result = ^ unknown")));
}

TEST_F(CliExecute, SaysThatAnotherAnswerCame) {
    peer.Script({ScriptReply(Int(0, 16) + Int(1, 0) + Text(9, "o"))});
    EXPECT_EQ(Execute("x", ""), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp",
                                                "ack cmd is error!,command = x, choice = , result = o")));
}

TEST_F(CliExecute, RecordsAnApplicationsCommandAsItIs) {
    peer.Script({Refused(18, "no", Text(9, "cipher s3cret99?"))});
    EXPECT_EQ(Execute("wpa2 authentication-method psk pass-phrase cipher s3cret99 encryption-method ccmp"), 1);
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kError, "vela_cli_execute_imp",
                                 "no,command = wpa2 authentication-method psk pass-phrase cipher s3cret99 "
                                 "encryption-method ccmp, choice = (null), result = cipher s3cret99?")));
}

TEST_F(CliExecute, ShowsThatChoicesAndOutputAreMissing) {
    peer.Script({Refused(18, "no")});
    EXPECT_EQ(Execute("x", nullptr), 1);
    EXPECT_EQ(output, nullptr);
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kError, "vela_cli_execute_imp", "no,command = x, choice = (null), result = (null)")));
}

TEST_F(CliExecute, SurvivesEveryAllocationThatFailsAfterTheRequest) {
    bool sawMemory = false;
    for (int nth = 1;; ++nth) {
        ASSERT_LT(nth, 100);
        peer.Script({Ran(Text(9, "output"))});
        std::unique_ptr<Fail> memory;
        Before(Call::SemTimedWait, [&] { memory = std::make_unique<Fail>(Call::Allocate, ENOMEM, nth); });
        const std::int32_t code = Execute();
        const bool failed = memory->Failures() != 0;
        memory.reset();
        Before(Call::SemTimedWait, nullptr);
        const std::vector<Record> records = TakeRecords();
        if (!failed) {
            EXPECT_EQ(code, 0);
            break;
        }
        if (code == 12) {
            sawMemory = true;
            EXPECT_EQ(output, nullptr);
            EXPECT_THAT(records, ElementsAre(Says(kError, "vela_cli_execute_imp", "memory use out, malloc failed")));
        } else {
            EXPECT_EQ(code, 1) << nth;
        }
    }
    EXPECT_TRUE(sawMemory);
}

TEST_F(CliExecute, ReportsThatMemoryIsUsedUpBeforeItSends) {
    int failures = 0;
    for (int nth = 1;; ++nth) {
        std::int32_t code = 0;
        {
            const Fail memory(Call::Allocate, ENOMEM, nth);
            code = Execute("x", "\"a key that is long enough\":\"a value that is long enough\"");
        }
        const std::vector<Record> records = TakeRecords();
        if (code != 12) { // the request's own elements
            EXPECT_EQ(code, 1);
            EXPECT_THAT(records, Contains(Says(kError, "vela_cli_execute_imp", "tlv init failed")));
            break;
        }
        ++failures;
        EXPECT_EQ(output, nullptr);
        EXPECT_THAT(records, ElementsAre(Says(kError, "vela_cli_execute_imp", "memory use out, malloc failed")));
    }
    EXPECT_GE(failures, 5); // the quotes, and each text twice
    EXPECT_THAT(Sends(), IsEmpty());
}

// ---- save ----

using CliSave = Cli;
const char* const kSaveFailed = "vela_cli_execute_imp(\"save\") failed";

TEST_F(CliSave, RunsSaveOnTheOpenChannel) {
    peer.Script({Ran()});
    EXPECT_EQ(vela_cli_save_imp(), 0);
    EXPECT_THAT(Sent(),
                ElementsAre(TextElement(5, "me"), (Element{0, Hex("11 00 00 00")}), (Element{6, Hex("0d 0c 0b 0a")}),
                            TextElement(7, "save"), TextElement(10, "continue"), TextElement(11, "y")));
    EXPECT_EQ(g_bCliIsOpen, 1);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(CliSave, FailsOnTheOpenChannelWithTheCodeOfTheCommand) {
    peer.Script({Refused(18, "disk full")});
    EXPECT_EQ(vela_cli_save_imp(), 1);
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kError, "vela_cli_execute_imp",
                                 "disk full,command = save, choice = \"continue\":\"y\", result = (null)"),
                            Says(kError, "vela_cli_save_imp", kSaveFailed)));
    EXPECT_EQ(g_bCliIsOpen, 1);
}

TEST_F(CliSave, OpensAndClosesAChannelOfItsOwn) {
    g_bCliIsOpen = 0;
    peer.Script({CliGranted(8), Ran(), CliClosed()});
    EXPECT_EQ(vela_cli_save_imp(), 0);
    const std::vector<Bytes> requests = peer.Requests();
    ASSERT_THAT(requests, SizeIs(3));
    EXPECT_EQ(Decode(requests[0]).Find(0)->Int(), 15);
    EXPECT_EQ(Decode(requests[1]).Find(0)->Int(), 17);
    EXPECT_EQ(Decode(requests[1]).Find(6)->Int(), 8);
    EXPECT_EQ(Decode(requests[2]).Find(0)->Int(), 19);
    EXPECT_EQ(Decode(requests[2]).Find(6)->Int(), 8);
    EXPECT_EQ(g_bCliIsOpen, 0);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "vela_cli_open_imp", "cli open success, cli handle = 8"),
                                           Says(kInfo, "vela_cli_close_imp", "cli close success, cli handle = 8")));
}

TEST_F(CliSave, FailsWhenItsChannelDoesNotOpen) {
    g_bCliIsOpen = 0;
    g_bSessionIsOpen = 0;
    EXPECT_EQ(vela_cli_save_imp(), 1) << "not 14";
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_open_imp", "session not open"),
                                           Says(kError, "vela_cli_save_imp", "vela_cli_open_imp failed")));
}

TEST_F(CliSave, LeavesItsChannelOpenWhenTheCommandFails) {
    g_bCliIsOpen = 0;
    peer.Script({CliGranted(8), Refused(18, "no")});
    EXPECT_EQ(vela_cli_save_imp(), 1);
    EXPECT_THAT(peer.Requests(), SizeIs(2));
    EXPECT_EQ(g_bCliIsOpen, 1);
    EXPECT_EQ(g_uiCliHdl, 8U);
    EXPECT_THAT(TakeRecords().back(), Says(kError, "vela_cli_save_imp", kSaveFailed));
    std::uint32_t handle = 0;
    EXPECT_EQ(vela_cli_open_imp(&handle), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_open_imp", "cli has opened")));
    peer.Script({CliClosed()});
    EXPECT_EQ(vela_cli_close_imp(g_uiCliHdl), 0U);
}

TEST_F(CliSave, FailsWhenItsChannelDoesNotClose) {
    g_bCliIsOpen = 0;
    peer.Script({CliGranted(8), Ran(), Refused(20, "busy")});
    EXPECT_EQ(vela_cli_save_imp(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "vela_cli_open_imp", "cli open success, cli handle = 8"),
                                           Says(kError, "vela_cli_close_imp", "busy"),
                                           Says(kError, "vela_cli_save_imp", "cli close failed")));
    EXPECT_EQ(g_bCliIsOpen, 1);
}

// ---- close ----

using CliClose = Cli;

// type 11, send id 9, total length 47 (0x002f), session 0x1170; kind 1, body length 39 (0x0027); tag 5 "me";
// tag 0, 19; tag 6, 0x0a0b0c0d
TEST_F(CliClose, SendsItsCodeAndTheCallersHandle) {
    peer.Script({CliClosed()});
    EXPECT_EQ(vela_cli_close_imp(kCli), 0U);
    EXPECT_THAT(peer.Requests(), ElementsAre(Hex("01 0b 09 00 00 2f 11 70 01 00 00 27"
                                                 "05 00 00 00 03 00 00 00 'me' 00"
                                                 "00 00 00 00 04 00 00 00 13 00 00 00"
                                                 "06 00 00 00 04 00 00 00 0d 0c 0b 0a")));
    EXPECT_EQ(g_bCliIsOpen, 0);
    EXPECT_EQ(g_uiCliHdl, kCli) << "never cleared";
    EXPECT_THAT(TakeRecords(),
                ElementsAre(Says(kInfo, "vela_cli_close_imp", "cli close success, cli handle = 168496141")));
}

TEST_F(CliClose, ChecksItsPreconditionsInOrder) {
    g_bSessionIsOpen = 0;
    g_bCliIsOpen = 0;
    py_file = nullptr;
    EXPECT_EQ(vela_cli_close_imp(1), 14U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "please open session first")));
    g_bSessionIsOpen = 1;
    EXPECT_EQ(vela_cli_close_imp(1), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "please open cli first")));
    g_bCliIsOpen = 1;
    for (const char* const name : {static_cast<const char*>(nullptr), ""}) {
        py_file = name;
        EXPECT_EQ(vela_cli_close_imp(1), 1U);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "py_file = NULL")));
    }
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(CliClose, FailsSilentlyWhenTheRequestCannotBeBuilt) {
    {
        const Fail init(Call::TlvInit, ENOMEM);
        EXPECT_EQ(vela_cli_close_imp(1), 1U);
    }
    for (const int nth : {1, 2, 3}) {
        const Fail append(Call::TlvAppend, ENOMEM, nth);
        EXPECT_EQ(vela_cli_close_imp(1), 1U);
    }
    EXPECT_THAT(Records(), IsEmpty());
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(CliClose, FailsWhenTheRequestIsNotSentOrNotAnswered) {
    const auto failed = Says(kError, "vela_cli_close_imp", "SendRequest failed");
    {
        const Fail send(Call::Send, EPIPE);
        EXPECT_EQ(vela_cli_close_imp(1), 1U);
        EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotSent(), failed)));
    }
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(vela_cli_close_imp(1), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotAnswered(), failed)));
    EXPECT_EQ(g_bCliIsOpen, 1);
}

TEST_F(CliClose, FailsWhenTheServiceRefusesAndStaysOpen) {
    peer.Script({Refused(20, "busy"), Refused(18, "busy")});
    EXPECT_EQ(vela_cli_close_imp(1), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "busy")));
    EXPECT_EQ(vela_cli_close_imp(1), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "ack cmd is error!")));
    EXPECT_EQ(g_bCliIsOpen, 1);
}

TEST_F(CliClose, IsNeededNoMoreAfterTheServiceHungUp) {
    peer.HangUp();
    ASSERT_TRUE(Eventually([] { return g_bCliIsOpen == 0 && g_bSessionIsOpen == 0; }));
    TakeRecords();
    EXPECT_EQ(vela_cli_close_imp(1), 14U);
    EXPECT_EQ(Execute(), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_close_imp", "please open session first"),
                                           Says(kError, "vela_cli_execute_imp", "cli not open")));
}

// ---- the kept variant of execute ----

class CliExecuteBack : public Cli {
protected:
    std::uint32_t ExecuteBack(const char* command = "x", const char* choice = nullptr) {
        std::free(output);
        output = nullptr;
        return vela_cli_execute_imp_back(kCli, command, choice, &output);
    }
};

TEST_F(CliExecuteBack, SendsThePairsSortedByKeyAndSaysThem) {
    peer.Script({Ran(Text(9, "out"))});
    EXPECT_EQ(ExecuteBack("x", "\"b\":\"2\" \"a\":\"0\" \"a\":\"1\""), 0U);
    EXPECT_THAT(Sent(), ElementsAre(TextElement(5, "me"), (Element{0, Hex("11 00 00 00")}),
                                    (Element{6, Hex("0d 0c 0b 0a")}), TextElement(7, "x"), TextElement(10, "a"),
                                    TextElement(11, "1"), TextElement(12, "b"), TextElement(13, "2")));
    EXPECT_STREQ(output, "out");
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "vela_cli_execute_imp_back", "key = a value = 1"),
                                           Says(kInfo, "vela_cli_execute_imp_back", "key = b value = 2")));
}

TEST_F(CliExecuteBack, InsistsOnAResultPointerWithTheFormatInPlaceOfItsName) {
    EXPECT_EQ(vela_cli_execute_imp_back(kCli, "x", nullptr, nullptr), 1U);
    const std::vector<Record> records = TakeRecords();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].level, kError);
    EXPECT_TRUE(std::regex_match(records[0].text, std::regex("'%s %d invalid param result = NULL [1-9][0-9]* "
                                                             "invalid param result = NULL'")))
        << records[0].text;
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(CliExecuteBack, SaysOnlyTheReasonOfARejectedCommand) {
    peer.Script({Refused(18, "rejected", Text(9, "^ unknown"))});
    EXPECT_EQ(ExecuteBack(), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_cli_execute_imp_back", "rejected")));
    EXPECT_STREQ(output, "^ unknown");
}

TEST_F(CliExecuteBack, HasTheOtherChecksOfExecute) {
    const auto says = [](const char* text) { return Says(kError, "vela_cli_execute_imp_back", text); };
    g_bCliIsOpen = 0;
    EXPECT_EQ(ExecuteBack(), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(says("cli not open")));
    g_bCliIsOpen = 1;
    py_file = "";
    EXPECT_EQ(ExecuteBack(), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(says("py_file = NULL")));
    py_file = "me";
    EXPECT_EQ(ExecuteBack(""), 2U);
    EXPECT_THAT(TakeRecords(), ElementsAre(says("invalid param command")));
    {
        const Fail init(Call::TlvInit, ENOMEM);
        EXPECT_EQ(ExecuteBack(), 1U);
        EXPECT_THAT(TakeRecords(), ElementsAre(says("tlv init failed")));
    }
    {
        const Fail append(Call::TlvAppend, ENOMEM);
        EXPECT_EQ(ExecuteBack(), 1U);
        EXPECT_THAT(TakeRecords(), ElementsAre(says("tlv init construct failed")));
    }
    const Fail limit(Call::SemTimedWait, ETIMEDOUT);
    EXPECT_EQ(ExecuteBack(), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAreArray(And(NotAnswered(), says("SendRequest failed"))));
}

// ---- the grammar of the choices ----

struct Choice {
    const char* text;
    std::vector<std::string> pairs;
    std::map<std::string, std::string> sorted;
};
class Choices : public ::testing::TestWithParam<Choice> {};

TEST_P(Choices, AreTheQuotedTextsFourQuotesToAPair) {
    EXPECT_EQ(parse_s_vector(GetParam().text), GetParam().pairs);
    EXPECT_EQ(parse_s(GetParam().text), GetParam().sorted);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Choices,
    ::testing::Values(
        Choice{nullptr, {}, {}}, Choice{"", {}, {}}, Choice{"no quotes", {}, {}},
        Choice{R"("continue":"y")", {"continue", "y"}, {{"continue", "y"}}},
        Choice{R"("Are you sure","y")", {"Are you sure", "y"}, {{"Are you sure", "y"}}},
        Choice{R"("a""b")", {"a", "b"}, {{"a", "b"}}}, Choice{R"( x "a" y z "b" w )", {"a", "b"}, {{"a", "b"}}},
        Choice{R"(")", {}, {}}, Choice{R"("a":"1)", {}, {}},
        Choice{R"("a":"1","b":"2)", {}, {}},                                          // seven quotes: no pairs at all
        Choice{R"("a")", {}, {}}, Choice{R"("a":"1","b")", {"a", "1"}, {{"a", "1"}}}, // six: one pair
        Choice{R"("":"")", {"", ""}, {{"", ""}}},
        Choice{R"("a\":"1")", {"a\\", "1"}, {{"a\\", "1"}}}, // a backslash escapes nothing
        Choice{R"("b":"1","a":"2","b":"3")", {"b", "1", "a", "2", "b", "3"}, {{"a", "2"}, {"b", "3"}}},
        Choice{R"("b":"1","B":"2","a":"3")", {"b", "1", "B", "2", "a", "3"}, {{"B", "2"}, {"a", "3"}, {"b", "1"}}}));

TEST(ChoicesSorted, StandInByteOrder) {
    EXPECT_THAT(parse_s(R"("b":"1","B":"2","a":"3")"), ElementsAre(Pair("B", "2"), Pair("a", "3"), Pair("b", "1")));
}

} // namespace
