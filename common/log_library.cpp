// The two calls into the maker's log library. Nothing is ever written through it by this library.
#include "common/log_library.h"

#include <cstdio>

#include "common/module_path.h"

extern "C" {
int LogInit(const char* product, const char* configPath, int* levels, const char* directory);
int LogFini(const char* product);
}

namespace {
constexpr char kProduct[] = "Vela-Quor-API-Linux-C";
constexpr std::size_t kDirectorySize = 100;
} // namespace

std::int32_t init_log() {
    char directory[kDirectorySize] = {};
    // Where the module is not found the directory stays empty, and the log library decides what that means.
    GetModuleFilePathLinux("VelaLogAPI.so", directory, sizeof directory);

    char configPath[kDirectorySize + sizeof "/Vela-Quor.ini"];
    std::snprintf(configPath, sizeof configPath, "%s/Vela-Quor.ini", directory);

    int levels[3] = {-1, -1, -1};
    return LogInit(kProduct, configPath, levels, directory);
}

std::int32_t release_log() { return LogFini(kProduct); }
