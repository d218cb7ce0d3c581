#include "support/wire.h"

#include <bit>
#include <gtest/gtest.h>

namespace test {
namespace {

static_assert(std::endian::native == std::endian::little,
              "the bytes written by hand are those of a little-endian host");

Bytes Word(std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    Bytes bytes;
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<unsigned char>(bits >> shift));
    return bytes;
}

std::int32_t WordAt(const Bytes& bytes, std::size_t at) {
    std::uint32_t bits = 0;
    for (unsigned i = 0; i < 4; ++i)
        bits |= static_cast<std::uint32_t>(bytes[at + i]) << (8 * i);
    return static_cast<std::int32_t>(bits);
}

unsigned NetworkShort(const Bytes& bytes, std::size_t at) { return bytes[at] * 256U + bytes[at + 1]; }

unsigned char Byte(std::size_t value) { return static_cast<unsigned char>(value & 0xff); }

unsigned HexDigit(char digit) {
    const std::string_view digits = "0123456789abcdef";
    const std::size_t value = digits.find(digit);
    EXPECT_NE(value, std::string_view::npos) << "no hex digit: " << digit;
    return static_cast<unsigned>(value);
}

} // namespace

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes Hex(std::string_view text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ' || text[i] == '\n')
            continue;
        if (text[i] == '\'') {
            for (++i; i < text.size() && text[i] != '\''; ++i)
                bytes.push_back(static_cast<unsigned char>(text[i]));
            continue;
        }
        bytes.push_back(Byte(HexDigit(text[i]) * 16 + HexDigit(text[i + 1])));
        ++i;
    }
    return bytes;
}

Bytes Claims(std::int32_t tag, std::int32_t length, const Bytes& value) { return Word(tag) + Word(length) + value; }
Bytes Data(std::int32_t tag, const Bytes& value) { return Claims(tag, static_cast<std::int32_t>(value.size()), value); }
Bytes Text(std::int32_t tag, std::string_view text) { return Data(tag, Bytes(text.begin(), text.end()) + Bytes{0}); }
Bytes Int(std::int32_t tag, std::int32_t value) { return Data(tag, Word(value)); }

Bytes WithTotalLength(Bytes message, unsigned totalLength) {
    message.at(4) = Byte(totalLength >> 8);
    message.at(5) = Byte(totalLength);
    return message;
}

Bytes Message(unsigned type, unsigned sendId, unsigned session, const Bytes& body) {
    const Bytes head{1, Byte(type), Byte(sendId), 0, 0, 0, Byte(session >> 8), Byte(session)};
    return WithTotalLength(head + body, static_cast<unsigned>(8 + body.size()));
}

Bytes Operation(unsigned type, unsigned sendId, unsigned session, unsigned kind, const Bytes& elements) {
    const std::size_t length = elements.size() + 4;
    return Message(type, sendId, session, Bytes{Byte(kind), 0, Byte(length >> 8), Byte(length)} + elements);
}

Bytes Event(unsigned session, const Bytes& elements) { return Operation(12, 0, session, 3, elements); }

std::string Element::Text() const {
    EXPECT_FALSE(value.empty()) << "a text without its NUL";
    EXPECT_EQ(value.empty() ? 1 : value.back(), 0) << "a text without its NUL";
    return value.empty() ? std::string() : std::string(value.begin(), value.end() - 1);
}

std::int32_t Element::Int() const {
    EXPECT_EQ(value.size(), 4U);
    return value.size() == 4 ? WordAt(value, 0) : 0;
}

const Element* Decoded::Find(std::int32_t tag) const {
    for (const Element& element : elements)
        if (element.tag == tag)
            return &element;
    return nullptr;
}

Decoded Decode(const Bytes& message) {
    Decoded decoded;
    if (message.size() < 8) {
        ADD_FAILURE() << "a message of " << message.size() << " bytes";
        return decoded;
    }
    decoded.version = message[0];
    decoded.type = message[1];
    decoded.sendId = message[2];
    decoded.reserved = message[3];
    decoded.totalLength = NetworkShort(message, 4);
    decoded.session = NetworkShort(message, 6);
    EXPECT_EQ(decoded.totalLength, message.size());
    std::size_t at = 8;
    if (decoded.type == 11 || decoded.type == 12) {
        decoded.kind = message.at(8);
        decoded.second = message.at(9);
        decoded.bodyLength = NetworkShort(message, 10);
        at = 12;
    }
    while (at < message.size()) {
        if (message.size() - at < 8) {
            ADD_FAILURE() << "half an element at " << at;
            return decoded;
        }
        const std::int32_t tag = WordAt(message, at);
        const auto length = static_cast<std::size_t>(WordAt(message, at + 4));
        at += 8;
        if (length > message.size() - at) {
            ADD_FAILURE() << "the element " << tag << " runs past the end";
            return decoded;
        }
        const auto value = message.begin() + static_cast<std::ptrdiff_t>(at);
        decoded.elements.push_back({tag, Bytes(value, value + static_cast<std::ptrdiff_t>(length))});
        at += length;
    }
    return decoded;
}

unsigned SendIdOf(const Bytes& message) { return message.at(2); }

} // namespace test
