// CTcpSocket: the one connection to the management service, a local stream socket at a fixed path, and the reader that
// receives from it.
//
// A second connect replaces the connection; the older one is closed only if the service has hung up on it. Each reader
// serves the connection that it was started for, with a buffer of its own; only the end of the current connection
// clears the session's state. A private leaf lock makes that end and a new connection two steps that cannot mix.
#pragma once

#include <cstdint>

#include "common/relaxed.h"
#include "common/th_lock.h"
#include "session/connection.h"

class CTcpSocket {
public:
    CTcpSocket() = default;
    ~CTcpSocket(); // closes the stored descriptor, whatever it is
    CTcpSocket(const CTcpSocket&) = delete;
    CTcpSocket& operator=(const CTcpSocket&) = delete;

    // Type 0 connects: 0, or 1 (logged). Type 1 is not offered: 11. Any other type is returned as it is. The address
    // and port are not used.
    std::int32_t ConnectServer(std::int32_t type, const char* address, std::uint32_t port);

    // One send of len bytes; true when the socket took them. Called under the request lock only.
    bool SendData(const char* data, std::int32_t len);

    // Receives until the service closes the connection, and then returns 13.
    std::int32_t ReadSockThread(const ConnectionPtr& connection);
    static void* CreateReadSockThread(void* connection); // a ConnectionPtr of its own, from new

    // The connection that requests go out on; null before the first.
    ConnectionPtr Current();

    // Sets a state flag that the end of the connection clears, unless that end has already come.
    void RaiseWhileConnected(Relaxed<std::uint8_t>& flag);

    // Hex dumps of one message, or of what one receive gave, to the log, in decimal bytes; off unless the switch is 1.
    // At least 100 bytes can be read there.
    void PrintSendDataToLog(const char* data, std::int32_t len);
    void PrintRecvDataToLog(const char* data, std::int32_t len);

    Relaxed<std::uint8_t> sendDump;
    Relaxed<std::uint8_t> recvDump;

private:
    void Replace(ConnectionPtr connection, bool connects);
    void Disconnected(const ConnectionPtr& connection);

    CThLock connectionLock_;
    ConnectionPtr current_;
    Relaxed<std::uint8_t> connected_;
};

extern CTcpSocket& g_sock;
