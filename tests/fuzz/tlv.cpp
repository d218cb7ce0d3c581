// Every getter of the element codec over one received sequence.
#include "tlv/ops_tlv.h"

#include "tests/fuzz/fuzz.h"

namespace {

using fuzz::require;

void read_element(const TLV_S* items, std::int32_t tag, std::string_view whole, const char* start) {
    std::int32_t len = 0;
    const char* value = tlv_get_data(items, tag, &len);
    if (value != nullptr) {
        require(value >= start + 8 && value <= start + whole.size(), "a value lies behind its tag and length");
        if (tlv_value_is_inside(items, value, len))
            fuzz::read_all(value, static_cast<std::size_t>(len));
    }
    if (const char* text = tlv_get_text(items, tag)) {
        const std::string_view found(text);
        require(text == value && text + found.size() < start + whole.size(), "a text ends inside its element");
    }
    std::uint32_t number = 0xa5a5a5a5;
    const std::int32_t verdict = tlv_get_u32(items, tag, &number);
    require((verdict == 0) == (tlv_check_int(items, tag) == 1), "a number is there for both or for neither");
    require(verdict == 0 || number == 0xa5a5a5a5, "a missing number leaves the caller's alone");
    require(verdict == 0 || tlv_get_int(items, tag) == -1, "a missing number is -1");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string_view whole = input.rest();
    const auto bytes = fuzz::exact_copy(whole);
    const TlvPtr items(tlv_init(bytes.get(), static_cast<int>(whole.size()), 0));

    for (std::int32_t tag = -1; tag < 16; ++tag)
        read_element(items.get(), tag, whole, bytes.get());

    char error_text[kErrorTextSize + 1] = {};
    const std::int32_t acknowledged = ops_check_err(items.get(), 17, error_text);
    require(acknowledged == 0 || error_text[0] == '\0', "an acknowledged reply has no reason");
    require(error_text[kErrorTextSize] == '\0', "a reason keeps to its size");
    rpc_check_err(items.get(), 1, 2);
    return 0;
}
