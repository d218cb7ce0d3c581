// A pushed event, to a callback that reads all it is given.
#include <algorithm>

#include "api/event_registry.h"
#include "session/event_seam.h"
#include "tests/fuzz/fuzz.h"

namespace {

void read_event(std::uint32_t, const char* tag, tagVELA_EVENT, void* content, int) {
    fuzz::read_all(tag, std::string_view(tag).size());
    if (const auto* text = static_cast<const char*>(content))
        fuzz::read_all(text, std::string_view(text).size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string_view body = input.take(sizeof(tagMSG_DATA::body));
    g_evt.RegEvent("name", read_event);

    // The block ends where the message does, so that a read past it is found.
    const auto bytes = std::make_unique<unsigned char[]>(g_head_size + body.size());
    tagMSG_DATA* message = reinterpret_cast<tagMSG_DATA*>(bytes.get());
    message->version = 1;
    message->type = OPERATION_RESPONSE;
    message->totalLength = static_cast<std::uint16_t>(g_head_size + body.size());
    std::copy(body.begin(), body.end(), message->body);
    deliver_event(message);
    forget_events();
    return 0;
}
