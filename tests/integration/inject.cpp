// See the header.
#include "inject.h"

#include "support.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

// A thread of the library's. It says itself that it ends: the kernel's list of threads may leave out one that runs
// while another ends.
struct Started {
    int id;
    std::atomic<bool> has_ended{false};
};

// All that the library ever started, and how many were created and have not run yet, so that theirs are missing. Never
// destroyed: the threads run until the process has ended.
std::mutex started_lock;
std::vector<Started*>& all_started = *new std::vector<Started*>;
int not_yet_running = 0;

bool is_in_the_library(void* address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 && std::string_view(info.dli_fname).find("libqel_api") != std::string_view::npos;
}

struct Start {
    void* (*function)(void*);
    void* argument;
};

// Runs when a thread's frames are gone. No lock here: a race detector loses sight of one that a cancelled thread takes.
void note_end(void* started) { static_cast<Started*>(started)->has_ended = true; }

pthread_key_t end_of_thread() {
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        pthread_key_create(&made, note_end);
        return made;
    }();
    return key;
}

void* note_and_run(void* heap_start) {
    const Start start = *static_cast<Start*>(heap_start);
    delete static_cast<Start*>(heap_start);
    {
        const std::lock_guard guard(started_lock);
        all_started.push_back(new Started{gettid()});
        pthread_setspecific(end_of_thread(), all_started.back());
        --not_yet_running;
    }
    return start.function(start.argument);
}

void count_new_thread(int change) {
    const std::lock_guard guard(started_lock);
    not_yet_running += change;
}

bool all_threads_run() {
    const std::lock_guard guard(started_lock);
    return not_yet_running == 0;
}

thread_local int threads_until_refusal = 0;
std::atomic<std::size_t> refused_size{0};

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (threads_until_refusal > 0 && threads_until_refusal-- == 1)
        return EAGAIN;
    if (!is_in_the_library(__builtin_return_address(0)))
        return create(thread, attributes, start, argument);

    auto* noted = new (std::nothrow) Start{start, argument};
    if (noted == nullptr)
        return EAGAIN;
    count_new_thread(1);
    const int error = create(thread, attributes, note_and_run, noted);
    if (error != 0) {
        count_new_thread(-1);
        delete noted;
    }
    return error;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && defined(__GLIBC__)
extern "C" void* __libc_malloc(std::size_t size);

extern "C" void* malloc(std::size_t size) noexcept {
    if (size != 0 && size == refused_size.load(std::memory_order_relaxed)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}

bool integration::can_refuse_blocks() { return true; }
#else
bool integration::can_refuse_blocks() { return false; }
#endif

std::set<int> integration::library_threads() {
    // A thread whose id is not known yet would be counted later, and seem to have been started since.
    if (!eventually(all_threads_run))
        throw std::runtime_error("a thread that the library created does not run");
    const std::lock_guard guard(started_lock);
    std::set<int> running;
    for (const Started* each : all_started)
        if (!each->has_ended)
            running.insert(each->id);
    return running;
}

std::size_t integration::library_thread_count() { return library_threads().size(); }

void integration::refuse_thread(int n) { threads_until_refusal = n; }
void integration::refuse_blocks_of(std::size_t size) { refused_size = size; }
