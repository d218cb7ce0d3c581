// What the maker's log library is told at start and stop.
#include "common/log_library.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <gmock/gmock.h>
#include <sstream>
#include <string>
#include <vector>

#include "support/calls.h"
#include "support/log_library.h"
#include "support/records.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace test;

class LogLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        ForgetLogLibrary();
        LogInitReturns(0);
        LogFiniReturns(0);
        TakeRecords();
    }

    static LogInitCall Only() {
        EXPECT_THAT(LogInits(), SizeIs(1));
        return LogInits().empty() ? LogInitCall{} : LogInits().front();
    }

    static std::string LoadedFrom(const std::string& directory) {
        return "7f0000000000-7f0000001000 r-xp 00000000 08:01 42 " + directory + "/libVelaLogAPI.so\n";
    }
};

TEST_F(LogLibrary, IsGivenTheFileBesideItselfTheLevelsAndItsDirectory) {
    const MapsFile maps(LoadedFrom("/opt/maker/lib"));
    EXPECT_EQ(init_log(), 0);
    const LogInitCall call = Only();
    EXPECT_EQ(call.path, "/opt/maker/lib/Vela-Quor.ini");
    EXPECT_EQ(call.directory, "/opt/maker/lib");
    EXPECT_THAT(call.levels, ElementsAre(-1, -1, -1));
    EXPECT_THAT(Records(), IsEmpty());
}

TEST_F(LogLibrary, IsFoundByTheEndOfItsName) {
    const MapsFile maps("7f0000000000-7f0000001000 r-xp 00000000 08:01 42 /a/VelaLogAPI.so.2\n");
    EXPECT_EQ(init_log(), 0);
    EXPECT_EQ(Only().directory, "/a");
}

TEST_F(LogLibrary, ThatIsNotFoundIsGivenTheRoot) {
    const MapsFile maps("7f0000000000-7f0000001000 r-xp 00000000 08:01 42 /lib/libother.so\n");
    EXPECT_EQ(init_log(), 0);
    EXPECT_EQ(Only().path, "/Vela-Quor.ini");
    EXPECT_EQ(Only().directory, "");
}

TEST_F(LogLibrary, IsGivenTheRootWhenTheMapCannotBeRead) {
    const Fail map(Call::Fopen, ENOENT);
    EXPECT_EQ(init_log(), 0);
    EXPECT_EQ(Only().path, "/Vela-Quor.ini");
}

TEST_F(LogLibrary, MayLieInADirectoryOfUpTo99Characters) {
    const std::string longest = "/" + std::string(98, 'd');
    {
        const MapsFile maps(LoadedFrom(longest));
        init_log();
        EXPECT_EQ(Only().path, longest + "/Vela-Quor.ini");
        EXPECT_EQ(Only().directory, longest);
    }
    ForgetLogLibrary();
    const MapsFile maps(LoadedFrom(longest + "d"));
    init_log();
    EXPECT_EQ(Only().path, "/Vela-Quor.ini");
    EXPECT_EQ(Only().directory, "");
}

TEST_F(LogLibrary, DecidesTheResultOfStartAndStop) {
    for (const int result : {0, 1, 5, -3}) {
        LogInitReturns(result);
        LogFiniReturns(result);
        EXPECT_EQ(init_log(), result);
        EXPECT_EQ(release_log(), result);
    }
}

TEST_F(LogLibrary, IsToldOneLabelOfFivePartsAndTwentyOneCharacters) {
    init_log();
    release_log();
    const std::string label = Only().label;
    ASSERT_THAT(LogFinis(), ElementsAre(label));
    EXPECT_THAT(label, SizeIs(21));
    std::vector<std::string> parts;
    std::istringstream in(label);
    for (std::string part; std::getline(in, part, '-');)
        parts.push_back(part);
    ASSERT_THAT(parts, SizeIs(5));
    EXPECT_EQ(parts[2], "API");
    EXPECT_EQ(parts[3], "Linux");
    for (const std::string& part : parts)
        EXPECT_FALSE(part.empty());
}

TEST_F(LogLibrary, IsStoppedWithoutAStart) {
    EXPECT_EQ(release_log(), 0);
    EXPECT_THAT(LogFinis(), SizeIs(1));
    EXPECT_THAT(LogInits(), IsEmpty());
}

} // namespace
