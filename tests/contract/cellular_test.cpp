// What is particular to the cellular, ARP and access-user queries: their arguments, the six bytes of a hardware
// address, and the lines on standard output.
#include <functional>

#include "queries.h"

namespace contract {
namespace {

class Cellular : public QueryTest {};

TEST_F(Cellular, AsksForTheFirstInterfaceWhenNoneIsNamed) {
    const Query& info = query("vela_cellular_GetInfo");
    answer_all(reply_to(info), {}, sim::device_query);
    open_session();
    tagLTE_CONNECTION_INFO record{};
    EXPECT_EQ(vela_cellular_GetInfo(nullptr, &record), VELA_OK);
    // 58 bytes, the body 50.   1: 6 cellular   2: 2   5: "Cellular0/0/0"
    EXPECT_EQ(sent(), sim::hex(bytes("01 0b 02 00 00 3a 00 07  04 00 00 32"
                                     "01 00 00 00 04 00 00 00  06 00 00 00"
                                     "02 00 00 00 04 00 00 00  02 00 00 00"
                                     "05 00 00 00 0e 00 00 00  43 65 6c 6c 75 6c 61 72 30 2f 30 2f 30 00")));
}

TEST_F(Cellular, SendsTheInterfacesNameAsItStands) {
    answer_all(reply_to(query("vela_cellular_GetInfo")), {}, sim::device_query);
    open_session();
    tagLTE_CONNECTION_INFO record{};
    for (const std::string name : {"", "x", "Cellular0/0/0 ", "\xff%s"}) {
        EXPECT_EQ(vela_cellular_GetInfo(name.c_str(), &record), VELA_OK);
        EXPECT_EQ(last_request().text(5), name);
        EXPECT_EQ(last_request().items.size(), 3U);
    }
}

TEST_F(Cellular, ChecksTheRecordWhateverTheInterface) {
    EXPECT_EQ(vela_cellular_GetInfo(nullptr, nullptr), 2U);
    EXPECT_EQ(vela_get_sms_info(3, nullptr), 2U);
    expect_said({"vela_lte_get_lte_info #,null param", "vela_lte_get_sms_info #,null param"});
}

TEST_F(Cellular, SendsTheMessagesIndex) {
    answer_all(reply_to(query("vela_get_sms_info")), {}, sim::device_query);
    open_session();
    tagLTE_SMS_INFO record{};
    for (const std::uint32_t index : {3U, 0U, 0xffffffffU}) {
        EXPECT_EQ(vela_get_sms_info(index, &record), VELA_OK);
        ASSERT_NE(last_request().find(5), nullptr);
        EXPECT_EQ(*last_request().find(5), Item::u32(5, index));
    }
}

TEST_F(Cellular, ASummaryWithoutTwoOfItsNumbersDiffersInTheTwo) {
    const Query& brief = query("vela_arp_get_lte");
    answer_all(integration::without(integration::without(reply_to(brief), 12), 18), {}, sim::device_query);
    open_session();
    tagLTE_BREIFINFO_T record{};
    record.item12 = 7;
    record.item18 = 18;
    record.text0[0] = 'T';
    EXPECT_EQ(vela_arp_get_lte(&record), VELA_OK);
    EXPECT_EQ(static_cast<std::uint32_t>(record.item12), 0xffffffffU);
    EXPECT_EQ(record.item18, 18U);
    EXPECT_EQ(record.text0[0], 'T');
}

// A name of this length makes the request as long as a message may be: 8012 less 12 for header and prefix, 24 for
// module and operation, 8 for the item's head and 1 for its NUL.
constexpr std::size_t longest_name = 8012 - 12 - 24 - 8 - 1;

TEST_F(Cellular, RefusesANameThatDoesNotFitARequest) {
    answer_all(reply_to(query("vela_cellular_GetInfo")), {}, sim::device_query);
    open_session();
    tagLTE_CONNECTION_INFO record{};
    const std::string longest(longest_name, 'n');
    EXPECT_EQ(vela_cellular_GetInfo(longest.c_str(), &record), VELA_OK);
    EXPECT_EQ(last_request().text(5), longest);
    EXPECT_EQ(requests().back().bytes.size(), 8012U);
    expect_silence();
    unsigned id = 2;
    for (const std::size_t length : {longest_name + 1, std::size_t{8012}, std::size_t{65536}, std::size_t{1} << 21}) {
        const std::string name(length, 'n');
        EXPECT_EQ(vela_cellular_GetInfo(name.c_str(), &record), 15U) << length;
        expect_said({"vela_lte_get_lte_info # send tlv append failed"});
        ++id;
    }
    EXPECT_EQ(operations(), 1U);
    EXPECT_EQ(next_send_id(), id + 1) << "each refused request used up its id";
}

class ArpTable : public QueryTest {
protected:
    static constexpr const char* worker = "vela_arp_get_mac_by_ip_imp";
    // Asks, with this behind the reply's head.
    void expect_mac(const std::string& tail, const std::optional<std::string>& mac) {
        const Query& arp = query("vela_arp_get_mac_by_ip");
        answer_all(reply_head(arp), tail, sim::device_query);
        expect_outcome(arp, what_becomes_of(arp, {mac}));
    }
};

TEST_F(ArpTable, SixBytesAreTakenWhateverLengthTheItemStates) {
    open_session();
    const std::string mac = counting(0xd1, 6);
    expect_mac(integration::element(0, 6, mac), mac);
    expect_mac(integration::element(0, 17, mac + "and longer."), mac);
    expect_mac(integration::element(0, 7, mac), mac); // one byte of it lies outside, but none of the six
    // Four bytes of the item and two of the next one's tag.
    expect_mac(integration::element(0, 4, mac.substr(0, 4)) + integration::element(0x6655, 4, "next"),
               mac.substr(0, 4) + "\x55\x66");
}

TEST_F(ArpTable, SixBytesMustLieInsideTheMessage) {
    open_session();
    expect_mac("", std::nullopt);
    for (const std::size_t there : {0U, 1U, 5U}) {
        expect_mac(integration::element(0, 6, counting(0xd1, there)), std::nullopt);
        expect_mac(integration::element(0, static_cast<std::int32_t>(there), counting(0xd1, there)), std::nullopt);
    }
}

TEST_F(ArpTable, RefusesANullOrEndlessAddress) {
    open_session();
    std::uint8_t mac[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(vela_arp_get_mac_by_ip(nullptr, mac), 15U);
    expect_said({std::string(worker) + " # send tlv append failed"});
    const std::string endless(8000, '1');
    EXPECT_EQ(vela_arp_get_mac_by_ip(endless.c_str(), mac), 15U);
    expect_said({std::string(worker) + " # send tlv append failed"});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(std::string(std::begin(mac), std::end(mac)), counting(1, 6));
}

class AccessUser : public QueryTest {
protected:
    static constexpr const char* worker = "vela_nac_get_access_by_mac_imp";
    const std::uint8_t mac[6] = {0, 1, 2, 3, 4, 5};

    static std::vector<Item> known_user() {
        return {Item::integer(1, 3),        Item::integer(2, 1), Item::integer(3, 0),       Item::text(9, "guests"),
                Item::u32(10, 4000000007U), Item::u32(11, 11),   Item::u32(12, 4294967295U)};
    }
    std::string printed_by(const std::function<void()>& call) {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }
    std::string printed_for(const std::vector<Item>& items, std::uint32_t code, std::string tail = {}) {
        answer_all(items, std::move(tail), sim::device_query);
        tagACCESS_USER_BREIFINFO_T info{};
        info.upbytes = 77;
        return printed_by([&] { EXPECT_EQ(vela_nac_get_access_by_mac(mac, &info), code); });
    }
};

TEST_F(AccessUser, IsPrintedInFiveLines) {
    open_session();
    EXPECT_EQ(printed_for(known_user(), 0), "user_ip = 4000000007\n"
                                            "ssid_name = guests\n"
                                            "oline_time = 4000000007\n"
                                            "upbytes = 11\n"
                                            "downbytes = 4294967295\n");
    expect_silence();
}

TEST_F(AccessUser, IsPrintedAsTheRecordStandsWhenANumberIsMissing) {
    open_session();
    EXPECT_EQ(printed_for(integration::without(known_user(), 11), 0), "user_ip = 4000000007\n"
                                                                      "ssid_name = guests\n"
                                                                      "oline_time = 4000000007\n"
                                                                      "upbytes = 77\n"
                                                                      "downbytes = 4294967295\n");
    EXPECT_EQ(printed_for(integration::without(known_user(), 10), 0), "user_ip = 0\n"
                                                                      "ssid_name = guests\n"
                                                                      "oline_time = 0\n"
                                                                      "upbytes = 11\n"
                                                                      "downbytes = 4294967295\n");
}

TEST_F(AccessUser, IsPrintedWithItsNameAsItStands) {
    open_session();
    auto user = known_user();
    user[3] = Item::text(9, "100%s\n'%n");
    EXPECT_EQ(printed_for(user, 0), "user_ip = 4000000007\n"
                                    "ssid_name = 100%s\n'%n\n"
                                    "oline_time = 4000000007\n"
                                    "upbytes = 11\n"
                                    "downbytes = 4294967295\n");
}

TEST_F(AccessUser, IsPrintedWithTheWholeOfANameThatRunsIntoTheNextField) {
    open_session();
    auto user = known_user();
    const std::string name(70, 'n');
    user[3] = Item::text(9, name);
    EXPECT_EQ(printed_for(user, 0), "user_ip = 4000000007\n"
                                    "ssid_name = " +
                                        name +
                                        "\n"
                                        "oline_time = 4000000007\n"
                                        "upbytes = 11\n"
                                        "downbytes = 4294967295\n");
}

TEST_F(AccessUser, IsNotPrintedOnAnyFailure) {
    tagACCESS_USER_BREIFINFO_T info{};
    EXPECT_EQ(printed_by([&] { vela_nac_get_access_by_mac(mac, &info); }), "") << "no session";
    take_log();
    open_session();
    EXPECT_EQ(printed_by([&] { vela_nac_get_access_by_mac(mac, nullptr); }), "") << "null record";
    EXPECT_EQ(printed_by([&] { vela_nac_get_access_by_mac(nullptr, &info); }), "") << "null address";
    auto refused = known_user();
    refused[2] = Item::integer(3, 5);
    EXPECT_EQ(printed_for(refused, 5), "") << "refused";
    EXPECT_EQ(printed_for({}, 0xffffffff), "") << "empty reply";
    EXPECT_EQ(printed_for(integration::without(known_user(), 9), 1), "") << "no name";
    auto endless = known_user();
    endless[3] = Item::raw(9, "guests");
    EXPECT_EQ(printed_for(endless, 1), "") << "a name without NUL";
    take_log();
}

TEST_F(AccessUser, NullRecordIsAskedForAfterTheSessionAndLeavesNoRecord) {
    EXPECT_EQ(vela_nac_get_access_by_mac(mac, nullptr), 14U);
    expect_said({std::string(worker) + " # session not open"});
    open_session();
    EXPECT_EQ(vela_nac_get_access_by_mac(mac, nullptr), 4U);
    EXPECT_EQ(vela_nac_get_access_by_mac(nullptr, nullptr), 4U);
    expect_silence();
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 2U);
}

TEST_F(AccessUser, NullAddressFailsInTheRequestAndUsesUpItsId) {
    open_session();
    tagACCESS_USER_BREIFINFO_T info{};
    EXPECT_EQ(vela_nac_get_access_by_mac(nullptr, &info), 15U);
    expect_said({std::string(worker) + " # send tlv append failed"});
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), 3U);
}

} // namespace
} // namespace contract
