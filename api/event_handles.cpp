#include "api/event_handles.h"

#include <cstdio>
#include <cstring>
#include <mutex>

#include "common/debug_log.h"

EventHandle g_evtMgr[kEventHandles];

namespace {
std::uint32_t takings[kEventHandles]; // how often each was taken
} // namespace

std::int32_t get_new_event_handler(std::uint32_t* evt_hdl, Taking* taking) {
    if (evt_hdl == nullptr)
        return 1;
    const std::lock_guard guard(g_evtLock);
    for (std::uint32_t handle = 0; handle < kEventHandles; ++handle) {
        if (g_evtMgr[handle].inUse == 1)
            continue;
        g_evtMgr[handle].inUse = 1;
        ++takings[handle];
        *evt_hdl = handle;
        if (taking != nullptr)
            *taking = Taking{handle, takings[handle]};
        return 0;
    }
    return 1;
}

bool is_handler_valid(std::uint32_t evt_hdl, Taking* taking) {
    // The bound is one past the last record; that one is never taken.
    if (evt_hdl > kEventHandles)
        return false;
    const std::lock_guard guard(g_evtLock);
    if (evt_hdl >= kEventHandles || g_evtMgr[evt_hdl].inUse == 0)
        return false;
    if (taking != nullptr)
        *taking = Taking{evt_hdl, takings[evt_hdl]};
    return true;
}

bool is_still_taken(const Taking& taking) {
    const std::lock_guard guard(g_evtLock);
    return record_of(taking) != nullptr;
}

EventHandle* record_of(const Taking& taking) {
    EventHandle& record = g_evtMgr[taking.handle];
    return record.inUse != 0 && takings[taking.handle] == taking.number ? &record : nullptr;
}

void give_back_event_handle(const Taking& taking) {
    const std::lock_guard guard(g_evtLock);
    if (EventHandle* record = record_of(taking); record != nullptr)
        record->inUse = 0;
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

} // namespace

const char* try_link_correlate_str(char* dst, const char* src) {
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

void log_not_linked(const char* complaint) {
    if (complaint != nullptr)
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d %s", "link_correlate_str", __LINE__, complaint);
}

void link_correlate_str(char* dst, const char* src) { log_not_linked(try_link_correlate_str(dst, src)); }

std::string expression_of(std::uint32_t evt_hdl) {
    const std::lock_guard guard(g_evtLock);
    return g_evtMgr[evt_hdl].expression;
}
