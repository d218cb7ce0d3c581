// What the device says of itself: serial number, access status; and the backup of its configuration.
#include "api/frame.h"
#include "api/query.h"

namespace {

static_assert(VELA_ESN_SIZE == longest_value(0) + 1);

constexpr Field kEsnFields[] = {{5, Style::Optional, 0}};
constexpr Query kEsn =
    query_of("vela_get_dev_esn", MODULE_DEVICE, 1, NullRecord::Named, VELA_ERROR_PARAM, kUnknownSize, kEsnFields);

constexpr Field kAccessStatusFields[] = {{6, Style::Optional, 0}};
constexpr Query kAccessStatus = query_of("vela_get_dev_acc", MODULE_DEVICE, 2, NullRecord::Named, VELA_ERROR_PARAM,
                                         sizeof(std::uint32_t), kAccessStatusFields);

constexpr Field kBackupFields[] = {{7, Style::Optional, 0}};
constexpr Query kBackup =
    query_of("vela_backup_cfg", MODULE_DEVICE, 3, NullRecord::Unchecked, VELA_OK, sizeof(std::int32_t), kBackupFields);

} // namespace

std::uint32_t vela_dev_get_esn(char* esn) {
    return exported_query(__func__, [&] { return run(kEsn, esn); });
}

std::uint32_t vela_dev_get_acc_status(std::uint32_t* status) {
    return exported_query(__func__, [&] { return run(kAccessStatus, status); });
}

std::uint32_t vela_dev_backup_cfg(std::int32_t* result) {
    return exported_query(__func__, [&] { return run(kBackup, result); });
}
