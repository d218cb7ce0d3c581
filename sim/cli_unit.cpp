// The CLI channel: opens one for a session, runs its commands and closes it.
//
// One lock guards the channels; a command runs under it and under the router's, in this order.
#include <array>
#include <map>
#include <mutex>

#include <fmt/format.h>

#include "sim/cli_engine.h"
#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::int32_t client_name_tag = 5;
constexpr std::int32_t handle_tag = 6;
constexpr std::int32_t command_tag = 7;
constexpr std::int32_t output_tag = 9;
constexpr std::int32_t first_choice_tag = 10;

struct Channel {
    std::uint32_t handle = 0;
    std::uint32_t session_id = 0; // a channel goes with its session
    CliSession cli;
};

// The pairs, in the order in which they were sent.
std::vector<Choice> choices_of(const Message& message) {
    std::vector<Choice> choices;
    for (std::int32_t tag = first_choice_tag;; tag += 2) {
        const auto key = message.text(tag);
        const auto value = message.text(tag + 1);
        if (!key || !value)
            return choices;
        choices.push_back({*key, *value});
    }
}

// As much of the output as the reply can carry, cut at the end of a line, with a last line that says so.
std::string fitting_output(const Message& reply, std::string output) {
    const std::size_t taken = encode(reply).size() + item_head_size + 1;
    if (taken + output.size() <= max_message_size)
        return output;
    const std::string last =
        fmt::format("... cut: {} bytes of output are more than one message carries\n", output.size());
    output.resize(max_message_size - taken - last.size());
    const std::size_t line_end = output.rfind('\n');
    if (line_end != std::string::npos)
        output.resize(line_end + 1);
    else
        output.back() = '\n';
    return output + last;
}

class CliUnit : public Unit {
public:
    explicit CliUnit(UnitContext context) : context_(context) {}

    std::span<const std::string_view> operations() const override {
        static constexpr std::array<std::string_view, 3> names{"cli.open", "cli.execute", "cli.close"};
        return names;
    }

    Message answer(const Request& request) override {
        std::lock_guard guard(lock_);
        return refuse_or(request, [&] {
            const Session session = required_session(context_, request);
            require_client_name(request, client_name_tag, session);
            if (request.operation == "cli.open")
                return open(request, session);
            Channel& channel = channel_of(request, session);
            return request.operation == "cli.execute" ? execute(request, channel) : close(request);
        });
    }

    void client_gone(int client) override {
        std::lock_guard guard(lock_);
        channels_.erase(client);
    }

private:
    Channel& channel_of(const Request& request, const Session& session) {
        const auto found = channels_.find(request.client);
        if (found == channels_.end() || found->second.session_id != session.id)
            throw Refused{Refusal::no_channel, "no CLI channel is open"};
        const auto handle = static_cast<std::uint32_t>(required_integer(request, handle_tag, "the channel's handle"));
        if (handle != found->second.handle)
            throw Refused{Refusal::wrong_handle,
                          fmt::format("the handle is {}, the open channel's is {}", handle, found->second.handle)};
        return found->second;
    }

    Message open(const Request& request, const Session& session) {
        const auto found = channels_.find(request.client);
        if (found != channels_.end() && found->second.session_id == session.id)
            throw Refused{Refusal::channel_open, "this session has an open CLI channel"};
        const std::uint32_t handle = context_.router.with([](RouterState& router) { return router.next_cli_handle++; });
        channels_[request.client] = {handle, session.id, {}};
        Message reply = accepted(request);
        reply.items.push_back(Item::u32(handle_tag, handle));
        return reply;
    }

    Message execute(const Request& request, Channel& channel) {
        const std::string command = required_text(request, command_tag, "the command");
        const std::vector<Choice> choices = choices_of(request.message);
        CliResult result = context_.router.with(
            [&](RouterState& router) { return cli_engine().run(router, channel.cli, command, choices); });

        Message reply = result.error == 0 ? accepted(request)
                                          : refused(request, static_cast<Refusal>(result.error), result.error_text);
        if (!result.output.empty())
            reply.items.push_back(Item::text(output_tag, fitting_output(reply, std::move(result.output))));
        return reply;
    }

    Message close(const Request& request) {
        channels_.erase(request.client);
        return accepted(request);
    }

    UnitContext context_;
    std::mutex lock_;
    std::map<int, Channel> channels_;
};

} // namespace

std::unique_ptr<Unit> make_cli_unit(UnitContext context) { return std::make_unique<CliUnit>(context); }

} // namespace sim
