// What every test of the provisioning calls says: the router's table, the call, and everything that came of it.
//
// The library runs in the test's process, with the scripted router for a service: its requests and its records are
// compared whole, in order, with a literal list or with what the oracle works out. Many calls share a process; each
// starts from the circumstances that it names.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "provisioning_oracle.h"
#include "support/library.h"
#include "support/scripted_router.h"

namespace provisioning {

// The lines of a text, without their indentation. "<blank>" at a line's end is one.
std::vector<std::string> lines(const std::string& text);
std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& then);

// The records of a channel that the call opens and closes itself.
inline const std::string opened = "6 vela_cli_open_imp cli open success, cli handle = 168496141";
inline const std::string closed = "6 vela_cli_close_imp cli close success, cli handle = 168496141";

// A call, and what the oracle makes of it.
struct Call {
    std::function<std::int32_t()> make;
    std::function<Outcome(Oracle&)> work_out;
};
Call cellular_open(CellularArguments arguments);
Call cellular_close(Text interface);
Call create_ap(ApArguments arguments);
Call delete_ap(Text radio, std::uint32_t vap);

// What the router holds that the cellular recipes ask for.
struct CellularRouter {
    bool route = false;
    bool permit = false;
    bool autodial = false;
    bool nat = false;
    bool circular = false;
    bool dialer_rule = false;
    bool acl = true;
    bool profile = false;

    test::CliTable table() const;
};
// Every line of the configuration, or none.
CellularRouter everything();
CellularRouter nothing();
// Bit n of the number stands for the nth member.
CellularRouter combination(unsigned bits);

// What the router shows of its wireless side. The texts are those of the display commands.
struct WlanRouter {
    std::string radio = "#\ninterface Wlan-Radio0/0/0\n radio-profile name radiof\nreturn\n";
    std::string service_sets = "----\nService-set name                Service-set ID\n----\nTotal: 0\n";
    std::string profiles = "----\nName\n----\nTotal: 0\n";
    std::string vlans = "VID     Type\n----\n1       common  enable\n";
    std::string vlan_brief = "VID  Name\n----\n1    VLAN 0001 \n";
    std::string interface_kinds = "  Cellular   Cellular interface\n  Vlanif     Vlan interface\n";
    std::string vlanifs = "Vlanif1 current state : UP\n";
    std::string bss{};
    std::string bss_descriptions{};

    test::CliTable table() const;

    // With what creating an access point leaves: the radio's binding, the service set, the profile, VLAN, Vlanif and
    // WLAN-BSS interface of these numbers.
    WlanRouter& with_access_point(std::uint32_t vap, const std::string& ssid, int vlan, int bss_number,
                                  bool secured = true);
};

class ProvisioningTest : public test::Library {
protected:
    void SetUp() override;

    // Makes the call. A service that is to hang up does so when the library is about to send.
    Outcome run(const Call& call, const Circumstances& circumstances);

    // The call does exactly this; and so says the oracle.
    void expect_outcome(const Call& call, const Circumstances& circumstances, const Outcome& outcome);
    // The call does what the oracle works out; false when not.
    bool does_as_worked_out(const Call& call, const Circumstances& circumstances);
    // The same, alone and with every request in turn refused, refused with a text, accepted without its text, not
    // answered, and refused like everything behind it.
    void fail_at_every_step(const Call& call, const Circumstances& circumstances);
    // The same with the service hanging up before every request in turn. The requests whose loss does not fail the
    // call.
    std::vector<std::string> hang_up_at_every_step(const Call& call, const Circumstances& circumstances);
    // With the request at one step refused, and every later one in turn too.
    void fail_twice(const Call& call, const Circumstances& circumstances, std::size_t first);

    static Outcome expected(const Call& call, const Circumstances& circumstances);

private:
    void reopen_session();

    test::ScriptedRouter router_;
    int mismatches_ = 0;
};

} // namespace provisioning
