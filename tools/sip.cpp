// The SIP accounts, in the form in which they are read and set: USER@REGISTRAR.
#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/query.h"
#include "tools/session.h"

namespace qel {

namespace {

constexpr std::size_t most_accounts =
    sizeof stVOICE_SIP_ACCOUNT_INFO::accounts / sizeof *stVOICE_SIP_ACCOUNT_INFO::accounts;

struct Accounts {
    std::vector<std::string> texts; // USER@REGISTRAR
    bool none = false;
};

std::string why_no_account(const std::string& text) {
    const std::size_t at = text.rfind('@');
    if (at == std::string::npos || at == 0 || at + 1 == text.size())
        return fmt::format("expected USER@REGISTRAR, got {}", text);
    if (at >= sip_text_size || text.size() - at - 1 >= sip_text_size)
        return fmt::format("{}: user and registrar have at most {} bytes each", text, sip_text_size - 1);
    return "";
}

void get(const Context& context) {
    const Session session(context.client);
    const Json accounts = read_sip_accounts();
    if (context.json)
        return print(json_line(accounts));
    for (const Json& account : accounts)
        print(fmt::format("{}@{}\n", plain(account["user"]), plain(account["registrar"])));
}

stVOICE_SIP_ACCOUNT_INFO record_of(const std::vector<std::string>& texts) {
    stVOICE_SIP_ACCOUNT_INFO record{};
    for (const std::string& text : texts) {
        const std::size_t at = text.rfind('@');
        std::uint8_t* const account = record.accounts[record.count++];
        std::ranges::copy(text.substr(0, at), account);
        std::ranges::copy(text.substr(at + 1), account + sip_text_size);
    }
    return record;
}

void set(const Context& context, const Accounts& accounts) {
    const stVOICE_SIP_ACCOUNT_INFO record = record_of(accounts.texts);
    const Session session(context.client);
    check_code("vela_voice_set_sip_account", vela_voice_set_sip_account(&record), {}, Codes::service);
}

} // namespace

Action sip_get_command(CLI::App&) { return get; }

Action sip_set_command(CLI::App& app) {
    const auto accounts = std::make_shared<Accounts>();
    app.add_option("account", accounts->texts, "An account; together they replace those that the router has")
        ->type_name("USER@REGISTRAR")
        ->expected(-1)
        ->check(CLI::Validator(why_no_account, "", ""));
    app.add_flag("--none", accounts->none, "Leave the router without accounts");
    app.final_callback([accounts] {
        if (accounts->texts.empty() != accounts->none)
            throw CLI::RequiredError("Either USER@REGISTRAR or --none");
        if (accounts->texts.size() > most_accounts)
            throw CLI::ValidationError("account", fmt::format("at most {} fit the record", most_accounts));
    });
    return [accounts](const Context& context) { set(context, *accounts); };
}

} // namespace qel
