// The stand-in for the maker's log library: what it returns, and what it writes down.
#include "sim/logapi/velalog_standin.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/sim/support.h"

namespace sim::test {
namespace {

class LogLibrary : public ::testing::Test {
protected:
    LogLibrary() { set("VELALOG_STANDIN_TRACE", trace); }
    ~LogLibrary() override {
        for (const char* name : {"VELALOG_STANDIN_INIT", "VELALOG_STANDIN_FINI", "VELALOG_STANDIN_TRACE"})
            unsetenv(name);
    }
    static void set(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }
    std::string traced() const {
        std::ifstream file(trace);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    TempDir directory;
    std::string trace = directory / "trace";
    int levels[3] = {-1, 0, 7};
};

TEST_F(LogLibrary, SucceedsUnlessItIsToldOtherwise) {
    EXPECT_EQ(LogInit("p", "c", levels, "d"), 0);
    EXPECT_EQ(LogFini("p"), 0);
}

TEST_F(LogLibrary, FailsAsItIsToldAtEachCall) {
    set("VELALOG_STANDIN_INIT", "5");
    set("VELALOG_STANDIN_FINI", "-3");
    EXPECT_EQ(LogInit("p", "c", levels, "d"), 5);
    EXPECT_EQ(LogFini("p"), -3);
    unsetenv("VELALOG_STANDIN_INIT");
    EXPECT_EQ(LogInit("p", "c", levels, "d"), 0);
}

TEST_F(LogLibrary, WritesEachCallDownWithItsArguments) {
    set("VELALOG_STANDIN_FINI", "4");
    LogInit("Vela", "/lib/Vela-Quor.ini", levels, "/lib");
    LogFini("Vela");
    LogInit(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(traced(),
              "LogInit product=\"Vela\" config=\"/lib/Vela-Quor.ini\" levels=-1,0,7 directory=\"/lib\" result=0\n"
              "LogFini product=\"Vela\" result=4\n"
              "LogInit product=null config=null levels=null directory=null result=0\n");
}

} // namespace
} // namespace sim::test
