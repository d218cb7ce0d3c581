/*
 * Makes an access point on the radio, tries a second one that the router cannot make, and deletes the first; shows what
 * each did to the router's configuration.
 *
 *   wlan_access_point_c [SSID [PASS-PHRASE]]
 *
 * The second one wants the address that the first one has. The router refuses that when a part of the access point is
 * made already, and the library removes the part. Status 0 when all went like that, 2 for wrong usage. Why something
 * failed stands in the system log.
 */
#include <stdbool.h>
#include <stdio.h>

#include "configuration_changes.h"
#include "qel_api.h"

static const char* const radio = "Wlan-Radio0/0/0";
static const char* const address = "192.168.20.1";
static const char* const mask = "255.255.255.0";

static bool succeeded(const char* call, int32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "wlan_access_point: %s failed with %d\n", call, (int)code);
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

/* The router stays as it was, although the access point's VLAN and interface were made before the refusal. */
static bool fail_to_create(uint32_t cli, const char* ssid) {
    char* before = configuration(cli);
    int32_t code;
    bool ok = false;

    if (before == NULL)
        return false;
    code = vela_wlan_create_ap(radio, 2, ssid, NULL, address, mask);
    if (code == VELA_ERROR) {
        printf("\nAnother one, with the same address, was refused, and of it is left:\n");
        ok = show_changes(cli, before);
    } else {
        fprintf(stderr, "wlan_access_point: the second access point was not refused, but returned %d\n", (int)code);
    }
    vela_free(before);
    return ok;
}

static bool delete_again(uint32_t cli, const char* before) {
    bool ok = succeeded("vela_wlan_delete_ap", vela_wlan_delete_ap(radio, 1));

    printf("\nThe access point is %s, and of it is left:\n", ok ? "deleted" : "not deleted");
    return show_changes(cli, before) && ok;
}

static bool use_access_point(uint32_t cli, const char* before, const char* ssid, const char* pass_phrase) {
    bool ok = succeeded("vela_wlan_create_ap", vela_wlan_create_ap(radio, 1, ssid, pass_phrase, address, mask));

    printf("The access point %s is %s:\n", ssid, ok ? "made" : "not made");
    if (!show_changes(cli, before) || !ok)
        return false;
    ok = fail_to_create(cli, "Second");
    return delete_again(cli, before) && ok;
}

/* The calls use the open channel. Nothing else may use it meanwhile. */
static bool use_cli(const char* ssid, const char* pass_phrase) {
    uint32_t cli = 0;
    char* before;
    bool ok;

    if (!succeeded("vela_cli_open", vela_cli_open(&cli)))
        return false;
    before = configuration(cli);
    ok = before != NULL && use_access_point(cli, before, ssid, pass_phrase);
    vela_free(before);
    return succeeded("vela_cli_close", vela_cli_close(cli)) && ok;
}

static bool use_session(const char* ssid, const char* pass_phrase) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0, .client_name = "wlan_access_point"};
    uint32_t session = 0;
    bool ok;

    if (!succeeded("vela_session_open", vela_session_open(&cfg, &session)))
        return false;
    ok = use_cli(ssid, pass_phrase);
    return succeeded("vela_session_close", vela_session_close(session)) && ok;
}

int main(int argc, char** argv) {
    bool ok;

    setvbuf(stdout, NULL, _IOLBF, 0); /* line by line, also into a pipe */
    if (argc > 3) {
        fprintf(stderr, "usage: %s [SSID [PASS-PHRASE]]\n", argv[0]);
        return 2;
    }
    if (!succeeded("vela_init", vela_init()))
        return 1;
    ok = use_session(argc > 1 ? argv[1] : "Guests", argc > 2 ? argv[2] : NULL); /* null: an open network */
    ok = succeeded("vela_release", vela_release()) && ok;
    return ok ? 0 : 1;
}
