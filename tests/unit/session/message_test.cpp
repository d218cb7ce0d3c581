// The message's sizes and the byte order of its header.
#include "session/message.h"
#include "session/session.h"

#include <cstring>
#include <gmock/gmock.h>

#include "support/records.h"
#include "support/wire.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

// Header, then body kind 1, its second byte, the body length 0x1234 and one byte, all as the host holds them.
tagMSG_DATA HostOrder(unsigned char type, std::uint16_t totalLength) {
    tagMSG_DATA message;
    std::memset(&message, 0, sizeof message);
    message.version = 1;
    message.type = type;
    message.sendId = 0x42;
    message.totalLength = totalLength;
    message.sessionId = 0x1170;
    const Bytes body = Hex("01 77 34 12 'z'");
    std::memcpy(message.body, body.data(), body.size());
    return message;
}

Bytes Start(const tagMSG_DATA& message) {
    Bytes bytes(13);
    std::memcpy(bytes.data(), &message, bytes.size());
    return bytes;
}

TEST(Message, HasItsSizes) {
    EXPECT_EQ(sizeof(tagMSG_DATA), 8012U);
    EXPECT_EQ(g_head_size, 8);
    EXPECT_EQ(g_data_size, 8012);
    EXPECT_EQ(g_body_fix_len, 4);
    EXPECT_EQ(offsetof(tagMSG_DATA, version), 0U);
    EXPECT_EQ(offsetof(tagMSG_DATA, type), 1U);
    EXPECT_EQ(offsetof(tagMSG_DATA, sendId), 2U);
    EXPECT_EQ(offsetof(tagMSG_DATA, reserved), 3U);
    EXPECT_EQ(offsetof(tagMSG_DATA, totalLength), 4U);
    EXPECT_EQ(offsetof(tagMSG_DATA, sessionId), 6U);
    EXPECT_EQ(offsetof(tagMSG_DATA, body), 8U);
    EXPECT_EQ(SDK_SESSION_CONTROL_REQUEST, 1);
    EXPECT_EQ(SDK_SESSION_CONTROL_RESPONSE, 2);
    EXPECT_EQ(OPERATION_REQUEST, 11);
    EXPECT_EQ(OPERATION_RESPONSE, 12);
    EXPECT_EQ(BODY_SCRIPT, 1);
    EXPECT_EQ(BODY_EVENT, 3);
    EXPECT_EQ(BODY_QUERY, 4);
}

TEST(Message, IsValidFrom8To8012Bytes) {
    EXPECT_FALSE(is_valid_length(0));
    EXPECT_FALSE(is_valid_length(7));
    EXPECT_TRUE(is_valid_length(8));
    EXPECT_TRUE(is_valid_length(8012));
    EXPECT_FALSE(is_valid_length(8013));
    EXPECT_FALSE(is_valid_length(65535));
}

TEST(MessageBeforeSending, HasItsLengthsAndSessionInNetworkOrder) {
    tagMSG_DATA message = HostOrder(11, 0x1f4c);
    CSession::ConvertSendDataHtons(&message);
    EXPECT_EQ(Start(message), Hex("01 0b 42 00 1f 4c 11 70 01 77 12 34 'z'"));
}

TEST(MessageBeforeSending, KeepsTheBodyOfEveryTypeButOperationRequests) {
    for (const unsigned char type : Hex("01 02 0c")) {
        tagMSG_DATA message = HostOrder(type, 0x1f4c);
        CSession::ConvertSendDataHtons(&message);
        EXPECT_EQ(Start(message), Hex("01") + Bytes{type} + Hex("42 00 1f 4c 11 70 01 77 34 12 'z'"));
    }
}

class MessageReceived : public ::testing::TestWithParam<unsigned> {};

TEST_P(MessageReceived, HasItsHeaderInHostOrderAndItsBodyAsItCame) {
    TakeRecords();
    const unsigned length = GetParam();
    const bool valid = length >= 8 && length <= 8012;
    for (const unsigned char type : Hex("01 02 0b 0c")) {
        tagMSG_DATA message;
        std::memset(&message, 0, sizeof message);
        const Bytes wire = WithTotalLength(Hex("01") + Bytes{type} + Hex("42 00 00 00 11 70 01 77 12 34 'z'"), length);
        std::memcpy(&message, wire.data(), wire.size());
        EXPECT_EQ(CSession::ConvertRecvDataNtohs(&message), valid ? 1 : 0);
        EXPECT_EQ(message.totalLength, length);
        EXPECT_EQ(message.sessionId, 0x1170);
        EXPECT_EQ(Bytes(message.body, message.body + 5), Hex("01 77 12 34 'z'"));
        if (valid)
            EXPECT_THAT(TakeRecords(), IsEmpty());
        else
            EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConvertRecvDataNtohs",
                                                        "invalid message length = " + std::to_string(length))));
    }
}

INSTANTIATE_TEST_SUITE_P(Lengths, MessageReceived,
                         ::testing::Values(0, 7, 8, 9, 0x0102, 8011, 8012, 8013, 9000, 65535));

} // namespace
