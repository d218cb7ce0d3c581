#include "session/session.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>

#include "common/cancel.h"
#include "common/debug_log.h"
#include "session/event_seam.h"
#include "session/socket.h"
#include "session/state.h"

// Requests

std::uint32_t CSession::SendRequest(tagMSG_DATA* request, tagMSG_DATA* reply) {
    const std::lock_guard oneAtATime(requestLock_);

    const std::int32_t length = request->totalLength;
    ConvertSendDataHtons(request);
    slot_.Arm(reply, request->sendId);

    if (!g_sock.SendData(reinterpret_cast<const char*>(request), length)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d send data failed", VELA_HERE);
        if (slot_.Disarm())
            WaitForWake();
        return 1;
    }

    if (!slot_.TakeHeld()) {
        const std::int32_t waited = replied_.SemTimedWait(kTimeOutSeconds);
        const int why = errno;
        const bool answered = slot_.Disarm();
        if (waited != 0 && answered)
            WaitForWake(); // the reply came with the limit: its wake must not be left to the next request
        if (!answered && why == ETIMEDOUT) {
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d wait time out", VELA_HERE);
            return 7;
        }
        if (!answered)
            return 0; // a signal ended the wait; the caller reads the reply as it stands
    }
    return is_valid_length(reply->totalLength) ? 0 : 23;
}

void CSession::WaitForWake() {
    while (replied_.SemTimedWait(kTimeOutSeconds) != 0) {
    }
}

void CSession::ConvertSendDataHtons(tagMSG_DATA* message) {
    message->totalLength = htons(message->totalLength);
    message->sessionId = htons(message->sessionId);
    if (message->type != OPERATION_REQUEST)
        return;
    std::uint16_t bodyLength = 0;
    std::memcpy(&bodyLength, message->body + tagMSG_DATA::kBodyLength, sizeof bodyLength);
    bodyLength = htons(bodyLength);
    std::memcpy(message->body + tagMSG_DATA::kBodyLength, &bodyLength, sizeof bodyLength);
}

std::int32_t CSession::ConvertRecvDataNtohs(tagMSG_DATA* message) {
    message->totalLength = ntohs(message->totalLength);
    message->sessionId = ntohs(message->sessionId);
    if (is_valid_length(message->totalLength))
        return 1;
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid message length = %d", VELA_HERE, message->totalLength);
    return 0;
}

// What the socket reader pushes

bool CSession::Lane::Push(const unsigned char* message, std::size_t size, bool alone) {
    if (queue.Push(message, size, alone))
        return true;
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d memory use out, malloc failed", VELA_HERE);
    return false;
}

void CSession::PushSockData(const unsigned char* message, std::size_t size, bool alone) {
    {
        const std::lock_guard guard(replies_.lock);
        replies_.Push(message, size, alone);
    }
    replies_.arrived.SemPost();
}

void CSession::PushEventData(const unsigned char* message, std::size_t size) {
    {
        const std::lock_guard guard(events_.lock);
        events_.Push(message, size, true);
    }
    events_.arrived.SemPost();
}

void CSession::Delivery::Push(const unsigned char* message, std::size_t size, bool alone) {
    // A message that is only a header has no body kind. Alone in its receive it is judged as it stands, with the byte
    // that an earlier message left there; behind it the buffer may end, or another message begin.
    const bool hasKind = alone || size > g_head_size;
    const bool isEvent = hasKind && message[1] == OPERATION_RESPONSE && message[g_head_size] == BODY_EVENT;
    SwitchTo(isEvent ? session_.events_ : session_.replies_);
    lane_->Push(message, size, alone);
}

void CSession::Delivery::SwitchTo(Lane& lane) {
    if (lane_ == &lane)
        return;
    Finish();
    lane.lock.lock();
    lane_ = &lane;
}

// The wake is posted after the lock is released, or the woken thread would only run into the lock.
void CSession::Delivery::Finish() {
    if (lane_ == nullptr)
        return;
    lane_->lock.unlock();
    lane_->arrived.SemPost();
    lane_ = nullptr;
}

// The socket-data thread and the event thread

namespace {

// Waits for the next wake, and is the one place where these threads can be cancelled. A thread that is cancelled while
// another one waits on the same semaphore may have swallowed a wake meant for both, so it passes one on; a wake that
// finds nothing to do is normal.
void wait_for_arrival(Sem& arrived) {
    class PassOn {
    public:
        explicit PassOn(Sem& sem) : sem_(&sem) {}
        ~PassOn() {
            if (sem_ != nullptr)
                sem_->SemPost();
        }
        PassOn(const PassOn&) = delete;
        PassOn& operator=(const PassOn&) = delete;
        void Taken() { sem_ = nullptr; }

    private:
        Sem* sem_;
    } passOn(arrived);

    const CancelOn here;
    arrived.SemWait();
    passOn.Taken();
}

} // namespace

void* CSession::ProcessSocketDataThread(void* session) {
    if (session == nullptr) {
        pthread_detach(pthread_self());
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d lparam == NULL", VELA_HERE);
        return nullptr;
    }
    auto* self = static_cast<CSession*>(session);
    const ServiceThread::Life life(self->sockDataThread_);
    self->ProcessSocketData();
}

void CSession::ProcessSocketData() {
    for (;;) {
        if (AnswerFromQueue())
            replied_.SemPost();
        wait_for_arrival(replies_.arrived);
    }
}

// Empties the reply queue. True when the request that waits was answered and is to be woken.
bool CSession::AnswerFromQueue() {
    const std::lock_guard guard(replies_.lock);
    bool answered = false;
    for (; !replies_.queue.Empty(); replies_.queue.Pop())
        answered |= Answer(replies_.queue.Front(), replies_.queue.FrontWasAlone());
    return answered;
}

// A message with send id 0 that nobody waits for is kept for the next request only where it was alone: behind others it
// is the second copy of an answer, or what a wrong length made of one.
bool CSession::Answer(tagMSG_DATA* message, bool alone) {
    int expected = slot_.Expected();
    if (message->sendId == expected) {
        ConvertRecvDataNtohs(message);
        const std::size_t size = is_valid_length(message->totalLength) ? message->totalLength : g_data_size;
        switch (slot_.Offer(*message, size, alone, expected)) {
        case ReplySlot::Verdict::Answered:
            return true;
        case ReplySlot::Verdict::Held:
            return false;
        case ReplySlot::Verdict::Refused:
            break; // the request was given up in between, or the message may not be kept
        }
    }
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d sendId = %d recv_id = %d", "ProcessSocketData", __LINE__,
                   expected, message->sendId);
    return false;
}

void* CSession::ProcessEventThread(void* session) {
    if (session == nullptr) {
        pthread_detach(pthread_self());
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d lparam == NULL", VELA_HERE);
        return nullptr;
    }
    auto* self = static_cast<CSession*>(session);
    const ServiceThread::Life life(self->eventThread_);
    self->ProcessEvent();
}

void CSession::ProcessEvent() {
    for (;;) {
        DeliverFromQueue();
        wait_for_arrival(events_.arrived);
    }
}

// Empties the event queue. Callbacks run here, one at a time and in order, with the queue's lock held.
void CSession::DeliverFromQueue() {
    const std::lock_guard guard(events_.lock);
    for (; !events_.queue.Empty(); events_.queue.Pop()) {
        tagMSG_DATA* message = events_.queue.Front();
        if (ConvertRecvDataNtohs(message) != 0)
            deliver_event(message);
        else
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d recv invalid len data", "ProcessEvent", __LINE__);
    }
}

// Start and stop

bool CSession::CreateReadSock() {
    // The reader is told its connection here, so that a reader that is slow to start never reads a later one.
    auto connection = std::make_unique<ConnectionPtr>(g_sock.Current());
    if (readerThread_.Start(CTcpSocket::CreateReadSockThread, connection.get()))
        return true;
    static_cast<void>(connection.release()); // the reader's own
    return false;
}

bool CSession::CreateProcessSocketDataThread(std::uint32_t) {
    return sockDataThread_.Start(ProcessSocketDataThread, this);
}

bool CSession::CreateEventCallBackThread() { return eventThread_.Start(ProcessEventThread, this); }

namespace {

bool is_failure(int cancelled) { return cancelled != 0 && cancelled != ESRCH; }

} // namespace

void CSession::TerminateReadSocketThread() {
    const int rt = readerThread_.Cancel();
    if (is_failure(rt))
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d failed, rt = %d", VELA_HERE, rt);
}

void CSession::TerminateProcessSockDataThread() {
    if (is_failure(sockDataThread_.Cancel()))
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d failed", VELA_HERE);
}

void CSession::TerminateEventThread() {
    if (is_failure(eventThread_.Cancel()))
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d failed", VELA_HERE);
}
