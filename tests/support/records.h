// The records that the library writes to the system log, caught on their way: each with what its openlog said, and
// whether it was opened, emitted and closed in one step.
#pragma once

#include <cstddef>
#include <functional>
#include <gmock/gmock.h>
#include <ostream>
#include <string>
#include <vector>

namespace test {

struct Record {
    int level;
    std::string text; // with the quotes
    std::string format;
    std::string ident;
    int option;
    int facility;
};
std::ostream& operator<<(std::ostream& out, const Record& record);

// All records so far, and how to forget them.
std::vector<Record> Records();
std::vector<Record> TakeRecords();

// What other threads than this one do before each record from now on; null: nothing. Set while none writes one.
void BeforeOthersRecords(std::function<void()> action);

// Steps that broke the order open, emit, close of one thread.
int BrokenSteps();

constexpr int kError = 3;
constexpr int kInfo = 6;

// One record of a function: "'<function> <line> <text>'", with the library's identity.
inline const std::string kAnyFunction = "*";
::testing::Matcher<const Record&> Says(int level, const std::string& function, const std::string& text);

// One record of a text that stands alone.
::testing::Matcher<const Record&> SaysOnly(int level, const std::string& text);

// "<level> <function> <text>", to compare records with lines of text: a line end in the text reads "\\n", an address
// "0x#". What is no record of a function of the library's is marked as odd.
std::string LineOf(const Record& record);
std::vector<std::string> LinesOf(const std::vector<Record>& records);

// Waits until a record of this kind was written.
bool SaidEventually(const ::testing::Matcher<const Record&>& wanted);
std::size_t CountOf(const ::testing::Matcher<const Record&>& wanted);

} // namespace test
