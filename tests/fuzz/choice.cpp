// The choices that answer a command's prompts.
#include "api/cli.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string text(input.rest());
    const auto bytes = fuzz::exact_copy(std::string_view(text.c_str(), text.size() + 1));

    const auto pairs = parse_s_vector(bytes.get());
    fuzz::require(pairs.size() % 2 == 0, "each key has its value");
    const auto sorted = parse_s(bytes.get());
    fuzz::require(sorted.size() <= pairs.size() / 2, "no key comes from nowhere");
    return 0;
}
