// See the header.
#include "provisioning.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sstream>

#include "qel_api.h"

namespace provisioning {

namespace {

using test::CliTable;

// A record's text is at most this long, without its quotes.
constexpr std::size_t longest_record = 3071;

const char* pointer(const Text& text) { return text ? text->c_str() : nullptr; }

// A record that fills its room may have been cut: what it does say must be right.
void shorten_like(const std::vector<test::Record>& records, Outcome& expected) {
    for (std::size_t i = 0; i < std::min(records.size(), expected.said.size()); ++i)
        if (records[i].text.size() == longest_record + 2)
            expected.said[i].resize(std::min(expected.said[i].size(), test::LineOf(records[i]).size()));
}

std::string line_with(bool is_there, const std::string& line) { return is_there ? " " + line + "\n" : ""; }

} // namespace

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> read;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const auto start = line.find_first_not_of(' ');
        if (start == std::string::npos)
            continue;
        line.erase(0, start);
        const std::string blank = "<blank>";
        if (line.size() >= blank.size() && line.compare(line.size() - blank.size(), blank.size(), blank) == 0)
            line.replace(line.size() - blank.size(), blank.size(), " ");
        read.push_back(line);
    }
    return read;
}

std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& then) {
    first.insert(first.end(), then.begin(), then.end());
    return first;
}

// The calls ---------------------------------------------------------------------------------------------------------

Call cellular_open(CellularArguments arguments) {
    return {[arguments] {
                return vela_cellular_open(pointer(arguments.interface), pointer(arguments.apn), pointer(arguments.user),
                                          pointer(arguments.password),
                                          static_cast<tagCELLULAR_AUTH_MODE>(arguments.auth_mode));
            },
            [arguments](Oracle& oracle) { return oracle.cellular_open(arguments); }};
}

Call cellular_close(Text interface) {
    return {[interface] { return vela_cellular_close(pointer(interface)); },
            [interface](Oracle& oracle) { return oracle.cellular_close(interface); }};
}

Call create_ap(ApArguments arguments) {
    return {[arguments] {
                return vela_wlan_create_ap(pointer(arguments.radio), arguments.vap, pointer(arguments.ssid),
                                           pointer(arguments.pass_phrase), arguments.address.c_str(),
                                           arguments.mask.c_str());
            },
            [arguments](Oracle& oracle) { return oracle.wlan_create_ap(arguments); }};
}

Call delete_ap(Text radio, std::uint32_t vap) {
    return {[radio, vap] { return vela_wlan_delete_ap(pointer(radio), vap); },
            [radio, vap](Oracle& oracle) { return oracle.wlan_delete_ap(radio, vap); }};
}

// The router --------------------------------------------------------------------------------------------------------

CliTable CellularRouter::table() const {
    const std::string shown = "#\n" + line_with(route, "ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0") +
                              line_with(permit, "rule 5 permit ip") +
                              line_with(autodial, "dialer number *99# autodial") + line_with(nat, "nat outbound 3998") +
                              line_with(circular, "dialer enable-circular") +
                              line_with(dialer_rule, "dialer-rule 96 ip permit") + "return\n";
    const std::string acls =
        "Total nonempty ACL number is 1\n" + line_with(true, "Advanced ACL other 3001, 0 rule").substr(1) +
        (acl ? "Advanced ACL vela_Cellular0/0/0_acl 3998, 1 rule\nAcl's step is 5\n rule 5 permit ip\n" : "");
    const std::string profiles =
        std::string("-----\n") +
        (profile ? "profile-name       :vela_apn_Cellular0/0/0_profile\napn                :quornet\n" : "");
    return CliTable{{"display this", shown},
                    {"display acl all", acls},
                    {"display apn-profile configuration", profiles},
                    {"acl name vela_Cellular0/0/0_acl", "Info: the ACL is there."}};
}

CellularRouter everything() { return combination(0xff); }
CellularRouter nothing() { return combination(0); }

CellularRouter combination(unsigned bits) {
    const auto bit = [bits](unsigned n) { return (bits >> n & 1U) != 0; };
    return {bit(0), bit(1), bit(2), bit(3), bit(4), bit(5), bit(6), bit(7)};
}

CliTable WlanRouter::table() const {
    CliTable table{{"display this", radio},
                   {"display service-set all", service_sets},
                   {"display security-profile all", profiles},
                   {"service-set name test wlan ? ", "  INTEGER<1-16>  WLAN ID\n"},
                   {"display vlan ?", "  INTEGER<1-4094>  VLAN ID\n  brief            Brief\n"},
                   {"display vlan", vlans},
                   {"display vlan brief", vlan_brief},
                   {"interface Wlan-Bss ?", "  <1-32>  Wlan-Bss interface number\n"},
                   {"display interface ?", interface_kinds},
                   {"display interface ? ", interface_kinds},
                   {"display interface Vlanif | include current state", vlanifs}};
    if (!bss.empty())
        table.Print("display interface Wlan-Bss | include Wlan-Bss", bss);
    if (!bss_descriptions.empty())
        table.Print("display interface Wlan-Bss | include Wlan-Bss|Description", bss_descriptions);
    return table;
}

WlanRouter& WlanRouter::with_access_point(std::uint32_t vap, const std::string& ssid, int vlan, int bss_number,
                                          bool secured) {
    char line[160];
    const auto add = [&line](std::string& to) { to += line; };
    std::snprintf(line, sizeof line, " service-set id %d wlan %u\n", static_cast<int>(vap) - 1, vap);
    add(radio);
    std::snprintf(line, sizeof line, "vela_service_set_%u_0%*s%s\n", vap,
                  32 - std::snprintf(nullptr, 0, "vela_service_set_%u_0", vap), "", ssid.c_str());
    add(service_sets);
    std::snprintf(line, sizeof line, "vela_secf_%u_Wlan-Radio0/0/0\n", vap);
    if (secured)
        add(profiles);
    std::snprintf(line, sizeof line, "%-8dcommon  enable\n", vlan);
    add(vlans);
    std::snprintf(line, sizeof line, "%-4d  vela_vlan_%u_0 enable\n", vlan, vap);
    add(vlan_brief);
    std::snprintf(line, sizeof line, "Vlanif%d current state : UP\n", vlan);
    add(vlanifs);
    std::snprintf(line, sizeof line, "Wlan-Bss%d current state : UP\n", bss_number);
    add(bss);
    add(bss_descriptions);
    std::snprintf(line, sizeof line, "Description:vela_wlan_bss_%u_Wlan-Radio0/0/0\n", vap);
    add(bss_descriptions);
    if (interface_kinds.find("Wlan-Bss interface") == std::string::npos)
        interface_kinds += "  Wlan-Bss   Wlan-Bss interface\n";
    return *this;
}

// The fixture -------------------------------------------------------------------------------------------------------

void ProvisioningTest::SetUp() {
    static_assert(kCli == test::kRouterHandle);
    test::Library::SetUp();
    reopen_session();
}

void ProvisioningTest::reopen_session() {
    peer.AlwaysAnswer(nullptr);
    ASSERT_NO_FATAL_FAILURE(OpenSession());
    peer.AlwaysAnswer(router_.AsStep());
}

Outcome ProvisioningTest::expected(const Call& call, const Circumstances& circumstances) {
    Oracle oracle(circumstances);
    return call.work_out(oracle);
}

Outcome ProvisioningTest::run(const Call& call, const Circumstances& circumstances) {
    const std::uint32_t stale_handle = 0x77777777;
    router_.Play(circumstances.table);
    g_bSessionIsOpen = circumstances.session_is_open;
    g_bCliIsOpen = circumstances.channel_is_open;
    g_uiCliHdl = circumstances.channel_is_open ? test::kRouterHandle : stale_handle;
    Forget();
    std::size_t sends = 0;
    test::Before(test::Call::Send, [&] {
        if (sends++ != circumstances.hang_up_at)
            return;
        peer.HangUp();
        EXPECT_TRUE(test::SawTheHangUp());
    });
    Outcome outcome;
    outcome.code = call.make();
    test::Before(test::Call::Send, nullptr);
    // The call does not wait for the request that is not answered.
    const std::size_t lost = sends > circumstances.hang_up_at ? 1 : 0;
    EXPECT_TRUE(test::Eventually([&] { return router_.Sent().size() + lost == sends; }));
    outcome.sent = router_.Sent();
    outcome.said = test::LinesOf(test::Records());
    outcome.channel_is_open = g_bCliIsOpen != 0;
    return outcome;
}

void ProvisioningTest::expect_outcome(const Call& call, const Circumstances& circumstances, const Outcome& outcome) {
    EXPECT_EQ(expected(call, circumstances), outcome) << "the oracle";
    EXPECT_EQ(run(call, circumstances), outcome) << "the library";
}

bool ProvisioningTest::does_as_worked_out(const Call& call, const Circumstances& circumstances) {
    Outcome wanted = expected(call, circumstances);
    const Outcome outcome = run(call, circumstances);
    shorten_like(test::Records(), wanted);
    if (outcome == wanted)
        return true;
    // One tells the rest.
    if (++mismatches_ <= 2) {
        EXPECT_EQ(outcome, wanted);
    }
    return false;
}

void ProvisioningTest::fail_at_every_step(const Call& call, const Circumstances& circumstances) {
    ASSERT_TRUE(does_as_worked_out(call, circumstances));
    const Outcome clean = expected(call, circumstances);
    ASSERT_FALSE(clean.sent.empty());
    for (std::size_t nth = 0; nth < clean.sent.size(); ++nth) {
        SCOPED_TRACE("request " + std::to_string(nth) + ": " + clean.sent[nth]);
        for (const test::CliReply& reply :
             {test::Rejects(), test::RejectsPrinting("Error: not now."), test::SaysNothing()}) {
            Circumstances one = circumstances;
            one.table.AtNth(nth, reply);
            EXPECT_TRUE(does_as_worked_out(call, one));
        }
        Circumstances all = circumstances;
        all.table.FromNth(nth, test::Rejects());
        EXPECT_TRUE(does_as_worked_out(call, all)) << "with everything behind it";
        Circumstances unanswered = circumstances;
        unanswered.table.AtNth(nth, test::KeepsSilent());
        const test::Fail limit(test::Call::SemTimedWait, ETIMEDOUT, static_cast<int>(nth) + 1);
        EXPECT_TRUE(does_as_worked_out(call, unanswered)) << "not answered";
    }
}

void ProvisioningTest::fail_twice(const Call& call, const Circumstances& circumstances, std::size_t first) {
    Circumstances once = circumstances;
    once.table.AtNth(first, test::Rejects());
    const std::size_t requests = expected(call, once).sent.size();
    ASSERT_GT(requests, first + 1) << "nothing is sent behind the first failure";
    for (std::size_t second = first + 1; second < requests; ++second) {
        SCOPED_TRACE("requests " + std::to_string(first) + " and " + std::to_string(second));
        Circumstances twice = once;
        twice.table.AtNth(second, test::RejectsPrinting("Error: not now."));
        EXPECT_TRUE(does_as_worked_out(call, twice));
    }
}

std::vector<std::string> ProvisioningTest::hang_up_at_every_step(const Call& call, const Circumstances& circumstances) {
    std::vector<std::string> unnoticed;
    const Outcome clean = expected(call, circumstances);
    EXPECT_FALSE(clean.sent.empty());
    for (std::size_t nth = 0; nth < clean.sent.size(); ++nth) {
        SCOPED_TRACE("request " + std::to_string(nth) + ": " + clean.sent[nth]);
        Circumstances circumstances_then = circumstances;
        circumstances_then.hang_up_at = nth;
        EXPECT_TRUE(does_as_worked_out(call, circumstances_then));
        if (expected(call, circumstances_then).code == 0)
            unnoticed.push_back(clean.sent[nth]);
        reopen_session();
        EXPECT_TRUE(does_as_worked_out(call, circumstances)) << "in the next session";
    }
    return unnoticed;
}

} // namespace provisioning
