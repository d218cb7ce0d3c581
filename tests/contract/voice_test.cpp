// The voice queries' counts and what they count: calls read, SIP accounts read and stored.
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

#include "queries.h"
#include "resources.h"

namespace contract {
namespace {

constexpr int filler = 0x5a;

template <class Record> Record filled() {
    Record record;
    std::memset(&record, filler, sizeof record);
    return record;
}

std::string word(std::int32_t value) { return Item::integer(0, value).value; }

// An entry or account unlike any other.
std::string entry(std::size_t i, std::size_t length) { return counting(static_cast<int>(0x80 + 5 * i), length); }

// A record between guards, and what it must be: filler except where something was put.
template <class Record> class Watched {
public:
    Record* get() { return reinterpret_cast<Record*>(memory_.data() + guard); }
    Watched& put(std::size_t offset, const std::string& value) {
        expected_.replace(guard + offset, value.size(), value);
        return *this;
    }
    void expect_as_put() const { EXPECT_EQ(sim::hex(memory_), sim::hex(expected_)); }

private:
    static constexpr std::size_t guard = 512;
    std::string memory_ = times(guard + sizeof(Record) + guard, filler);
    std::string expected_ = memory_;
};

class Voice : public QueryTest {
protected:
    void SetUp() override { open_session(); }

    void answer_items(const Query& query, std::vector<Item> items, std::string tail = {}) {
        auto reply = reply_head(query);
        reply.insert(reply.end(), items.begin(), items.end());
        answer_all(reply, std::move(tail), sim::device_query);
    }
};

// Calls -------------------------------------------------------------------------------------------------------------

class Calls : public Voice {
protected:
    using Info = Watched<stVOICE_CALL_INFO>;
    static constexpr std::size_t count_at = 24;
    static constexpr std::size_t entries_at = 28;
    const Query& calls = query("vela_voice_get_call_info");
    const std::string worker = "vela_get_voice_call_info";

    static std::vector<Item> numbers() {
        std::vector<Item> items;
        for (std::int32_t tag = 6; tag <= 11; ++tag)
            items.push_back(Item::integer(tag, 100 * tag));
        return items;
    }
    static std::vector<Item> entries(std::size_t n) {
        auto items = numbers();
        for (std::size_t i = 0; i < n; ++i)
            items.push_back(Item::raw(static_cast<std::int32_t>(12 + i), entry(i, 24)));
        return items;
    }
    static std::vector<Item> counted(std::int32_t count, std::size_t n) {
        return integration::with(entries(n), Item::integer(5, count));
    }
    static Info holding(std::int32_t count, std::size_t n) {
        Info info;
        info.put(count_at, word(count));
        std::size_t offset = 0;
        for (std::int32_t tag = 6; tag <= 11; ++tag, offset += 4)
            info.put(offset, word(100 * tag));
        for (std::size_t i = 0; i < n; ++i)
            info.put(entries_at + 24 * i, entry(i, 24));
        return info;
    }
    std::string entry_missing(int length) const {
        return worker + " # SendRequest get data faided, len:" + std::to_string(length);
    }
    void expect(const std::vector<Item>& items, std::uint32_t code, Info info, const std::vector<std::string>& said,
                std::string tail = {}) {
        answer_items(calls, items, std::move(tail));
        EXPECT_EQ(vela_voice_get_call_info(info.get()), code);
        info.expect_as_put();
        expect_said(said);
    }
};

TEST_F(Calls, NoneToEightAreRead) {
    for (const int count : {0, 1, 2, 7, 8})
        expect(counted(count, static_cast<std::size_t>(count)), 0, holding(count, static_cast<std::size_t>(count)), {});
}

TEST_F(Calls, BeyondTheirCountAreNotRead) {
    expect(counted(0, 8), 0, holding(0, 0), {});
    expect(counted(3, 8), 0, holding(3, 3), {});
    expect(counted(8, 9), 0, holding(8, 8), {});
}

TEST_F(Calls, MoreThanEightAreRefusedAndOnlyTheirCountIsStored) {
    for (const std::int32_t count : {9, 10, 1000, INT32_MAX}) {
        Info info;
        info.put(count_at, word(count));
        expect(counted(count, 9), 1, info, {worker + " # SendRequest faided"});
    }
}

TEST_F(Calls, OfAnotherLengthThan24EndTheQuery) {
    for (const int length : {20, 0, 23, 25, 28, 48}) {
        for (const std::size_t bad : {0U, 2U, 7U}) {
            SCOPED_TRACE(std::to_string(length) + " bytes in entry " + std::to_string(bad));
            auto items = counted(8, 8);
            items[6 + bad].value = times(static_cast<std::size_t>(length), 'x');
            expect(items, 17, holding(8, bad), {entry_missing(length)});
        }
    }
}

TEST_F(Calls, ThatAreMissingEndTheQueryWithLengthZero) {
    expect(counted(3, 0), 17, holding(3, 0), {entry_missing(0)});
    expect(counted(3, 2), 17, holding(3, 2), {entry_missing(0)});
    expect(integration::without(counted(8, 8), 13), 17, holding(8, 1), {entry_missing(0)});
}

TEST_F(Calls, ThatTheMessageCutsOffAreMissing) {
    answer_items(calls, counted(2, 1), integration::element(13, 24, times(23, 'x')));
    Info info = holding(2, 1);
    EXPECT_EQ(vela_voice_get_call_info(info.get()), 17U);
    info.expect_as_put();
    expect_one_record_of(worker);
}

TEST_F(Calls, WithoutACountAreReadUntilOneIsMissing) {
    for (const std::size_t n : {0U, 1U, 3U, 7U}) {
        expect(entries(n), 17, holding(-1, n), {entry_missing(0)});
        expect(counted(-1, n), 17, holding(-1, n), {entry_missing(0)});
        expect(counted(INT32_MIN, n), 17, holding(INT32_MIN, n), {entry_missing(0)});
        expect(integration::with(entries(n), Item::raw(5, "ab")), 17, holding(-1, n), {entry_missing(0)});
    }
}

TEST_F(Calls, WithANegativeCountAreNeverWrittenPastTheRecord) {
    for (const std::size_t n : {9U, 10U, 60U}) {
        answer_items(calls, counted(-3, n));
        Info info = holding(-3, 8);
        EXPECT_EQ(vela_voice_get_call_info(info.get()), 1U);
        info.expect_as_put();
        expect_one_record_of(worker);
    }
}

// SIP accounts read -------------------------------------------------------------------------------------------------

class SipAccountsRead : public Voice {
protected:
    using Info = Watched<stVOICE_SIP_ACCOUNT_INFO>;
    static constexpr std::size_t accounts_at = 4;
    const Query& accounts = query("vela_voice_get_sip_account");
    const std::string worker = "vela_get_voice_sip_account";

    static std::vector<Item> counted(std::int32_t count, std::size_t n) {
        std::vector<Item> items{Item::integer(5, count)};
        for (std::size_t i = 0; i < n; ++i)
            items.push_back(Item::raw(static_cast<std::int32_t>(7 + i), entry(i, 66)));
        return items;
    }
    static Info holding(std::int32_t count, std::size_t n) {
        Info info;
        info.put(0, word(count));
        for (std::size_t i = 0; i < n; ++i)
            info.put(accounts_at + 66 * i, entry(i, 66));
        return info;
    }
    std::string account_missing(std::size_t length_before) const {
        return worker + " # SendRequest get data faided, len:" + std::to_string(length_before);
    }
    void expect(const std::vector<Item>& items, std::uint32_t code, Info info, const std::vector<std::string>& said) {
        answer_items(accounts, items);
        EXPECT_EQ(vela_voice_get_sip_account(info.get()), code);
        info.expect_as_put();
        expect_said(said);
    }
};

TEST_F(SipAccountsRead, NoneToTenAreRead) {
    for (const int count : {0, 1, 2, 9, 10})
        expect(counted(count, static_cast<std::size_t>(count)), 0, holding(count, static_cast<std::size_t>(count)), {});
}

TEST_F(SipAccountsRead, BeyondTheirCountAreNotRead) {
    expect(counted(0, 10), 0, holding(0, 0), {});
    expect(counted(4, 10), 0, holding(4, 4), {});
    expect(counted(10, 12), 0, holding(10, 10), {});
}

TEST_F(SipAccountsRead, MoreThanTenAreRefusedAndOnlyTheirCountIsStored) {
    for (const std::int32_t count : {11, 12, 107, INT32_MAX})
        expect(counted(count, 12), 1, holding(count, 0), {worker + " # SendRequest faided"});
}

TEST_F(SipAccountsRead, OneThatIsMissingEndsTheQueryWithTheLengthBefore) {
    expect(counted(2, 0), 17, holding(2, 0), {account_missing(0)});
    expect(counted(2, 1), 17, holding(2, 1), {account_missing(66)});
    expect(integration::without(counted(10, 10), 16), 17, holding(10, 9), {account_missing(66)});
    expect(integration::without(counted(10, 10), 7), 17, holding(10, 0), {account_missing(0)});
    auto shorter = counted(3, 2);
    shorter[2].value = "ab";
    Info info = holding(3, 1);
    info.put(accounts_at + 66, "ab");
    expect(shorter, 17, info, {account_missing(2)});
}

TEST_F(SipAccountsRead, AreCopiedWithTheLengthTheyState) {
    auto items = counted(3, 3);
    items[1].value = "short";
    items[2].value = "";
    Info info;
    info.put(0, word(3)).put(accounts_at, "short").put(accounts_at + 2 * 66, entry(2, 66));
    expect(items, 0, info, {});
}

TEST_F(SipAccountsRead, OneThatIsLongerRunsIntoTheNextWhichIsWrittenAfterIt) {
    auto items = counted(2, 2);
    items[1].value = entry(0, 70);
    items[2].value = entry(1, 76);
    Info info;
    info.put(0, word(2)).put(accounts_at, entry(0, 70)).put(accounts_at + 66, entry(1, 76));
    expect(items, 0, info, {});
}

TEST_F(SipAccountsRead, AreNeverWrittenPastTheRecord) {
    for (const std::size_t account : {0U, 5U, 9U}) {
        for (const std::size_t too_much : {1U, 66U, 300U}) {
            auto items = counted(10, 10);
            items[1 + account].value = times(66 * (10 - account) + too_much, 'x');
            answer_items(accounts, items);
            Info info = holding(10, account);
            const std::uint32_t code = vela_voice_get_sip_account(info.get());
            EXPECT_TRUE(code == 1 || code == 17) << code;
            info.expect_as_put();
            expect_one_record_of(worker);
        }
    }
}

TEST_F(SipAccountsRead, WithoutACountAreReadUntilOneIsMissing) {
    for (const std::size_t n : {1U, 3U, 9U}) {
        expect(integration::without(counted(0, n), 5), 17, holding(-1, n), {account_missing(66)});
        expect(counted(-1, n), 17, holding(-1, n), {account_missing(66)});
        expect(counted(INT32_MIN, n), 17, holding(INT32_MIN, n), {account_missing(66)});
    }
    expect(counted(-1, 0), 17, holding(-1, 0), {account_missing(0)});
}

TEST_F(SipAccountsRead, WithANegativeCountAreNeverWrittenPastTheRecord) {
    for (const std::size_t n : {11U, 12U, 100U}) {
        answer_items(accounts, counted(-3, n));
        Info info = holding(-3, 10);
        EXPECT_EQ(vela_voice_get_sip_account(info.get()), 1U);
        info.expect_as_put();
        expect_one_record_of(worker);
    }
}

// SIP accounts stored -----------------------------------------------------------------------------------------------

class SipAccountsStored : public Voice {
protected:
    const Query& store = query("vela_voice_set_sip_account");
    const std::string worker = "vela_set_voice_sip_account";

    void answer_result(std::int32_t result) { answer_items(store, {Item::integer(6, result)}); }
};

// Accounts at the very end of readable memory. Two bytes are left behind an odd number of them, so that the record
// starts where an integer may.
class LastAccounts {
public:
    LastAccounts(std::int32_t count, std::size_t accounts) {
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t size = 4 + 66 * accounts + (accounts % 2 == 0 ? 0 : 2);
        const std::size_t readable = (size + page - 1) / page * page;
        mapping_size_ = readable + page;
        mapping_ = mmap(nullptr, mapping_size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping_ == MAP_FAILED)
            throw std::bad_alloc();
        char* const end = static_cast<char*>(mapping_) + readable;
        if (mprotect(end, page, PROT_NONE) != 0)
            throw std::bad_alloc();
        record_ = end - size;
        std::memcpy(record_, &count, sizeof count);
        for (std::size_t i = 0; i < accounts; ++i)
            std::memcpy(record_ + 4 + 66 * i, account(i).data(), 66);
    }
    ~LastAccounts() { munmap(mapping_, mapping_size_); }
    LastAccounts(const LastAccounts&) = delete;
    LastAccounts& operator=(const LastAccounts&) = delete;

    static std::string account(std::size_t i) { return entry(i, 64) + static_cast<char>(i) + '\xff'; }
    const stVOICE_SIP_ACCOUNT_INFO* get() const {
        return static_cast<const stVOICE_SIP_ACCOUNT_INFO*>(static_cast<const void*>(record_));
    }

private:
    void* mapping_;
    std::size_t mapping_size_;
    char* record_;
};

TEST_F(SipAccountsStored, AreSentWholeUpTo107) {
    answer_result(0);
    for (const std::size_t n : {0U, 1U, 10U, 12U, 13U, 26U, 27U, 106U, 107U}) {
        SCOPED_TRACE(n);
        const LastAccounts accounts(static_cast<std::int32_t>(n), n);
        EXPECT_EQ(vela_voice_set_sip_account(accounts.get()), 0U);
        std::vector<Item> expected{Item::integer(1, 9), Item::integer(2, 2),
                                   Item::integer(5, static_cast<std::int32_t>(n))};
        for (std::size_t i = 0; i < n; ++i)
            expected.push_back(Item::raw(static_cast<std::int32_t>(7 + i), LastAccounts::account(i)));
        EXPECT_EQ(last_request().items, expected);
        EXPECT_EQ(requests().back().bytes.size(), 12 + 3 * 12 + 74 * n);
        EXPECT_EQ(requests().back().malformed, "");
    }
    expect_silence();
}

// The record as the header declares it, which ends where the memory does.
TEST_F(SipAccountsStored, UpToTenAreReadFromADeclaredRecordAndNothingBehindIt) {
    answer_result(0);
    for (std::int32_t count = 0; count <= 10; ++count) {
        SCOPED_TRACE(count);
        const LastAccounts accounts(count, 10);
        EXPECT_EQ(vela_voice_set_sip_account(accounts.get()), 0U);
        std::vector<Item> expected{Item::integer(1, 9), Item::integer(2, 2), Item::integer(5, count)};
        for (std::int32_t i = 0; i < count; ++i)
            expected.push_back(Item::raw(7 + i, LastAccounts::account(static_cast<std::size_t>(i))));
        EXPECT_EQ(last_request().items, expected);
    }
    expect_silence();
}

// Whether the record is the declared one or ends behind its count.
TEST_F(SipAccountsStored, MoreThan107OrFewerThanNoneAreRefusedBeforeAnyIsRead) {
    static_assert(sizeof(stVOICE_SIP_ACCOUNT_INFO) == 4 + 10 * 66);
    unsigned id = 1;
    for (const std::size_t readable : {10U, 0U}) {
        for (const std::int32_t count : {108, 109, 200, 1000, 0x10000, INT32_MAX, -1, -108, INT32_MIN}) {
            SCOPED_TRACE(std::to_string(count) + " of " + std::to_string(readable));
            const LastAccounts accounts(count, readable);
            EXPECT_EQ(vela_voice_set_sip_account(accounts.get()), 15U);
            expect_said({worker + " # send tlv append failed"});
            ++id;
        }
    }
    EXPECT_EQ(operations(), 0U);
    EXPECT_EQ(next_send_id(), id + 1) << "each refused request used up its id";
}

TEST_F(SipAccountsStored, TheServiceDecidesTheResult) {
    stVOICE_SIP_ACCOUNT_INFO info{};
    for (const std::int32_t result : {0, 3, 14, -1, INT32_MIN}) {
        answer_result(result);
        EXPECT_EQ(vela_voice_set_sip_account(&info), static_cast<std::uint32_t>(result));
    }
    expect_silence();
}

TEST_F(SipAccountsStored, AReplyWithoutResultIsAllOnes) {
    stVOICE_SIP_ACCOUNT_INFO info{};
    const std::vector<std::vector<Item>> without_result = {
        {}, {Item::raw(6, "")}, {Item::raw(6, std::string(2, '\0'))}, {Item::raw(6, std::string(8, '\0'))}};
    for (const auto& items : without_result) {
        answer_items(store, items);
        EXPECT_EQ(vela_voice_set_sip_account(&info), 0xffffffffU);
    }
    answer_items(store, {}, integration::element(6, 4, std::string(3, '\0')));
    EXPECT_EQ(vela_voice_set_sip_account(&info), 0xffffffffU);
    expect_silence();
}

TEST_F(SipAccountsStored, TheServicesErrorGoesBeforeTheResult) {
    stVOICE_SIP_ACCOUNT_INFO info{};
    auto items = reply_head(store, 8);
    items.push_back(Item::text(4, "busy"));
    items.push_back(Item::integer(6, 0));
    answer_all(items, {}, sim::device_query);
    EXPECT_EQ(vela_voice_set_sip_account(&info), 8U);
    expect_said({worker + " # busy"});
}

TEST_F(SipAccountsStored, TwelveAreStoredButNotReadBack) {
    answer_result(0);
    const LastAccounts accounts(12, 12);
    EXPECT_EQ(vela_voice_set_sip_account(accounts.get()), 0U);
    auto stored = last_request().items;
    stored[1] = Item::integer(2, 3);
    stored.insert(stored.begin() + 2, Item::integer(3, 0));
    answer_all(stored, {}, sim::device_query);
    stVOICE_SIP_ACCOUNT_INFO info{};
    EXPECT_EQ(vela_voice_get_sip_account(&info), 1U);
    EXPECT_EQ(info.count, 12);
    expect_said({"vela_get_voice_sip_account # SendRequest faided"});
}

// Twenty accounts outgrow the thousand bytes that the request starts with; the next thousand are refused.
TEST_F(SipAccountsStored, EndWith15WhenTheRequestCannotGrow) {
    if (!heap_can_be_watched())
        GTEST_SKIP() << "the sanitizer's heap cannot be replaced";
    answer_result(0);
    const LastAccounts accounts(20, 20);
    EXPECT_EQ(vela_voice_set_sip_account(accounts.get()), 0U);
    const Blocks before = blocks();
    refuse_block_of(2000);
    const std::uint32_t code = vela_voice_set_sip_account(accounts.get());
    ASSERT_TRUE(block_was_refused());
    const Blocks after = blocks();
    EXPECT_EQ(code, 15U);
    EXPECT_EQ(after.taken - before.taken, after.given_back - before.given_back);
    expect_said({worker + " # send tlv append failed"});
    EXPECT_EQ(operations(), 1U);
    EXPECT_EQ(next_send_id(), 4U);
}

// CITA --------------------------------------------------------------------------------------------------------------

TEST_F(Voice, CitaParametersWithoutTheirSixteenthKeepWhatCameBefore) {
    const Query& cita = query("vela_voice_get_cita_param");
    answer_all(integration::without(reply_to(cita), 16), {}, sim::device_query);
    auto info = filled<tagVOICE_CITA_PARAM>();
    EXPECT_EQ(vela_voice_get_cita_param(&info), 17U);
    EXPECT_EQ(info.item5, 0x05);
    EXPECT_STREQ(info.text9, "nine");
    EXPECT_EQ(std::string(std::begin(info.item15), std::end(info.item15)), counting(0x50, 6));
    EXPECT_EQ(std::string(std::begin(info.item16), std::end(info.item16)), times(6, filler));
    EXPECT_EQ(info.item18, 0x5a5a5a5a);
    EXPECT_EQ(info.item25, 0x5a5a5a5a);
    expect_said({"vela_get_voice_cita_param # SendRequest get faided, len:6"});
}

} // namespace
} // namespace contract
