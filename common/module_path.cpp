// Reads /proc/self/maps for the directory of a loaded module.
#include "common/module_path.h"

#include <cstdio>
#include <cstring>

#include "common/descriptor_limit.h"

std::int32_t GetModuleFilePathLinux(const char* moduleName, char* outDir, std::uint32_t outSize) {
    // Promised to stay open: one stream for each start-up of the library.
    std::FILE* maps = std::fopen("/proc/self/maps", "re");
    if (maps == nullptr)
        return -1;
    keep_spare_descriptor(fileno(maps));

    char line[1024] = {};
    bool found = false;
    while (!found && std::fgets(line, sizeof line, maps) != nullptr)
        found = std::strstr(line, "r-xp") != nullptr && std::strchr(line, '/') != nullptr &&
                std::strstr(line, moduleName) != nullptr;
    if (!found)
        return -1;

    const char* first = std::strchr(line, '/');
    char* last = std::strrchr(line, '/');
    if (last == first)
        return -1;
    *last = '\0';

    const std::size_t length = std::strlen(first);
    if (length >= outSize)
        return -1;
    std::memcpy(outDir, first, length + 1);
    return 0;
}
