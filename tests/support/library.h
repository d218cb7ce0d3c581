// A started library with the test's peer for a service, and on top of it an open session and an open CLI channel: what
// the tests of the exported areas start from.
#pragma once

#include <cstdio>
#include <cstring>

#include "api/cli.h"
#include "api/lifecycle.h"
#include "api/session.h"
#include "support/dispatcher.h"
#include "support/log_library.h"

namespace test {

inline tagVELA_SESSION_CFG_T Config(const char* name = "abc", std::int32_t type = 0) {
    tagVELA_SESSION_CFG_T cfg;
    std::memset(&cfg, 0x7f, sizeof cfg); // what is not read may hold anything
    std::snprintf(cfg.client_name, sizeof cfg.client_name, "%s", name);
    cfg.type = type;
    return cfg;
}

inline Step Granted(std::int32_t session) { return ControlReply(Int(1, 2) + Int(2, 0) + Int(4, session)); }
inline Step CliGranted(std::int32_t handle) { return ScriptReply(Int(0, 16) + Int(1, 0) + Int(6, handle)); }

class Library : public ::testing::Test {
protected:
    static constexpr std::int32_t kSession = 70000; // 0x1170 in the header
    static constexpr std::uint32_t kCli = 0x0a0b0c0d;

    void SetUp() override {
        LogInitReturns(0);
        LogFiniReturns(0);
        ASSERT_EQ(vela_init_imp(), 0);
        Forget();
    }

    void TearDown() override {
        for (const Call call :
             {Call::SemTimedWait, Call::Send, Call::PthreadCreate, Call::PthreadCancel, Call::TlvInit})
            Before(call, nullptr);
        g_session.TerminateReadSocketThread();
        LogFiniReturns(0);
        vela_release_imp();
        g_bSessionIsOpen = 0;
        py_file = nullptr;
        EXPECT_EQ(BrokenSteps(), 0);
    }

    void Forget() {
        TakeRecords();
        ForgetCalls();
        peer.TakeRequests();
    }

    void OpenSession(std::int32_t session = kSession) {
        const tagVELA_SESSION_CFG_T cfg = Config();
        std::uint32_t handle = 0;
        peer.Script({Granted(session)});
        ASSERT_EQ(vela_session_open_imp(&cfg, &handle), 0);
        Forget();
    }

    void OpenCli() {
        OpenSession();
        std::uint32_t handle = 0;
        peer.Script({CliGranted(static_cast<std::int32_t>(kCli))});
        ASSERT_EQ(vela_cli_open_imp(&handle), 0U);
        Forget();
    }

    // What the layers below say of a request that was not sent, or not answered.
    static std::vector<::testing::Matcher<const Record&>> NotSent() {
        return {Says(kError, "SendData", "socket send error"), Says(kError, "SendRequest", "send data failed")};
    }
    static std::vector<::testing::Matcher<const Record&>> NotAnswered() {
        return {Says(kError, "SendRequest", "wait time out")};
    }
    static std::vector<::testing::Matcher<const Record&>> And(std::vector<::testing::Matcher<const Record&>> records,
                                                              const ::testing::Matcher<const Record&>& last) {
        records.push_back(last);
        return records;
    }

    Peer peer;
};

} // namespace test
