// The library's version, which needs no router.
#include "qel_api.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/output.h"

namespace qel {

Action version_command(CLI::App&) {
    return [](const Context& context) {
        char version[VELA_VERSION_SIZE] = "";
        check("vela_version", vela_version(version));
        print(context.json ? json_line({{"library", version}}) : std::string(version) + "\n");
    };
}

} // namespace qel
