// The maker's log library as the tests play it: what it was told, and what it answers.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace test {

struct LogInitCall {
    std::string label;
    std::string path;
    std::array<int, 3> levels;
    std::string directory;
};
std::vector<LogInitCall> LogInits();
std::vector<std::string> LogFinis(); // the labels
void ForgetLogLibrary();

void LogInitReturns(int result);
void LogFiniReturns(int result);

} // namespace test
