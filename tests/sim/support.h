// What the simulator's tests share: a directory of their own, and a client that speaks the wire by hand.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sim/service.h"
#include "sim/unix_socket.h"
#include "sim/wire.h"

namespace sim::test {

using namespace std::chrono_literals;

class TempDir {
public:
    TempDir() {
        char name[] = "/tmp/sim-test-XXXXXX";
        if (mkdtemp(name) == nullptr)
            throw std::runtime_error("no temporary directory");
        path_ = name;
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// Connected to a service; receives with a limit, so that a missing answer fails a test instead of hanging it.
class WireClient {
public:
    explicit WireClient(const std::string& path) : socket_(connect_to(path, SOCK_STREAM)) {
        if (!socket_)
            throw std::runtime_error("cannot connect to " + path);
    }

    void send(std::string_view bytes) {
        ASSERT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void send(const Message& message) { send(encode(message)); }

    // What one recv() gives; empty at the end of the stream, "(nothing)" when the limit passes.
    std::string receive(std::chrono::milliseconds limit = 60s) {
        pollfd readable{socket_.get(), POLLIN, 0};
        if (poll(&readable, 1, static_cast<int>(limit.count())) == 0)
            return "(nothing)";
        std::string bytes(2 * max_message_size, '\0');
        const ssize_t size = recv(socket_.get(), bytes.data(), bytes.size(), 0);
        bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return bytes;
    }

    // One whole message.
    Message answer() {
        const Decoded decoded = decode(receive());
        EXPECT_TRUE(decoded.message) << decoded.error;
        return decoded.message.value_or(Message{});
    }
    Message ask(const Message& message) {
        send(message);
        return answer();
    }

    // Requests as the library makes them.
    Message session_message(std::int32_t kind) {
        Message message;
        message.type = session_request;
        message.send_id = ++send_id_;
        message.session_id = session_id_;
        message.items.push_back(Item::integer(1, kind));
        return message;
    }
    Message open_message(std::string_view name = "test") {
        Message message = session_message(1);
        message.session_id = 0;
        message.items.push_back(Item::text(5, name));
        return message;
    }
    Message cli_message(std::int32_t code) {
        Message message;
        message.type = operation_request;
        message.kind = script_operation;
        message.send_id = ++send_id_;
        message.session_id = session_id_;
        message.items.push_back(Item::text(5, client_name()));
        message.items.push_back(Item::integer(0, code));
        if (code != 15)
            message.items.push_back(Item::u32(6, handle_));
        return message;
    }
    Message execute_message(std::string_view command) {
        Message message = cli_message(17);
        message.items.push_back(Item::text(7, command));
        return message;
    }

    void open_session() {
        const Message reply = ask(open_message());
        ASSERT_EQ(reply.integer(2), 0);
        session_id_ = static_cast<std::uint16_t>(reply.integer(4).value_or(0));
    }
    void open_cli() {
        open_session();
        const Message reply = ask(cli_message(15));
        ASSERT_EQ(reply.integer(1), 0);
        handle_ = static_cast<std::uint32_t>(reply.integer(6).value_or(0));
    }
    // A command's output.
    std::string run(std::string_view command) { return ask(execute_message(command)).text(9).value_or(""); }

    std::string client_name() const {
        std::string number = std::to_string(session_id_);
        number.insert(0, number.size() < 4 ? 4 - number.size() : 0, '0');
        return "sdkclient" + number + "00012345";
    }
    std::uint16_t session_id() const { return session_id_; }
    void set_session_id(std::uint16_t id) { session_id_ = id; }
    std::uint32_t handle() const { return handle_; }
    void set_handle(std::uint32_t handle) { handle_ = handle; }
    std::uint8_t last_send_id() const { return send_id_; }
    int fd() const { return socket_.get(); }
    void close() { socket_.reset(); }

private:
    Fd socket_;
    std::uint8_t send_id_ = 0;
    std::uint16_t session_id_ = 0;
    std::uint32_t handle_ = 0;
};

// A running service at a path of its own.
class ServiceTest : public ::testing::Test {
protected:
    ServiceTest() : service(Service::Options{.socket_path = path}) { service.start(); }

    TempDir directory;
    std::string path = directory / "sdk.socket";
    Service service;
};

} // namespace sim::test
