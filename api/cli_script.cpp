#include "api/cli_script.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "api/cli.h"
#include "qel_api.h"
#include "session/state.h"

namespace {

__attribute__((format(printf, 1, 0))) std::string format_text(const char* format, va_list arguments) {
    char most[256];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(most, sizeof most, format, arguments);
    const std::size_t size = length > 0 ? static_cast<std::size_t>(length) : 0;
    std::string whole;
    if (size < sizeof most) {
        whole.assign(most, size);
    } else {
        whole.resize(size);
        std::vsnprintf(whole.data(), size + 1, format, again);
    }
    va_end(again);
    return whole;
}

// The text that a variadic function was given behind its last named argument.
#define FORMATTED(variable)                                                                                            \
    va_list arguments;                                                                                                 \
    va_start(arguments, format);                                                                                       \
    std::string variable = format_text(format, arguments);                                                             \
    va_end(arguments)

bool accepts(const char* command, const char* choice) {
    return vela_cli_execute(g_uiCliHdl, command, choice, nullptr) == VELA_OK;
}

} // namespace

std::string text(const char* format, ...) {
    FORMATTED(whole);
    return whole;
}

Answer ask(const char* command) {
    char* output = nullptr;
    const bool accepted = vela_cli_execute(g_uiCliHdl, command, nullptr, &output) == VELA_OK;
    return {accepted, HeapText(output)};
}

bool send(const char* format, ...) {
    FORMATTED(command);
    return accepts(command.c_str(), nullptr);
}

bool send_hiding(const char* secret, const char* format, ...) {
    FORMATTED(command);
    return vela_cli_execute_hiding(g_uiCliHdl, command.c_str(), secret) == VELA_OK;
}

bool shown(const char* format, ...) {
    FORMATTED(line);
    return check_rule_exsit(line.c_str(), "display this");
}

// Steps

bool Console::Check(bool done, const char* failure, int line) const {
    if (!done)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s", function_, line, failure);
    return done;
}

bool Console::Fail(const char* format, ...) const {
    FORMATTED(failure);
    return Check(false, failure.c_str());
}

bool Console::TypeCommand(const char* command, const char* choice) const {
    return Check(accepts(command, choice), command);
}

bool Console::Type(const char* format, ...) const {
    FORMATTED(command);
    return TypeCommand(command.c_str());
}

bool Console::TypeUnlessShown(const char* format, ...) const {
    FORMATTED(command);
    return check_rule_exsit(command.c_str(), "display this") || TypeCommand(command.c_str());
}

bool Console::TypeAnswering(const char* choice, const char* command) const { return TypeCommand(command, choice); }

Answer Console::Ask(const char* command) const {
    Answer reply = ask(command);
    if (!reply.accepted)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s, result = %s", function_, __LINE__, printable(command),
                       printable(reply.output.get()));
    return reply;
}

bool Console::TypeForReply(const char* format, ...) const {
    FORMATTED(command);
    return Ask(command.c_str()).accepted;
}

// Reading

bool contains(const HeapText& output, const char* piece) {
    return output != nullptr && std::strstr(output.get(), piece) != nullptr;
}

bool is_empty(const char* text) { return text == nullptr || text[0] == '\0'; }

const char* typed(const char* argument) { return argument != nullptr ? argument : ""; }

bool Listing::Has(const char* piece) {
    const char* at = std::strstr(from_, piece);
    if (at == nullptr)
        at = std::strstr(text_, piece);
    if (at == nullptr)
        return false;
    from_ = at;
    return true;
}

std::int32_t number_at(const char* digits, std::size_t width) {
    char copy[12] = {};
    std::memcpy(copy, digits, strnlen(digits, std::min(width, sizeof copy - 1)));
    const long long number = std::strtoll(copy, nullptr, 10);
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

bool check_rule_exsit(const char* text, const char* display_command) {
    const Answer reply = Console(__func__).Ask(display_command);
    return reply.accepted && contains(reply.output, text);
}

// The channel and its modes

bool cli_channel_process(std::uint32_t* handle, bool* opened_here) {
    const Console console(__func__);
    *opened_here = false;
    if (g_bCliIsOpen == 0) {
        if (!console.Check(vela_cli_open(handle) == VELA_OK, "cli open failed"))
            return false;
        *opened_here = true;
    }
    return console.Check(vela_cli_execute(*handle, "return", nullptr, nullptr) == VELA_OK,
                         "return, Enter <Tarkon> mode");
}

bool close_channel(const Console& console, std::uint32_t handle, bool opened_here) {
    return !opened_here || console.Check(vela_cli_close(handle) == VELA_OK, "vela_cli_close");
}

bool entry_system_mode() {
    const Console console(__func__);
    const bool returned = console.Type("return");
    return console.Type("system-view") && returned;
}

bool return_user_mode() { return Console(__func__).Type("return"); }

// Numbers and names

bool get_id_range(std::int32_t* low, std::int32_t* high, const char* command, const char* keyword, const char* left,
                  const char* middle, const char* right) {
    const Console console(__func__);
    const Answer help = ask(command);
    if (!console.Check(help.accepted, command))
        return false;
    if (help.output == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d result = %s", VELA_HERE, printable(help.output.get()));
        return false;
    }
    const char* argument = std::strstr(help.output.get(), keyword);
    if (argument == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d pINTEGER = %s", VELA_HERE, printable(argument));
        return false;
    }

    const char* minLeft = std::strstr(argument, left);
    const char* minRight = std::strstr(argument, middle);
    const char* maxRight = std::strstr(argument, right);
    // A bound must stand between its marks, and be no longer than any number of 32 bits.
    const auto is_bound = [](const char* from, const char* from_mark, const char* to) {
        if (from == nullptr || to == nullptr)
            return false;
        const std::ptrdiff_t length = to - (from + std::strlen(from_mark));
        return length >= 0 && length < 12;
    };
    if (!is_bound(minLeft, left, minRight) || !is_bound(minRight, middle, maxRight)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d pMinLeft = %p, pMinRight = %p, pMaxRight = %p", VELA_HERE,
                       static_cast<const void*>(minLeft), static_cast<const void*>(minRight),
                       static_cast<const void*>(maxRight));
        return false;
    }
    const auto bound = [](const char* from, const char* from_mark, const char* to) {
        const char* digits = from + std::strlen(from_mark);
        return number_at(digits, static_cast<std::size_t>(to - digits));
    };
    *low = bound(minLeft, left, minRight);
    *high = bound(minRight, middle, maxRight);
    return true;
}

bool get_wlan_id_range(std::int32_t* low, std::int32_t* high, const char* radio_if) {
    const Console console(__func__);
    return console.Check(entry_system_mode(), "entry system mode") && console.Type("interface %s", typed(radio_if)) &&
           console.Check(get_id_range(low, high, "service-set name test wlan ? ", "INTEGER", "<", "-", ">"),
                         "get wlan id range") &&
           console.Check(return_user_mode(), "return user mode");
}

namespace {
constexpr char kCellular[] = "Cellular0/0/0";
static_assert(sizeof kCellular == kInterfaceNameSize, "the caller's buffer holds the name");
} // namespace

bool get_interface_name(const char* interface_name, char* out_name) {
    if (interface_name == nullptr || std::strcmp(interface_name, kCellular) == 0) {
        std::memcpy(out_name, kCellular, sizeof kCellular);
        return true;
    }
    if (std::strcmp(interface_name, "Cellular0/0/1") == 0)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d not support %s, only support %s", VELA_HERE, interface_name,
                       kCellular);
    else
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d interface name error, interface_name = %s", VELA_HERE,
                       interface_name);
    return false;
}

bool convert_radio_interface_to_value(const char* radio_if, std::int32_t* value) {
    if (!Console(__func__).Check(radio_if != nullptr, "radio_if = NULL"))
        return false;
    for (const auto& [name, number] : {std::pair{"Wlan-Radio0/0/0", 0}, std::pair{"Wlan-Radio0/0/1", 1}}) {
        if (std::strcmp(radio_if, name) == 0) {
            *value = number;
            return true;
        }
    }
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d radio_if = %s", VELA_HERE, radio_if);
    return false;
}

bool get_vela_acl_num(const char* interface_name, std::int32_t* acl_num) {
    const std::string needle = text("Advanced ACL vela_%s_acl ", typed(interface_name));
    const Answer lists = ask("display acl all");
    if (!lists.accepted || lists.output == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d display acl all, acl_cfg = %s", VELA_HERE,
                       printable(lists.output.get()));
        return false;
    }
    const char* list = std::strstr(lists.output.get(), needle.c_str());
    if (list == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s does not exsit", VELA_HERE, needle.c_str());
        return false;
    }
    *acl_num = number_at(list + needle.size(), 4);
    return true;
}
