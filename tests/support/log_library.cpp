#include "support/log_library.h"

#include <atomic>

namespace test {
namespace {

std::atomic<int> initResult{0};
std::atomic<int> finiResult{0};
std::vector<LogInitCall> inits;
std::vector<std::string> finis;

} // namespace

std::vector<LogInitCall> LogInits() { return inits; }
std::vector<std::string> LogFinis() { return finis; }
void ForgetLogLibrary() {
    inits.clear();
    finis.clear();
}
void LogInitReturns(int result) { initResult = result; }
void LogFiniReturns(int result) { finiResult = result; }

} // namespace test

extern "C" {

int __wrap_LogInit(const char* label, const char* path, const int* levels, const char* directory) {
    test::inits.push_back({label, path, {levels[0], levels[1], levels[2]}, directory});
    return test::initResult;
}

int __wrap_LogFini(const char* label) {
    test::finis.emplace_back(label);
    return test::finiResult;
}
}
