// Sem: an unnamed counting semaphore of this process, count 0 at construction. It is never destroyed, because the
// library's threads may still wait on it when the process ends. Waits are not restarted after a signal.
#pragma once

#include <cstdint>
#include <semaphore.h>

class Sem {
public:
    Sem();
    Sem(const Sem&) = delete;
    Sem& operator=(const Sem&) = delete;

    // Waits without limit; 0 when taken, -1 (logged) otherwise.
    std::int32_t SemWait();

    // Adds one; 0, or -1 (logged).
    std::int32_t SemPost();

    // Waits at most that many seconds of the real-time clock; 0 when taken. -1 otherwise, unlogged, and errno tells
    // the limit (ETIMEDOUT) from a signal (EINTR).
    std::int32_t SemTimedWait(std::int32_t seconds);

private:
    sem_t sem_;
};
