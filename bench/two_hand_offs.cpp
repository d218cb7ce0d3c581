#include "bench/two_hand_offs.h"

#include <cerrno>
#include <cstring>
#include <ctime>

namespace bench {

namespace {

constexpr std::size_t kSendId = 2;
constexpr time_t kTimeOutSeconds = 60;

void wait(sem_t& semaphore) {
    while (sem_wait(&semaphore) == -1 && errno == EINTR) {
    }
}

} // namespace

TwoHandOffs::TwoHandOffs() {
    sem_init(&arrived_, 0, 0);
    sem_init(&replied_, 0, 0);
    reader_ = std::thread([this] { read(); });
    dispatcher_ = std::thread([this] { dispatch(); });
}

TwoHandOffs::~TwoHandOffs() {
    shutdown(connection_, SHUT_RDWR);
    reader_.join();
    dispatcher_.join();
    sem_destroy(&arrived_);
    sem_destroy(&replied_);
}

bool TwoHandOffs::round_trip(const std::string& request) {
    unsigned char reply[sim::max_message_size];
    {
        const std::lock_guard guard(lock_);
        reply_ = reply;
        expected_ = static_cast<unsigned char>(request[kSendId]);
    }
    if (send(connection_, request.data(), request.size(), MSG_NOSIGNAL) == -1)
        return false;

    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += kTimeOutSeconds;
    return sem_timedwait(&replied_, &limit) == 0;
}

// The next slot is the reader's alone until it is counted as filled.
void TwoHandOffs::read() {
    for (std::size_t next = 0;; next = (next + 1) % kSlots) {
        const ssize_t n = recv(connection_, ring_[next].bytes, sizeof ring_[next].bytes, 0);
        {
            const std::lock_guard guard(lock_);
            ended_ = n <= 0;
            if (!ended_) {
                ring_[next].size = static_cast<std::size_t>(n);
                ++filled_;
            }
        }
        sem_post(&arrived_);
        if (n <= 0)
            return;
    }
}

void TwoHandOffs::dispatch() {
    for (;;) {
        wait(arrived_);
        bool answered = false;
        {
            const std::lock_guard guard(lock_);
            if (ended_)
                return;
            answered = answer_from_ring();
        }
        if (answered)
            sem_post(&replied_);
    }
}

// Empties the ring. True when the caller has its reply.
bool TwoHandOffs::answer_from_ring() {
    bool answered = false;
    for (; filled_ != 0; --filled_, first_ = (first_ + 1) % kSlots) {
        const Slot& message = ring_[first_];
        if (reply_ == nullptr || message.bytes[kSendId] != expected_)
            continue;
        std::memcpy(reply_, message.bytes, message.size);
        reply_ = nullptr;
        answered = true;
    }
    return answered;
}

} // namespace bench
