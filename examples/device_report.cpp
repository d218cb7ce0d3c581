// Prints every fact that the device tells, and has it back its configuration up.
//
//   device_report_cpp [IP-ADDRESS]
//
// The address, 192.168.1.10 when none is given, is looked up in the ARP table and among the access users. A fact that
// cannot be had is told on standard error and does not hold up the others. Status 0 when all of them were printed.
//
// The library moves these values without knowing them. The labels are those of the simulated router, docs/facts.md; on
// another device the same fields may hold something else.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "qel_api.h"

namespace {

class Failure : public std::runtime_error {
public:
    Failure(const char* call, std::uint32_t code)
        : std::runtime_error(std::string(call) + " failed with " + std::to_string(code)) {}
};

void check(const char* call, std::uint32_t code) {
    if (code != VELA_OK)
        throw Failure(call, code);
}
void check(const char* call, std::int32_t code) { check(call, static_cast<std::uint32_t>(code)); }

bool all_well = true;

void tell(const std::exception& error) {
    std::cerr << "device_report: " << error.what() << '\n';
    all_well = false;
}

// Destructors do not throw: what fails on the way out is told, and makes the program fail.
void check_close(const char* call, std::int32_t code) {
    if (code != VELA_OK)
        tell(Failure(call, static_cast<std::uint32_t>(code)));
}

class Library {
public:
    Library() { check("vela_init", vela_init()); }
    ~Library() { check_close("vela_release", vela_release()); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

class Session {
public:
    explicit Session(const std::string& client_name) {
        tagVELA_SESSION_CFG_T cfg{}; // type 0: the local socket
        client_name.copy(cfg.client_name, sizeof cfg.client_name - 1);
        check("vela_session_open", vela_session_open(&cfg, &handle_));
    }
    ~Session() { check_close("vela_session_close", vela_session_close(handle_)); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

private:
    std::uint32_t handle_ = 0;
};

// A line, with a label in front or under the one before.
std::ostream& line(const std::string& label = "") { return std::cout << std::left << std::setw(16) << label; }

std::ostream& line(const std::string& label, std::uint32_t index) { return line(label + std::to_string(index)); }

// The fields that are bytes to the library.

template <std::size_t N> std::string text(const char (&field)[N]) { return {field, strnlen(field, N)}; }

template <std::size_t N> std::string text(const std::uint8_t (&field)[N]) {
    char bytes[N];
    std::memcpy(bytes, field, N);
    return text(bytes);
}

template <class Value, std::size_t N> Value value(const std::uint8_t (&field)[N]) {
    static_assert(sizeof(Value) <= N);
    Value value{};
    std::memcpy(&value, field, sizeof value);
    return value;
}

std::string address(const std::uint8_t (&bytes)[6]) {
    std::ostringstream out;
    out << std::hex << std::setfill('0');
    for (const std::uint8_t& byte : bytes)
        out << (&byte == bytes ? "" : ":") << std::setw(2) << unsigned{byte};
    return out.str();
}

std::string fixed(double number, int digits) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(digits) << number;
    return out.str();
}

template <class Numbers> std::string joined(const Numbers& numbers) {
    std::string out;
    for (const std::int32_t number : numbers)
        out += (out.empty() ? "" : " ") + std::to_string(number);
    return out;
}

// The facts, in the order of qel_api.h. Each record is cleared first, so that no text is without its end.

void print_serial_number() {
    char esn[VELA_ESN_SIZE] = "";
    check("vela_dev_get_esn", vela_dev_get_esn(esn));
    line("serial number") << text(esn) << '\n';
}

void print_access_status() {
    std::uint32_t status = 0;
    check("vela_dev_get_acc_status", vela_dev_get_acc_status(&status));
    line("access status") << status << '\n';
}

void print_backup() {
    std::int32_t result = 0;
    check("vela_dev_backup_cfg", vela_dev_backup_cfg(&result));
    line("backup") << "outcome " << result << '\n';
}

void print_location() {
    tagGPS_LOCATION_INFO info{};
    check("vela_gps_GetLocation", vela_gps_GetLocation(&info));
    line("location") << fixed(value<double>(info.item7), 6) << ", " << fixed(value<double>(info.item8), 6) << ", "
                     << fixed(value<double>(info.item9), 1) << " m high\n";
    line() << "fix " << value<std::uint32_t>(info.item5) << ", satellites " << value<std::uint32_t>(info.item6)
           << ", speed " << value<std::uint32_t>(info.item10) << ", course " << value<std::uint32_t>(info.item11)
           << ", " << text(info.item12) << '\n';
}

void print_station() {
    WLAN_STATION_INFO_tag info{};
    check("vela_wlan_GetStationInfo", vela_wlan_GetStationInfo(&info));
    line("station") << text(info.item10) << ", " << text(info.item9) << ", on " << text(info.item6) << '\n';
    line() << "channel " << info.item5 << ", signal " << static_cast<std::int32_t>(info.item7) << ", " << info.item8
           << " s\n";
}

void print_cellular_link() {
    tagLTE_BREIFINFO_T info{};
    check("vela_arp_get_lte", vela_arp_get_lte(&info));
    line("cellular link") << info.item5 << ", IMEI " << info.item6 << ", IMSI " << info.item7 << ", ICCID "
                          << info.item8 << ", " << info.item9 << '\n';
    line() << "SIM " << info.item10 << ", registration " << info.item11 << ", technology " << info.item12 << ", band "
           << info.item17 << ", cell " << info.item18 << '\n';
    line() << "RSSI " << info.item13 << ", RSRP " << info.item14 << ", RSRQ " << info.item15 << ", SINR " << info.item16
           << '\n';
}

void print_connection() {
    tagLTE_CONNECTION_INFO info{};
    check("vela_cellular_GetInfo", vela_cellular_GetInfo(nullptr, &info));
    line("connection") << "state " << info.item6 << ", " << text(info.item7) << ", " << text(info.item8) << '\n';
    line() << info.item9 << " s, " << info.item10 << " bytes in, " << value<std::uint32_t>(info.item11) << " out\n";
}

// Up to the first index that the service refuses with a code of its own; the library's codes are failures.
void print_messages() {
    for (std::uint32_t index = 0;; ++index) {
        tagLTE_SMS_INFO info{};
        const std::uint32_t code = vela_get_sms_info(index, &info);
        if (code == VELA_ERROR || code == VELA_ERROR_NO_SESSION || code == VELA_ERROR_ENCODE)
            throw Failure("vela_get_sms_info", code);
        if (code != VELA_OK)
            return;
        line("message ", index) << info.item6 << ": " << info.item7 << '\n';
    }
}

void print_calls() {
    stVOICE_CALL_INFO info{};
    check("vela_voice_get_call_info", vela_voice_get_call_info(&info));
    line("voice") << "ports " << info.item6 << ", answered " << info.item7 << ", missed " << info.item8 << ", placed "
                  << info.item9 << ", failed " << info.item10 << ", " << info.item11 << " s\n";
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(info.count); ++i)
        line("call ", i) << joined(info.entries[i]) << '\n';
}

void print_sip_accounts() {
    stVOICE_SIP_ACCOUNT_INFO info{};
    check("vela_voice_get_sip_account", vela_voice_get_sip_account(&info));
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(info.count); ++i) {
        char texts[2][33]; // user and registrar
        std::memcpy(texts, info.accounts[i], sizeof texts);
        line("SIP account ", i) << text(texts[0]) << " at " << text(texts[1]) << '\n';
    }
}

void print_cita_parameters() {
    tagVOICE_CITA_PARAM info{};
    check("vela_voice_get_cita_param", vela_voice_get_cita_param(&info));
    line("CITA parameters") << joined(std::array{info.item5, info.item6, info.item7, info.item8}) << '\n';
    line() << text(info.text9) << ", " << text(info.text10) << ", " << text(info.text11) << ", " << text(info.text12)
           << ", " << text(info.text13) << ", " << text(info.text14) << ", " << text(info.item17) << '\n';
    line() << address(info.item15) << ' ' << address(info.item16) << '\n';
    line() << joined(std::array{info.item18, info.item19, info.item20, info.item21, info.item22, info.item23,
                                info.item24, info.item25})
           << '\n';
}

void print_cita_configuration() {
    tagVOICE_CITA_CONFIG_INFO info{};
    check("vela_voice_get_cita_config_info", vela_voice_get_cita_config_info(&info));
    line("CITA settings") << address(info.item5) << ' ' << address(info.item6) << '\n';
    line() << address(info.item7) << ' ' << address(info.item8) << '\n';
    line() << address(info.item9) << ' ' << address(info.item10) << '\n';
    line() << address(info.item11) << ' ' << address(info.item12) << '\n';
    line() << joined(std::array{info.item13, info.item14, info.item15, info.item16, info.item17, info.item18,
                                info.item19, info.item20})
           << '\n';
}

void print_neighbour(const char* ip) {
    std::uint8_t bytes[6] = {};
    check("vela_arp_get_mac_by_ip", vela_arp_get_mac_by_ip(ip, bytes));
    line("neighbour") << ip << ", " << address(bytes) << '\n';

    std::cout << "access user\n"; // the library prints the record's fields
    tagACCESS_USER_BREIFINFO_T user{};
    check("vela_nac_get_access_by_mac", vela_nac_get_access_by_mac(bytes, &user));
}

template <class Print> void attempt(Print print) {
    try {
        print();
    } catch (const Failure& failure) {
        tell(failure);
    }
}

void run(const char* ip) {
    Library library;
    Session session("device_report");
    for (const auto print : {print_serial_number, print_access_status, print_backup, print_location, print_station,
                             print_cellular_link, print_connection, print_messages, print_calls, print_sip_accounts,
                             print_cita_parameters, print_cita_configuration})
        attempt(print);
    attempt([ip] { print_neighbour(ip); });
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, also into a pipe
    try {
        run(argc > 1 ? argv[1] : "192.168.1.10");
    } catch (const std::exception& error) {
        tell(error);
    }
    return all_well ? 0 : 1;
}
