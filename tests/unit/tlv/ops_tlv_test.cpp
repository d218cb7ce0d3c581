// The element codec: building, growing, reading, and the two checks of the service's verdict.
#include "tlv/ops_tlv.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <limits>
#include <string>

#include "support/calls.h"
#include "support/records.h"
#include "support/wire.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

TlvPtr Builder() { return TlvPtr(tlv_init(nullptr, 0, 1)); }

Bytes Used(const TLV_S* tlv) { return Bytes(tlv_ptr(tlv), tlv_ptr(tlv) + tlv_len(tlv)); }

// A sequence of elements and a view of it. The bytes live in a block of exactly their size, so that the memory checkers
// see a read past the end.
class Sequence {
public:
    explicit Sequence(const Bytes& bytes)
        : size_(bytes.size()), bytes_(static_cast<char*>(std::malloc(size_ != 0 ? size_ : 1))),
          tlv_(tlv_init(bytes_, static_cast<int>(size_), 0)) {
        std::copy(bytes.begin(), bytes.end(), bytes_);
    }
    ~Sequence() { std::free(bytes_); }
    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;

    TLV_S* Get() const { return tlv_.get(); }
    operator TLV_S*() const { return tlv_.get(); }
    char* At(std::size_t offset) const { return bytes_ + offset; }
    Bytes Content() const { return Bytes(bytes_, bytes_ + size_); }

private:
    std::size_t size_;
    char* bytes_;
    TlvPtr tlv_;
};

class Tlv : public ::testing::Test {
protected:
    void SetUp() override { TakeRecords(); }
};

TEST_F(Tlv, BuilderIsEmptyWithAThousandBytesOfItsOwn) {
    for (const int owns : {1, 0}) {
        const TlvPtr tlv(tlv_init(nullptr, 77, owns));
        ASSERT_NE(tlv, nullptr);
        EXPECT_NE(tlv->buff, nullptr);
        EXPECT_EQ(tlv->capacity, 1000);
        EXPECT_EQ(tlv->used, 0);
        EXPECT_EQ(tlv->owns, 1) << "the third argument is ignored";
    }
}

TEST_F(Tlv, ViewHoldsTheSequenceAsItIs) {
    char bytes[20] = {};
    const TlvPtr tlv(tlv_init(bytes, 20, 0));
    ASSERT_NE(tlv, nullptr);
    EXPECT_EQ(tlv->buff, bytes);
    EXPECT_EQ(tlv->capacity, 20);
    EXPECT_EQ(tlv->used, 20);
    EXPECT_EQ(tlv->owns, 0);
    EXPECT_EQ(tlv_len(tlv.get()), 20);
    EXPECT_EQ(tlv_ptr(tlv.get()), bytes);
}

TEST_F(Tlv, ViewThatOwnsFreesItsBytes) {
    auto* const bytes = static_cast<char*>(std::malloc(20));
    TLV_S* const tlv = tlv_init(bytes, 20, 1); // the leak checker watches
    EXPECT_EQ(tlv->owns, 1);
    tlv_del(tlv);
}

TEST_F(Tlv, HandleThatCannotBeAllocatedIsNullAndLogged) {
    char bytes[20] = {};
    for (char* const from : {static_cast<char*>(nullptr), bytes}) {
        TLV_S* tlv = nullptr;
        {
            const Fail memory(Call::Allocate, ENOMEM);
            tlv = tlv_init(from, 20, 0);
        }
        EXPECT_EQ(tlv, nullptr);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "tlv_init", "tlv_init tlv = NULL")));
    }
}

TEST(TlvDeathTest, StopsOnTheAssertionWhenTheBuildersBufferCannotBeAllocated) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const Fail memory(Call::Allocate, ENOMEM, 2, Fail::kForEver);
            tlv_init(nullptr, 0, 1);
        },
        ::testing::KilledBySignal(SIGABRT),
        "tlv/ops_tlv[^ ]*:79: TLV_S\\* tlv_init\\(char\\*, int, int\\): Assertion `tlv->buff' failed\\.");
}

TEST_F(Tlv, DeletingNothingIsAllowedAndAViewLeavesItsBytesAlone) {
    tlv_del(nullptr);
    char bytes[12];
    const Bytes element = Int(3, 9);
    std::memcpy(bytes, element.data(), sizeof bytes);
    tlv_del(tlv_init(bytes, 12, 0));
    EXPECT_EQ(Bytes(bytes, bytes + 12), element);
}

// tag 5, length 4, "abc" and its NUL; tag 0, length 4, 17; tag 6, length 4, 0xfffffffe; tag -2, length 3, raw bytes;
// tag 1, length 1, an empty text's NUL
TEST_F(Tlv, BuildsElementsWithoutPaddingInHostOrder) {
    const TlvPtr tlv = Builder();
    EXPECT_EQ(tlv_append_str(tlv.get(), 5, "abc"), 0);
    EXPECT_EQ(tlv_append_int(tlv.get(), 0, 17), 0);
    EXPECT_EQ(tlv_append_u32(tlv.get(), 6, 0xfffffffeU), 0);
    EXPECT_EQ(tlv_append_data(tlv.get(), -2, "x\0y", 3), 0);
    EXPECT_EQ(tlv_append_str(tlv.get(), 1, ""), 0);
    EXPECT_EQ(Used(tlv.get()), Hex("05 00 00 00 04 00 00 00 'abc' 00"
                                   "00 00 00 00 04 00 00 00 11 00 00 00"
                                   "06 00 00 00 04 00 00 00 fe ff ff ff"
                                   "fe ff ff ff 03 00 00 00 'x' 00 'y'"
                                   "01 00 00 00 01 00 00 00 00"));
    EXPECT_EQ(tlv_len(tlv.get()), 12 + 12 + 12 + 11 + 9);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Tlv, TheTwoIntegerAppendsAreOneOperation) {
    const TlvPtr one = Builder();
    const TlvPtr other = Builder();
    tlv_append_int(one.get(), 9, -5);
    tlv_append_u32(other.get(), 9, 0xfffffffbU);
    EXPECT_EQ(Used(one.get()), Used(other.get()));
}

TEST_F(Tlv, AppendsRawBytesBehindTheUsedOnes) {
    const TlvPtr tlv = Builder();
    EXPECT_EQ(tlv_append_inner(tlv.get(), "abc", 3), 0);
    EXPECT_EQ(tlv_append_inner(tlv.get(), "de", 2), 0);
    EXPECT_EQ(tlv_append_inner(tlv.get(), "f", 0), 0);
    EXPECT_EQ(Used(tlv.get()), Hex("'abcde'"));
}

TEST_F(Tlv, AppendsNothingToNoHandleAndNoBytes) {
    const TlvPtr tlv = Builder();
    EXPECT_EQ(tlv_append_inner(nullptr, "abc", 3), -1);
    EXPECT_EQ(tlv_append_inner(tlv.get(), nullptr, 3), -1);
    EXPECT_EQ(tlv_len(tlv.get()), 0);
    EXPECT_EQ(tlv_append_data(nullptr, 1, "abc", 3), -3);
    EXPECT_EQ(tlv_append_int(nullptr, 1, 1), -3);
    EXPECT_EQ(tlv_append_u32(nullptr, 1, 1), -3);
    EXPECT_EQ(tlv_append_str(nullptr, 1, "abc"), -3);
    EXPECT_EQ(tlv_append_data(tlv.get(), 1, nullptr, 3), -1) << "tag and length are appended, the value is not";
    EXPECT_EQ(Used(tlv.get()), Hex("01 00 00 00 03 00 00 00"));
}

struct Growth {
    std::int32_t used;
    std::int32_t n;
    std::int32_t capacity;
};
class TlvGrowth : public ::testing::TestWithParam<Growth> {};

TEST_P(TlvGrowth, IsByTheAppendRoundedUpToThousands) {
    const auto [used, n, capacity] = GetParam();
    const TlvPtr tlv = Builder();
    const std::string first(static_cast<std::size_t>(used), 'a');
    const std::string second(static_cast<std::size_t>(n), 'b');
    ASSERT_EQ(tlv_append_inner(tlv.get(), first.data(), used), 0);
    ASSERT_EQ(tlv->capacity, 1000);
    EXPECT_EQ(tlv_append_inner(tlv.get(), second.data(), n), 0);
    EXPECT_EQ(tlv->capacity, capacity);
    EXPECT_EQ(tlv->used, used + n);
    EXPECT_EQ(tlv->owns, 1);
    const Bytes all = Used(tlv.get());
    EXPECT_EQ(std::string(all.begin(), all.end()), first + second);
}

INSTANTIATE_TEST_SUITE_P(Rows, TlvGrowth,
                         ::testing::Values(Growth{0, 1000, 1000}, Growth{0, 1001, 3000}, Growth{0, 2000, 3000},
                                           Growth{0, 2001, 4000}, Growth{999, 1, 1000}, Growth{999, 2, 2000},
                                           Growth{1000, 0, 1000}, Growth{1000, 1, 2000}, Growth{1000, 1000, 2000},
                                           Growth{1000, 1001, 3000}, Growth{1, 8000, 9000}));

TEST_F(Tlv, GrowsToTwoThousandForAnElementBehind995Bytes) {
    const TlvPtr tlv = Builder();
    const std::string filling(995, 'f');
    ASSERT_EQ(tlv_append_inner(tlv.get(), filling.data(), 995), 0);
    EXPECT_EQ(tlv_append_int(tlv.get(), 4, 1), 0);
    EXPECT_EQ(tlv->capacity, 2000);
    EXPECT_EQ(tlv->used, 1007);
}

TEST_F(Tlv, GrowthThatFailsLeavesTheHandleUnchanged) {
    const TlvPtr tlv = Builder();
    const std::string filling(1000, 'f');
    ASSERT_EQ(tlv_append_inner(tlv.get(), filling.data(), 1000), 0);
    char* const before = tlv->buff;
    {
        const Fail memory(Call::Allocate, ENOMEM);
        EXPECT_EQ(tlv_append_inner(tlv.get(), "x", 1), -1);
    }
    EXPECT_EQ(tlv->buff, before);
    EXPECT_EQ(tlv->capacity, 1000);
    EXPECT_EQ(tlv->used, 1000);
    EXPECT_EQ(tlv->owns, 1);
    EXPECT_EQ(tlv_append_inner(tlv.get(), "x", 1), 0);
}

TEST_F(Tlv, AppendOfAnElementCountsThePartsThatFailed) {
    const std::string filling(1000, 'f');
    const std::string value(2000, 'v');
    struct Row {
        int used, first, times, result, length;
    };
    // Room for all but the value; for the tag alone; for nothing, and memory that comes back at a part.
    for (const Row& row : {Row{900, 1, 9, -1, 908}, Row{996, 1, 9, -2, 1000}, Row{1000, 1, 9, -3, 1000},
                           Row{1000, 1, 1, -1, 3004}, Row{1000, 1, 2, -2, 3000}}) {
        const TlvPtr tlv = Builder();
        ASSERT_EQ(tlv_append_inner(tlv.get(), filling.data(), row.used), 0);
        const Fail memory(Call::Allocate, ENOMEM, row.first, row.times);
        EXPECT_EQ(tlv_append_data(tlv.get(), 1, value.data(), 2000), row.result);
        EXPECT_EQ(tlv_len(tlv.get()), row.length);
    }
}

TEST_F(Tlv, AppendToAViewMovesItIntoABufferOfItsOwn) {
    const Bytes element = Int(1, 7);
    const Sequence view(element);
    ASSERT_EQ(tlv_append_int(view, 2, 8), 0);
    EXPECT_NE(tlv_ptr(view), view.At(0));
    EXPECT_EQ(view.Get()->owns, 1);
    EXPECT_EQ(view.Get()->capacity, 12 + 1000);
    EXPECT_EQ(Used(view), element + Int(2, 8));
    EXPECT_EQ(view.Content(), element);
}

TEST_F(Tlv, AppendToAnOwnedViewFreesTheOldBytes) {
    auto* const bytes = static_cast<char*>(std::calloc(1, 12)); // the leak checker watches
    const TlvPtr tlv(tlv_init(bytes, 12, 1));
    EXPECT_EQ(tlv_append_int(tlv.get(), 2, 8), 0);
}

TEST_F(Tlv, FindsTheFirstElementWithTheTag) {
    const Sequence sequence(Text(5, "one") + Int(6, 1) + Text(5, "two") + Data(7, {}) + Int(-1, 3));
    std::int32_t length = -5;
    EXPECT_EQ(tlv_get_data(sequence, 5, &length), sequence.At(8));
    EXPECT_EQ(length, 4);
    EXPECT_EQ(tlv_get_data(sequence, 6, &length), sequence.At(20));
    EXPECT_EQ(length, 4);
    EXPECT_EQ(tlv_get_data(sequence, 7, &length), sequence.At(44));
    EXPECT_EQ(length, 0);
    EXPECT_EQ(tlv_get_data(sequence, -1, &length), sequence.At(52));
    EXPECT_EQ(tlv_get_data(sequence, 8, &length), nullptr);
    EXPECT_STREQ(tlv_get_str(sequence, 5), "one");
    EXPECT_EQ(tlv_get_str(sequence, 8), nullptr);
}

TEST_F(Tlv, FindsNothingWithoutBytes) {
    tagTlv empty{nullptr, 0, 0, 0};
    tagTlv lying{nullptr, 100, 100, 0};
    std::int32_t length = 0;
    EXPECT_EQ(tlv_get_data(&empty, 0, &length), nullptr);
    EXPECT_EQ(tlv_get_data(&lying, 0, &length), nullptr);
    EXPECT_EQ(tlv_get_str(&lying, 0), nullptr);
    EXPECT_EQ(tlv_get_int(&lying, 0), -1);
    const TlvPtr builder = Builder();
    EXPECT_EQ(tlv_get_data(builder.get(), 0, &length), nullptr);
}

TEST_F(Tlv, ReturnsAnElementAsItStandsWhateverItsLengthClaims) {
    const Sequence past(Int(1, 1) + Claims(2, 5000, Hex("'ab'")));
    std::int32_t length = 0;
    EXPECT_EQ(tlv_get_data(past, 2, &length), past.At(20));
    EXPECT_EQ(length, 5000);
    EXPECT_EQ(tlv_get_str(past, 2), past.At(20));
    const Sequence negative(Claims(2, -3, Hex("'ab'")));
    EXPECT_EQ(tlv_get_data(negative, 2, &length), negative.At(8));
    EXPECT_EQ(length, -3);
}

TEST_F(Tlv, LookupStopsAtANegativeLength) {
    std::int32_t length = 0;
    for (const std::int32_t claim : {-1, -8, -20, std::numeric_limits<std::int32_t>::min()}) {
        const Sequence sequence(Int(1, 1) + Claims(2, claim, Int(3, 9)));
        EXPECT_EQ(tlv_get_data(sequence, 3, &length), nullptr) << claim;
        EXPECT_EQ(tlv_get_int(sequence, 1), 1);
    }
}

TEST_F(Tlv, LookupStopsWhereALengthRunsPastTheEnd) {
    std::int32_t length = 0;
    for (const std::int32_t claim : {13, 100, std::numeric_limits<std::int32_t>::max()}) {
        const Sequence sequence(Claims(2, claim, Int(3, 9)));
        EXPECT_EQ(tlv_get_data(sequence, 3, &length), nullptr) << claim;
    }
}

TEST_F(Tlv, LookupStopsWhereFewerThanEightBytesAreLeft) {
    const Bytes whole = Int(1, 1) + Int(2, 2);
    std::int32_t length = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Sequence sequence(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_EQ(tlv_get_data(sequence, 2, &length) != nullptr, size >= 20) << size;
        EXPECT_EQ(tlv_get_data(sequence, 9, &length), nullptr) << size;
    }
}

TEST_F(Tlv, LooksOnlyAtTheUsedBytes) {
    const TlvPtr tlv = Builder();
    tlv_append_int(tlv.get(), 1, 1);
    tlv_append_int(tlv.get(), 2, 2);
    tlv->used = 12;
    EXPECT_EQ(tlv_check_int(tlv.get(), 1), 1);
    EXPECT_EQ(tlv_check_int(tlv.get(), 2), 0);
}

TEST_F(Tlv, ReadsAnIntegerOfFourBytesOnly) {
    const Sequence sequence(Int(1, 123456) + Data(2, Hex("01 00")) + Int(3, -1) + Data(4, Hex("01 00 00 00 00")) +
                            Data(5, {}) + Int(6, std::numeric_limits<std::int32_t>::min()));
    struct Row {
        std::int32_t tag, value, present;
    };
    for (const Row& row : {Row{1, 123456, 1}, Row{2, -1, 0}, Row{3, -1, 1}, Row{4, -1, 0}, Row{5, -1, 0},
                           Row{6, std::numeric_limits<std::int32_t>::min(), 1}, Row{7, -1, 0}}) {
        EXPECT_EQ(tlv_get_int(sequence, row.tag), row.value) << row.tag;
        EXPECT_EQ(tlv_check_int(sequence, row.tag), row.present) << row.tag;
        std::uint32_t out = 99;
        EXPECT_EQ(tlv_get_u32(sequence, row.tag, &out), row.present == 1 ? 0 : -1) << row.tag;
        EXPECT_EQ(out, row.present == 1 ? static_cast<std::uint32_t>(row.value) : 99U) << row.tag;
        EXPECT_EQ(tlv_get_u32(sequence, row.tag, nullptr), -2) << row.tag;
    }
}

TEST_F(Tlv, ReadsTheFirstOfTwoIntegersEvenWhenOnlyTheSecondHasFourBytes) {
    const Sequence sequence(Data(1, Hex("01 00")) + Int(1, 5));
    EXPECT_EQ(tlv_get_int(sequence, 1), -1);
    EXPECT_EQ(tlv_check_int(sequence, 1), 0);
}

TEST_F(Tlv, TreatsAnIntegerThatRunsPastTheEndAsMissing) {
    for (std::size_t left = 0; left < 4; ++left) {
        const Sequence sequence(Claims(1, 4, Bytes(left, 7)));
        std::uint32_t out = 99;
        EXPECT_EQ(tlv_get_int(sequence, 1), -1);
        EXPECT_EQ(tlv_get_u32(sequence, 1, &out), -1);
        EXPECT_EQ(tlv_check_int(sequence, 1), 0);
        EXPECT_EQ(out, 99U);
    }
}

TEST_F(Tlv, ReadsUnalignedIntegers) {
    for (std::size_t shift = 0; shift < 4; ++shift) {
        const Sequence sequence(Data(9, Bytes(shift, 'x')) + Int(1, 0x01020304));
        EXPECT_EQ(tlv_get_int(sequence, 1), 0x01020304);
    }
}

TEST_F(Tlv, TellsWhetherAValueLiesInside) {
    const Sequence sequence(Int(1, 1));
    TLV_S* const tlv = sequence;
    EXPECT_TRUE(tlv_value_is_inside(tlv, sequence.At(8), 4));
    EXPECT_TRUE(tlv_value_is_inside(tlv, sequence.At(8), 0));
    EXPECT_TRUE(tlv_value_is_inside(tlv, sequence.At(12), 0));
    EXPECT_FALSE(tlv_value_is_inside(tlv, sequence.At(8), 5));
    EXPECT_FALSE(tlv_value_is_inside(tlv, sequence.At(8), -1));
    EXPECT_FALSE(tlv_value_is_inside(tlv, sequence.At(8), std::numeric_limits<std::int32_t>::max()));
    EXPECT_FALSE(tlv_value_is_inside(tlv, sequence.At(8), std::numeric_limits<std::int32_t>::min()));
}

TEST_F(Tlv, ReadsATextOnlyWithItsNulInside) {
    struct Row {
        Bytes element;
        const char* text;
    };
    const Row rows[] = {
        {Text(1, "abc"), "abc"},
        {Text(1, ""), ""},
        {Data(1, Hex("'ab' 00 'cd'")), "ab"},         // what follows the NUL is not the text's
        {Data(1, Hex("'abc'")), nullptr},             // no NUL
        {Data(1, {}), nullptr},                       // nothing at all
        {Claims(1, 9, Hex("'abc' 00")), nullptr},     // past the end
        {Claims(1, -1, Hex("'abc' 00")), nullptr},    // negative
        {Data(1, Hex("'abc'")) + Int(0, 0), nullptr}, // the next element's zeros do not end it
        {Text(2, "abc"), nullptr},
    };
    for (const Row& row : rows) {
        const Sequence sequence(row.element);
        EXPECT_STREQ(tlv_get_text(sequence, 1), row.text);
    }
}

TEST_F(Tlv, CopiesTheSequenceToTheHeap) {
    const TlvPtr tlv = Builder();
    tlv_append_str(tlv.get(), 1, "abc");
    std::int32_t length = 0;
    char* const copy = tlv_dup(tlv.get(), &length);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, tlv_ptr(tlv.get()));
    EXPECT_EQ(Bytes(copy, copy + length), Text(1, "abc"));
    std::free(copy);
}

TEST_F(Tlv, CopyWithoutMemoryIsNull) {
    const TlvPtr tlv = Builder();
    tlv_append_str(tlv.get(), 1, "abc");
    std::int32_t length = 0;
    const Fail memory(Call::Allocate, ENOMEM);
    EXPECT_EQ(tlv_dup(tlv.get(), &length), nullptr);
}

// ---- the checks of the service's verdict ----

struct Verdict {
    std::int32_t result;
    std::string text; // all 100 bytes and eight beyond; '#' where nothing was written
};

Verdict OpsCheck(TLV_S* reply, std::int32_t expected) {
    char text[kErrorTextSize + 8];
    std::memset(text, '#', sizeof text);
    const std::int32_t result = ops_check_err(reply, expected, text);
    return {result, std::string(text, sizeof text)};
}

std::string Written(std::string bytes) {
    bytes.resize(kErrorTextSize + 8, '#');
    return bytes;
}

struct VerdictRow {
    const char* name;
    Bytes reply;
    std::int32_t result;
    std::string written;
};
class OpsVerdict : public ::testing::TestWithParam<VerdictRow> {};

TEST_P(OpsVerdict, IsTheAcknowledgementAndTheReturnCode) {
    const Sequence reply(GetParam().reply);
    const Verdict verdict = OpsCheck(reply, 12);
    EXPECT_EQ(verdict.result, GetParam().result);
    EXPECT_EQ(verdict.text, Written(GetParam().written));
}

const std::string kWrongAck("ack cmd is error!\0", 18);

INSTANTIATE_TEST_SUITE_P(
    Replies, OpsVerdict,
    ::testing::Values(
        VerdictRow{"Accepted", Int(0, 12) + Int(1, 0), 1, ""},
        VerdictRow{"AcceptedInAnyOrder", Int(1, 0) + Text(2, "ignored") + Int(0, 12), 1, ""},
        VerdictRow{"OtherCommand", Int(0, 13) + Int(1, 0), 0, kWrongAck},
        VerdictRow{"OtherCommandBeforeTheReturnCode", Int(0, 11) + Int(1, 5) + Text(2, "no"), 0, kWrongAck},
        VerdictRow{"NoCommand", Int(1, 0), 0, kWrongAck},
        VerdictRow{"ShortCommand", Data(0, Hex("0c 00")) + Int(1, 0), 0, kWrongAck},
        VerdictRow{"Nothing", {}, 0, kWrongAck},
        VerdictRow{"Refused", Int(0, 12) + Int(1, 5) + Text(2, "no such file"), 0, std::string("no such file\0", 13)},
        VerdictRow{"RefusedWithANegativeCode", Int(0, 12) + Int(1, -7) + Text(2, "x"), 0, std::string("x\0", 2)},
        VerdictRow{"RefusedWithAnEmptyText", Int(0, 12) + Int(1, 5) + Text(2, ""), 0, std::string("\0", 1)},
        VerdictRow{"NoReturnCode", Int(0, 12) + Text(2, "why"), 0, std::string("why\0", 4)},
        VerdictRow{"NinetyNineCharacters", Int(0, 12) + Int(1, 5) + Text(2, std::string(99, 'e')), 0,
                   std::string(99, 'e') + std::string(1, '\0')},
        VerdictRow{"HundredCharacters", Int(0, 12) + Int(1, 5) + Text(2, std::string(100, 'e')), 0,
                   std::string(99, 'e')},
        VerdictRow{"HundredAndFiftyCharacters", Int(0, 12) + Int(1, 5) + Text(2, std::string(150, 'e')), 0,
                   std::string(99, 'e')}),
    [](const auto& row) { return row.param.name; });

TEST(OpsVerdictText, OfMoreThan99CharactersIsCutInTheReplyItself) {
    const std::string text(150, 'e');
    const Sequence reply(Int(0, 12) + Int(1, 5) + Text(2, text));
    OpsCheck(reply, 12);
    EXPECT_EQ(std::string(reply.At(32)), std::string(99, 'e'));
    EXPECT_EQ(*reply.At(32 + 100), 'e');
    const Sequence shorter(Int(0, 12) + Int(1, 5) + Text(2, std::string(99, 'e')));
    const Bytes before = shorter.Content();
    OpsCheck(shorter, 12);
    EXPECT_EQ(shorter.Content(), before);
}

TEST(OpsVerdictText, ThatIsMissingOrHasNoNulIsNoText) {
    for (const Bytes& text : {Bytes{}, Data(2, Hex("'abc'")), Claims(2, 400, Hex("'abc' 00")), Data(2, {})}) {
        const Sequence reply(Int(0, 12) + Int(1, 5) + text);
        char out[kErrorTextSize] = {};
        EXPECT_EQ(ops_check_err(reply, 12, out), 0);
        EXPECT_STREQ(out, "(null)");
    }
}

TEST(RpcVerdict, IsTheResultCodeWhateverTheTypeAndKind) {
    struct Row {
        Bytes reply;
        std::int32_t result;
    };
    const Row rows[] = {
        {Int(1, 40) + Int(2, 30) + Int(3, 0), 0},
        {Int(1, 99) + Int(2, 98) + Int(3, 0), 0},
        {Int(3, 0), 0},
        {Int(1, 40) + Int(2, 30) + Int(3, 5), 5},
        {Int(1, 40) + Int(2, 30) + Int(3, -9), -9},
        {Int(1, 40) + Int(2, 30), -1},
        {Data(3, Hex("00 00")), -1},
        {Int(1, 99) + Int(2, 98) + Int(3, 7), 7},
        {{}, -1},
    };
    for (const Row& row : rows) {
        const Sequence reply(row.reply);
        EXPECT_EQ(rpc_check_err(reply, 30, 40), row.result);
    }
}

} // namespace
