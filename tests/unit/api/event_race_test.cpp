// The handle table and the registry under all of their users at once: registration, withdrawal, delivery and the end of
// a connection. Each function has a thread of its own, which meets the others nowhere but at the library's lock, so
// that a race detector sees a lock that is missing in any of them.
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "session/event_seam.h"
#include "support/dispatcher.h"

namespace {

using namespace test;

constexpr auto kRelaxed = std::memory_order_relaxed;

// Counts without putting the threads in any order.
class Tally {
public:
    void Add(bool one = true) { count_.fetch_add(one ? 1 : 0, kRelaxed); }
    int Sum() const { return count_.load(kRelaxed); }

private:
    std::atomic<int> count_{0};
};

using Job = std::function<void(unsigned round)>;

// Does each job on a thread of its own, so many times and on until all have done theirs.
void DoAtOnce(unsigned rounds, const std::vector<Job>& jobs) {
    std::latch start(static_cast<std::ptrdiff_t>(jobs.size()));
    std::atomic<std::size_t> busy{jobs.size()};
    std::vector<std::thread> threads;
    for (const Job& job : jobs)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (unsigned round = 0; busy.load(kRelaxed) != 0; ++round) {
                job(round);
                if (round + 1 == rounds)
                    busy.fetch_sub(1, kRelaxed);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

bool IsOneLetter(const std::string& text, std::size_t length) {
    return text.size() == length && text.find_first_not_of(text[0]) == std::string::npos;
}

constexpr std::size_t kNameLength = 99;
constexpr std::size_t kTagLength = 40;

bool IsWholeName(const std::string& name) { return name.empty() || IsOneLetter(name, kNameLength); }

// Nothing, or tags joined by " or ".
bool IsWholeExpression(const std::string& expression) {
    const std::string join = " or ";
    for (std::size_t at = 0; at < expression.size(); at += kTagLength + join.size()) {
        if (!IsOneLetter(expression.substr(at, kTagLength), kTagLength))
            return false;
        const std::string behind = expression.substr(at + kTagLength, join.size());
        if (!behind.empty() && (behind != join || at + kTagLength + join.size() == expression.size()))
            return false;
    }
    return true;
}

std::uint32_t Nth(unsigned round) { return round % kEventHandles; }

void Ignore(std::uint32_t, const char*, tagVELA_EVENT, void*, int) {}

TEST(EventHandlesRace, EachIsTakenByOneAndHoldsWhatThatOnePut) {
    clear_event_handles();
    CEventMgr registry;
    Tally refused;
    Tally wrong;
    const auto takeAndFree = [&](const std::string& text) {
        return [&, text](unsigned) {
            std::uint32_t handle = 0;
            Taking taking{};
            if (get_new_event_handler(&handle, &taking) != 0)
                return refused.Add();
            wrong.Add(registry.Register(taking, text.c_str(), &Ignore) != 0 ||
                      !registry.AddTag(taking, text.c_str(), VELA_EVENT_ROUTE));
            wrong.Add(!is_handler_valid(handle) || expression_of(handle) != text ||
                      !is_tag_in_expression(handle, text.c_str()));
            wrong.Add(registry.Withdraw(taking) != 0);
        };
    };
    DoAtOnce(500, {takeAndFree("one"), takeAndFree("two"), takeAndFree("three"), takeAndFree("four")});
    EXPECT_EQ(refused.Sum(), 0);
    EXPECT_EQ(wrong.Sum(), 0);
    for (std::uint32_t handle = 0; handle < kEventHandles; ++handle)
        EXPECT_FALSE(is_handler_valid(handle)) << handle;
}

TEST(EventHandlesRace, TheirTextsAreReadWholeWhileTheyAreWrittenAndEmptied) {
    clear_event_handles();
    const auto name = [](char letter) { return std::string(kNameLength, letter); };
    const auto tag = [](char letter) { return std::string(kTagLength, letter); };
    // Records are read here as the registry reads them, under the lock.
    const auto nameOf = [](std::uint32_t handle) {
        const std::lock_guard guard(g_evtLock);
        return std::string(g_evtMgr[handle].name);
    };
    CEventMgr registry;
    Tally torn;
    const auto write = [&](char letter) {
        return [&, letter](unsigned round) {
            Taking taking{};
            if (!is_handler_valid(Nth(round), &taking))
                return;
            registry.Register(taking, name(letter).c_str(), &Ignore);
            registry.AddTag(taking, tag(letter).c_str(), VELA_EVENT_ROUTE);
        };
    };
    DoAtOnce(2000, {
                       [](unsigned) {
                           std::uint32_t handle = 0;
                           get_new_event_handler(&handle);
                       },
                       [](unsigned round) {
                           if (Taking taking{}; is_handler_valid(Nth(round), &taking))
                               give_back_event_handle(taking);
                       },
                       [&](unsigned round) {
                           if (Taking taking{}; is_handler_valid(Nth(round), &taking))
                               registry.Withdraw(taking);
                       },
                       [](unsigned) { clear_event_handles(); },
                       write('a'),
                       write('b'),
                       [](unsigned round) {
                           is_still_taken(Taking{Nth(round), round});
                       },
                       [&](unsigned round) { torn.Add(is_tag_in_expression(Nth(round), "ab")); },
                       [&](unsigned round) { torn.Add(!IsWholeName(nameOf(Nth(round)))); },
                       [&](unsigned round) { torn.Add(!IsWholeExpression(expression_of(Nth(round)))); },
                   });
    EXPECT_EQ(torn.Sum(), 0);
    clear_event_handles();
}

Tally delivered;
Tally oddKinds;

void Counting(std::uint32_t, const char*, tagVELA_EVENT kind, void*, int) {
    delivered.Add();
    oddKinds.Add(kind != VELA_EVENT_ICLOG && kind != VELA_EVENT_ROUTE);
}

TEST(EventRegistryRace, EventsAreDeliveredWhileNamesAndTagsComeAndGo) {
    TakeRecords();
    CEventMgr registry;
    Tally notified;
    const auto notify = [&](unsigned) {
        tagMSG_DATA message = Held(Event(1, Text(1, "kept") + Text(2, "tag") + Text(3, "c")));
        notified.Add();
        registry.EventNotify(&message);
    };
    DoAtOnce(500, {
                      notify,
                      notify,
                      [&](unsigned) {
                          registry.UnRegEvent("kept");
                          registry.RegEvent("kept", &Counting);
                      },
                      [&](unsigned round) { registry.RegEvent(std::to_string(round).c_str(), &Counting); },
                      [&](unsigned round) { registry.UnRegEvent(std::to_string(round).c_str()); },
                      [&](unsigned) {
                          registry.RegEvent("mine", &Counting);
                          registry.UnRegEvent("mine");
                      },
                      [&](unsigned) { registry.SaveEventTag("tag", VELA_EVENT_ROUTE); },
                      [&](unsigned) { registry.ClearRes(); },
                  });
    const auto dropped = CountOf(Says(kError, "EventNotify", "canot find this CALLBACK function"));
    EXPECT_EQ(static_cast<std::size_t>(notified.Sum()), static_cast<std::size_t>(delivered.Sum()) + dropped);
    EXPECT_EQ(oddKinds.Sum(), 0);
}

} // namespace
