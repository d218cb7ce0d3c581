// Cutting the stream into messages: one in a receive, however odd; several joined; one that a receive's end cut; and
// what follows a message whose length is wrong.
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
        alone_.clear();
        receiver_.Take(bytes.size(), [&](const unsigned char* message, std::size_t size, bool alone) {
            delivered.emplace_back(message, message + size);
            alone_.push_back(alone);
        });
        return delivered;
    }

    std::size_t Room() const { return receiver_.RoomSize(); }

    // Of the last receive's messages: which had nothing beside them.
    const std::vector<bool>& Alone() const { return alone_; }

private:
    std::vector<bool> alone_;
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
    // Of three bytes: it is none. What came is a receive of its own, with the bytes of earlier messages behind it.
    EXPECT_THAT(stream.Receive(Hex("00 00 03 00 00")), SizeIs(1));
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

// ---- after a message whose length is wrong ----

// A message that claims so many bytes less than it has.
Bytes Understating(const Bytes& message, unsigned by) {
    return WithTotalLength(message, static_cast<unsigned>(message.size()) - by);
}

// What may be left of a message behind its claimed end: every byte value, and what looks like the start of a message.
std::vector<Bytes> Leftovers() {
    std::vector<Bytes> leftovers;
    for (unsigned byte = 0; byte < 256; ++byte)
        leftovers.push_back(Bytes(1, static_cast<unsigned char>(byte)));
    for (const char* bytes :
         {"01 0c", "01 02", "01 0c 07", "01 0c 07 00", "01 0c 07 00 00", "01 0c 07 00 1f", "01 0c 07 00 00 40",
          "01 02 07 00 1f 4c", "01 0c 07 00 00 40 00", "01 0c 07 00 1f 40 00 05", "01 02 00 00 00 40 00 00",
          "01 01 01 01 01 01 01 01", "0c 01 0c 01 0c 01 0c 01 0c", "00 00 01", "00 01 0c 00 00 ff 00"})
        leftovers.push_back(Hex(bytes));
    return leftovers;
}

TEST(Receiver, HandsOnWhatComesAfterALeftover) {
    for (const Bytes& leftover : Leftovers()) {
        const Bytes whole = Of(60, 1) + leftover;
        const Bytes broken = WithTotalLength(whole, 60);
        Stream stream;
        ASSERT_THAT(stream.Receive(broken), ElementsAre(Part(broken, 0, 60))) << ::testing::PrintToString(leftover);
        ASSERT_THAT(stream.Receive(Of(40, 2)), ElementsAre(Of(40, 2))) << ::testing::PrintToString(leftover);
        ASSERT_EQ(stream.Room(), kBuffer);
        ASSERT_THAT(stream.Alone(), ElementsAre(true));
    }
}

TEST(Receiver, HandsOnEveryMessageOfTheReceiveAfterALeftover) {
    for (const Bytes& leftover : Leftovers()) {
        Stream stream;
        stream.Receive(Of(60, 1) + leftover);
        ASSERT_THAT(stream.Receive(Of(40, 2) + Of(8, 3, 2) + Of(300, 4)),
                    ElementsAre(Of(40, 2), Of(8, 3, 2), Of(300, 4)))
            << ::testing::PrintToString(leftover);
    }
}

TEST(Receiver, HandsOnWhatIsJoinedToALeftoverThatIsNoStartOfAMessage) {
    for (const Bytes& leftover : Leftovers()) {
        const bool looksLikeAStart = leftover.size() >= 2 && leftover[0] == 1 && leftover[1] != 1;
        if (looksLikeAStart)
            continue; // what stands behind it may be the rest of it
        Stream stream;
        ASSERT_THAT(stream.Receive(Of(60, 1) + leftover + Of(40, 2) + Of(50, 3)),
                    ElementsAre(Of(60, 1), Of(40, 2), Of(50, 3)))
            << ::testing::PrintToString(leftover);
        ASSERT_EQ(stream.Room(), kBuffer);
    }
}

TEST(Receiver, IsInStepAgainAfterAnyUnderstatement) {
    for (unsigned by = 1; by <= 52; ++by)
        for (const unsigned filler : {0U, 1U, 2U, 12U, 255U}) {
            const Bytes broken = Understating(Message(12, 1, 5, Bytes(52, static_cast<unsigned char>(filler))), by);
            Stream stream;
            ASSERT_THAT(stream.Receive(broken), ElementsAre(Part(broken, 0, 60 - by)));
            ASSERT_THAT(stream.Receive(Of(40, 2)), ElementsAre(Of(40, 2))) << by << ' ' << filler;
        }
}

TEST(Receiver, LosesNoReplyToJunkThatClaimsThousandsOfBytes) {
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(30, 1) + Hex("01 0c 07 00 1f 40 00 05")), ElementsAre(Of(30, 1)));
    for (unsigned i = 0; i < 300; ++i)
        ASSERT_THAT(stream.Receive(Of(30, i & 0xff, 2)), ElementsAre(Of(30, i & 0xff, 2))) << i;
}

TEST(Receiver, LosesNoReplyToJunkBehindEveryOtherOne) {
    Stream stream;
    for (unsigned i = 0; i < 300; ++i) {
        const Bytes reply = Of(30, i & 0xff);
        const bool afterJunk = i % 2 == 1;
        ASSERT_THAT(stream.Receive(afterJunk ? reply : reply + Hex("01 0c 07 00 1f 40 00 05")), ElementsAre(reply))
            << i;
    }
}

TEST(Receiver, StartsAfreshWithAReceiveThatEndsInsideAMessageOnceTheHeldBytesCanBeNone) {
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(30, 1) + Hex("01")), ElementsAre(Of(30, 1)));
    // 01 01 is no message, 01 alone could have been one.
    EXPECT_THAT(stream.Receive(Of(40, 2) + Part(Of(50, 3), 0, 20)), ElementsAre(Of(40, 2)));
    EXPECT_THAT(stream.Receive(Part(Of(50, 3), 20, 50)), ElementsAre(Of(50, 3)));
}

TEST(Receiver, GoesOnWithHeldBytesThatAreExactWithWhatComes) {
    // Held: a header that claims 8 bytes more than the next receive has. Both readings are exact: it is one message.
    const Bytes inside = Of(40, 2);
    const Bytes whole = Message(12, 9, 5, inside);
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(30, 1) + Part(whole, 0, 8)), ElementsAre(Of(30, 1)));
    EXPECT_THAT(stream.Receive(inside), ElementsAre(whole));
    EXPECT_THAT(stream.Alone(), ElementsAre(false));
}

TEST(Receiver, CompletesAMessageCutAnywhereWhateverItsBodyHolds) {
    // A body of headers: wherever it is cut, its second half must not be taken for messages of its own.
    Bytes body;
    for (int i = 0; i < 12; ++i)
        body = body + Hex("01 0c 07 00 00 40 00 05");
    const Bytes whole = Message(12, 9, 5, body);
    for (std::size_t inside = 1; inside < whole.size(); ++inside) {
        Stream stream;
        ASSERT_THAT(stream.Receive(Of(30, 1) + Part(whole, 0, inside)), ElementsAre(Of(30, 1)));
        ASSERT_THAT(stream.Receive(Part(whole, inside, whole.size())), ElementsAre(whole)) << inside;
        ASSERT_THAT(stream.Receive(Of(40, 2)), ElementsAre(Of(40, 2)));
    }
}

TEST(Receiver, CountsNoCutChainBehindALeftover) {
    // Behind the leftover stands a whole message and the start of another: it may be anything that looks so.
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(60, 1) + Hex("00") + Of(40, 2) + Part(Of(50, 3), 0, 49)), ElementsAre(Of(60, 1)));
    EXPECT_EQ(stream.Room(), kBuffer) << "nothing is held of it";
    EXPECT_THAT(stream.Receive(Of(30, 4)), ElementsAre(Of(30, 4)));
}

TEST(Receiver, HandsOnTheFirstExactChainBehindALeftover) {
    // The chain begins with the first place from which messages reach the end, not with the last.
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(60, 1) + Hex("ff ff") + Of(8, 2) + Of(8, 3, 2) + Of(8, 4)),
                ElementsAre(Of(60, 1), Of(8, 2), Of(8, 3, 2), Of(8, 4)));
}

TEST(Receiver, LooksForMessagesBehindLaterOnesToo) {
    Stream stream;
    EXPECT_THAT(stream.Receive(Of(60, 1) + Of(40, 2) + Hex("00 01") + Of(50, 3)),
                ElementsAre(Of(60, 1), Of(40, 2), Of(50, 3)));
    // And behind one that was completed.
    EXPECT_THAT(stream.Receive(Of(60, 1) + Part(Of(40, 2), 0, 30)), ElementsAre(Of(60, 1)));
    EXPECT_THAT(stream.Receive(Part(Of(40, 2), 30, 40) + Hex("00 01") + Of(50, 3)), ElementsAre(Of(40, 2), Of(50, 3)));
}

TEST(Receiver, TakesOnlyPlausibleMessagesBehindALeftover) {
    struct Row {
        const char* what;
        Bytes behind;
        bool isMessage;
    };
    Bytes otherVersion = Of(20, 2);
    otherVersion[0] = 2;
    const Row rows[] = {
        {"an operation's reply", Of(20, 2), true},
        {"a control reply", Of(20, 2, 2), true},
        {"only a header", Of(8, 2), true},
        {"the largest that fits", Of(kBuffer - 61, 2), true},
        {"another version", otherVersion, false},
        {"a request", Of(20, 2, 11), false},
        {"a control request", Of(20, 2, 1), false},
        {"type 0", Of(20, 2, 0), false},
        {"one byte too few", WithTotalLength(Of(20, 2), 19), false},
        {"one byte too many", WithTotalLength(Of(20, 2), 21), false},
        {"less than a header", WithTotalLength(Of(20, 2), 7), false},
        {"too long", WithTotalLength(Of(20, 2), 8013), false},
    };
    for (const Row& row : rows) {
        Stream stream;
        const std::vector<Bytes> delivered = stream.Receive(Of(60, 1) + Hex("ff") + row.behind);
        if (row.isMessage)
            EXPECT_THAT(delivered, ElementsAre(Of(60, 1), row.behind)) << row.what;
        else
            EXPECT_THAT(delivered, ElementsAre(Of(60, 1))) << row.what;
        EXPECT_EQ(stream.Room(), kBuffer);
    }
}

TEST(Receiver, TakesTheVersionOfTheConnectionsFirstMessage) {
    Bytes first = Of(30, 1);
    Bytes second = Of(40, 2);
    first[0] = second[0] = 3;
    Stream stream;
    EXPECT_THAT(stream.Receive(first), ElementsAre(first));
    // A message of another version is handed on by itself, and says nothing of those to come.
    EXPECT_THAT(stream.Receive(Of(50, 4)), ElementsAre(Of(50, 4)));
    EXPECT_THAT(stream.Receive(first + second), ElementsAre(first, second));
    EXPECT_THAT(stream.Receive(first + Of(50, 4)), ElementsAre(first));
}

TEST(Receiver, TellsWhatWasAloneInItsReceive) {
    Stream stream;
    stream.Receive(Of(30, 1));
    EXPECT_THAT(stream.Alone(), ElementsAre(true));
    stream.Receive(Of(30, 1) + Of(30, 2));
    EXPECT_THAT(stream.Alone(), ElementsAre(false, false));
    stream.Receive(WithTotalLength(Of(30, 1), 31)); // more than came
    EXPECT_THAT(stream.Alone(), ElementsAre(true));
    stream.Receive(WithTotalLength(Of(30, 1), 9000));
    EXPECT_THAT(stream.Alone(), ElementsAre(true));
    stream.Receive(WithTotalLength(Of(30, 1), 29)); // a byte is left over
    EXPECT_THAT(stream.Alone(), ElementsAre(false));
    stream.Receive(Of(30, 1) + Part(Of(30, 2), 0, 10));
    EXPECT_THAT(stream.Alone(), ElementsAre(false));
    stream.Receive(Part(Of(30, 2), 10, 30)); // begun behind another
    EXPECT_THAT(stream.Alone(), ElementsAre(false));
}

} // namespace
