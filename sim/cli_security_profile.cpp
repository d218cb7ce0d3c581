// The commands for security profiles, in the WLAN view: how stations are let in.
#include <algorithm>
#include <array>

#include "sim/cli_engine.h"

namespace sim {

namespace {

constexpr std::size_t shortest_pass_phrase = 8;
constexpr std::size_t longest_pass_phrase = 63;

std::vector<SecurityProfile>& profiles(CliContext& context) { return context.router.settings.security_profiles; }

void enter_profile(CliContext& context) {
    const std::string& name = context.arguments[0];
    require_at_most(longest_object_name, "a security profile's name", name);
    if (find_named(profiles(context), name) == nullptr)
        profiles(context).push_back({.name = name});
    context.enter({ViewKind::security_profile, name});
}

void remove_profile(CliContext& context) {
    const std::string& name = context.arguments[0];
    const auto& sets = context.router.settings.service_sets;
    if (find_named(profiles(context), name) == nullptr)
        refuse("there is no security profile {}.", name);
    if (const auto user = std::ranges::find(sets, name, &ServiceSet::security_profile); user != sets.end())
        refuse("security profile {} is in use by service set {}.", name, user->name);
    std::erase_if(profiles(context), [&](const SecurityProfile& profile) { return profile.name == name; });
}

SecurityProfile& profile_here(CliContext& context) {
    const View& view = context.session.view();
    return still_there(find_named(profiles(context), view.subject), view, "security profile");
}

void use_wpa2(CliContext& context) { profile_here(context).wpa2 = true; }
void use_no_policy(CliContext& context) { profile_here(context).wpa2 = false; }

void set_pass_phrase(CliContext& context) {
    const std::string& phrase = context.arguments[0];
    const bool fits = shortest_pass_phrase <= phrase.size() && phrase.size() <= longest_pass_phrase;
    if (!phrase.empty() && !fits)
        refuse_value("a pass phrase has {} to {} characters.", shortest_pass_phrase, longest_pass_phrase);
    profile_here(context).pass_phrase = phrase;
}

void remove_pass_phrase(CliContext& context) { profile_here(context).pass_phrase.reset(); }

void display_all(CliContext& context) {
    constexpr std::string_view row = "{:<33}{:<8}{}";
    context.line(row, "Security profile", "Policy", "Authentication");
    for (const SecurityProfile& profile : profiles(context))
        context.line(row, profile.name, profile.wpa2 ? "wpa2" : "open", profile.pass_phrase ? "psk" : "none");
}

constexpr unsigned wlan_view = in(ViewKind::wlan);
constexpr unsigned profile_view = in(ViewKind::security_profile);

constexpr std::array commands{
    Command{wlan_view, "security-profile name <profile-name>", "Enter the profile's view", enter_profile},
    Command{wlan_view, "undo security-profile name <profile-name>", "Remove the profile", remove_profile},
    Command{in_any_view, "display security-profile all", "Every security profile", display_all},
    Command{profile_view, "security-policy wpa2", "Let stations in by WPA2", use_wpa2},
    Command{profile_view, "undo security-policy", "Let every station in", use_no_policy},
    Command{profile_view, "wpa2 authentication-method psk pass-phrase cipher <pass-phrase> encryption-method ccmp",
            "Set the pass phrase", set_pass_phrase},
    Command{profile_view, "undo wpa2 authentication-method", "Remove the pass phrase", remove_pass_phrase},
};

constexpr std::array words{
    WordHelp{"security-profile", "How stations are let in"},
    WordHelp{"security-profile name", "A security profile by its name"},
    WordHelp{"undo security-profile", "Remove a security profile"},
    WordHelp{"undo security-profile name", "Remove a security profile by its name"},
    WordHelp{"display security-profile", "The security profiles"},
    WordHelp{"security-policy", "By what stations are let in"},
    WordHelp{"wpa2", "What WPA2 asks for"},
    WordHelp{"wpa2 authentication-method", "How stations show who they are"},
    WordHelp{"wpa2 authentication-method psk", "By a key that all share"},
    WordHelp{"wpa2 authentication-method psk pass-phrase", "The pass phrase that the key is made of"},
    WordHelp{"wpa2 authentication-method psk pass-phrase cipher", "The pass phrase that the key is made of"},
    WordHelp{"wpa2 authentication-method psk pass-phrase cipher <pass-phrase> encryption-method",
             "How the traffic is encrypted"},
    WordHelp{"undo wpa2", "What WPA2 asks for"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const SecurityProfile& profile : router.settings.security_profiles) {
        ConfigSection section{
            View{ViewKind::security_profile, profile.name}, {"wlan", "security-profile name " + profile.name}, {}};
        if (profile.wpa2)
            section.lines.emplace_back("security-policy wpa2");
        if (profile.pass_phrase)
            section.lines.push_back(fmt::format(
                "wpa2 authentication-method psk pass-phrase cipher {} encryption-method ccmp", *profile.pass_phrase));
        sections.push_back(std::move(section));
    }
}

} // namespace

CommandSet security_profile_commands() { return {commands, words, configuration}; }

} // namespace sim
