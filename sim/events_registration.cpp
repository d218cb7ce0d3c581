#include "sim/events_registration.h"

#include <algorithm>

#include <fmt/format.h>

#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::string_view joint = " or ";
constexpr std::size_t most_subscriptions = 256;
constexpr std::size_t longest_tag = 1000;
// The library cuts longer expressions, so that the last tag of one that long may be a piece only.
constexpr std::size_t longest_expression = 399;

} // namespace

void EventRegistration::subscribe(Subscription subscription) {
    if (subscription.tag.empty() || subscription.tag.size() > longest_tag)
        throw Refused{Refusal::wrong_value, fmt::format("the tag has {} characters instead of 1 to {}",
                                                        subscription.tag.size(), longest_tag)};
    const auto same = std::ranges::find(subscriptions_, subscription.tag, &Subscription::tag);
    if (same != subscriptions_.end()) {
        *same = std::move(subscription);
        return;
    }
    if (subscriptions_.size() == most_subscriptions)
        throw Refused{Refusal::not_done, fmt::format("there are {} subscriptions already", most_subscriptions)};
    subscriptions_.push_back(std::move(subscription));
}

void EventRegistration::correlate(std::string_view expression) {
    std::set<std::string, std::less<>> tags;
    const bool may_be_cut = expression.size() == longest_expression;
    for (std::string_view rest = expression; !rest.empty();) {
        const Subscription* const known = longest_tag_at(rest);
        if (known == nullptr) {
            const std::size_t end = rest.find(joint);
            if (may_be_cut && end == std::string_view::npos)
                break;
            throw Refused{Refusal::unknown_tag,
                          fmt::format("the expression \"{}\" names \"{}\", which is not subscribed", expression,
                                      rest.substr(0, end))};
        }
        tags.insert(known->tag);
        rest.remove_prefix(std::min(known->tag.size() + joint.size(), rest.size()));
    }
    expression_ = std::move(tags);
    correlated_ = true;
}

// A tag may hold the joining word.
const Subscription* EventRegistration::longest_tag_at(std::string_view expression) const {
    const Subscription* longest = nullptr;
    for (const Subscription& each : subscriptions_) {
        if (!expression.starts_with(each.tag))
            continue;
        const std::string_view behind = expression.substr(each.tag.size());
        const bool whole = behind.empty() || (behind.starts_with(joint) && behind != joint);
        if (whole && (longest == nullptr || each.tag.size() > longest->tag.size()))
            longest = &each;
    }
    return longest;
}

void EventRegistration::finish() {
    if (!correlated_)
        throw Refused{Refusal::not_correlated, "no correlation expression was sent before the registration's end"};
    finished_ = true;
}

std::vector<std::string_view> EventRegistration::tags_for(const Event& event) const {
    std::vector<std::string_view> tags;
    for (const Subscription& each : subscriptions_)
        if (expression_.contains(each.tag) && is_wanted(event, each.kind, each.criteria))
            tags.push_back(each.tag);
    return tags;
}

std::vector<std::string_view> EventRegistration::delivered_tags() const {
    std::vector<std::string_view> tags;
    for (const Subscription& each : subscriptions_)
        if (expression_.contains(each.tag))
            tags.push_back(each.tag);
    return tags;
}

} // namespace sim
