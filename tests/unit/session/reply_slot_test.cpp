// The one request that waits, and what happens to a message that comes before, for it, or after it.
#include "session/reply_slot.h"

#include <cstring>
#include <gtest/gtest.h>

#include "support/wire.h"

namespace {

using namespace test;
using Verdict = ReplySlot::Verdict;

tagMSG_DATA Filled(unsigned char byte) {
    tagMSG_DATA message;
    std::memset(&message, byte, sizeof message);
    return message;
}

tagMSG_DATA Answer(unsigned char sendId, unsigned char byte = 'a') {
    tagMSG_DATA message = Filled(byte);
    message.sendId = sendId;
    return message;
}

class Slot : public ::testing::Test {
protected:
    Verdict Offer(const tagMSG_DATA& message, std::size_t size = sizeof(tagMSG_DATA), bool mayBeHeld = true) {
        expected = -1;
        return slot.Offer(message, size, mayBeHeld, expected);
    }

    bool ReplyIs(const tagMSG_DATA& message) const { return std::memcmp(&reply, &message, sizeof message) == 0; }

    ReplySlot slot;
    tagMSG_DATA reply = Filled('-');
    int expected = -1;
};

TEST_F(Slot, WaitsForNothingAtFirst) {
    EXPECT_EQ(slot.Expected(), 0);
    EXPECT_FALSE(slot.TakeHeld());
    EXPECT_FALSE(slot.Disarm());
}

TEST_F(Slot, CopiesTheAnswerOfTheRequestThatWaits) {
    slot.Arm(&reply, 7);
    EXPECT_EQ(slot.Expected(), 7);
    EXPECT_EQ(Offer(Answer(7)), Verdict::Answered);
    EXPECT_EQ(expected, 7);
    EXPECT_TRUE(ReplyIs(Answer(7)));
    EXPECT_TRUE(slot.Disarm());
    EXPECT_EQ(slot.Expected(), 0);
}

TEST_F(Slot, CopiesTheMessagesSizeAndNothingMore) {
    slot.Arm(&reply, 7);
    EXPECT_EQ(Offer(Answer(7), 20), Verdict::Answered);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&reply);
    EXPECT_EQ(bytes[19], 'a');
    EXPECT_EQ(bytes[20], '-');
}

TEST_F(Slot, RefusesTheAnswerOfAnotherRequestAndKeepsWaiting) {
    slot.Arm(&reply, 7);
    for (const unsigned char id : Hex("08 06 00 ff")) {
        EXPECT_EQ(Offer(Answer(id)), Verdict::Refused);
        EXPECT_EQ(expected, 7);
    }
    EXPECT_TRUE(ReplyIs(Filled('-')));
    EXPECT_EQ(slot.Expected(), 7);
    EXPECT_EQ(Offer(Answer(7)), Verdict::Answered);
    EXPECT_TRUE(slot.Disarm());
    EXPECT_FALSE(slot.TakeHeld());
}

TEST_F(Slot, NeverWritesToTheBufferOfARequestThatGaveUp) {
    slot.Arm(&reply, 7);
    EXPECT_FALSE(slot.Disarm());
    EXPECT_EQ(Offer(Answer(7)), Verdict::Refused);
    EXPECT_EQ(expected, 0);
    EXPECT_EQ(Offer(Answer(0)), Verdict::Held);
    EXPECT_TRUE(ReplyIs(Filled('-')));
}

TEST_F(Slot, RefusesWhatComesWhileNothingWaits) {
    EXPECT_EQ(Offer(Answer(7)), Verdict::Refused);
    EXPECT_EQ(expected, 0);
    slot.Arm(&reply, 7);
    EXPECT_FALSE(slot.TakeHeld());
}

TEST_F(Slot, HoldsAMessageOfSendIdZeroForTheNextRequest) {
    EXPECT_EQ(Offer(Answer(0), 100), Verdict::Held);
    EXPECT_EQ(expected, 0);
    slot.Arm(&reply, 9);
    EXPECT_TRUE(slot.TakeHeld());
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&reply);
    EXPECT_EQ(reply.sendId, 0);
    EXPECT_EQ(bytes[99], 'a');
    EXPECT_EQ(bytes[100], '-');
    slot.Disarm();
    slot.Arm(&reply, 10);
    EXPECT_FALSE(slot.TakeHeld()) << "handed over twice";
}

TEST_F(Slot, HoldsTheLastOfSeveral) {
    EXPECT_EQ(Offer(Answer(0, 'a')), Verdict::Held);
    EXPECT_EQ(Offer(Answer(0, 'b')), Verdict::Held);
    slot.Arm(&reply, 9);
    EXPECT_TRUE(slot.TakeHeld());
    EXPECT_TRUE(ReplyIs(Answer(0, 'b')));
}

TEST_F(Slot, HoldsNothingThatMayNotBeHeld) {
    EXPECT_EQ(Offer(Answer(0), 100, false), Verdict::Refused);
    EXPECT_EQ(expected, 0);
    slot.Arm(&reply, 9);
    EXPECT_FALSE(slot.TakeHeld());
    slot.Disarm();
    slot.Arm(&reply, 0);
    EXPECT_EQ(Offer(Answer(0), 100, false), Verdict::Answered) << "for a request that waits it is an answer";
}

TEST_F(Slot, AnswersARequestWhoseSendIdIsZero) {
    slot.Arm(&reply, 0);
    EXPECT_EQ(slot.Expected(), 0);
    EXPECT_EQ(Offer(Answer(5)), Verdict::Refused);
    EXPECT_EQ(expected, 0);
    EXPECT_EQ(Offer(Answer(0)), Verdict::Answered);
    EXPECT_TRUE(ReplyIs(Answer(0)));
    EXPECT_TRUE(slot.Disarm());
}

} // namespace
