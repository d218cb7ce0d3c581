// What the router can tell of itself and its surroundings besides its configuration: serial number, position, the
// cellular link, stations, users, messages, calls, accounts.
//
// Plain state, part of the router's. docs/facts.md says what each value means, and which item of which reply it is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

using Mac = std::array<std::uint8_t, 6>;

// Six pairs of hexadecimal digits joined by colons.
std::optional<Mac> parse_mac(std::string_view text);
std::string to_text(const Mac& mac);

struct Device {
    std::string esn = "QEL2016090800017";
    std::uint32_t access_status = 1;
    std::int32_t backup_result = 0; // anything else: backups fail like that
    std::string backup{};           // the configuration as it was backed up last
    bool operator==(const Device&) const = default;
};

struct Location {
    std::uint32_t fix = 3;
    std::uint32_t satellites = 9;
    double latitude = 52.5;
    double longitude = 13.375;
    double altitude = 34.5;
    std::uint32_t speed = 0;
    std::uint32_t course = 0;
    std::string time = "2016-09-08 12:00:00";
    bool operator==(const Location&) const = default;
};

struct Station {
    std::uint32_t channel = 1;
    std::string ssid{};
    std::int32_t signal = 0;
    std::uint32_t seconds = 0;
    Mac mac{};
    std::string name{};
    bool operator==(const Station&) const = default;
};

struct LteBrief {
    std::string carrier = "Example Mobile";
    std::string imei = "490154203237518";
    std::string imsi = "001010123456789";
    std::string iccid = "8988211000000000012";
    std::string modem = "QM-620 1.04";
    std::int32_t sim = 1;
    std::int32_t registration = 1;
    std::int32_t technology = 4;
    std::int32_t rssi = -71;
    std::int32_t rsrp = -98;
    std::int32_t rsrq = -10;
    std::int32_t sinr = 14;
    std::int32_t band = 3;
    std::uint32_t cell = 26378241;
    bool operator==(const LteBrief&) const = default;
};

struct LteConnection {
    std::string interface {}; // as the router writes it
    std::uint32_t state = 0;
    std::string apn{};
    std::string address = "0.0.0.0";
    std::uint32_t seconds = 0;
    std::uint32_t received = 0;
    std::uint32_t sent = 0;
    bool operator==(const LteConnection&) const = default;
};

struct Sms {
    std::uint32_t index = 0;
    std::string sender{};
    std::string text{};
    bool operator==(const Sms&) const = default;
};

struct ArpEntry {
    std::string address{};
    Mac mac{};
    bool operator==(const ArpEntry&) const = default;
};

struct AccessUser {
    Mac mac{};
    std::string ssid{};
    std::uint32_t seconds = 0;
    std::uint32_t up = 0;
    std::uint32_t down = 0;
    bool operator==(const AccessUser&) const = default;
};

struct VoiceTotals {
    std::int32_t ports = 2;
    std::int32_t answered = 41;
    std::int32_t missed = 3;
    std::int32_t placed = 27;
    std::int32_t failed = 1;
    std::int32_t seconds = 10860;
    bool operator==(const VoiceTotals&) const = default;
};

struct VoiceCall {
    std::int32_t port = 0;
    std::int32_t direction = 0;
    std::int32_t state = 0;
    std::int32_t seconds = 0;
    std::int32_t codec = 0;
    std::int32_t account = 0;
    bool operator==(const VoiceCall&) const = default;
};

// An account is 66 opaque bytes to the service; this is how the scenario writes them.
constexpr std::size_t sip_account_size = 66;
std::string sip_account(std::string_view user, std::string_view registrar);

struct CitaParam {
    std::array<std::int32_t, 4> bytes{1, 0, 2, 8};
    std::array<std::string, 6> texts{"cita.example.com", "backup.example.com", "branch", "example.com", "0", "112"};
    std::array<Mac, 2> addresses{{{0x00, 0x00, 0x5e, 0x00, 0x53, 0x01}, {0x00, 0x00, 0x5e, 0x00, 0x53, 0xfe}}};
    std::string text = "1.0";
    std::array<std::int32_t, 8> numbers{5060, 5061, 30, 3600, 3, 20, 160, 0};
    bool operator==(const CitaParam&) const = default;
};

struct CitaConfig {
    std::array<Mac, 8> addresses{};
    std::array<std::int32_t, 8> numbers{1, 2, 3, 4, 5, 6, 7, 8};
    CitaConfig();
    bool operator==(const CitaConfig&) const = default;
};

struct Voice {
    VoiceTotals totals{};
    std::vector<VoiceCall> calls{};
    std::vector<std::string> sip_accounts{}; // 66 bytes each
    std::int32_t sip_result = 0;             // anything else: accounts are not stored, and this is the outcome
    CitaParam cita_param{};
    CitaConfig cita_config{};
    bool operator==(const Voice&) const = default;
};

struct Facts {
    Device device{};
    Location location{};
    std::vector<Station> stations{};
    LteBrief lte{};
    std::vector<LteConnection> connections{};
    std::vector<Sms> messages{};
    std::vector<ArpEntry> arp{};
    std::vector<AccessUser> users{};
    Voice voice{};

    Facts(); // those of a router as it leaves the box, with one station on its WLAN
    bool operator==(const Facts&) const = default;
};

} // namespace sim
