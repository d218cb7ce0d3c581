// CThLock: a mutex with default attributes that ignores being used after its destruction.
#pragma once

#include <cstdint>
#include <pthread.h>

#include "common/relaxed.h"

class CThLock {
public:
    CThLock();
    ~CThLock(); // a second destruction does nothing
    CThLock(const CThLock&) = delete;
    CThLock& operator=(const CThLock&) = delete;

    void lock();
    void unlock();

private:
    Relaxed<std::int32_t> valid_{1};
    pthread_mutex_t mutex_;
};
