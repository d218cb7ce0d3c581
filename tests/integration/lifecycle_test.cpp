// vela_init and vela_release: the log library, the two service threads, and what stays when either fails.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <dlfcn.h>
#include <pthread.h>

#include "inject.h"
#include "support.h"

namespace integration {
namespace {

// The log library's stand-in, steered and watched.
class Lifecycle : public RequestTest {
protected:
    Lifecycle() { setenv("VELALOG_STANDIN_TRACE", trace_path().c_str(), 1); }
    ~Lifecycle() override { std::filesystem::remove(trace_path()); }

    static std::string trace_path() {
        return (std::filesystem::temp_directory_path() / ("velalog." + std::to_string(getpid()))).string();
    }
    static void log_init_returns(const char* code) { setenv("VELALOG_STANDIN_INIT", code, 1); }
    static void log_fini_returns(const char* code) { setenv("VELALOG_STANDIN_FINI", code, 1); }

    static std::vector<std::string> trace() {
        std::ifstream file(trace_path());
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }
    static std::size_t calls_of(const std::string& entry) {
        const auto lines = trace();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(entry + " "); }));
    }

    void TearDown() override {
        unsetenv("VELALOG_STANDIN_INIT");
        unsetenv("VELALOG_STANDIN_FINI");
        RequestTest::TearDown();
    }
};

// The text in quotes behind a name.
std::string quoted_after(const std::string& name, const std::string& line) {
    const auto start = line.find(name + '"');
    if (start == std::string::npos)
        return "";
    const auto text = start + name.size() + 1;
    return line.substr(text, line.find('"', text) - text);
}

std::string directory_of_the_log_library() {
    Dl_info info{};
    void* entry = dlsym(RTLD_DEFAULT, "LogInit");
    if (entry == nullptr || dladdr(entry, &info) == 0)
        return "(the log library is not loaded)";
    return std::filesystem::canonical(info.dli_fname).parent_path().string();
}

const Record compile_time = fixed_note("Vela Quor compile time is 2016-9-8");
const Record init_done = note("vela_init_imp", "vela init success");
const Record release_failed = failure("vela_release_imp", "log release failed");

TEST_F(Lifecycle, InitRecordsItsTwoMilestones) {
    EXPECT_EQ(vela_init(), VELA_OK);

    log.drain();
    const auto records = log.records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].text, "'Vela Quor compile time is 2016-9-8'");
    EXPECT_TRUE(records[1].text.starts_with("'vela_init_imp ")) << records[1].text;
    EXPECT_TRUE(records[1].text.ends_with(" vela init success'")) << records[1].text;
    EXPECT_TRUE(matches(init_done, read_record(records[1]))) << "with the line's number between";
    for (const sim::LogRecord& record : records) {
        EXPECT_EQ(record.tag, "Vela-Quor");
        EXPECT_EQ(record.pid, getpid());
        EXPECT_EQ(record.priority, 8 + 6) << "the system's default facility, information";
    }
}

TEST_F(Lifecycle, InitStartsTheLogLibraryWithTheFileBesideIt) {
    ASSERT_EQ(vela_init(), VELA_OK);

    const auto lines = trace();
    ASSERT_EQ(lines.size(), 1U);
    const std::string product = quoted_after("product=", lines[0]);
    EXPECT_EQ(product.size(), 21U);
    EXPECT_EQ(std::count(product.begin(), product.end(), '-'), 4) << product;
    EXPECT_NE(product.find("-API-Linux-"), std::string::npos) << product;
    // A directory that does not fit the 100 bytes for it is taken for none.
    const auto beside = directory_of_the_log_library();
    const std::string directory = beside.size() < 100 ? beside : "";
    EXPECT_EQ(lines[0], "LogInit product=\"" + product + "\" config=\"" + directory +
                            "/Vela-Quor.ini\" levels=-1,-1,-1 directory=\"" + directory + "\" result=0");
}

TEST_F(Lifecycle, ReleaseNamesTheSameProduct) {
    ASSERT_EQ(vela_init(), VELA_OK);
    ASSERT_EQ(vela_release(), VELA_OK);

    const auto lines = trace();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], "LogFini product=\"" + quoted_after("product=", lines[0]) + "\" result=0");
}

TEST_F(Lifecycle, EveryInitLeavesTheMapsOfTheProcessOpenOnceMore) {
    const std::string maps = "/proc/" + std::to_string(getpid()) + "/maps";
    const auto before = open_files().count(maps);
    for (std::size_t n = 1; n <= 3; ++n) {
        ASSERT_EQ(vela_init(), VELA_OK);
        ASSERT_EQ(vela_release(), VELA_OK);
        EXPECT_EQ(open_files().count(maps), before + n);
    }
}

TEST_F(Lifecycle, InitFailsWhenTheLogLibraryDoesNotStart) {
    for (const char* code : {"1", "-1", "20", "2147483647"}) {
        log_init_returns(code);
        EXPECT_EQ(vela_init(), VELA_ERROR_LOG_LIBRARY);
        expect_log({failure("vela_init_imp", "log init failed")});
    }
    EXPECT_EQ(library_thread_count(), 0U) << "no thread was started";
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_NOT_INIT);
    expect_log({failure("vela_session_open_imp", "vela not init")});

    log_init_returns("0");
    init();
    EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
}

TEST_F(Lifecycle, InitFailsWhenTheSocketDataThreadCannotBeStarted) {
    refuse_thread(1);
    EXPECT_EQ(vela_init(), VELA_ERROR_THREAD);
    expect_log({compile_time, failure("vela_init_imp", "create socket thread failed")});
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_NOT_INIT);
    expect_log({failure("vela_session_open_imp", "vela not init")});
    EXPECT_EQ(calls_of("LogFini"), 0U) << "nothing that was done is undone";
}

TEST_F(Lifecycle, InitFailsWhenTheEventThreadCannotBeStarted) {
    const auto before = library_threads();
    refuse_thread(2);
    EXPECT_EQ(vela_init(), VELA_ERROR);
    expect_log({compile_time, failure("vela_init_imp", "create event thread failed")});
    EXPECT_TRUE(eventually([&] { return library_thread_count() == before.size() + 1; }))
        << "the first thread keeps running";
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_NOT_INIT);
    expect_log({failure("vela_session_open_imp", "vela not init")});

    EXPECT_EQ(vela_release(), VELA_OK);
    init();
    EXPECT_EQ(request_kind("session.open").call(), VELA_OK);
}

TEST_F(Lifecycle, ReleaseWithoutInitOnlyStopsTheLogLibrary) {
    EXPECT_EQ(vela_release(), VELA_OK);
    EXPECT_EQ(vela_release(), VELA_OK);
    EXPECT_EQ(calls_of("LogFini"), 2U);
    EXPECT_EQ(calls_of("LogInit"), 0U);
    expect_no_log();
}

TEST_F(Lifecycle, ReleaseWithoutInitReturnsTheLogLibrarysVerdict) {
    log_fini_returns("-5");
    EXPECT_EQ(vela_release(), VELA_ERROR);
    expect_log({release_failed});
}

TEST_F(Lifecycle, ReleaseMayBeRepeated) {
    init();
    EXPECT_EQ(vela_release(), VELA_OK);
    EXPECT_TRUE(eventually([] { return library_thread_count() == 0; }));
    EXPECT_EQ(vela_release(), VELA_OK);
    EXPECT_EQ(vela_release(), VELA_OK);
    expect_no_log();
}

TEST_F(Lifecycle, AReleaseThatFailsLeavesTheLibraryAndItsThreadsAsTheyWere) {
    open_cli();
    const auto running = library_threads();
    log_fini_returns("1");

    EXPECT_EQ(vela_release(), VELA_ERROR);

    expect_log({release_failed});
    EXPECT_EQ(library_threads(), running);
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_SESSION_OPEN);
    expect_log({failure("vela_session_open_imp", "session has been open")});
    // The one thing done before: the CLI channel counts as closed, and the service was not told.
    EXPECT_EQ(vela_cli_close(granted_handle), VELA_ERROR);
    expect_log({failure("vela_cli_close_imp", "please open cli first")});
    EXPECT_TRUE(requests("cli.close").empty());

    log_fini_returns("0");
    EXPECT_EQ(vela_session_close(granted_session), VELA_OK);
    EXPECT_EQ(vela_release(), VELA_OK);
}

TEST_F(Lifecycle, AReleasedLibraryRefusesToOpenASession) {
    open_session();
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    ASSERT_EQ(vela_release(), VELA_OK);
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_NOT_INIT);
    expect_log({failure("vela_session_open_imp", "vela not init")});
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_ERROR_NO_SESSION);
    expect_no_log();
}

TEST_F(Lifecycle, AReleasedLibraryCanBeStartedAgain) {
    for (int round = 0; round < 3; ++round) {
        open_cli();
        EXPECT_EQ(request_kind("cli.execute").call(), VELA_OK);
        EXPECT_EQ(vela_session_close(granted_session), VELA_OK);
        EXPECT_EQ(vela_release(), VELA_OK);
        expect_log({note("vela_cli_close_imp", "cli close success, cli handle = 3")});
    }
    EXPECT_EQ(calls_of("LogInit"), 3U);
    EXPECT_EQ(calls_of("LogFini"), 3U);
}

TEST_F(Lifecycle, ReleaseNeitherClosesTheSessionNorItsConnection) {
    open_cli();
    service.clear_requests();
    ASSERT_EQ(vela_release(), VELA_OK);
    EXPECT_TRUE(requests().empty());
    EXPECT_EQ(service.clients(), 1U);
    EXPECT_TRUE(eventually([] { return library_thread_count() == 1; })) << "the reader stays";

    init();
    EXPECT_EQ(request_kind("session.open").call(), VELA_ERROR_SESSION_OPEN);
    expect_log({failure("vela_session_open_imp", "session has been open")});
    EXPECT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    EXPECT_EQ(request_kind("cli.open").call(), VELA_OK) << "the CLI channel counts as closed";
    EXPECT_EQ(service.connections(), 1U);
}

TEST_F(Lifecycle, ASecondInitStartsASecondPairOfThreads) {
    open_session();
    EXPECT_TRUE(eventually([] { return library_thread_count() == 3; }));
    init();
    EXPECT_TRUE(eventually([] { return library_thread_count() == 5; }));
    EXPECT_EQ(calls_of("LogInit"), 2U);
    for (int round = 0; round < 100; ++round)
        ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    expect_no_log();
}

TEST_F(Lifecycle, TwoThreadsRunFromInitToReleaseAndOneFromOpenToClose) {
    EXPECT_EQ(library_thread_count(), 0U);
    const auto has = [](std::size_t n) { return eventually([n] { return library_thread_count() == n; }); };
    init();
    EXPECT_TRUE(has(2));
    ASSERT_EQ(request_kind("session.open").call(), VELA_OK);
    EXPECT_TRUE(has(3));
    ASSERT_EQ(vela_session_close(granted_session), VELA_OK);
    EXPECT_TRUE(has(2));
    ASSERT_EQ(vela_release(), VELA_OK);
    EXPECT_TRUE(has(0));
}

// The simulator's threads and the listener's are started with this signal blocked, so that only the test's own thread
// and the library's could take it.
struct BlocksUserSignal {
    BlocksUserSignal() { block(); }
    static void block() { change(SIG_BLOCK); }
    static void unblock() { change(SIG_UNBLOCK); }
    static bool is_pending() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGUSR1) == 1;
    }

private:
    static void change(int how) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGUSR1);
        pthread_sigmask(how, &set, nullptr);
    }
};

class LifecycleSignals : public BlocksUserSignal, public Lifecycle {};

volatile std::sig_atomic_t handled_signals = 0;

TEST_F(Lifecycle, LibraryThreadsBlockAllSignalsButTheSynchronousOnes) {
    open_session();
    ASSERT_TRUE(eventually([] { return library_thread_count() == 3; }));
    for (const int thread : library_threads())
        EXPECT_TRUE(blocks_all_but_synchronous_signals(thread)) << std::hex << blocked_signals(thread);
}

TEST_F(LifecycleSignals, ASignalToTheProcessIsNotTakenByALibraryThread) {
    std::signal(SIGUSR1, [](int) { handled_signals = handled_signals + 1; });
    unblock();
    open_session();
    block();

    kill(getpid(), SIGUSR1);
    for (int round = 0; round < 100; ++round)
        ASSERT_EQ(vela_session_keepalive(granted_session), VELA_OK);
    EXPECT_TRUE(is_pending());
    EXPECT_EQ(handled_signals, 0);

    unblock();
    EXPECT_EQ(handled_signals, 1);
}

TEST_F(Lifecycle, StartingThreadsLeavesTheCallersSignalMaskAlone) {
    sigset_t before, after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    open_session();
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMAX; ++signal)
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
}

} // namespace
} // namespace integration
