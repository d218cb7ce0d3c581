// The queue of messages: order, growth, and that it allocates nothing once it is warm.
#include "session/message_queue.h"

#include <cerrno>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <random>

#include "support/calls.h"
#include "support/wire.h"

namespace {

using namespace test;

// A message of this size whose bytes all differ from those of another number.
Bytes Numbered(unsigned number, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(number * 31 + i * 7 + i / 256);
    return bytes;
}

bool Push(MessageQueue& queue, const Bytes& bytes) { return queue.Push(bytes.data(), bytes.size()); }

Bytes Front(MessageQueue& queue, std::size_t size) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(queue.Front());
    return Bytes(bytes, bytes + size);
}

TEST(MessageQueue, StartsEmpty) {
    MessageQueue queue;
    EXPECT_TRUE(queue.Empty());
}

TEST(MessageQueue, GivesMessagesInTheOrderTheyCame) {
    MessageQueue queue;
    for (unsigned i = 0; i < 100; ++i)
        ASSERT_TRUE(Push(queue, Numbered(i, 8 + i)));
    for (unsigned i = 0; i < 100; ++i) {
        ASSERT_FALSE(queue.Empty());
        EXPECT_EQ(Front(queue, 8 + i), Numbered(i, 8 + i)) << i;
        queue.Pop();
    }
    EXPECT_TRUE(queue.Empty());
}

TEST(MessageQueue, TakesACopy) {
    MessageQueue queue;
    Bytes bytes = Numbered(1, 40);
    Push(queue, bytes);
    bytes.assign(40, 0);
    EXPECT_EQ(Front(queue, 40), Numbered(1, 40));
}

TEST(MessageQueue, LetsTheFrontBeChangedInPlace) {
    MessageQueue queue;
    Push(queue, Numbered(1, 8));
    Push(queue, Numbered(2, 8));
    queue.Front()->totalLength = 0x1234;
    EXPECT_EQ(queue.Front()->totalLength, 0x1234);
    queue.Pop();
    EXPECT_EQ(Front(queue, 8), Numbered(2, 8));
}

TEST(MessageQueue, AlignsEveryMessage) {
    MessageQueue queue;
    for (std::size_t size = 8; size < 40; ++size)
        Push(queue, Numbered(0, size));
    while (!queue.Empty()) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(queue.Front()) % alignof(tagMSG_DATA), 0U);
        queue.Pop();
    }
}

TEST(MessageQueue, HoldsMessagesOfAllSizesThroughGrowthAndWrapping) {
    MessageQueue queue;
    std::deque<Bytes> expected;
    std::mt19937 random(7);
    for (unsigned i = 0; i < 20000; ++i) {
        const bool push = expected.empty() || (random() % 100 < 55 && expected.size() < 300);
        if (push) {
            expected.push_back(Numbered(i, 8 + random() % (i % 50 == 0 ? 8005 : 200)));
            ASSERT_TRUE(Push(queue, expected.back()));
        } else {
            ASSERT_EQ(Front(queue, expected.front().size()), expected.front());
            queue.Pop();
            expected.pop_front();
        }
        ASSERT_EQ(queue.Empty(), expected.empty());
    }
}

TEST(MessageQueue, AllocatesNothingOnceItIsWarm) {
    MessageQueue queue;
    const Bytes bytes = Numbered(3, 8012);
    const auto cycle = [&] {
        for (int i = 0; i < 20; ++i)
            Push(queue, bytes);
        while (!queue.Empty())
            queue.Pop();
    };
    cycle();
    cycle();
    const long before = Count(Call::Allocate);
    for (int i = 0; i < 1000; ++i)
        cycle();
    EXPECT_EQ(Count(Call::Allocate), before);
}

TEST(MessageQueue, AllocatesNothingOnceWarmWhenItNeverRunsEmpty) {
    MessageQueue queue;
    const Bytes bytes = Numbered(3, 300);
    for (int i = 0; i < 100; ++i)
        Push(queue, bytes);
    const auto shift = [&] {
        queue.Pop();
        Push(queue, bytes);
    };
    for (int i = 0; i < 1000; ++i)
        shift();
    const long before = Count(Call::Allocate);
    for (int i = 0; i < 10000; ++i)
        shift();
    EXPECT_EQ(Count(Call::Allocate), before);
}

TEST(MessageQueue, RefusesAMessageThatItHasNoMemoryForAndKeepsTheOthers) {
    MessageQueue queue;
    {
        const Bytes message = Numbered(0, 100);
        const Fail memory(Call::Allocate, ENOMEM, 1, Fail::kForEver);
        EXPECT_FALSE(Push(queue, message));
        EXPECT_TRUE(queue.Empty());
    }
    unsigned pushed = 0;
    ASSERT_TRUE(Push(queue, Numbered(pushed++, 8012)));
    for (bool room = true; room;) {
        const Bytes message = Numbered(pushed, 8012);
        const Fail memory(Call::Allocate, ENOMEM, 1, Fail::kForEver);
        room = Push(queue, message);
        pushed += room;
    }
    ASSERT_TRUE(Push(queue, Numbered(pushed++, 8012)));
    for (unsigned i = 0; i < pushed; ++i) {
        ASSERT_FALSE(queue.Empty());
        EXPECT_EQ(Front(queue, 8012), Numbered(i, 8012)) << i;
        queue.Pop();
    }
    EXPECT_TRUE(queue.Empty());
}

} // namespace
