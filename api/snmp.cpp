// Reads one object, or the one that follows. The two differ in their order of checks, their log texts and how they size
// what they hand out, as promised.
#include "api/snmp.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "api/frame.h"
#include "api/operation.h"
#include "common/heap_text.h"
#include "session/state.h"

namespace {

// Elements of requests and replies.
enum : std::int32_t {
    kOperation = 0,
    kClientFile = 4,
    kOid = 5,
    kValue = 6,
    kNextOid = 7,
    kNextValue = 8,
};

enum : std::int32_t { kGet = 21, kGot = 22, kGetNext = 23, kGotNext = 24 };

constexpr ScriptRequest kGetRequest = {"vela_snmp_get_imp", kGot, " Memory use out", " tlv construct error",
                                       " SendRequest failed"};
constexpr ScriptRequest kGetNextRequest = {"vela_snmp_get_next_imp", kGotNext, " memory use out",
                                           " tlv construct failed", " SendRequest failed"};

// Asks and views the reply, which the service has then accepted; null when not, which was recorded.
TlvPtr ask(const ScriptRequest& what, std::int32_t operation, const char* oid, Frame& reply) {
    Elements elements;
    elements.Int(kOperation, operation).Text(kClientFile, py_file).Text(kOid, oid);
    if (!send_script(what, std::move(elements), reply))
        return nullptr;
    TlvPtr view = view_operation(reply);
    if (!is_acknowledged(what, view.get()) || !has_no_error(what, view.get(), " "))
        return nullptr;
    return view;
}

} // namespace

std::int32_t vela_snmp_get_imp(const char* oid, char** snmp_resp) {
    if (snmp_resp == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d snmp_resp = NULL", VELA_HERE);
        return VELA_ERROR_PARAM;
    }
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d please open session first", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (oid == nullptr || oid[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d oid == NULL or length of oid = 0", VELA_HERE);
        return VELA_ERROR;
    }
    if (!has_client_name()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d filename = NULL or length of filename = 0", VELA_HERE);
        return VELA_ERROR;
    }

    Frame reply;
    const TlvPtr view = ask(kGetRequest, kGet, oid, reply);
    if (view == nullptr)
        return VELA_ERROR;
    const char* value = tlv_get_text(view.get(), kValue);
    if (value == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d no value in reply", VELA_HERE);
        return VELA_ERROR;
    }
    std::int32_t size = 0; // as the service states it, its NUL included
    tlv_get_data(view.get(), kValue, &size);
    char* copy = static_cast<char*>(std::malloc(static_cast<std::size_t>(size)));
    if (copy == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d    memeory use out. %s", VELA_HERE, value);
        return VELA_ERROR;
    }
    std::strncpy(copy, value, static_cast<std::size_t>(size));
    *snmp_resp = copy;
    return VELA_OK;
}

std::int32_t vela_snmp_get_next_imp(const char* oid, char** next_oid, char** resp) {
    if (next_oid == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d next_oid = NULL", VELA_HERE);
        return VELA_ERROR_PARAM;
    }
    if (resp == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d resp = NULL", VELA_HERE);
        return VELA_ERROR_PARAM;
    }
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session not open", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (oid == nullptr || oid[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid oid", VELA_HERE);
        return VELA_ERROR;
    }
    if (!has_client_name()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid py_file", VELA_HERE);
        return VELA_ERROR;
    }

    Frame reply;
    const TlvPtr view = ask(kGetNextRequest, kGetNext, oid, reply);
    if (view == nullptr)
        return VELA_ERROR;
    const char* value = tlv_get_text(view.get(), kNextValue);
    const char* next = tlv_get_text(view.get(), kNextOid);
    if (value == nullptr || next == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d no value in reply", VELA_HERE);
        return VELA_ERROR;
    }
    HeapText valueCopy = copy_of(value);
    HeapText nextCopy = copy_of(next);
    if (valueCopy == nullptr || nextCopy == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d memory use out", VELA_HERE);
        return VELA_ERROR;
    }
    *resp = valueCopy.release();
    *next_oid = nextCopy.release();
    return VELA_OK;
}

std::int32_t vela_snmp_set_imp(char*, char*) { return VELA_ERROR; }

std::int32_t vela_snmp_get(const char* oid, char** snmp_resp) {
    return exported(__func__, [&] { return vela_snmp_get_imp(oid, snmp_resp); });
}

std::int32_t vela_snmp_get_next(const char* oid, char** next_oid, char** resp) {
    return exported(__func__, [&] { return vela_snmp_get_next_imp(oid, next_oid, resp); });
}
