#include "session/receiver.h"

#include <bitset>
#include <cstring>

// The service writes the same version into all of its messages.
void Receiver::NoteVersion() {
    if (knowsVersion_)
        return;
    version_ = buffer_[0];
    knowsVersion_ = true;
}

bool Receiver::IsPlausible(std::size_t at, std::size_t end) const {
    constexpr std::size_t kTypeEnd = 2;
    constexpr std::size_t kLengthHighEnd = 5;
    constexpr std::size_t kLengthEnd = 6;

    const unsigned char* bytes = buffer_ + at;
    const std::size_t size = end - at;
    if (bytes[0] != version_)
        return false;
    if (size >= kTypeEnd && bytes[1] != SDK_SESSION_CONTROL_RESPONSE && bytes[1] != OPERATION_RESPONSE)
        return false;
    if (size >= kLengthEnd)
        return is_valid_length(TotalLength(bytes));
    return size < kLengthHighEnd || bytes[4] <= g_data_size / 256;
}

bool Receiver::IsWhole(std::size_t at, std::size_t end) const {
    return end - at >= g_head_size && IsPlausible(at, end) && TotalLength(buffer_ + at) <= end - at;
}

bool Receiver::IsExact(std::size_t at, std::size_t end) const {
    while (at < end && IsWhole(at, end))
        at += TotalLength(buffer_ + at);
    return at == end;
}

// From the back, so that no place is looked at twice.
std::size_t Receiver::FirstExact(std::size_t at, std::size_t end) const {
    std::bitset<g_data_size + 1> exact;
    exact[end] = true;
    std::size_t first = end;
    for (std::size_t from = end; from-- > at;) {
        if (!IsWhole(from, end) || !exact[from + TotalLength(buffer_ + from)])
            continue;
        exact[from] = true;
        first = from;
    }
    return first;
}

// Whether what was received goes on with what is held. What makes sense by itself and none behind it does not, so that
// bytes that only looked like the start of a message do not cost the messages after them.
bool Receiver::Continues(std::size_t held, std::size_t end) const {
    return IsPlausible(0, end) && (IsExact(0, end) || !IsExact(held, end));
}

void Receiver::MoveToFront(std::size_t at, std::size_t size) { std::memmove(buffer_, buffer_ + at, size); }
