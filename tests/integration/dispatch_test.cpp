// How messages from the service reach a waiting call, the event thread, or nobody: send ids, sorting, joined, cut,
// short and odd messages, and what a signal does to a call that waits.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <future>
#include <thread>

#include <pthread.h>

#include "support.h"

namespace integration {
namespace {

using sim::Item;

class Dispatch : public LibraryTest {
protected:
    // Handlers that send several messages with one send() around the right answer.
    void answer_joined(const std::string& operation, std::vector<std::string> before, std::vector<std::string> after) {
        service.on(operation, [=](const sim::Request& request) {
            std::string burst;
            for (const std::string& message : before)
                burst += message;
            burst += encode_reply(request.message, {.items = request_kind(operation).right()});
            for (const std::string& message : after)
                burst += message;
            return sim::Answer{burst};
        });
    }

    // Everything recorded so far, once it is so many records. Those of events take a queue and a thread of their own,
    // and may come in any place between the others.
    std::vector<Record> take_records(std::size_t count) {
        std::vector<Record> records;
        const auto all_there = [&] {
            for (Record& record : take_log())
                records.push_back(std::move(record));
            return records.size() >= count;
        };
        EXPECT_TRUE(eventually(all_there)) << testing::PrintToString(records);
        return records;
    }
};

// An event that names nobody's subscription, and the record that tells of its delivery.
const std::string nobodys_event = event({Item::text(1, "nobody"), Item::text(2, "tag"), Item::text(3, "content")});
const Record nobodys_event_dropped = failure("EventNotify", "canot find this CALLBACK function");

// Send ids ----------------------------------------------------------------------------------------------------------

TEST_F(Dispatch, SendIdsRunFromOneAndWrapThroughZero) {
    open_session();
    for (int sent = 1; sent < 600; ++sent)
        ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK) << sent;

    const auto all = requests();
    ASSERT_EQ(all.size(), 600U);
    for (std::size_t n = 0; n < all.size(); ++n)
        ASSERT_EQ(all[n].message.send_id, (n + 1) % 256) << "request " << n + 1;
    expect_no_log();
}

TEST_F(Dispatch, EveryRequestKindTakesTheNextId) {
    open_cli();
    ASSERT_EQ(request_kind("cli.execute").call(), VELA_OK);
    ASSERT_EQ(vela_cli_save(), VELA_OK);
    ASSERT_EQ(vela_session_keepalive(0), VELA_OK);
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    const auto all = requests();
    ASSERT_EQ(all.size(), 7U);
    for (std::size_t n = 0; n < all.size(); ++n)
        EXPECT_EQ(all[n].message.send_id, n + 1);
}

TEST_F(Dispatch, IdsGoOnAfterReleaseAndInit) {
    open_session();
    ASSERT_EQ(vela_session_close(0), VELA_OK);
    ASSERT_EQ(vela_release(), VELA_OK);
    open_session();
    EXPECT_EQ(last_request().send_id, 3);
}

TEST_F(Dispatch, AReplyWithAnotherIdIsDroppedAndTheCallKeepsWaiting) {
    open_session();
    service.on("session.keepalive", [](const sim::Request& request) {
        const auto refusal = with(session_acknowledged(6, 5), Item::text(3, "wrong one"));
        return sim::Answer{encode_reply(request.message, {.items = refusal, .send_id = 77}),
                           encode_reply(request.message, {.items = session_acknowledged(6)})};
    });
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    expect_log({dropped(2, 77)});
}

TEST_F(Dispatch, RecordsOfServiceThreadsNameTheirProcedures) {
    open_session();
    service.send(-1, unsolicited_reply(42));
    expect_log({note("ProcessSocketData", "sendId = 0 recv_id = 42")});
    std::string endless = nobodys_event;
    endless[4] = endless[5] = '\xff';
    service.send(-1, endless);
    expect_log({failure("ConvertRecvDataNtohs", "invalid message length = 65535"),
                failure("ProcessEvent", "recv invalid len data")});
}

TEST_F(Dispatch, AReplyThatNobodyAskedForIsDropped) {
    open_session();
    service.send(-1, unsolicited_reply(42, session_acknowledged(6)));
    take_log_until(dropped(0, 42));
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

TEST_F(Dispatch, AMessageWithIdZeroThatArrivesWhileNothingWaitsAnswersTheNextRequest) {
    open_session();
    // As long as a receive, so that it comes alone.
    const std::string filler(8012 - 8 - 2 * 12 - (8 + 6) - 8, 'f');
    const auto refusal = with(session_acknowledged(6, 5), Item::text(3, "early"));
    const std::string early = unsolicited_reply(0, with(refusal, Item::raw(9, filler)));
    ASSERT_EQ(early.size(), 8012U);
    service.send(-1, early);
    pass_messages();
    answer_nothing("session.keepalive");

    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_ERROR);

    expect_log({failure("vela_session_keepalive_imp", "keep alive parse tlv, err description = early "
                                                      "SDK_CTRL_TLV_RET = 5 SDK_CTRL_TLV_MSG_TYPE = 6")});
    EXPECT_TRUE(service.wait_for_requests(2, patience)) << "the request was sent all the same";
    answer_as_usual();
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK) << "only one request was answered by it";
}

// Both copies come in one receive. Twice the ids pass 0 on their way: a copy with that id is the one that could be
// taken for the early answer to the next request.
TEST_F(Dispatch, AReplySentTwiceAnswersItsRequestAndNoOther) {
    open_cli();
    service.on("cli.execute", [](const sim::Request& request) {
        const std::string command = request.message.text(7).value_or("");
        const std::string reply = encode_reply(request.message, {.items = printed(command)});
        return sim::Answer{reply + reply};
    });
    constexpr int rounds = 600;
    for (int round = 0; round < rounds; ++round) {
        const std::string command = "display " + std::to_string(round);
        char* output = nullptr;
        ASSERT_EQ(vela_cli_execute(granted_handle, command.c_str(), nullptr, &output), VELA_OK);
        ASSERT_NE(output, nullptr);
        ASSERT_EQ(output, command);
        vela_free(output);
    }

    // Every second copy was dropped, while nothing waited or the next request did already.
    const auto records = take_records(rounds);
    const auto asked = requests("cli.execute");
    ASSERT_EQ(records.size(), std::size_t{rounds});
    ASSERT_EQ(asked.size(), std::size_t{rounds});
    for (std::size_t round = 0; round < rounds; ++round) {
        const int id = asked[round].message.send_id;
        const Record& record = records[round];
        EXPECT_TRUE(matches(dropped(0, id), record) || matches(dropped((id + 1) % 256, id), record)) << record;
    }
    EXPECT_EQ(std::count_if(asked.begin(), asked.end(), [](const auto& each) { return each.message.send_id == 0; }), 2);
}

// Only alone can a message with id 0 be the early answer; one that came with another is a reply to nobody.
TEST_F(Dispatch, AMessageWithIdZeroThatCameWithAnotherAnswersNothing) {
    const std::string early = unsolicited_reply(0, with(session_acknowledged(6, 5), Item::text(3, "early")));
    const std::string other = unsolicited_reply(42);
    struct Row {
        const char* what;
        std::string burst;
        std::vector<Record> records;
    };
    const Row rows[] = {
        {"in front of a reply", early + other, {dropped(0, 0), dropped(0, 42)}},
        {"behind a reply", other + early, {dropped(0, 42), dropped(0, 0)}},
        {"in front of an event", early + nobodys_event, {dropped(0, 0), nobodys_event_dropped}},
        {"behind an event", nobodys_event + early, {nobodys_event_dropped, dropped(0, 0)}},
        {"twice", early + early, {dropped(0, 0), dropped(0, 0)}},
    };
    open_session();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        service.send(-1, row.burst);
        const auto records = take_records(row.records.size());
        const auto same = [](const Record& a, const Record& b) { return matches(a, b) || matches(b, a); };
        ASSERT_TRUE(std::is_permutation(row.records.begin(), row.records.end(), records.begin(), records.end(), same))
            << testing::PrintToString(records);
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
        expect_no_log();
    }
}

// What a malformed reply leaves behind -------------------------------------------------------------------------------

// What the service puts behind a reply that is otherwise right, or how many bytes too few the reply claims.
struct Leftover {
    const char* name;
    std::string behind;
    std::uint16_t too_few = 0;
};
std::ostream& operator<<(std::ostream& out, const Leftover& row) { return out << row.name; }

class DispatchLeftover : public Dispatch, public testing::WithParamInterface<Leftover> {};

TEST_P(DispatchLeftover, CostsNoLaterReply) {
    const Leftover& row = GetParam();
    open_session();
    for (int round = 0; round < 20; ++round) {
        service.on("session.keepalive", [&row](const sim::Request& request) {
            std::string reply = encode_reply(request.message, {.items = session_acknowledged(6), .tail = row.behind});
            const auto claimed = static_cast<std::uint16_t>(reply.size() - row.behind.size() - row.too_few);
            reply[4] = static_cast<char>(claimed / 256);
            reply[5] = static_cast<char>(claimed % 256);
            return sim::Answer{reply};
        });
        // The call that meets it has an answer, whatever it makes of that. A lost reply would fail by its time limit.
        vela_session_keepalive(granted_session);
        take_log();
        answer_as_usual();
        int failed = 0;
        for (int call = 0; call < 10; ++call)
            failed += vela_session_keepalive(granted_session) != VELA_OK;
        ASSERT_EQ(failed, 0) << "round " << round;
        expect_no_log();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Leftovers, DispatchLeftover,
    testing::Values(Leftover{"OneByteThatCouldBeginAMessage", bytes("01")}, Leftover{"OneByte", bytes("00")},
                    Leftover{"TwoBytesOfAHeader", bytes("01 0c")},
                    Leftover{"AHeaderThatClaims8000", bytes("01 0c 07 00 1f 40 00 05")},
                    Leftover{"AHeaderThatClaims64", bytes("01 02 07 00 00 40 00 05")},
                    Leftover{"SevenBytesOfAHeader", bytes("01 0c 07 00 00 40 00")},
                    Leftover{"NoHeader", bytes("ff 00 01 0c 00 00 00 07 ff")}, Leftover{"ClaimsOneByteTooFew", {}, 1},
                    Leftover{"ClaimsFourBytesTooFew", {}, 4}, Leftover{"ClaimsOnlyAHeader", {}, 24}),
    [](const auto& row) { return row.param.name; });

// Sorting -----------------------------------------------------------------------------------------------------------

struct SortRow {
    const char* name;
    std::string message;
    Record record;
};
std::ostream& operator<<(std::ostream& out, const SortRow& row) { return out << row.name; }

std::string operation_message(std::uint8_t type, std::uint8_t kind, std::uint8_t send_id) {
    sim::Message message;
    message.type = sim::operation_reply;
    message.kind = kind;
    message.send_id = send_id;
    std::string frame = sim::encode(message);
    frame[1] = static_cast<char>(type);
    return frame;
}

class DispatchSort : public Dispatch, public testing::WithParamInterface<SortRow> {};

TEST_P(DispatchSort, GoesWhereItBelongs) {
    open_session();
    service.send(-1, GetParam().message);
    take_log_until(GetParam().record);
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

INSTANTIATE_TEST_SUITE_P(
    Message, DispatchSort,
    testing::Values(
        SortRow{"AnEvent", nobodys_event, nobodys_event_dropped},
        SortRow{"AnEventWithoutContent", event({Item::text(1, "nobody"), Item::text(2, "tag")}), nobodys_event_dropped},
        SortRow{"AnEventWithoutName", event({Item::text(2, "tag")}), failure("EventNotify", "file_name == NULL")},
        SortRow{"AnEventWithoutNameAndTag", event({}), failure("EventNotify", "file_name == NULL")},
        SortRow{"AnEventWithoutTag", event({Item::text(1, "nobody")}), failure("EventNotify", "tag == NULL")},
        SortRow{"AnEventWhoseNameHasNoEnd", event({Item::raw(1, "nobody"), Item::text(2, "tag")}),
                failure("EventNotify", "file_name == NULL")},
        SortRow{"ATypeTwelveOfKindOne", operation_message(12, 1, 50), dropped(0, 50)},
        SortRow{"ATypeTwelveOfKindFour", operation_message(12, 4, 51), dropped(0, 51)},
        SortRow{"ATypeTwoWhoseByteEightIsThree", operation_message(2, 3, 52), dropped(0, 52)},
        SortRow{"ATypeElevenOfKindThree", operation_message(11, 3, 53), dropped(0, 53)}),
    [](const auto& row) { return row.param.name; });

struct EventLengthRow {
    const char* name;
    std::uint16_t length;
};

std::ostream& operator<<(std::ostream& out, const EventLengthRow& row) { return out << row.name; }

class DispatchEventLength : public Dispatch, public testing::WithParamInterface<EventLengthRow> {};

TEST_P(DispatchEventLength, IsRefused) {
    open_session();
    std::string frame = nobodys_event;
    frame[4] = static_cast<char>(GetParam().length >> 8);
    frame[5] = static_cast<char>(GetParam().length & 0xff);
    service.send(-1, frame);
    expect_log({failure("ConvertRecvDataNtohs", "invalid message length = " + std::to_string(GetParam().length)),
                failure(any_function, "recv invalid len data")});
    service.send(-1, nobodys_event);
    expect_log({nobodys_event_dropped});
}

INSTANTIATE_TEST_SUITE_P(Length, DispatchEventLength,
                         testing::Values(EventLengthRow{"Zero", 0}, EventLengthRow{"Seven", 7},
                                         EventLengthRow{"EightThousandAndThirteen", 8013},
                                         EventLengthRow{"SixtyFiveThousand", 65535}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Dispatch, EventsAreDeliveredWhileARequestWaits) {
    open_session();
    Gate gate;
    service.on("session.keepalive", [gate](const sim::Request& request) {
        gate.wait();
        return sim::Answer{encode_reply(request.message, {.items = session_acknowledged(6)})};
    });
    auto call = std::async(std::launch::async, [] { return vela_session_keepalive(0); });
    ASSERT_TRUE(service.wait_for_requests(2, patience));
    service.send(-1, nobodys_event);
    expect_log({nobodys_event_dropped});
    gate.open();
    EXPECT_EQ(call.get(), VELA_OK);
}

// Joined messages ---------------------------------------------------------------------------------------------------

TEST_F(Dispatch, MessagesJoinedInOneSendAreAllDispatched) {
    open_session();
    answer_joined("session.keepalive", {nobodys_event, unsolicited_reply(61), nobodys_event, unsolicited_reply(62)},
                  {nobodys_event});
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);

    const auto records = take_records(5);
    const auto count = [&](const Record& wanted) {
        return std::count_if(records.begin(), records.end(), [&](const Record& r) { return matches(wanted, r); });
    };
    EXPECT_EQ(count(dropped(2, 61)), 1);
    EXPECT_EQ(count(dropped(2, 62)), 1);
    EXPECT_EQ(count(nobodys_event_dropped), 3);
    EXPECT_EQ(records.size(), 5U);
}

// More in one send than the library receives at once: messages are cut by the end of its buffer wherever it falls.
TEST_F(Dispatch, MessagesCutByTheEndOfTheBufferAreCompleted) {
    open_session();
    for (const std::size_t size : {8U, 9U, 17U, 100U, 1000U, 2671U, 4007U}) {
        SCOPED_TRACE(size);
        std::string burst;
        int messages = 0;
        while (burst.size() < 5 * 8012) {
            std::string message = unsolicited_reply(static_cast<std::uint8_t>(100 + messages % 100));
            if (size > message.size())
                message = unsolicited_reply(static_cast<std::uint8_t>(100 + messages % 100),
                                            {Item::raw(9, std::string(std::max<std::size_t>(size, 16) - 16, 'm'))});
            burst += message;
            ++messages;
        }
        service.send(-1, burst);
        const auto records = pass_messages();
        ASSERT_EQ(records.size(), static_cast<std::size_t>(messages));
        for (int n = 0; n < messages; ++n)
            ASSERT_TRUE(matches(dropped(0, 100 + n % 100), records[static_cast<std::size_t>(n)]))
                << n << ": " << records[static_cast<std::size_t>(n)];
    }
}

TEST_F(Dispatch, AReplyBehindAFloodOfEventsIsFound) {
    open_cli();
    const std::vector<std::string> flood(500, nobodys_event);
    const std::string output(5000, 'o');
    service.on("cli.execute", [&](const sim::Request& request) {
        std::string burst;
        for (const std::string& message : flood)
            burst += message;
        return sim::Answer{burst + encode_reply(request.message, {.items = printed(output)}) + burst};
    });
    char* text = nullptr;
    ASSERT_EQ(vela_cli_execute(granted_handle, "x", nullptr, &text), VELA_OK);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text, output);
    vela_free(text);
    expect_log(std::vector<Record>(1000, nobodys_event_dropped));
}

TEST_F(Dispatch, BurstsWithoutPausesLoseNothing) {
    open_session();
    constexpr int bursts = 300;
    for (int n = 0; n < bursts; ++n)
        service.send(-1,
                     unsolicited_reply(static_cast<std::uint8_t>(1 + n % 200), {Item::raw(9, std::string(200, 'm'))}) +
                         nobodys_event);
    auto records = take_records(2 * bursts);
    EXPECT_EQ(std::count_if(records.begin(), records.end(),
                            [](const Record& record) { return matches(nobodys_event_dropped, record); }),
              bursts);
    std::erase_if(records, [](const Record& record) { return matches(nobodys_event_dropped, record); });
    ASSERT_EQ(records.size(), std::size_t{bursts});
    for (int n = 0; n < bursts; ++n)
        EXPECT_TRUE(matches(dropped(0, 1 + n % 200), records[static_cast<std::size_t>(n)]));
}

TEST_F(Dispatch, ARemainderThatIsNoMessageIsIgnored) {
    struct Remainder {
        const char* what;
        std::string bytes;
    };
    const Remainder remainders[] = {
        {"one byte", "\x0c"},
        {"three bytes", bytes("01 63 63")},
        {"another type", bytes("01 63 63 00 00 08 00 07")},
        {"a request's type", bytes("01 0b 63 00 00 08 00 07")},
        {"type 2, length 7", bytes("01 02 63 00 00 07 00 07")},
        {"type 12, length 8013", bytes("01 0c 63 00 1f 4d 00 07 03 00 00 04")},
        {"type 12, length 0", bytes("01 0c 63 00 00 00 00 07")},
    };
    open_session();
    for (const Remainder& remainder : remainders) {
        SCOPED_TRACE(remainder.what);
        answer_joined("session.keepalive", {}, {remainder.bytes});
        EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
        EXPECT_TRUE(pass_messages().empty());
    }
    answer_as_usual();
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

// Single messages, short and odd ------------------------------------------------------------------------------------

TEST_F(Dispatch, TheLargestMessageIsReceivedWhole) {
    open_cli();
    const std::string output(8012 - 12 - 12 - 12 - 8 - 1, 'o');
    answer("cli.execute", {.items = printed(output)});
    for (int round = 0; round < 50; ++round) {
        char* text = nullptr;
        ASSERT_EQ(vela_cli_execute(granted_handle, "x", nullptr, &text), VELA_OK);
        ASSERT_NE(text, nullptr);
        ASSERT_EQ(text, output);
        vela_free(text);
    }
}

// A receive that brings less than a message is a message all the same: what is missing is what earlier ones left.
TEST_F(Dispatch, AHeaderAloneIsCompletedByTheMessageBefore) {
    open_session();
    answer("session.keepalive", {.items = with(session_acknowledged(6, 5), Item::text(3, "before"))});
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_ERROR);
    take_log();

    service.on("session.keepalive", [](const sim::Request& request) {
        const auto whole =
            encode_reply(request.message, {.items = with(session_acknowledged(6, 4), Item::text(3, "behind"))});
        return sim::Answer{whole.substr(0, sim::head_size)};
    });
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_ERROR);
    expect_log({failure("vela_session_keepalive_imp", "keep alive parse tlv, err description = before "
                                                      "SDK_CTRL_TLV_RET = 5 SDK_CTRL_TLV_MSG_TYPE = 6")});
}

TEST_F(Dispatch, AMessageShorterThanItsLengthIsCompletedByZerosOrTheMessageBefore) {
    init();
    // The first message ever: nothing came before it.
    service.on("session.open", [](const sim::Request& request) {
        return sim::Answer{encode_reply(request.message, {.items = opened(granted_session)}).substr(0, sim::head_size)};
    });
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR);
    expect_log({failure("vela_session_open_imp", "err description = (null)")});
}

TEST_F(Dispatch, ASingleByteRepeatsTheHeaderBeforeIt) {
    open_session();
    ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    service.send(-1, "\1");
    take_log_until(dropped(0, 2));
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

TEST_F(Dispatch, AReplyInTwoSendsIsTwoMessages) {
    open_session();
    // The first half is answered for with what the message before left behind it; the second is a message of its own,
    // whose third byte is its id.
    const std::string tail = "abcdefghij";
    service.on("session.keepalive", [&](const sim::Request& request) {
        return sim::Answer{encode_reply(request.message, {.items = session_acknowledged(6)})};
    });
    ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    service.on("session.keepalive", [&](const sim::Request& request) {
        return sim::Answer{encode_reply(request.message, {.items = with(session_acknowledged(6), Item::text(3, tail))})
                               .substr(0, 8 + 24)};
    });
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    expect_no_log();
    service.send(-1, tail);
    take_log_until(dropped(0, 'c'));
    answer_as_usual();
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
}

// Interruption ------------------------------------------------------------------------------------------------------

std::atomic<int> interruptions{0};

// Starts a call that nobody answers, and interrupts it until it ends.
std::int32_t interrupted_call(sim::Service& service, std::int32_t (*call)()) {
    struct sigaction action {};
    action.sa_handler = [](int) { interruptions.fetch_add(1); };
    sigaction(SIGUSR2, &action, nullptr); // without SA_RESTART

    const std::size_t before = service.requests().size();
    std::atomic<bool> ended{false};
    std::int32_t code = -1;
    std::thread caller([&] {
        code = call();
        ended = true;
    });
    service.wait_for_requests(before + 1, patience);
    eventually([&] {
        if (!ended)
            pthread_kill(caller.native_handle(), SIGUSR2);
        return ended.load();
    });
    caller.join();
    return code;
}

class DispatchInterrupt : public RequestTest, public testing::WithParamInterface<RequestKind> {};

TEST_P(DispatchInterrupt, EndsTheWaitWithAReplyAsItStands) {
    const RequestKind& kind = GetParam();
    reach(kind);
    answer_nothing(kind.operation);

    EXPECT_EQ(interrupted_call(service, kind.call), VELA_ERROR);

    EXPECT_GT(interruptions, 0);
    expect_log({failure(kind.function, any_text)});
    answer_as_usual();
    // The id that was given up is not taken for another's.
    EXPECT_EQ(kind.call(), VELA_OK);
    take_log();
}

INSTANTIATE_TEST_SUITE_P(Signal, DispatchInterrupt, testing::ValuesIn(request_kinds()), kind_name);

} // namespace
} // namespace integration
