#include "common/sem.h"

#include <ctime>

#include "common/debug_log.h"

Sem::Sem() {
    if (sem_init(&sem_, 0, 0) == -1)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d sem_init failed", VELA_HERE);
}

std::int32_t Sem::SemWait() {
    const int result = sem_wait(&sem_);
    if (result == -1)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d sem_wait failed", VELA_HERE);
    return result;
}

std::int32_t Sem::SemPost() {
    const int result = sem_post(&sem_);
    if (result == -1)
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d sem_post failed", VELA_HERE);
    return result;
}

std::int32_t Sem::SemTimedWait(std::int32_t seconds) {
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += seconds;
    return sem_timedwait(&sem_, &limit);
}
