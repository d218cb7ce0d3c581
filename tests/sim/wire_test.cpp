// The codec against bytes written by hand, and every way in which a frame can be wrong.
#include "sim/wire.h"

#include <gtest/gtest.h>

namespace sim {
namespace {

// The items' integers travel in host order, so these bytes are those of a little-endian host.
std::string bytes(std::string_view digits) { return from_hex(digits).value(); }

// version 1, type 1, send id 1, 0; total 32, session 0
//   item 1, 4 bytes: 1 (open)
//   item 5, 4 bytes: "abc"
const std::string open_bytes = bytes("01 01 01 00  0020 0000"
                                     "01000000 04000000 01000000"
                                     "05000000 04000000 61626300");

// version 1, type 12, send id 9, 0; total 47, session 7
// body kind 1, 0, body length 39
//   item 0, 4 bytes: 18 (acknowledges an execute)
//   item 1, 4 bytes: 0
//   item 9, 3 bytes: "ok"
const std::string reply_bytes = bytes("01 0c 09 00  002f 0007  01 00 0027"
                                      "00000000 04000000 12000000"
                                      "01000000 04000000 00000000"
                                      "09000000 03000000 6f6b00");

Message open_message() {
    Message message;
    message.type = session_request;
    message.send_id = 1;
    message.items = {Item::integer(1, 1), Item::text(5, "abc")};
    return message;
}

Message reply_message() {
    Message message;
    message.type = operation_reply;
    message.send_id = 9;
    message.session_id = 7;
    message.kind = script_operation;
    message.items = {Item::integer(0, 18), Item::integer(1, 0), Item::text(9, "ok")};
    return message;
}

TEST(Wire, EncodesASessionOpenWithAThreeCharacterNameInto32Bytes) {
    EXPECT_EQ(open_bytes.size(), 32U);
    EXPECT_EQ(hex(encode(open_message())), hex(open_bytes));
}

TEST(Wire, EncodesAReplyWithItsBodyPrefix) { EXPECT_EQ(hex(encode(reply_message())), hex(reply_bytes)); }

TEST(Wire, DecodesWhatItEncodes) {
    EXPECT_EQ(decode(open_bytes).message, open_message());
    EXPECT_EQ(decode(reply_bytes).message, reply_message());
}

TEST(Wire, DecodesAMessageWithoutItems) {
    const Decoded decoded = decode(bytes("01 02 03 00 0008 0102"));
    ASSERT_TRUE(decoded.message) << decoded.error;
    EXPECT_EQ(decoded.message->type, session_reply);
    EXPECT_EQ(decoded.message->send_id, 3);
    EXPECT_EQ(decoded.message->session_id, 0x0102);
    EXPECT_TRUE(decoded.message->items.empty());
}

TEST(Wire, EncodesTheLengthsItIsToldTo) {
    Message message = reply_message();
    message.total_length = 0x1f4d;
    message.body_length = 3;
    const std::string frame = encode(message);
    EXPECT_EQ(hex(frame.substr(4, 2)), "1f4d");
    EXPECT_EQ(hex(frame.substr(10, 2)), "0003");
}

struct Wrong {
    const char* what;
    const char* frame;
    const char* error;

    friend void PrintTo(const Wrong& row, std::ostream* out) { *out << row.what; }
};

class WireWrong : public ::testing::TestWithParam<Wrong> {};

TEST_P(WireWrong, IsRefusedWithWhatIsWrong) {
    const Decoded decoded = decode(bytes(GetParam().frame));
    EXPECT_FALSE(decoded.message);
    EXPECT_EQ(decoded.error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, WireWrong,
    ::testing::Values(
        Wrong{"no header", "01 01 01 00 0008 00", "7 bytes are too few for a header"},
        Wrong{"total 7", "01 01 01 00 0007 0000", "total length 7 is outside 8 to 8012"},
        Wrong{"total 8013", "01 01 01 00 1f4d 0000", "total length 8013 is outside 8 to 8012"},
        Wrong{"total too long", "01 01 01 00 0009 0000", "total length 9 where there are 8 bytes"},
        Wrong{"no prefix", "01 0b 01 00 000a 0000 01 00", "10 bytes are too few for the body's fixed part"},
        Wrong{"body length", "01 0b 01 00 000c 0000 01 00 0005", "body length 5 where there are 4 bytes"},
        Wrong{"item head", "01 01 01 00 000c 0000 01000000", "4 bytes at offset 8 are too few for an item"},
        Wrong{"item length", "01 01 01 00 0011 0000 01000000 02000000 61",
              "item 1 at offset 8 says 2 bytes where 1 are left"},
        Wrong{"negative length", "01 01 01 00 0010 0000 01000000 ffffffff", "item 1 at offset 8 has length -1"}),
    [](const auto& test) {
        std::string name = test.param.what;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST(Wire, KeepsTheHeaderOfABrokenFrame) {
    const Decoded decoded = decode(bytes("01 0b 2a 00 0010 0007 04 00 0008 00000000"));
    EXPECT_FALSE(decoded.message);
    EXPECT_EQ(decoded.head.type, operation_request);
    EXPECT_EQ(decoded.head.send_id, 42);
    EXPECT_EQ(decoded.head.session_id, 7);
    EXPECT_EQ(decoded.head.kind, device_query);
}

TEST(Wire, FindsTheFirstOfItemsWithTheSameTag) {
    Message message;
    message.items = {Item::integer(3, 1), Item::integer(3, 2), Item::text(4, "x")};
    EXPECT_EQ(message.integer(3), 1);
    EXPECT_EQ(message.text(4), "x");
    EXPECT_EQ(message.find(5), nullptr);
    EXPECT_EQ(message.integer(4), std::nullopt);
}

TEST(Wire, ReadsATextOnlyWhenItsOnlyNulIsTheLastByte) {
    EXPECT_EQ(Item::text(1, "").as_text(), "");
    EXPECT_EQ(Item::raw(1, "").as_text(), std::nullopt);
    EXPECT_EQ(Item::raw(1, "ab").as_text(), std::nullopt);
    EXPECT_EQ(Item::raw(1, std::string("a\0b\0", 4)).as_text(), std::nullopt);
}

TEST(Wire, DescribesAMessageInOneLine) {
    EXPECT_EQ(describe(open_message()), "-> session 1 id=1 session=0 session.open  1:1 5:\"abc\"");
    EXPECT_EQ(describe(reply_message()), "<- op 12 id=9 session=7 cli.execute  0:18 1:0 9:\"ok\"");
}

TEST(Wire, DescribesTextsNumbersAndBytesEachInItsWay) {
    Message message;
    message.type = operation_request;
    message.kind = device_query;
    message.items = {Item::text(7, "two\nlines \"quoted\""), Item::raw(8, bytes("00ff10")), Item::integer(9, -5)};
    EXPECT_EQ(describe(message), "-> op 11 id=0 session=0 kind=4  7:\"two\\nlines \\\"quoted\\\"\" 8:x'00ff10' 9:-5");
}

TEST(Wire, ReadsHexadecimalDigitsInPairs) {
    EXPECT_EQ(from_hex("0a FF"), std::string("\x0a\xff"));
    EXPECT_EQ(from_hex("0"), std::nullopt);
    EXPECT_EQ(from_hex("0g"), std::nullopt);
    EXPECT_EQ(from_hex(""), "");
}

} // namespace
} // namespace sim
