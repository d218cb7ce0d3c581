// SNMP reads.
#pragma once

#include <cstdint>

std::int32_t vela_snmp_get_imp(const char* oid, char** snmp_resp);
std::int32_t vela_snmp_get_next_imp(const char* oid, char** next_oid, char** resp);

// Writing is not offered: always 1.
std::int32_t vela_snmp_set_imp(char* oid, char* value);
