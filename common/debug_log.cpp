// Writes the diagnostic records. Opening the system log, emitting and closing it are one step under a private leaf
// lock: the C library keeps one identity for the process, and a close between another thread's open and emit would
// lose it. The lock is never held across anything but those three calls.
#include "common/debug_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <syslog.h>

#include "common/cancel.h"
#include "common/heap_text.h"

namespace {

constexpr std::size_t kRecordSize = 3072;
constexpr char kNoMemory[] = "DebugOut malloc fail";

pthread_mutex_t g_logLock = PTHREAD_MUTEX_INITIALIZER;

class KeepErrno {
public:
    KeepErrno() = default;
    ~KeepErrno() { errno = saved_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

private:
    int saved_ = errno;
};

void emit(VELA_Log_Level level, VELA_Log_Module module, const char* text) {
    pthread_mutex_lock(&g_logLock);
    // The module is handed on as the facility. It is no facility code, so the C library keeps its default.
    openlog("Vela-Quor", LOG_PID, module);
    syslog(level, "'%s'", text);
    closelog();
    pthread_mutex_unlock(&g_logLock);
}

} // namespace

void VELA_DEBUG_LOG(VELA_Log_Level level, VELA_Log_Module module, const char* format, ...) {
    const KeepErrno keepErrno;
    const CancelOff wholeRecord;

    const HeapText record(static_cast<char*>(std::calloc(1, kRecordSize)));
    if (record == nullptr) {
        // The recursion reports the loss. When it finds no memory either it needs none: its text is fixed.
        if (format == kNoMemory)
            emit(level, module, kNoMemory);
        else
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, kNoMemory);
        return;
    }

    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(record.get(), kRecordSize, format, arguments);
    va_end(arguments);
    emit(level, module, record.get());
}

std::string FormatedMsg(const char* format, ...) {
    char text[4096] = {};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}
