// Device queries: one request that names a module and an operation, one reply that fills a record of the caller's. What
// all of them do is here once; a query is a row of numbers and fields. Those with arrays and counts ask here and fill
// their records themselves.
#pragma once

#include <cstddef>
#include <cstdint>

#include "api/operation.h"

// How an item of the reply is moved into the record. No style writes past the end of the record.
enum class Style : std::uint8_t {
    Raw,      // byte for byte, as long as the item is; missing: VELA_ERROR
    Optional, // the same; missing: nothing is copied
    Required, // the same; missing: VELA_ERROR_SHORT_REPLY
    String,   // up to and including its NUL; missing: VELA_ERROR
    Int,      // 4 bytes, all ones when missing
    LowByte,  // the lowest byte of an Int
    U32,      // 4 bytes, left alone when missing
};

struct Field {
    std::int32_t tag;
    Style style;
    std::size_t offset;
};

// A row's field: the item with this tag goes to this member.
#define QUERY_FIELD(Record, member, tag, style)                                                                        \
    Field { tag, Style::style, offsetof(Record, member) }

enum class NullRecord : std::uint8_t {
    Unchecked, // a null record is asked for all the same, and not filled
    Named,     // logged with the worker's name
    Voice,     // logged without
};

enum Module : std::int32_t {
    MODULE_ARP = 2,
    MODULE_ACCESS = 3,
    MODULE_WLAN = 4,
    MODULE_LTE = 6,
    MODULE_GPS = 7,
    MODULE_DEVICE = 8,
    MODULE_VOICE = 9,
};

struct Query {
    const char* worker;
    Module module;
    std::int32_t operation;
    NullRecord nullRecord;
    std::uint32_t nullResult;
    std::size_t recordSize;
    const Field* fields;
    std::size_t fieldCount;
};

constexpr std::size_t kUnknownSize = SIZE_MAX; // a buffer whose size only the caller knows

constexpr std::int32_t kElementHead = 8;

// The longest value that one reply can carry beside its result code and so many other items, whose values take so many
// bytes at least. A last field whose width is the service's is as wide, so nothing is refused and nothing overruns.
constexpr std::size_t longest_value(std::int32_t others, std::int32_t theirBytes = 0) {
    constexpr std::int32_t kResultCode = kElementHead + 4;
    return static_cast<std::size_t>(Elements::kMost - kResultCode - others * kElementHead - theirBytes - kElementHead);
}

// A row with no fields in the table, for the queries that fill their records themselves.
constexpr Query query_without_fields(const char* worker, Module module, std::int32_t operation, NullRecord nullRecord,
                                     std::uint32_t nullResult, std::size_t recordSize) {
    return Query{worker, module, operation, nullRecord, nullResult, recordSize, nullptr, 0};
}

template <std::size_t Count>
constexpr Query query_of(const char* worker, Module module, std::int32_t operation, NullRecord nullRecord,
                         std::uint32_t nullResult, std::size_t recordSize, const Field (&fields)[Count]) {
    return Query{worker, module, operation, nullRecord, nullResult, recordSize, fields, Count};
}

// A reply and the view of its items.
struct QueryReply {
    Frame frame;
    TlvPtr items;
};

// The steps of every query, each 0 or the result code, logged.
std::uint32_t check_record(const Query& query, const void* record);
std::uint32_t check_session(const Query& query);
std::uint32_t exchange(const Query& query, Elements& elements, QueryReply& reply);
std::uint32_t fill(const Query& query, const TLV_S* items, void* record);

std::uint32_t query_failure(const Query& query, int line, const char* text, std::uint32_t code);

// Starts the request with what every query carries. Not to be called where the elements have no buffer.
Elements& begin(const Query& query, Elements& elements);

// Session check, request and reply; append adds the query's own items.
template <class Append> std::uint32_t ask(const Query& query, QueryReply& reply, Append append) {
    if (const std::uint32_t code = check_session(query); code != 0)
        return code;
    Elements elements;
    if (elements.HasBuffer())
        append(begin(query, elements));
    return exchange(query, elements, reply);
}

// A whole query that is a row.
template <class Append> std::uint32_t run(const Query& query, void* record, Append append) {
    if (const std::uint32_t code = check_record(query, record); code != 0)
        return code;
    QueryReply reply;
    if (const std::uint32_t code = ask(query, reply, append); code != 0)
        return code;
    return fill(query, reply.items.get(), record);
}

inline std::uint32_t run(const Query& query, void* record) {
    return run(query, record, [](Elements&) {});
}
