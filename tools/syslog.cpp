// A line in the router's log.
#include "qel_api.h"
#include "tools/commands.h"
#include "tools/session.h"

namespace qel {

namespace {

struct Line {
    std::string text1;
    std::string text2;
    std::string text3;
};

} // namespace

Action syslog_command(CLI::App& app) {
    const auto line = std::make_shared<Line>();
    app.add_option("text1", line->text1, "On the simulated router: the source")->type_name("TEXT1")->required();
    app.add_option("text2", line->text2, "There: the level, the alias, or both, as 5/DONE")
        ->type_name("TEXT2")
        ->required();
    app.add_option("text3", line->text3, "There: the message")->type_name("TEXT3")->required();
    return [line](const Context& context) {
        const Session session(context.client);
        check("vela_syslog", vela_syslog(line->text1.c_str(), line->text2.c_str(), line->text3.c_str()), line->text3);
    };
}

} // namespace qel
