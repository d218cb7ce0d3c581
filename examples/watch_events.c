/*
 * Shows what happens on the router as it happens, until Ctrl-C: interfaces, routes, and lines of its log.
 *
 *   watch_events_c [INTERFACE [SECONDS]]
 *
 * INTERFACE is a piece of the names of the interfaces to tell of, all by default; SECONDS is how often the program
 * tells the router that it is still there, 10 by default. Status 0 when it was ended by SIGINT or SIGTERM, 1 when
 * anything failed or the router hung up, 2 for wrong usage.
 *
 * Events arrive on a thread of the library's, which calls print_event; the main thread waits for signals. No function
 * of the library may be called from a signal handler, so there is none: the signals are blocked and waited for.
 */
#define _POSIX_C_SOURCE 200809L

#include <errno.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "qel_api.h"

static bool succeeded(const char* call, int32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "watch_events: %s failed with %d\n", call, (int)code);
    return false;
}

static const char* name_of(tagVELA_EVENT kind) {
    switch (kind) {
    case VELA_EVENT_IFSTATE:
        return "ifstate";
    case VELA_EVENT_ROUTE:
        return "route";
    default:
        return "log";
    }
}

/* Both texts live until it returns. It returns soon: the next event waits for it. */
static void print_event(uint32_t session, const char* tag, tagVELA_EVENT kind, void* content, int unused) {
    (void)session;
    (void)tag;
    (void)unused;
    printf("%-10s%s\n", name_of(kind), content != NULL ? (const char*)content : "");
}

/* Tags are the program's own; none may be a piece of another. */
static bool subscribe(uint32_t events, const char* interface) {
    tagVELA_IFSTATE_PARA interfaces = {.number1 = 0, .number2 = 0}; /* any state, any cause */
    tagVELA_ROUTE_PARA routes = {.number = 0};                      /* every route */
    tagVELA_ICLOG_PARA lines = {.level = 7};                        /* every level, and nothing else to match */

    strncpy(interfaces.text, interface, sizeof interfaces.text - 1);
    return succeeded("vela_event_add", vela_event_add(events, VELA_EVENT_IFSTATE, "interfaces", &interfaces)) &&
           succeeded("vela_event_add", vela_event_add(events, VELA_EVENT_ROUTE, "routes", &routes)) &&
           succeeded("vela_event_add", vela_event_add(events, VELA_EVENT_ICLOG, "lines", &lines));
}

/* True when a signal ended it. The library does not tell when the router hangs up, but the next call does. */
static bool wait_for_end(uint32_t session, const sigset_t* ends, long seconds) {
    const struct timespec pause = {.tv_sec = seconds};

    for (;;) {
        if (sigtimedwait(ends, NULL, &pause) != -1)
            return true;
        if (errno == EAGAIN && !succeeded("vela_session_keepalive", vela_session_keepalive(session)))
            return false;
    }
}

static bool watch(uint32_t session, const sigset_t* ends, const char* interface, long seconds) {
    uint32_t events = 0;
    bool ok;

    if (!succeeded("vela_event_new", vela_event_new(&events)))
        return false;
    /* From the thread that opened the session: the router knows the program by that thread's name. */
    if (!subscribe(events, interface) || !succeeded("vela_event_reg", vela_event_reg(events, print_event)))
        return false;
    printf("Watching. Ctrl-C ends.\n");
    ok = wait_for_end(session, ends, seconds);
    return ok && succeeded("vela_event_free", vela_event_free(events));
}

static bool use_library(const sigset_t* ends, const char* interface, long seconds) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0, .client_name = "watch_events"};
    uint32_t session = 0;

    if (!succeeded("vela_session_open", vela_session_open(&cfg, &session)))
        return false;
    if (!watch(session, ends, interface, seconds)) {
        /* What is still registered goes with the session; after a hang-up there is none to close. */
        vela_session_close(session);
        return false;
    }
    return succeeded("vela_session_close", vela_session_close(session));
}

int main(int argc, char** argv) {
    const char* interface = argc > 1 ? argv[1] : "";
    long seconds = argc > 2 ? strtol(argv[2], NULL, 10) : 10;
    sigset_t ends;
    bool ok;

    setvbuf(stdout, NULL, _IOLBF, 0); /* line by line, also into a pipe */
    if (argc > 3 || seconds < 1 || strlen(interface) >= sizeof((tagVELA_IFSTATE_PARA*)0)->text) {
        fprintf(stderr, "usage: %s [INTERFACE [SECONDS]]\n", argv[0]);
        return 2;
    }
    /* Before there are other threads, so that all of them leave the signals to this one. */
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigprocmask(SIG_BLOCK, &ends, NULL);

    if (!succeeded("vela_init", vela_init()))
        return 1;
    ok = use_library(&ends, interface, seconds);
    ok = succeeded("vela_release", vela_release()) && ok;
    if (ok)
        printf("Ended.\n");
    return ok ? 0 : 1;
}
