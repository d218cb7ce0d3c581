// The cellular uplink.
#include <map>

#include <fmt/format.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/input.h"
#include "tools/session.h"
#include "tools/text.h"

namespace qel {

namespace {

struct Uplink {
    std::string interface = "Cellular0/0/0";
    std::string apn;
    std::string user;
    std::string password_file;
    std::string auth = "chap";
};

const std::map<std::string, tagCELLULAR_AUTH_MODE> auth_modes{{"auto", VELA_CELLULAR_AUTH_AUTO},
                                                              {"pap", VELA_CELLULAR_AUTH_PAP},
                                                              {"both", VELA_CELLULAR_AUTH_BOTH},
                                                              {"chap", VELA_CELLULAR_AUTH_CHAP}};

CLI::Validator a_word() { return {why_no_word, "", ""}; }

void up(const Context& context, const Uplink& uplink) {
    const std::string password = uplink.password_file.empty() ? "" : read_secret(uplink.password_file);
    const Session session(context.client);
    check("vela_cellular_open",
          vela_cellular_open(uplink.interface.c_str(), uplink.apn.c_str(), uplink.user.c_str(), password.c_str(),
                             auth_modes.at(uplink.auth)),
          uplink.interface);
}

void down(const Context& context, const Uplink& uplink) {
    const Session session(context.client);
    check("vela_cellular_close", vela_cellular_close(uplink.interface.c_str()), uplink.interface);
}

void add_interface(CLI::App& app, Uplink& uplink) {
    app.add_option("--interface", uplink.interface, "The cellular interface")
        ->type_name("NAME")
        ->check(a_word())
        ->capture_default_str();
}

} // namespace

Action cellular_up_command(CLI::App& app) {
    const auto uplink = std::make_shared<Uplink>();
    add_interface(app, *uplink);
    app.add_option("--apn", uplink->apn, "The access point's name")->type_name("NAME")->check(a_word());
    CLI::Option* const user =
        app.add_option("--user", uplink->user, "The user; needs --password-file")->type_name("NAME")->check(a_word());
    app.add_option("--password-file", uplink->password_file,
                   "The file whose first line is the password; -: standard input")
        ->type_name("FILE")
        ->needs(user);
    user->needs("--password-file");
    app.add_option("--auth", uplink->auth, "How the network asks: auto, pap, both or chap")
        ->type_name("HOW")
        ->capture_default_str()
        ->check(CLI::Validator(
            [](const std::string& how) {
                return auth_modes.contains(how) ? "" : fmt::format("expected auto, pap, both or chap, got {}", how);
            },
            "", ""));
    return [uplink](const Context& context) { up(context, *uplink); };
}

Action cellular_down_command(CLI::App& app) {
    const auto uplink = std::make_shared<Uplink>();
    add_interface(app, *uplink);
    return [uplink](const Context& context) { down(context, *uplink); };
}

} // namespace qel
