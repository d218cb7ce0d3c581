// SNMP reads: objects, the object behind one, and subtrees.
#include <charconv>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "qel_api.h"
#include "tools/commands.h"
#include "tools/interruption.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text.h"

namespace qel {

namespace {

struct Object {
    std::string oid;
    std::string value;
};

void show(const Context& context, const Object& object) {
    if (context.json)
        print(json_line({{"oid", object.oid}, {"value", object.value}}));
    else
        print(fmt::format("{} = {}\n", object.oid, one_line(object.value)));
}

// What is asked for may have a dot in front, what is answered has none.
std::string without_dot(const std::string& oid) { return oid.starts_with('.') ? oid.substr(1) : oid; }

Object get(const std::string& oid) {
    Text value;
    check("vela_snmp_get", vela_snmp_get(oid.c_str(), value.out()), oid);
    return {without_dot(oid), value.get()};
}

Object get_next(const std::string& oid) {
    Text next;
    Text value;
    check("vela_snmp_get_next", vela_snmp_get_next(oid.c_str(), next.out(), value.out()), oid);
    return {next.get(), value.get()};
}

// An object that cannot be had does not hold up the others, as long as the service answers.
void get_all(const Context& context, const std::vector<std::string>& oids) {
    const Session session(context.client);
    for (const std::string& oid : oids) {
        try {
            show(context, get(oid));
        } catch (const Failure& failure) {
            if (oids.size() == 1)
                throw;
            tell(failure);
            session.keep_alive();
        }
        throw_if_interrupted();
    }
}

// The end of the view is told like a failure; when the service still answers, it is that.
std::optional<Object> get_next_or_end(const Session& session, const std::string& oid) {
    Text next;
    Text value;
    const std::int32_t code = vela_snmp_get_next(oid.c_str(), next.out(), value.out());
    if (code != VELA_ERROR) {
        check("vela_snmp_get_next", code, oid);
        return Object{next.get(), value.get()};
    }
    throw_if_interrupted();
    session.keep_alive();
    return std::nullopt;
}

bool is_below(const std::string& oid, const std::string& root) { return oid.starts_with(root + "."); }

// Its numbers, or nothing where it is no OID.
std::optional<std::vector<std::uint32_t>> numbers_of(const std::string& oid) {
    std::vector<std::uint32_t> numbers;
    const char* at = oid.data();
    const char* const end = at + oid.size();
    for (;; ++at) {
        std::uint32_t number = 0;
        const auto [rest, error] = std::from_chars(at, end, number);
        if (error != std::errc())
            return std::nullopt;
        numbers.push_back(number);
        if (rest == end)
            return numbers;
        if (*rest != '.')
            return std::nullopt;
        at = rest;
    }
}

// A service that goes back would be walked for ever.
void check_order(const std::string& oid, const std::string& next) {
    const auto before = numbers_of(oid);
    const auto behind = numbers_of(next);
    if (!behind || (before && *behind <= *before))
        throw Failure(refused, fmt::format("vela_snmp_get_next {}: the service gave {}, which does not follow; "
                                           "read single objects with qel snmp get",
                                           oid, one_line(next)));
}

void walk(const Context& context, const std::string& root) {
    const Session session(context.client);
    std::string oid = root;
    while (const auto object = get_next_or_end(session, oid)) {
        if (!is_below(object->oid, root))
            break;
        check_order(oid, object->oid);
        show(context, *object);
        throw_if_interrupted();
        oid = object->oid;
    }
    if (oid == root) // nothing below it: it may be an object itself
        show(context, get(root));
}

} // namespace

Action snmp_get_command(CLI::App& app) {
    const auto oids = std::make_shared<std::vector<std::string>>();
    app.add_option("oid", *oids, "An object, like 1.3.6.1.2.1.1.5.0")->type_name("OID")->required()->expected(-1);
    return [oids](const Context& context) { get_all(context, *oids); };
}

Action snmp_next_command(CLI::App& app) {
    const auto oid = std::make_shared<std::string>();
    app.add_option("oid", *oid, "Where to start; it need not exist")->type_name("OID")->required();
    return [oid](const Context& context) {
        const Session session(context.client);
        show(context, get_next(*oid));
    };
}

Action snmp_walk_command(CLI::App& app) {
    const auto oid = std::make_shared<std::string>("1.3.6.1.2.1");
    app.add_option("oid", *oid, "The subtree, or one object")->type_name("OID")->capture_default_str();
    return [oid](const Context& context) { walk(context, without_dot(*oid)); };
}

} // namespace qel
