#include "support/calls.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <pthread.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// Where the C library has functions with times of 32 and of 64 bits, the latter have another name.
#if __SIZEOF_POINTER__ == 4
#define TIMED_WAIT "__sem_timedwait64"
#define READ_CLOCK "__clock_gettime64"
#else
#define TIMED_WAIT "sem_timedwait"
#define READ_CLOCK "clock_gettime"
#endif

extern "C" {
void* __real_malloc(std::size_t);
void* __real_calloc(std::size_t, std::size_t);
void* __real_realloc(void*, std::size_t);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_pthread_cancel(pthread_t);
pthread_t __real_pthread_self();
int __real_pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*);
int __real_pthread_mutex_destroy(pthread_mutex_t*);
int __real_sem_init(sem_t*, int, unsigned);
int __real_sem_destroy(sem_t*);
int __real_sem_wait(sem_t*);
int __real_sem_post(sem_t*);
int __real_sem_timedwait(sem_t*, const timespec*) asm("__real_" TIMED_WAIT);
int __wrap_sem_timedwait(sem_t*, const timespec*) asm("__wrap_" TIMED_WAIT);
int __real_clock_gettime(clockid_t, timespec*) asm("__real_" READ_CLOCK);
int __wrap_clock_gettime(clockid_t, timespec*) asm("__wrap_" READ_CLOCK);
int __real_socket(int, int, int);
int __real_connect(int, const sockaddr*, socklen_t);
ssize_t __real_send(int, const void*, std::size_t, int);
ssize_t __real_recv(int, void*, std::size_t, int);
int __real_close(int);
FILE* __real_fopen(const char*, const char*);
FILE* __real_fopen64(const char*, const char*);
}

namespace test {
namespace {

struct Fault {
    std::atomic<bool> armed{false};
    std::atomic<bool> pretends{false};
    std::atomic<int> made{0}; // calls on the threads that it strikes
    std::atomic<int> failed{0};
    std::atomic<long> total{0};
    int first = 1;
    int times = 1;
    int error = 0;
    long result = 0;
    Threads threads = Threads::This;
    const void* owner = nullptr;
};

constinit std::array<Fault, static_cast<std::size_t>(Call::kCount)> faults;

Fault& Of(Call call) { return faults[static_cast<std::size_t>(call)]; }

thread_local char thisThread;
thread_local bool exempt = false;

bool Strikes(const Fault& fault) {
    if (exempt)
        return false;
    switch (fault.threads) {
    case Threads::This:
        return fault.owner == &thisThread;
    case Threads::Others:
        return fault.owner != &thisThread;
    case Threads::All:
        return true;
    }
    return false;
}

void Arm(Call call, int error, int first, int times, Threads threads, bool pretends, long result) {
    Fault& fault = Of(call);
    fault.error = error;
    fault.first = first;
    fault.times = times;
    fault.threads = threads;
    fault.owner = &thisThread;
    fault.result = result;
    fault.made = 0;
    fault.failed = 0;
    fault.pretends = pretends;
    fault.armed = true;
}

// The calls' arguments, kept for the test. Guarded by one lock; allocation is not recorded and so may happen inside.
struct Journal {
    std::mutex lock;
    std::vector<ConnectCall> connects;
    std::vector<SendCall> sends;
    std::vector<RecvCall> recvs;
    std::vector<int> closes;
    std::vector<timespec> timedWaits;
    std::vector<CreatedThread> threads;
    std::vector<std::string> files;
    std::string peer;
    std::shared_ptr<const std::string> maps;
    std::array<std::shared_ptr<std::function<void()>>, static_cast<std::size_t>(Call::kCount)> hooks;
};

// Never destroyed: library threads may call after main has returned.
Journal& journal() {
    static Journal* const one = [] {
        const Exempt notTheLibrarys;
        return new Journal;
    }();
    return *one;
}

template <class Entry> void Keep(std::vector<Entry> Journal::*list, Entry entry) {
    const Exempt notTheLibrarys;
    const std::lock_guard guard(journal().lock);
    (journal().*list).push_back(std::move(entry));
}

template <class Entry> std::vector<Entry> Copy(std::vector<Entry> Journal::*list) {
    const std::lock_guard guard(journal().lock);
    return journal().*list;
}

void RunHook(Call call) {
    std::shared_ptr<std::function<void()>> hook;
    {
        const std::lock_guard guard(journal().lock);
        hook = journal().hooks[static_cast<std::size_t>(call)];
    }
    if (hook)
        (*hook)();
}

thread_local unsigned long pretendedThread = 0;
thread_local timespec pretendedTime{};
thread_local bool pretendsTime = false;

// Decides the call: true when it is made, false when its result is already known.
bool Made(Call call, bool& fails, long& result) {
    Fault& fault = Of(call);
    fault.total.fetch_add(1, std::memory_order_relaxed); // puts the callers in no order, for the race detector
    fails = false;
    if (!fault.armed || !Strikes(fault))
        return true;
    const int nth = ++fault.made;
    if (nth < fault.first || nth - fault.first >= fault.times)
        return true;
    ++fault.failed;
    fails = !fault.pretends;
    result = fault.result;
    return false;
}

// For calls that report through errno: the real call, or what the fault says.
template <class Result, class Real> Result Decide(Call call, Result onFailure, Real made) {
    bool fails = false;
    long result = 0;
    if (Made(call, fails, result))
        return made();
    if (!fails)
        return static_cast<Result>(result);
    errno = Of(call).error;
    return onFailure;
}

template <class Real> int DecideThread(Call call, Real made) {
    bool fails = false;
    long result = 0;
    if (Made(call, fails, result))
        return made();
    return fails ? Of(call).error : static_cast<int>(result);
}

template <class Real> void* Allocate(Real made) {
    bool fails = false;
    long result = 0;
    if (Made(Call::Allocate, fails, result))
        return made();
    errno = ENOMEM;
    return nullptr;
}

// True when the call is not to be made; then result and errno are set.
bool IsDecided(Call call, long& result) {
    bool fails = false;
    if (Made(call, fails, result))
        return false;
    if (fails) {
        errno = Of(call).error;
        result = -1;
    }
    return true;
}

FILE* Open(const char* path, const char* mode, FILE* (*made)(const char*, const char*)) {
    {
        const Exempt notTheLibrarys;
        Keep(&Journal::files, std::string(path));
    }
    bool fails = false;
    long result = 0;
    if (!Made(Call::Fopen, fails, result)) {
        errno = Of(Call::Fopen).error;
        return nullptr;
    }
    std::shared_ptr<const std::string> maps;
    {
        const std::lock_guard guard(journal().lock);
        maps = journal().maps;
    }
    if (!maps || std::string(path) != "/proc/self/maps")
        return made(path, mode);
    FILE* const file = std::tmpfile();
    if (file == nullptr)
        std::abort();
    std::fwrite(maps->data(), 1, maps->size(), file);
    std::rewind(file);
    return file;
}

void KeepConnect(const sockaddr* address, socklen_t length) {
    const Exempt notTheLibrarys;
    sockaddr_un asked{};
    std::memcpy(&asked, address, std::min<std::size_t>(length, sizeof asked));
    const std::size_t path = strnlen(asked.sun_path, sizeof asked.sun_path);
    Keep(&Journal::connects,
         ConnectCall{asked.sun_family, std::string(asked.sun_path, path), path < sizeof asked.sun_path, length});
}

void KeepRecv(int descriptor, std::size_t size, int flags) {
    Keep(&Journal::recvs, RecvCall{descriptor, size, flags, &thisThread});
}

int ConnectToPeer(int descriptor) {
    sockaddr_un led{};
    led.sun_family = AF_UNIX;
    const std::lock_guard guard(journal().lock);
    const std::string& peer = journal().peer;
    if (peer.empty()) {
        errno = ENOENT;
        return -1;
    }
    std::memcpy(led.sun_path + 1, peer.data(), peer.size());
    return __real_connect(descriptor, reinterpret_cast<const sockaddr*>(&led),
                          static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + peer.size()));
}

} // namespace

Fail::Fail(Call call, int error, int nth, int times, Threads threads) : call_(call) {
    Arm(call, error, nth, times, threads, false, 0);
}
Fail::~Fail() { Of(call_).armed = false; }
int Fail::Failures() const { return Of(call_).failed; }

Pretend::Pretend(Call call, long result, Threads threads) : call_(call) {
    Arm(call, 0, 1, Fail::kForEver, threads, true, result);
}
Pretend::~Pretend() { Of(call_).armed = false; }

bool IsToFail(Call call) {
    RunHook(call);
    bool fails = false;
    long result = 0;
    return !Made(call, fails, result) && fails;
}

long Count(Call call) { return Of(call).total; }

Exempt::Exempt() : before_(exempt) { exempt = true; }
Exempt::~Exempt() { exempt = before_; }

void Before(Call call, std::function<void()> hook) {
    const std::lock_guard guard(journal().lock);
    journal().hooks[static_cast<std::size_t>(call)] =
        hook ? std::make_shared<std::function<void()>>(std::move(hook)) : nullptr;
}

std::vector<ConnectCall> Connects() { return Copy(&Journal::connects); }
std::vector<SendCall> Sends() { return Copy(&Journal::sends); }
std::vector<RecvCall> Recvs() { return Copy(&Journal::recvs); }
std::vector<int> Closes() { return Copy(&Journal::closes); }
std::vector<timespec> TimedWaits() { return Copy(&Journal::timedWaits); }
std::vector<CreatedThread> CreatedThreads() { return Copy(&Journal::threads); }
std::vector<std::string> OpenedFiles() { return Copy(&Journal::files); }

void ForgetCalls() {
    const std::lock_guard guard(journal().lock);
    journal().connects.clear();
    journal().sends.clear();
    journal().recvs.clear();
    journal().closes.clear();
    journal().timedWaits.clear();
    journal().threads.clear();
    journal().files.clear();
}

void LeadConnectionsTo(const std::string& abstractName) {
    const std::lock_guard guard(journal().lock);
    journal().peer = abstractName;
}

void PretendThreadId(unsigned long id) { pretendedThread = id; }

RealTimeReads::RealTimeReads(const timespec& instant) {
    pretendedTime = instant;
    pretendsTime = true;
}
RealTimeReads::~RealTimeReads() { pretendsTime = false; }

MapsFile::MapsFile(std::string text) {
    const std::lock_guard guard(journal().lock);
    journal().maps = std::make_shared<const std::string>(std::move(text));
}
MapsFile::~MapsFile() {
    const std::lock_guard guard(journal().lock);
    journal().maps = nullptr;
}

namespace real {
int Socket(int domain, int type, int protocol) { return __real_socket(domain, type, protocol); }
int Connect(int descriptor, const void* address, unsigned length) {
    return __real_connect(descriptor, static_cast<const sockaddr*>(address), length);
}
long Send(int descriptor, const void* data, std::size_t length, int flags) {
    return __real_send(descriptor, data, length, flags);
}
long Recv(int descriptor, void* data, std::size_t size, int flags) {
    return __real_recv(descriptor, data, size, flags);
}
int Close(int descriptor) { return __real_close(descriptor); }
} // namespace real

} // namespace test

using namespace test;

// Everything that the standard library allocates for the library comes through malloc too, and so under its faults.
void* operator new(std::size_t size) {
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

extern "C" {

void* __wrap_malloc(std::size_t size) {
    return Allocate([&] { return __real_malloc(size); });
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return Allocate([&] { return __real_calloc(count, size); });
}
void* __wrap_realloc(void* block, std::size_t size) {
    return Allocate([&] { return __real_realloc(block, size); });
}

int __wrap_pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument) {
    RunHook(Call::PthreadCreate);
    Keep(&Journal::threads, CreatedThread{entry, argument, attributes == nullptr});
    return DecideThread(Call::PthreadCreate, [&] { return __real_pthread_create(id, attributes, entry, argument); });
}
int __wrap_pthread_cancel(pthread_t id) {
    RunHook(Call::PthreadCancel);
    return DecideThread(Call::PthreadCancel, [&] { return __real_pthread_cancel(id); });
}
pthread_t __wrap_pthread_self() {
    const unsigned long pretended = pretendedThread;
    return pretended != 0 ? pretended : __real_pthread_self();
}
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return DecideThread(Call::MutexInit, [&] { return __real_pthread_mutex_init(mutex, attributes); });
}
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    return DecideThread(Call::MutexDestroy, [&] { return __real_pthread_mutex_destroy(mutex); });
}

int __wrap_sem_init(sem_t* sem, int shared, unsigned value) {
    return Decide(Call::SemInit, -1, [&] { return __real_sem_init(sem, shared, value); });
}
int __wrap_sem_destroy(sem_t* sem) {
    return Decide(Call::SemDestroy, -1, [&] { return __real_sem_destroy(sem); });
}
// A library thread is cancelled in sem_wait and recv. The unwinding passes these two frames without a landing pad, and
// would leave behind what ASan marks in them: they are not instrumented, and all else has returned before the wait.
__attribute__((no_sanitize("address"))) int __wrap_sem_wait(sem_t* sem) {
    long result = 0;
    return IsDecided(Call::SemWait, result) ? static_cast<int>(result) : __real_sem_wait(sem);
}
int __wrap_sem_post(sem_t* sem) {
    return Decide(Call::SemPost, -1, [&] { return __real_sem_post(sem); });
}
int __wrap_sem_timedwait(sem_t* sem, const timespec* limit) {
    Keep(&Journal::timedWaits, *limit);
    RunHook(Call::SemTimedWait);
    return Decide(Call::SemTimedWait, -1, [&] { return __real_sem_timedwait(sem, limit); });
}

int __wrap_clock_gettime(clockid_t clock, timespec* reading) {
    if (clock != CLOCK_REALTIME || !pretendsTime)
        return __real_clock_gettime(clock, reading);
    *reading = pretendedTime;
    return 0;
}

int __wrap_socket(int domain, int type, int protocol) {
    return Decide(Call::Socket, -1, [&] { return __real_socket(domain, type, protocol); });
}

int __wrap_connect(int descriptor, const sockaddr* address, socklen_t length) {
    KeepConnect(address, length);
    return Decide(Call::Connect, -1, [&] { return ConnectToPeer(descriptor); });
}

ssize_t __wrap_send(int descriptor, const void* data, std::size_t length, int flags) {
    RunHook(Call::Send);
    Keep(&Journal::sends, SendCall{descriptor, length, flags});
    return Decide(Call::Send, ssize_t{-1}, [&] { return __real_send(descriptor, data, length, flags); });
}
__attribute__((no_sanitize("address"))) ssize_t __wrap_recv(int descriptor, void* data, std::size_t size, int flags) {
    KeepRecv(descriptor, size, flags);
    long result = 0;
    return IsDecided(Call::Recv, result) ? result : __real_recv(descriptor, data, size, flags);
}
int __wrap_close(int descriptor) {
    Keep(&Journal::closes, descriptor);
    return Decide(Call::Close, -1, [&] { return __real_close(descriptor); });
}

FILE* __wrap_fopen(const char* path, const char* mode) { return Open(path, mode, &__real_fopen); }
FILE* __wrap_fopen64(const char* path, const char* mode) { return Open(path, mode, &__real_fopen64); }
}
