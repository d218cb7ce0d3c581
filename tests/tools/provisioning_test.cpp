// The cellular uplink and the WLAN access points, on the router's configuration.
#include "tests/tools/support.h"

namespace qel::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string show = "qel exec 'display current-configuration'";

TEST(Cellular, GoesUpWithCredentialsFromAFileAndDown) {
    const Finished up = script("printf 's3cret\\nmore\\n' | qel cellular up --apn internet.example --user branch "
                               "--password-file - --auth pap && " +
                               show);
    EXPECT_EQ(up.code(), 0) << up.err;
    EXPECT_THAT(up.out, HasSubstr("internet.example"));
    EXPECT_THAT(up.out, HasSubstr("s3cret"));
    EXPECT_THAT(up.out, HasSubstr("ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0"));

    const Finished down = script("qel cellular up && qel cellular down && " + show);
    EXPECT_EQ(down.code(), 0) << down.err;
    EXPECT_THAT(down.out, Not(HasSubstr("ip route-static")));
}

TEST(Cellular, TellsWhatFailed) {
    const Finished refused = qel({"cellular", "up"}, {"--fault", "cli.execute@3:error=24,text=no"});
    EXPECT_EQ(refused.code(), 1);
    EXPECT_THAT(refused.err, StartsWith("qel: vela_cellular_open Cellular0/0/0: VELA_ERROR (1): a step failed, and "));
    for (const char* const direction : {"up", "down"}) {
        const Finished unknown = qel({"cellular", direction, "--interface", "Cellular9/0/0"});
        EXPECT_EQ(unknown.code(), 1);
        EXPECT_THAT(unknown.err, HasSubstr(" Cellular9/0/0: VELA_ERROR_PARAM (2): the router has no such cellular "));
    }
}

const std::string create = "qel wlan create 3 --ssid Branch --address 192.168.8.1 --mask 255.255.255.0 ";

TEST(Wlan, MakesAnAccessPointWithAPassPhraseAndRemovesIt) {
    TempDir directory;
    const std::string file = directory / "phrase.txt";
    std::ofstream(file) << "correct-horse\n";
    const Finished created = script(create + "--pass-phrase-file " + file + " && " + show);
    EXPECT_EQ(created.code(), 0) << created.err;
    EXPECT_THAT(created.out, HasSubstr("ssid Branch"));
    EXPECT_THAT(created.out, HasSubstr("ip address 192.168.8.1 255.255.255.0"));
    EXPECT_THAT(created.out, HasSubstr("pass-phrase cipher correct-horse"));

    const Finished removed = script(create + "--open && qel wlan delete 3 && " + show);
    EXPECT_EQ(removed.code(), 0) << removed.err;
    EXPECT_THAT(removed.out, Not(HasSubstr("ssid Branch")));
    EXPECT_THAT(removed.out, Not(HasSubstr("pass-phrase")));
}

TEST(Wlan, TellsWhatFailed) {
    const Finished taken = script(create + "--open && qel wlan create 3 --ssid Other --address 192.168.9.1 "
                                           "--mask 255.255.255.0 --open");
    EXPECT_EQ(taken.code(), 1);
    EXPECT_THAT(taken.err,
                StartsWith("qel: vela_wlan_create_ap 3 of Wlan-Radio0/0/0: VELA_ERROR_PARAM (2): the WLAN id "
                           "is taken, "));
    const Finished served = script(create + "--open && " + create + "--open");
    EXPECT_EQ(served.code(), 1);
    EXPECT_THAT(served.err, HasSubstr(": VELA_ERROR (1): the SSID is served already, or a step failed and "));
    const Finished missing = qel({"wlan", "delete", "4"});
    EXPECT_EQ(missing.code(), 1);
    EXPECT_THAT(missing.err, HasSubstr(": VELA_ERROR (1): there is no such access point, or "));
    const Finished radio = qel({"wlan", "delete", "4", "--radio", "Wlan-Radio1/0/0"});
    EXPECT_EQ(radio.code(), 1);
    EXPECT_THAT(radio.err, HasSubstr("4 of Wlan-Radio1/0/0: VELA_ERROR_PARAM (2): the router has no such radio; "));
}

TEST(Secret, MustBeAWordInAFileThatCanBeRead) {
    TempDir directory;
    const std::string missing = directory / "missing";
    const Finished unreadable = script(create + "--pass-phrase-file " + missing);
    EXPECT_EQ(unreadable.code(), 2);
    EXPECT_EQ(unreadable.err, "qel: " + missing + ": No such file or directory\n");
    const Finished empty = script(create + "--pass-phrase-file - </dev/null");
    EXPECT_EQ(empty.code(), 2);
    EXPECT_EQ(empty.err, "qel: standard input: the first line is empty\n");
    const Finished two = script("echo two words | qel cellular up --user me --password-file -");
    EXPECT_EQ(two.code(), 2);
    EXPECT_EQ(two.err, "qel: standard input: the first line holds a blank or a control character\n");
}

} // namespace
} // namespace qel::test
