#include "common/service_thread.h"

#include <cerrno>
#include <mutex>

#include "common/block_signals.h"

bool ServiceThread::Start(Entry entry, void* argument) {
    const BlockSignals blocked;
    const std::lock_guard guard(lock_);
    pthread_t id{};
    if (pthread_create(&id, nullptr, entry, argument) != 0)
        return true;
    id_ = id;
    running_ = true;
    return false;
}

int ServiceThread::Cancel() {
    const std::lock_guard guard(lock_);
    return running_ ? pthread_cancel(id_) : ESRCH;
}

ServiceThread::Life::Life(ServiceThread& thread) : thread_(thread) { pthread_detach(pthread_self()); }

ServiceThread::Life::~Life() {
    const std::lock_guard guard(thread_.lock_);
    if (thread_.running_ && pthread_equal(thread_.id_, pthread_self()) != 0)
        thread_.running_ = false;
}
