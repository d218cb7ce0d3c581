// See the header.
#include "resources.h"

#include <cerrno>

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace {

thread_local bool next_send_is_refused = false;

} // namespace

extern "C" ssize_t send(int fd, const void* data, std::size_t size, int flags) {
    using Send = ssize_t (*)(int, const void*, std::size_t, int);
    static const auto real = reinterpret_cast<Send>(dlsym(RTLD_NEXT, "send"));
    if (next_send_is_refused) {
        next_send_is_refused = false;
        errno = EPIPE;
        return -1;
    }
    return real(fd, data, size, flags);
}

void contract::refuse_next_send() { next_send_is_refused = true; }

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && defined(__GLIBC__)

namespace {

// Plain numbers, which need no construction: the first blocks are taken before any constructor runs.
thread_local int blocks_until_refusal = 0;
thread_local std::size_t refused_size = 0;
thread_local bool was_refused = false;
thread_local long taken = 0;
thread_local long given_back = 0;

bool refuses(std::size_t size) {
    const bool now = (blocks_until_refusal > 0 && --blocks_until_refusal == 0) || (size != 0 && size == refused_size);
    if (!now)
        return false;
    refused_size = 0;
    was_refused = true;
    errno = ENOMEM;
    return true;
}

void* count(void* block) {
    taken += block != nullptr;
    return block;
}

} // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t n, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept { return refuses(size) ? nullptr : count(__libc_malloc(size)); }

void* calloc(std::size_t n, std::size_t size) noexcept {
    return refuses(n * size) ? nullptr : count(__libc_calloc(n, size));
}

void* realloc(void* block, std::size_t size) noexcept {
    if (refuses(size))
        return nullptr;
    void* const moved = __libc_realloc(block, size);
    if (block == nullptr)
        count(moved);
    return moved;
}

void free(void* block) noexcept {
    given_back += block != nullptr;
    __libc_free(block);
}
}

bool contract::heap_can_be_watched() { return true; }

void contract::refuse_block(int n) {
    was_refused = false;
    blocks_until_refusal = n;
}

void contract::refuse_block_of(std::size_t size) {
    was_refused = false;
    refused_size = size;
}

bool contract::block_was_refused() {
    blocks_until_refusal = 0;
    refused_size = 0;
    return was_refused;
}

contract::Blocks contract::blocks() { return {taken, given_back}; }

#else

bool contract::heap_can_be_watched() { return false; }
void contract::refuse_block(int) {}
void contract::refuse_block_of(std::size_t) {}
bool contract::block_was_refused() { return false; }
contract::Blocks contract::blocks() { return {0, 0}; }

#endif
