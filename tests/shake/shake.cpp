// Loaded into every program of a test run, this holds threads up at random where others may then overtake them: when
// one starts, sends, receives, wakes another or lets go of a lock. A test that holds only while nobody is late fails.
//
// The delays are no cancellation points, and leave errno as it was. Each thread stops being delayed after some thousand
// calls, so that long tests end.
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <memory>

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local std::uint32_t random_state = 0;
thread_local unsigned calls = 0;

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

// One call in so many waits for up to so many microseconds.
void hold_up(unsigned one_in, unsigned microseconds) {
    constexpr unsigned most_calls = 4'000;
    if (++calls > most_calls || next_random() % one_in != 0)
        return;
    const int before = errno;
    const timespec delay{0, static_cast<long>(next_random() % microseconds) * 1'000};
    syscall(SYS_nanosleep, &delay, nullptr);
    errno = before;
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
    hold_up(2, 20'000);
    return start.function(start.argument);
}

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
    hold_up(3, 5'000);
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = next<decltype(pthread_mutex_unlock)>("pthread_mutex_unlock");
    const int error = real(mutex);
    hold_up(200, 2'000);
    return error;
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    static auto* const real = next<decltype(pthread_cond_signal)>("pthread_cond_signal");
    const int error = real(condition);
    hold_up(8, 3'000);
    return error;
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    static auto* const real = next<decltype(pthread_cond_broadcast)>("pthread_cond_broadcast");
    const int error = real(condition);
    hold_up(8, 3'000);
    return error;
}

int sem_post(sem_t* semaphore) noexcept {
    static auto* const real = next<decltype(sem_post)>("sem_post");
    const int result = real(semaphore);
    hold_up(6, 3'000);
    return result;
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    static auto* const real = next<decltype(connect)>("connect");
    const int result = real(descriptor, address, length);
    hold_up(3, 5'000);
    return result;
}

int accept(int descriptor, sockaddr* address, socklen_t* length) {
    static auto* const real = next<decltype(accept)>("accept");
    const int accepted = real(descriptor, address, length);
    hold_up(2, 5'000);
    return accepted;
}

int accept4(int descriptor, sockaddr* address, socklen_t* length, int flags) {
    static auto* const real = next<decltype(accept4)>("accept4");
    const int accepted = real(descriptor, address, length, flags);
    hold_up(2, 5'000);
    return accepted;
}

ssize_t send(int descriptor, const void* bytes, size_t size, int flags) {
    static auto* const real = next<decltype(send)>("send");
    const ssize_t sent = real(descriptor, bytes, size, flags);
    hold_up(4, 4'000);
    return sent;
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
    static auto* const real = next<decltype(sendmsg)>("sendmsg");
    const ssize_t sent = real(descriptor, message, flags);
    hold_up(4, 4'000);
    return sent;
}

ssize_t recv(int descriptor, void* bytes, size_t size, int flags) {
    static auto* const real = next<decltype(recv)>("recv");
    const ssize_t received = real(descriptor, bytes, size, flags);
    hold_up(6, 3'000);
    return received;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    static auto* const real = next<decltype(write)>("write");
    const ssize_t written = real(descriptor, bytes, size);
    hold_up(5, 4'000);
    return written;
}

int shutdown(int descriptor, int how) noexcept {
    static auto* const real = next<decltype(shutdown)>("shutdown");
    hold_up(2, 5'000);
    const int result = real(descriptor, how);
    hold_up(2, 5'000);
    return result;
}

int close(int descriptor) {
    static auto* const real = next<decltype(close)>("close");
    hold_up(6, 2'000);
    return real(descriptor);
}
}
