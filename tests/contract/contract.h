// What every contract test says: the service's answer to whatever is asked, the request's bytes, and the records that a
// call leaves in the system log, each as one line of text.
//
// A record reads "function # text", the # in the place of the source line. All are errors: nothing here says anything
// else.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support.h"

namespace contract {

using integration::bytes;
using sim::Item;

// n copies of one byte; n bytes counting up from a first one.
std::string times(std::size_t n, int byte);
std::string counting(int first, std::size_t n);

// A length that no message has, and what the library says when one claims it.
constexpr std::uint16_t impossible_length = 9000;
inline constexpr const char* says_impossible_length = "ConvertRecvDataNtohs # invalid message length = 9000";

// "vela_get_dev_esn 42,null param" becomes "vela_get_dev_esn #,null param".
std::string line_of(const integration::Record& record);

class ContractTest : public integration::LibraryTest {
protected:
    // The answer to every operation from now on. The tail stands behind the items as it is.
    void answer_all(std::vector<Item> items, std::string tail = {}, std::uint8_t kind = sim::script_operation);
    void answer_all(integration::Reply reply);
    void answer_none();

    // Exactly these were recorded since the last call, in this order, all as errors.
    void expect_said(const std::vector<std::string>& lines);
    void expect_silence() { expect_said({}); }
    // Exactly one record, of this function, whatever it says.
    void expect_one_record_of(std::string_view function);

    std::size_t operations() const; // operation requests received
    std::string sent() const;       // the last request, in hexadecimal
    unsigned next_send_id();        // what the next request will carry; sends a keep-alive to learn it

    // Ends the connection from the service's side; returns when the library knows.
    void hang_up();
};

} // namespace contract
