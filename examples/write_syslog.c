/*
 * Has the router write a line into its log.
 *
 *   write_syslog_c MESSAGE [SEVERITY [SOURCE]]
 *
 * What a service makes of the three texts is its own business: the simulated router takes the first as the source, the
 * second as level and alias, like 5/DONE, and the third as the message. Status 0 when it accepted them, 2 for wrong
 * usage.
 */
#include <stdbool.h>
#include <stdio.h>

#include "qel_api.h"

static bool succeeded(const char* call, int32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "write_syslog: %s failed with %d\n", call, (int)code);
    return false;
}

static bool write_line(const char* source, const char* severity, const char* message) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0, .client_name = "write_syslog"};
    uint32_t session = 0;
    bool ok;

    if (!succeeded("vela_session_open", vela_session_open(&cfg, &session)))
        return false;
    ok = succeeded("vela_syslog", vela_syslog(source, severity, message));
    if (ok)
        printf("The router has written: %s\n", message);
    return succeeded("vela_session_close", vela_session_close(session)) && ok;
}

int main(int argc, char** argv) {
    bool ok;

    setvbuf(stdout, NULL, _IOLBF, 0); /* line by line, also into a pipe */
    if (argc < 2 || argc > 4) {
        fprintf(stderr, "usage: %s MESSAGE [SEVERITY [SOURCE]]\n", argv[0]);
        return 2;
    }
    if (!succeeded("vela_init", vela_init()))
        return 1;
    ok = write_line(argc > 3 ? argv[3] : "EXAMPLE", argc > 2 ? argv[2] : "6", argv[1]);
    ok = succeeded("vela_release", vela_release()) && ok;
    return ok ? 0 : 1;
}
