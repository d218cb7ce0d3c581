// Router commands, saving, and log lines.
#include "tests/tools/support.h"

namespace qel::test {
namespace {

using nlohmann::json;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string rejected = "qel: vela_cli_execute nonsense: VELA_ERROR (1): the router rejected the command; "
                             "its output tells why\n";
const std::string user_view = "#\nreturn\n"; // what "display this" prints there
const std::string nonsense = "nonsense\n^\nError: unknown word \"nonsense\" in the user view.\n";

TEST(Exec, PrintsTheRoutersOutputAsItIs) {
    const Finished finished = qel({"exec", "system-view", "sysname Branch-7", "display this"});
    EXPECT_EQ(finished.code(), 0);
    EXPECT_EQ(finished.out, "#\n sysname Branch-7\n#\nreturn\n");
    EXPECT_EQ(finished.err, "");
}

TEST(Exec, StopsAtTheFirstRejectedCommandWithTheRoutersWords) {
    const Finished finished = qel({"exec", "display this", "nonsense", "display this"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(finished.out, user_view);
    EXPECT_EQ(finished.err, nonsense + rejected);
}

TEST(Exec, KeepsGoingWhenItIsToldTo) {
    const Finished finished = qel({"exec", "nonsense", "--keep-going", "display this"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(finished.out, user_view);
    EXPECT_EQ(finished.err, nonsense + rejected);
}

TEST(Exec, ReadsCommandsFromItsInputWithoutArgumentsOrForADash) {
    for (const char* const arguments : {"", "-", "system-view - 'display this'"}) {
        const bool around = std::string(arguments).size() > 1;
        const Finished finished = script(std::string("printf '") + (around ? "" : "system-view\\n") +
                                         "sysname A\\r\\n\\n  \\ndisplay this' | qel exec " + arguments);
        EXPECT_EQ(finished.code(), 0) << finished.err;
        const std::string shown = "#\n sysname A\n#\nreturn\n";
        EXPECT_EQ(finished.out, around ? shown + shown : shown);
    }
}

TEST(Exec, RefusesANulInItsInput) {
    const Finished finished = script("printf 'display this\\nsave\\0 it\\n' | qel exec");
    EXPECT_EQ(finished.code(), 2);
    EXPECT_EQ(finished.out, user_view);
    EXPECT_EQ(finished.err, "qel: standard input: a line holds a NUL\n");
}

TEST(Exec, TakesWordsOfItsOwnAndBracketsForCommands) {
    EXPECT_THAT(qel({"exec", "save", "--answer", "continue=y"}).out, EndsWith("The configuration was saved.\n"));
    EXPECT_THAT(qel({"exec", "[a,b]"}).err, StartsWith("[a,b]\n^\nError: unknown word \"[a,b]\""));
    EXPECT_THAT(qel({"exec", "--", "--help"}).err, HasSubstr("unknown word \"--help\""));
}

TEST(Exec, AnswersWithTheLastReplyThatFits) {
    EXPECT_THAT(qel({"exec", "save", "--answer", "continue=n"}).out, EndsWith("The configuration was not saved.\n"));
    EXPECT_THAT(
        qel({"exec", "--answer", "continue=n", "--answer", "CONTINUE?=y", "--answer", "continue=y", "save"}).out,
        EndsWith("The configuration was saved.\n"));
    const Finished unanswered = qel({"exec", "save", "--answer", "sure=y"});
    EXPECT_EQ(unanswered.code(), 1);
    EXPECT_THAT(unanswered.err, HasSubstr("Error: no choice answers the prompt"));
}

TEST(Exec, GivesJsonALineForEachCommandTheRejectedOneToo) {
    const Finished finished = qel({"exec", "display this", "nonsense", "unreached", "--json"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(documents(finished.out),
              (std::vector<json>{{{"command", "display this"}, {"ok", true}, {"output", user_view}},
                                 {{"command", "nonsense"}, {"ok", false}, {"output", nonsense}}}));
    EXPECT_EQ(finished.err, rejected);
}

TEST(Exec, TellsOfACommandThatIsTooLong) {
    const std::string command(9000, 'x');
    const Finished finished = qel({"exec", command, "--keep-going", "display this"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(finished.out, user_view);
    EXPECT_EQ(finished.err, "qel: vela_cli_execute " + command.substr(0, 80) +
                                "...: VELA_ERROR (1): the command is too long, was refused without a word, or was not "
                                "answered; the system log says why (identity Vela-Quor)\n");
}

TEST(Exec, ReplacesWhatJsonCannotHold) {
    const Finished finished = script("printf 'x\\377\\n' | qel exec --json");
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(documents(finished.out).at(0)["command"], "x\xef\xbf\xbd");
}

TEST(Save, SavesTheConfiguration) {
    const Finished finished = script("qel exec system-view 'sysname S' && qel save && qel exec 'display saved'");
    EXPECT_EQ(finished.code(), 0) << finished.err;
    EXPECT_THAT(finished.out, HasSubstr(" sysname S\n"));
}

TEST(Save, TellsThatItWasRefused) {
    const Finished finished = qel({"save"}, {"--fault", "cli.execute:error=24,text=full"});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_EQ(finished.err, "qel: vela_cli_save: VELA_ERROR (1): not sent, refused by the service, not answered, or a "
                            "useless answer; the system log says why (identity Vela-Quor)\n");
}

TEST(Syslog, WritesALine) {
    const Finished finished = script("qel syslog BACKUP 5/DONE 'nightly backup done' && qel syslog A 6 -- '-x' && "
                                     "qel syslog B '' '[a,b]' && qel exec 'display logbuffer'");
    EXPECT_EQ(finished.code(), 0) << finished.err;
    EXPECT_THAT(finished.out, HasSubstr(" Tarkon BACKUP/5/DONE: nightly backup done\n"));
    EXPECT_THAT(finished.out, HasSubstr(" Tarkon A/6/SDK: -x\n"));
    EXPECT_THAT(finished.out, HasSubstr(" Tarkon B/6/SDK: [a,b]\n"));
}

TEST(Syslog, TellsOfATextThatIsTooLong) {
    const Finished finished = qel({"syslog", "A", "6", std::string(9000, 'x')});
    EXPECT_EQ(finished.code(), 1);
    EXPECT_THAT(finished.err, StartsWith("qel: vela_syslog xxxx"));
    EXPECT_THAT(finished.err, HasSubstr("...: VELA_ERROR (1): not sent, refused"));
}

} // namespace
} // namespace qel::test
