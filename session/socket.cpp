#include "session/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "common/cancel.h"
#include "common/debug_log.h"
#include "common/descriptor_limit.h"
#include "session/event_seam.h"
#include "session/receiver.h"
#include "session/session.h"
#include "session/state.h"

namespace {

constexpr char kPath[] = "/mnt/sock/sdk.socket";
constexpr std::int32_t kDisconnected = 13;

void log_no_socket(int why) {
    const DescriptorForARecord atTheLimit;
    char room[64];
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d socket failed: %s", "ConnectServer", __LINE__,
                   strerror_r(why, room, sizeof room));
}

} // namespace

CTcpSocket::~CTcpSocket() { close(current_ != nullptr ? current_->Descriptor() : 0); }

std::int32_t CTcpSocket::ConnectServer(std::int32_t type, const char*, std::uint32_t) {
    if (type != 0)
        return type == 1 ? 11 : type;

    sockaddr_un server{};
    server.sun_family = AF_UNIX;
    std::memcpy(server.sun_path, kPath, sizeof kPath);

    auto connection = std::make_shared<const Connection>();
    if (connection->Descriptor() == -1)
        log_no_socket(errno);
    const bool connects =
        connect(connection->Descriptor(), reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0;
    Replace(std::move(connection), connects);
    if (!connects) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d connect failed!", VELA_HERE);
        return 1;
    }
    return 0;
}

// The one stored before is let go of behind the lock.
void CTcpSocket::Replace(ConnectionPtr connection, bool connects) {
    const std::lock_guard guard(connectionLock_);
    current_.swap(connection);
    if (connects)
        connected_ = 1;
}

ConnectionPtr CTcpSocket::Current() {
    const std::lock_guard guard(connectionLock_);
    return current_;
}

bool CTcpSocket::SendData(const char* data, std::int32_t len) {
    if (connected_ != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d socket is disconnect", VELA_HERE);
        return false;
    }
    const ConnectionPtr connection = Current();
    // MSG_NOSIGNAL: a service that has just gone is a failed send, not the end of the application.
    if (send(connection->Descriptor(), data, static_cast<std::size_t>(len), MSG_NOSIGNAL) == -1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d socket send error", VELA_HERE);
        return false;
    }
    PrintSendDataToLog(data, len);
    return true;
}

void* CTcpSocket::CreateReadSockThread(void* connection) {
    const ServiceThread::Life life(g_session.Reader());
    const std::unique_ptr<ConnectionPtr> own(static_cast<ConnectionPtr*>(connection));
    g_sock.ReadSockThread(*own);
    return nullptr;
}

std::int32_t CTcpSocket::ReadSockThread(const ConnectionPtr& connection) {
    Receiver receiver;
    char received[g_data_size] = {}; // for the dump: the receiver moves what it holds
    for (;;) {
        ssize_t n = 0;
        {
            const CancelOn here;
            n = recv(connection->Descriptor(), receiver.Room(), receiver.RoomSize(), 0);
        }
        if (n == -1) {
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d recv data faild! recv return -1", VELA_HERE);
            continue;
        }
        if (n == 0)
            break;
        const bool dumps = recvDump == 1;
        if (dumps)
            std::memcpy(received, receiver.Room(), receiver.RoomSize());
        {
            CSession::Delivery delivery(g_session);
            receiver.Take(static_cast<std::size_t>(n), [&](const unsigned char* message, std::size_t size, bool alone) {
                delivery.Push(message, size, alone);
            });
        }
        if (dumps)
            PrintRecvDataToLog(received, static_cast<std::int32_t>(n));
    }

    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d disconnect from server!", VELA_HERE);
    Disconnected(connection);
    return kDisconnected;
}

void CTcpSocket::Disconnected(const ConnectionPtr& connection) {
    const std::lock_guard guard(connectionLock_);
    if (connection != current_)
        return; // replaced by a newer connection, whose session is not touched
    connected_ = 0;
    g_bSessionIsOpen = 0;
    g_bCliIsOpen = 0;
    forget_events();
}

void CTcpSocket::RaiseWhileConnected(Relaxed<std::uint8_t>& flag) {
    const std::lock_guard guard(connectionLock_);
    if (connected_ == 1)
        flag = 1;
}

// Dumps

namespace {

constexpr std::int32_t kRow = 8;
constexpr std::int32_t kDumpedOnError = 100;

bool can_dump(std::int32_t len) { return len >= g_head_size && len <= g_data_size; }

void dump_row(const unsigned char* bytes, std::int32_t count) {
    char row[64] = "";
    int length = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        const char* gap = i == 0 ? "" : i == kRow / 2 ? "  " : " ";
        length += std::snprintf(row + length, sizeof row - static_cast<std::size_t>(length), "%s%-3d", gap, bytes[i]);
    }
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s", row);
}

void dump(const char* data, std::int32_t len) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    for (std::int32_t at = 0; at < len; at += kRow)
        dump_row(bytes + at, std::min(kRow, len - at));
}

} // namespace

void CTcpSocket::PrintSendDataToLog(const char* data, std::int32_t len) {
    if (sendDump != 1)
        return;
    if (!can_dump(len)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d socket send len error, len = %d", VELA_HERE, len);
        len = kDumpedOnError;
    }
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d send len = %d", VELA_HERE, len);
    dump(data, len);
}

void CTcpSocket::PrintRecvDataToLog(const char* data, std::int32_t len) {
    if (recvDump != 1)
        return;
    if (!can_dump(len)) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d socket recv len error, len = %d", VELA_HERE, len);
        len = kDumpedOnError;
    }
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d recv len = %d", VELA_HERE, len);
    dump(data, len);
}
