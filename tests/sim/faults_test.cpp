// Every fault over a real socket, when it is met, and how faults are written.
#include "sim/faults.h"

#include <limits>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/sim/support.h"
#include "tests/support/wait.h"

namespace sim::test {
namespace {

using ::testing::HasSubstr;
using Clock = std::chrono::steady_clock;

class FaultTest : public ServiceTest {
protected:
    FaultTest() : client(path) { client.open_cli(); }

    // The bytes that a keepalive is answered with, when nothing is wrong.
    std::string right_keepalive() {
        Message reply;
        reply.type = session_reply;
        reply.send_id = client.last_send_id();
        reply.session_id = client.session_id();
        reply.items = {Item::integer(1, 6), Item::integer(2, 0)};
        return encode(reply);
    }
    void keep_alive() { client.send(client.session_message(5)); }

    WireClient client;
};

TEST_F(FaultTest, NoAnswerSaysNothingAndGoesOn) {
    service.faults().add("session.keepalive:no_answer,times=1");
    keep_alive();
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive())) << "the second one's";
    EXPECT_EQ(service.faults().met(), 1U);
}

TEST_F(FaultTest, DelayAnswersLate) {
    service.faults().add("session.keepalive@1:delay=300");
    const auto asked = Clock::now();
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive()));
    EXPECT_GE(Clock::now() - asked, 300ms);
}

TEST_F(FaultTest, DelayHoldsUpNobody) {
    service.faults().add("session.keepalive@1:delay=3600000");
    keep_alive();
    ASSERT_TRUE(::test::Eventually([this] { return service.faults().met() == 1; })) << "ahead of the other client's";

    WireClient other(path);
    other.open_session();
    EXPECT_EQ(other.ask(other.session_message(5)).integer(2), 0);
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive())) << "the later request's answer comes first";
}

TEST_F(FaultTest, DelaysEndWithTheService) {
    service.faults().add("session.keepalive:delay=3600000");
    keep_alive();
    ASSERT_TRUE(service.wait_for_requests(3));
    service.stop();
    EXPECT_EQ(client.receive(), "");
}

TEST_F(FaultTest, OtherSendIdAnswersWithTheNextIdOrTheGivenOne) {
    service.faults().add("session.keepalive@1:other_send_id");
    keep_alive();
    EXPECT_EQ(client.answer().send_id, client.last_send_id() + 1);
    service.faults().add("session.keepalive:other_send_id=200");
    keep_alive();
    EXPECT_EQ(client.answer().send_id, 200);
}

TEST_F(FaultTest, MessageTypeAnswersWithThatType) {
    service.faults().add("session.keepalive:message_type=12");
    keep_alive();
    std::string wanted = right_keepalive();
    wanted[1] = 12;
    EXPECT_EQ(hex(client.receive()), hex(wanted));
}

TEST_F(FaultTest, AckCodeAnswersWithThatCode) {
    service.faults().add("session.keepalive:ack_code=77");
    keep_alive();
    EXPECT_EQ(client.answer().integer(1), 77);
    service.faults().add("cli.execute:ack_code=78");
    EXPECT_EQ(client.ask(client.execute_message("display clock")).integer(0), 78);
}

TEST_F(FaultTest, ErrorRefusesWithCodeAndText) {
    service.faults().add("*:error=5,text=not today, thanks");
    keep_alive();
    EXPECT_EQ(client.answer().items,
              (std::vector{Item::integer(1, 6), Item::integer(2, 5), Item::text(3, "not today, thanks")}));
    EXPECT_EQ(client.ask(client.execute_message("display clock")).items,
              (std::vector{Item::integer(0, 18), Item::integer(1, 5), Item::text(2, "not today, thanks")}));

    Message query = client.cli_message(15);
    query.kind = device_query;
    query.items = {Item::integer(1, 8), Item::integer(2, 3)};
    EXPECT_EQ(client.ask(query).items, (std::vector{Item::integer(1, 8), Item::integer(2, 3), Item::integer(3, 5),
                                                    Item::text(4, "not today, thanks")}));
}

TEST_F(FaultTest, MissingItemLeavesTheTagOut) {
    service.faults().add("session.keepalive:missing_item=2");
    keep_alive();
    EXPECT_EQ(client.answer().items, (std::vector{Item::integer(1, 6)}));
}

TEST_F(FaultTest, TotalLengthWritesThatLengthIntoTheHeader) {
    service.faults().add("session.keepalive:total_length=8013");
    keep_alive();
    std::string wanted = right_keepalive();
    wanted.replace(4, 2, "\x1f\x4d");
    EXPECT_EQ(hex(client.receive()), hex(wanted));
}

TEST_F(FaultTest, SplitSendsTheAnswerInTwoParts) {
    // The second part comes after the test, so that the first is seen alone.
    service.faults().add("session.keepalive@1:split=6,delay=3600000");
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive().substr(0, 6)));

    service.faults().add("session.keepalive:split,delay=3600000");
    WireClient other(path);
    other.open_session();
    other.send(other.session_message(5));
    EXPECT_EQ(other.receive().size(), right_keepalive().size() / 2);
}

TEST_F(FaultTest, SplitSendsTheSecondPartAfterTheDelay) {
    service.faults().add("session.keepalive:split=6,delay=100");
    const auto asked = Clock::now();
    keep_alive();
    std::string got;
    while (got.size() < right_keepalive().size() && !HasFailure()) {
        const std::string part = client.receive();
        ASSERT_NE(part, "");
        got += part;
    }
    EXPECT_EQ(hex(got), hex(right_keepalive()));
    EXPECT_GE(Clock::now() - asked, 100ms);
}

TEST_F(FaultTest, SplitUsesTwoSends) {
    service.faults().add("session.keepalive:split=10");
    std::mutex lock;
    std::vector<std::size_t> sends;
    service.on_message([&](Direction direction, int, std::string_view bytes) {
        std::lock_guard guard(lock);
        if (direction == Direction::to_client)
            sends.push_back(bytes.size());
    });
    keep_alive();
    std::string got;
    while (got.size() < right_keepalive().size())
        got += client.receive();
    EXPECT_EQ(hex(got), hex(right_keepalive()));
    std::lock_guard guard(lock);
    EXPECT_EQ(sends, (std::vector<std::size_t>{10, got.size() - 10}));
}

TEST_F(FaultTest, JoinSendsTwoMessagesInOne) {
    service.faults().add("session.keepalive@1:join");
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive() + right_keepalive()));
    service.faults().add("session.keepalive:join=0c0d 0e");
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive() + "\x0c\x0d\x0e"));
}

TEST_F(FaultTest, HangUpBeforeEndsTheConnectionInsteadOfAnswering) {
    service.faults().add("session.keepalive:hang_up_before");
    keep_alive();
    EXPECT_EQ(client.receive(), "");
    EXPECT_TRUE(service.wait_for_clients(0));
}

TEST_F(FaultTest, HangUpDuringEndsItInTheMiddleOfTheAnswer) {
    service.faults().add("session.keepalive:hang_up_during=9");
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive().substr(0, 9)));
    EXPECT_EQ(client.receive(), "");
}

TEST_F(FaultTest, HangUpAfterEndsItBehindTheAnswer) {
    service.faults().add("session.keepalive:hang_up_after");
    keep_alive();
    EXPECT_EQ(hex(client.receive()), hex(right_keepalive()));
    EXPECT_EQ(client.receive(), "");
}

TEST_F(FaultTest, SeveralFaultsMeetOneRequest) {
    service.faults().add("session.keepalive:other_send_id=9");
    service.faults().add("session.keepalive:total_length=7");
    service.faults().add("session.keepalive:missing_item=1");
    service.faults().add("session.keepalive:delay=20");
    keep_alive();
    Message wanted;
    wanted.type = session_reply;
    wanted.send_id = 9;
    wanted.session_id = client.session_id();
    wanted.items = {Item::integer(2, 0)};
    wanted.total_length = 7;
    EXPECT_EQ(hex(client.receive()), hex(encode(wanted)));
}

TEST_F(FaultTest, AreAppliedToAHandlersAnswerToo) {
    service.on("session.keepalive", [](const Request&) { return Answer{"not a message"}; });
    service.faults().add("session.keepalive:error=5");
    service.faults().add("session.keepalive:join=21");
    keep_alive();
    EXPECT_EQ(client.receive(), "not a message!");
}

// Which requests meet a fault.

std::vector<std::size_t> met(const char* fault, const std::vector<std::string>& operations) {
    Faults faults;
    faults.add(fault);
    std::vector<std::size_t> requests;
    for (std::size_t i = 0; i < operations.size(); ++i)
        if (!faults.meet(operations[i]).empty())
            requests.push_back(i + 1);
    return requests;
}

TEST(Faults, AreMetByTheRequestsThatMatch) {
    const std::vector<std::string> operations{"session.open", "cli.open",    "cli.execute",
                                              "cli.execute",  "cli.execute", "cli.close"};
    using Requests = std::vector<std::size_t>;
    EXPECT_EQ(met("cli.execute:no_answer", operations), (Requests{3, 4, 5}));
    EXPECT_EQ(met("cli.execute@2:no_answer", operations), (Requests{4}));
    EXPECT_EQ(met("cli.execute:no_answer,times=2", operations), (Requests{3, 4}));
    EXPECT_EQ(met("cli.*:no_answer", operations), (Requests{2, 3, 4, 5, 6}));
    EXPECT_EQ(met("*@6:no_answer", operations), (Requests{6}));
    EXPECT_EQ(met("@1:no_answer", operations), (Requests{1}));
    EXPECT_EQ(met("unknown:no_answer", operations), (Requests{}));
}

TEST(Faults, CountFromWhenTheyWereAdded) {
    Faults faults;
    faults.add("cli.execute@2:no_answer");
    EXPECT_TRUE(faults.meet("cli.execute").empty());
    faults.add("cli.execute@1:delay=1");
    const std::vector<Fault> both = faults.meet("cli.execute");
    ASSERT_EQ(both.size(), 2U);
    EXPECT_EQ(both[0].verb, Fault::Verb::no_answer);
    EXPECT_EQ(both[1].verb, Fault::Verb::delay);
    EXPECT_FALSE(faults.none());
    faults.clear();
    EXPECT_TRUE(faults.none());
    EXPECT_TRUE(faults.meet("cli.execute").empty());
}

// How they are written.

TEST(Faults, AreReadFromTextAndFromJsonAlike) {
    const Fault text = parse_fault("cli.execute@3:split=9,delay=50,times=2");
    const Fault json = fault_from_json(
        {{"operation", "cli.execute"}, {"nth", 3}, {"times", 2}, {"verb", "split"}, {"offset", 9}, {"delay", 50}});
    for (const Fault& fault : {text, json}) {
        EXPECT_EQ(fault.operation, "cli.execute");
        EXPECT_EQ(fault.nth, 3U);
        EXPECT_EQ(fault.times, 2U);
        EXPECT_EQ(fault.verb, Fault::Verb::split);
        EXPECT_EQ(fault.offset, 9U);
        EXPECT_EQ(fault.delay, 50ms);
    }
    EXPECT_EQ(fault_from_json("*:join=00ff").joined, std::string("\0\xff", 2));
    EXPECT_EQ(parse_fault("*:error=-7,text=a,b=c").text, "a,b=c");
    EXPECT_EQ(parse_fault("*:other_send_id=0").send_id, 0);
    EXPECT_EQ(parse_fault("*:other_send_id").send_id, std::nullopt);
}

TEST(Faults, HaveATextForEachVerb) {
    EXPECT_EQ(fault_verbs().size(), 13U);
    for (const FaultVerb& verb : fault_verbs()) {
        EXPECT_EQ(&fault_verb(verb.verb), &verb);
        std::string text = "*:" + std::string(verb.name);
        if (verb.value == "joined")
            text += "=00";
        else if (!verb.value.empty())
            text += "=12";
        EXPECT_EQ(parse_fault(text).verb, verb.verb) << text;
    }
}

struct WrongFault {
    const char* name;
    const char* text;
    const char* says;

    friend void PrintTo(const WrongFault& row, std::ostream* out) { *out << row.text; }
};

class WrongFaults : public ::testing::TestWithParam<WrongFault> {};

TEST_P(WrongFaults, AreRefusedWithWhatWouldBeRight) {
    try {
        parse_fault(GetParam().text);
        FAIL() << "it was taken";
    } catch (const FaultError& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().says));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WrongFaults,
    ::testing::Values(
        WrongFault{"empty", "", "expected OPERATION[@NTH]:VERB[=VALUE]"},
        WrongFault{"operation", "cli.run:delay=1",
                   "operation: \"cli.run\" is none of session.open, session.close, session.keepalive, cli.open, "
                   "cli.execute, cli.close, "},
        WrongFault{"operation_families", "cli.run:delay=1", "voice.cita_config, unknown, * or a family like cli.*"},
        WrongFault{"family", "snow.*:delay=1", "operation: \"snow.*\" is none of"},
        WrongFault{"verb", "*:explode", "verb: \"explode\" is none of no_answer, delay, other_send_id"},
        WrongFault{"nth", "*@zero:delay=1", "nth: expected a number from 1 to 2147483647, got \"zero\""},
        WrongFault{"nth_zero", "*@0:delay=1", "nth: expected a number from 1 to 2147483647, got 0"},
        WrongFault{"no_value", "*:delay", "delay needs a delay"},
        WrongFault{"value_of_none", "*:no_answer=1", "no_answer takes no value"},
        WrongFault{"value_range", "*:message_type=256", "type: expected a number from 0 to 255, got 256"},
        WrongFault{"value_kind", "*:total_length=long", "length: expected a number from 0 to 65535, got \"long\""},
        WrongFault{"parameter", "*:no_answer,delay=1",
                   "delay: no_answer does not take it; it takes operation, nth, times"},
        WrongFault{"hexadecimal", "*:join=0", "joined: expected hexadecimal digits in pairs, got \"0\""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Faults, AreRefusedWhenTheJsonIsNoFault) {
    EXPECT_THROW(fault_from_json(7), FaultError);
    EXPECT_THROW(fault_from_json({{"operation", "*"}}), FaultError);
    EXPECT_THROW(fault_from_json({{"verb", 1}}), FaultError);
    EXPECT_THROW(fault_from_json({{"verb", "error"}, {"code", 1}, {"text", 2}}), FaultError);
    EXPECT_THROW(fault_from_json({{"verb", "delay"}, {"delay", 1.5}}), FaultError);

    const auto error_code = [](auto code) {
        return fault_from_json({{"operation", "*"}, {"verb", "error"}, {"code", code}, {"text", "x"}});
    };
    EXPECT_EQ(error_code(-1).code, -1);
    EXPECT_THROW(error_code(std::numeric_limits<std::uint64_t>::max()), FaultError) << "not -1";
}

} // namespace
} // namespace sim::test
