// Prints the SNMP objects of a subtree, or one object.
//
//   snmp_walk_cpp [OID]
//
// OID is 1.3.6.1.2.1 when none is given. Status 0 when there was anything to print and nothing failed. What went wrong
// in detail stands in the system log.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "qel_api.h"

namespace {

class Failure : public std::runtime_error {
public:
    Failure(const char* call, std::int32_t code)
        : std::runtime_error(std::string(call) + " failed with " + std::to_string(code)) {}
};

void check(const char* call, std::int32_t code) {
    if (code != VELA_OK)
        throw Failure(call, code);
}

// Destructors do not throw: what fails on the way out is told, and makes the program fail.
bool closed_well = true;

void check_close(const char* call, std::int32_t code) {
    if (code == VELA_OK)
        return;
    std::cerr << "snmp_walk: " << call << " failed with " << code << '\n';
    closed_well = false;
}

class Library {
public:
    Library() { check("vela_init", vela_init()); }
    ~Library() { check_close("vela_release", vela_release()); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

class Session {
public:
    explicit Session(const std::string& client_name) {
        tagVELA_SESSION_CFG_T cfg{}; // type 0: the local socket
        client_name.copy(cfg.client_name, sizeof cfg.client_name - 1);
        check("vela_session_open", vela_session_open(&cfg, &handle_));
    }
    ~Session() { check_close("vela_session_close", vela_session_close(handle_)); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool IsAlive() const { return vela_session_keepalive(handle_) == VELA_OK; }

private:
    std::uint32_t handle_ = 0;
};

// A text that the library hands out, and takes back.
class Text {
public:
    char** Out() { return &text_; }
    std::string Get() const { return text_; }
    Text() = default;
    ~Text() { vela_free(text_); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

private:
    char* text_ = nullptr;
};

struct Object {
    std::string oid;
    std::string value;
};

std::ostream& operator<<(std::ostream& out, const Object& object) { return out << object.oid << " = " << object.value; }

Object get(const std::string& oid) {
    Text value;
    check("vela_snmp_get", vela_snmp_get(oid.c_str(), value.Out()));
    return {oid, value.Get()};
}

// Nothing behind the last one.
std::optional<Object> get_next(const Session& session, const std::string& oid) {
    Text next;
    Text value;
    const std::int32_t code = vela_snmp_get_next(oid.c_str(), next.Out(), value.Out());
    if (code == VELA_OK)
        return Object{next.Get(), value.Get()};
    // The end of all objects is told like a failure; when the service still answers, it is that.
    if (code == VELA_ERROR && session.IsAlive())
        return std::nullopt;
    throw Failure("vela_snmp_get_next", code);
}

bool is_below(const std::string& oid, const std::string& root) { return oid.rfind(root + ".", 0) == 0; }

void walk(const Session& session, const std::string& root) {
    std::string oid = root;
    for (auto object = get_next(session, oid); object && is_below(object->oid, root); object = get_next(session, oid)) {
        if (object->oid == oid)
            throw std::runtime_error(oid + " follows itself");
        std::cout << *object << '\n';
        oid = object->oid;
    }
    if (oid == root) // nothing below it: it may be an object itself
        std::cout << get(root) << '\n';
}

// What is asked for may have a dot in front, what is answered has none.
std::string without_dot(const std::string& oid) { return oid.rfind('.', 0) == 0 ? oid.substr(1) : oid; }

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, also into a pipe
    try {
        Library library;
        Session session("snmp_walk");
        walk(session, argc > 1 ? without_dot(argv[1]) : "1.3.6.1.2.1");
    } catch (const std::exception& error) {
        std::cerr << "snmp_walk: " << error.what() << '\n';
        return 1;
    }
    return closed_well ? 0 : 1;
}
