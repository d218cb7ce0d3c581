#include "sim/unit.h"

#include <fmt/format.h>

namespace sim {

namespace {

constexpr std::size_t longest_refusal = 1000;

} // namespace

Message reply_head(const Request& request) {
    Message reply;
    reply.type = request.message.type == session_request ? session_reply : operation_reply;
    reply.send_id = request.message.send_id;
    reply.session_id = request.message.session_id;
    if (reply.type == operation_reply)
        reply.kind = request.message.kind == device_query ? device_query : script_operation;
    return reply;
}

Message accepted(const Request& request) {
    Message reply = reply_head(request);
    reply.items.push_back(Item::integer(0, request.message.integer(0).value_or(-1) + 1));
    reply.items.push_back(Item::integer(1, 0));
    return reply;
}

Message refused(const Request& request, Refusal refusal, std::string_view text) {
    // Texts quote what was sent; the refusal has to fit one message all the same.
    text = text.substr(0, longest_refusal);
    const auto code = static_cast<std::int32_t>(refusal);
    const Message& asked = request.message;
    Message reply = reply_head(request);
    if (reply.type == session_reply) {
        reply.items = {Item::integer(1, asked.integer(1).value_or(-1) + 1), Item::integer(2, code),
                       Item::text(3, text)};
        return reply;
    }
    if (reply.kind == device_query) {
        reply.items = {Item::integer(1, asked.integer(1).value_or(0)), Item::integer(2, asked.integer(2).value_or(0)),
                       Item::integer(3, code), Item::text(4, text)};
        return reply;
    }
    reply.items = {Item::integer(0, asked.integer(0).value_or(-1) + 1), Item::integer(1, code), Item::text(2, text)};
    return reply;
}

std::string required_text(const Request& request, std::int32_t tag, std::string_view what) {
    auto text = request.message.text(tag);
    if (!text)
        throw Refused{Refusal::missing_item, fmt::format("{}, item {}, is missing or no text", what, tag)};
    return *std::move(text);
}

std::int32_t required_integer(const Request& request, std::int32_t tag, std::string_view what) {
    const auto number = request.message.integer(tag);
    if (!number)
        throw Refused{Refusal::missing_item, fmt::format("{}, item {}, is missing or no number", what, tag)};
    return *number;
}

Session required_session(const UnitContext& context, const Request& request) {
    const auto session = context.sessions.find(request.client);
    if (!session)
        throw Refused{Refusal::no_session, "this connection has no open session"};
    if (request.message.session_id != session->header_id())
        throw Refused{Refusal::wrong_session, fmt::format("the header carries session id {}, the session's is {}",
                                                          request.message.session_id, session->header_id())};
    return *session;
}

void require_client_name(const Request& request, std::int32_t tag, const Session& session) {
    const std::string name = required_text(request, tag, "the client's name");
    // What follows is the client's thread, which is its own affair.
    const std::string expected = fmt::format("sdkclient{:04}", session.header_id());
    if (!name.starts_with(expected))
        throw Refused{Refusal::wrong_client,
                      fmt::format("the client's name is \"{}\", this session's begins with \"{}\"", name, expected)};
}

} // namespace sim
