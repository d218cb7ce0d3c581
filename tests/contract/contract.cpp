// See the header.
#include "contract.h"

#include <algorithm>
#include <cctype>

namespace contract {

using integration::Record;

std::string times(std::size_t n, int byte) { return std::string(n, static_cast<char>(byte)); }

std::string counting(int first, std::size_t n) {
    std::string counted;
    for (std::size_t i = 0; i < n; ++i)
        counted.push_back(static_cast<char>(first + static_cast<int>(i)));
    return counted;
}

std::string line_of(const Record& record) {
    if (!record.function.empty())
        return record.function + " # " + record.text;
    // A function and a line without a blank behind them: "name 42,text".
    const auto digits = record.text.find(' ');
    if (digits == std::string::npos)
        return record.text;
    auto end = digits + 1;
    while (end < record.text.size() && std::isdigit(static_cast<unsigned char>(record.text[end])))
        ++end;
    if (end == digits + 1 || end == record.text.size() || record.text[end] != ',')
        return record.text;
    return record.text.substr(0, digits) + " #" + record.text.substr(end);
}

void ContractTest::answer_all(std::vector<Item> items, std::string tail, std::uint8_t kind) {
    integration::Reply reply;
    reply.items = std::move(items);
    reply.tail = std::move(tail);
    reply.kind = kind;
    answer_all(std::move(reply));
}

void ContractTest::answer_all(integration::Reply reply) { answer("*", std::move(reply)); }
void ContractTest::answer_none() { answer_nothing("*"); }

void ContractTest::expect_said(const std::vector<std::string>& lines) {
    std::vector<std::string> said;
    for (const Record& record : take_log()) {
        EXPECT_EQ(record.level, 3) << record;
        said.push_back(line_of(record));
    }
    EXPECT_EQ(said, lines);
}

void ContractTest::expect_one_record_of(std::string_view function) {
    const auto records = take_log();
    ASSERT_EQ(records.size(), 1U) << testing::PrintToString(records);
    EXPECT_EQ(records[0].level, 3) << records[0];
    EXPECT_EQ(records[0].function, function) << records[0];
}

std::size_t ContractTest::operations() const {
    const auto all = requests();
    return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [](const sim::Request& request) {
        return request.message.type == sim::operation_request;
    }));
}

std::string ContractTest::sent() const {
    const auto all = requests();
    return all.empty() ? std::string() : sim::hex(all.back().bytes);
}

unsigned ContractTest::next_send_id() {
    EXPECT_EQ(vela_session_keepalive(0), VELA_OK);
    return last_request().send_id;
}

void ContractTest::hang_up() {
    service.hang_up();
    take_log_until(integration::note("ReadSockThread", "disconnect from server!"));
    ASSERT_TRUE(integration::eventually([] { return vela_session_keepalive(0) == VELA_ERROR_NO_SESSION; }));
    take_log();
}

} // namespace contract
