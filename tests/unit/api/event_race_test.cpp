// The registry and the handle table under registration, withdrawal, delivery and the end of a connection all at once.
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "session/event_seam.h"
#include "support/dispatcher.h"

namespace {

using namespace test;

std::atomic<int> delivered{0};
void Counting(std::uint32_t, const char*, tagVELA_EVENT, void*, int) { ++delivered; }

TEST(EventRegistryRace, RegistersFreesAndDeliversAtOnce) {
    constexpr int kRounds = 500;
    CEventMgr registry;
    registry.RegEvent("kept", &Counting);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        tagMSG_DATA message = Held(Event(1, Text(1, "kept") + Text(2, "tag") + Text(3, "c")));
        for (int i = 0; i < kRounds; ++i)
            registry.EventNotify(&message);
        stop = true;
    });
    for (const char* name : {"one", "two"})
        threads.emplace_back([&registry, &stop, name] {
            while (!stop) {
                registry.RegEvent(name, &Counting);
                registry.SaveEventTag(name, VELA_EVENT_ROUTE);
                registry.UnRegEvent(name);
            }
        });
    threads.emplace_back([&] {
        while (!stop)
            clear_event_handles();
    });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(delivered, kRounds);
}

} // namespace
