// A session with an open CLI channel to a router that answers from a table: what the tests of the single steps of the
// provisioning recipes start from.
#pragma once

#include <string>
#include <vector>

#include "support/library.h"
#include "support/scripted_router.h"

namespace test {

class ScriptedCli : public Library {
protected:
    using Lines = std::vector<std::string>;

    void SetUp() override {
        Library::SetUp();
        OpenCli();
        static_assert(kCli == kRouterHandle);
        peer.AlwaysAnswer(router.AsStep());
    }

    // From here on the router answers so; what was sent and said is forgotten.
    void Play(const CliTable& table) {
        router.Play(table);
        Forget();
    }

    Lines Sent() const { return router.Sent(); }
    static Lines Said() { return LinesOf(Records()); }

    // The record of a command that the router refuses.
    static std::string Refused(const std::string& command, const std::string& output = "(null)",
                               const std::string& choice = "(null)") {
        return "3 vela_cli_execute_imp refused,command = " + command + ", choice = " + choice + ", result = " + output;
    }

    ScriptedRouter router;
};

} // namespace test
