// What can go wrong, how it is told, and what the program then exits with.
//
// Every call of the library goes through check(): it tells the call with --verbose, and throws when it failed. What is
// caught on the way, because something else can still be done, is told with tell(); what is thrown to the end, main
// tells. The exit status is the worst that was told.
#pragma once

#include <concepts>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qel {

enum Status { succeeded = 0, refused = 1, wrong_usage = 2, no_session = 3 };

class Failure : public std::runtime_error {
public:
    Failure(Status status, const std::string& text) : std::runtime_error(text), status_(status) {}
    Status status() const { return status_; }

private:
    Status status_;
};

// A line on standard error, and the exit status.
void tell(const Failure& failure);
Status exit_status();

// From now on each call is told.
void be_verbose();

// Whose code the result is: queries hand on the service's own, and of a rejected command the router's words are told.
enum class Codes { library, service, router };

// The subject is what the call was about, as the user knows it; it may be empty.
void check_code(std::string_view call, std::uint32_t code, std::string_view subject, Codes codes);

template <std::integral Code> void check(std::string_view call, Code code, std::string_view subject = {}) {
    check_code(call, static_cast<std::uint32_t>(code), subject, Codes::library);
}

// For destructors: told by main behind what is on its way there, and only when it says more than that.
void check_later(std::string_view call, std::int32_t code);
void tell_what_came_later();

} // namespace qel
