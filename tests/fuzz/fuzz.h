// What a fuzz target is: one function that feeds its bytes to a parser, and ends the process where a promise is broken.
// A fuzzer calls it with bytes of its own making, replay.cpp with those of the corpus.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Not assert: it holds in every build.
inline void require(bool holds, const char* promise) {
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

// A heap block of exactly these bytes, so that a read past their end is found.
inline std::unique_ptr<char[]> exact_copy(std::string_view bytes) {
    auto copy = std::make_unique<char[]>(bytes.size());
    bytes.copy(copy.get(), bytes.size());
    return copy;
}

// The bytes, taken from the front.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    // 0 when none is left.
    unsigned byte() {
        const std::string_view one = take(1);
        return one.empty() ? 0U : static_cast<unsigned char>(one.front());
    }
    // At most n bytes.
    std::string_view take(std::size_t n) {
        const std::string_view taken = rest_.substr(0, n);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    std::string_view rest() { return take(rest_.size()); }
    bool empty() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

// Touches every byte, so that one outside its block is found.
inline void read_all(const char* bytes, std::size_t n) {
    volatile char sink = 0;
    for (std::size_t i = 0; i < n; ++i)
        sink = bytes[i];
    static_cast<void>(sink);
}

} // namespace fuzz
