// The management service as the unit tests play it: it takes the library's connections at a private address, keeps
// every request, and answers by a script, one step for each request. A request beyond the script stays unanswered.
//
// A step runs on the connection's own thread; Link is what it may do. The peer outlives no test.
#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/wire.h"

namespace test {

class Link {
public:
    explicit Link(int descriptor) : descriptor_(descriptor) {}

    void Send(const Bytes& bytes); // one write, however odd
    void HangUp();

    int Descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

using Step = std::function<void(Link& link, const Bytes& request)>;

// Steps. Each answers with the request's own send id and session.
Step Reply(unsigned type, const Bytes& body);
Step ControlReply(const Bytes& elements);
Step ScriptReply(const Bytes& elements);
Step Silence();
Step HangUp();

class Peer {
public:
    Peer();
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void Script(std::vector<Step> steps); // appended to what is left of the script
    void AlwaysAnswer(Step step);         // in place of a script

    std::vector<Bytes> Requests(); // of all connections, in order
    std::vector<Bytes> TakeRequests();
    bool SawRequests(std::size_t count); // waits for them

    // Connections, oldest first.
    std::size_t Connections();
    bool SawConnections(std::size_t count);
    void Send(const Bytes& bytes, std::size_t connection);
    void Send(const Bytes& bytes); // on the newest
    void HangUp(std::size_t connection);
    void HangUp();

    // Waits until the library has closed its end.
    bool ClosedByLibrary(std::size_t connection);
    bool IsClosedByLibrary(std::size_t connection);

    // No request has arrived that was not read yet.
    bool NothingPending(std::size_t connection);

private:
    struct Connection {
        explicit Connection(int descriptor) : link(descriptor) {}
        Link link;
        std::thread thread;
        bool ended = false;
    };

    void Accept();
    void Serve(Connection& connection);
    bool ReadMessage(Connection& connection, Bytes& message);
    Step NextStep(const Bytes& request);
    Connection& At(std::size_t connection);

    int listener_;
    std::mutex lock_;
    std::vector<Step> script_;
    Step always_;
    std::vector<Bytes> requests_;
    std::list<Connection> connections_;
    std::thread acceptor_;
};

} // namespace test
