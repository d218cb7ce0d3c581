// The library's three objects, built when it is loaded, in this order.
//
// The library's threads are detached and may still run while the process ends, so nothing that they use is destroyed
// then; the system closes the connection.
#include <new>

#include "api/event_handles.h"
#include "api/event_registry.h"
#include "session/session.h"
#include "session/socket.h"

namespace {

template <class T> union NeverDestroyed {
    NeverDestroyed() : object() {}
    ~NeverDestroyed() {}
    T object;
};

NeverDestroyed<CSession> session;
NeverDestroyed<CTcpSocket> socketObject;

} // namespace

CSession& g_session = session.object;
CTcpSocket& g_sock = socketObject.object;

namespace {
NeverDestroyed<CEventMgr> registry;
NeverDestroyed<CThLock> eventLock;
} // namespace

CEventMgr& g_evt = registry.object;
CThLock& g_evtLock = eventLock.object;
