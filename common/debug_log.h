// The library's diagnostics: one record to the system log for each call, from any thread, before start-up and after
// release too. By convention a format begins "%s %d " and takes the reporting function's name and line, VELA_HERE.
#pragma once

#include <string>

enum VELA_Log_Level { VELA_LOG_ERROR = 3, VELA_LOG_WARNING = 4, VELA_LOG_INFO = 6 };
enum VELA_Log_Module { VELA_LOG_API = 1 };

#define VELA_HERE __func__, __LINE__

// Writes one record: the formatted text, at most 3,071 characters of it, in single quotes, with the identity
// "Vela-Quor" and the process id. errno is kept.
void VELA_DEBUG_LOG(VELA_Log_Level level, VELA_Log_Module module, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The formatted arguments as a string, cut at 4,095 characters. For building messages.
std::string FormatedMsg(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A text for "%s" of a record that may be missing; a missing one shows as C's own formatting shows it.
inline const char* printable(const char* text) { return text != nullptr ? text : "(null)"; }
