// The element codec by itself, beside the same bytes written and read by hand, and beside two well-kept codecs of
// tagged values: netlink attributes with libmnl, and MessagePack. Here, and nowhere else in the benchmarks, the
// library's inside is called: tlv/ is linked from the library's objects.
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <msgpack.h>

#include "bench/groups.h"
#include "sim/wire.h"
#include "tlv/ops_tlv.h"

namespace bench {

namespace {

constexpr char kBuild[] = "build_6";
constexpr char kRead[] = "read_14";
constexpr char kByHand[] = "by_hand";
constexpr char kCodec[] = "library";
constexpr char kMnl[] = "libmnl";
constexpr char kMsgpack[] = "msgpack";

// What is written: six elements of a command request. What is read: fourteen elements of a link's summary.
struct Element {
    std::int32_t tag;
    std::int32_t number;
    const char* text = nullptr; // instead of the number
};
constexpr Element kRequest[] = {
    {5, 0, "sdkclient000100001234"},
    {0, 17},
    {6, 1},
    {7, 0, "display interface brief"},
    {8, 0, "continue"},
    {9, 0, "y"},
};
constexpr Element kReply[] = {
    {5, 0, "460001234567890"},
    {6, 0, "898600000000000000"},
    {7, 0, "Quor Mobile"},
    {8, 0, "LTE"},
    {9, 0, "connected"},
    {10, -71},
    {11, 3},
    {12, 20},
    {13, 4},
    {14, 5},
    {15, 1},
    {16, 0},
    {17, 9},
    {18, 7},
};
constexpr std::size_t kLongestText = 64;

// Where the read values go: the same for every codec.
struct Record {
    char texts[5][kLongestText];
    std::int32_t numbers[9];

    friend bool operator==(const Record& left, const Record& right) {
        for (std::size_t i = 0; i < std::size(left.texts); ++i)
            if (std::strcmp(left.texts[i], right.texts[i]) != 0)
                return false;
        return std::memcmp(left.numbers, right.numbers, sizeof left.numbers) == 0;
    }
};
constexpr std::int32_t kFirstText = 5;
constexpr std::int32_t kFirstNumber = 10;

// A message's buffer, into which each codec puts what it built.
struct Frame {
    char bytes[sim::max_message_size];
    std::size_t size;
};

// By hand: offsets that go up, no checks but the reading's bounds.

void put(Frame& frame, std::int32_t tag, const void* value, std::size_t size) {
    const auto length = static_cast<std::int32_t>(size);
    char* at = frame.bytes + frame.size;
    std::memcpy(at, &tag, 4);
    std::memcpy(at + 4, &length, 4);
    std::memcpy(at + 8, value, size);
    frame.size += 8 + size;
}

void build_by_hand(Frame& frame) {
    frame.size = 0;
    for (const Element& each : kRequest) {
        if (each.text != nullptr)
            put(frame, each.tag, each.text, std::strlen(each.text) + 1);
        else
            put(frame, each.tag, &each.number, sizeof each.number);
    }
}

// One pass, as nobody's interface allows it: each element goes where its tag says.
bool read_by_hand(const Frame& frame, Record& record) {
    const char* at = frame.bytes;
    const char* end = at + frame.size;
    while (end - at >= 8) {
        std::int32_t tag = 0;
        std::int32_t length = 0;
        std::memcpy(&tag, at, 4);
        std::memcpy(&length, at + 4, 4);
        at += 8;
        if (length < 0 || length > end - at)
            return false;
        const auto size = static_cast<std::size_t>(length);
        if (tag >= kFirstNumber)
            std::memcpy(&record.numbers[tag - kFirstNumber], at, sizeof(std::int32_t));
        else if (size <= kLongestText)
            std::memcpy(record.texts[tag - kFirstText], at, size);
        at += length;
    }
    return true;
}

// The library's: a builder that is copied into the frame, and look-ups by tag.

void build_with_codec(Frame& frame) {
    const TlvPtr elements(tlv_init(nullptr, 0, 1));
    for (const Element& each : kRequest) {
        if (each.text != nullptr)
            tlv_append_str(elements.get(), each.tag, each.text);
        else
            tlv_append_int(elements.get(), each.tag, each.number);
    }
    frame.size = static_cast<std::size_t>(tlv_len(elements.get()));
    std::memcpy(frame.bytes, tlv_ptr(elements.get()), frame.size);
}

bool read_with_codec(Frame& frame, Record& record) {
    const TlvPtr view(tlv_init(frame.bytes, static_cast<int>(frame.size), 0));
    for (std::int32_t tag = kFirstText; tag < kFirstNumber; ++tag) {
        const char* text = tlv_get_text(view.get(), tag);
        const std::size_t size = text != nullptr ? std::strlen(text) + 1 : 0;
        if (size == 0 || size > kLongestText)
            return false;
        std::memcpy(record.texts[tag - kFirstText], text, size);
    }
    for (std::size_t i = 0; i < std::size(record.numbers); ++i)
        record.numbers[i] = tlv_get_int(view.get(), kFirstNumber + static_cast<std::int32_t>(i));
    return true;
}

// libmnl: attributes behind a netlink header, read with its validating callback into a table, as its users do.

void build_with_mnl(Frame& frame, const Element* elements, std::size_t count) {
    nlmsghdr* message = mnl_nlmsg_put_header(frame.bytes);
    for (const Element* each = elements; each != elements + count; ++each) {
        const auto type = static_cast<std::uint16_t>(each->tag);
        if (each->text != nullptr)
            mnl_attr_put_strz(message, type, each->text);
        else
            mnl_attr_put_u32(message, type, static_cast<std::uint32_t>(each->number));
    }
    frame.size = message->nlmsg_len;
}

constexpr std::uint16_t kMnlTags = 19;

int keep_attribute(const nlattr* attribute, void* table) {
    const std::uint16_t type = mnl_attr_get_type(attribute);
    if (type >= kMnlTags)
        return MNL_CB_OK;
    const bool isText = type < kFirstNumber;
    if (mnl_attr_validate(attribute, isText ? MNL_TYPE_NUL_STRING : MNL_TYPE_U32) < 0)
        return MNL_CB_ERROR;
    static_cast<const nlattr**>(table)[type] = attribute;
    return MNL_CB_OK;
}

bool read_with_mnl(const Frame& frame, Record& record) {
    const nlattr* table[kMnlTags] = {};
    const auto* message = reinterpret_cast<const nlmsghdr*>(frame.bytes);
    if (mnl_attr_parse(message, 0, keep_attribute, table) < 0)
        return false;
    for (std::int32_t tag = kFirstText; tag < kFirstNumber; ++tag) {
        if (table[tag] == nullptr || mnl_attr_get_payload_len(table[tag]) > kLongestText)
            return false;
        std::memcpy(record.texts[tag - kFirstText], mnl_attr_get_str(table[tag]), mnl_attr_get_payload_len(table[tag]));
    }
    for (std::size_t i = 0; i < std::size(record.numbers); ++i) {
        const nlattr* attribute = table[static_cast<std::size_t>(kFirstNumber) + i];
        record.numbers[i] = attribute != nullptr ? static_cast<std::int32_t>(mnl_attr_get_u32(attribute)) : -1;
    }
    return true;
}

// MessagePack: a map from tag to value, built in its growing buffer, unpacked into objects that are walked.

void build_with_msgpack(Frame& frame, const Element* elements, std::size_t count) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_packer packer;
    msgpack_packer_init(&packer, &buffer, msgpack_sbuffer_write);
    msgpack_pack_map(&packer, count);
    for (const Element* each = elements; each != elements + count; ++each) {
        msgpack_pack_int32(&packer, each->tag);
        if (each->text != nullptr)
            msgpack_pack_str_with_body(&packer, each->text, std::strlen(each->text));
        else
            msgpack_pack_int32(&packer, each->number);
    }
    frame.size = buffer.size;
    std::memcpy(frame.bytes, buffer.data, buffer.size);
    msgpack_sbuffer_destroy(&buffer);
}

bool keep_pair(const msgpack_object_kv& pair, Record& record) {
    const auto tag = pair.key.via.i64;
    if (pair.val.type != MSGPACK_OBJECT_STR) {
        record.numbers[tag - kFirstNumber] = static_cast<std::int32_t>(pair.val.via.i64);
        return true;
    }
    const msgpack_object_str& text = pair.val.via.str;
    if (text.size >= kLongestText)
        return false;
    char* to = record.texts[tag - kFirstText];
    std::memcpy(to, text.ptr, text.size);
    to[text.size] = '\0';
    return true;
}

bool read_with_msgpack(const Frame& frame, Record& record) {
    msgpack_unpacked message;
    msgpack_unpacked_init(&message);
    bool read = msgpack_unpack_next(&message, frame.bytes, frame.size, nullptr) == MSGPACK_UNPACK_SUCCESS;
    for (std::uint32_t i = 0; read && i < message.data.via.map.size; ++i)
        read = keep_pair(message.data.via.map.ptr[i], record);
    msgpack_unpacked_destroy(&message);
    return read;
}

// What the cases use.
struct Work {
    Frame built{};
    Frame by_hand{};
    Frame mnl{};
    Frame msgpack{};
    Record record{};
    Record expected{};

    Work() {
        for (const Element& each : kReply) {
            if (each.text != nullptr)
                put(by_hand, each.tag, each.text, std::strlen(each.text) + 1);
            else
                put(by_hand, each.tag, &each.number, sizeof each.number);
        }
        build_with_mnl(mnl, kReply, std::size(kReply));
        build_with_msgpack(msgpack, kReply, std::size(kReply));
        read_by_hand(by_hand, expected);
    }
};

// A run is many messages, so that the loop around it does not show.
constexpr int kMessages = 1000;

template <class Build> std::function<bool()> many_built(const std::shared_ptr<Work>& work, Build build) {
    return [work, build] {
        for (int i = 0; i < kMessages; ++i) {
            build(work->built);
            benchmark::ClobberMemory();
        }
        return work->built.size != 0;
    };
}

template <class Read> std::function<bool()> many_read(const std::shared_ptr<Work>& work, Read read) {
    return [work, read] {
        bool all = true;
        work->record = {};
        for (int i = 0; i < kMessages; ++i) {
            all &= read(*work, work->record);
            benchmark::ClobberMemory();
        }
        return all && work->record == work->expected;
    };
}

} // namespace

Group codec() {
    const auto work = std::make_shared<Work>();
    constexpr std::size_t size = std::size(kRequest);
    return {
        .name = "codec",
        .thing = "message",
        .unit = kNanoseconds,
        .repetitions = 200,
        .runs = 1,
        .warm_up = 1,
        .floor = {kByHand},
        .reference = {kMsgpack},
        .targets = {},
        .threads_may_allocate = false,
        .cases = {
            {kBuild, kByHand, many_built(work, build_by_hand), kMessages},
            {kBuild, kMnl, many_built(work, [](Frame& to) { build_with_mnl(to, kRequest, size); }), kMessages},
            {kBuild, kMsgpack, many_built(work, [](Frame& to) { build_with_msgpack(to, kRequest, size); }), kMessages},
            {kBuild, kCodec, many_built(work, build_with_codec), kMessages},
            {kRead, kByHand, many_read(work, [](Work& w, Record& to) { return read_by_hand(w.by_hand, to); }),
             kMessages},
            {kRead, kMnl, many_read(work, [](Work& w, Record& to) { return read_with_mnl(w.mnl, to); }), kMessages},
            {kRead, kMsgpack, many_read(work, [](Work& w, Record& to) { return read_with_msgpack(w.msgpack, to); }),
             kMessages},
            {kRead, kCodec, many_read(work, [](Work& w, Record& to) { return read_with_codec(w.by_hand, to); }),
             kMessages},
        }};
}

} // namespace bench
