// The service over a real socket: sessions, the CLI channel, several clients, and whatever a client does wrong.
#include "sim/service.h"

#include <atomic>
#include <fstream>
#include <latch>
#include <system_error>
#include <thread>

#include <sys/stat.h>

#include "tests/sim/support.h"

namespace sim::test {
namespace {

TEST_F(ServiceTest, OpensKeepsAliveAndClosesASession) {
    WireClient client(path);
    const Message opened = client.ask(client.open_message());
    EXPECT_EQ(opened.type, session_reply);
    EXPECT_EQ(opened.send_id, 1);
    EXPECT_EQ(opened.session_id, 1);
    EXPECT_EQ(opened.items, (std::vector{Item::integer(1, 2), Item::integer(2, 0), Item::u32(4, 1)}));

    client.set_session_id(1);
    EXPECT_EQ(client.ask(client.session_message(5)).items, (std::vector{Item::integer(1, 6), Item::integer(2, 0)}));
    EXPECT_EQ(client.ask(client.session_message(3)).items, (std::vector{Item::integer(1, 4), Item::integer(2, 0)}));
    EXPECT_EQ(client.ask(client.session_message(5)).integer(2), 4) << "the session is over";
}

TEST_F(ServiceTest, NumbersSessionsFromTheRoutersFirst) {
    service.router().with([](RouterState& router) { router.next_session_id = 70000; });
    WireClient client(path);
    const Message opened = client.ask(client.open_message());
    EXPECT_EQ(opened.integer(4), 70000);
    EXPECT_EQ(opened.session_id, 4464);
    client.set_session_id(4464);
    EXPECT_EQ(client.ask(client.session_message(5)).integer(2), 0);
    const Message cli = client.ask(client.cli_message(15));
    EXPECT_EQ(cli.integer(1), 0) << cli.text(2).value_or("");
}

// What a request is refused with: its code and text.
struct Refusal {
    std::int32_t code;
    std::string text;
    bool operator==(const Refusal&) const = default;
};

Refusal session_refusal(const Message& reply) {
    EXPECT_EQ(reply.type, session_reply);
    return {reply.integer(2).value_or(0), reply.text(3).value_or("")};
}

Refusal cli_refusal(const Message& reply) {
    EXPECT_EQ(reply.type, operation_reply);
    return {reply.integer(1).value_or(0), reply.text(2).value_or("")};
}

TEST_F(ServiceTest, RefusesSessionControlInTheWrongState) {
    WireClient client(path);
    EXPECT_EQ(session_refusal(client.ask(client.session_message(5))),
              (Refusal{4, "this connection has no open session"}));
    EXPECT_EQ(session_refusal(client.ask(client.session_message(3))),
              (Refusal{4, "this connection has no open session"}));

    Message with_id = client.open_message();
    with_id.session_id = 9;
    EXPECT_EQ(session_refusal(client.ask(with_id)),
              (Refusal{6, "the header of an open request carries session id 9 instead of 0"}));
    Message nameless = client.open_message();
    nameless.items.pop_back();
    EXPECT_EQ(session_refusal(client.ask(nameless)), (Refusal{3, "the client name, item 5, is missing or no text"}));

    client.open_session();
    EXPECT_EQ(session_refusal(client.ask(client.open_message())), (Refusal{5, "this connection has an open session"}));
    client.set_session_id(8);
    EXPECT_EQ(session_refusal(client.ask(client.session_message(3))),
              (Refusal{6, "the header carries session id 8, the session's is 1"}));
    EXPECT_EQ(session_refusal(client.ask(client.session_message(7))), (Refusal{2, "session control 7 is not offered"}));
}

TEST_F(ServiceTest, OpensUsesAndClosesTheCliChannel) {
    WireClient client(path);
    client.open_session();
    const Message opened = client.ask(client.cli_message(15));
    EXPECT_EQ(opened.kind, script_operation);
    EXPECT_EQ(opened.items, (std::vector{Item::integer(0, 16), Item::integer(1, 0), Item::u32(6, 1)}));

    client.set_handle(1);
    EXPECT_EQ(client.ask(client.execute_message("system-view")).items,
              (std::vector{Item::integer(0, 18), Item::integer(1, 0)}))
        << "no output, no item 9";
    const Message shown = client.ask(client.execute_message("display this"));
    EXPECT_EQ(shown.text(9), "#\n sysname Tarkon\n#\nreturn\n");
    EXPECT_EQ(client.ask(client.cli_message(19)).items, (std::vector{Item::integer(0, 20), Item::integer(1, 0)}));
    EXPECT_EQ(client.ask(client.execute_message("quit")).integer(1), 8) << "the channel is closed";
}

TEST_F(ServiceTest, RefusesCliRequestsThatDoNotFit) {
    WireClient client(path);
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(15))), (Refusal{4, "this connection has no open session"}));
    client.open_session();
    EXPECT_EQ(cli_refusal(client.ask(client.execute_message("quit"))), (Refusal{8, "no CLI channel is open"}));
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(19))), (Refusal{8, "no CLI channel is open"}));

    Message stranger = client.cli_message(15);
    stranger.items[0] = Item::text(5, "sdkclient000200012345");
    EXPECT_EQ(cli_refusal(client.ask(stranger)),
              (Refusal{7, "the client's name is \"sdkclient000200012345\", this session's begins with "
                          "\"sdkclient0001\""}));
    Message nameless = client.cli_message(15);
    nameless.items.erase(nameless.items.begin());
    EXPECT_EQ(cli_refusal(client.ask(nameless)), (Refusal{3, "the client's name, item 5, is missing or no text"}));

    EXPECT_EQ(client.ask(client.cli_message(15)).integer(6), 1);
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(15))), (Refusal{9, "this session has an open CLI channel"}));
    client.set_handle(5);
    EXPECT_EQ(cli_refusal(client.ask(client.execute_message("quit"))),
              (Refusal{10, "the handle is 5, the open channel's is 1"}));
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(19))),
              (Refusal{10, "the handle is 5, the open channel's is 1"}));
    client.set_handle(1);
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(17))),
              (Refusal{3, "the command, item 7, is missing or no text"}));
    client.set_session_id(2);
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(19))),
              (Refusal{6, "the header carries session id 2, the session's is 1"}));
}

TEST_F(ServiceTest, EndsTheChannelWithItsSession) {
    WireClient client(path);
    client.open_cli();
    client.ask(client.session_message(3));
    client.set_session_id(0);
    client.open_session();
    EXPECT_EQ(cli_refusal(client.ask(client.execute_message("quit"))), (Refusal{8, "no CLI channel is open"}));
}

TEST_F(ServiceTest, AnswersARejectedCommandWithCodeTextAndOutput) {
    WireClient client(path);
    client.open_cli();
    const Message reply = client.ask(client.execute_message("display verzion"));
    EXPECT_EQ(reply.integer(0), 18);
    EXPECT_EQ(cli_refusal(reply), (Refusal{20, "Error: unknown word \"verzion\" in the user view."}));
    EXPECT_EQ(reply.text(9), "display verzion\n        ^\nError: unknown word \"verzion\" in the user view.\n");
}

TEST_F(ServiceTest, SaysWhatItDoesNotKnow) {
    WireClient client(path);
    client.open_session();
    EXPECT_EQ(cli_refusal(client.ask(client.cli_message(99))), (Refusal{2, "operation 99 is not offered"}));

    Message query = client.cli_message(15);
    query.kind = device_query;
    query.items = {Item::integer(1, 8), Item::integer(2, 9)};
    EXPECT_EQ(client.ask(query).items, (std::vector{Item::integer(1, 8), Item::integer(2, 9), Item::integer(3, 2),
                                                    Item::text(4, "query 9 of module 8 is not offered")}));
    Message strange = client.cli_message(15);
    strange.kind = 9;
    EXPECT_EQ(cli_refusal(client.ask(strange)), (Refusal{2, "body kind 9 is no request"}));
    strange.type = 77;
    EXPECT_EQ(cli_refusal(client.ask(strange)), (Refusal{2, "message type 77 is no request"}));
}

TEST_F(ServiceTest, RefusesAMalformedBodyAndGoesOn) {
    WireClient client(path);
    client.open_session();
    std::string frame = encode(client.cli_message(15));
    frame[16] = 100; // the length of the first item
    client.send(frame);
    EXPECT_EQ(cli_refusal(client.answer()).code, 1);
    EXPECT_EQ(client.ask(client.session_message(5)).integer(2), 0);
    EXPECT_EQ(service.requests()[1].operation, "unknown");
    EXPECT_NE(service.requests()[1].malformed, "");
}

TEST_F(ServiceTest, GivesEachClientAViewOfItsOwn) {
    WireClient first(path);
    WireClient second(path);
    first.open_cli();
    second.open_cli();
    first.run("system-view");
    second.run("system-view");
    second.run("interface GigabitEthernet0/0/1");
    EXPECT_EQ(first.run("display this"), "#\n sysname Tarkon\n#\nreturn\n");
    EXPECT_EQ(second.run("display this"), "#\ninterface GigabitEthernet0/0/1\n#\nreturn\n");
    first.run("sysname Other");
    EXPECT_NE(second.run("display current-configuration").find("sysname Other"), std::string::npos);
}

TEST_F(ServiceTest, AnswersRequestsThatArriveTogetherOrInPieces) {
    WireClient client(path);
    client.open_session();
    const std::string first = encode(client.session_message(5));
    const std::string second = encode(client.session_message(5));
    client.send(first + second.substr(0, 5));
    EXPECT_EQ(client.answer().send_id, 2);
    client.send(second.substr(5));
    EXPECT_EQ(client.answer().send_id, 3);
    EXPECT_TRUE(service.wait_for_requests(3));
}

TEST_F(ServiceTest, HangsUpOnALengthThatNoMessageHas) {
    for (const std::string_view length : {"0007", "1f4d", "0000", "ffff"}) {
        WireClient client(path);
        client.send(from_hex("01 01 01 00" + std::string(length) + "0000").value());
        EXPECT_EQ(client.receive(), "") << length;
    }
    EXPECT_TRUE(service.wait_for_clients(0));
    EXPECT_EQ(service.requests().size(), 4U);
}

TEST_F(ServiceTest, SurvivesAClientThatGoesInTheMiddleOfAMessage) {
    {
        WireClient client(path);
        client.send(encode(client.open_message()).substr(0, 20));
    }
    EXPECT_TRUE(service.wait_for_requests(1));
    EXPECT_TRUE(service.wait_for_clients(0));
    WireClient next(path);
    next.open_session();
}

TEST_F(ServiceTest, SurvivesAClientThatGoesBeforeItsAnswers) {
    std::string many;
    {
        WireClient client(path);
        for (int i = 0; i < 200; ++i)
            many += encode(client.open_message());
        client.send(many);
    }
    EXPECT_TRUE(service.wait_for_requests(200));
    EXPECT_TRUE(service.wait_for_clients(0));
}

TEST_F(ServiceTest, AnswersOthersWhileOneClientDoesNotRead) {
    WireClient deaf(path);
    deaf.open_session();
    std::atomic<bool> stuck{false};
    std::thread writer([&] {
        // Until the service stops reading, because its own answers go nowhere.
        const std::string request = encode(deaf.session_message(5));
        while (::send(deaf.fd(), request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0) {
        }
        stuck = true;
    });
    writer.join();
    EXPECT_TRUE(stuck);
    WireClient other(path);
    other.open_session();
    EXPECT_EQ(other.ask(other.session_message(5)).integer(2), 0);
    service.stop(); // and it ends, although a thread waits in a send
}

TEST_F(ServiceTest, RecordsRequestsInOrderWithTheirClients) {
    WireClient first(path);
    WireClient second(path);
    first.open_session();
    second.open_session();
    first.ask(first.session_message(5));
    const std::vector<Request> requests = service.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].operation, "session.open");
    EXPECT_EQ(requests[2].operation, "session.keepalive");
    EXPECT_EQ(requests[0].client, requests[2].client);
    EXPECT_NE(requests[0].client, requests[1].client);
    EXPECT_EQ(encode(requests[0].message), requests[0].bytes);
    EXPECT_EQ(service.connections(), 2U);
    service.clear_requests();
    EXPECT_TRUE(service.requests().empty());
    EXPECT_FALSE(service.wait_for_requests(1, 1ms));
}

TEST(Service, CountsRequestsItDoesNotKeep) {
    TempDir directory;
    Service service({.socket_path = directory / "s", .keep_requests = false});
    service.start();
    WireClient client(directory / "s");
    client.open_session();
    EXPECT_TRUE(service.wait_for_requests(1));
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(ServiceTest, LetsAHandlerAnswerInThePlaceOfTheUnits) {
    service.on("session.keepalive", [this](const Request& request) {
        Message reply = service.reply_to(request);
        reply.items[1] = Item::integer(2, 77);
        return Answer{encode(reply)};
    });
    service.on("*", [](const Request&) { return Answer{"any", "thing"}; });
    WireClient client(path);
    client.send(client.session_message(3));
    std::string got = client.receive();
    while (got.size() < 8)
        got += client.receive();
    EXPECT_EQ(got, "anything");
    service.on("*", {});
    client.open_session();
    EXPECT_EQ(client.ask(client.session_message(5)).integer(2), 77);
    service.on("session.keepalive", {});
    EXPECT_EQ(client.ask(client.session_message(5)).integer(2), 0);
}

TEST_F(ServiceTest, SendsToTheNewestClientOrToOneById) {
    WireClient first(path);
    first.open_session();
    WireClient second(path);
    second.open_session();
    EXPECT_TRUE(service.send(-1, "to the second"));
    EXPECT_TRUE(service.send(service.requests()[0].client, "to the first"));
    EXPECT_FALSE(service.send(99, "to nobody"));
    EXPECT_EQ(second.receive(), "to the second");
    EXPECT_EQ(first.receive(), "to the first");
}

TEST_F(ServiceTest, HangsUpOnOneClientOrOnAll) {
    WireClient first(path);
    first.open_session();
    WireClient second(path);
    second.open_session();
    EXPECT_EQ(service.clients(), 2U);
    service.hang_up();
    EXPECT_EQ(service.clients(), 1U);
    EXPECT_EQ(second.receive(), "");
    EXPECT_EQ(first.ask(first.session_message(5)).integer(2), 0);
    EXPECT_FALSE(service.send(2, "x"));

    WireClient third(path);
    third.open_session();
    service.hang_up_all();
    EXPECT_EQ(service.clients(), 0U);
    EXPECT_EQ(first.receive(), "");
    EXPECT_EQ(third.receive(), "");
}

TEST_F(ServiceTest, TellsATapOfEveryMessageBothWays) {
    std::mutex lock;
    std::vector<std::string> seen;
    service.on_message([&](Direction, int client, std::string_view bytes) {
        std::lock_guard guard(lock);
        seen.push_back(std::to_string(client) + " " + describe(decode(bytes).message.value()));
    });
    WireClient client(path);
    client.open_session();
    std::lock_guard guard(lock);
    EXPECT_EQ(seen, (std::vector<std::string>{"1 -> session 1 id=1 session=0 session.open  1:1 5:\"test\"",
                                              "1 <- session 2 id=1 session=1 session.open  1:2 2:0 4:1"}));
}

TEST_F(ServiceTest, StopsAndStartsAgain) {
    WireClient before(path);
    before.open_session();
    service.stop();
    EXPECT_EQ(before.receive(), "");
    EXPECT_FALSE(std::filesystem::exists(path));
    service.start();
    WireClient after(path);
    after.open_session();
    EXPECT_EQ(after.session_id(), 2);
}

TEST_F(ServiceTest, HandlesWhatWasSentBeforeItStops) {
    std::string many;
    WireClient client(path);
    for (int i = 0; i < 50; ++i)
        many += encode(client.open_message());
    client.send(many);
    service.stop();
    EXPECT_EQ(service.requests().size(), 50U);
}

TEST_F(ServiceTest, LetsEveryUserConnect) {
    struct stat found {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0666U);
}

TEST_F(ServiceTest, RefusesToStartWhereAnotherListens) {
    Service second({.socket_path = path});
    try {
        second.start();
        FAIL() << "it started";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EADDRINUSE);
        EXPECT_NE(std::string(error.what()).find(path + ": another process listens there"), std::string::npos);
    }
    WireClient client(path); // the first one still answers
    client.open_session();
}

TEST(Service, ReplacesASocketThatNobodyListensOn) {
    TempDir directory;
    const std::string path = directory / "s";
    const std::string kept = directory / "kept";
    {
        BoundSocket left(path, SOCK_STREAM);
        std::filesystem::rename(path, kept); // so that it is not removed
    }
    std::filesystem::rename(kept, path);
    Service service({.socket_path = path});
    service.start();
    WireClient client(path);
    client.open_session();
}

TEST(Service, LeavesAFileInItsPlaceAlone) {
    TempDir directory;
    const std::string path = directory / "s";
    std::ofstream(path) << "mine";
    Service service({.socket_path = path});
    try {
        service.start();
        FAIL() << "it started";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ENOTSOCK);
    }
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(Service, RefusesAPathThatIsTooLong) {
    Service service({.socket_path = "/tmp/" + std::string(200, 'x')});
    EXPECT_THROW(service.start(), std::system_error);
}

TEST_F(ServiceTest, ServesManyClientsAtOnce) {
    constexpr int threads = 8;
    constexpr int rounds = 50;
    std::latch start(threads);
    std::atomic<int> right{0};
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([&] {
            WireClient client(path);
            client.open_cli();
            start.arrive_and_wait();
            for (int round = 0; round < rounds; ++round)
                right += client.run("display this") == "#\nreturn\n" ? 1 : 0;
        });
    }
    for (std::thread& thread : running)
        thread.join();
    EXPECT_EQ(right, threads * rounds);
    EXPECT_TRUE(service.wait_for_clients(0));
}

TEST_F(ServiceTest, CutsOutputThatDoesNotFitAMessage) {
    service.router().with([](RouterState& router) {
        router.version.clear();
        while (router.version.size() < 9000)
            router.version += "a line of the version banner\n";
    });
    WireClient client(path);
    client.open_cli();
    client.send(client.execute_message("display version"));
    const std::string frame = client.receive();
    EXPECT_LE(frame.size(), max_message_size);
    const auto reply = decode(frame).message;
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->integer(1), 0);
    const std::string output = reply->text(9).value();
    EXPECT_TRUE(output.ends_with("banner\n... cut: 9019 bytes of output are more than one message carries\n"))
        << output.substr(output.size() - 200);
}

TEST_F(ServiceTest, AnswersEvenTheLongestCommand) {
    WireClient client(path);
    client.open_cli();
    const std::string longest(7000, 'x');
    const Message reply = client.ask(client.execute_message(longest));
    EXPECT_EQ(reply.integer(1), 20);
    EXPECT_TRUE(reply.text(9).value().ends_with("more than one message carries\n"));
}

} // namespace
} // namespace sim::test
