// The stream, cut into receives as the input says: two bytes give a receive's size, then come its bytes.
#include <cstring>

#include "session/receiver.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto receiver = std::make_unique<Receiver>(); // on the heap, where leaving it is found
    while (!input.empty()) {
        const unsigned high = input.byte();
        const std::size_t wanted = (high * 256 + input.byte()) % g_data_size + 1;
        const std::size_t room = receiver->RoomSize();
        fuzz::require(room > 0 && room <= g_data_size, "a receive always has room");
        const std::string_view bytes = input.take(wanted < room ? wanted : room);
        if (bytes.empty())
            break;
        std::memcpy(receiver->Room(), bytes.data(), bytes.size());

        std::size_t delivered = 0;
        const auto* front = reinterpret_cast<const char*>(receiver.get());
        receiver->Take(bytes.size(), [&](const unsigned char* message, std::size_t length, bool) {
            const auto* first = reinterpret_cast<const char*>(message);
            fuzz::require(length >= g_head_size && length <= g_data_size, "a message has a possible length");
            fuzz::require(first >= front && first + length <= front + sizeof(Receiver), "a message lies in the buffer");
            fuzz::read_all(first, length);
            ++delivered;
        });
        fuzz::require(delivered <= (g_data_size + g_head_size - 1) / g_head_size, "no message is handed on twice");
    }
    return 0;
}
