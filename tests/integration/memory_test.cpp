// vela_version, vela_malloc and vela_free: at any time, whatever the library's state.
#include <cstdlib>
#include <cstring>

#include "support.h"

namespace integration {
namespace {

class Memory : public LibraryTest {};

constexpr char version[VELA_VERSION_SIZE] = "Vela Quor v1.5.70.000";

TEST_F(Memory, TheVersionFillsTwentyTwoBytesAndNoMore) {
    char text[VELA_VERSION_SIZE + 2];
    std::memset(text, '#', sizeof text);

    EXPECT_EQ(vela_version(text), VELA_OK);

    EXPECT_EQ(std::memcmp(text, version, VELA_VERSION_SIZE), 0);
    EXPECT_EQ(text[VELA_VERSION_SIZE], '#');
    expect_no_log();
}

TEST_F(Memory, AVersionWithoutAPlaceToPutItIsRefusedAndRecorded) {
    EXPECT_EQ(vela_version(nullptr), VELA_ERROR);
    expect_log({failure("vela_version", "version == NULL")});
}

TEST_F(Memory, ABlockHoldsAllItsBytesUntilItIsGivenBack) {
    for (const std::uint32_t size : {1U, 22U, 8012U, 1U << 24}) {
        auto* block = static_cast<char*>(vela_malloc(size));
        ASSERT_NE(block, nullptr);
        std::memset(block, 0x5a, size);
        EXPECT_EQ(block[size - 1], 0x5a);
        EXPECT_EQ(vela_free(block), VELA_OK);
    }
    expect_no_log();
}

TEST_F(Memory, ABlockOfNoBytesIsWhatTheSystemGives) {
    void* system_block = std::malloc(0);
    void* block = vela_malloc(0);
    EXPECT_EQ(block == nullptr, system_block == nullptr);
    EXPECT_EQ(vela_free(block), VELA_OK);
    std::free(system_block);
}

TEST_F(Memory, FreeingNothingIsFine) {
    EXPECT_EQ(vela_free(nullptr), VELA_OK);
    expect_no_log();
}

TEST_F(Memory, BlocksComeFromTheProgramsOwnHeap) {
    EXPECT_EQ(vela_free(std::malloc(10)), VELA_OK);
    std::free(vela_malloc(10));
}

TEST_F(Memory, TheseFunctionsNeedNoLibraryThatWasStarted) {
    char text[VELA_VERSION_SIZE];
    const auto work = [&] {
        std::memset(text, 0, sizeof text);
        return vela_version(text) == VELA_OK && std::strcmp(text, version) == 0 &&
               vela_free(vela_malloc(100)) == VELA_OK;
    };
    EXPECT_TRUE(work()) << "before vela_init";
    init();
    EXPECT_TRUE(work()) << "after vela_init";
    ASSERT_EQ(vela_release(), VELA_OK);
    EXPECT_TRUE(work()) << "after vela_release";
    expect_no_log();
}

} // namespace
} // namespace integration
