/*
 * A program in C, as an application's author would write it: opens a session, runs one command, prints what the router
 * said. Its exit status is the first result code that is not VELA_OK.
 *
 * c_client [leave-open]    leave-open: ends with session and channel open
 */
#include <qel_api.h>

#include <stdio.h>
#include <string.h>

static int32_t work(void) {
    tagVELA_SESSION_CFG_T cfg;
    uint32_t session = 0;
    uint32_t cli = 0;
    char* output = NULL;
    int32_t code;

    memset(&cfg, 0, sizeof cfg);
    strcpy(cfg.client_name, "c_client");
    code = vela_session_open(&cfg, &session);
    if (code != VELA_OK)
        return code;
    code = vela_session_keepalive(session);
    if (code != VELA_OK)
        return code;
    code = vela_cli_open(&cli);
    if (code != VELA_OK)
        return code;
    code = vela_cli_execute(cli, "display version", NULL, &output);
    if (output != NULL)
        printf("%s\n", output);
    vela_free(output);
    return code;
}

static int32_t put_away(void) {
    const int32_t code = vela_session_close(0);
    return code != VELA_OK ? code : vela_release();
}

int main(int argc, char** argv) {
    const int leave_open = argc > 1 && strcmp(argv[1], "leave-open") == 0;
    int32_t code = vela_init();
    if (code == VELA_OK)
        code = work();
    if (code == VELA_OK && !leave_open)
        code = put_away();
    return (int)code;
}
