// The wire log: what goes over the socket, one line a message, for people or as JSON.
//
// One lock, held while a line is written, so lines of several clients do not mix; each line is out before the message
// is answered or sent on.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "sim/wire.h"

namespace sim {

nlohmann::ordered_json to_json(const Message& message);

class WireLog {
public:
    enum class Format { lines, json };
    using Sink = std::function<void(const std::string& line)>; // the line has its end

    WireLog(Format format, Sink sink) : format_(format), sink_(std::move(sink)) {}

    // The bytes of one send or of one received message; several messages in one send give several lines.
    void message(Direction direction, int client, std::string_view bytes);
    // What else happens to a client: it connects, it goes, it meets a fault.
    void note(int client, std::string_view text);

private:
    void frame(Direction direction, int client, std::string_view bytes);

    Format format_;
    Sink sink_;
    std::mutex lock_;
};

} // namespace sim
