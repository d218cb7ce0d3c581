#include "api/event_registry.h"

#include <cstring>
#include <mutex>
#include <new>

#include "api/event_handles.h"
#include "common/debug_log.h"
#include "session/event_seam.h"
#include "tlv/ops_tlv.h"

std::int32_t CEventMgr::RegEvent(const char* name, fEventCallBack callback) {
    if (callback == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cb == NULL", VELA_HERE);
        return 4;
    }
    if (name[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "RegEvent s_filename == NULL");
        return 1;
    }
    if (!Add(name, callback)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s has been register", VELA_HERE, name);
        return 1;
    }
    return 0;
}

std::int32_t CEventMgr::UnRegEvent(const char* name) {
    if (name[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "UnRegEvent s_filename == NULL");
        return 1;
    }
    if (!Remove(name)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s not exsit", VELA_HERE, name);
        return 1;
    }
    return 0;
}

bool CEventMgr::Add(const char* name, fEventCallBack callback) {
    const std::lock_guard guard(g_evtLock);
    return callbacks_.emplace(name, callback).second;
}

bool CEventMgr::Remove(const char* name) {
    const std::lock_guard guard(g_evtLock);
    const auto found = callbacks_.find(name);
    if (found == callbacks_.end())
        return false;
    callbacks_.erase(found);
    tags_.clear(); // the tags of every handle, as promised: what still arrives under them has kind 0
    return true;
}

void CEventMgr::Forget(const char* name) {
    const std::lock_guard guard(g_evtLock);
    callbacks_.erase(name);
}

void CEventMgr::SaveEventTag(const char* tag, tagVELA_EVENT kind) {
    const std::lock_guard guard(g_evtLock);
    tags_[tag] = kind;
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

// The handles first: a callback that is registered in between finds its handle gone and is forgotten again.
void forget_events() {
    clear_event_handles();
    g_evt.ClearRes();
}
