/*
 * Runs commands on the router and saves its configuration.
 *
 *   session_c [CLIENT-NAME]
 *
 * What is opened is closed in reverse, whatever failed in between, and every text that the library hands out is given
 * back. Status 0 when everything went as it should. What went wrong in detail stands in the system log.
 */
#include <stdbool.h>
#include <stdio.h>
#include <string.h>

#include "qel_api.h"

static const char* meaning(int32_t code) {
    switch (code) {
    case VELA_ERROR:
        return "refused, not sent or not answered";
    case VELA_ERROR_PARAM:
        return "an argument is not valid";
    case VELA_ERROR_NOT_INIT:
        return "the library is not started";
    case VELA_ERROR_MEMORY:
        return "no memory";
    case VELA_ERROR_NO_SESSION:
        return "no session is open";
    case VELA_ERROR_SESSION_OPEN:
        return "a session is open already";
    case VELA_ERROR_LOG_LIBRARY:
        return "the log library did not start";
    case VELA_ERROR_THREAD:
        return "a thread could not be started";
    default:
        return "see qel_api.h";
    }
}

static bool succeeded(const char* call, int32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "session: %s failed with %d: %s\n", call, (int)code, meaning(code));
    return false;
}

/* Runs one command and shows what the router printed. */
static int32_t run(uint32_t cli, const char* command) {
    char* output = NULL; /* stays null when the service gave no answer */
    int32_t code;

    printf("\n> %s\n", command);
    code = vela_cli_execute(cli, command, NULL, &output);
    if (output != NULL)
        printf("%s%s", output, output[strlen(output) - 1] == '\n' ? "" : "\n");
    vela_free(output);
    return code;
}

/* A command that the router does not know: the call fails, and the output is the router's own error text. */
static bool run_mistyped(uint32_t cli) {
    int32_t code = run(cli, "display verison");

    if (code != VELA_ERROR) {
        fprintf(stderr, "session: the mistyped command was not rejected, but returned %d\n", (int)code);
        return false;
    }
    printf("(rejected, as it should be; result code %d)\n", (int)code);
    return true;
}

static bool use_cli(uint32_t cli) {
    static const char* const commands[] = {
        "display version", "system-view", "sysname Branch-7", "return", "display interface brief",
    };
    size_t i;

    for (i = 0; i < sizeof commands / sizeof commands[0]; i++)
        if (!succeeded(commands[i], run(cli, commands[i])))
            return false;
    if (!run_mistyped(cli))
        return false;

    /* The router asks whether to continue; vela_cli_save answers. With vela_cli_execute the answer to a prompt goes
       into its third argument: "\"continue\":\"y\"". */
    if (!succeeded("vela_cli_save", vela_cli_save()))
        return false;
    printf("\nThe configuration is saved.\n");
    return true;
}

static bool use_session(uint32_t session) {
    uint32_t cli = 0;
    bool ok;

    /* A program that is idle for long repeats this; the library never does so by itself. */
    if (!succeeded("vela_session_keepalive", vela_session_keepalive(session)))
        return false;
    if (!succeeded("vela_cli_open", vela_cli_open(&cli)))
        return false;
    ok = use_cli(cli);
    return succeeded("vela_cli_close", vela_cli_close(cli)) && ok;
}

static bool use_library(const char* client_name) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0}; /* the local socket; all else is cleared */
    uint32_t session = 0;
    bool ok;

    if (strlen(client_name) > sizeof cfg.client_name) {
        fprintf(stderr, "session: a client name has at most %zu characters\n", sizeof cfg.client_name);
        return false;
    }
    memcpy(cfg.client_name, client_name, strlen(client_name)); /* one that fills the field needs no NUL */

    if (!succeeded("vela_session_open", vela_session_open(&cfg, &session)))
        return false;
    printf("Session %u is open.\n", (unsigned)session);
    ok = use_session(session);
    return succeeded("vela_session_close", vela_session_close(session)) && ok;
}

int main(int argc, char** argv) {
    char version[VELA_VERSION_SIZE];
    bool ok;

    /* Line by line, also into a pipe, so that the output keeps its place among the log's lines. */
    setvbuf(stdout, NULL, _IOLBF, 0);

    if (!succeeded("vela_version", vela_version(version)))
        return 1;
    printf("%s\n", version);

    if (!succeeded("vela_init", vela_init()))
        return 1;
    ok = use_library(argc > 1 ? argv[1] : "example");
    ok = succeeded("vela_release", vela_release()) && ok;
    return ok ? 0 : 1;
}
