#include "session/receiver.h"

#include <cstring>

// Judges a header of which not all has come by what there is: the service writes the same version into all of its
// messages, the one at the buffer's front included.
bool Receiver::StartsMessage(std::size_t at, std::size_t size) const {
    constexpr std::size_t kTypeEnd = 2;
    constexpr std::size_t kLengthHighEnd = 5;
    constexpr std::size_t kLengthEnd = 6;

    const unsigned char* bytes = buffer_ + at;
    if (size < g_head_size && bytes[0] != buffer_[0])
        return false;
    if (size >= kTypeEnd && bytes[1] != SDK_SESSION_CONTROL_RESPONSE && bytes[1] != OPERATION_RESPONSE)
        return false;
    if (size >= kLengthEnd)
        return is_valid_length(TotalLength(bytes));
    return size < kLengthHighEnd || bytes[4] <= g_data_size / 256;
}

void Receiver::MoveToFront(std::size_t at, std::size_t size) { std::memmove(buffer_, buffer_ + at, size); }

void Receiver::Hold(std::size_t at, std::size_t size) {
    MoveToFront(at, size);
    held_ = size;
}
