// One message as it travels on the socket, its sizes, and the byte order of its header. Only the header's lengths and
// session id are in network order; both ends of the connection run on one device.
#pragma once

#include <cstddef>
#include <cstdint>

struct tagMSG_DATA {
    std::uint8_t version;
    std::uint8_t type;
    std::uint8_t sendId;
    std::uint8_t reserved;
    std::uint16_t totalLength; // header and body
    std::uint16_t sessionId;
    std::uint8_t body[8004]; // session control: the elements. Operations: the fixed part below, then the elements

    // The fixed part of an operation's body.
    static constexpr std::size_t kKind = 0;
    static constexpr std::size_t kBodyLength = 2; // 16 bits
};
static_assert(offsetof(tagMSG_DATA, type) == 1);
static_assert(offsetof(tagMSG_DATA, sendId) == 2);
static_assert(offsetof(tagMSG_DATA, totalLength) == 4);
static_assert(offsetof(tagMSG_DATA, sessionId) == 6);
static_assert(offsetof(tagMSG_DATA, body) == 8);
static_assert(sizeof(tagMSG_DATA) == 8012);

constexpr std::uint16_t g_head_size = 8;
constexpr std::uint16_t g_data_size = 8012;
constexpr std::uint16_t g_body_fix_len = 4;

enum MessageType : std::uint8_t {
    SDK_SESSION_CONTROL_REQUEST = 1,
    SDK_SESSION_CONTROL_RESPONSE = 2,
    OPERATION_REQUEST = 11,
    OPERATION_RESPONSE = 12, // and events
};

enum BodyKind : std::uint8_t { BODY_SCRIPT = 1, BODY_EVENT = 3, BODY_QUERY = 4 };

constexpr bool is_valid_length(unsigned totalLength) {
    return totalLength >= g_head_size && totalLength <= g_data_size;
}
