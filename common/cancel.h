// Where a thread may be cancelled. Library threads start with cancellation off and turn it on only while they wait, so
// a cancelled thread never leaves a lock, a half-written record or a running callback behind.
#pragma once

#include <pthread.h>

template <int State> class CancelState {
public:
    CancelState() { pthread_setcancelstate(State, &previous_); }
    ~CancelState() { pthread_setcancelstate(previous_, nullptr); }
    CancelState(const CancelState&) = delete;
    CancelState& operator=(const CancelState&) = delete;

private:
    int previous_ = PTHREAD_CANCEL_DISABLE;
};

using CancelOff = CancelState<PTHREAD_CANCEL_DISABLE>;
using CancelOn = CancelState<PTHREAD_CANCEL_ENABLE>;
