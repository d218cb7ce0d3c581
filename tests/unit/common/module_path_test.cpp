// Finding a module's directory in the process's map.
#include "common/module_path.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <string>

#include "support/calls.h"
#include "support/records.h"

namespace {

using ::testing::ElementsAre;
using namespace test;

const std::string kMapped = "7f0000000000-7f0000001000 r-xp 00000000 08:01 42                         ";

struct Search {
    std::int32_t result;
    std::string directory; // "untouched" where nothing was written
};

Search Find(const std::string& maps, const char* module, std::uint32_t size = 100) {
    const MapsFile file(maps);
    char out[2048];
    std::memset(out, 0, sizeof out);
    std::strcpy(out, "untouched");
    const std::int32_t result = GetModuleFilePathLinux(module, out, size);
    return {result, out};
}

struct Row {
    const char* name;
    std::string maps;
    std::int32_t result;
    std::string directory;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class ModulePath : public ::testing::TestWithParam<Row> {};

TEST_P(ModulePath, IsTheDirectoryOfTheFirstExecutableMapping) {
    const Search search = Find(GetParam().maps, "x.so");
    EXPECT_EQ(search.result, GetParam().result);
    EXPECT_EQ(search.directory, GetParam().directory);
}

std::string PieceOf(std::size_t length, const std::string& start) {
    return start + std::string(length - start.size(), 'p');
}

INSTANTIATE_TEST_SUITE_P(
    Maps, ModulePath,
    ::testing::Values(
        Row{"OneLine", kMapped + "/lib/x.so\n", 0, "/lib"},
        Row{"DeepDirectory", kMapped + "/opt/a b/c/x.so\n", 0, "/opt/a b/c"},
        Row{"WithoutALineEnd", kMapped + "/lib/x.so", 0, "/lib"},
        Row{"NameInsideTheFileName", kMapped + "/lib/libx.so.2 (deleted)\n", 0, "/lib"},
        Row{"NameInTheDirectory", kMapped + "/opt/x.so.d/liby.so\n", 0, "/opt/x.so.d"},
        Row{"SlashAfterTheFileName", kMapped + "/lib/x.so (deleted) /y\n", 0, "/lib/x.so (deleted) "},
        Row{"FirstOfTwo", kMapped + "/one/x.so\n" + kMapped + "/two/x.so\n", 0, "/one"},
        Row{"OthersBefore", kMapped + "/one/y.so\n" + kMapped + "/two/x.so\n", 0, "/two"},
        Row{"DataMappingsBefore",
            "7f0000000000-7f0000001000 r--p 00000000 08:01 42 /one/x.so\n"
            "7f0000000000-7f0000001000 rw-p 00000000 08:01 42 /one/x.so\n" +
                kMapped + "/two/x.so\n",
            0, "/two"},
        Row{"OnlyDataMappings", "7f0000000000-7f0000001000 r--p 00000000 08:01 42 /one/x.so\n", -1, "untouched"},
        Row{"SharedMapping", "7f0000000000-7f0000001000 r-xs 00000000 08:01 42 /one/x.so\n", -1, "untouched"},
        Row{"AtTheRoot", kMapped + "/x.so\n", -1, "untouched"},
        Row{"AtTheRootStopsTheSearch", kMapped + "/x.so\n" + kMapped + "/two/x.so\n", -1, "untouched"},
        Row{"WithoutASlash", kMapped + "x.so\n", -1, "untouched"},
        Row{"WithoutASlashBefore", kMapped + "x.so\n" + kMapped + "/two/x.so\n", 0, "/two"},
        Row{"NotThere", kMapped + "/lib/y.so\n", -1, "untouched"}, Row{"Empty", "", -1, "untouched"},
        // A line is read in pieces of 1,023 characters, each looked at by itself.
        Row{"NameInTheSecondPiece", PieceOf(1023, kMapped + "/a/") + "/x.so\n", -1, "untouched"},
        Row{"LongLineBefore", PieceOf(1023, kMapped + "/a/") + "/x.so\n" + kMapped + "/b/x.so\n", 0, "/b"},
        Row{"LastSlashInTheSecondPiece", PieceOf(1023, kMapped + "/a/x.so/") + "/y\n", 0, "/a/x.so"},
        Row{"WholeMatchInTheSecondPiece", PieceOf(1023, "start") + kMapped + "/c/x.so\n", 0, "/c"}),
    [](const auto& row) { return row.param.name; });

TEST(ModulePathSize, LeavesRoomForTheNul) {
    const std::string maps = kMapped + "/lib/x.so\n";
    EXPECT_EQ(Find(maps, "x.so", 4).result, -1);
    EXPECT_EQ(Find(maps, "x.so", 4).directory, "untouched");
    EXPECT_EQ(Find(maps, "x.so", 3).result, -1);
    EXPECT_EQ(Find(maps, "x.so", 0).directory, "untouched");
    EXPECT_EQ(Find(maps, "x.so", 5).result, 0);
    EXPECT_EQ(Find(maps, "x.so", 5).directory, "/lib");
}

TEST(ModulePathFile, ThatCannotBeOpenedFindsNothing) {
    char out[100] = "untouched";
    const Fail file(Call::Fopen, EACCES);
    EXPECT_EQ(GetModuleFilePathLinux("x.so", out, sizeof out), -1);
    EXPECT_STREQ(out, "untouched");
}

TEST(ModulePathFile, IsTheMapOfThisProcess) {
    Dl_info info{};
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "strlen"), &info), 0);
    const std::string path = info.dli_fname;
    const std::string name = path.substr(path.rfind('/') + 1);
    char resolved[4096];
    ASSERT_NE(realpath(path.c_str(), resolved), nullptr);
    std::string directory = resolved;
    directory.resize(directory.rfind('/'));

    ForgetCalls();
    char out[1024];
    EXPECT_EQ(GetModuleFilePathLinux(name.c_str(), out, sizeof out), 0);
    EXPECT_EQ(out, directory);
    EXPECT_THAT(OpenedFiles(), ElementsAre("/proc/self/maps"));
}

int OpenDescriptors() {
    DIR* const directory = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(directory) != nullptr)
        ++count;
    closedir(directory);
    return count;
}

TEST(ModulePathFile, StaysOpenOnEveryPath) {
    for (const char* maps : {"r-xp /lib/x.so\n", "r-xp /x.so\n", "nothing\n"}) {
        const int before = OpenDescriptors();
        Find(maps, "x.so");
        EXPECT_EQ(OpenDescriptors(), before + 1) << maps;
    }
}

} // namespace
