// The connection and its reader: connecting, sending, sorting what arrives, the end of a connection, and the dumps.
#include "session/socket.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <future>
#include <gmock/gmock.h>
#include <memory>
#include <mutex>
#include <set>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "support/dispatcher.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using namespace test;

auto Dropped(int received) { return Says(kInfo, kAnyFunction, "sendId = 0 recv_id = " + std::to_string(received)); }

class Socket : public ::testing::Test {
protected:
    void SetUp() override {
        TakeRecords();
        ForgetCalls();
    }
    static bool Send(CTcpSocket& socket, const Bytes& bytes) {
        return socket.SendData(reinterpret_cast<const char*>(bytes.data()), static_cast<std::int32_t>(bytes.size()));
    }
};

// ---- connecting and sending ----

TEST_F(Socket, ConnectsToTheServicesPath) {
    Peer peer;
    CTcpSocket socket;
    EXPECT_EQ(socket.ConnectServer(0, "10.0.0.1", 830), 0);
    const std::vector<ConnectCall> calls = Connects();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].family, AF_UNIX);
    EXPECT_EQ(calls[0].path, "/mnt/sock/sdk.socket");
    EXPECT_TRUE(calls[0].pathEnds);
    EXPECT_EQ(calls[0].length, 110U);
    EXPECT_TRUE(peer.SawConnections(1));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Socket, SaysWhenItCannotConnect) {
    CTcpSocket socket;
    EXPECT_EQ(socket.ConnectServer(0, nullptr, 0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConnectServer", "connect failed!")));
    EXPECT_FALSE(Send(socket, Hex("01")));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket is disconnect")));
}

TEST_F(Socket, CannotConnectWithoutADescriptor) {
    Peer peer;
    CTcpSocket socket;
    const Fail create(Call::Socket, EMFILE);
    EXPECT_EQ(socket.ConnectServer(0, nullptr, 0), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "ConnectServer", "socket failed: Too many open files"),
                                           Says(kError, "ConnectServer", "connect failed!")));
}

TEST_F(Socket, StaysConnectedButStoresTheNewDescriptorWhenASecondConnectFails) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    const int first = socket.Current()->Descriptor();
    {
        const Fail connect(Call::Connect, ECONNREFUSED);
        EXPECT_EQ(socket.ConnectServer(0, nullptr, 0), 1);
    }
    TakeRecords();
    EXPECT_NE(socket.Current()->Descriptor(), first);
    // Still marked connected: the send is tried, on the new descriptor, and fails there.
    EXPECT_FALSE(Send(socket, Hex("01")));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket send error")));
    ASSERT_THAT(Sends(), SizeIs(1));
    EXPECT_EQ(Sends()[0].descriptor, socket.Current()->Descriptor());
    EXPECT_THAT(Closes(), IsEmpty());
    real::Close(first);
}

TEST_F(Socket, ReturnsEveryOtherTypeWithoutTouchingASocket) {
    CTcpSocket socket;
    const long before = Count(Call::Socket);
    EXPECT_EQ(socket.ConnectServer(1, nullptr, 0), 11);
    for (const std::int32_t type : {2, 7, 11, -1, 2147483647})
        EXPECT_EQ(socket.ConnectServer(type, nullptr, 0), type);
    EXPECT_EQ(Count(Call::Socket), before);
    EXPECT_THAT(Connects(), IsEmpty());
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Socket, SendsTheWholeMessageAtOnce) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    for (const std::size_t size : {8U, 8012U}) {
        ForgetCalls();
        peer.TakeRequests();
        const Bytes message = Message(1, 1, 0, Bytes(size - 8, 'x'));
        EXPECT_TRUE(Send(socket, message));
        ASSERT_TRUE(peer.SawRequests(1));
        EXPECT_THAT(peer.Requests(), ElementsAre(message));
        ASSERT_THAT(Sends(), SizeIs(1));
        EXPECT_EQ(Sends()[0].length, size);
        EXPECT_EQ(Sends()[0].flags & ~MSG_NOSIGNAL, 0);
    }
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(Socket, RefusesToSendBeforeItIsConnected) {
    CTcpSocket socket;
    EXPECT_FALSE(Send(socket, Hex("01")));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket is disconnect")));
    EXPECT_THAT(Sends(), IsEmpty());
}

TEST_F(Socket, SaysWhenASendFails) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    const Fail send(Call::Send, EAGAIN);
    EXPECT_FALSE(Send(socket, Hex("01 02")));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket send error")));
}

TEST_F(Socket, TakesAShortCountForSent) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    for (const long count : {1L, 0L}) {
        const Pretend send(Call::Send, count);
        EXPECT_TRUE(Send(socket, Hex("01 02 03")));
    }
    EXPECT_THAT(Records(), IsEmpty());
    EXPECT_THAT(Sends(), SizeIs(2));
}

TEST_F(Socket, RaisesNoSignalWhenTheServiceHasGone) {
    signal(SIGPIPE, SIG_DFL); // would end the test
    CTcpSocket socket;
    {
        Peer peer;
        ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
        ASSERT_TRUE(peer.SawConnections(1));
    }
    EXPECT_FALSE(Send(socket, Hex("01")));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket send error")));
}

TEST_F(Socket, LeavesTheOlderConnectionOpenWhenItConnectsAgain) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    const int first = socket.Current()->Descriptor();
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(2));
    EXPECT_THAT(Closes(), IsEmpty());
    EXPECT_FALSE(peer.IsClosedByLibrary(0));
    EXPECT_TRUE(Send(socket, Message(1, 1, 0, {})));
    EXPECT_TRUE(peer.SawRequests(1));
    EXPECT_EQ(Sends()[0].descriptor, socket.Current()->Descriptor());
    EXPECT_NE(first, socket.Current()->Descriptor());
    real::Close(first);
}

TEST_F(Socket, ClosesTheOlderConnectionWhenTheServiceHasHungUpOnIt) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(1));
    const int first = socket.Current()->Descriptor();
    peer.HangUp();
    EXPECT_THAT(Closes(), Not(Contains(first))) << "before there is another";
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    EXPECT_THAT(Closes(), Contains(first));
}

TEST_F(Socket, ClosesASocketThatNeverConnectedWhenItConnectsAgain) {
    CTcpSocket socket;
    EXPECT_EQ(socket.ConnectServer(0, nullptr, 0), 1);
    const int first = socket.Current()->Descriptor();
    EXPECT_THAT(Closes(), Not(Contains(first)));
    Peer peer;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    EXPECT_THAT(Closes(), Contains(first));
}

TEST_F(Socket, ClosesNothingWhileAReaderMayStillUseIt) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(1));
    ConnectionPtr reading = socket.Current();
    const int first = reading->Descriptor();
    peer.HangUp();
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    EXPECT_THAT(Closes(), Not(Contains(first)));
    reading = nullptr;
    EXPECT_THAT(Closes(), Contains(first));
}

TEST_F(Socket, ClosesNoDescriptorThatHasBecomeSomethingElse) {
    Peer peer;
    CTcpSocket socket;
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(1));
    const int first = socket.Current()->Descriptor();
    peer.HangUp();
    // The application closes all descriptors, and the number becomes a pipe whose other end has gone.
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    real::Close(ends[1]);
    ASSERT_EQ(dup2(ends[0], first), first);
    real::Close(ends[0]);
    ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
    EXPECT_THAT(Closes(), Not(Contains(first)));
    real::Close(first);
}

TEST_F(Socket, ClosesItsDescriptorWhenItIsDestroyed) {
    Peer peer;
    int descriptor = -1;
    {
        CTcpSocket socket;
        ASSERT_EQ(socket.ConnectServer(0, nullptr, 0), 0);
        descriptor = socket.Current()->Descriptor();
        ASSERT_TRUE(peer.SawConnections(1));
    }
    EXPECT_THAT(Closes(), ElementsAre(descriptor));
    EXPECT_TRUE(peer.ClosedByLibrary(0));
}

TEST_F(Socket, ClosesDescriptorZeroWhenItNeverConnected) {
    const Pretend close(Call::Close, 0); // or the test would lose its own
    { const CTcpSocket socket; }
    EXPECT_THAT(Closes(), ElementsAre(0));
}

// ---- the reader ----

std::atomic<int> eventsDelivered{0};
void CountEvent(std::uint32_t, const char*, tagVELA_EVENT, void*, int) { ++eventsDelivered; }

class Reader : public Dispatcher {
protected:
    void SetUp() override {
        Dispatcher::SetUp();
        eventsDelivered = 0;
        g_evt.RegEvent("app", &CountEvent);
        g_bSessionIsOpen = 0;
        g_bCliIsOpen = 0;
        clear_event_handles();
    }
    static Bytes EventElements() { return Text(1, "app") + Text(2, "tag"); }

    static bool WasReadBy(int descriptor, std::set<const void*>& threads) {
        threads.clear();
        for (const RecvCall& call : Recvs())
            if (call.descriptor == descriptor)
                threads.insert(call.thread);
        return !threads.empty();
    }
};

struct SortRow {
    unsigned type;
    unsigned kind;
    bool isEvent;
};
class ReaderSorts : public Reader, public ::testing::WithParamInterface<SortRow> {};

TEST_P(ReaderSorts, ByTypeAndBodyKind) {
    const SortRow& row = GetParam();
    peer.Send(Operation(row.type, 77, 0, row.kind, EventElements()));
    if (row.isEvent) {
        EXPECT_TRUE(Eventually([] { return eventsDelivered == 1; }));
        ASSERT_TRUE(Settled());
        EXPECT_EQ(CountOf(Dropped(77)), 0U);
    } else {
        EXPECT_TRUE(SaidEventually(Dropped(77)));
        peer.Send(Event(0, EventElements()));
        EXPECT_TRUE(Eventually([] { return eventsDelivered >= 1; }));
        EXPECT_EQ(eventsDelivered, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Messages, ReaderSorts,
                         ::testing::Values(SortRow{12, 3, true}, SortRow{12, 1, false}, SortRow{12, 4, false},
                                           SortRow{12, 0, false}, SortRow{2, 3, false}, SortRow{2, 1, false},
                                           SortRow{11, 3, false}, SortRow{0, 3, false}));

// Behind it in the buffer stands what an earlier message left there, the kind of an event.
TEST_F(Reader, FindsNoKindInAMessageBehindAnotherThatIsOnlyAHeader) {
    peer.Send(Operation(12, 77, 0, 1, Bytes(40, 3)));
    ASSERT_TRUE(SaidEventually(Dropped(77)));
    peer.Send(Message(2, 40, 0, {}) + Message(12, 50, 0, {}));
    ASSERT_TRUE(SaidEventually(Dropped(50)));
    EXPECT_EQ(CountOf(Dropped(40)), 1U);
    EXPECT_EQ(CountOf(Says(kError, "EventNotify", "file_name == NULL")), 0U);
}

TEST_F(Reader, AsksForTheWholeBufferWithoutFlags) {
    ASSERT_TRUE(Settled());
    for (const RecvCall& call : Recvs()) {
        EXPECT_EQ(call.size, 8012U);
        EXPECT_EQ(call.flags, 0);
        EXPECT_EQ(call.descriptor, g_sock.Current()->Descriptor());
    }
}

TEST_F(Reader, SaysThatAReceiveFailedAndGoesOn) {
    ASSERT_TRUE(Settled());
    TakeRecords();
    {
        const Fail recv(Call::Recv, ECONNRESET, 1, 3, Threads::Others);
        peer.Send(Message(2, 50, 0, {})); // lets the receive that waits return
        ASSERT_TRUE(Eventually([&] { return recv.Failures() == 3; }));
    }
    peer.Send(Message(2, 51, 0, {}));
    ASSERT_TRUE(SaidEventually(Dropped(51)));
    EXPECT_EQ(CountOf(Says(kError, "ReadSockThread", "recv data faild! recv return -1")), 3U);
    EXPECT_EQ(CountOf(Dropped(50)), 1U);
    EXPECT_THAT(Records(), SizeIs(5));
}

TEST_F(Reader, ClearsTheSessionWhenTheServiceHangsUp) {
    g_bSessionIsOpen = 1;
    g_bCliIsOpen = 1;
    {
        const std::lock_guard guard(g_evtLock); // the reader clears them under it
        for (EventHandle& handle : g_evtMgr)
            std::memset(&handle, 1, sizeof handle);
    }
    ForgetCalls();
    peer.HangUp();
    ASSERT_TRUE(SawTheHangUp());
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "ReadSockThread", "disconnect from server!")));
    EXPECT_EQ(g_bSessionIsOpen, 0);
    EXPECT_EQ(g_bCliIsOpen, 0);
    const EventHandle empty{};
    for (const EventHandle& handle : g_evtMgr)
        EXPECT_EQ(std::memcmp(&handle, &empty, sizeof handle), 0);
    EXPECT_EQ(g_evt.RegEvent("app", &CountEvent), 0) << "the registry still knows the name";
    EXPECT_THAT(Closes(), IsEmpty());
    EXPECT_FALSE(g_sock.SendData("x", 1));
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "SendData", "socket is disconnect")));
}

TEST_F(Reader, ReturnsThirteenWhenTheServiceHangsUp) {
    CTcpSocket& other = *new CTcpSocket; // outlives its reader
    ASSERT_EQ(other.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(2));
    std::int32_t result = 0;
    std::thread reader([&] { result = other.ReadSockThread(other.Current()); });
    peer.HangUp(1);
    reader.join();
    EXPECT_EQ(result, 13);
    delete &other;
}

TEST_F(Reader, OfAnOlderConnectionLeavesTheNewerOneAlone) {
    ASSERT_TRUE(Settled());
    // An open that failed after it had connected, and its retry.
    ASSERT_EQ(g_sock.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(2));
    ASSERT_FALSE(g_session.CreateReadSock());
    const int newer = g_sock.Current()->Descriptor();
    g_sock.RaiseWhileConnected(g_bSessionIsOpen);
    g_sock.RaiseWhileConnected(g_bCliIsOpen);
    ASSERT_EQ(g_bSessionIsOpen, 1);
    for (EventHandle& handle : g_evtMgr)
        handle.inUse = 1;

    peer.Send(Event(0, EventElements()), 0); // the older reader still serves its own connection
    ASSERT_TRUE(Eventually([] { return eventsDelivered == 1; }));
    peer.HangUp(0);
    ASSERT_TRUE(SaidEventually(Says(kInfo, "ReadSockThread", "disconnect from server!")));
    for (unsigned i = 0; i < 20; ++i)
        ASSERT_TRUE(Settled());

    EXPECT_EQ(g_bSessionIsOpen, 1);
    EXPECT_EQ(g_bCliIsOpen, 1);
    for (const EventHandle& handle : g_evtMgr)
        EXPECT_EQ(handle.inUse, 1);
    EXPECT_EQ(g_evt.RegEvent("app", &CountEvent), 1) << "the registry was emptied";
    peer.Script({ScriptReply(Int(0, 16))});
    EXPECT_EQ(Ask(5).result, 0U);
    std::set<const void*> threads;
    ASSERT_TRUE(WasReadBy(newer, threads));
    EXPECT_THAT(threads, SizeIs(1)) << "two readers read one socket";
    peer.HangUp(1);
    EXPECT_TRUE(Eventually([] { return g_bSessionIsOpen == 0; }));
}

TEST_F(Reader, KeepsEachConnectionsBytesApart) {
    ASSERT_TRUE(Settled());
    ASSERT_EQ(g_sock.ConnectServer(0, nullptr, 0), 0);
    ASSERT_TRUE(peer.SawConnections(2));
    ASSERT_FALSE(g_session.CreateReadSock());
    // Each connection's buffer ends inside a message, which the other's bytes must not complete.
    const Bytes filling = Message(2, 61, 0, Bytes(8000 - 8, 'f'));
    const Bytes cut = Message(2, 62, 0, Bytes(20, 'c'));
    const auto half = cut.begin() + 12;
    peer.Send(filling + Bytes(cut.begin(), half), 0);
    ASSERT_TRUE(SaidEventually(Dropped(61)));
    peer.Send(Message(2, 63, 0, Bytes(8, 'n')), 1);
    ASSERT_TRUE(SaidEventually(Dropped(63)));
    peer.Send(Bytes(half, cut.end()), 0);
    ASSERT_TRUE(SaidEventually(Dropped(62)));
    EXPECT_THAT(Records(), ::testing::Each(Field(&Record::level, kInfo)));
}

TEST_F(Reader, RaisesAFlagOnlyWhileItIsConnected) {
    Relaxed<std::uint8_t> flag;
    g_sock.RaiseWhileConnected(flag);
    EXPECT_EQ(flag, 1);
    flag = 0;
    peer.HangUp();
    ASSERT_TRUE(SawTheHangUp());
    g_sock.RaiseWhileConnected(flag);
    EXPECT_EQ(flag, 0);
}

// ---- the dumps ----

struct Dump {
    const char* function;
    const char* word;
    void (CTcpSocket::*print)(const char*, std::int32_t);
    Relaxed<std::uint8_t> CTcpSocket::*toggle;
    Relaxed<std::uint8_t> CTcpSocket::*other;
};
void PrintTo(const Dump& dump, std::ostream* out) { *out << dump.word; }

class Dumps : public Socket, public ::testing::WithParamInterface<Dump> {
protected:
    void SetUp() override {
        Socket::SetUp();
        socket.*GetParam().toggle = 1;
        for (std::size_t i = 0; i < sizeof data; ++i)
            data[i] = static_cast<char>(i);
    }
    void TearDown() override {
        const Pretend close(Call::Close, 0); // it would close descriptor 0
        owner.reset();
    }

    std::vector<Record> Print(std::int32_t length) {
        (socket.*GetParam().print)(data, length);
        return TakeRecords();
    }
    ::testing::Matcher<const Record&> Length(std::int32_t length) {
        return Says(kInfo, GetParam().function, GetParam().word + std::string(" len = ") + std::to_string(length));
    }
    ::testing::Matcher<const Record&> LengthError(std::int32_t length) {
        return Says(kError, GetParam().function,
                    std::string("socket ") + GetParam().word + " len error, len = " + std::to_string(length));
    }
    static ::testing::Matcher<const Record&> Row(const std::string& text) { return SaysOnly(kInfo, text); }

    std::unique_ptr<CTcpSocket> owner = std::make_unique<CTcpSocket>();
    CTcpSocket& socket = *owner;
    char data[9000];
};

TEST_P(Dumps, ShowEightBytesInARowAndTheRemainderInAShorterOne) {
    EXPECT_THAT(Print(13),
                ElementsAre(Length(13), Row("0   1   2   3    4   5   6   7  "), Row("8   9   10  11   12 ")));
}

TEST_P(Dumps, ShowBytesAsUnsignedNumbers) {
    const Bytes bytes = Hex("ff 80 7f 0a 00 63 64 c8");
    std::memcpy(data, bytes.data(), bytes.size());
    EXPECT_THAT(Print(8), ElementsAre(Length(8), Row("255 128 127 10   0   99  100 200")));
}

TEST_P(Dumps, HaveARowForEveryRemainder) {
    const char* const rows[] = {
        "8  ",
        "8   9  ",
        "8   9   10 ",
        "8   9   10  11 ",
        "8   9   10  11   12 ",
        "8   9   10  11   12  13 ",
        "8   9   10  11   12  13  14 ",
    };
    for (std::int32_t i = 0; i < 7; ++i)
        EXPECT_THAT(Print(9 + i), ElementsAre(Length(9 + i), Row("0   1   2   3    4   5   6   7  "), Row(rows[i])));
}

TEST_P(Dumps, ShowEveryByteOfALongMessage) {
    const std::vector<Record> records = Print(5000);
    ASSERT_THAT(records, SizeIs(1 + 625));
    EXPECT_THAT(records[0], Length(5000));
    EXPECT_THAT(records[625], Row("128 129 130 131  132 133 134 135")); // bytes 4992 to 4999
    EXPECT_THAT(Print(8012), SizeIs(1 + 1001 + 1));
}

TEST_P(Dumps, ShowAHundredBytesAfterSayingThatTheLengthIsImpossible) {
    for (const std::int32_t length : {7, 0, -1, 8013, 9000}) {
        const std::vector<Record> records = Print(length);
        ASSERT_THAT(records, SizeIs(2 + 12 + 1)) << length;
        EXPECT_THAT(records[0], LengthError(length));
        EXPECT_THAT(records[1], Length(100));
        EXPECT_THAT(records[13], Row("88  89  90  91   92  93  94  95 "));
        EXPECT_THAT(records[14], Row("96  97  98  99 "));
    }
}

TEST_P(Dumps, AreOffUnlessTheirSwitchIsOne) {
    for (const std::uint8_t value : Hex("00 02 ff")) {
        socket.*GetParam().toggle = value;
        EXPECT_THAT(Print(13), IsEmpty());
        EXPECT_THAT(Print(3), IsEmpty());
    }
}

TEST_P(Dumps, HaveSwitchesOfTheirOwn) {
    socket.*GetParam().toggle = 0;
    socket.*GetParam().other = 1;
    EXPECT_THAT(Print(13), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Both, Dumps,
                         ::testing::Values(Dump{"PrintSendDataToLog", "send", &CTcpSocket::PrintSendDataToLog,
                                                &CTcpSocket::sendDump, &CTcpSocket::recvDump},
                                           Dump{"PrintRecvDataToLog", "recv", &CTcpSocket::PrintRecvDataToLog,
                                                &CTcpSocket::recvDump, &CTcpSocket::sendDump}));

TEST_F(Reader, DumpsWhatItSendsWhenToldTo) {
    EXPECT_EQ(g_sock.sendDump, 0);
    EXPECT_EQ(g_sock.recvDump, 0);
    peer.Script({Reply(2, {})});
    g_sock.sendDump = 1;
    EXPECT_EQ(Ask(5).result, 0U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kInfo, "PrintSendDataToLog", "send len = 24"),
                                           SaysOnly(kInfo, "1   11  5   0    0   24  17  112"),
                                           SaysOnly(kInfo, "1   0   0   16   0   0   0   0  "),
                                           SaysOnly(kInfo, "4   0   0   0    15  0   0   0  ")));
    {
        const Fail send(Call::Send, EPIPE);
        Ask(6);
    }
    EXPECT_THAT(TakeRecords(), SizeIs(2)) << "dumped what was not sent";
    g_sock.sendDump = 0;
}

class RecvDump : public Reader {
protected:
    void SetUp() override {
        Reader::SetUp();
        ASSERT_TRUE(Settled());
        TakeRecords();
        g_sock.recvDump = 1;
    }
    void TearDown() override {
        g_sock.recvDump = 0;
        Reader::TearDown();
    }
};

TEST_F(RecvDump, ShowsTheBytesOfOneReceiveTogetherBehindWhatTheyLedTo) {
    peer.Send(Message(2, 9, 5, Hex("aa")) + Message(2, 10, 5, {}));
    ASSERT_TRUE(Eventually([] { return CountOf(SaysOnly(kInfo, "5  ")) == 1; }));
    EXPECT_EQ(CountOf(Says(kInfo, "PrintRecvDataToLog", "recv len = 17")), 1U);
    EXPECT_EQ(CountOf(SaysOnly(kInfo, "1   2   9   0    0   9   0   5  ")), 1U);
    EXPECT_EQ(CountOf(SaysOnly(kInfo, "170 1   2   10   0   0   8   0  ")), 1U);
}

TEST_F(RecvDump, ShowsTheBytesReceivedWhereAMessageIsHeld) {
    const Bytes cut = Message(2, 10, 5, Bytes(30, 7));
    peer.Send(Message(2, 9, 5, {}) + Bytes(cut.begin(), cut.begin() + 8));
    ASSERT_TRUE(Eventually([] { return CountOf(SaysOnly(kInfo, "1   2   10  0    0   38  0   5  ")) == 1; }));
    EXPECT_EQ(CountOf(SaysOnly(kInfo, "1   2   9   0    0   8   0   5  ")), 1U);
    TakeRecords();
    peer.Send(Bytes(cut.begin() + 8, cut.end()));
    ASSERT_TRUE(Eventually([] { return CountOf(SaysOnly(kInfo, "7   7   7   7    7   7  ")) == 1; }));
    EXPECT_EQ(CountOf(SaysOnly(kInfo, "7   7   7   7    7   7   7   7  ")), 3U);
    EXPECT_EQ(CountOf(Says(kInfo, "PrintRecvDataToLog", "recv len = 30")), 1U);
}

TEST_F(RecvDump, SaysThatAReceiveWasTooShortAndShowsAHundredBytes) {
    peer.Send(Hex("01 02 09"));
    ASSERT_TRUE(Eventually([] { return CountOf(Says(kInfo, "PrintRecvDataToLog", "recv len = 100")) == 1; }));
    EXPECT_EQ(CountOf(Says(kError, "PrintRecvDataToLog", "socket recv len error, len = 3")), 1U);
    ASSERT_TRUE(Settled()) << "the reader goes on";
}

// The reader is dumping, held up in the log, while the reply that it has queued answers the request.
TEST_F(RecvDump, HoldsNoQueueMeanwhile) {
    std::promise<void> answered;
    BeforeOthersRecords([written = answered.get_future().share()] { written.wait(); });
    peer.Script({ScriptReply(Int(0, 16))});
    EXPECT_EQ(Ask(5).result, 0U);
    EXPECT_THAT(Records(), IsEmpty()) << "nothing was held up";
    answered.set_value();
    ASSERT_TRUE(Eventually([] { return CountOf(SaysOnly(kInfo, "4   0   0   0    16  0   0   0  ")) == 1; }));
    g_sock.recvDump = 0;
    ASSERT_TRUE(Settled());
    BeforeOthersRecords(nullptr);
}

TEST_F(RecvDump, EndsNoThreadWithoutMemory) {
    {
        const Fail memory(Call::Allocate, ENOMEM, 1, Fail::kForEver, Threads::Others);
        peer.Send(Message(2, 9, 5, Hex("aa")));
        ASSERT_TRUE(Eventually([] { return CountOf(SaysOnly(kError, "DebugOut malloc fail")) >= 3; }));
    }
    g_sock.recvDump = 0;
    EXPECT_TRUE(Settled());
}

TEST_F(Reader, DumpsWhatItReceivesWhenToldTo) {
    g_sock.recvDump = 1;
    peer.Send(Message(2, 9, 0x1170, Hex("aa")));
    ASSERT_TRUE(Eventually([] { return Records().size() >= 4; })); // the dump, and that nobody waited for it
    g_sock.recvDump = 0;
    EXPECT_EQ(CountOf(Says(kInfo, "PrintRecvDataToLog", "recv len = 9")), 1U);
    EXPECT_EQ(CountOf(SaysOnly(kInfo, "1   2   9   0    0   9   17  112")), 1U);
    EXPECT_EQ(CountOf(SaysOnly(kInfo, "170")), 1U);
}

} // namespace
