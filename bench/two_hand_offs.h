// The tightest client with the library's two thread hand-offs: a reader thread receives, a dispatcher thread copies
// each reply to the caller who waits for it, and the caller sleeps on a semaphore with a time limit.
//
// What makes it tight: one receive of the full size, straight into the queue's next slot; a ring of slots that are
// never allocated again; the wakes posted after the lock is released; of each message only its own bytes copied. Six
// system calls a round trip: send, receive, and for each hand-off one wait and one wake.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

#include <semaphore.h>

#include "bench/local_socket.h"
#include "sim/wire.h"

namespace bench {

class TwoHandOffs {
public:
    TwoHandOffs();
    ~TwoHandOffs(); // ends the connection and joins
    TwoHandOffs(const TwoHandOffs&) = delete;
    TwoHandOffs& operator=(const TwoHandOffs&) = delete;

    // False when there was no reply within 60 seconds. One thread at a time.
    bool round_trip(const std::string& request);

private:
    struct Slot {
        std::size_t size;
        unsigned char bytes[sim::max_message_size];
    };
    static constexpr std::size_t kSlots = 4; // one request in flight: more than are ever in use

    void read();
    void dispatch();
    bool answer_from_ring();

    const Descriptor connection_ = connect_to_service();

    std::mutex lock_; // guards what follows, down to the semaphores
    Slot ring_[kSlots];
    std::size_t first_ = 0;
    std::size_t filled_ = 0;
    bool ended_ = false;
    unsigned char* reply_ = nullptr; // of the caller who waits
    unsigned char expected_ = 0;     // its send id

    sem_t arrived_;
    sem_t replied_;
    std::thread reader_;
    std::thread dispatcher_;
};

} // namespace bench
