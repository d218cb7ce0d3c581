// The library's one way to the service is led here when the targets are linked, and so is the system's log.
#include "tests/fuzz/service.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string>

#include "session/session.h"
#include "session/state.h"

namespace {

std::string reply_elements;

template <class Number> void append(std::string& to, Number number) {
    to.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void append_element(std::string& to, std::int32_t tag, std::string_view value) {
    append(to, tag);
    append(to, static_cast<std::int32_t>(value.size()));
    to.append(value);
}

void append_number(std::string& to, std::int32_t tag, std::int32_t number) {
    append(to, tag);
    append(to, std::int32_t{4});
    append(to, number);
}

} // namespace

void fuzz::open_everything() {
    g_bVelaIsInit = 1;
    g_bSessionIsOpen = 1;
    g_bCliIsOpen = 1;
    g_uiCliHdl = 3;
    std::strcpy(file_name, "fuzz");
    py_file = file_name;
}

void fuzz::answer_with(std::string_view elements) {
    reply_elements = elements.substr(0, g_data_size - g_head_size - g_body_fix_len);
}

void fuzz::print(std::string_view output) {
    std::string elements;
    append_number(elements, 0, 18); // a command's acknowledgement
    append_number(elements, 1, 0);
    append_element(elements, 9, std::string(output.substr(0, 7'000)) + '\0');
    answer_with(elements);
}

extern "C" {

// CSession::SendRequest
std::uint32_t __wrap__ZN8CSession11SendRequestEP11tagMSG_DATAS1_(CSession*, tagMSG_DATA*, tagMSG_DATA* reply) {
    reply->version = 1;
    reply->type = OPERATION_RESPONSE;
    reply->sessionId = 7;
    reply->totalLength = static_cast<std::uint16_t>(g_head_size + g_body_fix_len + reply_elements.size());
    std::copy(reply_elements.begin(), reply_elements.end(), reply->body + g_body_fix_len);
    return 0;
}

// Records are not looked at, and would only take time.
void __wrap_openlog(const char*, int, int) {}
void __wrap_syslog(int, const char*, ...) {}
void __wrap___syslog_chk(int, int, const char*, ...) {}
void __wrap_closelog() {}
}
