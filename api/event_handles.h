// The table of event handles: which are taken, under which name each was registered, and its tags. Each function is one
// step under the events' leaf lock.
#pragma once

#include <cstdint>
#include <string>

#include "common/th_lock.h"

constexpr std::uint32_t kEventHandles = 16;

struct EventHandle {
    std::uint8_t inUse;
    char name[100];       // the registration name, set when the callback is registered
    char expression[400]; // the handle's tags, joined by " or "
};
static_assert(sizeof(EventHandle) == 501);

extern EventHandle g_evtMgr[kEventHandles];

// Guards the table and the registry's maps.
extern CThLock& g_evtLock;

// One taking of a handle. Its record may be freed at any time, by the end of the connection too, and then be taken
// anew; so what a call wants to write behind the service's answer is written only while the record is still of its
// taking.
struct Taking {
    std::uint32_t handle;
    std::uint32_t number;
};

// Takes the first free handle. 0; 1 when evt_hdl is null or all are taken.
std::int32_t get_new_event_handler(std::uint32_t* evt_hdl, Taking* taking = nullptr);

// taking: where to put the present taking of a valid handle.
bool is_handler_valid(std::uint32_t evt_hdl, Taking* taking = nullptr);

bool is_still_taken(const Taking& taking);

// The record, or null when it is not of this taking any more. The caller holds the lock.
EventHandle* record_of(const Taking& taking);

// Frees the record as it stands, its texts stay; unless it is not of this taking any more.
void give_back_event_handle(const Taking& taking);

// Frees and empties every record.
void clear_event_handles();

// True when the tag stands anywhere in the handle's expression, as part of another tag or of the joining word too.
bool is_tag_in_expression(std::uint32_t evt_hdl, const char* tag);

// Adds a tag to an expression of at most 400 bytes, joined by " or ". An expression of more than 256 characters is left
// alone; one that grows past 399 is cut.
void link_correlate_str(char* dst, const char* src);

// Its two halves, for those who hold the lock meanwhile: what is wrong, or null when the tag was added; and its record.
const char* try_link_correlate_str(char* dst, const char* src);
void log_not_linked(const char* complaint); // null: none

std::string expression_of(std::uint32_t evt_hdl);
