#include "api/subscriptions.h"

#include <cstring>
#include <utility>

#include "api/operation.h"
#include "common/debug_log.h"
#include "qel_api.h"
#include "session/state.h"

namespace {

// One kind of subscription. The texts stand as they follow "%s %d" in the log, blanks included; null is not logged.
struct Kind {
    ScriptRequest script;
    std::int32_t request;
    const char* noSession;
    const char* noName;
    const char* emptyName;
    VELA_Log_Level refusedLevel;
};

// clang-format off
constexpr Kind kIclog = {
    {"ops_iclog_subscribe", 36, " Not enough memory", " Not enough memory", " SendRequest Failed"}, 35,
    " session not open", " py_file == NULL", " strlen(py_file) = 0", VELA_LOG_ERROR};
constexpr Kind kIfstate = {
    {"ops_ifm_ifstate_subscribe", 48, " tlv construct error", " tlv construct error", " SendRequest failed"}, 47,
    " session not open", " py_file = NULL", " length of py_file = 0", VELA_LOG_ERROR};
constexpr Kind kRoute = {
    {"ops_route_subscribe", 34, "  tlv init error", " tlv construct error", " SendRequest failed"}, 33,
    " session not open", " py_file = NULL", " length of py_file = 0", VELA_LOG_ERROR};
constexpr Kind kNqa = {
    {"ops_nqa_subscribe", 50, "  Memory use out", "  tlv construct error", " SendRequest error"}, 49,
    " session not open", "  py_file = NULL", "  length of py_file is 0", VELA_LOG_INFO};
constexpr Kind kTrap = {
    {"ops_trap_subscribe", 38, nullptr, nullptr, nullptr}, 37,
    " session not open", nullptr, nullptr, VELA_LOG_ERROR};
// clang-format on

// Elements of every subscription request and its reply.
enum : std::int32_t { kOperation = 0, kTag = 3, kClientFile = 4 };

std::uint32_t fail(const Kind& kind, int line, const char* text, std::uint32_t code = VELA_ERROR) {
    if (text != nullptr)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d%s", kind.script.function, line, text);
    return code;
}

std::uint32_t check_ready(const Kind& kind) {
    if (g_bSessionIsOpen != 1)
        return fail(kind, __LINE__, kind.noSession, VELA_ERROR_NO_SESSION);
    const char* name = py_file;
    if (name == nullptr)
        return fail(kind, __LINE__, kind.noName);
    if (name[0] == '\0')
        return fail(kind, __LINE__, kind.emptyName);
    return VELA_OK;
}

// The elements that every subscription begins with; the kind's own follow.
Elements begin(const Kind& kind, const char* tag) {
    Elements elements;
    elements.Int(kOperation, kind.request).Text(kClientFile, py_file).Text(kTag, tag);
    return elements;
}

std::uint32_t subscribe(const Kind& kind, Elements elements) {
    Frame reply;
    if (!send_script(kind.script, std::move(elements), reply))
        return VELA_ERROR;
    const TlvPtr view = view_operation(reply);
    return is_acknowledged(kind.script, view.get(), kind.refusedLevel) ? VELA_OK : VELA_ERROR;
}

// The level, or number, for which a subscription must narrow down what it asks for.
constexpr std::uint32_t kAnyLevel = 8;

std::size_t length(const char* text) { return text != nullptr ? std::strlen(text) : 0; }

bool refuse(int line, const char* text) {
    fail(kIclog, line, text);
    return false;
}

bool is_specific_log(const char* first, const char* infoAlias, const char* loginfo, std::uint32_t level) {
    if (level != kAnyLevel)
        return true;
    if (length(first) == 0 && length(infoAlias) == 0 && length(loginfo) == 0)
        return refuse(__LINE__, " No parameter, at least one parameter should be input");
    if (length(first) == 0 && length(infoAlias) == 0 && length(loginfo) <= 9)
        return fail(kIclog, __LINE__, " Input loginfo is too short, you should input more information to match") ==
               VELA_OK;
    if (length(loginfo) == 0 && length(infoAlias) == 0 && length(first) < 4)
        return false;
    if (length(loginfo) == 0 && length(first) == 0 && length(infoAlias) < 4)
        return fail(kIclog, __LINE__, " Input infoAlias is too short, you should input more information to match") ==
               VELA_OK;
    return true;
}

// Refuses without a record.
bool is_specific_trap(const char* text2, const char* text3, const char* text4, const char* text5,
                      std::uint32_t number) {
    if (number != kAnyLevel)
        return true;
    const std::size_t t2 = length(text2);
    const std::size_t t3 = length(text3);
    const std::size_t t4 = length(text4);
    const std::size_t t5 = length(text5);
    if (t2 == 0 && t3 == 0 && t5 == 0 && t4 <= 9)
        return false;
    if (t4 == 0 && t2 < 3 && t3 < 3 && t5 < 20)
        return false;
    if (t4 == 0 && t5 == 0 && t3 == 0 && t2 < 4)
        return false;
    return !(t4 == 0 && t5 == 0 && t2 == 0 && t3 < 4);
}

} // namespace

std::uint32_t ops_iclog_subscribe(const char* tag, const char* first, const char* infoAlias, const char* loginfo,
                                  std::uint32_t level) {
    if (const std::uint32_t code = check_ready(kIclog); code != VELA_OK)
        return code;
    if (!is_specific_log(first, infoAlias, loginfo, level))
        return VELA_ERROR;
    Elements elements = begin(kIclog, tag);
    elements.Text(5, first).Text(6, infoAlias).Text(7, loginfo).U32(8, level);
    return subscribe(kIclog, std::move(elements));
}

std::uint32_t ops_ifm_ifstate_subscribe(const char* tag, std::int32_t first, const char* text, std::int32_t second) {
    if (const std::uint32_t code = check_ready(kIfstate); code != VELA_OK)
        return code;
    Elements elements = begin(kIfstate, tag);
    elements.Text(8, "ifstate").Int(5, first).Text(6, text).Int(7, second);
    return subscribe(kIfstate, std::move(elements));
}

std::uint32_t ops_route_subscribe(const char* tag, const char* first, std::uint32_t number, std::uint32_t option1,
                                  std::uint32_t option2, std::uint32_t option3, const char* second, const char* third) {
    if (const std::uint32_t code = check_ready(kRoute); code != VELA_OK)
        return code;
    Elements elements = begin(kRoute, tag);
    elements.Text(5, first).U32(6, number);
    std::int32_t optionTag = 7;
    for (const std::uint32_t option : {option1, option2, option3}) {
        if (option != kNotGiven)
            elements.U32(optionTag, option);
        ++optionTag;
    }
    elements.Text(10, second).Text(11, third);
    return subscribe(kRoute, std::move(elements));
}

std::uint32_t ops_nqa_subscribe(const char* tag, const char* text2, const char* text3, const char* text4,
                                const char* text5, const char* text6, std::uint32_t number) {
    if (const std::uint32_t code = check_ready(kNqa); code != VELA_OK)
        return code;
    Elements elements = begin(kNqa, tag);
    elements.Text(5, text2).Text(6, text3).Text(7, text4).Text(8, text5).Text(9, text6).U32(10, number);
    return subscribe(kNqa, std::move(elements));
}

std::uint32_t ops_trap_subscribe(const char* tag, const char* text2, const char* text3, const char* text4,
                                 const char* text5, std::uint32_t number) {
    if (const std::uint32_t code = check_ready(kTrap); code != VELA_OK)
        return code;
    if (!is_specific_trap(text2, text3, text4, text5, number))
        return VELA_ERROR;
    Elements elements = begin(kTrap, tag);
    elements.Text(5, text2).Text(6, text3).Text(7, text4).Text(8, text5).U32(9, number);
    return subscribe(kTrap, std::move(elements));
}
