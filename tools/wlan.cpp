// WLAN access points.
#include <cstdint>

#include <fmt/format.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/input.h"
#include "tools/session.h"
#include "tools/text.h"

namespace qel {

namespace {

struct AccessPoint {
    std::string radio = "Wlan-Radio0/0/0";
    std::uint32_t id = 0;
    std::string ssid;
    std::string pass_phrase_file;
    bool open = false;
    std::string address;
    std::string mask;
};

constexpr std::size_t longest_ssid = 32;

std::string why_no_ssid(const std::string& text) {
    return text.size() > longest_ssid ? fmt::format("{} is longer than {} bytes", text, longest_ssid)
                                      : why_no_word(text);
}

CLI::Validator a_word() { return {why_no_word, "", ""}; }

std::string subject_of(const AccessPoint& point) { return fmt::format("{} of {}", point.id, point.radio); }

void create(const Context& context, const AccessPoint& point) {
    const std::string pass_phrase = point.open ? "" : read_secret(point.pass_phrase_file);
    const Session session(context.client);
    check("vela_wlan_create_ap",
          vela_wlan_create_ap(point.radio.c_str(), point.id, point.ssid.c_str(),
                              point.open ? nullptr : pass_phrase.c_str(), point.address.c_str(), point.mask.c_str()),
          subject_of(point));
}

void remove(const Context& context, const AccessPoint& point) {
    const Session session(context.client);
    check("vela_wlan_delete_ap", vela_wlan_delete_ap(point.radio.c_str(), point.id), subject_of(point));
}

void add_identity(CLI::App& app, AccessPoint& point) {
    app.add_option("id", point.id, "The WLAN id on the radio, which names the access point")
        ->type_name("ID")
        ->required();
    app.add_option("--radio", point.radio, "The radio")->type_name("NAME")->check(a_word())->capture_default_str();
}

} // namespace

Action wlan_create_command(CLI::App& app) {
    const auto point = std::make_shared<AccessPoint>();
    add_identity(app, *point);
    app.add_option("--ssid", point->ssid, "The network's name, 1 to 32 bytes")
        ->type_name("NAME")
        ->required()
        ->check(CLI::Validator(why_no_ssid, "", ""));
    app.add_option("--address", point->address, "The router's address in the network")
        ->type_name("ADDRESS")
        ->required()
        ->check(a_word());
    app.add_option("--mask", point->mask, "The network's mask, or its length")
        ->type_name("MASK")
        ->required()
        ->check(a_word());
    app.add_option("--pass-phrase-file", point->pass_phrase_file,
                   "The file whose first line is the WPA2 pass phrase; -: standard input")
        ->type_name("FILE");
    app.add_flag("--open", point->open, "No pass phrase: everybody may join");
    app.final_callback([point] {
        if (point->pass_phrase_file.empty() != point->open)
            throw CLI::RequiredError("Either --pass-phrase-file or --open");
    });
    return [point](const Context& context) { create(context, *point); };
}

Action wlan_delete_command(CLI::App& app) {
    const auto point = std::make_shared<AccessPoint>();
    add_identity(app, *point);
    return [point](const Context& context) { remove(context, *point); };
}

} // namespace qel
