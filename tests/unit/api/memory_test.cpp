// The version and the application's memory, which need neither a started library nor a session.
#include "qel_api.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <limits>

#include "support/calls.h"
#include "support/records.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace test;

TEST(Version, IsATextOf21CharactersAndItsNul) {
    char version[24];
    std::memset(version, '#', sizeof version);
    EXPECT_EQ(vela_version(version), 0);
    EXPECT_EQ(std::memcmp(version, "Vela Quor v1.5.70.000\0##", 24), 0);
    EXPECT_EQ(VELA_VERSION_SIZE, 22);
}

TEST(Version, WithoutABufferIsRefused) {
    TakeRecords();
    EXPECT_EQ(vela_version(nullptr), 1);
    EXPECT_THAT(TakeRecords(), ElementsAre(Says(kError, "vela_version", "version == NULL")));
}

TEST(Memory, IsTakenAndGivenBack) {
    TakeRecords();
    for (const std::uint32_t size : {0U, 1U, 22U, 100000U}) {
        void* const block = vela_malloc(size);
        ASSERT_NE(block, nullptr);
        std::memset(block, 1, size);
        EXPECT_EQ(vela_free(block), 0); // the leak checker watches
    }
    EXPECT_EQ(vela_free(nullptr), 0);
    EXPECT_THAT(Records(), IsEmpty());
}

TEST(Memory, ThatIsNotThereIsNull) {
    const Fail memory(Call::Allocate, ENOMEM);
    EXPECT_EQ(vela_malloc(100), nullptr);
}

} // namespace
