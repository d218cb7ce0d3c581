/*
 * The layout of every record that a query fills: each field's offset and width, and the size. The same on every target,
 * so this file is compiled for several of them.
 */
#include "qel_api.h"

#include <stddef.h>

#define FIELD(record, field, at, width)                                                                                \
    _Static_assert(offsetof(record, field) == (at), #record "." #field " is not at " #at);                             \
    _Static_assert(sizeof(((record*)0)->field) == (width), #record "." #field " is not " #width " bytes wide")
#define SIZE(record, size) _Static_assert(sizeof(record) == (size), #record " is not " #size " bytes")

FIELD(tagGPS_LOCATION_INFO, item5, 0, 4);
FIELD(tagGPS_LOCATION_INFO, item6, 4, 4);
FIELD(tagGPS_LOCATION_INFO, item7, 8, 8);
FIELD(tagGPS_LOCATION_INFO, item8, 16, 8);
FIELD(tagGPS_LOCATION_INFO, item9, 24, 8);
FIELD(tagGPS_LOCATION_INFO, item10, 32, 4);
FIELD(tagGPS_LOCATION_INFO, item11, 36, 4);
FIELD(tagGPS_LOCATION_INFO, item12, 40, 7924);
SIZE(tagGPS_LOCATION_INFO, 7968);
_Static_assert(_Alignof(tagGPS_LOCATION_INFO) == 8, "tagGPS_LOCATION_INFO is not 8-byte aligned");

FIELD(WLAN_STATION_INFO_tag, item5, 0, 4);
FIELD(WLAN_STATION_INFO_tag, item6, 4, 64);
FIELD(WLAN_STATION_INFO_tag, item7, 68, 4);
FIELD(WLAN_STATION_INFO_tag, item8, 72, 4);
FIELD(WLAN_STATION_INFO_tag, item9, 76, 17);
FIELD(WLAN_STATION_INFO_tag, item10, 93, 7940);
SIZE(WLAN_STATION_INFO_tag, 8036);

FIELD(tagLTE_BREIFINFO_T, text0, 0, 33);
FIELD(tagLTE_BREIFINFO_T, item5, 33, 33);
FIELD(tagLTE_BREIFINFO_T, item6, 66, 33);
FIELD(tagLTE_BREIFINFO_T, item7, 99, 33);
FIELD(tagLTE_BREIFINFO_T, item8, 132, 33);
FIELD(tagLTE_BREIFINFO_T, item9, 165, 33);
FIELD(tagLTE_BREIFINFO_T, item10, 200, 4);
FIELD(tagLTE_BREIFINFO_T, item11, 204, 4);
FIELD(tagLTE_BREIFINFO_T, item12, 208, 4);
FIELD(tagLTE_BREIFINFO_T, item13, 212, 4);
FIELD(tagLTE_BREIFINFO_T, item14, 216, 4);
FIELD(tagLTE_BREIFINFO_T, item15, 220, 4);
FIELD(tagLTE_BREIFINFO_T, item16, 224, 4);
FIELD(tagLTE_BREIFINFO_T, item17, 228, 4);
FIELD(tagLTE_BREIFINFO_T, item18, 232, 4);
SIZE(tagLTE_BREIFINFO_T, 236);

FIELD(tagLTE_CONNECTION_INFO, item6, 0, 4);
FIELD(tagLTE_CONNECTION_INFO, item7, 4, 64);
FIELD(tagLTE_CONNECTION_INFO, item8, 68, 16);
FIELD(tagLTE_CONNECTION_INFO, item9, 84, 4);
FIELD(tagLTE_CONNECTION_INFO, item10, 88, 4);
FIELD(tagLTE_CONNECTION_INFO, item11, 92, 7940);
SIZE(tagLTE_CONNECTION_INFO, 8032);

FIELD(tagLTE_SMS_INFO, item6, 0, 32);
FIELD(tagLTE_SMS_INFO, item7, 32, 7971);
SIZE(tagLTE_SMS_INFO, 8003);

FIELD(tagACCESS_USER_BREIFINFO_T, user_ip, 0, 4);
FIELD(tagACCESS_USER_BREIFINFO_T, reserved, 4, 8);
FIELD(tagACCESS_USER_BREIFINFO_T, ssid_name, 12, 64);
FIELD(tagACCESS_USER_BREIFINFO_T, oline_time, 76, 4);
FIELD(tagACCESS_USER_BREIFINFO_T, upbytes, 80, 4);
FIELD(tagACCESS_USER_BREIFINFO_T, downbytes, 84, 4);
SIZE(tagACCESS_USER_BREIFINFO_T, 88);

FIELD(stVOICE_CALL_INFO, item6, 0, 4);
FIELD(stVOICE_CALL_INFO, item7, 4, 4);
FIELD(stVOICE_CALL_INFO, item8, 8, 4);
FIELD(stVOICE_CALL_INFO, item9, 12, 4);
FIELD(stVOICE_CALL_INFO, item10, 16, 4);
FIELD(stVOICE_CALL_INFO, item11, 20, 4);
FIELD(stVOICE_CALL_INFO, count, 24, 4);
FIELD(stVOICE_CALL_INFO, entries, 28, 8 * 24);
FIELD(stVOICE_CALL_INFO, entries[0], 28, 24);
FIELD(stVOICE_CALL_INFO, entries[7], 196, 24);
SIZE(stVOICE_CALL_INFO, 220);

FIELD(stVOICE_SIP_ACCOUNT_INFO, count, 0, 4);
FIELD(stVOICE_SIP_ACCOUNT_INFO, accounts, 4, 10 * 66);
FIELD(stVOICE_SIP_ACCOUNT_INFO, accounts[1], 70, 66);
FIELD(stVOICE_SIP_ACCOUNT_INFO, accounts[9], 598, 66);
SIZE(stVOICE_SIP_ACCOUNT_INFO, 664);

FIELD(tagVOICE_CITA_PARAM, item5, 0, 1);
FIELD(tagVOICE_CITA_PARAM, item6, 1, 1);
FIELD(tagVOICE_CITA_PARAM, item7, 2, 1);
FIELD(tagVOICE_CITA_PARAM, item8, 3, 1);
FIELD(tagVOICE_CITA_PARAM, text9, 4, 33);
FIELD(tagVOICE_CITA_PARAM, text10, 37, 33);
FIELD(tagVOICE_CITA_PARAM, text11, 70, 33);
FIELD(tagVOICE_CITA_PARAM, text12, 103, 33);
FIELD(tagVOICE_CITA_PARAM, text13, 136, 33);
FIELD(tagVOICE_CITA_PARAM, text14, 169, 33);
FIELD(tagVOICE_CITA_PARAM, item15, 202, 6);
FIELD(tagVOICE_CITA_PARAM, item16, 208, 6);
FIELD(tagVOICE_CITA_PARAM, item17, 214, 33);
FIELD(tagVOICE_CITA_PARAM, item18, 248, 4);
FIELD(tagVOICE_CITA_PARAM, item19, 252, 4);
FIELD(tagVOICE_CITA_PARAM, item20, 256, 4);
FIELD(tagVOICE_CITA_PARAM, item21, 260, 4);
FIELD(tagVOICE_CITA_PARAM, item22, 264, 4);
FIELD(tagVOICE_CITA_PARAM, item23, 268, 4);
FIELD(tagVOICE_CITA_PARAM, item24, 272, 4);
FIELD(tagVOICE_CITA_PARAM, item25, 276, 4);
SIZE(tagVOICE_CITA_PARAM, 280);

FIELD(tagVOICE_CITA_CONFIG_INFO, item5, 0, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item6, 6, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item7, 12, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item8, 18, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item9, 24, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item10, 30, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item11, 36, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item12, 42, 6);
FIELD(tagVOICE_CITA_CONFIG_INFO, item13, 48, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item14, 52, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item15, 56, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item16, 60, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item17, 64, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item18, 68, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item19, 72, 4);
FIELD(tagVOICE_CITA_CONFIG_INFO, item20, 76, 4);
SIZE(tagVOICE_CITA_CONFIG_INFO, 80);
