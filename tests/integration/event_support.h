// What the tests of the events share: a session whose service accepts what the events ask, the events that it pushes,
// and the callbacks that were made.
#pragma once

#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include <fmt/format.h>

#include "inject.h"
#include "support.h"

namespace integration {

// One call of a callback, its texts copied.
struct Call {
    std::uint32_t session = 0;
    std::string tag;
    tagVELA_EVENT kind = 0;
    std::optional<std::string> content;
    int unused = 0;
    std::thread::id thread;
};

// The calls of receive(), in order. What is to happen during a call is set before the first event is sent.
class Inbox {
public:
    void take(Call call) {
        std::function<void(const Call&)> during;
        {
            const std::lock_guard guard(lock_);
            calls_.push_back(call);
            during = during_;
        }
        changed_.notify_all();
        if (during)
            during(call);
    }

    bool wait_for(std::size_t n, std::chrono::milliseconds limit = patience) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, limit, [&] { return calls_.size() >= n; });
    }

    std::vector<Call> calls() {
        const std::lock_guard guard(lock_);
        return calls_;
    }

    void during(std::function<void(const Call&)> action) {
        const std::lock_guard guard(lock_);
        during_ = std::move(action);
    }

    void clear() {
        const std::lock_guard guard(lock_);
        calls_.clear();
        during_ = nullptr;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Call> calls_;
    std::function<void(const Call&)> during_;
};

// Never destroyed: a library thread may still be leaving its last callback when the process ends.
inline Inbox& inbox = *new Inbox;

inline void receive(std::uint32_t session, const char* tag, tagVELA_EVENT kind, void* content, int unused) {
    const auto* const text = static_cast<const char*>(content);
    inbox.take({session, tag, kind, text == nullptr ? std::nullopt : std::optional<std::string>(text), unused,
                std::this_thread::get_id()});
}

inline tagVELA_IFSTATE_PARA interface_record() {
    tagVELA_IFSTATE_PARA para{};
    std::memset(para.reserved, 0xee, sizeof para.reserved);
    std::strcpy(para.text, "eth0");
    para.number1 = 2;
    para.number2 = 0xffffffff;
    return para;
}

inline std::string pushed(std::vector<sim::Item> items, std::uint16_t session = granted_session) {
    sim::Message message;
    message.type = sim::operation_reply;
    message.kind = sim::event_notification;
    message.session_id = session;
    message.items = std::move(items);
    return sim::encode(message);
}

// An event for a registration name, under a tag.
inline std::string pushed(std::string_view name, std::string_view tag, std::string_view content) {
    return pushed({sim::Item::text(1, name), sim::Item::text(2, tag), sim::Item::text(3, content)});
}

class EventTest : public LibraryTest {
protected:
    void SetUp() override {
        inbox.clear();
        open_session();
        service.on("*", [this](const sim::Request& request) { return answer_to(request); });
    }

    void TearDown() override {
        LibraryTest::TearDown();
        inbox.clear();
    }

    // The code of a request, with the step where there is one: "41", "11.1".
    static std::string asked_by(const sim::Message& request) {
        const std::int32_t code = request.integer(0).value_or(-1);
        return code == 11 ? fmt::format("11.{}", request.integer(5).value_or(-1)) : std::to_string(code);
    }

    // What the events asked since the requests were cleared.
    std::vector<std::string> asked() const {
        std::vector<std::string> all;
        for (const sim::Request& request : service.requests())
            all.push_back(asked_by(request.message));
        return all;
    }

    static std::string accepted(const sim::Message& request) {
        return encode_reply(request, {.items = acknowledged(request.integer(0).value_or(-1) + 1)});
    }

    // Another answer to one request ("11.1"); it runs on the service's thread.
    void when(const std::string& asked, sim::Handler handler) {
        const std::lock_guard guard(handlers_lock_);
        handlers_[asked] = std::move(handler);
    }

    void refuse(const std::string& asked, std::string_view why) {
        when(asked, [text = std::string(why)](const sim::Request& request) {
            const std::int32_t code = request.message.integer(0).value_or(-1) + 1;
            return sim::Answer{encode_reply(request.message, {.items = refused(code, 5, text)})};
        });
    }

    static std::uint32_t new_handle() {
        std::uint32_t handle = 0x5eed5eed;
        EXPECT_EQ(vela_event_new(&handle), VELA_OK);
        return handle;
    }

    static std::int32_t add(std::uint32_t handle, const char* tag) {
        const tagVELA_IFSTATE_PARA para = interface_record();
        return vela_event_add(handle, VELA_EVENT_IFSTATE, tag, &para);
    }

    // A handle with the tag "link", registered by this thread.
    std::uint32_t registered(fEventCallBack callback = receive) {
        const std::uint32_t handle = new_handle();
        EXPECT_EQ(add(handle, "link"), VELA_OK);
        EXPECT_EQ(vela_event_reg(handle, callback), VELA_OK);
        service.clear_requests();
        return handle;
    }

    // The name of the thread that the test runs on, for handlers.
    std::string client_name_ = client_name(granted_session);

    void push(std::string_view content, std::string_view tag = "link") {
        EXPECT_TRUE(service.send(-1, pushed(client_name(granted_session), tag, content)));
    }

    static Record no_callback() { return failure("EventNotify", "canot find this CALLBACK function"); }

private:
    sim::Answer answer_to(const sim::Request& request) {
        sim::Handler handler;
        {
            const std::lock_guard guard(handlers_lock_);
            if (const auto found = handlers_.find(asked_by(request.message)); found != handlers_.end())
                handler = found->second;
        }
        return handler ? handler(request) : sim::Answer{accepted(request.message)};
    }

    std::mutex handlers_lock_;
    std::map<std::string, sim::Handler> handlers_;
};

} // namespace integration
