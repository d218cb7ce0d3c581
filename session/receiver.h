// Cuts what the stream hands over into messages. It owns the receive buffer of one connection; one thread uses it.
//
// A receive normally holds one message and is handed on as it stands, however odd it is: what its total length claims
// beyond the bytes received are those of earlier messages. When the stream joins messages, each is handed on in order,
// and one behind others whose end has not come yet is completed by the next receive, even where only a part of its
// header has come. What follows a message without looking like the start of another is ignored.
#pragma once

#include <cstddef>

#include "session/message.h"

class Receiver {
public:
    unsigned char* Room() { return buffer_ + held_; }
    std::size_t RoomSize() const { return sizeof buffer_ - held_; }

    // Hands on the messages in the n bytes just received: deliver(bytes, size), where size is what the message claims,
    // or the whole buffer where the claim is impossible. The bytes live until the next call.
    template <class Deliver> void Take(std::size_t n, Deliver&& deliver);

private:
    static unsigned TotalLength(const unsigned char* message) { return message[4] * 256U + message[5]; }
    bool StartsMessage(std::size_t at, std::size_t size) const;
    void MoveToFront(std::size_t at, std::size_t size);
    void Hold(std::size_t at, std::size_t size);

    alignas(tagMSG_DATA) unsigned char buffer_[g_data_size] = {};
    std::size_t held_ = 0; // bytes of a message whose end has not come yet, at the front
};

template <class Deliver> void Receiver::Take(std::size_t n, Deliver&& deliver) {
    const bool completing = held_ != 0;
    const std::size_t end = held_ + n;
    held_ = 0;

    std::size_t at = 0;
    while (at < end) {
        const std::size_t left = end - at;
        const bool follows = at != 0 || completing;
        if (follows && !StartsMessage(at, left))
            return;
        if (follows && left < g_head_size)
            return Hold(at, left);

        const unsigned claimed = TotalLength(buffer_ + at);
        if (!is_valid_length(claimed)) {
            deliver(buffer_, sizeof buffer_);
            return;
        }
        if (claimed > left) {
            if (follows)
                return Hold(at, left);
            deliver(buffer_, std::size_t{claimed});
            return;
        }
        deliver(buffer_ + at, std::size_t{claimed});
        at += claimed;
    }
}
