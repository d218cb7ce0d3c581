// The frames of requests and replies: building, what does not fit, and viewing.
#include "api/operation.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <string>

#include "session/state.h"
#include "support/calls.h"
#include "support/records.h"
#include "support/wire.h"

namespace {

using ::testing::ElementsAre;
using namespace test;

class OperationFrame : public ::testing::Test {
protected:
    void SetUp() override {
        g_sendId = 42;
        g_sessionId = 0x1170;
        TakeRecords();
    }

    static Bytes BytesOf(const Frame& frame, std::size_t size) {
        Bytes bytes(size);
        std::memcpy(bytes.data(), static_cast<const tagMSG_DATA*>(&frame), size);
        return bytes;
    }

    // Not even the tag 0 of which the memory behind the message is full.
    static bool FindsNothing(const TlvPtr& view) {
        std::int32_t length = 0;
        return tlv_get_data(view.get(), 0, &length) == nullptr && tlv_get_int(view.get(), 0) == -1 &&
               tlv_get_text(view.get(), 0) == nullptr;
    }

    // Elements whose sequence is this long; at least 9.
    static void FillTo(Elements& elements, std::size_t length) {
        elements.Text(1, std::string(length - 9, 't').c_str());
    }
};

TEST_F(OperationFrame, ReadsAsAnEmptyMessageAtFirst) {
    Frame frame;
    EXPECT_EQ(BytesOf(frame, 8), Bytes(8, 0));
    EXPECT_TRUE(FindsNothing(view_operation(frame)));
    EXPECT_TRUE(FindsNothing(view_session_control(frame)));
}

// version 1, type 11, send id 42, total length 20 (0x0014), session 0x1170, kind 4, body length 12 (0x000c), all in
// host order; then tag 7, length 0... an int of 3
TEST_F(OperationFrame, HoldsAnOperationInHostOrder) {
    Elements elements;
    elements.Int(7, 3);
    Frame frame;
    ASSERT_TRUE(fill_operation(frame, BODY_QUERY, elements));
    EXPECT_EQ(BytesOf(frame, 24), Hex("01 0b 2a 00 18 00 70 11 04 00 10 00 07 00 00 00 04 00 00 00 03 00 00 00"));
    EXPECT_EQ(g_sendId, 43);
    Elements script;
    ASSERT_TRUE(fill_operation(frame, BODY_SCRIPT, script));
    EXPECT_EQ(BytesOf(frame, 12), Hex("01 0b 2b 00 0c 00 70 11 01 00 04 00"));
}

TEST_F(OperationFrame, HoldsASessionControlMessageInHostOrder) {
    Elements elements;
    elements.Int(1, 3);
    Frame frame;
    ASSERT_TRUE(fill_session_control(frame, 0x0203, elements));
    EXPECT_EQ(BytesOf(frame, 20), Hex("01 01 2a 00 14 00 03 02 01 00 00 00 04 00 00 00 03 00 00 00"));
    EXPECT_EQ(g_sendId, 43);
}

TEST_F(OperationFrame, TakesElementsUpToItsEnd) {
    for (const bool control : {false, true}) {
        const std::size_t room = control ? 8004 : 8000;
        g_sendId = 42;
        Frame frame;
        Elements fitting;
        FillTo(fitting, room);
        EXPECT_TRUE(control ? fill_session_control(frame, 1, fitting) : fill_operation(frame, BODY_SCRIPT, fitting));
        EXPECT_EQ(frame.totalLength, 8012);
        EXPECT_EQ(frame.body[8003], 0);
        EXPECT_EQ(frame.body[8002], 't');
        EXPECT_EQ(g_sendId, 43);
    }
}

TEST_F(OperationFrame, RefusesElementsThatDoNotFitAndTakesNoSendId) {
    for (const std::size_t beyond : {1U, 5U, 57000U, 58000U, 70000U}) {
        for (const bool control : {false, true}) {
            Frame frame;
            Elements elements;
            FillTo(elements, (control ? 8004 : 8000) + beyond);
            EXPECT_FALSE(control ? fill_session_control(frame, 1, elements)
                                 : fill_operation(frame, BODY_SCRIPT, elements));
            EXPECT_EQ(g_sendId, 42);
        }
    }
}

TEST_F(OperationFrame, RefusesElementsOfWhichAnAppendFailed) {
    Frame frame;
    Elements elements;
    elements.Text(1, nullptr).Int(2, 3);
    EXPECT_TRUE(elements.Failed());
    EXPECT_FALSE(fill_operation(frame, BODY_SCRIPT, elements));
    EXPECT_FALSE(fill_session_control(frame, 1, elements));
    EXPECT_EQ(g_sendId, 42);
}

TEST_F(OperationFrame, KeepsElementsInTheirOrder) {
    Elements elements;
    EXPECT_TRUE(elements.HasBuffer());
    EXPECT_FALSE(elements.Failed());
    elements.Text(5, "ab").U32(6, 0xffffffffU).Int(0, -2).Text(1, "");
    EXPECT_FALSE(elements.Failed());
    const TLV_S* const tlv = elements.Get();
    EXPECT_EQ(Bytes(tlv->buff, tlv->buff + tlv->used), Text(5, "ab") + Int(6, -1) + Int(0, -2) + Text(1, ""));
}

TEST_F(OperationFrame, SaysThatElementsHaveNoBuffer) {
    const Fail memory(Call::TlvInit, ENOMEM);
    Elements elements;
    EXPECT_FALSE(elements.HasBuffer());
}

TEST_F(OperationFrame, ViewsTheElementsBehindTheHeaderOrTheFixedPart) {
    Frame frame;
    frame.totalLength = 8 + 4 + 24;
    const Bytes body = Hex("01 00 00 1c") + Int(1, 11) + Int(2, 22);
    std::memcpy(frame.body, body.data(), body.size());
    EXPECT_EQ(tlv_get_int(view_operation(frame).get(), 2), 22);
    EXPECT_EQ(tlv_len(view_operation(frame).get()), 24);
    EXPECT_EQ(tlv_ptr(view_operation(frame).get()), reinterpret_cast<char*>(frame.body + 4));
    std::memcpy(frame.body, body.data() + 4, 24);
    frame.totalLength = 8 + 24;
    EXPECT_EQ(tlv_get_int(view_session_control(frame).get(), 2), 22);
    EXPECT_EQ(tlv_len(view_session_control(frame).get()), 24);
}

TEST_F(OperationFrame, FindsNothingInAMessageWithoutABody) {
    for (const int length : {0, 7, 8, 11, 12, 19}) {
        Frame frame;
        std::memset(frame.body, 0, 100);
        frame.totalLength = static_cast<std::uint16_t>(length);
        EXPECT_TRUE(FindsNothing(view_operation(frame))) << length;
        if (length < 16) {
            EXPECT_TRUE(FindsNothing(view_session_control(frame))) << length;
        }
    }
}

TEST_F(OperationFrame, ViewsNothingWithoutMemoryAndSaysSo) {
    Frame frame;
    for (const auto view : {&view_operation, &view_session_control}) {
        TlvPtr tlv;
        {
            const Fail memory(Call::Allocate, ENOMEM);
            tlv = view(frame);
        }
        EXPECT_EQ(tlv, nullptr);
        EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "tlv_init", "tlv_init tlv = NULL")));
    }
}

TEST_F(OperationFrame, KnowsTheClientsNameOnlyWhenThereIsOne) {
    py_file = nullptr;
    EXPECT_FALSE(has_client_name());
    py_file = "";
    EXPECT_FALSE(has_client_name());
    py_file = "sdkclient000100000001";
    EXPECT_TRUE(has_client_name());
    py_file = nullptr;
}

} // namespace
