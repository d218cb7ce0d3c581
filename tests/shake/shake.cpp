// Loaded into every program of a test run, this holds threads up at random where others may then overtake them: when
// one starts, sends, receives, wakes another, lets go of a lock, logs. A test that holds only while nobody is late
// fails.
//
// Each thread has its own weak places: at most kinds of calls it is seldom late, at a few it often is. Some threads
// also run only when nobody else wants the processor, so that on a busy machine they are overtaken between any two
// instructions. The delays are no cancellation points, and leave errno as it was. A thread stops being delayed after
// some thousand calls, so that long tests end.
#include <algorithm>
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
    default:
        return {50, 2'000};
    }
}

thread_local unsigned calls = 0;
thread_local std::array<Habit, places> habits; // drawn at a thread's first call

void hold_up(Place place) {
    constexpr unsigned most_calls = 2'000;
    if (calls++ == 0)
        std::generate(habits.begin(), habits.end(), draw_habit);
    const Habit habit = habits[place];
    if (calls > most_calls || next_random() % habit.one_in != 0)
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

// The system's own function that ours of that name stands before.
template <auto Ours> auto theirs(const char* name) {
    static const auto found = reinterpret_cast<decltype(Ours)>(dlsym(RTLD_NEXT, name));
    return found;
}

// Calls it, and is late afterwards.
template <auto Ours, class... Arguments> auto late_after(Place place, const char* name, Arguments... arguments) {
    const auto result = theirs<Ours>(name)(arguments...);
    hold_up(place);
    return result;
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
    auto start = std::make_unique<Start>(Start{function, argument});
    const int error = theirs<&pthread_create>("pthread_create")(thread, attributes, start_late, start.get());
    if (error != 0)
        return error;
    static_cast<void>(start.release()); // the thread's now
    hold_up(creating);
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    hold_up(locking);
    return theirs<&pthread_mutex_lock>("pthread_mutex_lock")(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    return late_after<&pthread_mutex_unlock>(unlocking, "pthread_mutex_unlock", mutex);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    return late_after<&pthread_cond_signal>(waking, "pthread_cond_signal", condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    return late_after<&pthread_cond_broadcast>(waking, "pthread_cond_broadcast", condition);
}

int sem_post(sem_t* semaphore) noexcept { return late_after<&sem_post>(waking, "sem_post", semaphore); }

int sem_wait(sem_t* semaphore) { return late_after<&sem_wait>(woken, "sem_wait", semaphore); }

int sem_timedwait(sem_t* semaphore, const timespec* limit) {
    return late_after<&sem_timedwait>(woken, "sem_timedwait", semaphore, limit);
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    return late_after<&poll>(woken, "poll", descriptors, count, milliseconds);
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    return late_after<&connect>(connecting, "connect", descriptor, address, length);
}

int accept(int descriptor, sockaddr* address, socklen_t* length) {
    return late_after<&accept>(connecting, "accept", descriptor, address, length);
}

int accept4(int descriptor, sockaddr* address, socklen_t* length, int flags) {
    return late_after<&accept4>(connecting, "accept4", descriptor, address, length, flags);
}

ssize_t send(int descriptor, const void* bytes, size_t size, int flags) {
    return late_after<&send>(sending, "send", descriptor, bytes, size, flags);
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
    return late_after<&sendmsg>(sending, "sendmsg", descriptor, message, flags);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    return late_after<&write>(sending, "write", descriptor, bytes, size);
}

ssize_t recv(int descriptor, void* bytes, size_t size, int flags) {
    return late_after<&recv>(receiving, "recv", descriptor, bytes, size, flags);
}

ssize_t read(int descriptor, void* bytes, size_t size) {
    return late_after<&read>(receiving, "read", descriptor, bytes, size);
}

int shutdown(int descriptor, int how) noexcept {
    hold_up(closing);
    return late_after<&shutdown>(closing, "shutdown", descriptor, how);
}

int close(int descriptor) {
    hold_up(closing);
    return late_after<&close>(closing, "close", descriptor);
}

void closelog() {
    theirs<&closelog>("closelog")();
    hold_up(logging);
}
}
