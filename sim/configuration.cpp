#include "sim/configuration.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include <fmt/format.h>

#include "sim/cli_engine.h"

namespace sim {

void load_configuration(RouterState& router, const std::string& text) {
    router.clear_configuration();
    CliSession session;
    session.views.push_back({ViewKind::system, {}});
    session.loading = true;
    std::istringstream lines(text);
    std::string line;
    for (std::size_t number = 1; std::getline(lines, line); ++number) {
        const CliResult result = cli_engine().run(router, session, line);
        if (result.error != 0)
            throw ConfigurationError(fmt::format("line {}: \"{}\": {}", number, line, result.error_text));
    }
}

void load_configuration_file(RouterState& router, const std::string& path) {
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw ConfigurationError(fmt::format("{}: cannot be read", path));
    try {
        load_configuration(router, text);
    } catch (const ConfigurationError& error) {
        throw ConfigurationError(fmt::format("{}: {}", path, error.what()));
    }
}

} // namespace sim
