// CSession: turns the socket's stream of messages into blocking requests, and hands pushed events on.
//
// Threads: application threads ask (one request in flight, the rest wait at the request lock); the socket reader pushes
// what it receives; the socket-data thread pairs replies with the request that waits; the event thread delivers events.
// The request lock, the reply queue's lock and the event queue's lock are never nested by the library itself. The event
// queue's lock is held while callbacks run: the reader blocks on its next event until they return.
#pragma once

#include <cstdint>

#include "common/sem.h"
#include "common/service_thread.h"
#include "common/th_lock.h"
#include "session/message.h"
#include "session/message_queue.h"
#include "session/reply_slot.h"

class CSession {
public:
    // Sends the request and waits for its reply, at most 60 seconds. 0: the reply is in reply, its header in host
    // order (or reply as it stood, when a signal ended the wait); 1: could not be sent; 7: no reply in time; 23: a
    // reply of impossible length. The request's length and session id are left in network order.
    std::uint32_t SendRequest(tagMSG_DATA* request, tagMSG_DATA* reply);

    // alone: nothing else was received with the message.
    void PushSockData(const unsigned char* message, std::size_t size, bool alone = true);
    void PushEventData(const unsigned char* message, std::size_t size);

    // Pushes the messages of one receive, in order, with one lock and one wake for each run of the same kind.
    class Delivery;

    // Each starts its thread; true when it could not be created.
    bool CreateReadSock();
    bool CreateProcessSocketDataThread(std::uint32_t unused);
    bool CreateEventCallBackThread();

    // Each asks its thread to end. Silent when there is none.
    void TerminateReadSocketThread();
    void TerminateProcessSockDataThread();
    void TerminateEventThread();

    ServiceThread& Reader() { return readerThread_; }

    static void ConvertSendDataHtons(tagMSG_DATA* message);
    static std::int32_t ConvertRecvDataNtohs(tagMSG_DATA* message); // 1, or 0 (logged) when the length is impossible

private:
    struct Lane {
        CThLock lock;
        Sem arrived;
        MessageQueue queue;

        bool Push(const unsigned char* message, std::size_t size, bool alone);
    };

    static void* ProcessSocketDataThread(void* session);
    static void* ProcessEventThread(void* session);
    [[noreturn]] void ProcessSocketData();
    [[noreturn]] void ProcessEvent();
    bool AnswerFromQueue();
    bool Answer(tagMSG_DATA* message, bool alone);
    void DeliverFromQueue();
    void WaitForWake();

    static constexpr std::int32_t kTimeOutSeconds = 60;

    CThLock requestLock_;
    ReplySlot slot_;
    Sem replied_;
    ServiceThread readerThread_;
    ServiceThread sockDataThread_;
    ServiceThread eventThread_;
    Lane replies_;
    Lane events_;
};

class CSession::Delivery {
public:
    explicit Delivery(CSession& session) : session_(session) {}
    ~Delivery() { Finish(); }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    // Sorts the message by its type and body kind and appends it to its queue.
    void Push(const unsigned char* message, std::size_t size, bool alone);

private:
    void SwitchTo(Lane& lane);
    void Finish();

    CSession& session_;
    Lane* lane_ = nullptr; // the lane whose lock is held
};

extern CSession& g_session;
