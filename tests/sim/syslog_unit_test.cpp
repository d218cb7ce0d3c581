// Log lines that clients write: how the three texts become a line, and how the router keeps and shows it.
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "sim/unit.h"
#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::SizeIs;

class SyslogTest : public ServiceTest {
protected:
    SyslogTest() {
        service.router().with([](RouterState& router) {
            using namespace std::chrono;
            router.clock = sys_days{2016y / September / 8} + 12h + 30min;
        });
        client.open_session();
    }

    // In the library's order.
    static Message message(WireClient& client, std::string_view text1, std::string_view text2, std::string_view text3) {
        Message message = client.cli_message(3);
        message.items = {Item::integer(0, 3), Item::text(7, text3), Item::text(9, client.client_name()),
                         Item::text(8, text2), Item::text(10, text1)};
        return message;
    }
    Message write(std::string_view text1, std::string_view text2, std::string_view text3) {
        return client.ask(message(client, text1, text2, text3));
    }
    std::deque<std::string> log() { return service.router().state().log; }

    WireClient client{path};
};

struct Texts {
    const char* source;
    const char* severity;
    const char* message;
    const char* line;
};

TEST_F(SyslogTest, MakesALineOfTheThreeTexts) {
    const std::vector<Texts> all{
        {"BACKUP", "5/DONE", "nightly backup done", "BACKUP/5/DONE: nightly backup done"},
        {"BACKUP", "0", "x", "BACKUP/0/SDK: x"},
        {"BACKUP", "7/", "x", "BACKUP/7/SDK: x"},
        {"BACKUP", "DONE", "x", "BACKUP/6/DONE: x"},
        {"BACKUP", "8", "x", "BACKUP/6/8: x"},
        {"BACKUP", "42", "x", "BACKUP/6/42: x"},
        {"x", "y", "z", "x/6/y: z"},
        {"", "", "", "/6/SDK: "},
        {"a\nb", "c\td", "two\r\nlines", "a b/6/c d: two  lines"},
        {"Küche", "3", "größer", "Küche/3/SDK: größer"},
    };
    for (const Texts& texts : all) {
        const Message reply = write(texts.source, texts.severity, texts.message);
        EXPECT_EQ(reply.items, (std::vector<Item>{Item::integer(0, 4), Item::integer(1, 0)}));
        EXPECT_EQ(log().back(), std::string("2016-09-08 12:30:00 Tarkon ") + texts.line);
    }
    EXPECT_THAT(log(), SizeIs(all.size()));
    EXPECT_EQ(service.requests().back().operation, "syslog.write");
}

TEST_F(SyslogTest, RefusesARequestThatLacksAText) {
    for (const auto& [tag, says] : {std::pair{7, "the message, item 7, is missing or no text"},
                                    std::pair{8, "the severity, item 8, is missing or no text"},
                                    std::pair{9, "the client's name, item 9, is missing or no text"},
                                    std::pair{10, "the source, item 10, is missing or no text"}}) {
        Message request = message(client, "a", "b", "c");
        std::erase_if(request.items, [tag = tag](const Item& item) { return item.tag == tag; });
        EXPECT_EQ(
            client.ask(request).items,
            (std::vector<Item>{Item::integer(0, 4), Item::integer(1, static_cast<std::int32_t>(Refusal::missing_item)),
                               Item::text(2, says)}));
    }
    EXPECT_THAT(log(), SizeIs(0));
}

TEST_F(SyslogTest, RefusesStrangers) {
    WireClient stranger(path);
    EXPECT_EQ(stranger.ask(message(stranger, "a", "b", "c")).text(2), "this connection has no open session");
    Message request = message(client, "a", "b", "c");
    request.items[2] = Item::text(9, "somebody");
    EXPECT_EQ(client.ask(request).text(2), "the client's name is \"somebody\", this session's begins with "
                                           "\"sdkclient0001\"");
    EXPECT_THAT(log(), SizeIs(0));
}

TEST_F(SyslogTest, ShowsTheLinesOnTheConsole) {
    WireClient console(path);
    console.open_cli();
    EXPECT_EQ(console.run("display logbuffer"), "The log is empty.\n");
    write("BACKUP", "5/DONE", "first");
    console.run("system-view");
    console.run("interface GigabitEthernet0/0/0");
    console.run("shutdown");
    write("BACKUP", "4", "second");
    EXPECT_EQ(console.run("display logbuffer"),
              "2016-09-08 12:30:00 Tarkon BACKUP/5/DONE: first\n"
              "2016-09-08 12:30:00 Tarkon IFNET/4/IF_DOWN: interface GigabitEthernet0/0/0 down (shut down)\n"
              "2016-09-08 12:30:00 Tarkon BACKUP/4/SDK: second\n");
}

TEST_F(SyslogTest, KeepsTheNewestLines) {
    for (std::size_t i = 0; i < RouterState::log_size + 2; ++i)
        write("N", "6", std::to_string(i));
    const auto lines = log();
    ASSERT_THAT(lines, SizeIs(RouterState::log_size));
    EXPECT_TRUE(lines.front().ends_with(": 2")) << lines.front();
    EXPECT_TRUE(lines.back().ends_with(fmt::format(": {}", RouterState::log_size + 1))) << lines.back();
}

TEST_F(SyslogTest, TakesLinesOfManyClientsAtTheSameTime) {
    constexpr std::size_t clients = 4;
    constexpr std::size_t lines = 50;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < clients; ++i)
        threads.emplace_back([this] {
            WireClient own(path);
            own.open_session();
            for (std::size_t line = 0; line < lines; ++line)
                EXPECT_EQ(own.ask(message(own, "T", "6", "x")).integer(1), 0);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(log(), SizeIs(clients * lines));
}

} // namespace
} // namespace sim::test
