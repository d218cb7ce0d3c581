// One of the library's service threads: detached, all signals but the synchronous ones blocked, cancelled only while it
// waits.
//
// The handle may be cancelled at any time, before the thread was started and after it ended included: the thread takes
// its id back under the handle's lock before it ends, so no dead id is ever used. Starting a second thread on a handle
// leaves the first to itself.
#pragma once

#include <pthread.h>

#include "common/cancel.h"
#include "common/relaxed.h"
#include "common/th_lock.h"

class ServiceThread {
public:
    using Entry = void* (*)(void*);

    // True when the thread could not be created.
    bool Start(Entry entry, void* argument);

    // Asks the thread to end at its next wait. 0, ESRCH where there is no such thread, or the system's error.
    int Cancel();

    // The first thing on a service thread's stack: detaches it and turns cancellation off; on the way out, however the
    // thread ends, takes the id back.
    class Life {
    public:
        explicit Life(ServiceThread& thread);
        ~Life();
        Life(const Life&) = delete;
        Life& operator=(const Life&) = delete;

    private:
        const CancelOff fromTheStart_;
        ServiceThread& thread_;
    };

private:
    // The lock orders what follows; it is atomic too because a race detector loses sight of a lock that a thread takes
    // while it is being cancelled.
    CThLock lock_;
    Relaxed<pthread_t> id_;
    Relaxed<bool> running_;
};
