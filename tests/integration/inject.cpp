// See the header.
#include "inject.h"

#include "support.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

// A thread of the library's. It tells its id and its end itself: the kernel's list of threads may leave out one that
// runs while another ends.
struct LibraryThread {
    void* (*function)(void*);
    void* argument;
    std::atomic<int> id{0}; // until it runs
    std::atomic<bool> has_ended{false};
};

// All that the library ever created. Never destroyed: the threads run until the process has ended.
std::mutex created_lock;
std::vector<LibraryThread*>& created = *new std::vector<LibraryThread*>;

bool is_in_the_library(void* address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 && std::string_view(info.dli_fname).find("libqel_api") != std::string_view::npos;
}

// Runs when a thread's frames are gone. No lock here: a race detector loses sight of one that a cancelled thread takes.
void note_end(void* thread) { static_cast<LibraryThread*>(thread)->has_ended = true; }

pthread_key_t end_of_thread() {
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        pthread_key_create(&made, note_end);
        return made;
    }();
    return key;
}

void* note_and_run(void* created_thread) {
    auto* thread = static_cast<LibraryThread*>(created_thread);
    pthread_setspecific(end_of_thread(), thread);
    thread->id = gettid();
    return thread->function(thread->argument);
}

bool all_threads_run() {
    const std::lock_guard guard(created_lock);
    return std::all_of(created.begin(), created.end(), [](const LibraryThread* each) { return each->id != 0; });
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

    // Counted from here on, so that nobody overlooks one that does not run yet.
    auto* counted = new LibraryThread{start, argument};
    {
        const std::lock_guard guard(created_lock);
        created.push_back(counted);
    }
    const int error = create(thread, attributes, note_and_run, counted);
    if (error != 0) {
        const std::lock_guard guard(created_lock);
        std::erase(created, counted);
        delete counted;
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
    const std::lock_guard guard(created_lock);
    std::set<int> running;
    for (const LibraryThread* each : created)
        if (!each->has_ended)
            running.insert(each->id);
    return running;
}

std::size_t integration::library_thread_count() { return library_threads().size(); }

void integration::refuse_thread(int n) { threads_until_refusal = n; }
void integration::refuse_blocks_of(std::size_t size) { refused_size = size; }
