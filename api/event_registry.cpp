#include "api/event_registry.h"

#include <cstdio>
#include <mutex>
#include <new>

#include "api/event_handles.h"
#include "common/debug_log.h"
#include "session/event_seam.h"
#include "tlv/ops_tlv.h"

namespace {

std::int32_t check_registration(const char* name, fEventCallBack callback) {
    if (callback == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cb == NULL", "RegEvent", __LINE__);
        return 4;
    }
    if (name[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "RegEvent s_filename == NULL");
        return 1;
    }
    return 0;
}

std::int32_t registered(bool added, const char* name) {
    if (!added)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s has been register", "RegEvent", __LINE__, name);
    return added ? 0 : 1;
}

std::int32_t withdrawn(bool removed, const char* name) {
    if (name[0] == '\0')
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "UnRegEvent s_filename == NULL");
    else if (!removed)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s not exsit", "UnRegEvent", __LINE__, name);
    return removed ? 0 : 1;
}

} // namespace

std::int32_t CEventMgr::RegEvent(const char* name, fEventCallBack callback) {
    if (const std::int32_t code = check_registration(name, callback); code != 0)
        return code;
    bool added = false;
    {
        const std::lock_guard guard(g_evtLock);
        added = Add(name, callback);
    }
    return registered(added, name);
}

std::int32_t CEventMgr::Register(const Taking& taking, const char* name, fEventCallBack callback) {
    if (const std::int32_t code = check_registration(name, callback); code != 0)
        return code;
    bool added = false;
    {
        const std::lock_guard guard(g_evtLock);
        EventHandle* record = record_of(taking);
        if (record == nullptr)
            return kGone;
        std::snprintf(record->name, sizeof record->name, "%s", name);
        added = Add(name, callback);
    }
    return registered(added, name);
}

std::int32_t CEventMgr::UnRegEvent(const char* name) {
    bool removed = false;
    {
        const std::lock_guard guard(g_evtLock);
        removed = Remove(name);
    }
    return withdrawn(removed, name);
}

std::int32_t CEventMgr::Withdraw(const Taking& taking) {
    char name[sizeof EventHandle::name] = "";
    bool removed = false;
    {
        const std::lock_guard guard(g_evtLock);
        EventHandle* record = record_of(taking);
        if (record != nullptr) {
            std::snprintf(name, sizeof name, "%s", record->name);
            removed = Remove(name);
        }
        if (removed)
            *record = EventHandle{};
    }
    return withdrawn(removed, name);
}

bool CEventMgr::Add(const char* name, fEventCallBack callback) { return callbacks_.emplace(name, callback).second; }

bool CEventMgr::Remove(const char* name) {
    const auto found = callbacks_.find(name);
    if (found == callbacks_.end())
        return false;
    callbacks_.erase(found);
    tags_.clear(); // the tags of every handle, as promised: what still arrives under them has kind 0
    return true;
}

void CEventMgr::SaveEventTag(const char* tag, tagVELA_EVENT kind) {
    const std::lock_guard guard(g_evtLock);
    tags_[tag] = kind;
}

bool CEventMgr::AddTag(const Taking& taking, const char* tag, tagVELA_EVENT kind) {
    const char* complaint = nullptr;
    {
        const std::lock_guard guard(g_evtLock);
        EventHandle* record = record_of(taking);
        if (record == nullptr)
            return false;
        tags_[tag] = kind;
        complaint = try_link_correlate_str(record->expression, tag);
    }
    log_not_linked(complaint);
    return true;
}

void CEventMgr::ClearRes() {
    const std::lock_guard guard(g_evtLock);
    callbacks_.clear();
    tags_.clear();
}

void CEventMgr::EventNotify(tagMSG_DATA* message) {
    const TlvPtr event(tlv_init(reinterpret_cast<char*>(message->body) + g_body_fix_len,
                                message->totalLength - g_head_size - g_body_fix_len, 0));
    const char* name = tlv_get_text(event.get(), 1);
    if (name == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d file_name == NULL", VELA_HERE);
        return;
    }
    const char* tag = tlv_get_text(event.get(), 2);
    if (tag == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d tag == NULL", VELA_HERE);
        return;
    }
    const fEventCallBack callback = CallbackOf(name);
    if (callback == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d canot find this CALLBACK function", VELA_HERE);
        return;
    }
    callback(message->sessionId, tag, KindOf(tag), tlv_get_text(event.get(), 3), 0);
}

fEventCallBack CEventMgr::CallbackOf(const char* name) {
    const std::lock_guard guard(g_evtLock);
    const auto found = callbacks_.find(name);
    return found != callbacks_.end() ? found->second : nullptr;
}

// A tag that nobody added on this process is entered with kind 0. Short of memory it is delivered so all the same.
tagVELA_EVENT CEventMgr::KindOf(const char* tag) {
    const std::lock_guard guard(g_evtLock);
    const auto found = tags_.find(tag);
    if (found != tags_.end())
        return found->second;
    try {
        tags_.emplace(tag, VELA_EVENT_ICLOG);
    } catch (const std::bad_alloc&) {
    }
    return VELA_EVENT_ICLOG;
}

// What the session layer asks for

void deliver_event(tagMSG_DATA* message) { g_evt.EventNotify(message); }

// The handles first: a callback or a tag that comes in between finds its handle gone.
void forget_events() {
    clear_event_handles();
    g_evt.ClearRes();
}
