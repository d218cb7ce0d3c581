#include "session/reply_slot.h"

#include <cstring>
#include <mutex>

void ReplySlot::Arm(tagMSG_DATA* reply, std::uint8_t sendId) {
    const std::lock_guard guard(lock_);
    reply_ = reply;
    expected_ = sendId;
    answered_ = false;
}

bool ReplySlot::Disarm() {
    const std::lock_guard guard(lock_);
    reply_ = nullptr;
    expected_ = 0;
    return answered_;
}

int ReplySlot::Expected() {
    const std::lock_guard guard(lock_);
    return expected_;
}

ReplySlot::Verdict ReplySlot::Offer(const tagMSG_DATA& message, std::size_t size, bool mayBeHeld, int& expected) {
    const std::lock_guard guard(lock_);
    expected = expected_;
    if (message.sendId != expected_)
        return Verdict::Refused;
    if (reply_ == nullptr) {
        if (!mayBeHeld)
            return Verdict::Refused;
        std::memcpy(&held_, &message, size);
        heldSize_ = size;
        holds_ = true;
        return Verdict::Held;
    }
    std::memcpy(reply_, &message, size);
    reply_ = nullptr;
    expected_ = 0;
    answered_ = true;
    return Verdict::Answered;
}

bool ReplySlot::TakeHeld() {
    const std::lock_guard guard(lock_);
    if (!holds_ || reply_ == nullptr)
        return false;
    std::memcpy(reply_, &held_, heldSize_);
    holds_ = false;
    reply_ = nullptr;
    expected_ = 0;
    return true;
}
