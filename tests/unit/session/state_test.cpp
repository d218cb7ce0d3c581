// The process-wide state at load, and the run of the send ids.
#include "session/state.h"

#include <gtest/gtest.h>

namespace {

TEST(State, IsZeroAtLoadButForTheSendId) {
    EXPECT_EQ(g_bVelaIsInit, 0);
    EXPECT_EQ(g_bSessionIsOpen, 0);
    EXPECT_EQ(g_sessionId, 0);
    EXPECT_EQ(g_sendId, 1);
    EXPECT_EQ(g_bCliIsOpen, 0);
    EXPECT_EQ(g_uiCliHdl, 0U);
    EXPECT_EQ(file_name[0], '\0');
    EXPECT_EQ(sizeof file_name, 120U);
    EXPECT_EQ(py_file, nullptr);
    EXPECT_EQ(sizeof g_bVelaIsInit, 1U);
    EXPECT_EQ(sizeof g_bSessionIsOpen, 1U);
    EXPECT_EQ(sizeof g_sessionId, 2U);
    EXPECT_EQ(sizeof g_sendId, 1U);
    EXPECT_EQ(sizeof g_bCliIsOpen, 1U);
    EXPECT_EQ(sizeof g_uiCliHdl, 4U);
}

TEST(SendId, RunsFromOneTo255AndThenThroughZero) {
    g_sendId = 1;
    for (int request = 1; request <= 255; ++request)
        ASSERT_EQ(take_send_id(), request);
    EXPECT_EQ(take_send_id(), 0) << "the 256th request";
    EXPECT_EQ(take_send_id(), 1);
    EXPECT_EQ(g_sendId, 2);
}

} // namespace
