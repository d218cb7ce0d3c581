// Loaded into every program of a test run, this holds threads up at random where others may then overtake them: when
// one starts, sends, receives, wakes another, lets go of a lock, logs. A test that holds only while nobody is late
// fails.
//
// Each thread has its own weak places: at most kinds of calls it is seldom late, at a few it often is. Some threads
// also run only when nobody else wants the processor, so that on a busy machine they are overtaken between any two
// instructions. The delays are no cancellation points, and leave errno as it was. A thread stops being delayed after
// some thousand calls, so that long tests end.
#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <memory>

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

namespace {

enum Place {
    creating,
    starting,
    locking,
    unlocking,
    waking,
    woken,
    connecting,
    sending,
    receiving,
    closing,
    logging,
    places
};

thread_local std::uint32_t random_state = 0;

std::uint32_t next_random() {
    if (random_state == 0) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        random_state =
            (static_cast<std::uint32_t>(gettid()) * 2654435761U ^ static_cast<std::uint32_t>(now.tv_nsec)) | 1U;
    }
    random_state ^= random_state << 13;
    random_state ^= random_state >> 17;
    random_state ^= random_state << 5;
    return random_state;
}

// One call in so many is late, by up to so many microseconds.
struct Habit {
    std::uint32_t one_in = 0;
    std::uint32_t microseconds = 0;
};

Habit draw_habit() {
    switch (next_random() % 8) {
    case 0:
        return {2, 1'000};
    case 1:
        return {4, 20'000};
    case 2:
        return {1'000'000, 1};
    default:
        return {50, 2'000};
    }
}

struct Mood {
    unsigned calls = 0;
    std::array<Habit, places> habits{};
};

// Drawn at a thread's first call.
Mood& mood() {
    thread_local Mood mine;
    thread_local bool drawn = false;
    if (!drawn) {
        drawn = true;
        for (Habit& habit : mine.habits)
            habit = draw_habit();
    }
    return mine;
}

void hold_up(Place place) {
    constexpr unsigned most_calls = 2'000;
    Mood& mine = mood();
    const Habit habit = mine.habits[place];
    if (++mine.calls > most_calls || next_random() % habit.one_in != 0)
        return;
    const int before = errno;
    const timespec delay{0, static_cast<long>(next_random() % habit.microseconds) * 1'000};
    syscall(SYS_nanosleep, &delay, nullptr);
    errno = before;
}

// Three threads of ten give way to everybody. What a thread inherits is undone first, which takes root's rights.
void give_way_at_times() {
    const sched_param none{};
    const std::uint32_t drawn = next_random() % 10;
    sched_setscheduler(0, drawn == 0 ? SCHED_IDLE : SCHED_OTHER, &none);
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), drawn == 1 || drawn == 2 ? 19 : 0);
}

template <class Function> Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

struct Start {
    void* (*function)(void*);
    void* argument;
};

void* start_late(void* heap_start) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(heap_start));
    give_way_at_times();
    hold_up(starting);
    return start.function(start.argument);
}

__attribute__((constructor)) void start() { give_way_at_times(); }

} // namespace

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
    static auto* const real = next<decltype(pthread_create)>("pthread_create");
    auto start = std::make_unique<Start>(Start{function, argument});
    const int error = real(thread, attributes, start_late, start.get());
    if (error != 0)
        return error;
    static_cast<void>(start.release()); // the thread's now
    hold_up(creating);
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = next<decltype(pthread_mutex_lock)>("pthread_mutex_lock");
    hold_up(locking);
    return real(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = next<decltype(pthread_mutex_unlock)>("pthread_mutex_unlock");
    const int result = real(mutex);
    hold_up(unlocking);
    return result;
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    static auto* const real = next<decltype(pthread_cond_signal)>("pthread_cond_signal");
    const int result = real(condition);
    hold_up(waking);
    return result;
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    static auto* const real = next<decltype(pthread_cond_broadcast)>("pthread_cond_broadcast");
    const int result = real(condition);
    hold_up(waking);
    return result;
}

int sem_post(sem_t* semaphore) noexcept {
    static auto* const real = next<decltype(sem_post)>("sem_post");
    const int result = real(semaphore);
    hold_up(waking);
    return result;
}

int sem_wait(sem_t* semaphore) {
    static auto* const real = next<decltype(sem_wait)>("sem_wait");
    const int result = real(semaphore);
    hold_up(woken);
    return result;
}

int sem_timedwait(sem_t* semaphore, const timespec* limit) {
    static auto* const real = next<decltype(sem_timedwait)>("sem_timedwait");
    const int result = real(semaphore, limit);
    hold_up(woken);
    return result;
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    static auto* const real = next<decltype(poll)>("poll");
    const int result = real(descriptors, count, milliseconds);
    hold_up(woken);
    return result;
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    static auto* const real = next<decltype(connect)>("connect");
    const int result = real(descriptor, address, length);
    hold_up(connecting);
    return result;
}

int accept(int descriptor, sockaddr* address, socklen_t* length) {
    static auto* const real = next<decltype(accept)>("accept");
    const int result = real(descriptor, address, length);
    hold_up(connecting);
    return result;
}

int accept4(int descriptor, sockaddr* address, socklen_t* length, int flags) {
    static auto* const real = next<decltype(accept4)>("accept4");
    const int result = real(descriptor, address, length, flags);
    hold_up(connecting);
    return result;
}

ssize_t send(int descriptor, const void* bytes, size_t size, int flags) {
    static auto* const real = next<decltype(send)>("send");
    const ssize_t result = real(descriptor, bytes, size, flags);
    hold_up(sending);
    return result;
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
    static auto* const real = next<decltype(sendmsg)>("sendmsg");
    const ssize_t result = real(descriptor, message, flags);
    hold_up(sending);
    return result;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    static auto* const real = next<decltype(write)>("write");
    const ssize_t result = real(descriptor, bytes, size);
    hold_up(sending);
    return result;
}

ssize_t recv(int descriptor, void* bytes, size_t size, int flags) {
    static auto* const real = next<decltype(recv)>("recv");
    const ssize_t result = real(descriptor, bytes, size, flags);
    hold_up(receiving);
    return result;
}

ssize_t read(int descriptor, void* bytes, size_t size) {
    static auto* const real = next<decltype(read)>("read");
    const ssize_t result = real(descriptor, bytes, size);
    hold_up(receiving);
    return result;
}

int shutdown(int descriptor, int how) noexcept {
    static auto* const real = next<decltype(shutdown)>("shutdown");
    hold_up(closing);
    const int result = real(descriptor, how);
    hold_up(closing);
    return result;
}

int close(int descriptor) {
    static auto* const real = next<decltype(close)>("close");
    hold_up(closing);
    const int result = real(descriptor);
    hold_up(closing);
    return result;
}

void closelog() {
    static auto* const real = next<decltype(closelog)>("closelog");
    real();
    hold_up(logging);
}
}
