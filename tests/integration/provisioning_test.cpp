// The provisioning calls and the simulated router: what they leave in its configuration, after a clean run, after a
// failure at every command, and on a router that somebody else has worked on.
#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <sstream>

#include "sim/cli_engine.h"
#include "support.h"

namespace integration {
namespace {

using Lines = std::vector<std::string>;

Lines lines_of(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class Provisioning : public LibraryTest {
protected:
    void SetUp() override {
        init();
        // The simulator's own answers.
        for (const RequestKind& kind : request_kinds())
            service.on(kind.operation, {});
        const auto cfg = configuration();
        std::uint32_t session = 0;
        ASSERT_EQ(vela_session_open(&cfg, &session), VELA_OK);
        fresh_ = service.router().state();
        take_log();
    }

    std::string running() { return sim::cli_engine().configuration(service.router().state()); }

    // The lines that the running configuration has and the fresh router's has not, in order. What only the fresh
    // router has is marked.
    Lines added() {
        const Lines now = lines_of(running());
        const Lines before = lines_of(sim::cli_engine().configuration(fresh_));
        std::multiset<std::string> known(before.begin(), before.end());
        Lines added;
        for (const std::string& line : now) {
            if (line == "#")
                continue;
            const auto found = known.find(line);
            if (found == known.end())
                added.push_back(line);
            else
                known.erase(found);
        }
        for (const std::string& line : known)
            if (line != "#")
                added.push_back("gone: " + line);
        return added;
    }

    void start_afresh() {
        service.faults().clear();
        service.router().set(fresh_);
        service.clear_requests();
        take_log();
    }

    // Somebody else at the router's console.
    void at_the_console(const Lines& commands) {
        sim::CliSession session;
        for (const std::string& command : commands) {
            const auto result = service.router().with(
                [&](sim::RouterState& state) { return sim::cli_engine().run(state, session, command); });
            EXPECT_EQ(result.error, 0) << command << ": " << result.error_text;
        }
    }

    // The nth command from now on, counted from 1, is refused and not done.
    void refuse_nth(std::size_t n) {
        service.on("cli.execute",
                   [this, n, count = std::make_shared<std::atomic<std::size_t>>(0)](const sim::Request& request) {
                       if (++*count == n)
                           return sim::Answer{encode_reply(request.message, {.items = refused(18, 9, "not now")})};
                       return sim::Answer{sim::encode(service.reply_to(request))};
                   });
    }

    // What the clean call types.
    Lines typed_by(const std::function<std::int32_t()>& call) {
        service.clear_requests();
        EXPECT_EQ(call(), VELA_OK);
        take_log();
        Lines typed;
        for (const sim::Request& request : requests("cli.execute"))
            typed.push_back(request.message.text(7).value_or("(no command)"));
        return typed;
    }

    // A call whose failures are expected.
    std::int32_t try_to(const std::function<std::int32_t()>& call) {
        const std::int32_t code = call();
        take_log();
        return code;
    }

private:
    sim::RouterState fresh_;
};

// The cellular uplink -----------------------------------------------------------------------------------------------

std::int32_t open_cellular() { return vela_cellular_open(nullptr, "quornet", "joe", "s3cret", VELA_CELLULAR_AUTH_PAP); }
std::int32_t close_cellular() { return vela_cellular_close("Cellular0/0/0"); }

const Lines uplink = {" dns resolve",
                      "acl name vela_Cellular0/0/0_acl 3999",
                      " rule 5 permit ip",
                      "dialer-rule",
                      " dialer-rule 96 ip permit",
                      "apn profile vela_apn_Cellular0/0/0_profile",
                      " user name joe password cipher s3cret authentication-mode pap",
                      " apn quornet",
                      " dialer enable-circular",
                      " dialer-group 96",
                      " dialer number *99# autodial",
                      " apn-profile vela_apn_Cellular0/0/0_profile",
                      " nat outbound 3999",
                      " ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0"};
// These stay.
const Lines after_uplink = {" dialer-group 96", " dialer number *99# autodial",
                            " apn-profile vela_apn_Cellular0/0/0_profile"};

TEST_F(Provisioning, TheUplinkIsConfiguredAndTakenDown) {
    EXPECT_EQ(open_cellular(), VELA_OK);
    EXPECT_EQ(added(), uplink);
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(added(), after_uplink);
}

TEST_F(Provisioning, TheUplinkHasTheCredentialsAndTheApnThatAreGiven) {
    EXPECT_EQ(vela_cellular_open("Cellular0/0/0", nullptr, "joe", "", VELA_CELLULAR_AUTH_AUTO), VELA_OK);
    Lines bare = uplink;
    std::erase(bare, " user name joe password cipher s3cret authentication-mode pap");
    std::erase(bare, " apn quornet");
    EXPECT_EQ(added(), bare);
}

TEST_F(Provisioning, ASecondOpeningAddsNothing) {
    EXPECT_EQ(open_cellular(), VELA_OK);
    const std::string once = running();
    EXPECT_EQ(open_cellular(), VELA_OK);
    EXPECT_EQ(running(), once);
}

TEST_F(Provisioning, TheUplinkIsSetUpAgainAfterItWasTakenDown) {
    EXPECT_EQ(open_cellular(), VELA_OK);
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(open_cellular(), VELA_OK);
    EXPECT_EQ(added(), uplink);
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(added(), after_uplink);
    take_log(); // the second time there is no list to be found
}

TEST_F(Provisioning, ClosingAFreshRouterChangesNothing) {
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(added(), Lines());
    const auto said = take_log();
    EXPECT_TRUE(std::any_of(said.begin(), said.end(), [](const Record& record) {
        return matches(note("vela_cellular_close_imp", "vela_Cellular0/0/0_acl not exsit"), record);
    }));
}

// The rollback takes down what was done; what closing leaves stays.
TEST_F(Provisioning, AFailureAtAnyCommandOfOpeningTakesTheUplinkDown) {
    const Lines typed = typed_by(open_cellular);
    ASSERT_EQ(typed.size(), 27U);
    for (std::size_t n = 1; n <= typed.size(); ++n) {
        SCOPED_TRACE(std::to_string(n) + ": " + typed[n - 1]);
        start_afresh();
        refuse_nth(n);
        const std::int32_t code = try_to(open_cellular);
        if (typed[n - 1] == "display this") { // not shown is not there
            EXPECT_EQ(code, VELA_OK);
            EXPECT_EQ(added(), uplink);
            continue;
        }
        EXPECT_EQ(code, VELA_ERROR);
        if (n == typed.size()) { // all was done by then
            EXPECT_EQ(added(), uplink);
            continue;
        }
        Lines left;
        for (const std::string& line : after_uplink)
            if (std::find(typed.begin(), typed.end(), line.substr(1)) - typed.begin() <
                static_cast<std::ptrdiff_t>(n) - 1)
                left.push_back(line);
        EXPECT_EQ(added(), left);
    }
}

TEST_F(Provisioning, AFailureAtAnyCommandOfClosingLeavesTheRestToTheNext) {
    ASSERT_EQ(open_cellular(), VELA_OK);
    const sim::RouterState up = service.router().state();
    const Lines typed = typed_by(close_cellular);
    ASSERT_EQ(typed.size(), 21U);
    for (std::size_t n = 1; n <= typed.size(); ++n) {
        SCOPED_TRACE(std::to_string(n) + ": " + typed[n - 1]);
        service.router().set(up);
        refuse_nth(n);
        const bool looks = typed[n - 1].starts_with("display ");
        EXPECT_EQ(try_to(close_cellular), looks ? VELA_OK : VELA_ERROR);
        EXPECT_EQ(try_to(close_cellular), VELA_OK);
        EXPECT_EQ(try_to(open_cellular), VELA_OK);
        EXPECT_EQ(added(), uplink);
    }
}

// Without its access list the translation is not looked for.
TEST_F(Provisioning, ClosingSucceedsWithoutTheListThatWasRemovedByHand) {
    ASSERT_EQ(open_cellular(), VELA_OK);
    at_the_console({"system-view", "interface Cellular0/0/0", "undo nat outbound 3999", "quit",
                    "undo acl name vela_Cellular0/0/0_acl"});
    take_log();
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(added(), after_uplink);
    expect_log({note("vela_cli_open_imp", any_text),
                failure("get_vela_acl_num", "Advanced ACL vela_Cellular0/0/0_acl  does not exsit"),
                note("vela_cellular_close_imp", "vela_Cellular0/0/0_acl not exsit"),
                note("vela_cli_close_imp", any_text)});
}

TEST_F(Provisioning, ClosingRemovesWhatIsLeft) {
    ASSERT_EQ(open_cellular(), VELA_OK);
    at_the_console({"system-view", "undo ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", "dialer-rule",
                    "undo dialer-rule 96", "quit", "undo apn profile vela_apn_Cellular0/0/0_profile"});
    EXPECT_EQ(close_cellular(), VELA_OK);
    EXPECT_EQ(added(), after_uplink);
}

// The access point --------------------------------------------------------------------------------------------------

const char* const radio = "Wlan-Radio0/0/0";

std::int32_t create_ap(std::uint32_t vap, const char* ssid, const char* pass_phrase = "s3cret99",
                       const char* address = "192.168.9.1") {
    return vela_wlan_create_ap(radio, vap, ssid, pass_phrase, address, "255.255.255.0");
}
std::int32_t create_cafe() { return create_ap(1, "cafe"); }
std::int32_t delete_cafe() { return vela_wlan_delete_ap(radio, 1); }

const Lines cafe = {" dns proxy enable",
                    " dhcp enable",
                    "vlan 2",
                    " name vela_vlan_1_0",
                    "interface Vlanif2",
                    " ip address 192.168.9.1 255.255.255.0",
                    " dhcp select interface",
                    " dhcp server dns-list 192.168.9.1",
                    "interface Wlan-Bss1",
                    " description vela_wlan_bss_1_Wlan-Radio0/0/0",
                    " port hybrid tagged vlan 2",
                    "wlan",
                    " security-profile name vela_secf_1_Wlan-Radio0/0/0",
                    "  security-policy wpa2",
                    "  wpa2 authentication-method psk pass-phrase cipher s3cret99 encryption-method ccmp",
                    "wlan",
                    " service-set name vela_service_set_1_0 id 0",
                    "  ssid cafe",
                    "  security-profile name vela_secf_1_Wlan-Radio0/0/0",
                    "  wlan-bss 1",
                    " radio-profile name radiof",
                    " service-set id 0 wlan 1"};
// These stay.
const Lines after_cafe = {" dns proxy enable", " dhcp enable"};

TEST_F(Provisioning, AnAccessPointIsMadeAndRemoved) {
    EXPECT_EQ(create_cafe(), VELA_OK);
    EXPECT_EQ(added(), cafe);
    EXPECT_EQ(delete_cafe(), VELA_OK);
    EXPECT_EQ(added(), after_cafe);
}

TEST_F(Provisioning, AnOpenAccessPointHasNoProfile) {
    EXPECT_EQ(create_ap(1, "cafe", nullptr), VELA_OK);
    Lines open = cafe;
    open.erase(open.begin() + 11, open.begin() + 15);
    std::erase(open, "  security-profile name vela_secf_1_Wlan-Radio0/0/0");
    EXPECT_EQ(added(), open);
    EXPECT_EQ(delete_cafe(), VELA_OK);
    EXPECT_EQ(added(), after_cafe);
}

TEST_F(Provisioning, SeveralAccessPointsDoNotTouchEachOther) {
    EXPECT_EQ(create_ap(3, "home", nullptr, "192.168.3.1"), VELA_OK);
    const Lines home = added();
    EXPECT_EQ(create_cafe(), VELA_OK);
    EXPECT_EQ(create_ap(2, "work", "", "192.168.2.1"), VELA_OK);
    EXPECT_EQ(delete_cafe(), VELA_OK);
    EXPECT_EQ(vela_wlan_delete_ap(radio, 2), VELA_OK);
    EXPECT_EQ(added(), home);
    // The freed numbers are taken again.
    EXPECT_EQ(create_ap(4, "cafe"), VELA_OK);
    EXPECT_NE(running().find("vlan 3\n name vela_vlan_4_0\n"), std::string::npos) << running();
    EXPECT_NE(running().find("interface Wlan-Bss2\n description vela_wlan_bss_4_"), std::string::npos) << running();
}

TEST_F(Provisioning, AServedSsidAndATakenIdAreRefusedAndNothingChanged) {
    ASSERT_EQ(create_cafe(), VELA_OK);
    const std::string before = running();
    EXPECT_EQ(try_to([] { return create_ap(2, "cafe"); }), VELA_ERROR);
    EXPECT_EQ(try_to([] { return create_ap(1, "home"); }), VELA_ERROR_PARAM);
    EXPECT_EQ(running(), before);
}

// What is missing is sent as nothing, and the router misses it.
TEST_F(Provisioning, AnAccessPointWithoutAddressOrMaskIsRefusedByTheRouterAndRemoved) {
    struct Row {
        const char* address;
        const char* mask;
        const char* sent;
    };
    for (const Row& row :
         {Row{nullptr, "255.255.255.0", "ip address  255.255.255.0"},
          Row{"", "255.255.255.0", "ip address  255.255.255.0"}, Row{"192.168.9.1", nullptr, "ip address 192.168.9.1 "},
          Row{"192.168.9.1", "", "ip address 192.168.9.1 "}, Row{nullptr, nullptr, "ip address  "}}) {
        SCOPED_TRACE(row.sent);
        start_afresh();
        EXPECT_EQ(try_to([&] { return vela_wlan_create_ap(radio, 1, "cafe", "s3cret99", row.address, row.mask); }),
                  VELA_ERROR);
        EXPECT_EQ(added(), after_cafe);
        const auto asked = requests("cli.execute");
        EXPECT_TRUE(std::any_of(asked.begin(), asked.end(),
                                [&](const sim::Request& request) { return request.message.text(7) == row.sent; }));
    }
}

// What is not yet named cannot be found again: a VLAN and a WLAN-BSS interface without their names stay.
TEST_F(Provisioning, AFailureAtAnyCommandOfCreatingRemovesTheAccessPoint) {
    const Lines typed = typed_by(create_cafe);
    ASSERT_EQ(typed.size(), 48U);
    const auto index_of = [&](const std::string& command) {
        return static_cast<std::size_t>(std::find(typed.begin(), typed.end(), command) - typed.begin());
    };
    const std::size_t probes_end = 13;
    ASSERT_EQ(typed[probes_end + 2], "dns proxy enable");
    for (std::size_t n = 1; n <= typed.size(); ++n) {
        const std::string& refused = typed[n - 1];
        SCOPED_TRACE(std::to_string(n) + ": " + refused);
        start_afresh();
        refuse_nth(n);
        const std::int32_t code = try_to(create_cafe);
        // What the probes cannot see is not there.
        if ((n > 1 && n <= probes_end) || refused == "display interface ?") {
            EXPECT_EQ(code, VELA_OK);
            EXPECT_EQ(added(), cafe);
            continue;
        }
        EXPECT_EQ(code, VELA_ERROR);
        if (n == typed.size()) { // all was done by then
            EXPECT_EQ(added(), cafe);
            continue;
        }
        Lines left;
        if (n - 1 > index_of("dns proxy enable"))
            left.emplace_back(" dns proxy enable");
        if (n - 1 > index_of("dhcp enable"))
            left.emplace_back(" dhcp enable");
        if (refused == "name vela_vlan_1_0")
            left.emplace_back("vlan 2");
        if (refused == "description vela_wlan_bss_1_Wlan-Radio0/0/0")
            left.emplace_back("interface Wlan-Bss1");
        if (refused == "service-set name vela_service_set_1_0 wlan 1") // a profile goes with the last binding
            left.emplace_back(" radio-profile name radiof");
        EXPECT_EQ(added(), left);
    }
}

TEST_F(Provisioning, AFailureAtAnyCommandOfDeletingLeavesTheRestToTheNext) {
    ASSERT_EQ(create_cafe(), VELA_OK);
    const sim::RouterState made = service.router().state();
    const Lines typed = typed_by(delete_cafe);
    ASSERT_EQ(typed.size(), 38U);
    for (std::size_t n = 1; n <= typed.size(); ++n) {
        SCOPED_TRACE(std::to_string(n) + ": " + typed[n - 1]);
        service.router().set(made);
        refuse_nth(n);
        try_to(delete_cafe);
        try_to(delete_cafe);
        // The radio's profile goes with its last binding or not at all.
        Lines left = after_cafe;
        if (typed[n - 1] == "undo radio-profile")
            left.emplace_back(" radio-profile name radiof");
        EXPECT_EQ(added(), left);
        EXPECT_EQ(try_to(create_cafe), VELA_OK);
        EXPECT_EQ(added(), cafe);
    }
}

// The radio refuses to give up a binding that it has not.
TEST_F(Provisioning, DeletingTwiceFailsTheSecondTimeAndChangesNothing) {
    ASSERT_EQ(create_cafe(), VELA_OK);
    ASSERT_EQ(delete_cafe(), VELA_OK);
    EXPECT_EQ(try_to(delete_cafe), VELA_ERROR);
    EXPECT_EQ(added(), after_cafe);
}

TEST_F(Provisioning, AnAccessPointWithoutItsVlanIsRemoved) {
    ASSERT_EQ(create_cafe(), VELA_OK);
    at_the_console({"system-view", "interface Wlan-Bss 1", "undo port hybrid tagged vlan 2", "quit",
                    "undo interface Vlanif 2", "undo vlan 2"});
    EXPECT_EQ(delete_cafe(), VELA_OK);
    EXPECT_EQ(added(), after_cafe);
}

} // namespace
} // namespace integration
