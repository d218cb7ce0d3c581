// Cuts what the stream hands over into messages. It owns the receive buffer of one connection; one thread uses it.
//
// A receive normally holds one message and is handed on as it stands, however odd it is: what its total length claims
// beyond the bytes received are those of earlier messages. When the stream joins messages, each is handed on in order,
// and one behind others whose end has not come yet is held until the next receive, even where only a part of its header
// has come.
//
// What follows a message is judged strictly, so that one whose length is wrong does not cost those behind it. A message
// is plausible when it begins as the connection's first message did and has a type and a length that the service sends;
// bytes are exact when they are plausible messages one behind the other up to the very last byte.
#pragma once

#include <cstddef>

#include "session/message.h"

class Receiver {
public:
    unsigned char* Room() { return buffer_ + held_; }
    std::size_t RoomSize() const { return sizeof buffer_ - held_; }

    // Hands on the messages in the n bytes just received: deliver(bytes, size, alone), where size is what the message
    // claims, or the whole buffer where the claim is impossible, and alone tells that nothing else was received with
    // it. The bytes live until the next call.
    template <class Deliver> void Take(std::size_t n, Deliver&& deliver);

private:
    static unsigned TotalLength(const unsigned char* message) { return message[4] * 256U + message[5]; }

    // All of them look at buffer_ from one place to another.
    bool IsPlausible(std::size_t at, std::size_t end) const; // as far as its bytes go
    bool IsWhole(std::size_t at, std::size_t end) const;     // plausible, with its last byte
    bool IsExact(std::size_t at, std::size_t end) const;
    std::size_t FirstExact(std::size_t at, std::size_t end) const; // end when there is none

    bool Continues(std::size_t held, std::size_t end) const;
    void MoveToFront(std::size_t at, std::size_t size);
    void NoteVersion();

    alignas(tagMSG_DATA) unsigned char buffer_[g_data_size] = {};
    std::size_t held_ = 0; // bytes of a message whose end has not come yet, at the front
    unsigned char version_ = 0;
    bool knowsVersion_ = false;
};

template <class Deliver> void Receiver::Take(std::size_t n, Deliver&& deliver) {
    NoteVersion();
    std::size_t end = held_ + n;
    std::size_t at = 0;
    if (held_ != 0 && !Continues(held_, end)) {
        MoveToFront(held_, n);
        held_ = 0;
        end = n;
    }
    if (held_ == 0) { // this receive begins with a message of its own, whatever it is
        const unsigned claimed = TotalLength(buffer_);
        const bool isPossible = is_valid_length(claimed);
        const bool alone = !isPossible || claimed >= end;
        deliver(buffer_, isPossible ? std::size_t{claimed} : sizeof buffer_, alone);
        if (alone)
            return;
        at = claimed;
    }
    held_ = 0;

    while (at < end) {
        if (!IsPlausible(at, end)) {
            at = FirstExact(at + 1, end);
            continue;
        }
        if (!IsWhole(at, end)) {
            held_ = end - at;
            MoveToFront(at, held_);
            return;
        }
        const std::size_t size = TotalLength(buffer_ + at);
        deliver(buffer_ + at, size, false);
        at += size;
    }
}
