// The element codec: a body is a sequence of tag (4 bytes), length (4 bytes) and value, unpadded, integers in host byte
// order, texts with their NUL. A handle either builds such a sequence or views a received one; it belongs to one
// thread. Below it, the two checks of the service's verdict in a reply.
#pragma once

#include <cstdint>
#include <memory>

struct tagTlv {
    char* buff;
    std::int32_t capacity;
    std::int32_t used;
    std::int32_t owns; // non-zero: buff is freed on delete and on growth
};
using TLV_S = tagTlv;

// buff null: an empty builder with 1,000 bytes of its own. Otherwise a view of the len bytes at buff, which the handle
// frees when owns is not 0. Null, logged, when the handle cannot be allocated; the process stops on an assertion when
// the builder's buffer cannot.
TLV_S* tlv_init(char* buff, int len, int owns);
void tlv_del(TLV_S* tlv);

struct TlvDelete {
    void operator()(TLV_S* tlv) const { tlv_del(tlv); }
};
using TlvPtr = std::unique_ptr<TLV_S, TlvDelete>;

std::int32_t tlv_append_inner(TLV_S* tlv, const char* bytes, std::int32_t n); // 0 or -1

// One element. The result is the sum of the appends' results: 0, or a negative number after which the sequence may end
// in part of an element and is to be discarded.
std::int32_t tlv_append_data(TLV_S* tlv, std::int32_t tag, const char* value, std::int32_t len);
std::int32_t tlv_append_str(TLV_S* tlv, std::int32_t tag, const char* text);
std::int32_t tlv_append_int(TLV_S* tlv, std::int32_t tag, std::int32_t value);
std::int32_t tlv_append_u32(TLV_S* tlv, std::int32_t tag, std::uint32_t value);

std::int32_t tlv_len(const TLV_S* tlv);
char* tlv_ptr(const TLV_S* tlv);

// The value of the first element with this tag and its stated length, or null. The element is returned as it stands:
// its length may be negative or reach past the end. Those who read the value use the getters below, or
// tlv_value_is_inside.
char* tlv_get_data(const TLV_S* tlv, std::int32_t tag, std::int32_t* len);
char* tlv_get_str(const TLV_S* tlv, std::int32_t tag);
bool tlv_value_is_inside(const TLV_S* tlv, const char* value, std::int32_t len);

// The element's text when its NUL lies inside the element and the element inside the sequence, otherwise null.
char* tlv_get_text(const TLV_S* tlv, std::int32_t tag);

// A 4-byte value that lies inside the sequence; anything else counts as absent.
std::int32_t tlv_get_int(const TLV_S* tlv, std::int32_t tag);                     // -1 when absent
std::int32_t tlv_get_u32(const TLV_S* tlv, std::int32_t tag, std::uint32_t* out); // 0; -1 absent; -2 out is null
std::int32_t tlv_check_int(const TLV_S* tlv, std::int32_t tag);                   // 1 present, 0 absent

// A heap copy of the sequence, which the caller frees, and its length; null when out of memory.
char* tlv_dup(const TLV_S* tlv, std::int32_t* len);

constexpr std::size_t kErrorTextSize = 100;

// Script operations: 1 when the reply acknowledges expectedCmd with return code 0, leaving errText alone; otherwise 0,
// with the reason in errText, which holds kErrorTextSize bytes. A reason of more than 99 characters is copied without
// a NUL: the caller clears the buffer first.
std::int32_t ops_check_err(TLV_S* reply, std::int32_t expectedCmd, char* errText);

// Device queries: the reply's result code, -1 when it has none. The expected type and kind do not change the result.
std::int32_t rpc_check_err(TLV_S* reply, std::int32_t expectedType, std::int32_t expectedKind);
