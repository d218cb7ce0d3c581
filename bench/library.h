// The library as an application uses it, through its shared object: one session and one CLI channel, open for as long
// as this lives.
#pragma once

#include <cstdint>

namespace bench {

class Library {
public:
    Library(); // throws when the service does not let it in
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // True on success.
    bool keep_alive() const;
    bool execute(const char* command, const char* choice = nullptr) const; // takes the output and frees it

private:
    std::uint32_t session_ = 0;
    std::uint32_t cli_ = 0;
};

} // namespace bench
