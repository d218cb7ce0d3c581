// A text in a block from malloc, as the library hands texts out: whoever gets it gives it back with free.
#pragma once

#include <cstdlib>
#include <cstring>
#include <memory>

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
using HeapText = std::unique_ptr<char, FreeText>;

// Null when there is no memory.
inline HeapText copy_of(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    HeapText copy(static_cast<char*>(std::malloc(size)));
    if (copy != nullptr)
        std::memcpy(copy.get(), text, size);
    return copy;
}
