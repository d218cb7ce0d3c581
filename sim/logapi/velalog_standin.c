/* See the header: what the stand-in answers and how a test steers it. */
#define _POSIX_C_SOURCE 200809L
#include "velalog_standin.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#define LINE_SIZE 4096
#define TEXT_SIZE 1024

static int result_from(const char* variable) {
    const char* value = getenv(variable);
    return value == NULL ? 0 : (int)strtol(value, NULL, 0);
}

/* A line goes out in one write, so that lines of several processes do not mix. */
__attribute__((format(printf, 1, 2))) static void trace(const char* format, ...) {
    const char* path = getenv("VELALOG_STANDIN_TRACE");
    char line[LINE_SIZE];
    va_list arguments;
    int length;
    int fd;

    if (path == NULL || *path == '\0')
        return;
    va_start(arguments, format);
    length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (length < 0)
        return;
    if ((size_t)length >= sizeof line)
        length = (int)sizeof line - 1;

    fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd == -1 || write(fd, line, (size_t)length) != length)
        perror("velalog stand-in: the trace could not be written");
    if (fd != -1)
        close(fd);
}

static const char* quoted(char* out, size_t size, const char* text) {
    if (text == NULL)
        return "null";
    snprintf(out, size, "\"%s\"", text);
    return out;
}

static const char* triple(char* out, size_t size, const int* levels) {
    if (levels == NULL)
        return "null";
    snprintf(out, size, "%d,%d,%d", levels[0], levels[1], levels[2]);
    return out;
}

int LogInit(const char* product, const char* configPath, int* levels, const char* directory) {
    char p[TEXT_SIZE], c[TEXT_SIZE], d[TEXT_SIZE], l[48];
    int result = result_from("VELALOG_STANDIN_INIT");

    trace("LogInit product=%s config=%s levels=%s directory=%s result=%d\n", quoted(p, sizeof p, product),
          quoted(c, sizeof c, configPath), triple(l, sizeof l, levels), quoted(d, sizeof d, directory), result);
    return result;
}

int LogFini(const char* product) {
    char p[TEXT_SIZE];
    int result = result_from("VELALOG_STANDIN_FINI");

    trace("LogFini product=%s result=%d\n", quoted(p, sizeof p, product), result);
    return result;
}
