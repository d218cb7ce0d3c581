#include "api/event_handles.h"

#include <cstdio>
#include <cstring>
#include <mutex>

#include "common/debug_log.h"

EventHandle g_evtMgr[kEventHandles];

std::int32_t get_new_event_handler(std::uint32_t* evt_hdl) {
    if (evt_hdl == nullptr)
        return 1;
    const std::lock_guard guard(g_evtLock);
    for (std::uint32_t handle = 0; handle < kEventHandles; ++handle) {
        if (g_evtMgr[handle].inUse == 1)
            continue;
        g_evtMgr[handle].inUse = 1;
        *evt_hdl = handle;
        return 0;
    }
    return 1;
}

bool is_handler_valid(std::uint32_t evt_hdl) {
    // The bound is one past the last record; that one is never taken.
    if (evt_hdl > kEventHandles)
        return false;
    const std::lock_guard guard(g_evtLock);
    return evt_hdl < kEventHandles && g_evtMgr[evt_hdl].inUse != 0;
}

void give_back_event_handle(std::uint32_t evt_hdl) {
    const std::lock_guard guard(g_evtLock);
    g_evtMgr[evt_hdl].inUse = 0;
}

void free_event_handle(std::uint32_t evt_hdl) {
    const std::lock_guard guard(g_evtLock);
    g_evtMgr[evt_hdl] = EventHandle{};
}

void clear_event_handles() {
    const std::lock_guard guard(g_evtLock);
    for (EventHandle& handle : g_evtMgr)
        handle = EventHandle{};
}

bool is_tag_in_expression(std::uint32_t evt_hdl, const char* tag) {
    const std::lock_guard guard(g_evtLock);
    return std::strstr(g_evtMgr[evt_hdl].expression, tag) != nullptr;
}

namespace {

constexpr std::size_t kLongestLinked = 256;
constexpr std::size_t kExpressionSize = sizeof EventHandle::expression;

// What is wrong, or null when the tag was added.
const char* link(char* dst, const char* src) {
    if (dst == nullptr)
        return "Invalid param dst == NULL";
    if (src == nullptr)
        return "Invalid param src == NULL";
    const std::size_t length = std::strlen(dst);
    if (length > kLongestLinked)
        return "Invalid dest len";
    std::snprintf(dst + length, kExpressionSize - length, "%s%s", length != 0 ? " or " : "", src);
    return nullptr;
}

void log_complaint(const char* complaint) {
    if (complaint != nullptr)
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d %s", "link_correlate_str", __LINE__, complaint);
}

} // namespace

void link_correlate_str(char* dst, const char* src) { log_complaint(link(dst, src)); }

void link_tag(std::uint32_t evt_hdl, const char* tag) {
    const char* complaint = nullptr;
    {
        const std::lock_guard guard(g_evtLock);
        complaint = link(g_evtMgr[evt_hdl].expression, tag);
    }
    log_complaint(complaint);
}

std::string expression_of(std::uint32_t evt_hdl) {
    const std::lock_guard guard(g_evtLock);
    return g_evtMgr[evt_hdl].expression;
}

std::string registration_name_of(std::uint32_t evt_hdl) {
    const std::lock_guard guard(g_evtLock);
    return g_evtMgr[evt_hdl].name;
}

void set_registration_name(std::uint32_t evt_hdl, const char* name) {
    const std::lock_guard guard(g_evtLock);
    std::snprintf(g_evtMgr[evt_hdl].name, sizeof EventHandle::name, "%s", name);
}
