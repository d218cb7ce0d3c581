// The wire format as the service sees it: items, messages, and one readable line for each message.
//
// A codec of the simulator's own, which shares nothing with the library it serves, so that a mistake made in one shows
// in the other. It encodes what it is told, right or wrong; decode() is strict. Values only: no threads, no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

constexpr std::size_t head_size = 8;           // the header
constexpr std::size_t body_prefix_size = 4;    // in front of the items of types 11 and 12
constexpr std::size_t item_head_size = 8;      // tag and length of one item
constexpr std::size_t max_message_size = 8012; // header included

// Message types.
constexpr std::uint8_t session_request = 1;
constexpr std::uint8_t session_reply = 2;
constexpr std::uint8_t operation_request = 11;
constexpr std::uint8_t operation_reply = 12; // and events

// Body kinds of types 11 and 12.
constexpr std::uint8_t script_operation = 1;
constexpr std::uint8_t event_notification = 3;
constexpr std::uint8_t device_query = 4;

enum class Direction { from_client, to_client };

struct Item {
    std::int32_t tag = 0;
    std::string value{}; // the bytes as they stand on the wire

    static Item integer(std::int32_t tag, std::int32_t value);
    static Item u32(std::int32_t tag, std::uint32_t value);
    static Item text(std::int32_t tag, std::string_view text); // adds the terminating NUL
    static Item raw(std::int32_t tag, std::string bytes);

    std::optional<std::int32_t> as_int() const; // nothing unless the value has four bytes
    std::optional<std::string> as_text() const; // without the NUL; nothing unless the only NUL is the last byte
    bool operator==(const Item&) const = default;
};

struct Message {
    std::uint8_t version = 1;
    std::uint8_t type = 0;
    std::uint8_t send_id = 0;
    std::uint8_t reserved = 0;
    std::uint16_t session_id = 0;
    std::uint8_t kind = 0;        // byte 8, types 11 and 12 only
    std::uint8_t kind_second = 0; // byte 9, types 11 and 12 only
    std::vector<Item> items{};
    std::optional<std::uint16_t> total_length{}; // nothing: computed; decode() leaves both empty
    std::optional<std::uint16_t> body_length{};

    bool has_body_prefix() const { return type == operation_request || type == operation_reply; }
    const Item* find(std::int32_t tag) const; // the first with that tag, or null
    std::optional<std::int32_t> integer(std::int32_t tag) const;
    std::optional<std::string> text(std::int32_t tag) const;
    bool operator==(const Message&) const = default;
};

// The whole frame. Lengths and session id in network order, item tags, lengths and integers in host order.
std::string encode(const Message& message);

struct Decoded {
    std::optional<Message> message; // nothing when the frame is wrong
    std::string error;              // what is wrong, empty when nothing is
    Message head;                   // the header fields as far as there are any, also of a wrong frame
};

// Reads exactly one frame; every length must agree with every other and with the number of bytes given.
Decoded decode(std::string_view frame);

// One readable line, without line end:
//   -> op 11 id=3 session=7 cli.execute  5:"sdkclient0007.." 0:17 6:1 7:"display version"
// A value of four bytes reads as a number unless it is three printable characters and a NUL; a text is quoted and
// escaped; anything else is written as x'..' in hexadecimal.
std::string describe(const Message& message);

// The line for a frame that decode() refuses: what is wrong, and its first bytes.
std::string describe_broken(std::string_view frame, std::string_view error);

// How an item's value is shown: a number, a text, or hexadecimal.
enum class Look { number, text, bytes };
Look look_of(const Item& item);
std::string hex(std::string_view bytes);
std::optional<std::string> from_hex(std::string_view digits); // blanks are skipped; nothing when it is not hexadecimal

} // namespace sim
