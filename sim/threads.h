// How the simulator starts its threads: with every signal blocked, so that a program's signals reach its own threads
// and no send or receive in here is interrupted.
#pragma once

#include <csignal>
#include <thread>
#include <utility>

#include <pthread.h>

namespace sim {

template <class Body> std::thread start_thread(Body&& body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread thread(std::forward<Body>(body));
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return thread;
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
}

} // namespace sim
