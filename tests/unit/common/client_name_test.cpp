// The client's name, the thread's number in it, and the decimal digits of a result code.
#include "common/client_name.h"

#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <thread>

#include "support/calls.h"
#include "support/records.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

class ClientName : public ::testing::Test {
protected:
    void SetUp() override { TakeRecords(); }
    void TearDown() override { PretendThreadId(0); }
};

TEST_F(ClientName, IsThePrefixTheSessionAndTheThread) {
    char name[kClientNameSize];
    PretendThreadId(12345);
    EXPECT_EQ(get_file_name(name, 7), 0U);
    EXPECT_STREQ(name, "sdkclient000700012345");
    EXPECT_THAT(Records(), IsEmpty());
}

struct NameRow {
    unsigned long thread;
    std::uint16_t session;
    const char* name;
};
class ClientNames : public ClientName, public ::testing::WithParamInterface<NameRow> {};

TEST_P(ClientNames, PadsTheSessionToFourDigitsAndTheThreadToEight) {
    char name[kClientNameSize];
    PretendThreadId(GetParam().thread);
    EXPECT_EQ(get_file_name(name, GetParam().session), 0U);
    EXPECT_STREQ(name, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Rows, ClientNames,
                         ::testing::Values(NameRow{1, 0, "sdkclient000000000001"},
                                           NameRow{99999999, 9999, "sdkclient999999999999"},
                                           NameRow{100000000, 10000, "sdkclient10000100000000"},
                                           NameRow{0x7fffffff, 65535, "sdkclient655352147483647"},
                                           NameRow{0xffffffff, 65535, "sdkclient65535-0000001"},
                                           NameRow{0x80000000, 1, "sdkclient0001-2147483648"},
                                           NameRow{static_cast<unsigned long>(0x7f0000000005ULL),
                                                   4464, // cut on 32 bits
                                                   "sdkclient446400000005"}));

TEST_F(ClientName, WithoutABufferIsRefusedWithOneRecord) {
    EXPECT_EQ(get_file_name(nullptr, 7), 1U);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "get_file_name", "name = NULL")));
}

TEST_F(ClientName, StaysInsideItsBuffer) {
    char name[kClientNameSize + 8];
    std::memset(name, 'x', sizeof name);
    PretendThreadId(0x80000000);
    EXPECT_EQ(get_file_name(name, 65535), 0U);
    EXPECT_EQ(name[kClientNameSize], 'x');
}

TEST_F(ClientName, TakesTheLow32BitsOfTheCallingThreadsHandle) {
    EXPECT_EQ(get_cur_thread_id(), static_cast<std::int32_t>(static_cast<std::uint32_t>(pthread_self())));
    const std::int32_t here = get_cur_thread_id();
    std::int32_t there = 0;
    std::thread([&] { there = get_cur_thread_id(); }).join();
    EXPECT_NE(there, here);
    PretendThreadId(0xfffffffe);
    EXPECT_EQ(get_cur_thread_id(), -2);
}

class Itoa : public ::testing::TestWithParam<std::int32_t> {};

TEST_P(Itoa, WritesTheDecimalDigitsAndANul) {
    char expected[16];
    std::snprintf(expected, sizeof expected, "%d", GetParam());
    char out[16];
    std::memset(out, 'x', sizeof out);
    itoa(GetParam(), out);
    EXPECT_STREQ(out, expected);
    EXPECT_EQ(out[std::strlen(expected) + 1], 'x') << "wrote beyond its NUL";
}

INSTANTIATE_TEST_SUITE_P(Values, Itoa,
                         ::testing::Values(0, 1, 9, 10, 11, 19, 20, 23, 99, 100, 101, 999, 1000, 12345, 999999999,
                                           1000000000, 1999999999, 2147483647));

} // namespace
