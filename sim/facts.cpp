#include "sim/facts.h"

#include <algorithm>
#include <bit>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sim/wire.h"

namespace sim {

namespace {

constexpr Mac laptop{0x00, 0x00, 0x5e, 0x00, 0x53, 0x10};
constexpr Mac printer{0x00, 0x00, 0x5e, 0x00, 0x53, 0x20};
constexpr std::size_t text_width = sip_account_size / 2;

std::string padded(std::string_view text) {
    std::string out(text.substr(0, text_width - 1));
    out.resize(text_width, '\0');
    return out;
}

} // namespace

std::optional<Mac> parse_mac(std::string_view text) {
    constexpr std::size_t length = 17;
    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 != 2)
            digits += text[i];
        else if (text[i] != ':')
            return std::nullopt;
    }
    const auto bytes = from_hex(digits);
    if (text.size() != length || !bytes || bytes->size() != Mac{}.size())
        return std::nullopt;
    Mac mac{};
    std::ranges::transform(*bytes, mac.begin(), [](char byte) { return std::bit_cast<std::uint8_t>(byte); });
    return mac;
}

std::string to_text(const Mac& mac) { return fmt::format("{:02x}", fmt::join(mac, ":")); }

std::string sip_account(std::string_view user, std::string_view registrar) { return padded(user) + padded(registrar); }

CitaConfig::CitaConfig() {
    for (std::size_t i = 0; i < addresses.size(); ++i)
        addresses[i] = {0x00, 0x00, 0x5e, 0x00, 0x53, static_cast<std::uint8_t>(0x80 + i)};
}

Facts::Facts()
    : stations{{.channel = 6, .ssid = "Tarkon", .signal = -52, .seconds = 3725, .mac = laptop, .name = "laptop-7"}},
      connections{{.interface = "Cellular0/0/0", .apn = "internet.example"}},
      messages{{.index = 0, .sender = "+49301234567", .text = "Your data plan was renewed."},
               {.index = 1, .sender = "Example Mobile", .text = "80% of this month's volume is used."}},
      arp{{.address = "192.168.1.10", .mac = laptop}, {.address = "192.168.1.20", .mac = printer}},
      users{{.mac = laptop, .ssid = "Tarkon", .seconds = 3725, .up = 1048576, .down = 8388608}} {
    voice.calls = {{.port = 1, .direction = 0, .state = 2, .seconds = 95, .codec = 8, .account = 0}};
    voice.sip_accounts = {sip_account("branch-1", "sip.example.com"), sip_account("branch-2", "sip.example.com")};
}

} // namespace sim
