/*
 * Prints every fact that the device tells, and has it back its configuration up.
 *
 *   device_report_c [IP-ADDRESS]
 *
 * The address, 192.168.1.10 when none is given, is looked up in the ARP table and among the access users. A fact that
 * cannot be had is told on standard error and does not hold up the others. Status 0 when all of them were printed.
 *
 * The library moves these values without knowing them. The labels are those of the simulated router, docs/facts.md; on
 * another device the same fields may hold something else.
 */
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>

#include "qel_api.h"

#define LABEL "%-16s"

static bool succeeded(const char* call, uint32_t code) {
    if (code == VELA_OK)
        return true;
    fprintf(stderr, "device_report: %s failed with %" PRIu32 "\n", call, code);
    return false;
}

/* The fields that are bytes to the library. */

static uint32_t number(const uint8_t bytes[4]) {
    uint32_t value;

    memcpy(&value, bytes, sizeof value);
    return value;
}

static double real(const uint8_t bytes[8]) {
    double value;

    memcpy(&value, bytes, sizeof value);
    return value;
}

static void print_address(const uint8_t bytes[6]) {
    printf("%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
}

static void print_numbers(const int32_t* numbers, size_t count) {
    size_t i;

    for (i = 0; i < count; i++)
        printf("%s%" PRId32, i == 0 ? "" : " ", numbers[i]);
    printf("\n");
}

/* The facts, in the order of qel_api.h. Each record is cleared first, so that no text is without its end. */

static bool print_serial_number(void) {
    char esn[VELA_ESN_SIZE] = "";

    if (!succeeded("vela_dev_get_esn", vela_dev_get_esn(esn)))
        return false;
    printf(LABEL "%s\n", "serial number", esn);
    return true;
}

static bool print_access_status(void) {
    uint32_t status = 0;

    if (!succeeded("vela_dev_get_acc_status", vela_dev_get_acc_status(&status)))
        return false;
    printf(LABEL "%" PRIu32 "\n", "access status", status);
    return true;
}

static bool print_backup(void) {
    int32_t result = 0;

    if (!succeeded("vela_dev_backup_cfg", vela_dev_backup_cfg(&result)))
        return false;
    printf(LABEL "outcome %" PRId32 "\n", "backup", result);
    return true;
}

static bool print_location(void) {
    tagGPS_LOCATION_INFO info;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_gps_GetLocation", vela_gps_GetLocation(&info)))
        return false;
    printf(LABEL "%.6f, %.6f, %.1f m high\n", "location", real(info.item7), real(info.item8), real(info.item9));
    printf(LABEL "fix %" PRIu32 ", satellites %" PRIu32 ", speed %" PRIu32 ", course %" PRIu32 ", %.*s\n", "",
           number(info.item5), number(info.item6), number(info.item10), number(info.item11), (int)sizeof info.item12,
           (const char*)info.item12);
    return true;
}

static bool print_station(void) {
    WLAN_STATION_INFO_tag info;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_wlan_GetStationInfo", vela_wlan_GetStationInfo(&info)))
        return false;
    printf(LABEL "%.*s, %.*s, on %.*s\n", "station", (int)sizeof info.item10, info.item10, (int)sizeof info.item9,
           info.item9, (int)sizeof info.item6, info.item6);
    printf(LABEL "channel %" PRIu32 ", signal %" PRId32 ", %" PRIu32 " s\n", "", info.item5, (int32_t)info.item7,
           info.item8);
    return true;
}

static bool print_cellular_link(void) {
    tagLTE_BREIFINFO_T info;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_arp_get_lte", vela_arp_get_lte(&info)))
        return false;
    printf(LABEL "%s, IMEI %s, IMSI %s, ICCID %s, %s\n", "cellular link", info.item5, info.item6, info.item7,
           info.item8, info.item9);
    printf(LABEL "SIM %" PRId32 ", registration %" PRId32 ", technology %" PRId32 ", band %" PRId32 ", cell %" PRIu32
                 "\n",
           "", info.item10, info.item11, info.item12, info.item17, info.item18);
    printf(LABEL "RSSI %" PRId32 ", RSRP %" PRId32 ", RSRQ %" PRId32 ", SINR %" PRId32 "\n", "", info.item13,
           info.item14, info.item15, info.item16);
    return true;
}

static bool print_connection(void) {
    tagLTE_CONNECTION_INFO info;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_cellular_GetInfo", vela_cellular_GetInfo(NULL, &info)))
        return false;
    printf(LABEL "state %" PRIu32 ", %.*s, %.*s\n", "connection", info.item6, (int)sizeof info.item7, info.item7,
           (int)sizeof info.item8, info.item8);
    printf(LABEL "%" PRIu32 " s, %" PRIu32 " bytes in, %" PRIu32 " out\n", "", info.item9, info.item10,
           number(info.item11));
    return true;
}

/* Up to the first index that the service refuses with a code of its own; the library's codes are failures. */
static bool print_messages(void) {
    uint32_t index;

    for (index = 0;; index++) {
        tagLTE_SMS_INFO info;
        uint32_t code;

        memset(&info, 0, sizeof info);
        code = vela_get_sms_info(index, &info);
        if (code == VELA_ERROR || code == VELA_ERROR_NO_SESSION || code == VELA_ERROR_ENCODE)
            return succeeded("vela_get_sms_info", code);
        if (code != VELA_OK)
            return true;
        printf("message %-8" PRIu32 "%s: %s\n", index, info.item6, info.item7);
    }
}

static bool print_neighbour(const char* ip) {
    tagACCESS_USER_BREIFINFO_T user;
    uint8_t address[6] = {0};

    if (!succeeded("vela_arp_get_mac_by_ip", vela_arp_get_mac_by_ip(ip, address)))
        return false;
    printf(LABEL "%s, ", "neighbour", ip);
    print_address(address);
    printf("\n");

    memset(&user, 0, sizeof user);
    printf("access user\n"); /* the library prints the record's fields */
    return succeeded("vela_nac_get_access_by_mac", vela_nac_get_access_by_mac(address, &user));
}

static bool print_calls(void) {
    stVOICE_CALL_INFO info;
    int32_t i;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_voice_get_call_info", vela_voice_get_call_info(&info)))
        return false;
    printf(LABEL "ports %" PRId32 ", answered %" PRId32 ", missed %" PRId32 ", placed %" PRId32 ", failed %" PRId32
                 ", %" PRId32 " s\n",
           "voice", info.item6, info.item7, info.item8, info.item9, info.item10, info.item11);
    for (i = 0; i < info.count; i++) {
        printf("call %-11" PRId32, i);
        print_numbers(info.entries[i], sizeof info.entries[i] / sizeof info.entries[i][0]);
    }
    return true;
}

static bool print_sip_accounts(void) {
    stVOICE_SIP_ACCOUNT_INFO info;
    int32_t i;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_voice_get_sip_account", vela_voice_get_sip_account(&info)))
        return false;
    for (i = 0; i < info.count; i++) {
        const char* account = (const char*)info.accounts[i]; /* two texts of 33 bytes */

        printf("SIP account %-4" PRId32 "%.33s at %.33s\n", i, account, account + 33);
    }
    return true;
}

static bool print_cita_parameters(void) {
    tagVOICE_CITA_PARAM info;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_voice_get_cita_param", vela_voice_get_cita_param(&info)))
        return false;
    printf(LABEL "%d %d %d %d\n", "CITA parameters", info.item5, info.item6, info.item7, info.item8);
    printf(LABEL "%.33s, %.33s, %.33s, %.33s, %.33s, %.33s, %.33s\n", "", info.text9, info.text10, info.text11,
           info.text12, info.text13, info.text14, info.item17);
    printf(LABEL, "");
    print_address(info.item15);
    printf(" ");
    print_address(info.item16);
    printf("\n" LABEL, "");
    {
        const int32_t numbers[] = {info.item18, info.item19, info.item20, info.item21,
                                   info.item22, info.item23, info.item24, info.item25};

        print_numbers(numbers, sizeof numbers / sizeof numbers[0]);
    }
    return true;
}

static bool print_cita_configuration(void) {
    tagVOICE_CITA_CONFIG_INFO info;
    size_t i;

    memset(&info, 0, sizeof info);
    if (!succeeded("vela_voice_get_cita_config_info", vela_voice_get_cita_config_info(&info)))
        return false;
    {
        const uint8_t* const addresses[] = {info.item5, info.item6,  info.item7,  info.item8,
                                            info.item9, info.item10, info.item11, info.item12};
        const int32_t numbers[] = {info.item13, info.item14, info.item15, info.item16,
                                   info.item17, info.item18, info.item19, info.item20};

        for (i = 0; i < sizeof addresses / sizeof addresses[0]; i += 2) {
            printf(LABEL, i == 0 ? "CITA settings" : "");
            print_address(addresses[i]);
            printf(" ");
            print_address(addresses[i + 1]);
            printf("\n");
        }
        printf(LABEL, "");
        print_numbers(numbers, sizeof numbers / sizeof numbers[0]);
    }
    return true;
}

static bool print_all(const char* ip) {
    static bool (*const facts[])(void) = {
        print_serial_number, print_access_status, print_backup,          print_location,
        print_station,       print_cellular_link, print_connection,      print_messages,
        print_calls,         print_sip_accounts,  print_cita_parameters, print_cita_configuration,
    };
    bool ok = true;
    size_t i;

    for (i = 0; i < sizeof facts / sizeof facts[0]; i++)
        ok = facts[i]() && ok;
    return print_neighbour(ip) && ok;
}

static bool use_library(const char* ip) {
    tagVELA_SESSION_CFG_T cfg = {.type = 0, .client_name = "device_report"};
    uint32_t session = 0;
    bool ok;

    if (!succeeded("vela_session_open", (uint32_t)vela_session_open(&cfg, &session)))
        return false;
    ok = print_all(ip);
    return succeeded("vela_session_close", (uint32_t)vela_session_close(session)) && ok;
}

int main(int argc, char** argv) {
    bool ok;

    setvbuf(stdout, NULL, _IOLBF, 0); /* line by line, also into a pipe */
    if (!succeeded("vela_init", (uint32_t)vela_init()))
        return 1;
    ok = use_library(argc > 1 ? argv[1] : "192.168.1.10");
    ok = succeeded("vela_release", (uint32_t)vela_release()) && ok;
    return ok ? 0 : 1;
}
