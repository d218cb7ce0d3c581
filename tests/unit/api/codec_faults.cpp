// Leads the library's calls of the codec and of the naming through the faults.
#include <cstdint>

#include "support/calls.h"
#include "tlv/ops_tlv.h"

using test::Call;
using test::IsToFail;

TLV_S* RealInit(char*, int, int) asm("__real__Z8tlv_initPcii");
std::int32_t RealAppendInt(TLV_S*, std::int32_t, std::int32_t) asm("__real__Z14tlv_append_intP6tagTlvii");
std::int32_t RealAppendStr(TLV_S*, std::int32_t, const char*) asm("__real__Z14tlv_append_strP6tagTlviPKc");
std::int32_t RealAppendU32(TLV_S*, std::int32_t, std::uint32_t) asm("__real__Z14tlv_append_u32P6tagTlvij");
std::uint32_t RealFileName(char*, std::uint16_t) asm("__real__Z13get_file_namePct");

TLV_S* WrapInit(char*, int, int) asm("__wrap__Z8tlv_initPcii");
std::int32_t WrapAppendInt(TLV_S*, std::int32_t, std::int32_t) asm("__wrap__Z14tlv_append_intP6tagTlvii");
std::int32_t WrapAppendStr(TLV_S*, std::int32_t, const char*) asm("__wrap__Z14tlv_append_strP6tagTlviPKc");
std::int32_t WrapAppendU32(TLV_S*, std::int32_t, std::uint32_t) asm("__wrap__Z14tlv_append_u32P6tagTlvij");
std::uint32_t WrapFileName(char*, std::uint16_t) asm("__wrap__Z13get_file_namePct");

TLV_S* WrapInit(char* buff, int len, int owns) { return IsToFail(Call::TlvInit) ? nullptr : RealInit(buff, len, owns); }
std::int32_t WrapAppendInt(TLV_S* tlv, std::int32_t tag, std::int32_t value) {
    return IsToFail(Call::TlvAppend) ? -1 : RealAppendInt(tlv, tag, value);
}
std::int32_t WrapAppendStr(TLV_S* tlv, std::int32_t tag, const char* text) {
    return IsToFail(Call::TlvAppend) ? -3 : RealAppendStr(tlv, tag, text);
}
std::int32_t WrapAppendU32(TLV_S* tlv, std::int32_t tag, std::uint32_t value) {
    return IsToFail(Call::TlvAppend) ? -2 : RealAppendU32(tlv, tag, value);
}
std::uint32_t WrapFileName(char* dst, std::uint16_t sessionId) {
    return IsToFail(Call::GetFileName) ? 1 : RealFileName(dst, sessionId);
}
