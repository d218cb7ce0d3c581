#include "common/th_lock.h"

CThLock::CThLock() { pthread_mutex_init(&mutex_, nullptr); }

CThLock::~CThLock() {
    if (valid_ == 0)
        return;
    valid_ = 0;
    pthread_mutex_destroy(&mutex_);
}

void CThLock::lock() {
    if (valid_ != 0)
        pthread_mutex_lock(&mutex_);
}

void CThLock::unlock() {
    if (valid_ != 0)
        pthread_mutex_unlock(&mutex_);
}
