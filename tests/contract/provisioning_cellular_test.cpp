// The cellular dial-up: its commands, results and records, written out by hand for every way that goes well and for
// some that fail, and worked out by the oracle for a failure at every step.
#include <array>

#include "provisioning.h"

namespace provisioning {
namespace {

using Cellular = ProvisioningTest;

const CellularArguments dial_up = {{}, "quornet", "joe", "s3cret", 1};

// What opening types: up to the APN profile, in it, and from there to the end; on a router that has only the list.
const auto open_to_profile = lines(R"(
    return
    return
    system-view
    dns resolve
    display this
    ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0
    acl name vela_Cellular0/0/0_acl
    display this
    rule permit ip
    quit
    dialer-rule
    dialer-rule 96 ip permit
    quit
    apn profile vela_apn_Cellular0/0/0_profile)");
const auto open_in_profile = lines(R"(
    user name joe password cipher s3cret authentication-mode pap
    apn quornet)");
const auto open_from_profile = lines(R"(
    quit
    interface Cellular0/0/0
    dialer enable-circular
    dialer-group 96
    apn-profile vela_apn_Cellular0/0/0_profile
    display this
    dialer number *99# autodial
    display acl all
    display this
    nat outbound 3998
    return)");

// What closing types on a router that has everything.
const auto close_everything = lines(R"(
    return
    return
    system-view
    interface Cellular0/0/0
    display this
    undo dialer enable-circular
    display acl all
    display this
    undo nat outbound 3998
    quit
    undo dns resolve
    display this
    undo ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0
    display acl all
    undo acl name vela_Cellular0/0/0_acl
    display apn-profile configuration
    undo apn profile vela_apn_Cellular0/0/0_profile
    dialer-rule
    display this
    undo dialer-rule 96
    return)");

// And on one that has nothing.
const auto close_nothing = lines(R"(
    return
    return
    system-view
    interface Cellular0/0/0
    display this
    display acl all
    quit
    undo dns resolve
    display this
    display acl all
    display apn-profile configuration
    dialer-rule
    display this
    return)");
const auto said_of_nothing = lines(R"(
    3 get_vela_acl_num Advanced ACL vela_Cellular0/0/0_acl  does not exsit
    6 vela_cellular_close_imp vela_Cellular0/0/0_acl not exsit)");

std::vector<std::string> in_own_channel(const std::vector<std::string>& commands) {
    return std::vector<std::string>{"(open)"} + commands + std::vector<std::string>{"(close)"};
}

// Opening -----------------------------------------------------------------------------------------------------------

TEST_F(Cellular, OpensInAChannelOfItsOwn) {
    expect_outcome(cellular_open(dial_up), {CellularRouter{}.table()},
                   {0, in_own_channel(open_to_profile + open_in_profile + open_from_profile), {opened, closed}, false});
}

TEST_F(Cellular, OpensInTheChannelThatIsOpenAndLeavesItOpen) {
    expect_outcome(cellular_open(dial_up), {CellularRouter{}.table(), true, true},
                   {0, open_to_profile + open_in_profile + open_from_profile, {}, true});
}

TEST_F(Cellular, OpensTheInterfaceByItsName) {
    CellularArguments named = dial_up;
    named.interface = "Cellular0/0/0";
    expect_outcome(cellular_open(named), {CellularRouter{}.table(), true, true},
                   {0, open_to_profile + open_in_profile + open_from_profile, {}, true});
}

TEST_F(Cellular, ConfiguresTheCredentialsAndTheApnThatAreGiven) {
    struct Row {
        Text apn;
        Text user;
        Text password;
        std::vector<std::string> in_profile;
    };
    const std::string credentials = "user name joe password cipher s3cret authentication-mode pap";
    const std::vector<Row> rows = {
        {{}, {}, {}, {}},
        {{}, {}, "", {}},
        {{}, {}, "s3cret", {}},
        {{}, "", {}, {}},
        {{}, "", "", {}},
        {{}, "", "s3cret", {}},
        {{}, "joe", {}, {}},
        {{}, "joe", "", {}},
        {{}, "joe", "s3cret", {credentials}},
        {"", {}, {}, {}},
        {"", "", "", {}},
        {"", "joe", "", {}},
        {"", "", "s3cret", {}},
        {"", "joe", "s3cret", {credentials}},
        {"quornet", {}, {}, {"apn quornet"}},
        {"quornet", "", "", {"apn quornet"}},
        {"quornet", "joe", {}, {"apn quornet"}},
        {"quornet", "joe", "", {"apn quornet"}},
        {"quornet", {}, "s3cret", {"apn quornet"}},
        {"quornet", "", "s3cret", {"apn quornet"}},
        {"quornet", "joe", "s3cret", {credentials, "apn quornet"}},
        {"a b'\"c", " ", "\xff%s", {"user name   password cipher \xff%s authentication-mode pap", "apn a b'\"c"}},
    };
    for (const Row& row : rows)
        expect_outcome(cellular_open({{}, row.apn, row.user, row.password, 1}), {CellularRouter{}.table(), true, true},
                       {0, open_to_profile + row.in_profile + open_from_profile, {}, true});
}

TEST_F(Cellular, NamesTheAuthenticationMode) {
    const std::vector<std::pair<int, std::string>> rows = {{0, "auto"}, {1, "pap"},   {2, "auto"},   {3, "chap"},
                                                           {4, "chap"}, {-1, "chap"}, {256, "chap"}, {1 << 30, "chap"}};
    for (const auto& [mode, text] : rows) {
        const std::vector<std::string> in_profile = {"user name joe password cipher s3cret authentication-mode " + text,
                                                     "apn quornet"};
        expect_outcome(cellular_open({{}, "quornet", "joe", "s3cret", mode}), {CellularRouter{}.table(), true, true},
                       {0, open_to_profile + in_profile + open_from_profile, {}, true});
    }
}

TEST_F(Cellular, DoesNotAddTheLinesThatAreThere) {
    expect_outcome(cellular_open(dial_up), {everything().table(), true, true},
                   {0,
                    lines(R"(
        return
        return
        system-view
        dns resolve
        display this
        acl name vela_Cellular0/0/0_acl
        display this
        quit
        dialer-rule
        dialer-rule 96 ip permit
        quit
        apn profile vela_apn_Cellular0/0/0_profile
        user name joe password cipher s3cret authentication-mode pap
        apn quornet
        quit
        interface Cellular0/0/0
        dialer enable-circular
        dialer-group 96
        apn-profile vela_apn_Cellular0/0/0_profile
        display this
        display acl all
        display this
        return)"),
                    {},
                    true});
}

TEST_F(Cellular, ReadsFourDigitsOfTheListsNumber) {
    const std::vector<std::pair<std::string, std::string>> rows = {{"3998, 1 rule", "3998"},
                                                                   {"30001, 1 rule", "3000"},
                                                                   {"12 rules", "12"},
                                                                   {"7, 1 rule", "7"},
                                                                   {" 42, 1 rule", "42"},
                                                                   {"none", "0"},
                                                                   {"39", "39"},
                                                                   {"", "0"}};
    for (const auto& [number, read] : rows) {
        Circumstances circumstances{CellularRouter{}.table(), true, true};
        circumstances.table.Print("display acl all", "Advanced ACL vela_Cellular0/0/0_acl " + number);
        auto from_profile = open_from_profile;
        from_profile[from_profile.size() - 2] = "nat outbound " + read;
        expect_outcome(cellular_open(dial_up), circumstances,
                       {0, open_to_profile + open_in_profile + from_profile, {}, true});
    }
}

// Closing -----------------------------------------------------------------------------------------------------------

TEST_F(Cellular, ClosesInAChannelOfItsOwn) {
    expect_outcome(cellular_close({}), {everything().table()},
                   {0, in_own_channel(close_everything), {opened, closed}, false});
}

TEST_F(Cellular, ClosesInTheChannelThatIsOpenAndLeavesItOpen) {
    expect_outcome(cellular_close("Cellular0/0/0"), {everything().table(), true, true},
                   {0, close_everything, {}, true});
}

TEST_F(Cellular, CloseRemovesNothingWhereNothingIs) {
    expect_outcome(cellular_close({}), {nothing().table(), true, true}, {0, close_nothing, said_of_nothing, true});
}

TEST_F(Cellular, CloseRemovesWhatIsLeft) {
    CellularRouter half = nothing();
    half.route = true;
    half.profile = true;
    expect_outcome(cellular_close({}), {half.table(), true, true},
                   {0, lines(R"(
        return
        return
        system-view
        interface Cellular0/0/0
        display this
        display acl all
        quit
        undo dns resolve
        display this
        undo ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0
        display acl all
        display apn-profile configuration
        undo apn profile vela_apn_Cellular0/0/0_profile
        dialer-rule
        display this
        return)"),
                    said_of_nothing, true});
}

TEST_F(Cellular, CloseSucceedsWithoutTheListAndLeavesItsTranslation) {
    CellularRouter without_list = everything();
    without_list.acl = false;
    auto commands = close_everything;
    commands.erase(commands.begin() + 7, commands.begin() + 9);   // the translation's probe and removal
    commands.erase(commands.begin() + 12, commands.begin() + 13); // the list's removal
    expect_outcome(cellular_close({}), {without_list.table(), true, true}, {0, commands, said_of_nothing, true});
}

// Failures, by hand -------------------------------------------------------------------------------------------------

TEST_F(Cellular, TakesEverythingDownWhenTheInterfaceDoesNotTakeTheProfile) {
    Circumstances circumstances{everything().table()};
    circumstances.table.At("apn-profile vela_apn_Cellular0/0/0_profile", test::RejectsPrinting("Error: busy"));
    expect_outcome(cellular_open(dial_up), circumstances,
                   {1,
                    in_own_channel(lines(R"(
            return
            return
            system-view
            dns resolve
            display this
            acl name vela_Cellular0/0/0_acl
            display this
            quit
            dialer-rule
            dialer-rule 96 ip permit
            quit
            apn profile vela_apn_Cellular0/0/0_profile
            user name joe password cipher s3cret authentication-mode pap
            apn quornet
            quit
            interface Cellular0/0/0
            dialer enable-circular
            dialer-group 96
            apn-profile vela_apn_Cellular0/0/0_profile)") +
                                   close_everything + lines("return")),
                    lines(R"(
            6 vela_cli_open_imp cli open success, cli handle = 168496141
            3 vela_cli_execute_imp refused,command = apn-profile vela_apn_Cellular0/0/0_profile, choice = (null), result = Error: busy
            3 vela_cellular_open_imp apn-profile vela_apn_Cellular0/0/0_profile, result = Error: busy
            6 vela_cli_close_imp cli close success, cli handle = 168496141)"),
                    false});
}

TEST_F(Cellular, ReportsAFailedRollback) {
    Circumstances circumstances{everything().table(), true, true};
    circumstances.table.At("dns resolve", test::Rejects());
    circumstances.table.At("undo dns resolve", test::RejectsPrinting("Error: no"));
    expect_outcome(cellular_open(dial_up), circumstances,
                   {1, lines(R"(
            return
            return
            system-view
            dns resolve
            return
            return
            system-view
            interface Cellular0/0/0
            display this
            undo dialer enable-circular
            display acl all
            display this
            undo nat outbound 3998
            quit
            undo dns resolve
            return
            return)"),
                    lines(R"(
            3 vela_cli_execute_imp refused,command = dns resolve, choice = (null), result = (null)
            3 vela_cellular_open_imp dns resolve
            3 vela_cli_execute_imp refused,command = undo dns resolve, choice = (null), result = Error: no
            3 vela_cellular_close_imp undo dns resolve
            3 vela_cellular_open_imp rollback failed)"),
                    true});
}

TEST_F(Cellular, OpeningFailsWithoutASessionAndSoDoesItsRollback) {
    expect_outcome(cellular_open(dial_up), {{}, false},
                   {1,
                    {},
                    lines(R"(
            3 vela_cli_open_imp session not open
            3 cli_channel_process cli open failed
            3 vela_cellular_open_imp cli_channel_process
            3 vela_cli_open_imp session not open
            3 cli_channel_process cli open failed
            3 vela_cellular_close_imp cli_channel_process
            3 vela_cellular_open_imp rollback failed)"),
                    false});
}

TEST_F(Cellular, ClosingFailsWithoutASession) {
    expect_outcome(cellular_close({}), {{}, false},
                   {1,
                    {},
                    lines(R"(
            3 vela_cli_open_imp session not open
            3 cli_channel_process cli open failed
            3 vela_cellular_close_imp cli_channel_process)"),
                    false});
}

TEST_F(Cellular, TheRollbackOpensAChannelWhereNoneCouldBeOpened) {
    Circumstances circumstances{nothing().table()};
    circumstances.table.AtNth(0, test::Rejects());
    expect_outcome(cellular_open(dial_up), circumstances,
                   {1, lines("(open)") + in_own_channel(close_nothing),
                    lines(R"(
            3 vela_cli_open_imp refused
            3 cli_channel_process cli open failed
            3 vela_cellular_open_imp cli_channel_process
            6 vela_cli_open_imp cli open success, cli handle = 168496141)") +
                        said_of_nothing + lines(closed),
                    false});
}

// A probe that is refused is one that finds nothing.
TEST_F(Cellular, AddsTheLineWhoseProbeIsRefused) {
    Circumstances circumstances{everything().table(), true, true};
    circumstances.table.AtNth(4, test::RejectsPrinting("Error: later"));
    auto commands = open_to_profile;
    commands.erase(commands.begin() + 8); // the rule, which is there
    auto from_profile = open_from_profile;
    from_profile.erase(from_profile.begin() + 9); // the translation
    from_profile.erase(from_profile.begin() + 6); // the number
    expect_outcome(cellular_open(dial_up), circumstances,
                   {0, commands + open_in_profile + from_profile, lines(R"(
            3 vela_cli_execute_imp refused,command = display this, choice = (null), result = Error: later
            3 check_rule_exsit display this, result = Error: later)"),
                    true});
}

TEST_F(Cellular, AFailedReturnOrCloseAtTheEndIsAFailure) {
    Circumstances circumstances{nothing().table()};
    circumstances.table.AtNth(14, test::Rejects());
    circumstances.table.At("(close)", test::Rejects());
    expect_outcome(cellular_close({}), circumstances,
                   {1, in_own_channel(close_nothing), lines(opened) + said_of_nothing + lines(R"(
            3 vela_cli_execute_imp refused,command = return, choice = (null), result = (null)
            3 vela_cellular_close_imp return
            3 vela_cli_close_imp refused
            3 vela_cellular_close_imp vela_cli_close)"),
                    true});
}

// The record of each failing command of opening, in the order of the commands; none where the call goes on.
TEST_F(Cellular, RecordsEveryFailureOfOpeningInItsOwnWords) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"(open)", "cli_channel_process"},
        {"return", "cli_channel_process"},
        {"return", "entry system mode"},
        {"system-view", "entry system mode"},
        {"dns resolve", "dns resolve"},
        {"display this", ""},
        {"ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0"},
        {"acl name vela_Cellular0/0/0_acl", "acl name vela_Cellular0/0/0_acl, result = E!"},
        {"display this", ""},
        {"rule permit ip", "rule permit ip"},
        {"quit", "quit, quit ACL mode"},
        {"dialer-rule", "dialer-rule, Enter Dialer-rule mode"},
        {"dialer-rule 96 ip permit", "dialer-rule 96 ip permit"},
        {"quit", "quit, quit Dialer-rule mode"},
        {"apn profile vela_apn_Cellular0/0/0_profile", "apn profile vela_apn_Cellular0/0/0_profile, result = E!"},
        {"user name joe password cipher s3cret authentication-mode pap",
         "user name joe password cipher s3cret authentication-mode pap"},
        {"apn quornet", "apn quornet"},
        {"quit", "quit, quit apn profile mode"},
        {"interface Cellular0/0/0", "interface Cellular0/0/0"},
        {"dialer enable-circular", "dialer enable-circular"},
        {"dialer-group 96", "dialer-group 96"},
        {"apn-profile vela_apn_Cellular0/0/0_profile", "apn-profile vela_apn_Cellular0/0/0_profile, result = E!"},
        {"display this", ""},
        {"dialer number *99# autodial", "dialer number *99# autodial"},
        {"display acl all", "search_vela_acl_id failed"},
        {"display this", ""},
        {"nat outbound 3998", "nat outbound 3998, result = E!"},
        {"return", "return, Enter <Tarkon> mode"},
        {"(close)", "vela_cli_close"},
    };
    for (std::size_t nth = 0; nth < rows.size(); ++nth) {
        const auto& [command, record] = rows[nth];
        SCOPED_TRACE("request " + std::to_string(nth) + ": " + command);
        Circumstances circumstances{CellularRouter{}.table()};
        circumstances.table.AtNth(nth, test::RejectsPrinting("E!"));
        const Outcome outcome = run(cellular_open(dial_up), circumstances);
        ASSERT_GT(outcome.sent.size(), nth);
        EXPECT_EQ(outcome.sent[nth], command);
        std::string first;
        for (const std::string& said : outcome.said)
            if (first.empty() && said.rfind("3 vela_cellular_open_imp ", 0) == 0)
                first = said;
        EXPECT_EQ(first, record.empty() ? "" : "3 vela_cellular_open_imp " + record);
        EXPECT_EQ(outcome.code, record.empty() ? 0 : 1);
    }
}

TEST_F(Cellular, RecordsEveryFailureOfClosingInItsOwnWords) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"(open)", "3 vela_cellular_close_imp cli_channel_process"},
        {"return", "3 vela_cellular_close_imp cli_channel_process"},
        {"return", "3 vela_cellular_close_imp entry system mode"},
        {"system-view", "3 vela_cellular_close_imp entry system mode"},
        {"interface Cellular0/0/0", "3 vela_cellular_close_imp interface Cellular0/0/0"},
        {"display this", ""},
        {"undo dialer enable-circular", "3 vela_cellular_close_imp undo dialer enable-circular"},
        {"display acl all", "6 vela_cellular_close_imp vela_Cellular0/0/0_acl not exsit"},
        {"display this", ""},
        {"undo nat outbound 3998", "3 vela_cellular_close_imp undo nat outbound 3998"},
        {"quit", "3 vela_cellular_close_imp quit, quit = interface Cellular0/0/0"},
        {"undo dns resolve", "3 vela_cellular_close_imp undo dns resolve"},
        {"display this", ""},
        {"undo ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0",
         "3 vela_cellular_close_imp undo ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0"},
        {"display acl all", ""},
        {"undo acl name vela_Cellular0/0/0_acl", "6 vela_cellular_close_imp undo acl name vela_Cellular0/0/0_acl"},
        {"display apn-profile configuration", ""},
        {"undo apn profile vela_apn_Cellular0/0/0_profile",
         "3 vela_cellular_close_imp undo apn profile vela_apn_Cellular0/0/0_profile, result = E!"},
        {"dialer-rule", "3 vela_cellular_close_imp dialer-rule, Enter Dialer-rule mode"},
        {"display this", ""},
        {"undo dialer-rule 96", "3 vela_cellular_close_imp undo dialer-rule 96, result = E!"},
        {"return", "3 vela_cellular_close_imp return"},
        {"(close)", "3 vela_cellular_close_imp vela_cli_close"},
    };
    for (std::size_t nth = 0; nth < rows.size(); ++nth) {
        const auto& [command, record] = rows[nth];
        SCOPED_TRACE("request " + std::to_string(nth) + ": " + command);
        Circumstances circumstances{everything().table()};
        circumstances.table.AtNth(nth, test::RejectsPrinting("E!"));
        const Outcome outcome = run(cellular_close({}), circumstances);
        ASSERT_GT(outcome.sent.size(), nth);
        EXPECT_EQ(outcome.sent[nth], command);
        std::vector<std::string> own;
        for (const std::string& said : outcome.said)
            if (said.find(" vela_cellular_close_imp ") != std::string::npos)
                own.push_back(said);
        EXPECT_EQ(own, record.empty() ? std::vector<std::string>() : std::vector<std::string>{record});
        // What is looked for and not found is no failure.
        EXPECT_EQ(outcome.code, record.empty() || command == "display acl all" ? 0 : 1);
    }
}

// Failures, worked out ----------------------------------------------------------------------------------------------

TEST_F(Cellular, DoesWhatEachCombinationOfLinesAsksFor) {
    for (unsigned bits = 0; bits < 256; ++bits) {
        SCOPED_TRACE("combination " + std::to_string(bits));
        const Circumstances circumstances{combination(bits).table(), true, bits % 2 == 0};
        ASSERT_TRUE(does_as_worked_out(cellular_open(dial_up), circumstances));
        ASSERT_TRUE(does_as_worked_out(cellular_close({}), circumstances));
    }
}

struct Situation {
    const char* name;
    CellularRouter router;
    bool channel_is_open;
};
std::ostream& operator<<(std::ostream& out, const Situation& situation) { return out << situation.name; }

CellularRouter half_there() {
    CellularRouter half = everything();
    half.route = half.autodial = half.circular = half.profile = false;
    return half;
}
CellularRouter other_half() {
    CellularRouter half;
    half.route = half.autodial = half.circular = half.profile = true;
    return half;
}

class CellularIn : public Cellular, public testing::WithParamInterface<Situation> {
protected:
    Circumstances circumstances() const { return {GetParam().router.table(), true, GetParam().channel_is_open}; }
};

TEST_P(CellularIn, OpeningFailsAtEveryStepAsDescribed) { fail_at_every_step(cellular_open(dial_up), circumstances()); }

TEST_P(CellularIn, ClosingFailsAtEveryStepAsDescribed) { fail_at_every_step(cellular_close({}), circumstances()); }

TEST_P(CellularIn, TheRollbackFailsAtEveryStepAsDescribed) {
    const Outcome clean = expected(cellular_open(dial_up), circumstances());
    const std::size_t last = clean.sent.size() - (GetParam().channel_is_open ? 2 : 3);
    for (const std::size_t first : {std::size_t{0}, std::size_t{12}, last})
        fail_twice(cellular_open(dial_up), circumstances(), first);
}

TEST_P(CellularIn, TheServiceHangsUpAtEveryStep) {
    EXPECT_EQ(hang_up_at_every_step(cellular_open(dial_up), circumstances()), std::vector<std::string>());
    // A lost probe finds nothing. Behind the last one nothing more is sent, and a channel that is gone is left alone.
    const auto unnoticed =
        GetParam().channel_is_open ? std::vector<std::string>{"display this"} : std::vector<std::string>();
    EXPECT_EQ(hang_up_at_every_step(cellular_close({}), circumstances()), unnoticed);
}

INSTANTIATE_TEST_SUITE_P(Router, CellularIn,
                         testing::Values(Situation{"WithTheListInAnOwnChannel", CellularRouter{}, false},
                                         Situation{"WithTheList", CellularRouter{}, true},
                                         Situation{"WithNothing", nothing(), false},
                                         Situation{"WithEverythingInAnOwnChannel", everything(), false},
                                         Situation{"WithEverything", everything(), true},
                                         Situation{"WithOneHalf", half_there(), true},
                                         Situation{"WithTheOtherHalf", other_half(), false}),
                         [](const auto& row) { return row.param.name; });

} // namespace
} // namespace provisioning
