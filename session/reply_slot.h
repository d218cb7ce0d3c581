// The one request that waits for its reply, and where that reply goes. A private leaf lock keeps the two sides apart: a
// reply is either wholly in the caller's buffer before the caller takes the request back, or never written to it.
#pragma once

#include <cstdint>
#include <memory>

#include "common/th_lock.h"
#include "session/message.h"

class ReplySlot {
public:
    enum class Verdict {
        Answered, // copied to the waiting request, which is to be woken
        Held,     // nothing waits and the send id is 0, the id of nobody: kept for the next request, if it may be
        Refused,
    };

    // The request with this send id waits from now on for its reply.
    void Arm(tagMSG_DATA* reply, std::uint8_t sendId);

    // The request waits no longer. True when its reply was copied, and so its wake is posted or about to be.
    bool Disarm();

    // The send id that is waited for, 0 when nothing waits.
    int Expected();

    // A message with its header in host order, of which size bytes are to be copied. expected is set to the send id
    // that was waited for, 0 for none.
    Verdict Offer(const tagMSG_DATA& message, std::size_t size, bool mayBeHeld, int& expected);

    // Moves the message held, if there is one, to the waiting request: true, and the request is answered without a
    // wake.
    bool TakeHeld();

private:
    CThLock lock_;
    tagMSG_DATA* reply_ = nullptr;
    std::uint8_t expected_ = 0;
    bool answered_ = false;
    bool holds_ = false;
    std::size_t heldSize_ = 0;
    tagMSG_DATA held_;
};
