/*
 * Prints the SNMP objects of a subtree, or one object.
 *
 *   snmp_walk_c [OID]
 *
 * OID is 1.3.6.1.2.1 when none is given. Status 0 when there was anything to print and nothing failed. What went wrong
 * in detail stands in the system log.
 */
#include <stdbool.h>
#include <stdio.h>
#include <string.h>

#include "qel_api.h"

static bool succeeded(const char* call, int32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "snmp_walk: %s failed with %d\n", call, (int)code);
    return false;
}

/* What is asked for may have a dot in front, what is answered has none. */
static const char* without_dot(const char* oid) { return *oid == '.' ? oid + 1 : oid; }

static bool is_below(const char* oid, const char* root) {
    size_t length = strlen(root);

    return strncmp(oid, root, length) == 0 && oid[length] == '.';
}

enum step { PRINTED, BEYOND, FAILED };

/* Prints the object behind *oid, when it is below the root, and gives its OID in place of the one before. */
static enum step print_next(const char* root, char** oid) {
    char* next = NULL;
    char* value = NULL;
    int32_t code = vela_snmp_get_next(*oid != NULL ? *oid : root, &next, &value);
    enum step step = PRINTED;

    if (code != VELA_OK) {
        /* The end of all objects is told like a failure; when the service still answers, it is that. */
        step = code == VELA_ERROR && vela_session_keepalive(0) == VELA_OK ? BEYOND : FAILED;
        if (step == FAILED)
            succeeded("vela_snmp_get_next", code);
    } else if (*oid != NULL && strcmp(next, *oid) == 0) {
        fprintf(stderr, "snmp_walk: %s follows itself\n", next);
        step = FAILED;
    } else if (!is_below(next, root)) {
        step = BEYOND;
    }

    if (step == PRINTED) {
        printf("%s = %s\n", next, value);
        vela_free(*oid);
        *oid = next;
    } else {
        vela_free(next);
    }
    vela_free(value);
    return step;
}

static bool print_object(const char* oid) {
    char* value = NULL;

    if (!succeeded("vela_snmp_get", vela_snmp_get(oid, &value)))
        return false;
    printf("%s = %s\n", oid, value);
    vela_free(value);
    return true;
}

static bool walk(const char* root) {
    char* oid = NULL; /* of the last object that was printed */
    enum step step;
    bool any;

    do
        step = print_next(root, &oid);
    while (step == PRINTED);
    any = oid != NULL;
    vela_free(oid);
    if (step == FAILED)
        return false;
    return any || print_object(root); /* nothing below it: it may be an object itself */
}

static bool use_library(const char* root) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0, .client_name = "snmp_walk"};
    uint32_t session = 0;
    bool ok;

    if (!succeeded("vela_session_open", vela_session_open(&cfg, &session)))
        return false;
    ok = walk(root);
    return succeeded("vela_session_close", vela_session_close(session)) && ok;
}

int main(int argc, char** argv) {
    bool ok;

    setvbuf(stdout, NULL, _IOLBF, 0); /* line by line, also into a pipe */
    if (!succeeded("vela_init", vela_init()))
        return 1;
    ok = use_library(argc > 1 ? without_dot(argv[1]) : "1.3.6.1.2.1");
    ok = succeeded("vela_release", vela_release()) && ok;
    return ok ? 0 : 1;
}
