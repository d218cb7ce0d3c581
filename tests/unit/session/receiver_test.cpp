// Cutting the stream into messages: one in a receive, however odd; several joined; and one that the buffer's end cut.
#include "session/receiver.h"

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <random>
#include <vector>

#include "support/wire.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

constexpr std::size_t kBuffer = 8012;

class Stream {
public:
    // One receive that gives exactly these bytes.
    std::vector<Bytes> Receive(const Bytes& bytes) {
        EXPECT_LE(bytes.size(), receiver_.RoomSize()) << "no receive could give so much";
        std::memcpy(receiver_.Room(), bytes.data(), bytes.size());
        std::vector<Bytes> delivered;
        receiver_.Take(bytes.size(), [&](const unsigned char* message, std::size_t size) {
            delivered.emplace_back(message, message + size);
        });
        return delivered;
    }

    std::size_t Room() const { return receiver_.RoomSize(); }

private:
    Receiver receiver_;
};

// A message of this size; the body tells it from others.
Bytes Of(std::size_t size, unsigned number = 1, unsigned type = 12) {
    Bytes body(size - 8);
    for (std::size_t i = 0; i < body.size(); ++i)
        body[i] = static_cast<unsigned char>(number + i * 3 + i / 200);
    return Message(type, number, 5, body);
}

Bytes Part(const Bytes& bytes, std::size_t from, std::size_t to) {
    return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to));
}

TEST(Receiver, OffersTheWholeBufferToAReceive) {
    Stream stream;
    EXPECT_EQ(stream.Room(), kBuffer);
    stream.Receive(Of(100));
    EXPECT_EQ(stream.Room(), kBuffer);
}

TEST(Receiver, HandsOnOneMessage) {
    Stream stream;
    for (const unsigned type : {2U, 12U, 11U, 1U, 0U, 99U})
        for (const std::size_t size : {8U, 9U, 100U, 8011U, 8012U})
            EXPECT_THAT(stream.Receive(Of(size, 3, type)), ElementsAre(Of(size, 3, type)));
}

TEST(Receiver, HandsOnJoinedMessagesInOrder) {
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(50, 1) + Of(8, 2, 2) + Of(300, 3)), ElementsAre(Of(50, 1), Of(8, 2, 2), Of(300, 3)));
    EXPECT_EQ(stream.Room(), kBuffer);
}

TEST(Receiver, HandsOnMessagesThatFillTheBufferExactly) {
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(4000, 1) + Of(4012, 2)), ElementsAre(Of(4000, 1), Of(4012, 2)));
    EXPECT_EQ(stream.Room(), kBuffer);
    EXPECT_THAT(stream.Receive(Of(20, 3)), ElementsAre(Of(20, 3)));
}

class ReceiverCut : public ::testing::TestWithParam<std::size_t> {};

TEST_P(ReceiverCut, CompletesAMessageThatTheBuffersEndCutOff) {
    const std::size_t inside = GetParam(); // bytes of the second message inside the first receive
    const Bytes first = Of(kBuffer - inside, 1);
    for (const std::size_t size : {8U, 9U, 12U, 500U, 8012U}) {
        if (size <= inside)
            continue;
        const Bytes second = Of(size, 2);
        Stream stream;
        EXPECT_THAT(stream.Receive(first + Part(second, 0, inside)), ElementsAre(first));
        EXPECT_EQ(stream.Room(), kBuffer - inside);
        const Bytes third = Of(16, 3, 2);
        const Bytes rest = Part(second, inside, second.size()) + third;
        if (rest.size() > stream.Room()) {
            const Bytes now = Part(rest, 0, stream.Room());
            EXPECT_THAT(stream.Receive(now), ElementsAre(second));
            EXPECT_THAT(stream.Receive(Part(rest, now.size(), rest.size())), ElementsAre(third));
        } else {
            EXPECT_THAT(stream.Receive(rest), ElementsAre(second, third));
        }
        EXPECT_EQ(stream.Room(), kBuffer);
    }
}

INSTANTIATE_TEST_SUITE_P(InsideBytes, ReceiverCut,
                         ::testing::Values(1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 100, 4000, 8004));

TEST(Receiver, CompletesACutMessageFromSeveralReceives) {
    const Bytes first = Of(8000, 1);
    const Bytes second = Of(600, 2);
    Stream stream;
    EXPECT_THAT(stream.Receive(first + Part(second, 0, 12)), ElementsAre(first));
    EXPECT_THAT(stream.Receive(Part(second, 12, 100)), IsEmpty());
    EXPECT_THAT(stream.Receive(Part(second, 100, 101)), IsEmpty());
    EXPECT_THAT(stream.Receive(Part(second, 101, 600) + Of(9, 3)), ElementsAre(second, Of(9, 3)));
}

TEST(Receiver, CompletesACutHeaderByteByByte) {
    const Bytes first = Of(8011, 1);
    const Bytes second = Of(10, 2);
    Stream stream;
    EXPECT_THAT(stream.Receive(first + Part(second, 0, 1)), ElementsAre(first));
    for (std::size_t i = 1; i < 9; ++i)
        EXPECT_THAT(stream.Receive(Part(second, i, i + 1)), IsEmpty()) << i;
    EXPECT_THAT(stream.Receive(Part(second, 9, 10)), ElementsAre(second));
}

TEST(Receiver, CompletesACutMessageAgainAndAgain) {
    // Every receive ends inside a message.
    Bytes all;
    std::vector<Bytes> messages;
    for (unsigned i = 0; i < 40; ++i) {
        messages.push_back(Of(3001, i));
        all = all + messages.back();
    }
    Stream stream;
    std::vector<Bytes> delivered;
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t n = std::min(stream.Room(), all.size() - at);
        for (Bytes& message : stream.Receive(Part(all, at, at + n)))
            delivered.push_back(std::move(message));
        at += n;
    }
    EXPECT_EQ(delivered, messages);
}

TEST(Receiver, LosesNothingOfAThousandMessagesInBursts) {
    std::mt19937 random(1);
    std::vector<Bytes> messages;
    Bytes all;
    for (unsigned i = 0; i < 1000; ++i) {
        messages.push_back(Of(8 + random() % (i % 20 == 0 ? 8005 : 300), i & 0xff, i % 3 == 0 ? 2 : 12));
        all = all + messages.back();
    }
    Stream stream;
    std::vector<Bytes> delivered;
    std::size_t written = 0; // by the service, always whole messages
    std::size_t next = 0;
    for (std::size_t at = 0; at < all.size();) {
        for (std::size_t burst = 1 + random() % 40; burst > 0 && next < messages.size() && written - at < 60000;
             --burst)
            written += messages[next++].size();
        const std::size_t n = std::min(stream.Room(), written - at);
        for (Bytes& message : stream.Receive(Part(all, at, at + n)))
            delivered.push_back(std::move(message));
        at += n;
    }
    ASSERT_THAT(delivered, SizeIs(1000));
    EXPECT_EQ(delivered, messages);
}

// A receive that ends inside the header of a message behind others, the buffer not full.
class ReceiverCutHeader : public ::testing::TestWithParam<std::size_t> {};

TEST_P(ReceiverCutHeader, CompletesAMessageThatAReceiveEndsInTheHeaderOf) {
    const std::size_t inside = GetParam();
    for (const unsigned type : {2U, 12U})
        for (const std::size_t size : {8U, 9U, 255U, 256U, 7000U, 8012U}) {
            const Bytes first = Of(100, 1);
            const Bytes second = Of(size, 2, type);
            Stream stream;
            EXPECT_THAT(stream.Receive(first + Part(second, 0, inside)), ElementsAre(first)) << type << ' ' << size;
            EXPECT_EQ(stream.Room(), kBuffer - inside);
            EXPECT_THAT(stream.Receive(Part(second, inside, size)), ElementsAre(second)) << type << ' ' << size;
            EXPECT_EQ(stream.Room(), kBuffer);
            EXPECT_THAT(stream.Receive(Of(30, 3)), ElementsAre(Of(30, 3)));
        }
}

TEST_P(ReceiverCutHeader, CompletesTheHeaderFromSeveralReceives) {
    const std::size_t inside = GetParam();
    const Bytes first = Of(60, 1, 2);
    const Bytes second = Of(40, 2);
    Stream stream;
    EXPECT_THAT(stream.Receive(first + Part(second, 0, inside)), ElementsAre(first));
    for (std::size_t i = inside; i < 39; ++i)
        EXPECT_THAT(stream.Receive(Part(second, i, i + 1)), IsEmpty()) << i;
    EXPECT_THAT(stream.Receive(Part(second, 39, 40) + Of(9, 3)), ElementsAre(second, Of(9, 3)));
}

TEST_P(ReceiverCutHeader, CompletesOneBehindACompletedMessage) {
    const std::size_t inside = GetParam();
    const Bytes first = Of(60, 1);
    const Bytes second = Of(40, 2);
    const Bytes third = Of(50, 3, 2);
    Stream stream;
    EXPECT_THAT(stream.Receive(first + Part(second, 0, 20)), ElementsAre(first));
    EXPECT_THAT(stream.Receive(Part(second, 20, 40) + Part(third, 0, inside)), ElementsAre(second));
    EXPECT_THAT(stream.Receive(Part(third, inside, 50)), ElementsAre(third));
}

// Whatever version the service writes, and it writes the same into all of its messages.
TEST_P(ReceiverCutHeader, CompletesAMessageOfAnyVersion) {
    const std::size_t inside = GetParam();
    for (const std::uint8_t version : {std::uint8_t{0}, std::uint8_t{2}, std::uint8_t{255}}) {
        Bytes first = Of(100, 1);
        Bytes second = Of(200, 2);
        first[0] = second[0] = version;
        Stream stream;
        EXPECT_THAT(stream.Receive(first + Part(second, 0, inside)), ElementsAre(first));
        EXPECT_THAT(stream.Receive(Part(second, inside, 200)), ElementsAre(second));
    }
}

TEST_P(ReceiverCutHeader, IgnoresARemainderThatCannotStartAMessage) {
    const std::size_t size = GetParam();
    struct Remainder {
        const char* bytes;
        std::size_t wrong; // the byte that shows it
    };
    const Remainder remainders[] = {
        {"02 0c 02 00 00 28 00 05", 0}, // another version than the message in front
        {"00 00 00 00 00 00 00 00", 0}, //
        {"01 01 02 00 00 28 00 05", 1}, // types that the service does not send
        {"01 0b 02 00 00 28 00 05", 1}, //
        {"01 00 02 00 00 28 00 05", 1}, //
        {"01 0c 02 00 20 00 00 05", 4}, // more than 8,191 bytes long
        {"01 02 02 00 ff 08 00 05", 4}, //
        {"01 0c 02 00 1f 4d 00 05", 5}, // 8,013
        {"01 0c 02 00 00 07 00 05", 5}, // 7
    };
    for (const Remainder& remainder : remainders) {
        if (size <= remainder.wrong)
            continue;
        const Bytes first = Of(100, 1);
        Stream stream;
        EXPECT_THAT(stream.Receive(first + Part(Hex(remainder.bytes), 0, size)), ElementsAre(first));
        EXPECT_EQ(stream.Room(), kBuffer) << remainder.bytes;
        EXPECT_THAT(stream.Receive(Of(30, 3)), ElementsAre(Of(30, 3))) << remainder.bytes;
    }
}

INSTANTIATE_TEST_SUITE_P(Bytes, ReceiverCutHeader, ::testing::Range<std::size_t>(1, 8));

TEST(Receiver, IgnoresARemainderThatStartsNoMessage) {
    const Bytes first = Of(100, 1);
    const Bytes remainders[] = {
        Of(20, 2, 3),                         // a type that the service does not send
        Of(20, 2, 1),                         // a request
        Of(20, 2, 11),                        //
        WithTotalLength(Of(20, 2), 0),        // lengths that are impossible
        WithTotalLength(Of(20, 2), 7),        //
        WithTotalLength(Of(20, 2), 8013),     //
        WithTotalLength(Of(20, 2, 2), 65535), //
        Bytes(500, 0),
        Bytes(3, 12),
    };
    for (const Bytes& remainder : remainders) {
        Stream stream;
        EXPECT_THAT(stream.Receive(first + remainder), ElementsAre(first));
        EXPECT_EQ(stream.Room(), kBuffer);
        EXPECT_THAT(stream.Receive(Of(30, 3)), ElementsAre(Of(30, 3)));
    }
}

TEST(Receiver, IgnoresARemainderThatStartsNoMessageAtTheBuffersEndToo) {
    const Bytes first = Of(7900, 1);
    Stream stream;
    EXPECT_THAT(stream.Receive(first + Bytes(112, 0xee)), ElementsAre(first));
    EXPECT_EQ(stream.Room(), kBuffer);
    EXPECT_THAT(stream.Receive(Of(30, 3)), ElementsAre(Of(30, 3)));
}

TEST(Receiver, IgnoresACutRemainderOnceItIsSeenToStartNoMessage) {
    const Bytes first = Of(8009, 1);
    Stream stream;
    EXPECT_THAT(stream.Receive(first + Hex("01 0c 05")), ElementsAre(first)); // could be a message yet
    EXPECT_EQ(stream.Room(), kBuffer - 3);
    EXPECT_THAT(stream.Receive(Hex("00 00 03 00 00")), IsEmpty()); // of three bytes: it is none
    EXPECT_EQ(stream.Room(), kBuffer);
    EXPECT_THAT(stream.Receive(Of(30, 3)), ElementsAre(Of(30, 3)));
}

TEST(Receiver, HandsOnAShortReceiveWithTheBytesOfEarlierMessages) {
    const Bytes earlier = Of(100, 1);
    const Bytes later = Of(60, 2);
    Stream stream;
    stream.Receive(earlier);
    EXPECT_THAT(stream.Receive(Part(later, 0, 20)), ElementsAre(Part(later, 0, 20) + Part(earlier, 20, 60)));
    EXPECT_EQ(stream.Room(), kBuffer) << "a short receive waits for nothing";
}

TEST(Receiver, HandsOnAShortFirstReceiveWithZeros) {
    Stream stream;
    EXPECT_THAT(stream.Receive(Part(Of(60, 2), 0, 20)), ElementsAre(Part(Of(60, 2), 0, 20) + Bytes(40, 0)));
}

TEST(Receiver, HandsOnLessThanAHeaderWithTheBytesOfEarlierMessages) {
    const Bytes earlier = Of(40, 1, 2);
    Stream stream;
    stream.Receive(earlier);
    EXPECT_THAT(stream.Receive(Hex("01 0c 09")), ElementsAre(Hex("01 0c 09") + Part(earlier, 3, 40)));
    // Without anything earlier the length reads 0, and the message is the whole buffer.
    Stream fresh;
    EXPECT_THAT(fresh.Receive(Hex("01 0c 09")), ElementsAre(Hex("01 0c 09") + Bytes(kBuffer - 3, 0)));
}

TEST(Receiver, HandsOnTheWholeBufferWhereTheLengthIsImpossible) {
    for (const unsigned claim : {0U, 7U, 8013U, 9000U, 65535U}) {
        const Bytes earlier = Of(8012, 1);
        const Bytes odd = WithTotalLength(Of(50, 2), claim);
        Stream stream;
        stream.Receive(earlier);
        EXPECT_THAT(stream.Receive(odd), ElementsAre(odd + Part(earlier, 50, kBuffer))) << claim;
        EXPECT_THAT(stream.Receive(Of(30, 3)), ElementsAre(Of(30, 3)));
    }
}

TEST(Receiver, HandsOnAShortMessageThatFillsTheBuffer) {
    // No message is longer than the buffer, so one that starts it and fills it is whole.
    const Bytes whole = Of(kBuffer, 1);
    Stream stream;
    EXPECT_THAT(stream.Receive(whole), ElementsAre(whole));
    EXPECT_EQ(stream.Room(), kBuffer);
    EXPECT_THAT(stream.Receive(Part(Of(9, 2), 0, 8)), ElementsAre(Part(Of(9, 2), 0, 8) + Part(whole, 8, 9)));
}

} // namespace
