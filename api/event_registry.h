// The event registry: which callback answers to which registration name, and which kind was added under which tag. It
// is guarded by the events' leaf lock, which is never held across a callback, a request or a record.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "api/event_handles.h"
#include "qel_api.h"
#include "session/message.h"

class CEventMgr {
public:
    std::int32_t RegEvent(const char* name, fEventCallBack callback); // 0; 1 empty or known name; 4 null callback
    std::int32_t UnRegEvent(const char* name);                        // 0, or 1 for an unknown name
    void SaveEventTag(const char* tag, tagVELA_EVENT kind);

    void ClearRes(); // empties both maps

    // The same for a handle, each in one step with its record. Once the record is not of this taking any more, nothing
    // is done: a hang-up may come right behind the service's answer.
    static constexpr std::int32_t kGone = -1;
    std::int32_t Register(const Taking& taking, const char* name, fEventCallBack callback); // or kGone
    std::int32_t Withdraw(const Taking& taking); // frees the record too; a lost one has no name
    bool AddTag(const Taking& taking, const char* tag, tagVELA_EVENT kind);

    // Finds the callback of one pushed event and calls it.
    void EventNotify(tagMSG_DATA* message);

private:
    // The caller holds the lock.
    bool Add(const char* name, fEventCallBack callback);
    bool Remove(const char* name);

    fEventCallBack CallbackOf(const char* name);
    tagVELA_EVENT KindOf(const char* tag);

    std::map<std::string, fEventCallBack, std::less<>> callbacks_;
    std::map<std::string, tagVELA_EVENT, std::less<>> tags_;
};

extern CEventMgr& g_evt;
