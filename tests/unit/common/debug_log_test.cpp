// One record for each call: its text, where it is cut, what the system log is told around it, and what happens without
// memory.
#include "common/debug_log.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <string>
#include <thread>
#include <vector>

#include "support/calls.h"
#include "support/records.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using namespace test;

class DebugLog : public ::testing::Test {
protected:
    void SetUp() override { TakeRecords(); }

    static Record Only() {
        const std::vector<Record> records = TakeRecords();
        EXPECT_THAT(records, SizeIs(1));
        return records.empty() ? Record{} : records.front();
    }
};

TEST_F(DebugLog, WrapsTheFormattedTextInSingleQuotes) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d sendId = %d recv_id = %d", "ProcessSocketData", 12, 3, 4);
    EXPECT_EQ(Only().text, "'ProcessSocketData 12 sendId = 3 recv_id = 4'");
}

TEST_F(DebugLog, OpensTheSystemLogWithIdentityProcessIdAndTheModuleAsFacility) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "text");
    const Record record = Only();
    EXPECT_EQ(record.ident, "Vela-Quor");
    EXPECT_EQ(record.option, 1);
    EXPECT_EQ(record.facility, 1);
    EXPECT_EQ(record.format, "'%s'");
}

TEST_F(DebugLog, PassesTheModuleThroughUnchanged) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, static_cast<VELA_Log_Module>(0), "text");
    EXPECT_EQ(Only().facility, 0);
}

TEST_F(DebugLog, EmitsAtTheLevelItIsGiven) {
    for (const VELA_Log_Level level : {VELA_LOG_ERROR, VELA_LOG_WARNING, VELA_LOG_INFO}) {
        VELA_DEBUG_LOG(level, VELA_LOG_API, "text");
        EXPECT_EQ(Only().level, static_cast<int>(level));
    }
    EXPECT_EQ(VELA_LOG_ERROR, 3);
    EXPECT_EQ(VELA_LOG_WARNING, 4);
    EXPECT_EQ(VELA_LOG_INFO, 6);
}

TEST_F(DebugLog, GivesTheFunctionAndItsLine) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d here", VELA_HERE);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "TestBody", "here")));
}

TEST_F(DebugLog, EmitsAnEmptyText) {
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s", "");
    EXPECT_EQ(Only().text, "''");
}

class DebugLogLengths : public DebugLog, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(DebugLogLengths, AreCutAt3071Characters) {
    std::string text;
    for (std::size_t i = 0; i < GetParam(); ++i)
        text += static_cast<char>('a' + i % 26);
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s", text.c_str());
    EXPECT_EQ(Only().text, "'" + text.substr(0, 3071) + "'");
}

INSTANTIATE_TEST_SUITE_P(Lengths, DebugLogLengths, ::testing::Values(1, 3070, 3071, 3072, 3073, 10000));

TEST_F(DebugLog, LeavesQuotesAndPercentSignsInTheTextAlone) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s", "it's 100%s 'quoted' %n");
    EXPECT_EQ(Only().text, "'it's 100%s 'quoted' %n'");
}

TEST_F(DebugLog, KeepsErrno) {
    errno = 77;
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "text");
    EXPECT_EQ(errno, 77);
}

TEST_F(DebugLog, WithoutMemoryForTheTextSaysThatInstead) {
    {
        const Fail memory(Call::Allocate, ENOMEM);
        VELA_DEBUG_LOG(VELA_LOG_INFO, static_cast<VELA_Log_Module>(0), "the caller's text");
    }
    EXPECT_THAT(TakeRecords(), ElementsAre(SaysOnly(kError, "DebugOut malloc fail")));
}

// The report of the loss finds no memory either, and is written all the same: once, and no report of its own loss.
TEST_F(DebugLog, WithoutAnyMemoryStillSaysThat) {
    {
        const Fail memory(Call::Allocate, ENOMEM, 1, Fail::kForEver);
        errno = 77;
        VELA_DEBUG_LOG(VELA_LOG_INFO, static_cast<VELA_Log_Module>(0), "the caller's text");
        EXPECT_EQ(errno, 77);
    }
    EXPECT_THAT(TakeRecords(), ElementsAre(SaysOnly(kError, "DebugOut malloc fail")));
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "text");
    EXPECT_THAT(TakeRecords(), ElementsAre(SaysOnly(kError, "text")));
}

TEST_F(DebugLog, OpensEmitsAndClosesInOneStepFromManyThreads) {
    constexpr int kThreads = 8;
    constexpr int kEach = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < kEach; ++i)
                VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d text", VELA_HERE);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(BrokenSteps(), 0);
    const std::vector<Record> records = TakeRecords();
    ASSERT_THAT(records, SizeIs(kThreads * kEach));
    for (const Record& record : records)
        ASSERT_THAT(record, Says(kInfo, "operator()", "text"));
}

TEST(FormatedMsg, GivesTheFormattedArguments) {
    EXPECT_EQ(FormatedMsg("%s %d %s", "a", 5, "b"), "a 5 b");
    EXPECT_EQ(FormatedMsg("%s", ""), "");
}

TEST(FormatedMsg, IsCutAt4095Characters) {
    for (const std::size_t length : {4094U, 4095U, 4096U, 9000U}) {
        const std::string text(length, 'm');
        EXPECT_EQ(FormatedMsg("%s", text.c_str()), text.substr(0, 4095)) << length;
    }
}

TEST(Printable, ShowsAMissingTextAsTheFormattingDoes) {
    EXPECT_STREQ(printable(nullptr), "(null)");
    EXPECT_STREQ(printable("x"), "x");
}

} // namespace
