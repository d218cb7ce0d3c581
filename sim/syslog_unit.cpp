// Writes the lines that clients send into the router's log, which keeps them and tells whoever listens. No state of its
// own.
#include <algorithm>
#include <array>

#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::int32_t message_tag = 7;
constexpr std::int32_t severity_tag = 8;
constexpr std::int32_t client_name_tag = 9;
constexpr std::int32_t source_tag = 10;

// Whatever a client sends stays one line of the log.
std::string on_one_line(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' '; }, ' ');
    return text;
}

// "4", "LINK_DOWN" or "4/LINK_DOWN": the level, the alias, or both.
void set_severity(LogLine& line, std::string severity) {
    if (!severity.empty() && severity[0] >= '0' && severity[0] <= '7' && (severity.size() == 1 || severity[1] == '/')) {
        line.level = static_cast<std::uint32_t>(severity[0] - '0');
        severity.erase(0, 2);
    }
    if (!severity.empty())
        line.alias = std::move(severity);
}

class SyslogUnit : public Unit {
public:
    explicit SyslogUnit(UnitContext context) : context_(context) {}

    std::span<const std::string_view> operations() const override {
        static constexpr std::array<std::string_view, 1> names{"syslog.write"};
        return names;
    }

    Message answer(const Request& request) override {
        return refuse_or(request, [&] {
            require_client_name(request, client_name_tag, required_session(context_, request));
            LogLine line{on_one_line(required_text(request, source_tag, "the source")), 6, "SDK",
                         on_one_line(required_text(request, message_tag, "the message"))};
            set_severity(line, on_one_line(required_text(request, severity_tag, "the severity")));
            context_.router.with([&](RouterState& router) { router.write_log(std::move(line)); });
            return accepted(request);
        });
    }

private:
    UnitContext context_;
};

} // namespace

std::unique_ptr<Unit> make_syslog_unit(UnitContext context) { return std::make_unique<SyslogUnit>(context); }

} // namespace sim
