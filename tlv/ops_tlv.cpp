// The element codec and the reply checks. No shared state, no locks. Elements are not aligned, so integers are copied
// in and out.
#include "tlv/ops_tlv.h"

#undef NDEBUG // the assertion below holds in release builds too
#include <cassert>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/debug_log.h"

namespace {

constexpr std::int32_t kGrowth = 1000;
constexpr std::int32_t kIntSize = 4;
constexpr std::int32_t kElementHead = 2 * kIntSize;

std::int32_t read_int(const char* from) {
    std::int32_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

bool reserve(TLV_S* tlv, std::int32_t n) {
    if (n <= tlv->capacity - tlv->used)
        return true;
    if (n > INT_MAX - kGrowth - tlv->capacity)
        return false;

    const std::int32_t capacity = tlv->capacity + (n + kGrowth - 1) / kGrowth * kGrowth;
    char* grown = static_cast<char*>(std::malloc(static_cast<std::size_t>(capacity)));
    if (grown == nullptr)
        return false;
    std::memcpy(grown, tlv->buff, static_cast<std::size_t>(tlv->used));
    if (tlv->owns != 0)
        std::free(tlv->buff);
    tlv->buff = grown;
    tlv->owns = 1;
    tlv->capacity = capacity;
    return true;
}

// The integer element's value, or null when there is none that can be read.
const char* find_int(const TLV_S* tlv, std::int32_t tag) {
    std::int32_t len = 0;
    const char* value = tlv_get_data(tlv, tag, &len);
    return value != nullptr && len == kIntSize && tlv_value_is_inside(tlv, value, len) ? value : nullptr;
}

} // namespace

TLV_S* tlv_init(char* buff, int len, int owns) {
    auto* tlv = static_cast<TLV_S*>(std::malloc(sizeof(TLV_S)));
    if (tlv == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d tlv_init tlv = NULL", VELA_HERE);
        return nullptr;
    }
    if (buff != nullptr) {
        *tlv = TLV_S{buff, len, len, owns};
        return tlv;
    }

    *tlv = TLV_S{static_cast<char*>(std::malloc(kGrowth)), kGrowth, 0, 1};
    // Spelled out, because this text is promised whatever the source line and the compiler's wording are.
    if (tlv->buff == nullptr)
        __assert_fail("tlv->buff", "tlv/ops_tlv", 79, "TLV_S* tlv_init(char*, int, int)");
    return tlv;
}

void tlv_del(TLV_S* tlv) {
    if (tlv == nullptr)
        return;
    if (tlv->owns != 0)
        std::free(tlv->buff);
    std::free(tlv);
}

std::int32_t tlv_append_inner(TLV_S* tlv, const char* bytes, std::int32_t n) {
    if (tlv == nullptr || bytes == nullptr || n < 0)
        return -1;
    if (!reserve(tlv, n))
        return -1;
    std::memcpy(tlv->buff + tlv->used, bytes, static_cast<std::size_t>(n));
    tlv->used += n;
    return 0;
}

std::int32_t tlv_append_data(TLV_S* tlv, std::int32_t tag, const char* value, std::int32_t len) {
    char number[kIntSize];
    std::memcpy(number, &tag, sizeof number);
    std::int32_t result = tlv_append_inner(tlv, number, kIntSize);
    std::memcpy(number, &len, sizeof number);
    result += tlv_append_inner(tlv, number, kIntSize);
    result += tlv_append_inner(tlv, value, len);
    return result;
}

std::int32_t tlv_append_str(TLV_S* tlv, std::int32_t tag, const char* text) {
    if (text == nullptr)
        return -1;
    const std::size_t size = std::strlen(text) + 1;
    return size <= INT_MAX ? tlv_append_data(tlv, tag, text, static_cast<std::int32_t>(size)) : -1;
}

std::int32_t tlv_append_int(TLV_S* tlv, std::int32_t tag, std::int32_t value) {
    char number[kIntSize];
    std::memcpy(number, &value, sizeof number);
    return tlv_append_data(tlv, tag, number, kIntSize);
}

std::int32_t tlv_append_u32(TLV_S* tlv, std::int32_t tag, std::uint32_t value) {
    return tlv_append_int(tlv, tag, static_cast<std::int32_t>(value));
}

std::int32_t tlv_len(const TLV_S* tlv) { return tlv->used; }

char* tlv_ptr(const TLV_S* tlv) { return tlv->buff; }

char* tlv_get_data(const TLV_S* tlv, std::int32_t tag, std::int32_t* len) {
    if (tlv == nullptr || tlv->buff == nullptr)
        return nullptr;
    char* at = tlv->buff;
    std::int32_t left = tlv->used;
    while (left >= kElementHead) {
        const std::int32_t found = read_int(at);
        const std::int32_t length = read_int(at + kIntSize);
        at += kElementHead;
        left -= kElementHead;
        if (found == tag) {
            if (len != nullptr)
                *len = length;
            return at;
        }
        if (length < 0 || length > left)
            return nullptr;
        at += length;
        left -= length;
    }
    return nullptr;
}

char* tlv_get_str(const TLV_S* tlv, std::int32_t tag) { return tlv_get_data(tlv, tag, nullptr); }

bool tlv_value_is_inside(const TLV_S* tlv, const char* value, std::int32_t len) {
    return len >= 0 && len <= tlv->used - (value - tlv->buff);
}

char* tlv_get_text(const TLV_S* tlv, std::int32_t tag) {
    std::int32_t len = 0;
    char* value = tlv_get_data(tlv, tag, &len);
    if (value == nullptr || !tlv_value_is_inside(tlv, value, len))
        return nullptr;
    return std::memchr(value, '\0', static_cast<std::size_t>(len)) != nullptr ? value : nullptr;
}

std::int32_t tlv_get_int(const TLV_S* tlv, std::int32_t tag) {
    const char* value = find_int(tlv, tag);
    return value != nullptr ? read_int(value) : -1;
}

std::int32_t tlv_get_u32(const TLV_S* tlv, std::int32_t tag, std::uint32_t* out) {
    if (out == nullptr)
        return -2;
    const char* value = find_int(tlv, tag);
    if (value == nullptr)
        return -1;
    *out = static_cast<std::uint32_t>(read_int(value));
    return 0;
}

std::int32_t tlv_check_int(const TLV_S* tlv, std::int32_t tag) { return find_int(tlv, tag) != nullptr ? 1 : 0; }

char* tlv_dup(const TLV_S* tlv, std::int32_t* len) {
    char* copy = static_cast<char*>(std::malloc(static_cast<std::size_t>(tlv->used)));
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, tlv->buff, static_cast<std::size_t>(tlv->used));
    *len = tlv->used;
    return copy;
}

std::int32_t ops_check_err(TLV_S* reply, std::int32_t expectedCmd, char* errText) {
    char wrongCommand[] = "ack cmd is error!";
    char noReason[] = "(null)";
    char* reason = wrongCommand;
    if (tlv_get_int(reply, 0) == expectedCmd) {
        if (tlv_get_int(reply, 1) == 0)
            return 1;
        reason = tlv_get_text(reply, 2);
    }
    if (reason == nullptr)
        reason = noReason;

    constexpr std::size_t kLast = kErrorTextSize - 1;
    const std::size_t length = std::strlen(reason);
    if (length <= kLast) {
        std::memcpy(errText, reason, length + 1);
        return 0;
    }
    std::memcpy(errText, reason, kLast);
    reason[kLast] = '\0'; // the NUL goes into the reply's text, as promised, not into the copy
    return 0;
}

std::int32_t rpc_check_err(TLV_S* reply, std::int32_t expectedType, std::int32_t expectedKind) {
    // Read and compared without effect on the result, as promised.
    static_cast<void>(tlv_get_int(reply, 2) == expectedType && tlv_get_int(reply, 1) == expectedKind);
    return tlv_get_int(reply, 3);
}
