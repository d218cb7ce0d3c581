#include "support/records.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <pthread.h>
#include <utility>

#include "support/calls.h"
#include "support/wait.h"

namespace test {
namespace {

thread_local char thisThread;

struct Journal {
    std::mutex lock;
    std::vector<Record> records;
    std::string ident;
    int option = 0;
    int facility = 0;
    const void* opener = nullptr;
    bool emitted = false;
    int broken = 0;
};

// Never destroyed: library threads may log after main has returned.
Journal& journal() {
    static Journal* const one = [] {
        const Exempt notTheLibrarys;
        return new Journal;
    }();
    return *one;
}

// What the catching of records allocates is not the library's, and a library thread is not cancelled in it.
class Aside {
public:
    Aside() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_);
        lock_ = std::unique_lock(journal().lock);
    }
    ~Aside() {
        lock_.unlock();
        pthread_setcancelstate(cancel_, nullptr);
        errno = EBADF; // the real calls do not keep it either
    }
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

private:
    const Exempt exempt_;
    int cancel_ = 0;
    std::unique_lock<std::mutex> lock_;
};

__attribute__((format(printf, 1, 0))) std::string Format(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

std::function<void()> beforeOthers;
const void* whoAsked = nullptr;

__attribute__((format(printf, 2, 0))) void Emit(int level, const char* format, va_list arguments) {
    if (beforeOthers && whoAsked != &thisThread)
        beforeOthers();
    const Aside aside;
    Journal& to = journal();
    if (to.opener != &thisThread || to.emitted)
        ++to.broken;
    to.emitted = true;
    to.records.push_back({level, Format(format, arguments), format, to.ident, to.option, to.facility});
}

bool IsFromLibrary(const Record& record) {
    return record.ident == "Vela-Quor" && record.option == 1 && record.facility == 1 && record.format == "'%s'";
}

// Takes the first word and the blank behind it away from the text.
std::string Word(std::string& text) {
    std::string word = text.substr(0, text.find(' '));
    text.erase(0, word.size() + 1);
    return word;
}

bool IsLine(const std::string& word) {
    return !word.empty() && word[0] != '0' &&
           std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

class SaysMatcher {
public:
    using is_gtest_matcher = void;

    SaysMatcher(int level, std::string function, std::string text)
        : level_(level), function_(std::move(function)), text_(std::move(text)) {}

    bool MatchAndExplain(const Record& record, std::ostream*) const {
        if (!IsFromLibrary(record) || record.level != level_)
            return false;
        if (function_.empty())
            return record.text == "'" + text_ + "'";
        std::string rest = record.text.substr(1);
        const std::string function = Word(rest);
        const std::string line = Word(rest);
        return (function == function_ || (function_ == kAnyFunction && !function.empty())) && IsLine(line) &&
               rest == text_ + "'";
    }
    void DescribeTo(std::ostream* out) const {
        *out << "is the record [" << level_ << "] '" << function_ << (function_.empty() ? "" : " <line> ") << text_
             << "'";
    }
    void DescribeNegationTo(std::ostream* out) const {
        *out << "not: ";
        DescribeTo(out);
    }

private:
    int level_;
    std::string function_;
    std::string text_;
};

} // namespace

std::ostream& operator<<(std::ostream& out, const Record& record) {
    return out << "[" << record.level << "] " << record.text.substr(0, 400)
               << (IsFromLibrary(record) ? "" : " (with another identity)");
}

std::vector<Record> Records() {
    const std::lock_guard guard(journal().lock);
    return journal().records;
}

std::vector<Record> TakeRecords() {
    const std::lock_guard guard(journal().lock);
    return std::exchange(journal().records, {});
}

int BrokenSteps() {
    const std::lock_guard guard(journal().lock);
    return journal().broken;
}

::testing::Matcher<const Record&> Says(int level, const std::string& function, const std::string& text) {
    return SaysMatcher(level, function, text);
}
::testing::Matcher<const Record&> SaysOnly(int level, const std::string& text) { return SaysMatcher(level, "", text); }

std::size_t CountOf(const ::testing::Matcher<const Record&>& wanted) {
    const std::vector<Record> all = Records();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [&](const Record& record) { return wanted.Matches(record); }));
}

std::string LineOf(const Record& record) {
    if (!IsFromLibrary(record) || record.text.size() < 2)
        return "{odd record} " + record.text;
    std::string rest = record.text.substr(1, record.text.size() - 2);
    const std::string function = Word(rest);
    if (!IsLine(Word(rest)))
        return "{odd record} " + record.text;
    std::string line = std::to_string(record.level) + " " + function + " ";
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest.compare(i, 2, "0x") == 0) {
            line += "0x#";
            i = std::min(rest.find_first_not_of("0123456789abcdef", i + 2), rest.size()) - 1;
        } else if (rest[i] == '\n') {
            line += "\\n";
        } else {
            line += rest[i];
        }
    }
    return line;
}

std::vector<std::string> LinesOf(const std::vector<Record>& records) {
    std::vector<std::string> lines;
    std::transform(records.begin(), records.end(), std::back_inserter(lines), LineOf);
    return lines;
}

void BeforeOthersRecords(std::function<void()> action) {
    whoAsked = &thisThread;
    beforeOthers = std::move(action);
}

bool SaidEventually(const ::testing::Matcher<const Record&>& wanted) {
    return Eventually([&] { return CountOf(wanted) != 0; });
}

} // namespace test

using namespace test;

extern "C" {

void __wrap_openlog(const char* ident, int option, int facility) {
    const Aside aside;
    Journal& to = journal();
    if (to.opener != nullptr)
        ++to.broken;
    to.opener = &thisThread;
    to.emitted = false;
    to.ident = ident;
    to.option = option;
    to.facility = facility;
}

__attribute__((format(printf, 2, 3))) void __wrap_syslog(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Emit(level, format, arguments);
    va_end(arguments);
}

__attribute__((format(printf, 3, 4))) void __wrap___syslog_chk(int level, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Emit(level, format, arguments);
    va_end(arguments);
}

void __wrap_closelog() {
    const Aside aside;
    Journal& to = journal();
    if (to.opener != &thisThread || !to.emitted)
        ++to.broken;
    to.opener = nullptr;
    to.ident.clear();
}
}
