#include "common/client_name.h"

#include <cstdio>
#include <cstring>
#include <pthread.h>

#include "common/debug_log.h"

std::int32_t get_cur_thread_id() {
    // A number or a pointer, depending on the C library; either way its low 32 bits, which come first in memory.
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
    const pthread_t self = pthread_self();
    std::int32_t id = 0;
    std::memcpy(&id, &self, sizeof id);
    return id;
}

std::uint32_t get_file_name(char* dst, std::uint16_t sessionId) {
    if (dst == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d name = NULL", VELA_HERE);
        return 1;
    }
    std::snprintf(dst, kClientNameSize, "%s%04d%08d", "sdkclient", sessionId, get_cur_thread_id());
    if (dst[0] == '\0') {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d name length is 0", VELA_HERE);
        return 1;
    }
    return 0;
}

void itoa(std::int32_t value, char* out) {
    std::int32_t power = 1;
    while (value / power > 9)
        power *= 10;
    for (; power > 0; power /= 10)
        *out++ = static_cast<char>('0' + value / power % 10);
    *out = '\0';
}
