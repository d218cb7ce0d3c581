#include "session/message_queue.h"

#include <cstdlib>
#include <cstring>

struct MessageQueue::Entry {
    std::uint32_t size; // of the two together
    std::uint32_t alone;
};

namespace {

// What stands before a message, and the message's own size in the block, keep the next one aligned.
constexpr std::size_t kAlign = 8;
constexpr std::size_t kSmallest = 16384;

std::size_t entry_size(std::size_t messageSize) { return kAlign + (messageSize + kAlign - 1) / kAlign * kAlign; }

} // namespace

MessageQueue::~MessageQueue() { std::free(block_); }

bool MessageQueue::Push(const unsigned char* bytes, std::size_t size, bool alone) {
    static_assert(sizeof(Entry) == kAlign);
    const Entry entry = {static_cast<std::uint32_t>(entry_size(size)), alone};
    if (!MakeRoom(entry.size))
        return false;
    std::memcpy(block_ + tail_, &entry, sizeof entry);
    std::memcpy(block_ + tail_ + kAlign, bytes, size);
    tail_ += entry.size;
    return true;
}

tagMSG_DATA* MessageQueue::Front() { return reinterpret_cast<tagMSG_DATA*>(block_ + head_ + kAlign); }

bool MessageQueue::FrontWasAlone() const { return FrontEntry().alone != 0; }

MessageQueue::Entry MessageQueue::FrontEntry() const {
    Entry entry;
    std::memcpy(&entry, block_ + head_, sizeof entry);
    return entry;
}

void MessageQueue::Pop() {
    head_ += FrontEntry().size;
    if (Empty())
        head_ = tail_ = 0;
}

bool MessageQueue::MakeRoom(std::size_t size) {
    if (size <= capacity_ - tail_)
        return true;
    const std::size_t used = tail_ - head_;
    if (size <= capacity_ - used) {
        std::memmove(block_, block_ + head_, used);
    } else {
        std::size_t capacity = capacity_ != 0 ? 2 * capacity_ : kSmallest;
        while (capacity - used < size)
            capacity *= 2;
        auto* block = static_cast<unsigned char*>(std::malloc(capacity));
        if (block == nullptr)
            return false;
        if (used != 0)
            std::memcpy(block, block_ + head_, used);
        std::free(block_);
        block_ = block;
        capacity_ = capacity;
    }
    head_ = 0;
    tail_ = used;
    return true;
}
