// A first-in-first-out queue of whole messages in one block of memory that it keeps: once warm it allocates nothing.
// A message takes its own length in the block, not a frame's. No lock of its own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "session/message.h"

class MessageQueue {
public:
    MessageQueue() = default;
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    // Appends a copy; false when there is no memory for it. alone: nothing else was received with it.
    bool Push(const unsigned char* bytes, std::size_t size, bool alone = true);

    bool Empty() const { return head_ == tail_; }

    // The oldest message, of which only the bytes that were pushed may be touched. It lives until the next Push or Pop.
    tagMSG_DATA* Front();
    bool FrontWasAlone() const;
    void Pop();

private:
    struct Entry; // stands before each message in the block

    Entry FrontEntry() const;
    bool MakeRoom(std::size_t size);

    unsigned char* block_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t head_ = 0;
    std::size_t tail_ = 0;
};
