// The MIB view that SNMP reads are answered from: objects in OID order, with their values as texts.
//
// It is read from a recording, one object a line: OID|type|value. Lines may stand in any order; empty lines and lines
// that begin with # are skipped. Types are numbers, with an x behind where the value is hexadecimal:
//
//   type     value in the recording            text
//   2        integer, 32 bits                  decimal
//   4        octet string                      as it stands
//   4x       octet string, hexadecimal         the text when it is printable, else pairs of digits joined by colons
//   5        null, nothing                     empty
//   6        OID                               dotted, without a dot in front
//   64, 64x  IP address, dotted or 4 bytes     dotted
//   65, 66   counter and gauge, 32 bits        decimal
//   67       time ticks, hundredths, 32 bits   decimal
//   70       counter, 64 bits                  decimal
//
// A view is plain data; one that is shared is not changed any more. No threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

using Oid = std::vector<std::uint32_t>;

// "1.3.6.1", also with a dot in front; at most 128 numbers of 32 bits.
std::optional<Oid> parse_oid(std::string_view text);
std::string to_text(const Oid& oid);

// what() begins with the recording's name and the line: "branch.snmprec:3: ..."
class RecordingError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Mib {
public:
    using Objects = std::map<Oid, std::string>;

    // Adds the recording's objects, which replace those with the same OID; one that stands there twice is an error.
    void read(std::istream& recording, const std::string& name);
    void read_file(const std::string& path);
    void read_line(std::string_view line); // throws without name and number

    const std::string* get(const Oid& oid) const;            // null when there is none
    const Objects::value_type* next(const Oid& after) const; // the first behind it; null at the end
    const Objects& objects() const { return objects_; }

private:
    Objects objects_;
};

// The view of a router as it leaves the box: the groups system and interfaces.
std::shared_ptr<const Mib> default_mib();

} // namespace sim
