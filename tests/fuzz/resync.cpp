// What follows a message that is not what it claims. Each step is one byte, and what it needs behind it: a good message
// by itself, one with garbage behind it, one behind another that is cut in two, or one that claims less than it has.
// Whatever came before, a good message that is all of a receive is handed on as it is; only where it also completes
// what is held, to the byte, it may be the rest of that.
#include <cstring>
#include <vector>

#include "session/receiver.h"
#include "tests/fuzz/fuzz.h"

namespace {

using Bytes = std::string;

// A message of 8 to 8 + 511 bytes whose body is made of the input's bytes.
Bytes good_message(fuzz::Input& input, unsigned number) {
    const std::size_t wanted = (input.byte() % 2) * 256 + input.byte();
    const Bytes body(input.take(wanted));
    const std::size_t size = g_head_size + body.size();
    Bytes message = {'\1', static_cast<char>(number % 2 == 0 ? 2 : 12), static_cast<char>(number), '\0'};
    message += {static_cast<char>(size / 256), static_cast<char>(size % 256), '\0', '\5'};
    return message + body;
}

// Messages of this version one behind the other, up to the last byte.
bool is_exact(std::string_view bytes) {
    while (bytes.size() >= 8) {
        const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
        const std::size_t claimed = at(4) * 256U + at(5);
        if (at(0) != 1 || (at(1) != 2 && at(1) != 12) || claimed < 8 || claimed > 8012 || claimed > bytes.size())
            return false;
        bytes.remove_prefix(claimed);
    }
    return bytes.empty();
}

class Stream {
public:
    bool is_clean() const { return receiver_->RoomSize() == g_data_size; }

    // Whether these bytes behind what is held make sense to the last byte.
    bool would_complete(const Bytes& bytes) const {
        const std::size_t held = g_data_size - receiver_->RoomSize();
        const auto* room = reinterpret_cast<const char*>(receiver_->Room());
        return held != 0 && is_exact(Bytes(room - held, held) + bytes);
    }

    std::vector<Bytes> receive(const Bytes& bytes) {
        fuzz::require(bytes.size() <= receiver_->RoomSize(), "a receive always has room for a held message's rest");
        std::memcpy(receiver_->Room(), bytes.data(), bytes.size());
        std::vector<Bytes> delivered;
        receiver_->Take(bytes.size(), [&](const unsigned char* message, std::size_t size, bool) {
            delivered.emplace_back(reinterpret_cast<const char*>(message), size);
        });
        return delivered;
    }

private:
    const std::unique_ptr<Receiver> receiver_ = std::make_unique<Receiver>();
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    Stream stream;
    stream.receive(good_message(input, 0)); // the connection's first message
    for (unsigned number = 1; !input.empty(); ++number) {
        const unsigned step = input.byte() % 4;
        const Bytes good = good_message(input, number);
        const bool clean = stream.is_clean();
        if (step == 0) {
            const bool completes = stream.would_complete(good);
            fuzz::require(completes || stream.receive(good) == std::vector{good}, "a good message arrives");
            if (completes)
                stream.receive(good);
        } else if (step == 1) {
            const Bytes garbage(input.take(1 + input.byte() % 40));
            if (good.size() + garbage.size() > g_data_size / 2 || !clean)
                continue;
            const std::vector<Bytes> delivered = stream.receive(good + garbage);
            fuzz::require(!delivered.empty() && delivered.front() == good, "a message before garbage arrives");
        } else if (step == 2 && clean) {
            const Bytes cut = good_message(input, number + 100);
            const std::size_t inside = 1 + input.byte() % (cut.size() - 1);
            fuzz::require(stream.receive(good + cut.substr(0, inside)) == std::vector{good},
                          "a message before a cut one");
            fuzz::require(stream.receive(cut.substr(inside)) == std::vector{cut}, "a cut message is completed");
        } else if (step == 3 && clean && good.size() > g_head_size) {
            const std::size_t claimed = good.size() - 1 - input.byte() % (good.size() - g_head_size);
            Bytes short_claim = good;
            short_claim[4] = static_cast<char>(claimed / 256);
            short_claim[5] = static_cast<char>(claimed % 256);
            const std::vector<Bytes> delivered = stream.receive(short_claim);
            fuzz::require(!delivered.empty() && delivered.front() == short_claim.substr(0, claimed),
                          "a message is what it claims");
        }
    }
    return 0;
}
