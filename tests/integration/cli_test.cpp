// The CLI channel: order of checks, the bytes of its requests, the grammar of choices, what becomes of every reply, and
// the save that opens a channel of its own.
#include <algorithm>
#include <cstring>

#include "inject.h"
#include "support.h"

namespace integration {
namespace {

using sim::Item;

constexpr const char* open_function = "vela_cli_open_imp";
constexpr const char* execute_function = "vela_cli_execute_imp";
constexpr const char* save_function = "vela_cli_save_imp";
constexpr const char* close_function = "vela_cli_close_imp";

constexpr std::uint32_t untouched = 0x5eed5eed;

const Record bad_length_7 = failure("ConvertRecvDataNtohs", "invalid message length = 7");
const Record bad_length_9000 = failure("ConvertRecvDataNtohs", "invalid message length = 9000");
const Record open_done = note(open_function, "cli open success, cli handle = 3");
const Record close_done = note(close_function, "cli close success, cli handle = 3");

class Cli : public LibraryTest {
protected:
    // The pairs of the last execute request, in the order of their tags.
    std::vector<std::pair<std::string, std::string>> pairs_sent() const {
        const sim::Message request = last_request();
        std::vector<std::pair<std::string, std::string>> pairs;
        for (std::int32_t tag = 10; request.find(tag) != nullptr; tag += 2)
            pairs.emplace_back(request.text(tag).value_or("(no text)"), request.text(tag + 1).value_or("(no text)"));
        return pairs;
    }
};

// The bytes of a script operation that the thread's own client name makes as long as it is.
//   header  version 1, type 11, send id, reserved 0, total length, session 7
//   body    kind 1 (script operation), a byte 0, body length
//   5: client name
//   then the items given
std::string operation_golden(std::uint8_t send_id, std::string_view items_after_name) {
    const std::string name = client_name(granted_session) + '\0';
    const std::size_t body = 4 + 8 + name.size() + bytes(items_after_name).size();
    const std::size_t total = 8 + body;
    const auto high = [](std::size_t n) { return static_cast<char>(n >> 8); };
    const auto low = [](std::size_t n) { return static_cast<char>(n & 0xff); };

    std::string golden = bytes("01 0b");
    golden += static_cast<char>(send_id);
    golden += bytes("00");
    golden += high(total);
    golden += low(total);
    golden += bytes("00 07  01 00");
    golden += high(body);
    golden += low(body);
    golden += bytes("05 00 00 00");
    golden += low(name.size());
    golden += bytes("00 00 00");
    golden += name;
    golden += bytes(items_after_name);
    return golden;
}

// Requests ----------------------------------------------------------------------------------------------------------

TEST_F(Cli, OpenSendsTheClientsNameAndItsCode) {
    open_session();
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_cli_open(&handle), VELA_OK);

    // 5: client name   0: 15 open
    EXPECT_EQ(sim::hex(requests().back().bytes),
              sim::hex(operation_golden(2, "00 00 00 00  04 00 00 00  0f 00 00 00")));
    expect_log({open_done});
}

TEST_F(Cli, ExecuteSendsHandleCommandAndAnswers) {
    open_cli();
    char* output = nullptr;
    ASSERT_EQ(vela_cli_execute(3, "save", "\"continue\":\"y\"", &output), VELA_OK);
    vela_free(output);

    // 5: client name   0: 17 execute   6: handle 3   7: "save"   10: "continue"   11: "y"
    EXPECT_EQ(sim::hex(requests().back().bytes),
              sim::hex(operation_golden(3, "00 00 00 00  04 00 00 00  11 00 00 00"
                                           "06 00 00 00  04 00 00 00  03 00 00 00"
                                           "07 00 00 00  05 00 00 00  73 61 76 65 00"
                                           "0a 00 00 00  09 00 00 00  63 6f 6e 74 69 6e 75 65 00"
                                           "0b 00 00 00  02 00 00 00  79 00")));
    expect_no_log();
}

TEST_F(Cli, SaveSendsTheSaveCommandAndContinues) {
    open_cli();
    ASSERT_EQ(vela_cli_save(), VELA_OK);

    // 5: client name   0: 17 execute   6: handle 3   7: "save"   10: "continue"   11: "y"
    EXPECT_EQ(sim::hex(requests().back().bytes),
              sim::hex(operation_golden(3, "00 00 00 00  04 00 00 00  11 00 00 00"
                                           "06 00 00 00  04 00 00 00  03 00 00 00"
                                           "07 00 00 00  05 00 00 00  73 61 76 65 00"
                                           "0a 00 00 00  09 00 00 00  63 6f 6e 74 69 6e 75 65 00"
                                           "0b 00 00 00  02 00 00 00  79 00")));
    expect_no_log();
}

TEST_F(Cli, CloseSendsTheHandle) {
    open_cli();
    ASSERT_EQ(vela_cli_close(3), VELA_OK);

    // 5: client name   0: 19 close   6: handle 3
    EXPECT_EQ(sim::hex(requests().back().bytes),
              sim::hex(operation_golden(3, "00 00 00 00  04 00 00 00  13 00 00 00"
                                           "06 00 00 00  04 00 00 00  03 00 00 00")));
    expect_log({close_done});
}

TEST_F(Cli, CommandsTravelAsTheyStand) {
    open_cli();
    for (const std::string command : {" display  version \n", "x", "a\"b\"c", "\xff\xfe\x01"}) {
        ASSERT_EQ(vela_cli_execute(granted_handle, command.c_str(), nullptr, nullptr), VELA_OK);
        EXPECT_EQ(last_request().text(7), command);
    }
}

TEST_F(Cli, ExecuteAndCloseSendTheCallersHandleAndNotTheirOwn) {
    open_cli();
    ASSERT_EQ(vela_cli_execute(0xfffffffe, "x", nullptr, nullptr), VELA_OK);
    EXPECT_EQ(last_request().integer(6), -2);
    ASSERT_EQ(vela_cli_execute(0, "x", nullptr, nullptr), VELA_OK);
    EXPECT_EQ(last_request().integer(6), 0);
    ASSERT_EQ(vela_cli_close(99), VELA_OK);
    EXPECT_EQ(last_request().integer(6), 99);
    expect_log({note(close_function, "cli close success, cli handle = 99")});
}

TEST_F(Cli, SaveUsesTheOpenChannelsHandle) {
    answer("cli.open", {.items = cli_opened(0x80000001)});
    open_session();
    std::uint32_t handle = 0;
    ASSERT_EQ(vela_cli_open(&handle), VELA_OK);
    EXPECT_EQ(handle, 0x80000001U);
    expect_log({note(open_function, any_text)});
    ASSERT_EQ(vela_cli_save(), VELA_OK);
    EXPECT_EQ(last_request().find(6)->value, sim::Item::u32(6, 0x80000001).value);
}

// Order of checks ---------------------------------------------------------------------------------------------------

TEST_F(Cli, OpenChecksItsPointerFirst) {
    EXPECT_EQ(vela_cli_open(nullptr), VELA_ERROR) << "without a session";
    expect_log({failure(open_function, "cli_hdl = NULL")});
    open_cli();
    EXPECT_EQ(vela_cli_open(nullptr), VELA_ERROR) << "with an open channel";
    expect_log({failure(open_function, "cli_hdl = NULL")});
}

TEST_F(Cli, OpenNeedsASession) {
    std::uint32_t handle = untouched;
    EXPECT_EQ(vela_cli_open(&handle), VELA_ERROR_NO_SESSION) << "before vela_init";
    expect_log({failure(open_function, "session not open")});
    init();
    EXPECT_EQ(vela_cli_open(&handle), VELA_ERROR_NO_SESSION) << "before vela_session_open";
    expect_log({failure(open_function, "session not open")});
    EXPECT_EQ(handle, untouched);
}

TEST_F(Cli, OpeningTwiceIsRefusedAndSendsNothing) {
    open_cli();
    std::uint32_t handle = untouched;
    EXPECT_EQ(vela_cli_open(&handle), VELA_ERROR);
    expect_log({failure(open_function, "cli has opened")});
    EXPECT_EQ(requests("cli.open").size(), 1U);
    EXPECT_EQ(handle, untouched);
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK);
}

TEST_F(Cli, ExecuteNeedsAnOpenChannelBeforeACommand) {
    char* output = reinterpret_cast<char*>(this);
    for (const char* command : {static_cast<const char*>(nullptr), "", "display version"}) {
        EXPECT_EQ(vela_cli_execute(3, command, nullptr, &output), VELA_ERROR) << "before vela_init";
        expect_log({failure(execute_function, "cli not open")});
    }
    open_session();
    EXPECT_EQ(vela_cli_execute(3, nullptr, nullptr, &output), VELA_ERROR) << "with a session alone";
    expect_log({failure(execute_function, "cli not open")});
    EXPECT_EQ(output, reinterpret_cast<char*>(this)) << "no answer, nothing handed out";
}

TEST_F(Cli, ExecuteNeedsACommand) {
    open_cli();
    char* output = reinterpret_cast<char*>(this);
    for (const char* command : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(vela_cli_execute(granted_handle, command, "\"a\":\"1\"", &output), VELA_ERROR_PARAM);
        expect_log({failure(execute_function, "invalid param command")});
    }
    EXPECT_EQ(output, reinterpret_cast<char*>(this));
    EXPECT_TRUE(requests("cli.execute").empty());
}

TEST_F(Cli, CloseNeedsASessionAndThenAChannel) {
    EXPECT_EQ(vela_cli_close(3), VELA_ERROR_NO_SESSION);
    expect_log({failure(close_function, "please open session first")});
    open_session();
    EXPECT_EQ(vela_cli_close(3), VELA_ERROR);
    expect_log({failure(close_function, "please open cli first")});
    EXPECT_TRUE(requests("cli.close").empty());
}

TEST_F(Cli, AClosedChannelCanBeOpenedAgain) {
    open_cli();
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(vela_cli_close(granted_handle), VELA_OK);
        EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_ERROR);
        expect_log({close_done, failure(execute_function, "cli not open")});
        EXPECT_EQ(vela_cli_close(granted_handle), VELA_ERROR);
        expect_log({failure(close_function, "please open cli first")});
        std::uint32_t handle = 0;
        ASSERT_EQ(vela_cli_open(&handle), VELA_OK);
        expect_log({open_done});
    }
}

// Choices -----------------------------------------------------------------------------------------------------------

struct ChoiceRow {
    const char* name;
    const char* choice;
    std::vector<std::pair<std::string, std::string>> sent; // in the order of their tags: the last written comes first
};
std::ostream& operator<<(std::ostream& out, const ChoiceRow& row) { return out << row.name; }

class CliChoice : public Cli, public testing::WithParamInterface<ChoiceRow> {};

TEST_P(CliChoice, IsSentLastPairFirst) {
    const ChoiceRow& row = GetParam();
    open_cli();
    EXPECT_EQ(vela_cli_execute(granted_handle, "reboot", row.choice, nullptr), VELA_OK);
    EXPECT_EQ(pairs_sent(), row.sent);
    EXPECT_EQ(last_request().items.size(), 4 + 2 * row.sent.size());
    expect_no_log();
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, CliChoice,
    testing::Values(
        ChoiceRow{"Null", nullptr, {}}, ChoiceRow{"Empty", "", {}}, ChoiceRow{"NoQuotes", "continue:y", {}},
        ChoiceRow{"OneQuote", "\"", {}}, ChoiceRow{"ThreeQuotes", "\"a\":\"1", {}},
        ChoiceRow{"FiveQuotes", "\"a\":\"1\",\"", {}}, ChoiceRow{"SevenQuotesOfTwoPairs", "\"a\":\"1\",\"b\":\"2", {}},
        ChoiceRow{"TwoQuotes", "\"a\"", {}}, ChoiceRow{"SixQuotes", "\"a\":\"1\",\"b\"", {{"a", "1"}}},
        ChoiceRow{"OnePair", "\"continue\":\"y\"", {{"continue", "y"}}},
        ChoiceRow{"Comma", "\"Are you sure\",\"y\"", {{"Are you sure", "y"}}},
        ChoiceRow{"NoSeparator", "\"a\"\"1\"\"b\"\"2\"", {{"b", "2"}, {"a", "1"}}},
        ChoiceRow{"AnythingBetween", "xx\"a\" => \"1\";;\n\"b\"\t\"2\"yy", {{"b", "2"}, {"a", "1"}}},
        ChoiceRow{"TwoPairs", "\"a\":\"1\",\"b\":\"2\"", {{"b", "2"}, {"a", "1"}}},
        ChoiceRow{"ThreePairs", "\"a\":\"1\",\"b\":\"2\",\"c\":\"3\"", {{"c", "3"}, {"b", "2"}, {"a", "1"}}},
        ChoiceRow{"NotSorted", "\"z\":\"1\",\"a\":\"2\"", {{"a", "2"}, {"z", "1"}}},
        ChoiceRow{"DuplicatesAreKept", "\"a\":\"1\",\"a\":\"2\"", {{"a", "2"}, {"a", "1"}}},
        ChoiceRow{"EmptyTextsAreKept", "\"\":\"\"", {{"", ""}}}, ChoiceRow{"EmptyValue", "\"a\":\"\"", {{"a", ""}}},
        ChoiceRow{"BackslashIsNoEscape", "\"a\\\":\"1\"", {{"a\\", "1"}}},
        ChoiceRow{"SeparatorsInsideQuotes", "\"a:b\",\"c,d\"", {{"a:b", "c,d"}}}),
    [](const auto& row) { return row.param.name; });

// What does not fit the frame is refused, and nothing of it is sent.
class CliFrame : public Cli {
protected:
    // The longest command that fits a request without choices: 8012 bytes less header and prefix (12), the elements'
    // heads (8 each) and values of name, code, handle, and the command's own NUL.
    static std::size_t longest_command() {
        return 8012 - 12 - (8 + client_name(granted_session).size() + 1) - 12 - 12 - 8 - 1;
    }
};

TEST_F(CliFrame, TheLongestCommandIsSentWhole) {
    open_cli();
    const std::string command(longest_command(), 'c');
    EXPECT_EQ(vela_cli_execute(granted_handle, command.c_str(), nullptr, nullptr), VELA_OK);
    EXPECT_EQ(last_request().text(7), command);
    EXPECT_EQ(requests().back().bytes.size(), 8012U);
    expect_no_log();
}

TEST_F(CliFrame, ACommandOneByteTooLongIsRefused) {
    open_cli();
    const std::string command(longest_command() + 1, 'c');
    char* output = reinterpret_cast<char*>(this);
    EXPECT_EQ(vela_cli_execute(granted_handle, command.c_str(), nullptr, &output), VELA_ERROR);
    expect_log({failure(execute_function, "tlv init construct failed")});
    EXPECT_TRUE(requests("cli.execute").empty());
    EXPECT_EQ(output, reinterpret_cast<char*>(this));
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK) << "the channel stays usable";
}

TEST_F(CliFrame, CommandsOfAnyLengthAreRefusedAlike) {
    open_cli();
    for (const std::size_t length : {std::size_t{8012}, std::size_t{65536}, std::size_t{70000}, std::size_t{1} << 22}) {
        const std::string command(length, 'c');
        EXPECT_EQ(vela_cli_execute(granted_handle, command.c_str(), nullptr, nullptr), VELA_ERROR) << length;
        expect_log({failure(execute_function, "tlv init construct failed")});
    }
    EXPECT_TRUE(requests("cli.execute").empty());
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK);
}

TEST_F(CliFrame, ChoicesCountToo) {
    open_cli();
    const std::string command(longest_command() - 8 - 2 - 8 - 2, 'c');
    EXPECT_EQ(vela_cli_execute(granted_handle, command.c_str(), "\"a\":\"1\"", nullptr), VELA_OK);
    EXPECT_EQ(requests().back().bytes.size(), 8012U);
    EXPECT_EQ(vela_cli_execute(granted_handle, command.c_str(), "\"a\":\"10\"", nullptr), VELA_ERROR);
    expect_log({failure(execute_function, "tlv init construct failed")});
    std::string many;
    for (int pair = 0; pair < 1000; ++pair)
        many += "\"k\":\"v\",";
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", many.c_str(), nullptr), VELA_ERROR);
    expect_log({failure(execute_function, "tlv init construct failed")});
    EXPECT_EQ(requests("cli.execute").size(), 1U);
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK);
}

// Output ------------------------------------------------------------------------------------------------------------

TEST_F(Cli, OutputIsHandedOutWholeAsABlockOfItsOwn) {
    open_cli();
    const std::string longest(8012 - 12 - 12 - 12 - 8 - 1, 'o');
    for (const std::string& text : {std::string("Q"), std::string("line\r\nline\n\"quoted\""), longest}) {
        answer("cli.execute", {.items = printed(text)});
        char* output = nullptr;
        ASSERT_EQ(vela_cli_execute(granted_handle, "x", nullptr, &output), VELA_OK);
        ASSERT_NE(output, nullptr);
        EXPECT_EQ(output, text);
        output[0] = '#'; // the caller's own
        EXPECT_EQ(vela_free(output), VELA_OK);
    }
    expect_no_log();
}

TEST_F(Cli, OutputMayBeGivenBackWithFree) {
    open_cli();
    char* output = nullptr;
    ASSERT_EQ(vela_cli_execute(granted_handle, "x", nullptr, &output), VELA_OK);
    std::free(output);
}

TEST_F(Cli, ACallerWhoWantsNoOutputGetsTheVerdict) {
    open_cli();
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK);
    answer("cli.execute", {.items = with(refused(18, 9, "Unrecognized command"), Item::text(9, "Error: ^"))});
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", "", nullptr), VELA_ERROR);
    expect_log({failure(execute_function, any_text)});
    EXPECT_EQ(requests("cli.execute").size(), 2U);
}

TEST_F(Cli, NoMemoryForTheOutputIsReported) {
    if (!can_refuse_blocks())
        GTEST_SKIP() << "the sanitizer's heap cannot be replaced";
    open_cli();
    const std::string text(7654, 'o');
    answer("cli.execute", {.items = printed(text)});
    char* output = reinterpret_cast<char*>(this);

    refuse_blocks_of(text.size() + 1);
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, &output), VELA_ERROR_MEMORY);
    EXPECT_EQ(output, nullptr);
    expect_log({failure(execute_function, "memory use out, malloc failed")});
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK) << "nothing to allocate";

    refuse_blocks_of(0);
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, &output), VELA_OK);
    EXPECT_EQ(vela_free(output), VELA_OK);
}

// Replies -----------------------------------------------------------------------------------------------------------

// The rows in which the service refuses with an error text: 99 of its characters are reported.
ReplyRow refusal_row(const char* name, std::int32_t ack, std::size_t length, Record (*record)(const std::string&)) {
    return {name,
            {.items = refused(ack, 5, std::string(length, 'e'))},
            1,
            {record(std::string(std::min<std::size_t>(length, 99), 'e'))}};
}

class CliOpenReply : public LibraryTest, public testing::WithParamInterface<ReplyRow> {};

TEST_P(CliOpenReply, IsJudged) {
    const ReplyRow& row = GetParam();
    open_session();
    answer("cli.open", row.reply);
    std::uint32_t handle = untouched;

    EXPECT_EQ(vela_cli_open(&handle), row.code);
    expect_log(row.records);

    answer_as_usual();
    if (row.code == VELA_OK) {
        EXPECT_EQ(vela_cli_execute(handle, "x", nullptr, nullptr), VELA_OK);
        return;
    }
    const bool granted_zero = row.records.back().text == "cli handle = 0";
    EXPECT_EQ(handle, granted_zero ? 0 : untouched);
    EXPECT_EQ(vela_cli_execute(3, "x", nullptr, nullptr), VELA_ERROR) << "the channel stays closed";
    expect_log({failure(execute_function, "cli not open")});
    EXPECT_EQ(vela_cli_open(&handle), VELA_OK);
    EXPECT_EQ(handle, granted_handle);
}

Record open_refused(const std::string& text) { return failure(open_function, text); }
const Record open_not_sent = failure(open_function, "SendRequest faided");
const Record open_without_handle = failure(open_function, "get handle from tlv_s failed");

INSTANTIATE_TEST_SUITE_P(
    Reply, CliOpenReply,
    testing::Values(
        ReplyRow{"Accepted", {.items = cli_opened(3)}, 0, {open_done}},
        ReplyRow{"AcceptedInAnotherOrder",
                 {.items = {Item::u32(6, 3), Item::integer(1, 0), Item::integer(0, 16)}},
                 0,
                 {open_done}},
        ReplyRow{"AcceptedWithAnotherBodyKind", {.items = cli_opened(3), .kind = 4}, 0, {open_done}},
        ReplyRow{"HandleZero", {.items = cli_opened(0)}, 1, {failure(open_function, "cli handle = 0")}},
        ReplyRow{"WithoutHandle", {.items = acknowledged(16)}, 1, {open_without_handle}},
        ReplyRow{"HandleOfTwoBytes",
                 {.items = with(acknowledged(16), Item::raw(6, std::string(2, '\1')))},
                 1,
                 {open_without_handle}},
        ReplyRow{
            "HandlePastTheEnd", {.items = acknowledged(16), .tail = element(6, 4, "\3")}, 1, {open_without_handle}},
        ReplyRow{"AnotherAcknowledgement",
                 {.items = with(acknowledged(18), Item::u32(6, 3))},
                 1,
                 {open_refused("ack cmd is error!")}},
        ReplyRow{"AnotherAcknowledgementAndAnError",
                 {.items = refused(20, 5, "busy")},
                 1,
                 {open_refused("ack cmd is error!")}},
        ReplyRow{
            "WithoutAcknowledgement", {.items = without(cli_opened(3), 0)}, 1, {open_refused("ack cmd is error!")}},
        ReplyRow{"WithoutCodeButAText",
                 {.items = {Item::integer(0, 16), Item::text(2, "odd"), Item::u32(6, 3)}},
                 1,
                 {open_refused("odd")}},
        ReplyRow{"NoItems", {}, 1, {open_refused("ack cmd is error!")}},
        ReplyRow{"Refused", {.items = refused(16, 5, "no more channels")}, 1, {open_refused("no more channels")}},
        ReplyRow{"RefusedWithANegativeCode", {.items = refused(16, -1, "no")}, 1, {open_refused("no")}},
        ReplyRow{"RefusedWithAnEmptyText", {.items = refused(16, 5, "")}, 1, {open_refused("")}},
        ReplyRow{"RefusedWithoutText", {.items = without(refused(16, 5, ""), 2)}, 1, {open_refused(any_text)}},
        ReplyRow{"RefusedWithATextWithoutItsEnd",
                 {.items = with(without(refused(16, 5, ""), 2), Item::raw(2, "endless"))},
                 1,
                 {open_refused(any_text)}},
        ReplyRow{"RefusedWithATextPastTheEnd",
                 {.items = without(refused(16, 5, ""), 2), .tail = element(2, 3000, "far")},
                 1,
                 {open_refused(any_text)}},
        refusal_row("RefusedWith98", 16, 98, open_refused), refusal_row("RefusedWith99", 16, 99, open_refused),
        refusal_row("RefusedWith100", 16, 100, open_refused), refusal_row("RefusedWith150", 16, 150, open_refused),
        refusal_row("RefusedWith5000", 16, 5000, open_refused),
        ReplyRow{"LengthSeven", {.items = cli_opened(3), .total_length = 7}, 1, {bad_length_7, open_not_sent}},
        ReplyRow{
            "LengthNineThousand", {.items = cli_opened(3), .total_length = 9000}, 1, {bad_length_9000, open_not_sent}},
        ReplyRow{"LengthOfAHeaderAlone",
                 {.items = cli_opened(3), .total_length = 8},
                 1,
                 {open_refused("ack cmd is error!")}},
        ReplyRow{"LengthThatEndsInsideThePrefix",
                 {.items = cli_opened(3), .total_length = 11},
                 1,
                 {open_refused("ack cmd is error!")}}),
    row_name);

class CliExecuteReply : public LibraryTest, public testing::WithParamInterface<ReplyRow> {};

// What the output pointer holds after the call.
std::string output_of(const Reply& reply) {
    const auto text =
        std::find_if(reply.items.begin(), reply.items.end(), [](const Item& item) { return item.tag == 9; });
    return text == reply.items.end() ? "" : text->as_text().value_or("");
}

TEST_P(CliExecuteReply, IsJudged) {
    const ReplyRow& row = GetParam();
    open_cli();
    answer("cli.execute", row.reply);
    const auto unset = reinterpret_cast<char*>(this);
    char* output = unset;

    EXPECT_EQ(vela_cli_execute(granted_handle, "display x", "\"a\":\"1\"", &output), row.code);
    expect_log(row.records);

    if (row.reply.total_length) {
        EXPECT_EQ(output, unset) << "no usable answer, nothing handed out";
    } else if (output_of(row.reply).empty()) {
        EXPECT_EQ(output, nullptr);
    } else {
        ASSERT_NE(output, nullptr);
        ASSERT_NE(output, unset);
        EXPECT_EQ(output, output_of(row.reply));
        vela_free(output);
    }
    answer_as_usual();
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK) << "the channel stays open";
}

Record execute_failed(const std::string& error, const std::string& output) {
    return failure(execute_function, error + ",command = display x, choice = \"a\":\"1\", result = " + output);
}
Record execute_refused(const std::string& error) { return execute_failed(error, "(null)"); }

INSTANTIATE_TEST_SUITE_P(
    Reply, CliExecuteReply,
    testing::Values(ReplyRow{"Accepted", {.items = printed("Quor Router")}, 0, {}},
                    ReplyRow{"AcceptedWithoutOutput", {.items = acknowledged(18)}, 0, {}},
                    ReplyRow{"AcceptedWithEmptyOutput", {.items = printed("")}, 0, {}},
                    ReplyRow{"OutputWithoutItsEnd", {.items = with(acknowledged(18), Item::raw(9, "endless"))}, 0, {}},
                    ReplyRow{"OutputOfNoBytes", {.items = with(acknowledged(18), Item::raw(9, ""))}, 0, {}},
                    ReplyRow{"OutputPastTheEnd", {.items = acknowledged(18), .tail = element(9, 7000, "far")}, 0, {}},
                    ReplyRow{"OutputOfNegativeLength", {.items = acknowledged(18), .tail = element(9, -8, "")}, 0, {}},
                    ReplyRow{"Rejected",
                             {.items = refused(18, 9, "Unrecognized command")},
                             1,
                             {execute_refused("Unrecognized command")}},
                    ReplyRow{"RejectedWithOutput",
                             {.items = with(refused(18, 9, "bad"), Item::text(9, "Error: at '^'"))},
                             1,
                             {execute_failed("bad", "Error: at '^'")}},
                    ReplyRow{"AnotherAcknowledgement",
                             {.items = with(acknowledged(16), Item::text(9, "out"))},
                             1,
                             {execute_failed("ack cmd is error!", "out")}},
                    ReplyRow{"WithoutAcknowledgement",
                             {.items = without(printed("out"), 0)},
                             1,
                             {execute_failed("ack cmd is error!", "out")}},
                    ReplyRow{"WithoutCodeButAText",
                             {.items = {Item::integer(0, 18), Item::text(2, "odd")}},
                             1,
                             {execute_refused("odd")}},
                    ReplyRow{"NoItems", {}, 1, {execute_refused("ack cmd is error!")}},
                    ReplyRow{"RejectedWithoutText",
                             {.items = without(refused(18, 9, ""), 2)},
                             1,
                             {failure(execute_function, any_text)}},
                    refusal_row("RejectedWith99", 18, 99, execute_refused),
                    refusal_row("RejectedWith100", 18, 100, execute_refused),
                    refusal_row("RejectedWith150", 18, 150, execute_refused),
                    ReplyRow{"LengthSeven",
                             {.items = printed("out"), .total_length = 7},
                             1,
                             {bad_length_7, failure(execute_function, "SendRequest failed")}},
                    ReplyRow{"LengthNineThousand",
                             {.items = printed("out"), .total_length = 9000},
                             1,
                             {bad_length_9000, failure(execute_function, "SendRequest failed")}}),
    row_name);

TEST_F(Cli, AFailureWithALongOutputIsRecordedUpToTheRecordsSize) {
    open_cli();
    answer("cli.execute", {.items = with(refused(18, 9, "bad"), Item::text(9, std::string(6000, 'o')))});
    char* output = nullptr;
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", "", &output), VELA_ERROR);
    ASSERT_NE(output, nullptr);
    EXPECT_EQ(std::strlen(output), 6000U);
    vela_free(output);
    log.drain();
    ASSERT_FALSE(log.records().empty());
    EXPECT_EQ(log.records().back().text.size(), 3071U + 2U) << "the quotes are added to what was cut";
    take_log();
}

class CliCloseReply : public LibraryTest, public testing::WithParamInterface<ReplyRow> {};

TEST_P(CliCloseReply, IsJudged) {
    const ReplyRow& row = GetParam();
    open_cli();
    answer("cli.close", row.reply);

    EXPECT_EQ(vela_cli_close(granted_handle), row.code);
    expect_log(row.records);

    answer_as_usual();
    const bool still_open = row.code != VELA_OK;
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), still_open ? VELA_OK : VELA_ERROR);
    if (still_open) {
        EXPECT_EQ(vela_cli_close(granted_handle), VELA_OK);
    }
    take_log();
}

Record close_refused(const std::string& text) { return failure(close_function, text); }
const Record close_not_sent = failure(close_function, "SendRequest failed");

INSTANTIATE_TEST_SUITE_P(
    Reply, CliCloseReply,
    testing::Values(
        ReplyRow{"Accepted", {.items = acknowledged(20)}, 0, {close_done}},
        ReplyRow{"AnotherAcknowledgement", {.items = acknowledged(18)}, 1, {close_refused("ack cmd is error!")}},
        ReplyRow{"WithoutAcknowledgement", {.items = {Item::integer(1, 0)}}, 1, {close_refused("ack cmd is error!")}},
        ReplyRow{
            "WithoutCodeButAText", {.items = {Item::integer(0, 20), Item::text(2, "odd")}}, 1, {close_refused("odd")}},
        ReplyRow{"NoItems", {}, 1, {close_refused("ack cmd is error!")}},
        ReplyRow{"Refused", {.items = refused(20, 5, "no such handle")}, 1, {close_refused("no such handle")}},
        ReplyRow{"RefusedWithoutText", {.items = without(refused(20, 5, ""), 2)}, 1, {close_refused(any_text)}},
        refusal_row("RefusedWith99", 20, 99, close_refused), refusal_row("RefusedWith100", 20, 100, close_refused),
        refusal_row("RefusedWith150", 20, 150, close_refused),
        ReplyRow{"LengthSeven", {.items = acknowledged(20), .total_length = 7}, 1, {bad_length_7, close_not_sent}},
        ReplyRow{"LengthNineThousand",
                 {.items = acknowledged(20), .total_length = 9000},
                 1,
                 {bad_length_9000, close_not_sent}}),
    row_name);

TEST_F(Cli, RepliesAreNotJudgedByTheirMessageType) {
    open_session();
    // A message of type 2 whose body stands where that of an operation reply does.
    service.on("cli.open", [](const sim::Request& request) {
        std::string frame = encode_reply(request.message, {.items = cli_opened(granted_handle)});
        frame[1] = sim::session_reply;
        return sim::Answer{frame};
    });
    std::uint32_t handle = 0;
    EXPECT_EQ(vela_cli_open(&handle), VELA_OK);
    EXPECT_EQ(handle, granted_handle);
}

// Save --------------------------------------------------------------------------------------------------------------

class CliSave : public Cli {
protected:
    std::vector<std::string> operations() const {
        std::vector<std::string> names;
        for (const sim::Request& request : requests())
            names.push_back(request.operation);
        return names;
    }
};

using Operations = std::vector<std::string>;

TEST_F(CliSave, UsesTheOpenChannelAndLeavesItOpen) {
    open_cli();
    service.clear_requests();
    EXPECT_EQ(vela_cli_save(), VELA_OK);
    EXPECT_EQ(operations(), Operations{"cli.execute"});
    EXPECT_EQ(vela_cli_execute(granted_handle, "x", nullptr, nullptr), VELA_OK);
    expect_no_log();
}

TEST_F(CliSave, OpensAndClosesAChannelOfItsOwn) {
    open_session();
    service.clear_requests();
    EXPECT_EQ(vela_cli_save(), VELA_OK);
    EXPECT_EQ(operations(), (Operations{"cli.open", "cli.execute", "cli.close"}));
    EXPECT_EQ(requests()[1].message.text(7), "save");
    EXPECT_EQ(requests()[1].message.integer(6), granted_handle);
    EXPECT_EQ(requests()[2].message.integer(6), granted_handle);
    expect_log({open_done, close_done});
    EXPECT_EQ(request_kind("cli.open").call(), VELA_OK) << "the channel is closed";
}

TEST_F(CliSave, WithoutASessionFailsToOpen) {
    EXPECT_EQ(vela_cli_save(), VELA_ERROR);
    expect_log({failure(open_function, "session not open"), failure(save_function, "vela_cli_open_imp failed")});
}

TEST_F(CliSave, ReportsThatTheChannelDidNotOpen) {
    open_session();
    answer("cli.open", {.items = refused(16, 5, "busy")});
    EXPECT_EQ(vela_cli_save(), VELA_ERROR);
    expect_log({failure(open_function, "busy"), failure(save_function, "vela_cli_open_imp failed")});
    EXPECT_TRUE(requests("cli.execute").empty());
}

TEST_F(CliSave, ReportsThatTheOpenChannelRefused) {
    open_cli();
    answer("cli.execute", {.items = refused(18, 5, "disk full")});
    EXPECT_EQ(vela_cli_save(), VELA_ERROR);
    expect_log({failure(execute_function, any_text), failure(save_function, "vela_cli_execute_imp(\"save\") failed")});
    EXPECT_TRUE(requests("cli.close").empty());
}

TEST_F(CliSave, LeavesItsOwnChannelOpenWhenSavingFails) {
    open_session();
    answer("cli.execute", {.items = refused(18, 5, "disk full")});
    EXPECT_EQ(vela_cli_save(), VELA_ERROR);
    expect_log({open_done, failure(execute_function, any_text),
                failure(save_function, "vela_cli_execute_imp(\"save\") failed")});
    EXPECT_TRUE(requests("cli.close").empty());

    EXPECT_EQ(request_kind("cli.open").call(), VELA_ERROR);
    expect_log({failure(open_function, "cli has opened")});
    EXPECT_EQ(vela_cli_close(granted_handle), VELA_OK);
    EXPECT_EQ(request_kind("cli.open").call(), VELA_OK);
}

TEST_F(CliSave, ReportsThatItsOwnChannelDidNotClose) {
    open_session();
    answer("cli.close", {.items = refused(20, 5, "busy")});
    EXPECT_EQ(vela_cli_save(), VELA_ERROR);
    expect_log({open_done, failure(close_function, "busy"), failure(save_function, "cli close failed")});
    EXPECT_EQ(request_kind("cli.open").call(), VELA_ERROR) << "it stays open";
    expect_log({failure(open_function, "cli has opened")});
}

} // namespace
} // namespace integration
