// The name by which the service knows a client: "sdkclient", the session id and the calling thread's id.
#pragma once

#include <cstdint>

constexpr std::size_t kClientNameSize = 120;

// The calling thread's handle read as a signed 32-bit number; it may be negative.
std::int32_t get_cur_thread_id();

// Writes the client's name for this session and the calling thread into dst, which holds kClientNameSize bytes.
// 0 on success, 1 when dst is null.
std::uint32_t get_file_name(char* dst, std::uint16_t sessionId);

// Writes the decimal digits of a value that is not negative, and a NUL, into out.
void itoa(std::int32_t value, char* out);
