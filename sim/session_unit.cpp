// Opens, keeps alive and closes sessions. Its state is that of Sessions; no threads, no locks of its own.
#include <array>

#include <fmt/format.h>

#include "sim/operations.h"
#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::int32_t kind_tag = 1;
constexpr std::int32_t return_tag = 2;
constexpr std::int32_t session_id_tag = 4;
constexpr std::int32_t client_name_tag = 5;

Message granted(const Request& request) {
    Message reply = reply_head(request);
    reply.items = {Item::integer(kind_tag, *request.message.integer(kind_tag) + 1), Item::integer(return_tag, 0)};
    return reply;
}

class SessionUnit : public Unit {
public:
    explicit SessionUnit(UnitContext context) : context_(context) {}

    std::span<const std::string_view> operations() const override {
        static constexpr std::array<std::string_view, 3> names{"session.open", "session.close", "session.keepalive"};
        return names;
    }

    Message answer(const Request& request) override {
        return request.operation == "session.open" ? open(request) : go_on(request);
    }

    void client_gone(int client) override { context_.sessions.close(client); }

private:
    Message open(const Request& request) {
        if (context_.sessions.find(request.client))
            return refused(request, Refusal::session_open, "this connection has an open session");
        if (request.message.session_id != 0)
            return refused(request, Refusal::wrong_session,
                           fmt::format("the header of an open request carries session id {} instead of 0",
                                       request.message.session_id));
        const auto name = request.message.text(client_name_tag);
        if (!name)
            return refused(request, Refusal::missing_item, "the client name, item 5, is missing or no text");

        const std::uint32_t id = context_.router.with([](RouterState& router) { return router.next_session_id++; });
        const Session session{id, *name};
        context_.sessions.open(request.client, session);
        Message reply = granted(request);
        reply.session_id = session.header_id();
        reply.items.push_back(Item::u32(session_id_tag, id));
        return reply;
    }

    Message go_on(const Request& request) {
        return refuse_or(request, [&] {
            required_session(context_, request);
            if (request.operation == "session.close")
                context_.sessions.close(request.client);
            return granted(request);
        });
    }

    UnitContext context_;
};

} // namespace

std::unique_ptr<Unit> make_session_unit(UnitContext context) { return std::make_unique<SessionUnit>(context); }

} // namespace sim
