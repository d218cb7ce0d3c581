// What the tests of the events share: a library that stands in an open session with the test's own peer, and the
// callbacks that were made.
//
// The state of that session is set here, not asked for: session 7, next send id 5, and a client name whose bytes a test
// can write by hand.
#pragma once

#include <cstring>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

#include "api/event_handles.h"
#include "api/event_registry.h"
#include "session/session.h"
#include "session/socket.h"
#include "session/state.h"
#include "support/peer.h"
#include "support/records.h"

namespace test {

constexpr const char* kClient = "sdkclient000700012345";
constexpr unsigned kSession = 7;
constexpr unsigned kNextId = 5;

// Names a test after its row.
inline constexpr auto kRowName = [](const auto& row) { return std::string(row.param.name); };

using Lines = std::vector<::testing::Matcher<const Record&>>;

// The value of a request's integer element; -1 where there is none.
inline std::int32_t IntOf(const Bytes& request, std::int32_t tag) {
    const Decoded decoded = Decode(request);
    const Element* const element = decoded.Find(tag);
    return element == nullptr ? -1 : element->Int();
}

// Acknowledges whatever is asked by its own code plus one.
inline Step Accept() {
    return
        [](Link& link, const Bytes& request) { ScriptReply(Int(0, IntOf(request, 0) + 1) + Int(1, 0))(link, request); };
}

// Refuses it with these words.
inline Step Refuse(const std::string& why) {
    return [=](Link& link, const Bytes& request) {
        ScriptReply(Int(0, IntOf(request, 0) + 1) + Int(1, 5) + Text(2, why))(link, request);
    };
}

// One call of a callback, its texts copied.
struct Delivered {
    std::uint32_t session;
    std::string tag;
    tagVELA_EVENT kind;
    std::optional<std::string> content;
    int unused;
    const void* tagAt;
    const void* contentAt;
};

// Guarded by nothing: for events that the test itself hands over.
inline std::vector<Delivered> delivered;

inline void Remember(std::uint32_t session, const char* tag, tagVELA_EVENT kind, void* content, int unused) {
    const auto* const text = static_cast<const char*>(content);
    delivered.push_back(
        {session, tag, kind, text == nullptr ? std::nullopt : std::optional<std::string>(text), unused, tag, content});
}

// An event as the event thread hands it over: its header in host order.
inline tagMSG_DATA Pushed(const Bytes& elements, unsigned session = kSession) {
    tagMSG_DATA message;
    std::memset(&message, 0xee, sizeof message);
    const Bytes bytes = test::Event(session, elements);
    std::memcpy(&message, bytes.data(), bytes.size());
    message.totalLength = static_cast<std::uint16_t>(bytes.size());
    message.sessionId = static_cast<std::uint16_t>(session);
    return message;
}

inline void Notify(const Bytes& elements, unsigned session = kSession) {
    tagMSG_DATA message = Pushed(elements, session);
    g_evt.EventNotify(&message);
}

// An empty handle table and an empty registry.
class EventState : public ::testing::Test {
protected:
    EventState() {
        std::memset(g_evtMgr, 0, sizeof g_evtMgr);
        g_evt.ClearRes();
        delivered.clear();
        TakeRecords();
    }
};

class OpenSession : public EventState {
protected:
    void SetUp() override {
        ASSERT_EQ(g_sock.ConnectServer(0, nullptr, 0), 0);
        ASSERT_FALSE(g_session.CreateProcessSocketDataThread(0));
        ASSERT_FALSE(g_session.CreateReadSock());
        g_bSessionIsOpen = 1;
        g_sessionId = kSession;
        g_sendId = kNextId;
        py_file = kClient;
        peer.AlwaysAnswer(Accept());
    }

    void TearDown() override {
        g_session.TerminateReadSocketThread();
        g_session.TerminateProcessSockDataThread();
        g_bSessionIsOpen = 0;
        py_file = nullptr;
    }

    // Exactly these records since the last time.
    static void ExpectLines(const Lines& lines) { EXPECT_THAT(TakeRecords(), ::testing::ElementsAreArray(lines)); }

    void ExpectNothingSent() { EXPECT_THAT(peer.Requests(), ::testing::IsEmpty()); }

    Peer peer;
};

} // namespace test
