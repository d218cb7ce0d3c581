// What stands around every exported function, and that each is its worker.
#include "api/frame.h"

#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <limits>
#include <new>
#include <thread>

#include "support/library.h"

namespace {

using ::testing::ElementsAre;
using namespace test;

TEST(Exported, ReturnsWhatItsWorkReturns) {
    for (const std::int32_t code : {0, 1, 2, 3, 4, 7, 11, 12, 14, 15, 16, 17, 20, 22, 23, -1, -77})
        EXPECT_EQ(exported("vela_x", [&] { return code; }), code);
    EXPECT_EQ(exported("vela_x", [] { return std::uint32_t{14}; }), 14);
}

TEST(Exported, TurnsAnExceptionForMemoryIntoAFailure) {
    TakeRecords();
    EXPECT_EQ(exported("vela_x", []() -> std::int32_t { throw std::bad_alloc(); }), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_x", "memory use out, malloc failed")));
}

TEST(Exported, IsNoCancellationPointAndGivesTheStateBack) {
    const auto state = [] {
        int now = -1;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &now);
        pthread_setcancelstate(now, nullptr);
        return now;
    };
    int inside = -1;
    exported("vela_x", [&] {
        inside = state();
        return 0;
    });
    EXPECT_EQ(inside, PTHREAD_CANCEL_DISABLE);
    EXPECT_EQ(state(), PTHREAD_CANCEL_ENABLE);
    exported("vela_x", []() -> std::int32_t { throw std::bad_alloc(); });
    EXPECT_EQ(state(), PTHREAD_CANCEL_ENABLE);
}

class ExportedCalls : public Library {};

TEST_F(ExportedCalls, LeadThroughAWholeSession) {
    const tagVELA_SESSION_CFG_T cfg = Config();
    std::uint32_t session = 0;
    std::uint32_t cli = 0;
    char* output = nullptr;
    const Step saved = ScriptReply(Int(0, 18) + Int(1, 0));
    peer.Script({Granted(kSession), ControlReply(Int(1, 6) + Int(2, 0)), CliGranted(9),
                 ScriptReply(Int(0, 18) + Int(1, 0) + Text(9, "clock")), saved, ScriptReply(Int(0, 20) + Int(1, 0)),
                 ControlReply(Int(1, 4) + Int(2, 0))});
    EXPECT_EQ(vela_session_open(&cfg, &session), 0);
    EXPECT_EQ(session, 70000U);
    EXPECT_EQ(vela_session_keepalive(session), 0);
    EXPECT_EQ(vela_cli_open(&cli), 0);
    EXPECT_EQ(cli, 9U);
    EXPECT_EQ(vela_cli_execute(cli, "display clock", "\"a\":\"b\"", &output), 0);
    EXPECT_STREQ(output, "clock");
    EXPECT_EQ(vela_free(output), 0);
    EXPECT_EQ(vela_cli_save(), 0);
    EXPECT_EQ(vela_cli_close(cli), 0);
    EXPECT_EQ(vela_session_close(session), 0);
    EXPECT_EQ(vela_release(), 0);
    EXPECT_EQ(vela_init(), 0);
    EXPECT_EQ(peer.Requests().size(), 7U);
}

TEST_F(ExportedCalls, ReturnTheCodesOfTheirWorkers) {
    const tagVELA_SESSION_CFG_T cfg = Config();
    const tagVELA_SESSION_CFG_T unknown = Config("abc", 7);
    std::uint32_t handle = 5;
    EXPECT_EQ(vela_session_open(&cfg, nullptr), 4);
    EXPECT_EQ(vela_session_open(&unknown, &handle), 7);
    EXPECT_EQ(vela_session_close(0), 14);
    EXPECT_EQ(vela_session_keepalive(0), 14);
    EXPECT_EQ(vela_cli_open(&handle), 14);
    EXPECT_EQ(vela_cli_open(nullptr), 1);
    EXPECT_EQ(vela_cli_execute(1, "x", nullptr, nullptr), 1);
    EXPECT_EQ(vela_cli_save(), 1);
    EXPECT_EQ(vela_cli_close(1), 14);
    LogFiniReturns(3);
    EXPECT_EQ(vela_release(), 1);
    LogFiniReturns(0);
    EXPECT_EQ(vela_release(), 0);
    EXPECT_EQ(vela_session_open(&cfg, &handle), 3);
    LogInitReturns(3);
    EXPECT_EQ(vela_init(), 20);
    EXPECT_EQ(handle, 5U);
}

} // namespace
