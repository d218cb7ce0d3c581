// Finds where a module of this process was loaded from.
#pragma once

#include <cstdint>

// Fills outDir with the directory, without a trailing '/', of the first executable mapping whose line in the process's
// map contains moduleName. 0 when filled; -1 when there is none, it lies at the root, or the directory and its NUL do
// not fit outSize; then outDir is untouched.
std::int32_t GetModuleFilePathLinux(const char* moduleName, char* outDir, std::uint32_t outSize);
