/*
 * Brings the cellular interface up as the router's uplink and takes it down again, and shows what each did to the
 * router's configuration.
 *
 *   cellular_uplink_c [APN [USER PASSWORD]]
 *
 * Status 0 when both went well, 2 for wrong usage. Why something failed stands in the system log.
 */
#include <stdbool.h>
#include <stdio.h>

#include "configuration_changes.h"
#include "qel_api.h"

static bool succeeded(const char* call, int32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "cellular_uplink: %s failed with %d\n", call, (int)code);
    return false;
}

/* The router's configuration, to be given back with vela_free; null when it cannot be had. */
static char* configuration(uint32_t cli) {
    char* text = NULL;

    if (succeeded("vela_cli_execute", vela_cli_execute(cli, "display current-configuration", NULL, &text)))
        return text;
    vela_free(text);
    return NULL;
}

static bool show_changes(uint32_t cli, const char* before) {
    char* now = configuration(cli);

    if (now == NULL)
        return false;
    print_changes(before, now);
    vela_free(now);
    return true;
}

static bool use_uplink(uint32_t cli, const char* before, char** credentials) {
    /* Null is the one cellular interface. When a step fails, the router is already as before. */
    bool ok = succeeded("vela_cellular_open", vela_cellular_open(NULL, credentials[0], credentials[1], credentials[2],
                                                                 VELA_CELLULAR_AUTH_AUTO));

    printf("%s:\n", ok ? "The uplink is up" : "The uplink did not come up");
    if (!show_changes(cli, before) || !ok)
        return false;

    ok = succeeded("vela_cellular_close", vela_cellular_close(NULL));
    printf("\n%s, and of it is left:\n", ok ? "The uplink is down" : "The uplink did not go down");
    return show_changes(cli, before) && ok;
}

/* The calls use the open channel. Nothing else may use it meanwhile. */
static bool use_cli(char** credentials) {
    uint32_t cli = 0;
    char* before;
    bool ok;

    if (!succeeded("vela_cli_open", vela_cli_open(&cli)))
        return false;
    before = configuration(cli);
    ok = before != NULL && use_uplink(cli, before, credentials);
    vela_free(before);
    return succeeded("vela_cli_close", vela_cli_close(cli)) && ok;
}

static bool use_session(char** credentials) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0, .client_name = "cellular_uplink"};
    uint32_t session = 0;
    bool ok;

    if (!succeeded("vela_session_open", vela_session_open(&cfg, &session)))
        return false;
    ok = use_cli(credentials);
    return succeeded("vela_session_close", vela_session_close(session)) && ok;
}

int main(int argc, char** argv) {
    char* credentials[] = {NULL, NULL, NULL}; /* APN, user, password: what is null is not configured */
    bool ok;
    int i;

    setvbuf(stdout, NULL, _IOLBF, 0); /* line by line, also into a pipe */
    if (argc == 3 || argc > 4) {
        fprintf(stderr, "usage: %s [APN [USER PASSWORD]]\n", argv[0]);
        return 2;
    }
    for (i = 1; i < argc; i++)
        credentials[i - 1] = argv[i];
    if (!succeeded("vela_init", vela_init()))
        return 1;
    ok = use_session(credentials);
    ok = succeeded("vela_release", vela_release()) && ok;
    return ok ? 0 : 1;
}
