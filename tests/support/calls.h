// The system calls that the library makes, watched and made to fail. The linker leads the library's calls here
// (--wrap); every call is passed on unless a Fail that lives at the moment says otherwise.
//
// Allocation covers malloc, calloc, realloc and operator new alike. Faults and counts are safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace test {

enum class Call {
    Allocate,
    PthreadCreate,
    PthreadCancel,
    MutexInit,
    MutexDestroy,
    SemInit,
    SemDestroy,
    SemWait,
    SemPost,
    SemTimedWait,
    Socket,
    Connect,
    Send,
    Recv,
    Close,
    Fopen,
    TlvInit, // these three where the codec's and the naming's functions are led here too
    TlvAppend,
    GetFileName,
    kCount,
};

enum class Threads { This, Others, All };

// While it lives, the nth of these calls made from now on (1: the next) and the times - 1 after it fail with this
// error. A result instead of an error lets the call "succeed" with it without being made.
class Fail {
public:
    Fail(Call call, int error, int nth = 1, int times = 1, Threads threads = Threads::This);
    ~Fail();
    Fail(const Fail&) = delete;
    Fail& operator=(const Fail&) = delete;

    static constexpr int kForEver = 1 << 30;

    int Failures() const; // how many calls it has failed

private:
    Call call_;
};

// While it lives, these calls return this result without being made.
class Pretend {
public:
    Pretend(Call call, long result, Threads threads = Threads::This);
    ~Pretend();
    Pretend(const Pretend&) = delete;
    Pretend& operator=(const Pretend&) = delete;

private:
    Call call_;
};

// Counts one of these calls, and tells whether it is to fail. For calls that are led elsewhere.
bool IsToFail(Call call);

// How often the call was made since the process began, those that failed included.
long Count(Call call);

// While it lives, no fault strikes the thread that made it: what it does is the test's own equipment.
class Exempt {
public:
    Exempt();
    ~Exempt();
    Exempt(const Exempt&) = delete;
    Exempt& operator=(const Exempt&) = delete;

private:
    bool before_;
};

// Runs before each of these calls, on the calling thread; null for none.
void Before(Call call, std::function<void()> hook);

struct ConnectCall {
    std::uint16_t family;
    std::string path;
    bool pathEnds; // with a NUL inside the address
    unsigned length;
};
struct SendCall {
    int descriptor;
    std::size_t length;
    int flags;
};
struct RecvCall {
    int descriptor;
    std::size_t size;
    int flags;
    const void* thread; // an identity
};
std::vector<ConnectCall> Connects();
std::vector<SendCall> Sends();
std::vector<RecvCall> Recvs();
std::vector<int> Closes();
std::vector<timespec> TimedWaits();
void ForgetCalls();

// What the next pthread_create calls were given, oldest first.
struct CreatedThread {
    void* (*entry)(void*);
    void* argument;
    bool defaultAttributes;
};
std::vector<CreatedThread> CreatedThreads();

// The entry points of the calls themselves, for the test's own equipment.
namespace real {
int Socket(int domain, int type, int protocol);
int Connect(int descriptor, const void* address, unsigned length);
long Send(int descriptor, const void* data, std::size_t length, int flags);
long Recv(int descriptor, void* data, std::size_t size, int flags);
int Close(int descriptor);
} // namespace real

// Connections of the library to its service go to this abstract address; empty: nobody listens.
void LeadConnectionsTo(const std::string& abstractName);

// pthread_self gives the calling thread this number until it is 0 again.
void PretendThreadId(unsigned long id);

// While it lives, the real-time clock reads this for the calling thread; it stands still. Waits go by the true clock:
// one that began at another reading is one during which the clock was set.
class RealTimeReads {
public:
    explicit RealTimeReads(const timespec& instant);
    ~RealTimeReads();
    RealTimeReads(const RealTimeReads&) = delete;
    RealTimeReads& operator=(const RealTimeReads&) = delete;
};

// "/proc/self/maps" has this text; the real file after the object is gone.
class MapsFile {
public:
    explicit MapsFile(std::string text);
    ~MapsFile();
    MapsFile(const MapsFile&) = delete;
    MapsFile& operator=(const MapsFile&) = delete;
};
std::vector<std::string> OpenedFiles();

} // namespace test
