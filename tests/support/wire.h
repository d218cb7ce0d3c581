// The tests' own reading and writing of messages, which shares nothing with the library's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

Bytes operator+(Bytes left, const Bytes& right);

// "01 0b ff": bytes written by hand; a text in the style 'abc' stands for its characters.
Bytes Hex(std::string_view text);

// Elements.
Bytes Data(std::int32_t tag, const Bytes& value);
Bytes Text(std::int32_t tag, std::string_view text); // with its NUL
Bytes Int(std::int32_t tag, std::int32_t value);
Bytes Claims(std::int32_t tag, std::int32_t length, const Bytes& value); // a length that may be a lie

// Messages.
Bytes Message(unsigned type, unsigned sendId, unsigned session, const Bytes& body);
Bytes WithTotalLength(Bytes message, unsigned totalLength);
Bytes Operation(unsigned type, unsigned sendId, unsigned session, unsigned kind, const Bytes& elements);
Bytes Event(unsigned session, const Bytes& elements);

struct Element {
    std::int32_t tag;
    Bytes value;

    std::string Text() const;
    std::int32_t Int() const;
    friend bool operator==(const Element&, const Element&) = default;
};

struct Decoded {
    unsigned version = 0;
    unsigned type = 0;
    unsigned sendId = 0;
    unsigned reserved = 0;
    unsigned totalLength = 0;
    unsigned session = 0;
    unsigned kind = 0; // operations
    unsigned second = 0;
    unsigned bodyLength = 0;
    std::vector<Element> elements;

    const Element* Find(std::int32_t tag) const;
};

// Fails the test where the bytes are no whole message.
Decoded Decode(const Bytes& message);

unsigned SendIdOf(const Bytes& message);

} // namespace test
