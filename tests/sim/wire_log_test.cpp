// The wire log's lines, for people and as JSON.
#include "sim/wire_log.h"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>

#include "tests/sim/support.h"

namespace sim::test {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using Json = nlohmann::json;

class Log {
public:
    explicit Log(WireLog::Format format) : log(format, [this](const std::string& line) { lines.push_back(line); }) {}
    std::vector<std::string> lines;
    WireLog log;
};

std::string keepalive() {
    Message message;
    message.type = session_request;
    message.send_id = 3;
    message.session_id = 7;
    message.items = {Item::integer(1, 5)};
    return encode(message);
}

const std::string time_shape = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9].[0-9][0-9][0-9][0-9][0-9][0-9] ";

TEST(WireLog, WritesALineForEachMessage) {
    Log log(WireLog::Format::lines);
    log.log.message(Direction::from_client, 4, keepalive());
    EXPECT_THAT(log.lines,
                ElementsAre(MatchesRegex(time_shape + "#4 -> session 1 id=3 session=7 session.keepalive  1:5\n")));
}

TEST(WireLog, WritesALineForEachMessageOfOneSend) {
    Log log(WireLog::Format::lines);
    log.log.message(Direction::to_client, 1, keepalive() + keepalive() + "rest");
    ASSERT_EQ(log.lines.size(), 3U);
    EXPECT_THAT(log.lines[2],
                MatchesRegex(time_shape + "#1 <- !! 4 bytes, 4 bytes are too few for a header: x'72657374'\n"));
}

TEST(WireLog, SaysWhatIsWrongWithAMessage) {
    Log log(WireLog::Format::lines);
    std::string frame = keepalive();
    frame[12] = 9;
    log.log.message(Direction::from_client, 1, frame);
    EXPECT_THAT(log.lines,
                ElementsAre(MatchesRegex(time_shape + "#1 -> !! 20 bytes, item 1 at offset 8 says 9 bytes where 4 "
                                                      "are left: x'[0-9a-f]*'\n")));
}

TEST(WireLog, WritesNotes) {
    Log log(WireLog::Format::lines);
    log.log.note(2, "connected");
    EXPECT_THAT(log.lines, ElementsAre(MatchesRegex(time_shape + "#2 -- connected\n")));
}

TEST(WireLog, WritesJsonLines) {
    Log log(WireLog::Format::json);
    log.log.message(Direction::from_client, 4, keepalive());
    log.log.note(4, "gone");
    ASSERT_EQ(log.lines.size(), 2U);
    Json message = Json::parse(log.lines[0]);
    EXPECT_THAT(message["time"].get<std::string>() + " ", MatchesRegex(time_shape));
    message.erase("time");
    EXPECT_EQ(message, (Json{{"client", 4},
                             {"direction", "request"},
                             {"type", 1},
                             {"id", 3},
                             {"session", 7},
                             {"operation", "session.keepalive"},
                             {"items", Json::array({{{"tag", 1}, {"int", 5}}})}}));
    EXPECT_EQ(Json::parse(log.lines[1])["note"], "gone");
    EXPECT_EQ(log.lines[0].back(), '\n');
}

TEST(WireLog, WritesTextsNumbersAndBytesOfJsonEachInItsWay) {
    Message message;
    message.type = operation_reply;
    message.kind = device_query;
    message.items = {Item::text(1, "a\nb"), Item::raw(2, "\x01\x02"), Item::text(3, "no utf-8: \xff"),
                     Item::text(4, "\xc3\xa9")};
    EXPECT_EQ(Json(to_json(message)["items"]), Json::array({{{"tag", 1}, {"text", "a\nb"}},
                                                            {{"tag", 2}, {"hex", "0102"}},
                                                            {{"tag", 3}, {"hex", "6e6f207574662d383a20ff00"}},
                                                            {{"tag", 4}, {"text", "\xc3\xa9"}}}));
}

TEST(WireLog, WritesBrokenMessagesAsJsonToo) {
    Log log(WireLog::Format::json);
    log.log.message(Direction::to_client, 1, "abc");
    const Json message = Json::parse(log.lines.at(0));
    EXPECT_EQ(message["error"], "3 bytes are too few for a header");
    EXPECT_EQ(message["hex"], "616263");
}

TEST(WireLog, IsWrittenByTheServiceToFiles) {
    TempDir directory;
    {
        Service service(
            {.socket_path = directory / "s", .wire_log = directory / "lines", .wire_log_json = directory / "json"});
        service.faults().add("session.open:delay=1");
        service.start();
        WireClient client(directory / "s");
        client.open_session();
    }
    std::ifstream lines(directory / "lines");
    std::vector<std::string> written;
    for (std::string line; std::getline(lines, line);)
        written.push_back(line);
    EXPECT_THAT(written,
                ElementsAre(MatchesRegex(time_shape + "#1 -- connected"),
                            MatchesRegex(time_shape + "#1 -> session 1 id=1 session=0 session.open  1:1 5:\"test\""),
                            MatchesRegex(time_shape + "#1 -- session.open id=1 meets delay"),
                            MatchesRegex(time_shape + "#1 <- session 2 id=1 session=1 session.open  1:2 2:0 4:1"),
                            MatchesRegex(time_shape + "#1 -- gone")));
    std::ifstream json(directory / "json");
    int count = 0;
    for (std::string line; std::getline(json, line); ++count)
        EXPECT_TRUE(Json::accept(line)) << line;
    EXPECT_EQ(count, 5);
}

} // namespace
} // namespace sim::test
