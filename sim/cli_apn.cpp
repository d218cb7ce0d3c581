// The commands for APN profiles, and for the one that an interface dials with.
#include <array>

#include "sim/cli_interface.h"

namespace sim {

namespace {

constexpr std::size_t longest_credential = 64;

std::vector<ApnProfile>& profiles(CliContext& context) { return context.router.settings.apn_profiles; }

void enter_profile(CliContext& context) {
    const std::string& name = context.arguments[0];
    require_at_most(longest_object_name, "an APN profile's name", name);
    if (find_named(profiles(context), name) == nullptr)
        profiles(context).push_back({.name = name});
    context.enter({ViewKind::apn_profile, name});
}

// An interface that dials with it keeps its name.
void remove_profile(CliContext& context) {
    const std::string& name = context.arguments[0];
    if (std::erase_if(profiles(context), [&](const ApnProfile& profile) { return profile.name == name; }) == 0)
        refuse("there is no APN profile {}.", name);
}

ApnProfile& profile_here(CliContext& context) {
    const View& view = context.session.view();
    return still_there(find_named(profiles(context), view.subject), view, "APN profile");
}

void set_apn(CliContext& context) {
    require_at_most(longest_credential, "an APN", context.arguments[0]);
    profile_here(context).apn = context.arguments[0];
}

void remove_apn(CliContext& context) { profile_here(context).apn.clear(); }

void set_user(CliContext& context, const char* mode) {
    require_at_most(longest_credential, "a user's name", context.arguments[0]);
    require_at_most(longest_credential, "a password", context.arguments[1]);
    ApnProfile& profile = profile_here(context);
    profile.user = context.arguments[0];
    profile.password = context.arguments[1];
    profile.authentication_mode = mode;
}

void set_user_auto(CliContext& context) { set_user(context, "auto"); }
void set_user_chap(CliContext& context) { set_user(context, "chap"); }
void set_user_pap(CliContext& context) { set_user(context, "pap"); }

void remove_user(CliContext& context) {
    ApnProfile& profile = profile_here(context);
    profile.user.clear();
    profile.password.clear();
    profile.authentication_mode.clear();
}

void bind_profile(CliContext& context) {
    const std::string& name = context.arguments[0];
    if (!context.session.loading && find_named(profiles(context), name) == nullptr)
        refuse("there is no APN profile {}.", name);
    interface_here(context).dialing.apn_profile = name;
}

void unbind_profile(CliContext& context) { interface_here(context).dialing.apn_profile.clear(); }

void display_configuration(CliContext& context) {
    constexpr std::string_view field = "{:<19}:{}";
    if (profiles(context).empty())
        context.line("There are no APN profiles.");
    for (const ApnProfile& profile : profiles(context)) {
        context.line(field, "profile-name", profile.name);
        context.line(field, "apn", profile.apn);
        context.line(field, "user-name", profile.user);
        context.line(field, "authentication-mode", profile.authentication_mode);
        context.line("");
    }
}

constexpr unsigned system_view = in(ViewKind::system);
constexpr unsigned profile_view = in(ViewKind::apn_profile);
constexpr unsigned cellular_view = in(ViewKind::cellular);

constexpr std::array commands{
    Command{system_view, "apn profile <profile-name>", "Enter the profile's view", enter_profile},
    Command{system_view, "undo apn profile <profile-name>", "Remove the profile", remove_profile},
    Command{in_any_view, "display apn-profile configuration", "Every profile", display_configuration},
    Command{profile_view, "apn <apn>", "Set the operator's access point", set_apn},
    Command{profile_view, "undo apn", "Remove the access point", remove_apn},
    Command{profile_view, "user name <user-name> password cipher <password> authentication-mode auto",
            "Let the operator choose how the password is shown", set_user_auto},
    Command{profile_view, "user name <user-name> password cipher <password> authentication-mode chap",
            "Show the password by a challenge", set_user_chap},
    Command{profile_view, "user name <user-name> password cipher <password> authentication-mode pap",
            "Show the password as it is", set_user_pap},
    Command{profile_view, "undo user", "Remove the credentials", remove_user},
    Command{cellular_view, "apn-profile <profile-name>", "Dial with that profile", bind_profile},
    Command{cellular_view, "undo apn-profile", "Dial with no profile", unbind_profile},
};

constexpr std::array words{
    WordHelp{"apn", "Access points of operators"},
    WordHelp{"apn profile", "An access point with its credentials"},
    WordHelp{"undo apn profile", "Remove a profile"},
    WordHelp{"display apn-profile", "The APN profiles"},
    WordHelp{"user", "The credentials"},
    WordHelp{"user name", "The credentials"},
    WordHelp{"user name <user-name> password", "The user's password"},
    WordHelp{"user name <user-name> password cipher", "The user's password"},
    WordHelp{"user name <user-name> password cipher <password> authentication-mode", "How the password is shown"},
    WordHelp{"apn-profile", "The profile to dial with"},
};

void configuration(const RouterState& router, std::vector<ConfigSection>& sections) {
    for (const ApnProfile& profile : router.settings.apn_profiles) {
        ConfigSection section{View{ViewKind::apn_profile, profile.name}, {"apn profile " + profile.name}, {}};
        if (!profile.user.empty())
            section.lines.push_back(fmt::format("user name {} password cipher {} authentication-mode {}", profile.user,
                                                profile.password, profile.authentication_mode));
        if (!profile.apn.empty())
            section.lines.push_back("apn " + profile.apn);
        sections.push_back(std::move(section));
    }
}

void interface_lines(const Interface& interface, std::vector<std::string>& lines) {
    if (!interface.dialing.apn_profile.empty())
        lines.push_back("apn-profile " + interface.dialing.apn_profile);
}

} // namespace

CommandSet apn_commands() { return {commands, words, configuration, interface_lines}; }

} // namespace sim
