// The syslog line that the service writes for the caller: its request, and every way it can fail.
#include "contract.h"
#include "resources.h"

namespace contract {
namespace {

std::string says(const std::string& text) { return "vela_syslog # " + text; }

class Syslog : public ContractTest {
protected:
    void expect_failure(const std::vector<std::string>& said) {
        EXPECT_EQ(vela_syslog("one", "two", "three"), 1);
        expect_said(said);
    }
};

TEST_F(Syslog, NeedsASession) {
    EXPECT_EQ(vela_syslog("x", "y", "z"), 14);
    expect_said({says("session not open")});
    open_session();
    EXPECT_EQ(last_request().send_id, 1);
    hang_up();
    EXPECT_EQ(vela_syslog("x", "y", "z"), 14);
    expect_said({says("session not open")});
    EXPECT_EQ(operations(), 0U);
}

TEST_F(Syslog, SendsItsTextsInReverseAroundTheClientsName) {
    answer_all(integration::acknowledged(4));
    open_session();
    EXPECT_EQ(vela_syslog("x", "y", "z"), 0);

    // 0: 3   7: "z"   9: client name   8: "y"   10: "x"
    const std::string name = integration::client_name(integration::granted_session) + '\0';
    const std::string items = bytes("00 00 00 00  04 00 00 00  03 00 00 00"
                                    "07 00 00 00  02 00 00 00  7a 00"
                                    "09 00 00 00") +
                              static_cast<char>(name.size()) + bytes("00 00 00") + name +
                              bytes("08 00 00 00  02 00 00 00  79 00"
                                    "0a 00 00 00  02 00 00 00  78 00");
    // 01 version   0b operation request   02 send id   00   total length   00 07 session   01 script operation   00
    // body length: both lengths are of one byte, for the name has at most 29 characters.
    const std::string golden = bytes("01 0b 02 00 00") + static_cast<char>(12 + items.size()) +
                               bytes("00 07 01 00 00") + static_cast<char>(4 + items.size()) + items;
    EXPECT_EQ(sent(), sim::hex(golden));
    expect_silence();
}

TEST_F(Syslog, SendsTextsAsTheyStand) {
    answer_all(integration::acknowledged(4));
    open_session();
    EXPECT_EQ(vela_syslog("", "100%s %n", "'\xff\n"), 0);
    EXPECT_EQ(last_request().text(10), "");
    EXPECT_EQ(last_request().text(8), "100%s %n");
    EXPECT_EQ(last_request().text(7), "'\xff\n");
    EXPECT_EQ(last_request().items.size(), 5U);
    EXPECT_EQ(last_request().send_id, 2);
    expect_silence();
}

TEST_F(Syslog, SendsTextsUpToTheFrameAndRefusesLongerOnes) {
    answer_all(integration::acknowledged(4));
    open_session();
    const std::size_t name = integration::client_name(integration::granted_session).size();
    // 8012 less 12 for header and prefix, 12 for the code, 9 for each of four texts, the name, and two texts of 2.
    const std::size_t longest = 8012 - 12 - 12 - 4 * 9 - name - 4;
    const std::string fits(longest, 'l');
    EXPECT_EQ(vela_syslog(fits.c_str(), "22", "33"), 0);
    EXPECT_EQ(vela_syslog("11", fits.c_str(), "33"), 0);
    EXPECT_EQ(vela_syslog("11", "22", fits.c_str()), 0);
    EXPECT_EQ(requests().back().bytes.size(), 8012U);
    EXPECT_EQ(last_request().text(7), fits);
    expect_silence();

    for (const std::size_t length : {longest + 1, std::size_t{8012}, std::size_t{65536}, std::size_t{1} << 21}) {
        const std::string too_long(length, 'l');
        EXPECT_EQ(vela_syslog(too_long.c_str(), "22", "33"), 1);
        EXPECT_EQ(vela_syslog("11", too_long.c_str(), "33"), 1);
        EXPECT_EQ(vela_syslog("11", "22", too_long.c_str()), 1);
        expect_said({says("  memory use out"), says("  memory use out"), says("  memory use out")});
    }
    EXPECT_EQ(operations(), 3U);
    EXPECT_EQ(next_send_id(), 5U) << "the refused requests used up no send id";
}

TEST_F(Syslog, RefusesNullTexts) {
    open_session();
    EXPECT_EQ(vela_syslog(nullptr, "y", "z"), 1);
    expect_one_record_of("vela_syslog");
    EXPECT_EQ(vela_syslog("x", nullptr, "z"), 1);
    expect_one_record_of("vela_syslog");
    EXPECT_EQ(vela_syslog("x", "y", nullptr), 1);
    expect_one_record_of("vela_syslog");
    EXPECT_EQ(operations(), 0U);
}

TEST_F(Syslog, ReportsTheServicesTextAndNeverItsCode) {
    open_session();
    for (const std::int32_t error : {5, 1, 14, -1, INT32_MIN}) {
        answer_all(integration::refused(4, error, "the disk is 100%s full"));
        expect_failure({says("the disk is 100%s full")});
    }
    const std::string text(150, 't');
    answer_all(integration::refused(4, 5, text));
    expect_failure({says(text.substr(0, 99))});
}

TEST_F(Syslog, TakesAnotherCodesAnswerForNone) {
    open_session();
    for (const std::int32_t code : {3, 5, 22, 0, -1}) {
        answer_all(integration::acknowledged(code));
        expect_failure({says("ack cmd is error!")});
    }
    answer_all({Item::integer(1, 0)});
    expect_failure({says("ack cmd is error!")});
    answer_all(std::vector<Item>{});
    expect_failure({says("ack cmd is error!")});
}

TEST_F(Syslog, TakesAnAnswerWithoutReturnCodeForARefusal) {
    open_session();
    answer_all({Item::integer(0, 4), Item::text(2, "no code")});
    expect_failure({says("no code")});
    answer_all({Item::integer(0, 4), Item::integer(1, 5)});
    EXPECT_EQ(vela_syslog("one", "two", "three"), 1);
    expect_one_record_of("vela_syslog");
}

TEST_F(Syslog, FailsWhenTheRequestCannotBeSent) {
    open_session();
    refuse_next_send();
    expect_failure({"SendData # socket send error", "SendRequest # send data failed", says("SendRequest Failed")});
    EXPECT_EQ(next_send_id(), 3U);
}

TEST_F(Syslog, FailsWhenTheReplysLengthIsImpossible) {
    open_session();
    integration::Reply reply;
    reply.items = integration::acknowledged(4);
    reply.total_length = impossible_length;
    answer_all(reply);
    expect_failure({says_impossible_length, says("SendRequest Failed")});
}

TEST_F(Syslog, GivesUpAfterAMinuteWithoutAnAnswer) {
    answer_none();
    open_session();
    expect_failure({"SendRequest # wait time out", says("SendRequest Failed")});
}

TEST_F(Syslog, LogsNothingLocally) {
    answer_all(integration::acknowledged(4));
    open_session();
    EXPECT_EQ(vela_syslog("one", "two", "three"), 0);
    EXPECT_TRUE(take_log().empty());
}

TEST_F(Syslog, FailsWhenThereIsNoBufferForTheRequest) {
    if (!heap_can_be_watched())
        GTEST_SKIP() << "the sanitizer's heap cannot be replaced";
    open_session();
    refuse_block(1);
    const std::int32_t code = vela_syslog("one", "two", "three");
    ASSERT_TRUE(block_was_refused());
    EXPECT_EQ(code, 1);
    expect_said({"tlv_init # tlv_init tlv = NULL", says("  memory use out")});
    EXPECT_EQ(next_send_id(), 2U);
}

TEST_F(Syslog, FailsWhenTheRequestCannotGrow) {
    if (!heap_can_be_watched())
        GTEST_SKIP() << "the sanitizer's heap cannot be replaced";
    open_session();
    const std::string text(1500, 't');
    // The thousand bytes grow by the text's 1501, rounded up to thousands.
    refuse_block_of(3000);
    const std::int32_t code = vela_syslog(text.c_str(), "two", "three");
    ASSERT_TRUE(block_was_refused());
    EXPECT_EQ(code, 1);
    expect_said({says("  memory use out")});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 2U);
}

} // namespace
} // namespace contract
