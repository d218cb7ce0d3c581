#include "support/scripted_router.h"

#include <mutex>
#include <utility>

namespace test {
namespace {

constexpr std::int32_t kOpen = 15;
constexpr std::int32_t kExecute = 17;
constexpr std::int32_t kClose = 19;

const CliReply kRefusal{{}, "refused", false};

// One request as its line.
struct Asked {
    std::int32_t operation = 0;
    std::string command{};
    std::string line{};
};

std::string TextOf(const Element* element) { return element == nullptr ? "{missing}" : element->Text(); }

// What is wrong with the request's elements, apart from the texts: their order, their number, and the handle.
std::string Oddities(const Decoded& request, std::int32_t operation) {
    std::vector<std::int32_t> tags = {5, 0};
    if (operation != kOpen)
        tags.push_back(6);
    if (operation == kExecute)
        tags.push_back(7);
    const auto given =
        static_cast<std::int32_t>(request.elements.size() - std::min(request.elements.size(), tags.size()));
    for (std::int32_t tag = 10; tag < 10 + given; ++tag)
        tags.push_back(tag);

    std::string odd;
    for (std::size_t i = 0; i < tags.size(); ++i)
        if (i >= request.elements.size() || request.elements[i].tag != tags[i])
            odd += " {no element " + std::to_string(tags[i]) + "}";
    if (given % 2 != 0 || (given != 0 && operation != kExecute))
        odd += " {" + std::to_string(given) + " elements too many}";
    const Element* const handle = request.Find(6);
    if (handle != nullptr && handle->Int() != static_cast<std::int32_t>(kRouterHandle))
        odd += " {handle " + std::to_string(handle->Int()) + "}";
    return odd;
}

Asked Read(const Bytes& bytes) {
    const Decoded request = Decode(bytes);
    const Element* const code = request.Find(0);
    Asked asked;
    asked.operation = code == nullptr ? 0 : code->Int();
    std::vector<std::pair<std::string, std::string>> choices;
    switch (asked.operation) {
    case kOpen:
        asked.command = kOpenRequest;
        break;
    case kClose:
        asked.command = kCloseRequest;
        break;
    case kExecute:
        asked.command = TextOf(request.Find(7));
        for (std::int32_t tag = 10; request.Find(tag) != nullptr; tag += 2)
            choices.emplace_back(TextOf(request.Find(tag)), TextOf(request.Find(tag + 1)));
        break;
    default:
        asked.command = "{operation " + std::to_string(asked.operation) + "}";
    }
    asked.line = Line(asked.command, choices) + Oddities(request, asked.operation);
    return asked;
}

Bytes Elements(std::int32_t operation, const CliReply& reply) {
    Bytes elements = Int(0, operation + 1) + Int(1, reply.refusal ? 5 : 0);
    if (reply.refusal)
        elements = elements + Text(2, *reply.refusal);
    if (operation == kOpen)
        elements = elements + Int(6, static_cast<std::int32_t>(kRouterHandle));
    if (operation == kExecute && reply.output)
        elements = elements + Text(9, *reply.output);
    return elements;
}

} // namespace

CliReply Prints(std::string output) { return {std::move(output), {}, false}; }
CliReply SaysNothing() { return {}; }
CliReply Rejects() { return kRefusal; }
CliReply RejectsPrinting(std::string output) { return {std::move(output), kRefusal.refusal, false}; }
CliReply KeepsSilent() { return {{}, {}, true}; }

CliTable& CliTable::Print(const std::string& command, std::string output) {
    printed_[command] = std::move(output);
    return *this;
}

CliTable& CliTable::AtNth(std::size_t nth, CliReply reply) {
    nth_[nth] = std::move(reply);
    return *this;
}

CliTable& CliTable::FromNth(std::size_t nth, CliReply reply) {
    from_ = nth;
    fromReply_ = std::move(reply);
    return *this;
}

CliTable& CliTable::At(const std::string& command, CliReply reply) {
    replies_[command] = std::move(reply);
    return *this;
}

CliReply CliTable::ReplyTo(std::size_t nth, const std::string& command) const {
    if (const auto found = nth_.find(nth); found != nth_.end())
        return found->second;
    if (nth >= from_)
        return fromReply_;
    if (const auto found = replies_.find(command); found != replies_.end())
        return found->second;
    if (const auto found = printed_.find(command); found != printed_.end())
        return Prints(found->second);
    return SaysNothing();
}

std::string Line(const std::string& command, const std::vector<std::pair<std::string, std::string>>& choices) {
    std::string line = command;
    for (const auto& [key, value] : choices)
        line.append(" [").append(key).append("=").append(value).append("]");
    return line;
}

struct ScriptedRouter::State {
    std::mutex lock;
    CliTable table;
    std::vector<std::string> sent;

    CliReply Answer(const Asked& asked) {
        const std::lock_guard guard(lock);
        sent.push_back(asked.line);
        return table.ReplyTo(sent.size() - 1, asked.command);
    }
};

ScriptedRouter::ScriptedRouter() : state_(std::make_shared<State>()) {}

void ScriptedRouter::Play(CliTable table) {
    const std::lock_guard guard(state_->lock);
    state_->table = std::move(table);
    state_->sent.clear();
}

std::vector<std::string> ScriptedRouter::Sent() const {
    const std::lock_guard guard(state_->lock);
    return state_->sent;
}

Step ScriptedRouter::AsStep() const {
    return [state = state_](Link& link, const Bytes& bytes) {
        const Asked asked = Read(bytes);
        const CliReply reply = state->Answer(asked);
        if (!reply.silent)
            ScriptReply(Elements(asked.operation, reply))(link, bytes);
    };
}

} // namespace test
