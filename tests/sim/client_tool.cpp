// A client of the simulated router for the tests that run a command: opens a session and the CLI channel, runs each
// argument as a command and prints its output. "log:TEXT" writes to the system log instead, "linger" waits for its
// standard input to end. Exits with 1 when anything is refused.
#include <cstdio>
#include <string>

#include <fmt/format.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include "sim/unix_socket.h"
#include "sim/wire.h"

namespace {

sim::Message ask(const sim::Fd& socket, const sim::Message& message) {
    const std::string frame = sim::encode(message);
    if (send(socket.get(), frame.data(), frame.size(), MSG_NOSIGNAL) == -1)
        return {};
    std::string bytes(sim::max_message_size, '\0');
    const ssize_t size = recv(socket.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return sim::decode(bytes).message.value_or(sim::Message{});
}

sim::Message cli_message(std::uint16_t session, std::int32_t code) {
    sim::Message message;
    message.type = sim::operation_request;
    message.kind = sim::script_operation;
    message.session_id = session;
    message.items = {sim::Item::text(5, fmt::format("sdkclient{:04}00000001", session)), sim::Item::integer(0, code)};
    return message;
}

} // namespace

int main(int argc, char** argv) {
    const sim::Fd socket = sim::connect_to("/mnt/sock/sdk.socket", SOCK_STREAM);
    sim::Message open;
    open.type = sim::session_request;
    open.items = {sim::Item::integer(1, 1), sim::Item::text(5, "tool")};
    const auto session = static_cast<std::uint16_t>(ask(socket, open).integer(4).value_or(0));
    const auto handle = ask(socket, cli_message(session, 15)).integer(6);
    if (!handle)
        return 1;

    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.starts_with("log:")) {
            openlog("Vela-Quor", LOG_PID, 1); // no facility: the default one stays
            syslog(LOG_ERR, "'%s'", word.c_str() + 4);
            closelog();
            continue;
        }
        if (word == "linger") {
            fmt::print("lingering\n");
            std::fflush(stdout);
            std::getchar();
            continue;
        }
        sim::Message execute = cli_message(session, 17);
        execute.items.push_back(sim::Item::integer(6, *handle));
        execute.items.push_back(sim::Item::text(7, word));
        const sim::Message reply = ask(socket, execute);
        fmt::print("{}", reply.text(9).value_or(""));
        if (reply.integer(1) != 0)
            return 1;
    }
    return 0;
}
