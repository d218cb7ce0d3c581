// A connection to the test's peer with the library's three threads behind it, below any session: what the tests of the
// dispatcher, the transport and everything above start from.
#pragma once

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "api/event_handles.h"
#include "api/event_registry.h"
#include "session/session.h"
#include "session/socket.h"
#include "session/state.h"
#include "support/calls.h"
#include "support/peer.h"
#include "support/records.h"
#include "support/wait.h"
#include "support/wire.h"

namespace test {

// A message as the library holds it, header in host order: what is behind its bytes is 0xcc.
inline tagMSG_DATA Held(const Bytes& wire) {
    tagMSG_DATA message;
    std::memset(&message, 0xcc, sizeof message);
    std::memcpy(&message, wire.data(), std::min(wire.size(), sizeof message));
    const auto swap = [](std::uint16_t value) { return static_cast<std::uint16_t>(value >> 8 | value << 8); };
    message.totalLength = swap(message.totalLength);
    message.sessionId = swap(message.sessionId);
    if (message.type == OPERATION_REQUEST)
        std::swap(message.body[2], message.body[3]);
    return message;
}

inline Bytes BytesOf(const tagMSG_DATA& message, std::size_t size) {
    Bytes bytes(size);
    std::memcpy(bytes.data(), &message, size);
    return bytes;
}

// The reader has taken note of the hang-up and ended. Its record alone is not enough: the flags are cleared behind it.
[[nodiscard]] inline bool SawTheHangUp() {
    return SaidEventually(Says(kInfo, "ReadSockThread", "disconnect from server!")) &&
           Eventually([] { return g_session.Reader().Cancel() != 0; });
}

class Dispatcher : public ::testing::Test {
protected:
    void SetUp() override {
        TakeRecords();
        ForgetCalls();
        ASSERT_EQ(g_sock.ConnectServer(0, nullptr, 0), 0);
        ASSERT_TRUE(peer.SawConnections(1));
        ASSERT_FALSE(g_session.CreateReadSock());
        ASSERT_FALSE(g_session.CreateProcessSocketDataThread(0));
        ASSERT_FALSE(g_session.CreateEventCallBackThread());
    }

    void TearDown() override {
        Before(Call::SemTimedWait, nullptr);
        Before(Call::Send, nullptr);
        g_session.TerminateReadSocketThread();
        g_session.TerminateProcessSockDataThread();
        g_session.TerminateEventThread();
        g_evt.ClearRes();
        EXPECT_EQ(BrokenSteps(), 0);
    }

    // An operation request with this send id, and what SendRequest made of it.
    struct Outcome {
        std::uint32_t result;
        tagMSG_DATA request;
        tagMSG_DATA reply;
    };
    static Outcome Ask(unsigned sendId, const Bytes& elements = Int(0, 15)) {
        Outcome outcome{};
        outcome.request = Held(Operation(11, sendId, 0x1170, 1, elements));
        std::memset(&outcome.reply, '-', sizeof outcome.reply);
        outcome.result = g_session.SendRequest(&outcome.request, &outcome.reply);
        return outcome;
    }

    // Everything that the service sent up to now was received and sorted, and every reply handled.
    [[nodiscard]] bool Settled() {
        const unsigned id = 100 + marker_++ % 100; // the id of no request
        peer.Send(Message(2, id, 0, {}));
        return Eventually([&] {
            for (const Record& record : Records())
                if (record.text.find(" recv_id = " + std::to_string(id) + "'") != std::string::npos)
                    return true;
            return false;
        });
    }

    Peer peer;

private:
    unsigned marker_ = 0;
};

} // namespace test
