// Has the service write a message into the device's system log.
#include "api/frame.h"
#include "api/operation.h"
#include "session/session.h"
#include "session/state.h"

namespace {

// Elements of the request. The client's name has a tag of its own here.
enum : std::int32_t { kOperation = 0, kText3 = 7, kText2 = 8, kClientFile = 9, kText1 = 10 };

enum : std::int32_t { kWrite = 3, kWritten = 4 };

constexpr ScriptRequest kRequest = {"vela_syslog", kWritten, "   memory use out", "   memory use out",
                                    " SendRequest Failed"};

std::int32_t write_message(const char* text1, const char* text2, const char* text3) {
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session not open", kRequest.function, __LINE__);
        return VELA_ERROR_NO_SESSION;
    }

    Elements elements;
    elements.Int(kOperation, kWrite).Text(kText3, text3).Text(kClientFile, py_file);
    elements.Text(kText2, text2).Text(kText1, text1);
    Frame reply;
    if (!send_script(kRequest, std::move(elements), reply))
        return VELA_ERROR;
    const TlvPtr view = view_operation(reply);
    return is_acknowledged(kRequest, view.get()) ? VELA_OK : VELA_ERROR;
}

} // namespace

std::int32_t vela_syslog(const char* text1, const char* text2, const char* text3) {
    return exported(__func__, [&] { return write_message(text1, text2, text3); });
}
