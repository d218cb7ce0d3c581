// SNMP reads: one object, or the one that follows, from the router's MIB view. Its only state is the router's.
#include <array>

#include <fmt/format.h>

#include "sim/snmp_mib.h"
#include "sim/unit.h"

namespace sim {

namespace {

constexpr std::int32_t client_name_tag = 4;
constexpr std::int32_t oid_tag = 5;
constexpr std::int32_t value_tag = 6;
constexpr std::int32_t next_oid_tag = 7;
constexpr std::int32_t next_value_tag = 8;

class SnmpUnit : public Unit {
public:
    explicit SnmpUnit(UnitContext context) : context_(context) {}

    std::span<const std::string_view> operations() const override {
        static constexpr std::array<std::string_view, 2> names{"snmp.get", "snmp.get_next"};
        return names;
    }

    Message answer(const Request& request) override {
        return refuse_or(request, [&] {
            const Session session = required_session(context_, request);
            require_client_name(request, client_name_tag, session);
            const std::string text = required_text(request, oid_tag, "the OID");
            const auto oid = parse_oid(text);
            if (!oid)
                throw Refused{Refusal::wrong_value, fmt::format("\"{}\" is no OID like 1.3.6.1", text)};
            const auto mib = context_.router.with([](RouterState& router) { return router.mib; });
            return request.operation == "snmp.get" ? get(request, *mib, *oid) : get_next(request, *mib, *oid);
        });
    }

private:
    static Message get(const Request& request, const Mib& mib, const Oid& oid) {
        const std::string* const value = mib.get(oid);
        if (value == nullptr)
            throw Refused{Refusal::no_such_object, fmt::format("no such object: {}", to_text(oid))};
        Message reply = accepted(request);
        reply.items.push_back(Item::text(value_tag, *value));
        return reply;
    }

    static Message get_next(const Request& request, const Mib& mib, const Oid& oid) {
        const auto* const next = mib.next(oid);
        if (next == nullptr)
            throw Refused{Refusal::end_of_mib, fmt::format("end of the MIB view after {}", to_text(oid))};
        Message reply = accepted(request);
        reply.items.push_back(Item::text(next_oid_tag, to_text(next->first)));
        reply.items.push_back(Item::text(next_value_tag, next->second));
        return reply;
    }

    UnitContext context_;
};

} // namespace

std::unique_ptr<Unit> make_snmp_unit(UnitContext context) { return std::make_unique<SnmpUnit>(context); }

} // namespace sim
